# The cases of tests/directors/run, to be sourced in its namespaces. Each starts from two directors that do not run.

# ---- words

# expect WHAT COMMAND...: it is to be true soon.
expect() {
    local what=$1
    shift
    within 20 "$@" || fail "$what ($(status 1); $(status 2))"
}

ask() { # DIRECTOR COMMAND...
    "$director" ask "/run/d$1.sock" "${@:2}"
}

status() { "$director" ask "/run/d$1.sock" status 2> /dev/null || echo "d$1 does not run"; }

is() { [[ " $(status "$1")" == *" "$2* ]]; } # DIRECTOR PATTERN, which begins with a word
said() { grep -q -- "$2" "/run/d$1.log"; } # DIRECTOR WORDS
has() { [[ -n $(ip -n "d$1" -4 -o addr show to "$2") ]]; } # DIRECTOR ADDRESS
lacks() { ! has "$1" "$2"; }
answers() { [[ $(in_ns c "$director" who "${2:-10.1.0.50}") == "d$1" ]]; } # DIRECTOR
only_active() { is "$1" "state 1 " && is "$((3 - $1))" "state 2 " && has "$1" 10.1.0.50 && lacks "$((3 - $1))" 10.1.0.50; }

processes() { # of keepalived of a director
    cat "/run/d$1/ha/"{keepalived,vrrp,bfd}.pid 2> /dev/null
}
gone() { ! kill -0 "$@" 2> /dev/null; }

# start DIRECTOR [OPTION...]
start() {
    local n=$1
    shift
    mkdir -p "/run/d$n"
    chmod 777 "/run/d$n"
    RUNTIME_DIRECTORY=/run/d$n nsenter --net="/run/netns/d$n" "${runner[@]}" "$director" serve "d$n" "/run/d$n.sock" \
        --log "/run/d$n.log" --advert-interval 0.2 --moving-address 10.2.0.254 "$@" &
    daemons[n]=$!
    within 10 is "$n" mode || fail "d$n does not start"
}

# declare_all DIRECTOR ROLE STRATEGY: what its manager tells it.
declare_all() {
    local n=$1 other=$((3 - $1))
    ask "$n" cluster 1 10.1.0.50 0.0.0.0 > /dev/null
    ask "$n" server 1 10.2.0.11 > /dev/null
    ask "$n" backup "$2" "$3" 9000 > /dev/null
    ask "$n" heartbeat "10.1.0.$n" "10.1.0.$other" > /dev/null
    ask "$n" heartbeat "10.3.0.$n" "10.3.0.$other" > /dev/null
}

# both STRATEGY: two directors, the first one active and both settled.
both() {
    rm -rf /run/d1 /run/d2 /run/d1.log /run/d2.log
    start 1
    start 2
    declare_all 1 0 "$1"
    declare_all 2 1 "$1"
    expect "d1 is active, d2 is not" only_active 1
    for n in 1 2; do
        expect "d$n hears its partner on both paths" is "$n" "substate 3 peer 2 heartbeats 2 2"
    done
}

settled() { [[ $(cat "/run/d$1/ha/boost0") != -50 ]]; }

stop() { # DIRECTOR
    kill "${daemons[$1]}" 2> /dev/null
    wait "${daemons[$1]}" 2> /dev/null
    daemons[$1]=
}

kill_all() { # DIRECTOR: as when the power fails, but that its network stays
    kill -9 "${daemons[$1]}" $(processes "$1") 2> /dev/null
    wait "${daemons[$1]}" 2> /dev/null
    daemons[$1]=
}

cables() { # DIRECTOR up|down
    local bridge
    for bridge in brc brs brh; do
        ip link set "d$1$bridge" "$2"
    done
}

power_off() { # DIRECTOR
    kill_all "$1"
    cables "$1" down
}

end_directors() {
    local n
    for n in 1 2; do
        [[ -z ${daemons[n]:-} ]] || stop "$n"
        cables "$n" up
        ip -n "d$n" addr flush dev eth0 to 10.1.0.50 2> /dev/null
        in_ns "d$n" nft delete table ip cut 2> /dev/null
    done
}

