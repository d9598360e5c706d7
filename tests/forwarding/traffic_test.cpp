// Reports and lists of an executor whose engine counts: what the engine counts is what they tell, over everything that
// ends and is made anew.
#include "farm.h"
#include "world.h"

#include <limits>

namespace rk {
namespace {

constexpr int32_t kMost = std::numeric_limits<int32_t>::max();

Counts countsOf(uint64_t connections, uint64_t active = 0, uint64_t finished = 0, uint64_t perSecond = 0,
                uint64_t bytesPerSecond = 0) {
    Counts counts;
    counts.totals.connections = connections;
    counts.active = active;
    counts.finished = finished;
    counts.connectionsPerSecond = perSecond;
    counts.bytesPerSecond = bytesPerSecond;
    return counts;
}

PoolId poolId(int portNumber, Transport transport, std::optional<std::string> rule = {},
              const char *clusterAddress = "10.1.0.1") {
    return {{planAddress(address(clusterAddress)), static_cast<uint16_t>(portNumber)}, transport, std::move(rule)};
}

EndedCounts endedPool(const PoolId &id, uint64_t connections, uint64_t packets = 0) {
    EndedCounts ended{id, {}, {}};
    ended.totals.connections = connections;
    ended.totals.packetsIn = packets;
    return ended;
}

EndedCounts endedServer(const PoolId &id, uint32_t serverKey, uint64_t connections) {
    EndedCounts ended{id, serverKey, {}};
    ended.totals.connections = connections;
    return ended;
}

LiveConnection connection(const char *client, uint16_t clientPort, uint8_t tcpState, int portNumber = 80) {
    LiveConnection live;
    live.client = {planAddress(address(client)), clientPort};
    live.port = {planAddress(address("10.1.0.1")), static_cast<uint16_t>(portNumber)};
    live.server = {planAddress(address("10.2.0.11")), 80};
    live.tcpState = tcpState;
    return live;
}

class TrafficTest : public testing::Test {
protected:
    // A port of both transports with two servers, of which one is in a rule.
    void SetUp() override {
        begin(world);
        startFarm(world.state);
        ASSERT_EQ(send(addPortRequest(80, kPortTypeTcpAndUdp)), 0);
        ASSERT_EQ(send(addServerRequest(80, 1, "10.2.0.11")), 0);
        ASSERT_EQ(send(addServerRequest(80, 2, "10.2.0.12")), 0);
        ASSERT_EQ(send(addRuleRequest(80, "r", 0, 0, 0, 5)), 0);
        addMember(world.state, 80, "r", 1);
    }

    template <typename Record> int32_t send(const Record &record) {
        return perform(world.state, Record(record));
    }

    // A reply to a request with the keys that its record has.
    template <typename Record> Record read(Command command, uint32_t serverKey = 1, int portNumber = 80) {
        Record record{};
        record.header = {command, 0, 0, sizeof record};
        if constexpr (requires { record.clusterKey; })
            record.clusterKey = kCluster;
        if constexpr (requires { record.port = port(portNumber); })
            record.port = port(portNumber);
        if constexpr (requires { record.serverKey; })
            record.serverKey = serverKey;
        if constexpr (requires { record.ruleName; })
            setText(record.ruleName, "r");
        perform(world.state, record);
        EXPECT_EQ(record.header.reason, expectedReason);
        return record;
    }

    // A reply in the shared block.
    std::unique_ptr<SharedBlock> readShared(Command command) {
        auto block = std::make_unique<SharedBlock>();
        *block = {};
        block->header = {command, 0, 0, sizeof(SharedBlock)};
        return block;
    }

