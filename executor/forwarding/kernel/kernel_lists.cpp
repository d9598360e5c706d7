// The connections that the kernel balances, and the clients that stick to servers.
#include "executor/forwarding/kernel/connection_table.h"
#include "executor/forwarding/kernel/kernel_state.h"
#include "executor/forwarding/kernel/pool_services.h"
#include "executor/state/values.h"

#include <arpa/inet.h>
#include <tuple>

namespace rk {

namespace {

constexpr char kTable[] = "/ip_vs_conn";

// How the records number the state, and how long the kernel waits for a packet in it; 0: a time-out that is set.
struct StateRow {
    KernelState state;
    uint8_t tcpState;
    uint32_t seconds;
};
constexpr StateRow kStates[] = {
    {KernelState::other, kTcpEstablished, 2},
    {KernelState::established, kTcpEstablished, 0},
    {KernelState::synSent, kTcpSynSent, 120},
    {KernelState::synReceived, kTcpSynReceived, 60},
    {KernelState::finWait, kTcpFinWait, 0},
    {KernelState::timeWait, kTcpTimeWait, 120},
    {KernelState::close, kTcpClosed, 10},
    {KernelState::closeWait, kTcpCloseWait, 60},
    {KernelState::lastAck, kTcpLastAck, 30},
    {KernelState::listen, kTcpListen, 120},
    {KernelState::synAcknowledged, kTcpSynReceived, 120},
    {KernelState::udp, kTcpEstablished, 0},
};

const StateRow &rowOf(KernelState state) {
    for (const StateRow &row : kStates)
        if (row.state == state)
            return row;
    return kStates[0];
}

uint32_t patienceIn(const IpvsTimeouts &timeouts, KernelState state) {
    switch (state) {
    case KernelState::established:
        return timeouts.established;
    case KernelState::finWait:
        return timeouts.closing;
    case KernelState::udp:
        return timeouts.udp;
    default:
        return rowOf(state).seconds;
    }
}

// The kernel prolongs a time beyond its own now and then.
uint32_t passedOf(uint32_t patience, uint32_t expires) {
    return expires < patience ? patience - expires : 0;
}

Endpoint endpointOf(uint32_t hostOrder, uint16_t port) {
    return {addressOf(htonl(hostOrder)), port};
}

bool readTable(const KernelEngine &engine, std::vector<KernelConnection> &connections) {
    std::string text;
    if (!readWhole(engine.options.tablesFolder + kTable, text))
        return false;
    connections = parseConnections(text);
    return true;
}

// The plan's port to which a client has connected, or null: that of all ports of the address when there is none of its
// own.
const PortId *portOf(const Plan &plan, const PortId &asked) {
    auto found = plan.ports.find(asked);
    if (found == plan.ports.end())
        found = plan.ports.find({asked.address, 0});
    return found == plan.ports.end() ? nullptr : &found->first;
}

bool isAsked(const PortId *asked, const PortId &port) {
    return asked == nullptr || *asked == port;
}

// Clients of a network that are at a server.
struct ClientServer {
    uint32_t client = 0; // masked, in host byte order
    uint32_t cluster = 0;
    uint32_t server = 0;

    bool operator==(const ClientServer &) const = default;
};

inline bool operator<(const ClientServer &one, const ClientServer &other) {
    return std::tie(one.client, one.cluster, one.server) < std::tie(other.client, other.cluster, other.server);
}
using ActiveCounts = std::map<uint32_t, std::map<ClientServer, uint32_t>>; // by mask

void countActive(ActiveCounts &counts, uint32_t mask, const std::vector<KernelConnection> &connections) {
    std::map<ClientServer, uint32_t> &ofMask = counts[mask];
    for (const KernelConnection &connection : connections)
        if (!isStickyClient(connection))
            ++ofMask[{connection.clientAddress & mask, connection.clusterAddress, connection.serverAddress}];
}

// The pool of a client that sticks: by the mark, or by address and port.
const Pool *poolOf(const KernelEngine &engine, const Plan &plan, const KernelConnection &client) {
    PoolId id;
    if (client.transport == 0 || isOwnMark(client.clusterAddress)) {
        const auto found = engine.poolOfMark.find(client.clusterAddress);
        if (found == engine.poolOfMark.end())
            return nullptr;
        id = found->second;
    } else {
        id = poolAt({0, client.transport, htonl(client.clusterAddress), client.clusterPort});
    }
    return findPool(plan, id);
}

} // namespace

bool listKernelConnections(const KernelEngine &engine, const Plan &plan, const PortId *port,
                           std::vector<LiveConnection> &connections) {
    std::vector<KernelConnection> table;
    if (!readTable(engine, table))
        return false;
    for (const KernelConnection &entry : table) {
        if (isStickyClient(entry) || entry.transport == 0)
            continue;
        const PortId asked = endpointOf(entry.clusterAddress, entry.clusterPort);
        const PortId *known = portOf(plan, asked);
        if (known == nullptr || !isAsked(port, *known))
            continue;
        LiveConnection connection;
        connection.transport = entry.transport == transportNumber(Transport::udp) ? Transport::udp : Transport::tcp;
        connection.client = endpointOf(entry.clientAddress, entry.clientPort);
        connection.port = asked;
        connection.server = endpointOf(entry.serverAddress, entry.serverPort);
        connection.tcpState = rowOf(entry.state).tcpState;
        connection.idle = passedOf(patienceIn(engine.timeouts, entry.state), entry.expires);
        connections.push_back(connection);
    }
    return true;
}

bool listKernelClients(const KernelEngine &engine, const Plan &plan, const PortId *port,
                       std::vector<StickyClient> &clients) {
    std::vector<KernelConnection> table;
    if (!readTable(engine, table))
        return false;
    ActiveCounts counts;
    for (const KernelConnection &entry : table) {
        const Pool *pool = isStickyClient(entry) ? poolOf(engine, plan, entry) : nullptr;
        if (pool == nullptr || !isAsked(port, pool->id.port))
            continue;
        const uint32_t *server = serverKeyAt(*pool, endpointOf(entry.serverAddress, entry.serverPort));
        if (server == nullptr)
            continue;
        const uint32_t mask = serviceSettings(pool->settings, "").clientMask;
        if (!counts.contains(mask))
            countActive(counts, mask, table);
        StickyClient client;
        client.pool = pool->id;
        client.client = addressOf(htonl(entry.clientAddress));
        client.serverKey = *server;
        client.active =
            counts[mask][{entry.clientAddress & mask, ntohl(wordOf(pool->id.port.address)), entry.serverAddress}];
        client.idle = passedOf(pool->settings.stickyTime, entry.expires);
        clients.push_back(std::move(client));
    }
    return true;
}

} // namespace rk
