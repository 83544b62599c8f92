#!/usr/bin/env bash
# Encrypted images of an ordinary user, whose volumes the root helper mounts.
. "$(dirname "$0")/lib.sh"
hdiutil=$(dirname "$lumisk")/hdiutil
for tool in qemu-storage-daemon qemu-img fusermount3; do command -v $tool >/dev/null || skip "no $tool"; done
[ -x "$hdiutil" ] && [ -c /dev/fuse ] && [ -e /dev/loop-control ] || skip "images cannot be opened here"
. "$(dirname "$0")/helper_lib.sh"

daemonOf() { pgrep -f "filename=$1"; }
endMore() {
  umount -l /Volumes/* 2>/dev/null
  local pid
  for pid in $(daemonOf "$scratch"); do kill "$pid"; done
}
# As on any machine with a device manager, everybody may use FUSE.
mknod "$scratch/fuse" c 10 229 && chmod 666 "$scratch/fuse" && mount --bind "$scratch/fuse" /dev/fuse
mkdir -p /Volumes && mount -t tmpfs -o mode=755 none /Volumes || skip "no mounts of its own"
for user in $entitled $stranger; do
  mkdir -p "$scratch/$user/run"
  chmod 700 "$scratch/$user/run"
  chown -R "$user:$user" "$scratch/$user"
done
as() { # UID HDIUTIL-ARGUMENTS...
  local user=$1
  shift
  setpriv --reuid "$user" --regid "$user" --clear-groups env XDG_RUNTIME_DIR="$scratch/$user/run" "$hdiutil" "$@" <<<"$password"
}
password=secret
image=$scratch/$entitled/mine.sparseimage
at=/Volumes/mine

expectStatus 0 as $entitled create -volname mine -stdinpass -encryption -type SPARSE -size 100m -fs HFS+ "${image%.*}"
expectStatus 0 as $entitled mount -stdinpass "$image"
[ "$(cat "$scratch/out")" = $at ] || fail "mounted at $(cat "$scratch/out")"
[ "$(findmnt -no OPTIONS $at | grep -o 'nosuid\|nodev\|errors=remount-ro' | wc -l)" = 3 ] ||
  fail "mounted with $(findmnt -no OPTIONS $at)"
asUser $entitled sh -c "echo kept >$at/file && cp /bin/true $at/tool && chmod 4755 $at/tool" || fail "its user cannot write"
expectStatus 0 as $entitled mount -stdinpass "$image"
expectStatus 0 as $entitled info -plist
grep -q "<string>$at</string>" "$scratch/out" || fail "info does not tell it"

# In use, and of somebody else.
exec 9<$at/file
expectStatus 16 as $entitled detach $at
exec 9<&-
expectStatus 1 as $stranger detach $at
expectAnswer 1 $stranger keys UnmountImage kMountPointKey=$at
expectAnswer 1 $stranger keys UnmountImage kMountPointKey=$at kAtOnceKey=yes
expectAnswer 1 $entitled keys UnmountImage kMountPointKey=/
expectAnswer 2 $entitled keys UnmountImage kMountPointKey=/usr
[ -e $at/file ] || fail "somebody else's volume was unmounted"
expectStatus 0 as $entitled detach $at
[ ! -e $at ] && [ -z "$(daemonOf "$image")" ] || fail "something is left after detaching"
[ -z "$(ls /run/lumisk-helper)" ] || fail "a record is left"
mkdir $at
expectStatus 0 as $entitled mount -stdinpass "$image"
expectStatus 0 as $entitled detach $at
rmdir $at || fail "a folder that stood before the mount is gone after it"

# Who may not, and what is no volume of the user's.
cp "$image" "$scratch/$stranger/mine.sparseimage"
chown $stranger "$scratch/$stranger/mine.sparseimage"
expectStatus 1 as $stranger mount -stdinpass "$scratch/$stranger/mine.sparseimage"
[ -z "$(daemonOf "$scratch/$stranger")" ] && [ -z "$(ls /Volumes)" ] || fail "something is left of what was refused"
truncate -s 16M "$scratch/roots" && mkfs.ext4 -q "$scratch/roots"
chmod 600 "$scratch/roots"
ln -s "$scratch/roots" "$scratch/$entitled/link"
mkfifo "$scratch/$entitled/fifo" && chown $entitled "$scratch/$entitled/fifo"
truncate -s 16M "$scratch/$entitled/xfs" && chown $entitled "$scratch/$entitled/xfs"
mount_() { expectAnswer "$1" $entitled keys MountImage "kBlocksPathKey=$2" "kVolumeNameKey=$3"; }
mount_ 13 "$scratch/roots" x
mount_ 40 "$scratch/$entitled/link" x
mount_ 22 "$scratch/$entitled/fifo" x
mount_ 21 "$scratch/$entitled" x
mount_ 2 "$scratch/$entitled/none" x
mount_ 22 "$scratch/$entitled/xfs" x # no ext4 in it
mount_ 22 relative x
for name in .. . "" a/b ../../etc; do mount_ 22 "$image" "$name"; done
mkdir /Volumes/taken && touch /Volumes/taken/file
mount_ 16 "$image" taken
[ "$(ls /Volumes)" = taken ] && [ -z "$(losetup -n --list | grep "$scratch")" ] || fail "something is left of what was refused"

# The daemon dies under the mount.
expectStatus 0 as $entitled mount -stdinpass "$image"
[ "$(cat $at/file)" = kept ] || fail "what was written is gone"
kill -KILL "$(daemonOf "$image")"
sleep 0.2
expectStatus 0 as $entitled mount -stdinpass "$image"
[ "$(cat $at/file)" = kept ] || fail "not mended by mounting"
expectStatus 0 as $entitled detach "$image"

# (With fusermount3, which has rights of its own, so not by asUser.) A job of this user that opens and closes its image by itself, with the password in a real secret service.
command -v dbus-run-session >/dev/null && command -v gnome-keyring-daemon >/dev/null || finish
cat >"$scratch/session" <<'X'
set -eu
lumisk=$1
cd
printf test | gnome-keyring-daemon --unlock --components=secrets --daemonize >/dev/null 2>&1
mkdir source && echo one >source/one
"$lumisk" image create vault.sparseimage --size 100m --keep-password <<<'se cret'
"$lumisk" image mount vault.sparseimage
mkdir /Volumes/vault/backup
"$lumisk" job add vault --type backup --manual --source ~/source --target /Volumes/vault/backup --image ~/vault.sparseimage
"$lumisk" image detach /Volumes/vault
"$lumisk" run vault
[ ! -e /Volumes/vault ] || { echo "the image stays mounted after the run"; exit 1; }
echo two >source/two
"$lumisk" run vault
"$lumisk" image mount vault.sparseimage
diff -r source /Volumes/vault/backup/source
"$lumisk" image detach /Volumes/vault
X
userHome=$scratch/$entitled
setpriv --reuid $entitled --regid $entitled --clear-groups env -i PATH="$PATH" HOME="$userHome" LUMISK_HOME="$userHome" XDG_RUNTIME_DIR="$userHome/run" \
  timeout 300 dbus-run-session -- bash "$scratch/session" "$lumisk" >"$scratch/out" 2>&1 ||
  fail "a job with an image: $(cat "$scratch/out")"
[ -z "$(daemonOf "$scratch")" ] || fail "a storage daemon is left"
finish