stream() { # SECONDS: asks all the time, beside what follows
    in_ns c "$director" stream 10.1.0.50 "$1" > /run/stream &
    stream=$!
}
unanswered() { # MOST: how many of the stream were not answered
    local said
    wait "$stream"
    said=$(cat /run/stream)
    echo "   $said"
    # shellcheck disable=SC2086
    set -- "$1" $said
    (($5 <= $1))
}

cut() { # DIRECTOR INTERFACE: nothing of the partner is heard there
    in_ns "d$1" nft -f - << RULES
add table ip cut
add chain ip cut in { type filter hook input priority -300; }
add rule ip cut in iifname $2 ip protocol { 112, udp } ip saddr { 10.1.0.1, 10.1.0.2, 10.3.0.1, 10.3.0.2 } drop
RULES
}
cut_all() {
    local interface
    for interface in eth0 eth2; do
        cut 2 "$interface"
        cut 1 "$interface"
    done
}
heal() { # DIRECTOR...
    local n
    for n; do
        in_ns "d$n" nft delete table ip cut 2> /dev/null
    done
}
# Whom the client's packets to the cluster's address go to, without a packet of its own that would find out.
is_neighbour() { # DIRECTOR
    [[ $(ip -n c neigh show 10.1.0.50) == *"$(ip -n "d$1" -br link show eth0 | awk '{ print $3 }')"* ]]
}

# ---- cases

case_power_off_and_return() {
    both 1
    stream 6
    power_off 1
    expect "d2 takes over" answers 2
    expect "d2 knows that it is alone" is 2 "state 1 substate 2 peer 1 heartbeats 1 1"
    said 2 "active: nothing came from the partner" || fail "d2 does not say why it is active"
    # It comes back empty, with the addresses that it had when the power failed still up: they go before anything else.
    cables 1 up
    has 1 10.1.0.50 || fail "the case needs an address that was left"
    start 1
    lacks 1 10.1.0.50 || fail "the address of the run before is still there"
    said 1 "2 addresses of an earlier run removed" || fail "d1 does not say what it found"
    declare_all 1 0 1
    expect "d1 hears its partner" is 1 "state 2 substate 3 peer 2 heartbeats 2 2"
    unanswered 60 || fail "more went unanswered than a take-over costs"
    only_active 2 || fail "whoever is active stays so by the strategy of hands"
}

case_manual_return_stays() {
    both 1
    power_off 1
    expect "d2 takes over" answers 2
    cables 1 up
    start 1
    declare_all 1 0 1
    expect "d1 has settled" settled 1
    sleep 2
    only_active 2 || fail "whoever is active stays so by the strategy of hands"
}

case_automatic_return_waits() {
    both 0
    power_off 1
    expect "d2 takes over" answers 2
    cables 1 up
    start 1
    declare_all 1 0 0
    expect "d1 hears its partner" is 1 "state 2 substate 3 peer 2"
    local heard=$SECONDS
    expect "d1 becomes active again" only_active 1
    ((SECONDS - heard >= 8)) || fail "d1 took over before copies of the connections can have arrived"
}

case_split_brain() {
    both 1
    in_ns c "$director" who 10.1.0.50 > /run/before
    cut_all
    expect "both are active" has 2 10.1.0.50
    has 1 10.1.0.50 || fail "d1 gave up without hearing anything"
    expect "d2 has the neighbours" answers 2
    stream 8
    heal 1 2
    expect "one is active again" only_active 1
    expect "d1 has the neighbours again" answers 1
    unanswered 10 || fail "neighbours were not told again"
    said 1 "two directors are active" || fail "d1 does not say that two were"
    expect "the record does not tell of two for ever" is 1 "substate 3"
}

