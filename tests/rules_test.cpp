// Rules.
#include "harness/record_test.h"

#include "library/channel/channel.h"
#include "library/config/rules.h"

namespace {

constexpr Method kAdd = {"addRuleNative", 18};
constexpr Method kSet = {"setRuleStatusNative", 22};
constexpr Method kRemove = {"removeRuleNative", 19};
constexpr Method kStatus = {"getRuleStatusNative", 21};
constexpr Method kReport = {"getRuleReportNative", 23};
constexpr Method kSetCps = {"setRuleCPSNative", 81};
constexpr Method kMethods[] = {kAdd, kSet, kRemove, kStatus, kReport, kSetCps};
constexpr Method kCheckedMethods[] = {kAdd, kSet, kRemove, kStatus, kReport}; // those that check port and name
constexpr int32_t kLookUp = 21;                                               // how the library asks for a rule's type

// In the order in which the library reads them; the type, which comes first and is given or looked up, is not here.
const Setting kSettings[] = {
    {"SetBeginRange", 187, [](jobject o) { java::setInt(o, "BeginRange", 0x01020304); },
     [](Image &i) { i.word(44, 0x01020304); }},
    {"SetEndRange", 188, [](jobject o) { java::setInt(o, "EndRange", -2); }, [](Image &i) { i.word(48, 0xFFFFFFFE); }},
    {"SetPriority", 189, [](jobject o) { java::setInt(o, "Priority", 0x11121314); },
     [](Image &i) { i.word(72, 0x11121314); }},
    {"SetShareLevel", 193, [](jobject o) { java::setInt(o, "iShareLevel", -9); },
     [](Image &i) { i.word(76, 0xFFFFFFF7); }},
    {"SetServiceTOS", 192, [](jobject o) { java::setString(o, "ServiceTOS", "01xxxxxx"); },
     [](Image &i) { i.byte(184, 0x80).byte(185, 0x40); }},
    {"SetPattern", 191, [](jobject o) { java::setString(o, "Pattern", "/docs/*"); },
     [](Image &i) { i.text(84, "/docs/*"); }},
    {"SetEvaluate", 194, [](jobject o) { java::setByte(o, "bEvaluate", -2); },
     [](Image &i) { i.word(52, 0xFFFFFFFE); }},
    {"SetWhatAffinity", 195, [](jobject o) { java::setInt(o, "WhatAffinity", 0x21222324); },
     [](Image &i) { i.word(56, 0x21222324); }},
    {"SetStickyTime", 196, [](jobject o) { java::setInt(o, "StickyTime", -1); },
     [](Image &i) { i.quad(64, 0xFFFFFFFFFFFFFFFF); }},
    {"SetCookieName", 197, [](jobject o) { java::setString(o, "CookieName", "SESSION"); },
     [](Image &i) { i.text(204, "SESSION"); }},
};

// In the order in which the flags go back to Java; SetConfigSource does not.
constexpr WrittenFlag kWriteBack[] = {
    {"SetRuleType", 186},     {"SetBeginRange", 187}, {"SetEndRange", 188},   {"SetPriority", 189},
    {"SetPattern", 191},      {"SetServiceTOS", 192}, {"SetShareLevel", 193}, {"SetEvaluate", 194},
    {"SetWhatAffinity", 195}, {"SetStickyTime", 196}, {"SetCookieName", 197},
};

struct RulesTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        rule = newRule();
    }

    // A rule of type 5.
    static jobject newRule() {
        jobject object = java::make("CMNRule");
        java::setString(object, "ClusterId", "web");
        java::setInt(object, "PortNumber", 80);
        java::setString(object, "RuleName", "images");
        java::setString(object, "sHashID", "h1");
        java::setByte(object, "SetRuleType", 1);
        java::setByte(object, "RuleType", 5);
        return object;
    }

    // What names the rule in the rule record, and in the report record.
    static Image named(int32_t command) {
        return Image(344).header(command, 344).word(16, kKeyOfWeb).hex(20, "0050").text(22, "images");
    }

    static Image namedReport(int32_t command) {
        return Image(188).header(command, 188).word(16, kKeyOfWeb).hex(20, "0050").text(32, "images");
    }

    // What adding or changing puts over the block when the type is 5 and no other flag is set.
    static Image &nothingSet(Image &image) {
        image.byte(186, 1).byte(43, 5).byte(190, 0).word(80, 0).text(304, "h1");
        for (const Setting &setting : kSettings)
            image.byte(setting.flagOffset, 0);
        return image;
    }

    static Image nothingSet(int32_t command) {
        Image image = named(command);
        return nothingSet(image);
    }

    static void giveAll(jobject object, int flag) {
        for (const Setting &setting : kSettings) {
            setting.give(object);
            java::setByte(object, setting.flag, flag);
        }
    }

    static void expectFlags(jobject object, int flag) {
        for (const Setting &setting : kSettings)
            EXPECT_EQ(java::getByte(object, setting.flag), flag) << setting.flag;
    }

    // The executor knows the rule as one of this type, in a record of 0xAA.
    static Image knownAs(int type) {
        Image image(344, 0xAA);
        image.byte(43, static_cast<uint8_t>(type));
        executor::answer(kLookUp, replyImage(image));
        return image;
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

TEST_F(RulesTest, WithoutFlagsNameConfigurationSourceHashAndFlagsTravel) {
    giveAll(rule, 0);
    java::setInt(rule, "_iConfigSource", 0x31323334);
    for (const Method &method : {kAdd, kSet}) {
        executor::reset();
        EXPECT_EQ(java::call(method.name, rule), 0);
        EXPECT_SENT(nothingSet(method.command).word(80, 0x31323334));
        EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({method.command}));
    }
}

