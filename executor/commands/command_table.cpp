#include "executor/commands/command_table.h"

#include "executor/commands/commands.h"
#include "executor/state/values.h"

#include <algorithm>

namespace rk {

namespace {

// The records give a key the same name wherever they have it.
template <typename Record> CommandKeys keysIn(const CommandHeader &block) {
    const auto &record = reinterpret_cast<const Record &>(block);
    CommandKeys keys;
    if constexpr (requires { record.clusterKey; })
        keys.clusterKey = record.clusterKey;
    if constexpr (requires { keys.port = record.port; })
        keys.port = record.port;
    if constexpr (requires { record.serverKey; })
        keys.serverKey = record.serverKey;
    if constexpr (requires { record.ruleName; })
        keys.ruleName = textIn(record.ruleName);
    if constexpr (requires { record.clusterId; })
        keys.clusterId = textIn(record.clusterId);
    if constexpr (requires { record.serverId; })
        keys.serverId = textIn(record.serverId);
    return keys;
}

// The record that a command's procedure takes.
template <typename Handler> struct RecordTaken;
template <typename Record> struct RecordTaken<int32_t (*)(ExecutorState &, Record &)> { using Type = Record; };
template <auto handler> using RecordOf = typename RecordTaken<decltype(handler)>::Type;

template <auto handler> int32_t performOn(ExecutorState &state, CommandHeader &block) {
    return handler(state, reinterpret_cast<RecordOf<handler> &>(block));
}

template <typename Block> int32_t countIn(const CommandHeader &block) {
    return reinterpret_cast<const Block &>(block).count;
}

template <typename Record> void describeBlock(LogText &text, const CommandHeader &block) {
    if constexpr (requires(const Record &record) { describe(text, record); })
        describe(text, reinterpret_cast<const Record &>(block));
}

// A command with a record of fixed length.
template <auto handler>
constexpr CommandRow fixed(Command command, const char *name, CommandFamily family, Effect effect,
                           std::span<const Setting> settings = {}) {
    using Record = RecordOf<handler>;
    return {command,        family,
            effect,         name,
            sizeof(Record), 0,
            nullptr,        performOn<handler>,
            keysIn<Record>, describeBlock<Record>,
            settings};
}

// A command that travels in the whole of the shared block, whatever its record takes of it.
template <auto handler>
constexpr CommandRow wholeBlock(Command command, const char *name, CommandFamily family, Effect effect) {
    CommandRow row = fixed<handler>(command, name, family, effect);
    row.length = kWireBytes;
    return row;
}

// The entries that a block of server-directed affinity has room for: as many as the shared block holds, or, when the
// request has more, just these. Negative when it has more than a request may carry.
int32_t roomForAffinities(const CommandHeader &block) {
    const uint32_t count = reinterpret_cast<const AffinityRecord &>(block).count;
    if (count > kAffinities)
        return -1;
    return std::max(static_cast<int32_t>(count), kWireAffinities);
}

constexpr CommandRow directedAffinity() {
    CommandRow row = fixed<serverDirectedAffinity>(Command::serverDirectedAffinity, "serverDirectedAffinity",
                                                   kAffinityFamily, kChanges);
    row.entryLength = sizeof(AffinityEntry);
    row.countOf = roomForAffinities;
    return row;
}

// A command with a block that has entries behind it.
template <auto handler, typename Entry>
constexpr CommandRow listed(Command command, const char *name, CommandFamily family, Effect effect) {
    using Block = RecordOf<handler>;
    return {command,
            family,
            effect,
            name,
            sizeof(Block),
            sizeof(Entry),
            countIn<Block>,
            performOn<handler>,
            keysIn<Block>,
            describeBlock<Block>,
            {}};
}

constexpr CommandRow kCommandRows[] = {
    fixed<readExecutorSettings>(Command::readExecutorSettings, "readExecutorSettings", kExecutorFamily, kReads),
    fixed<writeExecutorSettings>(Command::writeExecutorSettings, "writeExecutorSettings", kExecutorFamily, kChanges,
                                 kExecutorSettings),
    fixed<readExecutorReport>(Command::readExecutorReport, "readExecutorReport", kExecutorFamily, kReads),
    fixed<setExecutorCps>(Command::setExecutorCps, "setExecutorCps", kExecutorFamily, kChanges),

    fixed<addCluster>(Command::addCluster, "addCluster", kClusterFamily, kChanges, kClusterSettings),
    fixed<removeCluster>(Command::removeCluster, "removeCluster", kClusterFamily, kChanges),
    listed<listClusters, ClusterListEntry>(Command::listClusters, "listClusters", kClusterFamily, kReads),
    fixed<readClusterSettings>(Command::readClusterSettings, "readClusterSettings", kClusterFamily, kReads),
    fixed<writeClusterSettings>(Command::writeClusterSettings, "writeClusterSettings", kClusterFamily, kChanges,
                                kClusterSettings),
    fixed<readClusterReport>(Command::readClusterReport, "readClusterReport", kClusterFamily, kReads),
    fixed<setClusterCps>(Command::setClusterCps, "setClusterCps", kClusterFamily, kChanges),

    fixed<addPort>(Command::addPort, "addPort", kPortFamily, kChanges, kPortSettings),
    fixed<removePort>(Command::removePort, "removePort", kPortFamily, kChanges),
    listed<listPorts, PortListEntry>(Command::listPorts, "listPorts", kPortFamily, kReads),
    fixed<readPortSettings>(Command::readPortSettings, "readPortSettings", kPortFamily, kReads),
    fixed<writePortSettings>(Command::writePortSettings, "writePortSettings", kPortFamily, kChanges, kPortSettings),
    fixed<readPortReport>(Command::readPortReport, "readPortReport", kPortFamily, kReads),
    fixed<setPortCps>(Command::setPortCps, "setPortCps", kPortFamily, kChanges),

    fixed<addServer>(Command::addServer, "addServer", kServerFamily, kChanges, kServerSettings),
    fixed<removeServer>(Command::removeServer, "removeServer", kServerFamily, kChanges),
    fixed<markServerDown>(Command::markServerDown, "markServerDown", kServerFamily, kChanges),
    fixed<markServerUp>(Command::markServerUp, "markServerUp", kServerFamily, kChanges),
    listed<listServers, ServerListEntry>(Command::listServers, "listServers", kServerFamily, kReads),
    fixed<readServerSettings>(Command::readServerSettings, "readServerSettings", kServerFamily, kReads),
    fixed<writeServerSettings>(Command::writeServerSettings, "writeServerSettings", kServerFamily, kChanges,
                               kServerSettings),
    fixed<readServerReport>(Command::readServerReport, "readServerReport", kServerFamily, kReads),
    fixed<setServerCps>(Command::setServerCps, "setServerCps", kServerFamily, kChanges),

    listed<writeServerWeights, ServerWeightEntry>(Command::writeServerWeights, "writeServerWeights", kServerFamily,
                                                  kChanges),
    listed<readServerWeights, ServerWeightEntry>(Command::readServerWeights, "readServerWeights", kServerFamily,
                                                 kReads),

    fixed<addRule>(Command::addRule, "addRule", kRuleFamily, kChanges, kRuleSettings),
    fixed<removeRule>(Command::removeRule, "removeRule", kRuleFamily, kChanges),
    listed<listRules, RuleListEntry>(Command::listRules, "listRules", kRuleFamily, kReads),
    fixed<readRuleSettings>(Command::readRuleSettings, "readRuleSettings", kRuleFamily, kReads),
    fixed<writeRuleSettings>(Command::writeRuleSettings, "writeRuleSettings", kRuleFamily, kChanges, kRuleSettings),
    fixed<readRuleReport>(Command::readRuleReport, "readRuleReport", kRuleFamily, kReads),
    fixed<setRuleCps>(Command::setRuleCps, "setRuleCps", kRuleFamily, kChanges),

    fixed<addServerToRule>(Command::addServerToRule, "addServerToRule", kMembershipFamily, kChanges),
    fixed<removeServerFromRule>(Command::removeServerFromRule, "removeServerFromRule", kMembershipFamily, kChanges),
    listed<listRuleServers, ServerListEntry>(Command::listRuleServers, "listRuleServers", kMembershipFamily, kReads),

    fixed<readHighAvailability>(Command::readHighAvailability, "readHighAvailability", kHighAvailabilityFamily, kReads),
    fixed<addBackup>(Command::addBackup, "addBackup", kHighAvailabilityFamily, kChanges),
    fixed<deleteBackup>(Command::deleteBackup, "deleteBackup", kHighAvailabilityFamily, kChanges),
    fixed<addReachTarget>(Command::addReachTarget, "addReachTarget", kHighAvailabilityFamily, kChanges),
    fixed<deleteReachTarget>(Command::deleteReachTarget, "deleteReachTarget", kHighAvailabilityFamily, kChanges),
    fixed<changeReachTarget>(Command::changeReachTarget, "changeReachTarget", kHighAvailabilityFamily, kChanges),
    fixed<addHeartbeat>(Command::addHeartbeat, "addHeartbeat", kHighAvailabilityFamily, kChanges),
    fixed<deleteHeartbeat>(Command::deleteHeartbeat, "deleteHeartbeat", kHighAvailabilityFamily, kChanges),
    fixed<setHighAvailabilityTimers>(Command::setHighAvailabilityTimers, "setHighAvailabilityTimers",
                                     kHighAvailabilityFamily, kChanges),
    fixed<takeOver>(Command::takeOver, "takeOver", kHighAvailabilityFamily, kChanges),

    fixed<readInterfaces>(Command::readInterfaces, "readInterfaces", kInterfaceFamily, kReads),

    wholeBlock<readLogHead>(Command::readLogHead, "readLogHead", kTraceLogFamily, kReads),
    wholeBlock<readLogTail>(Command::readLogTail, "readLogTail", kTraceLogFamily, kReads),
    fixed<clearLog>(Command::clearLog, "clearLog", kTraceLogFamily, kChanges),

    fixed<allocateConnection>(Command::allocateConnection, "allocateConnection", kConnectionFamily, kChanges),
    fixed<releaseConnection>(Command::releaseConnection, "releaseConnection", kConnectionFamily, kChanges),
    wholeBlock<readConnections>(Command::readConnections, "readConnections", kConnectionFamily, kReads),

    wholeBlock<readAffinities>(Command::readAffinities, "readAffinities", kAffinityFamily, kReads),
    directedAffinity(),

    fixed<debugDump>(Command::debugDump, "debugDump", kDebugFamily, kReads),
    fixed<dumpNetworkCards>(Command::dumpNetworkCards, "dumpNetworkCards", kDebugFamily, kReads),
    fixed<dumpReturnAddresses>(Command::dumpReturnAddresses, "dumpReturnAddresses", kDebugFamily, kReads),
    fixed<dumpConnectionLists>(Command::dumpConnectionLists, "dumpConnectionLists", kDebugFamily, kReads),
    fixed<dumpAffinityLists>(Command::dumpAffinityLists, "dumpAffinityLists", kDebugFamily, kReads),
    wholeBlock<readByteCounters>(Command::readByteCounters, "readByteCounters", kDebugFamily, kReads),

    fixed<readHalfOpenConnections>(Command::readHalfOpenConnections, "readHalfOpenConnections", kAttackFamily, kReads),
    wholeBlock<readAttackingAddresses>(Command::readAttackingAddresses, "readAttackingAddresses", kAttackFamily,
                                       kReads),
    fixed<setAttackProtection>(Command::setAttackProtection, "setAttackProtection", kAttackFamily, kChanges),
    fixed<readIcmp>(Command::readIcmp, "readIcmp", kAttackFamily, kReads),
    fixed<writeIcmp>(Command::writeIcmp, "writeIcmp", kAttackFamily, kChanges),
};

} // namespace

const CommandRow *findCommand(Command command) {
    for (const CommandRow &row : kCommandRows) {
        if (row.command == command)
            return &row;
    }
    return nullptr;
}

} // namespace rk
