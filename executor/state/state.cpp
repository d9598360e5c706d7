#include "executor/state/state.h"

#include "executor/state/values.h"

#include <algorithm>
#include <arpa/inet.h>

namespace rk {

uint64_t connectionKey(uint32_t clientAddress, uint16_t clientPort) {
    return uint64_t{clientAddress} << 16 | clientPort;
}

bool isHalfOpen(const Connection &connection) {
    return (connection.state & kConnectionHalfOpen) != 0;
}

uint32_t activeConnections(const Connections &connections, const Affinity &affinity) {
    const auto first = connections.lower_bound(connectionKey(affinity.clientAddress, 0));
    const auto end = connections.upper_bound(connectionKey(affinity.clientAddress, kHighestPortNumber));
    return static_cast<uint32_t>(std::count_if(first, end, [&affinity](const auto &item) {
        return ntohl(item.second.serverAddress.word) == affinity.serverAddress;
    }));
}

// The record has no field for it: the first listener tells it, else the identifier, when that is an address.
NetworkAddress addressOf(const ServerRecord &settings) {
    if (settings.numberOfListeners > 0)
        return settings.listeners[0].address;
    in_addr address{};
    return inet_pton(AF_INET, settings.serverId, &address) == 1 ? NetworkAddress{address.s_addr} : NetworkAddress{};
}

void replaceSettings(Executor &executor, Cluster &cluster, const ClusterRecord &settings) {
    auto address = executor.clusterAddresses.extract(cluster.settings.address.word);
    address.value() = settings.address.word;
    executor.clusterAddresses.insert(std::move(address));
    cluster.settings = settings;
}

void replaceSettings(Port &port, Rule &rule, const RuleRecord &settings) {
    auto place = port.rules.inOrder.extract(rule.settings.priority);
    place.key() = settings.priority;
    port.rules.inOrder.insert(std::move(place));
    rule.settings = settings;
}

int16_t weightWhenUp(const Server &server) {
    return server.isDown ? server.savedWeight : server.settings.weight;
}

void setWeightWhenUp(Server &server, int16_t weight) {
    if (server.isDown)
        server.savedWeight = weight;
    else
        server.settings.weight = weight;
}

} // namespace rk
