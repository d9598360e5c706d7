// Connection records: those that are made by hand, and the connections that an engine has.
#include "executor/commands/commands.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <arpa/inet.h>
#include <limits>

namespace rk {

namespace {

// The ends of a request's connection that make it the only one of its kind on a port.
uint64_t keyOf(const ConnectionRequestRecord &record) {
    return connectionKey(ntohl(record.third.word), static_cast<uint16_t>(record.fourth));
}

bool isUsable(const ConnectionRequestRecord &record) {
    const bool hasClientPort = record.fourth >= 0 && record.fourth <= kHighestPortNumber;
    const bool hasState = record.second <= std::numeric_limits<uint8_t>::max();
    return hasClientPort && hasState && isUnicast(record.third) && isUnicast(record.sixth);
}

// Whether an address and a port are those that a query asks for; 0 asks for any. The query's port is a word that holds
// the 16 bits in network byte order.
bool isWanted(NetworkAddress wantedAddress, uint32_t wantedPort, NetworkAddress address, NetworkPort port) {
    const auto wantedBits = static_cast<uint16_t>(wantedPort);
    return (wantedAddress.word == 0 || wantedAddress.word == address.word) &&
           (wantedBits == 0 || wantedBits == port.word);
}

bool isSelected(const ConnectionQueryRecord &query, const ConnectionEntry &entry) {
    // A server is reached at the port of its cluster.
    return isWanted(query.firstAddress, query.firstPort, entry.clusterAddress, entry.clusterPort) &&
           isWanted(query.secondAddress, query.secondPort, entry.clientAddress, entry.clientPort) &&
           isWanted(query.thirdAddress, static_cast<uint32_t>(query.thirdPort), entry.serverAddress, entry.clusterPort);
}

ConnectionEntry entryOf(const Cluster &cluster, const Port &port, const Connection &connection) {
    ConnectionEntry entry{};
    entry.clusterAddress = cluster.settings.address;
    entry.clusterPort = port.settings.port;
    entry.clientAddress = {htonl(connection.clientAddress)};
    entry.clientPort = {htons(connection.clientPort)};
    entry.serverAddress = connection.serverAddress;
    entry.firstTime = connection.firstTime;
    entry.stamp = connection.stamp;
    entry.state = connection.state;
    entry.previousTcpState = connection.tcpState == kTcpSynReceived ? kTcpListen : kTcpEstablished;
    entry.currentTcpState = connection.tcpState;
    entry.mark = connection.mark;
    return entry;
}

} // namespace

int32_t allocateConnection(Port &port, const ConnectionRequestRecord &record) {
    if (!isUsable(record))
        return kOutOfRange;
    Connection connection;
    connection.clientAddress = ntohl(record.third.word);
    connection.clientPort = static_cast<uint16_t>(record.fourth);
    connection.serverAddress = record.sixth;
    connection.state = static_cast<uint8_t>(record.second);
    if (isHalfOpen(connection))
        connection.tcpState = kTcpSynReceived;
    connection.firstTime = connection.stamp = currentTime();
    if (port.connections.contains(keyOf(record)))
        return kConnectionExists;
    port.connections.emplace(keyOf(record), connection);
    return 0;
}

int32_t releaseConnection(Executor &executor, Port &port, const ConnectionRequestRecord &record) {
    if (!isUsable(record))
        return kOutOfRange;
    const auto found = port.connections.find(keyOf(record));
    if (found == port.connections.end() || found->second.serverAddress.word != record.sixth.word)
        return kUnknownConnection;
    port.connections.erase(found);
    ++executor.counters.connectionsReleased;
    return 0;
}

int32_t readConnections(const Executor &executor, const Traffic &traffic, ConnectionQueryRecord &record) {
    LiveConnections live;
    if (!listConnections(traffic, executor, live))
        return kForwardingRefused;
    const ConnectionQueryRecord query = record; // the reply overwrites it
    const bool isDetailed = query.detail != 0;
    const int32_t mostEntries = isDetailed ? kConnections : std::numeric_limits<int32_t>::max();
    auto &reply = reinterpret_cast<ConnectionListRecord &>(record);
    clearBody(reply.header);
    reply.now = currentTime();
    for (const auto &[clusterOrder, cluster] : executor.clusters.inOrder) {
        for (const auto &[portNumber, port] : cluster->ports.inOrder) {
            for (const auto &[key, connection] : connectionsOf(live, *cluster, *port)) {
                const ConnectionEntry entry = entryOf(*cluster, *port, connection);
                if (!isSelected(query, entry) || reply.count == mostEntries)
                    continue;
                if (isDetailed)
                    reply.entries[reply.count] = entry;
                ++reply.count;
                reply.npsCount += connection.isDatagram ? 1 : 0;
            }
        }
    }
    return 0;
}

} // namespace rk
