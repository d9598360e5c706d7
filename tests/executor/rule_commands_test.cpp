// The rules of a port.
#include "executor_client.h"

namespace rk {
namespace {

constexpr int32_t kHighestPriority = 2147483647;

// An address as the range fields of a rule hold it.
int32_t addressRange(const char *dotted) {
    return static_cast<int32_t>(address(dotted).word);
}

// In an order in which each is valid after the ones before.
const std::vector<SettingCase<RuleRecord>> kSettings = {
    {"endRange", &RuleRecord::setEndRange, [](RuleRecord &r) { r.endRange = 200; }},
    {"beginRange", &RuleRecord::setBeginRange, [](RuleRecord &r) { r.beginRange = -100; }},
    {"ruleType", &RuleRecord::setRuleType, [](RuleRecord &r) { r.ruleType = 9; }},
    {"priority", &RuleRecord::setPriority, [](RuleRecord &r) { r.priority = kHighestPriority; }},
    {"configSource", &RuleRecord::setConfigSource, [](RuleRecord &r) { r.configSource = -3; }},
    {"pattern", &RuleRecord::setPattern, [](RuleRecord &r) { setText(r.pattern, std::string(99, '*')); }},
    {"serviceTos", &RuleRecord::setServiceTos,
     [](RuleRecord &r) {
         r.serviceBitsClear = 0x80;
         r.serviceBitsSet = 0x40;
     }},
    {"shareLevel", &RuleRecord::setShareLevel, [](RuleRecord &r) { r.shareLevel = -4; }},
    {"evaluate", &RuleRecord::setEvaluate, [](RuleRecord &r) { r.evaluate = -1; }},
    {"whatAffinity", &RuleRecord::setWhatAffinity, [](RuleRecord &r) { r.whatAffinity = 2; }},
    {"stickyTime", &RuleRecord::setStickyTime, [](RuleRecord &r) { r.stickyTime = -1; }},
    {"cookieName", &RuleRecord::setCookieName, [](RuleRecord &r) { setText(r.cookieName, "session"); }},
};

const std::vector<RefusalCase<RuleRecord>> kRefusals = {
    {"ruleType -1", &RuleRecord::setRuleType, [](RuleRecord &r) { r.ruleType = -1; }, kOutOfRange},
    {"ruleType 10", &RuleRecord::setRuleType, [](RuleRecord &r) { r.ruleType = 10; }, kOutOfRange},
    {"priority", &RuleRecord::setPriority, [](RuleRecord &r) { r.priority = -1; }, kRulePriority},
    {"beginRange above 0", &RuleRecord::setBeginRange, [](RuleRecord &r) { r.beginRange = 1; }, kRuleRange},
    {"endRange below 0", &RuleRecord::setEndRange, [](RuleRecord &r) { r.endRange = -1; }, kRuleRange},
    {"pattern without end", &RuleRecord::setPattern,
     [](RuleRecord &r) { std::memset(r.pattern, 'p', sizeof r.pattern); }, kOutOfRange},
    {"cookieName without end", &RuleRecord::setCookieName,
     [](RuleRecord &r) { std::memset(r.cookieName, 'c', sizeof r.cookieName); }, kOutOfRange},
    {"serviceTos both ways", &RuleRecord::setServiceTos,
     [](RuleRecord &r) {
         r.serviceBitsClear = 0x81;
         r.serviceBitsSet = 0x01;
     },
     kOutOfRange},
};

// What a rule has that was added with no flag to a port without rules.
RuleRecord defaultsOf(const char *name) {
    RuleRecord expected{};
    expected.header.command = Command::readRuleSettings;
    expected.clusterKey = kCluster;
    expected.port = port(kPort);
    setText(expected.ruleName, name);
    expected.priority = 1;
    return expected;
}

int32_t addWithPriority(const char *name, int32_t priority) {
    RuleRecord record = ruleRequest(Command::addRule, name);
    record.setPriority = 1;
    record.priority = priority;
    return send(record);
}

int32_t setPriority(const char *name, int32_t priority) {
    RuleRecord record = ruleRequest(Command::writeRuleSettings, name);
    record.setPriority = 1;
    record.priority = priority;
    return send(record);
}

int32_t remove(const char *name) {
    RuleRecord record = ruleRequest(Command::removeRule, name);
    return send(record);
}

class RuleCommands : public ExecutorTest {
protected:
    void SetUp() override {
        ExecutorTest::SetUp();
        addTestCluster();
        addTestPort();
    }
};

TEST_F(RuleCommands, anAddedRuleHasNameAndDefaults) {
    RuleRecord record = ruleRequest(Command::addRule, "any");
    const RuleRecord sent = record;
    ASSERT_EQ(send(record), 0);
    expectReply(sent, record);
    expectReply(defaultsOf("any"), ruleSettings("any"));
    EXPECT_EQ(portReport().numberOfRules, 1);
}

TEST_F(RuleCommands, aNameMayHave20Characters) {
    const std::string longest(20, 'n');
    addTestRule(longest.c_str());
    EXPECT_EQ(ruleNames(), std::vector<std::string>{longest});
    RuleRecord record = ruleRequest(Command::addRule, "");
    std::memset(record.ruleName, 'n', sizeof record.ruleName); // no end
    EXPECT_EQ(send(record), kOutOfRange);
    record.header.command = Command::readRuleSettings;
    EXPECT_EQ(send(record), kUnknownRule); // not the one of 20 characters
}

TEST_F(RuleCommands, anAddAppliesItsFlaggedSettings) {
    RuleRecord record = ruleRequest(Command::addRule, "any");
    RuleRecord expected = defaultsOf("any");
    for (const SettingCase<RuleRecord> &setting : kSettings) {
        setting.setValue(record);
        record.*setting.flag = 1;
        setting.setValue(expected);
    }
    const RuleRecord sent = record;
    ASSERT_EQ(send(record), 0);
    expectReply(sent, record);
    expectReply(expected, ruleSettings("any"));
}

TEST_F(RuleCommands, anAddWithABadSettingAddsNothing) {
    for (const RefusalCase<RuleRecord> &refusal : kRefusals) {
        SCOPED_TRACE(refusal.name);
        RuleRecord record = ruleRequest(Command::addRule, "any");
        if (&RuleRecord::setBeginRange != refusal.flag) { // the range is from 0 to 0 as it begins
            record.beginRange = 0;
            record.setBeginRange = 1;
        }
        refusal.setValue(record);
        record.*refusal.flag = 1;
        EXPECT_EQ(send(record), refusal.reason);
        EXPECT_EQ(record.*refusal.flag, 0);
        EXPECT_EQ(record.setBeginRange, 0);
        EXPECT_EQ(portReport().numberOfRules, 0);
    }
}

TEST_F(RuleCommands, aFlagOfOneChangesItsSettingOnly) {
    addTestRule("any");
    expectFlagsToGovern(kSettings, ruleRequest(Command::writeRuleSettings, "any"), [] { return ruleSettings("any"); });
}

TEST_F(RuleCommands, aChangeIsAppliedAsAWholeOrNotAtAll) {
    addTestRule("any");
    expectRefusals(kRefusals, {"shareLevel", &RuleRecord::setShareLevel, [](RuleRecord &r) { r.shareLevel = 6; }},
                   ruleRequest(Command::writeRuleSettings, "any"), [] { return ruleSettings("any"); });
}

TEST_F(RuleCommands, theHashIdentifierComesWithEveryRequest) {
    RuleRecord record = ruleRequest(Command::addRule, "any");
    setText(record.hashId, std::string(39, 'h'));
    ASSERT_EQ(send(record), 0);
    EXPECT_STREQ(ruleSettings("any").hashId, std::string(39, 'h').c_str());
    RuleRecord write = ruleRequest(Command::writeRuleSettings, "any");
    setText(write.hashId, "short");
    ASSERT_EQ(send(write), 0);
    RuleRecord expected = defaultsOf("any");
    setText(expected.hashId, "short");
    expectReply(expected, ruleSettings("any"));
    std::memset(write.hashId, 'h', sizeof write.hashId); // no end
    EXPECT_EQ(send(write), kOutOfRange);
    expectReply(expected, ruleSettings("any"));
}

TEST_F(RuleCommands, aRangeIsOrderedAsItsTypeTells) {
    RuleRecord record = ruleRequest(Command::addRule, "clients");
    record.setRuleType = record.setBeginRange = record.setEndRange = 1;
    record.ruleType = kRuleTypeAddress;
    record.beginRange = addressRange("10.0.0.255");
    record.endRange = addressRange("192.0.0.1"); // as numbers of this machine they may be the other way round
    ASSERT_EQ(send(record), 0);
    EXPECT_EQ(ruleSettings("clients").beginRange, addressRange("10.0.0.255"));
    EXPECT_EQ(ruleSettings("clients").endRange, addressRange("192.0.0.1"));

    RuleRecord write = ruleRequest(Command::writeRuleSettings, "clients");
    write.setBeginRange = 1;
    write.beginRange = addressRange("192.0.0.2");
    EXPECT_EQ(send(write), kRuleRange);
    write.setBeginRange = 1;
    write.beginRange = addressRange("192.0.0.1"); // a range of one
    EXPECT_EQ(send(write), 0);

    RuleRecord numbers = ruleRequest(Command::addRule, "load");
    numbers.setBeginRange = numbers.setEndRange = 1;
    numbers.beginRange = -1; // above 1 when taken as an address
    numbers.endRange = 1;
    EXPECT_EQ(send(numbers), 0);
    RuleRecord change = ruleRequest(Command::writeRuleSettings, "load");
    change.setRuleType = 1;
    change.ruleType = kRuleTypeAddress;
    EXPECT_EQ(send(change), kRuleRange);
    EXPECT_EQ(ruleSettings("load").ruleType, 0);
}

TEST_F(RuleCommands, aNameIsTakenOnceOnAPort) {
    addTestRule("any");
    EXPECT_EQ(addWithPriority("any", 7), kRuleExists);
    addTestRule("ANY"); // names differ by letter case
    addTestPort(443);
    RuleRecord elsewhere = ruleRequest(Command::addRule, "any");
    elsewhere.port = port(443);
    EXPECT_EQ(send(elsewhere), 0);
}

TEST_F(RuleCommands, aPriorityIsTakenOnceOnAPort) {
    ASSERT_EQ(addWithPriority("first", 5), 0);
    EXPECT_EQ(addWithPriority("second", 5), kRulePriority);
    ASSERT_EQ(addWithPriority("second", 6), 0);
    EXPECT_EQ(setPriority("second", 5), kRulePriority);
    EXPECT_EQ(setPriority("second", 6), 0); // the one that it has
    EXPECT_EQ(setPriority("second", 0), 0);
    EXPECT_EQ(addWithPriority("third", 0), kRulePriority); // taken by the change
    EXPECT_EQ(addWithPriority("third", 6), 0);             // given up by the change
    ASSERT_EQ(remove("first"), 0);
    EXPECT_EQ(addWithPriority("fourth", 5), 0); // given up by the removal
}

TEST_F(RuleCommands, aRuleWithoutPriorityComesLast) {
    ASSERT_EQ(addWithPriority("first", 5), 0);
    addTestRule("last");
    EXPECT_EQ(ruleSettings("last").priority, 6);
    ASSERT_EQ(setPriority("last", kHighestPriority), 0);
    RuleRecord record = ruleRequest(Command::addRule, "beyond");
    EXPECT_EQ(send(record), kRulePriority);
    EXPECT_EQ(ruleNames(), (std::vector<std::string>{"first", "last"}));
}

TEST_F(RuleCommands, theListHasTheOrderOfThePriorities) {
    ASSERT_EQ(addWithPriority("nine", 9), 0);
    ASSERT_EQ(addWithPriority("one", 1), 0);
    ASSERT_EQ(addWithPriority("five", 5), 0);
    EXPECT_EQ(ruleNames(), (std::vector<std::string>{"one", "five", "nine"}));
    ASSERT_EQ(setPriority("nine", 3), 0);
    EXPECT_EQ(ruleNames(), (std::vector<std::string>{"one", "nine", "five"}));
}

TEST_F(RuleCommands, theListFillsTheRoomThatThereIs) {
    addTestRule("one");
    addTestRule("two");
    RuleListRequest less = ruleListRequest(1);
    RuleListRequest expected = emptyReply(less, 1);
    setText(expected.entry(0).ruleName, "one");
    ASSERT_EQ(send(less), 0);
    expectSameBytes(expected.bytes.data(), less.bytes.data(), less.bytes.size());

    RuleListRequest more = ruleListRequest(4);
    expected = emptyReply(more, 2);
    setText(expected.entry(0).ruleName, "one");
    setText(expected.entry(1).ruleName, "two");
    ASSERT_EQ(send(more), 0);
    expectSameBytes(expected.bytes.data(), more.bytes.data(), more.bytes.size());
}

TEST_F(RuleCommands, aRemovedRuleIsGone) {
    addTestServer(1, "one");
    addTestRule("any");
    addTestMember("any", 1);
    ASSERT_EQ(remove("any"), 0);
    EXPECT_EQ(remove("any"), kUnknownRule);
    EXPECT_EQ(portReport().numberOfRules, 0);
    addTestRule("any");
    EXPECT_EQ(ruleReport("any").numberOfServers, 0);
}

TEST_F(RuleCommands, aUniqueIdIsNeverGivenAgain) {
    addTestRule("first");
    const int32_t first = ruleReport("first").uniqueId;
    RuleRecord again = ruleRequest(Command::addRule, "first");
    EXPECT_EQ(send(again), kRuleExists);
    ASSERT_EQ(remove("first"), 0);
    addTestRule("first");
    const int32_t second = ruleReport("first").uniqueId;
    addTestPort(443);
    RuleRecord elsewhere = ruleRequest(Command::addRule, "first");
    elsewhere.port = port(443);
    ASSERT_EQ(send(elsewhere), 0);
    RuleReportRecord report = ruleReport("first");
    report.header.command = Command::readRuleReport;
    report.port = port(443);
    ASSERT_EQ(send(report), 0);
    EXPECT_NE(first, second);
    EXPECT_NE(first, report.uniqueId);
    EXPECT_NE(second, report.uniqueId);
}

TEST_F(RuleCommands, theReportTellsWhatHappened) {
    addTestServer(1, "one");
    addTestRule("any");
    addTestMember("any", 1);
    RuleReportRecord rate = ruleReport("any");
    rate.header.command = Command::setRuleCps;
    rate.connectionsPerSecond = 33;
    ASSERT_EQ(send(rate), 0);
    rate.connectionsPerSecond = -1;
    EXPECT_EQ(send(rate), kOutOfRange);

    RuleReportRecord expected{};
    expected.header.command = Command::readRuleReport;
    expected.clusterKey = kCluster;
    expected.port = port(kPort);
    setText(expected.ruleName, "any");
    expected.connectionsPerSecond = 33;
    expected.uniqueId = 1;
    expected.numberOfServers = 1;
    expectReply(expected, ruleReport("any"));
    EXPECT_EQ(ruleSettings("any").numberOfServers, 1);
}

// Sends each rule command for the rule "other" with these keys.
void expectRefused(uint32_t clusterKey, int portNumber, int32_t reason) {
    for (const Command command : {Command::removeRule, Command::readRuleSettings, Command::writeRuleSettings}) {
        RuleRecord record = ruleRequest(command, "other");
        record.clusterKey = clusterKey;
        record.port = port(portNumber);
        EXPECT_EQ(send(record), reason) << static_cast<int>(command);
    }
    for (const Command command : {Command::readRuleReport, Command::setRuleCps}) {
        auto record = request<RuleReportRecord>(command);
        record.clusterKey = clusterKey;
        record.port = port(portNumber);
        setText(record.ruleName, "other");
        EXPECT_EQ(send(record), reason) << static_cast<int>(command);
    }
}

TEST_F(RuleCommands, unknownClustersPortsAndRulesAreRefused) {
    addTestRule("any");
    expectRefused(kCluster, kPort, kUnknownRule);
    expectRefused(kCluster, kPort + 1, kUnknownPort);
    expectRefused(kCluster + 1, kPort, kUnknownCluster);

    RuleRecord addition = ruleRequest(Command::addRule, "other");
    addition.port = port(kPort + 1);
    EXPECT_EQ(send(addition), kUnknownPort);
    addition.clusterKey = kCluster + 1;
    EXPECT_EQ(send(addition), kUnknownCluster);
    RuleListRequest list = ruleListRequest(1);
    list.block().port = port(kPort + 1);
    EXPECT_EQ(send(list), kUnknownPort);
    list.block().clusterKey = kCluster + 1;
    EXPECT_EQ(send(list), kUnknownCluster);
}

} // namespace
} // namespace rk
