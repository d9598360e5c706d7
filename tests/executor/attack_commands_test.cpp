// Attack protection and the ICMP response record.
#include "executor_client.h"

namespace rk {
namespace {

using SharedBlockOwner = std::unique_ptr<SharedBlock>;

SharedBlockOwner halfOpen() {
    auto block = std::make_unique<SharedBlock>(request<SharedBlock>(Command::readHalfOpenConnections));
    EXPECT_EQ(send(*block), 0);
    return block;
}

SharedBlockOwner attackingRequest(const char *clusterAddress = "10.1.0.1", int portNumber = kPort) {
    auto block = std::make_unique<SharedBlock>(request<SharedBlock>(Command::readAttackingAddresses));
    block->attacking.address = address(clusterAddress);
    block->attacking.port = port(portNumber);
    return block;
}

SharedBlockOwner attacking() {
    SharedBlockOwner block = attackingRequest();
    EXPECT_EQ(send(*block), 0);
    return block;
}

std::vector<std::string> describeHalfOpen(const SharedBlock &block) {
    std::vector<std::string> texts;
    for (int index = 0; index < block.halfOpen.count; ++index) {
        const HalfOpenEntry &entry = block.halfOpen.entries[index];
        texts.push_back(dotted(entry.clientAddress) + ":" + std::to_string(ntohs(entry.clientPort.word)) + " " +
                        std::to_string(entry.flag));
    }
    return texts;
}

int32_t setFirstParameter(uint32_t value) {
    auto record = request<AttackProtectionRecord>(Command::setAttackProtection);
    for (uint32_t &parameter : record.parameters)
        parameter = 0;
    record.parameters[0] = value;
    return send(record);
}

using Texts = std::vector<std::string>;

class AttackProtection : public ExecutorTest {
protected:
    void SetUp() override {
        ExecutorTest::SetUp();
        addTestCluster();
        addTestPort();
    }
};

TEST_F(AttackProtection, withoutHalfOpenConnectionsThereIsNothing) {
    ASSERT_EQ(addConnection("10.7.0.1", 1, 0xFE), 0);
    expectReply(*std::make_unique<SharedBlock>(emptyRecord<SharedBlock>(Command::readHalfOpenConnections)),
                *halfOpen());
    auto expected = std::make_unique<SharedBlock>(emptyRecord<SharedBlock>(Command::readAttackingAddresses));
    expected->attacking.address = address("10.1.0.1");
    expected->attacking.port = port(kPort);
    expectReply(*expected, *attacking());
}

TEST_F(AttackProtection, halfOpenConnectionsAreListedAndCounted) {
    ASSERT_EQ(addConnection("10.7.0.2", 3, kHalfOpenState), 0);
    ASSERT_EQ(addConnection("10.7.0.1", 5, kHalfOpenState), 0);
    ASSERT_EQ(addConnection("10.7.0.1", 4, 0xFF), 0);
    ASSERT_EQ(addConnection("10.7.0.1", 6), 0);
    auto list = std::make_unique<SharedBlock>(emptyRecord<SharedBlock>(Command::readHalfOpenConnections));
    list->halfOpen.count = 3;
    list->halfOpen.entries[0] = {address("10.7.0.1"), {}, port(4), 1, {}};
    list->halfOpen.entries[1] = {address("10.7.0.1"), {}, port(5), 1, {}};
    list->halfOpen.entries[2] = {address("10.7.0.2"), {}, port(3), 1, {}};
    expectReply(*list, *halfOpen());

    auto addresses = std::make_unique<SharedBlock>(emptyRecord<SharedBlock>(Command::readAttackingAddresses));
    addresses->attacking.address = address("10.1.0.1");
    addresses->attacking.port = port(kPort);
    addresses->attacking.count = 2;
    addresses->attacking.summary = 3; // half-open connections to the port
    addresses->attacking.entries[0] = {address("10.7.0.1"), 2};
    addresses->attacking.entries[1] = {address("10.7.0.2"), 1};
    expectReply(*addresses, *attacking());
}

TEST_F(AttackProtection, theFirstParameterIsTheThreshold) {
    ASSERT_EQ(addConnection("10.7.0.1", 1, kHalfOpenState), 0);
    ASSERT_EQ(addConnection("10.7.0.2", 1, kHalfOpenState), 0);
    ASSERT_EQ(addConnection("10.7.0.2", 2, kHalfOpenState), 0);
    for (const uint32_t everyone : {0U, 1U}) {
        ASSERT_EQ(setFirstParameter(everyone), 0);
        EXPECT_EQ(attacking()->attacking.count, 2);
        EXPECT_EQ(describeHalfOpen(*halfOpen()), (Texts{"10.7.0.1:1 1", "10.7.0.2:1 1", "10.7.0.2:2 1"}));
    }
    ASSERT_EQ(setFirstParameter(2), 0);
    const SharedBlockOwner block = attacking();
    EXPECT_EQ(block->attacking.count, 1);
    EXPECT_EQ(block->attacking.summary, 3);
    EXPECT_EQ(dotted(block->attacking.entries[0].address), "10.7.0.2");
    EXPECT_EQ(describeHalfOpen(*halfOpen()), (Texts{"10.7.0.1:1 0", "10.7.0.2:1 1", "10.7.0.2:2 1"}));
    ASSERT_EQ(setFirstParameter(65535), 0);
    EXPECT_EQ(attacking()->attacking.count, 0);
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0); // a start begins without parameters
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    addTestCluster();
    addTestPort();
    ASSERT_EQ(addConnection("10.7.0.1", 1, kHalfOpenState), 0);
    EXPECT_EQ(attacking()->attacking.count, 1);
}

TEST_F(AttackProtection, aParameterOutOfRangeIsRefusedWithTheOthers) {
    ASSERT_EQ(addConnection("10.7.0.1", 1, kHalfOpenState), 0);
    for (int index = 0; index < 8; ++index) {
        auto record = request<AttackProtectionRecord>(Command::setAttackProtection);
        for (uint32_t &parameter : record.parameters)
            parameter = 65535;
        record.parameters[index] = 65536;
        EXPECT_EQ(send(record), kOutOfRange) << index;
        record.parameters[index] = 0xFFFFFFFF;
        EXPECT_EQ(send(record), kOutOfRange) << index;
    }
    EXPECT_EQ(attacking()->attacking.count, 1); // the threshold is not 65535
}

TEST_F(AttackProtection, halfOpenConnectionsOfAllPortsAreListedAndThoseOfOneAsked) {
    addTestPort(443);
    ASSERT_EQ(addConnection("10.7.0.2", 1, kHalfOpenState), 0);
    ConnectionRequestRecord record = connectionRequest(Command::allocateConnection, "10.7.0.1", 2, kHalfOpenState);
    record.fifth = port(443);
    ASSERT_EQ(send(record), 0);
    EXPECT_EQ(describeHalfOpen(*halfOpen()), (Texts{"10.7.0.2:1 1", "10.7.0.1:2 1"}));
    const SharedBlockOwner block = attackingRequest("10.1.0.1", 443);
    ASSERT_EQ(send(*block), 0);
    EXPECT_EQ(block->attacking.count, 1);
    EXPECT_EQ(dotted(block->attacking.entries[0].address), "10.7.0.1");
}

TEST_F(AttackProtection, anUnknownPortIsRefused) {
    EXPECT_EQ(send(*attackingRequest("10.1.0.2")), kUnknownCluster);
    EXPECT_EQ(send(*attackingRequest("0.0.0.0")), kUnknownCluster);
    EXPECT_EQ(send(*attackingRequest("10.1.0.1", 81)), kUnknownPort);
}

TEST_F(AttackProtection, halfOpenConnectionsAreCountedAsFarAsAReplyHoldsThem) {
    for (int32_t number = 1; number <= 5333; ++number)
        ASSERT_EQ(addConnection("10.7.0.9", number, kHalfOpenState), 0);
    EXPECT_EQ(halfOpen()->halfOpen.count, 5333);
    ASSERT_EQ(addConnection("10.7.0.9", 5334, kHalfOpenState), 0);
    const SharedBlockOwner block = halfOpen();
    EXPECT_EQ(block->halfOpen.count, 5333);
    EXPECT_EQ(block->halfOpen.entries[5332].clientPort.word, port(5333).word);
    EXPECT_EQ(attacking()->attacking.entries[0].value, 5334);
}

TEST_F(AttackProtection, attackingAddressesAreCountedAsFarAsAReplyHoldsThem) {
    const auto addClients = [](uint32_t first, uint32_t last) {
        for (uint32_t client = first; client <= last; ++client) {
            ConnectionRequestRecord record =
                connectionRequest(Command::allocateConnection, "10.7.0.1", 1, kHalfOpenState);
            record.third = {htonl(0x0A080000 + client)};
            ASSERT_EQ(send(record), 0);
        }
    };
    addClients(1, 7996);
    EXPECT_EQ(attacking()->attacking.count, 7996);
    addClients(7997, 7997);
    const SharedBlockOwner block = attacking();
    EXPECT_EQ(block->attacking.count, 7996);
    EXPECT_EQ(block->attacking.summary, 7997);
    EXPECT_EQ(block->attacking.entries[7995].address.word, htonl(0x0A080000 + 7996));
    for (std::size_t at = sizeof(AttackingAddressesRecord); at < kWireBytes; ++at)
        EXPECT_EQ(block->bytes[at], 0) << at;
}

TEST(Icmp, theRecordIsGivenBackAsItWasWritten) {
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    auto read = request<IcmpRecord>(Command::readIcmp);
    ASSERT_EQ(send(read), 0);
    expectReply(emptyRecord<IcmpRecord>(Command::readIcmp), read);

    auto write = request<IcmpRecord>(Command::writeIcmp);
    write.gotResponse = -2;
    write.responseAddress = 0x7F000001;
    const IcmpRecord sent = write;
    ASSERT_EQ(send(write), 0);
    expectReply(sent, write);

    read = request<IcmpRecord>(Command::readIcmp);
    ASSERT_EQ(send(read), 0);
    IcmpRecord expected = sent;
    expected.header.command = Command::readIcmp;
    expectReply(expected, read);
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
}

} // namespace
} // namespace rk
