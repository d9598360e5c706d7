// The executor's own settings and counters.
#include "library/config/executor_settings.h"
#include "library/native.h"
#include "library/shared/settings.h"
#include "library/shared/statuses.h"

#include <ctime>

using namespace rk;

namespace {

template <std::size_t Size> void clear(uint8_t (&bytes)[Size]) {
    for (uint8_t &byte : bytes)
        byte = 0;
}

// The executor does not know the server's time zone, so its offset travels with the non-forwarding address.
int32_t storeNonForwardingAddress(JNIEnv *env, jobject status, ExecutorSettingsRecord &record) {
    if (!flagFromJava(env, status, "SetNonForwardingAddress", record.setNonForwardingAddress))
        return 0;
    const int32_t seconds = secondsWestOfGreenwich();
    record.secondsWestOfGreenwich = {seconds < 0 ? -1 : 0, seconds};
    record.setSecondsWestOfGreenwich = 1;
    NetworkAddress address;
    const int32_t failure = addressFromJava(env, status, "NFA", address);
    if (failure == 0)
        record.nfa = address;
    return failure;
}

int32_t storeClientGateway(JNIEnv *env, jobject status, ExecutorSettingsRecord &record) {
    if (!flagFromJava(env, status, "SetClientGateway", record.setClientGateway))
        return 0;
    NetworkAddress address;
    if (addressFromJava(env, status, "ClientGateway", address) != 0) {
        toJava(env, status, "SetClientGateway", int8_t{1});
        return kStatusBadClientGateway;
    }
    record.clientGateway = address;
    clear(record.clientGatewayHardware);
    return 0;
}

void storeV6ClientGateway(JNIEnv *env, jobject status, ExecutorSettingsRecord &record) {
    if (!flagFromJava(env, status, "Setv6ClientGateway", record.setV6ClientGateway))
        return;
    bytesFromJava(env, status, "v6ClientGateway", record.v6ClientGateway);
    clear(record.v6ClientGatewayHardware);
}

void countersToJava(JNIEnv *env, jobject report, const ExecutorReportRecord &record) {
    toJava(env, report, "NFA", record.nfa);
    toJava(env, report, "Version", record.version);
    toJava(env, report, "iTimeStarted", record.timeStarted);
    toJava(env, report, "Pcktotal", record.packetsTotal);
    toJava(env, report, "Pcktoshort", record.packetsTooShort);
    toJava(env, report, "Pcknonforw", record.packetsToNonForwardingAddress);
    toJava(env, report, "PckVECdiscard", record.packetsClusterDiscarded);
    toJava(env, report, "PckVECerror", record.packetsClusterInError);
    toJava(env, report, "PckVEClocal", record.packetsClusterLocal);
    toJava(env, report, "PckVECownaddr", record.packetsClusterOwnAddress);
    toJava(env, report, "PckVECforward", record.packetsClusterForwarded);
    toJava(env, report, "Pckforwarderr", record.packetsForwardErrors);
    toJava(env, report, "PcknotVEC", record.packetsNotForCluster);
    toJava(env, report, "PckVECbroadcast", record.packetsClusterBroadcast);
    toJava(env, report, "InconnHashBkts", record.connectionHashBuckets);
    toJava(env, report, "NumClusters", record.numberOfClusters);
    toJava(env, report, "iBytesPerSecond", record.bytesPerSecond);
    toJava(env, report, "iConnectionsPerSecond", record.connectionsPerSecond);
}

} // namespace

int32_t rk::secondsWestOfGreenwich() {
    const std::time_t now = std::time(nullptr);
    std::tm utc = {};
    gmtime_r(&now, &utc);
    utc.tm_hour = 12; // at noon, most zones have the same date
    const std::time_t noon = std::mktime(&utc);
    std::tm local = {};
    gmtime_r(&noon, &utc);
    localtime_r(&noon, &local);
    return (utc.tm_hour - local.tm_hour) * 3600 + (utc.tm_min - local.tm_min) * 60;
}

