#!/usr/bin/env bash
# A kept job from its making to its removal, and bad input: one clear line each, the right status, nothing lost.
. "$(dirname "$0")/lib.sh"
mkdir -p "$scratch/docs/sub" "$scratch/backup" "$scratch/other"
printf one >"$scratch/docs/one"; printf two >"$scratch/docs/sub/two"
add() { "$lumisk" job add "$@"; }
store=$LUMISK_HOME/Library/Preferences/com.qelcorporation.lumisk.plist

expectStatus 0 add docs --type backup --source "$scratch/docs" --target "$scratch/backup" --manual
expectStatus 0 "$lumisk" run docs --json
[ "$(json result)" = completed ] && [ "$(json copied)" -eq 2 ] || fail "first run: $(cat "$scratch/out")"
expectSame "$scratch/docs" "$scratch/backup/docs"
expectStatus 0 "$lumisk" run docs --json
[ "$(json copied)" -eq 0 ] || fail "second run copied $(json copied)"
expectStatus 0 "$lumisk" job list --json
python3 - "$scratch/out" <<'PY' || fail "job list: $(cat "$scratch/out")"
import json, sys
jobs = json.load(open(sys.argv[1]))
assert len(jobs) == 1 and jobs[0]["name"] == "docs" and jobs[0]["index"] == 0 and jobs[0]["lastRan"], jobs
PY
python3 - "$store" <<'PY' || fail "another program cannot read the stored jobs"
import plistlib, sys
stored = plistlib.load(open(sys.argv[1], "rb"))
job = stored["Qel LumiskSettings"][0]
assert stored["Qel Lumisk"] == "Automatic Backup" and stored["Qel Lumisk_Switch"] is True
assert job["NSObjectName"] == "docs" and job["NSJobStatus"] == 0 and job["NSFirstCopy"] is False and job["NSLastRanTime"]
assert job["NSLastCompletedBegin"] and job["NSScheduling"]["NSMethod"] == 3 and job["NSBackupFolders"][0]["NSTargetFlag"] is False and len(job["NSWeekOrDate"] if "NSWeekOrDate" in job else job["NSScheduling"]["NSWeekOrDate"]) == 10
PY
expectStatus 0 "$lumisk" log docs
grep -q 'docs: Synchronization started' "$scratch/out" || fail "the log lacks the start of the run"
expectStatus 0 "$lumisk" job disable docs
expectStatus 0 "$lumisk" job enable docs
expectStatus 0 "$lumisk" job rename docs papers
expectStatus 0 "$lumisk" job show papers --json

# refused STATUS PATTERN COMMAND...: one line on standard error, the store as it was.
refused() {
  local wanted=$1 pattern=$2 before
  shift 2
  before=$(sha256sum <"$store")
  expectStatus "$wanted" "$@"
  grep -qiE "$pattern" "$scratch/err" || fail "no \"$pattern\" in the error of: $*: $(cat "$scratch/err")"
  [ "$(grep -c . "$scratch/err")" -eq 1 ] || fail "$(grep -c . "$scratch/err") lines of error from: $*: $(cat "$scratch/err")"
  grep -q '^lumisk: ' "$scratch/err" || fail "an error without its prefix from: $*"
  [ "$before" = "$(sha256sum <"$store")" ] || fail "the store was changed by: $*"
}
refused 2 'exist' add papers --type backup --source "$scratch/docs" --target "$scratch/other" --manual
refused 2 'inside|same' add x --type backup --source "$scratch/docs" --target "$scratch/docs/sub" --manual
refused 2 'exist' "$lumisk" backup "$scratch/nowhere" "$scratch/backup"
refused 2 '' "$lumisk" nonsense
refused 3 'no such job' "$lumisk" run nothing

expectStatus 0 "$lumisk" job remove papers
[ -d "$scratch/backup/docs" ] || fail "removing a job removed its copy"

# A damaged store is set aside and said, never overwritten.
expectStatus 0 add again --type backup --source "$scratch/docs" --target "$scratch/backup" --manual
printf '<plist><dict><key>half' >"$store"
expectStatus 0 "$lumisk" job list
grep -q damaged "$scratch/err" || fail "nobody was told of the damaged store: $(cat "$scratch/err")"
expectStatus 0 add new --type backup --source "$scratch/docs" --target "$scratch/backup" --manual
grep -ql 'half' "$LUMISK_HOME"/Library/Preferences/*damaged* || fail "the damaged store is gone"
finish
