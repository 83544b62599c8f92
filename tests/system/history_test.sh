#!/usr/bin/env bash
# What a backup keeps and what it takes away: revisions, deletions and where they go, the brake, and volumes that are not
# there: nothing is deleted because of a source that is not mounted, nothing is written below an empty mount point.
. "$(dirname "$0")/lib.sh"
needsRoot

# Revisions, limited and unlimited.
mkdir "$scratch/r" "$scratch/rt"
for method in 2 all; do
  for i in 1 2 3 4 5; do
    echo "$method version $i" >"$scratch/r/a.txt"
    touch -d "2020-01-0$i" "$scratch/r/a.txt"
    expectStatus 0 "$lumisk" backup --revisions "$method" --json "$scratch/r" "$scratch/rt/$method"
    [ "$i" -eq 1 ] || [ "$(json revisions)" -eq 1 ] || fail "version $i kept $(json revisions) revisions ($method)"
  done
done
for n in 1 2; do
  [ "$(cat "$scratch/rt/2/Revision/r/a(Qel Lumisk $n).txt")" = "2 version $((n + 2))" ] || fail "limited revision $n"
done
[ "$(ls "$scratch/rt/2/Revision/r" | wc -l)" -eq 2 ] || fail "more revisions than the limit"
for n in 1 2 3 4; do
  [ "$(cat "$scratch/rt/all/Revision/r/a(Qel Lumisk $n).txt")" = "all version $n" ] || fail "unlimited revision $n"
done

# Deletions, to the Trash, on volumes of their own.
mountNew "$scratch/sv" 20M ext4
mountNew "$scratch/tv" 20M ext4
source=$scratch/sv/docs
target=$scratch/tv/backup
list="$LUMISK_HOME/Library/Preferences/QEL_LUMISK/job.qellumiskdat"
mkdir -p "$source/d" "$target"
for i in $(seq 30); do echo "text $i" >"$source/d/f$i"; done
echo one >"$source/one"
expectStatus 0 "$lumisk" job add job --type backup --source "$source" --target "$target" --manual --delete
expectStatus 0 "$lumisk" run job
expectSame "$source" "$target/docs"
ls "$target"/_XXXQelLumiskinfo_job >/dev/null || fail "the target has no marker"
[ -s "$list" ] || fail "there is no list of files"
rm "$source/one"
expectStatus 0 "$lumisk" run job --dry-run
grep -q "^delete *$target/docs/one" "$scratch/out" || fail "the dry run does not tell the deletion"
[ -e "$target/docs/one" ] || fail "the dry run deleted"
expectStatus 0 "$lumisk" run job --json
[ "$(json deleted)" -eq 1 ] || fail "$(json deleted) deleted instead of 1"
expectSame "$source" "$target/docs"
[ "$(cat "$(find "$scratch/tv" -path '*rash*' -name 'one*' -not -name '*.trashinfo')")" = one ] || fail "the deleted file is not in the Trash"

# Too many at once are held, copies go on, and one run may let them pass.
mv "$source/d" "$scratch/away"
echo new >"$source/new"
cp "$list" "$scratch/list"
expectStatus 1 "$lumisk" run job --json
[ "$(json result)" = held ] && [ "$(json held)" -eq 31 ] && [ "$(json deleted)" -eq 0 ] || fail "not held: $(cat "$scratch/out")"
grep -q -e --allow-deletions "$scratch/err" || fail "the user is not told how to let the deletions pass"
[ "$(cat "$target/docs/new")" = new ] && [ -e "$target/docs/d/f30" ] || fail "a held run did not copy, or deleted"
cmp -s "$list" "$scratch/list" || fail "a held run replaced the list of files"
expectStatus 1 "$lumisk" run job --json
expectStatus 0 "$lumisk" run job --allow-deletions --json
[ "$(json deleted)" -eq 31 ] || fail "$(json deleted) deleted instead of 31"
expectSame "$source" "$target/docs"
mv "$scratch/away" "$source/d"
expectStatus 0 "$lumisk" run job

# A damaged list deletes nothing, and hinders nothing.
printf 'MACOFLSIGN\377\377\377\377garbage' >"$list"
expectStatus 0 "$lumisk" run job --json
[ "$(json deleted)" -eq 0 ] || fail "a damaged list deleted something"
printf 'no list at all' >"$list"
expectStatus 0 "$lumisk" run job --json
expectSame "$source" "$target/docs"

# The source's volume is not mounted; its mount point is there, even with a folder of the same name.
cp -a "$target/docs" "$scratch/before"
umount "$scratch/sv"
expectStatus 1 "$lumisk" run job
mkdir "$source"
expectStatus 1 "$lumisk" run job --allow-deletions --json
[ "$(json deleted)" -eq 0 ] || fail "an unmounted source deleted something"
grep -q -e --accept-source "$scratch/err" || fail "the user is not told how to accept the source: $(cat "$scratch/err")"
expectSame "$scratch/before" "$target/docs"
rmdir "$source"
mount -o loop "$scratch/sv.image" "$scratch/sv"
expectStatus 0 "$lumisk" run job

# A volume below the source that is gone keeps its part of the target.
mountNew "$source/inner" 10M ext4
echo inner >"$source/inner/file"
expectStatus 0 "$lumisk" run job
umount "$source/inner"
rm "$source/inner.image"  # where the volume was made; the source is otherwise as it was
rm "$source/d/f1"
expectStatus 1 "$lumisk" run job
[ "$(cat "$target/docs/inner/file")" = inner ] || fail "what was on a gone volume was deleted"
[ ! -e "$target/docs/d/f1" ] || fail "a deletion beside the gone volume was not followed"
expectStatus 0 "$lumisk" run job --accept-source
[ ! -e "$target/docs/inner/file" ] || fail "the volume's part stays although the user said that it is meant to be gone"

# The target's volume is not mounted.
umount "$scratch/tv"
mkdir "$target"
expectStatus 1 "$lumisk" run job
grep -q -e --accept-target "$scratch/err" || fail "the user is not told how to accept the target: $(cat "$scratch/err")"
[ -z "$(ls -A "$target")" ] || fail "something was written below the mount point: $(ls -A "$target")"
rmdir "$target"
mount -o loop "$scratch/tv.image" "$scratch/tv"
expectStatus 0 "$lumisk" run job

# A marker that was deleted by hand: once accepted it is back.
rm "$target"/_XXXQelLumiskinfo_job
echo newer >"$source/new"
expectStatus 1 "$lumisk" run job
[ "$(cat "$target/docs/new")" = new ] || fail "a target without its marker was written to"
expectStatus 0 "$lumisk" run job --accept-target
expectStatus 0 "$lumisk" run job
expectSame "$source" "$target/docs"

# A run of no stored job leaves no marks.
expectStatus 0 "$lumisk" backup "$source" "$scratch/plain"
ls "$scratch/plain"/_XXX* 2>/dev/null && fail "an unstored job marked its target"
finish
