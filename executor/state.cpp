#include "executor/state.h"

#include "executor/reasons.h"
#include "executor/values.h"

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
