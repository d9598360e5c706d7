// The ports of a cluster.
#include "executor/commands/commands.h"
#include "executor/state/settings.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <algorithm>

namespace rk {

namespace {

int32_t checkSettings(const PortRecord &settings, int32_t numberOfServers) {
    if (settings.maxServers < numberOfServers)
        return kPortServerLimit;
    return checkLimits(kPortSettings, settings.header);
}

// Whether a port of the cluster crosses to `port`.
bool isCrossedTo(const Cluster &cluster, NetworkPort port) {
    return std::any_of(cluster.ports.byKey.begin(), cluster.ports.byKey.end(),
                       [port](const auto &item) { return item.second.settings.crossPort.word == port.word; });
}

// A crossing is one step: no port crosses to a port that itself crosses to another.
int32_t checkCrossPort(const Cluster &cluster, const PortRecord &settings) {
    if (settings.crossPort.word == 0)
        return 0; // crosses to none
    if (settings.crossPort.word == settings.port.word)
        return kCrossPortChain;
    const Port *target = findItem(cluster.ports, hostOrder(settings.crossPort));
    if (target == nullptr)
        return kUnknownCrossPort;
    if (target->settings.crossPort.word != 0 || isCrossedTo(cluster, settings.port))
        return kCrossPortChain;
    return 0;
}

// Whether all weights of servers are within the bound, also those that wait for their servers to be up.
bool areWeightsWithin(const Port &port, int16_t bound) {
    return std::all_of(port.servers.byKey.begin(), port.servers.byKey.end(),
                       [bound](const auto &item) { return weightWhenUp(item.second) <= bound; });
}

PortRecord newPortSettings(const ClusterRecord &cluster, const PortRecord &request) {
    PortRecord settings{};
    settings.clusterKey = request.clusterKey;
    settings.port = request.port;
    settings.maxServers = cluster.defaultPortMaxServers;
    settings.stickyTime = cluster.defaultPortStickyTime;
    settings.stickyBits = kDefaultStickyBits;
    settings.staleTimeout = cluster.defaultPortStaleTimeout;
    settings.weightBound = cluster.defaultPortWeightBound;
    settings.type = static_cast<int8_t>(cluster.defaultPortType);
    settings.method = kMethodLinkLevel;
    settings.replicate = cluster.defaultPortReplicate;
    return settings;
}

} // namespace

static void fillEntry(PortListEntry &entry, const Port &port) {
    entry.port = port.settings.port;
}

int32_t addPort(Cluster &cluster, const PortRecord &record) {
    const int32_t number = hostOrder(record.port);
    if (findItem(cluster.ports, number) != nullptr)
        return kPortExists;
    if (numberOf(cluster.ports) >= cluster.settings.maxPorts)
        return kPortLimit;

    Port port;
    port.settings = newPortSettings(cluster.settings, record);
    port.affinityType = cluster.settings.defaultPortAffinityType;
    applySettings(kPortSettings, record.header, port.settings.header);
    if (const int32_t reason = checkSettings(port.settings, 0); reason != 0)
        return reason;
    if (const int32_t reason = checkCrossPort(cluster, port.settings); reason != 0)
        return reason;
    addItem(cluster.ports, number, number, std::move(port));
    return 0;
}

int32_t removePort(Cluster &cluster, Port &port, const PortRecord & /*record*/) {
    const NetworkPort removed = port.settings.port;
    for (auto &[number, other] : cluster.ports.byKey) {
        if (other.settings.crossPort.word == removed.word)
            other.settings.crossPort = {};
    }
    removeItem(cluster.ports, hostOrder(removed), hostOrder(removed));
    return 0;
}

int32_t listPorts(const Cluster &cluster, PortListBlock &block) {
    fillList<PortListEntry>(block, cluster.ports);
    return 0;
}

int32_t readPortSettings(const Port &port, PortRecord &record) {
    replyWith(port.settings, record);
    record.numberOfServers = numberOf(port.servers);
    return 0;
}

int32_t writePortSettings(const Cluster &cluster, Port &port, const PortRecord &record) {
    PortRecord settings = port.settings;
    applySettings(kPortSettings, record.header, settings.header);
    if (const int32_t reason = checkSettings(settings, numberOf(port.servers)); reason != 0)
        return reason;
    if (isSet(record.setWeightBound) && !areWeightsWithin(port, settings.weightBound))
        return kWeightBound;
    if (const int32_t reason = checkCrossPort(cluster, settings); reason != 0)
        return reason;
    port.settings = settings;
    return 0;
}

int32_t readPortReport(const Cluster &cluster, const Port &port, const Traffic &traffic, PortReportRecord &record) {
    Counts counts;
    LiveConnections live;
    if (!readCounts(traffic, cluster, port, counts) || !listConnections(traffic, cluster, port, live))
        return kForwardingRefused;
    PortReportRecord report{}; // no engine counts the resets that it sends
    report.clusterKey = record.clusterKey;
    report.port = record.port;
    report.connectionsPerSecond = rateOf(traffic, counts, port.connectionsPerSecond);
    report.activeConnections = inField(counts.active);
    report.halfOpenConnections = inField(halfOpenIn(live));
    report.bytesPerSecond = inField(counts.bytesPerSecond);
    report.numberOfServers = numberOf(port.servers);
    report.numberOfRules = numberOf(port.rules);
    for (const auto &[key, server] : port.servers.byKey) {
        report.serversDown += server.isDown ? 1 : 0;
        report.localServers += server.settings.remote != 0 ? 0 : 1;
        report.highestWeight = std::max<int32_t>(report.highestWeight, server.settings.weight);
    }
    report.protocol = port.settings.protocol;
    report.method = port.settings.method;
    replyWith(report, record);
    return 0;
}

int32_t setPortCps(Port &port, const PortReportRecord &record) {
    return keepRate(record.connectionsPerSecond, port.connectionsPerSecond);
}

} // namespace rk
