#!/bin/sh
# Is the built agent hardened? hardening.sh PLUG: position independent, every function bound at the start and what is
# bound read-only then, no executable stack, buffers guarded by the compiler and, unless it is musl, the C library.
set -eu
plug=$1
status=0
check() { # what, where, pattern
    if ! printf '%s\n' "$2" | grep -qE "$3"; then
        echo "$plug: $1 is missing"
        status=1
    fi
}
segments=$(readelf -lW "$plug")
dynamic=$(readelf -dW "$plug")
functions=$(readelf --dyn-syms -W "$plug")
check "a position of its own" "$dynamic" 'FLAGS_1.*PIE'
check "binding at the start" "$dynamic" 'FLAGS_1.*NOW'
check "the read-only part" "$segments" 'GNU_RELRO'
check "a stack that is not executable" "$segments" 'GNU_STACK.* RW '
check "the stack protector" "$functions" '__stack_chk_fail'
printf '%s\n' "$segments" | grep -q 'interpreter: .*musl' ||
    check "FORTIFY" "$functions" '__(snprintf|vsnprintf|fprintf|vfprintf|memcpy|read|recv)_chk'
exit "$status"
