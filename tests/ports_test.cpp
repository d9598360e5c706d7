// Ports.
#include "contract/list_contract.h"
#include "contract/port_settings.h"
#include "contract/record_contract.h"

#include "library/channel/channel.h"
#include "library/config/ports.h"

#include <cstring>

namespace {

constexpr Method kAdd = {"addPortNative", 10};
constexpr Method kSet = {"setPortStatusNative", 14};
constexpr Method kRemove = {"removePortNative", 11};
constexpr Method kStatus = {"getPortStatusNative", 13};
constexpr Method kReport = {"getPortReportNative", 15};
constexpr Method kSetCps = {"setPortCPSNative", 80};

jobject newPort() {
    jobject object = java::make("CMNPort");
    java::setString(object, "ClusterId", "web");
    java::setString(object, "ClusterAddress", "10.0.0.5");
    java::setInt(object, "PortNumber", 80);
    return object;
}

const Settings kSettings = {.make = newPort, .rows = rowsOf(kPortSettings), .goBack = FlagsGoBack::always};

// What names port 80 of the cluster, in records of either size.
Image named(int32_t command, uint32_t length) {
    return Image(length).header(command, length).word(16, kKeyOfWeb).hex(20, "0050");
}

Image namedRecord(int32_t command) {
    return named(command, 96);
}

Image namedReport(int32_t command) {
    return named(command, 72);
}

Image nothingSet(int32_t command) {
    Image image = namedRecord(command);
    putFlags(image, kSettings, 0);
    return image;
}

const Names kBefore = {"PortNumber", "ClusterId", "PortNumber"};
const Writing kWritings[] = {{kAdd, &kSettings, nothingSet, kBefore}, {kSet, &kSettings, nothingSet, kBefore}};

const Names kKeys = {"PortNumber", "ClusterId"};
const Reading kReadings[] = {
    {kStatus, newPort, namedRecord, kKeys, inOrderOfReading(kSettings, {{"NumServers", intWord, 28, 1}}), {-1, -12}},
    {kReport,
     newPort,
     namedReport,
     kKeys,
     {{"NumServers", intWord, 36},
      {"NumNodesDown", intWord, 44},
      {"NumNodesLocal", intWord, 52},
      {"MaxWeight", intWord, 48},
      {"iConnectionsPerSecond", intWord, 24},
      {"ActiveConnections", intWord, 28},
      {"iNumHalfOpen", intWord, 32},
      {"iBytesPerSecond", intWord, 60},
      {"iResetsSent", intWord, 64},
      {"iPortProtocol", intHalf, 68},
      {"iMethod", intSignedHalf, 70}},
     {-1, -12}},
};

const std::vector<ReasonRow> kAddOrSetStatuses = {
    {-87, -57}, {-84, -84}, {-62, -75}, {-61, -74}, {-56, -68},  {-55, -67}, {-54, -12}, {-53, -66}, {-52, -65},
    {-27, -38}, {-18, -73}, {-5, -5},   {-4, -30},  {-3, -14},   {-1, -12},  {-88, -99}, {-86, -99}, {-85, -99},
    {-83, -99}, {-63, -99}, {-60, -99}, {-57, -99}, {-51, -99},  {-28, -99}, {-26, -99}, {-19, -99}, {-17, -99},
    {-6, -99},  {0, -99},   {2, -99},   {5, -99},   {-103, -99}, {-99, -99}, {-7, -99},  {-44, -99}};
const std::vector<ReasonRow> kStatuses = {{-5, -5},  {-1, -12},  {-2, -99},  {-3, -99}, {-4, -99},
                                          {-6, -99}, {-54, -99}, {-87, -99}, {0, -99}};

const Call kCalls[] = {
    {kAdd, "port", newPort, kAddOrSetStatuses, 20},  {kSet, "port", newPort, kAddOrSetStatuses, 20},
    {kRemove, "port", newPort, kStatuses, 20, 0, 2}, {kStatus, "port", newPort, kStatuses, 20},
    {kReport, "port", newPort, kStatuses, 20},       {kSetCps, "port", newPort, {}, 20},
};

const List kList = {
    .method = {"getPortsListNative", 12},
    .ask =
        [](jobject list, jstring cluster, jint) {
            return java::callInt("getPortsListNative", "(Ljava/lang/String;Ljava/lang/Object;)I", cluster, list);
        },
    .count =
        [](uint32_t entries) {
            executor::answer(9, executor::reply({{24, entries}}));
        },
    .request = [](uint32_t entries) { return Image(24, 0).word(16, kKeyOfWeb).word(20, entries); },
    .nameAt = 24,
    .stride = 8,
    .width = 0,
    .countAt = 20,
    .believesReply = true,
    .statuses = {{-5, -5}, {-1, -99}, {-4, -99}, {-6, -99}, {0, -99}},
    .report = [] { return Image(72).header(9, 72).word(16, kKeyOfWeb); },
};

INSTANTIATE_TEST_SUITE_P(Ports, WritingContract, testing::ValuesIn(kWritings), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Ports, ReadingContract, testing::ValuesIn(kReadings), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Ports, ObjectContract, testing::ValuesIn(kCalls), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Ports, PortContract, testing::ValuesIn(kCalls), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Ports, ClusterContract, testing::ValuesIn(kCalls), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Ports, ListContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Ports, ListAfterReportContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Ports, ListOfClusterContract, testing::Values(kList), kNameOfMethod);

// --- What is particular to ports -------------------------------------------------------------------------------------

struct PortsTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        port = newPort();
    }

    jobject port = nullptr;
};

// Adding and changing look at the number once more in the routine that they share.
TEST_F(PortsTest, TheSharedRoutineChecksTheNumberItself) {
    for (const jint number : {-1, 65536}) {
        java::setInt(port, "PortNumber", number);
        EXPECT_EQ(AddOrSetPort(java::env(), nullptr, port), -10);
    }
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(PortsTest, RemoveChecksTheAddressAndSendsTheName) {
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("removePortNative", port), 0); }),
              Names({"ClusterAddress", "PortNumber", "ClusterId"}));
    EXPECT_SENT(namedRecord(11));
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

TEST_F(PortsTest, ConnectionsPerSecondAreSent) {
    java::setInt(port, "iConnectionsPerSecond", -500);
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(java::call("setPortCPSNative", port), 0); }),
              Names({"PortNumber", "iConnectionsPerSecond", "ClusterId"}));
    EXPECT_SENT(namedReport(80).word(24, static_cast<uint32_t>(-500)));
}

TEST_F(PortsTest, ReportCanBeAskedForWithoutJava) {
    EXPECT_EQ(getPortReport(0x11223344, 443), 0);
    EXPECT_SENT(Image(72).header(15, 72).word(16, 0x11223344).hex(20, "01bb"));
    executor::answer(15, executor::refuse(-5, 17));
    EXPECT_EQ(getPortReport(1, 2), 17);
}

// --- An executor that is out of memory -------------------------------------------------------------------------------

struct PortsRetryTest : PortsTest {
    // The executor gives these reasons one after the other, and takes the command then; it marks each reply.
    void refusals(const std::vector<int32_t> &reasons) {
        executor::reset();
        calls::reset();
        port = newPort();
        giveAll(port, kSettings);
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
        expectAll(image, kSettings);
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

} // namespace
