#!/usr/bin/env bash
# The demo behind ./run: a sample office, a simulated modem, the service started, and what people do with it.
#   demo/story.sh FOLDER-OF-THE-PROGRAMS [sqlite|postgresql|mariadb]
set -euo pipefail
bin=$1
system=${2:-sqlite}
cd "$(dirname "$0")"
. ./mail-server.sh
limit_seconds=120

rm -rf run
mkdir run
cd run

. ../databases.sh
modem_command() { "$bin/modem-simulator" --control control --command "$1" >/dev/null; }
due="ToSendDT < '2099-01-01'"

simulator=
server=
stop_all() {
    trap '' INT TERM # an impatient second Ctrl-C leaves nothing behind
    [ -z "$server" ] || kill -TERM "$server" 2>/dev/null || true
    [ -z "$simulator" ] || kill -TERM "$simulator" 2>/dev/null || true
    stop_mail_server
    [ -z "$server" ] || wait "$server" 2>/dev/null || true
    stop_database
}
trap stop_all EXIT

echo "Creating the sample office's $system database in demo/run ..."
start_database "$system"
sql <../data.sql >/dev/null
messages=$(sql "select count(*) from SMS_WaitToSend where $due")

echo "Starting the simulated modem at demo/run/modem ..."
"$bin/modem-simulator" --link modem --control control --log sent.jsonl >modem.log 2>&1 &
simulator=$!
for _ in $(seq 100); do
    [ -e modem ] && break
    sleep 0.05
done

set_option() { "$bin/sms-server" --settings settings.ini --set "$1"; }
set_option "ConnectString=$connect_string"
set_option CenterCode=+8613800755500
set_option TimeDelay=1
set_option ServerPort=3
set_option "COM3=$PWD/modem"
# The user table holds 138...; the network delivers +86138...
set_option SenderCountryCode=86

echo "Starting a private POP3 server with a mailbox of 张伟's ..."
if start_mail_server; then
    sql "insert into SA_email (UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu)
         values ('zhangwei', '127.0.0.1', $mail_port, '$mail_user', '$mail_password', '0')"
else
    echo "The story goes on without external mail."
fi

start=("$bin/sms-server" --settings settings.ini --start --log-file server.log)
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    cat <<EOT
Starting the server with its window. What the modem sends is in demo/run/modem.log. Try, from another shell:
  cd $(printf %q "$PWD")
  modem() { $(printf %q "$bin/modem-simulator") --control control --command "\$1"; }
  modem 'deliver +8613800138001 DYNB'     # a subscription code
  modem 'deliver +8613900139000 你好'      # an ordinary text
EOT
    [ -z "$mail_server" ] || deliver_mail ../mail.eml
    "${start[@]}"
    exit
fi

echo "Starting the server without a display; its log:"
"${start[@]}" --headless --screenshot window.png &
server=$!

deadline=$(($(date +%s) + limit_seconds))
# wait_for WHAT CONDITION: until the condition, a query that gives 1, holds.
wait_for() {
    until [ "$(sql "select case when $2 then 1 else 0 end")" = 1 ]; do
        if [ "$(date +%s)" -ge $deadline ] || ! kill -0 $server 2>/dev/null; then
            echo
            echo "The road stopped: $1 did not happen within $limit_seconds seconds."
            echo "  waiting to be expanded (SMS_WaitToSend, due): $(sql "select count(*) from SMS_WaitToSend where $due")"
            echo "  waiting to be sent (SMS_Queues, status 0):    $(sql "select count(*) from SMS_Queues where MsgStatus='0'")"
            echo "  waiting to be archived (SMS_Queues, others):  $(sql "select count(*) from SMS_Queues where MsgStatus<>'0'")"
            echo "The server's log is demo/run/server.log, the modem's demo/run/modem.log."
            exit 1
        fi
        sleep 0.25
    done
}

wait_for "the outcome of every scheduled message in SMS_ResultDetail" \
    "(select count(distinct SOAID) from SMS_ResultDetail where SOAID > 0) = $messages
     and not exists (select * from SMS_WaitToSend where $due) and not exists (select * from SMS_Queues)"

echo "-- 张伟 sends DYNB to the office's number: subscribe to the notice of internal mail"
modem_command 'deliver +8613800138001 DYNB'
wait_for "张伟's subscription and its confirmation" \
    "exists (select * from SMS_IsOrder where UserName='zhangwei' and Type='NBYJ' and IsOrder='1')
     and exists (select * from SMS_ResultDetail where ToMB='13800138001' and MsgContent like '办公提示%')"

echo "-- 李娜 writes him a mail in the office system"
sql "insert into VO_Email (EmailSource, EmailStatus, EmailTo, EmailFrom, EmailFromName, EmailSubject, EmailDate)
     values ('1', '1', '*zhangwei-0-0-0*', 'lina', '李娜', '周报已提交，请审阅', '2026-01-05 10:00:00')"
wait_for "the alert of the new mail" \
    "exists (select * from SMS_ResultDetail where ToMB='13800138001' and MsgContent like '%内部新邮件%')"

if [ -n "$mail_server" ]; then
    echo "-- a supplier sends 张伟 a mail with an attachment to his external mailbox"
    deliver_mail ../mail.eml
    wait_for "the collected mail with its attachment, and its alert" \
        "exists (select * from VO_EmailAttachments where EmailID in (select VOID from VO_Email where EmailSource='2'))
         and exists (select * from SMS_ResultDetail where ToMB='13800138001' and MsgContent like '%外部新邮件%')"
fi

echo "-- a customer writes to the office's number"
modem_command 'deliver +8613900139000 请问贵公司本周六是否营业？'
wait_for "the customer's message in SMS_SIMReceive" "exists (select * from SMS_SIMReceive)"

kill -TERM $server
wait $server || true
server=
echo
echo "SMS_ResultDetail, what the office system reads of it:"
sql_table 'select OAID, SOAID, ToUser, ToMB, SendOutDT, IsSuccess, MsgContent from SMS_ResultDetail order by OAID'
echo
echo "SMS_SIMReceive:"
sql_table 'select * from SMS_SIMReceive order by OAID'
echo
echo "VO_Email, the external mail collected:"
sql_table "select VOID, EmailSubject, EmailFromName, EmailFrom, ImpDegree, EmailDate, EmailToDis, EmailCC,
                     EmailContent, FileName, FileType, length(FileContent) as FileLength
                     from VO_Email join VO_EmailAttachments on EmailID=VOID where EmailSource='2'"
echo
echo "What the modem really received and sent:"
cat modem.log
echo
echo "A picture of the window: demo/run/window.png"
