#!/usr/bin/env bash
# Runs every test and builds the packages in a Debian of another release, any warning being an error, and tries the
# packages in a fresh one. As root.
#   scripts/try-suite.sh SUITE [ROOT-TO-KEEP-AND-USE-AGAIN]
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/debian-root.sh
suite=$1
kept=${2:-}
root=${kept:-$(mktemp -d)}
trap 'leave_root "$root" "$kept"' EXIT

make_root "$suite" "$root"
in_root "$root" sh -c 'apt-get update -qq && apt-get install -y -qq --no-install-recommends git ca-certificates >/dev/null'
rm -rf "$root/source"
git clone -q --no-hardlinks . "$root/source"
in_root "$root" git config --global --replace-all safe.directory /source
echo "== the tests"
in_root "$root" sh -c 'cd /source && ./test dev'
echo "== the packages"
in_root "$root" env SMS_WARNINGS_AS_ERRORS=ON sh -c 'cd /source && ./package'
out=$PWD/build/packages-$suite
rm -rf "$out"
cp -r "$root/source/build/packages" "$out"
scripts/try-package.sh "$out" "" "$suite"
