// Ports.
#include "harness/record_test.h"

#include "library/channel/channel.h"
#include "library/config/ports.h"

namespace {

constexpr Method kAdd = {"addPortNative", 10};
constexpr Method kSet = {"setPortStatusNative", 14};
constexpr Method kRemove = {"removePortNative", 11};
constexpr Method kStatus = {"getPortStatusNative", 13};
constexpr Method kReport = {"getPortReportNative", 15};
constexpr Method kSetCps = {"setPortCPSNative", 80};
constexpr Method kMethods[] = {kAdd, kSet, kRemove, kStatus, kReport, kSetCps};

// In the order in which the library reads them.
const Setting kSettings[] = {
    {"SetMaxNumberOfServers", 80, [](jobject o) { java::setInt(o, "MaxNumberOfServers", 0x01020304); },
     [](Image &i) { i.word(32, 0x01020304); }},
    {"SetStaleTimeout", 84, [](jobject o) { java::setInt(o, "StaleTimeout", -300); },
     [](Image &i) { i.word(56, 0xFFFFFFFF).word(60, 0xFFFFFED4); }},
    {"SetStickyTime", 81, [](jobject o) { java::setInt(o, "StickyTime", 0x7FFFFFFF); },
     [](Image &i) { i.word(40, 0).word(44, 0x7FFFFFFF); }},
    {"SetStickyBits", 83, [](jobject o) { java::setInt(o, "iStickyBits", -24); },
     [](Image &i) { i.word(52, 0xFFFFFFE8); }},
    {"SetWeightBound", 85, [](jobject o) { java::setInt(o, "WeightBound", 0x18014); },
     [](Image &i) { i.half(64, 0x8014); }},
    {"SetType", 86, [](jobject o) { java::setChar(o, "Type", 0x2F1); }, [](Image &i) { i.byte(66, 0xF1); }},
    {"SetMethod", 87, [](jobject o) { java::setInt(o, "iMethod", 0x2FFFE); }, [](Image &i) { i.half(68, 0xFFFE); }},
    {"SetPortProtocol", 82, [](jobject o) { java::setInt(o, "iPortProtocol", 0x1FFFF); },
     [](Image &i) { i.half(48, 0xFFFF); }},
    {"SetReplicate", 88, [](jobject o) { java::setInt(o, "Replicate", 0x1FE); }, [](Image &i) { i.byte(70, 0xFE); }},
    {"SetMaxHalfOpen", 90, [](jobject o) { java::setInt(o, "iMaxHalfOpen", 0x11121314); },
     [](Image &i) { i.word(76, 0x11121314); }},
    {"SetCrossPort", 89, [](jobject o) { java::setInt(o, "iCrossPort", 80); }, [](Image &i) { i.hex(72, "0050"); }},
    {"SetSendReset", 91, [](jobject o) { java::setByte(o, "SendReset", -7); }, [](Image &i) { i.byte(92, 0xF9); }},
};

// In the order in which the flags go back to Java.
constexpr WrittenFlag kWriteBack[] = {
    {"SetMaxNumberOfServers", 80}, {"SetStickyTime", 81},  {"SetPortProtocol", 82}, {"SetStickyBits", 83},
    {"SetStaleTimeout", 84},       {"SetWeightBound", 85}, {"SetType", 86},         {"SetMethod", 87},
    {"SetReplicate", 88},          {"SetMaxHalfOpen", 90}, {"SetCrossPort", 89},    {"SetSendReset", 91},
};

struct PortsTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        port = newPort();
    }

    static jobject newPort() {
        jobject object = java::make("CMNPort");
        java::setString(object, "ClusterId", "web");
        java::setString(object, "ClusterAddress", "10.0.0.5");
        java::setInt(object, "PortNumber", 80);
        return object;
    }

    // What names port 80 of the cluster, in records of either size.
    static Image named(int32_t command, uint32_t length) {
        return Image(length).header(command, length).word(16, kKeyOfWeb).hex(20, "0050");
    }

    // What adding or changing sends when no flag is set.
    static Image nothingSet(int32_t command) {
        Image image = named(command, 96);
        for (const Setting &setting : kSettings)
            image.byte(setting.flagOffset, 0);
        return image;
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

    jobject port = nullptr;
};

