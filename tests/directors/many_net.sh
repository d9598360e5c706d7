# Three directors at once, to be sourced: a client c, a router r that spreads over d1 to d3, servers s1 to s4.
#   brc 10.1.0.0/24  c .100, r .254
#   brs 10.2.0.0/24  r .254, d1 .1 to d3 .3, s1 .11 to s4 .14; their way to the client is r
# The cluster 10.9.0.1 is on the loopback interface of all directors and servers.
# Everything ends with the namespaces of the processes that sourced it.
mount -t tmpfs none /run
mkdir -p /run/netns
mount -t tmpfs none /run/netns
ip link set lo up
sysctl -qw net.ipv6.conf.all.disable_ipv6=1 net.ipv6.conf.default.disable_ipv6=1 2> /dev/null || true
sysctl -qw net.ipv4.conf.all.rp_filter=0 net.ipv4.conf.default.rp_filter=0
for bridge in brc brs; do
    ip link add "$bridge" type bridge
    ip link set "$bridge" up
done
cluster=10.9.0.1

in_ns() { # NAMESPACE COMMAND...
    local name=$1
    shift
    nsenter --net="/run/netns/$name" "$@"
}
# cable NAMESPACE BRIDGE INTERFACE ADDRESS; the bridge's end is called NAMESPACE BRIDGE without a space.
cable() {
    ip link add "$1$2" type veth peer name "$3" netns "$1"
    ip link set "$1$2" up master "$2"
    ip -n "$1" link set "$3" up
    ip -n "$1" addr add "$4/24" dev "$3"
}
for name in c r d1 d2 d3 s1 s2 s3 s4; do
    ip netns add "$name"
    ip -n "$name" link set lo up
    in_ns "$name" sysctl -qw net.ipv4.conf.all.rp_filter=0 net.ipv4.conf.default.rp_filter=0
done
cable c brc eth0 10.1.0.100
ip -n c route add default via 10.1.0.254
cable r brc eth0 10.1.0.254
cable r brs eth1 10.2.0.254
# Addresses and ports decide about the director. Policy 1 would do for packets from a card; a virtual cable hands on a
# hash of the client's socket, which is another one each time that a packet is sent again.
in_ns r sysctl -qw net.ipv4.ip_forward=1 net.ipv4.fib_multipath_hash_policy=3 net.ipv4.fib_multipath_hash_fields=0x37 \
    net.ipv4.conf.all.send_redirects=0 net.ipv4.conf.eth1.send_redirects=0
for n in 1 2 3 4; do
    cable "s$n" brs eth0 "10.2.0.1$n"
    ip -n "s$n" route add default via 10.2.0.254
    in_ns "s$n" sysctl -qw net.ipv4.conf.all.arp_ignore=1 net.ipv4.conf.all.arp_announce=2
    ip -n "s$n" addr add "$cluster/32" dev lo
done
for n in 1 2 3; do
    cable "d$n" brs eth0 "10.2.0.$n"
    ip -n "d$n" route add default via 10.2.0.254
    ip -n "d$n" addr add "$cluster/32" dev lo
done
