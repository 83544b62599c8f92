#!/usr/bin/env bash
# From a save to its arrival on the other side of a two-way real-time job, there and back, with a daemon of its own.
# The aim is the latency of the stream, 3 s, and 2 s more.
# Usage: bench/realtime.sh [LUMISK] [SAVES]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
lumisk=${1:-$top/build/release/bin/lumisk}
saves=${2:-20}
scratch=$(mktemp -d "${SCRATCH:-/tmp}/lumisk-realtime-XXXXXX")
export LUMISK_HOME=$scratch/home
left=$scratch/left
right=$scratch/right
mkdir -p "$LUMISK_HOME" "$left" "$right"
daemon=
trap '[ -z "$daemon" ] || { kill -TERM $daemon; wait $daemon || true; }; [ -n "${KEEP:-}" ] || rm -rf "$scratch"' EXIT
# A working folder of a common size: 2,000 files in 100 folders.
for folder in $(seq 100); do
  mkdir "$left/$folder"
  for file in $(seq 20); do printf '%s/%s' "$folder" "$file" >"$left/$folder/$file"; done
done
"$lumisk" job add pair --type sync --source "$left" --target "$right" --realtime >/dev/null
"$lumisk" daemon >"$scratch/out" 2>"$scratch/err" &
daemon=$!
until [ -e "$right/100/20" ]; do sleep 0.1; done
sleep 10 # the first run and the pass over what it wrote are over

python3 - "$left" "$right" "$saves" <<'PY'
import os, random, statistics, sys, time
left, right, saves = sys.argv[1], sys.argv[2], int(sys.argv[3])

def latency(here, there, number):
    """Seconds from a save by rename to the same text there."""
    name = "%d/%d" % (number % 100 + 1, number % 20 + 1)
    text = "saved %s %d" % (here, number)
    with open(os.path.join(here, name + "~"), "w") as file: file.write(text)
    os.rename(os.path.join(here, name + "~"), os.path.join(here, name))
    begin = time.monotonic()
    while open(os.path.join(there, name)).read() != text:
        if time.monotonic() - begin > 60: sys.exit("%s did not arrive in %s" % (name, there))
        time.sleep(0.005)
    return time.monotonic() - begin

for label, here, there in (("source to target", left, right), ("target to source", right, left)):
    took = []
    for number in range(saves):
        took.append(latency(here, there, number))
        time.sleep(random.uniform(0, 5))  # at any moment between two passes
    print("%s, %d saves: median %.2f s, worst %.2f s" % (label, saves, statistics.median(took), max(took)))
PY
