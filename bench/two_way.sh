#!/usr/bin/env bash
# Measures two-way jobs on 20,000 files in one folder: the first run against a one-way backup of the same files, and the
# second, unchanged run against `unison -batch` for the same pair; loop-mounted ext4, interleaved, one run.
# Usage (as root): bench/two_way.sh [LUMISK] [PAIRS]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
lumisk=${1:-$top/build/release/bin/lumisk}
pairs=${2:-5}
scratch=$(mktemp -d "${SCRATCH:-/tmp}/lumisk-two-way-XXXXXX")
export LUMISK_HOME=$scratch/home UNISON=$scratch/unison
volume=$scratch/volume
mkdir -p "$LUMISK_HOME" "$UNISON" "$volume"
trap 'cd /; umount "$volume" 2>/dev/null || umount -l "$volume" 2>/dev/null || true; rm -rf "$scratch"' EXIT
truncate -s 8G "$scratch/image"
mkfs.ext4 -q -E lazy_itable_init=0,lazy_journal_init=0 -i 4096 "$scratch/image"
mount -o loop "$scratch/image" "$volume"
python3 - "$volume/source" <<'PY'
import os, random, sys
random.seed(1)
os.makedirs(sys.argv[1])
for n in range(20000):
    with open("%s/file%05d.txt" % (sys.argv[1], n), "wb") as f: f.write(random.randbytes(random.randint(200, 4096)))
PY

seconds() {
  local begin end
  begin=$(date +%s%N)
  "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; return 1; }
  end=$(date +%s%N)
  awk -v n=$((end - begin)) 'BEGIN { printf "%.3f\n", n / 1e9 }'
}
median() { sort -n | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }
twoWay() { "$lumisk" sync "$1" "$2" --name bench; }
oneWay() { "$lumisk" backup "$1" "$2"; }
withUnison() { unison "$1" "$2" -batch -silent -times -perms -1 && sync -f "$volume"; }
report() { awk -v l="$1" -v o="$2" -v p="$3" -v n="$4" 'BEGIN { printf "%-28s %8.3f s   %-18s %8.3f s   ratio %.2f\n", l, o, n, p, o / p }'; }

declare -A first again
for ((i = 0; i < pairs; ++i)); do
  for who in oneWay twoWay withUnison; do
    # The two-way runs keep lists in their source: each gets a fresh copy of it.
    rm -rf "$volume/one" "$volume/$who"
    cp -a "$volume/source" "$volume/one"
    mkdir "$volume/$who"
    "$lumisk" job remove bench >/dev/null 2>&1 || true
    sync -f "$volume"
    first[$who]+="$(seconds $who "$volume/one" "$volume/$who")"$'\n'
    [ $who = oneWay ] || again[$who]+="$(seconds $who "$volume/one" "$volume/$who")"$'\n'
    rm -rf "${UNISON:?}"/*
  done
done
m() { median <<<"${1%$'\n'}"; }
echo "medians of $pairs interleaved runs, 20,000 files in one folder, warm cache, ext4 on a loop device, $(nproc) cores"
report "two-way, first" "$(m "${first[twoWay]}")" "$(m "${first[oneWay]}")" "one-way backup"
report "two-way, unchanged" "$(m "${again[twoWay]}")" "$(m "${again[withUnison]}")" "unison -batch"
