// Clusters.
#include "executor/commands/commands.h"
#include "executor/commands/port_defaults.h"
#include "executor/state/settings.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

namespace rk {

namespace {

bool areSettingsValid(const ClusterRecord &settings, int32_t numberOfPorts) {
    return settings.maxPorts >= numberOfPorts && arePortDefaultsValid(settings) && settings.sharedBytesPerSecond >= 0 &&
           settings.activeConnectionsProportion >= 0 && settings.newConnectionsProportion >= 0 &&
           settings.portSpecificProportion >= 0 && settings.systemProportion >= 0;
}

// Whether a cluster can have `address`; `own` is the one it has so far, 0 for a new cluster.
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

int32_t addCluster(ExecutorState &state, ClusterRecord &record) {
    Executor &executor = state.executor;
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
    if (!areSettingsValid(cluster.settings, 0))
        return kOutOfRange;

    std::set<uint32_t> address{record.address.word};
    addItem(executor.clusters, record.clusterKey, executor.nextOrder, std::move(cluster));
    executor.clusterAddresses.merge(address);
    ++executor.nextOrder;
    return 0;
}

int32_t removeCluster(ExecutorState &state, ClusterRecord &record) {
    const Target target = findCluster(state, record.clusterKey);
    if (target.reason != 0)
        return target.reason;
    Executor &executor = state.executor;
    executor.clusterAddresses.erase(target.cluster->settings.address.word);
    removeItem(executor.clusters, record.clusterKey, target.cluster->order);
    return 0;
}

int32_t listClusters(ExecutorState &state, ClusterListBlock &block) {
    fillList<ClusterListEntry>(block, state.executor.clusters);
    return 0;
}

int32_t readClusterSettings(ExecutorState &state, ClusterRecord &record) {
    const Target target = findCluster(state, record.clusterKey);
    if (target.reason != 0)
        return target.reason;
    replyWith(target.cluster->settings, record);
    record.numberOfPorts = numberOf(target.cluster->ports);
    return 0;
}

int32_t writeClusterSettings(ExecutorState &state, ClusterRecord &record) {
    const Target target = findCluster(state, record.clusterKey);
    if (target.reason != 0)
        return target.reason;
    Executor &executor = state.executor;
    ClusterRecord &kept = target.cluster->settings;
    ClusterRecord settings = kept;
    if (!applySettings(kClusterSettings, record.header, settings.header))
        return kOutOfRange;
    if (!isAddressUsable(executor, settings.address, kept.address))
        return kClusterAddress;
    if (!areSettingsValid(settings, numberOf(target.cluster->ports)))
        return kOutOfRange;

    // The entry moves to the new address without memory being obtained.
    auto address = executor.clusterAddresses.extract(kept.address.word);
    address.value() = settings.address.word;
    executor.clusterAddresses.insert(std::move(address));
    kept = settings;
    return 0;
}

int32_t readClusterReport(ExecutorState &state, ClusterReportRecord &record) {
    const Target target = findCluster(state, record.clusterKey);
    if (target.reason != 0)
        return target.reason;
    ClusterReportRecord report{}; // nothing is forwarded, so the packet counters stay 0
    report.clusterKey = record.clusterKey;
    report.address = target.cluster->settings.address;
    report.numberOfPorts = numberOf(target.cluster->ports);
    report.connectionsPerSecond = target.cluster->connectionsPerSecond;
    replyWith(report, record);
    return 0;
}

int32_t setClusterCps(ExecutorState &state, ClusterReportRecord &record) {
    const Target target = findCluster(state, record.clusterKey);
    if (target.reason != 0)
        return target.reason;
    return keepRate(record.connectionsPerSecond, target.cluster->connectionsPerSecond);
}

} // namespace rk
