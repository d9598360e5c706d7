// Settings with change flags: which byte of a record governs which of its values.
#pragma once

#include "rk/cluster_records.h"
#include "rk/executor_records.h"
#include "rk/port_records.h"
#include "rk/rule_records.h"
#include "rk/server_records.h"

#include <span>
#include <type_traits>

namespace rk {

// One value of a record and the flag that governs it. An object is kept in the record that requests have, so a change
// copies from the request to the same place of the kept record.
struct Setting {
    std::size_t flag; // where the flag byte stands
    std::size_t value;
    std::size_t size;
    bool isText; // zero-terminated
};

#define RK_SETTING(Record, flag, value)                                                                                \
    {                                                                                                                  \
        offsetof(Record, flag), offsetof(Record, value), sizeof(Record::value),                                        \
            std::is_same_v<std::remove_extent_t<decltype(Record::value)>, char>                                        \
    }

inline constexpr Setting kExecutorSettings[] = {
    RK_SETTING(ExecutorSettingsRecord, setNonForwardingAddress, nfa),
    RK_SETTING(ExecutorSettingsRecord, setTraceLevel, traceLevel),
    RK_SETTING(ExecutorSettingsRecord, setLogFilter, logFilter),
    RK_SETTING(ExecutorSettingsRecord, setDefaultClusterMaxPorts, defaultClusterMaxPorts),
    RK_SETTING(ExecutorSettingsRecord, setFinTimeout, finTimeout),
    RK_SETTING(ExecutorSettingsRecord, setHaTimeout, haTimeout),
    RK_SETTING(ExecutorSettingsRecord, setHaSyncTimeout, haSyncTimeout),
    RK_SETTING(ExecutorSettingsRecord, setClientGateway, clientGateway),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortMaxServers, defaultPortMaxServers),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortStaleTimeout, defaultPortStaleTimeout),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortStickyTime, defaultPortStickyTime),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortAffinityType, defaultPortAffinityType),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortWeightBound, defaultPortWeightBound),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortType, defaultPortType),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortReplicate, defaultPortReplicate),
    RK_SETTING(ExecutorSettingsRecord, setMaxNumberOfClusters, maxNumberOfClusters),
    RK_SETTING(ExecutorSettingsRecord, setWidePortNumber, widePortNumber),
    RK_SETTING(ExecutorSettingsRecord, setSecondsWestOfGreenwich, secondsWestOfGreenwich),
    RK_SETTING(ExecutorSettingsRecord, setConfigFileName, configFileName),
    RK_SETTING(ExecutorSettingsRecord, setSharedBandwidth, sharedBytesPerSecond),
    RK_SETTING(ExecutorSettingsRecord, setCookieExpireInterval, cookieExpireInterval),
    RK_SETTING(ExecutorSettingsRecord, setV6ClientGateway, v6ClientGateway),
};

inline constexpr Setting kClusterSettings[] = {
    RK_SETTING(ClusterRecord, setMaxPorts, maxPorts),
    RK_SETTING(ClusterRecord, setDefaultPortMaxServers, defaultPortMaxServers),
    RK_SETTING(ClusterRecord, setDefaultPortStickyTime, defaultPortStickyTime),
    RK_SETTING(ClusterRecord, setDefaultPortAffinityType, defaultPortAffinityType),
    RK_SETTING(ClusterRecord, setDefaultPortWeightBound, defaultPortWeightBound),
    RK_SETTING(ClusterRecord, setDefaultPortType, defaultPortType),
    RK_SETTING(ClusterRecord, setDefaultPortReplicate, defaultPortReplicate),
    RK_SETTING(ClusterRecord, setDefaultPortStaleTimeout, defaultPortStaleTimeout),
    RK_SETTING(ClusterRecord, setSharedBandwidth, sharedBytesPerSecond),
    RK_SETTING(ClusterRecord, setPrimaryHost, primaryHost),
    RK_SETTING(ClusterRecord, setProportions, activeConnectionsProportion),
    RK_SETTING(ClusterRecord, setProportions, newConnectionsProportion),
    RK_SETTING(ClusterRecord, setProportions, portSpecificProportion),
    RK_SETTING(ClusterRecord, setProportions, systemProportion),
    RK_SETTING(ClusterRecord, setAddress, address),
    RK_SETTING(ClusterRecord, setNatAddress, natAddress),
};

