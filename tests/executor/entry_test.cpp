// The entry: lengths, unknown commands, and that nothing beyond a block is touched.
#include "executor_client.h"

#include <algorithm>

namespace rk {
namespace {

constexpr std::size_t kGuardBytes = 64;
constexpr uint8_t kGuardByte = 0x5A;

struct CommandLength {
    Command command;
    std::size_t length; // of a list: without entries
    std::size_t entryLength;
    std::size_t countAt; // of a list: where its count stands
};

constexpr CommandLength kCommands[] = {
    {Command::readExecutorSettings, 696, 0, 0},
    {Command::writeExecutorSettings, 696, 0, 0},
    {Command::readExecutorReport, 240, 0, 0},
    {Command::setExecutorCps, 240, 0, 0},
    {Command::addCluster, 192, 0, 0},
    {Command::removeCluster, 192, 0, 0},
    {Command::listClusters, 20, 72, 16},
    {Command::readClusterSettings, 192, 0, 0},
    {Command::writeClusterSettings, 192, 0, 0},
    {Command::readClusterReport, 72, 0, 0},
    {Command::setClusterCps, 72, 0, 0},

    {Command::addPort, 96, 0, 0},
    {Command::removePort, 96, 0, 0},
    {Command::listPorts, 24, 8, 20},
    {Command::readPortSettings, 96, 0, 0},
    {Command::writePortSettings, 96, 0, 0},
    {Command::readPortReport, 72, 0, 0},
    {Command::setPortCps, 72, 0, 0},

    {Command::addServer, 1952, 0, 0},
    {Command::removeServer, 1952, 0, 0},
    {Command::markServerDown, 136, 0, 0},
    {Command::markServerUp, 136, 0, 0},
    {Command::listServers, 48, 88, 44},
    {Command::readServerSettings, 1952, 0, 0},
    {Command::writeServerSettings, 1952, 0, 0},
    {Command::readServerReport, 96, 0, 0},
    {Command::setServerCps, 96, 0, 0},

    {Command::writeServerWeights, 28, 96, 24},
    {Command::readServerWeights, 28, 96, 24},

    {Command::addRule, 344, 0, 0},
    {Command::removeRule, 344, 0, 0},
    {Command::listRules, 28, 28, 24},
    {Command::readRuleSettings, 344, 0, 0},
    {Command::writeRuleSettings, 344, 0, 0},
    {Command::readRuleReport, 188, 0, 0},
    {Command::setRuleCps, 188, 0, 0},

    {Command::addServerToRule, 1952, 0, 0},
    {Command::removeServerFromRule, 1952, 0, 0},
    {Command::listRuleServers, 48, 88, 44},

    {Command::addBackup, 280, 0, 0},
    {Command::deleteBackup, 16, 0, 0},
    {Command::addReachTarget, 280, 0, 0},
    {Command::deleteReachTarget, 280, 0, 0},
    {Command::addHeartbeat, 280, 0, 0},
    {Command::deleteHeartbeat, 280, 0, 0},
    {Command::readHighAvailability, 1712, 0, 0},
    {Command::changeReachTarget, 280, 0, 0},
    {Command::setHighAvailabilityTimers, 16, 0, 0},
    {Command::takeOver, 280, 0, 0},

    {Command::readInterfaces, 5620, 0, 0},

    {Command::readLogHead, 64016, 0, 0},
    {Command::readLogTail, 64016, 0, 0},
    {Command::clearLog, 280, 0, 0},

    {Command::allocateConnection, 40, 0, 0},
    {Command::releaseConnection, 40, 0, 0},
    {Command::readConnections, 64016, 0, 0},

    {Command::readAffinities, 64016, 0, 0},

    {Command::debugDump, 280, 0, 0},
    {Command::dumpNetworkCards, 2132, 0, 0},
    {Command::dumpReturnAddresses, 2084, 0, 0},
    {Command::dumpConnectionLists, 8212, 0, 0},
    {Command::dumpAffinityLists, 6164, 0, 0},
    {Command::readByteCounters, 64016, 0, 0},

    {Command::readHalfOpenConnections, 64016, 0, 0},
    {Command::readAttackingAddresses, 64016, 0, 0},
    {Command::setAttackProtection, 280, 0, 0},
    {Command::readIcmp, 24, 0, 0},
    {Command::writeIcmp, 24, 0, 0},
};

// A block of stale bytes with a guard behind `size` bytes, and the length word that it is sent with.
struct GuardedBlock {
    std::vector<uint8_t> bytes;
    std::size_t size;

