#!/usr/bin/env bash
# A job that writes into an encrypted image, with its password in a real secret service.
. "$(dirname "$0")/lib.sh"
needsRoot
for tool in qemu-storage-daemon qemu-img cryptsetup dbus-run-session gnome-keyring-daemon; do
  command -v $tool >/dev/null || skip "no $tool"
done
[ -c /dev/fuse ] && [ -e /dev/loop-control ] || skip "images cannot be opened here"

if [ -z "${IN_SESSION:-}" ]; then
  mkdir -m 700 "$scratch/run"
  unset DISPLAY WAYLAND_DISPLAY XDG_DATA_HOME
  HOME=$LUMISK_HOME XDG_RUNTIME_DIR=$scratch/run IN_SESSION=1 dbus-run-session -- bash -c '
    printf test | gnome-keyring-daemon --unlock --components=secrets --daemonize >/dev/null 2>&1
    "$0" "$1"' "$0" "$lumisk"
  exit
fi

name="jobs of $$"
image=$scratch/$name.sparseimage
at=/Volumes/$name
second=$scratch/second.sparseimage  # its password is not kept
secondAt=/Volumes/second
daemonsOf() { pgrep -f "filename=$1"; }
closeAll() {
  [ -n "$daemon" ] && kill -KILL "$daemon" && daemon=
  umount -l "$at" "$secondAt" 2>/dev/null
  local pid
  for pid in $(daemonsOf "$scratch"); do kill "$pid"; done
  rmdir "$at" "$secondAt" 2>/dev/null
  cleanup
}
trap closeAll EXIT

mkdir "$scratch/source"
echo one >"$scratch/source/one"
expectStatus 2 "$lumisk" image create "$image" --size 10m <<<secret
expectStatus 0 "$lumisk" image create "$image" --size 100m --keep-password <<<'se cret'
expectStatus 0 "$lumisk" image mount "$image"
mkdir "$at/backup"
expectStatus 0 "$lumisk" image list --json
python3 -c 'import json,sys; assert [i["mountPoint"] for i in json.load(open(sys.argv[1]))].count(sys.argv[2]) == 1' \
  "$scratch/out" "$at" || fail "the mounted image is not listed"
expectStatus 0 "$lumisk" job add vault --source "$scratch/source" --target "$at/backup" --image "$image"
expectStatus 0 "$lumisk" image detach "$at"

# The run mounts the image by itself and closes it again.
expectStatus 0 "$lumisk" run vault
[ ! -e "$at" ] || fail "the image stays mounted after the run"
expectStatus 0 "$lumisk" image mount "$image"
[ "$(cat "$at/backup/source/one")" = one ] || fail "nothing was copied into the image"
echo two >"$scratch/source/two"
expectStatus 0 "$lumisk" run vault
[ -e "$at/backup/source/two" ] || fail "an image that is mounted is not written to, or was detached"

# The daemon below the image dies in the middle: nothing is claimed, and the next run mends and completes, also where the
# image is left as it is.
for round in detached left; do
  head -c 20M /dev/urandom >"$scratch/source/large"
  "$lumisk" run vault --pace gentle >"$scratch/killed" 2>&1 &
  running=$!
  waitFor 60 isCopying "$at" || fail "the run does not begin to copy: $(cat "$scratch/killed")"
  pkill -KILL -f "filename=$scratch"
  wait $running
  status=$?
  [ $status -eq 1 ] || fail "status $status of a run whose image went away: $(cat "$scratch/killed")"
  if [ $round = detached ]; then
    expectStatus 1 "$lumisk" image detach "$at"
    expectStatus 0 "$lumisk" image mount "$image"
    [ ! -e "$at/backup/source/large" ] || cmp "$scratch/source/large" "$at/backup/source/large" || fail "claimed, but not there"
    expectStatus 0 "$lumisk" image detach "$at"
  fi
  expectStatus 0 "$lumisk" run vault
  expectStatus 0 "$lumisk" image mount "$image"
  expectSame "$scratch/source" "$at/backup/source"
  expectNoTemporaries "$at/backup"
done