# Whoever is to give way hears that first, and the other one hears nothing of it.
case_split_brain_unheard() {
    both 1
    in_ns c "$director" who 10.1.0.50 > /run/before
    cut_all
    expect "both are active" has 2 10.1.0.50
    expect "d2 has the neighbours" answers 2
    sleep 5 # until nothing more is announced of d1's own election
    heal 2
    expect "d2 gives way" is 2 "state 2 "
    said 2 "standby: two directors were active" || fail "d2 does not say why"
    sleep 1
    is_neighbour 2 || fail "the case needs neighbours that were not told"
    heal 1
    expect "d1 has the neighbours again" is_neighbour 1
    expect "d1 hears its partner" is 1 "state 1 substate 3 peer 2"
}

case_take_over_and_stop() {
    both 0
    stream 8
    ask 2 takeover 0 > /dev/null
    expect "d2 is active" only_active 2
    [[ $(in_ns s1 "$director" who 10.2.0.254) == d2 ]] || fail "the servers' way back does not lead to d2"
    sleep 1
    only_active 2 || fail "it does not last"
    ask 1 takeover 0 > /dev/null
    expect "d1 is active" only_active 1
    stop 1
    expect "d2 is active" answers 2
    lacks 1 10.1.0.50 || fail "a director that has ended has the address"
    lacks 1 10.2.0.254 || fail "a director that has ended has the servers' way back"
    unanswered 20 || fail "more went unanswered than three take-overs cost"
    ! said 1 "two directors" && ! said 2 "two directors" || fail "a take-over is told as a split brain"
}

# keepalived without its program, and the program without its keepalived.
case_killed() {
    both 1
    local mine
    mine=$(processes 1)
    kill -9 "${daemons[1]}"
    wait "${daemons[1]}" 2> /dev/null
    expect "d2 is active" answers 2
    # shellcheck disable=SC2086
    expect "keepalived ends with its program" gone $mine
    start 1
    lacks 1 10.1.0.50 || fail "the address of the run before is still there"
    declare_all 1 0 1
    expect "d1 is a standby" is 1 "state 2 substate 3"
    kill -9 $(processes 2)
    within 2 lacks 2 10.1.0.50 || fail "d2 has the address and no keepalived"
    expect "d1 is active" answers 1
    expect "d2 has a keepalived again" is 2 "state 2 substate 3 peer 2 heartbeats 2 2"
    said 2 "keepalived has ended" || fail "d2 does not say what happened"
}

# A keepalived that outlived even its minder does not go on electing for nobody.
case_left_over() {
    both 1
    local before
    before=$(processes 1)
    # shellcheck disable=SC2046
    kill -9 $(ps -o ppid= -p "$(cat /run/d1/ha/keepalived.pid)") "${daemons[1]}"
    wait "${daemons[1]}" 2> /dev/null
    sleep 1
    # shellcheck disable=SC2086
    kill -0 $before 2> /dev/null || fail "the case needs a keepalived that is left"
    start 1
    # shellcheck disable=SC2086
    gone $before || fail "the keepalived of the run before is still there"
    said 1 "keepalived of an earlier run ended" || fail "d1 does not say what it found"
    expect "d2 is active" answers 2
}

case_paths() {
    both 1
    cut 1 eth2
    cut 2 eth2
    for n in 1 2; do
        expect "d$n misses one path of two" is "$n" "substate 3 peer 2 heartbeats 2 1"
    done
    sleep 1
    only_active 1 || fail "one path that is lost changed something"
    heal 1 2
    for n in 1 2; do
        expect "d$n hears both again" is "$n" "heartbeats 2 2"
    done
    ip link set d1brh down
    expect "d1 misses the path whose cable is out" is 1 "state 1 substate 3 peer 2 heartbeats 2 1"
    ip link set d1brh up
}

case_link_to_clients() {
    both 1
    stream 6
    ip link set d1brc down
    expect "d1 has failed" is 1 "state 3 "
    expect "d2 is active" answers 2
    lacks 1 10.1.0.50 || fail "a director without a link has the address"
    said 1 "no link" || fail "d1 does not say why"
    ask 1 takeover 0 && fail "a director without a link takes over"
    ip link set d1brc up
    expect "d1 is a standby" is 1 "state 2 substate 3"
    unanswered 30 || fail "more went unanswered than a take-over costs"
}

