#include "executor/forwarding/planning.h"

#include "executor/forwarding/plan_features.h"
#include "executor/state/values.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <limits>

namespace rk {

namespace {

// Types of rules that select by something that an engine can see.
constexpr int8_t kRuleTypeAlways = 0;
constexpr int8_t kRuleTypeHour = 2;
constexpr int8_t kRuleTypePort = 3;
constexpr int8_t kRuleTypeWeekday = 4;
constexpr int8_t kRuleTypeContent = 8;

constexpr int32_t kLastHour = 23;
constexpr int32_t kLastWeekday = 6;

uint32_t seconds(SplitInt64 time) {
    return static_cast<uint32_t>(std::max(time.low, 0)); // the executor keeps no longer times
}

uint32_t seconds(int64_t time) {
    return static_cast<uint32_t>(std::clamp<int64_t>(time, 0, std::numeric_limits<int32_t>::max()));
}

Protocol protocolOf(const Port &port) {
    switch (port.settings.protocol) {
    case kProtocolHttp:
        return Protocol::http;
    case kProtocolTls:
        return Protocol::tls;
    default:
        return Protocol::none;
    }
}

uint16_t numberOf(NetworkPort port) {
    return static_cast<uint16_t>(hostOrder(port));
}

uint16_t groupOf(const Cluster &cluster, const Port &port, const Port *gone) {
    if (const Port *target = crossTarget(cluster, port.settings); target != nullptr)
        return target == gone ? uint16_t{0} : numberOf(target->settings.port);
    const bool isTarget =
        std::any_of(cluster.ports.byKey.begin(), cluster.ports.byKey.end(), [&port, gone](const auto &item) {
            return &item.second != gone && item.second.settings.crossPort.word == port.settings.port.word;
        });
    return isTarget ? numberOf(port.settings.port) : uint16_t{0};
}

// Where a listener is reached: at the port that the client asked for when it maps to none.
Endpoint endpointOf(const Port &port, NetworkAddress address, NetworkPort mapPort) {
    return {planAddress(address), numberOf(mapPort.word != 0 ? mapPort : port.settings.port)};
}

NetworkPort mappedPort(const ServerRecord &settings) {
    return settings.numberOfListeners > 0 ? settings.listeners[0].mapPort : NetworkPort{};
}

// The range of a rule as far as its numbers can occur at all. False when none can.
bool isRangePossible(const RuleRecord &settings, int32_t last, Selector &selector) {
    if (settings.endRange < 0 || settings.beginRange > last)
        return false;
    selector.first = static_cast<uint16_t>(std::max(settings.beginRange, 0));
    selector.last = static_cast<uint16_t>(std::min(settings.endRange, last));
    return true;
}

// Fills in what the rule looks at. False when that is nothing that can be seen, or can never be.
bool fillMatch(const Port &port, const RuleRecord &settings, Selector &selector) {
    switch (settings.ruleType) {
    case kRuleTypeAlways:
        selector.match = Match::always;
        return true;
    case kRuleTypeAddress:
        selector.match = Match::clientAddress;
        // 0.0.0.0 begins a range as any other address does.
        selector.firstAddress = planAddress({static_cast<uint32_t>(settings.beginRange)});
        selector.lastAddress = planAddress({static_cast<uint32_t>(settings.endRange)});
        selector.firstAddress.family = selector.lastAddress.family = AddressFamily::ipv4;
        return true;
    case kRuleTypeHour:
        selector.match = Match::hours;
        return isRangePossible(settings, kLastHour, selector);
    case kRuleTypePort:
        selector.match = Match::clientPort;
        return isRangePossible(settings, kHighestPortNumber, selector);
    case kRuleTypeWeekday:
        selector.match = Match::weekdays;
        return isRangePossible(settings, kLastWeekday, selector);
    case kRuleTypeService:
        selector.match = Match::typeOfService;
        selector.serviceBitsClear = settings.serviceBitsClear;
        selector.serviceBitsSet = settings.serviceBitsSet;
        return true;
    case kRuleTypeContent:
        selector.match = Match::content;
        selector.pattern = textIn(settings.pattern);
        return methodOf(port) == Method::content; // requests are read by no other method
    default:
        return false;
    }
}

void count(std::map<uint32_t, int32_t> &tally, uint32_t time, int32_t difference) {
    if ((tally[time] += difference) == 0)
        tally.erase(time);
}

uint32_t longest(const std::map<uint32_t, int32_t> &tally) {
    return tally.empty() ? 0 : tally.rbegin()->first;
}

// False when the pool has a server with the same endpoint.
bool addToPool(Pool &pool, PoolServer server, LogText &words) {
    const auto [place, isNew] = pool.keyOfEndpoint.emplace(server.endpoint, server.key);
    if (!isNew) {
        appendSameEndpoint(words, pool.servers.at(place->second), server);
        return false;
    }
    pool.takers += takesConnections(server) ? 1 : 0;
    const uint32_t key = server.key;
    pool.servers.emplace(key, std::move(server));
    return true;
}

} // namespace

Address planAddress(NetworkAddress address) {
    Address planned;
    planned.family = address.word == 0 ? AddressFamily::none : AddressFamily::ipv4;
    std::memcpy(planned.bytes.data(), &address.word, sizeof address.word);
    return planned;
}

std::string addressText(const Address &address) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address.family != AddressFamily::none)
        inet_ntop(address.family == AddressFamily::ipv4 ? AF_INET : AF_INET6, address.bytes.data(), text, sizeof text);
    return text;
}

