// Clusters are the virtual addresses on which the executor balances load.
#include "library/config/clusters.h"
#include "library/config/executor_settings.h"
#include "library/native.h"
#include "library/shared/lists.h"
#include "library/shared/replies.h"
#include "library/shared/settings.h"

using namespace rk;

namespace {

constexpr ReasonRow kAddOrSetReasons[] = {{kClusterAddress, kStatusClusterAddress},
                                          {kClusterLimit, kStatusClusterLimit},
                                          {kClusterExists, kStatusClusterExists},
                                          {kClusterOutOfMemory, kStatusOutOfMemory},
                                          {kUnknownCluster, kStatusUnknownCluster}};
constexpr ReasonRow kReasons[] = {{kUnknownCluster, kStatusUnknownCluster}};

// Stores the key of the object's identifier. Returns false, and stores nothing, when there is no identifier; the block
// then still has the key of an earlier command.
[[nodiscard]] bool keyFromJava(JNIEnv *env, jobject cluster, uint32_t &key) {
    return JStringFieldToHash(env, cluster, "sClusterId", &key) != nullptr;
}

void flagsOfRecordToJava(JNIEnv *env, jobject cluster, const ClusterRecord &record) {
    flagsToJava(env, cluster,
                {{"SetMaxNumberOfPorts", record.setMaxPorts},
                 {"SetPrimaryHost", record.setPrimaryHost},
                 {"SetDefaultPortMaxServers", record.setDefaultPortMaxServers},
                 {"SetDefaultPortStickyTime", record.setDefaultPortStickyTime},
                 {"SetDefaultPortAffinityType", record.setDefaultPortAffinityType},
                 {"SetDefaultPortWeightBound", record.setDefaultPortWeightBound},
                 {"SetDefaultPortType", record.setDefaultPortType},
                 {"SetDefaultPortReplicate", record.setDefaultPortReplicate},
                 {"SetDefaultPortStaleTimeout", record.setDefaultPortStaleTimeout},
                 {"SetClusterProportions", record.setProportions},
                 {"SetSharedBandwidth", record.setSharedBandwidth},
                 {"SetIPAddress", record.setAddress},
                 {"SetNatPtAddress", record.setNatAddress}});
}

// Appends the names of all clusters. Returns 0 or a status.
int32_t listClusters(ReportText &text) {
    if (const int32_t status = getExecutorReport(); status != 0)
        return status;
    const int32_t room = ucb.executorReport.numberOfClusters;
    const auto block = allocateBlock<ClusterListBlock, ClusterListEntry>(room);
    if (block == nullptr)
        return kStatusOutOfMemory;
    const int32_t status = sendBlock(block->header, Command::listClusters, {});
    if (status == 0)
        appendNames(text, entriesOf<const ClusterListEntry>(block.get()), entriesWithin(block->count, room),
                    &ClusterListEntry::clusterId);
    return status;
}

} // namespace

