// Records of the servers of a port, of their weights in bulk, and of their membership in rules.
#pragma once

#include "rk/command_header.h"

namespace rk {

inline constexpr int kListenersPerServer = 2;

struct ListenerEntry {
    NetworkAddress address;
    NetworkPort mapPort;
    uint8_t unused_6[2];
    int32_t protocol;
    int32_t connectTimeout;  // the server's, the same in every entry
    int32_t waitForComplete; // the server's, the same in every entry
    char keyRing[256];
    char stashFile[256];
};

static_assert(sizeof(ListenerEntry) == 532);
RK_AT(ListenerEntry, mapPort, 4);
RK_AT(ListenerEntry, protocol, 8);
RK_AT(ListenerEntry, connectTimeout, 12);
RK_AT(ListenerEntry, waitForComplete, 16);
RK_AT(ListenerEntry, keyRing, 20);
RK_AT(ListenerEntry, stashFile, 276);

// Commands addServer, removeServer, writeServerSettings and readServerSettings.
struct ServerRecord {
    CommandHeader header;
    char serverId[68]; // at most 64 characters
    uint32_t serverKey;
    uint32_t clusterKey;
    NetworkPort port;
    uint8_t unused_94[22];
    uint16_t numberOfListeners;
    uint8_t unused_118[2];
    ListenerEntry listeners[kListenersPerServer];
    uint8_t setListeners;
    uint8_t unused_1185[7];
    int16_t weight;
    int8_t fixedWeight;
    uint8_t remote; // 1 when the router address is not 0
    NetworkAddress routerAddress;
    NetworkAddress returnAddress;
    int32_t collocated;
    int32_t sticky;
    int32_t quiesced;
    int32_t cpsMaximum; // connections per second
    uint8_t setWeight;
    uint8_t setFixedWeight;
    uint8_t unused_1222;
    uint8_t routerAddressPresent;
    uint8_t setRouterAddress;
    uint8_t setReturnAddress;
    uint8_t setCollocated;
    uint8_t setSticky;
    uint8_t setQuiesced;
    uint8_t setAdvisorRequest;
    uint8_t setAdvisorResponse;
    uint8_t setCpsMaximum;
    char advisorRequest[256];
    char advisorResponse[256];
    uint8_t setCookieValue;
    char cookieValue[100];
    uint8_t setCloneId;
    char cloneId[106];
};

static_assert(sizeof(ServerRecord) == 1952);
RK_AT(ServerRecord, serverId, 16);
RK_AT(ServerRecord, serverKey, 84);
RK_AT(ServerRecord, clusterKey, 88);
RK_AT(ServerRecord, port, 92);
RK_AT(ServerRecord, numberOfListeners, 116);
RK_AT(ServerRecord, listeners, 120);
RK_AT(ServerRecord, setListeners, 1184);
RK_AT(ServerRecord, weight, 1192);
RK_AT(ServerRecord, fixedWeight, 1194);
RK_AT(ServerRecord, remote, 1195);
RK_AT(ServerRecord, routerAddress, 1196);
RK_AT(ServerRecord, returnAddress, 1200);
RK_AT(ServerRecord, collocated, 1204);
RK_AT(ServerRecord, sticky, 1208);
RK_AT(ServerRecord, quiesced, 1212);
RK_AT(ServerRecord, cpsMaximum, 1216);
RK_AT(ServerRecord, setWeight, 1220);
RK_AT(ServerRecord, setFixedWeight, 1221);
RK_AT(ServerRecord, routerAddressPresent, 1223);
RK_AT(ServerRecord, setRouterAddress, 1224);
RK_AT(ServerRecord, setReturnAddress, 1225);
RK_AT(ServerRecord, setCollocated, 1226);
RK_AT(ServerRecord, setSticky, 1227);
RK_AT(ServerRecord, setQuiesced, 1228);
RK_AT(ServerRecord, setAdvisorRequest, 1229);
RK_AT(ServerRecord, setAdvisorResponse, 1230);
RK_AT(ServerRecord, setCpsMaximum, 1231);
RK_AT(ServerRecord, advisorRequest, 1232);
RK_AT(ServerRecord, advisorResponse, 1488);
RK_AT(ServerRecord, setCookieValue, 1744);
RK_AT(ServerRecord, cookieValue, 1745);
RK_AT(ServerRecord, setCloneId, 1845);
RK_AT(ServerRecord, cloneId, 1846);

// Commands addServerToRule and removeServerFromRule: the keys of the server record, and the rule's name in bytes that
// the server commands do not use.
struct RuleMembershipRecord {
    CommandHeader header;
    uint8_t unused_16[68];
    uint32_t serverKey;
    uint32_t clusterKey;
    NetworkPort port;
    char ruleName[21]; // at most 20 characters
    uint8_t unused_115[1833];
    int32_t argument; // the Java caller's, passed on as it is
};

static_assert(sizeof(RuleMembershipRecord) == sizeof(ServerRecord));
RK_AT(RuleMembershipRecord, serverKey, offsetof(ServerRecord, serverKey));
RK_AT(RuleMembershipRecord, clusterKey, offsetof(ServerRecord, clusterKey));
RK_AT(RuleMembershipRecord, port, offsetof(ServerRecord, port));
RK_AT(RuleMembershipRecord, ruleName, 94);
RK_AT(RuleMembershipRecord, argument, 1948);

// Commands markServerUp and markServerDown.
struct ServerCommandRecord {
    CommandHeader header;
    uint32_t clusterKey;
    NetworkPort port;
    uint8_t unused_22[22];
    int32_t numberOfServers; // always 1
    uint32_t serverKey;
    uint8_t unused_52[84];
};

static_assert(sizeof(ServerCommandRecord) == 136);
RK_AT(ServerCommandRecord, clusterKey, 16);
RK_AT(ServerCommandRecord, port, 20);
RK_AT(ServerCommandRecord, numberOfServers, 44);
RK_AT(ServerCommandRecord, serverKey, 48);

// Commands readServerReport and setServerCps.
struct ServerReportRecord {
    CommandHeader header;
    uint32_t clusterKey;
    NetworkPort port;
    uint8_t unused_22[22];
    uint32_t serverKey;
    uint8_t unused_48[8];
    int32_t totalConnections;
    int32_t totalTcpConnections;
    int32_t totalUdpConnections;
    int32_t activeConnections;
    int32_t finishedConnections;
    int32_t completeConnections;
    int16_t savedWeight;
    uint8_t unused_82[6];
    int32_t bytesPerSecond;
    int32_t connectionsPerSecond; // request of setServerCps
};

static_assert(sizeof(ServerReportRecord) == 96);
RK_AT(ServerReportRecord, clusterKey, 16);
RK_AT(ServerReportRecord, port, 20);
RK_AT(ServerReportRecord, serverKey, 44);
RK_AT(ServerReportRecord, totalConnections, 56);
RK_AT(ServerReportRecord, totalTcpConnections, 60);
RK_AT(ServerReportRecord, totalUdpConnections, 64);
RK_AT(ServerReportRecord, activeConnections, 68);
RK_AT(ServerReportRecord, finishedConnections, 72);
RK_AT(ServerReportRecord, completeConnections, 76);
RK_AT(ServerReportRecord, savedWeight, 80);
RK_AT(ServerReportRecord, bytesPerSecond, 88);
RK_AT(ServerReportRecord, connectionsPerSecond, 92);

// Commands listServers and listRuleServers, in a block of its own with `count` entries behind it.
struct ServerListBlock {
    CommandHeader header;
    uint32_t clusterKey;
    NetworkPort port;
    char ruleName[21]; // listRuleServers only; at most 20 characters
    uint8_t unused_43;
    int32_t count;
};

struct ServerListEntry {
    uint32_t serverKey;
    uint8_t unused_4[4];
    char serverId[80];
};

static_assert(sizeof(ServerListBlock) == 48);
RK_AT(ServerListBlock, clusterKey, 16);
RK_AT(ServerListBlock, port, 20);
RK_AT(ServerListBlock, ruleName, 22);
RK_AT(ServerListBlock, count, 44);
static_assert(sizeof(ServerListEntry) == 88);
RK_AT(ServerListEntry, serverId, 8);

// Commands writeServerWeights and readServerWeights, in a block of its own with `count` entries behind it.
struct ServerWeightsBlock {
    CommandHeader header;
    uint32_t clusterKey;
    NetworkPort port;
    uint8_t unused_22[2];
    int32_t count;
};

struct ServerWeightEntry {
    uint32_t serverKey;     // request of writeServerWeights
    char serverId[68];      // reply of readServerWeights
    NetworkAddress address; // reply of readServerWeights
    uint8_t unused_76[2];
    int16_t weight;
    int32_t totalConnections;
    int32_t activeConnections;
    int32_t result; // this server's own result
    int8_t fixedWeight;
    uint8_t quiescedDown; // request of writeServerWeights
    uint8_t unused_94[2];
};

static_assert(sizeof(ServerWeightsBlock) == 28);
RK_AT(ServerWeightsBlock, clusterKey, 16);
RK_AT(ServerWeightsBlock, port, 20);
RK_AT(ServerWeightsBlock, count, 24);
static_assert(sizeof(ServerWeightEntry) == 96);
RK_AT(ServerWeightEntry, serverId, 4);
RK_AT(ServerWeightEntry, address, 72);
RK_AT(ServerWeightEntry, weight, 78);
RK_AT(ServerWeightEntry, totalConnections, 80);
RK_AT(ServerWeightEntry, activeConnections, 84);
RK_AT(ServerWeightEntry, result, 88);
RK_AT(ServerWeightEntry, fixedWeight, 92);
RK_AT(ServerWeightEntry, quiescedDown, 93);

} // namespace rk