PortId portIdOf(const Cluster &cluster, const Port &port) {
    return {planAddress(cluster.settings.address), numberOf(port.settings.port)};
}

PoolId poolIdOf(const Cluster &cluster, const Port &port, const Rule *rule, Transport transport) {
    PoolId id{portIdOf(cluster, port), transport, {}};
    if (rule != nullptr)
        id.rule = textIn(rule->settings.ruleName);
    return id;
}

bool isForwarded(const Port &port, Features features) {
    return isForwarded(port, Transport::tcp, features) || isForwarded(port, Transport::udp, features);
}

bool isForwarded(const Port &port, Transport transport, Features features) {
    if (port.settings.port.word == 0 && (features & bitOf(Feature::everyPort)) == 0)
        return false;
    if (transport == Transport::tcp)
        return port.settings.type != kPortTypeUdp;
    return port.settings.type != kPortTypeTcp && (features & bitOf(Feature::udp)) != 0;
}

Method methodOf(const Port &port) {
    switch (port.settings.method) {
    case kMethodTranslation:
        return Method::translation;
    case kMethodContent:
        return Method::content;
    default:
        return Method::linkLevel;
    }
}

const Port *crossTarget(const Cluster &cluster, const PortRecord &settings) {
    const NetworkPort target = settings.crossPort;
    const auto found = cluster.ports.byKey.find(hostOrder(target));
    return target.word == 0 || found == cluster.ports.byKey.end() ? nullptr : &found->second;
}

PoolSettings planPoolSettings(const Cluster &cluster, const Port &port, const Rule *rule, const Port *gone) {
    const PortRecord &kept = port.settings;
    PoolSettings settings;
    settings.method = methodOf(port);
    settings.protocol = protocolOf(port);
    settings.stickyTime = seconds(kept.stickyTime);
    settings.stickyBits = static_cast<uint8_t>(kept.stickyBits);
    settings.staleTimeout = seconds(kept.staleTimeout);
    settings.maxHalfOpen = static_cast<uint32_t>(kept.maxHalfOpen);
    settings.isReplicated = kept.replicate != 0;
    settings.sendsReset = kept.sendReset != 0;
    if (rule == nullptr) {
        settings.group = groupOf(cluster, port, gone);
        return settings;
    }
    if (rule->settings.stickyTime > 0) // its own, else the port's
        settings.stickyTime = seconds(rule->settings.stickyTime);
    settings.affinityType = rule->settings.whatAffinity;
    settings.cookieName = textIn(rule->settings.cookieName);
    return settings;
}

