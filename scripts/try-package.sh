#!/usr/bin/env bash
# Tries the packages in a minimal Debian of its own: installs them with apt, runs the demo's story as their user with
# the installed programs, removes and purges them. As root.
#   scripts/try-package.sh FOLDER-OF-THE-PACKAGES [ROOT-TO-KEEP-AND-USE-AGAIN]
set -euo pipefail
packages=$(realpath "$1")
repository=$(realpath "$(dirname "$0")/..")
root=${2:-}
if [ -z "$root" ]; then
    root=$(mktemp -d)
    trap 'umount "$root/proc" 2>/dev/null; rm -rf --one-file-system "$root"' EXIT
fi
inside() { chroot "$root" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }

[ -e "$root/etc/debian_version" ] || debootstrap --variant=minbase bookworm "$root"
for file in /etc/apt/sources.list /etc/apt/sources.list.d /etc/apt/apt.conf.d /etc/resolv.conf; do
    [ ! -e "$file" ] || cp -rL "$file" "$root$(dirname "$file")/"
done
mountpoint -q "$root/proc" || mount -t proc proc "$root/proc"
rm -rf "$root/packages" "$root/demo"
cp -r "$packages" "$root/packages"
cp -r "$repository/demo" "$root/demo"
rm -rf "$root/demo/run"

echo "== install"
inside apt-get update -qq
inside sh -c 'apt-get install -y -qq --no-install-recommends /packages/*.deb sqlite3 dovecot-pop3d openssl >/dev/null'
inside id sms-server
inside sms-server --version
inside sh -c 'chown -R sms-server /demo'
echo "== the story, as the package's user"
inside runuser -u sms-server -- env HOME=/var/lib/sms-server /demo/story.sh /usr/bin sqlite
echo "== upgrade keeps the settings"
inside runuser -u sms-server -- sms-server --settings /var/lib/sms-server/settings.ini --set TimeDelay=7
inside sh -c 'apt-get install -y -qq --reinstall --no-install-recommends /packages/*.deb >/dev/null'
inside runuser -u sms-server -- sms-server --settings /var/lib/sms-server/settings.ini --show-settings | grep TimeDelay=7
echo "== purge"
inside apt-get purge -y -qq sms-server sms-server-simulator >/dev/null
for left in /var/lib/sms-server /var/log/sms-server /usr/bin/sms-server /etc/logrotate.d/sms-server; do
    [ ! -e "$root$left" ] || { echo "left behind: $left"; exit 1; }
done
! inside getent passwd sms-server
echo "All well."
