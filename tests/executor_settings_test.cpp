// The executor's own settings and counters.
#include "harness/record_test.h"

#include "library/channel/channel.h"
#include "library/config/executor_settings.h"

#include <cstring>
#include <ctime>

namespace {

// In the order in which the library reads them.
const Setting kSettings[] = {
    {"SetNonForwardingAddress", 628, [](jobject o) { java::setString(o, "NFA", "10.0.0.5"); },
     [](Image &i) {
         i.hex(16, "0a000005").word(616, 0xFFFFFFFF).word(620, static_cast<uint32_t>(-3600)).byte(645, 1);
     }},
    {"SetTraceLevel", 629, [](jobject o) { java::setInt(o, "TraceLevel", 0x01020304); },
     [](Image &i) { i.word(20, 0x01020304); }},
    {"SetDefaultClusterMaxPorts", 631, [](jobject o) { java::setInt(o, "DefaultClusterMaxPorts", 0x11121314); },
     [](Image &i) { i.word(28, 0x11121314); }},
    {"SetFINTimeout", 632, [](jobject o) { java::setInt(o, "FINTimeout", 30); },
     [](Image &i) { i.word(32, 0).word(36, 30); }},
    {"SetHaTimeout", 633, [](jobject o) { java::setInt(o, "HaTimeout", -2); },
     [](Image &i) { i.word(40, 0xFFFFFFFF).word(44, 0xFFFFFFFE); }},
    {"SetHaSyncTimeout", 634, [](jobject o) { java::setInt(o, "HaSyncTimeout", 0x7FFFFFFF); },
     [](Image &i) { i.word(48, 0).word(52, 0x7FFFFFFF); }},
    {"SetClientGateway", 635, [](jobject o) { java::setString(o, "ClientGateway", "balancer.example"); },
     [](Image &i) { i.hex(600, "c0000207").hex(657, "000000000000"); }},
    {"Setv6ClientGateway", 668,
     [](jobject o) {
         java::setObject(o, "v6ClientGateway", "[B",
                         java::makeByteArray({0x20, 1, 0xd, -72, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -2}));
     },
     [](Image &i) { i.hex(672, "20010db80000000000000000000000fe").hex(688, "000000000000"); }},
    {"SetDefaultPortMaxServers", 636, [](jobject o) { java::setInt(o, "DefaultPortMaxServers", 32); },
     [](Image &i) { i.word(56, 32); }},
    {"SetDefaultPortStaleTimeout", 637, [](jobject o) { java::setInt(o, "DefaultPortStaleTimeout", -300); },
     [](Image &i) { i.word(64, 0xFFFFFFFF).word(68, static_cast<uint32_t>(-300)); }},
    {"SetSharedBandwidth", 648, [](jobject o) { java::setInt(o, "iSharedBytesPerSecond", 1000000); },
     [](Image &i) { i.word(624, 1000000); }},
    {"SetDefaultPortStickyTime", 638, [](jobject o) { java::setInt(o, "DefaultPortStickyTime", 60); },
     [](Image &i) { i.word(72, 0).word(76, 60); }},
    {"SetDefaultPortAffinityType", 639, [](jobject o) { java::setInt(o, "DefaultPortAffinityType", 0x12345); },
     [](Image &i) { i.half(80, 0x2345); }},
    {"SetDefaultPortWeightBound", 640, [](jobject o) { java::setInt(o, "DefaultPortWeightBound", 0x1FFFF); },
     [](Image &i) { i.half(82, 0xFFFF); }},
    {"SetDefaultPortType", 641, [](jobject o) { java::setChar(o, "DefaultPortType", 0x1F0); },
     [](Image &i) { i.byte(84, 0xF0); }},
    {"SetDefaultPortReplicate", 642, [](jobject o) { java::setChar(o, "DefaultPortReplicate", 3); },
     [](Image &i) { i.byte(85, 3); }},
    {"SetMaxNumberOfClusters", 643, [](jobject o) { java::setInt(o, "MaxNumberOfClusters", 100); },
     [](Image &i) { i.word(604, 100); }},
    {"SetWidePortNumber", 644, [](jobject o) { java::setInt(o, "WidePortNumber", 2099); },
     [](Image &i) { i.word(608, 2099); }},
    {"SetConfigFileName", 646, [](jobject o) { java::setString(o, "ConfigFileName", "farm.cfg"); },
     [](Image &i) { i.text(86, "farm.cfg"); }},
};

struct ExecutorSettingsTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        setenv("TZ", "EAST-1", 1); // an hour east of Greenwich, no summer time
        tzset();
        status = java::make("CMNExecutorStatus");
    }

    jint set() {
        return java::call("setExecutorStatusNative", status);
    }

    // What is sent when no flag is set: the flags, and the cookie interval whatever its flag says.
    static Image nothingSet() {
        Image image(696);
        image.header(2, 696).word(664, 0).byte(656, 0);
        for (const Setting &setting : kSettings)
            image.byte(setting.flagOffset, 0);
        return image;
    }

    jobject status = nullptr;
};

