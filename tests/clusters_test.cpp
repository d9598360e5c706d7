// Clusters.
#include "harness/record_test.h"

#include "library/channel/channel.h"
#include "library/config/clusters.h"
#include "library/support/CMNImpUtils.h"

#include <cstring>

namespace {

// In the order in which the library reads them.
const Setting kSettings[] = {
    {"SetMaxNumberOfPorts", 84, [](jobject o) { java::setInt(o, "MaxNumberOfPorts", 0x01020304); },
     [](Image &i) { i.word(20, 0x01020304); }},
    {"SetPrimaryHost", 93, [](jobject o) { java::setString(o, "sPrimaryHost", "10.9.8.7"); },
     [](Image &i) { i.hex(80, "0a090807"); }},
    {"SetDefaultPortMaxServers", 85, [](jobject o) { java::setInt(o, "DefaultPortMaxServers", -3); },
     [](Image &i) { i.word(24, 0xFFFFFFFD); }},
    {"SetDefaultPortStickyTime", 86, [](jobject o) { java::setInt(o, "DefaultPortStickyTime", -1); },
     [](Image &i) { i.word(32, 0xFFFFFFFF).word(36, 0xFFFFFFFF); }},
    {"SetDefaultPortAffinityType", 87, [](jobject o) { java::setInt(o, "DefaultPortAffinityType", 0x1FFFF); },
     [](Image &i) { i.half(40, 0xFFFF); }},
    {"SetDefaultPortWeightBound", 88, [](jobject o) { java::setInt(o, "DefaultPortWeightBound", 0x10014); },
     [](Image &i) { i.half(42, 20); }},
    {"SetDefaultPortStaleTimeout", 91, [](jobject o) { java::setInt(o, "DefaultPortStaleTimeout", 300); },
     [](Image &i) { i.word(48, 0).word(52, 300); }},
    {"SetClusterProportions", 94,
     [](jobject o) {
         java::setInt(o, "iActiveConnsProp", 48);
         java::setInt(o, "iNewConnsProp", 49);
         java::setInt(o, "iPortSpecificProp", 2);
         java::setInt(o, "iSystemProp", 1);
     },
     [](Image &i) { i.word(64, 48).word(68, 49).word(72, 2).word(76, 1); }},
    {"SetSharedBandwidth", 92, [](jobject o) { java::setInt(o, "iSharedBytesPerSecond", 0x7FFFFFFF); },
     [](Image &i) { i.word(56, 0x7FFFFFFF); }},
    {"SetDefaultPortType", 89, [](jobject o) { java::setChar(o, "DefaultPortType", 0x2F1); },
     [](Image &i) { i.byte(44, 0xF1); }},
    {"SetDefaultPortReplicate", 90, [](jobject o) { java::setChar(o, "DefaultPortReplicate", 2); },
     [](Image &i) { i.byte(45, 2); }},
    {"SetIPAddress", 95, [](jobject) {}, [](Image &) {}},
    {"SetNatPtAddress", 169,
     [](jobject o) {
         java::setObject(o, "natPtAddress", "[B", java::makeByteArray({10, 0, -1, 7}));
     },
     [](Image &i) { i.hex(172, "0a00ff07"); }},
};

// The order in which the flags go back to Java.
const Names kWriteBack = {"SetMaxNumberOfPorts",
                          "SetPrimaryHost",
                          "SetDefaultPortMaxServers",
                          "SetDefaultPortStickyTime",
                          "SetDefaultPortAffinityType",
                          "SetDefaultPortWeightBound",
                          "SetDefaultPortType",
                          "SetDefaultPortReplicate",
                          "SetDefaultPortStaleTimeout",
                          "SetClusterProportions",
                          "SetSharedBandwidth",
                          "SetIPAddress",
                          "SetNatPtAddress"};
const std::size_t kWriteBackOffsets[] = {84, 93, 85, 86, 87, 88, 89, 90, 91, 94, 92, 95, 169};

struct ClustersTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        cluster = newCluster();
    }

    static jobject newCluster() {
        jobject object = java::make("CMNCluster");
        java::setString(object, "sClusterId", "web");
        java::setString(object, "Address", "10.0.0.5");
        return object;
    }

    // What adding or changing sends when no flag is set.
    static Image nothingSet(int32_t command) {
        Image image(192);
        image.header(command, 192).hex(16, "0a000005").word(100, kKeyOfWeb).text(104, "web");
        for (const Setting &setting : kSettings)
            image.byte(setting.flagOffset, 0);
        return image;
    }

    jobject cluster = nullptr;
};

