// Servers: adding, changing, removing, marking, reading.
#include "harness/library_test.h"
#include "harness/servers.h"

#include "library/channel/channel.h"
#include "library/support/CMNImpUtils.h"

#include <cstring>

namespace {

using executor::Image;
using servers::kKeyOfServer;
using servers::kKeyOfWeb;
using servers::newServer;
using servers::nothingSet;
using Names = std::vector<std::string>;

constexpr char kString[] = "Ljava/lang/String;";

struct Setting {
    const char *flag;
    std::size_t flagOffset;
    const char *value;
    void (*give)(jobject server);
    void (*expect)(Image &image);
};

// In the order in which the library reads them. The listeners have tests of their own.
const Setting kSettings[] = {
    {"SetWeight", 1220, "_iWeight", [](jobject o) { java::setInt(o, "_iWeight", 70000); },
     [](Image &i) { i.half(1192, 4464); }},
    {"SetFixedWeight", 1221, "_bFixedWeight", [](jobject o) { java::setByte(o, "_bFixedWeight", -3); },
     [](Image &i) { i.byte(1194, 0xFD); }},
    {"SetReturnAddress", 1225, "_sReturnAddress", [](jobject o) { java::setString(o, "_sReturnAddress", "10.1.2.3"); },
     [](Image &i) { i.hex(1200, "0a010203"); }},
    {"SetRouterAddress", 1224, "_sRouterAddress",
     [](jobject o) { java::setString(o, "_sRouterAddress", "balancer.example"); },
     [](Image &i) { i.byte(1195, 1).hex(1196, "c0000207").byte(1223, 1); }},
    {"SetCollocated", 1226, "bCollocated", [](jobject o) { java::setByte(o, "bCollocated", -2); },
     [](Image &i) { i.word(1204, 0xFFFFFFFE); }},
    {"SetSticky", 1227, "bSticky", [](jobject o) { java::setByte(o, "bSticky", -128); },
     [](Image &i) { i.word(1208, 0xFFFFFF80); }},
    {"SetQuiesced", 1228, "_iQuiesced", [](jobject o) { java::setInt(o, "_iQuiesced", 0x01020304); },
     [](Image &i) { i.word(1212, 0x01020304); }},
    {"SetAdvisorRequest", 1229, "_sAdvisorRequest", [](jobject o) { java::setString(o, "_sAdvisorRequest", "HEAD /"); },
     [](Image &i) { i.text(1232, "HEAD /"); }},
    {"SetAdvisorResponse", 1230, "_sAdvisorResponse",
     [](jobject o) { java::setString(o, "_sAdvisorResponse", "200 OK"); }, [](Image &i) { i.text(1488, "200 OK"); }},
    {"SetCookieValue", 1744, "CookieValue", [](jobject o) { java::setString(o, "CookieValue", "crumbs"); },
     [](Image &i) { i.text(1745, "crumbs"); }},
    {"SetCloneID", 1845, "CloneID", [](jobject o) { java::setString(o, "CloneID", "clone-7"); },
     [](Image &i) { i.text(1846, "clone-7"); }},
    {"SetCPSMaximum", 1231, "_iCPSMaximum", [](jobject o) { java::setInt(o, "_iCPSMaximum", -5); },
     [](Image &i) { i.word(1216, 0xFFFFFFFB); }},
};

const Names kMethods = {"addServerNative",       "setServerStatusNative", "removeServerNative",
                        "setServerUpNative",     "setServerDownNative",   "setServerCPSNative",
                        "getServerReportNative", "getServerStatusNative"};

struct ReasonRow {
    int32_t reason;
    int32_t status;
};

struct ServersTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        server = newServer();
    }

    void again() {
        executor::reset();
        server = newServer();
    }

    void giveEverything() const {
        for (const Setting &setting : kSettings) {
            setting.give(server);
            java::setByte(server, setting.flag, 1);
        }
    }

    static Image everything(int32_t command) {
        Image image = nothingSet(command);
        for (const Setting &setting : kSettings) {
            image.byte(setting.flagOffset, 1);
            setting.expect(image);
        }
        return image;
    }

    // A server without listeners and texts.
    static int32_t emptyStatus(uint8_t *block, uint32_t length) {
        memset(block + 116, 0, length - 116);
        return 0;
    }

    // A change that stops at one setting: nothing is sent, and nothing is read behind that setting.
    void refused(const char *flag, const std::string &lastRead, int32_t status) const {
        java::setByte(server, flag, 1);
        const Names names =
            java::fieldsLookedUp([&] { EXPECT_EQ(java::call("setServerStatusNative", server), status) << flag; });
        EXPECT_EQ(names.back(), lastRead);
        EXPECT_TRUE(executor::sent().empty()) << flag;
    }

    jobject server = nullptr;
};

