// Which servers belong to a rule.
#include "harness/record_test.h"

#include "library/channel/channel.h"
#include "library/config/membership.h"

namespace {

constexpr Method kAdd = {"addServertoRuleNative", 24};
constexpr Method kRemove = {"removeServerfromRuleNative", 25};
constexpr Method kMethods[] = {kAdd, kRemove};
constexpr uint32_t kServerKey = 0x91929394;

jobject newRule() {
    jobject rule = java::make("CMNRule");
    java::setString(rule, "ClusterId", "web");
    java::setInt(rule, "PortNumber", 80);
    java::setString(rule, "RuleName", "images");
    return rule;
}

// 20 bytes, of 20 characters and of fewer.
const std::string kLongestNames[] = {std::string(20, 'n'), "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9"
                                                           "0123456789"};
constexpr jint kBadPorts[] = {-1, 65536, 65616, -2147483647 - 1, 2147483647};

struct MembershipTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        rule = newRule();
        server = java::make("CMNServer");
        java::setInt(server, "iServerIdKey", static_cast<jint>(kServerKey));
    }

    jint call(const Method &method, jint argument = 0) const {
        return java::callInt(method.name, "(Ljava/lang/Object;Ljava/lang/Object;I)I", rule, server, argument);
    }

    static Image named(int32_t command) {
        return Image(1952)
            .header(command, 1952)
            .word(84, kServerKey)
            .word(88, kKeyOfWeb)
            .hex(92, "0050")
            .text(94, "images");
    }

    // Both calls are refused with this status, nothing is sent, and the last field that is looked up is `last`.
    void expectRefused(jint status, const char *last) const {
        for (const Method &method : kMethods) {
            const Names names = java::fieldsLookedUp([&] { EXPECT_EQ(call(method), status) << method.name; });
            EXPECT_EQ(names.back(), last);
            EXPECT_TRUE(executor::sent().empty());
        }
    }

    jobject rule = nullptr;
    jobject server = nullptr;
};

TEST_F(MembershipTest, TheRecordNamesServerAndRuleAndCarriesTheArgument) {
    for (const Method &method : kMethods)
        for (const jint argument : {0, 0x51525354, -1, -2147483647 - 1}) {
            executor::reset();
            EXPECT_EQ(call(method, argument), 0);
            EXPECT_SENT(named(method.command).word(1948, static_cast<uint32_t>(argument)));
            EXPECT_EQ(executor::sent().size(), 1u);
        }
}

TEST_F(MembershipTest, ReadsFieldsInOrder) {
    for (const Method &method : kMethods)
        EXPECT_EQ(java::fieldsLookedUp([&] { call(method); }),
                  Names({"ClusterId", "PortNumber", "RuleName", "iServerIdKey"}));
}

TEST_F(MembershipTest, ReasonsBecomeStatuses) {
    for (const ReasonRow &row :
         {ReasonRow{-5, -5}, {-1, -12},  {-11, -19}, {-44, -57}, {-48, -60}, {-49, -28}, {-51, -59},
          {-2, -99},         {-4, -99},  {-6, -99},  {-10, -99}, {-12, -99}, {-43, -99}, {-45, -99},
          {-46, -99},        {-47, -99}, {-50, -99}, {-52, -99}, {0, -99},   {48, -99},  {-103, -99}})
        for (const Method &method : kMethods)
            for (const int32_t result : {-1, 19}) {
                executor::reset();
                executor::answer(method.command, executor::refuse(row.reason, result));
                EXPECT_EQ(call(method), row.status) << method.name << ' ' << row.reason;
                EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({method.command}));
            }
}

TEST_F(MembershipTest, PortNumbersGoFrom0To65535) {
    for (const auto &[port, bytes] : {std::pair(0, "0000"), {65535, "ffff"}}) {
        java::setInt(rule, "PortNumber", port);
        EXPECT_EQ(call(kAdd), 0);
        EXPECT_SENT(named(24).hex(92, bytes).word(1948, 0));
    }
    executor::reset();
    for (const jint port : kBadPorts) {
        java::setInt(rule, "PortNumber", port);
        expectRefused(-10, "PortNumber");
    }
}