TEST_F(PortsTest, WithoutFlagsOnlyTheNameAndTheFlagsTravel) {
    for (const Method &method : {kAdd, kSet}) {
        executor::reset();
        giveAll(port, 0);
        EXPECT_EQ(java::call(method.name, port), 0);
        EXPECT_SENT(nothingSet(method.command));
        EXPECT_EQ(executor::sent().size(), 1u);
    }
}

TEST_F(PortsTest, EachSettingTravelsAlone) {
    for (const Setting &setting : kSettings) {
        executor::reset();
        port = newPort();
        setting.give(port);
        java::setByte(port, setting.flag, 1);
        EXPECT_EQ(java::call("addPortNative", port), 0) << setting.flag;
        Image image = nothingSet(10);
        image.byte(setting.flagOffset, 1);
        setting.expect(image);
        EXPECT_SENT(image) << setting.flag;
    }
}

TEST_F(PortsTest, OtherFlagValuesTravelWithoutTheirSettingAndComeBack) {
    for (const int flag : {2, -1}) {
        executor::reset();
        giveAll(port, flag);
        Image image = nothingSet(14);
        for (const Setting &setting : kSettings)
            image.byte(setting.flagOffset, static_cast<uint8_t>(flag));
        EXPECT_EQ(java::call("setPortStatusNative", port), 0);
        EXPECT_SENT(image);
        expectFlags(port, flag);
    }
}

TEST_F(PortsTest, GoldenImageOfAllSettings) {
    for (const Method &method : {kAdd, kSet}) {
        executor::reset();
        giveAll(port, 1);
        Image image = nothingSet(method.command);
        for (const Setting &setting : kSettings) {
            image.byte(setting.flagOffset, 1);
            setting.expect(image);
        }
        EXPECT_EQ(java::call(method.name, port), 0);
        EXPECT_SENT(image);
    }
}

TEST_F(PortsTest, TimesTravelAsTwoWordsWithTheSignInTheHighOne) {
    struct Row {
        jint value;
        uint32_t high;
        uint32_t low;
    };
    for (const Row &row : {Row{0, 0, 0}, {-1, 0xFFFFFFFF, 0xFFFFFFFF}, {-2147483647 - 1, 0xFFFFFFFF, 0x80000000}}) {
        executor::reset();
        java::setInt(port, "StickyTime", row.value);
        java::setInt(port, "StaleTimeout", row.value);
        java::setByte(port, "SetStickyTime", 1);
        java::setByte(port, "SetStaleTimeout", 1);
        EXPECT_EQ(java::call("addPortNative", port), 0);
        EXPECT_SENT(nothingSet(10)
                        .byte(81, 1)
                        .byte(84, 1)
                        .word(40, row.high)
                        .word(44, row.low)
                        .word(56, row.high)
                        .word(60, row.low));
    }
}

TEST_F(PortsTest, OfTheCrossPortTheLow16BitsTravel) {
    java::setByte(port, "SetCrossPort", 1);
    java::setInt(port, "iCrossPort", 0x21234);
    EXPECT_EQ(java::call("addPortNative", port), 0);
    EXPECT_SENT(nothingSet(10).byte(89, 1).hex(72, "1234"));
}

TEST_F(PortsTest, ReadsFieldsInOrder) {
    giveAll(port, 1);
    Names expected = {"PortNumber",
                      "ClusterId",
                      "PortNumber",
                      "SetMaxNumberOfServers",
                      "MaxNumberOfServers",
                      "SetStaleTimeout",
                      "StaleTimeout",
                      "SetStickyTime",
                      "StickyTime",
                      "SetStickyBits",
                      "iStickyBits",
                      "SetWeightBound",
                      "WeightBound",
                      "SetType",
                      "Type",
                      "SetMethod",
                      "iMethod",
                      "SetPortProtocol",
                      "iPortProtocol",
                      "SetReplicate",
                      "Replicate",
                      "SetMaxHalfOpen",
                      "iMaxHalfOpen",
                      "SetCrossPort",
                      "iCrossPort",
                      "SetSendReset",
                      "SendReset"};
    const Names flags = namesOf(kWriteBack);
    expected.insert(expected.end(), flags.begin(), flags.end());
    for (const Method &method : {kAdd, kSet})
        EXPECT_EQ(java::fieldsLookedUp([&] { java::call(method.name, port); }), expected);
}

