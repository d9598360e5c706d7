// The command block: one buffer for all records that travel in it.
#pragma once

#include "rk/cluster_records.h"
#include "rk/command_header.h"
#include "rk/diagnostic_records.h"
#include "rk/executor_records.h"
#include "rk/ha_records.h"
#include "rk/interface_records.h"
#include "rk/port_records.h"
#include "rk/rule_records.h"
#include "rk/server_records.h"

namespace rk {

// Server-directed affinity may carry 3000 entries of 32 bytes behind a 48-byte head, which is more than the wire size.
// The storage has room for them, so that the library never writes past its end.
inline constexpr std::size_t kStorageBytes = sizeof(AffinityRecord) + kAffinities * sizeof(AffinityEntry);

union CommandBlock {
    CommandHeader header;
    ExecutorSettingsRecord executor;
    ExecutorReportRecord executorReport;
    ClusterRecord cluster;
    ClusterReportRecord clusterReport;
    PortRecord port;
    PortReportRecord portReport;
    ServerRecord server;
    ServerCommandRecord serverCommand;
    ServerReportRecord serverReport;
    RuleRecord rule;
    RuleReportRecord ruleReport;
    RuleMembershipRecord ruleMembership;
    HaStatusRecord haStatus;
    HaControlRecord haControl;
    InterfaceListRecord interfaces;
    LogRequestRecord logRequest;
    ShortRecord shortRecord;
    ConnectionRequestRecord connectionRequest;
    ConnectionQueryRecord connectionQuery;
    ConnectionListRecord connections;
    AffinityRecord affinity;
    DebugRequestRecord debugRequest;
    DebugCountersRecord debugCounters;
    NetworkCardsRecord networkCards;
    ReturnAddressesRecord returnAddresses;
    ConnectionListsRecord connectionLists;
    AffinityListsRecord affinityLists;
    ByteCountersRecord byteCounters;
    HalfOpenRecord halfOpen;
    AttackingAddressesRecord attackingAddresses;
    AttackProtectionRecord attackProtection;
    IcmpRecord icmp;
    uint8_t bytes[kStorageBytes];
};

static_assert(sizeof(CommandBlock) == kStorageBytes && kStorageBytes >= kWireBytes + 16);

} // namespace rk
