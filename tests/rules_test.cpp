// Rules.
#include "contract/list_contract.h"
#include "contract/record_contract.h"

#include "library/channel/channel.h"
#include "library/config/rules.h"

#include <cstring>

namespace {

using enum values::Kind;

constexpr Method kAdd = {"addRuleNative", 18};
constexpr Method kSet = {"setRuleStatusNative", 22};
constexpr Method kRemove = {"removeRuleNative", 19};
constexpr Method kStatus = {"getRuleStatusNative", 21};
constexpr Method kReport = {"getRuleReportNative", 23};
constexpr Method kSetCps = {"setRuleCPSNative", 81};
constexpr int32_t kLookUp = 21; // how the library asks for a rule's type

// A rule of type 5.
jobject newRule() {
    jobject object = java::make("CMNRule");
    java::setString(object, "ClusterId", "web");
    java::setInt(object, "PortNumber", 80);
    java::setString(object, "RuleName", "images");
    java::setString(object, "sHashID", "h1");
    java::setByte(object, "SetRuleType", 1);
    java::setByte(object, "RuleType", 5);
    return object;
}

// The object has no type of service, which leaves all bits open.
void expectOpenBits(Image &image) {
    image.byte(184, 0).byte(185, 0);
}

// The type, which comes first and is given or looked up, is not here.
const Settings kSettings = {
    .make = newRule,
    .rows =
        {
            {{"SetBeginRange", 187, 2}, {{"BeginRange", intWord, 44, 3}}},
            {{"SetEndRange", 188, 3}, {{"EndRange", intWord, 48, 5}}},
            {{"SetPriority", 189, 4}, {{"Priority", intWord, 72, 6}}},
            {{"SetShareLevel", 193, 7}, {{"iShareLevel", intWord, 76, 8}}},
            {{"SetServiceTOS", 192, 6}, {{"ServiceTOS", elsewhere, 184, 15}}, expectOpenBits},
            {{"SetPattern", 191, 5}, {{"Pattern", text, 84, 10, 100}}},
            {{"SetEvaluate", 194, 8}, {{"bEvaluate", byteWord, 52, 11}}},
            {{"SetWhatAffinity", 195, 9}, {{"WhatAffinity", intWordOfOneByte, 56, 12}}},
            {{"SetStickyTime", 196, 10}, {{"StickyTime", intQuad, 64, 14}}},
            {{"SetCookieName", 197, 11}, {{"CookieName", text, 204, 13, 100}}},
            {{}, {{"sHashID", elsewhere}}},
        },
    .goBack = FlagsGoBack::always,
    .otherFlags = {{"SetRuleType", 186, 1}},
};

// What names the rule in the rule record, and in the report record.
Image named(int32_t command) {
    return Image(344).header(command, 344).word(16, kKeyOfWeb).hex(20, "0050").text(22, "images");
}

Image namedReport(int32_t command) {
    return Image(188).header(command, 188).word(16, kKeyOfWeb).hex(20, "0050").text(32, "images");
}

// The type is 5, and no other flag is set.
Image nothingSet(int32_t command) {
    Image image = named(command).byte(186, 1).byte(43, 5).byte(190, 0).word(80, 0).text(304, "h1");
    putFlags(image, kSettings, 0);
    return image;
}

const Names kBefore = {"ClusterId", "PortNumber",  "SetConfigSource", "_iConfigSource",
                       "RuleName",  "SetRuleType", "RuleType"};
const Writing kWritings[] = {{kAdd, &kSettings, nothingSet, kBefore}, {kSet, &kSettings, nothingSet, kBefore}};

const Names kKeys = {"ClusterId", "PortNumber", "RuleName"};
const Reading kReadings[] = {
    {kStatus,
     newRule,
     named,
     kKeys,
     inOrderOfReading(kSettings, {{"RuleType", byteByte, 43, 1},
                                  {"AddressBeginRange", address, 44, 2},
                                  {"AddressEndRange", address, 48, 4},
                                  {"_iConfigSource", intWord, 80, 7},
                                  {"NumServers", intWord, 200, 9}}),
     {-44, -57}},
    {kReport,
     newRule,
     namedReport,
     kKeys,
     {{"TimesFired", intWord, 60},
      {"iUniqueId", intWord, 56},
      {"NumServers", intWord, 64},
      {"iConnectionsPerSecond", intWord, 24},
      {"ActiveConnections", intWord, 28},
      {"iBytesPerSecond", intWord, 84}},
     {-44, -57}},
};

const std::vector<ReasonRow> kAddOrSetStatuses = {
    {-46, -50}, {-47, -58}, {-70, -82}, {-45, -28}, {-5, -5},   {-1, -12},  {-44, -99}, {-48, -99}, {-69, -99},
    {-71, -99}, {-2, -99},  {-4, -99},  {-6, -99},  {-51, -99}, {-57, -99}, {0, -99},   {46, -99},  {-103, -99}};
const std::vector<ReasonRow> kStatuses = {{-5, -5},   {-1, -12},  {-44, -57}, {-43, -99}, {-45, -99}, {-46, -99},
                                          {-47, -99}, {-70, -99}, {-2, -99},  {-4, -99},  {-6, -99},  {0, -99}};

// Those that check port and name.
const Call kCheckedCalls[] = {
    {kAdd, "rule", newRule, kAddOrSetStatuses, 20, 22}, {kSet, "rule", newRule, kAddOrSetStatuses, 20, 22},
    {kRemove, "rule", newRule, kStatuses, 20, 22},      {kStatus, "rule", newRule, kStatuses, 20, 22},
    {kReport, "rule", newRule, kStatuses, 20, 32},
};
const Call kSetCpsCall = {kSetCps, "rule", newRule};

const List kList = {
    .method = {"getRulesListNative", 20},
    .ask =
        [](jobject list, jstring cluster, jint port) {
            return java::callInt("getRulesListNative", "(Ljava/lang/String;ILjava/lang/Object;)I", cluster, port, list);
        },
    .count =
        [](uint32_t entries) {
            executor::answer(15, executor::reply({{40, entries}}));
        },
    .request = [](uint32_t entries) { return Image(28, 0).word(16, kKeyOfWeb).hex(20, "0050").word(24, entries); },
    .nameAt = 28,
    .stride = 28,
    .width = 28,
    .countAt = 24,
    .believesReply = false,
    .statuses = {{-5, -5}, {-1, -12}, {-44, -99}, {-2, -99}, {-4, -99}, {-6, -99}, {0, -99}},
    .report = [] { return Image(72).header(15, 72).word(16, kKeyOfWeb).hex(20, "0050"); },
};

INSTANTIATE_TEST_SUITE_P(Rules, WritingContract, testing::ValuesIn(kWritings), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, ReadingContract, testing::ValuesIn(kReadings), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, ObjectContract, testing::ValuesIn(kCheckedCalls), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, PortContract, testing::ValuesIn(kCheckedCalls), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, RuleNameContract, testing::ValuesIn(kCheckedCalls), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, ClusterContract, testing::ValuesIn(kCheckedCalls), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(ConnectionsPerSecond, ObjectContract, testing::Values(kSetCpsCall), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(ConnectionsPerSecond, ClusterContract, testing::Values(kSetCpsCall), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, ListContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, ListAfterReportContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, ListOfNamesContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, ListOfClusterContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Rules, ListOfPortContract, testing::Values(kList), kNameOfMethod);

// --- What is particular to rules -------------------------------------------------------------------------------------

struct RulesTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        rule = newRule();
    }

    // The executor knows the rule as one of this type, in a record of 0xAA. What it has filled is sent on.
    static Image knownAs(int type) {
        Image image(344, 0xAA);
        image.byte(43, static_cast<uint8_t>(type));
        executor::answer(kLookUp, replyImage(image));
        return image.word(4, 0xEEEEEEEE).word(8, 0xEEEEEEEE).text(304, "h1");
    }

    // The call is refused with this status, nothing is sent, and the last field that is looked up is `last`.
    void expectRefused(const Method &method, jint status, const char *last) const {
        const Names names =
            java::fieldsLookedUp([&] { EXPECT_EQ(java::call(method.name, rule), status) << method.name; });
        EXPECT_EQ(names.back(), last) << method.name;
        EXPECT_TRUE(executor::sent().empty()) << method.name;
    }

    jobject rule = nullptr;
};

TEST_F(RulesTest, TheConfigurationSourceTravelsAlwaysAndItsFlagStays) {
    java::setInt(rule, "_iConfigSource", 0x31323334);
    for (const int flag : {0, 1, 2, -1})
        for (const Method &method : {kAdd, kSet}) {
            executor::reset();
            executor::answer(method.command, [](uint8_t *block, uint32_t) {
                block[190] = 77;
                return 0;
            });
            java::setByte(rule, "SetConfigSource", flag);
            EXPECT_EQ(java::call(method.name, rule), 0);
            EXPECT_SENT(nothingSet(method.command).word(80, 0x31323334).byte(190, static_cast<uint8_t>(flag)));
            EXPECT_EQ(java::getByte(rule, "SetConfigSource"), flag);
        }
}

TEST_F(RulesTest, TypesGoFrom0To9) {
    for (int type = 0; type <= 9; ++type) {
        java::setByte(rule, "RuleType", type);
        EXPECT_EQ(java::call("addRuleNative", rule), 0) << type;
        EXPECT_SENT(nothingSet(18).byte(43, static_cast<uint8_t>(type)));
    }
    executor::reset();
    setFlags(rule, kSettings, 7);
    for (const int type : {-1, 10, 127, -128})
        for (const Method &method : {kAdd, kSet}) {
            java::setByte(rule, "RuleType", type);
            expectRefused(method, -52, "RuleType");
        }
    EXPECT_EQ(java::getByte(rule, "SetRuleType"), 1);
}

// --- A rule whose type the executor is asked for ---------------------------------------------------------------------

TEST_F(RulesTest, WithoutTypeTheExecutorIsAskedForItAndItsReplyFillsTheBlock) {
    for (const int flag : {0, 2, -1})
        for (const Method &method : {kAdd, kSet}) {
            executor::reset();
            rule = newRule();
            java::setByte(rule, "SetRuleType", flag);
            java::setByte(rule, "SetConfigSource", 1);
            java::setInt(rule, "_iConfigSource", 0x31323334);
            Image known = knownAs(5);
            EXPECT_EQ(java::call(method.name, rule), 0);
            ASSERT_EQ(executor::commandsSent(), std::vector<int32_t>({kLookUp, method.command}));
            EXPECT_EQ(
                executor::dump(executor::sent()[0]),
                executor::dump(
                    named(kLookUp).byte(186, static_cast<uint8_t>(flag)).byte(190, 1).word(80, 0x31323334).bytes));
            // Name, type, configuration source and their flags are the executor's now; the settings come on top.
            putFlags(known, kSettings, 0);
            EXPECT_SENT(known.header(method.command, 344));
            EXPECT_EQ(java::getByte(rule, "SetRuleType"), static_cast<int8_t>(0xAA));
            EXPECT_EQ(java::getByte(rule, "SetConfigSource"), 1);
        }
}

TEST_F(RulesTest, SettingsComeOnTopOfTheLookedUpRecord) {
    giveAll(rule, kSettings);
    java::setByte(rule, "SetRuleType", 0);
    Image known = knownAs(9);
    EXPECT_EQ(java::call("setRuleStatusNative", rule), 0);
    expectAll(known, kSettings);
    EXPECT_SENT(known.header(22, 344));
}

TEST_F(RulesTest, TheLookedUpTypeIsNotCheckedAgain) {
    java::setByte(rule, "SetRuleType", 0);
    java::setByte(rule, "RuleType", 99); // not read
    knownAs(10);
    const Names names = java::fieldsLookedUp([&] { EXPECT_EQ(java::call("setRuleStatusNative", rule), 0); });
    EXPECT_EQ(std::count(names.begin(), names.end(), "RuleType"), 0);
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({kLookUp, 22}));
}