int32_t getExecutorReport() {
    return send(ucb.executorReport, Command::readExecutorReport);
}

JNIEXPORT jint NATIVE(setExecutorStatusNative)(JNIEnv *env, jobject, jobject status) {
    if (!requireObject(env, status, "executorStatus"))
        return kStatusOther;
    ExecutorSettingsRecord &record = ucb.executor;
    if (const int32_t failure = storeNonForwardingAddress(env, status, record); failure != 0)
        return failure;
    copyIfFlagged(env, status, "SetTraceLevel", record.setTraceLevel, "TraceLevel", record.traceLevel);
    copyIfFlagged(env, status, "SetDefaultClusterMaxPorts", record.setDefaultClusterMaxPorts, "DefaultClusterMaxPorts",
                  record.defaultClusterMaxPorts);
    copyIfFlagged(env, status, "SetFINTimeout", record.setFinTimeout, "FINTimeout", record.finTimeout);
    copyIfFlagged(env, status, "SetHaTimeout", record.setHaTimeout, "HaTimeout", record.haTimeout);
    copyIfFlagged(env, status, "SetHaSyncTimeout", record.setHaSyncTimeout, "HaSyncTimeout", record.haSyncTimeout);
    if (const int32_t failure = storeClientGateway(env, status, record); failure != 0)
        return failure;
    storeV6ClientGateway(env, status, record);
    copyIfFlagged(env, status, "SetDefaultPortMaxServers", record.setDefaultPortMaxServers, "DefaultPortMaxServers",
                  record.defaultPortMaxServers);
    copyIfFlagged(env, status, "SetDefaultPortStaleTimeout", record.setDefaultPortStaleTimeout,
                  "DefaultPortStaleTimeout", record.defaultPortStaleTimeout);
    copyIfFlagged(env, status, "SetSharedBandwidth", record.setSharedBandwidth, "iSharedBytesPerSecond",
                  record.sharedBytesPerSecond);
    copyIfFlagged(env, status, "SetDefaultPortStickyTime", record.setDefaultPortStickyTime, "DefaultPortStickyTime",
                  record.defaultPortStickyTime);
    copyIfFlagged(env, status, "SetDefaultPortAffinityType", record.setDefaultPortAffinityType,
                  "DefaultPortAffinityType", record.defaultPortAffinityType);
    copyIfFlagged(env, status, "SetDefaultPortWeightBound", record.setDefaultPortWeightBound, "DefaultPortWeightBound",
                  record.defaultPortWeightBound);
    copyIfFlagged(env, status, "SetDefaultPortType", record.setDefaultPortType, "DefaultPortType",
                  record.defaultPortType);
    copyIfFlagged(env, status, "SetDefaultPortReplicate", record.setDefaultPortReplicate, "DefaultPortReplicate",
                  record.defaultPortReplicate);
    copyIfFlagged(env, status, "SetMaxNumberOfClusters", record.setMaxNumberOfClusters, "MaxNumberOfClusters",
                  record.maxNumberOfClusters);
    copyIfFlagged(env, status, "SetWidePortNumber", record.setWidePortNumber, "WidePortNumber", record.widePortNumber);
    copyTextIfFlagged(env, status, "SetConfigFileName", record.setConfigFileName, "ConfigFileName",
                      record.configFileName);
    // Executors expect the interval whatever its flag says, and Java servers do not expect the flag back.
    fromJava(env, status, "iCookieExpireInterval", record.cookieExpireInterval);
    (void)flagFromJava(env, status, "SetCookieExpireInterval", record.setCookieExpireInterval);

    const int32_t result = send(record, Command::writeExecutorSettings);
    if (result != 0) {
        flagsToJava(env, status,
                    {{"SetNonForwardingAddress", record.setNonForwardingAddress},
                     {"SetTraceLevel", record.setTraceLevel},
                     {"SetDefaultClusterMaxPorts", record.setDefaultClusterMaxPorts},
                     {"SetFINTimeout", record.setFinTimeout},
                     {"SetHaTimeout", record.setHaTimeout},
                     {"SetHaSyncTimeout", record.setHaSyncTimeout},
                     {"SetClientGateway", record.setClientGateway},
                     {"SetDefaultPortMaxServers", record.setDefaultPortMaxServers},
                     {"SetDefaultPortStaleTimeout", record.setDefaultPortStaleTimeout},
                     {"SetSharedBandwidth", record.setSharedBandwidth},
                     {"SetDefaultPortStickyTime", record.setDefaultPortStickyTime},
                     {"SetDefaultPortAffinityType", record.setDefaultPortAffinityType},
                     {"SetDefaultPortWeightBound", record.setDefaultPortWeightBound},
                     {"SetDefaultPortType", record.setDefaultPortType},
                     {"SetDefaultPortReplicate", record.setDefaultPortReplicate},
                     {"SetMaxNumberOfClusters", record.setMaxNumberOfClusters},
                     {"SetWidePortNumber", record.setWidePortNumber},
                     {"SetSecondsWestOfGreenwich", record.setSecondsWestOfGreenwich},
                     {"SetConfigFileName", record.setConfigFileName},
                     {"Setv6ClientGateway", record.setV6ClientGateway}});
    }
    return result;
}

