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
closeAll() {
  umount -l "$at" 2>/dev/null
  local pid
  for pid in $(pgrep -f "filename=.*jobs of $$.sparseimage"); do kill "$pid"; done
  rmdir "$at" 2>/dev/null
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

# The daemon below the image dies in the middle: nothing is claimed, and the next run mends and completes.
head -c 20M /dev/urandom >"$scratch/source/large"
(sleep 0.3; pkill -KILL -f "filename=.*jobs of $$.sparseimage") &
expectStatus 1 "$lumisk" run vault --pace gentle
wait
"$lumisk" image detach "$at" >/dev/null 2>&1
expectStatus 0 "$lumisk" run vault
expectStatus 0 "$lumisk" image mount "$image"
cmp "$scratch/source/large" "$at/backup/source/large" || fail "the next run did not complete"

expectStatus 2 "$lumisk" image delete "$image"
expectStatus 1 "$lumisk" image detach /Volumes/none
expectStatus 0 "$lumisk" image detach "$image"
expectStatus 0 "$lumisk" image password "$image" < <(printf 'se cret\nother\n')
expectStatus 0 "$lumisk" image mount "$image"
expectStatus 0 "$lumisk" job remove vault
expectStatus 0 "$lumisk" image delete "$image"
[ ! -e "$image" ] && [ ! -e "$at" ] || fail "the image was not deleted"
expectStatus 1 "$lumisk" image mount "$image" <<<x
finish
