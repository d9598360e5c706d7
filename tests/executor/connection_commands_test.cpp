// Connection records.
#include "executor_client.h"

#include <ctime>

namespace rk {
namespace {

using SharedBlockOwner = std::unique_ptr<SharedBlock>;

// A query for everything, with details.
SharedBlockOwner queryForAll() {
    auto block = std::make_unique<SharedBlock>(request<SharedBlock>(Command::readConnections));
    ConnectionQueryRecord &query = block->connectionQuery;
    query.firstAddress = query.secondAddress = query.thirdAddress = {};
    query.firstPort = query.secondPort = 0;
    query.thirdPort = 0;
    query.detail = 1;
    return block;
}

SharedBlockOwner connections() {
    SharedBlockOwner block = queryForAll();
    EXPECT_EQ(send(*block), 0);
    return block;
}

// What a reply tells of its connections: client, cluster, server.
std::vector<std::string> describe(const SharedBlock &block) {
    std::vector<std::string> texts;
    for (int index = 0; index < block.connections.count; ++index) {
        const ConnectionEntry &entry = block.connections.entries[index];
        texts.push_back(dotted(entry.clientAddress) + ":" + std::to_string(ntohs(entry.clientPort.word)) + " " +
                        dotted(entry.clusterAddress) + ":" + std::to_string(ntohs(entry.clusterPort.word)) + " " +
                        dotted(entry.serverAddress));
    }
    return texts;
}

// As the executor counts them without giving them.
int32_t numberOfConnections() {
    SharedBlockOwner block = queryForAll();
    block->connectionQuery.detail = 0;
    EXPECT_EQ(send(*block), 0);
    return block->connections.count;
}

using Texts = std::vector<std::string>;

class Connections : public ExecutorTest {
protected:
    void SetUp() override {
        ExecutorTest::SetUp();
        addTestCluster();
        addTestPort();
    }
};

TEST_F(Connections, areReadAsTheyWereMade) {
    const auto before = static_cast<uint32_t>(std::time(nullptr));
    ASSERT_EQ(addConnection("10.7.0.9", 40001, 0xFE), 0);
    const SharedBlockOwner block = connections();
    const auto after = static_cast<uint32_t>(std::time(nullptr));

    auto expected = std::make_unique<SharedBlock>(emptyRecord<SharedBlock>(Command::readConnections));
    expected->connections.count = 1;
    expected->connections.now = block->connections.now;
    EXPECT_GE(block->connections.now, before);
    EXPECT_LE(block->connections.now, after);
    ConnectionEntry &entry = expected->connections.entries[0];
    entry.clusterAddress = address("10.1.0.1");
    entry.clusterPort = port(80);
    entry.clientAddress = address("10.7.0.9");
    entry.clientPort = port(40001);
    entry.serverAddress = address("10.3.0.1");
    entry.state = 0xFE;
    entry.previousTcpState = entry.currentTcpState = 4; // established
    entry.mark = 'M';
    const ConnectionEntry &found = block->connections.entries[0];
    EXPECT_GE(found.stamp, before);
    EXPECT_LE(found.stamp, block->connections.now);
    entry.firstTime = entry.stamp = found.stamp;
    expectReply(*expected, *block);
}

TEST_F(Connections, thatAreHalfOpenHaveNotBeenEstablished) {
    ASSERT_EQ(addConnection("10.7.0.9", 1, 0x81), 0);
    const SharedBlockOwner block = connections();
    EXPECT_EQ(block->connections.entries[0].state, 0x81);
    EXPECT_EQ(block->connections.entries[0].previousTcpState, 1); // listen
    EXPECT_EQ(block->connections.entries[0].currentTcpState, 3);  // SYN received
}

TEST_F(Connections, noneIsAnEmptyReply) {
    const SharedBlockOwner block = connections();
    auto expected = std::make_unique<SharedBlock>(emptyRecord<SharedBlock>(Command::readConnections));
    expected->connections.now = block->connections.now;
    expectReply(*expected, *block);
}

TEST_F(Connections, areRefusedWhenTheyCannotBe) {
    const auto sendWith = [](void (*spoil)(ConnectionRequestRecord &)) {
        int32_t reasons[2];
        for (int index = 0; index < 2; ++index) {
            const Command command = index == 0 ? Command::allocateConnection : Command::releaseConnection;
            ConnectionRequestRecord record = connectionRequest(command, "10.7.0.9", 40000);
            spoil(record);
            reasons[index] = send(record);
        }
        EXPECT_EQ(reasons[0], reasons[1]);
        return reasons[0];
    };
    using Request = ConnectionRequestRecord;
    EXPECT_EQ(sendWith([](Request &record) { record.first = address("10.1.0.2"); }), kUnknownCluster);
    EXPECT_EQ(sendWith([](Request &record) { record.fifth = port(81); }), kUnknownPort);
    EXPECT_EQ(sendWith([](Request &record) { record.third = {}; }), kOutOfRange);
    EXPECT_EQ(sendWith([](Request &record) { record.third = address("224.0.0.1"); }), kOutOfRange);
    EXPECT_EQ(sendWith([](Request &record) { record.sixth = {}; }), kOutOfRange);
    EXPECT_EQ(sendWith([](Request &record) { record.sixth = address("255.255.255.255"); }), kOutOfRange);
    EXPECT_EQ(sendWith([](Request &record) { record.fourth = -1; }), kOutOfRange);
    EXPECT_EQ(sendWith([](Request &record) { record.fourth = 65536; }), kOutOfRange);
    EXPECT_EQ(sendWith([](Request &record) { record.second = 256; }), kOutOfRange);
    EXPECT_EQ(sendWith([](Request &record) { record.second = 65535; }), kOutOfRange);
    EXPECT_EQ(numberOfConnections(), 0);
    EXPECT_EQ(addConnection("10.7.0.9", 0, 255), 0);
    EXPECT_EQ(addConnection("10.7.0.9", 65535, 0), 0);
    EXPECT_EQ(numberOfConnections(), 2);
}

TEST_F(Connections, areThereOnce) {
    ASSERT_EQ(addConnection("10.7.0.9", 40000), 0);
    EXPECT_EQ(addConnection("10.7.0.9", 40000, 1), kConnectionExists);
    ConnectionRequestRecord toAnother = connectionRequest(Command::allocateConnection, "10.7.0.9", 40000);
    toAnother.sixth = address("10.3.0.2");
    EXPECT_EQ(send(toAnother), kConnectionExists);
    EXPECT_EQ(numberOfConnections(), 1);
    EXPECT_EQ(addConnection("10.7.0.9", 40001), 0);
    EXPECT_EQ(addConnection("10.7.0.8", 40000), 0);
    addTestPort(443);
    ConnectionRequestRecord onAnother = connectionRequest(Command::allocateConnection, "10.7.0.9", 40000);
    onAnother.fifth = port(443);
    EXPECT_EQ(send(onAnother), 0);
    EXPECT_EQ(describe(*connections()),
              (Texts{"10.7.0.8:40000 10.1.0.1:80 10.3.0.1", "10.7.0.9:40000 10.1.0.1:80 10.3.0.1",
                     "10.7.0.9:40001 10.1.0.1:80 10.3.0.1", "10.7.0.9:40000 10.1.0.1:443 10.3.0.1"}));
}

TEST_F(Connections, areRemovedByTheirEnds) {
    ASSERT_EQ(addConnection("10.7.0.9", 40000, 7), 0);
    ASSERT_EQ(addConnection("10.7.0.9", 40001), 0);
    ConnectionRequestRecord record = connectionRequest(Command::releaseConnection, "10.7.0.9", 40002);
    EXPECT_EQ(send(record), kUnknownConnection);
    record.fourth = 40000;
    record.sixth = address("10.3.0.2");
    EXPECT_EQ(send(record), kUnknownConnection);
    record.sixth = address("10.3.0.1");
    record.second = 9; // its state is not looked at
    EXPECT_EQ(send(record), 0);
    EXPECT_EQ(send(record), kUnknownConnection);
    EXPECT_EQ(describe(*connections()), Texts{"10.7.0.9:40001 10.1.0.1:80 10.3.0.1"});
}

TEST_F(Connections, goWithTheirPort) {
    ASSERT_EQ(addConnection("10.7.0.9", 40000), 0);
    PortRecord removal = portRequest(Command::removePort);
    ASSERT_EQ(send(removal), 0);
    EXPECT_EQ(numberOfConnections(), 0);
    addTestPort();
    EXPECT_EQ(numberOfConnections(), 0);
}

TEST_F(Connections, areSelectedByEachAddressAndPort) {
    addTestPort(443);
    ClusterRecord mail = newCluster(7, "mail", "10.1.0.2");
    ASSERT_EQ(send(mail), 0);
    PortRecord mailPort = portRequest(Command::addPort);
    mailPort.clusterKey = 7;
    ASSERT_EQ(send(mailPort), 0);
    const auto add = [](const char *cluster, int clusterPort, const char *client, int clientPort, const char *server) {
        ConnectionRequestRecord record = connectionRequest(Command::allocateConnection, client, clientPort);
        record.first = address(cluster);
        record.fifth = port(clusterPort);
        record.sixth = address(server);
        ASSERT_EQ(send(record), 0);
    };
    add("10.1.0.1", 80, "10.7.0.1", 65535, "10.3.0.1");
    add("10.1.0.1", 443, "10.7.0.2", 65535, "10.3.0.2");
    add("10.1.0.2", 80, "10.7.0.1", 256, "10.3.0.2");
    const std::string a = "10.7.0.1:65535 10.1.0.1:80 10.3.0.1";
    const std::string b = "10.7.0.2:65535 10.1.0.1:443 10.3.0.2";
    const std::string c = "10.7.0.1:256 10.1.0.2:80 10.3.0.2";
    const auto select = [](void (*narrow)(ConnectionQueryRecord &)) {
        SharedBlockOwner block = queryForAll();
        narrow(block->connectionQuery);
        EXPECT_EQ(send(*block), 0);
        return describe(*block);
    };
    using Query = ConnectionQueryRecord;
    EXPECT_EQ(select([](Query &) {}), (Texts{a, b, c}));
    EXPECT_EQ(select([](Query &query) { query.firstAddress = address("10.1.0.1"); }), (Texts{a, b}));
    EXPECT_EQ(select([](Query &query) { query.firstPort = port(80).word; }), (Texts{a, c}));
    EXPECT_EQ(select([](Query &query) { query.secondAddress = address("10.7.0.1"); }), (Texts{a, c}));
    EXPECT_EQ(select([](Query &query) { query.secondPort = port(256).word; }), Texts{c});
    EXPECT_EQ(select([](Query &query) { query.secondPort = port(65535).word; }), (Texts{a, b}));
    EXPECT_EQ(select([](Query &query) { query.thirdAddress = address("10.3.0.2"); }), (Texts{b, c}));
    EXPECT_EQ(select([](Query &query) { query.thirdPort = static_cast<int16_t>(port(443).word); }), Texts{b});
    EXPECT_EQ(select([](Query &query) {
                  query.firstAddress = address("10.1.0.1");
                  query.thirdAddress = address("10.3.0.2");
              }),
              Texts{b});
    EXPECT_EQ(select([](Query &query) { query.firstAddress = address("10.1.0.9"); }), Texts{});
    EXPECT_EQ(select([](Query &query) { query.secondPort = port(1).word; }), Texts{});
}

// The port's 16 bits are sign-extended: those of port 128 in network byte order are negative on some machines.
TEST_F(Connections, areSelectedByAThirdPortWhoseWordIsNegative) {
    for (const int number : {128, 255, 32768, 65535}) {
        addTestPort(number);
        ConnectionRequestRecord record = connectionRequest(Command::allocateConnection, "10.7.0.1", 1);
        record.fifth = port(number);
        ASSERT_EQ(send(record), 0);
        SharedBlockOwner block = queryForAll();
        block->connectionQuery.thirdPort = static_cast<int16_t>(port(number).word);
        ASSERT_EQ(send(*block), 0);
        EXPECT_EQ(describe(*block), Texts{"10.7.0.1:1 10.1.0.1:" + std::to_string(number) + " 10.3.0.1"});
    }
}

TEST_F(Connections, areOnlyCountedWithoutDetails) {
    ASSERT_EQ(addConnection("10.7.0.9", 40000), 0);
    ASSERT_EQ(addConnection("10.7.0.9", 40001), 0);
    SharedBlockOwner block = queryForAll();
    block->connectionQuery.detail = 0;
    ASSERT_EQ(send(*block), 0);
    auto expected = std::make_unique<SharedBlock>(emptyRecord<SharedBlock>(Command::readConnections));
    expected->connections.count = 2;
    expected->connections.now = block->connections.now;
    expectReply(*expected, *block);

    block = queryForAll();
    block->connectionQuery.detail = -1;
    ASSERT_EQ(send(*block), 0);
    EXPECT_EQ(block->connections.entries[1].clientPort.word, port(40001).word);
}

TEST_F(Connections, areCountedAsFarAsAReplyHoldsThem) {
    for (int number = 1; number <= 1599; ++number)
        ASSERT_EQ(addConnection("10.7.0.9", number), 0);
    SharedBlockOwner block = connections();
    EXPECT_EQ(block->connections.count, 1599);
    EXPECT_EQ(block->connections.entries[1598].clientPort.word, port(1599).word);
    ASSERT_EQ(addConnection("10.7.0.9", 1600), 0);
    block = connections();
    EXPECT_EQ(block->connections.count, 1599);
    EXPECT_EQ(block->connections.entries[1598].clientPort.word, port(1599).word);
    for (std::size_t at = sizeof(ConnectionListRecord); at < kWireBytes; ++at)
        EXPECT_EQ(block->bytes[at], 0) << at;
    EXPECT_EQ(numberOfConnections(), 1600);
}

} // namespace
} // namespace rk
