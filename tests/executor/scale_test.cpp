// A port with many servers. What needs more than a step or two a server would take minutes here.
#include "executor_client.h"

namespace rk {
namespace {

constexpr int32_t kServers = 50000;

// Keys in no order, as hashes are, and each once: the multiplier is odd.
uint32_t keyOf(int32_t index) {
    return static_cast<uint32_t>(index) * 2654435761U;
}

class Scale : public ExecutorTest {
protected:
    void SetUp() override {
        ExecutorTest::SetUp();
        addTestCluster();
        PortRecord record = portRequest(Command::addPort);
        record.setMaxServers = 1;
        record.maxServers = kServers;
        ASSERT_EQ(send(record), 0);
        for (int32_t index = 0; index < kServers; ++index)
            addTestServer(keyOf(index), std::to_string(index).c_str());
    }
};

TEST_F(Scale, manyServersAreListedWeightedReportedAndRemoved) {
    ServerListRequest list = serverListRequest(kServers);
    ASSERT_EQ(send(list), 0);
    ASSERT_EQ(list.block().count, kServers);
    WeightsRequest write = weightsRequest(Command::writeServerWeights, kServers);
    for (int32_t index = 0; index < kServers; ++index) {
        const auto at = static_cast<std::size_t>(index);
        ASSERT_EQ(list.entry(at).serverId, std::to_string(index));
        ASSERT_EQ(list.entry(at).serverKey, keyOf(index));
        write.entry(at) = {};
        write.entry(at).serverKey = keyOf(index);
        write.entry(at).weight = static_cast<int16_t>(index % 20);
        write.entry(at).result = -1;
    }
    ASSERT_EQ(send(write), 0);
    WeightsRequest read = weightsRequest(Command::readServerWeights, kServers);
    ASSERT_EQ(send(read), 0);
    for (int32_t index = 0; index < kServers; ++index) {
        const auto at = static_cast<std::size_t>(index);
        ASSERT_EQ(write.entry(at).result, 0);
        ASSERT_EQ(read.entry(at).result, 0);
        ASSERT_EQ(read.entry(at).weight, index % 20);
    }
    EXPECT_EQ(portReport().numberOfServers, kServers);
    EXPECT_EQ(portReport().highestWeight, 19);

    for (int32_t index = 0; index < kServers; ++index) {
        ServerRecord record = serverRequest(Command::removeServer, keyOf(index));
        ASSERT_EQ(send(record), 0);
    }
    EXPECT_EQ(portReport().numberOfServers, 0);
}

} // namespace
} // namespace rk
