#include "executor/state/state.h"

#include "executor/state/values.h"
#include "rk/reasons.h"

#include <algorithm>
#include <arpa/inet.h>

namespace rk {

Target findCluster(ExecutorState &state, uint32_t clusterKey) {
    Target target;
    target.cluster = findItem(state.executor.clusters, clusterKey);
    if (target.cluster == nullptr)
        target.reason = kUnknownCluster;
    return target;
}

Target findPort(ExecutorState &state, uint32_t clusterKey, NetworkPort port) {
    Target target = findCluster(state, clusterKey);
    if (target.reason != 0)
        return target;
    target.port = findItem(target.cluster->ports, hostOrder(port));
    if (target.port == nullptr)
        target.reason = kUnknownPort;
    return target;
}

Target findServer(ExecutorState &state, uint32_t clusterKey, NetworkPort port, uint32_t serverKey) {
    Target target = findPort(state, clusterKey, port);
    if (target.reason != 0)
        return target;
    target.server = findItem(target.port->servers, serverKey);
    if (target.server == nullptr)
        target.reason = kUnknownServer;
    return target;
}

Target findRule(ExecutorState &state, uint32_t clusterKey, NetworkPort port, std::string_view ruleName) {
    Target target = findPort(state, clusterKey, port);
    if (target.reason != 0)
        return target;
    target.rule = findItem(target.port->rules, ruleName);
    if (target.rule == nullptr)
        target.reason = kUnknownRule;
    return target;
}

Target findPortByAddress(ExecutorState &state, NetworkAddress clusterAddress, NetworkPort port) {
    for (const auto &[key, cluster] : state.executor.clusters.byKey) {
        if (cluster.settings.address.word == clusterAddress.word)
            return findPort(state, key, port);
    }
    Target target;
    target.reason = kUnknownCluster;
    return target;
}

bool isTraced(const ExecutorState &state, int32_t level, uint32_t traceBit) {
    const ExecutorSettingsRecord &settings = state.executor.settings;
    const auto filter = static_cast<uint32_t>(settings.logFilter);
    return traceBit != 0 && settings.traceLevel >= level && (filter == 0 || (filter & traceBit) != 0);
}

uint64_t connectionKey(uint32_t clientAddress, uint16_t clientPort) {
    return uint64_t{clientAddress} << 16 | clientPort;
}

bool isHalfOpen(const Connection &connection) {
    return (connection.state & kConnectionHalfOpen) != 0;
}

uint32_t activeConnections(const Port &port, const Affinity &affinity) {
    const auto first = port.connections.lower_bound(connectionKey(affinity.clientAddress, 0));
    const auto end = port.connections.upper_bound(connectionKey(affinity.clientAddress, kHighestPortNumber));
    return static_cast<uint32_t>(std::count_if(first, end, [&affinity](const auto &item) {
        return ntohl(item.second.serverAddress.word) == affinity.serverAddress;
    }));
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