TEST_F(RulesTest, AFailedLookUpIsReturnedAndNothingElseSent) {
    setFlags(rule, kSettings, 7);
    java::setByte(rule, "SetRuleType", 0);
    for (const ReasonRow &row : kStatuses)
        for (const Method &method : {kAdd, kSet})
            for (const int32_t result : {-1, 19}) {
                executor::reset();
                executor::answer(kLookUp, executor::refuse(row.reason, result));
                const Names names =
                    java::fieldsLookedUp([&] { EXPECT_EQ(java::call(method.name, rule), row.status) << row.reason; });
                EXPECT_EQ(names.back(), "SetRuleType");
                EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({kLookUp}));
            }
}

TEST_F(RulesTest, WithoutClusterIdentifierTheTypeIsNotAskedFor) {
    java::setByte(rule, "SetRuleType", 0);
    java::setNull(rule, "ClusterId", kStringType);
    for (const Method &method : {kAdd, kSet})
        expectRefused(method, -99, "SetRuleType");
}

TEST_F(RulesTest, TheTypeCanBeAskedForWithoutJava) {
    EXPECT_EQ(getRuleType(), 0);
    EXPECT_SENT(Image(344).header(kLookUp, 344));
    executor::answer(kLookUp, executor::refuse(-44));
    EXPECT_EQ(getRuleType(), -57);
}

