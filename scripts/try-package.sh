#!/usr/bin/env bash
# Tries the packages in a minimal Debian of its own: installs them with apt, runs the demo's story as their user with
# the installed programs, as a service would without systemd, rotates the log, upgrades, removes and purges them while they run. As root.
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
echo "== an upgrade keeps the settings and restarts what runs, one of several servers included"
# No service manager lives in a folder: this one records what it is asked, and does it.
mkdir -p "$root/run/systemd/system"
install -m 755 "$repository/scripts/systemctl-stand-in.sh" "$root/usr/bin/systemctl"
# A database that is not there: the service goes on trying.
for name in settings second; do
    as_user sms-server --settings /var/lib/sms-server/$name.ini --set TimeDelay=7 --set ServerPort=3 \
        --set COM3=/dev/ttyS0 --set CenterCode=+8613800755500 --set "ConnectString=Provider=SQLite;Data Source=/srv/none"
done
# The server's processes of this root, and those of a program that is gone.
processes() { find /proc -maxdepth 2 -name exe -lname "$root/usr/*/sms-server*$1" 2>/dev/null; }
wait_for() {
    for _ in $(seq 50); do
        ! "$@" || return 0
        sleep 0.1
    done
    echo "did not come within five seconds: $*"
    exit 1
}
two_run() { [ "$(processes '' | wc -l)" = 2 ] && [ -z "$(processes ' (deleted)')" ]; }
none_runs() { [ -z "$(processes '*')" ]; }
inside systemctl start sms-server.service sms-server@second.service
wait_for two_run
before=$(processes '')
inside sh -c 'apt-get install -y -qq --reinstall --no-install-recommends /packages/*.deb >/packages/apt.log 2>&1'
wait_for two_run
[ "$(processes '')" != "$before" ] || { echo "not restarted"; exit 1; }
grep -x "try-restart sms-server.service sms-server@\*.service" "$root/run/systemctl.calls"
as_user sms-server --settings /var/lib/sms-server/settings.ini --show-settings | grep TimeDelay=7
echo "== a removal stops them first"
inside apt-get remove -y -qq sms-server >/dev/null 2>&1
wait_for none_runs
grep -x "stop sms-server.service sms-server@\*.service" "$root/run/systemctl.calls"
echo "== purge, while one runs that no service manager knows"
inside sh -c 'apt-get install -y -qq --no-install-recommends /packages/*.deb >/packages/apt.log 2>&1'
mkdir -p "$root/etc/systemd/system/multi-user.target.wants"
ln -s /usr/lib/systemd/system/sms-server@.service "$root/etc/systemd/system/multi-user.target.wants/sms-server@second.service"
as_user sms-server --headless --start --settings /var/lib/sms-server/settings.ini >/dev/null 2>&1 &
wait_for test -n "$(processes '')" -o -e "$root/var/lib/sms-server/settings.ini.running"
as_user sh -c ': >/run/lock/LCK..ttyS9' || as_user sh -c ': >/tmp/LCK..ttyS9'
inside apt-get purge -y -qq sms-server sms-server-simulator >/dev/null 2>&1
wait_for none_runs
user_files=$(find "$root/tmp" "$root/run" "$root/var" -nouser 2>/dev/null | head -n 3)
[ -z "$user_files" ] || { echo "left behind: $user_files"; exit 1; }
for left in /var/lib/sms-server /var/log/sms-server /usr/bin/sms-server /etc/logrotate.d/sms-server \
    /etc/systemd/system/multi-user.target.wants/sms-server@second.service \
    /usr/lib/systemd/system/sms-server.service; do
    [ ! -e "$root$left" ] || { echo "left behind: $left"; exit 1; }
done
if inside getent passwd sms-server; then
    echo "left behind: the user sms-server"
    exit 1
fi
echo "All well."