// --- Adding and changing ---------------------------------------------------------------------------------------------

TEST_F(ServersTest, AddStoresTheKeyAndSendsIdentifierKeysAndFlags) {
    java::setInt(server, "iServerIdKey", 0);
    for (const Setting &setting : kSettings)
        setting.give(server);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    EXPECT_SENT(nothingSet(27));
    EXPECT_EQ(java::getInt(server, "iServerIdKey"), static_cast<jint>(kKeyOfServer));
}

TEST_F(ServersTest, EachSettingTravelsAlone) {
    for (const Setting &setting : kSettings) {
        again();
        setting.give(server);
        java::setByte(server, setting.flag, 1);
        EXPECT_EQ(java::call("addServerNative", server), 0) << setting.flag;
        Image image = nothingSet(27).byte(setting.flagOffset, 1);
        setting.expect(image);
        EXPECT_SENT(image) << setting.flag;
    }
}

TEST_F(ServersTest, OtherFlagValuesTravelWithoutTheirSetting) {
    for (const int flag : {2, -1}) {
        again();
        Image image = nothingSet(27);
        for (const Setting &setting : kSettings) {
            setting.give(server);
            java::setByte(server, setting.flag, flag);
            image.byte(setting.flagOffset, static_cast<uint8_t>(flag));
        }
        EXPECT_EQ(java::call("addServerNative", server), 0);
        EXPECT_SENT(image);
    }
}

TEST_F(ServersTest, AChangeUsesTheKeyThatJavaHolds) {
    giveEverything();
    java::setInt(server, "iServerIdKey", 0x11223344);
    EXPECT_EQ(java::call("setServerStatusNative", server), 0);
    EXPECT_SENT(everything(32).word(84, 0x11223344));
    EXPECT_EQ(java::getInt(server, "iServerIdKey"), 0x11223344);
}

TEST_F(ServersTest, ReadsFieldsInOrderAndHandsNothingBack) {
    giveEverything();
    Names expected = {"sServerID", "iServerIdKey", "ClusterId", "Port", "_iNumListeners", "SetListeners"};
    for (const Setting &setting : kSettings)
        expected.insert(expected.end(), {setting.flag, setting.value});
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call("setServerStatusNative", server), 0); }), expected);
    expected.insert(expected.begin(), {"sServerID", "iServerIdKey"});
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call("addServerNative", server), 0); }), expected);
}

TEST_F(ServersTest, IdentifiersOf64CharactersAreTheLongest) {
    const std::string longest(64, 'x');
    java::setString(server, "sServerID", longest);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    std::string text = longest;
    uint32_t key = 0;
    makeHashResult(text.data(), &key);
    EXPECT_SENT(nothingSet(27).text(16, longest).word(84, key));
    EXPECT_EQ(java::getInt(server, "iServerIdKey"), static_cast<jint>(key));

    again();
    java::setString(server, "sServerID", longest + "x");
    EXPECT_EQ(java::call("addServerNative", server), -85);
    EXPECT_TRUE(executor::sent().empty());
    EXPECT_EQ(java::getInt(server, "iServerIdKey"), static_cast<jint>(kKeyOfServer));
}

