// The settings: which byte of a record governs which of its values, and within which limits the values are.
#pragma once

#include "executor/state/values.h"
#include "rk/cluster_records.h"
#include "rk/executor_records.h"
#include "rk/port_records.h"
#include "rk/reasons.h"
#include "rk/rule_records.h"
#include "rk/server_records.h"

#include <limits>
#include <span>
#include <type_traits>

namespace rk {

// How the bytes of a value are read.
enum class ValueKind : uint8_t {
    signedNumber,
    unsignedNumber,
    twoWords, // a SplitInt64
    text,     // zero-terminated
    bytes,    // what has no order, as an address
};

// The lowest and the highest value of a number, and the reason with which others are refused. Any number when left out.
struct Limits {
    int64_t low = std::numeric_limits<int64_t>::min();
    int64_t high = std::numeric_limits<int64_t>::max();
    int32_t reason = 0;
};

// One value of a record and the flag that governs it. An object is kept in the record that requests have, so a change
// copies from the request to the same place of the kept record.
struct Setting {
    std::size_t flag; // where the flag byte stands
    std::size_t value;
    std::size_t size;
    ValueKind kind;
    Limits limits;
};

template <typename Value> constexpr ValueKind kindOf() {
    if constexpr (std::is_same_v<Value, SplitInt64>)
        return ValueKind::twoWords;
    else if constexpr (std::is_integral_v<Value>)
        return std::is_signed_v<Value> ? ValueKind::signedNumber : ValueKind::unsignedNumber;
    else if constexpr (std::is_same_v<std::remove_extent_t<Value>, char>)
        return ValueKind::text;
    else
        return ValueKind::bytes;
}

// A flag, the value that it governs, and its limits if it has any.
#define RK_SETTING(Record, flag, value, ...)                                                                           \
    {                                                                                                                  \
        offsetof(Record, flag), offsetof(Record, value), sizeof(Record::value), kindOf<decltype(Record::value)>(),     \
            Limits {                                                                                                   \
            __VA_ARGS__                                                                                                \
        }                                                                                                              \
    }

// Where a record breaks several limits, the reason is that of the first row.

inline constexpr Setting kExecutorSettings[] = {
    RK_SETTING(ExecutorSettingsRecord, setNonForwardingAddress, nfa),
    RK_SETTING(ExecutorSettingsRecord, setTraceLevel, traceLevel, 0, kNoLimit, kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setLogFilter, logFilter),
    RK_SETTING(ExecutorSettingsRecord, setDefaultClusterMaxPorts, defaultClusterMaxPorts, 0, kNoLimit, kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setFinTimeout, finTimeout, 0, kLongestTime, kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setHaTimeout, haTimeout, 0, kLongestTime, kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setHaSyncTimeout, haSyncTimeout, 0, kLongestTime, kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setClientGateway, clientGateway),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortMaxServers, defaultPortMaxServers, 0, kNoLimit, kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortStaleTimeout, defaultPortStaleTimeout, 0, kLongestTime,
               kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortStickyTime, defaultPortStickyTime, 0, kLongestTime, kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortAffinityType, defaultPortAffinityType),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortWeightBound, defaultPortWeightBound, 1, kHighestWeightBound,
               kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortType, defaultPortType, kPortTypeTcpAndUdp, kPortTypeUdp,
               kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setDefaultPortReplicate, defaultPortReplicate),
    RK_SETTING(ExecutorSettingsRecord, setMaxNumberOfClusters, maxNumberOfClusters), // not below those that there are
    RK_SETTING(ExecutorSettingsRecord, setWidePortNumber, widePortNumber, 0, kHighestPortNumber, kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setSecondsWestOfGreenwich, secondsWestOfGreenwich),
    RK_SETTING(ExecutorSettingsRecord, setConfigFileName, configFileName),
    RK_SETTING(ExecutorSettingsRecord, setSharedBandwidth, sharedBytesPerSecond, 0, kNoLimit, kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setCookieExpireInterval, cookieExpireInterval, 0, kNoLimit, kOutOfRange),
    RK_SETTING(ExecutorSettingsRecord, setV6ClientGateway, v6ClientGateway),
};

inline constexpr Setting kClusterSettings[] = {
    RK_SETTING(ClusterRecord, setMaxPorts, maxPorts), // not below the ports that there are
    RK_SETTING(ClusterRecord, setDefaultPortMaxServers, defaultPortMaxServers, 0, kNoLimit, kOutOfRange),
    RK_SETTING(ClusterRecord, setDefaultPortStickyTime, defaultPortStickyTime, 0, kLongestTime, kOutOfRange),
    RK_SETTING(ClusterRecord, setDefaultPortAffinityType, defaultPortAffinityType),
    RK_SETTING(ClusterRecord, setDefaultPortWeightBound, defaultPortWeightBound, 1, kHighestWeightBound, kOutOfRange),
    RK_SETTING(ClusterRecord, setDefaultPortType, defaultPortType, kPortTypeTcpAndUdp, kPortTypeUdp, kOutOfRange),
    RK_SETTING(ClusterRecord, setDefaultPortReplicate, defaultPortReplicate),
    RK_SETTING(ClusterRecord, setDefaultPortStaleTimeout, defaultPortStaleTimeout, 0, kLongestTime, kOutOfRange),
    RK_SETTING(ClusterRecord, setSharedBandwidth, sharedBytesPerSecond, 0, kNoLimit, kOutOfRange),
    RK_SETTING(ClusterRecord, setPrimaryHost, primaryHost),
    RK_SETTING(ClusterRecord, setProportions, activeConnectionsProportion, 0, kNoLimit, kOutOfRange),
    RK_SETTING(ClusterRecord, setProportions, newConnectionsProportion, 0, kNoLimit, kOutOfRange),
    RK_SETTING(ClusterRecord, setProportions, portSpecificProportion, 0, kNoLimit, kOutOfRange),
    RK_SETTING(ClusterRecord, setProportions, systemProportion, 0, kNoLimit, kOutOfRange),
    RK_SETTING(ClusterRecord, setAddress, address),
    RK_SETTING(ClusterRecord, setNatAddress, natAddress),
};

