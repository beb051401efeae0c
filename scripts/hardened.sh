#!/usr/bin/env bash
# Proves with readelf that programs are hardened: position-independent, full RELRO, stack protector, FORTIFY, and
# control-flow protection where the processor has it.
#   scripts/hardened.sh PROGRAM...
set -euo pipefail
failed=0
want() { # WHAT FILE READELF-OPTIONS PATTERN
    if ! LC_ALL=C readelf $3 "$2" 2>/dev/null | grep -Eq -- "$4"; then
        echo "$2: no $1"
        failed=1
    fi
}
for program in "$@"; do
    want "position-independent executable" "$program" "-h" 'Type: +DYN'
    want "read-only relocations" "$program" "-lW" GNU_RELRO
    want "immediate binding" "$program" "-dW" 'BIND_NOW|FLAGS.*NOW'
    want "stack protector" "$program" "--dyn-syms -W" __stack_chk_fail
    want "fortified functions" "$program" "--dyn-syms -W" '__[a-z]+_chk'
    [ "$(uname -m)" != x86_64 ] || want "control-flow protection" "$program" "-nW" IBT
done
exit $failed
