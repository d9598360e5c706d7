// Commands that run out of memory while an engine forwards, at every place where memory is obtained: of the executor,
// of the plan, of the engine. All is as it was.
#include "farm.h"
#include "harness/counted_memory.h"
#include "world.h"

namespace rk {
namespace {

using Request = std::vector<uint8_t>;

template <typename Record> Request bytesOf(const Record &record) {
    const auto *begin = reinterpret_cast<const uint8_t *>(&record);
    return {begin, begin + sizeof record};
}

CommandHeader &headerOf(Request &request) {
    return *reinterpret_cast<CommandHeader *>(request.data());
}

class ForwardingOutOfMemory : public testing::Test {
protected:
    void SetUp() override {
        begin(world);
    }

    // Performs a command with its first allocation failing, then its second and so on, until none is left to fail.
    void expectToBeWhole(const Request &request, int32_t outOfMemory) {
        for (int successes = 0;; ++successes) {
            ASSERT_LT(successes, 2000);
            Request copy = request;
            const std::string image = imageOf(world.state.executor);
            memory::hasFailed = false;
            memory::allocationsLeft = successes;
            performCommand(world.state, &headerOf(copy));
            memory::allocationsLeft = -1;
            expectInForce(world);
            const int32_t reason = headerOf(copy).reason;
            if (reason == 0 && !memory::hasFailed)
                return;
            ASSERT_EQ(reason, outOfMemory) << "after " << successes;
            ASSERT_TRUE(imageOf(world.state.executor) == image) << "after " << successes;
            ++failures;
        }
    }

    template <typename Record> void expectToBeWhole(const Record &record, int32_t outOfMemory) {
        failures = 0;
        expectToBeWhole(bytesOf(record), outOfMemory);
        EXPECT_GT(failures, 0);
    }

    World world;
    int failures = 0;
};

TEST_F(ForwardingOutOfMemory, leavesExecutorAndEngineAsTheyWere) {
    startFarm(world.state);
    ASSERT_EQ(perform(world.state, addPortRequest(443)), 0);
    expectToBeWhole(addPortRequest(80, kPortTypeTcpAndUdp), kPortOutOfMemory);
    expectToBeWhole(addServerRequest(80, 1, "10.2.0.11"), kServerOutOfMemory);
    expectToBeWhole(addServerRequest(80, 2, "10.2.0.12"), kServerOutOfMemory);
    ServerRecord longNamed = addServerRequest(80, 3, "a name too long to be kept in place");
    setListeners(longNamed, {{"10.2.0.13"}});
    expectToBeWhole(longNamed, kServerOutOfMemory);
    expectToBeWhole(addRuleRequest(80, "a rule of 20 letters", 0, 0, 0, 5), kRuleOutOfMemory);
    RuleMembershipRecord member = memberRequest(Command::addServerToRule, "a rule of 20 letters", 1);
    expectToBeWhole(member, kMembershipOutOfMemory);

    ServerRecord server = changeServerRequest(80, 1);
    setListeners(server, {{"10.2.0.99", 8080}});
    set(server.setReturnAddress, server.returnAddress, address("10.9.0.1"));
    expectToBeWhole(server, kServerOutOfMemory);
    PortRecord port80 = changePortRequest(80);
    set(port80.setCrossPort, port80.crossPort, port(443));
    set(port80.setType, port80.type, kPortTypeTcp);
    expectToBeWhole(port80, kPortOutOfMemory);
    RuleRecord rule = changeRuleRequest(80, "a rule of 20 letters");
    set(rule.setPriority, rule.priority, 9);
    expectToBeWhole(rule, kRuleOutOfMemory);
    ClusterRecord cluster{};
    cluster.header = {Command::writeClusterSettings, 0, 0, sizeof cluster};
    cluster.clusterKey = kCluster;
    set(cluster.setAddress, cluster.address, address("10.1.0.9"));
    expectToBeWhole(cluster, kClusterOutOfMemory);
    ExecutorSettingsRecord settings{};
    settings.header = {Command::writeExecutorSettings, 0, 0, sizeof settings};
    set(settings.setFinTimeout, settings.finTimeout.low, 5);
    expectToBeWhole(settings, kOutOfRange);
    expectToBeWhole(serverCommand(Command::markServerDown, 1), kServerOutOfMemory);

    member.header.command = Command::removeServerFromRule;
    expectToBeWhole(member, kMembershipOutOfMemory);
    rule.header.command = Command::removeRule;
    expectToBeWhole(rule, kRuleOutOfMemory);
    server.header.command = Command::removeServer;
    expectToBeWhole(server, kServerOutOfMemory);
    port80.header.command = Command::removePort;
    expectToBeWhole(port80, kPortOutOfMemory);
    cluster.header.command = Command::removeCluster;
    expectToBeWhole(cluster, kClusterOutOfMemory);
    EXPECT_EQ(world.fake.inForce, std::set<std::string>{});
}

TEST_F(ForwardingOutOfMemory, leavesTheWeightsAsTheyWere) {
    startFarm(world.state);
    ASSERT_EQ(perform(world.state, addPortRequest(80)), 0);
    ASSERT_EQ(perform(world.state, addServerRequest(80, 1, "10.2.0.11")), 0);
    ASSERT_EQ(perform(world.state, addServerRequest(80, 2, "10.2.0.12")), 0);
    WeightsRequest weights = weightsRequest(Command::writeServerWeights, 2);
    for (std::size_t index = 0; index < 2; ++index) {
        weights.entry(index) = {};
        weights.entry(index).serverKey = static_cast<uint32_t>(index) + 1;
        weights.entry(index).weight = 7;
    }
    expectToBeWhole(weights.bytes, kServerOutOfMemory);
    EXPECT_GT(failures, 0);
}

// An entry for which there is no memory is refused on its own; plan and engine follow those that were bound.
TEST_F(ForwardingOutOfMemory, leavesClientsAsTheyWere) {
    startFarm(world.state);
    ASSERT_EQ(perform(world.state, addPortRequest(80)), 0);
    ASSERT_EQ(perform(world.state, addServerRequest(80, 1, "10.2.0.11")), 0);
    AffinityBlock block = affinityRequest(Command::serverDirectedAffinity, 2);
    for (const int32_t command : {kBindClients, kReleaseClients}) {
        block.block().command = command;
        for (uint32_t index = 0; index < 2; ++index)
            block.entry(index) = {0x0A070001 + index, 0x0A02000B, 1, 0, {}, 0, {}, 0, 0};
        int refused = 0;
        for (int successes = 0;; ++successes) {
            ASSERT_LT(successes, 2000);
            AffinityBlock copy = block;
            memory::hasFailed = false;
            memory::allocationsLeft = successes;
            performCommand(world.state, &copy.block().header);
            memory::allocationsLeft = -1;
            expectInForce(world);
            if (copy.block().header.reason == 0 && !memory::hasFailed)
                break;
            const int32_t reason = copy.block().header.reason;
            ASSERT_TRUE(reason == kOutOfMemory || reason == 0);
            refused += reason == 0 ? 0 : 1;
        }
        EXPECT_GT(refused, 0);
        EXPECT_EQ(world.fake.inForce.contains("bound 10.1.0.1:80 10.7.0.2 to 1"), command == kBindClients);
    }
}

} // namespace
} // namespace rk
