#!/usr/bin/env bash
# clang-tidy with the repository's configuration; any finding is an error. Wants a built dev preset.
#   scripts/tidy.sh           what the branch touches, on main itself what its last commit touches
#   scripts/tidy.sh --all     everything
set -euo pipefail
cd "$(dirname "$0")/.."

touched() {
    local base head
    head=$(git rev-parse HEAD)
    base=$(git merge-base HEAD origin/main 2>/dev/null || git merge-base HEAD main 2>/dev/null || echo "$head")
    if [ "$base" = "$head" ]; then
        base=$(git rev-parse -q --verify HEAD~1 || echo "$head")
    fi
    git diff --name-only --diff-filter=d "$base" -- '*.cpp' '*.h'
}

# A header is read with its own source file, else with the first source file that includes it.
sources() {
    local file
    while read -r file; do
        case $file in
        *.cpp) echo "$file" ;;
        *) [ -f "${file%.h}.cpp" ] && echo "${file%.h}.cpp" ||
            git grep -l --max-depth=-1 "include \"$file\"" -- '*.cpp' | head -n 1 ;;
        esac
    done | sort -u
}

if [ "${1:-}" = --all ]; then
    list=$(git ls-files '*.cpp')
else
    list=$(touched | sources)
fi
# The fuzz targets are built by a preset of their own.
list=$(grep -v '^fuzz/' <<<"$list" || true)
if [ -z "$list" ]; then
    echo "clang-tidy: nothing to read."
    exit 0
fi
echo "clang-tidy reads $(wc -l <<<"$list") files ..."
# Without the precompiled headers, which are the compiler's own.
mkdir -p build/dev/tidy
sed 's/ -Winvalid-pch -include [^ ]*cmake_pch\.hxx//' build/dev/compile_commands.json >build/dev/tidy/compile_commands.json
xargs -P "$(nproc)" -n 4 clang-tidy -p build/dev/tidy --quiet <<<"$list" 2>/dev/null
