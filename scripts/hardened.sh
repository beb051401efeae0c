#!/usr/bin/env bash
# Proves that programs are hardened: position-independent, full RELRO, stack protector, FORTIFY, and control-flow
# protection where the processor has it.
#   scripts/hardened.sh PROGRAM...
set -euo pipefail
failed=0
want() { # WHAT PATTERN, among what standard input tells of $program
    # Read to its end: a reader that leaves early would end the teller with a signal.
    [ "$(grep -Ec -- "$2")" -gt 0 ] || { echo "$program: no $1"; failed=1; }
}
for program in "$@"; do
    export LC_ALL=C
    readelf -hW "$program" | want "position-independent executable" 'Type: +DYN'
    readelf -lW "$program" | want "read-only relocations" GNU_RELRO
    readelf -dW "$program" | want "immediate binding" 'BIND_NOW|FLAGS.*NOW'
    imported=$(readelf --dyn-syms -W "$program" | awk '$7 == "UND" { sub(/@.*/, "", $8); print $8 }')
    want "stack protector" __stack_chk_fail <<<"$imported"
    # These are always replaced by checked ones; a program that calls none of them may have nothing to check.
    if [ "$(grep -Ecx 'v?(f|s|sn|d|as)?printf' <<<"$imported")" -gt 0 ]; then
        echo "$program: functions that are not fortified"
        failed=1
    fi
    # The linker's own mark for it is missing where the C library's start files were built without it.
    [ "$(uname -m)" != x86_64 ] ||
        want "control-flow protection" 99 < <(objdump -d "$program" | awk '/endbr64/ && ++n == 99 { print n }')
done
[ $failed -ne 0 ] || echo "Hardened: $*"
exit $failed