TEST_F(ServersTest, AnIdentifierMustBeThereToAdd) {
    java::setNull(server, "sServerID", kString);
    EXPECT_EQ(java::call("addServerNative", server), -80);
    EXPECT_TRUE(executor::sent().empty());
    EXPECT_EQ(java::call("setServerStatusNative", server), 0); // a change goes by the key
    EXPECT_SENT(nothingSet(32).byte(16, 0).hex(17, "eeee"));
}

TEST_F(ServersTest, AChangeDoesNotCheckTheLength) {
    const std::string text(90, 'x'); // over both keys and the port, which are written after it
    java::setString(server, "sServerID", text);
    EXPECT_EQ(java::call("setServerStatusNative", server), 0);
    EXPECT_SENT(nothingSet(32).text(16, text).word(84, kKeyOfServer).word(88, kKeyOfWeb).hex(92, "0050"));
}

TEST_F(ServersTest, WithoutClusterIdentifierNothingIsSent) {
    java::setNull(server, "ClusterId", kString);
    for (const std::string &method : kMethods)
        EXPECT_EQ(java::call(method.c_str(), server), -99) << method;
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ServersTest, PortsAre16Bits) {
    for (const std::string &method : kMethods)
        for (const jint port : {-1, 65536, -2147483647 - 1, 65536 + 80}) {
            java::setInt(server, "Port", port);
            EXPECT_EQ(java::call(method.c_str(), server), -10) << method << ' ' << port;
        }
    EXPECT_TRUE(executor::sent().empty());
    EXPECT_EQ(ucb.server.port.word, 0xEEEE); // the block keeps what it held
    EXPECT_EQ(ucb.serverReport.port.word, 0xEEEE);
    for (const auto &[port, bytes] : {std::pair(65535, "ffff"), {0, "0000"}, {258, "0102"}})
        for (const std::string &method : kMethods) {
            again();
            executor::answer(56, emptyStatus);
            java::setInt(server, "Port", port);
            EXPECT_EQ(java::call(method.c_str(), server), 0) << method << ' ' << port;
            const std::size_t offset = executor::lastSent().size() == 1952 ? 92 : 20;
            Image image(0);
            image.bytes = executor::lastSent();
            EXPECT_SENT(image.hex(offset, bytes)) << method;
        }
}

TEST_F(ServersTest, NegativeWeightsAreRefused) {
    java::setInt(server, "_iWeight", -1);
    refused("SetWeight", "_iWeight", -20);
    java::setByte(server, "SetWeight", 0);
    EXPECT_EQ(java::call("setServerStatusNative", server), 0);
    java::setByte(server, "SetWeight", 1);
    for (const auto &[weight, low] : {std::pair(0, 0), {65536, 0}, {32768, 32768}, {2147483647, 65535}}) {
        executor::reset();
        java::setInt(server, "_iWeight", weight);
        EXPECT_EQ(java::call("setServerStatusNative", server), 0);
        EXPECT_SENT(nothingSet(32).byte(1220, 1).half(1192, static_cast<uint16_t>(low)));
    }
}

TEST_F(ServersTest, AddressesMustParse) {
    for (const char *text : {"absent.example", "255.255.255.255", "", "1.2.3.4.5"}) {
        again();
        java::setString(server, "_sReturnAddress", text);
        refused("SetReturnAddress", "_sReturnAddress", -76);
        again();
        java::setString(server, "_sRouterAddress", text);
        refused("SetRouterAddress", "_sRouterAddress", -49);
    }
    again();
    java::setString(server, "_sReturnAddress", "absent.example");
    java::setString(server, "_sRouterAddress", "absent.example");
    EXPECT_EQ(java::call("setServerStatusNative", server), 0); // without the flags nobody looks
    EXPECT_SENT(nothingSet(32));
}

