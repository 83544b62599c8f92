#!/usr/bin/env bash
# Peak resident memory of a first and of an unchanged backup of a million entries in 50,000 folders (as root).
# Usage: bench/memory.sh [LUMISK] [FOLDERS] [ENTRIES-EACH]
set -euo pipefail
. "$(dirname "$0")/lib.sh"
lumisk=${1:-$top/build/release/bin/lumisk}
folders=${2:-50000}
each=${3:-19}
makeVolume ext4 24G -N 2600000
python3 - "$volume/source" "$folders" "$each" <<'PY'
import os, sys
top, folders, each = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
for d in range(folders):
    folder = "%s/%03d/%05d" % (top, d // 200, d)
    os.makedirs(folder)
    for n in range(each):
        os.close(os.open("%s/entry%04d" % (folder, n), os.O_CREAT | os.O_WRONLY, 0o644))
PY
mkdir "$volume/target"
peak() {
  python3 - "$@" <<'PY'
import resource, subprocess, sys
status = subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL).returncode
print("status %d, peak %.1f MB" % (status, resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss / 1024))
PY
}
echo "entries: $((folders * (each + 1)))"
echo "first copy:    $(peak "$lumisk" backup "$volume/source" "$volume/target")"
echo "unchanged run: $(peak "$lumisk" backup "$volume/source" "$volume/target")"