TEST_F(ClustersTest, TheKeyUsedHere) {
    // W is 0x57, E is 0x45 and, turned by one bit, 0xA2; B is 0x42 and, turned by two, 0x90.
    EXPECT_EQ(kKeyOfWeb, (0x57u + 0x45) + (0xA2 + 0x42) * 2 + 0x90 * 4 - 1);
}

TEST_F(ClustersTest, AddSendsIdentifierAddressAndFlags) {
    for (const Setting &setting : kSettings)
        setting.give(cluster);
    EXPECT_EQ(java::call("addClusterNative", cluster), 0);
    EXPECT_SENT(nothingSet(4));
    EXPECT_EQ(java::getInt(cluster, "iClusterIdKey"), static_cast<jint>(kKeyOfWeb));
}

TEST_F(ClustersTest, EachSettingTravelsAlone) {
    for (const Setting &setting : kSettings) {
        executor::reset();
        cluster = newCluster();
        setting.give(cluster);
        java::setByte(cluster, setting.flag, 1);
        EXPECT_EQ(java::call("addClusterNative", cluster), 0) << setting.flag;
        Image image = nothingSet(4);
        image.byte(setting.flagOffset, 1);
        setting.expect(image);
        EXPECT_SENT(image) << setting.flag;
    }
}

TEST_F(ClustersTest, OtherFlagValuesTravelWithoutTheirSettingAndComeBack) {
    for (const int flag : {2, -1}) {
        executor::reset();
        Image image = nothingSet(4);
        for (const Setting &setting : kSettings) {
            setting.give(cluster);
            java::setByte(cluster, setting.flag, flag);
            image.byte(setting.flagOffset, static_cast<uint8_t>(flag));
        }
        EXPECT_EQ(java::call("addClusterNative", cluster), 0);
        EXPECT_SENT(image);
        for (const Setting &setting : kSettings)
            EXPECT_EQ(java::getByte(cluster, setting.flag), flag);
    }
}

TEST_F(ClustersTest, GoldenImageOfAllSettings) {
    Image image = nothingSet(8).word(100, 0x11223344);
    for (const Setting &setting : kSettings) {
        setting.give(cluster);
        java::setByte(cluster, setting.flag, 1);
        image.byte(setting.flagOffset, 1);
        setting.expect(image);
    }
    java::setInt(cluster, "iClusterIdKey", 0x11223344);
    EXPECT_EQ(java::call("setClusterStatusNative", cluster), 0);
    EXPECT_SENT(image);
    EXPECT_EQ(java::getInt(cluster, "iClusterIdKey"), 0x11223344); // a change uses the key that Java holds
}

