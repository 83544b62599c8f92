#!/usr/bin/env bash
# Encrypted images with the real tools: made, opened, closed, and found again after crashes.
. "$(dirname "$0")/lib.sh"
needsRoot
hdiutil=$(dirname "$lumisk")/hdiutil
for tool in qemu-storage-daemon qemu-img cryptsetup flock; do command -v $tool >/dev/null || skip "no $tool"; done
[ -x "$hdiutil" ] && [ -c /dev/fuse ] && [ -e /dev/loop-control ] || skip "images cannot be opened here"

name="odd '\"\$(x)\`,ü $$"
password="pa,ss '\"\$(x)\` ü
$(printf 'x%.0s' {1..400})"
image=$scratch/$name.sparseimage
at=/Volumes/$name
tool() { printf %s "$password" | "$hdiutil" "$@"; }
daemonOf() { pgrep -f "filename=.*odd.*$$.sparseimage"; }
closeAll() {
  umount -l "$at" 2>/dev/null
  local pid
  for pid in $(daemonOf); do kill "$pid"; done
  rmdir "$at" 2>/dev/null
  cleanup
}
trap closeAll EXIT

# What any other user of the machine could see of the password while `tool` works.
watchArguments() {
  while [ ! -e "$scratch/stop" ]; do
    sleep 0.1
    cat /proc/[0-9]*/cmdline /proc/[0-9]*/environ 2>/dev/null | grep -qaF 'xxxxxxxxxxxxxxxxxxxxxxxx' && touch "$scratch/seen"
  done
}
watchArguments 2>/dev/null &
watcher=$!

expectStatus 0 tool create -volname "$name" -stdinpass -encryption -type SPARSE -size 100m -fs HFS+ "$scratch/$name"
[ "$(stat -c %a "$image")" = 600 ] || fail "the image can be read by others"
before=$(stat -c %Y%s "$image")
expectStatus 1 tool create -volname "$name" -stdinpass -encryption -type SPARSE -size 100m -fs HFS+ "$scratch/$name"
[ "$(stat -c %Y%s "$image")" = "$before" ] || fail "an image that stood there was touched"
cryptsetup luksDump "$image" >/dev/null || fail "luksDump does not accept the image"
printf %s "$password" | cryptsetup open --test-passphrase --key-file=- "$image" || fail "cryptsetup does not accept it"

expectStatus 2 "$hdiutil" mount -stdinpass "$image" <<<wrong
[ -z "$(daemonOf)" ] || fail "a daemon is left after a wrong password"
expectStatus 0 tool mount -stdinpass "$image"
expectStatus 0 tool mount -stdinpass "$image"
[ "$(findmnt -no OPTIONS "$at" | grep -o 'nosuid\|nodev' | wc -l)" = 2 ] || fail "not mounted nosuid, nodev"
printf 'a secret that nobody reads' >"$at/file"
expectStatus 0 "$hdiutil" info -plist
python3 - "$scratch/out" "$image" "$at" <<'P' || fail "info does not tell the image"
import plistlib, sys
images = plistlib.load(open(sys.argv[1], "rb"))["images"]
mine = [i for i in images if i["image-path"] == sys.argv[2]][0]["system-entities"][0]
assert mine["mount-point"] == sys.argv[3] and mine["dev-entry"].startswith("/dev/loop")
P
exec 9<"$at/file"
expectStatus 16 "$hdiutil" detach "$at"
exec 9<&-
[ -e "$at/file" ] || fail "an image in use was closed"
expectStatus 16 tool chpass -stdinpass "$image" <<<$'a\nb'
expectStatus 0 "$hdiutil" detach "$at"
[ -z "$(daemonOf)" ] && [ ! -e "$at" ] || fail "something is left after detaching"
grep -qa 'secret that nobody' "$image" && fail "the content can be read in the image"

# Another program that has the image open.
exec 8<"$image"
flock 8
expectStatus 16 tool mount -stdinpass "$image"
exec 8<&-

# The daemon dies under the mount: told when detaching, mended when mounting.
expectStatus 0 tool mount -stdinpass "$image"
printf kept >"$at/kept"; sync -f "$at/kept"
printf lost >"$at/lost"
kill -KILL "$(daemonOf)"
sleep 0.2
expectStatus 1 "$hdiutil" detach "$at"
grep -q 'may be lost' "$scratch/err" || fail "the loss was not told"
expectStatus 0 tool mount -stdinpass "$image"
[ "$(cat "$at/kept")" = kept ] || fail "what was on the disk is gone"
kill -KILL "$(daemonOf)"
sleep 0.2
expectStatus 0 tool mount -stdinpass "$image"
[ "$(cat "$at/kept")" = kept ] || fail "not mended by mounting alone"
expectStatus 0 "$hdiutil" detach "$image"

# Another password, and what cannot be done.
second=$scratch/second.sparseimage
printf %s 'first' | "$hdiutil" create -stdinpass -encryption -type SPARSE -size 64m -fs HFS+ "$scratch/second" || fail "create"
expectStatus 0 "$hdiutil" chpass -stdinpass "$second" < <(printf 'first\nnew one')
expectStatus 2 "$hdiutil" chpass -stdinpass "$second" < <(printf 'first\nthird')
printf 'new one' | cryptsetup open --test-passphrase --key-file=- "$second" || fail "the new password does not open it"
expectStatus 1 "$hdiutil" create -stdinpass -encryption -type SPARSE -size 64m -fs HFS+ "$scratch/third" </dev/null
[ ! -e "$scratch/third.sparseimage" ] || fail "half an image was left"
head -c 100000 /dev/urandom >"$scratch/junk.sparseimage"
expectStatus 1 "$hdiutil" mount -stdinpass "$scratch/junk.sparseimage" <<<x
expectStatus 1 "$hdiutil" mount -stdinpass "$scratch/none.sparseimage" <<<x
expectStatus 1 "$hdiutil" detach /Volumes/none
expectStatus 64 "$hdiutil" mount "$image"
expectStatus 64 "$hdiutil" burn
touch "$scratch/stop"
wait $watcher
[ ! -e "$scratch/seen" ] || fail "a password could be seen in /proc"
finish
