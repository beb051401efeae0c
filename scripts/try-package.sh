#!/usr/bin/env bash
# Tries the packages in a minimal Debian of its own, under its own systemd where namespaces allow it (systemd-nspawn), else
# with scripts/systemctl-stand-in.sh: the manual's commands to the first SMS, the demo, an upgrade, a removal and a purge
# while they run. As root.
#   scripts/try-package.sh FOLDER-OF-THE-PACKAGES [ROOT-TO-KEEP-AND-USE-AGAIN [SUITE]]
set -euo pipefail
packages=$(realpath "$1")
repository=$(realpath "$(dirname "$0")/..")
. "$repository/scripts/debian-root.sh"
kept=${2:-}
root=${kept:-$(mktemp -d)}
trap 'leave_root "$root" "$kept"' EXIT
inside() { in_root "$root" "$@"; }
as_user() { inside runuser -u sms-server -- "$@"; }
fail() { echo "$*"; exit 1; }
quietly() { "$@" >"$root/answer" 2>&1 || { tail -n 30 "$root/answer"; fail "failed: $*"; }; }
# wait_for COMMAND...: five seconds at most, or as many as $seconds says. Tells how long it took.
wait_for() {
    local begin=${EPOCHREALTIME/./}
    for _ in $(seq "${seconds:-5}0"); do
        ! "$@" || { echo "$* after $(((${EPOCHREALTIME/./} - begin) / 1000)) ms"; return 0; }
        sleep 0.1
    done
    fail "did not come within ${seconds:-5} seconds: $*"
}
# processes [CONDITION...]: the server's, those of a program that is gone too. Without namespaces /proc is the machine's.
processes() {
    inside find /proc -maxdepth 2 -name exe "$@" -lname '/usr/*/sms-server*' 2>/dev/null || true
}
operators() { [ -n "$(processes -user nobody)" ]; }
none_runs() { [ -z "$(processes)" ]; }
runs() { inside sms-server --settings "/var/lib/sms-server/$1.ini" --status >/dev/null 2>&1; }
both_run() { runs settings && runs second; }
gone() { for path; do inside test ! -e "$path" -a ! -L "$path" || fail "left behind: $path"; done; }

make_root "${3:-bookworm}" "$root"
rm -rf "$root/packages" "$root/srv/oa"
cp -r "$packages" "$root/packages"
echo 'APT::Get::Assume-Yes "true"; APT::Install-Recommends "false";' >"$root/etc/apt/apt.conf.d/90trial"
quietly inside apt-get update
quietly inside apt-get install sqlite3 dovecot-pop3d logrotate sudo
rm -f "$root/usr/local/bin/systemctl" # of an earlier trial
if boot_root "$root"; then
    echo "== under systemd"
else
    echo "== no systemd can run here: systemctl is a stand-in"
    mkdir -p "$root/run/systemd/system"
    install -m 755 "$repository/scripts/systemctl-stand-in.sh" "$root/usr/local/bin/systemctl"
fi

