#!/bin/sh
# Stands in for systemctl where no systemd can run (scripts/try-package.sh): records each call in /run/systemctl.calls and
# starts, stops and restarts what the packaged units say.
echo "$*" >>/run/systemctl.calls
mkdir -p /run/units
start() {
    instance=${1#*@}
    instance=${instance%.service}
    file=/usr/lib/systemd/system/$1
    [ -e "$file" ] || file=/usr/lib/systemd/system/${1%@*}@.service
    # shellcheck disable=SC2046 # a command line
    start-stop-daemon --start --background --make-pidfile --pidfile "/run/units/$1" --chuid sms-server --startas \
        $(sed -n "s/%i/$instance/g; s/^ExecStart=\([^ ]*\)/\1 --/p" "$file")
}
stop() {
    start-stop-daemon --stop --quiet --oknodo --pidfile "/run/units/$1" --remove-pidfile --retry TERM/320
}
running=$(ls /run/units)
call=$1
shift
case $call in
enable) shift && for unit; do start "$unit.service"; done ;;
start) for unit; do start "$unit"; done ;;
stop) for unit in $running; do stop "$unit"; done ;;
try-restart) for unit in $running; do stop "$unit" && start "$unit"; done ;;
esac