TEST_F(ClustersTest, ReadsFieldsInOrder) {
    for (const Setting &setting : kSettings) {
        setting.give(cluster);
        java::setByte(cluster, setting.flag, 1);
    }
    Names expected = {"sClusterId",
                      "Address",
                      "SetMaxNumberOfPorts",
                      "MaxNumberOfPorts",
                      "SetPrimaryHost",
                      "sPrimaryHost",
                      "SetDefaultPortMaxServers",
                      "DefaultPortMaxServers",
                      "SetDefaultPortStickyTime",
                      "DefaultPortStickyTime",
                      "SetDefaultPortAffinityType",
                      "DefaultPortAffinityType",
                      "SetDefaultPortWeightBound",
                      "DefaultPortWeightBound",
                      "SetDefaultPortStaleTimeout",
                      "DefaultPortStaleTimeout",
                      "SetClusterProportions",
                      "iActiveConnsProp",
                      "iNewConnsProp",
                      "iPortSpecificProp",
                      "iSystemProp",
                      "SetSharedBandwidth",
                      "iSharedBytesPerSecond",
                      "SetDefaultPortType",
                      "DefaultPortType",
                      "SetDefaultPortReplicate",
                      "DefaultPortReplicate",
                      "sClusterId",
                      "iClusterIdKey",
                      "SetIPAddress",
                      "Address",
                      "SetNatPtAddress",
                      "natPtAddress"};
    expected.insert(expected.end(), kWriteBack.begin(), kWriteBack.end());
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("setClusterStatusNative", cluster), 0); }), expected);
    expected.insert(expected.begin(), {"sClusterId", "iClusterIdKey"});
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("addClusterNative", cluster), 0); }), expected);
}

TEST_F(ClustersTest, IdentifiersOf64CharactersAreTheLongest) {
    const std::string longest(64, 'x');
    java::setString(cluster, "sClusterId", longest);
    EXPECT_EQ(java::call("addClusterNative", cluster), 0);
    std::string text = longest;
    uint32_t key = 0;
    makeHashResult(text.data(), &key);
    EXPECT_SENT(nothingSet(4).word(100, key).text(104, longest));

    executor::reset();
    cluster = newCluster();
    java::setString(cluster, "sClusterId", longest + "x");
    EXPECT_EQ(java::call("addClusterNative", cluster), -90);
    EXPECT_TRUE(executor::sent().empty());
    EXPECT_EQ(java::getInt(cluster, "iClusterIdKey"), 0);
}

TEST_F(ClustersTest, AChangeDoesNotCheckTheLength) {
    const std::string text(70, 'x');
    java::setString(cluster, "sClusterId", text);
    EXPECT_EQ(java::call("setClusterStatusNative", cluster), 0);
    EXPECT_SENT(nothingSet(8).word(100, 0).text(104, text).byte(169, 0));
}

TEST_F(ClustersTest, WithoutIdentifierNothingIsSent) {
    java::setNull(cluster, "sClusterId", "Ljava/lang/String;");
    for (const char *method : {"addClusterNative", "setClusterStatusNative", "removeClusterNative",
                               "getClusterStatusNative", "getClusterReportNative"})
        EXPECT_EQ(java::call(method, cluster), -88) << method;
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ClustersTest, AnAddressThatDoesNotParseMattersOnlyWhenItIsToChange) {
    java::setString(cluster, "Address", "absent.example");
    EXPECT_EQ(java::call("addClusterNative", cluster), 0);
    EXPECT_SENT(nothingSet(4).hex(16, "eeeeeeee"));

    executor::reset();
    java::setByte(cluster, "SetMaxNumberOfPorts", 5);
    java::setByte(cluster, "SetIPAddress", 1);
    const Names names = java::fieldsLookedUp([&] { EXPECT_EQ(java::call("setClusterStatusNative", cluster), -3); });
    EXPECT_EQ(tail(names, 2), Names({"SetIPAddress", "Address"})); // no flag is handed back
    EXPECT_TRUE(executor::sent().empty());
    EXPECT_EQ(java::getByte(cluster, "SetIPAddress"), 1);
    EXPECT_EQ(java::getByte(cluster, "SetMaxNumberOfPorts"), 5);
}

TEST_F(ClustersTest, HostNamesResolve) {
    java::setString(cluster, "Address", "balancer.example");
    EXPECT_EQ(java::call("addClusterNative", cluster), 0);
    EXPECT_SENT(nothingSet(4).hex(16, "c0000207"));
}

