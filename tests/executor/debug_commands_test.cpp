// The debug dump.
#include "executor/commands/commands.h"
#include "executor/commands/perform_command.h"
#include "executor_client.h"
#include "rk/ha_records.h"

#include <map>

namespace rk {
namespace {

DebugCountersRecord debugDump(int32_t subCommand = 0) {
    auto record = request<DebugRequestRecord>(Command::debugDump);
    record.subCommand = subCommand;
    EXPECT_EQ(send(record), 0);
    DebugCountersRecord reply;
    std::memcpy(static_cast<void *>(&reply), &record, sizeof reply);
    return reply;
}

// Counters by the names that a report gives them, at their place in the record.
constexpr int kCntRcv = 0;
constexpr int kCntSndMisc = 2;
constexpr int kCntSndDbReach = 4;
constexpr int kCntGratArp = 6;
constexpr int kCntStateChanges = 10;
constexpr int kCntSubStateChanges = 11;
constexpr int kTimer2 = 12;
constexpr int kCntCRsIntactInCT = 11;
constexpr int kCntCRsFreedFromCT = 12;
constexpr int kArg28 = 28;

void sendHa(Command command, uint32_t first, uint32_t second = 0, uint32_t third = 0) {
    auto record = request<HaControlRecord>(command);
    record.first = first;
    record.second = second;
    record.third = third;
    ASSERT_EQ(send(record), 0);
}

void sendHeader(Command command) {
    auto record = request<HeaderRecord>(command);
    ASSERT_EQ(send(record), 0);
}

template <typename Record> Record dump(Command command) {
    auto record = request<Record>(command);
    EXPECT_EQ(send(record), 0);
    return record;
}

std::unique_ptr<SharedBlock> byteCounters() {
    auto block = std::make_unique<SharedBlock>(request<SharedBlock>(Command::readByteCounters));
    EXPECT_EQ(send(*block), 0);
    return block;
}

void addServerWithReturnAddress(uint32_t serverKey, NetworkAddress returnAddress) {
    ServerRecord record = newServer(serverKey, "server");
    record.setReturnAddress = 1;
    record.returnAddress = returnAddress;
    ASSERT_EQ(send(record), 0);
}

void addPorts(int first, int last) {
    for (int number = first; number <= last; ++number)
        addTestPort(number);
}

class DebugDump : public ExecutorTest {};

TEST_F(DebugDump, countsOnlyCommandsAtFirst) {
    DebugCountersRecord expected{};
    expected.header.command = Command::debugDump;
    expectReply(expected, debugDump());
    expected.misc[kArg28] = 1; // the one before
    expectReply(expected, debugDump());
}

TEST_F(DebugDump, countsCommandsPerformedAndRefused) {
    executorReport();
    auto unknown = request<HeaderRecord>(Command{38});
    EXPECT_EQ(send(unknown), kUnknownCommand);
    ClusterRecord removal = clusterRequest(Command::removeCluster, 1);
    EXPECT_EQ(send(removal), kUnknownCluster);
    EXPECT_EQ(debugDump().misc[kArg28], 3U);
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    EXPECT_EQ(debugDump().misc[kArg28], 0U);
}

TEST_F(DebugDump, countsWhatThePrimaryStateMachineDid) {
    sendHa(Command::addBackup, 0, 0, 80);                                              // a state, a substate
    sendHa(Command::addHeartbeat, address("10.0.0.1").word, address("10.0.0.2").word); // a substate
    sendHa(Command::addHeartbeat, address("10.0.0.1").word, address("10.0.0.3").word);
    sendHa(Command::deleteHeartbeat, address("10.0.0.3").word);
    sendHa(Command::addReachTarget, address("10.0.0.9").word, address("255.255.255.0").word);
    sendHa(Command::changeReachTarget, 0, 1, 1);
    sendHa(Command::deleteReachTarget, address("10.0.0.9").word);
    sendHeader(Command::setHighAvailabilityTimers);
    sendHa(Command::takeOver, 0);      // is active already
    sendHeader(Command::deleteBackup); // a state, a substate
    DebugCountersRecord expected{};
    expected.header.command = Command::debugDump;
    expected.primary.counters[kCntRcv] = 10;
    expected.primary.counters[kCntSndMisc] = 2;
    expected.primary.counters[kCntSndDbReach] = 3;
    expected.primary.counters[kCntStateChanges] = 2;
    expected.primary.counters[kCntSubStateChanges] = 3;
    expected.primary.counters[kTimer2] = 1;
    expected.misc[kArg28] = 10;
    expectReply(expected, debugDump());
}

TEST_F(DebugDump, countsForTheStateMachinesOfTheRole) {
    sendHa(Command::addBackup, 1, 0, 80);
    sendHa(Command::takeOver, 0); // a state
    DebugCountersRecord expected{};
    expected.header.command = Command::debugDump;
    expected.backup.counters[kCntRcv] = 2;
    expected.backup.counters[kCntGratArp] = 1;
    expected.backup.counters[kCntStateChanges] = 2;
    expected.backup.counters[kCntSubStateChanges] = 1;
    expected.misc[kArg28] = 2;
    expectReply(expected, debugDump());

    sendHeader(Command::deleteBackup);
    debugDump(30); // as if nothing had been counted
    sendHa(Command::addBackup, 2, 0, 80);
    const DebugCountersRecord both = debugDump();
    EXPECT_EQ(both.primary.counters[kCntStateChanges], 1U);
    EXPECT_EQ(both.backup.counters[kCntStateChanges], 1U);
}

TEST_F(DebugDump, countsNoRefusedCommandOnHighAvailability) {
    auto record = request<HaControlRecord>(Command::takeOver);
    EXPECT_EQ(send(record), kNoBackup);
    EXPECT_EQ(debugDump().primary.counters[kCntRcv], 0U);
}

TEST_F(DebugDump, countsConnections) {
    addTestCluster();
    addTestPort();
    addTestPort(443);
    ASSERT_EQ(addConnection("10.7.0.1", 1), 0);
    ASSERT_EQ(addConnection("10.7.0.1", 2), 0);
    ConnectionRequestRecord onAnother = connectionRequest(Command::allocateConnection, "10.7.0.1", 2);
    onAnother.fifth = port(443);
    ASSERT_EQ(send(onAnother), 0);
    ConnectionRequestRecord release = connectionRequest(Command::releaseConnection, "10.7.0.1", 1);
    ASSERT_EQ(send(release), 0);
    const DebugCountersRecord counters = debugDump();
    EXPECT_EQ(counters.misc[kCntCRsIntactInCT], 2U);
    EXPECT_EQ(counters.misc[kCntCRsFreedFromCT], 1U);
}

TEST_F(DebugDump, aSubCommandResetsTheCountersAndTheOthersDoNothing) {
    sendHa(Command::addBackup, 0, 0, 80);
    executorReport();
    for (const int32_t subCommand : {-2147483647 - 1, -1, 0, 1, 8, 10, 11, 12, 29, 31, 43, 99, 100, 2147483647}) {
        const DebugCountersRecord counters = debugDump(subCommand);
        EXPECT_EQ(counters.primary.counters[kCntRcv], 1U) << subCommand;
        EXPECT_GE(counters.misc[kArg28], 2U) << subCommand;
    }
    DebugCountersRecord expected{};
    expected.header.command = Command::debugDump;
    expectReply(expected, debugDump(30));
    expected.misc[kArg28] = 1;
    expectReply(expected, debugDump());
}

TEST_F(DebugDump, returnAddressesAreCountedOnce) {
    addTestCluster();
    addTestPort(443);
    addTestPort();
    addServerWithReturnAddress(1, address("10.9.0.2"));
    addServerWithReturnAddress(2, address("10.9.0.1"));
    addServerWithReturnAddress(3, address("10.9.0.2"));
    addServerWithReturnAddress(4, {}); // none
    ReturnAddressesRecord expected{};
    expected.header.command = Command::dumpReturnAddresses;
    expected.count = 2;
    expected.entries[0] = {address("10.9.0.2"), 2, {}, 0};
    expected.entries[1] = {address("10.9.0.1"), 1, {}, 0};
    expectReply(expected, dump<ReturnAddressesRecord>(Command::dumpReturnAddresses));

    auto write = request<ExecutorSettingsRecord>(Command::writeExecutorSettings);
    write.setNonForwardingAddress = 1;
    write.nfa = address("10.0.0.5");
    ASSERT_EQ(send(write), 0);
    expectReply(expected, dump<ReturnAddressesRecord>(Command::dumpReturnAddresses));
    sendHa(Command::addBackup, 0, 0, 80);
    expected.entries[0].fsmAddress = expected.entries[1].fsmAddress = address("10.0.0.5");
    expectReply(expected, dump<ReturnAddressesRecord>(Command::dumpReturnAddresses));
}

TEST_F(DebugDump, thereAreAtMost129ReturnAddresses) {
    addTestCluster();
    addTestPort();
    for (uint32_t key = 1; key <= 130; ++key)
        addServerWithReturnAddress(key, {htonl(0x0A090000 + key)});
    addServerWithReturnAddress(131, {htonl(0x0A090000 + 129)});
    const auto record = dump<ReturnAddressesRecord>(Command::dumpReturnAddresses);
    EXPECT_EQ(record.count, 129);
    EXPECT_EQ(record.entries[128].address.word, htonl(0x0A090000 + 129));
    EXPECT_EQ(record.entries[128].references, 2);
}

TEST_F(DebugDump, connectionListsAreThoseOfThePorts) {
    addTestCluster();
    addTestPort(443);
    addTestPort();
    PortRecord write = portRequest(Command::writePortSettings);
    write.setStaleTimeout = 1;
    write.staleTimeout = {0, 77};
    ASSERT_EQ(send(write), 0);
    ASSERT_EQ(addConnection("10.7.0.1", 1), 0);
    ASSERT_EQ(addConnection("10.7.0.1", 2), 0);
    ConnectionListsRecord expected{};
    expected.header.command = Command::dumpConnectionLists;
    expected.count = 2;
    expected.entries[0] = {0x0A010001, 80, "all", 2, 0, 0, 77};
    expected.entries[1] = {0x0A010001, 443, "all", 0, 0, 0, 300};
    expectReply(expected, dump<ConnectionListsRecord>(Command::dumpConnectionLists));
}

TEST_F(DebugDump, affinityListsAreThoseOfThePorts) {
    addTestCluster();
    addTestPort(443);
    addTestPort();
    addTestServer(1, "10.3.0.1");
    ASSERT_EQ(addConnection("10.7.0.1", 1), 0);
    for (const uint32_t client : {0x0A070001U, 0x0A070002U, 0x0A070003U, 0x0A070002U}) {
        AffinityBlock bind = affinityRequest(Command::serverDirectedAffinity, 1);
        bind.block().command = 1;
        bind.entry(0).clientAddress = client;
        bind.entry(0).serverAddress = 0x0A030001;
        bind.entry(0).serverKey = 1;
        ASSERT_EQ(send(bind), 0);
        ASSERT_EQ(bind.block().response, 0);
    }
    AffinityListsRecord expected{};
    expected.header.command = Command::dumpAffinityLists;
    expected.count = 2;
    expected.entries[0] = {address("10.1.0.1"), 80, {}, 1, 2, 0, 1};
    expected.entries[1] = {address("10.1.0.1"), 443, {}, 0, 0, 0, 0};
    expectReply(expected, dump<AffinityListsRecord>(Command::dumpAffinityLists));
}

TEST_F(DebugDump, thereAreAtMost256Lists) {
    auto settings = request<ExecutorSettingsRecord>(Command::writeExecutorSettings);
    settings.setDefaultClusterMaxPorts = 1;
    settings.defaultClusterMaxPorts = 300;
    ASSERT_EQ(send(settings), 0);
    addTestCluster();
    addPorts(1, 256);
    EXPECT_EQ(dump<ConnectionListsRecord>(Command::dumpConnectionLists).count, 256);
    addPorts(257, 257);
    const auto connectionLists = dump<ConnectionListsRecord>(Command::dumpConnectionLists);
    EXPECT_EQ(connectionLists.count, 256);
    EXPECT_EQ(connectionLists.entries[255].port, 256);
    const auto affinityLists = dump<AffinityListsRecord>(Command::dumpAffinityLists);
    EXPECT_EQ(affinityLists.count, 256);
    EXPECT_EQ(affinityLists.entries[255].port, 256);
}

// What has had its time: an executor of the test's own, whose records are made older.
TEST(DebugDumpOfTheOld, staleRecordsAreCounted) {
    ExecutorState state;
    startExecutor(state);
    const auto perform = [&state](auto record) {
        performCommand(state, &record.header);
        EXPECT_EQ(record.header.reason, 0);
        return record;
    };
    perform(newCluster(kCluster, "web", "10.1.0.1"));
    PortRecord sticky = portRequest(Command::addPort);
    sticky.setStickyTime = sticky.setStaleTimeout = 1;
    sticky.stickyTime = {0, 100};
    sticky.staleTimeout = {0, 200};
    perform(sticky);
    Port &kept = state.executor.clusters.byKey.at(kCluster).ports.byKey.at(kPort);
    const uint32_t now = currentTime();
    constexpr uint32_t kAges[] = {0, 50, 150, 250};
    uint32_t client = 1;
    for (const uint32_t age : kAges) {
        Connection connection;
        connection.clientAddress = client;
        connection.serverAddress = address("10.3.0.1");
        connection.stamp = now - age;
        kept.connections.emplace(connectionKey(client, 1), connection);
        Affinity affinity;
        affinity.clientAddress = 1000 + client; // without a connection
        affinity.stamp = now - age;
        addItem(kept.affinities, affinity.clientAddress, client, affinity);
        ++client;
    }
    EXPECT_EQ(perform(request<ConnectionListsRecord>(Command::dumpConnectionLists)).entries[0].stale, 1);
    EXPECT_EQ(perform(request<AffinityListsRecord>(Command::dumpAffinityLists)).entries[0].nonActive, 4);
    EXPECT_EQ(perform(request<AffinityListsRecord>(Command::dumpAffinityLists)).entries[0].staleNonActive, 2);

    PortRecord endless = portRequest(Command::writePortSettings);
    endless.setStickyTime = endless.setStaleTimeout = 1;
    endless.stickyTime = endless.staleTimeout = {0, 0};
    perform(endless);
    EXPECT_EQ(perform(request<ConnectionListsRecord>(Command::dumpConnectionLists)).entries[0].stale, 0);
    EXPECT_EQ(perform(request<AffinityListsRecord>(Command::dumpAffinityLists)).entries[0].staleNonActive, 0);
}

TEST_F(DebugDump, theTreeIsTheConfiguration) {
    auto expected = std::make_unique<SharedBlock>(emptyRecord<SharedBlock>(Command::readByteCounters));
    expectReply(*expected, *byteCounters());

    addTestCluster();
    addTestPort();
    addTestPort(443);
    addTestServer(1, "10.3.0.1");
    ServerRecord listening = newServer(2, "named");
    listening.setListeners = 1;
    listening.numberOfListeners = 1;
    listening.listeners[0] = {};
    listening.listeners[0].address = address("10.3.0.2");
    ASSERT_EQ(send(listening), 0);
    addTestServer(3, "without an address");
    ClusterRecord mail = newCluster(7, "mail", "10.1.0.2");
    ASSERT_EQ(send(mail), 0);

    expected->byteCounters.numberOfClusters = 2;
    auto *web = reinterpret_cast<ByteCountersCluster *>(expected->bytes + 80);
    web->address = address("10.1.0.1");
    web->numberOfPorts = 2;
    auto *webPort = reinterpret_cast<ByteCountersPort *>(web + 1);
    webPort->numberOfServers = 3;
    auto *servers = reinterpret_cast<ByteCountersServer *>(webPort + 1);
    servers[0].address = address("10.3.0.1");
    servers[1].address = address("10.3.0.2");
    auto *tlsPort = reinterpret_cast<ByteCountersPort *>(servers + 3);
    auto *mailEntry = reinterpret_cast<ByteCountersCluster *>(tlsPort + 1);
    mailEntry->address = address("10.1.0.2");
    expectReply(*expected, *byteCounters());
}

// Walks the tree as a client does. Returns the bytes that it takes.
std::size_t walk(const SharedBlock &block, std::map<std::string, uint32_t> &numbers) {
    const uint8_t *at = block.bytes + sizeof(ByteCountersRecord);
    numbers["clusters"] = block.byteCounters.numberOfClusters;
    for (uint32_t index = 0; index < block.byteCounters.numberOfClusters; ++index) {
        const uint32_t ports = reinterpret_cast<const ByteCountersCluster *>(at)->numberOfPorts;
        numbers["ports"] += ports;
        at += sizeof(ByteCountersCluster);
        for (uint32_t portIndex = 0; portIndex < ports; ++portIndex) {
            const uint32_t servers = reinterpret_cast<const ByteCountersPort *>(at)->numberOfServers;
            numbers["servers"] += servers;
            at += sizeof(ByteCountersPort) + servers * sizeof(ByteCountersServer);
        }
    }
    return static_cast<std::size_t>(at - block.bytes);
}

TEST_F(DebugDump, aTreeThatDoesNotFitEndsWithItsCountsRight) {
    // 80 + 52 + 36 bytes, and 20 for each server: 3192 of them fit, with 8 bytes left.
    addTestCluster();
    PortRecord record = portRequest(Command::addPort);
    record.setMaxServers = 1;
    record.maxServers = 5000;
    ASSERT_EQ(send(record), 0);
    for (uint32_t key = 1; key <= 3191; ++key)
        addTestServer(key, "10.3.0.1");
    addTestPort(443);
    ClusterRecord mail = newCluster(7, "mail", "10.1.0.2");
    ASSERT_EQ(send(mail), 0);
    std::map<std::string, uint32_t> numbers;
    EXPECT_LE(walk(*byteCounters(), numbers), kWireBytes);
    EXPECT_EQ(numbers, (std::map<std::string, uint32_t>{{"clusters", 1}, {"ports", 1}, {"servers", 3191}}));

    for (const uint32_t key : {3192U, 3193U}) {
        addTestServer(key, "10.3.0.1");
        numbers.clear();
        const auto block = byteCounters();
        EXPECT_EQ(walk(*block, numbers), kWireBytes - 8);
        EXPECT_EQ(numbers, (std::map<std::string, uint32_t>{{"clusters", 1}, {"ports", 1}, {"servers", 3192}}));
        for (std::size_t at = kWireBytes - 8; at < kWireBytes; ++at)
            EXPECT_EQ(block->bytes[at], 0) << at;
    }
}

TEST_F(DebugDump, aTreeOfManyClustersEndsWithItsCountsRight) {
    auto settings = request<ExecutorSettingsRecord>(Command::writeExecutorSettings);
    settings.setMaxNumberOfClusters = 1;
    settings.maxNumberOfClusters = 2000;
    ASSERT_EQ(send(settings), 0);
    for (uint32_t key = 1; key <= 1300; ++key) {
        ClusterRecord record = newCluster(key, "web", "10.1.0.1");
        record.address = {htonl(0x0A010000 + key)};
        ASSERT_EQ(send(record), 0);
    }
    std::map<std::string, uint32_t> numbers;
    EXPECT_LE(walk(*byteCounters(), numbers), kWireBytes);
    EXPECT_EQ(numbers["clusters"], (kWireBytes - 80) / 52);
}

} // namespace
} // namespace rk