int32_t AddOrSetCluster(JNIEnv *env, jobject, jobject cluster) {
    ClusterRecord &record = ucb.cluster;
    record.header.length = sizeof(ClusterRecord);
    const bool isNamed = keyFromJava(env, cluster, record.clusterKey);
    NetworkAddress address;
    if (addressFromJava(env, cluster, "Address", address) == 0)
        record.address = address; // whether the text parses matters only for a change of the address, below
    copyIfFlagged(env, cluster, "SetMaxNumberOfPorts", record.setMaxPorts, "MaxNumberOfPorts", record.maxPorts);
    if (flagFromJava(env, cluster, "SetPrimaryHost", record.setPrimaryHost))
        (void)addressFromJava(env, cluster, "sPrimaryHost", record.primaryHost); // Java servers expect no refusal
    copyIfFlagged(env, cluster, "SetDefaultPortMaxServers", record.setDefaultPortMaxServers, "DefaultPortMaxServers",
                  record.defaultPortMaxServers);
    copyIfFlagged(env, cluster, "SetDefaultPortStickyTime", record.setDefaultPortStickyTime, "DefaultPortStickyTime",
                  record.defaultPortStickyTime);
    copyIfFlagged(env, cluster, "SetDefaultPortAffinityType", record.setDefaultPortAffinityType,
                  "DefaultPortAffinityType", record.defaultPortAffinityType);
    copyIfFlagged(env, cluster, "SetDefaultPortWeightBound", record.setDefaultPortWeightBound, "DefaultPortWeightBound",
                  record.defaultPortWeightBound);
    copyIfFlagged(env, cluster, "SetDefaultPortStaleTimeout", record.setDefaultPortStaleTimeout,
                  "DefaultPortStaleTimeout", record.defaultPortStaleTimeout);
    if (flagFromJava(env, cluster, "SetClusterProportions", record.setProportions)) {
        fromJava(env, cluster, "iActiveConnsProp", record.activeConnectionsProportion);
        fromJava(env, cluster, "iNewConnsProp", record.newConnectionsProportion);
        fromJava(env, cluster, "iPortSpecificProp", record.portSpecificProportion);
        fromJava(env, cluster, "iSystemProp", record.systemProportion);
    }
    copyIfFlagged(env, cluster, "SetSharedBandwidth", record.setSharedBandwidth, "iSharedBytesPerSecond",
                  record.sharedBytesPerSecond);
    copyIfFlagged(env, cluster, "SetDefaultPortType", record.setDefaultPortType, "DefaultPortType",
                  record.defaultPortType);
    copyIfFlagged(env, cluster, "SetDefaultPortReplicate", record.setDefaultPortReplicate, "DefaultPortReplicate",
                  record.defaultPortReplicate);
    textFromJava(env, cluster, "sClusterId", record.clusterId);
    record.clusterKey = static_cast<uint32_t>(intFromJava(env, cluster, "iClusterIdKey"));
    if (flagFromJava(env, cluster, "SetIPAddress", record.setAddress)) {
        if (addressFromJava(env, cluster, "Address", address) != 0)
            return kStatusClusterAddress;
        record.address = address;
    }
    if (flagFromJava(env, cluster, "SetNatPtAddress", record.setNatAddress))
        bytesFromJava(env, cluster, "natPtAddress", record.natAddress);

    // The key that is sent is iClusterIdKey. Without this, the cluster would get an empty identifier.
    if (!isNamed)
        return kStatusNoClusterId;
    const int32_t status = sendAndMap(record, record.header.command, kAddOrSetReasons);
    flagsOfRecordToJava(env, cluster, record);
    return status;
}

int32_t getClusterReport(uint32_t clusterKey) {
    ucb.clusterReport.clusterKey = clusterKey;
    return send(ucb.clusterReport, Command::readClusterReport);
}

JNIEXPORT jint NATIVE(addClusterNative)(JNIEnv *env, jobject interface, jobject cluster) {
    if (!requireObject(env, cluster, "cluster"))
        return kStatusOther;
    const int32_t status =
        identifierKeyToJava(env, cluster, "sClusterId", "iClusterIdKey", kStatusNoClusterId, kStatusClusterIdTooLong);
    if (status != 0)
        return status;
    ucb.header.command = Command::addCluster;
    return AddOrSetCluster(env, interface, cluster);
}

// Java servers depend on a change being about the cluster whose key the object holds: unlike adding, it makes no key
// from the identifier, and does not check its length.
JNIEXPORT jint NATIVE(setClusterStatusNative)(JNIEnv *env, jobject interface, jobject cluster) {
    if (!requireObject(env, cluster, "cluster"))
        return kStatusOther;
    ucb.header.command = Command::writeClusterSettings;
    return AddOrSetCluster(env, interface, cluster);
}

JNIEXPORT jint NATIVE(removeClusterNative)(JNIEnv *env, jobject, jobject cluster) {
    if (!requireObject(env, cluster, "cluster"))
        return kStatusOther;
    if (!keyFromJava(env, cluster, ucb.cluster.clusterKey))
        return kStatusNoClusterId;
    return sendAndMap(ucb.cluster, Command::removeCluster, kReasons);
}

