#include "fuzz/harness/replies.h"

#include "rk/command_block.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>

namespace fuzz {

namespace {

using namespace rk;

// What the first byte of a reply chooses: a bound above each.
constexpr uint8_t kOrdinary = 0x50;
constexpr uint8_t kRefusal = 0x80;
constexpr uint8_t kFailure = 0x88;
constexpr uint8_t kOrdinaryWithPatches = 0xC8;

// Reasons that statuses are made of, and others.
constexpr int32_t kReasons[] = {-1,  -2,  -3,  -4,  -5,   -7,   -8,   -9,  -11, -13, -14, -15, -18, -27,
                                -33, -36, -43, -44, -45,  -46,  -47,  -48, -49, -51, -52, -53, -54, -55,
                                -56, -58, -61, -62, -70,  -84,  -87,  -99, 0,   1,   22,  -6,  -10, -12,
                                -16, -28, -57, -99, -100, -103, -114, 5,   -63, -85, -88};

template <std::size_t size> void setText(char (&field)[size], const char *format, unsigned number) {
    snprintf(field, size, format, number);
}

template <typename Entry> void nameEntry(Entry &entry, unsigned number) {
    if constexpr (requires { entry.clusterId; })
        setText(entry.clusterId, "cluster%u", number);
    if constexpr (requires { entry.port; })
        entry.port = {htons(static_cast<uint16_t>(8080 + number))};
    if constexpr (requires { entry.serverKey; })
        entry.serverKey = number;
    if constexpr (requires { entry.serverId; })
        setText(entry.serverId, "10.3.0.%u", number);
    if constexpr (requires { entry.ruleName; })
        setText(entry.ruleName, "rule%u", number);
}

// As many entries as there is room for; the count stays the request's.
template <typename Block, typename Entry> void fillEntries(uint8_t *block, uint32_t length) {
    auto *entries = entriesOf<Entry>(reinterpret_cast<Block *>(block));
    for (unsigned number = 0; number < (length - sizeof(Block)) / sizeof(Entry); ++number) {
        memset(static_cast<void *>(&entries[number]), 0, sizeof(Entry));
        nameEntry(entries[number], number);
    }
}

void fillInterfaces(InterfaceList &list) {
    static constexpr const char *kNames[] = {"lo", "eth0", "eth0:1", "eth0:2", "eth1"};
    static constexpr uint32_t kAddresses[] = {0x7F000001, 0x0A000002, 0x0A000005, 0x0A000007, 0xC0A80102};
    list.count = static_cast<int32_t>(std::size(kNames));
    for (std::size_t i = 0; i < std::size(kNames); ++i) {
        InterfaceRecord &record = list.records[i];
        record.ip = record.localip = {htonl(kAddresses[i])};
        record.netmask = {htonl(0xFFFFFF00)};
        record.netnumber = {record.ip.word & record.netmask.word};
        record.broadcast = {record.netnumber.word | ~record.netmask.word};
        snprintf(record.name, sizeof(record.name), "%s", kNames[i]);
    }
}

void fillByteCounters(uint8_t *block) {
    auto *head = reinterpret_cast<ByteCountersRecord *>(block);
    auto *cluster = reinterpret_cast<ByteCountersCluster *>(head + 1);
    auto *port = reinterpret_cast<ByteCountersPort *>(cluster + 1);
    head->numberOfClusters = 1;
    cluster->numberOfPorts = 1;
    port->numberOfServers = 2;
}

// What a sound executor could have answered: zeros, with a few of everything that is counted.
void replyOrdinarily(uint8_t *bytes, uint32_t length) {
    auto &block = *reinterpret_cast<CommandBlock *>(bytes);
    const CommandHeader header = block.header;
    const bool isList = header.command == Command::listPorts || header.command == Command::listClusters ||
                        header.command == Command::listServers || header.command == Command::listRuleServers ||
                        header.command == Command::listRules || header.command == Command::readServerWeights ||
                        header.command == Command::writeServerWeights;
    if (!isList)
        memset(bytes + sizeof(header), 0, length - sizeof(header));
    switch (header.command) {
    case Command::readExecutorReport:
        block.executorReport.numberOfClusters = 2;
        break;
    case Command::readClusterReport:
        block.clusterReport.numberOfPorts = 2;
        break;
    case Command::readPortReport:
        block.portReport.numberOfServers = 2;
        block.portReport.numberOfRules = 3;
        break;
    case Command::listClusters:
        fillEntries<ClusterListBlock, ClusterListEntry>(bytes, length);
        break;
    case Command::listPorts:
        fillEntries<PortListBlock, PortListEntry>(bytes, length);
        break;
    case Command::listServers:
    case Command::listRuleServers:
        fillEntries<ServerListBlock, ServerListEntry>(bytes, length);
        break;
    case Command::listRules:
        fillEntries<RuleListBlock, RuleListEntry>(bytes, length);
        break;
    case Command::readServerWeights:
    case Command::writeServerWeights:
        fillEntries<ServerWeightsBlock, ServerWeightEntry>(bytes, length);
        break;
    case Command::readServerSettings:
        block.server.numberOfListeners = kListenersPerServer;
        break;
    case Command::readHighAvailability:
        block.haStatus.heartbeatCount = 2;
        block.haStatus.reachCount = 3;
        break;
    case Command::readInterfaces:
        fillInterfaces(block.interfaces.list);
        break;
    case Command::readConnections:
        block.connections.count = 3;
        break;
    case Command::readAffinities:
    case Command::serverDirectedAffinity:
        block.affinity.count = 3;
        break;
    case Command::dumpNetworkCards:
        block.networkCards.count = 2;
        break;
    case Command::dumpReturnAddresses:
        block.returnAddresses.count = 2;
        break;
    case Command::dumpConnectionLists:
        block.connectionLists.count = 2;
        break;
    case Command::dumpAffinityLists:
        block.affinityLists.count = 2;
        break;
    case Command::readHalfOpenConnections:
        block.halfOpen.count = 3;
        break;
    case Command::readAttackingAddresses:
        block.attackingAddresses.count = 3;
        break;
    case Command::readByteCounters:
        fillByteCounters(bytes);
        break;
    case Command::readLogHead:
    case Command::readLogTail:
        memcpy(block.logRequest.text, "one\n", sizeof("one\n"));
        break;
    default:
        break;
    }
}

// Bytes at one place of the body: a number, any bytes, or one byte many times, over counts and texts' ends.
void patch(const Draws &draws, uint8_t *block, uint32_t length) {
    if (length <= sizeof(CommandHeader))
        return;
    const uint8_t choice = drawByte(draws);
    const uint32_t body = length - static_cast<uint32_t>(sizeof(CommandHeader));
    // Counts stand at the beginning, so that is where most patches go.
    const uint32_t place = (choice & 1) == 0 ? 4 * drawBelow(draws, 16) : drawHalf(draws);
    uint8_t *target = block + sizeof(CommandHeader) + place % body;
    const std::size_t room = body - place % body;
    if (choice < 0x60) {
        const int32_t number = drawNumber(draws, 4);
        memcpy(target, &number, std::min(room, sizeof(number)));
    } else if (choice < 0x80) {
        const uint16_t number = drawHalf(draws);
        memcpy(target, &number, std::min(room, sizeof(number)));
    } else if (choice < 0xC0) {
        const uint8_t count = drawByte(draws);
        for (std::size_t i = 0; i < count && i < room && !isOver(draws); ++i)
            target[i] = drawByte(draws);
    } else {
        const uint8_t byte = drawByte(draws);
        memset(target, byte, std::min<std::size_t>(room, drawHalf(draws)));
    }
}

void patches(const Draws &draws, uint8_t *block, uint32_t length) {
    for (uint32_t left = 1 + drawBelow(draws, 6); left > 0; --left)
        patch(draws, block, length);
}

} // namespace

int32_t drawReply(const Draws &draws, uint8_t *block, uint32_t length) {
    auto &header = *reinterpret_cast<CommandHeader *>(block);
    const uint8_t choice = drawByte(draws);
    if (choice >= kOrdinary && choice < kRefusal) {
        header.result = -1;
        header.reason = kReasons[drawByte(draws) % std::size(kReasons)];
        if (choice >= kRefusal - 4) // and the rest of the block has changed as well
            patches(draws, block, length);
        return -1;
    }
    if (choice >= kRefusal && choice < kFailure) {
        header.result = drawNumber(draws, 1);
        return header.result;
    }
    if (choice < kOrdinaryWithPatches)
        replyOrdinarily(block, length);
    if (choice >= kFailure)
        patches(draws, block, length);
    header.result = 0;
    return 0;
}

} // namespace fuzz