case_link_to_servers() {
    both 1
    ip link set d1brs down
    expect "d1 has failed" is 1 "state 3 "
    expect "d2 is active" answers 2
    ip link set d1brs up
    expect "d1 is a standby" is 1 "state 2 "
}

case_reach_targets() {
    both 0
    for n in 1 2; do
        ask "$n" reach 10.1.0.100 255.255.255.0 7 > /dev/null
        expect "d$n reaches its target" is "$n" "reach 1"
        expect "d$n has settled" settled "$n"
    done
    in_ns d1 nft -f - << RULES
add table ip cut
add chain ip cut in { type filter hook input priority -300; }
add rule ip cut in ip protocol icmp drop
RULES
    expect "d1 misses its target" is 1 "reach 2"
    expect "d2 is active" only_active 2
    said 1 "reach target 10.1.0.100 does not answer" || fail "d1 does not say what it misses"
    heal 1 2
    expect "d1 reaches its target" is 1 "reach 1"
    expect "d1 is active again" only_active 1
    ask 1 noreach 10.1.0.100 > /dev/null
    is 1 "reach" && ! is 1 "reach 1" || fail "a target that is deleted is still there"
}

# An address that somebody puts on an interface of a standby, as managers do.
case_aliases() {
    both 1
    ip -n d2 addr add 10.1.0.50/24 dev eth0 label eth0:1
    within 2 lacks 2 10.1.0.50 || fail "a standby keeps an address that was put up by hand"
    said 2 "by another hand" || fail "d2 does not say that it removed it"
    ip -n d1 addr del 10.1.0.50/32 dev eth0
    within 2 has 1 10.1.0.50 || fail "whoever is active does not put back what was removed by hand"
    [[ $(ip -n d1 -4 -o addr show to 10.1.0.50) == *eth0:ha* ]] || fail "it does not look like an alias"
}

case_clusters_come_and_go() {
    both 1
    local before
    before=$(cat /run/d1/ha/keepalived.conf)
    ask 1 cluster 2 10.1.0.51 0.0.0.0 > /dev/null
    has 1 10.1.0.51 || fail "a new cluster's address is not up when its command is done"
    answers 1 10.1.0.51 || fail "a new cluster's address does not answer"
    ask 2 cluster 2 10.1.0.51 0.0.0.0 > /dev/null
    lacks 2 10.1.0.51 || fail "a standby puts up a new cluster's address"
    ask 1 nocluster 2 > /dev/null
    lacks 1 10.1.0.51 || fail "the address of a cluster that is gone is still there"
    [[ $(cat /run/d1/ha/keepalived.conf) == "$before" ]] || fail "keepalived had to be told of a cluster"
    only_active 1 || fail "a cluster changed who is active"
    ask 1 cluster 3 192.0.2.1 0.0.0.0 > /dev/null
    said 1 "192.0.2.1 is put up nowhere" || fail "an address without a place is not told of"
}

# Paths that are added and removed while there is traffic: keepalived begins anew, and nobody gives anything up.
case_paths_come_and_go() {
    both 1
    stream 14
    ask 1 noheartbeat 10.3.0.1 > /dev/null
    expect "d1 has one path" is 1 "heartbeats 2 reach"
    ask 2 noheartbeat 10.3.0.1 > /dev/null
    expect "d2 has one path" is 2 "heartbeats 2 reach"
    ask 1 heartbeat 10.3.0.1 10.3.0.2 > /dev/null
    sleep 2
    only_active 1 || fail "a path that only one director has changed something"
    ask 2 heartbeat 10.3.0.2 10.3.0.1 > /dev/null
    for n in 1 2; do
        expect "d$n hears both paths" is "$n" "substate 3 peer 2 heartbeats 2 2"
    done
    only_active 1 || fail "a new path changed who is active"
    unanswered 5 || fail "requests went unanswered"
}