    CommandHeader &header() {
        return *reinterpret_cast<CommandHeader *>(bytes.data());
    }
};

GuardedBlock guardedBlock(Command command, std::size_t size, uint32_t length) {
    GuardedBlock block{std::vector<uint8_t>(size + kGuardBytes, kGuardByte), size};
    std::memset(block.bytes.data(), kStaleByte, size);
    block.header().command = command;
    block.header().length = length;
    return block;
}

int32_t sendGuarded(GuardedBlock &block) {
    EXPECT_EQ(EXC_UserInput(&block.header()), block.header().result);
    EXPECT_EQ(block.header().result, block.header().reason == 0 ? 0 : -1);
    for (std::size_t at = block.size; at < block.bytes.size(); ++at)
        EXPECT_EQ(block.bytes[at], kGuardByte) << "byte " << at - block.size << " behind the block";
    return block.header().reason;
}

// Expects a refusal that leaves all but result and reason as it was.
void expectUntouched(const GuardedBlock &before, GuardedBlock &block, int32_t reason) {
    EXPECT_EQ(sendGuarded(block), reason);
    EXPECT_EQ(block.header().command, Command{reinterpret_cast<const CommandHeader *>(before.bytes.data())->command});
    EXPECT_EQ(block.header().length, reinterpret_cast<const CommandHeader *>(before.bytes.data())->length);
    expectSameBytes(before.bytes.data() + sizeof(CommandHeader), block.bytes.data() + sizeof(CommandHeader),
                    before.size - sizeof(CommandHeader));
}

void setCount(GuardedBlock &block, std::size_t at, int32_t count) {
    std::memcpy(block.bytes.data() + at, &count, sizeof count);
}

class Entry : public ExecutorTest {};
class EntryOf : public ExecutorTest, public testing::WithParamInterface<CommandLength> {
protected:
    // The commands find their cluster, port and server under the key and number that stale bytes make.
    void SetUp() override {
        ExecutorTest::SetUp();
        ClusterRecord cluster = newCluster(0xA5A5A5A5, "web", "10.1.0.1");
        ASSERT_EQ(send(cluster), 0);
        auto webPort = request<PortRecord>(Command::addPort);
        ASSERT_EQ(send(webPort), 0);
        auto server = request<ServerRecord>(Command::addServer);
        setText(server.serverId, "server");
        ASSERT_EQ(send(server), 0);
    }
};
class EntryOfList : public EntryOf {};

TEST_F(Entry, aNullBlockIsRefused) {
    EXPECT_EQ(EXC_UserInput(nullptr), -1);
}

TEST_F(Entry, unknownCommandsAreRefused) {
    for (const int code : {-1, 0, 38, 42, 49, 60, 64, 66, 70, 73, 79, 82, 87, 2147483647}) {
        GuardedBlock block = guardedBlock(Command{code}, 280, 280);
        const GuardedBlock before = block;
        SCOPED_TRACE(code);
        expectUntouched(before, block, kUnknownCommand);
    }
}

TEST_P(EntryOf, nothingBehindTheBlockIsTouched) {
    for (const int32_t count : {0, 1, 5}) {
        const auto entries = static_cast<std::size_t>(count);
        const std::size_t size = GetParam().length + GetParam().entryLength * entries;
        GuardedBlock block = guardedBlock(GetParam().command, size, static_cast<uint32_t>(size));
        if (GetParam().entryLength != 0)
            setCount(block, GetParam().countAt, count);
        EXPECT_NE(sendGuarded(block), kWrongLength);
    }
}

TEST_P(EntryOf, aWrongLengthIsRefused) {
    const auto right = static_cast<uint32_t>(GetParam().length);
    for (const uint32_t length : {0U, 1U, 15U, 16U, right - 1, right + 1, right + 65536, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        if (length == right) // some commands are the header alone
            continue;
        SCOPED_TRACE(length);
        GuardedBlock block = guardedBlock(GetParam().command, right, length);
        if (GetParam().entryLength != 0)
            setCount(block, GetParam().countAt, 0);
        const GuardedBlock before = block;
        expectUntouched(before, block, kWrongLength);
    }
}

// There may be nothing behind the header when the length word says so.
TEST_P(EntryOf, aShortBlockIsNotReadBeyondItsHeader) {
    for (const uint32_t length : {0U, 15U, 16U, 17U}) {
        if (length == GetParam().length)
            continue;
        auto record = request<HeaderRecord>(GetParam().command);
        record.header.length = length;
        EXPECT_EQ(send(record), kWrongLength);
    }
}

// Server-directed affinity: as many entries as the shared block holds, or, of more, as many as there are.
TEST_F(Entry, theLengthOfDirectedAffinityFollowsItsEntries) {
    constexpr std::size_t kCountAt = 44;
    struct Case {
        int32_t count;
        uint32_t length;
        bool isRight;
    };
    for (const Case &item : std::initializer_list<Case>{
             {0, 64016, true},
             {1, 64016, true},
             {1999, 64016, true},
             {2000, 64048, true},
             {3000, 96048, true},
             {0, 48, false},
             {1, 80, false},
             {1998, 63984, false},
             {2000, 64016, false},
             {1999, 64048, false},
             {2999, 96048, false},
             {3001, 96080, false},
             {3001, 64016, false},
             {-1, 64016, false},
             {-1, 16, false},
             {0, 64015, false},
             {0, 64017, false},
             {134217729, 80, false}, // its bytes, cut to 32 bits, are just the length
         }) {
        SCOPED_TRACE(std::to_string(item.count) + " entries, length " + std::to_string(item.length));
        GuardedBlock block =
            guardedBlock(Command::serverDirectedAffinity, std::max<uint32_t>(item.length, 48), item.length);
        setCount(block, kCountAt, item.count);
        const GuardedBlock before = block;
        expectUntouched(before, block, item.isRight ? kUnknownCluster : kWrongLength);
    }
    auto header = request<HeaderRecord>(Command::serverDirectedAffinity);
    EXPECT_EQ(send(header), kWrongLength); // its count is not there to be read
}

TEST_P(EntryOfList, aCountThatDoesNotFitTheLengthIsRefused) {
    const std::size_t size = GetParam().length + 2 * GetParam().entryLength;
    for (const int32_t count : {0, 1, 3, -1, -2147483647 - 1, 2147483647}) {
        SCOPED_TRACE(count);
        GuardedBlock block = guardedBlock(GetParam().command, size, static_cast<uint32_t>(size));
        setCount(block, GetParam().countAt, count);
        const GuardedBlock before = block;
        expectUntouched(before, block, kWrongLength);
    }
    // Entries whose bytes, cut to 32 bits, are just the length.
    const uint64_t wrapping = (uint64_t{1} << 32) / GetParam().entryLength + 1;
    const uint64_t bytes = GetParam().length + wrapping * GetParam().entryLength;
    GuardedBlock block = guardedBlock(GetParam().command, size, static_cast<uint32_t>(bytes));
    setCount(block, GetParam().countAt, static_cast<int32_t>(wrapping));
    const GuardedBlock before = block;
    expectUntouched(before, block, kWrongLength);
}

std::string nameOf(const testing::TestParamInfo<CommandLength> &test) {
    return "command" + std::to_string(static_cast<int>(test.param.command));
}

std::vector<CommandLength> commandsWithEntries() {
    std::vector<CommandLength> commands;
    for (const CommandLength &command : kCommands) {
        if (command.entryLength != 0)
            commands.push_back(command);
    }
    return commands;
}

INSTANTIATE_TEST_SUITE_P(All, EntryOf, testing::ValuesIn(kCommands), nameOf);
INSTANTIATE_TEST_SUITE_P(All, EntryOfList, testing::ValuesIn(commandsWithEntries()), nameOf);

} // namespace
} // namespace rk
