#!/usr/bin/env bash
# Runs every built fuzz target, or those named, for some seconds each: scripts/fuzz.sh SECONDS [NAME...]
# What was found in earlier runs stays in build/fuzz/corpus and is built upon. A finding ends the run with
# status 1 and leaves the input in build/fuzz/findings; NAME FILE in build/fuzz/bin runs it again.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=$1
shift
names=("$@")
[ ${#names[@]} -gt 0 ] || mapfile -t names < <(cd build/fuzz/bin && ls -- *Fuzzer)

failed=()
for name in "${names[@]}"; do
    corpus=build/fuzz/corpus/$name
    mkdir -p "$corpus" build/fuzz/findings
    folders=("$corpus")
    [ -d "fuzz/corpus/$name" ] && folders+=("fuzz/corpus/$name")
    if [ "$name" = MimeFuzzer ]; then
        python3 tests/mime/make_mails.py build/fuzz/mails
        folders+=(build/fuzz/mails)
    fi
    options=(-max_total_time="$seconds" -timeout=20 -rss_limit_mb=2048 -print_final_stats=0
        -artifact_prefix="build/fuzz/findings/$name-")
    [ -f "fuzz/$name.dict" ] && options+=(-dict="fuzz/$name.dict")
    log=build/fuzz/$name.log
    echo "$name for $seconds s ..."
    if UBSAN_OPTIONS=print_stacktrace=1 "build/fuzz/bin/$name" "${options[@]}" "${folders[@]}" >"$log" 2>&1; then
        grep -E 'cov: ' "$log" | tail -n 1
    else
        tail -n 40 "$log"
        failed+=("$name")
    fi
done
[ ${#failed[@]} -eq 0 ] || { echo "Findings: ${failed[*]}; see build/fuzz/findings"; exit 1; }