case_refusals() {
    start 1
    ask 1 heartbeat 10.9.0.1 10.9.0.2 && fail "a heartbeat that is not on this machine is taken"
    said 1 "reason=-115 (this machine cannot do it: no interface of this machine has 10.9.0.1)" || fail "it does not say why"
    ask 1 heartbeat 127.0.0.1 10.9.0.2 && fail "a heartbeat on the loopback interface is taken"
    is 1 "heartbeats reach" || fail "what was refused is in the record"
    ask 1 backup 0 1 9000 > /dev/null
    is 1 "state 1 substate 1 peer 0" || fail "a primary without a path is not active by its role"
    RUNTIME_DIRECTORY=/run/d1 in_ns d1 "$director" serve other /run/other.sock --high-availability keepalived \
        2> /run/other && fail "two programs share a folder"
    grep -q "another process has /run/d1/ha" /run/other || fail "the second program does not say why it ends"
}

case_deletion() {
    both 1
    local mine
    mine=$(processes 1)
    ask 1 nobackup > /dev/null
    is 1 "mode 0 role 0 strategy 0 state 0 substate 0 peer 0" || fail "the record still tells of a partner"
    # shellcheck disable=SC2086
    gone $mine || fail "keepalived is still there"
    sleep 1
    has 1 10.1.0.50 || fail "whoever is alone has lost its address"
    stop 2
    expect "d1 answers" answers 1
    ask 1 nocluster 1 > /dev/null
    lacks 1 10.1.0.50 || fail "the address of a cluster that is gone is still there"
    stop 1
    lacks 1 10.2.0.254 || fail "a director that has ended has the servers' way back"
}

# Each is primary for one cluster.
case_both_roles() {
    rm -rf /run/d1 /run/d2 /run/d1.log /run/d2.log
    for n in 1 2; do
        start "$n"
        ask "$n" cluster 1 10.1.0.50 10.1.0.1 > /dev/null
        ask "$n" cluster 2 10.1.0.51 10.1.0.2 > /dev/null
        ask "$n" backup 2 0 9000 > /dev/null
        ask "$n" heartbeat "10.1.0.$n" "10.1.0.$((3 - n))" > /dev/null
    done
    expect "d1 has its cluster" answers 1 10.1.0.50
    expect "d2 has its cluster" answers 2 10.1.0.51
    for n in 1 2; do
        expect "d$n has settled" settled "$n"
    done
    lacks 1 10.1.0.51 && lacks 2 10.1.0.50 || fail "an address is up twice"
    power_off 2
    expect "d1 has both" answers 1 10.1.0.51
    answers 1 10.1.0.50 || fail "d1 lost its own"
}

# A keepalived that the system runs for somebody else is left alone, and leaves ours alone.
case_beside_another_keepalived() {
    mkdir -p /run/keepalived
    printf 'vrrp_instance other {\n  state BACKUP\n  interface eth2\n  virtual_router_id 9\n  priority 50\n  virtual_ipaddress {\n    10.3.0.99/32\n  }\n}\n' > /run/other.conf
    nsenter --net=/run/netns/d1 keepalived -n -f /run/other.conf > /run/other.log 2>&1 &
    local other=$!
    expect "the other one is active" has 1 10.3.0.99
    both 1
    expect "the other one goes on" has 1 10.3.0.99
    stop 1
    kill -0 "$other" 2> /dev/null || fail "the other one was ended"
    start 1
    kill -0 "$other" 2> /dev/null || fail "the other one was taken for a left-over"
    kill "$other"
    wait "$other" 2> /dev/null
}

# As the service does: no root, two capabilities.
case_as_the_service() {
    runner=(setpriv --reuid 65534 --regid 65534 --clear-groups --inh-caps=+net_admin,+net_raw
        --ambient-caps=+net_admin,+net_raw --bounding-set=-all,+net_admin,+net_raw)
    chmod 777 /run
    both 1
    power_off 1
    expect "d2 takes over" answers 2
    stop 2
    lacks 2 10.1.0.50 || fail "a director that has ended has the address"
    runner=()
}