// --- Ranges ----------------------------------------------------------------------------------------------------------

struct RuleRangesTest : RulesTest {
    void SetUp() override {
        RulesTest::SetUp();
        java::setString(rule, "AddressBeginRange", "10.0.0.1");
        java::setString(rule, "AddressEndRange", "balancer.example");
        java::setInt(rule, "BeginRange", 0x01020304);
        java::setInt(rule, "EndRange", 0x05060708);
        java::setByte(rule, "SetBeginRange", 1);
        java::setByte(rule, "SetEndRange", 1);
    }
};

TEST_F(RuleRangesTest, AreAddressesForType1AndNumbersForEveryOther) {
    for (int type = 0; type <= 9; ++type) {
        java::setByte(rule, "RuleType", type);
        EXPECT_EQ(java::call("addRuleNative", rule), 0);
        Image image = nothingSet(18).byte(43, static_cast<uint8_t>(type)).byte(187, 1).byte(188, 1);
        if (type == 1)
            image.hex(44, "0a000001").hex(48, "c0000207");
        else
            image.word(44, 0x01020304).word(48, 0x05060708);
        EXPECT_SENT(image) << type;
    }
}

TEST_F(RuleRangesTest, AddressesAreLookedUpInsteadOfNumbers) {
    java::setByte(rule, "RuleType", 1);
    const Names names = java::fieldsLookedUp([&] { EXPECT_EQ(java::call("addRuleNative", rule), 0); });
    const auto range = std::find(names.begin(), names.end(), "SetBeginRange");
    ASSERT_GE(names.end() - range, 4);
    EXPECT_EQ(Names(range, range + 4), Names({"SetBeginRange", "AddressBeginRange", "SetEndRange", "AddressEndRange"}));
}

