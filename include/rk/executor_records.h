// Records of the executor's own settings and counters.
#pragma once

#include "rk/command_header.h"

namespace rk {

// Commands readExecutorSettings and writeExecutorSettings. A `set` flag of 1 marks a setting to be changed.
struct ExecutorSettingsRecord {
    CommandHeader header;
    NetworkAddress nfa; // non-forwarding address
    int32_t traceLevel;
    int32_t logFilter;
    int32_t defaultClusterMaxPorts;
    SplitInt64 finTimeout;
    SplitInt64 haTimeout;
    SplitInt64 haSyncTimeout;
    int32_t defaultPortMaxServers;
    uint8_t unused_60[4];
    SplitInt64 defaultPortStaleTimeout;
    SplitInt64 defaultPortStickyTime;
    uint16_t defaultPortAffinityType;
    int16_t defaultPortWeightBound;
    uint8_t defaultPortType;
    uint8_t defaultPortReplicate;
    char configFileName[256];
    char pluginConfigFileName[256];
    uint8_t unused_598[2];
    NetworkAddress clientGateway;
    int32_t maxNumberOfClusters;
    int32_t widePortNumber;
    uint8_t unused_612[4];
    SplitInt64 secondsWestOfGreenwich;
    int32_t sharedBytesPerSecond;
    uint8_t setNonForwardingAddress; // also governs secondsWestOfGreenwich
    uint8_t setTraceLevel;
    uint8_t setLogFilter;
    uint8_t setDefaultClusterMaxPorts;
    uint8_t setFinTimeout;
    uint8_t setHaTimeout;
    uint8_t setHaSyncTimeout;
    uint8_t setClientGateway;
    uint8_t setDefaultPortMaxServers;
    uint8_t setDefaultPortStaleTimeout;
    uint8_t setDefaultPortStickyTime;
    uint8_t setDefaultPortAffinityType;
    uint8_t setDefaultPortWeightBound;
    uint8_t setDefaultPortType;
    uint8_t setDefaultPortReplicate;
    uint8_t setMaxNumberOfClusters;
    uint8_t setWidePortNumber;
    uint8_t setSecondsWestOfGreenwich;
    uint8_t setConfigFileName;
    uint8_t unused_647;
    uint8_t setSharedBandwidth;
    uint8_t unused_649[7];
    uint8_t setCookieExpireInterval;
    uint8_t clientGatewayHardware[6]; // learned by the executor; cleared when the gateway changes
    uint8_t unused_663;
    int32_t cookieExpireInterval;
    uint8_t setV6ClientGateway;
    uint8_t unused_669[3];
    uint8_t v6ClientGateway[16];
    uint8_t v6ClientGatewayHardware[6]; // learned by the executor; cleared when the gateway changes
    uint8_t unused_694[2];
};

static_assert(sizeof(ExecutorSettingsRecord) == 696);
RK_AT(ExecutorSettingsRecord, nfa, 16);
RK_AT(ExecutorSettingsRecord, traceLevel, 20);
RK_AT(ExecutorSettingsRecord, logFilter, 24);
RK_AT(ExecutorSettingsRecord, defaultClusterMaxPorts, 28);
RK_AT(ExecutorSettingsRecord, finTimeout, 32);
RK_AT(ExecutorSettingsRecord, haTimeout, 40);
RK_AT(ExecutorSettingsRecord, haSyncTimeout, 48);
RK_AT(ExecutorSettingsRecord, defaultPortMaxServers, 56);
RK_AT(ExecutorSettingsRecord, defaultPortStaleTimeout, 64);
RK_AT(ExecutorSettingsRecord, defaultPortStickyTime, 72);
RK_AT(ExecutorSettingsRecord, defaultPortAffinityType, 80);
RK_AT(ExecutorSettingsRecord, defaultPortWeightBound, 82);
RK_AT(ExecutorSettingsRecord, defaultPortType, 84);
RK_AT(ExecutorSettingsRecord, defaultPortReplicate, 85);
RK_AT(ExecutorSettingsRecord, configFileName, 86);
RK_AT(ExecutorSettingsRecord, pluginConfigFileName, 342);
RK_AT(ExecutorSettingsRecord, clientGateway, 600);
RK_AT(ExecutorSettingsRecord, maxNumberOfClusters, 604);
RK_AT(ExecutorSettingsRecord, widePortNumber, 608);
RK_AT(ExecutorSettingsRecord, secondsWestOfGreenwich, 616);
RK_AT(ExecutorSettingsRecord, sharedBytesPerSecond, 624);
RK_AT(ExecutorSettingsRecord, setNonForwardingAddress, 628);
RK_AT(ExecutorSettingsRecord, setTraceLevel, 629);
RK_AT(ExecutorSettingsRecord, setLogFilter, 630);
RK_AT(ExecutorSettingsRecord, setDefaultClusterMaxPorts, 631);
RK_AT(ExecutorSettingsRecord, setFinTimeout, 632);
RK_AT(ExecutorSettingsRecord, setHaTimeout, 633);
RK_AT(ExecutorSettingsRecord, setHaSyncTimeout, 634);
RK_AT(ExecutorSettingsRecord, setClientGateway, 635);
RK_AT(ExecutorSettingsRecord, setDefaultPortMaxServers, 636);
RK_AT(ExecutorSettingsRecord, setDefaultPortStaleTimeout, 637);
RK_AT(ExecutorSettingsRecord, setDefaultPortStickyTime, 638);
RK_AT(ExecutorSettingsRecord, setDefaultPortAffinityType, 639);
RK_AT(ExecutorSettingsRecord, setDefaultPortWeightBound, 640);
RK_AT(ExecutorSettingsRecord, setDefaultPortType, 641);
RK_AT(ExecutorSettingsRecord, setDefaultPortReplicate, 642);
RK_AT(ExecutorSettingsRecord, setMaxNumberOfClusters, 643);
RK_AT(ExecutorSettingsRecord, setWidePortNumber, 644);
RK_AT(ExecutorSettingsRecord, setSecondsWestOfGreenwich, 645);
RK_AT(ExecutorSettingsRecord, setConfigFileName, 646);
RK_AT(ExecutorSettingsRecord, setSharedBandwidth, 648);
RK_AT(ExecutorSettingsRecord, setCookieExpireInterval, 656);
RK_AT(ExecutorSettingsRecord, clientGatewayHardware, 657);
RK_AT(ExecutorSettingsRecord, cookieExpireInterval, 664);
RK_AT(ExecutorSettingsRecord, setV6ClientGateway, 668);
RK_AT(ExecutorSettingsRecord, v6ClientGateway, 672);
RK_AT(ExecutorSettingsRecord, v6ClientGatewayHardware, 688);

// Command readExecutorReport; command setExecutorCps uses only connectionsPerSecond.
struct ExecutorReportRecord {
    CommandHeader header;
    NetworkAddress nfa;
    char version[104];
    int32_t timeStarted; // seconds since 1970
    int64_t packetsTotal;
    int64_t packetsTooShort;
    int64_t packetsToNonForwardingAddress;
    int64_t packetsClusterDiscarded;
    int64_t packetsClusterInError;
    int64_t packetsClusterLocal;
    int64_t packetsClusterOwnAddress;
    int64_t packetsClusterForwarded;
    int64_t packetsForwardErrors;
    int64_t packetsNotForCluster;
    int64_t packetsClusterBroadcast;
    int32_t connectionHashBuckets;
    int32_t numberOfClusters;
    uint8_t unused_224[4];
    int32_t bytesPerSecond;
    int32_t connectionsPerSecond;
    uint8_t unused_236[4];
};

static_assert(sizeof(ExecutorReportRecord) == 240);
RK_AT(ExecutorReportRecord, nfa, 16);
RK_AT(ExecutorReportRecord, version, 20);
RK_AT(ExecutorReportRecord, timeStarted, 124);
RK_AT(ExecutorReportRecord, packetsTotal, 128);
RK_AT(ExecutorReportRecord, packetsTooShort, 136);
RK_AT(ExecutorReportRecord, packetsToNonForwardingAddress, 144);
RK_AT(ExecutorReportRecord, packetsClusterDiscarded, 152);
RK_AT(ExecutorReportRecord, packetsClusterInError, 160);
RK_AT(ExecutorReportRecord, packetsClusterLocal, 168);
RK_AT(ExecutorReportRecord, packetsClusterOwnAddress, 176);
RK_AT(ExecutorReportRecord, packetsClusterForwarded, 184);
RK_AT(ExecutorReportRecord, packetsForwardErrors, 192);
RK_AT(ExecutorReportRecord, packetsNotForCluster, 200);
RK_AT(ExecutorReportRecord, packetsClusterBroadcast, 208);
RK_AT(ExecutorReportRecord, connectionHashBuckets, 216);
RK_AT(ExecutorReportRecord, numberOfClusters, 220);
RK_AT(ExecutorReportRecord, bytesPerSecond, 228);
RK_AT(ExecutorReportRecord, connectionsPerSecond, 232);

} // namespace rk
