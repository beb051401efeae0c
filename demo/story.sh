#!/usr/bin/env bash
# The demo behind ./run: a sample office, a simulated modem, the service started.
#   demo/story.sh FOLDER-OF-THE-PROGRAMS
set -euo pipefail
bin=$1
cd "$(dirname "$0")"
limit_seconds=120

rm -rf run
mkdir run
cd run

sql() { sqlite3 -cmd '.timeout 5000' oa.db "$@"; }

echo "Creating the sample office database demo/run/oa.db ..."
# Our own file may be in write-ahead mode; an office's file keeps the mode it has.
sql 'pragma journal_mode=wal' >/dev/null
sql <../schema/sqlite.sql
sql <../data.sql

echo "Starting the simulated modem at demo/run/modem ..."
"$bin/modem-simulator" --link modem --control control --log sent.jsonl >modem.log 2>&1 &
simulator=$!
server=
stop_all() {
    [ -z "$server" ] || kill -TERM "$server" 2>/dev/null || true
    kill -TERM $simulator 2>/dev/null || true
}
trap stop_all EXIT
for _ in $(seq 100); do
    [ -e modem ] && break
    sleep 0.05
done

set_option() { "$bin/sms-server" --settings settings.ini --set "$1"; }
set_option "ConnectString=Provider=SQLite;Data Source=\"$PWD/oa.db\""
set_option CenterCode=+8613800755500
set_option TimeDelay=1
set_option ServerPort=3
set_option "COM3=$PWD/modem"

start=("$bin/sms-server" --settings settings.ini --start --log-file server.log)
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    echo "Starting the server with its window. What the modem sends stands in demo/run/modem.log."
    "${start[@]}"
    exit
fi

echo "Starting the server without a display; its log:"
"${start[@]}" --headless --screenshot window.png &
server=$!

messages=$(sql "select count(*) from SMS_WaitToSend where ToSendDT < '2099-01-01'")
finished() {
    [ "$(sql "select (select count(distinct SOAID) from SMS_ResultDetail) = $messages
        and not exists (select * from SMS_WaitToSend where ToSendDT < '2099-01-01')
        and not exists (select * from SMS_Queues)")" = 1 ]
}
status=1
for _ in $(seq $((limit_seconds * 4))); do
    if finished; then
        status=0
        break
    fi
    kill -0 $server 2>/dev/null || break
    sleep 0.25
done

kill -TERM $server 2>/dev/null || true
wait $server || true
server=
echo
if [ $status -eq 0 ]; then
    echo "SMS_ResultDetail, what the office system reads of it:"
    sql -header -column 'select OAID, SOAID, ToUser, ToMB, SendOutDT, IsSuccess, MsgContent from SMS_ResultDetail order by OAID'
    echo
    echo "What the modem sent:"
    cat modem.log
    echo
    echo "A picture of the window: demo/run/window.png"
else
    echo "The messages did not all arrive within $limit_seconds seconds. Where they stand:"
    echo "  waiting to be expanded (SMS_WaitToSend, due): $(sql "select count(*) from SMS_WaitToSend where ToSendDT < '2099-01-01'")"
    echo "  waiting to be sent (SMS_Queues, status 0):    $(sql "select count(*) from SMS_Queues where MsgStatus='0'")"
    echo "  waiting to be archived (SMS_Queues, others):  $(sql "select count(*) from SMS_Queues where MsgStatus<>'0'")"
    echo "The server's log is demo/run/server.log, the modem's demo/run/modem.log."
fi
exit $status