TEST_F(ServersTest, ARouterAddressOfZeroIsPresentAndNotRemote) {
    java::setString(server, "_sRouterAddress", "0.0.0.0");
    java::setByte(server, "SetRouterAddress", 1);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    EXPECT_SENT(nothingSet(27).byte(1224, 1).byte(1223, 1).byte(1195, 0).word(1196, 0));
}

TEST_F(ServersTest, AddressesThatAreNullAreZero) {
    for (const char *flag : {"SetReturnAddress", "SetRouterAddress"})
        java::setByte(server, flag, 1);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    EXPECT_SENT(nothingSet(27).byte(1224, 1).byte(1223, 1).byte(1195, 0).word(1196, 0).byte(1225, 1).word(1200, 0));
}

TEST_F(ServersTest, OnlyTheCookieIsEmptiedWhenItIsNotGiven) {
    giveEverything();
    EXPECT_EQ(java::call("addServerNative", server), 0);
    for (const Setting &setting : kSettings)
        java::setByte(server, setting.flag, 0);
    EXPECT_EQ(java::call("setServerStatusNative", server), 0);
    Image image = everything(32).byte(1223, 0).byte(1745, 0); // the remote flag and all values stay
    for (const Setting &setting : kSettings)
        image.byte(setting.flagOffset, 0);
    EXPECT_SENT(image);
}

TEST_F(ServersTest, NullTextsAreEmpty) {
    for (const char *flag : {"SetAdvisorRequest", "SetAdvisorResponse", "SetCookieValue", "SetCloneID"})
        java::setByte(server, flag, 1);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    Image image = nothingSet(27).byte(1229, 1).byte(1230, 1).byte(1744, 1).byte(1845, 1);
    EXPECT_SENT(image.byte(1232, 0).byte(1488, 0).byte(1745, 0).byte(1846, 0));
}

TEST_F(ServersTest, LongTextsRunIntoWhatFollows) {
    const std::string text(300, 'x');
    java::setString(server, "_sAdvisorRequest", text);
    java::setByte(server, "SetAdvisorRequest", 1);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    EXPECT_SENT(nothingSet(27).byte(1229, 1).text(1232, text));

    again();
    java::setString(server, "_sAdvisorResponse", text);
    java::setByte(server, "SetAdvisorResponse", 1);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    EXPECT_SENT(nothingSet(27).byte(1230, 1).text(1488, text).byte(1744, 0).byte(1745, 0)); // written after it

    again();
    java::setString(server, "CookieValue", text.substr(0, 150));
    java::setByte(server, "SetCookieValue", 1);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    EXPECT_SENT(nothingSet(27).byte(1744, 1).text(1745, text.substr(0, 150)).byte(1845, 0));
}

TEST_F(ServersTest, ATextEndsWithTheBlocksStorage) {
    constexpr std::size_t kCloneId = 1846;
    java::setString(server, "CloneID", std::string(sizeof(ucb), 'x'));
    java::setByte(server, "SetCloneID", 1);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    Image image = nothingSet(27).byte(1845, 1);
    std::fill(image.bytes.begin() + kCloneId, image.bytes.end(), uint8_t{'x'});
    EXPECT_SENT(image);
    const auto *storage = reinterpret_cast<const char *>(&ucb);
    EXPECT_EQ(strnlen(storage + kCloneId, sizeof(ucb) - kCloneId), sizeof(ucb) - kCloneId - 1);
}