TEST_F(PortsTest, PortNumbersGoFrom0To65535) {
    for (const auto &[number, bytes] : {std::pair(0, "0000"), {65535, "ffff"}, {8080, "1f90"}})
        for (const Method &method : kMethods) {
            executor::reset();
            java::setInt(port, "PortNumber", number);
            EXPECT_EQ(java::call(method.name, port), 0) << method.name;
            ASSERT_EQ(executor::commandsSent(), std::vector<int32_t>({method.command}));
            EXPECT_EQ(executor::dump({executor::lastSent().begin() + 20, executor::lastSent().begin() + 22}),
                      executor::dump(Image(2).hex(0, bytes).bytes));
        }
    giveAll(port, 7);
    for (const jint number : {-1, 65536, 65616, -2147483647 - 1, 2147483647})
        for (const Method &method : kMethods) {
            executor::reset();
            java::setInt(port, "PortNumber", number);
            const Names names =
                java::fieldsLookedUp([&] { EXPECT_EQ(java::call(method.name, port), -10) << method.name; });
            EXPECT_EQ(names.back(), "PortNumber") << method.name;
            EXPECT_EQ(names.size(), method.command == kRemove.command ? 2u : 1u) << method.name;
            EXPECT_TRUE(executor::sent().empty());
        }
    expectFlags(port, 7);
}

