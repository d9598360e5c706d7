// Clusters.
#include "contract/list_contract.h"
#include "contract/record_contract.h"

#include "library/channel/channel.h"
#include "library/config/clusters.h"
#include "library/support/CMNImpUtils.h"

namespace {

using enum values::Kind;

constexpr Method kAdd = {"addClusterNative", 4};
constexpr Method kSet = {"setClusterStatusNative", 8};
constexpr Method kRemove = {"removeClusterNative", 5};
constexpr Method kStatus = {"getClusterStatusNative", 7};
constexpr Method kReport = {"getClusterReportNative", 9};
constexpr Method kSetCps = {"setClusterCPSNative", 72};

jobject newCluster() {
    jobject object = java::make("CMNCluster");
    java::setString(object, "sClusterId", "web");
    java::setInt(object, "iClusterIdKey", kKeyOfWeb);
    java::setString(object, "Address", "10.0.0.5");
    return object;
}

const Settings kSettings = {
    .make = newCluster,
    .rows =
        {
            {{"SetMaxNumberOfPorts", 84, 1}, {{"MaxNumberOfPorts", intWord, 20, 2}}},
            {{"SetPrimaryHost", 93, 2}, {{"sPrimaryHost", address, 80, 15}}},
            {{"SetDefaultPortMaxServers", 85, 3}, {{"DefaultPortMaxServers", intWord, 24, 3}}},
            {{"SetDefaultPortStickyTime", 86, 4}, {{"DefaultPortStickyTime", intTwoWords, 32, 4}}},
            {{"SetDefaultPortAffinityType", 87, 5}, {{"DefaultPortAffinityType", intHalf, 40, 5}}},
            {{"SetDefaultPortWeightBound", 88, 6}, {{"DefaultPortWeightBound", intSignedHalf, 42, 6}}},
            {{"SetDefaultPortStaleTimeout", 91, 9}, {{"DefaultPortStaleTimeout", intTwoWords, 48, 7}}},
            {{"SetClusterProportions", 94, 10},
             {{"iActiveConnsProp", intWord, 64, 9},
              {"iNewConnsProp", intWord, 68, 8},
              {"iPortSpecificProp", intWord, 72, 10},
              {"iSystemProp", intWord, 76, 11}}},
            {{"SetSharedBandwidth", 92, 11}, {{"iSharedBytesPerSecond", intWord, 56, 12}}},
            {{"SetDefaultPortType", 89, 7}, {{"DefaultPortType", charByte, 44, 13}}},
            {{"SetDefaultPortReplicate", 90, 8}, {{"DefaultPortReplicate", charByte, 45, 14}}},
            {{}, {{"sClusterId", elsewhere}, {"iClusterIdKey", elsewhere}}},
            {{"SetIPAddress", 95, 12}, {{"Address", elsewhere}}}, // an address that parses travels without the flag
            {{"SetNatPtAddress", 169, 13}, {{"natPtAddress", bytes, 172, 19, 4}}},
        },
    .goBack = FlagsGoBack::always,
};

Image record(int32_t command) {
    return Image(192).header(command, 192).word(100, kKeyOfWeb);
}

Image report(int32_t command) {
    return Image(72).header(command, 72).word(16, kKeyOfWeb);
}

Image nothingSet(int32_t command) {
    Image image = record(command).hex(16, "0a000005").text(104, "web");
    putFlags(image, kSettings, 0);
    return image;
}

const Writing kWritings[] = {
    {kAdd, &kSettings, nothingSet, {"sClusterId", "iClusterIdKey", "sClusterId", "Address"}},
    {kSet, &kSettings, nothingSet, {"sClusterId", "Address"}},
};

const Reading kReadings[] = {
    {kStatus,
     newCluster,
     record,
     {"sClusterId"},
     inOrderOfReading(kSettings, {{"NumPorts", intWord, 96, 1},
                                  {"iClusterIdKey", intWord, 100, 16},
                                  {"sClusterId", text, 104, 17, 65},
                                  {"Address", address, 16, 18}}),
     {-5, -5}},
    {kReport,
     newCluster,
     report,
     {"Address", "sClusterId"},
     {{"NumPorts", intWord, 24},
      {"SYNonActive", intWord, 28},
      {"SYNonFINNed", intWord, 32},
      {"FINs_Dropped", intWord, 36},
      {"ACKs_Dropped", intWord, 40},
      {"RSTs_Dropped", intWord, 44},
      {"PKTs_Dropped", intWord, 48},
      {"PKTnonExisting", intWord, 52},
      {"QuiescNew", intWord, 56},
      {"iBytesPerSecond", intWord, 64},
      {"iConnectionsPerSecond", intWord, 68},
      {"iClusterIdKey", intWord, 16},
      {"Address", address, 20}},
     {-5, -5}},
};

const std::vector<ReasonRow> kAddOrSetStatuses = {{-33, -3}, {-9, -29}, {-8, -4},  {-7, -28}, {-5, -5}, {-1, -99},
                                                  {-2, -99}, {-4, -99}, {-6, -99}, {0, -99},  {5, -99}, {-99, -99}};
const std::vector<ReasonRow> kStatuses = {{-5, -5}, {-33, -99}, {-9, -99}, {-8, -99}, {-7, -99}, {0, -99}};

const Call kCalls[] = {
    {kAdd, "cluster", newCluster, kAddOrSetStatuses}, {kSet, "cluster", newCluster, kAddOrSetStatuses},
    {kRemove, "cluster", newCluster, kStatuses},      {kStatus, "cluster", newCluster, kStatuses},
    {kReport, "cluster", newCluster, kStatuses},      {kSetCps, "cluster", newCluster},
};

const List kList = {
    .method = {"getClustersListNative", 6},
    .ask = [](jobject list, jstring, jint) { return java::call("getClustersListNative", list); },
    .count =
        [](uint32_t entries) {
            executor::answer(3, executor::reply({{220, entries}}));
        },
    .request = [](uint32_t entries) { return Image(20, 0).word(16, entries); },
    .nameAt = 20,
    .stride = 72,
    .width = 72,
    .countAt = 16,
    .believesReply = true,
    .statuses = {{-5, -99}, {-1, -99}, {7, -99}},
    .report = [] { return Image(240).header(3, 240); },
};

INSTANTIATE_TEST_SUITE_P(Clusters, WritingContract, testing::ValuesIn(kWritings), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Clusters, ReadingContract, testing::ValuesIn(kReadings), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Clusters, ObjectContract, testing::ValuesIn(kCalls), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Clusters, ListContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Clusters, ListAfterReportContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Clusters, ListOfNamesContract, testing::Values(kList), kNameOfMethod);

// --- What is particular to clusters ----------------------------------------------------------------------------------

struct ClustersTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        cluster = newCluster();
    }

    jobject cluster = nullptr;
};

