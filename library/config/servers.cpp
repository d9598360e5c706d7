// Servers are the machines behind a port.
#include "library/config/servers.h"
#include "library/config/listeners.h"
#include "library/config/ports.h"
#include "library/native.h"
#include "library/shared/keys.h"
#include "library/shared/lists.h"
#include "library/shared/settings.h"

using namespace rk;

namespace {

constexpr ReasonRow kAddOrSetReasons[] = {{kUnknownCluster, kStatusUnknownCluster},
                                          {kUnknownPort, kStatusUnknownPort},
                                          {kUnknownServer, kStatusUnknownServer},
                                          {kServerOutOfMemory, kStatusOutOfMemory},
                                          {kServerExists, kStatusServerExists},
                                          {kServerLimit, kStatusServerLimit},
                                          {kWeight, kStatusWeight},
                                          {kCollocatedRouter, kStatusCollocatedRouter},
                                          {kCpsMaximum, kStatusCpsMaximum}};
constexpr ReasonRow kReasons[] = {{kUnknownCluster, kStatusUnknownCluster},
                                  {kUnknownPort, kStatusUnknownPort},
                                  {kUnknownServer, kStatusUnknownServer}};
constexpr ReasonRow kListReasons[] = {{kUnknownCluster, kStatusUnknownCluster}, {kUnknownPort, kStatusUnknownPort}};

int32_t storeWeight(JNIEnv *env, jobject server, ServerRecord &record) {
    if (!flagFromJava(env, server, "SetWeight", record.setWeight))
        return 0;
    const jint value = intFromJava(env, server, "_iWeight");
    if (value < 0)
        return kStatusWeight;
    record.weight = static_cast<int16_t>(value);
    return 0;
}

int32_t storeReturnAddress(JNIEnv *env, jobject server, ServerRecord &record) {
    if (!flagFromJava(env, server, "SetReturnAddress", record.setReturnAddress))
        return 0;
    NetworkAddress address;
    if (addressFromJava(env, server, "_sReturnAddress", address) != 0)
        return kStatusBadReturnAddress;
    record.returnAddress = address;
    return 0;
}

int32_t storeRouterAddress(JNIEnv *env, jobject server, ServerRecord &record) {
    if (!flagFromJava(env, server, "SetRouterAddress", record.setRouterAddress)) {
        record.routerAddressPresent = 0;
        return 0;
    }
    NetworkAddress address;
    if (addressFromJava(env, server, "_sRouterAddress", address) != 0)
        return kStatusBadRouterAddress;
    record.routerAddress = address;
    record.routerAddressPresent = 1;
    record.remote = address.word != 0 ? 1 : 0;
    return 0;
}

// Unlike other optional texts, this one is emptied when it is not given: executors would go on using an old cookie.
void storeCookieValue(JNIEnv *env, jobject server, ServerRecord &record) {
    if (flagFromJava(env, server, "SetCookieValue", record.setCookieValue))
        textFromJava(env, server, "CookieValue", record.cookieValue);
    else
        record.cookieValue[0] = '\0';
}

// Stores the keys of a request about a server. Returns 0, or the status of what is wrong with them.
template <typename Record> int32_t keysFromJava(JNIEnv *env, jobject server, Record &record) {
    const bool isNamed = clusterKeyFromJava(env, server, record.clusterKey);
    if (const int32_t status = portFromJava(env, server, "Port", record.port); status != 0)
        return status;
    record.serverKey = serverKeyFromJava(env, server);
    return isNamed ? 0 : kStatusOther;
}

int32_t markServer(JNIEnv *env, jobject server, Command command) {
    if (!requireObject(env, server, "server"))
        return kStatusOther;
    if (const int32_t status = keysFromJava(env, server, ucb.serverCommand); status != 0)
        return status;
    ucb.serverCommand.numberOfServers = 1;
    return sendAndMap(ucb.serverCommand, command, kReasons);
}

// Stores the servers' keys into a Java array, as far as it reaches. Elements that are the array's own, not a copy, need
// no release: the keys are in place.
void keysToJava(JNIEnv *env, jintArray keys, const ServerListEntry *entries, int32_t count) {
    jboolean isCopy = JNI_FALSE;
    jint *elements = env->GetIntArrayElements(keys, &isCopy);
    if (elements == nullptr)
        return;
    const jsize room = env->GetArrayLength(keys);
    for (int32_t i = 0; i < count && i < room; ++i)
        elements[i] = static_cast<jint>(entries[i].serverKey);
    if (isCopy == JNI_TRUE)
        env->ReleaseIntArrayElements(keys, elements, 0);
}

// Appends the names of a port's servers, and stores their keys. Returns 0 or a status.
int32_t listServers(JNIEnv *env, jstring clusterId, jint port, ReportText &text, jintArray keys) {
    uint32_t clusterKey = 0;
    if (const int32_t status = reportOfListedPort(env, clusterId, port, clusterKey); status != 0)
        return status;
    const int32_t room = ucb.portReport.numberOfServers;
    const auto block = allocateBlock<ServerListBlock, ServerListEntry>(room, clusterKey, networkPort(port));
    if (block == nullptr)
        return kStatusOutOfMemory;
    const int32_t status = sendBlock(block->header, Command::listServers, kListReasons);
    if (status == 0) {
        const auto *entries = entriesOf<const ServerListEntry>(block.get());
        keysToJava(env, keys, entries, appendNames(text, entries, room, &ServerListEntry::serverId));
    }
    return status;
}

} // namespace

