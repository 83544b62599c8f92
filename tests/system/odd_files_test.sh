#!/usr/bin/env bash
# Names of any bytes, very long names and paths, sparse files, attributes, ACLs, nanosecond times, hard links, special
# files, unreadable files, a file that grows while it is copied. Gentle and full pace give the same tree.
. "$(dirname "$0")/lib.sh"
source=$scratch/source
mkdir "$source" "$scratch/full" "$scratch/gentle"

python3 - "$source" <<'PY'
import os, sys
top = os.fsencode(sys.argv[1])
for name in [b"new\nline", b"\xff\xfe\x80", b"tab\t and blank ", b"quote'\"`$x", b"-rf", b"n" * 255, b"\xc3\xa4" * 127, b"*?[]"]:
    with open(os.path.join(top, name), "wb") as f: f.write(name)
os.makedirs(os.path.join(top, b"dir\xff/sub\n"))
os.chdir(top)
for i in range(300):                       # about 9,000 bytes of path
    os.mkdir("level-%03d-%s" % (i, "x" * 20)); os.chdir("level-%03d-%s" % (i, "x" * 20))
open("at the bottom", "w").write("deep")
PY
cd "$source" || exit 1
truncate -s 40M sparse && printf x | dd of=sparse bs=1 seek=20000000 conv=notrunc status=none
printf data >attributes && setfattr -n user.color -v blue attributes 2>/dev/null
printf acl >acl && setfacl -m u:1234:rw acl 2>/dev/null
mkdir withdefault && setfacl -d -m u:1234:rx withdefault 2>/dev/null && printf x >withdefault/inherits
touch -d '2001-02-03 04:05:06.123456789' nanoseconds
printf 1 >hard1 && ln hard1 hard2 && mkdir other && ln hard1 other/hard3
ln -s nowhere dangling && ln -s . loop && ln -s "$(printf 'l%.0s' {1..2000})" longlink
mkfifo fifo && python3 -c 'import socket; socket.socket(socket.AF_UNIX).bind("sock")'
[ "$(id -u)" -eq 0 ] && mknod null c 1 3
mkdir readonly && printf x >readonly/inside && chmod 0555 readonly
touch -d '1999-01-01' readonly empty

# rsync itself cannot go as deep; what lies at the bottom is compared by hand.
excludes=(--exclude=/fifo --exclude=/sock --exclude=/null --exclude='/level-*')
atTheBottom() {
  python3 - "$1" <<'PY'
import os, sys
os.chdir(sys.argv[1])
for i in range(300): os.chdir("level-%03d-%s" % (i, "x" * 20))
print(open("at the bottom").read())
PY
}
for pace in full gentle; do
  expectStatus 0 "$lumisk" backup --pace $pace --json "$source" "$scratch/$pace"
  expectSame "$source" "$scratch/$pace/source" "${excludes[@]}"
  [ "$(atTheBottom "$scratch/$pace/source")" = deep ] || fail "the deepest folder was not copied ($pace)"
  [ "$(stat -c %b "$scratch/$pace/source/sparse")" -lt 4000 ] || fail "the sparse file was filled ($pace)"
  for special in fifo sock null; do [ -e "$scratch/$pace/source/$special" ] && fail "$special was copied"; done
  expectStatus 0 "$lumisk" backup --pace $pace --json "$source" "$scratch/$pace"
  [ "$(json copied)" -eq 0 ] || fail "a second run at $pace pace copied $(json copied)"
  expectNoTemporaries "$scratch/$pace"
done

# A file that grows while it is copied: the run ends, and the next run brings the rest.
mkdir "$scratch/growing" "$scratch/grown"
head -c 30000000 /dev/zero | tr '\0' a >"$scratch/growing/log"
(while :; do head -c 200000 /dev/zero | tr '\0' b >>"$scratch/growing/log"; done) &
writer=$!
"$lumisk" backup --pace gentle "$scratch/growing" "$scratch/grown" >/dev/null 2>&1 || fail "a growing file made the run fail"
kill $writer; wait $writer 2>/dev/null
expectStatus 0 "$lumisk" backup "$scratch/growing" "$scratch/grown"
expectSame "$scratch/growing" "$scratch/grown/growing"

# An unreadable file: the run goes on, says so and is incomplete. Needs another user than root.
if [ "$(id -u)" -eq 0 ] && command -v setpriv >/dev/null; then
  mkdir "$scratch/private" "$scratch/public" && chmod 0711 "$scratch"
  printf a >"$scratch/private/a"; printf s >"$scratch/private/secret"; printf z >"$scratch/private/z"
  mkdir "$scratch/private/closed" && printf c >"$scratch/private/closed/c"
  chmod 0600 "$scratch/private/secret"; chmod 0700 "$scratch/private/closed"
  chown -R 65534:65534 "$scratch/public" "$LUMISK_HOME"
  expectStatus 1 setpriv --reuid 65534 --regid 65534 --clear-groups "$lumisk" backup --json "$scratch/private" "$scratch/public"
  [ "$(json result)" = error ] || fail "the result of an incomplete run is $(json result)"
  for name in a z; do [ -f "$scratch/public/private/$name" ] || fail "$name was not copied beside an unreadable file"; done
  [ -e "$scratch/public/private/secret" ] && fail "an unreadable file appeared at the target"
fi
finish
