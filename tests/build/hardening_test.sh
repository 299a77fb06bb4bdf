#!/usr/bin/env bash
# The built programs have what the build says that they are hardened with (cmake/KxHardening.cmake).
# usage: hardening_test.sh "HARDENED WORDS" PROGRAM...
set -euo pipefail
export LC_ALL=C
hardened=" $1 "
shift

failures=0
lacks() { echo "$1 has no $2" >&2; failures=$((failures + 1)); }

# What the compiler puts at the begin of a function that is called by its address, and into the making of a large frame.
case $(uname -m) in
  x86_64) landing='endbr64' probe='orq? +\$0x0,\(%rsp\)' ;;
  aarch64) landing='bti|paciasp' probe='str\s+xzr, \[sp' ;;
  *) landing='' probe='' ;;
esac

# Names that the program takes from libraries, or has where they are linked into it.
has_symbol() { grep -Eq " ($1)(@.*)?\$" <<<"$symbols"; }
code_has() { [ "$(objdump -d --no-show-raw-insn "${@:2}" "$program" | grep -Ec "$1")" != 0 ]; }

for program in "$@"; do
  symbols=$(readelf -Ws "$program" | awk '{print $8}' | sed 's/^/ /')
  segments=$(readelf -Wl "$program")
  dynamic=$(readelf -Wd "$program")
  grep -q 'DYN (Position-Independent' <(readelf -Wh "$program") || lacks "$program" "address of its own choice"
  grep -q 'GNU_STACK .* RW ' <<<"$segments" || lacks "$program" "stack without code"
  ! grep -q ' RWE ' <<<"$segments" || lacks "$program" "memory that is either written or run"
  for word in $hardened; do
    case $word in
      relro)
        grep -q GNU_RELRO <<<"$segments" && grep -q 'Flags:.* NOW\|BIND_NOW' <<<"$dynamic" || lacks "$program" $word ;;
      stack_protector) has_symbol __stack_chk_fail || lacks "$program" $word ;;
      assertions) has_symbol '_ZSt21__glibcxx_assert_fail.*' || lacks "$program" $word ;;
      # Calls that are checked where the size is known only when they are made.
      fortify) has_symbol '__(snprintf|vsnprintf|fprintf|vfprintf)_chk' || lacks "$program" $word ;;
      branches) code_has "$landing" --disassemble=main || lacks "$program" $word ;;
      stack_clash) code_has "$probe" || lacks "$program" $word ;;
      *) lacks "a test" "of $word" ;;
    esac
  done
done
exit $((failures != 0))