// Adding and changing look at the number once more in the routine that they share.
TEST_F(PortsTest, TheSharedRoutineChecksTheNumberItself) {
    for (const jint number : {-1, 65536}) {
        java::setInt(port, "PortNumber", number);
        EXPECT_EQ(AddOrSetPort(java::env(), nullptr, port), -10);
    }
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(PortsTest, WithoutClusterIdentifierNothingIsSent) {
    giveAll(port, 7);
    for (const Method &method : kMethods) {
        {
            // Removing reads the address first.
            const java::FailingCharacters failing(method.command == kRemove.command ? 2 : 1);
            EXPECT_EQ(java::call(method.name, port), -99) << method.name;
        }
        java::setNull(port, "ClusterId", kStringType);
        EXPECT_EQ(java::call(method.name, port), -99) << method.name;
        java::setString(port, "ClusterId", "web");
    }
    EXPECT_TRUE(executor::sent().empty());
    expectFlags(port, 7);
}

TEST_F(PortsTest, ReasonsOfAddingAndChangingBecomeStatuses) {
    expectStatuses({kAdd, kSet}, {{-87, -57}, {-84, -84}, {-62, -75}, {-61, -74},  {-56, -68}, {-55, -67}, {-54, -12},
                                  {-53, -66}, {-52, -65}, {-27, -38}, {-18, -73},  {-5, -5},   {-4, -30},  {-3, -14},
                                  {-1, -12},  {-88, -99}, {-86, -99}, {-85, -99},  {-83, -99}, {-63, -99}, {-60, -99},
                                  {-57, -99}, {-51, -99}, {-28, -99}, {-26, -99},  {-19, -99}, {-17, -99}, {-6, -99},
                                  {0, -99},   {2, -99},   {5, -99},   {-103, -99}, {-99, -99}, {-7, -99},  {-44, -99}},
                   port);
    EXPECT_TRUE(calls::waits().empty());
}

TEST_F(PortsTest, ReasonsOfTheOtherCommandsBecomeStatuses) {
    expectStatuses({kRemove, kStatus, kReport},
                   {{-5, -5}, {-1, -12}, {-2, -99}, {-3, -99}, {-4, -99}, {-6, -99}, {-54, -99}, {-87, -99}, {0, -99}},
                   port);
    EXPECT_TRUE(calls::waits().empty());
}

TEST_F(PortsTest, FlagsGoBackWhetherTheExecutorTakesTheCommandOrNot) {
    for (const int32_t result : {0, -1})
        for (const Method &method : {kAdd, kSet}) {
            executor::reset();
            port = newPort();
            executor::answer(method.command, markFlags(kWriteBack, result));
            const Names names = java::fieldsLookedUp([&] { java::call(method.name, port); });
            EXPECT_EQ(tail(names, std::size(kWriteBack)), namesOf(kWriteBack));
            for (const WrittenFlag &flag : kWriteBack)
                EXPECT_EQ(java::getByte(port, flag.name), markOf(flag)) << flag.name;
        }
}

TEST_F(PortsTest, RemoveChecksTheAddressAndSendsTheName) {
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("removePortNative", port), 0); }),
              Names({"ClusterAddress", "PortNumber", "ClusterId"}));
    EXPECT_SENT(named(11, 96));
    java::setNull(port, "ClusterAddress", kStringType); // without an address there is nothing to check
    EXPECT_EQ(java::call("removePortNative", port), 0);

    executor::reset();
    for (const char *address : {"absent.example", "", "10.0.0.256", "255.255.255.255"}) {
        java::setString(port, "ClusterAddress", address);
        EXPECT_EQ(java::call("removePortNative", port), -3) << address;
    }
    java::setInt(port, "PortNumber", -1); // the address is looked at first
    EXPECT_EQ(java::call("removePortNative", port), -3);
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(PortsTest, StatusIsReadIntoTheFieldsInOrder) {
    executor::answer(13, replyImage(Image(96, 0xAA)
                                        .word(28, 5)
                                        .word(32, 0x11121314)
                                        .word(40, 1)
                                        .word(44, 0xFFFFFFC4)
                                        .half(48, 0xFFFE)
                                        .word(52, 24)
                                        .word(56, 0xFFFFFFFF)
                                        .word(60, 300)
                                        .half(64, 0xFFFF)
                                        .byte(66, 0x80)
                                        .half(68, 0x8001)
                                        .byte(70, 0xFE)
                                        .hex(72, "0050")
                                        .word(76, 0xFFFFFFFE)
                                        .byte(92, 0xF9)));
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("getPortStatusNative", port), 0); }),
              Names({"PortNumber", "ClusterId", "NumServers", "MaxNumberOfServers", "StickyTime", "iPortProtocol",
                     "iStickyBits", "StaleTimeout", "WeightBound", "Type", "iMethod", "Replicate", "iCrossPort",
                     "iMaxHalfOpen", "SendReset"}));
    EXPECT_SENT(named(13, 96));
    EXPECT_EQ(java::getInt(port, "NumServers"), 5);
    EXPECT_EQ(java::getInt(port, "MaxNumberOfServers"), 0x11121314);
    EXPECT_EQ(java::getInt(port, "StickyTime"), -60); // of the 64 bits the low word
    EXPECT_EQ(java::getInt(port, "iPortProtocol"), 0xFFFE);
    EXPECT_EQ(java::getInt(port, "iStickyBits"), 24);
    EXPECT_EQ(java::getInt(port, "StaleTimeout"), 300);
    EXPECT_EQ(java::getInt(port, "WeightBound"), -1);
    EXPECT_EQ(java::getChar(port, "Type"), 0xFF80);
    EXPECT_EQ(java::getInt(port, "iMethod"), -32767);
    EXPECT_EQ(java::getInt(port, "Replicate"), 0xFE);
    EXPECT_EQ(java::getInt(port, "iCrossPort"), 80);
    EXPECT_EQ(java::getInt(port, "iMaxHalfOpen"), -2);
    EXPECT_EQ(java::getByte(port, "SendReset"), -7);
}

TEST_F(PortsTest, TypesBelow128AreReadAsTheyAre) {
    executor::answer(13, replyImage(Image(96, 0).byte(66, 0x7F).hex(72, "ffff")));
    EXPECT_EQ(java::call("getPortStatusNative", port), 0);
    EXPECT_EQ(java::getChar(port, "Type"), 0x7F);
    EXPECT_EQ(java::getInt(port, "iCrossPort"), 65535);
}