int32_t AddOrSetServer(JNIEnv *env, jobject, jobject server) {
    ServerRecord &record = ucb.server;
    record.header.length = sizeof(ServerRecord);
    textFromJava(env, server, "sServerID", record.serverId);
    record.serverKey = serverKeyFromJava(env, server);
    const bool isNamed = clusterKeyFromJava(env, server, record.clusterKey);
    if (const int32_t status = portFromJava(env, server, "Port", record.port); status != 0)
        return status;
    const jint listeners = intFromJava(env, server, "_iNumListeners");
    record.numberOfListeners = static_cast<uint16_t>(listeners);
    if (flagFromJava(env, server, "SetListeners", record.setListeners))
        if (const int32_t status = listenersFromJava(env, server, listeners, record); status != 0)
            return status;
    if (const int32_t status = storeWeight(env, server, record); status != 0)
        return status;
    copyIfFlagged(env, server, "SetFixedWeight", record.setFixedWeight, "_bFixedWeight", record.fixedWeight);
    if (const int32_t status = storeReturnAddress(env, server, record); status != 0)
        return status;
    if (const int32_t status = storeRouterAddress(env, server, record); status != 0)
        return status;
    copyWidenedIfFlagged(env, server, "SetCollocated", record.setCollocated, "bCollocated", record.collocated);
    copyWidenedIfFlagged(env, server, "SetSticky", record.setSticky, "bSticky", record.sticky);
    copyIfFlagged(env, server, "SetQuiesced", record.setQuiesced, "_iQuiesced", record.quiesced);
    copyTextIfFlagged(env, server, "SetAdvisorRequest", record.setAdvisorRequest, "_sAdvisorRequest",
                      record.advisorRequest);
    copyTextIfFlagged(env, server, "SetAdvisorResponse", record.setAdvisorResponse, "_sAdvisorResponse",
                      record.advisorResponse);
    storeCookieValue(env, server, record);
    copyTextIfFlagged(env, server, "SetCloneID", record.setCloneId, "CloneID", record.cloneId);
    copyIfFlagged(env, server, "SetCPSMaximum", record.setCpsMaximum, "_iCPSMaximum", record.cpsMaximum);
    if (!isNamed)
        return kStatusOther;
    return sendAndMap(record, record.header.command, kAddOrSetReasons);
}

JNIEXPORT jint NATIVE(addServerNative)(JNIEnv *env, jobject interface, jobject server) {
    if (!requireObject(env, server, "server"))
        return kStatusOther;
    const int32_t status =
        identifierKeyToJava(env, server, "sServerID", "iServerIdKey", kStatusNoServerId, kStatusServerIdTooLong);
    if (status != 0)
        return status;
    ucb.header.command = Command::addServer;
    return AddOrSetServer(env, interface, server);
}

// Java servers depend on a change being about the server whose key the object holds from the add: it makes no key from
// the identifier, and does not check it.
JNIEXPORT jint NATIVE(setServerStatusNative)(JNIEnv *env, jobject interface, jobject server) {
    if (!requireObject(env, server, "server"))
        return kStatusOther;
    ucb.header.command = Command::writeServerSettings;
    return AddOrSetServer(env, interface, server);
}

JNIEXPORT jint NATIVE(removeServerNative)(JNIEnv *env, jobject, jobject server) {
    if (!requireObject(env, server, "server"))
        return kStatusOther;
    const int32_t status = keysFromJava(env, server, ucb.server);
    return status != 0 ? status : sendAndMap(ucb.server, Command::removeServer, kReasons);
}

