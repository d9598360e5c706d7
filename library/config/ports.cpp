// Ports are the protocol port numbers that a cluster serves.
#include "library/config/ports.h"
#include "library/config/clusters.h"
#include "library/native.h"
#include "library/shared/keys.h"
#include "library/shared/lists.h"
#include "library/shared/replies.h"
#include "library/shared/settings.h"

#include <unistd.h>

using namespace rk;

namespace {

constexpr unsigned kRetryWaits[] = {6789, 6543}; // seconds

constexpr ReasonRow kAddOrSetReasons[] = {{kPortServerLimit, kStatusPortServerLimit},
                                          {kUnknownPortType, kStatusUnknownPortType},
                                          {kHalfOpenLimit, kStatusHalfOpenLimit},
                                          {kUnknownProtocol, kStatusUnknownProtocol},
                                          {kCrossPortChain, kStatusCrossPortChain},
                                          {kWeightBound, kStatusWeightBound},
                                          {kUnknownCrossPort, kStatusUnknownPort},
                                          {kStickyTime, kStatusStickyTime},
                                          {kStickyBits, kStatusStickyBits},
                                          {kUnknownMethod, kStatusUnknownMethod},
                                          {kStaleTimeout, kStatusStaleTimeout},
                                          {kUnknownCluster, kStatusUnknownCluster},
                                          {kPortLimit, kStatusPortLimit},
                                          {kPortExists, kStatusPortExists},
                                          {kUnknownPort, kStatusUnknownPort}};
constexpr ReasonRow kReasons[] = {{kUnknownCluster, kStatusUnknownCluster}, {kUnknownPort, kStatusUnknownPort}};
constexpr ReasonRow kListReasons[] = {{kUnknownCluster, kStatusUnknownCluster}};

// Sends the block. When the executor is out of memory, waits and sends it again, twice; the executor's protocol makes
// the waits hours.
int32_t sendWithRetries(PortRecord &record) {
    if (prv_EXC_Command(&record.header) == 0)
        return 0;
    if (record.header.reason != kPortOutOfMemory)
        return statusOf(record.header.reason, kAddOrSetReasons);
    for (const unsigned seconds : kRetryWaits) {
        sleep(seconds);
        if (prv_EXC_Command(&record.header) == 0)
            return 0;
    }
    return kStatusOutOfMemory;
}

void flagsOfRecordToJava(JNIEnv *env, jobject port, const PortRecord &record) {
    flagsToJava(env, port,
                {{"SetMaxNumberOfServers", record.setMaxServers},
                 {"SetStickyTime", record.setStickyTime},
                 {"SetPortProtocol", record.setProtocol},
                 {"SetStickyBits", record.setStickyBits},
                 {"SetStaleTimeout", record.setStaleTimeout},
                 {"SetWeightBound", record.setWeightBound},
                 {"SetType", record.setType},
                 {"SetMethod", record.setMethod},
                 {"SetReplicate", record.setReplicate},
                 {"SetMaxHalfOpen", record.setMaxHalfOpen},
                 {"SetCrossPort", record.setCrossPort},
                 {"SetSendReset", record.setSendReset}});
}

// Adding and changing look at the port number before anything else.
int32_t addOrSet(JNIEnv *env, jobject interface, jobject port, Command command) {
    if (!requireObject(env, port, "port"))
        return kStatusOther;
    NetworkPort number;
    if (const int32_t status = portFromJava(env, port, "PortNumber", number); status != 0)
        return status;
    ucb.header.command = command;
    return AddOrSetPort(env, interface, port);
}

// Stores the keys of a request about a port, its number first. Returns 0, or the status of what is wrong with them.
template <typename Record> int32_t keysFromJava(JNIEnv *env, jobject port, Record &record) {
    if (const int32_t status = portFromJava(env, port, "PortNumber", record.port); status != 0)
        return status;
    return clusterKeyFromJava(env, port, record.clusterKey) ? 0 : kStatusOther;
}

// Appends the numbers of a cluster's ports. Returns 0 or a status.
int32_t listPorts(JNIEnv *env, jstring clusterId, ReportText &text) {
    uint32_t key = 0;
    if (!keyOfString(env, clusterId, key))
        return kStatusOther;
    if (const int32_t status = getClusterReport(key); status != 0)
        return status;
    const int32_t room = ucb.clusterReport.numberOfPorts;
    const auto block = allocateBlock<PortListBlock, PortListEntry>(room);
    if (block == nullptr)
        return kStatusOutOfMemory;
    block->clusterKey = key;
    const int32_t status = sendBlock(block->header, Command::listPorts, kListReasons);
    if (status == 0) {
        const auto *entries = entriesOf<const PortListEntry>(block.get());
        const int32_t count = entriesWithin(block->count, room);
        for (int32_t i = 0; i < count && appendLine(text, "+%d", javaInt(entries[i].port)) == 0; ++i)
            ;
    }
    return status;
}

} // namespace

