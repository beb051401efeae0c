#!/usr/bin/env bash
# Makes the manual's pictures: a desktop of its own (Xvfb, openbox, trayer), the server driven with mouse and
# keyboard, a simulated modem, a sample database.
#   [DPI=144] docs/screenshots.sh [BUILD_FOLDER [OUTPUT_FOLDER]]
# DPI sets the desktop's Xft.dpi, for a look at the windows on finer screens than the manual's 96.
# Needs: xvfb openbox trayer xdotool imagemagick sqlite3 fonts-wqy-microhei x11-xserver-utils
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
bin=${1:-$root/build/release}/bin
out=${2:-$root/docs/screenshots}
dpi=${DPI:-96}
work=$(mktemp -d)
processes=()
finish() {
    for process in "${processes[@]}"; do kill "$process" 2>/dev/null || true; done
    rm -rf "$work"
}
trap finish EXIT

# until SECONDS COMMAND...: runs the command until it succeeds, at most so long.
until_true() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        if ((SECONDS > deadline)); then echo "never came true: $*" >&2; exit 1; fi
        sleep 0.1
    done
}
gone() { ! window "$1"; }
ended() { ! kill -0 "$1"; }
archived() { [ "$(sqlite3 -cmd '.timeout 5000' "$work/oa.db" 'select count(*) from SMS_ResultDetail')" = "$1" ]; }
window() { xdotool search --onlyvisible --name "$1" 2>/dev/null | tail -1 | grep .; }
# A picture of a window with its frame, taken when nothing changes any more.
shot() {
    local before= now=
    until now=$(import -window root png:- | md5sum) && [ "$now" = "$before" ]; do
        before=$now
        sleep 0.2
    done
    import -frame -window "$1" "$out/$2.png"
}
# Positions and sizes are those at 96 dpi.
scaled() { echo $(($1 * dpi / 96)); }
click() { xdotool mousemove --sync --window "$1" "$(scaled "$2")" "$(scaled "$3")" click "${4:-1}"; }

mkdir -p "$out"
mkfifo "$work/display"
Xvfb -displayfd 3 -screen 0 "$(scaled 900)x$(scaled 680)x24" -nolisten tcp 3>"$work/display" 2>/dev/null &
processes+=($!)
read -r number <"$work/display"
export DISPLAY=:$number LC_ALL=C.UTF-8 QT_QPA_PLATFORM=xcb
unset DBUS_SESSION_BUS_ADDRESS
# Started by the window manager when it is ready: one that comes earlier is now and then never shown.
openbox --startup "trayer --edge top --align left --widthtype request --height $(scaled 24) --SetDockType true" \
    2>/dev/null &
processes+=($!)
until_true 10 xdotool search --class trayer
# Not earlier: an X server that loses its only client forgets everything.
xsetroot -solid '#3a6ea5'
if [ -n "${DPI:-}" ]; then echo "Xft.dpi: $dpi" | xrdb -merge; fi

sqlite3 "$work/oa.db" <"$root/demo/schema/sqlite.sql"
"$bin/modem-simulator" --link "$work/modem" --control "$work/control" --latency 300 >/dev/null 2>&1 &
processes+=($!)
until_true 10 test -e "$work/modem"
settings=(--settings "$work/settings.ini")
"$bin/sms-server" "${settings[@]}" --set "ConnectString=Provider=SQLite;Data Source=$work/oa.db" \
    --set "COM3=$work/modem"

"$bin/sms-server" "${settings[@]}" --log-file "$work/log" & server=$!
processes+=($server)
until_true 10 window Brenmoor
main=$(window Brenmoor)
xdotool windowmove --sync "$main" 20 40
shot "$main" main-stopped

click "$main" 541 54 # 配置
until_true 10 window 参数设置
dialog=$(window 参数设置)
shot "$dialog" dialog-fresh
xdotool key Return # no port yet
until_true 10 window 系统提示
shot "$(window 系统提示)" dialog-refused
xdotool key Return
until_true 10 gone 系统提示
xdotool type COM3
xdotool key Tab
xdotool type +8613800100500
xdotool key Tab ctrl+a
xdotool type 1
shot "$dialog" dialog-filled
xdotool key Return
until_true 10 window 系统提示
shot "$(window 系统提示)" dialog-saved
xdotool key Return

for i in 1 2 3 4 5 6; do
    sqlite3 -cmd ".timeout 5000" "$work/oa.db" "insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, RetryCount)
        values (-1, '', '1380013800$i', '下午三点在二楼会议室开会', '0', 0)"
done
"$bin/modem-simulator" --control "$work/control" --command "refuse 1 1" >/dev/null
click "$main" 541 23 # 启动
until_true 30 archived 6
shot "$main" main-running

xdotool mousemove --sync --window "$main" "$(scaled 400)" "$(scaled 53)"
shot "$main" link-hovered
xdotool windowsize --sync "$main" 300 200 || true
shot "$main" main-smallest

xdotool key alt+F4
until_true 10 gone Brenmoor
tray=$(xdotool search --class trayer | tail -1)
click "$tray" 22 22 3 # the menu opens at the pointer and leaves the icon to be seen
until_true 10 window 系统菜单
import -window root -gravity northwest -crop "$(scaled 240)x$(scaled 110)+0+0" +repage "$out/popup-menu.png"
xdotool key Escape
click "$tray" 12 12 1
until_true 10 window Brenmoor
click "$main" 541 23 # 停止
until_true 10 window 系统提示
shot "$(window 系统提示)" stop-question
xdotool key Tab Return
until_true 10 ended "$server"
