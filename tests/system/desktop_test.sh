#!/usr/bin/env bash
# The program with windows, without a screen: it runs jobs and answers like the daemon, a second start brings the first to
# the front, and what was going on when it was killed is shown and goes on at the next start.
. "$(dirname "$0")/lib.sh"
desktop=$(dirname "$lumisk")/lumisk-desktop
[ -x "$desktop" ] || skip "built without Qt"
export QT_QPA_PLATFORM=offscreen
mkdir -p "$scratch/docs" "$scratch/backup"
head -c 40000000 /dev/urandom >"$scratch/docs/large"
says() { grep -q "$1" "$scratch/out" "$scratch/err" || fail "no \"$1\" in: $(cat "$scratch/out" "$scratch/err")"; }
isUp() { "$lumisk" status | grep -q '^Running'; }
startDesktop() {
  "$desktop" >"$scratch/desktop.out" 2>&1 &
  daemon=$!
  waitFor 60 isUp || fail "did not start: $(cat "$scratch/desktop.out")"
}

expectStatus 0 "$lumisk" job add docs --source "$scratch/docs" --target "$scratch/backup" --manual
expectStatus 2 "$desktop" --nonsense
startDesktop
expectStatus 0 timeout 60 "$desktop"  # a second one
expectStatus 4 timeout 60 "$lumisk" daemon; says 'Qel Lumisk already run'
expectStatus 0 "$lumisk" start docs
waitFor 60 isCopying "$scratch/backup" || fail "it does not copy"
kill -KILL "$daemon"; wait "$daemon" 2>/dev/null
expectStatus 0 "$lumisk" job list --json; says '"docs"'
startDesktop
expectStatus 0 timeout 120 "$lumisk" run docs --json
[ "$(json result)" = completed ] || fail "run: $(cat "$scratch/out")"
expectSame "$scratch/docs" "$scratch/backup/docs"
kill -TERM "$daemon"; wait "$daemon"; ended=$?
daemon=
[ $ended -eq 0 ] || fail "ended with $ended"
expectStatus 0 "$lumisk" status; says 'Not running'

# As the window of an instance without one: it lasts as long as it is wanted, and the jobs outlast it.
startDaemon
"$desktop" --attach >"$scratch/desktop.out" 2>&1 &
window=$!
for name in one two; do
  mkdir -p "$scratch/$name"
  expectStatus 0 "$lumisk" job add "$name" --source "$scratch/docs" --target "$scratch/$name" --manual
  expectStatus 0 timeout 120 "$lumisk" run "$name"
done
kill -0 "$window" || fail "the window has gone: $(cat "$scratch/desktop.out")"
kill -TERM "$window"; wait "$window" || fail "the window ended with $?"
isUp || fail "the jobs went with their window"
endDaemon TERM
finish
