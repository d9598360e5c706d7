// Commands that run out of memory: each is refused with its family's reason and leaves the state as it was.
#include "executor/commands/commands.h"
#include "executor/fronts/device_request.h"
#include "executor_client.h"
#include "harness/counted_memory.h"
#include "rk/device.h"
#include "rk/ha_records.h"

#include <cerrno>

namespace rk {
namespace {

// Performs the command on the record itself, with the allocation after `successes` failing.
int32_t sendFailing(CommandHeader &header, int successes) {
    memory::allocationsLeft = successes;
    EXC_UserInput(&header);
    memory::allocationsLeft = -1;
    return header.reason;
}

// Sends an add with its first allocation failing, then its second and so on, until it succeeds. Before that, `count`
// is to stay 0.
template <typename Record, typename Count>
void expectAddToBeWhole(const Record &addition, uint8_t Record::*flag, int32_t outOfMemory, Count count) {
    int successes = 0;
    for (;; ++successes) {
        Record record = addition;
        record.*flag = 1;
        const int32_t reason = sendFailing(record.header, successes);
        if (reason == 0)
            break;
        EXPECT_EQ(reason, outOfMemory);
        EXPECT_EQ(record.*flag, 0);
        EXPECT_EQ(count(), 0);
        ASSERT_LT(successes, 100);
    }
    EXPECT_GE(successes, 2); // the object and its place in the order
    EXPECT_EQ(count(), 1);
}

class OutOfMemory : public ExecutorTest {};

TEST_F(OutOfMemory, ofACluster) {
    ClusterRecord record = newCluster(kCluster, "web", "10.1.0.1");
    record.maxPorts = 5;
    expectAddToBeWhole(record, &ClusterRecord::setMaxPorts, kClusterOutOfMemory,
                       [] { return executorReport().numberOfClusters; });
    EXPECT_EQ(clusterIds(), std::vector<std::string>{"web"});
}

TEST_F(OutOfMemory, ofAPort) {
    addTestCluster();
    PortRecord record = portRequest(Command::addPort);
    record.maxServers = 5;
    expectAddToBeWhole(record, &PortRecord::setMaxServers, kPortOutOfMemory,
                       [] { return clusterReport(kCluster).numberOfPorts; });
    EXPECT_EQ(portNumbers(), std::vector<int>{kPort});
}

TEST_F(OutOfMemory, ofAServer) {
    addTestCluster();
    addTestPort();
    ServerRecord record = newServer(1, "one");
    record.weight = 5;
    expectAddToBeWhole(record, &ServerRecord::setWeight, kServerOutOfMemory,
                       [] { return portReport().numberOfServers; });
    EXPECT_EQ(serverIds(), std::vector<std::string>{"one"});
}

TEST_F(OutOfMemory, ofARule) {
    addTestCluster();
    addTestPort();
    RuleRecord record = ruleRequest(Command::addRule, "a name of 20 letters");
    record.priority = 5;
    expectAddToBeWhole(record, &RuleRecord::setPriority, kRuleOutOfMemory, [] { return portReport().numberOfRules; });
    EXPECT_EQ(ruleNames(), std::vector<std::string>{"a name of 20 letters"});
    EXPECT_EQ(ruleReport("a name of 20 letters").uniqueId, 1);
}

TEST_F(OutOfMemory, ofAServerOfARule) {
    addTestCluster();
    addTestPort();
    addTestServer(1, "one");
    addTestRule("any");
    for (int successes = 0; successes < 2; ++successes) {
        RuleMembershipRecord record = memberRequest(Command::addServerToRule, "any", 1);
        EXPECT_EQ(sendFailing(record.header, successes), kMembershipOutOfMemory);
        EXPECT_EQ(ruleReport("any").numberOfServers, 0);
    }
    addTestMember("any", 1);
}

int32_t numberOfConnections() {
    auto block = request<SharedBlock>(Command::readConnections);
    block.connectionQuery = {};
    block.header = {Command::readConnections, 0, 0, sizeof block};
    EXPECT_EQ(sendFailing(block.header, 0), 0); // needs none itself
    return block.connections.count;
}

TEST_F(OutOfMemory, ofAConnection) {
    addTestCluster();
    addTestPort();
    ConnectionRequestRecord record = connectionRequest(Command::allocateConnection, "10.7.0.1", 40000);
    EXPECT_EQ(sendFailing(record.header, 0), kOutOfMemory);
    EXPECT_EQ(numberOfConnections(), 0);
    EXPECT_EQ(sendFailing(record.header, 1), 0);
    EXPECT_EQ(numberOfConnections(), 1);
    record.header.command = Command::releaseConnection;
    EXPECT_EQ(sendFailing(record.header, 0), 0);
}

// Nothing is performed when there is no memory for the block that a device copies.
TEST_F(OutOfMemory, ofADevicesBlock) {
    ExecutorState state;
    startExecutor(state);
    const ClusterRecord record = newCluster(kCluster, "web", "10.1.0.1");
    DeviceReply reply;
    memory::allocationsLeft = 0;
    answerDeviceRequest(state, kExecutorRequest, &record, sizeof record, sizeof record, reply);
    memory::allocationsLeft = -1;
    EXPECT_EQ(reply.answer, DeviceAnswer::refused);
    EXPECT_EQ(reply.error, ENOMEM);
    EXPECT_EQ(state.executor.counters.commands, 0U);
}

// Each entry stands for itself.
TEST_F(OutOfMemory, ofAnAffinity) {
    addTestCluster();
    addTestPort();
    addTestServer(1, "one");
    AffinityBlock block = affinityRequest(Command::serverDirectedAffinity);
    AffinityRecord &record = block.block();
    AffinityEntry *entries = &block.entry(0);
    const auto bindTwo = [&record, entries](int successes) {
        record.command = 1;
        record.count = 2;
        for (uint32_t index = 0; index < 2; ++index)
            entries[index] = {0x0A070001 + index, 0x0A030001, 1, 0, {}, 0, {}, 0, 0};
        EXPECT_EQ(sendFailing(record.header, successes), 0);
        return record.response;
    };
    const auto numberOf = [&record] {
        record.command = 3;
        record.count = 0;
        EXPECT_EQ(sendFailing(record.header, 0), 0);
        return record.count;
    };
    for (const int successes : {0, 1}) {
        EXPECT_EQ(bindTwo(successes), kOutOfMemory);
        EXPECT_EQ(numberOf(), 0U);
    }
    for (const int successes : {2, 3}) { // the first entry has all it needs
        EXPECT_EQ(bindTwo(successes), kOutOfMemory);
        EXPECT_EQ(entries[0].stamp, 0U);
        EXPECT_EQ(static_cast<int32_t>(entries[1].stamp), kOutOfMemory);
        EXPECT_EQ(numberOf(), 1U);
        record.command = 2;
        record.count = 1;
        entries[0].clientAddress = 0x0A070001;
        ASSERT_EQ(sendFailing(record.header, 0), 0);
    }
    EXPECT_EQ(bindTwo(4), 0);
    EXPECT_EQ(numberOf(), 2U);
}

TEST_F(OutOfMemory, concernsNoHighAvailabilityDebugDumpOrLog) {
    auto backup = request<HaControlRecord>(Command::addBackup);
    backup.first = backup.second = 0;
    backup.third = 80;
    EXPECT_EQ(sendFailing(backup.header, 0), 0);
    auto heartbeat = request<HaControlRecord>(Command::addHeartbeat);
    heartbeat.first = address("10.0.0.1").word;
    heartbeat.second = address("10.0.0.2").word;
    EXPECT_EQ(sendFailing(heartbeat.header, 0), 0);
    for (const Command command :
         {Command::readLogHead, Command::readLogTail, Command::readByteCounters, Command::readHalfOpenConnections}) {
        auto block = request<SharedBlock>(command);
        EXPECT_EQ(sendFailing(block.header, 0), 0);
    }
    auto lists = request<ConnectionListsRecord>(Command::dumpConnectionLists);
    EXPECT_EQ(sendFailing(lists.header, 0), 0);
    auto addresses = request<ReturnAddressesRecord>(Command::dumpReturnAddresses);
    EXPECT_EQ(sendFailing(addresses.header, 0), 0);
}

TEST_F(OutOfMemory, concernsNoChangeReadListOrRemoval) {
    addTestCluster();
    addTestPort();
    addTestServer(1, "one");
    addTestRule("a name of 20 letters");

    ClusterRecord cluster = clusterRequest(Command::writeClusterSettings, kCluster);
    cluster.setAddress = 1;
    cluster.address = address("10.1.0.9");
    EXPECT_EQ(sendFailing(cluster.header, 0), 0);
    PortRecord changedPort = portRequest(Command::writePortSettings);
    EXPECT_EQ(sendFailing(changedPort.header, 0), 0);
    ServerRecord server = serverRequest(Command::writeServerSettings, 1);
    EXPECT_EQ(sendFailing(server.header, 0), 0);
    RuleRecord rule = ruleRequest(Command::writeRuleSettings, "a name of 20 letters");
    rule.setPriority = 1;
    rule.priority = 9;
    EXPECT_EQ(sendFailing(rule.header, 0), 0);
    rule.header.command = Command::readRuleSettings;
    EXPECT_EQ(sendFailing(rule.header, 0), 0);

    ServerListRequest list = serverListRequest(1);
    EXPECT_EQ(sendFailing(list.block().header, 0), 0);
    WeightsRequest weights = weightsRequest(Command::readServerWeights, 1);
    EXPECT_EQ(sendFailing(weights.block().header, 0), 0);
    rule.header.command = Command::removeRule;
    EXPECT_EQ(sendFailing(rule.header, 0), 0);
    EXPECT_EQ(ruleNames(), std::vector<std::string>{});
}

TEST_F(OutOfMemory, concernsNoLogLine) {
    ASSERT_EQ(EXC_UsrExecutorSetLog("/dev/null"), 1);
    auto report = request<ExecutorReportRecord>(Command::readExecutorReport);
    EXPECT_EQ(sendFailing(report.header, 0), 0);
    ASSERT_EQ(EXC_UsrExecutorSetLog(""), 1);
}

TEST_F(OutOfMemory, isAPathThatCannotBeUsed) {
    // Too long to be kept without memory.
    const char *log = "/dev/../dev/../dev/../dev/../dev/../dev/null";
    const char *directory = "/tmp/../tmp/../tmp/../tmp/../tmp/../tmp/../tmp";
    memory::allocationsLeft = 0;
    const int32_t logWithout = EXC_UsrExecutorSetLog(log);
    const int32_t directoryWithout = EXC_UsrExecutorSetInstallPath(directory);
    memory::allocationsLeft = -1;
    EXPECT_EQ(logWithout, 0);
    EXPECT_EQ(directoryWithout, 0);
    EXPECT_EQ(EXC_UsrExecutorSetLog(log), 1);
    EXPECT_EQ(EXC_UsrExecutorSetInstallPath(directory), 1);
    EXPECT_EQ(EXC_UsrExecutorSetLog(""), 1);
}

} // namespace
} // namespace rk