TEST_F(RuleRangesTest, FollowTheLookedUpType) {
    java::setByte(rule, "SetRuleType", 0);
    java::setByte(rule, "RuleType", 1); // not read
    for (const int type : {1, 2}) {
        executor::reset();
        Image known = knownAs(type);
        EXPECT_EQ(java::call("setRuleStatusNative", rule), 0);
        putFlags(known, kSettings, 0);
        known.header(22, 344).byte(187, 1).byte(188, 1);
        if (type == 1)
            known.hex(44, "0a000001").hex(48, "c0000207");
        else
            known.word(44, 0x01020304).word(48, 0x05060708);
        EXPECT_SENT(known) << type;
    }
}

TEST_F(RuleRangesTest, AddressesThatDoNotParseAreRefused) {
    java::setByte(rule, "RuleType", 1);
    java::setByte(rule, "SetPriority", 7);
    for (const char *address : {"absent.example", "", "10.0.0.256", "255.255.255.255"})
        for (const Method &method : {kAdd, kSet}) {
            java::setString(rule, "AddressBeginRange", address);
            expectRefused(method, -53, "AddressBeginRange");
            java::setString(rule, "AddressBeginRange", "10.0.0.1");
            java::setString(rule, "AddressEndRange", address);
            expectRefused(method, -54, "AddressEndRange");
            java::setString(rule, "AddressEndRange", "10.0.0.9");
        }
    EXPECT_EQ(java::getByte(rule, "SetBeginRange"), 1);
    EXPECT_EQ(java::getByte(rule, "SetPriority"), 7);
    executor::reset(); // and do not matter when the range stays
    java::setByte(rule, "SetBeginRange", 2);
    java::setByte(rule, "SetEndRange", 0);
    java::setString(rule, "AddressBeginRange", "absent.example");
    java::setString(rule, "AddressEndRange", "absent.example");
    EXPECT_EQ(java::call("addRuleNative", rule), 0);
    EXPECT_SENT(nothingSet(18).byte(43, 1).byte(187, 2).byte(189, 7));
}

