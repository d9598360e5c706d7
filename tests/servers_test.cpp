// Servers: adding, changing, removing, marking, reading.
#include "contract/record_contract.h"
#include "harness/servers.h"

#include "library/channel/channel.h"
#include "library/support/CMNImpUtils.h"

#include <cstring>

namespace {

using servers::kKeyOfServer;
using servers::newServer;
using servers::nothingSet;
using enum values::Kind;

constexpr Method kAdd = {"addServerNative", 27};
constexpr Method kSet = {"setServerStatusNative", 32};
constexpr Method kRemove = {"removeServerNative", 28};
constexpr Method kUp = {"setServerUpNative", 30};
constexpr Method kDown = {"setServerDownNative", 29};
constexpr Method kSetCps = {"setServerCPSNative", 83};
constexpr Method kReport = {"getServerReportNative", 33};
constexpr Method kStatus = {"getServerStatusNative", 56};

// A router that is no address means that the server is near.
void expectRouter(Image &image) {
    const bool remote = std::any_of(&image.bytes[1196], &image.bytes[1200], [](uint8_t byte) { return byte != 0; });
    image.byte(1195, remote ? 1 : 0).byte(1223, 1);
}

// The listeners have tests of their own.
const Settings kSettings = {
    .make = newServer,
    .rows =
        {
            {{"SetWeight", 1220}, {{"_iWeight", intSignedHalf, 1192, 2}}},
            {{"SetFixedWeight", 1221}, {{"_bFixedWeight", byteByte, 1194, 3}}},
            {{"SetReturnAddress", 1225}, {{"_sReturnAddress", address, 1200, 5}}},
            {{"SetRouterAddress", 1224}, {{"_sRouterAddress", address, 1196, 4}}, expectRouter},
            {{"SetCollocated", 1226}, {{"bCollocated", byteWord, 1204, 7}}},
            {{"SetSticky", 1227}, {{"bSticky", byteWord, 1208, 8}}},
            {{"SetQuiesced", 1228}, {{"_iQuiesced", intWord, 1212, 9}}},
            {{"SetAdvisorRequest", 1229}, {{"_sAdvisorRequest", text, 1232, 10, 256}}},
            {{"SetAdvisorResponse", 1230}, {{"_sAdvisorResponse", text, 1488, 11, 256}}},
            {{"SetCookieValue", 1744}, {{"CookieValue", text, 1745, 12, 100}}},
            {{"SetCloneID", 1845}, {{"CloneID", text, 1846, 13, 106}}},
            {{"SetCPSMaximum", 1231}, {{"_iCPSMaximum", intWord, 1216, 14}}},
        },
    .goBack = FlagsGoBack::never,
};

const Names kSetLooksUp = {"sServerID", "iServerIdKey", "ClusterId", "Port", "_iNumListeners", "SetListeners"};
const Names kAddLooksUp = {"sServerID", "iServerIdKey", "sServerID",      "iServerIdKey",
                           "ClusterId", "Port",         "_iNumListeners", "SetListeners"};
const Writing kWritings[] = {{kAdd, &kSettings, nothingSet, kAddLooksUp}, {kSet, &kSettings, nothingSet, kSetLooksUp}};

Image record(int32_t command) {
    return Image(1952).header(command, 1952).word(84, kKeyOfServer).word(88, kKeyOfWeb).hex(92, "0050");
}

Image report(int32_t command) {
    return Image(96).header(command, 96).word(16, kKeyOfWeb).hex(20, "0050").word(44, kKeyOfServer);
}

void withoutListeners(Image &reply) {
    reply.half(116, 0);
}

const Names kKeys = {"ClusterId", "Port", "iServerIdKey"};
const Reading kReadings[] = {
    {kStatus,
     newServer,
     record,
     kKeys,
     inOrderOfReading(kSettings, {{"_iNumListeners", elsewhere, 0, 1}, {"IsRemote", elsewhere, 0, 6}}),
     {-5, -5},
     withoutListeners},
    {kReport,
     newServer,
     report,
     kKeys,
     {{"TotalConnections", intWord, 56},
      {"TotalTCPConnections", intWord, 60},
      {"TotalUDPConnections", intWord, 64},
      {"ActiveConnections", intWord, 68},
      {"FINishedConnections", intWord, 72},
      {"CompleteConnections", intWord, 76},
      {"_iSavedWeight", intSignedHalf, 80},
      {"iBytesPerSecond", intWord, 88}},
     {-5, -5}},
};

const std::vector<ReasonRow> kAddOrSetStatuses = {
    {-5, -5},   {-1, -12},  {-11, -19}, {-13, -28}, {-14, -18}, {-15, -32}, {-36, -20}, {-43, -43}, {-58, -58},
    {0, -99},   {1, -99},   {5, -99},   {11, -99},  {-2, -99},  {-4, -99},  {-6, -99},  {-10, -99}, {-12, -99},
    {-16, -99}, {-35, -99}, {-37, -99}, {-42, -99}, {-44, -99}, {-57, -99}, {-59, -99}, {-99, -99}};
const std::vector<ReasonRow> kStatuses = {{-5, -5},   {-1, -12},  {-11, -19}, {-13, -99}, {-14, -99},
                                          {-15, -99}, {-36, -99}, {-43, -99}, {-58, -99}, {0, -99},
                                          {1, -99},   {-2, -99},  {-10, -99}, {-12, -99}};

// The executor has a server without listeners and texts.
void knowServer() {
    executor::answer(kStatus.command, [](uint8_t *block, uint32_t length) {
        memset(block + 116, 0, length - 116);
        return 0;
    });
}

const Call kCalls[] = {
    {kAdd, "server", newServer, kAddOrSetStatuses, 92, 0, 3, "Port"},
    {kSet, "server", newServer, kAddOrSetStatuses, 92, 0, 2, "Port"},
    {kRemove, "server", newServer, kStatuses, 92, 0, 1, "Port"},
    {kUp, "server", newServer, kStatuses, 20, 0, 1, "Port"},
    {kDown, "server", newServer, kStatuses, 20, 0, 1, "Port"},
    {kSetCps, "server", newServer, {}, 20, 0, 1, "Port"},
    {kReport, "server", newServer, kStatuses, 20, 0, 1, "Port"},
    {kStatus, "server", newServer, kStatuses, 92, 0, 1, "Port", knowServer},
};

INSTANTIATE_TEST_SUITE_P(Servers, WritingContract, testing::ValuesIn(kWritings), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Servers, ReadingContract, testing::ValuesIn(kReadings), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Servers, ObjectContract, testing::ValuesIn(kCalls), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Servers, PortContract, testing::ValuesIn(kCalls), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Servers, ClusterContract, testing::ValuesIn(kCalls), kNameOfMethod);

// --- What is particular to servers -----------------------------------------------------------------------------------

struct ServersTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        server = newServer();
    }

    void again() {
        executor::reset();
        server = newServer();
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

TEST_F(ServersTest, AddStoresTheKeyAndAChangeUsesTheOneThatJavaHolds) {
    java::setInt(server, "iServerIdKey", 0);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    EXPECT_SENT(nothingSet(27));
    EXPECT_EQ(java::getInt(server, "iServerIdKey"), static_cast<jint>(kKeyOfServer));
    java::setInt(server, "iServerIdKey", 0x11223344);
    EXPECT_EQ(java::call("setServerStatusNative", server), 0);
    EXPECT_SENT(nothingSet(32).word(84, 0x11223344));
    EXPECT_EQ(java::getInt(server, "iServerIdKey"), 0x11223344);
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
    java::setNull(server, "sServerID", kStringType);
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

TEST_F(ServersTest, OnlyTheCookieIsEmptiedWhenItIsNotGiven) {
    giveAll(server, kSettings);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    setFlags(server, kSettings, 0);
    EXPECT_EQ(java::call("setServerStatusNative", server), 0);
    Image image = nothingSet(32);
    expectAll(image, kSettings);
    putFlags(image, kSettings, 0);
    EXPECT_SENT(image.byte(1223, 0).byte(1745, 0)); // the remote flag and all other values stay
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

TEST_F(ServersTest, RemoveSendsTheKeys) {
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call("removeServerNative", server), 0); }),
              Names({"ClusterId", "Port", "iServerIdKey"}));
    EXPECT_SENT(record(28));
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

