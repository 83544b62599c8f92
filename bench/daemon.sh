#!/usr/bin/env bash
# One daemon with 200 jobs of every method: start-up, idle CPU, resident memory.
# Usage: bench/daemon.sh [LUMISK] [JOBS] [SECONDS]
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
lumisk=${1:-$top/build/release/bin/lumisk}
jobs=${2:-200}
seconds=${3:-20}
scratch=$(mktemp -d "${SCRATCH:-/tmp}/lumisk-daemon-XXXXXX")
export LUMISK_HOME=$scratch/home
mkdir -p "$LUMISK_HOME"
daemon=
trap '[ -z "$daemon" ] || kill -KILL $daemon 2>/dev/null; [ -n "${KEEP:-}" ] || rm -rf "$scratch"' EXIT
mkdir -p "$scratch/source/1" "$scratch/target/1"
"$lumisk" job add first --source "$scratch/source/1" --target "$scratch/target/1" --every 1d >/dev/null
# The others are made of the first: timers and week days, real time, by hand.
python3 - "$LUMISK_HOME/Library/Preferences/com.qelcorporation.lumisk.plist" "$scratch" "$jobs" <<'PY'
import copy, os, plistlib, sys, uuid
store, scratch, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
stored = plistlib.load(open(store, "rb"))
first = stored["Qel LumiskSettings"][0]
jobs = []
for n in range(1, count + 1):
    job = copy.deepcopy(first)
    source, target = "%s/source/%d" % (scratch, n), "%s/target/%d" % (scratch, n)
    for folder in (source, target): os.makedirs(folder, exist_ok=True)
    open(source + "/file", "w").write("text")
    job["NSObjectName"], job["NSUuidString"] = "job %d" % n, str(uuid.uuid4()).upper()
    job["NSBackupFolders"][1:3] = [source, target]
    # Timers have their first run one second after they are made.
    job["NSJobModifyTime"] = "2024-01-01 00:30:00 +0000"
    job["NSScheduling"]["NSMethod"] = (1, 2, 1, 0, 3)[n % 5]
    jobs.append(job)
stored["Qel LumiskSettings"] = jobs
plistlib.dump(stored, open(store, "wb"))
PY
begin=$(date +%s%N)
"$lumisk" daemon >"$scratch/out" 2>"$scratch/err" &
daemon=$!
until grep -q running "$scratch/out"; do
  kill -0 $daemon
  sleep 0.005
done
printf 'start-up of %d jobs: %d ms\n' "$jobs" $((($(date +%s%N) - begin) / 1000000))
ticks() { awk '{ print $14 + $15 }' "/proc/$daemon/stat"; }
# Real-time jobs run once at the start, and so do timers that were made a second before.
sleep "${SETTLE:-10}"
before=$(ticks)
sleep "$seconds"
awk -v ticks=$(($(ticks) - before)) -v hz="$(getconf CLK_TCK)" -v seconds="$seconds" \
  'BEGIN { printf "idle CPU over %d s: %.2f%% of a core\n", seconds, 100 * ticks / hz / seconds }'
awk '/VmRSS|Threads/ { print $1, $2, $3 }' "/proc/$daemon/status"
begin=$(date +%s%N)
kill -TERM $daemon
wait $daemon
daemon=
printf 'end: %d ms\n' $((($(date +%s%N) - begin) / 1000000))
