#include "executor/commands/command_table.h"

#include "executor/commands/command_words.h"
#include "executor/commands/commands.h"

#include <algorithm>
#include <tuple>

namespace rk {

namespace {

// What a procedure takes: references to objects, and at last to its record.
template <typename Procedure> struct Parameters;
template <typename... Each> struct Parameters<int32_t (*)(Each...)> {
    using Record = std::remove_cvref_t<std::tuple_element_t<sizeof...(Each) - 1, std::tuple<Each...>>>;
    static constexpr Needs needs = (kNeeds<std::remove_cvref_t<Each>> | ...);
};
template <auto procedure> using RecordOf = typename Parameters<decltype(procedure)>::Record;

// The object of the target, or the record, that a parameter stands for.
template <typename Parameter> Parameter argument(const Target &target, CommandHeader &block) {
    using Type = std::remove_cvref_t<Parameter>;
    if constexpr (std::is_same_v<Type, ExecutorState>)
        return *target.state;
    else if constexpr (std::is_same_v<Type, Executor>)
        return target.state->executor;
    else if constexpr (std::is_same_v<Type, TraceLog>)
        return target.state->trace;
    else if constexpr (std::is_same_v<Type, Traffic>)
        return target.traffic;
    else if constexpr (std::is_same_v<Type, Cluster>)
        return *target.cluster;
    else if constexpr (std::is_same_v<Type, Port>)
        return *target.port;
    else if constexpr (std::is_same_v<Type, Server>)
        return *target.server;
    else if constexpr (std::is_same_v<Type, Rule>)
        return *target.rule;
    else
        return reinterpret_cast<Parameter>(block);
}

template <typename... Each> int32_t call(int32_t (*procedure)(Each...), const Target &target, CommandHeader &block) {
    return procedure(argument<Each>(target, block)...);
}

template <auto procedure> int32_t performOn(const Target &target, CommandHeader &block) {
    return call(procedure, target, block);
}

template <typename Record> CommandKeys keysIn(const CommandHeader &block) {
    return keysOf(reinterpret_cast<const Record &>(block));
}

template <typename Record> void describeBlock(LogText &text, const CommandHeader &block) {
    if constexpr (requires(const Record &record) { describe(text, record); })
        describe(text, reinterpret_cast<const Record &>(block));
}

template <typename Block> int32_t countIn(const CommandHeader &block) {
    return reinterpret_cast<const Block &>(block).count;
}

// A command with a record of fixed length.
template <auto procedure>
constexpr CommandRow fixed(Command command, const char *name, CommandFamily family, Effect effect,
                           std::span<const Setting> settings = {}) {
    using Record = RecordOf<procedure>;
    CommandRow row{};
    row.command = command;
    row.name = name;
    row.family = family;
    row.effect = effect;
    row.length = sizeof(Record);
    row.needs = Parameters<decltype(procedure)>::needs;
    row.keysOf = keysIn<Record>;
    row.describe = describeBlock<Record>;
    row.perform = performOn<procedure>;
    row.settings = settings;
    return row;
}

// A command that travels in the whole of the shared block, whatever its record takes of it.
template <auto procedure>
constexpr CommandRow wholeBlock(Command command, const char *name, CommandFamily family, Effect effect) {
    CommandRow row = fixed<procedure>(command, name, family, effect);
    row.length = kWireBytes;
    return row;
}

// A command with a block that has entries behind it.
template <auto procedure, typename Entry>
constexpr CommandRow listed(Command command, const char *name, CommandFamily family, Effect effect,
                            void (*refuseEntries)(CommandHeader &block, int32_t reason) = nullptr) {
    CommandRow row = fixed<procedure>(command, name, family, effect);
    row.entryLength = sizeof(Entry);
    row.countOf = countIn<RecordOf<procedure>>;
    row.refuseEntries = refuseEntries;
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

constexpr CommandRow withRoomForAffinities(CommandRow row) {
    row.entryLength = sizeof(AffinityEntry);
    row.countOf = roomForAffinities;
    return row;
}

// Code, name in the log and procedure of a command have one name.
#define RK_NAMED(command) Command::command, #command
#define RK_FIXED(command, ...) fixed<command>(RK_NAMED(command), __VA_ARGS__)
#define RK_WHOLE(command, ...) wholeBlock<command>(RK_NAMED(command), __VA_ARGS__)
#define RK_LISTED(command, Entry, ...) listed<command, Entry>(RK_NAMED(command), __VA_ARGS__)

constexpr CommandRow kCommandRows[] = {
    RK_FIXED(readExecutorSettings, kExecutorFamily, kReads),
    RK_FIXED(writeExecutorSettings, kExecutorFamily, kChanges, kExecutorSettings),
    RK_FIXED(readExecutorReport, kExecutorFamily, kReads),
    RK_FIXED(setExecutorCps, kExecutorFamily, kChanges),

    RK_FIXED(addCluster, kClusterFamily, kChanges, kClusterSettings),
    RK_FIXED(removeCluster, kClusterFamily, kChanges),
    RK_LISTED(listClusters, ClusterListEntry, kClusterFamily, kReads),
    RK_FIXED(readClusterSettings, kClusterFamily, kReads),
    RK_FIXED(writeClusterSettings, kClusterFamily, kChanges, kClusterSettings),
    RK_FIXED(readClusterReport, kClusterFamily, kReads),
    RK_FIXED(setClusterCps, kClusterFamily, kChanges),

    RK_FIXED(addPort, kPortFamily, kChanges, kPortSettings),
    RK_FIXED(removePort, kPortFamily, kChanges),
    RK_LISTED(listPorts, PortListEntry, kPortFamily, kReads),
    RK_FIXED(readPortSettings, kPortFamily, kReads),
    RK_FIXED(writePortSettings, kPortFamily, kChanges, kPortSettings),
    RK_FIXED(readPortReport, kPortFamily, kReads),
    RK_FIXED(setPortCps, kPortFamily, kChanges),

    RK_FIXED(addServer, kServerFamily, kChanges, kServerSettings),
    RK_FIXED(removeServer, kServerFamily, kChanges),
    RK_FIXED(markServerDown, kServerFamily, kChanges),
    RK_FIXED(markServerUp, kServerFamily, kChanges),
    RK_LISTED(listServers, ServerListEntry, kServerFamily, kReads),
    RK_FIXED(readServerSettings, kServerFamily, kReads),
    RK_FIXED(writeServerSettings, kServerFamily, kChanges, kServerSettings),
    RK_FIXED(readServerReport, kServerFamily, kReads),
    RK_FIXED(setServerCps, kServerFamily, kChanges),

    RK_LISTED(writeServerWeights, ServerWeightEntry, kServerFamily, kChanges, refuseServerWeights),
    RK_LISTED(readServerWeights, ServerWeightEntry, kServerFamily, kReads),

    RK_FIXED(addRule, kRuleFamily, kChanges, kRuleSettings),
    RK_FIXED(removeRule, kRuleFamily, kChanges),
    RK_LISTED(listRules, RuleListEntry, kRuleFamily, kReads),
    RK_FIXED(readRuleSettings, kRuleFamily, kReads),
    RK_FIXED(writeRuleSettings, kRuleFamily, kChanges, kRuleSettings),
    RK_FIXED(readRuleReport, kRuleFamily, kReads),
    RK_FIXED(setRuleCps, kRuleFamily, kChanges),

    RK_FIXED(addServerToRule, kMembershipFamily, kChanges),
    RK_FIXED(removeServerFromRule, kMembershipFamily, kChanges),
    RK_LISTED(listRuleServers, ServerListEntry, kMembershipFamily, kReads),

    RK_FIXED(readHighAvailability, kHaFamily, kReads),
    RK_FIXED(addBackup, kHaFamily, kChanges),
    RK_FIXED(deleteBackup, kHaFamily, kChanges),
    RK_FIXED(addReachTarget, kHaFamily, kChanges),
    RK_FIXED(deleteReachTarget, kHaFamily, kChanges),
    RK_FIXED(changeReachTarget, kHaFamily, kChanges),
    RK_FIXED(addHeartbeat, kHaFamily, kChanges),
    RK_FIXED(deleteHeartbeat, kHaFamily, kChanges),
    RK_FIXED(setHighAvailabilityTimers, kHaFamily, kChanges),
    RK_FIXED(takeOver, kHaFamily, kChanges),

    RK_FIXED(readInterfaces, kInterfaceFamily, kReads),

    RK_WHOLE(readLogHead, kTraceLogFamily, kReads),
    RK_WHOLE(readLogTail, kTraceLogFamily, kReads),
    RK_FIXED(clearLog, kTraceLogFamily, kChanges),

    RK_FIXED(allocateConnection, kConnectionFamily, kChanges),
    RK_FIXED(releaseConnection, kConnectionFamily, kChanges),
    RK_WHOLE(readConnections, kConnectionFamily, kReads),

    RK_WHOLE(readAffinities, kAffinityFamily, kReads),
    withRoomForAffinities(RK_FIXED(serverDirectedAffinity, kAffinityFamily, kChanges)),

    RK_FIXED(debugDump, kDebugFamily, kReads),
    RK_FIXED(dumpNetworkCards, kDebugFamily, kReads),
    RK_FIXED(dumpReturnAddresses, kDebugFamily, kReads),
    RK_FIXED(dumpConnectionLists, kDebugFamily, kReads),
    RK_FIXED(dumpAffinityLists, kDebugFamily, kReads),
    RK_WHOLE(readByteCounters, kDebugFamily, kReads),

    RK_FIXED(readHalfOpenConnections, kAttackFamily, kReads),
    RK_WHOLE(readAttackingAddresses, kAttackFamily, kReads),
    RK_FIXED(setAttackProtection, kAttackFamily, kChanges),
    RK_FIXED(readIcmp, kAttackFamily, kReads),
    RK_FIXED(writeIcmp, kAttackFamily, kChanges),
};

#undef RK_NAMED
#undef RK_FIXED
#undef RK_WHOLE
#undef RK_LISTED

} // namespace

const CommandRow *findCommand(Command command) {
    const auto *const end = std::end(kCommandRows);
    const auto *row = std::find_if(std::begin(kCommandRows), end,
                                   [command](const CommandRow &item) { return item.command == command; });
    return row == end ? nullptr : row;
}

} // namespace rk
