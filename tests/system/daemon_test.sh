#!/usr/bin/env bash
# A daemon from its start to its end: jobs are made, run, followed, stopped, changed and removed through it.
. "$(dirname "$0")/lib.sh"
store=$LUMISK_HOME/Library/Preferences/com.qelcorporation.lumisk.plist
mkdir -p "$scratch/docs/sub" "$scratch/backup" "$scratch/large" "$scratch/large-backup"
printf one >"$scratch/docs/one"; printf two >"$scratch/docs/sub/two"
head -c 60000000 /dev/urandom >"$scratch/large/file"
add() { "$lumisk" job add "$@" --manual; }
says() { grep -q "$1" "$scratch/out" "$scratch/err" || fail "no \"$1\" in: $(cat "$scratch/out" "$scratch/err")"; }
oneError() { [ "$(grep -c . "$scratch/err")" -eq 1 ] || fail "not one line of error: $(cat "$scratch/err")"; }

# Nobody runs.
expectStatus 0 add first --source "$scratch/docs" --target "$scratch/backup"
expectStatus 2 "$lumisk" start first; oneError; says 'lumisk daemon'
expectStatus 3 "$lumisk" start nothing
expectStatus 2 "$lumisk" send --action 102 "$scratch/docs"
expectStatus 0 "$lumisk" status; says 'Not running: jobs run only while `lumisk daemon` runs'
expectStatus 0 "$lumisk" status --json
[ "$(json running)" = False ] || fail "running without an instance"

startDaemon
grep -q 'running, 1 job$' "$scratch/daemon.out" || fail "said: $(cat "$scratch/daemon.out")"
expectStatus 4 timeout 20 "$lumisk" daemon; oneError; says 'Qel Lumisk already run'
expectStatus 0 "$lumisk" status --json
[ "$(json running)" = True ] || fail "not running with an instance"

# Run by name, through it.
expectStatus 0 "$lumisk" run first --json
[ "$(json result) $(json copied) $(json job)" = "completed 2 first" ] || fail "run: $(cat "$scratch/out")"
expectSame "$scratch/docs" "$scratch/backup/docs"
isState first completed True || fail "not completed: $("$lumisk" status --json)"
expectStatus 0 "$lumisk" run first; says '0 copied'
printf three >"$scratch/docs/three"
expectStatus 0 "$lumisk" run first --dry-run; says three
expectStatus 0 "$lumisk" start first
waitFor 20 test -e "$scratch/backup/docs/three" || fail "started and not run"
expectStatus 3 "$lumisk" run nothing
mv "$scratch/backup" "$scratch/gone"
expectStatus 1 "$lumisk" run first --json; oneError; says "$scratch/backup"
[ "$(json result)" = error ] || fail "without a target: $(cat "$scratch/out")"
mv "$scratch/gone" "$scratch/backup"

# Every change of the jobs.
expectStatus 0 add second --source "$scratch/docs" --target "$scratch/large-backup"
expectStatus 2 add second --source "$scratch/docs" --target "$scratch/large-backup"
expectStatus 0 "$lumisk" job rename second third
expectStatus 0 "$lumisk" job edit third --exclude tmp,bak
expectStatus 0 "$lumisk" job disable third
expectStatus 2 "$lumisk" start third
# Nobody there runs a disabled job: it runs here, and the instance keeps its status.
expectStatus 0 "$lumisk" run third
waitFor 20 isState third completed True || fail "the run of a disabled job is not kept"
expectStatus 0 "$lumisk" job enable third
expectStatus 0 "$lumisk" job show third
says 'tmp,bak'
python3 - "$store" <<'PY' || fail "stored: $(cat "$store")"
import plistlib, sys
jobs = plistlib.load(open(sys.argv[1], "rb"))["Qel LumiskSettings"]
assert [job["NSObjectName"] for job in jobs] == ["first", "third"] and all(job["NSActive"] for job in jobs), jobs
PY
expectStatus 0 "$lumisk" sync "$scratch/docs" "$scratch/synced"
expectSame "$scratch/docs" "$scratch/synced" --exclude '.lumisk*' --exclude '_XXXQelLumiskinfo_*' -O
expectStatus 0 "$lumisk" job remove third
expectStatus 3 "$lumisk" start third

