# The cases with three directors at once, to be sourced in their namespaces. Each starts without a director.

# ---- words

flows=150
servers= learner=
birds=() options=()
bird=$(command -v bird || echo "$build/bird/usr/sbin/bird")
announce_table=100

# expect WHAT COMMAND...: it is to be true soon.
expect() {
    local what=$1
    shift
    within 60 "$@" || fail "$what ($*; the routes are $(ip -n r route show "$cluster" | tr '\n' ' '))"
}

ask() { # DIRECTOR COMMAND...
    "$director" ask "/run/d$1.sock" "${@:2}" > /run/asked || {
        fail "d$1: ${*:2}: $(cat /run/asked)"
        return 1
    }
}
said() { grep -q -- "$2" "/run/d$1.log"; } # DIRECTOR WORDS
runs() { "$director" ask "/run/d$1.sock" status > /dev/null 2>&1; }

start() { # DIRECTOR
    mkdir -p "/run/d$1"
    RUNTIME_DIRECTORY=/run/d$1 nsenter --net="/run/netns/d$1" "$director" serve "d$1" "/run/d$1.sock" \
        --log "/run/d$1.log" --forward kernel --scheduler mh --announce-table "$announce_table" "${options[@]}" &
    daemons[$1]=$!
    within 20 runs "$1" || fail "d$1 does not start"
}

# declare DIRECTOR SERVER=WEIGHT...: what its manager tells it, in this order.
declare_on() {
    local n=$1 each
    shift
    ask "$n" cluster 1 "$cluster" 0.0.0.0
    ask "$n" port 1 1
    for each; do
        ask "$n" put 1 "10.2.0.1${each%=*}" "${each#*=}"
    done
}

all_start() {
    rm -rf /run/d[123] /run/d[123].log
    local n
    for n in 1 2 3; do
        start "$n"
    done
    # In another order each: the table is to be the same.
    declare_on 1 1=1 2=1 4=2
    declare_on 2 4=2 2=1 1=1
    declare_on 3 2=1 4=2 1=1
}

stop() { # DIRECTOR
    kill "${daemons[$1]}" 2> /dev/null
    wait "${daemons[$1]}" 2> /dev/null
    daemons[$1]=
}

# drained DIRECTOR: as an operator has it.
drain() { RUNTIME_DIRECTORY=/run/d$1 "$director" drain > /run/drained || fail "d$1 is not drained: $(cat /run/drained)"; }
announce() { RUNTIME_DIRECTORY=/run/d$1 "$director" announce > /run/drained || fail "d$1: $(cat /run/drained)"; }

announces() { # DIRECTOR
    [[ $(ip -n "d$1" route show table "$announce_table" 2> /dev/null) == *"blackhole $cluster "* ]]
}
link_is_up() { [[ $(ip -n "d$1" -o link show eth0) == *LOWER_UP* ]]; }

# In the place of a routing daemon: the router spreads over those that announce and have a link.
learn_routes() {
    local n now before=
    while sleep 0.1; do
        now=
        for n in 1 2 3; do
            ! announces "$n" || ! link_is_up "$n" || now+=" nexthop via 10.2.0.$n"
        done
        [[ $now != "$before" ]] || continue
        # shellcheck disable=SC2086
        if [[ -n $now ]]; then
            ip -n r route replace "$cluster/32" $now
        else
            ip -n r route del "$cluster/32"
        fi
        before=$now
    done
}
begin_learning() {
    learn_routes &
    learner=$!
}
end_learning() {
    [[ -n ${learner:-} ]] || return 0
    kill "$learner"
    wait "$learner" 2> /dev/null
    learner=
}

# spread DIRECTOR...: whether the router has these, and no other.
spread() {
    local n wanted=
    for n; do
        wanted+="10.2.0.$n "
    done
    [[ $(ip -n r route show "$cluster" | grep -o '10\.2\.0\.[0-9]*' | sort | tr '\n' ' ') == "$wanted" ]]
}

