#!/usr/bin/env bash
# A full target: error 980 once, status 1, every earlier version whole, no temporary file left; with space again the next
# run completes. An emptied inode table counts as full, too.
. "$(dirname "$0")/lib.sh"
needsRoot
source=$scratch/source
volume=$scratch/volume
mountNew "$volume" 40M ext4 -N 2000
mkdir "$source"
for i in 1 2 3 4 5 6; do head -c 3000000 /dev/urandom >"$source/file$i"; done
touch -d '2020-01-01' "$source"/*
cp -a "$source" "$scratch/earlier"
for trash in --trash --no-trash; do
  rm -rf "${volume:?}"/* "$volume"/.Trash-0
  cp -a "$scratch/earlier/." "$source/"
  rm -f "$source"/big
  expectStatus 0 "$lumisk" backup "$trash" "$source" "$volume"
  for i in 1 3 5; do head -c 8000000 /dev/urandom >"$source/file$i"; done
  head -c 60000000 /dev/urandom >"$source/big"
  expectStatus 1 "$lumisk" backup "$trash" --json "$source" "$volume"
  [ "$(json errorCode)" -eq 980 ] || fail "error code $(json errorCode) instead of 980 ($trash)"
  [ "$(grep -c 'not enough free space' "$scratch/err")" -eq 1 ] || fail "the message about space came $(grep -c 'not enough free space' "$scratch/err") times"
  expectNoTemporaries "$volume"
  for i in 1 2 3 4 5 6; do
    cmp -s "$volume/source/file$i" "$scratch/earlier/file$i" || cmp -s "$volume/source/file$i" "$source/file$i" ||
      fail "file$i at the full target is neither its old nor its new version"
  done
  rm -f "$source/big"; rm -rf "$volume"/.Trash-0
  for i in 1 3 5; do head -c 3000001 /dev/urandom >"$source/file$i"; done
  rm -rf "$volume"/.Trash-0
  expectStatus 0 "$lumisk" backup --no-trash "$source" "$volume"
  expectSame "$source" "$volume/source"
done

# No inodes left.
rm -rf "${volume:?}"/* "$volume"/.Trash-0
mkdir "$scratch/many" && (cd "$scratch/many" && seq -f 'f%.0f' 2500 | xargs touch)
expectStatus 1 "$lumisk" backup --json "$scratch/many" "$volume"
[ "$(json errorCode)" -eq 980 ] || fail "error code $(json errorCode) instead of 980 without inodes"
expectNoTemporaries "$volume"
finish
