// The weights of the servers of a port, in bulk.
#include "executor_client.h"

namespace rk {
namespace {

// A weight for `serverKey`, with no mark.
void setEntry(ServerWeightEntry &entry, uint32_t serverKey, int16_t weight) {
    entry.serverKey = serverKey;
    entry.weight = weight;
    entry.fixedWeight = 0;
    entry.quiescedDown = 0;
}

// The weight that a bulk change of one server leaves, which is to be accepted.
int16_t weightAfter(int16_t weight, int8_t fixedWeight) {
    WeightsRequest write = weightsRequest(Command::writeServerWeights, 1);
    setEntry(write.entry(0), 1, weight);
    write.entry(0).fixedWeight = fixedWeight;
    EXPECT_EQ(send(write), 0);
    EXPECT_EQ(write.entry(0).result, 0);
    EXPECT_EQ(serverSettings(1).fixedWeight, fixedWeight);
    return serverSettings(1).weight;
}

class WeightCommands : public ExecutorTest {
protected:
    void SetUp() override {
        ExecutorTest::SetUp();
        addTestCluster();
        addTestPort();
        addTestServer(1, "10.3.0.1");
        addTestServer(2, "two");
        addTestServer(3, "10.3.0.3");
    }
};

TEST_F(WeightCommands, aReadTellsTheServersInOrder) {
    ServerRecord write = serverRequest(Command::writeServerSettings, 3);
    write.setListeners = write.setWeight = write.setFixedWeight = write.setQuiesced = 1;
    write.numberOfListeners = 1;
    write.listeners[0] = {};
    write.listeners[0].address = address("10.4.0.3");
    write.weight = 0;
    write.fixedWeight = 1;
    write.quiesced = 1;
    ASSERT_EQ(send(write), 0);

    WeightsRequest read = weightsRequest(Command::readServerWeights, 3);
    WeightsRequest expected = emptyReply(read, 3);
    expected.entry(0).serverKey = 1;
    setText(expected.entry(0).serverId, "10.3.0.1");
    expected.entry(0).address = address("10.3.0.1"); // the identifier is an address
    expected.entry(0).weight = 10;
    expected.entry(1).serverKey = 2;
    setText(expected.entry(1).serverId, "two");
    expected.entry(1).weight = 10;
    expected.entry(2).serverKey = 3;
    setText(expected.entry(2).serverId, "10.3.0.3");
    expected.entry(2).address = address("10.4.0.3"); // the listener comes first
    expected.entry(2).fixedWeight = 1;
    expected.entry(2).quiescedDown = 1;
    ASSERT_EQ(send(read), 0);
    expectSameBytes(expected.bytes.data(), read.bytes.data(), read.bytes.size());
}

TEST_F(WeightCommands, aReadFillsTheRoomThatThereIs) {
    WeightsRequest none = weightsRequest(Command::readServerWeights, 0);
    ASSERT_EQ(send(none), 0);
    EXPECT_EQ(none.block().count, 0);

    WeightsRequest less = weightsRequest(Command::readServerWeights, 2);
    ASSERT_EQ(send(less), 0);
    EXPECT_EQ(less.block().count, 2);
    EXPECT_EQ(less.entry(1).serverKey, 2U);

    WeightsRequest more = weightsRequest(Command::readServerWeights, 5);
    ASSERT_EQ(send(more), 0);
    EXPECT_EQ(more.block().count, 3);
    EXPECT_EQ(more.entry(2).result, 0);
    ServerWeightEntry missing{};
    missing.result = kUnknownServer;
    expectSameBytes(&missing, &more.entry(3), sizeof missing);
    expectSameBytes(&missing, &more.entry(4), sizeof missing);
}

TEST_F(WeightCommands, aChangeHasAResultForEachServer) {
    WeightsRequest write = weightsRequest(Command::writeServerWeights, 6);
    setEntry(write.entry(0), 3, 20);
    setEntry(write.entry(1), 99, 5);
    setEntry(write.entry(2), 2, 21);
    setEntry(write.entry(3), 2, -1);
    setEntry(write.entry(4), 1, 0);
    setEntry(write.entry(5), 1, 4); // the later one counts
    WeightsRequest expected = write;
    expected.block().header.result = expected.block().header.reason = 0;
    const int32_t results[] = {0, kUnknownServer, kWeight, kWeight, 0, 0};
    for (std::size_t index = 0; index < std::size(results); ++index)
        expected.entry(index).result = results[index];
    ASSERT_EQ(send(write), 0);
    expectSameBytes(expected.bytes.data(), write.bytes.data(), write.bytes.size());
    EXPECT_EQ(serverSettings(1).weight, 4);
    EXPECT_EQ(serverSettings(2).weight, 10);
    EXPECT_EQ(serverSettings(3).weight, 20);
}

TEST_F(WeightCommands, aFixedWeightStaysUntilItIsReleased) {
    EXPECT_EQ(weightAfter(4, 1), 4); // the request that fixes the weight brings it
    EXPECT_EQ(weightAfter(6, 1), 4);
    EXPECT_EQ(weightAfter(7, 0), 7);
    EXPECT_EQ(weightAfter(8, 0), 8);
    EXPECT_EQ(weightAfter(9, -1), 9); // any mark but 0
    EXPECT_EQ(weightAfter(3, 1), 9);
}

TEST_F(WeightCommands, aWeightOutOfBoundIsToldOfAFixedWeightToo) {
    EXPECT_EQ(weightAfter(4, 1), 4);
    WeightsRequest write = weightsRequest(Command::writeServerWeights, 1);
    setEntry(write.entry(0), 1, 21);
    write.entry(0).quiescedDown = 1;
    ASSERT_EQ(send(write), 0);
    EXPECT_EQ(write.entry(0).result, kWeight);
    EXPECT_EQ(serverSettings(1).fixedWeight, 1); // nothing of the entry is applied
    EXPECT_EQ(serverSettings(1).quiesced, 0);
}

TEST_F(WeightCommands, onlyAOneQuiesces) {
    WeightsRequest write = weightsRequest(Command::writeServerWeights, 2);
    setEntry(write.entry(0), 1, 5);
    write.entry(0).quiescedDown = 1;
    setEntry(write.entry(1), 2, 5);
    write.entry(1).quiescedDown = 2;
    ASSERT_EQ(send(write), 0);
    EXPECT_EQ(serverSettings(1).quiesced, 1);
    EXPECT_EQ(serverSettings(2).quiesced, 0);
    write.entry(0).quiescedDown = 0;
    ASSERT_EQ(send(write), 0);
    EXPECT_EQ(serverSettings(1).quiesced, 1); // only a change of its settings ends it
}

TEST_F(WeightCommands, aWeightForAServerThatIsDownWaits) {
    ServerCommandRecord down = serverCommand(Command::markServerDown, 1);
    ASSERT_EQ(send(down), 0);
    EXPECT_EQ(weightAfter(6, 0), 0);
    ServerCommandRecord up = serverCommand(Command::markServerUp, 1);
    ASSERT_EQ(send(up), 0);
    EXPECT_EQ(serverSettings(1).weight, 6);
}

TEST_F(WeightCommands, anUnknownClusterOrPortIsTheResultOfEachEntry) {
    WeightsRequest write = weightsRequest(Command::writeServerWeights, 2);
    setEntry(write.entry(0), 1, 5);
    setEntry(write.entry(1), 2, 5);
    write.block().port = port(kPort + 1);
    EXPECT_EQ(send(write), kUnknownPort);
    EXPECT_EQ(write.entry(0).result, kUnknownPort);
    EXPECT_EQ(write.entry(1).result, kUnknownPort);
    write.block().clusterKey = kCluster + 1;
    EXPECT_EQ(send(write), kUnknownCluster);
    EXPECT_EQ(write.entry(1).result, kUnknownCluster);
    EXPECT_EQ(serverSettings(1).weight, 10);

    WeightsRequest read = weightsRequest(Command::readServerWeights, 1);
    read.block().port = port(kPort + 1);
    EXPECT_EQ(send(read), kUnknownPort);
    read.block().clusterKey = kCluster + 1;
    EXPECT_EQ(send(read), kUnknownCluster);
}

} // namespace
} // namespace rk
