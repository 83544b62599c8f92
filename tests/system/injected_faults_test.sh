#!/usr/bin/env bash
# The real program with system calls that fail, or that it is killed at. INJECTED_CASES=0 tries every occurrence of every
# call.
. "$(dirname "$0")/lib.sh"
command -v strace >/dev/null || skip "needs strace"
strace -f -qq -o "$scratch/trace" -e inject=getpid:error=EIO true 2>/dev/null || skip "nothing can be traced here"
python3 "$(dirname "$0")/injected_faults.py" "$lumisk" "$scratch" "${INJECTED_CASES:-1}" || fail "see above"
finish
