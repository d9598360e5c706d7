#!/usr/bin/env bash
# Packages are installed without their services, and the machine is otherwise as it was: install_packages.sh SCRIPT
# Nothing is installed: in a mount namespace of its own, programs of this check's stand in for Debian's.
set -euo pipefail
script=$1
if [[ -z ${INSIDE:-} ]]; then
    if ! unshare -rm true 2> /dev/null; then
        echo "skipped: no mount namespace can be made"
        exit 77
    fi
    INSIDE=1 exec unshare -rm "$0" "$script"
fi

folder=$(mktemp -d)
trap 'umount /usr/sbin; rm -rf "$folder"' EXIT
mkdir "$folder/bin" "$folder/sbin"
mount --bind "$folder/sbin" /usr/sbin
policy=/usr/sbin/policy-rc.d
log=$folder/log
export log policy
cat > "$folder/bin/apt-get" << 'END'
#!/bin/bash
status=0
"$policy" haproxy start || status=$?
echo "apt-get $*: a service may start: $status" >> "$log"
exit "${APT_STATUS:-0}"
END
cat > "$folder/bin/systemctl" << 'END'
#!/bin/bash
echo "systemctl $*" >> "$log"
END
cat > "$folder/bin/dpkg-query" << 'END'
#!/bin/bash
[[ -n ${INSTALLED:-} ]] && echo "install ok installed"
END
chmod +x "$folder"/bin/*
PATH=$folder/bin:/usr/bin:/bin

# expect WHAT EXPECTED: what is in the log, which is then empty.
expect() {
    if [[ $(< "$log") != "$2" ]]; then
        printf '%s:\n%s\ninstead of\n%s\n' "$1" "$(< "$log")" "$2"
        exit 1
    fi
    : > "$log"
}
install="apt-get -q -y --no-install-recommends install"

"$script" haproxy gdb
expect "a service is not started, and disabled" "$install haproxy gdb: a service may start: 101
systemctl disable --now haproxy.service"
[[ ! -e $policy ]] || { echo "the policy is left behind"; exit 1; }

if APT_STATUS=1 "$script" haproxy; then
    echo "a failure is taken for a success"
    exit 1
fi
[[ ! -e $policy ]] || { echo "the policy is left behind by a failure"; exit 1; }
: > "$log"

INSTALLED=1 "$script" haproxy
expect "who has the service keeps it" "$install haproxy: a service may start: 101"

cat > "$folder/bin/update-rc.d" << 'END'
#!/bin/bash
echo "update-rc.d $*" >> "$log"
END
chmod +x "$folder/bin/update-rc.d"
rm "$folder/bin/systemctl"
ln -s "$(command -v rm)" "$(command -v chmod)" "$folder/bin"
PATH=$folder/bin "$script" haproxy
expect "without systemd, it would not be started by one that comes later" \
    "$install haproxy: a service may start: 101
update-rc.d haproxy disable"

printf '#!/bin/sh\nexit 104\n' > "$policy"
chmod +x "$policy"
"$script" gdb
expect "the machine's own policy is asked" "$install gdb: a service may start: 104"
[[ -e $policy ]] || { echo "the machine's own policy is gone"; exit 1; }
