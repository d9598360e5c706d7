// Attack protection and the ICMP response record. Half-open connections are those that were made by hand in that state,
// and those that an engine has.
#include "executor/commands/commands.h"
#include "executor/state/settings.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <algorithm>
#include <arpa/inet.h>

namespace rk {

namespace {

// The half-open connections to one port that make a client's address an attacking one: the first parameter. When that
// is 0, one is enough.
int32_t attackThreshold(const Executor &executor) {
    return static_cast<int32_t>(std::max<uint32_t>(executor.attackProtection.parameters[0], 1));
}

// The connections of one client to a port. They are neighbours, as their keys begin with the client's address.
struct ClientConnections {
    Connections::const_iterator begin;
    Connections::const_iterator end;
    int32_t halfOpen = 0;
};

// Those of the client that the connection at `begin` belongs to.
ClientConnections connectionsOfClient(const Connections &connections, Connections::const_iterator begin) {
    ClientConnections client{begin, begin};
    const uint32_t address = begin->second.clientAddress;
    while (client.end != connections.end() && client.end->second.clientAddress == address) {
        client.halfOpen += isHalfOpen(client.end->second) ? 1 : 0;
        ++client.end;
    }
    return client;
}

void addHalfOpen(HalfOpenRecord &record, const ClientConnections &client, bool isAttacking) {
    for (auto item = client.begin; item != client.end; ++item) {
        const Connection &connection = item->second;
        if (!isHalfOpen(connection) || record.count == kHalfOpenConnections)
            continue;
        HalfOpenEntry &entry = record.entries[record.count];
        entry.clientAddress = {htonl(connection.clientAddress)};
        entry.clientPort = {htons(connection.clientPort)};
        entry.flag = isAttacking ? 1 : 0;
        ++record.count;
    }
}

} // namespace

int32_t readHalfOpenConnections(const Executor &executor, const Traffic &traffic, HalfOpenRecord &record) {
    LiveConnections live;
    if (!listConnections(traffic, executor, live))
        return kForwardingRefused;
    const int32_t threshold = attackThreshold(executor);
    clearBody(record.header);
    for (const auto &[clusterOrder, cluster] : executor.clusters.inOrder) {
        for (const auto &[portNumber, port] : cluster->ports.inOrder) {
            const Connections &connections = connectionsOf(live, *cluster, *port);
            for (auto item = connections.cbegin(); item != connections.cend();) {
                const ClientConnections client = connectionsOfClient(connections, item);
                addHalfOpen(record, client, client.halfOpen >= threshold);
                item = client.end;
            }
        }
    }
    return 0;
}

int32_t readAttackingAddresses(const Executor &executor, const Cluster &cluster, const Port &port,
                               const Traffic &traffic, AttackingAddressesRecord &record) {
    LiveConnections live;
    if (!listConnections(traffic, cluster, port, live))
        return kForwardingRefused;
    const NetworkAddress clusterAddress = record.address;
    const NetworkPort portNumber = record.port;
    const int32_t threshold = attackThreshold(executor);
    clearBody(record.header);
    record.address = clusterAddress;
    record.port = portNumber;
    const Connections &connections = connectionsOf(live, cluster, port);
    for (auto item = connections.cbegin(); item != connections.cend();) {
        const ClientConnections client = connectionsOfClient(connections, item);
        record.summary += client.halfOpen;
        if (client.halfOpen >= threshold && record.count < kAttackingAddresses) {
            record.entries[record.count] = {{htonl(item->second.clientAddress)}, client.halfOpen};
            ++record.count;
        }
        item = client.end;
    }
    return 0;
}

int32_t setAttackProtection(Executor &executor, const AttackProtectionRecord &record) {
    const bool isInRange = std::all_of(std::begin(record.parameters), std::end(record.parameters),
                                       [](uint32_t parameter) { return parameter <= kHighestAttackParameter; });
    if (!isInRange)
        return kOutOfRange;
    std::copy(std::begin(record.parameters), std::end(record.parameters),
              std::begin(executor.attackProtection.parameters));
    return 0;
}

int32_t readIcmp(const Executor &executor, IcmpRecord &record) {
    replyWith(executor.icmp, record);
    return 0;
}

int32_t writeIcmp(Executor &executor, const IcmpRecord &record) {
    replyWith(record, executor.icmp);
    return 0;
}

} // namespace rk