JNIEXPORT jint NATIVE(setServerUpNative)(JNIEnv *env, jobject, jobject server) {
    return markServer(env, server, Command::markServerUp);
}

JNIEXPORT jint NATIVE(setServerDownNative)(JNIEnv *env, jobject, jobject server) {
    return markServer(env, server, Command::markServerDown);
}

// The executor knows no hosts. These methods only keep the Java interface complete.
JNIEXPORT jint NATIVE(setHostDownNative)(JNIEnv *, jobject, jobject) {
    return 0;
}

JNIEXPORT jint NATIVE(setHostUpNative)(JNIEnv *, jobject, jobject) {
    return 0;
}

JNIEXPORT jint NATIVE(removeHostNative)(JNIEnv *, jobject, jobject) {
    return 0;
}

JNIEXPORT jint NATIVE(setServerCPSNative)(JNIEnv *env, jobject, jobject server) {
    if (!requireObject(env, server, "server"))
        return kStatusOther;
    ServerReportRecord &record = ucb.serverReport;
    const uint32_t serverKey = serverKeyFromJava(env, server);
    if (static_cast<int32_t>(serverKey) < 0)
        return kStatusOther;
    const bool isNamed = clusterKeyFromJava(env, server, record.clusterKey);
    if (const int32_t status = portFromJava(env, server, "Port", record.port); status != 0)
        return status;
    fromJava(env, server, "_iCPSCount", record.connectionsPerSecond);
    if (record.connectionsPerSecond < 0 || !isNamed)
        return kStatusOther;
    record.serverKey = serverKey;
    return send(record, Command::setServerCps);
}

JNIEXPORT jint NATIVE(getServerReportNative)(JNIEnv *env, jobject, jobject server) {
    if (!requireObject(env, server, "server"))
        return kStatusOther;
    ServerReportRecord &record = ucb.serverReport;
    if (const int32_t status = keysFromJava(env, server, record); status != 0)
        return status;
    if (const int32_t status = sendAndMap(record, Command::readServerReport, kReasons); status != 0)
        return status;
    toJava(env, server, "TotalConnections", record.totalConnections);
    toJava(env, server, "TotalTCPConnections", record.totalTcpConnections);
    toJava(env, server, "TotalUDPConnections", record.totalUdpConnections);
    toJava(env, server, "ActiveConnections", record.activeConnections);
    toJava(env, server, "FINishedConnections", record.finishedConnections);
    toJava(env, server, "CompleteConnections", record.completeConnections);
    toJava(env, server, "_iSavedWeight", record.savedWeight);
    toJava(env, server, "iBytesPerSecond", record.bytesPerSecond);
    return 0;
}

JNIEXPORT jint NATIVE(getServerStatusNative)(JNIEnv *env, jobject, jobject server) {
    if (!requireObject(env, server, "server"))
        return kStatusOther;
    ServerRecord &record = ucb.server;
    if (const int32_t status = keysFromJava(env, server, record); status != 0)
        return status;
    if (const int32_t status = sendAndMap(record, Command::readServerSettings, kReasons); status != 0)
        return status;
    if (const int32_t status = listenersToJava(env, server, record); status != 0)
        return status;
    toJava(env, server, "_iWeight", record.weight);
    toJava(env, server, "_bFixedWeight", record.fixedWeight);
    toJava(env, server, "_sRouterAddress", record.routerAddress);
    toJava(env, server, "_sReturnAddress", record.returnAddress);
    toJava(env, server, "IsRemote", int8_t{record.routerAddress.word != 0});
    toJava(env, server, "bCollocated", static_cast<int8_t>(record.collocated));
    toJava(env, server, "bSticky", static_cast<int8_t>(record.sticky));
    toJava(env, server, "_iQuiesced", record.quiesced);
    toJava(env, server, "_sAdvisorRequest", record.advisorRequest);
    toJava(env, server, "_sAdvisorResponse", record.advisorResponse);
    toJava(env, server, "CookieValue", record.cookieValue);
    toJava(env, server, "CloneID", record.cloneId);
    toJava(env, server, "_iCPSMaximum", record.cpsMaximum);
    return 0;
}

JNIEXPORT jint NATIVE(getServersListNative)(JNIEnv *env, jobject, jstring clusterId, jint port, jobject list,
                                            jintArray keys) {
    if (!requireObject(env, list, "list") || !requireObject(env, keys, "keys"))
        return kStatusOther;
    ReportText text;
    if (!openReport(text, kListTextBytes))
        return kStatusOutOfMemory;
    const int32_t status = listServers(env, clusterId, port, text, keys);
    appendReportToJava(env, list, text);
    return status;
}