TEST_F(ClustersTest, APrimaryHostThatDoesNotParseIsAddressZero) {
    java::setString(cluster, "sPrimaryHost", "absent.example");
    java::setByte(cluster, "SetPrimaryHost", 1);
    EXPECT_EQ(java::call("addClusterNative", cluster), 0);
    EXPECT_SENT(nothingSet(4).byte(93, 1).hex(80, "00000000"));
}

TEST_F(ClustersTest, APrimaryHostThatIsNumericAndRefusedIsTheAddressOfNobody) {
    for (const char *text : {"", "255.255.255.255"}) {
        executor::reset();
        cluster = newCluster();
        java::setString(cluster, "sPrimaryHost", text);
        java::setByte(cluster, "SetPrimaryHost", 1);
        EXPECT_EQ(java::call("addClusterNative", cluster), 0) << text;
        EXPECT_SENT(nothingSet(4).byte(93, 1).hex(80, "ffffffff")) << text;
    }
}

TEST_F(ClustersTest, MissingAddressesAreAddressZero) {
    for (const int flag : {0, 1}) {
        executor::reset();
        cluster = newCluster();
        java::setNull(cluster, "Address", kStringType);
        java::setNull(cluster, "sPrimaryHost", kStringType);
        java::setByte(cluster, "SetIPAddress", flag);
        java::setByte(cluster, "SetPrimaryHost", 1);
        EXPECT_EQ(java::call("addClusterNative", cluster), 0);
        EXPECT_SENT(
            nothingSet(4).hex(16, "00000000").byte(93, 1).hex(80, "00000000").byte(95, static_cast<uint8_t>(flag)));
    }
}

// The VM's checks do not like the calls that follow with the exception pending.
TEST_F(ClustersTest, ANatAddressThatCannotBeReadSendsZeros) {
    java::setInt(cluster, "iClusterIdKey", kKeyOfWeb);
    const auto set = [this](jobject array) {
        executor::reset();
        java::setByte(cluster, "SetNatPtAddress", 1);
        java::setObject(cluster, "natPtAddress", "[B", array);
        EXPECT_EQ(java::call("setClusterStatusNative", cluster), 0);
        EXPECT_SENT(nothingSet(8).byte(169, 1).hex(172, "00000000"));
        EXPECT_NE(java::takeVmOutput().find("exception pending"), std::string::npos);
        return java::takeException();
    };
    EXPECT_EQ(set(nullptr), "java.lang.NullPointerException: natPtAddress");
    EXPECT_NE(set(java::makeByteArray({1, 2, 3})).find("ArrayIndexOutOfBounds"), std::string::npos);
}

TEST_F(ClustersTest, OnlyAFlagOfOneMakesABadAddressAFailure) {
    java::setString(cluster, "Address", "absent.example");
    java::setByte(cluster, "SetIPAddress", 2);
    EXPECT_EQ(java::call("addClusterNative", cluster), 0);
    EXPECT_SENT(nothingSet(4).hex(16, "eeeeeeee").byte(95, 2));
}

TEST_F(ClustersTest, TheLimitOfIdentifiersCountsBytes) {
    std::string text;
    for (int i = 0; i < 32; ++i)
        text += "\xC3\xA9"; // two bytes each
    java::setString(cluster, "sClusterId", text);
    EXPECT_EQ(java::call("addClusterNative", cluster), 0);
    java::setString(cluster, "sClusterId", text + "x");
    EXPECT_EQ(java::call("addClusterNative", cluster), -90);
}