TEST_F(ExecutorSettingsTest, WithoutFlagsOnlyFlagsAndCookieIntervalTravel) {
    java::setInt(status, "iCookieExpireInterval", 0x0A0B0C0D);
    for (const Setting &setting : kSettings)
        setting.give(status);
    EXPECT_EQ(set(), 0);
    EXPECT_SENT(nothingSet().word(664, 0x0A0B0C0D));
}

TEST_F(ExecutorSettingsTest, EachSettingTravelsAlone) {
    for (const Setting &setting : kSettings) {
        executor::reset();
        status = java::make("CMNExecutorStatus");
        setting.give(status);
        java::setByte(status, setting.flag, 1);
        EXPECT_EQ(set(), 0) << setting.flag;
        Image image = nothingSet();
        image.byte(setting.flagOffset, 1);
        setting.expect(image);
        EXPECT_SENT(image) << setting.flag;
    }
}

TEST_F(ExecutorSettingsTest, OtherFlagValuesTravelWithoutTheirSetting) {
    for (const int flag : {2, -1, 127}) {
        executor::reset();
        Image image = nothingSet();
        for (const Setting &setting : kSettings) {
            setting.give(status);
            java::setByte(status, setting.flag, flag);
            image.byte(setting.flagOffset, static_cast<uint8_t>(flag));
        }
        EXPECT_EQ(set(), 0);
        EXPECT_SENT(image);
    }
}

TEST_F(ExecutorSettingsTest, GoldenImageOfAllSettings) {
    Image image = nothingSet();
    for (const Setting &setting : kSettings) {
        setting.give(status);
        java::setByte(status, setting.flag, 1);
        image.byte(setting.flagOffset, 1);
        setting.expect(image);
    }
    java::setInt(status, "iCookieExpireInterval", 86400);
    java::setByte(status, "SetCookieExpireInterval", 1);
    EXPECT_EQ(set(), 0);
    EXPECT_SENT(image.word(664, 86400).byte(656, 1));
}

TEST_F(ExecutorSettingsTest, ReadsSettingsInOrder) {
    for (const Setting &setting : kSettings) {
        setting.give(status);
        java::setByte(status, setting.flag, 1);
    }
    const Names expected = {"SetNonForwardingAddress",
                            "NFA",
                            "SetTraceLevel",
                            "TraceLevel",
                            "SetDefaultClusterMaxPorts",
                            "DefaultClusterMaxPorts",
                            "SetFINTimeout",
                            "FINTimeout",
                            "SetHaTimeout",
                            "HaTimeout",
                            "SetHaSyncTimeout",
                            "HaSyncTimeout",
                            "SetClientGateway",
                            "ClientGateway",
                            "Setv6ClientGateway",
                            "v6ClientGateway",
                            "SetDefaultPortMaxServers",
                            "DefaultPortMaxServers",
                            "SetDefaultPortStaleTimeout",
                            "DefaultPortStaleTimeout",
                            "SetSharedBandwidth",
                            "iSharedBytesPerSecond",
                            "SetDefaultPortStickyTime",
                            "DefaultPortStickyTime",
                            "SetDefaultPortAffinityType",
                            "DefaultPortAffinityType",
                            "SetDefaultPortWeightBound",
                            "DefaultPortWeightBound",
                            "SetDefaultPortType",
                            "DefaultPortType",
                            "SetDefaultPortReplicate",
                            "DefaultPortReplicate",
                            "SetMaxNumberOfClusters",
                            "MaxNumberOfClusters",
                            "SetWidePortNumber",
                            "WidePortNumber",
                            "SetConfigFileName",
                            "ConfigFileName",
                            "iCookieExpireInterval",
                            "SetCookieExpireInterval"};
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(set(), 0); }), expected);
}

