#!/usr/bin/env bash
# sms-server --demo: the sample office's story with the installed programs, without a display, in a folder of its own that
# is gone afterwards.
#   demo.sh FOLDER-OF-THE-PROGRAMS
set -euo pipefail
bin=$1
for program in "$bin/modem-simulator" sqlite3; do
    command -v "$program" >/dev/null || {
        echo "缺少 ${program##*/}，请安装软件包 sms-server-simulator 和 sqlite3。"
        exit 1
    }
done
work=$(mktemp -d)
chmod 711 "$work" # the mail server gives its rights up
story=
# Whatever ends it: the story stops what it has started before its folder goes.
end() {
    trap '' INT TERM
    [ -z "$story" ] || { kill -TERM "$story" 2>/dev/null && wait "$story"; } || true
    rm -rf "$work"
}
trap end EXIT
trap 'exit 1' INT TERM
cp -rL "$(dirname "$0")/." "$work/demo"
rm -rf "$work/demo/run"
unset DISPLAY WAYLAND_DISPLAY
TMPDIR=$work "$work/demo/story.sh" "$bin" sqlite > >(sed -u '\|^A picture of the window|d') &
story=$!
status=0
wait "$story" || status=$?
story=
exit $status