# Without keepalived, or the right to use it, records are kept as ever, and one line says what is missing.
case_without_keepalived() {
    QELXW_KEEPALIVED=/nowhere start 1
    declare_all 1 1 0
    is 1 "mode 1 role 1 strategy 0 state 2 substate 2 peer 1 heartbeats 1 1" || fail "the record is another one"
    ask 1 takeover 0 > /dev/null
    is 1 "state 1 substate 2" || fail "a take-over is not kept"
    said 1 "nobody hears the partner: no high availability: there is no keepalived (Debian's package keepalived)" ||
        fail "it does not say what is missing"
    [[ $(grep -c "nobody hears" /run/d1.log) == 1 ]] || fail "it says so more than once"
    stop 1
    QELXW_KEEPALIVED=/nowhere RUNTIME_DIRECTORY=/run/d1 in_ns d1 "$director" serve d1 /run/d1.sock \
        --high-availability keepalived 2> /run/said && fail "what was asked for and cannot be had is done without"
    grep -q "there is no keepalived" /run/said || fail "it does not say why it fails"
    start 1 --high-availability none
    declare_all 1 0 0
    is 1 "state 1 substate 2 peer 1 heartbeats 1 1" || fail "the record is another one"
    lacks 1 10.1.0.50 || fail "an address was put up"
}

# Adverts that somebody in the clients' network makes up, for d1 as if its partner had the highest priority.
forge() { # SOURCE COUNT
    local identifier
    identifier=$(awk '$1 == "interface" { on = $2 == "eth0" } on && $1 == "virtual_router_id" { print $2; exit }' \
        /run/d1/ha/keepalived.conf)
    in_ns c "$director" forge "$1" 10.1.0.1 "$identifier" 255 "169.254.75.$identifier" "$2" ||
        fail "adverts cannot be made up"
}
seen() { # ADDRESS: of adverts from there, since the filter was made
    in_ns d1 nft list counter ip seen "from_${1##*.}" | sed -n 's/.*packets \([0-9]*\) .*/\1/p'
}
case_forged_adverts() {
    both 1
    in_ns d1 nft -f - << RULES
add table ip seen
add counter ip seen from_100
add chain ip seen in { type filter hook prerouting priority -300; }
add rule ip seen in ip protocol 112 ip saddr 10.1.0.100 counter name from_100
RULES
    local lines
    lines=$(wc -l < /run/d1.log)
    forge 10.1.0.100 40
    (($(seen 10.1.0.100) == 40)) || fail "adverts from another address did not come to d1"
    only_active 1 || fail "adverts from another address changed who is active"
    tail -n "+$((lines + 1))" /run/d1.log | grep "standby" && fail "adverts from another address made d1 a standby"
    # Those with the partner's address are taken for the partner's: the guide says so.
    forge 10.1.0.2 100 &
    local forger=$!
    expect "d1 gives way to adverts with its partner's address" lacks 1 10.1.0.50
    expect "d2 is active meanwhile" has 2 10.1.0.50
    wait "$forger"
    expect "one is active again" one_is_active
    ask 1 takeover 0 > /dev/null
    expect "d1 is active" only_active 1
    # With the filter of the guide, on this path, they are not.
    sed -n 's/^    d1# nft /nft /p' "$here/../../docs/availability.md" | sed "s/eth2/eth0/g;
        s/02:00:00:00:00:02/$(in_ns d2 cat /sys/class/net/eth0/address)/" > /run/filter
    in_ns d1 bash -e /run/filter || fail "a command of the guide for the packet filter"
    lines=$(wc -l < /run/d1.log)
    forge 10.1.0.2 100
    only_active 1 || fail "adverts with the partner's address and another hardware address changed who is active"
    tail -n "+$((lines + 1))" /run/d1.log | grep "standby" && fail "they made d1 a standby"
    is 1 "substate 3 peer 2 heartbeats 2 2" || fail "the filter keeps the partner's own adverts away"
    in_ns d1 nft delete table netdev partner
    in_ns d1 nft delete table ip seen
}