TEST_F(MembershipTest, NamesOf20BytesAreTheLongest) {
    for (const std::string &name : kLongestNames) {
        java::setString(rule, "RuleName", name);
        EXPECT_EQ(call(kAdd), 0);
        EXPECT_SENT(named(24).text(94, name).word(1948, 0));
        executor::reset();
        java::setString(rule, "RuleName", name + "n");
        expectRefused(-51, "RuleName");
    }
}

TEST_F(MembershipTest, WithoutNameNothingIsSent) {
    for (const Method &method : kMethods) {
        const java::FailingCharacters failing(2);
        EXPECT_EQ(call(method), -51);
    }
    java::setNull(rule, "RuleName", kStringType);
    expectRefused(-51, "RuleName");
}

TEST_F(MembershipTest, WithoutClusterIdentifierNothingIsSent) {
    for (const Method &method : kMethods) {
        const java::FailingCharacters failing(1);
        EXPECT_EQ(call(method), -99);
    }
    java::setNull(rule, "ClusterId", kStringType);
    expectRefused(-99, "iServerIdKey");
}

TEST_F(MembershipTest, WhatIsObtainedFromJavaIsGivenBack) {
    for (const Method &method : kMethods)
        EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(call(method), 0); }), 0u);
    java::setString(rule, "RuleName", std::string(21, 'n'));
    for (const Method &method : kMethods)
        EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(call(method), -51); }), 0u);
}

TEST_F(MembershipTest, NullObjectsAreNamed) {
    for (const Method &method : kMethods) {
        const char *type = "(Ljava/lang/Object;Ljava/lang/Object;I)I";
        java::callInt(method.name, type, nullptr, server, 0);
        EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: rule");
        java::callInt(method.name, type, rule, nullptr, 0);
        EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: server");
    }
    const char *type = "(Ljava/lang/Object;Ljava/lang/Object;)I";
    java::callInt("getRuleServersListNative", type, nullptr, java::make("java/lang/StringBuffer"));
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: rule");
    java::callInt("getRuleServersListNative", type, rule, nullptr);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: list");
    EXPECT_TRUE(executor::sent().empty());
}

// --- The list --------------------------------------------------------------------------------------------------------

struct RuleServersListTest : ListTest {
    void SetUp() override {
        ListTest::SetUp();
        rule = newRule();
    }

    // The executor has these servers in the rule, and Java knows how many they are.
    void servers(const Names &identifiers) const {
        java::setInt(rule, "NumServers", static_cast<jint>(identifiers.size()));
        executor::answer(26, entries(identifiers, 56, 88, 80));
    }

    jint askUncounted() const {
        return java::callInt("getRuleServersListNative", "(Ljava/lang/Object;Ljava/lang/Object;)I", rule, list);
    }

    jint ask() {
        return counted([&] { return askUncounted(); });
    }

    void expectNone(jint status, const std::vector<int32_t> &commands) {
        expectNoList([&] { return askUncounted(); }, status, commands);
    }

    static Image block(uint32_t count) {
        Image image(48 + 88 * count, 0);
        return image.header(26, 48 + 88 * count).word(16, kKeyOfWeb).hex(20, "0050").text(22, "images").word(44, count);
    }

    // The list is refused with this status before anything is allocated or sent.
    void expectRefused(jint status, const char *last) {
        const Names names = java::fieldsLookedUp([&] { askUncounted(); });
        EXPECT_EQ(names.back(), last);
        expectNone(status, {});
        EXPECT_TRUE(sizes.empty());
    }

    jobject rule = nullptr;
};

TEST_F(RuleServersListTest, IdentifiersFollowOneAnotherEachLedByAPlus) {
    servers({"alpha", "b c", "100%s"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+alpha+b c+100%s");
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({26})); // the count is Java's: no report is asked for
    expectNothingHeld();
}

TEST_F(RuleServersListTest, TheBlockIsSizedForTheServers) {
    servers({"alpha", "beta", "gamma"});
    EXPECT_EQ(ask(), 0);
    EXPECT_SENT(block(3));
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 48 + 88 * 3}));
}

TEST_F(RuleServersListTest, ReadsFieldsInOrder) {
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(askUncounted(), 0); }),
              Names({"ClusterId", "PortNumber", "RuleName", "NumServers"}));
}