inline constexpr Setting kPortSettings[] = {
    RK_SETTING(PortRecord, setMaxServers, maxServers), // not below the servers that there are
    RK_SETTING(PortRecord, setStaleTimeout, staleTimeout, 0, kLongestTime, kStaleTimeout),
    RK_SETTING(PortRecord, setStickyTime, stickyTime, 0, kLongestTime, kStickyTime),
    RK_SETTING(PortRecord, setStickyBits, stickyBits, 0, kHighestStickyBits, kStickyBits),
    RK_SETTING(PortRecord, setWeightBound, weightBound, 1, kHighestWeightBound, kWeightBound),
    RK_SETTING(PortRecord, setType, type, kPortTypeTcpAndUdp, kPortTypeUdp, kUnknownPortType),
    RK_SETTING(PortRecord, setMethod, method, kMethodLinkLevel, kMethodContent, kUnknownMethod),
    RK_SETTING(PortRecord, setProtocol, protocol, kProtocolNone, kProtocolTls, kUnknownProtocol),
    RK_SETTING(PortRecord, setMaxHalfOpen, maxHalfOpen, 0, kNoLimit, kHalfOpenLimit),
    RK_SETTING(PortRecord, setReplicate, replicate),
    RK_SETTING(PortRecord, setCrossPort, crossPort), // a port of the cluster
    RK_SETTING(PortRecord, setSendReset, sendReset),
};

inline constexpr Setting kServerSettings[] = {
    RK_SETTING(ServerRecord, setListeners, numberOfListeners),
    RK_SETTING(ServerRecord, setListeners, listeners),
    RK_SETTING(ServerRecord, setWeight, weight), // from 0 to the weight bound of the port
    RK_SETTING(ServerRecord, setFixedWeight, fixedWeight),
    RK_SETTING(ServerRecord, setRouterAddress, routerAddress),
    RK_SETTING(ServerRecord, setReturnAddress, returnAddress),
    RK_SETTING(ServerRecord, setCollocated, collocated),
    RK_SETTING(ServerRecord, setSticky, sticky),
    RK_SETTING(ServerRecord, setQuiesced, quiesced),
    RK_SETTING(ServerRecord, setAdvisorRequest, advisorRequest),
    RK_SETTING(ServerRecord, setAdvisorResponse, advisorResponse),
    RK_SETTING(ServerRecord, setCpsMaximum, cpsMaximum, 0, kNoLimit, kCpsMaximum),
    RK_SETTING(ServerRecord, setCookieValue, cookieValue),
    RK_SETTING(ServerRecord, setCloneId, cloneId),
};

inline constexpr Setting kRuleSettings[] = {
    RK_SETTING(RuleRecord, setRuleType, ruleType, 0, kHighestRuleType, kOutOfRange),
    RK_SETTING(RuleRecord, setPriority, priority, 0, kNoLimit, kRulePriority), // and that of no other rule of the port
    RK_SETTING(RuleRecord, setBeginRange, beginRange),                         // not above the end
    RK_SETTING(RuleRecord, setEndRange, endRange),
    RK_SETTING(RuleRecord, setConfigSource, configSource),
    RK_SETTING(RuleRecord, setPattern, pattern),
    RK_SETTING(RuleRecord, setServiceTos, serviceBitsClear), // none of those that are to be set
    RK_SETTING(RuleRecord, setServiceTos, serviceBitsSet),
    RK_SETTING(RuleRecord, setShareLevel, shareLevel),
    RK_SETTING(RuleRecord, setEvaluate, evaluate),
    RK_SETTING(RuleRecord, setWhatAffinity, whatAffinity),
    RK_SETTING(RuleRecord, setStickyTime, stickyTime),
    RK_SETTING(RuleRecord, setCookieName, cookieName),
};

// Whether a change flag asks for the change.
inline bool isSet(uint8_t flag) {
    return flag == 1;
}

// Copies each value whose flag is exactly 1 from `request` to `kept`, both records that `settings` is about. False when
// a text has no end in its field: `kept` is then half changed, and the caller drops it.
bool applySettings(std::span<const Setting> settings, const CommandHeader &request, CommandHeader &kept);

// 0 when all values of a kept record are within the limits of `settings`, else the reason.
int32_t checkLimits(std::span<const Setting> settings, const CommandHeader &kept);

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
