#!/usr/bin/env bash
# Volumes that vanish in the middle of a run, turn read-only, cannot take what was written, or give some of their sectors
# no more: the run says so, every version is whole, nothing is deleted, and all is well once the volume is.
. "$(dirname "$0")/lib.sh"
needsRoot
source=$scratch/source
volume=$scratch/volume
step=0
trash() { rm -rf "$LUMISK_HOME/.local" "$1/.Trash-0"; }
# Files of two versions that each know their name, and a large one that a run is busy with for a while.
fill() {
  python3 - "$1" "$2" "$3" <<'PY'
import os, sys
side, version, size = sys.argv[1], sys.argv[2], int(sys.argv[3])
for name in ["large"] + ["d%d/f%d" % (d, n) for d in range(4) for n in range(10)]:
    path = os.path.join(side, name)
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "w") as file: file.write(("%s of %s\n" % (version, name)) * (size // 16 if name == "large" else 500))
PY
}
# expectWhole SIDE: each file is one of its two versions, and none is missing.
expectWhole() {
  python3 - "$1" <<'PY' || fail "$2: not whole"
import os, sys
for name in ["large"] + ["d%d/f%d" % (d, n) for d in range(4) for n in range(10)]:
    lines = set(open(os.path.join(sys.argv[1], name)).read().split("\n"))
    assert lines in ({"one of " + name, ""}, {"two of " + name, ""}), (name, list(lines)[:3])
PY
}
# inTheMiddle FOLDER COMMAND...: while a large file is on its way there.
inTheMiddle() {
  local at=$1
  shift
  waitFor 60 isCopying "$at" || fail "no copy was under way for: $*"
  "$@" || fail "cannot $*"
}
starts() { "$lumisk" run "$@" >"$scratch/out" 2>"$scratch/err" & running=$!; }

# The target's volume.
for kind in backup sync; do
  rm -rf "$source"; fill "$source" one 40000000
  version=one
  [ $kind = backup ] && options=(--delete) || options=()
  mountNew "$volume-$kind" 200M ext4
  mkdir "$volume-$kind/t"
  place=$volume-$kind/t
  [ $kind = backup ] && place=$place/source
  expectStatus 0 "$lumisk" job add $kind --type $kind "${options[@]}" --source "$source" --target "$volume-$kind/t" --manual
  expectStatus 0 "$lumisk" run $kind
  for fault in vanishes abort; do
    [ $version = one ] && version=two || version=one
    fill "$source" $version 40000000; find "$source" -type f -exec touch -d "2035-01-01 00:$((++step + 10)):00" {} +
    cp -a "$source" "$scratch/before"
    starts $kind --pace gentle
    if [ $fault = vanishes ]; then inTheMiddle "$place" umount -l "$volume-$kind"; else inTheMiddle "$place" mount -o remount,abort "$volume-$kind"; fi
    wait "$running"; status=$?
    [ $status -eq 1 ] || [ $fault = vanishes ] || fail "$kind, $fault: status $status"
    [ $fault = vanishes ] && [ -n "$(ls -A "$volume-$kind")" ] && fail "$kind: the bare mount point was written to: $(ls -A "$volume-$kind")"
    [ $status -eq 0 ] || expectStatus 1 "$lumisk" run $kind
    [ $fault = vanishes ] && [ -n "$(ls -A "$volume-$kind")" ] && fail "$kind: the bare mount point was written to: $(ls -A "$volume-$kind")"
    expectSame "$scratch/before" "$source" --exclude '.lumisk*' --exclude '_*' -O
    [ $fault = vanishes ] || umount "$volume-$kind"
    # Until the last one that still holds it lets go.
    waitFor 30 sh -c "! losetup -j '$volume-$kind.image' | grep -q ." || fail "the volume is still held"
    e2fsck -fp "$volume-$kind.image" >/dev/null
    mount -o loop "$volume-$kind.image" "$volume-$kind"
    expectWhole "$place" "$kind, $fault"
    expectStatus 0 "$lumisk" run $kind
    expectSame "$source" "$place" --exclude '.lumisk*' --exclude '_*' -O --exclude Revision
    expectNoTemporaries "$place"
    rm -rf "$scratch/before"
    trash "$volume-$kind"
  done
  umount "$volume-$kind"
done

# The source's volume vanishes: nothing of the target is deleted for it.
mountNew "$volume" 200M ext4
mkdir "$volume/source" "$scratch/t1" "$scratch/t2"
fill "$volume/source" one 40000000
expectStatus 0 "$lumisk" job add from --delete --source "$volume/source" --target "$scratch/t1" --manual
expectStatus 0 "$lumisk" job add pair --type sync --source "$volume/source" --target "$scratch/t2" --manual
for name in from pair; do
  [ $name = from ] && place=$scratch/t1/source || place=$scratch/t2
  expectStatus 0 "$lumisk" run $name
  fill "$volume/source" two 40000000
  find "$volume/source" -type f -exec touch -d "2036-01-01 00:$((++step + 10)):00" {} +
  starts $name --pace gentle
  inTheMiddle "$place" umount -l "$volume"
  wait "$running"; status=$?
  [ $status -eq 1 ] || fail "$name: the source vanished: status $status"
  expectStatus 1 "$lumisk" run $name
  expectWhole "$place" "$name without its source"
  waitFor 30 sh -c "! losetup -j '$volume.image' | grep -q ." || fail "the volume is still held"
  mount -o loop "$volume.image" "$volume"
  expectStatus 0 "$lumisk" run $name
  expectSame "$volume/source" "$place" --exclude '.lumisk*' --exclude '_*' -O
done

# Sectors that cannot be read: the loop device gives an error for what lies behind the end of its file.
fill "$volume/source" one 40000000
find "$volume/source" -type f -exec touch -d "2037-01-01" {} +
expectStatus 0 "$lumisk" run from
rm "$volume/source/d1/f1"
head -c 60000000 /dev/urandom >"$volume/source/large"
touch -d 2038-01-01 "$volume/source/large"
sync -f "$volume/source"
last=$(python3 - "$volume/source/large" <<'PY'
import fcntl, os, struct, sys
file = os.open(sys.argv[1], os.O_RDONLY)
blocks = [struct.unpack("i", fcntl.ioctl(file, 1, struct.pack("i", n)))[0] for n in range(os.fstat(file).st_size // 4096)]
print(max(blocks) - 1000 if os.statvfs(sys.argv[1]).f_bsize == 4096 else max(blocks) * os.statvfs(sys.argv[1]).f_bsize // 4096)
os.posix_fadvise(file, 0, 0, os.POSIX_FADV_DONTNEED)
PY
)
cp --sparse=always "$volume.image" "$scratch/whole.image"
truncate -s $((last * 4096)) "$volume.image"
if cat "$volume/source/large" >/dev/null 2>&1; then
  echo "left out: no sector fails here"
else
  expectStatus 1 "$lumisk" run from
  [ "$(head -c 12 "$scratch/t1/source/large")" = "one of large" ] || fail "a file with bad sectors replaced its copy"
  expectNoTemporaries "$scratch/t1/source"
fi
umount "$volume"

# A volume that takes data into memory and then has no place for them: only the sync at the end tells.
mountNew "$scratch/small" 24M ext4
truncate -s 200M "$scratch/small/inner.image"
mkfs.ext4 -q -E lazy_itable_init=1,nodiscard -J size=4 "$scratch/small/inner.image"
mkdir "$scratch/inner"
if mount -o loop "$scratch/small/inner.image" "$scratch/inner"; then
  mounted=("$scratch/inner" "${mounted[@]}")
  mkdir "$scratch/inner/t"
  fill "$source" one 60000000
  expectStatus 1 "$lumisk" backup --json "$source" "$scratch/inner/t"
  [ "$(json result)" = error ] || fail "data that were never written: $(cat "$scratch/out")"
fi
finish
