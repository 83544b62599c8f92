#!/usr/bin/env bash
# A real tree with links arrives identical by an independent comparison; a second run copies nothing.
. "$(dirname "$0")/lib.sh"
target=$scratch/target
mkdir "$target"
sources=(/usr/share/doc /usr/include)
expectStatus 0 "$lumisk" backup --json "${sources[@]}" "$target"
entries=$(json entries)
[ "$entries" -gt 3000 ] || fail "only $entries entries were looked at"
for source in "${sources[@]}"; do expectSame "$source" "$target/$(basename "$source")"; done

expectStatus 0 "$lumisk" backup --json "${sources[@]}" "$target"
[ "$(json copied)" -eq 0 ] || fail "the second run copied $(json copied)"
[ "$(json entries)" -eq "$entries" ] || fail "the second run looked at $(json entries) instead of $entries entries"
expectNoTemporaries "$target"
finish
