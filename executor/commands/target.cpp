#include "executor/commands/target.h"

#include "rk/reasons.h"

#include <algorithm>

namespace rk {

namespace {

Cluster *findCluster(Executor &executor, const CommandKeys &keys) {
    if (keys.clusterKey)
        return findItem(executor.clusters, *keys.clusterKey);
    if (!keys.clusterAddress)
        return nullptr;
    auto &clusters = executor.clusters.byKey;
    const auto found = std::find_if(clusters.begin(), clusters.end(), [&keys](const auto &item) {
        return item.second.settings.address.word == keys.clusterAddress->word;
    });
    return found == clusters.end() ? nullptr : &found->second;
}

bool isMissing(Needs needs, Needs need, const void *object) {
    return (needs & need) == need && object == nullptr;
}

} // namespace

Target findTarget(ExecutorState &state, const CommandKeys &keys) {
    Target target{&state, {state.forwarding}};
    target.cluster = findCluster(state.executor, keys);
    if (target.cluster != nullptr && keys.port)
        target.port = findItem(target.cluster->ports, hostOrder(*keys.port));
    if (target.port != nullptr && keys.serverKey)
        target.server = findItem(target.port->servers, *keys.serverKey);
    if (target.port != nullptr && keys.ruleName)
        target.rule = findItem(target.port->rules, *keys.ruleName);
    return target;
}

int32_t reasonForMissing(const Target &target, Needs needs) {
    if (isMissing(needs, kNeeds<Cluster>, target.cluster))
        return kUnknownCluster;
    if (isMissing(needs, kNeeds<Port>, target.port))
        return kUnknownPort;
    if (isMissing(needs, kNeeds<Server>, target.server))
        return kUnknownServer;
    if (isMissing(needs, kNeeds<Rule>, target.rule))
        return kUnknownRule;
    return 0;
}

} // namespace rk
