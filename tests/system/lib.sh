# Shared by the tests of the real program. Each gets the program as its first argument, its own home folder and scratch
# folder, and ends with status 77 when it cannot run here.
set -uo pipefail
lumisk=$(realpath "$1")
scratch=$(mktemp -d "${TMPDIR:-/tmp}/lumisk-system-XXXXXX")
export LUMISK_HOME=$scratch/home
mkdir "$LUMISK_HOME"
mounted=()
daemon=
cleanup() {
  cd /
  [ -n "$daemon" ] && kill -KILL "$daemon" 2>/dev/null
  local at
  for at in "${mounted[@]}"; do umount "$at" 2>/dev/null || umount -l "$at" 2>/dev/null; done
  chmod -R u+rwX "$scratch" 2>/dev/null
  rm -rf "$scratch"
}
trap cleanup EXIT

skip() { echo "skipped: $*"; exit 77; }
needsRoot() { [ "$(id -u)" -eq 0 ] || skip "needs root for loop mounts"; }
fails=0
fail() { echo "FAILED: $*"; fails=$((fails + 1)); }
finish() { [ $fails -eq 0 ] && echo "all well"; exit $((fails > 0)); }

# mountNew FOLDER SIZE TYPE [MKFS-OPTIONS...]: a new volume of that size at the folder.
mountNew() {
  local at=$1 size=$2 type=$3
  shift 3
  mkdir -p "$at"
  truncate -s "$size" "$at.image"
  "mkfs.$type" -q "$@" "$at.image" || skip "no mkfs.$type"
  mount -o loop "$at.image" "$at" 2>/dev/null || skip "cannot mount a $type loop volume here"
  mounted+=("$at")
}

# expectStatus WANTED COMMAND...: runs it; output goes to $scratch/out and $scratch/err.
expectStatus() {
  local wanted=$1
  shift
  "$@" >"$scratch/out" 2>"$scratch/err"
  local status=$?
  [ $status -eq "$wanted" ] || { fail "status $status instead of $wanted: $*"; head -5 "$scratch/out" "$scratch/err"; }
}

# A number of the last --json output.
json() { python3 -c 'import json,sys; print(json.load(open(sys.argv[1]))[sys.argv[2]])' "$scratch/out" "$1"; }

# expectSame SOURCE COPY [RSYNC-OPTIONS...]: an independent comparison of everything that a backup carries.
expectSame() {
  local from=$1 to=$2 differences
  shift 2
  differences=$(rsync -aAXHn --delete -i "$@" "$from/" "$to/" 2>&1)
  [ -z "$differences" ] || fail "$to differs from $from:"$'\n'"$(head -20 <<<"$differences" | cut -c1-300)"
}
expectNoTemporaries() {
  local left
  left=$(find "$1" -name '.lumisk-*' 2>/dev/null | head -5)
  [ -z "$left" ] || fail "temporary files were left: $left"
}

# waitFor SECONDS COMMAND...: until it succeeds.
waitFor() {
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    [ $SECONDS -lt $end ] || return 1
    sleep 0.05
  done
}

# The instance that the commands talk to; what it says goes to $scratch/daemon.out and $scratch/daemon.err.
startDaemon() {
  "$lumisk" daemon >"$scratch/daemon.out" 2>>"$scratch/daemon.err" &
  daemon=$!
  waitFor 20 grep -qs '^lumisk: daemon: running, ' "$scratch/daemon.out" || fail "the daemon does not start: $(cat "$scratch/daemon.err")"
}
# endDaemon SIGNAL: its status is left in $daemonStatus.
endDaemon() {
  kill "-$1" "$daemon"
  wait "$daemon" 2>/dev/null
  daemonStatus=$?
  daemon=
}

# state JOB KEY: of the job in `lumisk status --json`; "" when there is no such job.
state() {
  "$lumisk" status --json 2>/dev/null | python3 -c '
import json, sys
jobs = [job for job in json.load(sys.stdin)["jobs"] if job["name"] == sys.argv[1]]
print(jobs[0][sys.argv[2]] if jobs else "")' "$1" "$2"
}
isState() { [ "$(state "$1" "$2")" = "$3" ]; }
isCopying() { [ -n "$(find "$1" -name '.lumisk-*' -size +100k 2>/dev/null)" ]; }