int32_t AddOrSetPort(JNIEnv *env, jobject, jobject port) {
    PortRecord &record = ucb.port;
    record.header.length = sizeof(PortRecord);
    const bool isNamed = clusterKeyFromJava(env, port, record.clusterKey);
    if (const int32_t status = portFromJava(env, port, "PortNumber", record.port); status != 0)
        return status;
    copyIfFlagged(env, port, "SetMaxNumberOfServers", record.setMaxServers, "MaxNumberOfServers", record.maxServers);
    copyIfFlagged(env, port, "SetStaleTimeout", record.setStaleTimeout, "StaleTimeout", record.staleTimeout);
    copyIfFlagged(env, port, "SetStickyTime", record.setStickyTime, "StickyTime", record.stickyTime);
    copyIfFlagged(env, port, "SetStickyBits", record.setStickyBits, "iStickyBits", record.stickyBits);
    copyIfFlagged(env, port, "SetWeightBound", record.setWeightBound, "WeightBound", record.weightBound);
    if (flagFromJava(env, port, "SetType", record.setType)) {
        jchar type = 0;
        record.type = static_cast<int8_t>(GetJavaCharField(env, port, "Type", &type));
    }
    copyIfFlagged(env, port, "SetMethod", record.setMethod, "iMethod", record.method);
    copyIfFlagged(env, port, "SetPortProtocol", record.setProtocol, "iPortProtocol", record.protocol);
    if (flagFromJava(env, port, "SetReplicate", record.setReplicate)) // an int in Java, not a char
        record.replicate = static_cast<uint8_t>(intFromJava(env, port, "Replicate"));
    copyIfFlagged(env, port, "SetMaxHalfOpen", record.setMaxHalfOpen, "iMaxHalfOpen", record.maxHalfOpen);
    copyIfFlagged(env, port, "SetCrossPort", record.setCrossPort, "iCrossPort", record.crossPort);
    copyIfFlagged(env, port, "SetSendReset", record.setSendReset, "SendReset", record.sendReset);

    if (!isNamed)
        return kStatusOther;
    const int32_t status = sendWithRetries(record);
    flagsOfRecordToJava(env, port, record);
    return status;
}

int32_t getPortReport(uint32_t clusterKey, int32_t port) {
    ucb.portReport.clusterKey = clusterKey;
    ucb.portReport.port = networkPort(port);
    return send(ucb.portReport, Command::readPortReport);
}

int32_t rk::reportOfListedPort(JNIEnv *env, jstring clusterId, jint port, uint32_t &clusterKey) {
    const bool isNamed = keyOfString(env, clusterId, clusterKey);
    if (const int32_t status = checkPort(port); status != 0)
        return status;
    return isNamed ? getPortReport(clusterKey, port) : kStatusOther;
}

JNIEXPORT jint NATIVE(addPortNative)(JNIEnv *env, jobject interface, jobject port) {
    return addOrSet(env, interface, port, Command::addPort);
}

JNIEXPORT jint NATIVE(setPortStatusNative)(JNIEnv *env, jobject interface, jobject port) {
    return addOrSet(env, interface, port, Command::writePortSettings);
}

