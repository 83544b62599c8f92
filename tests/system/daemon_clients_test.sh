#!/usr/bin/env bash
# Several commands at once, with a daemon that is killed at random moments: what a command has said is done is stored,
# and the list of jobs is always whole.
. "$(dirname "$0")/lib.sh"
rounds=${ROUNDS:-12}
store=$LUMISK_HOME/Library/Preferences/com.qelcorporation.lumisk.plist
mkdir -p "$scratch/docs" "$scratch/backup" "$scratch/done"
printf one >"$scratch/docs/one"
job() { "$lumisk" job "$@" >/dev/null 2>>"$scratch/refused"; }

# client NUMBER: makes jobs, changes and removes some, changes one that all share, and runs it. Each line of its file
# was acknowledged.
client() {
  local i
  for ((i = 0; i < 100; ++i)); do
    [ -e "$scratch/enough" ] && return
    local name="job $1-$round-$i"
    job add "$name" --source "$scratch/docs" --target "$scratch/backup" --manual || continue
    echo "made $name"
    job rename "$name" "$name renamed" || continue
    echo "renamed $name"
    [ $((i % 2)) -eq 0 ] && job remove "$name renamed" && echo "removed $name"
    case $1 in
      1) job edit shared --exclude "x$round$i" && echo "exclude x$round$i" ;;
      2) job edit shared --include "y$round$i" && echo "include y$round$i" ;;
      3) "$lumisk" run shared >/dev/null 2>&1 ;;
    esac
  done >>"$scratch/done/$1"
}

isWhole() { python3 -c 'import plistlib, sys; assert plistlib.load(open(sys.argv[1], "rb"))["Qel LumiskSettings"]' "$store"; }

# What the acknowledged lines ask for, once all clients have ended. The last command of a client that was under way at the kill may be done or not.
check() {
  python3 - "$store" "$scratch/done" <<'PY' || fail "round $round"
import os, plistlib, sys
jobs = plistlib.load(open(sys.argv[1], "rb"))["Qel LumiskSettings"]
names = [job["NSObjectName"] for job in jobs]
assert len(set(names)) == len(names), "a job is there twice"
for client in os.listdir(sys.argv[2]):
    lines = [line.rstrip("\n").split(" ", 1) for line in open(os.path.join(sys.argv[2], client))]
    told = {}
    for word, name in lines: told.setdefault(name, []).append(word)
    for name, words in told.items():
        here, renamed = name in names, name + " renamed" in names
        if words[-1] == "made": assert here or renamed, name + " was made and is lost"
        if words[-1] == "renamed": assert not here, name + " has its old name"
        if words[-1] == "renamed" and int(name.split("-")[-1]) % 2: assert renamed, name + " was renamed and is lost"
        if words[-1] == "removed": assert not here and not renamed, name + " was removed and is there"
shared = next(job for job in jobs if job["NSObjectName"] == "shared")
for client, word, key in (("1", "exclude", "NSExclusionTypes"), ("2", "include", "NSInclusionTypes")):
    path = os.path.join(sys.argv[2], client)
    said = [line.split()[1] for line in open(path) if line.startswith(word)] if os.path.exists(path) else []
    stored = shared["NSFileTypeFilters"][key]
    # The next one may have been stored and not acknowledged.
    assert not said or said[-1] in stored or (stored and stored[0] not in said), (client, said[-3:], stored)
PY
}

startDaemon
expectStatus 0 "$lumisk" job add shared --source "$scratch/docs" --target "$scratch/backup" --manual
for ((round = 1; round <= rounds; ++round)); do
  rm -f "$scratch/enough"
  clients=()
  for number in 1 2 3; do client $number & clients+=($!); done
  sleep "0.$(printf '%03d' $((RANDOM % 800 + 100)))"
  # Every third round nobody is killed.
  if [ $((round % 3)) -ne 0 ]; then kill -KILL "$daemon"; wait "$daemon" 2>/dev/null; daemon=; isWhole || fail "round $round: the list is not whole"; fi
  [ -n "$daemon" ] || startDaemon
  sleep 0.3
  touch "$scratch/enough"
  wait "${clients[@]}"
  check
done
endDaemon TERM
[ "$daemonStatus" -eq 0 ] || fail "the daemon ended with $daemonStatus"
made=$(grep -h made "$scratch"/done/* | wc -l)
[ "$made" -ge $((rounds * 3)) ] || fail "only $made changes were tried"
unexpected=$(grep -v -E 'it has ended|it does not answer|warning: |its run was stopped by the change' "$scratch/refused")
[ -z "$unexpected" ] || fail "commands failed for other reasons than the kill: $(head -5 <<<"$unexpected")"
finish