echo "== the manual's commands to the first SMS, word by word"
mkdir "$root/srv/oa"
cat "$repository"/demo/{schema/sqlite,data}.sql | inside sqlite3 /srv/oa/oa.db
chmod -R a+rwX "$root/srv/oa"
echo 'Provider=SQLite;Data Source=/srv/oa/oa.db' >"$root/root/connect-string"
mapfile -t commands < <(sed -n '/^### 五条命令/,/^##* /{/^```$/,/^```$/{/^```$/!p}}' "$repository/docs/manual.md" | head -n 20)
[ ${#commands[@]} -ge 3 ] && [ ${#commands[@]} -le 5 ] || fail "the manual's commands are ${#commands[@]}"
for command in "${commands[@]}"; do
    echo "$command"
    quietly inside bash -c "cd /packages && $command"
    if ! inside test -e /dev/ttyUSB0; then # the modem is plugged in
        as_user sh -c 'cd /srv/oa && exec setsid -f modem-simulator --link modem --control control --log sent >/dev/null'
        inside ln -sf /srv/oa/modem /dev/ttyUSB0
        wait_for inside test -e /dev/ttyUSB0
    fi
done
first_sms() { grep -qs 13800138001 "$root/srv/oa/sent"; }
seconds=30 wait_for first_sms
inside sms-server --settings /var/lib/sms-server/settings.ini --status | head -n 3

echo "== what is in the packages"
version=$(inside dpkg-query -W -f '${Version}' sms-server)
inside sms-server --version | grep -F "$version"
for document in manual.md monitoring.md CHANGELOG.md sms-server.rules.yml schema/{sqlite,postgresql,mariadb,sqlserver}.sql; do
    inside test -s "/usr/share/doc/sms-server/$document" || fail "no $document"
done
inside grep -q "^## $version" /usr/share/doc/sms-server/CHANGELOG.md

echo "== every class of serial lines is open to the service, by name and by its device policy; other devices are not"
classes=$(sed -n 's/^DeviceAllow=char-\(tty.*\) rw$/\1/p' "$root/usr/lib/systemd/system/sms-server.service")
# shellcheck disable=SC2053 # a pattern
for class in tty{S,USB,ACM,AMA,O,mxc,XRUSB,MX,r,R,D,C}; do [[ $class = $classes ]] || fail "no $class"; done
# shellcheck disable=SC2053
for class in tty ttyprintk; do [[ $class != $classes ]] || fail "$class"; done
opens() { inside sh -c "echo \$\$ >/sys/fs/cgroup/system.slice/sms-server.service/cgroup.procs && exec 3<>$1" 2>/dev/null; }
if ! inside test -e /sys/fs/cgroup/system.slice/sms-server.service -a -e /dev/net/tun -a -e /dev/ttyS0; then
    echo "by name only: no device policy, network tunnel or serial line here"
else
    opens /dev/ttyS0 || fail "the serial line is refused"
    ! opens /dev/net/tun || fail "the network tunnel is open"
fi

echo "== --check tells of a database that the sandbox closes, until an administrator opens the place"
inside sh -c 'mkdir -p /opt/oa && cp /srv/oa/oa.db /opt/oa && chown -R sms-server /opt/oa'
elsewhere=(--settings /var/lib/sms-server/elsewhere.ini)
as_user sms-server "${elsewhere[@]}" --set "ConnectString=Provider=SQLite;Data Source=/opt/oa/oa.db" >/dev/null
tells() { (as_user sms-server "${elsewhere[@]}" --check || true) | grep -q "沙箱不能写入数据库文件 /opt/oa/oa.db"; }
tells || fail "nothing is told"
mkdir -p "$root/etc/systemd/system/sms-server@elsewhere.service.d"
! tells || fail "told all the same"
inside rm -r /opt/oa /etc/systemd/system/sms-server@elsewhere.service.d

echo "== the demo, in one command and below a minute, leaves nothing behind"
demo() { quietly inside runuser -u nobody -- timeout 60 sms-server --demo; }
wait_for demo
[ -z "$(inside find / /run /tmp -xdev -user nobody)" ] || fail "left behind: $(inside find / /run /tmp -xdev -user nobody)"
! operators || fail "a process is left"

echo "== status 3 for a setting that is missing"
status=0
as_user sms-server --headless --start --settings /var/lib/sms-server/empty.ini 2>/dev/null || status=$?
[ $status = 3 ] || fail "status $status"
echo "== the log is rotated, and written on anew"
inside logrotate --force /etc/logrotate.d/sms-server
modes=$(inside stat -c '%a %U' /var/log/sms-server/sms-server.log{.1,} /var/lib/sms-server/{sms-server.prom,settings.ini})
[ "$(tr '\n' ' ' <<<"$modes")" = "640 sms-server 640 sms-server 644 sms-server 600 sms-server " ] || fail "$modes"

echo "== an upgrade keeps the settings and restarts what runs, one of several servers included"
# A database that is not there: that one goes on trying.
as_user sms-server --settings /var/lib/sms-server/second.ini --set ServerPort=3 --set COM3=/dev/ttyS0 \
    --set CenterCode=+8613800755500 --set "ConnectString=Provider=SQLite;Data Source=/srv/none" >/dev/null
inside systemctl enable --now sms-server@second 2>/dev/null
wait_for both_run
before=$(processes)
mkdir "$root/packages/next"
for package in "$root"/packages/*.deb; do
    dpkg-deb -R "$package" "$root/packages/next/tree"
    sed -i "s/^Version: .*/&+next/; s/(= $version)/(= $version+next)/" "$root/packages/next/tree/DEBIAN/control"
    dpkg-deb -b --root-owner-group "$root/packages/next/tree" "$root/packages/next/" >/dev/null
    rm -r "$root/packages/next/tree"
done
quietly inside sh -c 'apt-get install /packages/next/*.deb'
new_ones_run() { both_run && [ -z "$(comm -12 <(sort <<<"$before") <(processes | sort))" ]; }
wait_for new_ones_run
inside sms-server --settings /var/lib/sms-server/settings.ini --show-settings | grep -q SenderCountryCode=86
echo "== a removal stops them first, and what an operator started by hand"
inside runuser -u nobody -- setsid -f sms-server --headless --settings /tmp/own.ini >/dev/null 2>&1
wait_for operators
quietly inside apt-get remove sms-server
wait_for none_runs
inside sh -c 'rm -f /tmp/own.ini*'
echo "== a purge while they run"
quietly inside sh -c 'apt-get install /packages/next/*.deb'
inside systemctl enable --now sms-server sms-server@second 2>/dev/null || true
wait_for both_run
inside install -d -m 777 /var/lib/prometheus/node-exporter
as_user sh -c ': >/var/lib/prometheus/node-exporter/second.prom; : >/run/lock/LCK..ttyS9; : >/tmp/LCK..ttyS9' 2>/dev/null ||
    true
inside modem-simulator --control /srv/oa/control --command quit >/dev/null || true
quietly inside apt-get purge sms-server sms-server-simulator
wait_for none_runs
gone /var/lib/sms-server /var/log/sms-server /usr/bin/sms-server /usr/share/doc/sms-server /etc/logrotate.d/sms-server \
    /etc/systemd/system/multi-user.target.wants/sms-server{,@second}.service /usr/lib/systemd/system/sms-server.service \
    /tmp/LCK..ttyS9 /run/lock/LCK..ttyS9 /var/lib/prometheus/node-exporter/second.prom
! inside getent passwd sms-server || fail "left behind: the user"
# What lies in the office's own folder is the office's.
[ -z "$(inside find / /run /tmp -xdev -path /srv/oa -prune -o -nouser -print)" ] || fail "left behind: files of no user"
echo "== without a package systemd-sysusers makes the user"
install -D -m 644 "$repository/packaging/sms-server.sysusers" "$root/usr/lib/sysusers.d/sms-server.conf"
quietly inside systemd-sysusers
inside id -nG sms-server | grep -w dialout
echo "All well."
