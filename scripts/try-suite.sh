#!/usr/bin/env bash
# Builds the packages in a Debian of another release, any warning being an error, and tries them in a fresh one. As root.
#   scripts/try-suite.sh SUITE [ROOT-TO-KEEP-AND-USE-AGAIN]
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
. scripts/debian-root.sh
suite=$1
root=${2:-$(mktemp -d)}
trap 'leave_root "$root" "${2:-}"' EXIT

make_root "$suite" "$root"
echo "== what a build wants"
# shellcheck disable=SC2086 # lists of words
in_root "$root" sh -c 'apt-get update -qq && apt-get install -y -qq --no-install-recommends "$@" >/install.log 2>&1' \
    install build-essential $build_packages $packaging_packages || { tail "$root/install.log"; exit 1; }
echo "== the packages"
rm -rf "$root/build"
mkdir -p "$root/build/source"
git ls-files -z | tar -c --null -T - | tar -x -C "$root/build/source"
in_root "$root" env SMS_COMMIT="$(git describe --always --dirty --abbrev=12)" SMS_WARNINGS_AS_ERRORS=ON DEB_CXXFLAGS_STRIP=-g \
    DEB_BUILD_OPTIONS="parallel=$(nproc) noautodbgsym" CCACHE_DIR=/root/.cache/ccache \
    sh -c 'cd /build/source && dpkg-buildpackage -b -us -uc >/build/log 2>&1' || { tail -n 30 "$root/build/log"; exit 1; }
out=$PWD/build/packages-$suite
rm -rf "$out"
mkdir -p "$out"
cp "$root"/build/*.deb "$out"
scripts/try-package.sh "$out" "" "$suite"
