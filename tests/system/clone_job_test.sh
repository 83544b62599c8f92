#!/usr/bin/env bash
# A clone from the command line of an ordinary user: made, run through the root helper, cancelled, followed in a running
# instance, and gone after success when it was to be made once.
. "$(dirname "$0")/lib.sh"
. "$(dirname "$0")/helper_lib.sh"
command -v rsync >/dev/null || skip "no rsync"

madeLibrary=
[ -e /Library ] || { mkdir /Library && madeLibrary=yes; } || skip "no place for the helper"
endMore() {
  umount /Library 2>/dev/null
  [ -n "$madeLibrary" ] && rmdir /Library
}
mount --bind "$scratch/root/Library" /Library || skip "no mounts of its own"
source=$scratch/source
target=$scratch/target
mountNew "$source" 600M ext4 -L source
mountNew "$target" 640M ext4 -L other
cp -a /usr/bin/[a-d]* "$source/" 2>/dev/null
echo "not ours" >"$target/extra"
install -m 755 "$lumisk" "$scratch/lumisk"
lumisk=$scratch/lumisk
mkdir -p "$LUMISK_HOME/run"
chown -R $entitled "$LUMISK_HOME"
export XDG_RUNTIME_DIR=$LUMISK_HOME/run
# A helper that is current: nothing is installed.
settings() {
  asUser $entitled python3 - "$LUMISK_HOME/Library/Preferences/com.qelcorporation.lumisk.plist" "$1" <<'P'
import plistlib, sys
stored = plistlib.load(open(sys.argv[1], "rb"))
stored["kHelperToolVersion"] = int(sys.argv[2])
plistlib.dump(stored, open(sys.argv[1], "wb"))
P
}
user() { asUser $entitled "$lumisk" "$@"; }

expectStatus 2 user job add disk --type clone --source "$source/.." --target "$target" --manual
expectStatus 2 user job add disk --type clone --source "$source" --target "$source" --manual
expectStatus 0 user job add disk --type clone --source "$source" --target "$target" --manual --verify
settings 1013

# The first clone leaves what the target has besides; the next one does not.
expectStatus 0 user run disk --json
[ "$(json result)" = completed ] || fail "the clone ended as $(json result)"
[ -e "$target/extra" ] || fail "the first clone has removed what was not its own"
expectStatus 0 user run disk
expectSame "$source" "$target" --exclude=/lost+found

# Stopped by Ctrl-C: told as cancelled, and the next run completes it.
for i in 1 2 3 4; do mkdir "$source/more$i" && cp -a /usr/bin/[a-d]* "$source/more$i" 2>/dev/null; done
user run disk --json >"$scratch/out" 2>"$scratch/err" &
runner=$!
isCloning() { pgrep -P "$(pgrep -of "^$helperTool")" >/dev/null 2>&1; }
waitFor 30 isCloning || fail "no clone has begun"
pkill -INT -P $runner 2>/dev/null || kill -INT $runner
wait $runner
status=$?
case $status in
  130) [ "$(json result)" = cancelled ] || fail "a cancelled clone is told as $(json result)" ;;
  0) echo "the clone was faster than the cancel" ;;
  *) fail "status $status after a cancel: $(cat "$scratch/err")" ;;
esac
expectStatus 0 user run disk
expectSame "$source" "$target" --exclude=/lost+found

# Killed in the middle: said plainly, and the next run completes it.
rm -r "$source"/more* && for i in 1 2 3 4; do cp -a /usr/bin/[a-d]* "$source/" && mkdir -p "$source/again$i" && cp -a /usr/bin/[e-g]* "$source/again$i"; done 2>/dev/null
user run disk >"$scratch/out" 2>"$scratch/err" &
runner=$!
waitFor 30 isCloning || fail "no clone has begun"
pkill -KILL -P "$(pgrep -of "^$helperTool")"
wait $runner
status=$?
[ $status -eq 1 ] && grep -q "the helper has ended before it was done" "$scratch/err" ||
  fail "status $status after the helper was killed: $(cat "$scratch/err")"

# In a running instance, once and erased: followed to its end, and gone after it.
expectStatus 0 user job edit disk --manual --format
expectStatus 0 user job remove disk
expectStatus 0 user job add once --type clone --source "$source" --target "$target" --format
setpriv --reuid $entitled --regid $entitled --clear-groups "$lumisk" daemon >"$scratch/daemon.out" 2>"$scratch/daemon.err" &
daemon=$!
waitFor 20 grep -qs '^lumisk: daemon: running, ' "$scratch/daemon.out" || fail "the daemon does not start: $(cat "$scratch/daemon.err")"
expectStatus 0 user run once --json
[ "$(json result)" = completed ] || fail "the clone in the instance ended as $(json result)"
expectSame "$source" "$target" --exclude=/lost+found
expectStatus 3 user job show once
endDaemon TERM
finish
