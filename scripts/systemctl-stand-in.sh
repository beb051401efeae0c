#!/bin/sh
# Stands in for the service manager where none runs (scripts/try-package.sh): records each call in /run/systemctl.calls and
# starts, stops and restarts the two servers of the trial as their units would.
echo "$*" >>/run/systemctl.calls
start() {
    for name in settings second; do
        # shellcheck disable=SC2016
        setsid runuser -u sms-server -- sh -c 'echo $$ >/tmp/$0.pid; exec sms-server --headless --start \
            --settings /var/lib/sms-server/$0.ini' $name >/dev/null 2>&1 </dev/null &
    done
}
stop() {
    for pid in /tmp/*.pid; do
        [ -e "$pid" ] || return 1
        number=$(cat "$pid")
        kill "$number" 2>/dev/null
        while kill -0 "$number" 2>/dev/null; do sleep 0.1; done
        rm "$pid"
    done
}
case $1 in
start) start ;;
stop) stop ;;
try-restart) stop && start ;;
esac
exit 0
