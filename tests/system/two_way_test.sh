#!/usr/bin/env bash
# Two folders kept in step by the real program: new files both ways, deletions, a renamed folder, an edit that outranks a
# deletion, the brake, and volumes that are away.
. "$(dirname "$0")/lib.sh"
one=$scratch/one
two=$scratch/two
mkdir -p "$one/sub" "$two"
old() { touch -d '2020-01-01' "$@"; }  # edits are younger than the last run, all else is not
for i in 1 2 3; do echo "$i" >"$one/f$i"; echo "s$i" >"$one/sub/g$i"; done
echo other >"$two/other"
old "$one"/f* "$one"/sub/* "$two/other"
inStep() {
  local differences
  differences=$(diff -r --exclude='.lumisk*' --exclude='_XXXQelLumiskinfo_*' --exclude=Revision "$one" "$two" 2>&1)
  [ -z "$differences" ] || fail "$1: the folders differ: $differences"
}
sync() { expectStatus 0 "$lumisk" sync "$one" "$two" --json "$@" </dev/null; }

sync; inStep "first run"
sync; [ "$(json copied)" -eq 0 ] || fail "an unchanged run copied $(json copied)"
rm "$two/f1"; rm -r "$one/sub"; echo edited >>"$two/f2"; rm "$one/f2"
sync; inStep "deletions"
[ "$(json deleted)" -ge 5 ] || fail "only $(json deleted) deletions were carried over"
[ -e "$one/f1" ] && fail "a deleted file stayed"
grep -q edited "$one/f2" || fail "an edit was lost to a deletion"
grep -rqs s1 "$LUMISK_HOME" "$two" "$one" || fail "what was deleted is not in the Trash"
mkdir "$one/folder"; for i in 1 2 3; do echo "in $i" >"$one/folder/$i"; done; old "$one"/folder/*
sync; sync
mv "$one/folder" "$one/renamed"
sync; inStep "renamed folder"
[ "$(json copied)" -eq 0 ] || fail "a renamed folder was copied"
expectStatus 0 "$lumisk" job list --json
[ "$(python3 -c 'import json,sys; print(len(json.load(open(sys.argv[1]))))' "$scratch/out")" -eq 1 ] || fail "more than one job was made"

# The brake.
for i in $(seq 60); do echo "$i" >"$one/many$i"; done; old "$one"/many*
sync; sync
rm "$two"/many*
expectStatus 1 "$lumisk" sync "$one" "$two" --json </dev/null
[ "$(json result)" = held ] && [ "$(json held)" -eq 60 ] || fail "deletions beyond the brake: $(json result), $(json held) held"
[ -e "$one/many7" ] || fail "the brake did not hold"
expectStatus 0 "$lumisk" run "sync one" --allow-deletions --json </dev/null
[ -e "$one/many7" ] && fail "deletions were not let through"
inStep "after the brake"

# Volumes that are away: mount points that are bare.
if [ "$(id -u)" -eq 0 ]; then
  mountNew "$scratch/here" 30M ext4
  mountNew "$scratch/there" 30M ext4
  for i in $(seq 10); do echo "$i" >"$scratch/here/n$i"; done; old "$scratch"/here/n*
  expectStatus 0 "$lumisk" job add away --type sync --source "$scratch/here" --target "$scratch/there" --manual
  expectStatus 0 "$lumisk" run away </dev/null
  expectStatus 0 "$lumisk" run away </dev/null
  for absent in there here; do
    umount "$scratch/$absent"
    expectStatus 1 "$lumisk" run away </dev/null
    [ -z "$(ls -A "$scratch/$absent")" ] || fail "something was written below the bare mount point $absent"
    mount -o loop "$scratch/$absent.image" "$scratch/$absent"
    for side in here there; do
      [ "$(ls "$scratch/$side" | grep -c '^n')" -eq 10 ] || fail "files are gone from $side after $absent was away"
    done
  done
  expectStatus 0 "$lumisk" run away </dev/null
fi
finish
