# Shared by the measurements here: a volume of their own, trees, times. Sourced; needs root.
# LUMISK_BENCH_RUNNER goes before each measured command, ours and the peer's alike: "chrt -f 30" keeps the processors for
# them on a busy machine.

top=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
read -ra runner <<<"${LUMISK_BENCH_RUNNER:-}"

# Where volumes lie: in memory where there is enough of it, because a slow disk below the loop device takes its time from
# all that are measured alike, and hides what they differ in. SCRATCH chooses another place.
usualScratch() {
  local available
  available=$(awk '/^MemAvailable/ { print int($2 / 1048576) }' /proc/meminfo)
  if [ "$available" -ge 18 ]; then echo /dev/shm; else echo /tmp; fi
}

# Folders of this measurement: $scratch, $volume (a fresh file system of this kind and size on a loop device).
makeVolume() {  # KIND SIZE [MKFS-OPTION...]
  local kind=$1 size=$2
  shift 2
  scratch=$(mktemp -d "${SCRATCH:-$(usualScratch)}/lumisk-bench-XXXXXX")
  export LUMISK_HOME=$scratch/home
  volume=$scratch/volume
  trap removeVolume EXIT
  mkdir -p "$LUMISK_HOME" "$volume"
  truncate -s "$size" "$scratch/image"
  case $kind in
    ext4) mkfs.ext4 -q -E lazy_itable_init=0,lazy_journal_init=0 -i 8192 "$@" "$scratch/image" ;;
    *) "mkfs.$kind" -q "$@" "$scratch/image" ;;
  esac
  mount -o loop "$scratch/image" "$volume"
}
removeVolume() {
  cd /
  umount "$volume" 2>/dev/null || umount -l "$volume" 2>/dev/null || true
  rm -rf "$scratch"
}

# The trees of the table: S, M, L, W, D. python3 only builds them: 50,000 files a second is more than a shell makes.
buildTree() {  # KIND FOLDER
  python3 - "$1" "$2" <<'PY'
import math, os, random, sys
kind, top = sys.argv[1], sys.argv[2]
random.seed(kind)
noise = random.randbytes(1 << 22)
def fill(path, size):
    start = random.randrange(len(noise) - min(size, 1 << 20))
    with open(path, "wb") as f:
        while size > 0:
            part = noise[start:start + min(size, 1 << 20)]
            f.write(part); size -= len(part)
def evenly(low, high): return random.randint(low, high)
# As many of each order of magnitude.
def logarithmically(low, high): return int(math.exp(random.uniform(math.log(low), math.log(high))))
def many(files, folders, low, high, size=evenly):
    for d in range(folders):
        folder = os.path.join(top, "d%03d" % (d // 100), "e%05d" % d)
        os.makedirs(folder)
        for n in range(files // folders):
            fill(os.path.join(folder, "file%05d.txt" % n), size(low, high))
if kind == "S": many(50000, 2500, 200, 16384)
if kind == "M": many(20000, 1000, 1024, 1 << 20, logarithmically)
if kind == "D": many(100000, 100000, 10, 2000)
if kind == "W": many(20000, 1, 200, 4096)
if kind == "L":
    os.makedirs(top)
    for n in range(3): fill(os.path.join(top, "large%d.bin" % n), 1 << 30)
PY
  sync -f "$volume"
  warm "$2"
}
warm() { find "$1" -type f -exec cat {} + >/dev/null; }

# Writes into one in a hundred files (those whose number leaves ROUND), and with "delete" removes as many others.
changeOnePercent() {  # FOLDER ROUND [delete]
  python3 - "$@" <<'PY'
import os, sys
top, round_, deletes = sys.argv[1], int(sys.argv[2]), len(sys.argv) > 3
files = sorted(os.path.join(at, name) for at, _, names in os.walk(top) for name in names if name.startswith("file"))
for path in files[round_ % 100::100]:
    with open(path, "r+b") as f: f.write(b"changed in round %d" % round_)
if deletes:
    for path in files[(round_ + 50) % 100::100]: os.unlink(path)
PY
}

# Seconds of a command, with three decimals.
seconds() {
  local begin end
  begin=$(date +%s%N)
  "$@" >/dev/null 2>"$scratch/errors" || { echo "failed: $*" >&2; cat "$scratch/errors" >&2; return 1; }
  end=$(date +%s%N)
  awk -v n=$((end - begin)) 'BEGIN { printf "%.3f\n", n / 1e9 }'
}
median() { sort -n | awk 'NF { v[++n] = $1 } END { print v[int((n + 1) / 2)] }'; }
medianOf() { median <<<"$1"; }
# Peers leave their data in memory; ours ends with them on the disk.
synced() { "${runner[@]}" "$@" && sync -f "$volume"; }
report() {  # LABEL OURS PEER PEER-NAME
  awk -v l="$1" -v o="$2" -v p="$3" -v n="$4" \
    'BEGIN { printf "%-34s %8.3f s   %-26s %8.3f s   ratio %.2f\n", l, o, n, p, o / p }'
}