TEST_F(PortsTest, ReportIsReadIntoTheFieldsInOrder) {
    Image reply(72, 0xAA);
    for (uint32_t offset = 24; offset <= 64; offset += 4)
        reply.word(offset, offset + 1000);
    executor::answer(15, replyImage(reply.half(68, 0xFFFE).half(70, 0xFFFF)));
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("getPortReportNative", port), 0); }),
              Names({"PortNumber", "ClusterId", "NumServers", "NumNodesDown", "NumNodesLocal", "MaxWeight",
                     "iConnectionsPerSecond", "ActiveConnections", "iNumHalfOpen", "iBytesPerSecond", "iResetsSent",
                     "iPortProtocol", "iMethod"}));
    EXPECT_SENT(named(15, 72));
    EXPECT_EQ(java::getInt(port, "NumServers"), 1036);
    EXPECT_EQ(java::getInt(port, "NumNodesDown"), 1044);
    EXPECT_EQ(java::getInt(port, "NumNodesLocal"), 1052);
    EXPECT_EQ(java::getInt(port, "MaxWeight"), 1048);
    EXPECT_EQ(java::getInt(port, "iConnectionsPerSecond"), 1024);
    EXPECT_EQ(java::getInt(port, "ActiveConnections"), 1028);
    EXPECT_EQ(java::getInt(port, "iNumHalfOpen"), 1032);
    EXPECT_EQ(java::getInt(port, "iBytesPerSecond"), 1060);
    EXPECT_EQ(java::getInt(port, "iResetsSent"), 1064);
    EXPECT_EQ(java::getInt(port, "iPortProtocol"), 0xFFFE);
    EXPECT_EQ(java::getInt(port, "iMethod"), -1);
}

TEST_F(PortsTest, ARefusedReadTouchesNoField) {
    for (const Method &method : {kStatus, kReport}) {
        executor::answer(method.command, executor::refuse(-1));
        EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call(method.name, port), -12); }),
                  Names({"PortNumber", "ClusterId"}));
    }
}

TEST_F(PortsTest, ConnectionsPerSecondMapNothing) {
    java::setInt(port, "iConnectionsPerSecond", -500);
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("setPortCPSNative", port), 0); }),
              Names({"PortNumber", "iConnectionsPerSecond", "ClusterId"}));
    EXPECT_SENT(named(80, 72).word(24, static_cast<uint32_t>(-500)));
    for (const int32_t result : {-1, 9, 4711}) {
        executor::reset();
        executor::answer(80, executor::refuse(-5, result));
        EXPECT_EQ(java::call("setPortCPSNative", port), result);
    }
}

TEST_F(PortsTest, ReportCanBeAskedForWithoutJava) {
    EXPECT_EQ(getPortReport(0x11223344, 443), 0);
    EXPECT_SENT(Image(72).header(15, 72).word(16, 0x11223344).hex(20, "01bb"));
    executor::answer(15, executor::refuse(-5, 17));
    EXPECT_EQ(getPortReport(1, 2), 17);
}

