// The header that every command block begins with, and the registry of command codes.
#pragma once

#include "rk/wire_types.h"

namespace rk {

enum class Command : int32_t {
    readExecutorSettings = 1,
    writeExecutorSettings = 2,
    readExecutorReport = 3,
    addCluster = 4,
    removeCluster = 5,
    listClusters = 6,
    readClusterSettings = 7,
    writeClusterSettings = 8,
    readClusterReport = 9,
    addPort = 10,
    removePort = 11,
    listPorts = 12,
    readPortSettings = 13,
    writePortSettings = 14,
    readPortReport = 15,
    writeServerWeights = 16,
    readServerWeights = 17,
    addRule = 18,
    removeRule = 19,
    listRules = 20,
    readRuleSettings = 21,
    writeRuleSettings = 22,
    readRuleReport = 23,
    addServerToRule = 24,
    removeServerFromRule = 25,
    listRuleServers = 26,
    addServer = 27,
    removeServer = 28,
    markServerDown = 29,
    markServerUp = 30,
    listServers = 31,
    writeServerSettings = 32,
    readServerReport = 33,
    allocateConnection = 34,
    readLogHead = 35,
    readLogTail = 36,
    clearLog = 37,
    readConnections = 39,
    addBackup = 40,
    deleteBackup = 41,
    addReachTarget = 43,
    deleteReachTarget = 44,
    addHeartbeat = 45,
    deleteHeartbeat = 46,
    readHighAvailability = 47,
    changeReachTarget = 48,
    setHighAvailabilityTimers = 50,
    takeOver = 51,
    readAffinities = 52,
    debugDump = 53,
    readInterfaces = 54,
    dumpNetworkCards = 55,
    readServerSettings = 56,
    readIcmp = 57,
    writeIcmp = 58,
    serverDirectedAffinity = 59,
    releaseConnection = 63,
    readByteCounters = 65,
    readHalfOpenConnections = 67,
    readAttackingAddresses = 68,
    setAttackProtection = 69,
    setExecutorCps = 71,
    setClusterCps = 72,
    setPortCps = 80,
    setRuleCps = 81,
    setServerCps = 83,
    dumpReturnAddresses = 84,
    dumpConnectionLists = 85,
    dumpAffinityLists = 86,
};

// The most bytes of the shared block that travel.
inline constexpr std::size_t kWireBytes = 64016;

// What every block begins with. Commands deleteBackup and setHighAvailabilityTimers are nothing more.
struct CommandHeader {
    Command command;
    int32_t result;  // written by the executor: 0 on success, -1 on failure
    int32_t reason;  // the executor's error number when the result is -1
    uint32_t length; // bytes of the block that the command uses, this header included
};

static_assert(sizeof(CommandHeader) == 16);
RK_AT(CommandHeader, result, 4);
RK_AT(CommandHeader, reason, 8);
RK_AT(CommandHeader, length, 12);

// The entries of a block, which follow its fixed part directly; the length word depends on their number.
template <typename Entry, typename Block> Entry *entriesOf(Block *block) {
    static_assert(sizeof(Block) % alignof(Entry) == 0);
    return reinterpret_cast<Entry *>(block + 1);
}

} // namespace rk