TEST_F(ClustersTest, AddStoresTheKeyAndAChangeUsesTheOneThatJavaHolds) {
    java::setInt(cluster, "iClusterIdKey", 0);
    EXPECT_EQ(java::call("addClusterNative", cluster), 0);
    EXPECT_SENT(nothingSet(4));
    EXPECT_EQ(java::getInt(cluster, "iClusterIdKey"), static_cast<jint>(kKeyOfWeb));
    java::setInt(cluster, "iClusterIdKey", 0x11223344);
    EXPECT_EQ(java::call("setClusterStatusNative", cluster), 0);
    EXPECT_SENT(nothingSet(8).word(100, 0x11223344));
    EXPECT_EQ(java::getInt(cluster, "iClusterIdKey"), 0x11223344);
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
    EXPECT_EQ(java::getInt(cluster, "iClusterIdKey"), static_cast<jint>(kKeyOfWeb)); // as it was
}

TEST_F(ClustersTest, AChangeDoesNotCheckTheLength) {
    const std::string text(70, 'x');
    java::setString(cluster, "sClusterId", text);
    EXPECT_EQ(java::call("setClusterStatusNative", cluster), 0);
    EXPECT_SENT(nothingSet(8).text(104, text).byte(169, 0));
}

TEST_F(ClustersTest, WithoutIdentifierNothingIsSent) {
    java::setNull(cluster, "sClusterId", kStringType);
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

TEST_F(ClustersTest, TheAddressOfAReportMayBeAnything) {
    java::setString(cluster, "Address", "absent.example");
    EXPECT_EQ(java::call("getClusterReportNative", cluster), 0);
    EXPECT_SENT(report(9));
}

TEST_F(ClustersTest, ConnectionsPerSecondUseTheKeyThatJavaHolds) {
    java::setInt(cluster, "iClusterIdKey", 0x11223344);
    java::setInt(cluster, "iConnectionsPerSecond", 500);
    EXPECT_EQ(java::call("setClusterCPSNative", cluster), 0);
    EXPECT_SENT(report(72).word(16, 0x11223344).word(68, 500));
}

TEST_F(ClustersTest, ReportCanBeAskedForWithoutJava) {
    EXPECT_EQ(getClusterReport(0x11223344), 0);
    EXPECT_SENT(Image(72).header(9, 72).word(16, 0x11223344));
    executor::answer(9, executor::refuse(-5, 17));
    EXPECT_EQ(getClusterReport(1), 17);
}

TEST_F(ClustersTest, RemoveSendsTheKey) {
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("removeClusterNative", cluster), 0); }),
              Names({"sClusterId"}));
    EXPECT_SENT(record(5));
}

} // namespace
