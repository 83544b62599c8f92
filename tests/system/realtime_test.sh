#!/usr/bin/env bash
# Real-time jobs of the daemon, end to end. Each change is waited for with a generous deadline.
. "$(dirname "$0")/lib.sh"
needsRoot
mkdir -p "$scratch/docs/sub" "$scratch/backup" "$scratch/left" "$scratch/right"
printf one >"$scratch/docs/one"
has() { [ "$(cat "$1" 2>/dev/null)" = "$2" ]; }
arrives() { waitFor 60 has "$1" "$2" || fail "$1 is not \"$2\": $("$lumisk" status)"; }
isSame() { diff -r "$1" "$2" >/dev/null 2>&1; }

startDaemon
expectStatus 0 "$lumisk" job add keep --type backup --source "$scratch/docs" --target "$scratch/backup" --realtime
expectStatus 0 "$lumisk" job add pair --type sync --source "$scratch/left" --target "$scratch/right" --realtime
arrives "$scratch/backup/docs/one" one
printf two >"$scratch/docs/sub/two"
arrives "$scratch/backup/docs/sub/two" two
printf here >"$scratch/left/file"
arrives "$scratch/right/file" here
printf there >"$scratch/right/back"
arrives "$scratch/left/back" there
rm "$scratch/right/back"
waitFor 60 test ! -e "$scratch/left/back" || fail "a deletion did not travel"

# A burst in new folders.
python3 - "$scratch/docs/burst" <<'PY'
import os, sys
for folder in range(200):
    path = "%s/%02d/%03d" % (sys.argv[1], folder % 20, folder)
    os.makedirs(path)
    for n in range(50):
        with open("%s/f%02d" % (path, n), "w") as file: file.write(path)
PY
waitFor 120 isSame "$scratch/docs/burst" "$scratch/backup/docs/burst" || fail "the burst is incomplete"
mv "$scratch/docs/burst" "$scratch/docs/renamed"
waitFor 120 isSame "$scratch/docs/renamed" "$scratch/backup/docs/renamed" || fail "the renamed folder is incomplete"

# What changes while nobody listens.
endDaemon TERM
[ "$daemonStatus" -eq 0 ] || fail "the daemon ended with $daemonStatus"
printf off >"$scratch/docs/sub/off"
startDaemon
arrives "$scratch/backup/docs/sub/off" off

# A target whose volume goes and comes back.
mountNew "$scratch/volume" 64M ext4
expectStatus 0 "$lumisk" job add away --type backup --source "$scratch/docs/sub" --target "$scratch/volume" --realtime
arrives "$scratch/volume/sub/two" two
waitFor 30 umount "$scratch/volume" || fail "cannot unmount"
printf meanwhile >"$scratch/docs/sub/meanwhile"
arrives "$scratch/backup/docs/sub/meanwhile" meanwhile
[ -z "$(ls -A "$scratch/volume")" ] || fail "the bare mount point was written to: $(ls -A "$scratch/volume")"
mount -o loop "$scratch/volume.image" "$scratch/volume"
arrives "$scratch/volume/sub/meanwhile" meanwhile
endDaemon TERM
expectSame "$scratch/left" "$scratch/right" --exclude '_*Lumiskinfo_*' --exclude '.lumisk*'
expectNoTemporaries "$scratch"
finish