TEST_F(RuleRangesTest, AddressesThatDoNotParseForALookedUpType1AreRefused) {
    java::setByte(rule, "SetRuleType", 0);
    java::setString(rule, "AddressBeginRange", "absent.example");
    knownAs(1);
    EXPECT_EQ(java::call("setRuleStatusNative", rule), -53);
    java::setString(rule, "AddressBeginRange", "10.0.0.1");
    java::setString(rule, "AddressEndRange", "absent.example");
    EXPECT_EQ(java::call("setRuleStatusNative", rule), -54);
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({kLookUp, kLookUp}));
}

TEST_F(RuleRangesTest, MissingAddressesAreAddressZero) {
    java::setByte(rule, "RuleType", 1);
    java::setNull(rule, "AddressBeginRange", kStringType);
    java::setNull(rule, "AddressEndRange", kStringType);
    EXPECT_EQ(java::call("addRuleNative", rule), 0);
    EXPECT_SENT(nothingSet(18).byte(43, 1).byte(187, 1).byte(188, 1).word(44, 0).word(48, 0));
}

// --- Type of service -------------------------------------------------------------------------------------------------

TEST_F(RulesTest, TypeOfServiceBecomesTwoMasks) {
    struct Row {
        const char *text;
        uint8_t clear;
        uint8_t set;
    };
    java::setByte(rule, "SetServiceTOS", 1);
    for (const Row &row : {Row{"01xxxxxx", 0x80, 0x40},
                           {"xxxxxx10", 0x01, 0x02},
                           {"00000000", 0xFF, 0},
                           {"11111111", 0, 0xFF},
                           {"0101 2X-", 0xA0, 0x50},
                           {"xxxxxxx0111", 0x01, 0}, // eight characters count
                           {"xxxxxxx0xxxxxxxxxxxxxxxxxxxxxxxx11111111", 0x01, 0},
                           {"01", 0x80, 0x40}, // a shorter text leaves the remaining bits open
                           {"", 0, 0}}) {
        executor::reset();
        java::setString(rule, "ServiceTOS", row.text);
        EXPECT_EQ(java::call("addRuleNative", rule), 0);
        EXPECT_SENT(nothingSet(18).byte(192, 1).byte(184, row.clear).byte(185, row.set)) << row.text;
    }
    java::setNull(rule, "ServiceTOS", kStringType);
    EXPECT_EQ(java::call("addRuleNative", rule), 0);
    EXPECT_SENT(nothingSet(18).byte(192, 1).byte(184, 0).byte(185, 0));
}

TEST_F(RulesTest, TypeOfServiceIsReadForType7Only) {
    struct Row {
        int type;
        uint8_t clear;
        uint8_t set;
        const char *text;
    };
    for (const Row &row : {Row{7, 0x80, 0x40, "01xxxxxx"},
                           {7, 0x01, 0x02, "xxxxxx10"},
                           {7, 0xC0, 0x60, "001xxxxx"}, // in both masks: 0
                           {7, 0, 0xFF, "11111111"},
                           {7, 0, 0, "xxxxxxxx"},
                           {0, 0x80, 0x40, ""},
                           {1, 0x80, 0x40, ""},
                           {6, 0x80, 0x40, ""},
                           {8, 0x80, 0x40, ""},
                           {9, 0xFF, 0xFF, ""},
                           {0x87, 0x80, 0x40, ""}}) {
        executor::reset();
        java::setString(rule, "ServiceTOS", "before");
        executor::answer(
            21,
            replyImage(Image(344, 0).byte(43, static_cast<uint8_t>(row.type)).byte(184, row.clear).byte(185, row.set)));
        EXPECT_EQ(java::call("getRuleStatusNative", rule), 0);
        EXPECT_EQ(java::getString(rule, "ServiceTOS"), row.text) << row.type;
    }
}

// --- Texts -----------------------------------------------------------------------------------------------------------