bool hasUsableAddress(const Server &server) {
    return isUnicast(addressOf(server.settings));
}

std::optional<PoolServer> planServer(const Port &port, const Server &server) {
    const ServerRecord &kept = server.settings;
    if (!hasUsableAddress(server))
        return std::nullopt;
    PoolServer planned;
    planned.key = kept.serverKey;
    planned.name = textIn(kept.serverId);
    planned.endpoint = endpointOf(port, addressOf(kept), mappedPort(kept));
    if (kept.numberOfListeners > 1 && isUnicast(kept.listeners[1].address))
        planned.backup = endpointOf(port, kept.listeners[1].address, kept.listeners[1].mapPort);
    if (server.isDown)
        planned.availability = Availability::down;
    else if (kept.quiesced != 0)
        planned.availability = Availability::quiesced;
    planned.fullWeight = weightWhenUp(server);
    planned.weight = planned.availability == Availability::up ? kept.weight : 0;
    planned.hasFixedWeight = kept.fixedWeight != 0;
    planned.isSticky = kept.sticky != 0;
    planned.router = planAddress(kept.routerAddress);
    planned.source = planAddress(kept.returnAddress);
    planned.isCollocated = kept.collocated != 0;
    planned.mostConnections = static_cast<uint32_t>(kept.cpsMaximum);
    if (kept.numberOfListeners > 0) {
        planned.connectTimeout = static_cast<uint32_t>(std::max(kept.listeners[0].connectTimeout, 0));
        planned.waitsForComplete = kept.listeners[0].waitForComplete != 0;
    }
    planned.cookieValue = textIn(kept.cookieValue);
    planned.cloneId = textIn(kept.cloneId);
    return planned;
}

bool isServerForwardable(const Cluster &cluster, const Port &port, const Server &server, Features features,
                         LogText &words) {
    const ServerRecord &kept = server.settings;
    if (kept.numberOfListeners > 0 && !hasUsableAddress(server)) {
        append(words, "server ");
        appendName(words, textIn(kept.serverId));
        append(words, " would have an address that nothing can be sent to");
        return false;
    }
    if (addressOf(kept).word == cluster.settings.address.word) {
        append(words, "server ");
        appendName(words, textIn(kept.serverId));
        append(words, " would have the cluster's own address");
        return false;
    }
    const NetworkPort mapped = mappedPort(kept);
    const bool isUnchanged = methodOf(port) == Method::linkLevel && (features & bitOf(Feature::linkLevel)) != 0;
    if (isUnchanged && mapped.word != 0 && mapped.word != port.settings.port.word) {
        append(words, "server ");
        appendName(words, textIn(kept.serverId));
        append(words, " has a mapped port, %d, which forwarding at link level does not change to", hostOrder(mapped));
        return false;
    }
    return true;
}

std::optional<Selector> planSelector(const Port &port, const Rule &rule, Features features) {
    Selector selector;
    if (!fillMatch(port, rule.settings, selector) || (featuresOf(selector.match) & ~features) != 0)
        return std::nullopt;
    selector.rule = textIn(rule.settings.ruleName);
    return selector;
}

void appendSameEndpoint(LogText &words, const PoolServer &one, const PoolServer &other) {
    append(words, "servers ");
    appendName(words, one.name);
    append(words, " and ");
    appendName(words, other.name);
    append(words, " have the same address and port");
}

bool planPool(const Cluster &cluster, const Port &port, const Rule *rule, Transport transport, Features features,
              Pool &pool, LogText &words) {
    pool.id = poolIdOf(cluster, port, rule, transport);
    pool.settings = planPoolSettings(cluster, port, rule);
    const auto add = [&cluster, &port, features, &pool, &words](const Server &server) {
        if (!isServerForwardable(cluster, port, server, features, words))
            return false;
        std::optional<PoolServer> planned = planServer(port, server);
        return !planned || addToPool(pool, std::move(*planned), words);
    };
    if (rule != nullptr)
        return std::all_of(rule->members.byKey.begin(), rule->members.byKey.end(),
                           [&add](const auto &item) { return add(*item.second.server); });
    return std::all_of(port.servers.byKey.begin(), port.servers.byKey.end(),
                       [&add](const auto &item) { return add(item.second); });
}

