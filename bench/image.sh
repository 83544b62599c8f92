#!/usr/bin/env bash
# Measures backups into an encrypted image against the same backups onto a plain ext4 volume on a loop device: many small
# files, and one of 1 GB. Both volumes lie in files of the same folder; the source lies in a third.
# Usage (as root): bench/image.sh [LUMISK] [PAIRS]      environment: TREES="S one", SCRATCH=folder, LUMISK_BENCH_RUNNER
set -euo pipefail
source "$(dirname "$0")/lib.sh"
lumisk=${1:-$top/build/release/bin/lumisk}
pairs=${2:-5}
name=lumisk-bench-$$
inImage=/Volumes/$name

closeAll() {
  cd /
  "$lumisk" image detach "$inImage" >/dev/null 2>&1 || true
  umount "$scratch/plain" 2>/dev/null || true
  removeVolume
}
makeTargets() {
  seconds "$lumisk" image create "$scratch/$name" --size 6g <<<bench >/dev/null
  seconds "$lumisk" image mount "$scratch/$name.sparseimage" <<<bench >/dev/null
  truncate -s 6G "$scratch/plain.image"
  mkfs.ext4 -q -E lazy_itable_init=1,nodiscard "$scratch/plain.image"
  mkdir "$scratch/plain"
  mount -o loop "$scratch/plain.image" "$scratch/plain"
}

into() { "${runner[@]}" "$lumisk" backup "$source" "$1/target"; }

measure() {  # TREE
  local source=$volume/source-$1 i at bytes
  local -A first=() again=()
  if [ "$1" = one ]; then
    mkdir "$source"
    head -c 1G /dev/urandom >"$source/large"
    sync -f "$volume"
  else
    buildTree "$1" "$source"
  fi
  bytes=$(du -s --apparent-size --block-size=1 "$source" | cut -f1)
  # The first round gets the volumes' blocks from the disk that holds them; it is not counted.
  for ((i = 0; i <= pairs; ++i)); do
    for at in "$inImage" "$scratch/plain"; do
      rm -rf "$at/target"
      mkdir "$at/target"
      sync -f "$at"
      local took unchanged
      took=$(seconds into "$at")
      unchanged=$(seconds into "$at")
      [ $i -gt 0 ] || continue
      first[$at]+=$took$'\n'
      again[$at]+=$unchanged$'\n'
    done
  done
  diff -r "$source" "$inImage/target/source-$1" >/dev/null || { echo "the copy of $1 differs" >&2; exit 1; }
  report "first copy $1" "$(medianOf "${first[$inImage]}")" "$(medianOf "${first[$scratch/plain]}")" "plain ext4"
  report "unchanged run $1" "$(medianOf "${again[$inImage]}")" "$(medianOf "${again[$scratch/plain]}")" "plain ext4"
  awk -v b="$bytes" -v i="$(medianOf "${first[$inImage]}")" -v p="$(medianOf "${first[$scratch/plain]}")" \
    'BEGIN { printf "%-34s %8.0f MB/s %-25s %8.0f MB/s\n", "", b / i / 1e6, "", b / p / 1e6 }'
  rm -rf "$source" "$inImage/target" "$scratch/plain/target"
}

makeVolume ext4 6G
trap closeAll EXIT
makeTargets
echo "medians of $pairs interleaved pairs, warm cache, $(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg)"
for tree in ${TREES:-S one}; do measure "$tree"; done
