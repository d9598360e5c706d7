#include "fuzz/harness/state_checks.h"

#include "executor/state/settings.h"
#include "executor/state/values.h"
#include "fuzz/harness/draws.h"

#include <cstring>
#include <type_traits>

namespace fuzz {

namespace {

using namespace rk;

#define HOLDS(condition)                                                                                               \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            finding("the state of the executor: %s (line %d)", #condition, __LINE__);                                  \
    } while (false)

// Both orders hold the same items, each where its own order says.
template <typename Key, typename Item, typename OrderOf>
void checkOrders(const OrderedItems<Key, Item> &items, OrderOf orderOf) {
    HOLDS(items.byKey.size() == items.inOrder.size());
    for (const auto &[key, item] : items.byKey) {
        const auto found = items.inOrder.find(orderOf(item));
        HOLDS(found != items.inOrder.end() && found->second == &item);
    }
}

void checkHeader(const CommandHeader &header) {
    HOLDS(header.command == Command{} && header.result == 0 && header.reason == 0 && header.length == 0);
}

void checkServer(const Server &server, uint32_t key, const Port &port) {
    const ServerRecord &settings = server.settings;
    checkHeader(settings.header);
    HOLDS(settings.serverKey == key && settings.clusterKey == port.settings.clusterKey);
    HOLDS(settings.port.word == port.settings.port.word);
    HOLDS(textIn(settings.serverId).size() <= kLongestIdentifier);
    HOLDS(settings.numberOfListeners <= kListenersPerServer);
    HOLDS(isTerminated(settings.advisorRequest) && isTerminated(settings.advisorResponse));
    HOLDS(isTerminated(settings.cookieValue) && isTerminated(settings.cloneId));
    HOLDS(weightWhenUp(server) >= 0 && weightWhenUp(server) <= port.settings.weightBound);
    HOLDS(!server.isDown || settings.weight == 0);
    HOLDS(server.isDown || server.savedWeight == 0);
    HOLDS(checkLimits(kServerSettings, settings.header) == 0 && server.connectionsPerSecond >= 0);
    HOLDS(settings.collocated == 0 || settings.routerAddress.word == 0);
}

void checkRule(const Rule &rule, const std::string &name, const Port &port) {
    const RuleRecord &settings = rule.settings;
    checkHeader(settings.header);
    HOLDS(textIn(settings.ruleName) == name && isTerminated(settings.ruleName));
    HOLDS(isTerminated(settings.pattern) && isTerminated(settings.cookieName) && isTerminated(settings.hashId));
    HOLDS(checkLimits(kRuleSettings, settings.header) == 0);
    HOLDS(rule.uniqueId > 0 && rule.connectionsPerSecond >= 0);
    checkOrders(rule.members, [](const RuleMember &member) { return member.order; });
    for (const auto &[key, member] : rule.members.byKey) {
        const auto server = port.servers.byKey.find(key);
        HOLDS(server != port.servers.byKey.end() && member.server == &server->second);
    }
}

void checkClients(const Port &port) {
    checkOrders(port.affinities, [](const Affinity &affinity) { return affinity.order; });
    for (const auto &[client, affinity] : port.affinities.byKey) {
        HOLDS(affinity.clientAddress == client);
        HOLDS(port.servers.byKey.contains(affinity.serverKey));
    }
    for (const auto &[key, connection] : port.connections)
        HOLDS(key == connectionKey(connection.clientAddress, connection.clientPort));
}

void checkPort(const Port &port, int32_t number, const Cluster &cluster) {
    const PortRecord &settings = port.settings;
    checkHeader(settings.header);
    HOLDS(hostOrder(settings.port) == number && settings.clusterKey == cluster.settings.clusterKey);
    HOLDS(checkLimits(kPortSettings, settings.header) == 0);
    HOLDS(numberOf(port.servers) <= settings.maxServers && port.connectionsPerSecond >= 0);
    if (settings.crossPort.word != 0) {
        const auto target = cluster.ports.byKey.find(hostOrder(settings.crossPort));
        HOLDS(target != cluster.ports.byKey.end() && target->second.settings.crossPort.word == 0);
    }
    checkOrders(port.servers, [](const Server &server) { return server.order; });
    for (const auto &[key, server] : port.servers.byKey)
        checkServer(server, key, port);
    checkOrders(port.rules, [](const Rule &rule) { return rule.settings.priority; });
    for (const auto &[name, rule] : port.rules.byKey)
        checkRule(rule, name, port);
    checkClients(port);
}

void checkCluster(const Cluster &cluster, uint32_t key, const Executor &executor) {
    const ClusterRecord &settings = cluster.settings;
    checkHeader(settings.header);
    HOLDS(settings.clusterKey == key && isTerminated(settings.clusterId));
    HOLDS(isUnicast(settings.address) && executor.clusterAddresses.contains(settings.address.word));
    HOLDS(checkLimits(kClusterSettings, settings.header) == 0);
    HOLDS(numberOf(cluster.ports) <= settings.maxPorts && cluster.connectionsPerSecond >= 0);
    checkOrders(cluster.ports, [](const Port &port) { return hostOrder(port.settings.port); });
    for (const auto &[number, port] : cluster.ports.byKey)
        checkPort(port, number, cluster);
}

void checkHighAvailability(const HaStatusRecord &status) {
    checkHeader(status.header);
    HOLDS(status.mode == kHaModeAlone || status.mode == kHaModePaired);
    HOLDS(status.heartbeatCount <= kHeartbeats && status.reachCount <= kReachTargets);
    for (int i = 0; i < status.heartbeatCount; ++i)
        HOLDS(isUnicast(status.heartbeats[i].local) && isUnicast(status.heartbeats[i].remote));
    for (int i = 0; i < status.reachCount; ++i)
        HOLDS(status.reachTargets[i].localStatus <= kUnreachable);
}

void checkTrace(const TraceLog &trace) {
    HOLDS(trace.length <= sizeof(trace.text));
    HOLDS(trace.length == 0 || trace.text[trace.length - 1] == '\n');
}

// --- Digest ----------------------------------------------------------------------------------------------------------

template <typename Value> void mix(uint64_t &digest, const Value &value) {
    static_assert(std::is_trivially_copyable_v<Value>);
    unsigned char bytes[sizeof(Value)];
    memcpy(bytes, &value, sizeof(Value));
    for (const unsigned char byte : bytes)
        digest = (digest ^ byte) * 0x100000001B3;
}

void mixPort(uint64_t &digest, const Port &port) {
    mix(digest, port.settings);
    mix(digest, port.affinityType);
    mix(digest, port.connectionsPerSecond);
    mix(digest, port.affinitiesReused);
    for (const auto &[order, server] : port.servers.inOrder) {
        mix(digest, server->settings);
        mix(digest, server->isDown);
        mix(digest, server->savedWeight);
        mix(digest, server->connectionsPerSecond);
    }
    for (const auto &[order, rule] : port.rules.inOrder) {
        mix(digest, rule->settings);
        mix(digest, rule->uniqueId);
        mix(digest, rule->connectionsPerSecond);
        for (const auto &[place, member] : rule->members.inOrder) {
            mix(digest, member->server->settings.serverKey);
            mix(digest, member->argument);
        }
    }
    for (const auto &[key, connection] : port.connections) {
        mix(digest, key);
        mix(digest, connection.serverAddress);
        mix(digest, connection.state);
    }
    for (const auto &[order, affinity] : port.affinities.inOrder) {
        mix(digest, affinity->clientAddress);
        mix(digest, affinity->serverAddress);
        mix(digest, affinity->serverKey);
    }
}

} // namespace

