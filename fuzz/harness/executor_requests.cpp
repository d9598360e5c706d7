#include "fuzz/harness/executor_requests.h"

#include "rk/command_block.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>

namespace fuzz {

namespace {

using namespace rk;

constexpr uint16_t kPorts[] = {80, 443, 8080, 0, 65535};
constexpr const char *kNames[] = {"night", "day", "web", "10.3.0.1", "s", "", "%s", "a name of twenty ch"};
constexpr int kHighestCommand = 100;
constexpr uint32_t kMostEntries = 40;
constexpr uint32_t kLongestRequest = 100000;

uint32_t drawKey(const Draws &draws) {
    return 1 + drawBelow(draws, 4);
}

NetworkAddress drawAddress(const Draws &draws) {
    return {htonl(0x0A000001 + drawBelow(draws, 6))};
}

NetworkPort drawPort(const Draws &draws) {
    return {htons(kPorts[drawBelow(draws, std::size(kPorts))])};
}

// A known name, or one that leaves no room for its terminator.
template <std::size_t size> void drawName(const Draws &draws, char (&field)[size]) {
    const uint8_t choice = drawByte(draws);
    memset(field, choice == 0xFF ? 'x' : 0, size);
    if (choice != 0xFF)
        snprintf(field, size, "%s", kNames[choice % std::size(kNames)]);
}

// A record's keys have the same name wherever it has them.
template <typename Record> void placeKeys(const Draws &draws, CommandHeader &block) {
    auto &record = reinterpret_cast<Record &>(block);
    if constexpr (requires { record.clusterKey; })
        record.clusterKey = drawKey(draws);
    if constexpr (requires { record.port = NetworkPort{}; })
        record.port = drawPort(draws);
    if constexpr (requires { record.serverKey; })
        record.serverKey = drawKey(draws);
    if constexpr (requires { record.ruleName; })
        drawName(draws, record.ruleName);
    if constexpr (requires { record.clusterId; })
        drawName(draws, record.clusterId);
    if constexpr (requires { record.serverId; })
        drawName(draws, record.serverId);
    if constexpr (requires { record.address = NetworkAddress{}; })
        record.address = drawAddress(draws);
    if constexpr (requires { record.numberOfServers; })
        record.numberOfServers = 1;
}

void placeConnection(const Draws &draws, CommandHeader &block) {
    auto &record = reinterpret_cast<ConnectionRequestRecord &>(block);
    record.first = drawAddress(draws);
    record.fifth = drawPort(draws);
    record.third = drawAddress(draws);
    record.fourth = static_cast<int32_t>(drawBelow(draws, 4));
    record.sixth = drawAddress(draws);
    record.second = static_cast<uint16_t>(drawBelow(draws, 4));
}

void placeQuery(const Draws &draws, CommandHeader &block) {
    auto &record = reinterpret_cast<ConnectionQueryRecord &>(block);
    const uint8_t asked = drawByte(draws);
    if ((asked & 1) != 0)
        record.firstAddress = drawAddress(draws);
    if ((asked & 2) != 0)
        record.firstPort = drawPort(draws).word;
    if ((asked & 4) != 0)
        record.secondAddress = drawAddress(draws);
    if ((asked & 8) != 0)
        record.thirdAddress = drawAddress(draws);
    record.detail = asked >> 7;
}

// Affinities are on addresses in host byte order when a server directs them, else in network byte order.
void placeAffinity(const Draws &draws, CommandHeader &block) {
    auto &record = reinterpret_cast<AffinityRecord &>(block);
    const bool isDirected = block.command == Command::serverDirectedAffinity;
    const NetworkAddress cluster = drawAddress(draws);
    record.clusterAddress = isDirected ? ntohl(cluster.word) : cluster.word;
    record.port = drawPort(draws);
    if (!isDirected) {
        record.count = drawBelow(draws, 2);
        return;
    }
    record.command = static_cast<int32_t>(1 + drawBelow(draws, 4));
    record.count = drawBelow(draws, 8);
    for (uint32_t index = 0; index < record.count; ++index) {
        auto &entry = entriesOf<AffinityEntry>(&record)[index];
        entry.clientAddress = ntohl(drawAddress(draws).word);
        entry.serverAddress = ntohl(drawAddress(draws).word);
        entry.serverKey = drawKey(draws);
    }
}

// Addresses and small numbers, in any order: the commands differ in what they take.
void placeWords(const Draws &draws, CommandHeader &block) {
    auto &record = reinterpret_cast<HaControlRecord &>(block);
    for (uint32_t *word : {&record.first, &record.second, &record.third}) {
        const uint32_t choice = drawBelow(draws, 16);
        *word = choice < 8 ? choice : choice < 14 ? htonl(0x0A000001 + choice) : htonl(0xFFFFFF00);
    }
}

template <typename Block, typename Entry> void placeEntryKeys(const Draws &draws, CommandHeader &block) {
    placeKeys<Block>(draws, block);
    auto &list = reinterpret_cast<Block &>(block);
    if constexpr (requires(Entry entry) { entry.weight; }) {
        for (int32_t index = 0; index < list.count; ++index) {
            Entry &entry = entriesOf<Entry>(&list)[index];
            entry.serverKey = drawKey(draws);
            entry.weight = static_cast<int16_t>(drawBelow(draws, 32));
            entry.fixedWeight = static_cast<int8_t>(drawBelow(draws, 2));
            entry.quiescedDown = static_cast<uint8_t>(drawBelow(draws, 2));
        }
    }
}

void placeDebugRequest(const Draws &draws, CommandHeader &block) {
    reinterpret_cast<DebugRequestRecord &>(block).subCommand = static_cast<int32_t>(drawBelow(draws, 64));
}

void placeLogRequest(const Draws &draws, CommandHeader &block) {
    reinterpret_cast<LogRequestRecord &>(block).size = drawNumber(draws, 10000);
}

void placeParameters(const Draws &draws, CommandHeader &block) {
    reinterpret_cast<AttackProtectionRecord &>(block).parameters[0] = drawBelow(draws, 4);
}

void placeAttacked(const Draws &draws, CommandHeader &block) {
    placeKeys<AttackingAddressesRecord>(draws, block);
}

// How the records of the commands from one code to another are filled.
struct Filler {
    Command first;
    Command last;
    void (*place)(const Draws &draws, CommandHeader &block);
};

constexpr Filler kFillers[] = {
    {Command::addCluster, Command::removeCluster, placeKeys<ClusterRecord>},
    {Command::readClusterSettings, Command::writeClusterSettings, placeKeys<ClusterRecord>},
    {Command::readClusterReport, Command::readClusterReport, placeKeys<ClusterReportRecord>},
    {Command::setClusterCps, Command::setClusterCps, placeKeys<ClusterReportRecord>},
    {Command::addPort, Command::removePort, placeKeys<PortRecord>},
    {Command::listPorts, Command::listPorts, placeKeys<PortListBlock>},
    {Command::readPortSettings, Command::writePortSettings, placeKeys<PortRecord>},
    {Command::readPortReport, Command::readPortReport, placeKeys<PortReportRecord>},
    {Command::setPortCps, Command::setPortCps, placeKeys<PortReportRecord>},
    {Command::writeServerWeights, Command::readServerWeights, placeEntryKeys<ServerWeightsBlock, ServerWeightEntry>},
    {Command::addRule, Command::removeRule, placeKeys<RuleRecord>},
    {Command::listRules, Command::listRules, placeKeys<RuleListBlock>},
    {Command::readRuleSettings, Command::writeRuleSettings, placeKeys<RuleRecord>},
    {Command::readRuleReport, Command::readRuleReport, placeKeys<RuleReportRecord>},
    {Command::setRuleCps, Command::setRuleCps, placeKeys<RuleReportRecord>},
    {Command::addServerToRule, Command::removeServerFromRule, placeKeys<RuleMembershipRecord>},
    {Command::listRuleServers, Command::listRuleServers, placeKeys<ServerListBlock>},
    {Command::addServer, Command::removeServer, placeKeys<ServerRecord>},
    {Command::markServerDown, Command::markServerUp, placeKeys<ServerCommandRecord>},
    {Command::listServers, Command::listServers, placeKeys<ServerListBlock>},
    {Command::writeServerSettings, Command::writeServerSettings, placeKeys<ServerRecord>},
    {Command::readServerReport, Command::readServerReport, placeKeys<ServerReportRecord>},
    {Command::setServerCps, Command::setServerCps, placeKeys<ServerReportRecord>},
    {Command::readServerSettings, Command::readServerSettings, placeKeys<ServerRecord>},
    {Command::allocateConnection, Command::allocateConnection, placeConnection},
    {Command::releaseConnection, Command::releaseConnection, placeConnection},
    {Command::readLogHead, Command::readLogTail, placeLogRequest},
    {Command::readConnections, Command::readConnections, placeQuery},
    {Command::addBackup, Command::addBackup, placeWords},
    {Command::addReachTarget, Command::deleteHeartbeat, placeWords},
    {Command::changeReachTarget, Command::changeReachTarget, placeWords},
    {Command::takeOver, Command::takeOver, placeWords},
    {Command::readAffinities, Command::readAffinities, placeAffinity},
    {Command::serverDirectedAffinity, Command::serverDirectedAffinity, placeAffinity},
    {Command::debugDump, Command::debugDump, placeDebugRequest},
    {Command::readAttackingAddresses, Command::readAttackingAddresses, placeAttacked},
    {Command::setAttackProtection, Command::setAttackProtection, placeParameters},
};

void placeFields(const Draws &draws, CommandHeader &block) {
    for (const Filler &filler : kFillers) {
        if (block.command >= filler.first && block.command <= filler.last)
            filler.place(draws, block);
    }
}

// A flag byte for every setting, and a small value for those that are to be changed, or any. Settings that share a
// flag are changed when one of them is.
void placeSettings(const Draws &draws, const CommandRow &row, std::vector<uint8_t> &request) {
    for (const Setting &setting : row.settings)
        request[setting.flag] = 0;
    for (const Setting &setting : row.settings) {
        const uint8_t choice = drawByte(draws);
        if (choice == 0)
            continue; // it may be a value that a new object needs, and that stands there
        uint8_t &flag = request[setting.flag];
        if (choice == 0xFE)
            flag = 2;
        else if (choice >= 0x80 || (choice & 1) != 0)
            flag = 1;
        uint8_t *value = request.data() + setting.value;
        memset(value, 0, setting.size);
        if (choice == 0xFF) {
            for (std::size_t i = 0; i < setting.size; ++i)
                value[i] = isOver(draws) ? 'x' : drawByte(draws);
        } else if (setting.kind != ValueKind::text && setting.size <= 8) {
            // In host byte order the low byte of a SplitInt64's low word, of any other integer its own.
            value[setting.size == sizeof(SplitInt64) ? offsetof(SplitInt64, low) : 0] =
                choice >> 1 & (choice < 0x40 ? 7 : 63);
        }
    }
}

// Where the number of entries stands in the block of a list, by the size of the block.
void placeCount(const CommandRow &row, std::vector<uint8_t> &request, uint32_t count) {
    auto &block = headerOf(request);
    switch (row.command) {
    case Command::listClusters:
        reinterpret_cast<ClusterListBlock &>(block).count = static_cast<int32_t>(count);
        break;
    case Command::listPorts:
        reinterpret_cast<PortListBlock &>(block).count = static_cast<int32_t>(count);
        break;
    case Command::listRules:
        reinterpret_cast<RuleListBlock &>(block).count = static_cast<int32_t>(count);
        break;
    case Command::listServers:
    case Command::listRuleServers:
        reinterpret_cast<ServerListBlock &>(block).count = static_cast<int32_t>(count);
        break;
    default: // the weights
        reinterpret_cast<ServerWeightsBlock &>(block).count = static_cast<int32_t>(count);
        break;
    }
}

// Any bytes over the body, at a few places.
void patch(const Draws &draws, std::vector<uint8_t> &request) {
    for (uint8_t patches = drawByte(draws) % 8; patches > 4; --patches) {
        const std::size_t offset = sizeof(CommandHeader) + drawHalf(draws);
        const std::string bytes = drawBytes(draws);
        for (std::size_t i = 0; i < bytes.size() && offset + i < request.size(); ++i)
            request[offset + i] = static_cast<uint8_t>(bytes[i]);
    }
}

std::vector<uint8_t> drawUnknown(const Draws &draws) {
    std::vector<uint8_t> request(std::max<std::size_t>(drawBelow(draws, 2048), sizeof(CommandHeader)));
    headerOf(request).command = static_cast<Command>(drawNumber(draws, 38));
    headerOf(request).length = static_cast<uint32_t>(request.size());
    return request;
}

// The length word with its bytes, when an input wants another than the right one.
void changeLength(const Draws &draws, std::vector<uint8_t> &request) {
    const uint8_t choice = drawByte(draws);
    if (choice < 0xF0)
        return;
    const auto wanted = static_cast<uint32_t>(drawNumber(draws, static_cast<int32_t>(request.size()) - 1));
    headerOf(request).length = wanted % kLongestRequest;
    request.resize(std::max<std::size_t>(wanted % kLongestRequest, sizeof(CommandHeader)), 0xA5);
}

} // namespace

const std::vector<const CommandRow *> &allCommands() {
    static const std::vector<const CommandRow *> rows = [] {
        std::vector<const CommandRow *> found;
        for (int code = 1; code < kHighestCommand; ++code) {
            if (const CommandRow *row = findCommand(static_cast<Command>(code)); row != nullptr)
                found.push_back(row);
        }
        return found;
    }();
    return rows;
}

CommandHeader &headerOf(std::vector<uint8_t> &request) {
    return *reinterpret_cast<CommandHeader *>(request.data());
}

std::vector<uint8_t> drawRequest(const Draws &draws) {
    const uint32_t choice = drawByte(draws);
    if (choice >= allCommands().size())
        return drawUnknown(draws);
    const CommandRow &row = *allCommands()[choice];
    const bool isAffinity = row.command == Command::serverDirectedAffinity;
    const uint32_t count = row.entryLength == 0 ? 0 : isAffinity ? kWireAffinities : drawBelow(draws, kMostEntries);
    std::vector<uint8_t> request(row.length + count * row.entryLength, drawByte(draws) < 0x80 ? 0 : 0xA5);
    headerOf(request) = {row.command, 0, 0, static_cast<uint32_t>(request.size())};
    if (row.entryLength != 0 && !isAffinity)
        placeCount(row, request, count);
    placeFields(draws, headerOf(request));
    placeSettings(draws, row, request);
    patch(draws, request);
    changeLength(draws, request);
    return request;
}

} // namespace fuzz
