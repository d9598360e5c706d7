// The executor's own settings and counters.
#include "contract/record_contract.h"

#include "library/channel/channel.h"
#include "library/config/executor_settings.h"

#include <cstring>
#include <ctime>

namespace {

using enum values::Kind;

constexpr Method kSet = {"setExecutorStatusNative", 2};
constexpr Method kStatus = {"getExecutorStatusNative", 1};
constexpr Method kReport = {"getExecutorReportNative", 3};
constexpr Method kSetCps = {"setExecutorCPSNative", 71};

// An hour east of Greenwich, no summer time.
void goEast() {
    setenv("TZ", "EAST-1", 1);
    tzset();
}

jobject newStatus() {
    goEast();
    return java::make("CMNExecutorStatus");
}

jobject newReport() {
    return java::make("CMNExecutorReport");
}

// With the non-forwarding address goes the time zone.
void expectTimeZone(Image &image) {
    image.word(616, 0xFFFFFFFF).word(620, static_cast<uint32_t>(-3600)).byte(645, 1);
}

// The executor is to ask a new gateway for its hardware address.
void expectNoHardware(Image &image) {
    image.hex(657, "000000000000");
}

void expectNoV6Hardware(Image &image) {
    image.hex(688, "000000000000");
}

const Settings kSettings = {
    .make = newStatus,
    .rows =
        {
            {{"SetNonForwardingAddress", 628, 1}, {{"NFA", address, 16, 1}}, expectTimeZone},
            {{"SetTraceLevel", 629, 2}, {{"TraceLevel", intWord, 20, 2}}},
            {{"SetDefaultClusterMaxPorts", 631, 3}, {{"DefaultClusterMaxPorts", intWord, 28, 3}}},
            {{"SetFINTimeout", 632, 4}, {{"FINTimeout", intTwoWords, 32, 4}}},
            {{"SetHaTimeout", 633, 5}, {{"HaTimeout", intTwoWords, 40, 5}}},
            {{"SetHaSyncTimeout", 634, 6}, {{"HaSyncTimeout", intTwoWords, 48, 6}}},
            {{"SetClientGateway", 635, 7}, {{"ClientGateway", address, 600, 7}}, expectNoHardware},
            {{"Setv6ClientGateway", 668, 20}, {{"v6ClientGateway", bytes, 672, 20, 16}}, expectNoV6Hardware},
            {{"SetDefaultPortMaxServers", 636, 8}, {{"DefaultPortMaxServers", intWord, 56, 8}}},
            {{"SetDefaultPortStaleTimeout", 637, 9}, {{"DefaultPortStaleTimeout", intTwoWords, 64, 9}}},
            {{"SetSharedBandwidth", 648, 10}, {{"iSharedBytesPerSecond", intWord, 624, 10}}},
            {{"SetDefaultPortStickyTime", 638, 11}, {{"DefaultPortStickyTime", intTwoWords, 72, 11}}},
            {{"SetDefaultPortAffinityType", 639, 12}, {{"DefaultPortAffinityType", intHalf, 80, 12}}},
            {{"SetDefaultPortWeightBound", 640, 13}, {{"DefaultPortWeightBound", intSignedHalf, 82, 13}}},
            {{"SetDefaultPortType", 641, 14}, {{"DefaultPortType", charByte, 84, 15}}},
            {{"SetDefaultPortReplicate", 642, 15}, {{"DefaultPortReplicate", charByte, 85, 16}}},
            {{"SetMaxNumberOfClusters", 643, 16}, {{"MaxNumberOfClusters", intWord, 604, 14}}},
            {{"SetWidePortNumber", 644, 17}, {{"WidePortNumber", intWord, 608, 17}}},
            {{"SetConfigFileName", 646, 19}, {{"ConfigFileName", text, 86, 18, 256}}},
            {{}, {{"iCookieExpireInterval", elsewhere}, {"SetCookieExpireInterval", elsewhere}}},
        },
    .goBack = FlagsGoBack::whenRefused,
    .otherFlags = {{"SetSecondsWestOfGreenwich", 645, 18}},
};

Image record(int32_t command) {
    return Image(696).header(command, 696);
}

Image report(int32_t command) {
    return Image(240).header(command, 240);
}

// The cookie interval travels whatever its flag says.
Image nothingSet(int32_t command) {
    Image image = record(command).word(664, 0).byte(656, 0);
    putFlags(image, kSettings, 0);
    return image;
}

const Writing kWriting = {kSet, &kSettings, nothingSet, {}};

const Reading kReadings[] = {
    {kStatus,
     newStatus,
     record,
     {},
     inOrderOfReading(kSettings, {{"sPluginConfigFileName", text, 342, 19, 256}}),
     {-5, -1}},
    {kReport,
     newReport,
     report,
     {},
     {{"NFA", address, 16},
      {"Version", text, 20, 0, 104},
      {"iTimeStarted", intWord, 124},
      {"Pcktotal", longQuad, 128},
      {"Pcktoshort", longQuad, 136},
      {"Pcknonforw", longQuad, 144},
      {"PckVECdiscard", longQuad, 152},
      {"PckVECerror", longQuad, 160},
      {"PckVEClocal", longQuad, 168},
      {"PckVECownaddr", longQuad, 176},
      {"PckVECforward", longQuad, 184},
      {"Pckforwarderr", longQuad, 192},
      {"PcknotVEC", longQuad, 200},
      {"PckVECbroadcast", longQuad, 208},
      {"InconnHashBkts", intWord, 216},
      {"NumClusters", intWord, 220},
      {"iBytesPerSecond", intWord, 228},
      {"iConnectionsPerSecond", intWord, 232}},
     {-5, -1}},
};

const Call kCalls[] = {
    {kSet, "executorStatus", newStatus},
    {kStatus, "executorStatus", newStatus},
    {kReport, "executorReport", newReport},
    {kSetCps, "executorReport", newReport},
};

INSTANTIATE_TEST_SUITE_P(Executor, WritingContract, testing::Values(kWriting), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Executor, ReadingContract, testing::ValuesIn(kReadings), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Executor, ObjectContract, testing::ValuesIn(kCalls), kNameOfMethod);

// --- What is particular to the executor's settings -------------------------------------------------------------------

struct ExecutorSettingsTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        status = newStatus();
    }

    jint set() {
        return java::call("setExecutorStatusNative", status);
    }

    jobject status = nullptr;
};

