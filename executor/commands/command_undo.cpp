#include "executor/commands/command_undo.h"

#include <cstring>

namespace rk {

void keepFormer(Former &former, const Target &target) {
    former.executor = target.state->executor.settings;
    former.attackProtection = target.state->executor.attackProtection;
    former.nextOrder = target.state->executor.nextOrder;
    former.nextRuleId = target.state->executor.nextRuleId;
    if (target.cluster != nullptr)
        former.cluster = target.cluster->settings;
    if (target.port != nullptr) {
        former.port = target.port->settings;
        former.affinitiesReused = target.port->affinitiesReused;
    }
    if (target.server != nullptr) {
        former.server = target.server->settings;
        former.isServerDown = target.server->isDown;
        former.savedWeight = target.server->savedWeight;
    }
    if (target.rule != nullptr)
        former.rule = target.rule->settings;
}

void keepWeights(Attempt &attempt) {
    auto &block = requestOf<ServerWeightsBlock>(attempt);
    const auto *entries = entriesOf<ServerWeightEntry>(&block);
    std::vector<FormerWeight> &weights = attempt.former.weights;
    weights.reserve(static_cast<std::size_t>(block.count));
    for (int32_t index = 0; index < block.count; ++index) {
        Server *server = findItem(attempt.target.port->servers, entries[index].serverKey);
        if (server != nullptr)
            weights.push_back({server, server->settings.weight, server->savedWeight, server->settings.fixedWeight,
                               server->settings.quiesced});
    }
}

void keepClients(Attempt &attempt) {
    auto &record = requestOf<AffinityRecord>(attempt);
    const auto *bytes = reinterpret_cast<const uint8_t *>(&record);
    attempt.former.request.assign(bytes, bytes + record.header.length);
    const auto *entries = entriesOf<AffinityEntry>(&record);
    for (uint32_t index = 0; index < record.count; ++index) {
        const uint32_t client = entries[index].clientAddress;
        const Affinity *affinity = findItem(attempt.target.port->affinities, client);
        std::optional<Affinity> &former = attempt.former.clients[client];
        if (affinity != nullptr)
            former = *affinity;
    }
}

void removeNewCluster(Attempt &attempt) {
    const auto &record = requestOf<ClusterRecord>(attempt);
    Executor &executor = attempt.target.state->executor;
    const Cluster &cluster = *findItem(executor.clusters, record.clusterKey);
    executor.clusterAddresses.erase(cluster.settings.address.word);
    removeItem(executor.clusters, record.clusterKey, attempt.former.nextOrder);
    executor.nextOrder = attempt.former.nextOrder;
}

void removeNewPort(Attempt &attempt) {
    const int32_t number = hostOrder(requestOf<PortRecord>(attempt).port);
    removeItem(attempt.target.cluster->ports, number, number);
}

void removeNewServer(Attempt &attempt) {
    const uint32_t serverKey = requestOf<ServerRecord>(attempt).serverKey;
    removeItem(attempt.target.port->servers, serverKey, attempt.former.nextOrder);
    attempt.target.state->executor.nextOrder = attempt.former.nextOrder;
}

void removeNewRule(Attempt &attempt) {
    const std::string_view name = textIn(requestOf<RuleRecord>(attempt).ruleName);
    auto &rules = attempt.target.port->rules;
    removeItem(rules, name, findItem(rules, name)->settings.priority);
    attempt.target.state->executor.nextRuleId = attempt.former.nextRuleId;
}

void removeNewMember(Attempt &attempt) {
    const uint32_t serverKey = attempt.target.server->settings.serverKey;
    removeItem(attempt.target.rule->members, serverKey, attempt.former.nextOrder);
    attempt.target.state->executor.nextOrder = attempt.former.nextOrder;
}

void restoreExecutor(Attempt &attempt) {
    attempt.target.state->executor.settings = attempt.former.executor;
    attempt.target.state->executor.attackProtection = attempt.former.attackProtection;
}

void restoreCluster(Attempt &attempt) {
    replaceSettings(attempt.target.state->executor, *attempt.target.cluster, attempt.former.cluster);
}

void restorePort(Attempt &attempt) {
    attempt.target.port->settings = attempt.former.port;
}

// What has been counted for the server is not put back: it may have grown meanwhile.
void restoreServer(Attempt &attempt) {
    Server &server = *attempt.target.server;
    server.settings = attempt.former.server;
    server.isDown = attempt.former.isServerDown;
    server.savedWeight = attempt.former.savedWeight;
}

void restoreWeights(Attempt &attempt) {
    // From the last to the first, as a server may have more than one entry.
    const std::vector<FormerWeight> &weights = attempt.former.weights;
    for (auto former = weights.rbegin(); former != weights.rend(); ++former) {
        ServerRecord &settings = former->server->settings;
        settings.weight = former->weight;
        former->server->savedWeight = former->savedWeight;
        settings.fixedWeight = former->fixedWeight;
        settings.quiesced = former->quiesced;
    }
}

void restoreRule(Attempt &attempt) {
    replaceSettings(*attempt.target.port, *attempt.target.rule, attempt.former.rule);
}

// The request comes back as well, as it does of other commands that are refused.
void restoreClients(Attempt &attempt) {
    Port &port = *attempt.target.port;
    for (const auto &[client, former] : attempt.former.clients) {
        Affinity *affinity = findItem(port.affinities, client);
        if (former)
            *affinity = *former;
        else if (affinity != nullptr)
            removeItem(port.affinities, client, int64_t{affinity->order});
    }
    port.affinitiesReused = attempt.former.affinitiesReused;
    attempt.target.state->executor.nextOrder = attempt.former.nextOrder;
    std::memcpy(&attempt.block, attempt.former.request.data(), attempt.former.request.size());
}

} // namespace rk
