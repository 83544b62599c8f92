#!/usr/bin/env bash
# Measures backups against rsync and cp on trees that it builds, on a loop-mounted volume, in one run: the first copy, the
# unchanged run, and a run after 1% of the files were changed and 1% deleted.
# Usage (as root): bench/backup.sh [LUMISK] [PAIRS]      environment: TREES="S L" to choose, SCRATCH=folder,
#   LUMISK_BENCH_RUNNER="chrt -f 30"; PEERS="withRsync withCp" to choose
set -euo pipefail
source "$(dirname "$0")/lib.sh"
lumisk=${1:-$top/build/release/bin/lumisk}
pairs=${2:-5}

ours() { "${runner[@]}" "$lumisk" backup "$1" "$2"; }
oursDeleting() { "${runner[@]}" "$lumisk" backup --delete --no-trash "$1" "$2"; }
withRsync() { synced rsync -aHAX "$1" "$2"; }
withRsyncDeleting() { synced rsync -aHAX --delete "$1" "$2"; }
withCp() { synced cp -a "$1" "$2"; }

fresh() {
  rm -rf "${volume:?}/$1"
  mkdir "$volume/$1"
  sync -f "$volume"
}

measure() {
  local tree=$1 source=$volume/source-$1 i who
  buildTree "$tree" "$source"
  local -A first=() again=() changed=()
  for ((i = 0; i < pairs; ++i)); do
    for who in ours ${PEERS:-withRsync withCp}; do
      fresh "$who"
      first[$who]+="$(seconds "$who" "$source" "$volume/$who")"$'\n'
      [ "$who" = withCp ] || again[$who]+="$(seconds "$who" "$source" "$volume/$who")"$'\n'
      # What is not needed any more would only take memory from the caches.
      [ "$tree" = S ] || [ "$who" = ours ] || fresh "$who"
    done
  done
  diff -r "$source" "$volume/ours/source-$tree" >/dev/null || { echo "the copy of $tree differs" >&2; exit 1; }
  for who in ${PEERS:-withRsync withCp}; do
    [ "$who" = withRsync ] && name="rsync -aHAX" || name="cp -a"
    report "first copy $tree" "$(medianOf "${first[ours]}")" "$(medianOf "${first[$who]}")" "$name"
    [ "$who" = withCp ] ||
      report "unchanged run $tree" "$(medianOf "${again[ours]}")" "$(medianOf "${again[$who]}")" "$name"
  done
  if [ "$tree" = S ] && [[ ${PEERS:-withRsync} = *withRsync* ]]; then
    for ((i = 0; i < pairs; ++i)); do
      changeOnePercent "$source" "$i" delete
      # Else the first to run would read and sync for the other what was changed.
      sync -f "$volume"
      warm "$source"
      for who in ours withRsync; do
        changed[$who]+="$(seconds "${who}Deleting" "$source" "$volume/$who")"$'\n'
      done
    done
    diff -r "$source" "$volume/ours/source-$tree" >/dev/null || { echo "the copy of $tree differs" >&2; exit 1; }
    report "1% changed, 1% deleted, $tree" "$(medianOf "${changed[ours]}")" "$(medianOf "${changed[withRsync]}")" \
      "rsync -aHAX --delete"
  fi
  rm -rf "$source" "$volume"/{ours,withRsync,withCp}
}

makeVolume ext4 24G
echo "medians of $pairs interleaved runs, warm cache, ext4 on a loop device, $(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg)"
for tree in ${TREES:-S L}; do measure "$tree"; done