# All links of both are lost, and come back.
case_all_links() {
    both 1
    local n
    for n in 1 2; do
        cables "$n" down
    done
    for n in 1 2; do
        expect "d$n has failed" is "$n" "state 3 "
        lacks "$n" 10.1.0.50 || fail "d$n has the address without a link"
    done
    for n in 2 1; do
        cables "$n" up
    done
    for n in 1 2; do
        expect "d$n hears its partner on both paths" is "$n" "substate 3 peer 2 heartbeats 2 2"
    done
    expect "one is active again" one_is_active
    answers 1 || answers 2 || fail "nobody answers"
}
one_is_active() { { has 1 10.1.0.50 && lacks 2 10.1.0.50; } || { has 2 10.1.0.50 && lacks 1 10.1.0.50; }; }

# The guide's table of what is lost, by hand on a quiet machine: the median of five, in milliseconds, of the longest time
# without an answer.
longest() { # WHAT LOSE [ARGUMENT...]: d1 is active, and "LOSE" takes that from it
    local what=$1 i all=()
    shift
    for ((i = 0; i < 5; ++i)); do
        both 1
        stream 4
        sleep 1
        "$@" > /dev/null
        wait "$stream"
        all+=("$(sed 's/.*longest //' /run/stream)")
        end_directors > /dev/null 2>&1
    done
    echo "   $what: $(printf '%s\n' "${all[@]}" | sort -n | sed -n 3p) (${all[*]})"
    [[ $(printf '%s\n' "${all[@]}" | sort -n | sed -n 3p) =~ ^[0-9]+$ ]] || fail "no figure for $what"
}
kill_program() {
    kill -9 "${daemons[1]}"
    wait "${daemons[1]}" 2> /dev/null
    daemons[1]=
}
kill_keepalived() { kill -9 $(processes 1); }
case_figures() {
    longest "power off" power_off 1
    longest "a link is down" ip link set d1brc down
    longest "take-over" ask 2 takeover 0
    longest "orderly stop" stop 1
    longest "qelxwd is killed" kill_program
    longest "keepalived is killed" kill_keepalived
    longest "one path of two is cut" cut 1 eth2
}

# Each command of the guide: those of the console by an executor in user space, all others on the director that they
# name.
case_guide() {
    local guide=$here/../../docs/availability.md n line
    for n in 1 2; do
        sed -n "s/^    d$n# rk-console //p" "$guide" > "/run/console$n"
        (($(wc -l < "/run/console$n") >= 8)) || fail "the guide has few commands for d$n"
        in_ns "d$n" "$build/bin/rk-console" --echo --script "/run/console$n" > "/run/console" 2>&1 || {
            fail "a command of the guide: $(tail -n 2 /run/console)"
        }
    done
    sed -n "s/^    rk-console //p" "$here/../../docs/many-directors.md" > /run/console
    (($(wc -l < /run/console) == 4)) || fail "the guide of many directors has other commands"
    "$build/bin/rk-console" --echo --script /run/console > /run/said 2>&1 ||
        fail "a command of the guide of many directors: $(tail -n 2 /run/said)"
    sed -n "s/^    d1# nft /nft /p" "$guide" > /run/filter
    (($(wc -l < /run/filter) == 3)) || fail "the guide has other commands for the packet filter"
    in_ns d1 bash -e /run/filter || fail "a command of the guide for the packet filter"
    ip link set d1brh address 02:00:00:00:00:01
    both 1
    expect "adverts from another hardware address are dropped" test \
        "$(in_ns d1 nft list table netdev partner | grep -c 'ether saddr != 02:00:00:00:00:02')" = 1
    in_ns d1 nft delete table netdev partner
    # The options of the program are taken as they stand there.
    line=$(sed -n 's/^    qelxwd --log [^ ]* //p' "$guide")
    [[ $line == "--moving-address 10.2.0.254" ]] || fail "the guide starts the program otherwise than these cases do"
}

# ---- with the kernel's load balancer, as in the guest