bool planPort(const Cluster &cluster, const Port &port, Features features, Plan &plan, LogText &words) {
    if (!isForwarded(port, features))
        return true;
    PortPlan portPlan;
    portPlan.clusterKey = cluster.settings.clusterKey;
    const auto addPool = [&](const Rule *rule, Transport transport) {
        Pool pool;
        if (!planPool(cluster, port, rule, transport, features, pool, words))
            return false;
        tallyPool(plan.tallies, pool, 1);
        if (rule != nullptr && pool.takers > 0) {
            if (std::optional<Selector> selector = planSelector(port, *rule, features); selector)
                portPlan.selectors.insert_or_assign(rule->settings.priority, std::move(*selector));
        }
        const PoolId id = pool.id;
        plan.pools.emplace(id, std::move(pool));
        return true;
    };
    for (const Transport transport : kTransports) {
        if (!isForwarded(port, transport, features))
            continue;
        if (!addPool(nullptr, transport))
            return false;
        for (const auto &[priority, rule] : port.rules.inOrder) {
            if (!addPool(rule, transport))
                return false;
        }
    }
    for (const auto &[clientAddress, affinity] : port.affinities.byKey) {
        const Address client = planAddress({htonl(clientAddress)});
        portPlan.clients.emplace(client, BoundClient{client, affinity.serverKey});
    }
    plan.ports.emplace(portIdOf(cluster, port), std::move(portPlan));
    return true;
}

PlanSettings planSettings(const Executor &executor, const PlanTallies &tallies) {
    const ExecutorSettingsRecord &kept = executor.settings;
    PlanSettings settings;
    settings.ownAddress = planAddress(kept.nfa);
    settings.finTimeout = seconds(kept.finTimeout);
    settings.longestTcpStale = longest(tallies.staleTimeouts[static_cast<int>(Transport::tcp)]);
    settings.longestUdpStale = longest(tallies.staleTimeouts[static_cast<int>(Transport::udp)]);
    settings.isReplicated = tallies.replicatedPools > 0;
    settings.translatesSource = tallies.serversWithSource > 0;
    settings.secondsWest = kept.secondsWestOfGreenwich.low;
    settings.cookieLifetime = static_cast<uint32_t>(kept.cookieExpireInterval);
    std::copy(std::begin(executor.attackProtection.parameters), std::end(executor.attackProtection.parameters),
              settings.attackParameters.begin());
    return settings;
}

void tallyPool(PlanTallies &tallies, const Pool &pool, int32_t difference) {
    tallySettings(tallies, pool.id.transport, pool.settings, difference);
    for (const auto &[key, server] : pool.servers)
        tallyServer(tallies, server, difference);
}

void tallySettings(PlanTallies &tallies, Transport transport, const PoolSettings &settings, int32_t difference) {
    count(tallies.staleTimeouts[static_cast<int>(transport)], settings.staleTimeout, difference);
    tallies.replicatedPools += settings.isReplicated ? difference : 0;
}

void tallyServer(PlanTallies &tallies, const PoolServer &server, int32_t difference) {
    tallies.serversWithSource += server.source.family != AddressFamily::none ? difference : 0;
}

bool planExecutor(const Executor &executor, Features features, Plan &plan, LogText &words) {
    for (const auto &[clusterKey, cluster] : executor.clusters.byKey) {
        for (const auto &[number, port] : cluster.ports.byKey) {
            if (!planPort(cluster, port, features, plan, words))
                return false;
        }
    }
    plan.settings = planSettings(executor, plan.tallies);
    return true;
}

} // namespace rk
