#!/usr/bin/env bash
# The Java API puts addresses on interfaces, in a network namespace of the test's own: aliases.sh JAVA_COMMAND...
set -euo pipefail
if [[ $1 != inside ]]; then
    [[ -x /sbin/ifconfig ]] || { echo "skipped: there is no ifconfig (Debian package net-tools)"; exit 77; }
    unshare --map-root-user --net true 2> /dev/null || { echo "skipped: no network namespace can be made here"; exit 77; }
    exec unshare --map-root-user --net "$0" inside "$@"
fi
shift

ip link set lo up
ip link add rk0 address 02:00:0a:4d:00:01 type veth peer name rk1 || { echo "skipped: no veth pair can be made here"; exit 77; }
ip address add 10.77.0.1/24 broadcast 10.77.0.255 dev rk0
ip link set rk0 up
ip link set rk1 up
# Names that have no room for an alias, or for a tenth.
ip link add rk0longer type veth peer name rk1longer
ip address add 10.78.0.1/24 dev rk0longer
ip link add rkseven type veth peer name rk1seven
ip address add 10.79.0.1/24 dev rkseven
for number in {1..9}; do
    ip address add "10.79.0.1$number/24" label "rkseven:$number" dev rkseven
done
exec "$@"
