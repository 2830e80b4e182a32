#!/usr/bin/env bash
# hardened.sh BINARY...: whether programs and libraries were built as cmake/Sqxer.cmake says: at any address,
# with tables of functions that are read-only before main, no stack that runs, and checks of stacks and of
# lengths in it. Prints what is missing; status 1 then.
set -euo pipefail

missing=0
all=
complain() {
  echo "$1: $2"
  missing=1
}
for binary in "$@"; do
  segments=$(readelf -lW "$binary")
  dynamic=$(readelf -dW "$binary")
  symbols=$(readelf --dyn-syms -W "$binary")
  grep -q 'file type is DYN' <<<"$segments" || complain "$binary" "not position-independent"
  grep -q GNU_RELRO <<<"$segments" || complain "$binary" "no read-only relocations"
  grep -qE 'BIND_NOW|Flags:.*NOW' <<<"$dynamic" || complain "$binary" "functions are bound late"
  grep -qE 'GNU_STACK.* RW ' <<<"$segments" || complain "$binary" "a stack that runs"
  all+=$symbols
  grep -q __stack_chk_fail <<<"$symbols" || complain "$binary" "no check of stacks"
done
# Not each has a call whose length the compiler can check.
grep -qE '__mem[a-z]+_chk' <<<"$all" || complain "$*" "no check of lengths"
exit "$missing"
