#!/usr/bin/env bash
# The root helper under attack: the real program behind a real socket, asked by users without any rights.
. "$(dirname "$0")/lib.sh"
. "$(dirname "$0")/helper_lib.sh"

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

# Job files that are none. The volumes in them exist, so that only the file can be the reason.
mountNew "$scratch/source" 16M ext4
mountNew "$scratch/target" 16M ext4
chmod 755 "$scratch"
home=$scratch/userhome
mkdir -p "$home/jobs"
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
cp "$good" "$home/jobs/root.plist"
ln -s good.plist "$home/jobs/link.plist"
writeJob "$home/jobs/system.plist" / "$(findmnt -no SOURCE /)"
writeJob "$home/jobs/other.plist" "$scratch/target" "$(findmnt -no SOURCE "$scratch/source")"
chown -hR $entitled:$entitled "$home"
chown 0:0 "$home/jobs/root.plist"
before=$(find "$scratch/target" "$scratch/source" /etc/passwd -printf '%p %T@ %s\n' | sort)
for case in root:13 link:40 none:2 other:19; do
  expectAnswer "${case#*:}" $entitled command GetUIDs "$home/jobs/${case%:*}.plist"
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
