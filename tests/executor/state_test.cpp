// The state of an executor that has another front than the user-space library: one that a test owns.
#include "executor/commands/commands.h"
#include "executor/commands/perform_command.h"
#include "executor_client.h"

namespace rk {
namespace {

template <typename Record> int32_t perform(ExecutorState &state, Record record) {
    performCommand(state, &record.header);
    return record.header.reason;
}

// An executor with the tests' cluster and port.
void startWithPort(ExecutorState &state) {
    startExecutor(state);
    ASSERT_EQ(perform(state, newCluster(kCluster, "web", "10.1.0.1")), 0);
    ASSERT_EQ(perform(state, portRequest(Command::addPort)), 0);
}

Cluster &clusterIn(ExecutorState &state) {
    return state.executor.clusters.byKey.at(kCluster);
}

Port &portIn(ExecutorState &state, int portNumber = kPort) {
    return clusterIn(state).ports.byKey.at(portNumber);
}

TEST(State, isNotStartedAtFirst) {
    ExecutorState state;
    EXPECT_EQ(perform(state, request<ExecutorReportRecord>(Command::readExecutorReport)), kNotStarted);
}

TEST(State, isEachExecutorsOwn) {
    ExecutorState one;
    ExecutorState other;
    startWithPort(one);
    startWithPort(other);
    ASSERT_EQ(perform(one, portRequest(Command::removePort)), 0);
    EXPECT_EQ(numberOf(clusterIn(one).ports), 0);
    EXPECT_EQ(numberOf(clusterIn(other).ports), 1);
}

TEST(State, keepsTheAffinityTypeThatAPortInherits) {
    ExecutorState state;
    startWithPort(state);
    ClusterRecord write = clusterRequest(Command::writeClusterSettings, kCluster);
    write.setDefaultPortAffinityType = 1;
    write.defaultPortAffinityType = 9;
    ASSERT_EQ(perform(state, write), 0);
    ASSERT_EQ(perform(state, portRequest(Command::addPort, 443)), 0);
    EXPECT_EQ(portIn(state, 443).affinityType, 9);
    EXPECT_EQ(portIn(state).affinityType, 0);
}

TEST(State, keepsTheArgumentOfAMember) {
    ExecutorState state;
    startWithPort(state);
    ASSERT_EQ(perform(state, newServer(1, "one")), 0);
    ASSERT_EQ(perform(state, ruleRequest(Command::addRule, "any")), 0);
    RuleMembershipRecord member = memberRequest(Command::addServerToRule, "any", 1);
    member.argument = -7;
    ASSERT_EQ(perform(state, member), 0);
    const auto &members = portIn(state).rules.byKey.at("any").members.byKey;
    ASSERT_EQ(members.size(), 1U);
    EXPECT_EQ(members.at(1).argument, -7);
    EXPECT_STREQ(members.at(1).server->settings.serverId, "one");
}

} // namespace
} // namespace rk
