#!/usr/bin/env bash
# Cross-builds the programs and tests for arm64 and runs the tests under qemu-user. As root (for binfmt_misc), on Debian 12.
#   scripts/try-arm64.sh SYSROOT [CTEST-OPTION...]    the sysroot is made when it is not there, and used again
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/packages.sh
sysroot=$(realpath -m "$1")
shift
begin=$SECONDS
told() { echo "== $1 after $((SECONDS - begin)) s"; }

# shellcheck disable=SC2086 # a list of words
install_packages $build_packages g++-aarch64-linux-gnu qemu-user-static
if [ ! -e "$sysroot/usr/lib/aarch64-linux-gnu/libQt6Core.so" ]; then
    # Its packages are unpacked alone: nothing of them has to run to be built against.
    mkdir -p "$sysroot"/apt/{lists,archives}/partial "$sysroot"/usr/{bin,sbin,lib}
    for folder in bin sbin lib; do ln -sfn usr/$folder "$sysroot/$folder"; done
    : >"$sysroot/apt/status"
    arm_apt() {
        apt-get -qq -o APT::Architecture=arm64 -o APT::Architectures=arm64 -o Dir::State::Lists="$sysroot/apt/lists" \
            -o Dir::State::status="$sysroot/apt/status" -o Dir::Cache="$sysroot/apt" -o Debug::NoLocking=1 "$@"
    }
    arm_apt update
    # shellcheck disable=SC2046 # a list of words
    arm_apt install --download-only -y --no-install-recommends libc6-dev libstdc++-12-dev libqt6sql6-sqlite \
        $(tr ' ' '\n' <<<"$build_packages" | grep -E '^lib|-dev$')
    for package in "$sysroot"/apt/archives/*.deb; do
        dpkg-deb --fsys-tarfile "$package" | tar -x -C "$sysroot" --keep-directory-symlink
    done
    rm -r "$sysroot/apt"
    # Links to the root are links into the sysroot.
    find "$sysroot" -type l -lname '/*' -printf '%p\t%l\n' | while IFS=$'\t' read -r link target; do
        ln -sfn "$sysroot$target" "$link"
    done
    told "the sysroot stands"
fi

out=$PWD/build/arm64
mkdir -p "$out"
cat >"$out/toolchain.cmake" <<EOT
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_SYSROOT $sysroot)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
EOT
export PKG_CONFIG_SYSROOT_DIR=$sysroot PKG_CONFIG_LIBDIR=$sysroot/usr/lib/aarch64-linux-gnu/pkgconfig:$sysroot/usr/share/pkgconfig
cmake -S . -B "$out" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$out/toolchain.cmake" -DCMAKE_BUILD_TYPE=Release \
    -DSMS_BUILD_BENCHMARKS=OFF -DQT_HOST_PATH=/usr -DQT_HOST_PATH_CMAKE_DIR="/usr/lib/$(uname -m)-linux-gnu/cmake"
told "it is configured"
ninja -C "$out" all
told "it is built"
# Programs that a test starts are the emulator's too.
mountpoint -q /proc/sys/fs/binfmt_misc || mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc
elf='\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00'
mask='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
[ -e /proc/sys/fs/binfmt_misc/qemu-aarch64 ] ||
    printf %s ":qemu-aarch64:M::$elf:$mask:/usr/bin/qemu-aarch64-static:F" >/proc/sys/fs/binfmt_misc/register
# Left out: the tests that start servers of this machine, that with a screen, and those that start a program by QProcess,
# whose clone(CLONE_PIDFD) the emulator refuses.
without='DesktopTest|TranscriptTest|SimulatorProgramTest|ServiceTest|WindowTest|CommandLineTest|SelfCheckTest'
without+='|ServerProcessTest|CollectorTest'
export QEMU_LD_PREFIX=$sysroot QT_PLUGIN_PATH=$sysroot/usr/lib/aarch64-linux-gnu/qt6/plugins
ctest --test-dir "$out" --output-on-failure --timeout 600 -LE servers -E "$without" "$@"
told "the tests have run"