inline constexpr Setting kPortSettings[] = {
    RK_SETTING(PortRecord, setMaxServers, maxServers),
    RK_SETTING(PortRecord, setStickyTime, stickyTime),
    RK_SETTING(PortRecord, setProtocol, protocol),
    RK_SETTING(PortRecord, setStickyBits, stickyBits),
    RK_SETTING(PortRecord, setStaleTimeout, staleTimeout),
    RK_SETTING(PortRecord, setWeightBound, weightBound),
    RK_SETTING(PortRecord, setType, type),
    RK_SETTING(PortRecord, setMethod, method),
    RK_SETTING(PortRecord, setReplicate, replicate),
    RK_SETTING(PortRecord, setCrossPort, crossPort),
    RK_SETTING(PortRecord, setMaxHalfOpen, maxHalfOpen),
    RK_SETTING(PortRecord, setSendReset, sendReset),
};

inline constexpr Setting kServerSettings[] = {
    RK_SETTING(ServerRecord, setListeners, numberOfListeners),
    RK_SETTING(ServerRecord, setListeners, listeners),
    RK_SETTING(ServerRecord, setWeight, weight),
    RK_SETTING(ServerRecord, setFixedWeight, fixedWeight),
    RK_SETTING(ServerRecord, setRouterAddress, routerAddress),
    RK_SETTING(ServerRecord, setReturnAddress, returnAddress),
    RK_SETTING(ServerRecord, setCollocated, collocated),
    RK_SETTING(ServerRecord, setSticky, sticky),
    RK_SETTING(ServerRecord, setQuiesced, quiesced),
    RK_SETTING(ServerRecord, setAdvisorRequest, advisorRequest),
    RK_SETTING(ServerRecord, setAdvisorResponse, advisorResponse),
    RK_SETTING(ServerRecord, setCpsMaximum, cpsMaximum),
    RK_SETTING(ServerRecord, setCookieValue, cookieValue),
    RK_SETTING(ServerRecord, setCloneId, cloneId),
};

inline constexpr Setting kRuleSettings[] = {
    RK_SETTING(RuleRecord, setRuleType, ruleType),           RK_SETTING(RuleRecord, setBeginRange, beginRange),
    RK_SETTING(RuleRecord, setEndRange, endRange),           RK_SETTING(RuleRecord, setPriority, priority),
    RK_SETTING(RuleRecord, setConfigSource, configSource),   RK_SETTING(RuleRecord, setPattern, pattern),
    RK_SETTING(RuleRecord, setServiceTos, serviceBitsClear), RK_SETTING(RuleRecord, setServiceTos, serviceBitsSet),
    RK_SETTING(RuleRecord, setShareLevel, shareLevel),       RK_SETTING(RuleRecord, setEvaluate, evaluate),
    RK_SETTING(RuleRecord, setWhatAffinity, whatAffinity),   RK_SETTING(RuleRecord, setStickyTime, stickyTime),
    RK_SETTING(RuleRecord, setCookieName, cookieName),
};

// Whether a change flag asks for the change.
inline bool isSet(uint8_t flag) {
    return flag == 1;
}

// Copies each value whose flag is exactly 1 from `request` to `kept`, both records that `settings` is about. False when
// a text has no end in its field: `kept` is then half changed, and the caller drops it.
bool applySettings(std::span<const Setting> settings, const CommandHeader &request, CommandHeader &kept);

// Clears each flag of `record` that is exactly 1: it tells the client that nothing was applied.
void clearFlags(std::span<const Setting> settings, CommandHeader &record);

// Keeps a rate that a client has measured, unless it is negative. Returns 0 or the reason.
int32_t keepRate(int32_t rate, int32_t &kept);

// Replaces a request by the kept record; the header stays.
template <typename Record> void replyWith(const Record &kept, Record &record) {
    const CommandHeader header = record.header;
    record = kept;
    record.header = header;
}

} // namespace rk