TEST_F(ExecutorSettingsTest, TheCookieIntervalTravelsAlwaysAndItsFlagStays) {
    for (const int flag : {0, 1, 2, -1})
        for (const int32_t result : {0, -1}) {
            executor::reset();
            executor::answer(2, [=](uint8_t *block, uint32_t) {
                block[656] = 99;
                return result;
            });
            java::setInt(status, "iCookieExpireInterval", 0x0A0B0C0D);
            java::setByte(status, "SetCookieExpireInterval", flag);
            EXPECT_EQ(set(), result);
            EXPECT_SENT(nothingSet(2).word(664, 0x0A0B0C0D).byte(656, static_cast<uint8_t>(flag)));
            EXPECT_EQ(java::getByte(status, "SetCookieExpireInterval"), flag);
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

TEST_F(ExecutorSettingsTest, ALongFileNameRunsIntoTheFieldsBehindIt) {
    const std::string name(300, 'n');
    java::setString(status, "ConfigFileName", name);
    java::setByte(status, "SetConfigFileName", 1);
    EXPECT_EQ(set(), 0);
    EXPECT_SENT(nothingSet(2).byte(646, 1).text(86, name));
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
        EXPECT_SENT(nothingSet(2).byte(668, 1).hex(672, std::string(32, '0')).hex(688, "000000000000"));
        EXPECT_NE(java::takeVmOutput().find("exception pending"), std::string::npos);
        return java::takeException();
    };
    EXPECT_EQ(setGateway(nullptr), "java.lang.NullPointerException: v6ClientGateway");
    const std::vector<int> tooShort(15, 1);
    EXPECT_NE(setGateway(java::makeByteArray(tooShort)).find("ArrayIndexOutOfBounds"), std::string::npos);
}

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
        Image image = nothingSet(2);
        image.byte(628, 1).hex(16, "0a000005").byte(645, 1);
        image.word(616, seconds < 0 ? 0xFFFFFFFF : 0).word(620, static_cast<uint32_t>(seconds));
        EXPECT_SENT(image) << zone;
    }
}

TEST_F(ExecutorSettingsTest, ReportCanBeAskedForWithoutJava) {
    EXPECT_EQ(getExecutorReport(), 0);
    EXPECT_SENT(Image(240).header(3, 240));
    executor::answer(3, executor::refuse(-5, 17));
    EXPECT_EQ(getExecutorReport(), 17);
}

TEST_F(ExecutorSettingsTest, ConnectionsPerSecondAreSent) {
    jobject object = newReport();
    java::setInt(object, "iConnectionsPerSecond", -12);
    EXPECT_EQ(java::call("setExecutorCPSNative", object), 0);
    EXPECT_SENT(Image(240).header(71, 240).word(232, static_cast<uint32_t>(-12)));
}

} // namespace
