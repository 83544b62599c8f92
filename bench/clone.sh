#!/usr/bin/env bash
# Measures clones of a whole volume against `rsync -aAXH --delete` in one run: first, unchanged, and with 1% changed; two
# targets side by side, one for each, so that both find the same. Every peer is followed by `sync -f` on its target, since
# ours ends with its data on the disk.
# Usage (as root): bench/clone.sh [BENCH_CLONE] [PAIRS]      environment: TYPES="ext4 xfs btrfs", TREES="S U", SCRATCH=folder
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
clone=${1:-$top/build/release/bin/bench_clone}
pairs=${2:-5}
types=${TYPES:-ext4}
trees=${TREES:-S U}
scratch=$(mktemp -d "${SCRATCH:-/tmp}/lumisk-bench-XXXXXX")
cleanup() {
  cd /
  local at
  for at in source ours withRsync; do umount "$scratch/$at" 2>/dev/null || umount -l "$scratch/$at" 2>/dev/null || true; done
  rm -rf "$scratch"
}
trap cleanup EXIT

makeVolume() {  # TYPE NAME
  umount "$scratch/$2" 2>/dev/null || true
  mkdir -p "$scratch/$2"
  rm -f "$scratch/$2.image"
  truncate -s 12G "$scratch/$2.image"
  local more=()
  [ "$1" = ext4 ] && more=(-E lazy_itable_init=0,lazy_journal_init=0 -i 8192)
  "mkfs.$1" -q "${more[@]}" "$scratch/$2.image" 2>/dev/null
  mount -o loop "$scratch/$2.image" "$scratch/$2"
}

# S: 50,000 small files; U: programs and what they need, with their links; L: three large files.
buildTree() {
  case $1 in
    U) rsync -aAXHR /usr/bin /usr/sbin /usr/lib/python3 /usr/share/locale /usr/include "$2/" ;;
    *) python3 - "$1" "$2" <<'PY'
import os, random, sys
kind, top = sys.argv[1], sys.argv[2]
random.seed(kind)
noise = random.randbytes(1 << 22)
def fill(path, size):
    with open(path, "wb") as f:
        while size > 0:
            start = random.randrange(len(noise) - min(size, 1 << 20))
            part = noise[start:start + min(size, 1 << 20)]
            f.write(part); size -= len(part)
if kind == "S":
    for d in range(2500):
        folder = os.path.join(top, "d%03d" % (d // 100), "e%05d" % d)
        os.makedirs(folder)
        for n in range(20): fill(os.path.join(folder, "file%05d.txt" % n), random.randint(200, 16384))
if kind == "L":
    for n in range(3): fill(os.path.join(top, "large%d.bin" % n), 1 << 30)
PY
      ;;
  esac
}

# Every hundredth file gets other contents, every two-hundredth another name.
changeTree() {
  local n=0 file
  while IFS= read -r -d '' file; do
    if [ $((++n % 100)) -eq 0 ]; then printf '%s' "changed $RANDOM" >>"$file"; fi
    if [ $((n % 200)) -eq 50 ]; then mv "$file" "$file.moved$RANDOM"; fi
  done < <(find "$1" -xdev -type f -links 1 -print0)
  sync -f "$1"
}

seconds() {
  local begin end
  begin=$(date +%s%N)
  "$@" >/dev/null || { echo "failed: $*" >&2; return 1; }
  end=$(date +%s%N)
  awk -v n=$((end - begin)) 'BEGIN { printf "%.3f\n", n / 1e9 }'
}
# Bytes that reach the target's disk image.
written() { awk -v d="$(basename "$(findmnt -no SOURCE "$1")")" '$3 == d { printf "%.0f", $10 * 512 }' /proc/diskstats; }
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
ours() { "$clone" "$scratch/source" "$scratch/ours"; }
withRsync() { rsync -aAXH --delete --exclude=/lost+found "$scratch/source/" "$scratch/withRsync/" && sync -f "$scratch/withRsync"; }

declare -A times bytes
measureOnce() {  # STEP WHO
  local before
  before=$(written "$scratch/$2")
  times[$1,$2]+="$(seconds "$2")"$'\n'
  bytes[$1,$2]+="$(($(written "$scratch/$2") - before))"$'\n'
}
report() {  # LABEL STEP
  local m
  m() { median <<<"${1%$'\n'}"; }
  awk -v l="$1" -v o="$(m "${times[$2,ours]}")" -v p="$(m "${times[$2,withRsync]}")" \
    -v ob="$(m "${bytes[$2,ours]}")" -v pb="$(m "${bytes[$2,withRsync]}")" 'BEGIN {
      printf "%-24s %8.3f s %8.1f MB   rsync %8.3f s %8.1f MB   ratio %.2f\n", l, o, ob / 1e6, p, pb / 1e6, o / p }'
}

measure() {  # TYPE TREE
  times=() bytes=()
  local i who
  makeVolume "$1" source
  buildTree "$2" "$scratch/source"
  sync -f "$scratch/source"
  find "$scratch/source" -xdev -type f -exec cat {} + >/dev/null  # warm cache
  for ((i = 0; i < pairs; ++i)); do
    for who in ours withRsync; do makeVolume "$1" $who; done
    for step in first unchanged changed; do
      [ $step != changed ] || changeTree "$scratch/source"
      if [ $((i % 2)) -eq 0 ]; then
        for who in ours withRsync; do measureOnce $step $who; done
      else
        for who in withRsync ours; do measureOnce $step $who; done
      fi
    done
  done
  local left
  left=$(rsync -aAXHn --delete -i --exclude=/lost+found "$scratch/source/" "$scratch/ours/" | head -3)
  [ -z "$left" ] || { echo "the clone differs: $left" >&2; exit 1; }
  for step in first unchanged changed; do report "$1 $2 $step" $step; done
}

echo "medians of $pairs interleaved pairs, warm cache, volumes on loop devices, $(nproc) cores"
for type in $types; do
  for tree in $trees; do measure "$type" "$tree"; done
done
