#include "executor/commands/traffic.h"

#include "executor/state/values.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <limits>
#include <tuple>

namespace rk {

namespace {

void add(Totals &sum, const Totals &totals) {
    sum.connections += totals.connections;
    sum.packetsIn += totals.packetsIn;
    sum.packetsOut += totals.packetsOut;
    sum.bytesIn += totals.bytesIn;
    sum.bytesOut += totals.bytesOut;
}

void add(Counts &sum, const Counts &counts) {
    add(sum.totals, counts.totals);
    sum.active += counts.active;
    sum.finished += counts.finished;
    sum.connectionsPerSecond += counts.connectionsPerSecond;
    sum.bytesPerSecond += counts.bytesPerSecond;
}

// Adds the counts of a pool.
bool addPool(const Engine &engine, const Pool &pool, Counts &sum) {
    Counts counts;
    const bool isRead = engine.readPool(engine.own, pool, counts);
    add(sum, counts);
    return isRead;
}

// The pools from `first` on, up to one for which `isPast` is true.
template <typename IsPast, typename Visit>
bool visitPools(const Plan &plan, const PoolId &first, IsPast isPast, Visit visit) {
    for (auto item = plan.pools.lower_bound(first); item != plan.pools.end() && !isPast(item->first); ++item) {
        if (!visit(item->second))
            return false;
    }
    return true;
}

template <typename Visit> bool visitPoolsOf(const Plan &plan, const PortId &port, Visit visit) {
    return visitPools(
        plan, PoolId{port, Transport::tcp, {}}, [&port](const PoolId &id) { return id.port != port; }, visit);
}

// The port that a connection belongs to: its own, or every port of the address.
std::optional<PortId> plannedPort(const Plan &plan, const PortId &port) {
    for (const PortId &id : {port, PortId{port.address, 0}}) {
        if (plan.ports.contains(id))
            return id;
    }
    return std::nullopt;
}

Connection connectionOf(const LiveConnection &live, char mark, uint32_t now) {
    Connection connection;
    connection.clientAddress = hostAddress(live.client.address);
    connection.clientPort = live.client.port;
    connection.serverAddress = {htonl(hostAddress(live.server.address))};
    connection.state = live.tcpState == kTcpSynReceived ? kConnectionHalfOpen : uint8_t{0};
    connection.tcpState = live.tcpState;
    connection.isDatagram = live.transport == Transport::udp;
    connection.mark = mark;
    connection.stamp = now - live.idle;
    connection.firstTime = live.age ? now - *live.age : connection.stamp;
    return connection;
}

// Adds the live connections of the ports that are in `live`.
bool addLive(const Forwarding &forwarding, const PortId *port, LiveConnections &live) {
    const Engine &engine = forwarding.engine;
    std::vector<LiveConnection> listed;
    const bool isRead = engine.listConnections(engine.own, forwarding.plan, port, listed);
    const uint32_t now = currentTime();
    for (const LiveConnection &each : listed) {
        const std::optional<PortId> id = plannedPort(forwarding.plan, each.port);
        const auto found = id ? live.find(*id) : live.end();
        if (found == live.end())
            continue;
        const Connection connection = connectionOf(each, engine.mark, now);
        found->second.emplace(connectionKey(connection.clientAddress, connection.clientPort), connection);
    }
    return isRead;
}

} // namespace

bool readCounts(const Traffic &traffic, const Cluster &cluster, Counts &counts) {
    if (traffic.forwarding == nullptr)
        return true;
    const Address address = planAddress(cluster.settings.address);
    return visitPools(
        traffic.forwarding->plan, PoolId{{address, 0}, Transport::tcp, {}},
        [&address](const PoolId &id) { return id.port.address != address; },
        [&](const Pool &pool) { return addPool(traffic.forwarding->engine, pool, counts); });
}

bool readCounts(const Traffic &traffic, const Cluster &cluster, const Port &port, Counts &counts) {
    if (traffic.forwarding == nullptr)
        return true;
    return visitPoolsOf(traffic.forwarding->plan, portIdOf(cluster, port),
                        [&](const Pool &pool) { return addPool(traffic.forwarding->engine, pool, counts); });
}

bool readCounts(const Traffic &traffic, const Cluster &cluster, const Port &port, const Rule &rule, Counts &counts) {
    counts.totals.connections += rule.formerConnections;
    if (traffic.forwarding == nullptr)
        return true;
    const Plan &plan = traffic.forwarding->plan;
    return std::all_of(std::begin(kTransports), std::end(kTransports), [&](Transport transport) {
        const auto pool = plan.pools.find(poolIdOf(cluster, port, &rule, transport));
        return pool == plan.pools.end() || addPool(traffic.forwarding->engine, pool->second, counts);
    });
}

bool readCounts(const Traffic &traffic, const Cluster &cluster, const Port &port, const Server &server,
                ServerCounts &counts) {
    counts.tcp.totals.connections += server.formerTcpConnections;
    counts.udp.totals.connections += server.formerUdpConnections;
    if (traffic.forwarding == nullptr)
        return true;
    const Engine &engine = traffic.forwarding->engine;
    return visitPoolsOf(traffic.forwarding->plan, portIdOf(cluster, port), [&](const Pool &pool) {
        const auto planned = pool.servers.find(server.settings.serverKey);
        if (planned == pool.servers.end())
            return true;
        Counts inPool;
        const bool isRead = engine.readServer(engine.own, pool, planned->second, inPool);
        add(pool.id.transport == Transport::tcp ? counts.tcp : counts.udp, inPool);
        return isRead;
    });
}

bool readCounts(const Traffic &traffic, const Executor &executor, Counts &counts) {
    const bool isRead =
        traffic.forwarding == nullptr || traffic.forwarding->engine.readAll(traffic.forwarding->engine.own, counts);
    counts.totals.packetsIn += executor.formerPackets;
    return isRead;
}

Counts sumOf(const ServerCounts &counts) {
    Counts sum = counts.tcp;
    add(sum, counts.udp);
    return sum;
}

int32_t inField(uint64_t count) {
    return static_cast<int32_t>(std::min<uint64_t>(count, std::numeric_limits<int32_t>::max()));
}

int64_t inLongField(uint64_t count) {
    return static_cast<int64_t>(std::min<uint64_t>(count, std::numeric_limits<int64_t>::max()));
}

int32_t rateOf(const Traffic &traffic, const Counts &counts, int32_t given) {
    return traffic.forwarding == nullptr ? given : inField(counts.connectionsPerSecond);
}

bool listConnections(const Traffic &traffic, const Executor &executor, LiveConnections &live) {
    if (traffic.forwarding == nullptr)
        return true;
    for (const auto &[key, cluster] : executor.clusters.byKey) {
        for (const auto &[number, port] : cluster.ports.byKey)
            live.emplace(portIdOf(cluster, port), port.connections);
    }
    return addLive(*traffic.forwarding, nullptr, live);
}

bool listConnections(const Traffic &traffic, const Cluster &cluster, const Port &port, LiveConnections &live) {
    if (traffic.forwarding == nullptr)
        return true;
    const PortId id = portIdOf(cluster, port);
    live.emplace(id, port.connections);
    return addLive(*traffic.forwarding, &id, live);
}

const Connections &connectionsOf(const LiveConnections &live, const Cluster &cluster, const Port &port) {
    if (live.empty())
        return port.connections;
    const auto found = live.find(portIdOf(cluster, port));
    return found == live.end() ? port.connections : found->second;
}

uint64_t halfOpenIn(const LiveConnections &live) {
    uint64_t halfOpen = 0;
    for (const auto &[id, connections] : live) {
        for (const auto &[key, connection] : connections)
            halfOpen += connection.mark != kMadeByHand && isHalfOpen(connection) ? 1 : 0;
    }
    return halfOpen;
}

bool listStickyClients(const Traffic &traffic, const Cluster &cluster, const Port &port,
                       std::vector<StickyClient> &clients) {
    if (traffic.forwarding == nullptr)
        return true;
    const Engine &engine = traffic.forwarding->engine;
    const PortId id = portIdOf(cluster, port);
    const bool isRead = engine.listStickyClients(engine.own, traffic.forwarding->plan, &id, clients);
    std::sort(clients.begin(), clients.end(), [](const StickyClient &one, const StickyClient &other) {
        return std::tie(one.client, one.pool) < std::tie(other.client, other.pool);
    });
    return isRead;
}

uint32_t serverAddressOf(const Traffic &traffic, const StickyClient &client) {
    const Plan &plan = traffic.forwarding->plan;
    const auto pool = plan.pools.find(client.pool);
    if (pool == plan.pools.end())
        return 0;
    const auto server = pool->second.servers.find(client.serverKey);
    return server == pool->second.servers.end() ? 0 : hostAddress(server->second.endpoint.address);
}

uint32_t hostAddress(const Address &address) {
    if (address.family != AddressFamily::ipv4)
        return 0;
    uint32_t word = 0;
    std::memcpy(&word, address.bytes.data(), sizeof word);
    return ntohl(word);
}

} // namespace rk
