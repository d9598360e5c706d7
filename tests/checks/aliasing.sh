#!/usr/bin/env bash
# The console puts cluster addresses on a real interface and takes them off again, and the reference executor reads the
# interfaces from the machine: aliasing.sh CONSOLE [--user|--kernel [inside]]
# That happens in a network namespace of the test's own; "inside" says that the machine is the test's own already. In
# kernel mode there has to be a device.
set -euo pipefail
console=$1
mode=${2:---user}

if [ "${3:-}" != inside ]; then
    unshare --map-root-user --net true 2> /dev/null || { echo "skipped: no network namespace can be made here"; exit 77; }
    exec unshare --map-root-user --net "$0" "$console" "$mode" inside
fi

ip link set lo up
ip link add rk0 type veth peer name rk1 || { echo "skipped: no veth pair can be made here"; exit 77; }
ip address add 10.77.0.1/24 broadcast 10.77.0.255 dev rk0
ip link set rk0 up
ip link set rk1 up

status=0
# expect WHAT EXPECTED ACTUAL
expect() {
    [ "$2" = "$3" ] && return
    printf '%s:\n--- expected\n%s\n--- actual\n%s\n' "$1" "$2" "$3"
    status=1
}
addresses() { ip -4 -oneline address show dev rk0 | awk '{ print $4 }'; }
labels() { ip -4 -oneline address show dev rk0 | grep -o 'rk0:[0-9]*' || true; }

# One console for all of it. Its two ends are kept where subshells have them as well.
coproc { exec "$console" "$mode" --echo --keep-going --script - 2>&1; }
console_id=$COPROC_PID
exec 3>&"${COPROC[1]}" 4<&"${COPROC[0]}"
exec {COPROC[1]}>&-

# play: what the console says to the commands on standard input.
play() {
    local line
    printf '%s\n' "$(cat)" "# end" >&3
    while read -r -t 120 line <&4 && [ "$line" != "# end" ]; do
        case $line in
            "" | "> "*) ;; # the commands themselves
            *) sed 's/^line [0-9]*: //' <<< "$line" ;;
        esac
    done
}

expect "two addresses" "$(printf '%s\n' ok ok yes \
    'address    10.77.0.50' 'interface  rk0' 'mask       255.255.255.0')" "$(play << 'SCRIPT'
alias configure 10.77.0.50
alias configure 10.77.0.51
alias status 10.77.0.50
alias info 10.77.0.50
SCRIPT
)"
expect "the machine's addresses" "$(printf '%s\n' 10.77.0.1/24 10.77.0.50/24 10.77.0.51/24)" "$(addresses | sort -V)"
expect "the machine's aliases" "$(printf '%s\n' rk0:1 rk0:2)" "$(labels)"

# A whole configuration tells an alias in a comment: it is the machine's.
expect "an exported alias" "# Without what is this machine's: alias configure 10.77.0.50 --interface rk0 --netmask 255.255.255.0" \
    "$(play << 'SCRIPT' | grep machine
cluster add shop --address 10.77.0.50
cluster add mail --address 10.77.0.60
config export
cluster remove shop
cluster remove mail
SCRIPT
)"

# Configured again, an address comes back on its alias.
expect "an address again" ok "$(play <<< 'alias configure 10.77.0.50')"
expect "the aliases are the same" "$(printf '%s\n' rk0:1 rk0:2)" "$(labels | sort)"

expect "addresses taken off" "$(printf '%s\n' ok no ok)" "$(play << 'SCRIPT'
alias unconfigure 10.77.0.50
alias status 10.77.0.50
alias unconfigure 10.77.0.51
SCRIPT
)"
expect "the machine's own address is left" 10.77.0.1/24 "$(addresses)"

expect "no interface on the subnet" "alias configure: status -62" \
    "$(play <<< '! alias configure 172.16.0.9' | grep -o '^.*status -62')"

# Names that have no room for an alias, or for another one.
ip link add rk0longer type veth peer name rk1longer
ip address add 10.78.0.1/24 dev rk0longer
ip link add rk0seven type veth peer name rk1seven
ip link set rk0seven name rkseven
ip address add 10.79.0.1/24 dev rkseven
for number in {1..9}; do
    ip address add "10.79.0.1$number/24" label "rkseven:$number" dev rkseven
done
longer="the executor's list keeps 9 characters of a name, and the alias"
expect "no room for aliases" "$(printf "alias configure: $longer %s is longer: the next address would replace this one\n" \
    rk0longer:1 rk0longer:1 rkseven:10)" "$(play << 'SCRIPT'
! alias configure 10.78.0.50
! alias configure 10.80.0.50 --interface rk0longer --netmask 255.255.255.0
! alias configure 10.79.0.50
SCRIPT
)"
expect "an alias that is there already" ok "$(play <<< 'alias configure 10.79.0.15')"
expect "nothing else was configured" "$(printf '%s\n' 10.78.0.1/24 10.79.0.1{,1,2,3,4,5,6,7,8,9}/24)" \
    "$(for link in rk0longer rkseven; do ip -4 -oneline address show dev $link; done | awk '{ print $4 }' | sort -V)"

exec 3>&-
ended=0
wait "$console_id" || ended=$?
expect "the console's exit status" 0 "$ended"
exit $status
