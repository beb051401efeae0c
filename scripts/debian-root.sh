# shellcheck shell=bash
# Sourced by scripts/try-*.sh, as root: a minimal Debian in a folder, with the network of this machine.

# make_root SUITE FOLDER: a folder that is a Debian already is used again.
make_root() {
    local suite=$1 folder=$2
    echo "== a minimal Debian ($suite) in $folder"
    if [ ! -e "$folder/etc/debian_version" ]; then
        debootstrap --variant=minbase "$suite" "$folder" >"$folder.log" || { tail "$folder.log"; exit 1; }
        rm "$folder.log"
    fi
    # A folder of mktemp's is its owner's alone.
    chmod 755 "$folder"
    cp -L /etc/resolv.conf "$folder/etc/"
    find /etc/apt/apt.conf.d -name '*proxy*' -exec cp {} "$folder/etc/apt/apt.conf.d/" \;
    mountpoint -q "$folder/proc" || mount -t proc proc "$folder/proc"
    mountpoint -q "$folder/dev/pts" || mount -t devpts -o newinstance,ptmxmode=0666 devpts "$folder/dev/pts"
    ln -sf pts/ptmx "$folder/dev/ptmx"
}

# leave_root FOLDER [KEEP]
leave_root() {
    umount "$1/dev/pts" "$1/proc" 2>/dev/null || true
    [ -n "${2:-}" ] || rm -rf --one-file-system "$1"
}

# in_root FOLDER COMMAND...
in_root() {
    local folder=$1
    shift
    chroot "$folder" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 HOME=/root DEBIAN_FRONTEND=noninteractive "$@"
}
