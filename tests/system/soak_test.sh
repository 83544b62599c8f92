#!/usr/bin/env bash
# A daemon with jobs of all kinds, edited, commanded and killed at random. SOAK_SECONDS=1800 for the long form; a seed
# that has failed again with SOAK_SEED.
. "$(dirname "$0")/lib.sh"
python3 "$(dirname "$0")/soak.py" "$lumisk" "$scratch" "${SOAK_SECONDS:-12}" "${SOAK_JOBS:-50}" "${SOAK_SEED:-$RANDOM}" ||
  fail "see above; the daemon said: $(tail -20 "$scratch/daemon.err" 2>/dev/null)"
finish