TEST_F(ClustersTest, ReasonsBecomeStatuses) {
    const ReasonRow rows[] = {{-33, -3}, {-9, -29}, {-8, -4},  {-7, -28}, {-5, -5}, {-1, -99},
                              {-2, -99}, {-4, -99}, {-6, -99}, {0, -99},  {5, -99}, {-99, -99}};
    for (const ReasonRow &row : rows)
        for (const auto &[method, command] : {std::pair("addClusterNative", 4), {"setClusterStatusNative", 8}}) {
            executor::reset();
            executor::answer(command, executor::refuse(row.reason));
            EXPECT_EQ(java::call(method, cluster), row.status) << method << ' ' << row.reason;
        }
    for (const ReasonRow &row : {ReasonRow{-5, -5}, {-33, -99}, {-9, -99}, {-8, -99}, {-7, -99}, {0, -99}})
        for (const auto &[method, command] :
             {std::pair("removeClusterNative", 5), {"getClusterStatusNative", 7}, {"getClusterReportNative", 9}}) {
            executor::reset();
            executor::answer(command, executor::refuse(row.reason));
            EXPECT_EQ(java::call(method, cluster), row.status) << method << ' ' << row.reason;
        }
}

TEST_F(ClustersTest, AnyResultButZeroIsAFailure) {
    executor::answer(4, [](uint8_t *block, uint32_t) {
        const int32_t reason = -8;
        memcpy(block + 8, &reason, sizeof(reason));
        return 19; // a positive error number of the device
    });
    EXPECT_EQ(java::call("addClusterNative", cluster), -4);
}

TEST_F(ClustersTest, FlagsGoBackWhetherTheExecutorTakesTheCommandOrNot) {
    for (const int32_t result : {0, -1}) {
        executor::reset();
        executor::answer(4, [&](uint8_t *block, uint32_t) {
            for (std::size_t i = 0; i < kWriteBack.size(); ++i)
                block[kWriteBackOffsets[i]] = static_cast<uint8_t>(60 + i);
            return result;
        });
        const Names names = java::fieldsLookedUp([&] { java::call("addClusterNative", cluster); });
        EXPECT_EQ(tail(names, kWriteBack.size()), kWriteBack);
        for (std::size_t i = 0; i < kWriteBack.size(); ++i)
            EXPECT_EQ(java::getByte(cluster, kWriteBack[i].c_str()), static_cast<int>(60 + i)) << kWriteBack[i];
        cluster = newCluster();
    }
}

TEST_F(ClustersTest, RemoveSendsTheKey) {
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("removeClusterNative", cluster), 0); }),
              Names({"sClusterId"}));
    EXPECT_SENT(Image(192).header(5, 192).word(100, kKeyOfWeb));
}

