#!/usr/bin/env bash
# Measures the first copy of three files of 1 GB within one volume that can share data, against a copy that shares nothing.
# Usage (as root): bench/reflink.sh [LUMISK] [PAIRS]      environment: KINDS="btrfs xfs", SCRATCH, LUMISK_BENCH_RUNNER
set -euo pipefail
source "$(dirname "$0")/lib.sh"
lumisk=${1:-$top/build/release/bin/lumisk}
pairs=${2:-5}

ours() { "${runner[@]}" "$lumisk" backup "$1" "$2"; }
withCp() { synced cp --reflink=never -a "$1" "$2"; }

measure() {
  local source i who
  local -A first=()
  makeVolume "$1" 14G
  source=$volume/source-L
  buildTree L "$source"
  for ((i = 0; i < pairs; ++i)); do
    for who in ours withCp; do
      rm -rf "${volume:?}/$who"
      mkdir "$volume/$who"
      sync -f "$volume"
      first[$who]+="$(seconds "$who" "$source" "$volume/$who")"$'\n'
    done
  done
  report "first copy L, $1, same volume" "$(medianOf "${first[ours]}")" "$(medianOf "${first[withCp]}")" "cp --reflink=never -a"
  removeVolume
}

echo "medians of $pairs interleaved runs, warm cache, loop device, $(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg)"
for kind in ${KINDS:-btrfs xfs}; do (measure "$kind"); done
