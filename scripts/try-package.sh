#!/usr/bin/env bash
# Tries the packages in a minimal Debian of its own: installs them with apt, runs the demo's story as their user with
# the installed programs, as a service would without systemd, rotates the log, removes and purges them. As root.
#   scripts/try-package.sh FOLDER-OF-THE-PACKAGES [ROOT-TO-KEEP-AND-USE-AGAIN [SUITE]]
set -euo pipefail
packages=$(realpath "$1")
repository=$(realpath "$(dirname "$0")/..")
. "$repository/scripts/debian-root.sh"
root=${2:-}
[ -n "$root" ] || root=$(mktemp -d)
trap 'leave_root "$root" "${2:-}"' EXIT
inside() { in_root "$root" "$@"; }
as_user() { inside runuser -u sms-server -- env HOME=/var/lib/sms-server "$@"; }

make_root "${3:-bookworm}" "$root"
rm -rf "$root/packages" "$root/source"
cp -r "$packages" "$root/packages"
mkdir -p "$root/source/debian"
cp -r "$repository/demo" "$root/source/demo"
cp -r "$repository/debian/tests" "$root/source/debian/tests"
rm -rf "$root/source/demo/run"

echo "== install"
inside apt-get update -qq
inside sh -c 'apt-get install -y -qq --no-install-recommends /packages/*.deb sqlite3 dovecot-pop3d logrotate >/packages/apt.log 2>&1' ||
    { tail "$root/packages/apt.log"; exit 1; }
inside id sms-server
inside sms-server --version
echo "== the story, as the package's user and as the package's own test runs it"
as_user sh -c 'cd /source && debian/tests/story'
echo "== status 3 for a setting that is missing"
status=0
as_user sms-server --headless --start --settings /var/lib/sms-server/settings.ini \
    --log-file /var/log/sms-server/sms-server.log || status=$?
[ $status = 3 ]
echo "== the log is rotated"
inside logrotate --force /etc/logrotate.d/sms-server
[ "$(stat -c '%a %U' "$root/var/log/sms-server/sms-server.log.1")" = "640 $(stat -c %U "$root/var/log/sms-server")" ]
echo "== an upgrade keeps the settings"
as_user sms-server --settings /var/lib/sms-server/settings.ini --set TimeDelay=7
inside sh -c 'apt-get install -y -qq --reinstall --no-install-recommends /packages/*.deb >/dev/null 2>&1'
as_user sms-server --settings /var/lib/sms-server/settings.ini --show-settings | grep TimeDelay=7
echo "== purge"
inside apt-get purge -y -qq sms-server sms-server-simulator >/dev/null 2>&1
for left in /var/lib/sms-server /var/log/sms-server /usr/bin/sms-server /etc/logrotate.d/sms-server \
    /usr/lib/systemd/system/sms-server.service; do
    [ ! -e "$root$left" ] || { echo "left behind: $left"; exit 1; }
done
if inside getent passwd sms-server; then
    echo "left behind: the user sms-server"
    exit 1
fi
echo "All well."