TEST_F(ServersTest, ReasonsBecomeStatuses) {
    const ReasonRow rows[] = {{-5, -5},   {-1, -12},  {-11, -19}, {-13, -28}, {-14, -18}, {-15, -32}, {-36, -20},
                              {-43, -43}, {-58, -58}, {0, -99},   {1, -99},   {5, -99},   {11, -99},  {-2, -99},
                              {-4, -99},  {-6, -99},  {-10, -99}, {-12, -99}, {-16, -99}, {-35, -99}, {-37, -99},
                              {-42, -99}, {-44, -99}, {-57, -99}, {-59, -99}, {-99, -99}};
    for (const ReasonRow &row : rows)
        for (const auto &[method, command] : {std::pair("addServerNative", 27), {"setServerStatusNative", 32}}) {
            executor::reset();
            executor::answer(command, executor::refuse(row.reason));
            EXPECT_EQ(java::call(method, server), row.status) << method << ' ' << row.reason;
        }
    const ReasonRow shortRows[] = {{-5, -5},   {-1, -12},  {-11, -19}, {-13, -99}, {-14, -99}, {-15, -99}, {-36, -99},
                                   {-43, -99}, {-58, -99}, {0, -99},   {1, -99},   {-2, -99},  {-10, -99}, {-12, -99}};
    for (const ReasonRow &row : shortRows)
        for (const auto &[method, command] : {std::pair("removeServerNative", 28),
                                              {"setServerUpNative", 30},
                                              {"setServerDownNative", 29},
                                              {"getServerReportNative", 33},
                                              {"getServerStatusNative", 56}}) {
            executor::reset();
            executor::answer(command, executor::refuse(row.reason));
            EXPECT_EQ(java::call(method, server), row.status) << method << ' ' << row.reason;
        }
}

TEST_F(ServersTest, AnyResultButZeroIsAFailure) {
    for (const int32_t result : {19, -2}) { // 19: an error number of the device
        executor::reset();
        executor::answer(27, executor::refuse(-14, result));
        EXPECT_EQ(java::call("addServerNative", server), -18);
        executor::answer(28, executor::refuse(-11, result));
        EXPECT_EQ(java::call("removeServerNative", server), -19);
    }
}

// --- Removing, marking -----------------------------------------------------------------------------------------------

TEST_F(ServersTest, RemoveSendsTheKeys) {
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call("removeServerNative", server), 0); }),
              Names({"ClusterId", "Port", "iServerIdKey"}));
    EXPECT_SENT(Image(1952).header(28, 1952).word(84, kKeyOfServer).word(88, kKeyOfWeb).hex(92, "0050"));
}

TEST_F(ServersTest, UpAndDownSendTheKeysAndOne) {
    for (const auto &[method, command] : {std::pair("setServerUpNative", 30), {"setServerDownNative", 29}}) {
        EXPECT_EQ(java::membersLookedUp([&, name = method] { EXPECT_EQ(java::call(name, server), 0); }),
                  Names({"ClusterId", "Port", "iServerIdKey"}));
        Image image = Image(136).header(command, 136).word(16, kKeyOfWeb).hex(20, "0050");
        EXPECT_SENT(image.word(44, 1).word(48, kKeyOfServer));
        executor::reset();
    }
}

TEST_F(ServersTest, HostsAreNothingToTheExecutor) {
    for (const char *method : {"setHostDownNative", "setHostUpNative", "removeHostNative"})
        for (jobject host : {server, jobject(nullptr)})
            EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call(method, host), 0) << method; }), Names());
    EXPECT_TRUE(executor::sent().empty());
}

// --- Connections per second ------------------------------------------------------------------------------------------

TEST_F(ServersTest, ConnectionsPerSecondAreSent) {
    java::setInt(server, "_iCPSCount", 500);
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call("setServerCPSNative", server), 0); }),
              Names({"iServerIdKey", "ClusterId", "Port", "_iCPSCount"}));
    EXPECT_SENT(Image(96).header(83, 96).word(16, kKeyOfWeb).hex(20, "0050").word(44, kKeyOfServer).word(92, 500));
}

