// Records of clusters.
#pragma once

#include "rk/command_header.h"

namespace rk {

// Commands addCluster, removeCluster, readClusterSettings and writeClusterSettings.
struct ClusterRecord {
    CommandHeader header;
    NetworkAddress address;
    int32_t maxPorts;
    int32_t defaultPortMaxServers;
    uint8_t unused_28[4];
    SplitInt64 defaultPortStickyTime;
    uint16_t defaultPortAffinityType;
    int16_t defaultPortWeightBound;
    uint8_t defaultPortType;
    uint8_t defaultPortReplicate;
    uint8_t unused_46[2];
    SplitInt64 defaultPortStaleTimeout;
    int32_t sharedBytesPerSecond;
    uint8_t unused_60[4];
    int32_t activeConnectionsProportion;
    int32_t newConnectionsProportion;
    int32_t portSpecificProportion;
    int32_t systemProportion;
    NetworkAddress primaryHost;
    uint8_t setMaxPorts;
    uint8_t setDefaultPortMaxServers;
    uint8_t setDefaultPortStickyTime;
    uint8_t setDefaultPortAffinityType;
    uint8_t setDefaultPortWeightBound;
    uint8_t setDefaultPortType;
    uint8_t setDefaultPortReplicate;
    uint8_t setDefaultPortStaleTimeout;
    uint8_t setSharedBandwidth;
    uint8_t setPrimaryHost;
    uint8_t setProportions; // governs all four proportions
    uint8_t setAddress;
    int32_t numberOfPorts; // reply of readClusterSettings only
    uint32_t clusterKey;
    char clusterId[65]; // at most 64 bytes of modified UTF-8
    uint8_t setNatAddress;
    uint8_t unused_170[2];
    uint8_t natAddress[4]; // in the order of the Java byte array
    uint8_t unused_176[16];
};

static_assert(sizeof(ClusterRecord) == 192);
RK_AT(ClusterRecord, address, 16);
RK_AT(ClusterRecord, maxPorts, 20);
RK_AT(ClusterRecord, defaultPortMaxServers, 24);
RK_AT(ClusterRecord, defaultPortStickyTime, 32);
RK_AT(ClusterRecord, defaultPortAffinityType, 40);
RK_AT(ClusterRecord, defaultPortWeightBound, 42);
RK_AT(ClusterRecord, defaultPortType, 44);
RK_AT(ClusterRecord, defaultPortReplicate, 45);
RK_AT(ClusterRecord, defaultPortStaleTimeout, 48);
RK_AT(ClusterRecord, sharedBytesPerSecond, 56);
RK_AT(ClusterRecord, activeConnectionsProportion, 64);
RK_AT(ClusterRecord, newConnectionsProportion, 68);
RK_AT(ClusterRecord, portSpecificProportion, 72);
RK_AT(ClusterRecord, systemProportion, 76);
RK_AT(ClusterRecord, primaryHost, 80);
RK_AT(ClusterRecord, setMaxPorts, 84);
RK_AT(ClusterRecord, setDefaultPortMaxServers, 85);
RK_AT(ClusterRecord, setDefaultPortStickyTime, 86);
RK_AT(ClusterRecord, setDefaultPortAffinityType, 87);
RK_AT(ClusterRecord, setDefaultPortWeightBound, 88);
RK_AT(ClusterRecord, setDefaultPortType, 89);
RK_AT(ClusterRecord, setDefaultPortReplicate, 90);
RK_AT(ClusterRecord, setDefaultPortStaleTimeout, 91);
RK_AT(ClusterRecord, setSharedBandwidth, 92);
RK_AT(ClusterRecord, setPrimaryHost, 93);
RK_AT(ClusterRecord, setProportions, 94);
RK_AT(ClusterRecord, setAddress, 95);
RK_AT(ClusterRecord, numberOfPorts, 96);
RK_AT(ClusterRecord, clusterKey, 100);
RK_AT(ClusterRecord, clusterId, 104);
RK_AT(ClusterRecord, setNatAddress, 169);
RK_AT(ClusterRecord, natAddress, 172);

// Commands readClusterReport and setClusterCps.
struct ClusterReportRecord {
    CommandHeader header;
    uint32_t clusterKey;
    NetworkAddress address;
    int32_t numberOfPorts;
    int32_t synOnActive;
    int32_t synOnFinished;
    int32_t finsDropped;
    int32_t acksDropped;
    int32_t rstsDropped;
    int32_t packetsDropped;
    int32_t packetsForNoConnection;
    int32_t newWhileQuiesced;
    uint8_t unused_60[4];
    int32_t bytesPerSecond;
    int32_t connectionsPerSecond; // request of setClusterCps, reply of readClusterReport
};

static_assert(sizeof(ClusterReportRecord) == 72);
RK_AT(ClusterReportRecord, clusterKey, 16);
RK_AT(ClusterReportRecord, address, 20);
RK_AT(ClusterReportRecord, numberOfPorts, 24);
RK_AT(ClusterReportRecord, synOnActive, 28);
RK_AT(ClusterReportRecord, synOnFinished, 32);
RK_AT(ClusterReportRecord, finsDropped, 36);
RK_AT(ClusterReportRecord, acksDropped, 40);
RK_AT(ClusterReportRecord, rstsDropped, 44);
RK_AT(ClusterReportRecord, packetsDropped, 48);
RK_AT(ClusterReportRecord, packetsForNoConnection, 52);
RK_AT(ClusterReportRecord, newWhileQuiesced, 56);
RK_AT(ClusterReportRecord, bytesPerSecond, 64);
RK_AT(ClusterReportRecord, connectionsPerSecond, 68);

// Command listClusters, in a block of its own with `count` entries behind it.
struct ClusterListBlock {
    CommandHeader header;
    int32_t count; // request: entries there is room for; reply: entries filled
};

struct ClusterListEntry {
    char clusterId[72];
};

static_assert(sizeof(ClusterListBlock) == 20);
RK_AT(ClusterListBlock, count, 16);
static_assert(sizeof(ClusterListEntry) == 72);

} // namespace rk
