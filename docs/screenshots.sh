#!/usr/bin/env bash
# Makes the manual's pictures: a desktop of its own (Xvfb, openbox, trayer), the server driven with mouse and
# keyboard, a simulated modem, a sample database.
#   docs/screenshots.sh [BUILD_FOLDER [OUTPUT_FOLDER]]     the manual's, at 96 and 192 dpi (OUTPUT_FOLDER/192)
#   DPI=144 SCHEME=dark docs/screenshots.sh BUILD_FOLDER OUTPUT_FOLDER     one set, for a look
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build/release}
out=${2:-$root/docs/screenshots}
if [ -z "${DPI:-}${SCHEME:-}" ]; then
    cd "$root"
    . scripts/packages.sh
    # shellcheck disable=SC2086 # a list of words
    install_packages $picture_packages
    DPI=96 "$0" "$build" "$out"
    exec env DPI=192 "$0" "$build" "$out/192"
fi
bin=$build/bin
dpi=${DPI:-96}
work=$(mktemp -d)
processes=()
finish() {
    for process in "${processes[@]}"; do kill "$process" 2>/dev/null || true; done
    rm -rf "$work"
}
trap finish EXIT

# until_true SECONDS COMMAND...: runs the command until it succeeds, at most so long.
until_true() {
    local deadline=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        if ((SECONDS > deadline)); then echo "never came true: $*" >&2; exit 1; fi
        sleep 0.1
    done
}
window() { xdotool search --onlyvisible --name "$1" 2>/dev/null | tail -1 | grep .; }
gone() { ! window "$1"; }
ended() { ! kill -0 "$1"; }
archived() { [ "$(sqlite3 -cmd '.timeout 5000' "$work/oa.db" 'select count(*) from SMS_ResultDetail')" = "$1" ]; }
# Positions and sizes are those at 96 dpi.
scaled() { echo $(($1 * dpi / 96)); }
point() { xdotool mousemove --sync --window "$1" "$(scaled "$2")" "$(scaled "$3")"; }
click() { point "$1" "$2" "$3" && xdotool click "${4:-1}"; }
# Until nothing changes any more on the screen.
settle() {
    local before='' now=
    until now=$(import -window root png:- | md5sum) && [ "$now" = "$before" ]; do
        before=$now
        sleep 0.2
    done
}
# A picture of a window with its frame.
shot() {
    settle
    import -frame -window "$1" "$out/$2.png"
}
# A picture of a part of the screen: what is open over a window. NAME WIDTH HEIGHT LEFT TOP
crop() {
    settle
    import -window root -crop "$(scaled "$2")x$(scaled "$3")+$(scaled "$4")+$(scaled "$5")" +repage "$out/$1.png"
}
# The same, from a little above the dialog to its right and down. NAME WIDTH HEIGHT
over_dialog() {
    local X Y
    eval "$(xdotool getwindowgeometry --shell "$dialog" | grep -E '^[XY]=')"
    crop "$1" "$2" "$3" $((X * 96 / dpi - 10)) $((Y * 96 / dpi - 25))
}
# The box that is open: a picture, then Return.
answer_box() {
    until_true 20 window 系统提示
    shot "$(window 系统提示)" "$1"
    xdotool key Return
    until_true 10 gone 系统提示
}
queue() {
    sqlite3 -cmd ".timeout 5000" "$work/oa.db" "insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus,
        RetryCount) values (-1, '', '$1', '下午三点在二楼会议室开会', '0', 0)"
}

mkdir -p "$out" "$work/home"
mkfifo "$work/display"
Xvfb -displayfd 3 -screen 0 "$(scaled 900)x$(scaled 680)x24" -nolisten tcp 3>"$work/display" 2>/dev/null &
processes+=($!)
read -r number <"$work/display"
export DISPLAY=:$number LC_ALL=C.UTF-8 QT_QPA_PLATFORM=xcb HOME=$work/home
unset DBUS_SESSION_BUS_ADDRESS
if [ "${SCHEME:-light}" = dark ]; then
    # The windowing library reads a desktop's colours from here.
    export XDG_CURRENT_DESKTOP=KDE KDE_SESSION_VERSION=5 XDG_CONFIG_HOME=$work
    printf '[Colors:%s]\nBackgroundNormal=%s\nForegroundNormal=239,240,241\n\n' \
        Window 49,54,59 View 35,38,41 Button 59,64,69 Tooltip 49,54,59 >"$work/kdeglobals"