TEST_F(RulesTest, EachSettingTravelsAlone) {
    for (const Setting &setting : kSettings) {
        executor::reset();
        rule = newRule();
        setting.give(rule);
        java::setByte(rule, setting.flag, 1);
        EXPECT_EQ(java::call("addRuleNative", rule), 0) << setting.flag;
        Image image = nothingSet(18).byte(setting.flagOffset, 1);
        setting.expect(image);
        EXPECT_SENT(image) << setting.flag;
    }
}

TEST_F(RulesTest, OtherFlagValuesTravelWithoutTheirSettingAndComeBack) {
    for (const int flag : {2, -1}) {
        executor::reset();
        giveAll(rule, flag);
        java::setByte(rule, "SetConfigSource", flag);
        const auto byte = static_cast<uint8_t>(flag);
        Image image = nothingSet(22).byte(190, byte);
        for (const Setting &setting : kSettings)
            image.byte(setting.flagOffset, byte);
        EXPECT_EQ(java::call("setRuleStatusNative", rule), 0);
        EXPECT_SENT(image);
        expectFlags(rule, flag);
    }
}

TEST_F(RulesTest, GoldenImageOfAllSettings) {
    giveAll(rule, 1);
    java::setByte(rule, "SetConfigSource", 1);
    java::setInt(rule, "_iConfigSource", -3);
    for (const Method &method : {kAdd, kSet}) {
        executor::reset();
        Image image = nothingSet(method.command).byte(190, 1).word(80, 0xFFFFFFFD);
        for (const Setting &setting : kSettings) {
            image.byte(setting.flagOffset, 1);
            setting.expect(image);
        }
        EXPECT_EQ(java::call(method.name, rule), 0);
        EXPECT_SENT(image);
    }
}