# The program itself dies in the middle of a run that has mounted the image.
expectStatus 0 "$lumisk" image detach "$at"
head -c 20M /dev/urandom >"$scratch/source/large"
"$lumisk" run vault --pace gentle >"$scratch/killed" 2>&1 &
running=$!
waitFor 60 isCopying "$at" || fail "the run does not begin to copy: $(cat "$scratch/killed")"
kill -KILL $running
wait $running 2>/dev/null
expectStatus 0 "$lumisk" image detach "$at"
expectStatus 0 "$lumisk" run vault
[ ! -e "$at" ] || fail "the image stays mounted after the run"
expectStatus 0 "$lumisk" image mount "$image"
expectSame "$scratch/source" "$at/backup/source"
expectNoTemporaries "$at/backup"

# A job whose image has no kept password waits for it, says so, and runs when somebody mounts it.
expectStatus 0 "$lumisk" image create "$second" --size 64m <<<first
expectStatus 1 "$lumisk" image mount "$second" <<<wrong
[ "$(wc -l <"$scratch/err")" = 1 ] && grep -q 'wrong password' "$scratch/err" || fail "refused with $(cat "$scratch/err")"
expectStatus 0 "$lumisk" image mount "$second" <<<first
mkdir "$secondAt/backup" "$scratch/little"
echo one >"$scratch/little/one"
expectStatus 0 "$lumisk" job add waiting --source "$scratch/little" --target "$secondAt/backup" --image "$second" --every 1d
expectStatus 0 "$lumisk" image detach "$second"
expectStatus 1 "$lumisk" run waiting
grep -q "no password is kept" "$scratch/err" && [ "$(wc -l <"$scratch/err")" -le 2 ] || fail "said $(cat "$scratch/err")"
[ ! -e "$secondAt" ] || fail "written beside the image"
mkdir -p "$secondAt/backup"
expectStatus 2 "$lumisk" run waiting
grep -q "stands in its place" "$scratch/err" || fail "said $(cat "$scratch/err")"
[ -z "$(ls -A "$secondAt/backup")" ] || fail "written unencrypted where the image would be"
rm -r "$secondAt"
startDaemon
expectStatus 0 "$lumisk" image mount "$second" <<<first
waitFor 60 test -e "$secondAt/backup/little/one" || fail "the job does not run when its image is mounted"
endDaemon TERM
errors=$(cat "$LUMISK_HOME/Library/Logs/Qel Lumisk/waiting.log" 2>/dev/null | grep -c ERROR)
[ "$errors" -le 3 ] || fail "$errors errors were told while the job waited"
expectStatus 0 "$lumisk" image mount "$second" --keep-password <<<first
expectStatus 0 "$lumisk" image detach "$second"
echo two >"$scratch/little/two"
expectStatus 0 "$lumisk" run waiting
[ ! -e "$secondAt" ] || fail "the image stays mounted after the run"
expectStatus 0 "$(dirname "$lumisk")/hdiutil" chpass -stdinpass "$second" < <(printf 'first\nother')
expectStatus 1 "$lumisk" run waiting
grep -q "with the password that is kept" "$scratch/err" || fail "said $(cat "$scratch/err")"
expectStatus 0 "$lumisk" image mount "$second" --keep-password <<<other
[ -e "$secondAt/backup/little/two" ] || fail "nothing was copied once the password was kept"

ln -s "$scratch" "$scratch/link"
expectStatus 2 "$lumisk" image delete "$scratch/link/$name.sparseimage"
expectStatus 2 "$lumisk" image delete "$image"
expectStatus 1 "$lumisk" image detach /Volumes/none
expectStatus 0 "$lumisk" image detach "$image"
expectStatus 0 "$lumisk" image password "$image" < <(printf 'se cret\nother\n')
expectStatus 0 "$lumisk" image mount "$image"
expectStatus 0 "$lumisk" job remove vault
expectStatus 0 "$lumisk" image delete "$scratch/link/$name.sparseimage"
[ ! -e "$image" ] && [ ! -e "$at" ] || fail "the image was not deleted"
expectStatus 1 "$lumisk" image mount "$image" <<<x
finish