TEST_F(ServersTest, ConnectionsPerSecondStopAtTheFirstThatIsNegative) {
    java::setInt(server, "iServerIdKey", -1);
    java::setInt(server, "Port", 65536);
    java::setInt(server, "_iCPSCount", -1);
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call("setServerCPSNative", server), -99); }),
              Names({"iServerIdKey"}));
    java::setInt(server, "iServerIdKey", 0);
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call("setServerCPSNative", server), -10); }),
              Names({"iServerIdKey", "ClusterId", "Port"}));
    java::setInt(server, "Port", 80);
    EXPECT_EQ(java::call("setServerCPSNative", server), -99);
    EXPECT_TRUE(executor::sent().empty());
    java::setInt(server, "_iCPSCount", 0);
    EXPECT_EQ(java::call("setServerCPSNative", server), 0);
    EXPECT_SENT(Image(96).header(83, 96).word(16, kKeyOfWeb).hex(20, "0050").word(44, 0).word(92, 0));
}

TEST_F(ServersTest, ConnectionsPerSecondReturnTheRawResult) {
    for (const int32_t result : {-1, 9, 4711}) {
        executor::reset();
        executor::answer(83, executor::refuse(-5, result));
        EXPECT_EQ(java::call("setServerCPSNative", server), result);
    }
}

// --- Reading ---------------------------------------------------------------------------------------------------------

TEST_F(ServersTest, ReportIsReadIntoTheFieldsInOrder) {
    executor::answer(33, [](uint8_t *block, uint32_t) {
        Image image(96, 0xAA);
        for (uint32_t i = 0; i < 6; ++i)
            image.word(56 + 4 * i, 70 + i);
        image.half(80, 65535).word(88, 0x80000000);
        memcpy(block + 16, image.bytes.data() + 16, 96 - 16);
        return 0;
    });
    const Names counters = {"TotalConnections",  "TotalTCPConnections", "TotalUDPConnections",
                            "ActiveConnections", "FINishedConnections", "CompleteConnections"};
    Names expected = {"ClusterId", "Port", "iServerIdKey"};
    expected.insert(expected.end(), counters.begin(), counters.end());
    expected.insert(expected.end(), {"_iSavedWeight", "iBytesPerSecond"});
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call("getServerReportNative", server), 0); }), expected);
    EXPECT_SENT(Image(96).header(33, 96).word(16, kKeyOfWeb).hex(20, "0050").word(44, kKeyOfServer));
    for (std::size_t i = 0; i < counters.size(); ++i)
        EXPECT_EQ(java::getInt(server, counters[i].c_str()), static_cast<jint>(70 + i)) << counters[i];
    EXPECT_EQ(java::getInt(server, "_iSavedWeight"), -1);
    EXPECT_EQ(java::getInt(server, "iBytesPerSecond"), -2147483647 - 1);
}

TEST_F(ServersTest, StatusIsReadIntoTheFieldsInOrder) {
    executor::answer(56, [](uint8_t *block, uint32_t) {
        Image image(1952, 0xAA);
        image.half(116, 0).half(1192, 65535).byte(1194, 0xFD).byte(1195, 0).hex(1196, "0a090807");
        image.hex(1200, "0a010203").word(1204, 0x12345601).word(1208, 0x123456FE).word(1212, 3).word(1216, 900);
        image.text(1232, "HEAD /").text(1488, "200 OK").text(1745, "crumbs").text(1846, "clone-7");
        memcpy(block + 16, image.bytes.data() + 16, 1952 - 16);
        return 0;
    });
    const Names expected = {"ClusterId",        "Port",
                            "iServerIdKey",     "_iNumListeners",
                            "_iWeight",         "_bFixedWeight",
                            "_sRouterAddress",  "_sReturnAddress",
                            "IsRemote",         "bCollocated",
                            "bSticky",          "_iQuiesced",
                            "_sAdvisorRequest", "_sAdvisorResponse",
                            "CookieValue",      "CloneID",
                            "_iCPSMaximum"};
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call("getServerStatusNative", server), 0); }), expected);
    EXPECT_SENT(Image(1952).header(56, 1952).word(84, kKeyOfServer).word(88, kKeyOfWeb).hex(92, "0050"));
    EXPECT_EQ(java::getInt(server, "_iWeight"), -1);
    EXPECT_EQ(java::getByte(server, "_bFixedWeight"), -3);
    EXPECT_EQ(java::getString(server, "_sRouterAddress"), "10.9.8.7");
    EXPECT_EQ(java::getString(server, "_sReturnAddress"), "10.1.2.3");
    EXPECT_EQ(java::getByte(server, "IsRemote"), 1); // by the address, whatever the remote flag says
    EXPECT_EQ(java::getByte(server, "bCollocated"), 1);
    EXPECT_EQ(java::getByte(server, "bSticky"), -2);
    EXPECT_EQ(java::getInt(server, "_iQuiesced"), 3);
    EXPECT_EQ(java::getString(server, "_sAdvisorRequest"), "HEAD /");
    EXPECT_EQ(java::getString(server, "_sAdvisorResponse"), "200 OK");
    EXPECT_EQ(java::getString(server, "CookieValue"), "crumbs");
    EXPECT_EQ(java::getString(server, "CloneID"), "clone-7");
    EXPECT_EQ(java::getInt(server, "_iCPSMaximum"), 900);
}