TEST_F(ExecutorSettingsTest, OnlyTheCookieInterval) {
    for (const int flag : {1, 2, -1}) {
        executor::reset();
        java::setInt(status, "iCookieExpireInterval", 3600);
        java::setByte(status, "SetCookieExpireInterval", flag);
        EXPECT_EQ(set(), 0);
        EXPECT_SENT(nothingSet().word(664, 3600).byte(656, static_cast<uint8_t>(flag)));
    }
}

TEST_F(ExecutorSettingsTest, TheTimeZoneIsStoredBeforeTheAddressIsLookedAt) {
    java::setString(status, "NFA", "absent.example");
    java::setByte(status, "SetNonForwardingAddress", 1);
    EXPECT_EQ(set(), -21);
    EXPECT_EQ(ucb.executor.setSecondsWestOfGreenwich, 1);
    EXPECT_EQ(ucb.executor.secondsWestOfGreenwich.high, -1);
    EXPECT_EQ(ucb.executor.secondsWestOfGreenwich.low, -3600);
    EXPECT_EQ(ucb.executor.nfa.word, 0xEEEEEEEE);
}

TEST_F(ExecutorSettingsTest, ABadNonForwardingAddressEndsTheCallAtOnce) {
    java::setString(status, "NFA", "absent.example");
    java::setByte(status, "SetNonForwardingAddress", 1);
    java::setByte(status, "SetTraceLevel", 1);
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(set(), -21); }), Names({"SetNonForwardingAddress", "NFA"}));
    EXPECT_TRUE(executor::sent().empty());
    EXPECT_EQ(java::getByte(status, "SetNonForwardingAddress"), 1);
}

TEST_F(ExecutorSettingsTest, ABadClientGatewayIsRefusedAndItsFlagKept) {
    java::setString(status, "ClientGateway", "1.2.3.256");
    java::setByte(status, "SetClientGateway", 1);
    EXPECT_EQ(set(), -49);
    EXPECT_TRUE(executor::sent().empty());
    EXPECT_EQ(java::getByte(status, "SetClientGateway"), 1);
    const Names expected = {"SetClientGateway", "ClientGateway", "SetClientGateway"}; // the last: it is written
    const Names names = java::fieldsLookedUp([&] { set(); });
    ASSERT_GE(names.size(), 3u);
    EXPECT_EQ(Names(names.end() - 3, names.end()), expected);
}

TEST_F(ExecutorSettingsTest, MissingTextsAreEmptyAndNoAddress) {
    for (const char *field : {"NFA", "ClientGateway", "ConfigFileName"})
        java::setNull(status, field, "Ljava/lang/String;");
    for (const char *flag : {"SetNonForwardingAddress", "SetClientGateway", "SetConfigFileName"})
        java::setByte(status, flag, 1);
    EXPECT_EQ(set(), 0);
    Image image = nothingSet();
    image.word(616, 0xFFFFFFFF).word(620, static_cast<uint32_t>(-3600)).byte(645, 1).byte(628, 1).hex(16, "00000000");
    image.byte(635, 1).hex(600, "00000000").hex(657, "000000000000");
    image.byte(646, 1).byte(86, 0);
    EXPECT_SENT(image);
}

TEST_F(ExecutorSettingsTest, ALongFileNameRunsIntoTheFieldsBehindIt) {
    const std::string name(300, 'n');
    java::setString(status, "ConfigFileName", name);
    java::setByte(status, "SetConfigFileName", 1);
    EXPECT_EQ(set(), 0);
    EXPECT_SENT(nothingSet().byte(646, 1).text(86, name));
}

TEST_F(ExecutorSettingsTest, AnEndlessFileNameStopsAtTheEndOfTheBlock) {
    java::setString(status, "ConfigFileName", std::string(200000, 'n'));
    java::setByte(status, "SetConfigFileName", 1);
    EXPECT_EQ(set(), 0);
    EXPECT_EQ(ucb.bytes[sizeof(ucb) - 2], 'n');
    EXPECT_EQ(ucb.bytes[sizeof(ucb) - 1], 0);
    EXPECT_EQ(ucb.header.length, 696u);
}

// The VM's checks do not like the calls that follow with the exception pending.
TEST_F(ExecutorSettingsTest, AV6GatewayThatCannotBeReadSendsZeros) {
    const auto setGateway = [this](jobject array) {
        executor::reset();
        java::setByte(status, "Setv6ClientGateway", 1);
        java::setObject(status, "v6ClientGateway", "[B", array);
        EXPECT_EQ(set(), 0);
        EXPECT_SENT(nothingSet().byte(668, 1).hex(672, std::string(32, '0')).hex(688, "000000000000"));
        EXPECT_NE(java::takeVmOutput().find("exception pending"), std::string::npos);
        return java::takeException();
    };
    EXPECT_EQ(setGateway(nullptr), "java.lang.NullPointerException: v6ClientGateway");
    const std::vector<int> tooShort(15, 1);
    EXPECT_NE(setGateway(java::makeByteArray(tooShort)).find("ArrayIndexOutOfBounds"), std::string::npos);
}