TEST_F(RulesTest, ReadsFieldsInOrder) {
    giveAll(rule, 1);
    Names expected = {"ClusterId",     "PortNumber",      "SetConfigSource", "_iConfigSource", "RuleName",
                      "SetRuleType",   "RuleType",        "SetBeginRange",   "BeginRange",     "SetEndRange",
                      "EndRange",      "SetPriority",     "Priority",        "SetShareLevel",  "iShareLevel",
                      "SetServiceTOS", "ServiceTOS",      "SetPattern",      "Pattern",        "SetEvaluate",
                      "bEvaluate",     "SetWhatAffinity", "WhatAffinity",    "SetStickyTime",  "StickyTime",
                      "SetCookieName", "CookieName",      "sHashID"};
    const Names flags = namesOf(kWriteBack);
    expected.insert(expected.end(), flags.begin(), flags.end());
    for (const Method &method : {kAdd, kSet})
        EXPECT_EQ(java::fieldsLookedUp([&] { java::call(method.name, rule); }), expected);
    java::setByte(rule, "RuleType", 1);
    java::setString(rule, "AddressBeginRange", "10.0.0.1");
    java::setString(rule, "AddressEndRange", "10.0.0.9");
    std::replace(expected.begin(), expected.end(), std::string("BeginRange"), std::string("AddressBeginRange"));
    std::replace(expected.begin(), expected.end(), std::string("EndRange"), std::string("AddressEndRange"));
    EXPECT_EQ(java::fieldsLookedUp([&] { java::call("addRuleNative", rule); }), expected);
}

TEST_F(RulesTest, PortNumbersGoFrom0To65535) {
    for (const auto &[number, bytes] : {std::pair(0, "0000"), {65535, "ffff"}})
        for (const Method &method : kCheckedMethods) {
            executor::reset();
            rule = newRule();
            java::setInt(rule, "PortNumber", number);
            EXPECT_EQ(java::call(method.name, rule), 0) << method.name;
            ASSERT_EQ(executor::sent().size(), 1u);
            EXPECT_EQ(executor::dump({executor::lastSent().begin() + 20, executor::lastSent().begin() + 22}),
                      executor::dump(Image(2).hex(0, bytes).bytes));
        }
    executor::reset();
    giveAll(rule, 7);
    for (const jint number : {-1, 65536, 65616, -2147483647 - 1, 2147483647})
        for (const Method &method : kCheckedMethods) {
            java::setInt(rule, "PortNumber", number);
            expectRefused(method, -10, "PortNumber");
        }
    expectFlags(rule, 7);
}

TEST_F(RulesTest, NamesOf20BytesAreTheLongest) {
    const std::string longest[] = {std::string(20, 'n'), "\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9"
                                                         "0123456789"};
    for (const std::string &name : longest) {
        rule = newRule();
        java::setString(rule, "RuleName", name);
        for (const Method &method : {kAdd, kSet}) {
            EXPECT_EQ(java::call(method.name, rule), 0);
            EXPECT_SENT(nothingSet(method.command).text(22, name).byte(43, 5));
            executor::reset();
        }
        for (const Method &method : {kRemove, kStatus}) {
            EXPECT_EQ(java::call(method.name, rule), 0);
            EXPECT_SENT(named(method.command).text(22, name));
            executor::reset();
        }
        EXPECT_EQ(java::call("getRuleReportNative", rule), 0);
        EXPECT_SENT(namedReport(23).text(32, name));
        executor::reset();
    }
    giveAll(rule, 7);
    for (const std::string &name : longest)
        for (const Method &method : kCheckedMethods) {
            java::setString(rule, "RuleName", name + "n");
            expectRefused(method, -51, "RuleName");
        }
    expectFlags(rule, 7);
}

TEST_F(RulesTest, WithoutNameNothingIsSent) {
    giveAll(rule, 7);
    for (const Method &method : kCheckedMethods) {
        const java::FailingCharacters failing(2);
        expectRefused(method, -51, "RuleName");
    }
    java::setNull(rule, "RuleName", kStringType);
    for (const Method &method : kCheckedMethods)
        expectRefused(method, -51, "RuleName");
    expectFlags(rule, 7);
}