# Start, stop, follow. A job before it goes while it runs.
expectStatus 0 add large --source "$scratch/large" --target "$scratch/large-backup"
expectStatus 0 "$lumisk" start large
waitFor 20 isCopying "$scratch/large-backup" || fail "the large copy does not begin"
expectStatus 0 "$lumisk" start large; says 'runs already'
expectStatus 0 "$lumisk" status; says 'running, '
# It stands still, also for whoever asks it something else meanwhile.
expectStatus 0 "$lumisk" pause large
expectStatus 2 "$lumisk" pause first; oneError; says 'does not run'
expectStatus 2 "$lumisk" resume first; oneError; says 'not paused'
expectStatus 3 "$lumisk" pause nothing
expectStatus 0 "$lumisk" status; says 'paused, '
isState large paused True || fail "not paused: $("$lumisk" status --json)"
expectStatus 0 "$lumisk" run first; says '0 copied'
expectStatus 0 "$lumisk" resume large
isState large paused False || fail "still paused: $("$lumisk" status --json)"
expectStatus 0 "$lumisk" job remove first
isState large running True || fail "the removal of another job ended the run"
"$lumisk" run large --json >"$scratch/followed" 2>"$scratch/followed.err" &
following=$!
waitFor 20 grep -q 'runs already' "$scratch/followed.err" || fail "the second run does not follow: $(cat "$scratch/followed.err")"
expectStatus 0 "$lumisk" stop large
wait $following
[ $? -eq 130 ] || fail "the followed run was not cancelled: $(cat "$scratch/followed" "$scratch/followed.err")"
waitFor 20 isState large running False || fail "stopped and still running"
isState large completed False || fail "a stopped run counts as completed"
expectNoTemporaries "$scratch/large-backup"
expectStatus 0 "$lumisk" stop large; says 'does not run'
for signal in INT TERM; do
  "$lumisk" run large --pace gentle --json >"$scratch/out" 2>"$scratch/err" &
  running=$!
  waitFor 20 isCopying "$scratch/large-backup" || fail "the run does not begin"
  kill -$signal $running
  wait $running
  [ $? -eq 130 ] && [ "$(json result)" = cancelled ] || fail "after SIG$signal: $(cat "$scratch/out" "$scratch/err")"
  expectNoTemporaries "$scratch/large-backup"
done

# The store was changed by hand.
python3 - "$store" <<'PY'
import plistlib, sys
stored = plistlib.load(open(sys.argv[1], "rb"))
for job in stored["Qel LumiskSettings"]:
    if job["NSObjectName"] == "large": job["NSObjectName"] = "by hand"
plistlib.dump(stored, open(sys.argv[1], "wb"))
PY
kill -HUP "$daemon"
expectStatus 0 "$lumisk" start 'by hand'
waitFor 20 isCopying "$scratch/large-backup" || fail "the job that was changed by hand does not run"

# The end in the middle of a copy: clean, soon, and made good by the next run.
"$lumisk" run 'by hand' >"$scratch/out" 2>"$scratch/err" &
following=$!
waitFor 20 grep -q 'runs already' "$scratch/err" || fail "does not follow"
endDaemon TERM
[ "$daemonStatus" -eq 0 ] || fail "the daemon ended with $daemonStatus: $(cat "$scratch/daemon.err")"
expectNoTemporaries "$scratch/large-backup"
wait $following
[ $? -eq 1 ] && grep -q 'running instance: it has ended' "$scratch/err" || fail "the follower: $(cat "$scratch/err")"
expectStatus 0 "$lumisk" status --json
[ "$(json running)" = False ] || fail "an instance that has ended is said to run"
expectStatus 0 "$lumisk" run 'by hand'
expectSame "$scratch/large" "$scratch/large-backup/large"

# Without standard streams nothing is written where it does not belong.
"$lumisk" daemon <&- >&- 2>&- &
daemon=$!
isRunning() { "$lumisk" status --json | grep -q '"running": true,'; }
waitFor 20 isRunning || fail "no daemon without standard streams"
expectStatus 0 "$lumisk" run 'by hand'
endDaemon INT
[ "$daemonStatus" -eq 0 ] || fail "the daemon ended with $daemonStatus"
expectSame "$scratch/large" "$scratch/large-backup/large"
finish