JNIEXPORT jint NATIVE(getExecutorStatusNative)(JNIEnv *env, jobject, jobject status) {
    if (!requireObject(env, status, "executorStatus"))
        return kStatusOther;
    const ExecutorSettingsRecord &record = ucb.executor;
    if (const int32_t result = send(ucb.executor, Command::readExecutorSettings); result != 0)
        return result;
    toJava(env, status, "NFA", record.nfa);
    toJava(env, status, "TraceLevel", record.traceLevel);
    toJava(env, status, "DefaultClusterMaxPorts", record.defaultClusterMaxPorts);
    toJava(env, status, "FINTimeout", record.finTimeout);
    toJava(env, status, "HaTimeout", record.haTimeout);
    toJava(env, status, "HaSyncTimeout", record.haSyncTimeout);
    toJava(env, status, "ClientGateway", record.clientGateway);
    toJava(env, status, "DefaultPortMaxServers", record.defaultPortMaxServers);
    toJava(env, status, "DefaultPortStaleTimeout", record.defaultPortStaleTimeout);
    toJava(env, status, "iSharedBytesPerSecond", record.sharedBytesPerSecond);
    toJava(env, status, "DefaultPortStickyTime", record.defaultPortStickyTime);
    toJava(env, status, "DefaultPortAffinityType", record.defaultPortAffinityType);
    toJava(env, status, "DefaultPortWeightBound", record.defaultPortWeightBound);
    toJava(env, status, "MaxNumberOfClusters", record.maxNumberOfClusters);
    toJava(env, status, "DefaultPortType", record.defaultPortType);
    toJava(env, status, "DefaultPortReplicate", record.defaultPortReplicate);
    toJava(env, status, "WidePortNumber", record.widePortNumber);
    toJava(env, status, "ConfigFileName", record.configFileName);
    toJava(env, status, "sPluginConfigFileName", record.pluginConfigFileName);
    bytesToJava(env, status, "v6ClientGateway", record.v6ClientGateway);
    return 0;
}

JNIEXPORT jint NATIVE(getExecutorReportNative)(JNIEnv *env, jobject, jobject report) {
    if (!requireObject(env, report, "executorReport"))
        return kStatusOther;
    const int32_t result = getExecutorReport();
    if (result == 0)
        countersToJava(env, report, ucb.executorReport);
    return result;
}

JNIEXPORT jint NATIVE(setExecutorCPSNative)(JNIEnv *env, jobject, jobject report) {
    if (!requireObject(env, report, "executorReport"))
        return kStatusOther;
    fromJava(env, report, "iConnectionsPerSecond", ucb.executorReport.connectionsPerSecond);
    return send(ucb.executorReport, Command::setExecutorCps);
}
