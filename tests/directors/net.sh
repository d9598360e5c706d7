# Two directors, to be sourced: d1 and d2 in network namespaces of their own, a client c, servers s1 to s3, and three networks.
#   brc 10.1.0.0/24  clients: c .100, d1 .1, d2 .2; the cluster's address .50
#   brs 10.2.0.0/24  servers: s1 .11 to s3 .13, d1 .1, d2 .2; the servers' way back .254
#   brh 10.3.0.0/24  a second path between the directors
# Everything ends with the namespaces of the processes that sourced it.
mount -t tmpfs none /run
mkdir -p /run/netns
mount -t tmpfs none /run/netns
ip link set lo up
sysctl -qw net.ipv6.conf.all.disable_ipv6=1 net.ipv6.conf.default.disable_ipv6=1 2> /dev/null || true
for bridge in brc brs brh; do
    ip link add "$bridge" type bridge
    ip link set "$bridge" up
done

# cable NAMESPACE BRIDGE INTERFACE ADDRESS; the bridge's end is called NAMESPACE BRIDGE without a space.
cable() {
    ip link add "$1$2" type veth peer name "$3" netns "$1"
    ip link set "$1$2" up master "$2"
    ip -n "$1" link set "$3" up
    ip -n "$1" addr add "$4/24" dev "$3"
}
for name in c s1 s2 s3 d1 d2; do
    ip netns add "$name"
    ip -n "$name" link set lo up
done
cable c brc eth0 10.1.0.100
for n in 1 2 3; do
    cable "s$n" brs eth0 "10.2.0.1$n"
    ip -n "s$n" route add default via 10.2.0.254
done
for n in 1 2; do
    cable "d$n" brc eth0 "10.1.0.$n"
    cable "d$n" brs eth1 "10.2.0.$n"
    cable "d$n" brh eth2 "10.3.0.$n"
done

in_ns() { # NAMESPACE COMMAND...
    local name=$1
    shift
    nsenter --net="/run/netns/$name" "$@"
}