TEST_F(RulesTest, TheEmptyNameIsAName) {
    java::setString(rule, "RuleName", "");
    EXPECT_EQ(java::call("removeRuleNative", rule), 0);
    EXPECT_SENT(Image(344).header(19, 344).word(16, kKeyOfWeb).hex(20, "0050").text(22, ""));
}

TEST_F(RulesTest, WithoutClusterIdentifierNothingIsSent) {
    giveAll(rule, 7);
    const auto lastRead = [](const Method &method) {
        return method.command == kAdd.command || method.command == kSet.command ? "sHashID" : "RuleName";
    };
    for (const Method &method : kMethods) {
        const java::FailingCharacters failing(1);
        expectRefused(method, -99, lastRead(method));
    }
    java::setNull(rule, "ClusterId", kStringType);
    for (const Method &method : kMethods)
        expectRefused(method, -99, lastRead(method));
    expectFlags(rule, 7);
    java::setByte(rule, "SetRuleType", 0);
    for (const Method &method : {kAdd, kSet})
        expectRefused(method, -99, "SetRuleType"); // nor is the executor asked for the type
}

TEST_F(RulesTest, TypesGoFrom0To9) {
    for (int type = 0; type <= 9; ++type) {
        java::setByte(rule, "RuleType", type);
        EXPECT_EQ(java::call("addRuleNative", rule), 0) << type;
        EXPECT_SENT(nothingSet(18).byte(43, static_cast<uint8_t>(type)));
    }
    executor::reset();
    giveAll(rule, 7);
    for (const int type : {-1, 10, 127, -128})
        for (const Method &method : {kAdd, kSet}) {
            java::setByte(rule, "RuleType", type);
            expectRefused(method, -52, "RuleType");
        }
    expectFlags(rule, 7);
    EXPECT_EQ(java::getByte(rule, "SetRuleType"), 1);
}

TEST_F(RulesTest, ReasonsOfAddingAndChangingBecomeStatuses) {
    expectStatuses({kAdd, kSet},
                   {{-46, -50},
                    {-47, -58},
                    {-70, -82},
                    {-45, -28},
                    {-5, -5},
                    {-1, -12},
                    {-44, -99},
                    {-48, -99},
                    {-69, -99},
                    {-71, -99},
                    {-2, -99},
                    {-4, -99},
                    {-6, -99},
                    {-51, -99},
                    {-57, -99},
                    {0, -99},
                    {46, -99},
                    {-103, -99}},
                   rule);
}

TEST_F(RulesTest, ReasonsOfTheOtherCommandsBecomeStatuses) {
    expectStatuses({kRemove, kStatus, kReport},
                   {{-5, -5},
                    {-1, -12},
                    {-44, -57},
                    {-43, -99},
                    {-45, -99},
                    {-46, -99},
                    {-47, -99},
                    {-70, -99},
                    {-2, -99},
                    {-4, -99},
                    {-6, -99},
                    {0, -99}},
                   rule);
}

TEST_F(RulesTest, FlagsGoBackWhetherTheExecutorTakesTheCommandOrNot) {
    for (const int32_t result : {0, -1})
        for (const Method &method : {kAdd, kSet}) {
            executor::reset();
            rule = newRule();
            java::setByte(rule, "SetConfigSource", 5);
            executor::answer(method.command, [&](uint8_t *block, uint32_t length) {
                block[190] = 77;
                return markFlags(kWriteBack, result)(block, length);
            });
            const Names names = java::fieldsLookedUp([&] { java::call(method.name, rule); });
            EXPECT_EQ(tail(names, std::size(kWriteBack) + 1).front(), "sHashID");
            EXPECT_EQ(tail(names, std::size(kWriteBack)), namesOf(kWriteBack));
            for (const WrittenFlag &flag : kWriteBack)
                EXPECT_EQ(java::getByte(rule, flag.name), markOf(flag)) << flag.name;
            EXPECT_EQ(java::getByte(rule, "SetConfigSource"), 5);
        }
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
            known.header(method.command, 344).word(4, 0xEEEEEEEE).word(8, 0xEEEEEEEE).text(304, "h1");
            for (const Setting &setting : kSettings)
                known.byte(setting.flagOffset, 0);
            EXPECT_SENT(known);
            EXPECT_EQ(java::getByte(rule, "SetRuleType"), static_cast<int8_t>(0xAA));
            EXPECT_EQ(java::getByte(rule, "SetConfigSource"), 1);
        }
}

