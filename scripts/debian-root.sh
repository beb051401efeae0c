# shellcheck shell=bash
# Sourced by scripts/try-*.sh, as root: a minimal Debian in a folder, with the network of this machine.

# make_root SUITE FOLDER: a folder that is a Debian already is used again.
make_root() {
    local suite=$1 folder=$2
    echo "== a minimal Debian ($suite) in $folder"
    if [ ! -e "$folder/etc/debian_version" ]; then
        debootstrap --variant=minbase --include=systemd-sysv,dbus "$suite" "$folder" >"$folder.log" ||
            { tail "$folder.log"; exit 1; }
        rm "$folder.log"
    fi
    # A folder of mktemp's is its owner's alone.
    chmod 755 "$folder"
    cp -L /etc/resolv.conf "$folder/etc/"
    find /etc/apt/apt.conf.d -name '*proxy*' -exec cp {} "$folder/etc/apt/apt.conf.d/" \;
    mount_root "$folder"
}

mount_root() {
    local folder=$1
    mountpoint -q "$folder/proc" || mount -t proc proc "$folder/proc"
    mountpoint -q "$folder/dev/pts" || mount -t devpts -o newinstance,ptmxmode=0666 devpts "$folder/dev/pts"
    ln -sf pts/ptmx "$folder/dev/ptmx"
}

# boot_root FOLDER: its systemd runs as process 1 of namespaces of its own. Fails where this machine lets nobody do that.
boot_root() {
    command -v systemd-nspawn >/dev/null || return 1
    umount "$1/dev/pts" "$1/proc" # it has its own
    # What it takes to hold its services to their device policies, and a serial line where this machine has one.
    local policies=(--capability=CAP_BPF --system-call-filter=bpf)
    [ ! -c /dev/ttyS0 ] || policies+=(--bind=/dev/ttyS0)
    SYSTEMD_NSPAWN_UNIFIED_HIERARCHY=1 systemd-nspawn -q -b -D "$1" --register=no --keep-unit --console=pipe \
        "${policies[@]}" </dev/null >"$1.boot" 2>&1 &
    booted=$!
    for _ in $(seq 1200); do # two minutes on a busy machine
        leader=$(ps -o pid= --ppid "$booted" | tr -d ' ')
        case $([ -z "$leader" ] || in_root "$1" systemctl is-system-running 2>/dev/null || true) in
        running | degraded) return ;;
        esac
        kill -0 "$booted" 2>/dev/null || break
        sleep 0.1
    done
    leave_root "$1" keep
    booted='' leader=''
    mount_root "$1"
    return 1
}

# leave_root FOLDER [KEEP]
leave_root() {
    if [ -n "${booted:-}" ]; then
        kill "$booted" 2>/dev/null || true # asks its systemd to halt, which one that hangs does not
        timeout 30 tail -s 0.1 -f /dev/null --pid "$booted" || kill -KILL "$booted" 2>/dev/null || true
        wait "$booted" 2>/dev/null || true
    fi
    rm -f "$1.boot"
    # Without namespaces a trial that failed would run on.
    for process in /proc/[0-9]*; do
        [ "$(readlink "$process/root")" != "$(realpath "$1")" ] || kill -KILL "${process#/proc/}" || true
    done
    umount "$1/dev/pts" "$1/proc" 2>/dev/null || true
    [ -n "${2:-}" ] || rm -rf --one-file-system "$1"
}

# in_root FOLDER COMMAND...
in_root() {
    local enter=(chroot "$1")
    [ -z "${leader:-}" ] || enter=(nsenter --target "$leader" --all)
    shift
    "${enter[@]}" env -i PATH=/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 HOME=/root DEBIAN_FRONTEND=noninteractive "$@"
}
