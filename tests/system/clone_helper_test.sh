#!/usr/bin/env bash
# A volume cloned by the root helper for an ordinary user, through its real socket, compared by another program.
. "$(dirname "$0")/lib.sh"
. "$(dirname "$0")/helper_lib.sh"
for tool in rsync setcap setfacl; do command -v $tool >/dev/null || skip "no $tool"; done

source=$scratch/source
target=$scratch/target
mountNew "$source" 200M ext4 -L "The source"
mountNew "$target" 220M ext4 -L other
home=$scratch/userhome
mkdir -p "$home/jobs"
chown -R $entitled "$home"
chmod 755 "$scratch"
device=$(findmnt -no SOURCE "$target")

# writeJob KEY=yes...: the user's job file.
writeJob() {
  asUser $entitled python3 - "$home/jobs/a job.plist" "$source" "$target" "$device" "$@" <<'P' || fail "no job file"
import os, plistlib, sys
file, source, target, device, *flags = sys.argv[1:]
job = {"kSourcePath": source, "kTargetPath": target, "kTargetBSDPath": device, "kFormatVolume": False,
       "kRepairPermissions": False, "kCloneType": 1, "kXMLFilePath": file, "kCancelStatus": False}
job.update({flag.split("=")[0]: True for flag in flags})
os.umask(0o077)
plistlib.dump(job, open(file + ".new", "wb"))
os.rename(file + ".new", file)
P
}
end() { python3 -c 'import plistlib, sys; print(plistlib.load(open(sys.argv[1], "rb"))[sys.argv[2]])' "$home/jobs/a job_2.plist" "$1"; }
clone() { ask $entitled clone "$home/jobs/a job.plist" | tr '\n' ' '; }
expectClone() { # WANTED-END KEY=yes...
  local wanted=$1 answer
  shift
  writeJob "$@"
  answer=$(clone)
  [ "$answer" = "0 ended " ] || fail "the helper answered $answer"
  [ "$(end kErrorCode)" = "$wanted" ] || fail "the clone ended with $(end kErrorCode): $(end kErrorMessage)"
}
expectEqual() {
  expectSame "$source" "$target" --exclude=/lost+found
  expectNoTemporaries "$target"
}

# A tree of everything that a volume can hold.
mkdir -p "$source/d/deep/er" "$source/lib"
cp -a /usr/bin/[a-d]* "$source/lib/" 2>/dev/null
cp /bin/true "$source/d/capable" && setcap cap_net_raw+ep "$source/d/capable"
cp /bin/true "$source/d/setuid" && chmod 6755 "$source/d/setuid"
echo text >"$source/d/one" && ln "$source/d/one" "$source/d/deep/two" && ln -s ../one "$source/d/deep/link"
setfacl -m u:$stranger:r "$source/d/one"
setfattr -n user.note -v value "$source/d/one"
setfattr -n trusted.note -v root "$source/d/deep"
truncate -s 20M "$source/d/sparse" && echo end >>"$source/d/sparse"
mkfifo "$source/d/fifo" && mknod "$source/d/device" c 1 3
chown 1234:4321 "$source/d/deep/er" && chmod 1750 "$source/d/deep/er"
touch -d '1999-12-31 23:59:59.123456789' "$source/d/deep/er" "$source/d/one"
touch "$target/extra" && mkdir "$target/extras" && touch "$target/extras/file"

expectAnswer -60005 $stranger command GetUIDs "$home/jobs/a job.plist"
[ -e "$target/extra" ] || fail "a user without the right has changed the target"
expectClone 0
expectEqual
[ "$(end kFinishCloneJob)" = True ] || fail "not told as finished"
[ "$(stat -c %U:%a "$home/jobs/a job_2.plist")" = nobody:600 ] || fail "the end belongs to $(stat -c %U:%a "$home/jobs/a job_2.plist")"
[ -e "$home/jobs/a job_1.plist" ] || fail "no progress was told"
[ "$(($(stat -c %b "$target/d/sparse") * 512))" -lt 1000000 ] || fail "a sparse file was filled"

# Erased first.
uuid=$(blkid -p -s UUID -o value "$device")
rm -r "$source/lib/"[a-b]*
expectClone 0 kFormatVolume=yes kVerify=yes
expectEqual
[ "$(blkid -p -s UUID -o value "$device")" != "$uuid" ] || fail "the target was not erased"
[ "$(end kDifferences)" = 0 ] || fail "$(end kDifferences) differences"
[ "$(blkid -p -s LABEL -o value "$device")" = "The source" ] || fail "the target does not have the source's label"

# A cancel in the job file: the volume stays sound and the next clone completes it.
for i in 1 2 3 4 5 6; do cp -a /usr/bin/[a-d]* "$source/d/deep/er/" 2>/dev/null; done
cp -a /usr/share/doc/[a-f]* "$source/d/" 2>/dev/null
expectClone -128 kCancelStatus=yes
[ "$(end kFinishCloneJob)" = False ] || fail "a cancelled clone is told as finished"
umount "$target" && fsck.ext4 -fn "$target.image" >"$scratch/out" 2>&1 || fail "not sound after a cancel: $(cat "$scratch/out")"
mount -o loop "$target.image" "$target"
device=$(findmnt -no SOURCE "$target")

# Killed in the middle: the user's end of the pipe tells it, and the next clone completes.
writeJob
clone >"$scratch/killed" &
killed=$!
writingOne() { [ -n "$(find "$target" -newer "$scratch/killed" -name '*' 2>/dev/null | head -1)" ]; }
waitFor 30 writingOne
pkill -KILL -P "$(pgrep -of "^$helperTool")"
wait $killed
[ "$(cat "$scratch/killed")" = "0 ended " ] || fail "a killed helper was told as $(cat "$scratch/killed")"
expectClone 0
expectEqual

finish