TEST_F(RulesTest, SettingsComeOnTopOfTheLookedUpRecord) {
    giveAll(rule, 1);
    java::setByte(rule, "SetRuleType", 0);
    Image known = knownAs(9);
    EXPECT_EQ(java::call("setRuleStatusNative", rule), 0);
    known.header(22, 344).word(4, 0xEEEEEEEE).word(8, 0xEEEEEEEE).text(304, "h1");
    for (const Setting &setting : kSettings) {
        known.byte(setting.flagOffset, 1);
        setting.expect(known);
    }
    EXPECT_SENT(known);
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
    giveAll(rule, 7);
    java::setByte(rule, "SetRuleType", 0);
    for (const ReasonRow &row : {ReasonRow{-5, -5},
                                 {-1, -12},
                                 {-44, -57},
                                 {-45, -99},
                                 {-46, -99},
                                 {-47, -99},
                                 {-70, -99},
                                 {-43, -99},
                                 {-2, -99},
                                 {0, -99}})
        for (const Method &method : {kAdd, kSet})
            for (const int32_t result : {-1, 19}) {
                executor::reset();
                executor::answer(kLookUp, executor::refuse(row.reason, result));
                const Names names =
                    java::fieldsLookedUp([&] { EXPECT_EQ(java::call(method.name, rule), row.status) << row.reason; });
                EXPECT_EQ(names.back(), "SetRuleType");
                EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({kLookUp}));
            }
    expectFlags(rule, 7);
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

TEST_F(RuleRangesTest, FollowTheLookedUpType) {
    java::setByte(rule, "SetRuleType", 0);
    java::setByte(rule, "RuleType", 1); // not read
    for (const int type : {1, 2}) {
        executor::reset();
        Image known = knownAs(type);
        EXPECT_EQ(java::call("setRuleStatusNative", rule), 0);
        known.header(22, 344).word(4, 0xEEEEEEEE).word(8, 0xEEEEEEEE).text(304, "h1");
        for (const Setting &setting : kSettings)
            known.byte(setting.flagOffset, 0);
        known.byte(187, 1).byte(188, 1);
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

// --- Reading ---------------------------------------------------------------------------------------------------------

TEST_F(RulesTest, RemoveSendsTheName) {
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("removeRuleNative", rule), 0); }),
              Names({"ClusterId", "PortNumber", "RuleName"}));
    EXPECT_SENT(named(19));
}