TEST_F(ExecutorSettingsTest, FlagsGoBackToJavaOnlyAfterARefusal) {
    const Names expected = {"SetNonForwardingAddress",
                            "SetTraceLevel",
                            "SetDefaultClusterMaxPorts",
                            "SetFINTimeout",
                            "SetHaTimeout",
                            "SetHaSyncTimeout",
                            "SetClientGateway",
                            "SetDefaultPortMaxServers",
                            "SetDefaultPortStaleTimeout",
                            "SetSharedBandwidth",
                            "SetDefaultPortStickyTime",
                            "SetDefaultPortAffinityType",
                            "SetDefaultPortWeightBound",
                            "SetDefaultPortType",
                            "SetDefaultPortReplicate",
                            "SetMaxNumberOfClusters",
                            "SetWidePortNumber",
                            "SetSecondsWestOfGreenwich",
                            "SetConfigFileName",
                            "Setv6ClientGateway"};
    const std::size_t offsets[] = {628, 629, 631, 632, 633, 634, 635, 636, 637, 648,
                                   638, 639, 640, 641, 642, 643, 644, 645, 646, 668};
    executor::answer(2, [&](uint8_t *block, uint32_t) {
        for (std::size_t i = 0; i < expected.size(); ++i)
            block[offsets[i]] = static_cast<uint8_t>(40 + i);
        block[656] = 99;
        return -1;
    });
    java::setByte(status, "SetCookieExpireInterval", 1);
    Names names = java::fieldsLookedUp([&] { EXPECT_EQ(set(), -1); });
    ASSERT_GE(names.size(), expected.size());
    EXPECT_EQ(Names(names.end() - static_cast<std::ptrdiff_t>(expected.size()), names.end()), expected);
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(java::getByte(status, expected[i].c_str()), static_cast<int>(40 + i)) << expected[i];
    EXPECT_EQ(java::getByte(status, "SetCookieExpireInterval"), 1);

    executor::reset();
    jobject other = java::make("CMNExecutorStatus");
    executor::answer(2, [](uint8_t *block, uint32_t) {
        memset(block + 628, 77, 50);
        return 0;
    });
    EXPECT_EQ(java::call("setExecutorStatusNative", other), 0);
    for (const std::string &flag : expected)
        EXPECT_EQ(java::getByte(other, flag.c_str()), 0) << flag;
}

TEST_F(ExecutorSettingsTest, ChannelStatusesAreReturnedUnchanged) {
    jobject report = java::make("CMNExecutorReport");
    for (const int32_t result : {-1, 9, 4711}) {
        for (const int command : {1, 2, 3, 71})
            executor::answer(command, executor::refuse(-5, result));
        EXPECT_EQ(java::call("setExecutorStatusNative", status), result);
        EXPECT_EQ(java::call("getExecutorStatusNative", status), result);
        EXPECT_EQ(java::call("getExecutorReportNative", report), result);
        EXPECT_EQ(java::call("setExecutorCPSNative", report), result);
        executor::reset();
    }
}

// --- The time zone ---------------------------------------------------------------------------------------------------

TEST_F(ExecutorSettingsTest, OffsetOfTheTimeZone) {
    const std::pair<const char *, int32_t> rows[] = {{"WEST5", 18000},    {"UTC0", 0},
                                                     {"EAST-1", -3600},   {"HALF-5:30", -19800},
                                                     {"WEST3:30", 12600}, {"EAST-11", -39600},
                                                     {"WEST11", 39600},   {"EAST-12", -43200},
                                                     {"WEST12", -43200}}; // a day off: noon there is midnight
    for (const auto &[zone, seconds] : rows) {
        setenv("TZ", zone, 1);
        tzset();
        EXPECT_EQ(rk::secondsWestOfGreenwich(), seconds) << zone;
        java::setString(status, "NFA", "10.0.0.5");
        java::setByte(status, "SetNonForwardingAddress", 1);
        executor::reset();
        EXPECT_EQ(set(), 0);
        Image image = nothingSet();
        image.byte(628, 1).hex(16, "0a000005").byte(645, 1);
        image.word(616, seconds < 0 ? 0xFFFFFFFF : 0).word(620, static_cast<uint32_t>(seconds));
        EXPECT_SENT(image) << zone;
    }
}