begin_holding() {
    hold "$flows" "$cluster"
    first=$(held)
    echo "   held: $first"
    [[ $(count_of "$first") == "$flows" ]] || fail "of $flows connections: $first"
}
count_of() { # "s1=3 s2=4": of all servers
    local each sum=0
    for each in $1; do
        [[ $each != s?=* ]] || sum=$((sum + ${each#*=}))
    done
    echo "$sum"
}
share_of() { # SERVER "s1=3 s2=4"
    local each
    for each in $2; do
        [[ $each != "$1="* ]] || echo "${each#*=}"
    done
}

# The guide's configuration of BIRD for d1, as that of another director, or for the router.
bird_conf() { # d1|d2|d3|r
    local title="d1" own="s/^//"
    if [[ $1 == r ]]; then
        title="the router"
    else
        own="s/\\(router id\\|local\\) 10\\.2\\.0\\.1\\>/\\1 10.2.0.${1#d}/"
    fi
    awk -v first="# bird.conf of $title" '$0 == first { on = 1 } on && /^```/ { exit } on' \
        "$here/../../docs/many-directors.md" | sed "$own"
}
begin_birds() {
    local name
    for name in r d1 d2 d3; do
        bird_conf "$name" > "/run/$name.conf"
        (($(wc -l < "/run/$name.conf") > 20)) || fail "the guide has no configuration of BIRD for $name"
        nsenter --net="/run/netns/$name" "$bird" -f -c "/run/$name.conf" -s "/run/$name.ctl" -P "/run/$name.pid" \
            > "/run/$name.bird" 2>&1 &
        birds+=("$!")
    done
}
end_birds() {
    ((${#birds[@]})) || return 0
    kill "${birds[@]}"
    wait "${birds[@]}" 2> /dev/null
    birds=()
}

end_directors() {
    local n
    end_learning
    end_birds
    for n in 1 2 3; do
        [[ -z ${daemons[n]:-} ]] || stop "$n"
        ip link set "d${n}brs" up
        ip -n "d$n" route flush table "$announce_table" 2> /dev/null
    done
    ip -n r route del "$cluster/32" 2> /dev/null
    [[ -z ${servers:-} ]] || end_serving
    servers=
}

# begin [ROUTING]: three directors that all announce, and connections that are held. ROUTING begins what has the router
# learn.
begin() {
    begin_serving s1 s2 s3 s4
    all_start
    "${1:-begin_learning}"
    expect "all directors are announced" spread 1 2 3
    begin_holding
}

between() { (($1 >= $2 && $1 <= $3)); }

# ---- cases

# Whether all directors have the kernel's list of servers in the same order, which decides about its table.
same_order() {
    local n first_list list
    first_list=$(in_ns d1 ipvsadm -Ln --nosort | awk '/->/ && /10\./ { print $2 }')
    [[ $(wc -w <<< "$first_list") -ge 3 ]] || fail "d1 has no list of servers"
    for n in 2 3; do
        list=$(in_ns "d$n" ipvsadm -Ln --nosort | awk '/->/ && /10\./ { print $2 }')
        [[ $list == "$first_list" ]] || fail "servers of d$n: $list, of d1: $first_list"
    done
}

# Each connection has the server that every director computes for it, whichever it comes to.
case_many_same_server() {
    begin
    local n
    same_order
    # Of 150 flows at weights 1, 1 and 2: five standard deviations are 27 and 31.
    between "$(share_of s1 "$first")" 10 65 && between "$(share_of s2 "$first")" 10 65 &&
        between "$(share_of s4 "$first")" 44 106 || fail "shares of 1:1:2 are $first"
    end_learning
    for n in 1 2 3; do
        ip -n r route replace "$cluster/32" via "10.2.0.$n"
        all_held "$first" "by d$n alone"
    done
    end_holding
}

case_many_lost_and_added() {
    begin
    kill -9 "${daemons[2]}"
    wait "${daemons[2]}" 2> /dev/null
    daemons[2]=
    ip link set d2brs down
    expect "d2 is not asked any more" spread 1 3
    all_held "$first" "d2 was lost"
    # It comes back as a machine that was switched on, and is announced when it has a configuration.
    ip -n d2 route flush table "$announce_table"
    in_ns d2 ipvsadm -C
    rm -rf /run/d2
    ip link set d2brs up
    start 2
    announces 2 && fail "d2 is announced with nothing behind it"
    declare_on 2 4=2 1=1 2=1
    announces 2 && fail "d2 is announced before what is declared has settled"
    expect "d2 is asked again" spread 1 2 3
    all_held "$first" "d2 was added"
    said 2 "10.9.0.1 is announced" || fail "d2 does not say that it announces"
    lose_and_add_d3
    end_holding
}

lose_and_add_d3() {
    ip link set d3brs down
    expect "d3 is not asked any more" spread 1 2
    all_held "$first" "d3 was lost"
    ip link set d3brs up
    expect "d3 is asked again" spread 1 2 3
    all_held "$first" "d3 was added"
}

# Each in turn is drained, ended, begun anew.
case_many_maintenance() {
    begin
    local n others=("" "2 3" "1 3" "1 2")
    for n in 1 2 3; do
        drain "$n"
        # shellcheck disable=SC2086
        expect "d$n is not asked any more" spread ${others[n]}
        said "$n" "draining; 10.9.0.1 is withdrawn" || fail "d$n does not say that it drains"
        all_held "$first" "d$n is drained"
        stop "$n"
        all_held "$first" "d$n has ended"
        start "$n"
        declare_on "$n" 2=1 1=1 4=2
        sleep 7
        announces "$n" && fail "d$n announces, though it was drained"
        announce "$n"
        expect "d$n is asked again" spread 1 2 3
        all_held "$first" "d$n is back"
    done
    # An orderly end withdraws by itself.
    begin_asking 60 0.2
    stop 3
    end_asking "$first" "d3 ends"
    end_holding
}

# A server that is between the others by its address is added, and one is taken out of service.
case_many_servers_change() {
    begin
    local n
    begin_asking 30 0.2
    for n in 1 2 3; do
        ask "$n" put 1 10.2.0.13 2
    done
    end_asking "$first" "s3 was added"
    same_order
    answered=$("$traffic" ask "$flows" "$cluster" 80 10.1.0.100)
    echo "   with s3: $answered"
    between "$(share_of s3 "$answered")" 22 78 || fail "shares of 1:1:2:2 are $answered"
    for n in 1 2 3; do
        ask "$n" down 1 10.2.0.12
    done
    all_held "$first" "s2 takes nothing new"
    answered=$("$traffic" ask "$flows" "$cluster" 80 10.1.0.100)
    echo "   without s2: $answered"
    [[ $(count_of "$answered") == "$flows" && -z $(share_of s2 "$answered") ]] || fail "without s2: $answered"
    # The same by a director that is declared anew, with s2 down from the beginning.
    begin_holding_again
    drain 3
    stop 3
    start 3
    declare_on 3 1=1 2=1 3=2 4=2
    ask 3 down 1 10.2.0.12
    announce 3
    same_order
    end_learning
    ip -n r route replace "$cluster/32" via 10.2.0.3
    all_held "$first" "by d3 alone, which came back"
    end_holding
}
begin_holding_again() {
    end_holding
    begin_holding
}

# Servers change, and then a director is lost: where its connections go over, what was computed before counts.
case_many_copies() {
    options=(--copy-connections eth0)
    begin
    local n i
    for ((i = 0; i < 4; ++i)); do # so that they are copied
        all_held "$first" "before any change"
        sleep 1
    done
    for n in 1 2 3; do
        ask "$n" put 1 10.2.0.13 4
        ask "$n" down 1 10.2.0.14
    done
    all_held "$first" "s3 was added, s4 takes nothing new"
    ip link set d3brs down
    expect "d3 is not asked any more" spread 1 2
    all_held "$first" "d3 was lost"
    options=()
    end_holding
    ip link set d3brs up
    stop 3
    options=(--copy-connections nowhere)
    nsenter --net=/run/netns/d3 "$director" serve d3 /run/d3.sock --log /run/d3.log --forward kernel --scheduler mh \
        "${options[@]}" 2> /run/said && fail "copies by an interface that is not there"
    grep -q "no copies of connections by nowhere" /run/said || fail "it does not say why it fails: $(cat /run/said)"
    options=()
}

# The guide's worked example.
case_many_bird() {
    if [[ ! -x $bird ]]; then
        echo "   skipped: there is no bird (tests/directors/fetch_bird $build)"
        return
    fi
    # The options of the program are taken as they stand there.
    [[ $(sed -n 's/^    qelxwd \(.*\) --log .*/\1/p' "$here/../../docs/many-directors.md") == \
        "--forward kernel --scheduler mh --announce-table $announce_table" ]] ||
        fail "the guide starts the program otherwise than these cases do"
    begin begin_birds
    drain 2
    expect "d2 is not asked any more" spread 1 3
    all_held "$first" "d2 is drained"
    announce 2
    expect "d2 is asked again" spread 1 2 3
    all_held "$first" "d2 announces again"
    lose_and_add_d3
    begin_asking 60 0.2
    stop 1
    end_asking "$first" "d1 ends"
    spread 2 3 || fail "the router has d1 still"
    end_holding
}

case_many_refusals() {
    start 1
    "$director" ask /run/d1.sock cluster 1 "$cluster" 0.0.0.0 > /dev/null
    "$director" ask /run/d1.sock port 1 2 > /run/asked && fail "translation is taken"
    said 1 "with the scheduler mh several directors forward at once" || fail "it does not say why"
    ask 1 port 1 1
    in_ns d1 sysctl -n net.ipv4.vs.sloppy_tcp net.ipv4.vs.schedule_icmp | tr '\n' ' ' | grep -q "1 1" ||
        fail "the kernel is not set for many directors"
    stop 1
    RUNTIME_DIRECTORY=/run/d1 "$director" drain > /run/drained && fail "a director that has ended is drained"
    grep -q "no qelxwd announces here" /run/drained || fail "it does not say why it is not"
    rm -rf /run/d1
}

many_cases=(many_same_server many_lost_and_added many_maintenance many_servers_change many_copies many_bird
    many_refusals)
