#!/usr/bin/env bash
# Versions of files and folders listed and put back by the real program: nothing that stands there is lost by it.
. "$(dirname "$0")/lib.sh"
docs=$scratch/docs target=$scratch/backup
mkdir -p "$docs/sub/deep" "$target" "$scratch/elsewhere"
name=$'odd \xff name\n.txt'
printf first >"$docs/a.txt"; printf odd >"$docs/sub/$name"; printf deep >"$docs/sub/deep/d"; ln -s a.txt "$docs/sub/link"
touch -d '2020-01-01 10:00' "$docs/a.txt"; chmod 640 "$docs/a.txt"; chmod 700 "$docs/sub/deep"
run() { expectStatus 0 "$lumisk" run docs; }
count() { python3 -c 'import json,sys; print(sum(v["kind"]==sys.argv[2] for v in json.load(open(sys.argv[1]))))' "$scratch/out" "$1"; }
trashHas() { find "$scratch" -path '*Trash*/files/*' -type f -exec grep -lx -- "$1" {} + | grep -q .; }

expectStatus 3 "$lumisk" versions "$docs/a.txt"
expectStatus 0 "$lumisk" job add docs --type backup --source "$docs" --target "$target" --manual --revisions all
run
printf second >"$docs/a.txt"; touch -d '2021-01-01 10:00' "$docs/a.txt"; run
printf 'third, damaged' >"$docs/a.txt"; touch -d '2022-01-01 10:00' "$docs/a.txt"; run

# A file: the newest version that is not there; what stood there goes to the Trash.
expectStatus 0 "$lumisk" versions "$docs/a.txt" --json
python3 - "$scratch/out" <<'PY' || fail "versions: $(cat "$scratch/out")"
import json, sys
found = json.load(open(sys.argv[1]))
assert [v["number"] for v in found] == list(range(1, len(found) + 1)), found
assert found[0]["kind"] == "copy" and found[0]["size"] == 14 and found[0]["date"].startswith("2022-01-01 10:00:00"), found
assert [(v["kind"], v.get("revision")) for v in found[1:]] == [("revision", 2), ("revision", 1)], found
PY
expectStatus 0 "$lumisk" restore "$docs/a.txt"
[ "$(cat "$docs/a.txt")" = second ] || fail "restored: $(cat "$docs/a.txt")"
[ "$(stat -c '%a %y' "$docs/a.txt" | cut -c1-23)" = '640 2021-01-01 10:00:00' ] || fail "metadata: $(stat -c '%a %y' "$docs/a.txt")"
trashHas 'third, damaged' || fail "what stood there is not in the Trash"
printf 'newer and kept nowhere else' >"$docs/a.txt"
expectStatus 0 "$lumisk" restore "$docs/a.txt" --version 4
[ "$(cat "$docs/a.txt")" = first ] || fail "version 4: $(cat "$docs/a.txt"); $(cat "$scratch/out")"
trashHas 'newer and kept nowhere else' || fail "the newer file was lost"
expectStatus 0 "$lumisk" versions "$docs/a.txt" --json
[ "$(count trash)" -eq 2 ] || fail "the Trash is not listed: $(cat "$scratch/out")"
expectStatus 2 "$lumisk" restore "$docs/a.txt" --version 99
expectStatus 2 "$lumisk" restore "$docs/a.txt" --to "$scratch/nowhere"
expectStatus 0 "$lumisk" restore "$docs/a.txt" --to "$scratch/elsewhere" --version 1
[ -f "$scratch/elsewhere/a.txt" ] && [ "$(cat "$docs/a.txt")" = first ] || fail "--to: $(ls "$scratch/elsewhere")"

# A deleted folder, and one file of a deleted folder with its folder's own permissions.
cp -a "$docs/sub" "$scratch/sub.was"
rm -r "$docs/sub"
expectStatus 0 "$lumisk" restore "$docs/sub/deep/d"
[ "$(stat -c %a "$docs/sub/deep")" = 700 ] || fail "a folder was made with $(stat -c %a "$docs/sub/deep")"
printf mine >"$docs/sub/only here"
expectStatus 0 "$lumisk" restore "$docs/sub"
[ "$(cat "$docs/sub/only here")" = mine ] || fail "what the version lacks is gone"
rm "$docs/sub/only here"; touch -r "$scratch/sub.was" "$docs/sub"
expectSame "$scratch/sub.was" "$docs/sub"
expectStatus 0 "$lumisk" restore "$docs/sub"
grep -q 'same already' "$scratch/out" || fail "restored again: $(cat "$scratch/out")"
rm -r "$docs"
expectStatus 0 "$lumisk" restore "$docs"
expectSame "$target/docs" "$docs"

# Other kinds of jobs keep their copies in other places.
mkdir "$scratch/full" "$scratch/both"
expectStatus 0 "$lumisk" job add full --type backup --source "$docs" --target "$scratch/full" --manual --full-path
expectStatus 0 "$lumisk" job add both --type sync --source "$docs" --target "$scratch/both" --manual
expectStatus 0 "$lumisk" run full
expectStatus 0 "$lumisk" run both
expectStatus 0 "$lumisk" versions "$docs/sub/link" --json
[ "$(count copy)" -eq 3 ] || fail "copies of three jobs: $(cat "$scratch/out")"
rm "$scratch/both/sub/link"
expectStatus 0 "$lumisk" restore "$scratch/both/sub/link"
[ "$(readlink "$scratch/both/sub/link")" = a.txt ] || fail "a path in a target was not restored"

# Not while a run writes there.
exec 9<"$target"; flock -n 9 || fail "the target is still locked"
expectStatus 2 "$lumisk" restore "$docs/a.txt"
[ "$(grep -c . "$scratch/err")" -eq 1 ] && grep -q 'a run is writing' "$scratch/err" || fail "no clear line: $(cat "$scratch/err")"
exec 9<&-
# A target that is away is an error, not an absence of versions.
mv "$target" "$target.away"
expectStatus 1 "$lumisk" versions "$docs/sub/$name"
expectNoTemporaries "$docs"
finish