TEST_F(PortsTest, NullObjectsAreNamed) {
    for (const Method &method : kMethods) {
        java::call(method.name, nullptr);
        EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: port") << method.name;
    }
    java::callInt("getPortsListNative", "(Ljava/lang/String;Ljava/lang/Object;)I", java::makeString("web"), nullptr);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: list");
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(PortsTest, WhatIsObtainedFromJavaIsGivenBack) {
    for (const Method &method : kMethods)
        EXPECT_EQ(java::referencesKept([&] { java::call(method.name, port); }), 0u) << method.name;
    java::setString(port, "ClusterAddress", "absent.example");
    EXPECT_EQ(java::referencesKept([&] { java::call("removePortNative", port); }), 0u);
}

// --- An executor that is out of memory -------------------------------------------------------------------------------

struct PortsRetryTest : PortsTest {
    // The executor gives these reasons one after the other, and takes the command then; it marks each reply.
    void refusals(const std::vector<int32_t> &reasons) {
        executor::reset();
        calls::reset();
        port = newPort();
        giveAll(port, 1);
        for (const Method &method : {kAdd, kSet}) {
            for (const int32_t reason : reasons)
                executor::answer(method.command, reply(reason, -1));
            executor::answer(method.command, reply(0, 0));
        }
    }

    executor::Answer reply(int32_t reason, int32_t result) {
        return [=, this](uint8_t *block, uint32_t) {
            memcpy(block + 4, &result, sizeof(result));
            memcpy(block + 8, &reason, sizeof(reason));
            block[90] = static_cast<uint8_t>(50 + executor::sent().size()); // a flag
            waitsBefore.push_back(calls::waits().size());
            return result;
        };
    }

    // The blocks sent are one block, but for what the executor itself changed in it: result, reason, the flag.
    static void expectTheSameBlock(const Method &method, std::size_t times) {
        ASSERT_EQ(executor::sent().size(), times);
        Image image = nothingSet(method.command);
        for (const Setting &setting : kSettings) {
            image.byte(setting.flagOffset, 1);
            setting.expect(image);
        }
        for (const executor::Bytes &block : executor::sent()) {
            memcpy(&image.bytes[4], &block[4], 8);
            image.bytes[90] = block[90];
            EXPECT_EQ(executor::dump(block), executor::dump(image.bytes));
        }
    }

    std::vector<std::size_t> waitsBefore; // how many waits there had been when each block came
};

TEST_F(PortsRetryTest, IsAskedAgainAfterALongWait) {
    for (const Method &method : {kAdd, kSet}) {
        waitsBefore.clear();
        refusals({-2});
        EXPECT_EQ(java::call(method.name, port), 0);
        EXPECT_EQ(calls::waits(), std::vector<unsigned>({6789}));
        EXPECT_EQ(waitsBefore, std::vector<std::size_t>({0, 1}));
        expectTheSameBlock(method, 2);
        EXPECT_EQ(java::getByte(port, "SetMaxHalfOpen"), 52); // as the last reply left it
    }
}

TEST_F(PortsRetryTest, IsAskedTwiceAgainWhateverTheSecondReason) {
    for (const int32_t second : {-2, -5, -87, 0}) {
        waitsBefore.clear();
        refusals({-2, second});
        EXPECT_EQ(java::call("addPortNative", port), 0) << second;
        EXPECT_EQ(calls::waits(), std::vector<unsigned>({6789, 6543}));
        EXPECT_EQ(waitsBefore, std::vector<std::size_t>({0, 1, 2}));
        expectTheSameBlock(kAdd, 3);
    }
}

TEST_F(PortsRetryTest, TheThirdRefusalIsOutOfMemoryWhateverItsReason) {
    for (const int32_t third : {-2, -5, -1, -87, 0}) {
        refusals({-2, -2, third});
        EXPECT_EQ(java::call("setPortStatusNative", port), -28) << third;
        EXPECT_EQ(calls::waits(), std::vector<unsigned>({6789, 6543}));
        expectTheSameBlock(kSet, 3);
        EXPECT_EQ(java::getByte(port, "SetMaxHalfOpen"), 53);
    }
}

TEST_F(PortsRetryTest, OtherReasonsAreNotTriedAgain) {
    for (const int32_t reason : {-1, -3, 2, -28}) {
        refusals({reason});
        EXPECT_NE(java::call("addPortNative", port), 0);
        EXPECT_TRUE(calls::waits().empty());
        EXPECT_EQ(executor::sent().size(), 1u);
    }
}

// --- The list --------------------------------------------------------------------------------------------------------

struct PortsListTest : ListTest {
    void SetUp() override {
        ListTest::SetUp();
        identifier = java::makeString("web");
    }

    // The executor has these ports, and says of the list that it filled `replied` entries.
    static void ports(const std::vector<uint16_t> &numbers, int32_t replied) {
        count(static_cast<uint32_t>(numbers.size()));
        executor::answer(12, [=](uint8_t *block, uint32_t length) {
            for (std::size_t i = 0; i < numbers.size() && 24 + 8 * (i + 1) <= length; ++i) {
                block[24 + 8 * i] = static_cast<uint8_t>(numbers[i] >> 8);
                block[25 + 8 * i] = static_cast<uint8_t>(numbers[i]);
            }
            memcpy(block + 20, &replied, sizeof(replied));
            return 0;
        });
    }

    static void count(uint32_t ports) {
        executor::answer(9, executor::reply({{24, ports}}));
    }

    jint askUncounted() const {
        return java::callInt("getPortsListNative", "(Ljava/lang/String;Ljava/lang/Object;)I", identifier, list);
    }

    jint ask() {
        return counted([&] { return askUncounted(); });
    }

    void expectNone(jint status, const std::vector<int32_t> &commands) {
        expectNoList([&] { return askUncounted(); }, status, commands);
    }

    jstring identifier = nullptr;
};

TEST_F(PortsListTest, NumbersFollowOneAnotherEachLedByAPlus) {
    ports({80, 65535, 0}, 3);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+80+65535+0");
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({9, 12}));
    EXPECT_EQ(executor::dump(executor::sent()[0]), executor::dump(Image(72).header(9, 72).word(16, kKeyOfWeb).bytes));
    expectNothingHeld();
}

