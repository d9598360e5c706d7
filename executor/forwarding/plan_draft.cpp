#include "executor/forwarding/plan_draft.h"

#include "executor/forwarding/plan_features.h"
#include "executor/state/values.h"

#include <algorithm>
#include <arpa/inet.h>

namespace rk {

namespace {

// What is to be in the place of whatever is there.
template <typename Key, typename Item>
Replacement<Key, Item> replacement(std::map<Key, Item> &items, const Key &key, Item item) {
    std::map<Key, Item> single;
    single.emplace(key, std::move(item));
    return {&items, key, single.extract(single.begin())};
}

template <typename Key, typename Item> Replacement<Key, Item> removal(std::map<Key, Item> &items, const Key &key) {
    return {&items, key, {}};
}

PlanTallies &talliesOf(PlanDraft &draft) {
    if (!draft.tallies)
        draft.tallies = draft.plan->tallies;
    return *draft.tallies;
}

// The first pool of a port; those of the same port follow.
auto firstPool(const PlanDraft &draft, const PortId &id) {
    return draft.plan->pools.lower_bound(PoolId{id, Transport::tcp, std::nullopt});
}

PortPlan *findPortPlan(const PlanDraft &draft, const PortId &id) {
    const auto found = draft.plan->ports.find(id);
    return found == draft.plan->ports.end() ? nullptr : &found->second;
}

// A pool that is new, in a node of its own.
void draftPool(PlanDraft &draft, std::map<PoolId, Pool>::node_type node) {
    const Pool &pool = node.mapped();
    tallyPool(talliesOf(draft), pool, 1);
    draft.used |= featuresOf(pool.settings);
    for (const auto &[key, server] : pool.servers)
        draft.used |= featuresOf(server, pool.settings.method);
    const PoolId id = pool.id;
    draft.pools.push_back({&draft.plan->pools, id, std::move(node)});
}

void draftRemovedPool(PlanDraft &draft, const Pool &pool) {
    tallyPool(talliesOf(draft), pool, -1);
    draft.pools.push_back(removal(draft.plan->pools, pool.id));
}

void draftRemovedPools(PlanDraft &draft, const PortId &id) {
    for (auto item = firstPool(draft, id); item != draft.plan->pools.end() && item->first.port == id; ++item)
        draftRemovedPool(draft, item->second);
    if (findPortPlan(draft, id) != nullptr)
        draft.ports.push_back(removal(draft.plan->ports, id));
}

void draftPoolSettings(PlanDraft &draft, Pool &pool, PoolSettings settings) {
    if (settings == pool.settings)
        return;
    tallySettings(talliesOf(draft), pool.id.transport, pool.settings, -1);
    tallySettings(talliesOf(draft), pool.id.transport, settings, 1);
    draft.used |= featuresOf(settings);
    draft.poolSettings.push_back({&pool, std::move(settings)});
}

// A port that another one begins to cross to or from, or ceases to.
void draftGroup(PlanDraft &draft, const Cluster &cluster, const Port &port, const Port *gone) {
    const PortId id = portIdOf(cluster, port);
    for (const Transport transport : kTransports) {
        const auto found = draft.plan->pools.find(PoolId{id, transport, std::nullopt});
        if (found != draft.plan->pools.end())
            draftPoolSettings(draft, found->second, planPoolSettings(cluster, port, nullptr, gone));
    }
}

void draftCrossTarget(PlanDraft &draft, const Cluster &cluster, const Port &port) {
    if (const Port *target = crossTarget(cluster, port.settings); target != nullptr)
        draftGroup(draft, cluster, *target, nullptr);
}

// The selector of a rule as it is to be.
void draftSelector(PlanDraft &draft, const PortId &id, const Port &port, const Rule &rule, bool isAsked) {
    auto &selectors = findPortPlan(draft, id)->selectors;
    const int32_t priority = rule.settings.priority;
    const auto present = std::find_if(selectors.begin(), selectors.end(), [&rule](const auto &item) {
        return item.second.rule == textIn(rule.settings.ruleName);
    });
    const bool isPresent = present != selectors.end();
    std::optional<Selector> selector = isAsked ? planSelector(port, rule, draft.features) : std::nullopt;
    if (isPresent && selector && present->first == priority && present->second == *selector)
        return;
    if (isPresent && (!selector || present->first != priority))
        draft.selectors.push_back({removal(selectors, present->first), id});
    if (selector)
        draft.selectors.push_back({replacement(selectors, priority, std::move(*selector)), id});
}

// The pools of a port, or of one of its rules, which may be new, with the settings that they are to have. Their servers
// are as they were.
bool draftPools(PlanDraft &draft, const Cluster &cluster, const Port &port, const Rule *rule, LogText &words) {
    bool hasTaker = false;
    for (const Transport transport : kTransports) {
        const PoolId id = poolIdOf(cluster, port, rule, transport);
        const auto present = draft.plan->pools.find(id);
        const bool isPresent = present != draft.plan->pools.end();
        if (!isForwarded(port, transport, draft.features)) {
            if (isPresent)
                draftRemovedPool(draft, present->second);
        } else if (isPresent) {
            hasTaker |= present->second.takers > 0;
            draftPoolSettings(draft, present->second, planPoolSettings(cluster, port, rule));
        } else {
            std::map<PoolId, Pool> single;
            Pool &pool = single[id];
            if (!planPool(cluster, port, rule, transport, draft.features, pool, words))
                return false;
            hasTaker |= pool.takers > 0;
            draftPool(draft, single.extract(single.begin()));
        }
    }
    if (rule != nullptr)
        draftSelector(draft, portIdOf(cluster, port), port, *rule, hasTaker);
    return true;
}

// Sees to the servers of a port that has another method: not all that one does with them does the other.
bool draftMethod(PlanDraft &draft, const Cluster &cluster, const Port &port, LogText &words) {
    const auto pool = firstPool(draft, portIdOf(cluster, port)); // it has one
    const Method method = methodOf(port);
    if (pool->second.settings.method == method)
        return true;
    for (const auto &[serverKey, server] : port.servers.byKey) {
        if (!isServerForwardable(cluster, port, server, draft.features, words))
            return false;
        if (const std::optional<PoolServer> planned = planServer(port, server); planned)
            draft.used |= featuresOf(*planned, method);
    }
    return true;
}

void tallySources(PlanDraft &draft, const PoolServer *before, const PoolServer *after) {
    const auto hasSource = [](const PoolServer *server) {
        return server != nullptr && server->source.family != AddressFamily::none;
    };
    if (hasSource(before) == hasSource(after))
        return;
    if (before != nullptr)
        tallyServer(talliesOf(draft), *before, -1);
    if (after != nullptr)
        tallyServer(talliesOf(draft), *after, 1);
}

// A server as it is to be in a pool; null: it is not to be there. Adds to `takers` how many more take connections.
// False when another server of the pool has the endpoint.
bool draftServer(PlanDraft &draft, Pool &pool, uint32_t serverKey, const PoolServer *after, int32_t &takers,
                 LogText &words) {
    const PoolServer *before = itemAt(pool.servers, serverKey);
    if (before == after || (before != nullptr && after != nullptr && *before == *after))
        return true;
    const bool hasMoved = before == nullptr || after == nullptr || before->endpoint != after->endpoint;
    const uint32_t *holder = after == nullptr ? nullptr : itemAt(pool.keyOfEndpoint, after->endpoint);
    if (holder != nullptr && hasMoved) {
        appendSameEndpoint(words, pool.servers.at(*holder), *after);
        return false;
    }
    tallySources(draft, before, after);
    if (before != nullptr) {
        takers -= takesConnections(*before) ? 1 : 0;
        if (hasMoved)
            draft.endpoints.push_back(removal(pool.keyOfEndpoint, before->endpoint));
    }
    if (after == nullptr) {
        draft.servers.push_back({removal(pool.servers, serverKey), &pool});
        return true;
    }
    takers += takesConnections(*after) ? 1 : 0;
    if (hasMoved)
        draft.endpoints.push_back(replacement(pool.keyOfEndpoint, after->endpoint, serverKey));
    draft.used |= featuresOf(*after, pool.settings.method);
    draft.servers.push_back({replacement(pool.servers, serverKey, *after), &pool});
    return true;
}

// How many more servers of a pool take connections. Whether there are any decides whether its rule is asked.
void draftTakers(PlanDraft &draft, const Port &port, const Rule *rule, Pool &pool, int32_t difference) {
    if (difference == 0)
        return;
    const bool isAsked = pool.takers + difference > 0;
    draft.takers.push_back({&pool, pool.takers + difference});
    // The pools of a rule have the same servers, so that those of one transport speak for both.
    const bool speaks = pool.id.transport == firstPool(draft, pool.id.port)->first.transport;
    if (rule != nullptr && speaks && isAsked != (pool.takers > 0))
        draftSelector(draft, pool.id.port, port, *rule, isAsked);
}

const Rule *ruleOf(const Port &port, const Pool &pool) {
    return pool.id.rule ? &port.rules.byKey.find(*pool.id.rule)->second : nullptr;
}

void draftRemovedServer(PlanDraft &draft, const Port &port, Pool &pool, uint32_t serverKey) {
    int32_t takers = 0;
    LogText words{}; // nothing is refused that goes
    draftServer(draft, pool, serverKey, nullptr, takers, words);
    draftTakers(draft, port, ruleOf(port, pool), pool, takers);
}

} // namespace

PlanDraft newDraft(Plan &plan, Features features) {
    PlanDraft draft;
    draft.plan = &plan;
    draft.features = features;
    draft.settings = plan.settings;
    return draft;
}

bool draftNewPort(PlanDraft &draft, const Cluster &cluster, const Port &port, LogText &words) {
    Plan added;
    if (!planPort(cluster, port, draft.features, added, words))
        return false;
    draft.used |= featuresOf(port);
    for (const auto &[name, rule] : port.rules.byKey)
        draft.used |= featuresOf(port, rule);
    while (!added.pools.empty())
        draftPool(draft, added.pools.extract(added.pools.begin()));
    if (!added.ports.empty()) {
        const PortId id = added.ports.begin()->first;
        draft.ports.push_back({&draft.plan->ports, id, added.ports.extract(added.ports.begin())});
    }
    draftCrossTarget(draft, cluster, port);
    return true;
}

void draftRemovedPort(PlanDraft &draft, const Cluster &cluster, const Port &port) {
    for (const auto &[number, other] : cluster.ports.byKey) {
        if (&other == crossTarget(cluster, port.settings) || crossTarget(cluster, other.settings) == &port)
            draftGroup(draft, cluster, other, &port);
    }
    draftRemovedPools(draft, portIdOf(cluster, port));
}

bool draftPortSettings(PlanDraft &draft, const Cluster &cluster, const Port &port, const PortRecord &former,
                       LogText &words) {
    const Port *formerTarget = crossTarget(cluster, former);
    if (formerTarget != nullptr && formerTarget != crossTarget(cluster, port.settings))
        draftGroup(draft, cluster, *formerTarget, nullptr);
    const PortId id = portIdOf(cluster, port);
    if (findPortPlan(draft, id) == nullptr)
        return draftNewPort(draft, cluster, port, words);
    draft.used |= featuresOf(port);
    draftCrossTarget(draft, cluster, port);
    if (!isForwarded(port, draft.features)) {
        draftRemovedPools(draft, id);
        return true;
    }
    if (!draftMethod(draft, cluster, port, words) || !draftPools(draft, cluster, port, nullptr, words))
        return false;
    return std::all_of(port.rules.byKey.begin(), port.rules.byKey.end(),
                       [&](const auto &item) { return draftPools(draft, cluster, port, &item.second, words); });
}

void draftRemovedPorts(PlanDraft &draft, NetworkAddress clusterAddress) {
    const Address address = planAddress(clusterAddress);
    for (auto item = draft.plan->ports.lower_bound(PortId{address, 0});
         item != draft.plan->ports.end() && item->first.address == address; ++item)
        draftRemovedPools(draft, item->first);
}

bool draftNewPorts(PlanDraft &draft, const Cluster &cluster, LogText &words) {
    return std::all_of(cluster.ports.byKey.begin(), cluster.ports.byKey.end(),
                       [&](const auto &item) { return draftNewPort(draft, cluster, item.second, words); });
}

bool draftServers(PlanDraft &draft, const Cluster &cluster, const Port &port, const std::set<uint32_t> &serverKeys,
                  LogText &words) {
    std::map<uint32_t, std::optional<PoolServer>> servers;
    for (const uint32_t serverKey : serverKeys) {
        const Server &server = port.servers.byKey.find(serverKey)->second;
        if (!isServerForwardable(cluster, port, server, draft.features, words))
            return false;
        servers[serverKey] = planServer(port, server);
    }
    const PortId id = portIdOf(cluster, port);
    for (auto item = firstPool(draft, id); item != draft.plan->pools.end() && item->first.port == id; ++item) {
        Pool &pool = item->second;
        const Rule *rule = ruleOf(port, pool);
        int32_t takers = 0;
        for (const auto &[serverKey, server] : servers) {
            const bool isMember = rule == nullptr || rule->members.byKey.contains(serverKey);
            if (isMember && !draftServer(draft, pool, serverKey, server ? &*server : nullptr, takers, words))
                return false;
        }
        draftTakers(draft, port, rule, pool, takers);
    }
    return true;
}

void draftRemovedServer(PlanDraft &draft, const Cluster &cluster, const Port &port, uint32_t serverKey) {
    const PortId id = portIdOf(cluster, port);
    PortPlan *portPlan = findPortPlan(draft, id);
    if (portPlan == nullptr)
        return;
    for (auto item = firstPool(draft, id); item != draft.plan->pools.end() && item->first.port == id; ++item)
        draftRemovedServer(draft, port, item->second, serverKey);
    for (const auto &[client, bound] : portPlan->clients) {
        if (bound.serverKey == serverKey)
            draft.clients.push_back({removal(portPlan->clients, client), id});
    }
}

bool draftRule(PlanDraft &draft, const Cluster &cluster, const Port &port, const Rule &rule, LogText &words) {
    draft.used |= featuresOf(port, rule);
    return findPortPlan(draft, portIdOf(cluster, port)) == nullptr || draftPools(draft, cluster, port, &rule, words);
}

void draftRemovedRule(PlanDraft &draft, const Cluster &cluster, const Port &port, const Rule &rule) {
    if (findPortPlan(draft, portIdOf(cluster, port)) == nullptr)
        return;
    for (const Transport transport : kTransports) {
        const auto pool = draft.plan->pools.find(poolIdOf(cluster, port, &rule, transport));
        if (pool != draft.plan->pools.end())
            draftRemovedPool(draft, pool->second);
    }
    draftSelector(draft, portIdOf(cluster, port), port, rule, false);
}

void draftMember(PlanDraft &draft, const Cluster &cluster, const Port &port, const Rule &rule, const Server &server) {
    const std::optional<PoolServer> planned = planServer(port, server);
    if (!planned)
        return;
    for (const Transport transport : kTransports) {
        const auto pool = draft.plan->pools.find(poolIdOf(cluster, port, &rule, transport));
        if (pool == draft.plan->pools.end())
            continue;
        int32_t takers = 0;
        LogText words{}; // it is a server of the port already: nothing is left to refuse it for
        draftServer(draft, pool->second, planned->key, &*planned, takers, words);
        draftTakers(draft, port, &rule, pool->second, takers);
    }
}

void draftRemovedMember(PlanDraft &draft, const Cluster &cluster, const Port &port, const Rule &rule,
                        const Server &server) {
    for (const Transport transport : kTransports) {
        const auto pool = draft.plan->pools.find(poolIdOf(cluster, port, &rule, transport));
        if (pool != draft.plan->pools.end())
            draftRemovedServer(draft, port, pool->second, server.settings.serverKey);
    }
}

void draftClients(PlanDraft &draft, const Cluster &cluster, const Port &port, const std::set<uint32_t> &clients) {
    const PortId id = portIdOf(cluster, port);
    PortPlan *portPlan = findPortPlan(draft, id);
    if (portPlan == nullptr)
        return;
    for (const uint32_t clientAddress : clients) {
        const auto affinity = port.affinities.byKey.find(clientAddress);
        if (affinity == port.affinities.byKey.end())
            continue; // could not be bound
        const Address client = planAddress({htonl(clientAddress)});
        const BoundClient after{client, affinity->second.serverKey};
        const BoundClient *before = itemAt(portPlan->clients, client);
        if (before == nullptr || *before != after)
            draft.clients.push_back({replacement(portPlan->clients, client, after), id});
    }
}

void draftReleasedClients(PlanDraft &draft, const Cluster &cluster, const Port &port,
                          const std::set<uint32_t> &clients) {
    const PortId id = portIdOf(cluster, port);
    PortPlan *portPlan = findPortPlan(draft, id);
    if (portPlan == nullptr)
        return;
    for (const uint32_t clientAddress : clients) {
        const Address client = planAddress({htonl(clientAddress)});
        if (portPlan->clients.contains(client))
            draft.clients.push_back({removal(portPlan->clients, client), id});
    }
}

void draftSettings(PlanDraft &draft, const Executor &executor) {
    draft.used |= featuresOf(executor);
    draft.settings = planSettings(executor, draft.tallies ? *draft.tallies : draft.plan->tallies);
}

} // namespace rk
