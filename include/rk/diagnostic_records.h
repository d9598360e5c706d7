// Records of the diagnostics: trace log, connections, affinity, debug dump, attack protection, ICMP.
#pragma once

#include "rk/command_header.h"

namespace rk {

// --- Trace log -------------------------------------------------------------------------------------------------------

// Commands readLogHead and readLogTail: the request. The reply is a text that begins at `text`, over the request.
struct LogRequestRecord {
    CommandHeader header;
    char text[8];
    int32_t size;
    int32_t second; // readLogHead only; passed through
};

static_assert(sizeof(LogRequestRecord) == 32);
RK_AT(LogRequestRecord, text, 16);
RK_AT(LogRequestRecord, size, 24);
RK_AT(LogRequestRecord, second, 28);

// Command clearLog.
struct ShortRecord {
    CommandHeader header;
    uint8_t unused_16[264];
};

static_assert(sizeof(ShortRecord) == 280);

// --- Connections -----------------------------------------------------------------------------------------------------

// Commands allocateConnection and releaseConnection.
struct ConnectionRequestRecord {
    CommandHeader header;
    uint16_t second; // host order
    uint8_t unused_18[2];
    NetworkAddress first;
    NetworkPort fifth;
    uint8_t unused_26[2];
    NetworkAddress third;
    int32_t fourth;
    NetworkAddress sixth;
};

static_assert(sizeof(ConnectionRequestRecord) == 40);
RK_AT(ConnectionRequestRecord, second, 16);
RK_AT(ConnectionRequestRecord, first, 20);
RK_AT(ConnectionRequestRecord, fifth, 24);
RK_AT(ConnectionRequestRecord, third, 28);
RK_AT(ConnectionRequestRecord, fourth, 32);
RK_AT(ConnectionRequestRecord, sixth, 36);

struct ConnectionEntry {
    NetworkAddress clusterAddress;
    NetworkAddress clientAddress;
    NetworkPort clusterPort;
    NetworkPort clientPort;
    uint8_t unused_12[4];
    uint32_t firstTime; // together with `stamp` 0: never stamped
    uint32_t stamp;     // seconds, of the executor's clock
    uint8_t state;
    uint8_t previousTcpState;
    uint8_t currentTcpState;
    uint8_t unused_27;
    NetworkAddress serverAddress;
    char mark;
    uint8_t unused_33[7];
};

static_assert(sizeof(ConnectionEntry) == 40);
RK_AT(ConnectionEntry, clientAddress, 4);
RK_AT(ConnectionEntry, clusterPort, 8);
RK_AT(ConnectionEntry, clientPort, 10);
RK_AT(ConnectionEntry, firstTime, 16);
RK_AT(ConnectionEntry, stamp, 20);
RK_AT(ConnectionEntry, state, 24);
RK_AT(ConnectionEntry, previousTcpState, 25);
RK_AT(ConnectionEntry, currentTcpState, 26);
RK_AT(ConnectionEntry, serverAddress, 28);
RK_AT(ConnectionEntry, mark, 32);

inline constexpr int kConnections = 1599;

// Command readConnections: the query.
struct ConnectionQueryRecord {
    CommandHeader header;
    NetworkAddress firstAddress;
    uint32_t firstPort; // a host-order word that holds the network-order port, zero-extended
    NetworkAddress secondAddress;
    uint32_t secondPort; // likewise
    NetworkAddress thirdAddress;
    int32_t thirdPort; // a host-order word that holds the network-order port, sign-extended from 16 bits
    int32_t detail;    // 0: counts only
};

static_assert(sizeof(ConnectionQueryRecord) == 44);
RK_AT(ConnectionQueryRecord, firstAddress, 16);
RK_AT(ConnectionQueryRecord, firstPort, 20);
RK_AT(ConnectionQueryRecord, secondAddress, 24);
RK_AT(ConnectionQueryRecord, secondPort, 28);
RK_AT(ConnectionQueryRecord, thirdAddress, 32);
RK_AT(ConnectionQueryRecord, thirdPort, 36);
RK_AT(ConnectionQueryRecord, detail, 40);

// Command readConnections: the reply.
struct ConnectionListRecord {
    CommandHeader header;
    int32_t count;
    int32_t npsCount;
    uint8_t unused_24[4];
    uint32_t now; // seconds, of the executor's clock
    ConnectionEntry entries[kConnections];
};

static_assert(sizeof(ConnectionListRecord) <= kWireBytes);
static_assert(sizeof(ConnectionListRecord) + sizeof(ConnectionEntry) > kWireBytes);
RK_AT(ConnectionListRecord, count, 16);
RK_AT(ConnectionListRecord, npsCount, 20);
RK_AT(ConnectionListRecord, now, 28);
RK_AT(ConnectionListRecord, entries, 32);

// --- Affinity --------------------------------------------------------------------------------------------------------

struct AffinityEntry {
    uint32_t clientAddress; // readAffinities: network order; serverDirectedAffinity: as Java gives it
    uint32_t serverAddress; // likewise
    uint32_t serverKey;     // request of serverDirectedAffinity: key of the server address's dotted text
    uint16_t identifier;    // reply
    uint8_t unused_14[2];
    uint32_t activeConnections;
    uint8_t unused_20[4];
    uint32_t firstTime; // together with `stamp` 0: never stamped
    uint32_t stamp;     // readAffinities: seconds, of the executor's clock; else an age or a response
};

static_assert(sizeof(AffinityEntry) == 32);
RK_AT(AffinityEntry, serverAddress, 4);
RK_AT(AffinityEntry, serverKey, 8);
RK_AT(AffinityEntry, identifier, 12);
RK_AT(AffinityEntry, activeConnections, 16);
RK_AT(AffinityEntry, firstTime, 24);
RK_AT(AffinityEntry, stamp, 28);

inline constexpr int kWireAffinities = 1999; // as many as the wire size holds
inline constexpr int kAffinities = 3000;     // as many as a request may carry

// Commands readAffinities and serverDirectedAffinity: what comes before the entries.
struct AffinityRecord {
    CommandHeader header;
    int32_t command;  // request of serverDirectedAffinity
    int32_t response; // reply of serverDirectedAffinity
    uint8_t unused_24[4];
    uint32_t now;            // reply: seconds, of the executor's clock
    uint32_t clusterAddress; // readAffinities: network order; serverDirectedAffinity: as Java gives it
    uint32_t clientMask;     // reply
    NetworkPort port;
    uint16_t alternativeHeader; // reply of readAffinities
    uint32_t count;             // request of readAffinities: detail flag; else the number of entries
};

static_assert(sizeof(AffinityRecord) == 48);
static_assert(sizeof(AffinityRecord) + kWireAffinities * sizeof(AffinityEntry) == kWireBytes);
RK_AT(AffinityRecord, command, 16);
RK_AT(AffinityRecord, response, 20);
RK_AT(AffinityRecord, now, 28);
RK_AT(AffinityRecord, clusterAddress, 32);
RK_AT(AffinityRecord, clientMask, 36);
RK_AT(AffinityRecord, port, 40);
RK_AT(AffinityRecord, alternativeHeader, 42);
RK_AT(AffinityRecord, count, 44);

// --- Debug dump ------------------------------------------------------------------------------------------------------

struct FsmCounters {
    uint32_t counters[13];
    uint8_t unused_52[12];
};

static_assert(sizeof(FsmCounters) == 64);

inline constexpr int kMiscCounters = 29;

// Command debugDump: the request.
struct DebugRequestRecord {
    CommandHeader header;
    int32_t subCommand;
    int32_t arguments[3];
    uint8_t unused_32[248];
};

static_assert(sizeof(DebugRequestRecord) == 280);
RK_AT(DebugRequestRecord, subCommand, 16);
RK_AT(DebugRequestRecord, arguments, 20);

// Command debugDump: the reply.
struct DebugCountersRecord {
    CommandHeader header;
    FsmCounters primary;
    FsmCounters backup;
    uint32_t misc[kMiscCounters];
    uint8_t unused_260[20];
};

static_assert(sizeof(DebugCountersRecord) == sizeof(DebugRequestRecord));
RK_AT(DebugCountersRecord, primary, 16);
RK_AT(DebugCountersRecord, backup, 80);
RK_AT(DebugCountersRecord, misc, 144);

struct NetworkCardEntry {
    uint32_t network;    // host order
    uint32_t mask;       // host order
    uint32_t subnet;     // host order
    uint32_t subnetMask; // host order
    NetworkAddress address;
    char name[32];
    uint32_t unit;
    uint32_t flags;
    int32_t mtu;
};

static_assert(sizeof(NetworkCardEntry) == 64);
RK_AT(NetworkCardEntry, address, 16);
RK_AT(NetworkCardEntry, name, 20);
RK_AT(NetworkCardEntry, unit, 52);
RK_AT(NetworkCardEntry, flags, 56);
RK_AT(NetworkCardEntry, mtu, 60);

// Command dumpNetworkCards.
struct NetworkCardsRecord {
    CommandHeader header;
    int32_t count;
    NetworkCardEntry entries[33];
};

static_assert(sizeof(NetworkCardsRecord) == 2132);
RK_AT(NetworkCardsRecord, entries, 20);

struct ReturnAddressEntry {
    NetworkAddress address;
    int32_t references;
    NetworkAddress fsmAddress; // of the state machine
    int32_t portsInUse;
};

static_assert(sizeof(ReturnAddressEntry) == 16);

// Command dumpReturnAddresses.
struct ReturnAddressesRecord {
    CommandHeader header;
    int32_t count;
    ReturnAddressEntry entries[129];
};

static_assert(sizeof(ReturnAddressesRecord) == 2084);
RK_AT(ReturnAddressesRecord, entries, 20);

struct ConnectionListEntry {
    uint32_t clusterAddress; // host order, printed as it stands
    uint16_t port;           // host order
    char name[10];
    int32_t records;
    int32_t reused;
    int32_t stale;
    int32_t timeout;
};

static_assert(sizeof(ConnectionListEntry) == 32);
RK_AT(ConnectionListEntry, name, 6);
RK_AT(ConnectionListEntry, records, 16);
RK_AT(ConnectionListEntry, timeout, 28);

// Command dumpConnectionLists.
struct ConnectionListsRecord {
    CommandHeader header;
    int32_t count;
    ConnectionListEntry entries[256];
};

static_assert(sizeof(ConnectionListsRecord) == 8212);
RK_AT(ConnectionListsRecord, entries, 20);

struct AffinityListEntry {
    NetworkAddress clusterAddress;
    uint16_t port; // host order
    uint8_t unused_6[2];
    int32_t active;
    int32_t nonActive;
    int32_t staleNonActive;
    int32_t reused;
};

static_assert(sizeof(AffinityListEntry) == 24);
RK_AT(AffinityListEntry, active, 8);

// Command dumpAffinityLists.
struct AffinityListsRecord {
    CommandHeader header;
    int32_t count;
    AffinityListEntry entries[256];
};

static_assert(sizeof(AffinityListsRecord) == 6164);
RK_AT(AffinityListsRecord, entries, 20);

// Command readByteCounters: the reply begins with this, and the configuration's tree follows: every cluster with its
// ports behind it, every port with its servers behind it.
struct ByteCountersRecord {
    CommandHeader header;
    uint8_t unused_16[8];
    uint32_t numberOfClusters;
    uint8_t unused_28[52];
};

struct ByteCountersCluster {
    NetworkAddress address;
    uint8_t unused_4[8];
    uint32_t numberOfPorts;
    uint8_t unused_16[36];
};

struct ByteCountersPort {
    uint8_t unused_0[12];
    uint32_t numberOfServers;
    uint8_t unused_16[20];
};

struct ByteCountersServer {
    NetworkAddress address;
    uint8_t unused_4[16];
};

static_assert(sizeof(ByteCountersRecord) == 80);
RK_AT(ByteCountersRecord, numberOfClusters, 24);
static_assert(sizeof(ByteCountersCluster) == 52);
RK_AT(ByteCountersCluster, numberOfPorts, 12);
static_assert(sizeof(ByteCountersPort) == 36);
RK_AT(ByteCountersPort, numberOfServers, 12);
static_assert(sizeof(ByteCountersServer) == 20);

// --- Attack protection and ICMP --------------------------------------------------------------------------------------

struct HalfOpenEntry {
    NetworkAddress clientAddress;
    uint8_t unused_4[2];
    NetworkPort clientPort;
    uint8_t flag;
    uint8_t unused_9[3];
};

static_assert(sizeof(HalfOpenEntry) == 12);
RK_AT(HalfOpenEntry, clientPort, 6);
RK_AT(HalfOpenEntry, flag, 8);

inline constexpr int kHalfOpenConnections = 5333;

// Command readHalfOpenConnections.
struct HalfOpenRecord {
    CommandHeader header;
    int32_t count;
    HalfOpenEntry entries[kHalfOpenConnections];
};

static_assert(sizeof(HalfOpenRecord) == kWireBytes);
RK_AT(HalfOpenRecord, entries, 20);

struct AttackingAddressEntry {
    NetworkAddress address;
    int32_t value;
};

static_assert(sizeof(AttackingAddressEntry) == 8);

inline constexpr int kAttackingAddresses = 7996;

// Command readAttackingAddresses.
struct AttackingAddressesRecord {
    CommandHeader header;
    NetworkAddress address; // request
    NetworkPort port;       // request
    uint8_t unused_22[2];
    int32_t count; // reply
    uint8_t unused_28[8];
    int32_t summary; // reply
    uint8_t unused_40[4];
    AttackingAddressEntry entries[kAttackingAddresses];
};

static_assert(sizeof(AttackingAddressesRecord) <= kWireBytes);
static_assert(sizeof(AttackingAddressesRecord) + sizeof(AttackingAddressEntry) > kWireBytes);
RK_AT(AttackingAddressesRecord, address, 16);
RK_AT(AttackingAddressesRecord, port, 20);
RK_AT(AttackingAddressesRecord, count, 24);
RK_AT(AttackingAddressesRecord, summary, 36);
RK_AT(AttackingAddressesRecord, entries, 44);

// Command setAttackProtection.
struct AttackProtectionRecord {
    CommandHeader header;
    uint32_t parameters[8]; // each from 0 to 65535
    uint8_t unused_48[232];
};

static_assert(sizeof(AttackProtectionRecord) == 280);

// Commands readIcmp and writeIcmp.
struct IcmpRecord {
    CommandHeader header;
    int32_t gotResponse;
    int32_t responseAddress; // passed through in either direction
};

static_assert(sizeof(IcmpRecord) == 24);
RK_AT(IcmpRecord, responseAddress, 20);

} // namespace rk
