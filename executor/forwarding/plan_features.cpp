#include "executor/forwarding/plan_features.h"

#include "executor/forwarding/planning.h"
#include "executor/state/values.h"

#include <algorithm>
#include <iterator>

namespace rk {

namespace {

Features onlyIf(bool isUsed, Feature feature) {
    return isUsed ? bitOf(feature) : 0;
}

} // namespace

Features featuresOf(Match match) {
    switch (match) {
    case Match::hours:
    case Match::weekdays:
        return bitOf(Feature::rulesByTime);
    case Match::typeOfService:
        return bitOf(Feature::rulesByService);
    case Match::content:
        return bitOf(Feature::rulesByContent);
    default:
        return 0;
    }
}

Features featuresOf(const PoolSettings &settings) {
    return onlyIf(settings.method == Method::linkLevel, Feature::linkLevel) |
           onlyIf(settings.method == Method::content, Feature::content) |
           onlyIf(settings.group != 0, Feature::crossPort) | onlyIf(settings.maxHalfOpen != 0, Feature::halfOpenLimit) |
           onlyIf(settings.isReplicated, Feature::replication) | onlyIf(settings.sendsReset, Feature::reset) |
           onlyIf(!settings.cookieName.empty(), Feature::cookies);
}

Features featuresOf(const PoolServer &server, Method method) {
    return onlyIf(server.router.family != AddressFamily::none && method == Method::linkLevel, Feature::tunnel) |
           onlyIf(server.backup.address.family != AddressFamily::none, Feature::backupEndpoint) |
           onlyIf(server.source.family != AddressFamily::none, Feature::sourceAddress) |
           onlyIf(server.isSticky, Feature::serverSticky) |
           onlyIf(server.mostConnections != 0, Feature::connectionRate) |
           onlyIf(!server.cookieValue.empty(), Feature::cookies);
}

Features featuresOf(const Port &port, const Rule &rule) {
    const std::optional<Selector> selector = planSelector(port, rule, ~Features{0});
    return selector ? featuresOf(selector->match) : bitOf(Feature::otherRules);
}

Features featuresOf(const Port &port) {
    return onlyIf(port.settings.type != kPortTypeTcp, Feature::udp) |
           onlyIf(port.settings.port.word == 0, Feature::everyPort);
}

Features featuresOf(const Cluster &cluster) {
    return onlyIf(cluster.settings.sharedBytesPerSecond != 0, Feature::bandwidth);
}

Features featuresOf(const Executor &executor) {
    const auto &parameters = executor.attackProtection.parameters;
    const bool hasLimit =
        std::any_of(std::begin(parameters), std::end(parameters), [](uint32_t each) { return each != 0; });
    return onlyIf(hasLimit, Feature::attackLimit) |
           onlyIf(executor.settings.sharedBytesPerSecond != 0, Feature::bandwidth);
}

} // namespace rk