TEST_F(ClustersTest, StatusIsReadIntoTheFieldsInOrder) {
    executor::answer(7, [](uint8_t *block, uint32_t) {
        Image image(192, 0xAA);
        image.hex(16, "0a000006").word(20, 8).word(24, 32).word(32, 1).word(36, static_cast<uint32_t>(-60));
        image.half(40, 65535).half(42, 65535).byte(44, 201).byte(45, 255).word(48, 1).word(52, 300).word(56, 9);
        image.word(64, 48).word(68, 49).word(72, 2).word(76, 1).hex(80, "0a090807").word(96, 3);
        image.word(100, 0x11223344).text(104, "WEB-1").hex(172, "0a00ff07");
        memcpy(block + 16, image.bytes.data() + 16, 192 - 16);
        return 0;
    });
    const Names expected = {"sClusterId",
                            "NumPorts",
                            "MaxNumberOfPorts",
                            "DefaultPortMaxServers",
                            "DefaultPortStickyTime",
                            "DefaultPortAffinityType",
                            "DefaultPortWeightBound",
                            "DefaultPortStaleTimeout",
                            "iNewConnsProp",
                            "iActiveConnsProp",
                            "iPortSpecificProp",
                            "iSystemProp",
                            "iSharedBytesPerSecond",
                            "DefaultPortType",
                            "DefaultPortReplicate",
                            "sPrimaryHost",
                            "iClusterIdKey",
                            "sClusterId",
                            "Address",
                            "natPtAddress"};
    java::setObject(cluster, "natPtAddress", "[B", java::makeByteArray({0, 0, 0, 0}));
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("getClusterStatusNative", cluster), 0); }), expected);
    EXPECT_SENT(Image(192).header(7, 192).word(100, kKeyOfWeb));
    EXPECT_EQ(java::getInt(cluster, "NumPorts"), 3);
    EXPECT_EQ(java::getInt(cluster, "MaxNumberOfPorts"), 8);
    EXPECT_EQ(java::getInt(cluster, "DefaultPortMaxServers"), 32);
    EXPECT_EQ(java::getInt(cluster, "DefaultPortStickyTime"), -60);
    EXPECT_EQ(java::getInt(cluster, "DefaultPortAffinityType"), 65535);
    EXPECT_EQ(java::getInt(cluster, "DefaultPortWeightBound"), -1);
    EXPECT_EQ(java::getInt(cluster, "DefaultPortStaleTimeout"), 300);
    EXPECT_EQ(java::getInt(cluster, "iNewConnsProp"), 49);
    EXPECT_EQ(java::getInt(cluster, "iActiveConnsProp"), 48);
    EXPECT_EQ(java::getInt(cluster, "iPortSpecificProp"), 2);
    EXPECT_EQ(java::getInt(cluster, "iSystemProp"), 1);
    EXPECT_EQ(java::getInt(cluster, "iSharedBytesPerSecond"), 9);
    EXPECT_EQ(java::getChar(cluster, "DefaultPortType"), 201);
    EXPECT_EQ(java::getChar(cluster, "DefaultPortReplicate"), 255);
    EXPECT_EQ(java::getString(cluster, "sPrimaryHost"), "10.9.8.7");
    EXPECT_EQ(java::getInt(cluster, "iClusterIdKey"), 0x11223344);
    EXPECT_EQ(java::getString(cluster, "sClusterId"), "WEB-1");
    EXPECT_EQ(java::getString(cluster, "Address"), "10.0.0.6");
    EXPECT_EQ(java::getBytes(cluster, "natPtAddress"), std::vector<int>({10, 0, -1, 7}));
}

TEST_F(ClustersTest, AnIdentifierWithoutTerminatorEndsWithItsField) {
    executor::answer(7, [](uint8_t *block, uint32_t) {
        memset(block + 104, 'i', 80);
        return 0;
    });
    EXPECT_EQ(java::call("getClusterStatusNative", cluster), 0);
    EXPECT_EQ(java::getString(cluster, "sClusterId"), std::string(65, 'i'));
}

TEST_F(ClustersTest, ReportIsReadIntoTheFieldsInOrder) {
    executor::answer(9, [](uint8_t *block, uint32_t) {
        Image image(72, 0xAA);
        image.word(16, 0x11223344).hex(20, "0a000006");
        for (uint32_t i = 0; i < 9; ++i)
            image.word(24 + 4 * i, 70 + i);
        image.word(64, 91).word(68, 92);
        memcpy(block + 16, image.bytes.data() + 16, 72 - 16);
        return 0;
    });
    const Names fields = {"NumPorts",     "SYNonActive",  "SYNonFINNed",    "FINs_Dropped", "ACKs_Dropped",
                          "RSTs_Dropped", "PKTs_Dropped", "PKTnonExisting", "QuiescNew"};
    Names expected = {"Address", "sClusterId"};
    expected.insert(expected.end(), fields.begin(), fields.end());
    for (const char *last : {"iBytesPerSecond", "iConnectionsPerSecond", "iClusterIdKey", "Address"})
        expected.emplace_back(last);
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("getClusterReportNative", cluster), 0); }), expected);
    EXPECT_SENT(Image(72).header(9, 72).word(16, kKeyOfWeb));
    for (std::size_t i = 0; i < fields.size(); ++i)
        EXPECT_EQ(java::getInt(cluster, fields[i].c_str()), static_cast<jint>(70 + i)) << fields[i];
    EXPECT_EQ(java::getInt(cluster, "iBytesPerSecond"), 91);
    EXPECT_EQ(java::getInt(cluster, "iConnectionsPerSecond"), 92);
    EXPECT_EQ(java::getInt(cluster, "iClusterIdKey"), 0x11223344);
    EXPECT_EQ(java::getString(cluster, "Address"), "10.0.0.6");
}

