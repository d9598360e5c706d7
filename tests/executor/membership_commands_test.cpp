// The servers of a rule.
#include "executor_client.h"

namespace rk {
namespace {

int32_t add(const char *ruleName, uint32_t serverKey) {
    RuleMembershipRecord record = memberRequest(Command::addServerToRule, ruleName, serverKey);
    return send(record);
}

int32_t remove(const char *ruleName, uint32_t serverKey) {
    RuleMembershipRecord record = memberRequest(Command::removeServerFromRule, ruleName, serverKey);
    return send(record);
}

class MembershipCommands : public ExecutorTest {
protected:
    void SetUp() override {
        ExecutorTest::SetUp();
        addTestCluster();
        addTestPort();
        addTestServer(1, "one");
        addTestServer(2, "two");
        addTestServer(3, "three");
        addTestRule("any");
        addTestRule("other");
    }
};

TEST_F(MembershipCommands, serversAreAddedAndRemoved) {
    RuleMembershipRecord record = memberRequest(Command::addServerToRule, "any", 2);
    const RuleMembershipRecord sent = record;
    ASSERT_EQ(send(record), 0);
    expectReply(sent, record);
    ASSERT_EQ(add("any", 1), 0);
    ASSERT_EQ(add("other", 2), 0);
    EXPECT_EQ(ruleServerIds("any"), (std::vector<std::string>{"two", "one"})); // in order of addition
    EXPECT_EQ(ruleServerIds("other"), std::vector<std::string>{"two"});
    EXPECT_EQ(ruleSettings("any").numberOfServers, 2);
    ASSERT_EQ(remove("any", 2), 0);
    EXPECT_EQ(ruleServerIds("any"), std::vector<std::string>{"one"});
    EXPECT_EQ(ruleServerIds("other"), std::vector<std::string>{"two"});
    EXPECT_EQ(portReport().numberOfServers, 3); // the servers stay
}

TEST_F(MembershipCommands, aServerIsInARuleOnce) {
    ASSERT_EQ(add("any", 1), 0);
    EXPECT_EQ(add("any", 1), kServerInRule);
    EXPECT_EQ(ruleServerIds("any"), std::vector<std::string>{"one"});
    EXPECT_EQ(remove("any", 2), kServerNotInRule);
    ASSERT_EQ(remove("any", 1), 0);
    EXPECT_EQ(remove("any", 1), kServerNotInRule);
    EXPECT_EQ(add("any", 1), 0);
}

TEST_F(MembershipCommands, unknownClustersPortsServersAndRulesAreRefused) {
    for (const Command command : {Command::addServerToRule, Command::removeServerFromRule}) {
        RuleMembershipRecord record = memberRequest(command, "none", 1);
        EXPECT_EQ(send(record), kUnknownRule);
        std::memset(record.ruleName, 'n', sizeof record.ruleName); // no end
        EXPECT_EQ(send(record), kUnknownRule);
        record = memberRequest(command, "any", 9);
        EXPECT_EQ(send(record), kUnknownServer);
        record.port = port(kPort + 1);
        EXPECT_EQ(send(record), kUnknownPort);
        record.clusterKey = kCluster + 1;
        EXPECT_EQ(send(record), kUnknownCluster);
    }
    ServerListRequest list = ruleServerListRequest("none", 1);
    EXPECT_EQ(send(list), kUnknownRule);
    list.block().port = port(kPort + 1);
    EXPECT_EQ(send(list), kUnknownPort);
    list.block().clusterKey = kCluster + 1;
    EXPECT_EQ(send(list), kUnknownCluster);
}

TEST_F(MembershipCommands, theListFillsTheRoomThatThereIs) {
    ASSERT_EQ(add("any", 3), 0);
    ASSERT_EQ(add("any", 1), 0);
    ServerListRequest none = ruleServerListRequest("any", 0);
    ASSERT_EQ(send(none), 0);
    EXPECT_EQ(none.block().count, 0);

    ServerListRequest more = ruleServerListRequest("any", 3);
    ServerListRequest expected = emptyReply(more, 2);
    expected.entry(0).serverKey = 3;
    setText(expected.entry(0).serverId, "three");
    expected.entry(1).serverKey = 1;
    setText(expected.entry(1).serverId, "one");
    ASSERT_EQ(send(more), 0);
    expectSameBytes(expected.bytes.data(), more.bytes.data(), more.bytes.size());

    ServerListRequest less = ruleServerListRequest("any", 1);
    ASSERT_EQ(send(less), 0);
    EXPECT_EQ(less.block().count, 1);
    EXPECT_EQ(less.entry(0).serverKey, 3U);
}

} // namespace
} // namespace rk
