// Clusters.
#include "executor/commands/commands.h"
#include "executor/commands/port_defaults.h"
#include "executor/state/settings.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

namespace rk {

namespace {

int32_t checkSettings(const ClusterRecord &settings, int32_t numberOfPorts) {
    if (settings.maxPorts < numberOfPorts)
        return kOutOfRange;
    return checkLimits(kClusterSettings, settings.header);
}

// Whether a cluster can have `address`. `own` is its present one, 0 for a new cluster.
bool isAddressUsable(const Executor &executor, NetworkAddress address, NetworkAddress own) {
    return isUnicast(address) && (address.word == own.word || !executor.clusterAddresses.contains(address.word));
}

ClusterRecord newClusterSettings(const Executor &executor, const ClusterRecord &request) {
    ClusterRecord settings{};
    settings.address = request.address;
    settings.clusterKey = request.clusterKey;
    storeText(settings.clusterId, textIn(request.clusterId));
    settings.maxPorts = executor.settings.defaultClusterMaxPorts;
    settings.activeConnectionsProportion = kDefaultActiveConnectionsProportion;
    settings.newConnectionsProportion = kDefaultNewConnectionsProportion;
    inheritPortDefaults(executor.settings, settings);
    return settings;
}

} // namespace

static void fillEntry(ClusterListEntry &entry, const Cluster &cluster) {
    storeText(entry.clusterId, textIn(cluster.settings.clusterId));
}

int32_t addCluster(Executor &executor, const ClusterRecord &record) {
    if (findItem(executor.clusters, record.clusterKey) != nullptr)
        return kClusterExists;
    if (numberOf(executor.clusters) >= executor.settings.maxNumberOfClusters)
        return kClusterLimit;
    if (!isAddressUsable(executor, record.address, {}))
        return kClusterAddress;
    if (!isTerminated(record.clusterId))
        return kOutOfRange;

    Cluster cluster;
    cluster.settings = newClusterSettings(executor, record);
    cluster.order = executor.nextOrder;
    if (!applySettings(kClusterSettings, record.header, cluster.settings.header))
        return kOutOfRange;
    if (const int32_t reason = checkSettings(cluster.settings, 0); reason != 0)
        return reason;

    std::set<uint32_t> address{record.address.word};
    addItem(executor.clusters, record.clusterKey, executor.nextOrder, std::move(cluster));
    executor.clusterAddresses.merge(address);
    ++executor.nextOrder;
    return 0;
}

int32_t removeCluster(Executor &executor, Cluster &cluster, const ClusterRecord & /*record*/) {
    executor.clusterAddresses.erase(cluster.settings.address.word);
    removeItem(executor.clusters, cluster.settings.clusterKey, cluster.order);
    return 0;
}

int32_t listClusters(const Executor &executor, ClusterListBlock &block) {
    fillList<ClusterListEntry>(block, executor.clusters);
    return 0;
}

int32_t readClusterSettings(const Cluster &cluster, ClusterRecord &record) {
    replyWith(cluster.settings, record);
    record.numberOfPorts = numberOf(cluster.ports);
    return 0;
}

int32_t writeClusterSettings(Executor &executor, Cluster &cluster, const ClusterRecord &record) {
    ClusterRecord settings = cluster.settings;
    if (!applySettings(kClusterSettings, record.header, settings.header))
        return kOutOfRange;
    if (!isAddressUsable(executor, settings.address, cluster.settings.address))
        return kClusterAddress;
    if (const int32_t reason = checkSettings(settings, numberOf(cluster.ports)); reason != 0)
        return reason;

    replaceSettings(executor, cluster, settings);
    return 0;
}

int32_t readClusterReport(const Cluster &cluster, const Traffic &traffic, ClusterReportRecord &record) {
    Counts counts;
    if (!readCounts(traffic, cluster, counts))
        return kForwardingRefused;
    ClusterReportRecord report{}; // no engine tells the packets apart, so their counters stay 0
    report.clusterKey = cluster.settings.clusterKey;
    report.address = cluster.settings.address;
    report.numberOfPorts = numberOf(cluster.ports);
    report.bytesPerSecond = inField(counts.bytesPerSecond);
    report.connectionsPerSecond = rateOf(traffic, counts, cluster.connectionsPerSecond);
    replyWith(report, record);
    return 0;
}

int32_t setClusterCps(Cluster &cluster, const ClusterReportRecord &record) {
    return keepRate(record.connectionsPerSecond, cluster.connectionsPerSecond);
}

} // namespace rk
