# Functions for bash: an empty Debian in a folder, and running programs in it.

# fetch_debian SUITE FOLDER: downloads an empty Debian to FOLDER/base.tar, unless it is there.
fetch_debian() {
    local suite=$1 folder=$2
    [[ ! -f $folder/base.tar ]] || return 0
    rm -rf "$folder/root"
    debootstrap --variant=minbase "$suite" "$folder/root" http://deb.debian.org/debian &&
        printf force-unsafe-io > "$folder/root/etc/dpkg/dpkg.cfg.d/for-tests" &&
        chroot "$folder/root" apt-get -q update &&
        tar -C "$folder/root" -cf "$folder/base.part" . && mv "$folder/base.part" "$folder/base.tar"
}

# unpack_debian FOLDER: makes FOLDER/root anew from what was downloaded.
unpack_debian() {
    rm -rf "$1/root"
    mkdir -p "$1/root"
    tar -C "$1/root" -xpf "$1/base.tar"
}

# in_debian ROOT NETWORK [NAME=VALUE...] COMMAND...: runs a command in there, as root. NETWORK is --net for one of its own
# that leads nowhere, or empty for this machine's. Nothing of it is left when it is done: mounts and processes end with
# their namespaces. The folder becomes the root of its mounts, as below a mere chroot the kernel makes no user namespaces.
in_debian() {
    local root=$1 network=$2
    shift 2
    # shellcheck disable=SC2086
    unshare --mount --pid --fork --propagation private $network \
        bash -euc 'mount --bind "$1" "$1"
            cd "$1"
            pivot_root . mnt
            mount -t proc proc /proc
            umount -l /mnt
            exec /usr/bin/env -i "${@:2}"' bash "$root" \
        PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive http_proxy="${http_proxy:-}" "$@"
}
