// Commands that run out of memory: each is refused with its family's reason and leaves the state as it was.
#include "executor_client.h"

#include <cstdlib>
#include <new>

namespace {

// The allocation that fails, counted down from here; negative: none does.
int allocationsLeft = -1;

} // namespace

void *operator new(std::size_t size) {
    if (allocationsLeft == 0)
        throw std::bad_alloc();
    if (allocationsLeft > 0)
        --allocationsLeft;
    if (void *memory = std::malloc(size); memory != nullptr)
        return memory;
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept {
    std::free(memory);
}

void operator delete(void *memory, std::size_t) noexcept {
    std::free(memory);
}

namespace rk {
namespace {

// Performs the command on the record itself, with the allocation after `successes` failing.
int32_t sendFailing(CommandHeader &header, int successes) {
    allocationsLeft = successes;
    EXC_UserInput(&header);
    allocationsLeft = -1;
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
    allocationsLeft = 0;
    const int32_t logWithout = EXC_UsrExecutorSetLog(log);
    const int32_t directoryWithout = EXC_UsrExecutorSetInstallPath(directory);
    allocationsLeft = -1;
    EXPECT_EQ(logWithout, 0);
    EXPECT_EQ(directoryWithout, 0);
    EXPECT_EQ(EXC_UsrExecutorSetLog(log), 1);
    EXPECT_EQ(EXC_UsrExecutorSetInstallPath(directory), 1);
    EXPECT_EQ(EXC_UsrExecutorSetLog(""), 1);
}

} // namespace
} // namespace rk