fi
# Started by the window manager when it is ready: one that comes earlier is now and then never shown.
openbox --startup "trayer --edge top --align left --widthtype request --height $(scaled 24) --SetDockType true" \
    2>/dev/null &
processes+=($!)
until_true 10 xdotool search --class trayer
# Not earlier: an X server that loses its only client forgets everything.
xsetroot -solid '#3a6ea5'
[ "$dpi" = 96 ] || echo "Xft.dpi: $dpi" | xrdb -merge

sqlite3 "$work/oa.db" <"$root/demo/schema/sqlite.sql"
"$bin/modem-simulator" --link "$work/modem" --control "$work/control" --do 'latency 300' >/dev/null 2>&1 &
processes+=($!)
until_true 10 test -e "$work/modem"
set_option() { "$bin/sms-server" --settings "$work/settings.ini" --set "$1"; }
set_option "COM3=$work/modem"

"$bin/sms-server" --settings "$work/settings.ini" --log-file "$work/log" &
server=$!
processes+=("$server")
until_true 10 window Brenmoor
main=$(window Brenmoor)
xdotool windowmove --sync "$main" "$(scaled 20)" "$(scaled 40)"
shot "$main" main-stopped

click "$main" 541 54 # 配置, while there is no database
answer_box dialog-no-database
until_true 10 window 参数设置
xdotool key Escape
until_true 10 gone 参数设置
set_option "ConnectString=Provider=SQLite;Data Source=$work/oa.db"
click "$main" 541 23 # 启动, while nothing is configured
answer_box start-refused

click "$main" 541 54
until_true 10 window 参数设置
dialog=$(window 参数设置)
shot "$dialog" dialog-fresh
xdotool key Return # no port yet
answer_box dialog-refused
xdotool key alt+Down
settle
xdotool key Down Down Down
settle
point "$dialog" 120 95
sleep 1 # the tooltip's own pause
over_dialog dialog-ports 430 300
xdotool key Escape
settle
xdotool key ctrl+a
xdotool type COM3
xdotool key Tab
xdotool type +8613800100500
xdotool key Tab ctrl+a
xdotool type 1
shot "$dialog" dialog-filled
xdotool key Return
answer_box dialog-saved

for i in 1 2 3 4 5 6; do queue "1380013800$i"; done
"$bin/modem-simulator" --control "$work/control" --command "refuse 1 1" >/dev/null
click "$main" 541 23 # 启动
until_true 90 archived 6
"$bin/modem-simulator" --control "$work/control" --command "deliver +8613900139000 你好" >/dev/null
until_true 10 grep -q 发来短信 "$work/log"
shot "$main" main-running
point "$main" 100 551
sleep 1.5 # the tooltip's own pause
crop status-tooltip 640 290 110 325
point "$main" 300 300
settle
click "$main" 541 54
until_true 10 window 参数设置
xdotool key Tab Tab Tab Tab Tab space # 测试
until_true 10 window 测试
shot "$(window 测试)" dialog-test
xdotool key Escape
until_true 10 gone 测试
dialog=$(window 参数设置)
settle
click "$dialog" 120 120 3
over_dialog edit-menu 400 300
xdotool key Escape
settle
xdotool key Escape
until_true 10 gone 参数设置

click "$main" 200 200 3
crop log-menu 420 260 20 150
xdotool key Escape
click "$main" 200 200 3
settle
xdotool key Up Up Return # 查找
until_true 10 window 查找
xdotool type '13999999999'
shot "$(window 查找)" log-find
xdotool key Return
answer_box log-not-found
click "$main" 200 200 3
settle
xdotool key Up Return # 另存为...
until_true 10 window 另存为
shot "$(window 另存为)" log-save
xdotool key Escape
until_true 10 gone 另存为

point "$main" 400 53
shot "$main" link-hovered
xdotool windowsize "$main" 300 200
shot "$main" main-smallest

xdotool key alt+F4
until_true 10 gone Brenmoor
tray=$(xdotool search --class trayer | tail -1)
click "$tray" 22 22 3 # the menu opens at the pointer and leaves the icon to be seen
until_true 10 window 系统菜单
crop popup-menu 240 110 0 0
xdotool key Escape
click "$tray" 12 12 1
until_true 10 window Brenmoor
click "$main" 541 23 # 停止
until_true 10 window 系统提示
shot "$(window 系统提示)" stop-question
xdotool key Tab Return
until_true 10 ended "$server"
