#!/usr/bin/env bash
# The root helper under attack: the real program behind a real socket, asked by users without any rights.
. "$(dirname "$0")/lib.sh"
. "$(dirname "$0")/helper_lib.sh"

endAll() {
  endHelper
  cleanup
}
trap endAll EXIT
startBus
startHelper

expectAnswer "0 1013" $stranger version
expectAnswer 22 $stranger command NoSuchCommand
expectAnswer -60005 $entitled command LowNumberedPorts
expectAnswer 95 0 command LowNumberedPorts

# What it is left with: some of root's rights.
helperProcess=$(pgrep -f "^$helperTool" | head -1)
rights=$(awk '/^CapEff/ { print $2 }' "/proc/$helperProcess/status")
((0x$rights == 0x882002df)) || fail "the helper's rights: $rights"
grep -q '^NoNewPrivs:.1' "/proc/$helperProcess/status" || fail "the helper could gain rights"
[ "$(readlink "/proc/$helperProcess/cwd")" = / ] || fail "the helper stays where it was started"
grep -q 'Max core file size *0 *0' "/proc/$helperProcess/limits" || fail "the helper would leave core files"

# Requests of every length, and of every kind that is none.
body() { python3 -c '
import plistlib, sys
body = plistlib.dumps({"com.apple.dts.BetterAuthorizationSample.command": "GetVersion"})
sys.stdout.buffer.write(body + b"\n" * (int(sys.argv[1]) - len(body)))' "$1"; }
body 1048576 >"$scratch/largest"
body 1048577 >"$scratch/larger"
printf 'bplist00and some more' >"$scratch/binary"
printf '<plist version="1.0"><array/></plist>' >"$scratch/array"
printf '<plist><dict>' >"$scratch/half"
chmod 644 "$scratch"/{largest,larger,binary,array,half}
expectAnswer 22 $stranger frame 0 /dev/null
expectAnswer 0 $stranger frame 1048576 "$scratch/largest"
expectAnswer 22 $stranger frame 1048577 "$scratch/larger"
expectAnswer 22 $stranger frame 4294967295
expectAnswer -4960 $stranger frame 21 "$scratch/binary"
expectAnswer -4960 $stranger frame "$(stat -c %s "$scratch/array")" "$scratch/array"
expectAnswer -4960 $stranger frame "$(stat -c %s "$scratch/half")" "$scratch/half"

# One who is slow and a thousand who say nothing keep nobody else waiting.
ask $stranger slow >"$scratch/slow" &
slow=$!
mkfifo "$scratch/hold"
ask $entitled crowd 1000 <"$scratch/hold" >"$scratch/crowd" &
crowd=$!
exec 7>"$scratch/hold"
waitFor 60 grep -q holding "$scratch/crowd" || fail "the crowd does not come"
answered() { [ "$(ask $stranger version)" = "0 1013" ]; }
waitFor 30 answered || fail "a crowd keeps another user out"
exec 7>&-
wait $crowd $slow
grep -qE '^(110|closed)$' "$scratch/slow" || fail "a client of one byte a second was answered $(cat "$scratch/slow")"
isServed() { [ "$(ask $entitled version)" = "0 1013" ]; }
waitFor 60 isServed || fail "the helper is not what it was after the crowd"

# Job files that are none. The volumes in them exist, so that only the file can be the reason.
mountNew "$scratch/source" 16M ext4
mountNew "$scratch/target" 16M ext4
chmod 755 "$scratch"
home=$scratch/userhome
mkdir -p "$home/jobs" "$home/open"
device=$(findmnt -no SOURCE "$scratch/target")
writeJob() { # FILE TARGET DEVICE
  python3 - "$1" "$scratch/source" "$2" "$3" <<'P'
import plistlib, sys
file, source, target, device = sys.argv[1:]
plistlib.dump({"kSourcePath": source, "kTargetPath": target, "kTargetBSDPath": device, "kFormatVolume": False,
               "kRepairPermissions": False, "kCloneType": 1, "kCancelStatus": False}, open(file, "wb"))
P
  chmod 600 "$1"
}
good=$home/jobs/good.plist
writeJob "$good" "$scratch/target" "$device"
for name in group world root; do cp -p "$good" "$home/jobs/$name.plist"; done
chmod 620 "$home/jobs/group.plist"
chmod 602 "$home/jobs/world.plist"
cp "$good" "$home/open/job.plist"
chmod 600 "$home/open/job.plist"
ln -s good.plist "$home/jobs/link.plist"
ln -s jobs "$home/way"
mkfifo "$home/jobs/fifo.plist"
mknod "$home/jobs/device.plist" c 1 5
mkdir "$home/jobs/folder.plist"
writeJob "$home/jobs/large.plist" "$scratch/target" "$device"
head -c 1048576 /dev/zero | tr '\0' ' ' >>"$home/jobs/large.plist"
python3 -c '
import plistlib, sys
job = plistlib.load(open(sys.argv[1], "rb"))
plistlib.dump(job, open(sys.argv[2], "wb"), fmt=plistlib.FMT_BINARY)' "$good" "$home/jobs/binary.plist"
chmod 600 "$home/jobs/binary.plist"
writeJob "$home/jobs/system.plist" / "$(findmnt -no SOURCE /)"
writeJob "$home/jobs/other.plist" "$scratch/target" "$(findmnt -no SOURCE "$scratch/source")"
writeJob "$home/jobs/same.plist" "$scratch/source" "$(findmnt -no SOURCE "$scratch/source")"
chown -hR $entitled:$entitled "$home"
chown 0:0 "$home/jobs/root.plist"
chmod 777 "$home/open"
before=$(find "$scratch/target" "$scratch/source" /etc/passwd -printf '%p %T@ %s\n' | sort)
for case in group:1 world:1 root:13 link:40 fifo:95 device:95 folder:21 large:27 binary:-4960 none:2 other:19 same:22; do
  expectAnswer "${case#*:}" $entitled command GetUIDs "$home/jobs/${case%:*}.plist"
done
expectAnswer 20 $entitled command GetUIDs "$home/way/good.plist"
expectAnswer 1 $entitled command GetUIDs "$home/open/job.plist"
for path in "" / jobs/good.plist "$home/jobs/../jobs/good.plist" "$home/jobs//good.plist"; do
  expectAnswer 22 $entitled command GetUIDs "$path"
done
# An open descriptor's name, which leads to a file that is good.
setpriv --reuid $entitled --regid $entitled --clear-groups sleep 300 5<"$good" &
holder=$!
started+=($holder)
waitFor 20 asUser $entitled test -e "/proc/$holder/fd/5" || fail "no descriptor to name"
expectAnswer 40 $entitled command GetUIDs "/proc/$holder/fd/5"
system=$(ask $entitled command GetUIDs "$home/jobs/system.plist")
[[ $system =~ ^[0-9]+$ && $system -ne 0 ]] || fail "the running system as a target was answered $system"
[ "$(find "$scratch/target" "$scratch/source" /etc/passwd -printf '%p %T@ %s\n' | sort)" = "$before" ] ||
  fail "something was touched"
[ -z "$(find "$home" -not -user $entitled -not -name root.plist)" ] || fail "files of another user lie in the home folder"

# Who has no right to it, whatever the file is like.
chown -hR $stranger:$stranger "$home"
expectAnswer -60005 $stranger command GetUIDs "$good"
[ ! -e "$home/jobs/good_2.plist" ] || fail "something was written for a user without the right"

# Without polkit nobody but root has the right.
kill "${started[1]}"
waitFor 20 eval '! isPolkitThere'
chown -hR $entitled:$entitled "$home"
expectAnswer -60005 $entitled command GetUIDs "$good"
finish
