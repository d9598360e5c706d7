// Affinity records, and server-directed affinity. In the records of the latter, addresses are in host byte order.
#include "executor_client.h"

#include <ctime>

namespace rk {
namespace {

constexpr int32_t kBind = 1;
constexpr int32_t kRelease = 2;
constexpr int32_t kRead = 3;

uint32_t word(const char *dottedAddress) {
    return ntohl(address(dottedAddress).word);
}

AffinityBlock directedRequest(int32_t command, uint32_t count) {
    AffinityBlock block = affinityRequest(Command::serverDirectedAffinity, count);
    block.block().command = command;
    return block;
}

void setEntry(AffinityEntry &entry, const char *client, const char *server, uint32_t serverKey) {
    entry.clientAddress = word(client);
    entry.serverAddress = word(server);
    entry.serverKey = serverKey;
}

// Sends a request with one entry, and gives the reply's entry and response.
struct Outcome {
    AffinityEntry entry;
    int32_t response;
};

Outcome direct(int32_t command, const char *client, const char *server = "10.3.0.1", uint32_t serverKey = 1) {
    AffinityBlock block = directedRequest(command, 1);
    setEntry(block.entry(0), client, server, serverKey);
    EXPECT_EQ(send(block), 0);
    EXPECT_EQ(block.block().count, 1U);
    return {block.entry(0), block.block().response};
}

AffinityBlock readAffinities(bool isDetailed = true) {
    AffinityBlock block = affinityRequest(Command::readAffinities);
    block.block().count = isDetailed ? 1 : 0;
    EXPECT_EQ(send(block), 0);
    return block;
}

// Client and server of each record that a detailed reply tells of.
std::vector<std::string> bindings() {
    AffinityBlock block = readAffinities();
    std::vector<std::string> texts;
    for (uint32_t index = 0; index < block.block().count; ++index) {
        const AffinityEntry &entry = block.entry(index);
        texts.push_back(dotted({entry.clientAddress}) + " " + dotted({entry.serverAddress}));
    }
    return texts;
}

// The reply that a block is to become, all zero but for what the client sent to name the port.
AffinityBlock emptyReply(AffinityBlock &actual) {
    AffinityBlock expected{std::vector<uint8_t>(actual.bytes.size(), 0)};
    expected.block().header = actual.block().header;
    expected.block().header.result = expected.block().header.reason = 0;
    expected.block().clusterAddress = actual.block().clusterAddress;
    expected.block().port = port(kPort);
    expected.block().now = actual.block().now;
    expected.block().clientMask = 0xFFFFFFFF;
    return expected;
}

void expectReply(AffinityBlock &expected, AffinityBlock &actual) {
    ASSERT_EQ(expected.bytes.size(), actual.bytes.size());
    expectSameBytes(expected.bytes.data(), actual.bytes.data(), actual.bytes.size());
}

using Texts = std::vector<std::string>;

class Affinities : public ExecutorTest {
protected:
    void SetUp() override {
        ExecutorTest::SetUp();
        addTestCluster();
        addTestPort();
        addTestServer(1, "10.3.0.1");
        addTestServer(2, "10.3.0.2");
    }
};

TEST_F(Affinities, areBoundAndRead) {
    const auto before = static_cast<uint32_t>(std::time(nullptr));
    AffinityBlock bind = directedRequest(kBind, 2);
    setEntry(bind.entry(0), "10.7.0.1", "10.3.0.1", 1);
    setEntry(bind.entry(1), "10.7.0.2", "10.3.0.2", 2);
    ASSERT_EQ(send(bind), 0);
    const auto after = static_cast<uint32_t>(std::time(nullptr));

    AffinityBlock expectedBind = emptyReply(bind);
    expectedBind.block().command = kBind;
    expectedBind.block().count = 2;
    setEntry(expectedBind.entry(0), "10.7.0.1", "10.3.0.1", 1);
    setEntry(expectedBind.entry(1), "10.7.0.2", "10.3.0.2", 2);
    EXPECT_GE(bind.block().now, before);
    EXPECT_LE(bind.block().now, after);
    for (std::size_t index = 0; index < 2; ++index) {
        EXPECT_GE(bind.entry(index).firstTime, before);
        EXPECT_LE(bind.entry(index).firstTime, after);
        expectedBind.entry(index).firstTime = bind.entry(index).firstTime;
    }
    expectReply(expectedBind, bind);

    AffinityBlock read = readAffinities();
    AffinityBlock expected = emptyReply(read);
    EXPECT_GE(read.block().now, before);
    expected.block().count = 2;
    for (std::size_t index = 0; index < 2; ++index) {
        AffinityEntry &entry = expected.entry(index);
        entry.clientAddress = address(index == 0 ? "10.7.0.1" : "10.7.0.2").word; // network byte order
        entry.serverAddress = address(index == 0 ? "10.3.0.1" : "10.3.0.2").word;
        entry.serverKey = index == 0 ? 1 : 2;
        entry.firstTime = entry.stamp = bind.entry(index).firstTime;
    }
    expectReply(expected, read);
}

TEST_F(Affinities, areOnlyCountedWithoutDetails) {
    direct(kBind, "10.7.0.1");
    AffinityBlock read = readAffinities(false);
    AffinityBlock expected = emptyReply(read);
    expected.block().count = 1;
    expectReply(expected, read);
}

TEST_F(Affinities, noneIsAnEmptyReply) {
    AffinityBlock read = readAffinities();
    AffinityBlock expected = emptyReply(read);
    expectReply(expected, read);
}

TEST_F(Affinities, tellTheClientMaskOfTheirPort) {
    struct Case {
        int32_t bits;
        uint32_t mask;
    };
    for (const Case &item :
         std::initializer_list<Case>{{0, 0}, {1, 0x80000000}, {24, 0xFFFFFF00}, {31, 0xFFFFFFFE}, {32, 0xFFFFFFFF}}) {
        PortRecord write = portRequest(Command::writePortSettings);
        write.setStickyBits = 1;
        write.stickyBits = item.bits;
        ASSERT_EQ(rk::send(write), 0);
        EXPECT_EQ(readAffinities().block().clientMask, item.mask);
        AffinityBlock directed = directedRequest(kRead, 0);
        ASSERT_EQ(send(directed), 0);
        EXPECT_EQ(directed.block().clientMask, item.mask);
    }
}

TEST_F(Affinities, countTheConnectionsToTheirServer) {
    direct(kBind, "10.7.0.1");
    direct(kBind, "10.7.0.3", "10.3.0.2", 2);
    ASSERT_EQ(addConnection("10.7.0.1", 0), 0);
    ASSERT_EQ(addConnection("10.7.0.1", 65535), 0);
    ASSERT_EQ(addConnection("10.7.0.0", 65535), 0); // neighbours
    ASSERT_EQ(addConnection("10.7.0.2", 0), 0);
    ASSERT_EQ(addConnection("10.7.0.3", 1), 0); // to another server
    AffinityBlock read = readAffinities();
    EXPECT_EQ(read.entry(0).activeConnections, 2U);
    EXPECT_EQ(read.entry(1).activeConnections, 0U);
    EXPECT_EQ(direct(kRead, "10.7.0.1").entry.activeConnections, 2U);
}

TEST_F(Affinities, areBoundAnewWithTheirPlaceKept) {
    direct(kBind, "10.7.0.1");
    direct(kBind, "10.7.0.2");
    EXPECT_EQ(direct(kBind, "10.7.0.1", "10.3.0.2", 2).response, 0);
    EXPECT_EQ(bindings(), (Texts{"10.7.0.1 10.3.0.2", "10.7.0.2 10.3.0.1"}));
    EXPECT_EQ(direct(kRelease, "10.7.0.1").response, 0);
    EXPECT_EQ(bindings(), Texts{"10.7.0.2 10.3.0.1"});
}

TEST_F(Affinities, areReleased) {
    direct(kBind, "10.7.0.1");
    direct(kBind, "10.7.0.2");
    const Outcome released = direct(kRelease, "10.7.0.1");
    EXPECT_EQ(released.response, 0);
    EXPECT_EQ(released.entry.stamp, 0U);
    EXPECT_EQ(released.entry.clientAddress, word("10.7.0.1"));
    EXPECT_EQ(bindings(), Texts{"10.7.0.2 10.3.0.1"});
    const Outcome again = direct(kRelease, "10.7.0.1");
    EXPECT_EQ(again.response, kUnknownAffinity);
    EXPECT_EQ(again.entry.stamp, static_cast<uint32_t>(kUnknownAffinity));
}

TEST_F(Affinities, areReadByClient) {
    direct(kBind, "10.7.0.1", "10.3.0.2", 2);
    const Outcome found = direct(kRead, "10.7.0.1", "0.0.0.0", 0);
    EXPECT_EQ(found.response, 0);
    EXPECT_EQ(found.entry.serverAddress, word("10.3.0.2"));
    EXPECT_EQ(found.entry.serverKey, 2U);
    EXPECT_LE(found.entry.stamp, 60U); // an age, not a time
    const Outcome missing = direct(kRead, "10.7.0.2");
    EXPECT_EQ(missing.response, kUnknownAffinity);
    EXPECT_EQ(missing.entry.stamp, static_cast<uint32_t>(kUnknownAffinity));
    EXPECT_EQ(missing.entry.firstTime, 0U);
    EXPECT_EQ(missing.entry.activeConnections, 0U);
}

TEST_F(Affinities, areReadAllWithoutClients) {
    direct(kBind, "10.7.0.2");
    direct(kBind, "10.7.0.1", "10.3.0.2", 2);
    AffinityBlock block = directedRequest(kRead, 0);
    ASSERT_EQ(send(block), 0);
    AffinityBlock expected = emptyReply(block);
    expected.block().command = kRead;
    expected.block().count = 2;
    setEntry(expected.entry(0), "10.7.0.2", "10.3.0.1", 1);
    setEntry(expected.entry(1), "10.7.0.1", "10.3.0.2", 2);
    for (std::size_t index = 0; index < 2; ++index) {
        const AffinityEntry &entry = block.entry(index);
        EXPECT_EQ(entry.stamp, block.block().now - entry.firstTime); // the age
        expected.entry(index).firstTime = entry.firstTime;
        expected.entry(index).stamp = entry.stamp;
    }
    expectReply(expected, block);
}

TEST_F(Affinities, eachEntryStandsForItself) {
    AffinityBlock block = directedRequest(kBind, 5);
    setEntry(block.entry(0), "10.7.0.1", "10.3.0.1", 1);
    setEntry(block.entry(1), "10.7.0.2", "10.3.0.9", 9);
    setEntry(block.entry(2), "0.0.0.0", "10.3.0.1", 1);
    setEntry(block.entry(3), "224.0.0.1", "10.3.0.1", 1);
    setEntry(block.entry(4), "10.7.0.3", "10.3.0.1", 1);
    ASSERT_EQ(send(block), 0);
    EXPECT_EQ(block.block().response, kUnknownServer); // the first one's
    std::vector<int32_t> responses;
    responses.reserve(5);
    for (std::size_t index = 0; index < 5; ++index)
        responses.push_back(static_cast<int32_t>(block.entry(index).stamp));
    EXPECT_EQ(responses, (std::vector<int32_t>{0, kUnknownServer, kOutOfRange, kOutOfRange, 0}));
    EXPECT_EQ(bindings(), (Texts{"10.7.0.1 10.3.0.1", "10.7.0.3 10.3.0.1"}));
}

TEST_F(Affinities, nothingIsDoneWithoutEntries) {
    direct(kBind, "10.7.0.1");
    for (const int32_t command : {kBind, kRelease}) {
        AffinityBlock block = directedRequest(command, 0);
        ASSERT_EQ(send(block), 0);
        AffinityBlock expected = emptyReply(block);
        expected.block().command = command;
        expectReply(expected, block);
    }
    EXPECT_EQ(bindings(), Texts{"10.7.0.1 10.3.0.1"});
}

TEST_F(Affinities, areRefusedWhereTheyCannotBe) {
    for (const int32_t command : {-1, 0, 4, 2147483647}) {
        AffinityBlock block = directedRequest(command, 0);
        EXPECT_EQ(send(block), kOutOfRange) << command;
    }
    for (const Command command : {Command::serverDirectedAffinity, Command::readAffinities}) {
        AffinityBlock block = affinityRequest(command, 0);
        block.block().command = kRead;
        block.block().clusterAddress = 0x01020304;
        EXPECT_EQ(send(block), kUnknownCluster);
    }
    AffinityBlock otherPort = directedRequest(kRead, 0);
    otherPort.block().port = port(81);
    EXPECT_EQ(send(otherPort), kUnknownPort);
    otherPort = affinityRequest(Command::readAffinities);
    otherPort.block().port = port(81);
    EXPECT_EQ(send(otherPort), kUnknownPort);
}

TEST_F(Affinities, goWithTheirServer) {
    direct(kBind, "10.7.0.1");
    direct(kBind, "10.7.0.2", "10.3.0.2", 2);
    direct(kBind, "10.7.0.3");
    ServerRecord removal = serverRequest(Command::removeServer, 1);
    ASSERT_EQ(rk::send(removal), 0);
    EXPECT_EQ(bindings(), Texts{"10.7.0.2 10.3.0.2"});
    EXPECT_EQ(direct(kRead, "10.7.0.1").response, kUnknownAffinity);
    EXPECT_EQ(direct(kBind, "10.7.0.1").response, kUnknownServer);
}

TEST_F(Affinities, goWithTheirPort) {
    direct(kBind, "10.7.0.1");
    PortRecord removal = portRequest(Command::removePort);
    ASSERT_EQ(rk::send(removal), 0);
    addTestPort();
    EXPECT_EQ(bindings(), Texts{});
}

TEST_F(Affinities, travelUpTo3000AtOnce) {
    AffinityBlock block = directedRequest(kBind, 3000);
    for (uint32_t index = 0; index < 3000; ++index)
        block.entry(index) = {word("10.8.0.1") + index, word("10.3.0.1"), 1, 0, {}, 0, {}, 0, 0};
    ASSERT_EQ(send(block), 0);
    EXPECT_EQ(block.block().response, 0);
    for (uint32_t index = 0; index < 3000; ++index)
        ASSERT_EQ(block.entry(index).stamp, 0U);

    // As many as fit; the number that there are for those who only ask for it.
    AffinityBlock read = readAffinities();
    EXPECT_EQ(read.block().count, 1999U);
    EXPECT_EQ(readAffinities(false).block().count, 3000U);
    EXPECT_EQ(read.entry(1998).clientAddress, htonl(word("10.8.0.1") + 1998));
    AffinityBlock all = directedRequest(kRead, 0);
    ASSERT_EQ(send(all), 0);
    EXPECT_EQ(all.block().count, 1999U);
    EXPECT_EQ(all.entry(1998).clientAddress, word("10.8.0.1") + 1998);

    AffinityBlock some = directedRequest(kRead, 2500);
    for (uint32_t index = 0; index < 2500; ++index)
        some.entry(index).clientAddress = word("10.8.0.1") + 2999 - index;
    ASSERT_EQ(send(some), 0);
    EXPECT_EQ(some.block().response, 0);
    EXPECT_EQ(some.block().count, 2500U);
    EXPECT_EQ(some.entry(2499).serverAddress, word("10.3.0.1"));
}

} // namespace
} // namespace rk