TEST_F(RulesTest, MissingTextsAreEmptyTexts) {
    for (const char *name : {"Pattern", "CookieName", "sHashID"})
        java::setNull(rule, name, kStringType);
    java::setByte(rule, "SetPattern", 1);
    java::setByte(rule, "SetCookieName", 1);
    EXPECT_EQ(java::call("addRuleNative", rule), 0);
    EXPECT_SENT(nothingSet(18).byte(191, 1).byte(197, 1).text(84, "").text(204, "").text(304, "").byte(305, 0xEE).byte(
        306, 0xEE));
}

TEST_F(RulesTest, ATextLongerThanItsFieldRunsIntoTheNextOnes) {
    java::setByte(rule, "SetPattern", 1);
    java::setString(rule, "Pattern", std::string(115, 'p'));
    EXPECT_EQ(java::call("addRuleNative", rule), 0);
    Image image = nothingSet(18).text(84, std::string(115, 'p'));
    for (std::size_t later = 194; later <= 197; ++later) // flags that are written after the pattern
        image.byte(later, 0);
    EXPECT_SENT(image);
    EXPECT_EQ(java::getByte(rule, "SetPriority"), 'p'); // flags go back as the block holds them

    executor::reset();
    rule = newRule();
    java::setByte(rule, "SetCookieName", 1);
    java::setString(rule, "CookieName", std::string(120, 'c'));
    EXPECT_EQ(java::call("addRuleNative", rule), 0);
    EXPECT_SENT(nothingSet(18).byte(197, 1).text(204, std::string(120, 'c')).text(304, "h1"));
}

TEST_F(RulesTest, TextsEndWithTheStorageOfTheBlock) {
    const std::string text(200000, 't');
    java::setString(rule, "sHashID", text);
    EXPECT_EQ(java::call("addRuleNative", rule), 0);
    EXPECT_SENT(nothingSet(18).text(304, text.substr(0, 39)).byte(343, 't'));
    EXPECT_EQ(strnlen(reinterpret_cast<const char *>(&ucb) + 304, sizeof(ucb) - 304), sizeof(ucb) - 304 - 1);

    executor::reset();
    java::setString(rule, "RuleName", text);
    EXPECT_EQ(java::call("setRuleCPSNative", rule), 0);
    EXPECT_SENT(namedReport(81).word(24, 0).text(32, text.substr(0, 155)).byte(187, 't'));
    EXPECT_EQ(strnlen(reinterpret_cast<const char *>(&ucb) + 32, sizeof(ucb) - 32), sizeof(ucb) - 32 - 1);
}

// --- Other commands --------------------------------------------------------------------------------------------------

TEST_F(RulesTest, RemoveSendsTheName) {
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("removeRuleNative", rule), 0); }),
              Names({"ClusterId", "PortNumber", "RuleName"}));
    EXPECT_SENT(named(19));
}

TEST_F(RulesTest, ConnectionsPerSecondCheckNeitherPortNorName) {
    java::setInt(rule, "iConnectionsPerSecond", -500);
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("setRuleCPSNative", rule), 0); }),
              Names({"iConnectionsPerSecond", "ClusterId", "PortNumber", "RuleName"}));
    EXPECT_SENT(namedReport(81).word(24, static_cast<uint32_t>(-500)));

    executor::reset();
    const std::string longName(50, 'n');
    java::setInt(rule, "PortNumber", 70000); // 4464 in 16 bits
    java::setString(rule, "RuleName", longName);
    EXPECT_EQ(java::call("setRuleCPSNative", rule), 0);
    EXPECT_SENT(namedReport(81).word(24, static_cast<uint32_t>(-500)).hex(20, "1170").text(32, longName));

    java::setNull(rule, "RuleName", kStringType);
    java::setInt(rule, "PortNumber", -1);
    executor::reset();
    EXPECT_EQ(java::call("setRuleCPSNative", rule), 0);
    EXPECT_SENT(Image(188)
                    .header(81, 188)
                    .word(24, static_cast<uint32_t>(-500))
                    .word(16, kKeyOfWeb)
                    .hex(20, "ffff")
                    .text(32, ""));
}

// Which is allocated before all else.
TEST_F(RulesTest, MemoryForTheTextOfAListComesBeforeThePort) {
    jobject list = java::make("java/lang/StringBuffer");
    calls::countAllocations(1);
    EXPECT_EQ(kList.ask(list, java::makeString("web"), -1), -28);
    calls::countAllocations();
}

} // namespace
