#include "executor/command_table.h"

#include "executor/commands.h"
#include "executor/reasons.h"
#include "executor/values.h"

namespace rk {

namespace {

// The records give a key the same name wherever they have it.
template <typename Record> CommandKeys keysIn(const CommandHeader &block) {
    const auto &record = reinterpret_cast<const Record &>(block);
    CommandKeys keys;
    if constexpr (requires { record.clusterKey; })
        keys.clusterKey = record.clusterKey;
    if constexpr (requires { record.port; })
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

// A command with a record of fixed length.
template <auto handler>
constexpr CommandRow fixed(Command command, const char *name, int32_t outOfMemory,
                           std::span<const Setting> settings = {}) {
    using Record = RecordOf<handler>;
    return {command, outOfMemory, name, sizeof(Record), 0, nullptr, performOn<handler>, keysIn<Record>, settings};
}

// A command with a block that has entries behind it.
template <auto handler, typename Entry>
constexpr CommandRow listed(Command command, const char *name, int32_t outOfMemory) {
    using Block = RecordOf<handler>;
    return {command,       outOfMemory, name, sizeof(Block), sizeof(Entry), countIn<Block>, performOn<handler>,
            keysIn<Block>, {}};
}

constexpr CommandRow kCommandRows[] = {
    fixed<readExecutorSettings>(Command::readExecutorSettings, "readExecutorSettings", kOutOfRange),
    fixed<writeExecutorSettings>(Command::writeExecutorSettings, "writeExecutorSettings", kOutOfRange,
                                 kExecutorSettings),
    fixed<readExecutorReport>(Command::readExecutorReport, "readExecutorReport", kOutOfRange),
    fixed<setExecutorCps>(Command::setExecutorCps, "setExecutorCps", kOutOfRange),

    fixed<addCluster>(Command::addCluster, "addCluster", kClusterOutOfMemory, kClusterSettings),
    fixed<removeCluster>(Command::removeCluster, "removeCluster", kClusterOutOfMemory),
    listed<listClusters, ClusterListEntry>(Command::listClusters, "listClusters", kClusterOutOfMemory),
    fixed<readClusterSettings>(Command::readClusterSettings, "readClusterSettings", kClusterOutOfMemory),
    fixed<writeClusterSettings>(Command::writeClusterSettings, "writeClusterSettings", kClusterOutOfMemory,
                                kClusterSettings),
    fixed<readClusterReport>(Command::readClusterReport, "readClusterReport", kClusterOutOfMemory),
    fixed<setClusterCps>(Command::setClusterCps, "setClusterCps", kClusterOutOfMemory),

    fixed<addPort>(Command::addPort, "addPort", kPortOutOfMemory, kPortSettings),
    fixed<removePort>(Command::removePort, "removePort", kPortOutOfMemory),
    listed<listPorts, PortListEntry>(Command::listPorts, "listPorts", kPortOutOfMemory),
    fixed<readPortSettings>(Command::readPortSettings, "readPortSettings", kPortOutOfMemory),
    fixed<writePortSettings>(Command::writePortSettings, "writePortSettings", kPortOutOfMemory, kPortSettings),
    fixed<readPortReport>(Command::readPortReport, "readPortReport", kPortOutOfMemory),
    fixed<setPortCps>(Command::setPortCps, "setPortCps", kPortOutOfMemory),

    fixed<addServer>(Command::addServer, "addServer", kServerOutOfMemory, kServerSettings),
    fixed<removeServer>(Command::removeServer, "removeServer", kServerOutOfMemory),
    fixed<markServerDown>(Command::markServerDown, "markServerDown", kServerOutOfMemory),
    fixed<markServerUp>(Command::markServerUp, "markServerUp", kServerOutOfMemory),
    listed<listServers, ServerListEntry>(Command::listServers, "listServers", kServerOutOfMemory),
    fixed<readServerSettings>(Command::readServerSettings, "readServerSettings", kServerOutOfMemory),
    fixed<writeServerSettings>(Command::writeServerSettings, "writeServerSettings", kServerOutOfMemory,
                               kServerSettings),
    fixed<readServerReport>(Command::readServerReport, "readServerReport", kServerOutOfMemory),
    fixed<setServerCps>(Command::setServerCps, "setServerCps", kServerOutOfMemory),

    listed<writeServerWeights, ServerWeightEntry>(Command::writeServerWeights, "writeServerWeights",
                                                  kServerOutOfMemory),
    listed<readServerWeights, ServerWeightEntry>(Command::readServerWeights, "readServerWeights", kServerOutOfMemory),

    fixed<addRule>(Command::addRule, "addRule", kRuleOutOfMemory, kRuleSettings),
    fixed<removeRule>(Command::removeRule, "removeRule", kRuleOutOfMemory),
    listed<listRules, RuleListEntry>(Command::listRules, "listRules", kRuleOutOfMemory),
    fixed<readRuleSettings>(Command::readRuleSettings, "readRuleSettings", kRuleOutOfMemory),
    fixed<writeRuleSettings>(Command::writeRuleSettings, "writeRuleSettings", kRuleOutOfMemory, kRuleSettings),
    fixed<readRuleReport>(Command::readRuleReport, "readRuleReport", kRuleOutOfMemory),
    fixed<setRuleCps>(Command::setRuleCps, "setRuleCps", kRuleOutOfMemory),

    fixed<addServerToRule>(Command::addServerToRule, "addServerToRule", kMembershipOutOfMemory),
    fixed<removeServerFromRule>(Command::removeServerFromRule, "removeServerFromRule", kMembershipOutOfMemory),
    listed<listRuleServers, ServerListEntry>(Command::listRuleServers, "listRuleServers", kMembershipOutOfMemory),
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
