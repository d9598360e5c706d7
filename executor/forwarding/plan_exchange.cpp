#include "executor/forwarding/plan_exchange.h"

#include <algorithm>
#include <tuple>

namespace rk {

namespace {

template <typename Key, typename Item> void exchangeOne(Replacement<Key, Item> &change) {
    auto out = change.items->extract(change.key);
    if (!change.other.empty())
        change.items->insert(std::move(change.other));
    change.other = std::move(out);
}

template <typename Replacements> void exchangeAll(Replacements &changes) {
    for (auto &change : changes)
        exchangeOne(change);
}

// What a replacement that has been done changed.
template <typename Key, typename Item> Change<Item> changeIn(const Replacement<Key, Item> &done) {
    return {done.other.empty() ? nullptr : &done.other.mapped(), itemAt(*done.items, done.key)};
}

// A server with another endpoint is another server.
void appendServer(std::vector<ServerChange> &servers, const Pool *pool, const Change<PoolServer> &server) {
    const auto [before, after] = server;
    if (before == nullptr || after == nullptr || before->endpoint == after->endpoint) {
        servers.push_back({pool, server});
        return;
    }
    servers.push_back({pool, {nullptr, after}});
    servers.push_back({pool, {before, nullptr}});
}

template <typename Item> Change<Item> newItem(const Item &item) {
    return {nullptr, &item};
}

template <typename Item> Change<Item> goneItem(const Item &item) {
    return {&item, nullptr};
}

// All selectors and clients of a port that is new or goes.
void appendAll(PlanChange &change, const PortId &id, const PortPlan &port, bool isNew) {
    for (const auto &[priority, selector] : port.selectors)
        change.selectors.push_back({id, priority, isNew ? newItem(selector) : goneItem(selector)});
    for (const auto &[address, client] : port.clients)
        change.clients.push_back({id, isNew ? newItem(client) : goneItem(client)});
}

// New comes before changed, changed before gone.
template <typename Item> int kindOf(const Change<Item> &change) {
    if (change.before == nullptr)
        return 0;
    return change.after != nullptr ? 1 : 2;
}

// For what of it never changes.
template <typename Item> const Item &itemOf(const Change<Item> &change) {
    return change.before != nullptr ? *change.before : *change.after;
}

template <typename Item, typename Place> void sortBy(std::vector<Item> &items, Place placeOf) {
    std::sort(items.begin(), items.end(),
              [placeOf](const Item &one, const Item &other) { return placeOf(one) < placeOf(other); });
}

} // namespace

bool isEmpty(const PlanDraft &draft) {
    return draft.settings == draft.plan->settings && draft.ports.empty() && draft.pools.empty() &&
           draft.poolSettings.empty() && draft.servers.empty() && draft.selectors.empty() && draft.clients.empty();
}

void exchange(PlanDraft &draft) {
    std::swap(draft.settings, draft.plan->settings);
    if (draft.tallies)
        std::swap(*draft.tallies, draft.plan->tallies);
    exchangeAll(draft.servers);
    exchangeAll(draft.endpoints);
    exchangeAll(draft.selectors);
    exchangeAll(draft.clients);
    for (PoolSettingsReplacement &change : draft.poolSettings)
        std::swap(change.other, change.pool->settings);
    for (TakersReplacement &change : draft.takers)
        std::swap(change.other, change.pool->takers);
    exchangeAll(draft.ports);
    exchangeAll(draft.pools);
}

PlanChange changeOf(const PlanDraft &draft) {
    PlanChange change;
    if (draft.settings != draft.plan->settings)
        change.settingsBefore = &draft.settings;
    for (const auto &each : draft.pools) {
        const Change<Pool> pool = changeIn(each);
        if (pool.before != nullptr)
            change.removedPools.push_back(pool.before);
        if (pool.after != nullptr)
            change.newPools.push_back(pool.after);
    }
    for (const PoolSettingsReplacement &each : draft.poolSettings)
        change.changedPools.push_back({each.pool, &each.other});
    for (const auto &each : draft.servers)
        appendServer(change.servers, each.owner, changeIn(each));
    for (const auto &each : draft.ports) {
        const Change<PortPlan> port = changeIn(each);
        if (port.before != nullptr)
            appendAll(change, each.key, *port.before, false);
        if (port.after != nullptr)
            appendAll(change, each.key, *port.after, true);
    }
    for (const auto &each : draft.selectors)
        change.selectors.push_back({each.owner, each.key, changeIn(each)});
    for (const auto &each : draft.clients)
        change.clients.push_back({each.owner, changeIn(each)});

    sortBy(change.newPools, [](const Pool *pool) { return std::tie(pool->id); });
    sortBy(change.removedPools, [](const Pool *pool) { return std::tie(pool->id); });
    sortBy(change.changedPools, [](const PoolSettingsChange &each) { return std::tie(each.pool->id); });
    sortBy(change.servers, [](const ServerChange &each) {
        return std::tuple<int, const PoolId &, uint32_t>(kindOf(each.server), each.pool->id, itemOf(each.server).key);
    });
    sortBy(change.selectors,
           [](const SelectorChange &each) { return std::tuple(kindOf(each.selector), each.port, each.priority); });
    sortBy(change.clients, [](const ClientChange &each) {
        return std::tuple(kindOf(each.client), each.port, itemOf(each.client).client);
    });
    return change;
}

} // namespace rk
