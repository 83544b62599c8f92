#!/usr/bin/env bash
# With the real clock: a job made with `--every 1m` runs by itself, is reported as completed, and runs again.
. "$(dirname "$0")/lib.sh"
mkdir -p "$scratch/docs" "$scratch/backup"
printf one >"$scratch/docs/one"
startDaemon
expectStatus 0 "$lumisk" job add each --source "$scratch/docs" --target "$scratch/backup" --every 1m
isState each completed False || fail "completed before it ran"
waitFor 120 isState each completed True || fail "did not run within two minutes: $("$lumisk" status)"
expectSame "$scratch/docs" "$scratch/backup/docs"
printf two >"$scratch/docs/two"
waitFor 150 test -e "$scratch/backup/docs/two" || fail "did not run again: $("$lumisk" status)"
endDaemon TERM
[ "$daemonStatus" -eq 0 ] || fail "the daemon ended with $daemonStatus"
finish
