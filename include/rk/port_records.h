// Records of the ports of a cluster.
#pragma once

#include "rk/command_header.h"

namespace rk {

// Commands addPort, removePort, readPortSettings and writePortSettings.
struct PortRecord {
    CommandHeader header;
    uint32_t clusterKey;
    NetworkPort port;
    uint8_t unused_22[6];
    int32_t numberOfServers; // reply of readPortSettings only
    int32_t maxServers;
    uint8_t unused_36[4];
    SplitInt64 stickyTime;
    uint16_t protocol;
    uint8_t unused_50[2];
    int32_t stickyBits;
    SplitInt64 staleTimeout;
    int16_t weightBound;
    int8_t type; // sign-extended on its way to Java
    uint8_t unused_67;
    int16_t method;
    uint8_t replicate;
    uint8_t unused_71;
    NetworkPort crossPort;
    uint8_t unused_74[2];
    int32_t maxHalfOpen;
    uint8_t setMaxServers;
    uint8_t setStickyTime;
    uint8_t setProtocol;
    uint8_t setStickyBits;
    uint8_t setStaleTimeout;
    uint8_t setWeightBound;
    uint8_t setType;
    uint8_t setMethod;
    uint8_t setReplicate;
    uint8_t setCrossPort;
    uint8_t setMaxHalfOpen;
    uint8_t setSendReset;
    int8_t sendReset;
    uint8_t unused_93[3];
};

static_assert(sizeof(PortRecord) == 96);
RK_AT(PortRecord, clusterKey, 16);
RK_AT(PortRecord, port, 20);
RK_AT(PortRecord, numberOfServers, 28);
RK_AT(PortRecord, maxServers, 32);
RK_AT(PortRecord, stickyTime, 40);
RK_AT(PortRecord, protocol, 48);
RK_AT(PortRecord, stickyBits, 52);
RK_AT(PortRecord, staleTimeout, 56);
RK_AT(PortRecord, weightBound, 64);
RK_AT(PortRecord, type, 66);
RK_AT(PortRecord, method, 68);
RK_AT(PortRecord, replicate, 70);
RK_AT(PortRecord, crossPort, 72);
RK_AT(PortRecord, maxHalfOpen, 76);
RK_AT(PortRecord, setMaxServers, 80);
RK_AT(PortRecord, setStickyTime, 81);
RK_AT(PortRecord, setProtocol, 82);
RK_AT(PortRecord, setStickyBits, 83);
RK_AT(PortRecord, setStaleTimeout, 84);
RK_AT(PortRecord, setWeightBound, 85);
RK_AT(PortRecord, setType, 86);
RK_AT(PortRecord, setMethod, 87);
RK_AT(PortRecord, setReplicate, 88);
RK_AT(PortRecord, setCrossPort, 89);
RK_AT(PortRecord, setMaxHalfOpen, 90);
RK_AT(PortRecord, setSendReset, 91);
RK_AT(PortRecord, sendReset, 92);

// Commands readPortReport and setPortCps.
struct PortReportRecord {
    CommandHeader header;
    uint32_t clusterKey;
    NetworkPort port;
    uint8_t unused_22[2];
    int32_t connectionsPerSecond; // request of setPortCps, reply of readPortReport
    int32_t activeConnections;
    int32_t halfOpenConnections;
    int32_t numberOfServers;
    int32_t numberOfRules;
    int32_t serversDown;
    int32_t highestWeight;
    int32_t localServers;
    uint8_t unused_56[4];
    int32_t bytesPerSecond;
    int32_t resetsSent;
    uint16_t protocol;
    int16_t method;
};

static_assert(sizeof(PortReportRecord) == 72);
RK_AT(PortReportRecord, clusterKey, 16);
RK_AT(PortReportRecord, port, 20);
RK_AT(PortReportRecord, connectionsPerSecond, 24);
RK_AT(PortReportRecord, activeConnections, 28);
RK_AT(PortReportRecord, halfOpenConnections, 32);
RK_AT(PortReportRecord, numberOfServers, 36);
RK_AT(PortReportRecord, numberOfRules, 40);
RK_AT(PortReportRecord, serversDown, 44);
RK_AT(PortReportRecord, highestWeight, 48);
RK_AT(PortReportRecord, localServers, 52);
RK_AT(PortReportRecord, bytesPerSecond, 60);
RK_AT(PortReportRecord, resetsSent, 64);
RK_AT(PortReportRecord, protocol, 68);
RK_AT(PortReportRecord, method, 70);

// Command listPorts, in a block of its own with `count` entries behind it.
struct PortListBlock {
    CommandHeader header;
    uint32_t clusterKey;
    int32_t count; // request: entries there is room for; reply: entries filled
};

struct PortListEntry {
    NetworkPort port;
    uint8_t unused_2[6];
};

static_assert(sizeof(PortListBlock) == 24);
RK_AT(PortListBlock, clusterKey, 16);
RK_AT(PortListBlock, count, 20);
static_assert(sizeof(PortListEntry) == 8);

} // namespace rk
