#!/usr/bin/env bash
# Ctrl-C in the middle of a copy: status 130, no partial file, and the run can be repeated.
. "$(dirname "$0")/lib.sh"
mkdir "$scratch/source" "$scratch/target"
head -c 60000000 /dev/urandom >"$scratch/source/large"
for signal in INT TERM; do
  "$lumisk" backup --pace gentle --json "$scratch/source" "$scratch/target" >"$scratch/out" 2>"$scratch/err" &
  running=$!
  waitFor 60 isCopying "$scratch/target" || fail "the copy does not begin"
  kill -$signal $running
  wait $running
  status=$?
  [ $status -eq 130 ] || fail "status $status after SIG$signal"
  [ "$(json result)" = cancelled ] || fail "result $(json result)"
  [ -e "$scratch/target/source/large" ] && fail "a partial file has the name of a whole one"
  expectNoTemporaries "$scratch/target"
done
expectStatus 0 "$lumisk" backup "$scratch/source" "$scratch/target"
expectSame "$scratch/source" "$scratch/target/source"
finish