    World world;
    int32_t expectedReason = 0;
};

// --- Reports ---------------------------------------------------------------------------------------------------------

TEST_F(TrafficTest, ofAPortIsThatOfAllItsPools) {
    world.fake.poolCounts[poolId(80, Transport::tcp)] = countsOf(100, 5, 1, 7, 1000);
    world.fake.poolCounts[poolId(80, Transport::udp)] = countsOf(10, 2, 0, 1, 50);
    world.fake.poolCounts[poolId(80, Transport::tcp, "r")] = countsOf(30, 3, 0, 2, 200);
    world.fake.connections = {
        connection("10.7.0.1", 1000, kTcpSynReceived), connection("10.7.0.1", 1001, kTcpEstablished),
        connection("10.7.0.2", 1000, kTcpSynReceived), connection("10.7.0.3", 1, kTcpSynReceived, 443)};
    const auto report = read<PortReportRecord>(Command::readPortReport);
    EXPECT_EQ(report.activeConnections, 10);
    EXPECT_EQ(report.connectionsPerSecond, 10);
    EXPECT_EQ(report.bytesPerSecond, 1250);
    EXPECT_EQ(report.halfOpenConnections, 2);
    EXPECT_EQ(report.numberOfServers, 2);

    const auto cluster = read<ClusterReportRecord>(Command::readClusterReport);
    EXPECT_EQ(cluster.connectionsPerSecond, 10);
    EXPECT_EQ(cluster.bytesPerSecond, 1250);
}

TEST_F(TrafficTest, ofAClusterIsThatOfAllItsPorts) {
    ASSERT_EQ(send(addPortRequest(443)), 0);
    ASSERT_EQ(send(newCluster(kCluster + 1, "other", "10.1.0.2")), 0);
    PortRecord other = addPortRequest(80);
    other.clusterKey = kCluster + 1;
    ASSERT_EQ(send(other), 0);
    world.fake.poolCounts[poolId(80, Transport::tcp)] = countsOf(0, 0, 0, 1, 100);
    world.fake.poolCounts[poolId(443, Transport::tcp)] = countsOf(0, 0, 0, 2, 200);
    world.fake.poolCounts[poolId(80, Transport::tcp, {}, "10.1.0.2")] = countsOf(0, 0, 0, 4, 400);
    const auto report = read<ClusterReportRecord>(Command::readClusterReport);
    EXPECT_EQ(report.connectionsPerSecond, 3);
    EXPECT_EQ(report.bytesPerSecond, 300);
}

TEST_F(TrafficTest, ofAServerTellsTheTransportsApart) {
    world.fake.serverCounts[{poolId(80, Transport::tcp), 1}] = countsOf(100, 5, 10, 7, 1000);
    world.fake.serverCounts[{poolId(80, Transport::udp), 1}] = countsOf(10, 2, 0, 1, 50);
    world.fake.serverCounts[{poolId(80, Transport::tcp, "r"), 1}] = countsOf(30, 3, 1, 2, 200);
    world.fake.serverCounts[{poolId(80, Transport::tcp), 2}] = countsOf(77);
    const auto report = read<ServerReportRecord>(Command::readServerReport);
    EXPECT_EQ(report.totalConnections, 140);
    EXPECT_EQ(report.totalTcpConnections, 130);
    EXPECT_EQ(report.totalUdpConnections, 10);
    EXPECT_EQ(report.activeConnections, 10);
    EXPECT_EQ(report.finishedConnections, 11);
    EXPECT_EQ(report.completeConnections, 119);
    EXPECT_EQ(report.connectionsPerSecond, 10);
    EXPECT_EQ(report.bytesPerSecond, 1250);

    WeightsRequest weights = weightsRequest(Command::readServerWeights, 3);
    performCommand(world.state, &weights.block().header);
    ASSERT_EQ(weights.block().header.reason, 0);
    ASSERT_EQ(weights.block().count, 2);
    EXPECT_EQ(weights.entry(0).totalConnections, 140);
    EXPECT_EQ(weights.entry(0).activeConnections, 10);
    EXPECT_EQ(weights.entry(1).totalConnections, 77);
    EXPECT_EQ(weights.entry(1).activeConnections, 0);
}

TEST_F(TrafficTest, isAddedUpInAllItsParts) {
    Counts one;
    one.totals = {1, 2, 3, 4, 5};
    one.active = 6;
    one.finished = 7;
    one.connectionsPerSecond = 8;
    one.bytesPerSecond = 9;
    world.fake.poolCounts[poolId(80, Transport::tcp)] = one;
    world.fake.poolCounts[poolId(80, Transport::udp)] = one;
    const Cluster &cluster = world.state.executor.clusters.byKey.at(kCluster);
    Counts sum;
    ASSERT_TRUE(readCounts(Traffic{&world.forwarding}, cluster, cluster.ports.byKey.at(80), sum));
    EXPECT_EQ(sum.totals.connections, 2U);
    EXPECT_EQ(sum.totals.packetsIn, 4U);
    EXPECT_EQ(sum.totals.packetsOut, 6U);
    EXPECT_EQ(sum.totals.bytesIn, 8U);
    EXPECT_EQ(sum.totals.bytesOut, 10U);
    EXPECT_EQ(sum.active, 12U);
    EXPECT_EQ(sum.finished, 14U);
    EXPECT_EQ(sum.connectionsPerSecond, 16U);
    EXPECT_EQ(sum.bytesPerSecond, 18U);
}

TEST_F(TrafficTest, ofARuleIsHowOftenItFired) {
    world.fake.poolCounts[poolId(80, Transport::tcp, "r")] = countsOf(30, 3, 0, 2, 200);
    world.fake.poolCounts[poolId(80, Transport::udp, "r")] = countsOf(4, 1, 0, 1, 20);
    const auto report = read<RuleReportRecord>(Command::readRuleReport);
    EXPECT_EQ(report.timesFired, 34);
    EXPECT_EQ(report.activeConnections, 4);
    EXPECT_EQ(report.connectionsPerSecond, 3);
    EXPECT_EQ(report.bytesPerSecond, 220);
}

TEST_F(TrafficTest, ofTheExecutorIsWhatTheEngineTells) {
    world.fake.allCounts = countsOf(0, 0, 0, 9, 900);
    world.fake.allCounts.totals.packetsIn = uint64_t{1} << 40;
    const auto report = read<ExecutorReportRecord>(Command::readExecutorReport);
    EXPECT_EQ(report.packetsTotal, int64_t{1} << 40);
    EXPECT_EQ(report.packetsClusterForwarded, int64_t{1} << 40);
    EXPECT_EQ(report.connectionsPerSecond, 9);
    EXPECT_EQ(report.bytesPerSecond, 900);
}

TEST_F(TrafficTest, stopsAtWhatAFieldHolds) {
    constexpr uint64_t kMuch = uint64_t{1} << 33;
    world.fake.serverCounts[{poolId(80, Transport::tcp), 1}] = countsOf(kMuch, kMuch, kMuch, kMuch, kMuch);
    const auto report = read<ServerReportRecord>(Command::readServerReport);
    EXPECT_EQ(report.totalConnections, kMost);
    EXPECT_EQ(report.totalTcpConnections, kMost);
    EXPECT_EQ(report.activeConnections, kMost);
    EXPECT_EQ(report.finishedConnections, kMost);
    EXPECT_EQ(report.completeConnections, 0); // what is open is more than what was counted
    EXPECT_EQ(report.bytesPerSecond, kMost);
    EXPECT_EQ(report.connectionsPerSecond, kMost);
}

TEST_F(TrafficTest, hasTheRatesThatWereSetOnlyWithoutAnEngine) {
    PortReportRecord rate{};
    rate.header = {Command::setPortCps, 0, 0, sizeof rate};
    rate.clusterKey = kCluster;
    rate.port = port(80);
    rate.connectionsPerSecond = 66;
    ASSERT_EQ(send(rate), 0);
    EXPECT_EQ(read<PortReportRecord>(Command::readPortReport).connectionsPerSecond, 0);
    endForwarding(world.state, world.forwarding);
    EXPECT_TRUE(world.fake.isClosed);
    EXPECT_EQ(read<PortReportRecord>(Command::readPortReport).connectionsPerSecond, 66);
}

TEST_F(TrafficTest, isRefusedWhenTheEngineCannotTell) {
    world.fake.isReadable = false;
    expectedReason = kForwardingRefused;
    read<ExecutorReportRecord>(Command::readExecutorReport);
    read<ClusterReportRecord>(Command::readClusterReport);
    read<PortReportRecord>(Command::readPortReport);
    read<ServerReportRecord>(Command::readServerReport);
    read<RuleReportRecord>(Command::readRuleReport);
    read<ConnectionListsRecord>(Command::dumpConnectionLists);
    read<AffinityListsRecord>(Command::dumpAffinityLists);
    read<DebugRequestRecord>(Command::debugDump);
    read<HalfOpenRecord>(Command::readHalfOpenConnections);
    WeightsRequest weights = weightsRequest(Command::readServerWeights, 3);
    performCommand(world.state, &weights.block().header);
    EXPECT_EQ(weights.block().header.reason, kForwardingRefused);
    for (const Command command : {Command::readConnections, Command::readAffinities, Command::readAttackingAddresses}) {
        auto block = readShared(command);
        block->attacking.address = address("10.1.0.1");
        block->attacking.port = port(80);
        if (command == Command::readAffinities) {
            auto &record = reinterpret_cast<AffinityRecord &>(*block);
            record.clusterAddress = address("10.1.0.1").word;
            record.port = port(80);
        }
        performCommand(world.state, &block->header);
        EXPECT_EQ(block->header.reason, kForwardingRefused) << static_cast<int>(command);
    }
}

// --- What goes on over an end ----------------------------------------------------------------------------------------

TEST_F(TrafficTest, goesOnWhenPoolsEnd) {
    world.fake.serverCounts[{poolId(80, Transport::tcp), 1}] = countsOf(100);
    world.fake.poolCounts[poolId(80, Transport::tcp, "r")] = countsOf(30);
    // Another type ends the UDP pools.
    world.fake.ended = {endedPool(poolId(80, Transport::udp), 40, 400), endedServer(poolId(80, Transport::udp), 1, 15),
                        endedServer(poolId(80, Transport::udp), 2, 25),
                        endedPool(poolId(80, Transport::udp, "r"), 8, 80),
                        endedServer(poolId(80, Transport::udp, "r"), 1, 8)};
    PortRecord change = changePortRequest(80);
    set(change.setType, change.type, kPortTypeTcp);
    ASSERT_EQ(send(change), 0);
    const auto first = read<ServerReportRecord>(Command::readServerReport, 1);
    EXPECT_EQ(first.totalTcpConnections, 100);
    EXPECT_EQ(first.totalUdpConnections, 23);
    EXPECT_EQ(first.totalConnections, 123);
    EXPECT_EQ(read<ServerReportRecord>(Command::readServerReport, 2).totalUdpConnections, 25);
    EXPECT_EQ(read<RuleReportRecord>(Command::readRuleReport).timesFired, 38);
    EXPECT_EQ(read<ExecutorReportRecord>(Command::readExecutorReport).packetsTotal, 480);
}

TEST_F(TrafficTest, goesOnWhenTheClusterHasAnotherAddress) {
    world.fake.ended = {endedPool(poolId(80, Transport::tcp), 40, 400), endedServer(poolId(80, Transport::tcp), 1, 40),
                        endedPool(poolId(80, Transport::tcp, "r"), 9, 90)};
    ClusterRecord change{};
    change.header = {Command::writeClusterSettings, 0, 0, sizeof change};
    change.clusterKey = kCluster;
    set(change.setAddress, change.address, address("10.1.0.9"));
    ASSERT_EQ(send(change), 0);
    world.fake.serverCounts[{poolId(80, Transport::tcp, {}, "10.1.0.9"), 1}] = countsOf(2);
    EXPECT_EQ(read<ServerReportRecord>(Command::readServerReport, 1).totalTcpConnections, 42);
    EXPECT_EQ(read<RuleReportRecord>(Command::readRuleReport).timesFired, 9);
}

// An engine may have to make things anew to undo what it did.
TEST_F(TrafficTest, goesOnWhenAChangeIsRefused) {
    world.fake.ended = {endedServer(poolId(80, Transport::tcp), 1, 40)};
    world.fake.refusedStep = 0;
    ServerRecord change = changeServerRequest(80, 1);
    set(change.setWeight, change.weight, 1);
    ASSERT_EQ(send(change), kForwardingRefused);
    EXPECT_EQ(read<ServerReportRecord>(Command::readServerReport, 1).totalTcpConnections, 40);
    EXPECT_EQ(world.state.executor.clusters.byKey.at(kCluster).ports.byKey.at(80).servers.byKey.at(1).settings.weight,
              10);
}

TEST_F(TrafficTest, goesOnOverWhatHappensByItself) {
    world.fake.ended = {endedServer(poolId(80, Transport::udp), 2, 5), endedPool(poolId(80, Transport::udp), 6, 60),
                        endedPool(poolId(99, Transport::udp), 7, 70), endedServer(poolId(80, Transport::tcp), 99, 8),
                        endedPool(poolId(80, Transport::tcp, "no rule"), 9, 90)};
    world.fake.note = "brought back";
    LogText words;
    tickForwarding(world.state, words);
    EXPECT_STREQ(words.text, "brought back");
    EXPECT_EQ(world.fake.ticks, 1);
    EXPECT_EQ(read<ServerReportRecord>(Command::readServerReport, 2).totalUdpConnections, 5);
    EXPECT_EQ(read<ExecutorReportRecord>(Command::readExecutorReport).packetsTotal, 220);
}

// --- Lists -----------------------------------------------------------------------------------------------------------

ConnectionRequestRecord byHand(const char *client, int32_t clientPort, uint16_t state = 0) {
    return connectionRequest(Command::allocateConnection, client, clientPort, state);
}

TEST_F(TrafficTest, listsTheEnginesConnectionsWithThoseMadeByHand) {
    ASSERT_EQ(send(byHand("10.7.0.2", 500)), 0);
    ASSERT_EQ(send(byHand("10.7.0.1", 9000, kHalfOpenState)), 0);
    LiveConnection established = connection("10.7.0.1", 1001, kTcpEstablished);
    established.idle = 5;
    established.age = 60;
    LiveConnection datagrams = connection("10.7.0.3", 53, kTcpEstablished);
    datagrams.transport = Transport::udp;
    datagrams.idle = 7;
    world.fake.connections = {datagrams, connection("10.7.0.1", 1000, kTcpSynReceived), established,
                              connection("10.7.0.9", 1, kTcpTimeWait, 8080)}; // of a port that there is not
    auto block = readShared(Command::readConnections);
    block->connectionQuery.detail = 1;
    performCommand(world.state, &block->header);
    const ConnectionListRecord &list = block->connections;
    ASSERT_EQ(list.header.reason, 0);
    ASSERT_EQ(list.count, 5);
    EXPECT_EQ(list.npsCount, 1);

    const auto entry = [&list](int index) {
        const ConnectionEntry &each = list.entries[index];
        return dotted(each.clientAddress) + ":" + std::to_string(ntohs(each.clientPort.word)) + " " + each.mark + " " +
               std::to_string(each.previousTcpState) + ">" + std::to_string(each.currentTcpState) + " state " +
               std::to_string(each.state) + " server " + dotted(each.serverAddress) + " cluster " +
               dotted(each.clusterAddress) + ":" + std::to_string(ntohs(each.clusterPort.word));
    };
    EXPECT_EQ(entry(0), "10.7.0.1:1000 E 1>3 state 1 server 10.2.0.11 cluster 10.1.0.1:80");
    EXPECT_EQ(entry(1), "10.7.0.1:1001 E 4>4 state 0 server 10.2.0.11 cluster 10.1.0.1:80");
    EXPECT_EQ(entry(2), "10.7.0.1:9000 M 1>3 state 1 server 10.3.0.1 cluster 10.1.0.1:80");
    EXPECT_EQ(entry(3), "10.7.0.2:500 M 4>4 state 0 server 10.3.0.1 cluster 10.1.0.1:80");
    EXPECT_EQ(entry(4), "10.7.0.3:53 E 4>4 state 0 server 10.2.0.11 cluster 10.1.0.1:80");
    EXPECT_EQ(list.now - list.entries[1].stamp, 5U);
    EXPECT_EQ(list.now - list.entries[1].firstTime, 60U);
    EXPECT_EQ(list.entries[4].firstTime, list.entries[4].stamp); // the engine does not tell when it began

    // What a query selects.
    block = readShared(Command::readConnections);
    block->connectionQuery.secondAddress = address("10.7.0.1");
    performCommand(world.state, &block->header);
    EXPECT_EQ(block->connections.count, 3);

    auto debug = read<DebugRequestRecord>(Command::debugDump);
    EXPECT_EQ(reinterpret_cast<DebugCountersRecord &>(debug).misc[11], 5U);
}

TEST_F(TrafficTest, countsConnectionsToEveryPort) {
    ASSERT_EQ(send(addPortRequest(0)), 0);
    world.fake.connections = {connection("10.7.0.1", 1000, kTcpEstablished, 8080),
                              connection("10.7.0.1", 1001, kTcpEstablished, 80)};
    const auto lists = read<ConnectionListsRecord>(Command::dumpConnectionLists);
    ASSERT_EQ(lists.count, 2);
    EXPECT_EQ(lists.entries[0].port, 0);
    EXPECT_EQ(lists.entries[0].records, 1);
    EXPECT_EQ(lists.entries[1].port, 80);
    EXPECT_EQ(lists.entries[1].records, 1);
}

TEST_F(TrafficTest, knowsStaleConnections) {
    LiveConnection stale = connection("10.7.0.1", 1001, kTcpEstablished);
    stale.idle = 301;
    world.fake.connections = {stale, connection("10.7.0.1", 1000, kTcpEstablished)};
    const auto lists = read<ConnectionListsRecord>(Command::dumpConnectionLists);
    ASSERT_EQ(lists.count, 1);
    EXPECT_EQ(lists.entries[0].records, 2);
    EXPECT_EQ(lists.entries[0].stale, 1);
}

TEST_F(TrafficTest, knowsHalfOpenConnectionsAndWhoAttacks) {
    AttackProtectionRecord attack{};
    attack.header = {Command::setAttackProtection, 0, 0, sizeof attack};
    attack.parameters[0] = 3;
    ASSERT_EQ(send(attack), 0);
    ASSERT_EQ(send(byHand("10.7.0.1", 9000, kHalfOpenState)), 0);
    world.fake.connections = {
        connection("10.7.0.1", 1000, kTcpSynReceived), connection("10.7.0.1", 1001, kTcpSynReceived),
        connection("10.7.0.2", 1000, kTcpSynReceived), connection("10.7.0.2", 1001, kTcpEstablished)};
    auto block = readShared(Command::readAttackingAddresses);
    block->attacking.address = address("10.1.0.1");
    block->attacking.port = port(80);
    performCommand(world.state, &block->header);
    ASSERT_EQ(block->header.reason, 0);
    EXPECT_EQ(block->attacking.summary, 4);
    ASSERT_EQ(block->attacking.count, 1);
    EXPECT_EQ(dotted(block->attacking.entries[0].address), "10.7.0.1");
    EXPECT_EQ(block->attacking.entries[0].value, 3);

    const auto halfOpen = std::make_unique<HalfOpenRecord>(read<HalfOpenRecord>(Command::readHalfOpenConnections));
    ASSERT_EQ(halfOpen->count, 4);
    EXPECT_EQ(halfOpen->entries[0].flag, 1);
    EXPECT_EQ(halfOpen->entries[3].flag, 0);
    // The port's report tells of the engine's own.
    EXPECT_EQ(read<PortReportRecord>(Command::readPortReport).halfOpenConnections, 3);
}

StickyClient stickyClient(const char *client, uint32_t serverKey, uint32_t active, uint32_t idle) {
    StickyClient sticky;
    sticky.pool = poolId(80, Transport::tcp);
    sticky.client = planAddress(address(client));
    sticky.serverKey = serverKey;
    sticky.active = active;
    sticky.idle = idle;
    return sticky;
}

AffinityBlock affinities(World &world, Command command, uint32_t detail, int32_t subCommand = 0) {
    AffinityBlock block = affinityRequest(command, 0);
    block.block().count = detail;
    block.block().command = subCommand;
    performCommand(world.state, &block.block().header);
    EXPECT_EQ(block.block().header.reason, 0);
    return block;
}

TEST_F(TrafficTest, listsTheClientsThatStickBehindThoseThatAreBound) {
    ASSERT_EQ(directClient(world.state, 80, "10.7.0.9", 2), 0);
    world.fake.clients = {stickyClient("10.7.0.2", 1, 0, 20), stickyClient("10.7.0.1", 2, 3, 5)};
    world.fake.connections = {connection("10.7.0.9", 1000, kTcpEstablished)};
    AffinityBlock block = affinities(world, Command::readAffinities, 1);
    ASSERT_EQ(block.block().count, 3U);
    const uint32_t now = block.block().now;
    const auto entry = [&block, now](std::size_t index) {
        const AffinityEntry &each = block.entry(index);
        return dotted({each.clientAddress}) + " to " + dotted({each.serverAddress}) + " key " +
               std::to_string(each.serverKey) + " active " + std::to_string(each.activeConnections) + " ago " +
               std::to_string(now - each.stamp);
    };
    EXPECT_EQ(block.entry(0).clientAddress, address("10.7.0.9").word);
    EXPECT_EQ(entry(1), "10.7.0.1 to 10.2.0.12 key 2 active 3 ago 5");
    EXPECT_EQ(entry(2), "10.7.0.2 to 10.2.0.11 key 1 active 0 ago 20");
    EXPECT_EQ(affinities(world, Command::readAffinities, 0).block().count, 3U);
    // What serverDirectedAffinity reads are the bound ones.
    EXPECT_EQ(affinities(world, Command::serverDirectedAffinity, 0, kReadClients).block().count, 1U);
}

TEST_F(TrafficTest, countsTheClientsThatStick) {
    PortRecord change = changePortRequest(80);
    set(change.setStickyTime, change.stickyTime.low, 10);
    ASSERT_EQ(send(change), 0);
    ASSERT_EQ(directClient(world.state, 80, "10.7.0.9", 2), 0);
    world.fake.clients = {stickyClient("10.7.0.1", 2, 3, 5), stickyClient("10.7.0.2", 1, 0, 20),
                          stickyClient("10.7.0.3", 1, 0, 10)};
    const auto lists = read<AffinityListsRecord>(Command::dumpAffinityLists);
    ASSERT_EQ(lists.count, 1);
    EXPECT_EQ(lists.entries[0].active, 1);
    EXPECT_EQ(lists.entries[0].nonActive, 3);
    EXPECT_EQ(lists.entries[0].staleNonActive, 1);
}

// The bound client's own connections are the engine's as well.
TEST_F(TrafficTest, countsTheConnectionsOfABoundClient) {
    AffinityBlock block = affinityRequest(Command::serverDirectedAffinity, 1);
    block.block().command = kBindClients;
    block.entry(0) = {ntohl(address("10.7.0.1").word), ntohl(address("10.2.0.11").word), 1, 0, {}, 0, {}, 0, 0};
    performCommand(world.state, &block.block().header);
    ASSERT_EQ(block.block().header.reason, 0);
    world.fake.connections = {connection("10.7.0.1", 1000, kTcpEstablished),
                              connection("10.7.0.1", 1001, kTcpEstablished),
                              connection("10.7.0.2", 1000, kTcpEstablished)};
    AffinityBlock read = affinities(world, Command::serverDirectedAffinity, 0, kReadClients);
    ASSERT_EQ(read.block().count, 1U);
    EXPECT_EQ(read.entry(0).activeConnections, 2U);
    EXPECT_EQ(this->read<AffinityListsRecord>(Command::dumpAffinityLists).entries[0].active, 1);
}

} // namespace
} // namespace rk
