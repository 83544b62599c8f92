#!/usr/bin/env bash
# What a gentle run does to a program in the foreground that reads and fsyncs small files: its time while a first copy of
# tree S goes on in the background, as a multiple of its time alone; the same for a run at full pace and for rsync under
# `ionice -c3 nice`. And the rate of a gentle copy of three files of 1 GB.
# Usage (as root): bench/gentle.sh [LUMISK] [ROUNDS]
set -euo pipefail
source "$(dirname "$0")/lib.sh"
lumisk=${1:-$top/build/release/bin/lumisk}
rounds=${2:-5}

gentle() { "$lumisk" backup --pace gentle "$1" "$2"; }
full() { "$lumisk" backup --pace full "$1" "$2"; }
niceRsync() { ionice -c3 nice rsync -aHAX "$1" "$2"; }

# Seconds for a fixed piece of work: 300 small files read, and written with fsync.
foreground() {
  python3 - "$volume/foreground" <<'PY'
import os, sys, time
top = sys.argv[1]
os.makedirs(top, exist_ok=True)
begin = time.monotonic()
for n in range(300):
    path = "%s/%03d" % (top, n)
    with open(path, "wb") as f:
        f.write(b"x" * 4096); f.flush(); os.fsync(f.fileno())
    with open(path, "rb") as f: f.read()
print("%.3f" % (time.monotonic() - begin))
PY
}

makeVolume ext4 24G
buildTree S "$volume/source-S"
declare -A took
for ((i = 0; i < rounds; ++i)); do
  for who in alone gentle full niceRsync; do
    rm -rf "$volume/target"
    mkdir "$volume/target"
    sync -f "$volume"
    background=
    if [ $who != alone ]; then
      (while true; do
        rm -rf "$volume/target"/*
        $who "$volume/source-S" "$volume/target" >/dev/null 2>&1
      done) &
      background=$!
      sleep 0.3
    fi
    took[$who]+="$(foreground)"$'\n'
    if [ -n "$background" ]; then
      children=$(pgrep -P $background || true)
      kill $background $children 2>/dev/null || true
      wait $background 2>/dev/null || true
      while [ -n "$children" ] && kill -0 $children 2>/dev/null; do sleep 0.1; done
    fi
  done
done
echo "medians of $rounds interleaved rounds, $(nproc) cores, load $(cut -d' ' -f1 /proc/loadavg)"
for who in gentle full niceRsync; do report "foreground beside $who" "$(medianOf "${took[$who]}")" "$(medianOf "${took[alone]}")" alone; done
rm -rf "$volume"/{target,source-S}
buildTree L "$volume/source-L"
mkdir "$volume/target"
time=$(seconds "${runner[@]}" "$lumisk" backup --pace gentle "$volume/source-L" "$volume/target")
awk -v t="$time" 'BEGIN { printf "gentle first copy L: %.1f s, %.0f MB/s\n", t, 3 * 1073.741824 / t }'
