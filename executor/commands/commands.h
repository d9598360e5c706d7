// The procedures of the commands, one file a family. Each gets a record whose length has been checked, performs the
// command on it and returns 0, or a reason; with a reason (or an exception for lack of memory) the state is as it was.
#pragma once

#include "executor/state/state.h"
#include "rk/interface_records.h"

namespace rk {

// executor_commands.cpp
int32_t readExecutorSettings(ExecutorState &state, ExecutorSettingsRecord &record);
int32_t writeExecutorSettings(ExecutorState &state, ExecutorSettingsRecord &record);
int32_t readExecutorReport(ExecutorState &state, ExecutorReportRecord &record);
int32_t setExecutorCps(ExecutorState &state, ExecutorReportRecord &record);

// Makes it a fresh executor with its default settings, started now.
void startExecutor(ExecutorState &state);

// cluster_commands.cpp
int32_t addCluster(ExecutorState &state, ClusterRecord &record);
int32_t removeCluster(ExecutorState &state, ClusterRecord &record);
int32_t listClusters(ExecutorState &state, ClusterListBlock &block);
int32_t readClusterSettings(ExecutorState &state, ClusterRecord &record);
int32_t writeClusterSettings(ExecutorState &state, ClusterRecord &record);
int32_t readClusterReport(ExecutorState &state, ClusterReportRecord &record);
int32_t setClusterCps(ExecutorState &state, ClusterReportRecord &record);

// port_commands.cpp
int32_t addPort(ExecutorState &state, PortRecord &record);
int32_t removePort(ExecutorState &state, PortRecord &record);
int32_t listPorts(ExecutorState &state, PortListBlock &block);
int32_t readPortSettings(ExecutorState &state, PortRecord &record);
int32_t writePortSettings(ExecutorState &state, PortRecord &record);
int32_t readPortReport(ExecutorState &state, PortReportRecord &record);
int32_t setPortCps(ExecutorState &state, PortReportRecord &record);

// server_commands.cpp
int32_t addServer(ExecutorState &state, ServerRecord &record);
int32_t removeServer(ExecutorState &state, ServerRecord &record);
int32_t markServerDown(ExecutorState &state, ServerCommandRecord &record);
int32_t markServerUp(ExecutorState &state, ServerCommandRecord &record);
int32_t listServers(ExecutorState &state, ServerListBlock &block);
int32_t readServerSettings(ExecutorState &state, ServerRecord &record);
int32_t writeServerSettings(ExecutorState &state, ServerRecord &record);
int32_t readServerReport(ExecutorState &state, ServerReportRecord &record);
int32_t setServerCps(ExecutorState &state, ServerReportRecord &record);

// The address of a server as far as its settings tell it, else 0.0.0.0.
NetworkAddress addressOf(const ServerRecord &settings);

// The entry of a server in a list of a port's or of a rule's servers.
void fillEntry(ServerListEntry &entry, const Server &server);

// weight_commands.cpp
int32_t writeServerWeights(ExecutorState &state, ServerWeightsBlock &block);
int32_t readServerWeights(ExecutorState &state, ServerWeightsBlock &block);

// rule_commands.cpp
int32_t addRule(ExecutorState &state, RuleRecord &record);
int32_t removeRule(ExecutorState &state, RuleRecord &record);
int32_t listRules(ExecutorState &state, RuleListBlock &block);
int32_t readRuleSettings(ExecutorState &state, RuleRecord &record);
int32_t writeRuleSettings(ExecutorState &state, RuleRecord &record);
int32_t readRuleReport(ExecutorState &state, RuleReportRecord &record);
int32_t setRuleCps(ExecutorState &state, RuleReportRecord &record);

// membership_commands.cpp
int32_t addServerToRule(ExecutorState &state, RuleMembershipRecord &record);
int32_t removeServerFromRule(ExecutorState &state, RuleMembershipRecord &record);
int32_t listRuleServers(ExecutorState &state, ServerListBlock &block);

// ha_commands.cpp
int32_t readHighAvailability(ExecutorState &state, HaStatusRecord &record);
int32_t addBackup(ExecutorState &state, HaControlRecord &record);
int32_t deleteBackup(ExecutorState &state, CommandHeader &header);
int32_t addReachTarget(ExecutorState &state, HaControlRecord &record);
int32_t deleteReachTarget(ExecutorState &state, HaControlRecord &record);
int32_t changeReachTarget(ExecutorState &state, HaControlRecord &record);
int32_t addHeartbeat(ExecutorState &state, HaControlRecord &record);
int32_t deleteHeartbeat(ExecutorState &state, HaControlRecord &record);
int32_t setHighAvailabilityTimers(ExecutorState &state, CommandHeader &header);
int32_t takeOver(ExecutorState &state, HaControlRecord &record);

// interface_commands.cpp
int32_t readInterfaces(ExecutorState &state, InterfaceListRecord &record);

// log_commands.cpp
int32_t readLogHead(ExecutorState &state, LogRequestRecord &record);
int32_t readLogTail(ExecutorState &state, LogRequestRecord &record);
int32_t clearLog(ExecutorState &state, ShortRecord &record);

// connection_commands.cpp
int32_t allocateConnection(ExecutorState &state, ConnectionRequestRecord &record);
int32_t releaseConnection(ExecutorState &state, ConnectionRequestRecord &record);
int32_t readConnections(ExecutorState &state, ConnectionQueryRecord &record);

// affinity_commands.cpp
int32_t readAffinities(ExecutorState &state, AffinityRecord &record);
int32_t serverDirectedAffinity(ExecutorState &state, AffinityRecord &record);

// debug_commands.cpp
int32_t debugDump(ExecutorState &state, DebugRequestRecord &record);
int32_t dumpNetworkCards(ExecutorState &state, NetworkCardsRecord &record);
int32_t dumpReturnAddresses(ExecutorState &state, ReturnAddressesRecord &record);
int32_t dumpConnectionLists(ExecutorState &state, ConnectionListsRecord &record);
int32_t dumpAffinityLists(ExecutorState &state, AffinityListsRecord &record);
int32_t readByteCounters(ExecutorState &state, ByteCountersRecord &record);

// attack_commands.cpp
int32_t readHalfOpenConnections(ExecutorState &state, HalfOpenRecord &record);
int32_t readAttackingAddresses(ExecutorState &state, AttackingAddressesRecord &record);
int32_t setAttackProtection(ExecutorState &state, AttackProtectionRecord &record);
int32_t readIcmp(ExecutorState &state, IcmpRecord &record);
int32_t writeIcmp(ExecutorState &state, IcmpRecord &record);

} // namespace rk