TEST_F(RulesTest, StatusIsReadIntoTheFieldsInOrder) {
    Image reply(344, 0xAA);
    reply.byte(43, 7).hex(44, "0a000001").hex(48, "c0000207").word(52, 0x123456FE).word(56, 0x123456F0);
    reply.quad(64, 0x10000003C).word(72, 0x11121314).word(76, 0x21222324).word(80, 0x31323334).text(84, "/docs/*");
    reply.byte(184, 0x80).byte(185, 0x40).word(200, 3).text(204, "SESSION");
    executor::answer(21, replyImage(reply));
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("getRuleStatusNative", rule), 0); }),
              Names({"ClusterId", "PortNumber", "RuleName", "RuleType", "AddressBeginRange", "BeginRange",
                     "AddressEndRange", "EndRange", "Priority", "_iConfigSource", "iShareLevel", "NumServers",
                     "Pattern", "bEvaluate", "WhatAffinity", "CookieName", "StickyTime", "ServiceTOS"}));
    EXPECT_SENT(named(21));
    jint begin = 0;
    jint end = 0;
    memcpy(&begin, &reply.bytes[44], sizeof(begin));
    memcpy(&end, &reply.bytes[48], sizeof(end));
    EXPECT_EQ(java::getByte(rule, "RuleType"), 7);
    EXPECT_EQ(java::getString(rule, "AddressBeginRange"), "10.0.0.1");
    EXPECT_EQ(java::getInt(rule, "BeginRange"), begin);
    EXPECT_EQ(java::getString(rule, "AddressEndRange"), "192.0.2.7");
    EXPECT_EQ(java::getInt(rule, "EndRange"), end);
    EXPECT_EQ(java::getInt(rule, "Priority"), 0x11121314);
    EXPECT_EQ(java::getInt(rule, "_iConfigSource"), 0x31323334);
    EXPECT_EQ(java::getInt(rule, "iShareLevel"), 0x21222324);
    EXPECT_EQ(java::getInt(rule, "NumServers"), 3);
    EXPECT_EQ(java::getString(rule, "Pattern"), "/docs/*");
    EXPECT_EQ(java::getByte(rule, "bEvaluate"), -2);
    EXPECT_EQ(java::getInt(rule, "WhatAffinity"), -16); // of the word the low byte, with its sign
    EXPECT_EQ(java::getString(rule, "CookieName"), "SESSION");
    EXPECT_EQ(java::getInt(rule, "StickyTime"), 60); // the low 32 bits
    EXPECT_EQ(java::getString(rule, "ServiceTOS"), "01xxxxxx");
}

TEST_F(RulesTest, NarrowFieldsAreReadWithTheirSign) {
    executor::answer(21, replyImage(Image(344, 0).byte(43, 0xFD).word(56, 0x17F).quad(64, 0xFFFFFFFFFFFFFFFF)));
    EXPECT_EQ(java::call("getRuleStatusNative", rule), 0);
    EXPECT_EQ(java::getByte(rule, "RuleType"), -3);
    EXPECT_EQ(java::getInt(rule, "WhatAffinity"), 0x7F);
    EXPECT_EQ(java::getInt(rule, "StickyTime"), -1);
}

TEST_F(RulesTest, TextsWithoutTerminatorEndWithTheirField) {
    Image reply(344, 0);
    for (std::size_t i = 0; i < 100; ++i)
        reply.byte(84 + i, 'p').byte(204 + i, 'c');
    executor::answer(21, replyImage(reply.byte(184, 'q').byte(304, 'd')));
    EXPECT_EQ(java::call("getRuleStatusNative", rule), 0);
    EXPECT_EQ(java::getString(rule, "Pattern"), std::string(100, 'p'));
    EXPECT_EQ(java::getString(rule, "CookieName"), std::string(100, 'c'));
}

TEST_F(RulesTest, ReportIsReadIntoTheFieldsInOrder) {
    Image reply(188, 0xAA);
    for (const uint32_t offset : {24u, 28u, 56u, 60u, 64u, 84u})
        reply.word(offset, offset + 1000);
    executor::answer(23, replyImage(reply));
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("getRuleReportNative", rule), 0); }),
              Names({"ClusterId", "PortNumber", "RuleName", "TimesFired", "iUniqueId", "NumServers",
                     "iConnectionsPerSecond", "ActiveConnections", "iBytesPerSecond"}));
    EXPECT_SENT(namedReport(23));
    EXPECT_EQ(java::getInt(rule, "TimesFired"), 1060);
    EXPECT_EQ(java::getInt(rule, "iUniqueId"), 1056);
    EXPECT_EQ(java::getInt(rule, "NumServers"), 1064);
    EXPECT_EQ(java::getInt(rule, "iConnectionsPerSecond"), 1024);
    EXPECT_EQ(java::getInt(rule, "ActiveConnections"), 1028);
    EXPECT_EQ(java::getInt(rule, "iBytesPerSecond"), 1084);
}