TEST_F(ClustersTest, TheAddressOfAReportMayBeAnything) {
    java::setString(cluster, "Address", "absent.example");
    EXPECT_EQ(java::call("getClusterReportNative", cluster), 0);
    EXPECT_SENT(Image(72).header(9, 72).word(16, kKeyOfWeb));
}

TEST_F(ClustersTest, ARefusedReadTouchesNoField) {
    for (const int command : {7, 9})
        executor::answer(command, executor::refuse(-5));
    EXPECT_EQ(java::fieldsLookedUp([&] { java::call("getClusterStatusNative", cluster); }), Names({"sClusterId"}));
    EXPECT_EQ(java::fieldsLookedUp([&] { java::call("getClusterReportNative", cluster); }),
              Names({"Address", "sClusterId"}));
}

TEST_F(ClustersTest, ConnectionsPerSecondUseTheKeyThatJavaHoldsAndMapNothing) {
    java::setInt(cluster, "iClusterIdKey", 0x11223344);
    java::setInt(cluster, "iConnectionsPerSecond", 500);
    EXPECT_EQ(java::call("setClusterCPSNative", cluster), 0);
    EXPECT_SENT(Image(72).header(72, 72).word(16, 0x11223344).word(68, 500));
    for (const int32_t result : {-1, 9, 4711}) {
        executor::reset();
        executor::answer(72, executor::refuse(-5, result));
        EXPECT_EQ(java::call("setClusterCPSNative", cluster), result);
    }
}

TEST_F(ClustersTest, ReportCanBeAskedForWithoutJava) {
    EXPECT_EQ(getClusterReport(0x11223344), 0);
    EXPECT_SENT(Image(72).header(9, 72).word(16, 0x11223344));
    executor::answer(9, executor::refuse(-5, 17));
    EXPECT_EQ(getClusterReport(1), 17);
}

TEST_F(ClustersTest, NullObjectsAreNamed) {
    for (const char *method : {"addClusterNative", "setClusterStatusNative", "removeClusterNative",
                               "getClusterStatusNative", "getClusterReportNative", "setClusterCPSNative"}) {
        java::call(method, nullptr);
        EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: cluster") << method;
    }
    java::call("getClustersListNative", nullptr);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: list");
    EXPECT_TRUE(executor::sent().empty());
}

// --- The list --------------------------------------------------------------------------------------------------------

struct ClustersListTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        list = java::make("java/lang/StringBuffer");
    }

    // The executor has these clusters, and says of the list that it filled `replied` entries.
    static void clusters(const Names &identifiers, int32_t replied) {
        executor::answer(3, executor::reply({{220, static_cast<uint32_t>(identifiers.size())}}));
        executor::answer(6, [=](uint8_t *block, uint32_t length) {
            for (std::size_t i = 0; i < identifiers.size() && 20 + 72 * (i + 1) <= length; ++i)
                memcpy(block + 20 + 72 * i, identifiers[i].c_str(),
                       std::min<std::size_t>(identifiers[i].size() + 1, 72));
            memcpy(block + 16, &replied, sizeof(replied));
            return 0;
        });
    }

    jint ask() {
        calls::countAllocations(failing);
        const jint status = java::call("getClustersListNative", list);
        held = calls::blocksHeld();
        sizes = calls::allocationSizes();
        calls::countAllocations();
        return status;
    }

    jobject list = nullptr;
    int failing = 0;
    int held = -1;
    std::vector<std::size_t> sizes;
};

TEST_F(ClustersListTest, NamesFollowOneAnotherEachLedByAPlus) {
    clusters({"web", "mail", "a b"}, 3);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+web+mail+a b");
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({3, 6}));
    EXPECT_EQ(executor::dump(executor::sent()[0]), executor::dump(Image(240).header(3, 240).bytes));
    EXPECT_EQ(held, 0);
}

