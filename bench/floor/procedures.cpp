#include "bench/floor/procedures.h"
#include "bench/floor/access.h"
#include "contract/port_settings.h"

#include "rk/command_block.h"
#include "rk/uexc.h"

#include <arpa/inet.h>
#include <array>
#include <iterator>
#include <utility>

using namespace rk;

namespace least {

namespace {

CommandBlock block;

template <typename Record> void send(Record &record, Command command) {
    record.header.command = command;
    record.header.length = sizeof(Record);
    EXC_UserInput(&record.header);
}

jint javaInt(NetworkAddress address) {
    return static_cast<jint>(ntohl(address.word));
}

jint javaInt(uint32_t value) {
    return static_cast<jint>(value);
}

bool flag(Object object, const char *name, uint8_t &given) {
    given = static_cast<uint8_t>(getByte(object, name));
    return given == 1;
}

template <typename Field>
void optionalInt(Object object, const char *flagName, uint8_t &given, const char *name, Field &value) {
    if (flag(object, flagName, given))
        value = static_cast<Field>(getInt(object, name));
}

void optionalInt(Object object, const char *flagName, uint8_t &given, const char *name, SplitInt64 &value) {
    if (flag(object, flagName, given)) {
        const jint low = getInt(object, name);
        value = {low < 0 ? -1 : 0, low};
    }
}

void optionalText(Object object, const char *flagName, uint8_t &given, const char *name, char *text) {
    if (flag(object, flagName, given))
        getText(object, name, text);
}

// The key of a new identifier, handed to Java.
uint32_t newKey(Object object, const char *name, const char *keyName) {
    uint32_t key = 0;
    withText(object, name, [&](const char *text) {
        key = keyOf(text);
        setInt(object, keyName, static_cast<jint>(key));
    });
    return key;
}

void getPort(Object object, const char *name, NetworkPort &port) {
    port.word = htons(static_cast<uint16_t>(getInt(object, name)));
}

} // namespace

void executorStatus(JNIEnv *env, jobject status) {
    const Object to = {env, status};
    ExecutorSettingsRecord &record = block.executor;
    send(record, Command::readExecutorSettings);
    setAddress(to, "NFA", record.nfa);
    setInt(to, "TraceLevel", record.traceLevel);
    setInt(to, "DefaultClusterMaxPorts", record.defaultClusterMaxPorts);
    setInt(to, "FINTimeout", record.finTimeout.low);
    setInt(to, "HaTimeout", record.haTimeout.low);
    setInt(to, "HaSyncTimeout", record.haSyncTimeout.low);
    setAddress(to, "ClientGateway", record.clientGateway);
    setInt(to, "DefaultPortMaxServers", record.defaultPortMaxServers);
    setInt(to, "DefaultPortStaleTimeout", record.defaultPortStaleTimeout.low);
    setInt(to, "iSharedBytesPerSecond", record.sharedBytesPerSecond);
    setInt(to, "DefaultPortStickyTime", record.defaultPortStickyTime.low);
    setInt(to, "DefaultPortAffinityType", record.defaultPortAffinityType);
    setInt(to, "DefaultPortWeightBound", record.defaultPortWeightBound);
    setInt(to, "MaxNumberOfClusters", record.maxNumberOfClusters);
    setChar(to, "DefaultPortType", record.defaultPortType);
    setChar(to, "DefaultPortReplicate", record.defaultPortReplicate);
    setInt(to, "WidePortNumber", record.widePortNumber);
    setText(to, "ConfigFileName", record.configFileName);
    setText(to, "sPluginConfigFileName", record.pluginConfigFileName);
    setBytes(to, "v6ClientGateway", sizeof(record.v6ClientGateway), record.v6ClientGateway);
}

void addCluster(JNIEnv *env, jobject cluster) {
    const Object from = {env, cluster};
    ClusterRecord &record = block.cluster;
    newKey(from, "sClusterId", "iClusterIdKey");
    getKey(from, "sClusterId", record.clusterKey);
    getAddress(from, "Address", record.address);
    optionalInt(from, "SetMaxNumberOfPorts", record.setMaxPorts, "MaxNumberOfPorts", record.maxPorts);
    if (flag(from, "SetPrimaryHost", record.setPrimaryHost))
        getAddress(from, "sPrimaryHost", record.primaryHost);
    optionalInt(from, "SetDefaultPortMaxServers", record.setDefaultPortMaxServers, "DefaultPortMaxServers",
                record.defaultPortMaxServers);
    optionalInt(from, "SetDefaultPortStickyTime", record.setDefaultPortStickyTime, "DefaultPortStickyTime",
                record.defaultPortStickyTime);
    optionalInt(from, "SetDefaultPortAffinityType", record.setDefaultPortAffinityType, "DefaultPortAffinityType",
                record.defaultPortAffinityType);
    optionalInt(from, "SetDefaultPortWeightBound", record.setDefaultPortWeightBound, "DefaultPortWeightBound",
                record.defaultPortWeightBound);
    optionalInt(from, "SetDefaultPortStaleTimeout", record.setDefaultPortStaleTimeout, "DefaultPortStaleTimeout",
                record.defaultPortStaleTimeout);
    if (flag(from, "SetClusterProportions", record.setProportions)) {
        record.activeConnectionsProportion = getInt(from, "iActiveConnsProp");
        record.newConnectionsProportion = getInt(from, "iNewConnsProp");
        record.portSpecificProportion = getInt(from, "iPortSpecificProp");
        record.systemProportion = getInt(from, "iSystemProp");
    }
    optionalInt(from, "SetSharedBandwidth", record.setSharedBandwidth, "iSharedBytesPerSecond",
                record.sharedBytesPerSecond);
    if (flag(from, "SetDefaultPortType", record.setDefaultPortType))
        record.defaultPortType = static_cast<uint8_t>(getChar(from, "DefaultPortType"));
    if (flag(from, "SetDefaultPortReplicate", record.setDefaultPortReplicate))
        record.defaultPortReplicate = static_cast<uint8_t>(getChar(from, "DefaultPortReplicate"));
    getText(from, "sClusterId", record.clusterId);
    record.clusterKey = static_cast<uint32_t>(getInt(from, "iClusterIdKey"));
    if (flag(from, "SetIPAddress", record.setAddress))
        getAddress(from, "Address", record.address);
    if (flag(from, "SetNatPtAddress", record.setNatAddress))
        getBytes(from, "natPtAddress", sizeof(record.natAddress), record.natAddress);
    send(record, Command::addCluster);
    setByte(from, "SetMaxNumberOfPorts", record.setMaxPorts);
    setByte(from, "SetPrimaryHost", record.setPrimaryHost);
    setByte(from, "SetDefaultPortMaxServers", record.setDefaultPortMaxServers);
    setByte(from, "SetDefaultPortStickyTime", record.setDefaultPortStickyTime);
    setByte(from, "SetDefaultPortAffinityType", record.setDefaultPortAffinityType);
    setByte(from, "SetDefaultPortWeightBound", record.setDefaultPortWeightBound);
    setByte(from, "SetDefaultPortType", record.setDefaultPortType);
    setByte(from, "SetDefaultPortReplicate", record.setDefaultPortReplicate);
    setByte(from, "SetDefaultPortStaleTimeout", record.setDefaultPortStaleTimeout);
    setByte(from, "SetClusterProportions", record.setProportions);
    setByte(from, "SetSharedBandwidth", record.setSharedBandwidth);
    setByte(from, "SetIPAddress", record.setAddress);
    setByte(from, "SetNatPtAddress", record.setNatAddress);
}

void clusterStatus(JNIEnv *env, jobject cluster) {
    const Object to = {env, cluster};
    ClusterRecord &record = block.cluster;
    getKey(to, "sClusterId", record.clusterKey);
    send(record, Command::readClusterSettings);
    setInt(to, "NumPorts", record.numberOfPorts);
    setInt(to, "MaxNumberOfPorts", record.maxPorts);
    setInt(to, "DefaultPortMaxServers", record.defaultPortMaxServers);
    setInt(to, "DefaultPortStickyTime", record.defaultPortStickyTime.low);
    setInt(to, "DefaultPortAffinityType", record.defaultPortAffinityType);
    setInt(to, "DefaultPortWeightBound", record.defaultPortWeightBound);
    setInt(to, "DefaultPortStaleTimeout", record.defaultPortStaleTimeout.low);
    setInt(to, "iNewConnsProp", record.newConnectionsProportion);
    setInt(to, "iActiveConnsProp", record.activeConnectionsProportion);
    setInt(to, "iPortSpecificProp", record.portSpecificProportion);
    setInt(to, "iSystemProp", record.systemProportion);
    setInt(to, "iSharedBytesPerSecond", record.sharedBytesPerSecond);
    setChar(to, "DefaultPortType", record.defaultPortType);
    setChar(to, "DefaultPortReplicate", record.defaultPortReplicate);
    setAddress(to, "sPrimaryHost", record.primaryHost);
    setInt(to, "iClusterIdKey", static_cast<jint>(record.clusterKey));
    setText(to, "sClusterId", record.clusterId);
    setAddress(to, "Address", record.address);
    setBytes(to, "natPtAddress", sizeof(record.natAddress), record.natAddress);
}

void clusterReport(JNIEnv *env, jobject cluster) {
    const Object to = {env, cluster};
    ClusterReportRecord &record = block.clusterReport;
    NetworkAddress unused;
    getAddress(to, "Address", unused);
    getKey(to, "sClusterId", record.clusterKey);
    send(record, Command::readClusterReport);
    setInt(to, "NumPorts", record.numberOfPorts);
    setInt(to, "SYNonActive", record.synOnActive);
    setInt(to, "SYNonFINNed", record.synOnFinished);
    setInt(to, "FINs_Dropped", record.finsDropped);
    setInt(to, "ACKs_Dropped", record.acksDropped);
    setInt(to, "RSTs_Dropped", record.rstsDropped);
    setInt(to, "PKTs_Dropped", record.packetsDropped);
    setInt(to, "PKTnonExisting", record.packetsForNoConnection);
    setInt(to, "QuiescNew", record.newWhileQuiesced);
    setInt(to, "iBytesPerSecond", record.bytesPerSecond);
    setInt(to, "iConnectionsPerSecond", record.connectionsPerSecond);
    setInt(to, "iClusterIdKey", static_cast<jint>(record.clusterKey));
    setAddress(to, "Address", record.address);
}

namespace {

template <typename Field> void put(uint8_t *place, Field value) {
    memcpy(place, &value, sizeof(value));
}

template <values::Kind kind> void getValue(Object from, const char *name, uint8_t *place) {
    using enum values::Kind;
    if constexpr (kind == byteByte)
        put(place, getByte(from, name));
    else if constexpr (kind == charSignedByte)
        put(place, static_cast<int8_t>(getChar(from, name)));
    else if constexpr (kind == intByte)
        put(place, static_cast<uint8_t>(getInt(from, name)));
    else if constexpr (kind == intHalf || kind == intSignedHalf)
        put(place, static_cast<int16_t>(getInt(from, name)));
    else if constexpr (kind == intPort)
        put(place, htons(static_cast<uint16_t>(getInt(from, name))));
    else if constexpr (kind == intTwoWords) {
        const jint low = getInt(from, name);
        put(place, SplitInt64{low < 0 ? -1 : 0, low});
    } else {
        static_assert(kind == intWord, "a kind that no port has had so far");
        put(place, getInt(from, name));
    }
}

// Rows of a table become straight code, as if each were written out.
template <const auto &settings, std::size_t... i>
void getSettings(Object from, uint8_t *record, std::index_sequence<i...>) {
    const auto getOne = [=]<std::size_t row>(std::integral_constant<std::size_t, row>) {
        constexpr OneValueSetting setting = settings[row];
        if (flag(from, setting.flag.name, record[setting.flag.offset]))
            getValue<setting.value.kind>(from, setting.value.name, record + setting.value.offset);
    };
    (getOne(std::integral_constant<std::size_t, i>()), ...);
}

// The flags in the order in which they go back.
template <const auto &settings> constexpr auto flagsBack() {
    std::array<Flag, std::size(settings)> flags{};
    for (const OneValueSetting &setting : settings)
        flags[static_cast<std::size_t>(setting.flag.back - 1)] = setting.flag;
    return flags;
}

} // namespace

void addPort(JNIEnv *env, jobject port) {
    const Object from = {env, port};
    PortRecord &record = block.port;
    auto *bytes = reinterpret_cast<uint8_t *>(&record);
    getInt(from, "PortNumber");
    getKey(from, "ClusterId", record.clusterKey);
    getPort(from, "PortNumber", record.port);
    getSettings<kPortSettings>(from, bytes, std::make_index_sequence<std::size(kPortSettings)>());
    send(record, Command::addPort);
    for (const Flag &back : flagsBack<kPortSettings>())
        setByte(from, back.name, bytes[back.offset]);
}

namespace {

void textOf(Object listener, const char *method, char *text) {
    const jobject string = callObject(listener, method, "()Ljava/lang/String;");
    withCharacters(listener.env, string, [=](const char *characters) { copyText(text, characters); });
    listener.env->DeleteLocalRef(string);
}

void getListener(Object server, jint index, ListenerEntry &entry) {
    const Object listener = {server.env,
                             callObject(server, "getListener", "(I)Lcom/qel/internet/rk/common/CMNListener;", index)};
    entry.address.word = htonl(static_cast<uint32_t>(callInt(listener, "getIntAddress")));
    entry.mapPort.word = htons(static_cast<uint16_t>(callInt(listener, "getMapPort")));
    entry.protocol = callInt(listener, "getProtocol");
    entry.connectTimeout = callInt(server, "getConnectTimeout");
    entry.waitForComplete = callInt(server, "getIntWaitForComplete");
    textOf(listener, "getKeyRing", entry.keyRing);
    textOf(listener, "getStashFile", entry.stashFile);
    server.env->DeleteLocalRef(listener.reference);
}

} // namespace

void addServer(JNIEnv *env, jobject server) {
    const Object from = {env, server};
    ServerRecord &record = block.server;
    newKey(from, "sServerID", "iServerIdKey");
    getText(from, "sServerID", record.serverId);
    record.serverKey = static_cast<uint32_t>(getInt(from, "iServerIdKey"));
    getKey(from, "ClusterId", record.clusterKey);
    getPort(from, "Port", record.port);
    record.numberOfListeners = static_cast<uint16_t>(getInt(from, "_iNumListeners"));
    if (flag(from, "SetListeners", record.setListeners))
        for (jint i = 0; i < record.numberOfListeners; ++i)
            getListener(from, i, record.listeners[i]);
    optionalInt(from, "SetWeight", record.setWeight, "_iWeight", record.weight);
    if (flag(from, "SetFixedWeight", record.setFixedWeight))
        record.fixedWeight = getByte(from, "_bFixedWeight");
    if (flag(from, "SetReturnAddress", record.setReturnAddress))
        getAddress(from, "_sReturnAddress", record.returnAddress);
    if (flag(from, "SetRouterAddress", record.setRouterAddress)) {
        getAddress(from, "_sRouterAddress", record.routerAddress);
        record.routerAddressPresent = 1;
        record.remote = record.routerAddress.word != 0 ? 1 : 0;
    }
    if (flag(from, "SetCollocated", record.setCollocated))
        record.collocated = getByte(from, "bCollocated");
    if (flag(from, "SetSticky", record.setSticky))
        record.sticky = getByte(from, "bSticky");
    optionalInt(from, "SetQuiesced", record.setQuiesced, "_iQuiesced", record.quiesced);
    optionalText(from, "SetAdvisorRequest", record.setAdvisorRequest, "_sAdvisorRequest", record.advisorRequest);
    optionalText(from, "SetAdvisorResponse", record.setAdvisorResponse, "_sAdvisorResponse", record.advisorResponse);
    optionalText(from, "SetCookieValue", record.setCookieValue, "CookieValue", record.cookieValue);
    optionalText(from, "SetCloneID", record.setCloneId, "CloneID", record.cloneId);
    optionalInt(from, "SetCPSMaximum", record.setCpsMaximum, "_iCPSMaximum", record.cpsMaximum);
    send(record, Command::addServer);
}

void serverReport(JNIEnv *env, jobject server) {
    const Object to = {env, server};
    ServerReportRecord &record = block.serverReport;
    getKey(to, "ClusterId", record.clusterKey);
    getPort(to, "Port", record.port);
    record.serverKey = static_cast<uint32_t>(getInt(to, "iServerIdKey"));
    send(record, Command::readServerReport);
    setInt(to, "TotalConnections", record.totalConnections);
    setInt(to, "TotalTCPConnections", record.totalTcpConnections);
    setInt(to, "TotalUDPConnections", record.totalUdpConnections);
    setInt(to, "ActiveConnections", record.activeConnections);
    setInt(to, "FINishedConnections", record.finishedConnections);
    setInt(to, "CompleteConnections", record.completeConnections);
    setInt(to, "_iSavedWeight", record.savedWeight);
    setInt(to, "iBytesPerSecond", record.bytesPerSecond);
}

void addRule(JNIEnv *env, jobject rule) {
    const Object from = {env, rule};
    RuleRecord &record = block.rule;
    getKey(from, "ClusterId", record.clusterKey);
    getPort(from, "PortNumber", record.port);
    flag(from, "SetConfigSource", record.setConfigSource);
    record.configSource = getInt(from, "_iConfigSource");
    getText(from, "RuleName", record.ruleName);
    if (flag(from, "SetRuleType", record.setRuleType))
        record.ruleType = getByte(from, "RuleType");
    NetworkAddress address;
    if (flag(from, "SetBeginRange", record.setBeginRange)) {
        getAddress(from, "AddressBeginRange", address);
        record.beginRange = static_cast<int32_t>(address.word);
    }
    if (flag(from, "SetEndRange", record.setEndRange)) {
        getAddress(from, "AddressEndRange", address);
        record.endRange = static_cast<int32_t>(address.word);
    }
    optionalInt(from, "SetPriority", record.setPriority, "Priority", record.priority);
    optionalInt(from, "SetShareLevel", record.setShareLevel, "iShareLevel", record.shareLevel);
    if (flag(from, "SetServiceTOS", record.setServiceTos))
        withText(from, "ServiceTOS", [&](const char *bits) {
            record.serviceBitsClear = 0;
            record.serviceBitsSet = 0;
            for (int i = 0; i < 8; ++i) {
                record.serviceBitsClear |= static_cast<uint8_t>((bits[i] == '0' ? 0x80 : 0) >> i);
                record.serviceBitsSet |= static_cast<uint8_t>((bits[i] == '1' ? 0x80 : 0) >> i);
            }
        });
    optionalText(from, "SetPattern", record.setPattern, "Pattern", record.pattern);
    if (flag(from, "SetEvaluate", record.setEvaluate))
        record.evaluate = getByte(from, "bEvaluate");
    optionalInt(from, "SetWhatAffinity", record.setWhatAffinity, "WhatAffinity", record.whatAffinity);
    optionalInt(from, "SetStickyTime", record.setStickyTime, "StickyTime", record.stickyTime);
    optionalText(from, "SetCookieName", record.setCookieName, "CookieName", record.cookieName);
    getText(from, "sHashID", record.hashId);
    send(record, Command::addRule);
    setByte(from, "SetRuleType", record.setRuleType);
    setByte(from, "SetBeginRange", record.setBeginRange);
    setByte(from, "SetEndRange", record.setEndRange);
    setByte(from, "SetPriority", record.setPriority);
    setByte(from, "SetPattern", record.setPattern);
    setByte(from, "SetServiceTOS", record.setServiceTos);
    setByte(from, "SetShareLevel", record.setShareLevel);
    setByte(from, "SetEvaluate", record.setEvaluate);
    setByte(from, "SetWhatAffinity", record.setWhatAffinity);
    setByte(from, "SetStickyTime", record.setStickyTime);
    setByte(from, "SetCookieName", record.setCookieName);
}

namespace {

template <typename Entry, typename Field, std::size_t Room>
void setColumn(Object to, const char *name, const Entry (&entries)[Room], Field Entry::*member) {
    jint values[Room];
    for (std::size_t i = 0; i < Room; ++i)
        values[i] = javaInt(entries[i].*member);
    setInts(to, name, Room, values);
}

} // namespace

void haStatus(JNIEnv *env, jobject status) {
    const Object to = {env, status};
    HaStatusRecord &record = block.haStatus;
    record.address.word = htonl(static_cast<uint32_t>(getInt(to, "haFsmAddress")));
    send(record, Command::readHighAvailability);
    setInt(to, "haFsmMode", static_cast<jint>(record.mode));
    setInt(to, "haFsmAddress", javaInt(record.address));
    setInt(to, "haRole", record.role);
    setInt(to, "haStrategy", record.strategy);
    setInt(to, "haState", record.state);
    setInt(to, "haSubstate", record.substate);
    setInt(to, "haPort", record.port);
    setInt(to, "haHBCount", record.heartbeatCount);
    setInt(to, "haPeer", record.peer);
    setColumn(to, "haLocal_Address", record.heartbeats, &HeartbeatEntry::local);
    setColumn(to, "haRemote_Address", record.heartbeats, &HeartbeatEntry::remote);
    setColumn(to, "haStatus", record.heartbeats, &HeartbeatEntry::status);
    setInt(to, "haReachCount", record.reachCount);
    setColumn(to, "haAddress", record.reachTargets, &ReachEntry::address);
    setColumn(to, "haMask", record.reachTargets, &ReachEntry::mask);
    setColumn(to, "haType", record.reachTargets, &ReachEntry::type);
    setColumn(to, "haAddress_status", record.reachTargets, &ReachEntry::localStatus);
    setColumn(to, "haRemote_status", record.reachTargets, &ReachEntry::remoteStatus);
    setColumn(to, "haLTimeStamp", record.reachTargets, &ReachEntry::localTimeStamp);
    setColumn(to, "haRTimeStamp", record.reachTargets, &ReachEntry::remoteTimeStamp);
}

void readInterfaces() {
    static InterfaceList list;
    list = {}; // empty, should the executor refuse
    asm volatile("" : : "r"(&list) : "memory");
    send(block.interfaces, Command::readInterfaces);
    list = block.interfaces.list;
    asm volatile("" : : "r"(&list) : "memory"); // somebody may look at it
}

} // namespace least
