// Affinity records, and server-directed affinity. In the records of the latter, addresses are in host byte order.
#include "executor_client.h"

#include <algorithm>
#include <ctime>

namespace rk {
namespace {

constexpr int32_t kBind = 1;
constexpr int32_t kRelease = 2;
constexpr int32_t kRead = 3;

uint32_t word(const char *dottedAddress) {
    return ntohl(address(dottedAddress).word);
}

// A block of its own length, with stale bytes where a client writes nothing.
struct AffinityBlock {
    std::vector<uint8_t> bytes;

    AffinityRecord &record() {
        return *reinterpret_cast<AffinityRecord *>(bytes.data());
    }
};

int32_t send(AffinityBlock &block) {
    return sendBytes(block.bytes.data(), block.bytes.size());
}

AffinityBlock affinityBlock(Command command, uint32_t count) {
    const std::size_t room = std::max<std::size_t>(count, 1999);
    AffinityBlock block{std::vector<uint8_t>(48 + 32 * room, kStaleByte)};
    block.record().header.command = command;
    block.record().header.length = static_cast<uint32_t>(block.bytes.size());
    block.record().port = port(kPort);
    block.record().count = count;
    return block;
}

AffinityBlock directedRequest(int32_t command, uint32_t count) {
    AffinityBlock block = affinityBlock(Command::serverDirectedAffinity, count);
    block.record().command = command;
    block.record().clusterAddress = word("10.1.0.1");
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
    setEntry(block.record().entries[0], client, server, serverKey);
    EXPECT_EQ(send(block), 0);
    EXPECT_EQ(block.record().count, 1U);
    return {block.record().entries[0], block.record().response};
}

AffinityBlock readAffinities(bool isDetailed = true) {
    AffinityBlock block = affinityBlock(Command::readAffinities, 0);
    block.record().clusterAddress = address("10.1.0.1").word;
    block.record().count = isDetailed ? 1 : 0;
    EXPECT_EQ(send(block), 0);
    return block;
}

// Client and server of each record that a detailed reply tells of.
std::vector<std::string> bindings() {
    AffinityBlock block = readAffinities();
    std::vector<std::string> texts;
    for (uint32_t index = 0; index < block.record().count; ++index) {
        const AffinityEntry &entry = block.record().entries[index];
        texts.push_back(dotted({entry.clientAddress}) + " " + dotted({entry.serverAddress}));
    }
    return texts;
}

// The reply that a block is to become, all zero but for what the client sent to name the port.
AffinityBlock emptyReply(AffinityBlock &actual) {
    AffinityBlock expected{std::vector<uint8_t>(actual.bytes.size(), 0)};
    expected.record().header = actual.record().header;
    expected.record().header.result = expected.record().header.reason = 0;
    expected.record().clusterAddress = actual.record().clusterAddress;
    expected.record().port = port(kPort);
    expected.record().now = actual.record().now;
    expected.record().clientMask = 0xFFFFFFFF;
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
    setEntry(bind.record().entries[0], "10.7.0.1", "10.3.0.1", 1);
    setEntry(bind.record().entries[1], "10.7.0.2", "10.3.0.2", 2);
    ASSERT_EQ(send(bind), 0);
    const auto after = static_cast<uint32_t>(std::time(nullptr));

    AffinityBlock expectedBind = emptyReply(bind);
    expectedBind.record().command = kBind;
    expectedBind.record().count = 2;
    setEntry(expectedBind.record().entries[0], "10.7.0.1", "10.3.0.1", 1);
    setEntry(expectedBind.record().entries[1], "10.7.0.2", "10.3.0.2", 2);
    EXPECT_GE(bind.record().now, before);
    EXPECT_LE(bind.record().now, after);
    for (int index = 0; index < 2; ++index) {
        EXPECT_GE(bind.record().entries[index].firstTime, before);
        EXPECT_LE(bind.record().entries[index].firstTime, after);
        expectedBind.record().entries[index].firstTime = bind.record().entries[index].firstTime;
    }
    expectReply(expectedBind, bind);

    AffinityBlock read = readAffinities();
    AffinityBlock expected = emptyReply(read);
    EXPECT_GE(read.record().now, before);
    expected.record().count = 2;
    for (int index = 0; index < 2; ++index) {
        AffinityEntry &entry = expected.record().entries[index];
        entry.clientAddress = address(index == 0 ? "10.7.0.1" : "10.7.0.2").word; // network byte order
        entry.serverAddress = address(index == 0 ? "10.3.0.1" : "10.3.0.2").word;
        entry.serverKey = index == 0 ? 1 : 2;
        entry.firstTime = entry.stamp = bind.record().entries[index].firstTime;
    }
    expectReply(expected, read);
}

TEST_F(Affinities, areOnlyCountedWithoutDetails) {
    direct(kBind, "10.7.0.1");
    AffinityBlock read = readAffinities(false);
    AffinityBlock expected = emptyReply(read);
    expected.record().count = 1;
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
        EXPECT_EQ(readAffinities().record().clientMask, item.mask);
        AffinityBlock directed = directedRequest(kRead, 0);
        ASSERT_EQ(send(directed), 0);
        EXPECT_EQ(directed.record().clientMask, item.mask);
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
    EXPECT_EQ(read.record().entries[0].activeConnections, 2U);
    EXPECT_EQ(read.record().entries[1].activeConnections, 0U);
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
    expected.record().command = kRead;
    expected.record().count = 2;
    setEntry(expected.record().entries[0], "10.7.0.2", "10.3.0.1", 1);
    setEntry(expected.record().entries[1], "10.7.0.1", "10.3.0.2", 2);
    for (int index = 0; index < 2; ++index) {
        const AffinityEntry &entry = block.record().entries[index];
        EXPECT_EQ(entry.stamp, block.record().now - entry.firstTime); // the age
        expected.record().entries[index].firstTime = entry.firstTime;
        expected.record().entries[index].stamp = entry.stamp;
    }
    expectReply(expected, block);
}

TEST_F(Affinities, eachEntryStandsForItself) {
    AffinityBlock block = directedRequest(kBind, 5);
    setEntry(block.record().entries[0], "10.7.0.1", "10.3.0.1", 1);
    setEntry(block.record().entries[1], "10.7.0.2", "10.3.0.9", 9);
    setEntry(block.record().entries[2], "0.0.0.0", "10.3.0.1", 1);
    setEntry(block.record().entries[3], "224.0.0.1", "10.3.0.1", 1);
    setEntry(block.record().entries[4], "10.7.0.3", "10.3.0.1", 1);
    ASSERT_EQ(send(block), 0);
    EXPECT_EQ(block.record().response, kUnknownServer); // the first one's
    std::vector<int32_t> responses;
    responses.reserve(5);
    for (int index = 0; index < 5; ++index)
        responses.push_back(static_cast<int32_t>(block.record().entries[index].stamp));
    EXPECT_EQ(responses, (std::vector<int32_t>{0, kUnknownServer, kOutOfRange, kOutOfRange, 0}));
    EXPECT_EQ(bindings(), (Texts{"10.7.0.1 10.3.0.1", "10.7.0.3 10.3.0.1"}));
}

TEST_F(Affinities, nothingIsDoneWithoutEntries) {
    direct(kBind, "10.7.0.1");
    for (const int32_t command : {kBind, kRelease}) {
        AffinityBlock block = directedRequest(command, 0);
        ASSERT_EQ(send(block), 0);
        AffinityBlock expected = emptyReply(block);
        expected.record().command = command;
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
        AffinityBlock block = affinityBlock(command, 0);
        block.record().command = kRead;
        block.record().clusterAddress = 0x01020304;
        EXPECT_EQ(send(block), kUnknownCluster);
    }
    AffinityBlock otherPort = directedRequest(kRead, 0);
    otherPort.record().port = port(81);
    EXPECT_EQ(send(otherPort), kUnknownPort);
    otherPort = affinityBlock(Command::readAffinities, 0);
    otherPort.record().clusterAddress = address("10.1.0.1").word;
    otherPort.record().port = port(81);
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
        block.record().entries[index] = {word("10.8.0.1") + index, word("10.3.0.1"), 1, 0, {}, 0, {}, 0, 0};
    ASSERT_EQ(send(block), 0);
    EXPECT_EQ(block.record().response, 0);
    for (uint32_t index = 0; index < 3000; ++index)
        ASSERT_EQ(block.record().entries[index].stamp, 0U);

    // As many as fit, and the number that there are.
    AffinityBlock read = readAffinities();
    EXPECT_EQ(read.record().count, 3000U);
    EXPECT_EQ(read.record().entries[1998].clientAddress, htonl(word("10.8.0.1") + 1998));
    AffinityBlock all = directedRequest(kRead, 0);
    ASSERT_EQ(send(all), 0);
    EXPECT_EQ(all.record().count, 3000U);
    EXPECT_EQ(all.record().entries[1998].clientAddress, word("10.8.0.1") + 1998);

    AffinityBlock some = directedRequest(kRead, 2500);
    for (uint32_t index = 0; index < 2500; ++index)
        some.record().entries[index].clientAddress = word("10.8.0.1") + 2999 - index;
    ASSERT_EQ(send(some), 0);
    EXPECT_EQ(some.record().response, 0);
    EXPECT_EQ(some.record().count, 2500U);
    EXPECT_EQ(some.record().entries[2499].serverAddress, word("10.3.0.1"));
}

} // namespace
} // namespace rk