TEST_F(ServersTest, WithoutRouterAddressAServerIsNotRemote) {
    executor::answer(56, [](uint8_t *block, uint32_t) {
        const Image image = Image(1200).half(116, 0).byte(1195, 1).word(1196, 0);
        memcpy(block + 116, image.bytes.data() + 116, 1200 - 116);
        return 0;
    });
    java::setByte(server, "IsRemote", 1);
    EXPECT_EQ(java::call("getServerStatusNative", server), 0);
    EXPECT_EQ(java::getByte(server, "IsRemote"), 0);
    EXPECT_EQ(java::getString(server, "_sRouterAddress"), "0.0.0.0");
}

TEST_F(ServersTest, TextsWithoutTerminatorEndWithTheirField) {
    executor::answer(56, [](uint8_t *block, uint32_t) {
        memset(block + 116, 0, 2);
        memset(block + 1232, 'x', 1952 - 1232 + 100);
        return 0;
    });
    EXPECT_EQ(java::call("getServerStatusNative", server), 0);
    EXPECT_EQ(java::getString(server, "_sAdvisorRequest"), std::string(256, 'x'));
    EXPECT_EQ(java::getString(server, "_sAdvisorResponse"), std::string(256, 'x'));
    EXPECT_EQ(java::getString(server, "CookieValue"), std::string(100, 'x'));
    EXPECT_EQ(java::getString(server, "CloneID"), std::string(106, 'x'));
}

TEST_F(ServersTest, ARefusedReadTouchesNoField) {
    executor::answer(33, executor::refuse(-5));
    executor::answer(56, executor::refuse(-5));
    for (const char *method : {"getServerReportNative", "getServerStatusNative"})
        EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call(method, server), -5); }),
                  Names({"ClusterId", "Port", "iServerIdKey"}));
}

// --- Bad objects, resources ------------------------------------------------------------------------------------------

TEST_F(ServersTest, NullObjectsAreNamed) {
    for (const std::string &method : kMethods) {
        java::call(method.c_str(), nullptr);
        EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: server") << method;
    }
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ServersTest, CharactersThatCannotBeHadCountAsMissing) {
    java::PatchedEnv patched;
    patched.functions.GetStringUTFChars = [](JNIEnv *, jstring, jboolean *) -> const char * { return nullptr; };
    EXPECT_EQ(java::call("addServerNative", server), -80);
    EXPECT_EQ(java::call("setServerStatusNative", server), -99); // the cluster's identifier
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ServersTest, EverythingObtainedIsGivenBack) {
    giveEverything();
    executor::answer(56, emptyStatus);
    for (const std::string &method : kMethods)
        EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(java::call(method.c_str(), server), 0); }), 0u) << method;
    java::setString(server, "_sRouterAddress", "absent.example");
    EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(java::call("addServerNative", server), -49); }), 0u);
    java::setString(server, "sServerID", std::string(65, 'x'));
    EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(java::call("addServerNative", server), -85); }), 0u);
}

} // namespace