TEST_F(ServersTest, ConnectionsPerSecondAreSent) {
    java::setInt(server, "_iCPSCount", 500);
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call("setServerCPSNative", server), 0); }),
              Names({"iServerIdKey", "ClusterId", "Port", "_iCPSCount"}));
    EXPECT_SENT(report(83).word(92, 500));
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
    EXPECT_SENT(report(83).word(44, 0).word(92, 0));
}

// Whatever the remote flag says.
TEST_F(ServersTest, ByItsRouterAddressAServerIsRemote) {
    for (const auto &[address, remote] : {std::pair("0a090807", 1), {"00000000", 0}}) {
        executor::reset();
        Image reply(1952, 0);
        executor::answer(56, replyImage(reply.byte(1195, static_cast<uint8_t>(1 - remote)).hex(1196, address)));
        java::setByte(server, "IsRemote", 1 - remote);
        EXPECT_EQ(java::call("getServerStatusNative", server), 0);
        EXPECT_EQ(java::getByte(server, "IsRemote"), remote);
    }
    EXPECT_EQ(java::getString(server, "_sRouterAddress"), "0.0.0.0");
}

TEST_F(ServersTest, AnIdentifierWithoutCharactersCountsAsMissing) {
    const java::FailingCharacters failing(1);
    EXPECT_EQ(java::call("addServerNative", server), -80);
    EXPECT_TRUE(executor::sent().empty());
}

} // namespace
