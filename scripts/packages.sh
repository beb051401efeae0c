# shellcheck shell=bash disable=SC2034
# Sourced by ./run, ./test and .ci/run: installs Debian packages that are missing, and says so.

build_packages="g++ ccache cmake ninja-build pkg-config qt6-base-dev qt6-serialport-dev libcurl4-openssl-dev
    libgmime-3.0-dev qt6-translations-l10n libpq-dev libmariadb-dev libsqlite3-dev unixodbc-dev odbcinst"
demo_packages="sqlite3 fonts-wqy-microhei dovecot-pop3d openssl python3"
test_packages="$demo_packages xvfb openbox trayer xdotool imagemagick x11-utils
    postgresql mariadb-server libqt6sql6-sqlite libqt6sql6-psql libqt6sql6-mysql odbc-postgresql odbc-mariadb tdsodbc libsqliteodbc pgbouncer"
picture_packages="$demo_packages xvfb openbox trayer xdotool imagemagick x11-xserver-utils"
check_packages="clang-format clang-tidy"
packaging_packages="debhelper lintian dpkg-dev systemd"
trial_packages="debootstrap systemd-container"

# install_packages PACKAGE...
install_packages() {
    local missing=() package
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null)" = "install ok installed" ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "These packages are missing, and only root can install them (there is no sudo here). As root:"
            echo "  apt-get install --no-install-recommends ${missing[*]}"
            exit 1
        fi >&2
        as_root=(sudo)
    fi
    local log
    log=$(mktemp -t sms-server-apt.XXXXXX)
    echo "Installing ${missing[*]} (what apt says: $log) ..."
    if ! { "${as_root[@]}" apt-get update && "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "${missing[@]}"; } >"$log" 2>&1; then
        tail -n 5 "$log"
        echo "apt could not install them; all it said is in $log."
        exit 1
    fi >&2
    rm "$log"
}

# build_preset PRESET [TARGET...]
build_preset() {
    local preset=$1
    shift
    echo "Building the $preset preset in build/$preset ..."
    local log
    log=$(mktemp)
    cmake --preset "$preset" >"$log" 2>&1 || { cat "$log" >&2 && rm "$log" && exit 1; }
    rm "$log"
    cmake --build --preset "$preset" ${1:+--target "$@"}
}
