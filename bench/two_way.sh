#!/usr/bin/env bash
# Measures two-way jobs on trees that it builds: the first run against a one-way backup of the same files, and against
# `unison -batch` for the same pair the unchanged run and the run after 1% of the files were changed on each side.
# Usage (as root): bench/two_way.sh [LUMISK] [PAIRS]      environment: TREES="S W", SCRATCH, LUMISK_BENCH_RUNNER
set -euo pipefail
source "$(dirname "$0")/lib.sh"
lumisk=${1:-$top/build/release/bin/lumisk}
pairs=${2:-5}

twoWay() { "${runner[@]}" "$lumisk" sync "$1" "$2" --name bench; }
oneWay() { "${runner[@]}" "$lumisk" backup "$1" "$2"; }
withUnison() { synced unison "$1" "$2" -batch -silent -times -perms -1; }

measure() {
  local tree=$1 i who
  local -A first=() again=() changed=()
  buildTree "$tree" "$volume/source"
  for ((i = 0; i < pairs; ++i)); do
    for who in oneWay twoWay withUnison; do
      # The two-way runs keep lists in their source: each gets a fresh copy of it.
      rm -rf "$volume/one" "$volume/two"
      cp -a "$volume/source" "$volume/one"
      mkdir "$volume/two"
      "$lumisk" job remove bench >/dev/null 2>&1 || true
      rm -rf "${UNISON:?}"/*
      sync -f "$volume"
      first[$who]+="$(seconds $who "$volume/one" "$volume/two")"$'\n'
      [ $who != oneWay ] || continue
      again[$who]+="$(seconds $who "$volume/one" "$volume/two")"$'\n'
      [ "$tree" = S ] || continue
      local there=$volume/two
      [ $who = withUnison ] || there=$volume/two/one
      sleep 1.1  # dates of one second are taken for one
      changeOnePercent "$volume/one" "$((2 * i))"
      changeOnePercent "$there" "$((2 * i + 1))"
      changed[$who]+="$(seconds $who "$volume/one" "$volume/two")"$'\n'
    done
  done
  report "two-way, first $tree" "$(medianOf "${first[twoWay]}")" "$(medianOf "${first[oneWay]}")" "one-way backup"
  report "two-way, unchanged $tree" "$(medianOf "${again[twoWay]}")" "$(medianOf "${again[withUnison]}")" "unison -batch"
  [ "$tree" != S ] ||
    report "two-way, 1% changed there and here" "$(medianOf "${changed[twoWay]}")" "$(medianOf "${changed[withUnison]}")" \
      "unison -batch"
  rm -rf "$volume"/{source,one,two}
}

makeVolume ext4 16G
export UNISON=$scratch/unison
mkdir -p "$UNISON"
echo "medians of $pairs interleaved runs, warm cache, ext4 on a loop device, $(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg)"
for tree in ${TREES:-S W}; do measure "$tree"; done