TEST_F(PortsListTest, TheBlockIsSizedForThePorts) {
    ports({80, 443, 25}, 3);
    EXPECT_EQ(ask(), 0);
    EXPECT_SENT(Image(24 + 8 * 3, 0).header(12, 24 + 8 * 3).word(16, kKeyOfWeb).word(20, 3));
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 24 + 8 * 3}));
}

TEST_F(PortsListTest, AppendsToWhatTheBufferHolds) {
    ports({80}, 1);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+80+80");
}

TEST_F(PortsListTest, NoPortsGiveTheEmptyText) {
    ports({}, 0);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "");
    EXPECT_SENT(Image(24, 0).header(12, 24).word(16, kKeyOfWeb).word(20, 0));
}

TEST_F(PortsListTest, AsManyEntriesAreReadAsTheExecutorFilledWithinTheRoom) {
    const std::pair<int32_t, const char *> rows[] = {
        {2, "+80+443"}, {0, ""}, {-1, ""}, {4, "+80+443+25"}, {2147483647, "+80+443+25"}};
    for (const auto &[replied, text] : rows) {
        executor::reset();
        list = java::make("java/lang/StringBuffer");
        ports({80, 443, 25}, replied);
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(java::text(list), text) << replied;
    }
}

TEST_F(PortsListTest, AnImpossibleNumberOfPortsIsOutOfMemory) {
    for (const uint32_t ports : {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, 536870909u}) { // the last: 2^32 bytes
        executor::reset();
        count(ports);
        expectNone(-28, {9});
        EXPECT_EQ(sizes, std::vector<std::size_t>({10000})) << ports;
    }
    executor::reset();
    count(536870908); // the most whose size the length word can tell
    failing = 2;
    expectNone(-28, {9});
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 4294967288}));
}

TEST_F(PortsListTest, ALongListGrowsTheText) {
    std::vector<uint16_t> numbers;
    Names texts;
    for (uint16_t number = 60000; number < 63000; ++number) {
        numbers.push_back(number);
        texts.push_back(std::to_string(number));
    }
    ports(numbers, 3000);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), joined(texts));
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 24 + 8 * 3000, 9996 + 6 + 10001}));
    expectNothingHeld();
}

TEST_F(PortsListTest, ATextThatCannotGrowEndsTheListThere) {
    ports(std::vector<uint16_t>(3000, 60000), 3000); // 6 characters each: 1666 fit into 10000
    failing = 3;
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list).size(), 1666u * 6);
    expectNothingHeld();
}

TEST_F(PortsListTest, AFailedReportIsReturnedAsItIsWithTheEmptyText) {
    expectReportStatuses(9, [&] { return askUncounted(); });
}

TEST_F(PortsListTest, ReasonsOfAFailedListBecomeStatusesWithTheEmptyText) {
    expectListStatuses(
        {{-5, -5}, {-1, -99}, {-4, -99}, {-6, -99}, {0, -99}}, {9, 12}, [] { count(1); },
        [&] { return askUncounted(); });
}

TEST_F(PortsListTest, WithoutMemory) {
    ports({80}, 1);
    failing = 1; // the text
    expectNone(-28, {});
    failing = 2; // the block
    expectNone(-28, {9});
}

TEST_F(PortsListTest, WithoutIdentifierNothingIsSent) {
    ports({80}, 1);
    {
        const java::FailingCharacters noCharacters(1);
        EXPECT_EQ(askUncounted(), -99);
    }
    identifier = nullptr;
    expectNone(-99, {});
}

TEST_F(PortsListTest, WithoutMemoryForTheStringNothingIsAppended) {
    ports({80}, 1);
    java::PatchedEnv patched;
    patched.functions.NewStringUTF = [](JNIEnv *, const char *) -> jstring { return nullptr; };
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "");
    expectNothingHeld();
}

TEST_F(PortsListTest, UpperAndLowerCaseAreOneCluster) {
    ports({80}, 1);
    identifier = java::makeString("WeB");
    EXPECT_EQ(ask(), 0);
    EXPECT_SENT(Image(32, 0).header(12, 32).word(16, kKeyOfWeb).word(20, 1));
}

} // namespace
