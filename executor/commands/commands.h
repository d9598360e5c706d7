// The procedures of the commands, one file a family. Each gets the objects that it works on, which are those that the
// request names, and the record, whose length has been checked. It returns 0, or the reason why the command is refused;
// with a reason, or an exception for lack of memory, the state is as it was.
#pragma once

#include "executor/commands/traffic.h"
#include "rk/interface_records.h"

namespace rk {

// executor_commands.cpp
int32_t readExecutorSettings(const Executor &executor, ExecutorSettingsRecord &record);
int32_t writeExecutorSettings(Executor &executor, const ExecutorSettingsRecord &record);
int32_t readExecutorReport(const Executor &executor, const Traffic &traffic, ExecutorReportRecord &record);
int32_t setExecutorCps(Executor &executor, const ExecutorReportRecord &record);

// Makes it a fresh executor with default settings, started now.
void startExecutor(ExecutorState &state);

// cluster_commands.cpp
int32_t addCluster(Executor &executor, const ClusterRecord &record);
int32_t removeCluster(Executor &executor, Cluster &cluster, const ClusterRecord &record);
int32_t listClusters(const Executor &executor, ClusterListBlock &block);
int32_t readClusterSettings(const Cluster &cluster, ClusterRecord &record);
int32_t writeClusterSettings(Executor &executor, Cluster &cluster, const ClusterRecord &record);
int32_t readClusterReport(const Cluster &cluster, const Traffic &traffic, ClusterReportRecord &record);
int32_t setClusterCps(Cluster &cluster, const ClusterReportRecord &record);

// port_commands.cpp
int32_t addPort(Cluster &cluster, const PortRecord &record);
int32_t removePort(Cluster &cluster, Port &port, const PortRecord &record);
int32_t listPorts(const Cluster &cluster, PortListBlock &block);
int32_t readPortSettings(const Port &port, PortRecord &record);
int32_t writePortSettings(const Cluster &cluster, Port &port, const PortRecord &record);
int32_t readPortReport(const Cluster &cluster, const Port &port, const Traffic &traffic, PortReportRecord &record);
int32_t setPortCps(Port &port, const PortReportRecord &record);

// server_commands.cpp
int32_t addServer(Executor &executor, Port &port, const ServerRecord &record);
int32_t removeServer(Port &port, Server &server, const ServerRecord &record);
int32_t markServerDown(Server &server, const ServerCommandRecord &record);
int32_t markServerUp(Server &server, const ServerCommandRecord &record);
int32_t listServers(const Port &port, ServerListBlock &block);
int32_t readServerSettings(const Server &server, ServerRecord &record);
int32_t writeServerSettings(const Port &port, Server &server, const ServerRecord &record);
int32_t readServerReport(const Cluster &cluster, const Port &port, const Server &server, const Traffic &traffic,
                         ServerReportRecord &record);
int32_t setServerCps(Server &server, const ServerReportRecord &record);

// Fills the entry of a server in a list of a port's or of a rule's servers.
void fillEntry(ServerListEntry &entry, const Server &server);

// weight_commands.cpp
int32_t writeServerWeights(Port &port, ServerWeightsBlock &block);
int32_t readServerWeights(const Cluster &cluster, const Port &port, const Traffic &traffic, ServerWeightsBlock &block);

// Sets the result of each entry of writeServerWeights whose port is not there.
void refuseServerWeights(CommandHeader &header, int32_t reason);

// rule_commands.cpp
int32_t addRule(Executor &executor, Port &port, const RuleRecord &record);
int32_t removeRule(Port &port, Rule &rule, const RuleRecord &record);
int32_t listRules(const Port &port, RuleListBlock &block);
int32_t readRuleSettings(const Rule &rule, RuleRecord &record);
int32_t writeRuleSettings(Port &port, Rule &rule, const RuleRecord &record);
int32_t readRuleReport(const Cluster &cluster, const Port &port, const Rule &rule, const Traffic &traffic,
                       RuleReportRecord &record);
int32_t setRuleCps(Rule &rule, const RuleReportRecord &record);

// membership_commands.cpp
int32_t addServerToRule(Executor &executor, const Server &server, Rule &rule, const RuleMembershipRecord &record);
int32_t removeServerFromRule(const Server &server, Rule &rule, const RuleMembershipRecord &record);
int32_t listRuleServers(const Rule &rule, ServerListBlock &block);

// ha_commands.cpp
int32_t readHighAvailability(const Executor &executor, HaStatusRecord &record);
int32_t addBackup(Executor &executor, const HaControlRecord &record);
int32_t deleteBackup(Executor &executor, const CommandHeader &header);
int32_t addReachTarget(Executor &executor, const HaControlRecord &record);
int32_t deleteReachTarget(Executor &executor, const HaControlRecord &record);
int32_t changeReachTarget(Executor &executor, const HaControlRecord &record);
int32_t addHeartbeat(Executor &executor, const HaControlRecord &record);
int32_t deleteHeartbeat(Executor &executor, const HaControlRecord &record);
int32_t setHighAvailabilityTimers(Executor &executor, const CommandHeader &header);
int32_t takeOver(Executor &executor, const HaControlRecord &record);

// interface_commands.cpp
int32_t readInterfaces(ExecutorState &state, InterfaceListRecord &record);

// log_commands.cpp
int32_t readLogHead(const TraceLog &trace, LogRequestRecord &record);
int32_t readLogTail(const TraceLog &trace, LogRequestRecord &record);
int32_t clearLog(TraceLog &trace, const ShortRecord &record);

// connection_commands.cpp
int32_t allocateConnection(Port &port, const ConnectionRequestRecord &record);
int32_t releaseConnection(Executor &executor, Port &port, const ConnectionRequestRecord &record);
int32_t readConnections(const Executor &executor, const Traffic &traffic, ConnectionQueryRecord &record);

// affinity_commands.cpp
int32_t readAffinities(const Cluster &cluster, const Port &port, const Traffic &traffic, AffinityRecord &record);
int32_t serverDirectedAffinity(Executor &executor, const Cluster &cluster, Port &port, const Traffic &traffic,
                               AffinityRecord &record);

// debug_commands.cpp
int32_t debugDump(Executor &executor, const Traffic &traffic, DebugRequestRecord &record);
int32_t dumpNetworkCards(NetworkCardsRecord &record);
int32_t dumpReturnAddresses(const Executor &executor, ReturnAddressesRecord &record);
int32_t dumpConnectionLists(const Executor &executor, const Traffic &traffic, ConnectionListsRecord &record);
int32_t dumpAffinityLists(const Executor &executor, const Traffic &traffic, AffinityListsRecord &record);
int32_t readByteCounters(const Executor &executor, ByteCountersRecord &record);

// attack_commands.cpp
int32_t readHalfOpenConnections(const Executor &executor, const Traffic &traffic, HalfOpenRecord &record);
int32_t readAttackingAddresses(const Executor &executor, const Cluster &cluster, const Port &port,
                               const Traffic &traffic, AttackingAddressesRecord &record);
int32_t setAttackProtection(Executor &executor, const AttackProtectionRecord &record);
int32_t readIcmp(const Executor &executor, IcmpRecord &record);
int32_t writeIcmp(Executor &executor, const IcmpRecord &record);

} // namespace rk