void checkState(const ExecutorState &state) {
    const Executor &executor = state.executor;
    checkHeader(executor.settings.header);
    HOLDS(checkLimits(kExecutorSettings, executor.settings.header) == 0);
    HOLDS(numberOf(executor.clusters) <= executor.settings.maxNumberOfClusters);
    HOLDS(executor.clusters.byKey.size() == executor.clusterAddresses.size());
    HOLDS(isTerminated(executor.settings.configFileName));
    checkOrders(executor.clusters, [](const Cluster &cluster) { return cluster.order; });
    for (const auto &[key, cluster] : executor.clusters.byKey)
        checkCluster(cluster, key, executor);
    checkHighAvailability(executor.highAvailability);
    for (const uint32_t parameter : executor.attackProtection.parameters)
        HOLDS(parameter <= kHighestAttackParameter);
    checkTrace(state.trace);
}

uint64_t digestOf(const ExecutorState &state) {
    const Executor &executor = state.executor;
    uint64_t digest = 0xCBF29CE484222325;
    mix(digest, executor.settings);
    mix(digest, executor.highAvailability);
    mix(digest, executor.attackProtection);
    mix(digest, executor.icmp);
    mix(digest, executor.counters.primary);
    mix(digest, executor.counters.backup);
    mix(digest, executor.counters.connectionsReleased);
    mix(digest, executor.connectionsPerSecond);
    for (const auto &[order, cluster] : executor.clusters.inOrder) {
        mix(digest, cluster->settings);
        mix(digest, cluster->connectionsPerSecond);
        for (const auto &[number, port] : cluster->ports.inOrder)
            mixPort(digest, *port);
    }
    return digest;
}

} // namespace fuzz