TEST_F(ClustersListTest, TheBlockIsSizedForTheClusters) {
    clusters({"web", "mail", "news"}, 3);
    EXPECT_EQ(ask(), 0);
    EXPECT_SENT(Image(20 + 72 * 3, 0).header(6, 20 + 72 * 3).word(16, 3));
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 20 + 72 * 3}));
}

TEST_F(ClustersListTest, AppendsToWhatTheBufferHolds) {
    clusters({"web"}, 1);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+web+web");
}

TEST_F(ClustersListTest, NoClustersGiveTheEmptyText) {
    clusters({}, 0);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "");
    EXPECT_SENT(Image(20, 0).header(6, 20).word(16, 0));
}

TEST_F(ClustersListTest, FewerEntriesThanAskedFor) {
    clusters({"web", "mail", "news"}, 2);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+web+mail");
}

TEST_F(ClustersListTest, CountsBeyondTheRoomAreNotBelieved) {
    for (const int32_t replied : {4, 2147483647}) {
        clusters({"web", "mail", "news"}, replied);
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(java::text(list), "+web+mail+news");
        list = java::make("java/lang/StringBuffer");
        executor::reset();
    }
    clusters({"web"}, -1);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "");
}

TEST_F(ClustersListTest, AnImpossibleNumberOfClustersIsOutOfMemory) {
    for (const uint32_t count : {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, 59652324u}) { // the last: 2^32 bytes and more
        executor::reset();
        executor::answer(3, executor::reply({{220, count}}));
        EXPECT_EQ(ask(), -28) << count;
        EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({3}));
        EXPECT_EQ(sizes, std::vector<std::size_t>({10000}));
        EXPECT_EQ(held, 0);
    }
    EXPECT_EQ(java::text(list), "");
}

TEST_F(ClustersListTest, NamesWithoutTerminatorEndWithTheirEntry) {
    const std::string name(72, 'n');
    clusters({name, "mail"}, 2);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+" + name + "+mail");
}

TEST_F(ClustersListTest, ALongListGrowsTheText) {
    Names identifiers;
    std::string expected;
    for (int i = 0; i < 2000; ++i) {
        identifiers.push_back("cluster-number-" + std::to_string(i));
        expected += "+" + identifiers.back();
    }
    clusters(identifiers, 2000);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), expected);
    EXPECT_EQ(held, 0);
}

TEST_F(ClustersListTest, AFailedReportIsReturnedWithTheEmptyText) {
    executor::answer(3, executor::refuse(-5, 17));
    EXPECT_EQ(ask(), 17);
    EXPECT_EQ(java::text(list), "");
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({3}));
    EXPECT_EQ(held, 0);
}

TEST_F(ClustersListTest, AFailedListIsAlwaysMinus99WithTheEmptyText) {
    for (const int32_t reason : {-5, -1, 7}) {
        executor::reset();
        executor::answer(3, executor::reply({{220, 1}}));
        executor::answer(6, executor::refuse(reason));
        EXPECT_EQ(ask(), -99);
        EXPECT_EQ(java::text(list), "");
        EXPECT_EQ(held, 0);
    }
}

TEST_F(ClustersListTest, WithoutMemory) {
    clusters({"web"}, 1);
    failing = 1; // the text
    EXPECT_EQ(ask(), -28);
    EXPECT_TRUE(executor::sent().empty());
    EXPECT_EQ(held, 0);
    failing = 2; // the block
    EXPECT_EQ(ask(), -28);
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({3}));
    EXPECT_EQ(held, 0);
    EXPECT_EQ(java::text(list), "");
}

TEST_F(ClustersListTest, ATextThatCannotGrowEndsTheListThere) {
    const Names identifiers(200, std::string(64, 'x')); // 65 characters each: 153 fit into 10000
    clusters(identifiers, 200);
    failing = 3; // the text's growth
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list).size(), 153u * 65);
    EXPECT_EQ(held, 0);
}

} // namespace