TEST_F(RuleServersListTest, AppendsToWhatTheBufferHolds) {
    servers({"alpha"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+alpha+alpha");
}

TEST_F(RuleServersListTest, NoServersGiveTheEmptyText) {
    servers({});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "");
    EXPECT_SENT(block(0));
}

TEST_F(RuleServersListTest, AsManyEntriesAreReadAsJavaAskedFor) {
    for (const int32_t replied : {-1, 0, 1, 4, 2147483647}) { // what the reply's count word says does not matter
        list = java::make("java/lang/StringBuffer");
        servers({"alpha", "beta", "gamma"});
        executor::reset();
        executor::answer(26, [=](uint8_t *block, uint32_t length) {
            memcpy(block + 44, &replied, sizeof(replied));
            return entries({"alpha", "beta", "gamma"}, 56, 88, 80)(block, length);
        });
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(java::text(list), "+alpha+beta+gamma") << replied;
    }
}

TEST_F(RuleServersListTest, ANegativeNumberOfServersIsRefused) {
    for (const jint count : {-1, -2147483647 - 1}) {
        java::setInt(rule, "NumServers", count);
        expectRefused(-99, "NumServers");
    }
}

TEST_F(RuleServersListTest, AnImpossibleNumberOfServersIsOutOfMemory) {
    for (const jint count : {2147483647, 48806446}) { // the last: 2^32 bytes
        java::setInt(rule, "NumServers", count);
        expectNone(-28, {});
        EXPECT_EQ(sizes, std::vector<std::size_t>({10000})) << count;
    }
    java::setInt(rule, "NumServers", 48806445); // the most whose size the length word can tell
    failing = 2;
    expectNone(-28, {});
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 4294967208}));
}

TEST_F(RuleServersListTest, IdentifiersWithoutTerminatorEndWithTheirEntry) {
    const std::string identifier(80, 'i');
    servers({identifier, "beta"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+" + identifier + "+beta");
}

TEST_F(RuleServersListTest, ALongListGrowsTheText) {
    Names identifiers;
    for (int i = 0; i < 200; ++i)
        identifiers.push_back(std::string(61, 's') + std::to_string(100 + i)); // 65 characters: 153 fit into 10000
    servers(identifiers);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), joined(identifiers));
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 48 + 88 * 200, 9945 + 65 + 10001}));
    expectNothingHeld();
}

TEST_F(RuleServersListTest, ATextThatCannotGrowEndsTheListThere) {
    servers(Names(200, std::string(64, 's')));
    failing = 3;
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list).size(), 153u * 65);
    expectNothingHeld();
}

TEST_F(RuleServersListTest, ReasonsOfAFailedListBecomeStatusesWithTheEmptyText) {
    java::setInt(rule, "NumServers", 1);
    expectListStatuses(
        {{-5, -5},
         {-1, -12},
         {-44, -57},
         {-11, -99},
         {-48, -99},
         {-49, -99},
         {-51, -99},
         {-43, -99},
         {-45, -99},
         {-2, -99},
         {-4, -99},
         {-6, -99},
         {0, -99}},
        {26}, [] {}, [&] { return askUncounted(); });
}

TEST_F(RuleServersListTest, PortNumbersGoFrom0To65535) {
    for (const jint port : kBadPorts) {
        java::setInt(rule, "PortNumber", port);
        expectRefused(-10, "PortNumber");
    }
    for (const auto &[port, bytes] : {std::pair(0, "0000"), {65535, "ffff"}}) {
        java::setInt(rule, "PortNumber", port);
        EXPECT_EQ(ask(), 0);
        EXPECT_SENT(block(0).hex(20, bytes));
    }
}

TEST_F(RuleServersListTest, NamesOf20BytesAreTheLongest) {
    for (const std::string &name : kLongestNames) {
        executor::reset();
        java::setString(rule, "RuleName", name + "n");
        expectRefused(-51, "RuleName");
        java::setString(rule, "RuleName", name);
        EXPECT_EQ(ask(), 0);
        EXPECT_SENT(block(0).text(22, name));
    }
}

TEST_F(RuleServersListTest, WithoutNameOrClusterIdentifierNothingIsSent) {
    java::setNull(rule, "RuleName", kStringType);
    expectRefused(-51, "RuleName");
    java::setString(rule, "RuleName", "images");
    java::setNull(rule, "ClusterId", kStringType);
    expectNone(-99, {});
}

TEST_F(RuleServersListTest, WithoutMemory) {
    servers({"alpha"});
    failing = 1; // the text
    expectNone(-28, {});
    failing = 2; // the block
    expectNone(-28, {});
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 48 + 88}));
}

} // namespace