// --- Reading ---------------------------------------------------------------------------------------------------------

TEST_F(ExecutorSettingsTest, StatusIsReadIntoTheFieldsInOrder) {
    executor::answer(1, [](uint8_t *block, uint32_t) {
        Image image(696, 0xAA);
        image.hex(16, "0a000005").word(20, 3).word(28, 8).word(32, 0xFFFFFFFF).word(36, static_cast<uint32_t>(-30));
        image.word(40, 5).word(44, 31).word(52, 32).hex(600, "c0a80001").word(56, 33).word(68, 34).word(624, 35);
        image.word(76, 36).half(80, 65535).half(82, 65535).word(604, 37).byte(84, 200).byte(85, 255).word(608, 38);
        image.text(86, "farm.cfg").text(342, "plugin.cfg").hex(672, "20010db8000000000000000000000001");
        memcpy(block + 16, image.bytes.data() + 16, 696 - 16);
        return 0;
    });
    const Names expected = {"NFA",
                            "TraceLevel",
                            "DefaultClusterMaxPorts",
                            "FINTimeout",
                            "HaTimeout",
                            "HaSyncTimeout",
                            "ClientGateway",
                            "DefaultPortMaxServers",
                            "DefaultPortStaleTimeout",
                            "iSharedBytesPerSecond",
                            "DefaultPortStickyTime",
                            "DefaultPortAffinityType",
                            "DefaultPortWeightBound",
                            "MaxNumberOfClusters",
                            "DefaultPortType",
                            "DefaultPortReplicate",
                            "WidePortNumber",
                            "ConfigFileName",
                            "sPluginConfigFileName",
                            "v6ClientGateway"};
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("getExecutorStatusNative", status), 0); }), expected);
    EXPECT_SENT(Image(696).header(1, 696));
    EXPECT_EQ(java::getString(status, "NFA"), "10.0.0.5");
    EXPECT_EQ(java::getInt(status, "TraceLevel"), 3);
    EXPECT_EQ(java::getInt(status, "DefaultClusterMaxPorts"), 8);
    EXPECT_EQ(java::getInt(status, "FINTimeout"), -30);
    EXPECT_EQ(java::getInt(status, "HaTimeout"), 31);
    EXPECT_EQ(java::getInt(status, "HaSyncTimeout"), 32);
    EXPECT_EQ(java::getString(status, "ClientGateway"), "192.168.0.1");
    EXPECT_EQ(java::getInt(status, "DefaultPortMaxServers"), 33);
    EXPECT_EQ(java::getInt(status, "DefaultPortStaleTimeout"), 34);
    EXPECT_EQ(java::getInt(status, "iSharedBytesPerSecond"), 35);
    EXPECT_EQ(java::getInt(status, "DefaultPortStickyTime"), 36);
    EXPECT_EQ(java::getInt(status, "DefaultPortAffinityType"), 65535);
    EXPECT_EQ(java::getInt(status, "DefaultPortWeightBound"), -1);
    EXPECT_EQ(java::getInt(status, "MaxNumberOfClusters"), 37);
    EXPECT_EQ(java::getChar(status, "DefaultPortType"), 200);
    EXPECT_EQ(java::getChar(status, "DefaultPortReplicate"), 255);
    EXPECT_EQ(java::getInt(status, "WidePortNumber"), 38);
    EXPECT_EQ(java::getString(status, "ConfigFileName"), "farm.cfg");
    EXPECT_EQ(java::getString(status, "sPluginConfigFileName"), "plugin.cfg");
    EXPECT_EQ(java::getBytes(status, "v6ClientGateway"),
              std::vector<int>({0x20, 1, 0xd, -72, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
}

TEST_F(ExecutorSettingsTest, TextsWithoutTerminatorEndWithTheirFields) {
    executor::answer(1, [](uint8_t *block, uint32_t) {
        memset(block + 86, 'c', 256);
        memset(block + 342, 'p', 256);
        return 0;
    });
    EXPECT_EQ(java::call("getExecutorStatusNative", status), 0);
    EXPECT_EQ(java::getString(status, "ConfigFileName"), std::string(256, 'c'));
    EXPECT_EQ(java::getString(status, "sPluginConfigFileName"), std::string(256, 'p'));
}

TEST_F(ExecutorSettingsTest, ARefusedReadTouchesNoField) {
    for (const int command : {1, 3})
        executor::answer(command, executor::refuse(-5));
    jobject report = java::make("CMNExecutorReport");
    EXPECT_EQ(java::fieldsLookedUp([&] {
                  EXPECT_EQ(java::call("getExecutorStatusNative", status), -1);
                  EXPECT_EQ(java::call("getExecutorReportNative", report), -1);
              }),
              Names());
}

TEST_F(ExecutorSettingsTest, ReportIsReadIntoTheFieldsInOrder) {
    const Names counters = {"Pcktotal",      "Pcktoshort",  "Pcknonforw",     "PckVECdiscard",
                            "PckVECerror",   "PckVEClocal", "PckVECownaddr",  "PckVECforward",
                            "Pckforwarderr", "PcknotVEC",   "PckVECbroadcast"};
    executor::answer(3, [&](uint8_t *block, uint32_t) {
        Image image(240, 0xAA);
        image.hex(16, "0a000005").text(20, "version 7").word(124, 1700000000);
        for (std::size_t i = 0; i < counters.size(); ++i)
            image.quad(128 + 8 * i, 0x8000000100000000 + i);
        image.word(216, 11).word(220, 12).word(228, 13).word(232, 14);
        memcpy(block + 16, image.bytes.data() + 16, 240 - 16);
        return 0;
    });
    jobject report = java::make("CMNExecutorReport");
    Names expected = {"NFA", "Version", "iTimeStarted"};
    expected.insert(expected.end(), counters.begin(), counters.end());
    for (const char *last : {"InconnHashBkts", "NumClusters", "iBytesPerSecond", "iConnectionsPerSecond"})
        expected.emplace_back(last);
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("getExecutorReportNative", report), 0); }), expected);
    EXPECT_SENT(Image(240).header(3, 240));
    EXPECT_EQ(java::getString(report, "NFA"), "10.0.0.5");
    EXPECT_EQ(java::getString(report, "Version"), "version 7");
    EXPECT_EQ(java::getInt(report, "iTimeStarted"), 1700000000);
    for (std::size_t i = 0; i < counters.size(); ++i)
        EXPECT_EQ(java::getLong(report, counters[i].c_str()), static_cast<jlong>(0x8000000100000000 + i))
            << counters[i];
    EXPECT_EQ(java::getInt(report, "InconnHashBkts"), 11);
    EXPECT_EQ(java::getInt(report, "NumClusters"), 12);
    EXPECT_EQ(java::getInt(report, "iBytesPerSecond"), 13);
    EXPECT_EQ(java::getInt(report, "iConnectionsPerSecond"), 14);
}