# serving: servers, a director that forwards, and six connections that are held.
serving() {
    both "$1"
    begin_serving s1 s2 s3
    hold 6 10.1.0.50
    for ((i = 0; i < 4; ++i)); do # so that they are copied
        held > /dev/null
        sleep 1
    done
}

case_held_power_off() {
    serving 1
    all_held s1=6 "at first"
    power_off 1
    expect "d2 takes over" has 2 10.1.0.50
    all_held s1=6 "d1 was lost"
    # Back, and settled: those that are in use have been copied.
    cables 1 up
    start 1
    declare_all 1 0 1
    expect "d1 hears its partner" is 1 "state 2 substate 3"
    expect "d1 has settled" settled 1
    all_held s1=6 "d1 is back"
    ask 1 takeover 0 > /dev/null
    expect "d1 is active" only_active 1
    all_held s1=6 "d1 took over"
    end_holding
    end_serving
}

# The addresses go before what they lead to: else this machine itself would reset what is held.
case_held_clean_stop() {
    serving 0
    begin_asking 40 0.1
    sleep 0.5
    stop 1
    expect "d2 takes over" has 2 10.1.0.50
    end_asking s1=6 "d1 ends"
    end_holding
    end_serving
}

case_held_kill() {
    serving 1
    kill -9 "${daemons[1]}"
    wait "${daemons[1]}" 2> /dev/null
    expect "d2 takes over" has 2 10.1.0.50
    all_held s1=6 "qelxwd of d1 was killed"
    start 1
    declare_all 1 0 1
    expect "d1 is a standby" is 1 "state 2 substate 3"
    all_held s1=6 "d1 is back"
    end_holding
    end_serving
}

case_held_split_brain() {
    serving 1
    cut_all
    expect "both are active" has 2 10.1.0.50
    all_held s1=6 "both are active"
    heal 1 2
    expect "one is active again" only_active 1
    sleep 1
    all_held s1=6 "one is active again"
    end_holding
    end_serving
}

# How long a connection takes to get to the standby, in milliseconds; the guide tells.
copied() { (($(in_ns d2 grep -c ESTABLISHED /proc/net/ip_vs_conn) >= $1)); } # COUNT
case_held_lag() {
    both 1
    begin_serving s1 s2 s3
    local i began all=()
    for ((i = 1; i <= 5; ++i)); do
        hold 6 10.1.0.50
        all_held s1=6 "at first"
        began=$(date +%s%3N)
        expect "six connections are copied" copied 6
        all+=("$(($(date +%s%3N) - began))")
        end_holding
        within 60 none_copied || fail "copies of connections that have ended stay"
    done
    echo "   milliseconds from the last packet to the copy: ${all[*]}"
    end_serving
}
none_copied() { ! copied 1; }

case_copies() {
    both 1
    for n in 1 2; do
        [[ $(in_ns "d$n" ipvsadm -L --daemon 2> /dev/null | grep -c "syncid=76") == 2 ]] ||
            fail "d$n does not copy both ways: $(in_ns "d$n" ipvsadm -L --daemon 2>&1)"
        [[ $(in_ns "d$n" sysctl -n net.ipv4.vs.sync_threshold | tr '\t' ' ') == "3 10" ]] || fail "d$n copies otherwise"
    done
    ask 1 nobackup > /dev/null
    [[ -z $(in_ns d1 ipvsadm -L --daemon 2> /dev/null | grep sync) ]] || fail "d1 copies to nobody"
    [[ $(in_ns d1 sysctl -n net.ipv4.vs.sync_threshold | tr '\t' ' ') != "3 10" ]] || fail "a setting is not put back"
}

held_cases=(copies held_power_off held_clean_stop held_kill held_split_brain)
main_cases=(power_off_and_return split_brain take_over_and_stop killed)
all_cases=("${main_cases[@]}" split_brain_unheard automatic_return_waits left_over paths link_to_clients link_to_servers reach_targets aliases
    clusters_come_and_go paths_come_and_go refusals deletion both_roles beside_another_keepalived
    manual_return_stays as_the_service without_keepalived
    forged_adverts all_links guide)
