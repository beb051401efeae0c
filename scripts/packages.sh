# Sourced by ./run, ./test and .ci/run: installs Debian packages that are missing, and says so.

build_packages="g++ cmake ninja-build pkg-config qt6-base-dev qt6-serialport-dev libcurl4-openssl-dev
    libgmime-3.0-dev libqt6sql6-sqlite libqt6sql6-psql libqt6sql6-mysql libpq-dev libmariadb-dev
    unixodbc-dev odbcinst"
demo_packages="sqlite3 fonts-wqy-microhei dovecot-pop3d openssl"
test_packages="$demo_packages xvfb openbox trayer xdotool imagemagick
    postgresql mariadb-server odbc-postgresql odbc-mariadb tdsodbc"
check_packages="clang-format clang-tidy"

# install_packages PACKAGE...
install_packages() {
    local missing=() package
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null)" = "install ok installed" ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing ${missing[*]} ..."
    local sudo=
    [ "$(id -u)" -eq 0 ] || sudo=sudo
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# build_preset PRESET [TARGET...]
build_preset() {
    local preset=$1
    shift
    if command -v ccache >/dev/null; then
        export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
    fi
    echo "Building the $preset preset in build/$preset ..."
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