TEST_F(ExecutorSettingsTest, AVersionWithoutTerminatorEndsWithItsField) {
    executor::answer(3, [](uint8_t *block, uint32_t) {
        memset(block + 20, 'v', 110);
        return 0;
    });
    jobject report = java::make("CMNExecutorReport");
    EXPECT_EQ(java::call("getExecutorReportNative", report), 0);
    EXPECT_EQ(java::getString(report, "Version"), std::string(104, 'v'));
}

TEST_F(ExecutorSettingsTest, ReportCanBeAskedForWithoutJava) {
    EXPECT_EQ(getExecutorReport(), 0);
    EXPECT_SENT(Image(240).header(3, 240));
    executor::answer(3, executor::refuse(-5, 17));
    EXPECT_EQ(getExecutorReport(), 17);
}

TEST_F(ExecutorSettingsTest, ConnectionsPerSecondAreSent) {
    jobject report = java::make("CMNExecutorReport");
    java::setInt(report, "iConnectionsPerSecond", -12);
    EXPECT_EQ(java::call("setExecutorCPSNative", report), 0);
    EXPECT_SENT(Image(240).header(71, 240).word(232, static_cast<uint32_t>(-12)));
}

TEST_F(ExecutorSettingsTest, NullObjectsAreNamed) {
    const std::pair<const char *, const char *> rows[] = {{"setExecutorStatusNative", "executorStatus"},
                                                          {"getExecutorStatusNative", "executorStatus"},
                                                          {"getExecutorReportNative", "executorReport"},
                                                          {"setExecutorCPSNative", "executorReport"}};
    for (const auto &[method, name] : rows) {
        java::call(method, nullptr);
        EXPECT_EQ(java::takeException(), std::string("java.lang.NullPointerException: ") + name) << method;
    }
    EXPECT_TRUE(executor::sent().empty());
}

} // namespace
