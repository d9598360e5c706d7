// Which servers belong to a rule.
#include "contract/list_contract.h"
#include "contract/record_contract.h"

#include "library/channel/channel.h"
#include "library/config/membership.h"

namespace {

constexpr Method kAdd = {"addServertoRuleNative", 24};
constexpr Method kRemove = {"removeServerfromRuleNative", 25};
constexpr Method kMethods[] = {kAdd, kRemove};
constexpr uint32_t kServerKey = 0x91929394;
constexpr char kRuleServerInt[] = "(Ljava/lang/Object;Ljava/lang/Object;I)I";

jobject newRule() {
    jobject rule = java::make("CMNRule");
    java::setString(rule, "ClusterId", "web");
    java::setInt(rule, "PortNumber", 80);
    java::setString(rule, "RuleName", "images");
    return rule;
}

jobject newServer() {
    jobject server = java::make("CMNServer");
    java::setInt(server, "iServerIdKey", static_cast<jint>(kServerKey));
    return server;
}

jint callWithRule(const char *method, jobject rule) {
    return java::callInt(method, kRuleServerInt, rule, newServer(), 0);
}

jint callWithServer(const char *method, jobject server) {
    return java::callInt(method, kRuleServerInt, newRule(), server, 0);
}

const std::vector<ReasonRow> kStatuses = {{-5, -5},   {-1, -12},  {-11, -19}, {-44, -57}, {-48, -60}, {-49, -28},
                                          {-51, -59}, {-2, -99},  {-4, -99},  {-6, -99},  {-10, -99}, {-12, -99},
                                          {-43, -99}, {-45, -99}, {-46, -99}, {-47, -99}, {-50, -99}, {-52, -99},
                                          {0, -99},   {48, -99},  {-103, -99}};

const Call kCallsWithRule[] = {
    {kAdd, "rule", newRule, kStatuses, 92, 94, 1, "PortNumber", nullptr, callWithRule},
    {kRemove, "rule", newRule, kStatuses, 92, 94, 1, "PortNumber", nullptr, callWithRule},
};
const Call kCallsWithServer[] = {
    {kAdd, "server", newServer, kStatuses, 0, 0, 1, "PortNumber", nullptr, callWithServer},
    {kRemove, "server", newServer, kStatuses, 0, 0, 1, "PortNumber", nullptr, callWithServer},
};

INSTANTIATE_TEST_SUITE_P(Rules, ObjectContract, testing::ValuesIn(kCallsWithRule), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, PortContract, testing::ValuesIn(kCallsWithRule), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, RuleNameContract, testing::ValuesIn(kCallsWithRule), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, ClusterContract, testing::ValuesIn(kCallsWithRule), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Servers, ObjectContract, testing::ValuesIn(kCallsWithServer), kNameOfMethod);

Image named(int32_t command) {
    return Image(1952)
        .header(command, 1952)
        .word(84, kServerKey)
        .word(88, kKeyOfWeb)
        .hex(92, "0050")
        .text(94, "images");
}

struct MembershipTest : LibraryTest {};

TEST_F(MembershipTest, TheRecordNamesServerAndRuleAndCarriesTheArgument) {
    for (const Method &method : kMethods)
        for (const jint argument : {0, 0x51525354, -1, -2147483647 - 1}) {
            executor::reset();
            EXPECT_EQ(java::callInt(method.name, kRuleServerInt, newRule(), newServer(), argument), 0);
            EXPECT_SENT(named(method.command).word(1948, static_cast<uint32_t>(argument)));
            EXPECT_EQ(executor::sent().size(), 1u);
        }
}

TEST_F(MembershipTest, ReadsFieldsInOrder) {
    jobject rule = newRule();
    jobject server = newServer();
    for (const Method &method : kMethods)
        EXPECT_EQ(java::fieldsLookedUp([&] { java::callInt(method.name, kRuleServerInt, rule, server, 0); }),
                  Names({"ClusterId", "PortNumber", "RuleName", "iServerIdKey"}));
}

// --- The list --------------------------------------------------------------------------------------------------------

constexpr char kRuleList[] = "(Ljava/lang/Object;Ljava/lang/Object;)I";

jobject listedRule; // whose number of servers Java knows

jint askWithRule(const char *method, jobject rule) {
    return java::callInt(method, kRuleList, rule, java::make("java/lang/StringBuffer"));
}

const std::vector<ReasonRow> kListStatuses = {{-5, -5},   {-1, -12},  {-44, -57}, {-11, -99}, {-48, -99},
                                              {-49, -99}, {-51, -99}, {-43, -99}, {-45, -99}, {-2, -99},
                                              {-4, -99},  {-6, -99},  {0, -99}};

const Call kListCall = {
    {"getRuleServersListNative", 26}, "rule", newRule, kListStatuses, 20, 22, 1, "PortNumber", nullptr, askWithRule};

const List kList = {
    .method = {"getRuleServersListNative", 26},
    .ask =
        [](jobject list, jstring cluster, jint port) {
            java::setObject(listedRule, "ClusterId", kStringType, cluster);
            java::setInt(listedRule, "PortNumber", port);
            return java::callInt("getRuleServersListNative", kRuleList, listedRule, list);
        },
    .count =
        [](uint32_t entries) {
            listedRule = newRule();
            java::setInt(listedRule, "NumServers", static_cast<jint>(entries));
        },
    .request =
        [](uint32_t entries) {
            return Image(48, 0).word(16, kKeyOfWeb).hex(20, "0050").text(22, "images").word(44, entries);
        },
    .nameAt = 56,
    .stride = 88,
    .width = 80,
    .countAt = 44,
    .believesReply = false,
    .statuses = kListStatuses,
};

INSTANTIATE_TEST_SUITE_P(List, ObjectContract, testing::Values(kListCall), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(List, PortContract, testing::Values(kListCall), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(List, RuleNameContract, testing::Values(kListCall), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(List, ClusterContract, testing::Values(kListCall), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(List, ListContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(List, ListOfNamesContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(List, ListOfClusterContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(List, ListOfPortContract, testing::Values(kList), kNameOfMethod);

struct RuleServersListTest : ListTest {
    jint ask(jobject rule) const {
        return java::callInt("getRuleServersListNative", kRuleList, rule, list);
    }

    // The rule is refused with this status before anything is allocated.
    void expectRefused(jobject rule, jint status, const char *last) {
        const Names names = java::fieldsLookedUp([&] { EXPECT_EQ(ask(rule), status); });
        EXPECT_EQ(names.back(), last);
        EXPECT_EQ(counted([&] { return ask(rule); }), status);
        EXPECT_TRUE(sizes.empty());
        EXPECT_TRUE(executor::sent().empty());
    }
};

TEST_F(RuleServersListTest, ReadsFieldsInOrder) {
    jobject rule = newRule();
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(ask(rule), 0); }),
              Names({"ClusterId", "PortNumber", "RuleName", "NumServers"}));
}

TEST_F(RuleServersListTest, WhatIsWrongWithTheRuleIsSeenBeforeAnythingIsAllocated) {
    jobject rule = newRule();
    for (const jint count : {-1, -2147483647 - 1}) {
        java::setInt(rule, "NumServers", count);
        expectRefused(rule, -99, "NumServers");
    }
    java::setNull(rule, "RuleName", kStringType);
    expectRefused(rule, -51, "RuleName");
    java::setInt(rule, "PortNumber", -1);
    expectRefused(rule, -10, "PortNumber");
}

} // namespace