TEST_F(RulesTest, ARefusedReadTouchesNoField) {
    for (const Method &method : {kStatus, kReport}) {
        executor::answer(method.command, executor::refuse(-44));
        EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call(method.name, rule), -57); }),
                  Names({"ClusterId", "PortNumber", "RuleName"}));
    }
}

// --- Connections per second ------------------------------------------------------------------------------------------

TEST_F(RulesTest, ConnectionsPerSecondCheckNothingAndMapNothing) {
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

    for (const int32_t result : {-1, 9, 4711}) {
        executor::reset();
        executor::answer(81, executor::refuse(-44, result));
        EXPECT_EQ(java::call("setRuleCPSNative", rule), result);
    }
}

// --- What is given back ----------------------------------------------------------------------------------------------

TEST_F(RulesTest, NullObjectsAreNamed) {
    for (const Method &method : kMethods) {
        java::call(method.name, nullptr);
        EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: rule") << method.name;
    }
    java::callInt("getRulesListNative", "(Ljava/lang/String;ILjava/lang/Object;)I", java::makeString("web"), 80,
                  nullptr);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: list");
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(RulesTest, WhatIsObtainedFromJavaIsGivenBack) {
    giveAll(rule, 1);
    java::setByte(rule, "RuleType", 1);
    java::setString(rule, "AddressBeginRange", "10.0.0.1");
    java::setString(rule, "AddressEndRange", "absent.example");
    const auto expectGivenBack = [&](const Method &method, jint status) {
        EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(java::call(method.name, rule), status); }), 0u) << method.name;
    };
    expectGivenBack(kAdd, -54);
    java::setString(rule, "AddressBeginRange", "absent.example");
    expectGivenBack(kAdd, -53);
    java::setByte(rule, "RuleType", 10);
    expectGivenBack(kAdd, -52);
    java::setByte(rule, "RuleType", 5);
    for (const Method &method : kMethods)
        expectGivenBack(method, 0);
    java::setString(rule, "RuleName", std::string(21, 'n'));
    for (const Method &method : kCheckedMethods)
        expectGivenBack(method, -51);
    expectGivenBack(kSetCps, 0);
}

// --- The list --------------------------------------------------------------------------------------------------------

struct RulesListTest : ListTest {
    void SetUp() override {
        ListTest::SetUp();
        identifier = java::makeString("web");
    }

    // The executor has these rules.
    static void rules(const Names &names) {
        count(static_cast<uint32_t>(names.size()));
        executor::answer(20, entries(names, 28, 28, 28));
    }

    static void count(uint32_t rules) {
        executor::answer(15, executor::reply({{40, rules}}));
    }

    jint askUncounted(jint port = 80) const {
        return java::callInt("getRulesListNative", "(Ljava/lang/String;ILjava/lang/Object;)I", identifier, port, list);
    }

    jint ask(jint port = 80) {
        return counted([&] { return askUncounted(port); });
    }

    void expectNone(jint status, const std::vector<int32_t> &commands, jint port = 80) {
        expectNoList([&] { return askUncounted(port); }, status, commands);
    }

    jstring identifier = nullptr;
};

TEST_F(RulesListTest, NamesFollowOneAnotherEachLedByAPlus) {
    rules({"images", "a b", "100%s"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+images+a b+100%s");
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({15, 20}));
    EXPECT_EQ(executor::dump(executor::sent()[0]),
              executor::dump(Image(72).header(15, 72).word(16, kKeyOfWeb).hex(20, "0050").bytes));
    expectNothingHeld();
}

TEST_F(RulesListTest, TheBlockIsSizedForTheRules) {
    rules({"images", "docs", "news"});
    EXPECT_EQ(ask(443), 0);
    EXPECT_SENT(Image(28 + 28 * 3, 0).header(20, 28 + 28 * 3).word(16, kKeyOfWeb).hex(20, "01bb").word(24, 3));
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 28 + 28 * 3}));
}