JNIEXPORT jint NATIVE(getClusterStatusNative)(JNIEnv *env, jobject, jobject cluster) {
    if (!requireObject(env, cluster, "cluster"))
        return kStatusOther;
    const ClusterRecord &record = ucb.cluster;
    if (!keyFromJava(env, cluster, ucb.cluster.clusterKey))
        return kStatusNoClusterId;
    if (const int32_t status = sendAndMap(ucb.cluster, Command::readClusterSettings, kReasons); status != 0)
        return status;
    toJava(env, cluster, "NumPorts", record.numberOfPorts);
    toJava(env, cluster, "MaxNumberOfPorts", record.maxPorts);
    toJava(env, cluster, "DefaultPortMaxServers", record.defaultPortMaxServers);
    toJava(env, cluster, "DefaultPortStickyTime", record.defaultPortStickyTime);
    toJava(env, cluster, "DefaultPortAffinityType", record.defaultPortAffinityType);
    toJava(env, cluster, "DefaultPortWeightBound", record.defaultPortWeightBound);
    toJava(env, cluster, "DefaultPortStaleTimeout", record.defaultPortStaleTimeout);
    toJava(env, cluster, "iNewConnsProp", record.newConnectionsProportion);
    toJava(env, cluster, "iActiveConnsProp", record.activeConnectionsProportion);
    toJava(env, cluster, "iPortSpecificProp", record.portSpecificProportion);
    toJava(env, cluster, "iSystemProp", record.systemProportion);
    toJava(env, cluster, "iSharedBytesPerSecond", record.sharedBytesPerSecond);
    toJava(env, cluster, "DefaultPortType", record.defaultPortType);
    toJava(env, cluster, "DefaultPortReplicate", record.defaultPortReplicate);
    toJava(env, cluster, "sPrimaryHost", record.primaryHost);
    toJava(env, cluster, "iClusterIdKey", record.clusterKey);
    toJava(env, cluster, "sClusterId", record.clusterId);
    toJava(env, cluster, "Address", record.address);
    bytesToJava(env, cluster, "natPtAddress", record.natAddress);
    return 0;
}

JNIEXPORT jint NATIVE(getClusterReportNative)(JNIEnv *env, jobject, jobject cluster) {
    if (!requireObject(env, cluster, "cluster"))
        return kStatusOther;
    ClusterReportRecord &record = ucb.clusterReport;
    NetworkAddress unused; // the key alone names the cluster, but Java servers expect the address to be resolved
    (void)addressFromJava(env, cluster, "Address", unused);
    if (!keyFromJava(env, cluster, record.clusterKey))
        return kStatusNoClusterId;
    if (const int32_t status = sendAndMap(record, Command::readClusterReport, kReasons); status != 0)
        return status;
    toJava(env, cluster, "NumPorts", record.numberOfPorts);
    toJava(env, cluster, "SYNonActive", record.synOnActive);
    toJava(env, cluster, "SYNonFINNed", record.synOnFinished);
    toJava(env, cluster, "FINs_Dropped", record.finsDropped);
    toJava(env, cluster, "ACKs_Dropped", record.acksDropped);
    toJava(env, cluster, "RSTs_Dropped", record.rstsDropped);
    toJava(env, cluster, "PKTs_Dropped", record.packetsDropped);
    toJava(env, cluster, "PKTnonExisting", record.packetsForNoConnection);
    toJava(env, cluster, "QuiescNew", record.newWhileQuiesced);
    toJava(env, cluster, "iBytesPerSecond", record.bytesPerSecond);
    toJava(env, cluster, "iConnectionsPerSecond", record.connectionsPerSecond);
    toJava(env, cluster, "iClusterIdKey", record.clusterKey);
    toJava(env, cluster, "Address", record.address);
    return 0;
}

JNIEXPORT jint NATIVE(setClusterCPSNative)(JNIEnv *env, jobject, jobject cluster) {
    if (!requireObject(env, cluster, "cluster"))
        return kStatusOther;
    ucb.clusterReport.clusterKey = static_cast<uint32_t>(intFromJava(env, cluster, "iClusterIdKey"));
    fromJava(env, cluster, "iConnectionsPerSecond", ucb.clusterReport.connectionsPerSecond);
    return send(ucb.clusterReport, Command::setClusterCps);
}

JNIEXPORT jint NATIVE(getClustersListNative)(JNIEnv *env, jobject, jobject list) {
    if (!requireObject(env, list, "list"))
        return kStatusOther;
    ReportText text;
    if (!openReport(text, kListTextBytes))
        return kStatusOutOfMemory;
    const int32_t status = listClusters(text);
    appendReportToJava(env, list, text);
    return status;
}
