#include "plans.h"

#include <algorithm>
#include <arpa/inet.h>
#include <stdexcept>

namespace rk::plans {

namespace {

PortId portId(const std::string &cluster, uint16_t port) {
    return endpoint(cluster, port);
}

// What is in either of two maps: calls `compare(before, after)` with null for what is missing.
template <typename Key, typename Item, typename Compare>
void compareMaps(const std::map<Key, Item> &before, const std::map<Key, Item> &after, Compare compare) {
    for (const auto &[key, item] : after) {
        const auto old = before.find(key);
        compare(key, old == before.end() ? nullptr : &old->second, &item);
    }
    for (const auto &[key, item] : before)
        if (!after.contains(key))
            compare(key, &item, static_cast<const Item *>(nullptr));
}

void compareServers(PlanChange &change, const Pool &before, const Pool &after) {
    compareMaps(before.servers, after.servers, [&](uint32_t, const PoolServer *old, const PoolServer *now) {
        if (old != nullptr && now != nullptr && old->endpoint != now->endpoint) {
            change.servers.push_back({&after, {nullptr, now}});
            change.servers.push_back({&after, {old, nullptr}});
        } else if (old == nullptr || now == nullptr || *old != *now) {
            change.servers.push_back({&after, {old, now}});
        }
    });
}

// What is new first, what goes last.
int rank(const void *before, const void *after) {
    return before == nullptr ? 0 : after == nullptr ? 2 : 1;
}

} // namespace

Address address(const std::string &dotted) {
    Address result;
    result.family = AddressFamily::ipv4;
    if (inet_pton(AF_INET, dotted.c_str(), result.bytes.data()) != 1)
        throw std::runtime_error(dotted + " is no address");
    return result;
}

Endpoint endpoint(const std::string &dotted, uint16_t port) {
    return {address(dotted), port};
}

Pool &pool(Plan &plan, const std::string &cluster, uint16_t port, const std::optional<std::string> &rule,
           Transport transport) {
    const PoolId id{portId(cluster, port), transport, rule};
    plan.ports[id.port];
    Pool &made = plan.pools[id];
    made.id = id;
    if (made.servers.empty())
        made.settings.method = Method::translation;
    return made;
}

PoolServer &server(Pool &pool, const std::string &dotted, uint16_t port, int32_t weight) {
    PoolServer made;
    made.endpoint = endpoint(dotted, port);
    made.fullWeight = weight;
    made.key = made.endpoint.address.bytes[3];
    made.weight = weight;
    pool.keyOfEndpoint[made.endpoint] = made.key;
    return pool.servers[made.key] = made;
}

void threeServers(Pool &pool, uint16_t port, int32_t weight1, int32_t weight2, int32_t weight3) {
    server(pool, "10.2.0.11", port, weight1);
    server(pool, "10.2.0.12", port, weight2);
    server(pool, "10.2.0.13", port, weight3);
}

void removeServer(Pool &pool, uint32_t key) {
    pool.keyOfEndpoint.erase(pool.servers.at(key).endpoint);
    pool.servers.erase(key);
}

Selector &selector(Plan &plan, const std::string &cluster, uint16_t port, int32_t priority, const std::string &rule,
                   Match match) {
    Selector &made = plan.ports[portId(cluster, port)].selectors[priority];
    made.rule = rule;
    made.match = match;
    return made;
}

void bindClient(Plan &plan, const std::string &cluster, uint16_t port, const std::string &client, uint32_t serverKey) {
    plan.ports[portId(cluster, port)].clients[address(client)] = {address(client), serverKey};
}

void settle(Plan &plan) {
    plan.settings.longestTcpStale = 0;
    plan.settings.longestUdpStale = 0;
    plan.settings.translatesSource = false;
    for (auto &[id, pool] : plan.pools) {
        uint32_t &longest =
            id.transport == Transport::tcp ? plan.settings.longestTcpStale : plan.settings.longestUdpStale;
        longest = std::max(longest, pool.settings.staleTimeout);
        pool.takers = 0;
        for (const auto &[key, server] : pool.servers) {
            pool.takers += takesConnections(server) ? 1 : 0;
            plan.settings.translatesSource |= server.source.family != AddressFamily::none;
        }
    }
}

PlanChange changeBetween(const Plan &before, const Plan &after) {
    PlanChange change;
    if (before.settings != after.settings)
        change.settingsBefore = &before.settings;
    compareMaps(before.pools, after.pools, [&](const PoolId &, const Pool *old, const Pool *now) {
        if (old == nullptr)
            change.newPools.push_back(now);
        else if (now == nullptr)
            change.removedPools.push_back(old);
        else {
            if (old->settings != now->settings)
                change.changedPools.push_back({now, &old->settings});
            compareServers(change, *old, *now);
        }
    });
    const PortPlan none;
    compareMaps(before.ports, after.ports, [&](const PortId &port, const PortPlan *old, const PortPlan *now) {
        const PortPlan &was = old == nullptr ? none : *old;
        const PortPlan &is = now == nullptr ? none : *now;
        compareMaps(was.selectors, is.selectors, [&](int32_t priority, const Selector *one, const Selector *other) {
            if (one == nullptr || other == nullptr || *one != *other)
                change.selectors.push_back({port, priority, {one, other}});
        });
        compareMaps(was.clients, is.clients, [&](const Address &, const BoundClient *one, const BoundClient *other) {
            if (one == nullptr || other == nullptr || *one != *other)
                change.clients.push_back({port, {one, other}});
        });
    });
    std::ranges::stable_sort(
        change.servers, {}, [](const ServerChange &server) { return rank(server.server.before, server.server.after); });
    return change;
}

} // namespace rk::plans