JNIEXPORT jint NATIVE(removePortNative)(JNIEnv *env, jobject, jobject port) {
    if (!requireObject(env, port, "port"))
        return kStatusOther;
    NetworkAddress unused; // the key names the cluster, but Java servers expect its address to be checked
    if (addressFromJava(env, port, "ClusterAddress", unused) != 0)
        return kStatusPortClusterAddress;
    if (const int32_t status = keysFromJava(env, port, ucb.port); status != 0)
        return status;
    return sendAndMap(ucb.port, Command::removePort, kReasons);
}

JNIEXPORT jint NATIVE(getPortStatusNative)(JNIEnv *env, jobject, jobject port) {
    if (!requireObject(env, port, "port"))
        return kStatusOther;
    PortRecord &record = ucb.port;
    if (const int32_t status = keysFromJava(env, port, record); status != 0)
        return status;
    if (const int32_t status = sendAndMap(record, Command::readPortSettings, kReasons); status != 0)
        return status;
    toJava(env, port, "NumServers", record.numberOfServers);
    toJava(env, port, "MaxNumberOfServers", record.maxServers);
    toJava(env, port, "StickyTime", record.stickyTime);
    toJava(env, port, "iPortProtocol", record.protocol);
    toJava(env, port, "iStickyBits", record.stickyBits);
    toJava(env, port, "StaleTimeout", record.staleTimeout);
    toJava(env, port, "WeightBound", record.weightBound);
    SetJavaCharField(env, port, "Type", record.type); // sign-extended: 0x80 becomes 0xFF80
    toJava(env, port, "iMethod", record.method);
    toJava(env, port, "Replicate", int32_t{record.replicate});
    toJava(env, port, "iCrossPort", record.crossPort);
    toJava(env, port, "iMaxHalfOpen", record.maxHalfOpen);
    toJava(env, port, "SendReset", record.sendReset);
    return 0;
}

JNIEXPORT jint NATIVE(getPortReportNative)(JNIEnv *env, jobject, jobject port) {
    if (!requireObject(env, port, "port"))
        return kStatusOther;
    PortReportRecord &record = ucb.portReport;
    if (const int32_t status = keysFromJava(env, port, record); status != 0)
        return status;
    if (const int32_t status = sendAndMap(record, Command::readPortReport, kReasons); status != 0)
        return status;
    toJava(env, port, "NumServers", record.numberOfServers);
    toJava(env, port, "NumNodesDown", record.serversDown);
    toJava(env, port, "NumNodesLocal", record.localServers);
    toJava(env, port, "MaxWeight", record.highestWeight);
    toJava(env, port, "iConnectionsPerSecond", record.connectionsPerSecond);
    toJava(env, port, "ActiveConnections", record.activeConnections);
    toJava(env, port, "iNumHalfOpen", record.halfOpenConnections);
    toJava(env, port, "iBytesPerSecond", record.bytesPerSecond);
    toJava(env, port, "iResetsSent", record.resetsSent);
    toJava(env, port, "iPortProtocol", record.protocol);
    toJava(env, port, "iMethod", record.method);
    return 0;
}

JNIEXPORT jint NATIVE(setPortCPSNative)(JNIEnv *env, jobject, jobject port) {
    if (!requireObject(env, port, "port"))
        return kStatusOther;
    PortReportRecord &record = ucb.portReport;
    if (const int32_t status = portFromJava(env, port, "PortNumber", record.port); status != 0)
        return status;
    fromJava(env, port, "iConnectionsPerSecond", record.connectionsPerSecond);
    if (!clusterKeyFromJava(env, port, record.clusterKey))
        return kStatusOther;
    return send(record, Command::setPortCps);
}

JNIEXPORT jint NATIVE(getPortsListNative)(JNIEnv *env, jobject, jstring clusterId, jobject list) {
    if (!requireObject(env, list, "list"))
        return kStatusOther;
    ReportText text;
    if (!openReport(text, kListTextBytes))
        return kStatusOutOfMemory;
    const int32_t status = listPorts(env, clusterId, text);
    appendReportToJava(env, list, text);
    return status;
}
