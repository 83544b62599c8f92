#!/usr/bin/env bash
# Measures backups against rsync and cp on trees that it builds, on a loop-mounted ext4 volume, in one run.
# Every peer is followed by `sync -f` on the target, since ours ends with its data on the disk.
# Usage (as root): bench/backup.sh [LUMISK] [PAIRS]      environment: TREES="S L" to choose, SCRATCH=folder
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
lumisk=${1:-$top/build/release/bin/lumisk}
pairs=${2:-5}
trees=${TREES:-S L}
scratch=$(mktemp -d "${SCRATCH:-/tmp}/lumisk-bench-XXXXXX")
export LUMISK_HOME=$scratch/home
mkdir -p "$LUMISK_HOME"
volume=$scratch/volume
cleanup() {
  cd /
  umount "$volume" 2>/dev/null || umount -l "$volume" 2>/dev/null || true
  rm -rf "$scratch"
}
trap cleanup EXIT

mountVolume() {
  mkdir -p "$volume"
  truncate -s 24G "$scratch/image"
  mkfs.ext4 -q -E lazy_itable_init=0,lazy_journal_init=0 -i 8192 "$scratch/image"
  mount -o loop "$scratch/image" "$volume"
}

# python3 only builds the trees: 50,000 files a second is more than a shell makes.
buildTree() {
  python3 - "$1" "$2" <<'PY'
import os, random, sys
kind, top = sys.argv[1], sys.argv[2]
random.seed(kind)
noise = random.randbytes(1 << 22)
def fill(path, size):
    start = random.randrange(len(noise) - min(size, 1 << 20))
    with open(path, "wb") as f:
        while size > 0:
            part = noise[start:start + min(size, 1 << 20)]
            f.write(part); size -= len(part)
def many(files, folders, low, high):
    for d in range(folders):
        folder = os.path.join(top, "d%03d" % (d // 100), "e%05d" % d)
        os.makedirs(folder)
        for n in range(files // folders):
            fill(os.path.join(folder, "file%05d.txt" % n), random.randint(low, high))
if kind == "S": many(50000, 2500, 200, 16384)
if kind == "M": many(20000, 1000, 1024, 1 << 20)
if kind == "D": many(100000, 100000, 10, 2000)
if kind == "W": many(20000, 1, 200, 4096)
if kind == "L":
    os.makedirs(top)
    for n in range(3): fill(os.path.join(top, "large%d.bin" % n), 1 << 30)
PY
}

# Seconds of a command, with three decimals.
seconds() {
  local begin end
  begin=$(date +%s%N)
  "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; return 1; }
  end=$(date +%s%N)
  awk -v n=$((end - begin)) 'BEGIN { printf "%.3f\n", n / 1e9 }'
}
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
synced() { "$@" && sync -f "$volume"; }

ours() { "$lumisk" backup "$1" "$2"; }
withRsync() { synced rsync -aHAX "$1" "$2"; }
withCp() { synced cp -a "$1" "$2"; }

fresh() {
  rm -rf "$volume/$1"
  mkdir "$volume/$1"
  sync -f "$volume"
}

report() {  # LABEL OURS PEER PEER-NAME
  awk -v l="$1" -v o="$2" -v p="$3" -v n="$4" 'BEGIN { printf "%-28s %8.3f s   %-12s %8.3f s   ratio %.2f\n", l, o, n, p, o / p }'
}

measure() {
  local tree=$1 source=$volume/source-$1 i
  buildTree "$tree" "$source"
  sync -f "$volume"
  find "$source" -type f -exec cat {} + >/dev/null  # warm cache
  local -A first=() again=()
  for ((i = 0; i < pairs; ++i)); do
    for who in ours withRsync withCp; do
      fresh "$who"
      first[$who]+="$(seconds $who "$source" "$volume/$who")"$'\n'
      [ $who = withCp ] || again[$who]+="$(seconds $who "$source" "$volume/$who")"$'\n'
    done
  done
  diff -r "$source" "$volume/ours/source-$tree" >/dev/null || { echo "the copy of $tree differs" >&2; exit 1; }
  m() { median <<<"${1%$'\n'}"; }
  report "first copy $tree" "$(m "${first[ours]}")" "$(m "${first[withRsync]}")" "rsync -aHAX"
  report "first copy $tree" "$(m "${first[ours]}")" "$(m "${first[withCp]}")" "cp -a"
  report "unchanged run $tree" "$(m "${again[ours]}")" "$(m "${again[withRsync]}")" "rsync -aHAX"
  rm -rf "$source" "$volume"/{ours,withRsync,withCp}
}

mountVolume
echo "medians of $pairs interleaved runs, warm cache, ext4 on a loop device, $(nproc) cores"
for tree in $trees; do measure "$tree"; done