TEST_F(RulesListTest, AppendsToWhatTheBufferHolds) {
    rules({"images"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+images+images");
}

TEST_F(RulesListTest, NoRulesGiveTheEmptyText) {
    rules({});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "");
    EXPECT_SENT(Image(28, 0).header(20, 28).word(16, kKeyOfWeb).hex(20, "0050").word(24, 0));
}

TEST_F(RulesListTest, AsManyNamesAreReadAsThePortReportTold) {
    for (const int32_t replied : {-1, 0, 1, 4, 2147483647}) { // what the reply's count word says does not matter
        list = java::make("java/lang/StringBuffer");
        executor::reset();
        count(3);
        executor::answer(20, [=](uint8_t *block, uint32_t length) {
            memcpy(block + 24, &replied, sizeof(replied));
            return entries({"images", "docs", "news"}, 28, 28, 28)(block, length);
        });
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(java::text(list), "+images+docs+news") << replied;
    }
}

TEST_F(RulesListTest, AnImpossibleNumberOfRulesIsOutOfMemory) {
    for (const uint32_t rules : {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, 153391689u}) { // the last: 2^32 bytes and more
        executor::reset();
        count(rules);
        expectNone(-28, {15});
        EXPECT_EQ(sizes, std::vector<std::size_t>({10000})) << rules;
    }
    executor::reset();
    count(153391688); // the most whose size the length word can tell
    failing = 2;
    expectNone(-28, {15});
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 4294967292}));
}

TEST_F(RulesListTest, NamesWithoutTerminatorEndWithTheirEntry) {
    const std::string name(28, 'n');
    rules({name, "docs"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+" + name + "+docs");
}

TEST_F(RulesListTest, ALongListGrowsTheText) {
    Names names;
    for (int i = 0; i < 1000; ++i)
        names.push_back("the-name-of-rule" + std::to_string(1000 + i)); // 21 characters each: 476 fit into 10000
    rules(names);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), joined(names));
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 28 + 28 * 1000, 9996 + 21 + 10001, 20013 + 21 + 10001}));
    expectNothingHeld();
}

TEST_F(RulesListTest, ATextThatJustFitsIsNotGrown) {
    const Names names(1111, std::string(8, 'n')); // 9999 characters and the terminator
    rules(names);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), joined(names));
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 28 + 28 * 1111}));
}

TEST_F(RulesListTest, ATextThatCannotGrowEndsTheListThere) {
    rules(Names(1000, std::string(20, 'n')));
    failing = 3;
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list).size(), 476u * 21);
    expectNothingHeld();
}

TEST_F(RulesListTest, AFailedReportIsReturnedAsItIsWithTheEmptyText) {
    expectReportStatuses(15, [&] { return askUncounted(); });
}

TEST_F(RulesListTest, ReasonsOfAFailedListBecomeStatusesWithTheEmptyText) {
    expectListStatuses(
        {{-5, -5}, {-1, -12}, {-44, -99}, {-2, -99}, {-4, -99}, {-6, -99}, {0, -99}}, {15, 20}, [] { count(1); },
        [&] { return askUncounted(); });
}

TEST_F(RulesListTest, PortsGoFrom0To65535) {
    rules({"images"});
    for (const jint port : {-1, 65536, 65616, -2147483647 - 1, 2147483647})
        expectNone(-10, {}, port);
    for (const auto &[port, bytes] : {std::pair(0, "0000"), {65535, "ffff"}}) {
        EXPECT_EQ(ask(port), 0);
        EXPECT_SENT(Image(56, 0).header(20, 56).word(16, kKeyOfWeb).hex(20, bytes).word(24, 1));
    }
}

TEST_F(RulesListTest, WithoutMemory) {
    rules({"images"});
    failing = 1; // the text, which comes before all else
    expectNone(-28, {}, -1);
    expectNone(-28, {});
    failing = 2; // the block
    expectNone(-28, {15});
}

TEST_F(RulesListTest, WithoutIdentifierNothingIsSent) {
    rules({"images"});
    identifier = nullptr;
    expectNone(-99, {});
}

} // namespace
