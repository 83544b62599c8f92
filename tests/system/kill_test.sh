#!/usr/bin/env bash
# SIGKILL at random moments: every destination is its old or its new version, whole; the next run completes and clears
# what was left.
. "$(dirname "$0")/lib.sh"
# A date that is one second later to the nanosecond counts as the same, so the rounds lie further apart.
rounds=${ROUNDS:-20}
source=$scratch/source
target=$scratch/target
mkdir "$target"
python3 - "$scratch" <<'PY'
import os, random, sys
random.seed(1)
for version in ("a", "b"):
    for d in range(10):
        os.makedirs("%s/%s/d%d" % (sys.argv[1], version, d))
        for n in range(40):
            size = random.choice((0, 10, 5000, 200000, 700000))
            with open("%s/%s/d%d/f%d" % (sys.argv[1], version, d, n), "wb") as f:
                f.write((version + "%d-%d " % (d, n)).encode() * (size // 8))
PY
cp -r "$scratch/a" "$source"
expectStatus 0 "$lumisk" backup --no-trash "$source" "$target"
for ((round = 1; round <= rounds; ++round)); do
  version=$([ $((round % 2)) -eq 1 ] && echo b || echo a)
  cp -r "$scratch/$version/." "$source/"
  find "$source" -type f -exec touch -d "2030-01-01 00:$((round + 10)):00.5" {} +
  trash=$([ $((round % 3)) -eq 0 ] && echo --trash || echo --no-trash)
  pace=$([ $((round % 4)) -eq 0 ] && echo gentle || echo full)
  "$lumisk" backup $trash --pace $pace "$source" "$target" >/dev/null 2>&1 &
  running=$!
  sleep "0.$(printf '%03d' $((RANDOM % 350 + 5)))"
  kill -KILL $running 2>/dev/null
  wait $running 2>/dev/null
  while read -r file; do
    cmp -s "$target/source/$file" "$scratch/a/$file" || cmp -s "$target/source/$file" "$scratch/b/$file" ||
      fail "round $round: $file is neither version"
  done < <(cd "$scratch/a" && find . -type f)
  rm -rf "$LUMISK_HOME/.local"
done
expectStatus 0 "$lumisk" backup --no-trash "$source" "$target"
expectSame "$source" "$target/source"
expectNoTemporaries "$target"
finish
