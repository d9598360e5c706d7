// The command block, the executor device, and the one way to send.
#include "harness/library_test.h"

#include "library/channel/channel.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace {

using Calls = std::vector<std::string>;

struct KernelChannelTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        EXC_close_handle();
        prv_giKVAServerModality = 0;
        calls::reset();
        calls::device(calls::Device::present);
        memset(&block, 0, sizeof(block));
    }

    void TearDown() override {
        EXC_close_handle();
        LibraryTest::TearDown();
    }

    rk::CommandHeader block;
};

TEST(ChannelStartTest, BlockIsZeroAndHandleClosed) {
    for (const uint8_t byte : ucb.bytes)
        ASSERT_EQ(byte, 0);
    EXPECT_EQ(hQelPd, -1);
    EXPECT_EQ(prv_giKVAServerModality, 0);
    EXPECT_EQ(pfEXC_UserInput, nullptr);
    EXPECT_EQ(ueHandle, 0u);
}

TEST(ChannelStartTest, BlockHasRoomBehindTheWireSize) {
    EXPECT_EQ(rk::kWireBytes, 64016u);
    EXPECT_GE(sizeof(ucb), 48u + 32 * 3000); // 3000 entries of server-directed affinity
    EXPECT_GE(sizeof(ucb), 16u + 64016);     // what the byte-counter request clears
}

TEST_F(KernelChannelTest, LoadedOpensTheDeviceOnce) {
    EXPECT_EQ(EXC_is_loaded(), 1);
    EXPECT_EQ(hQelPd, 1000);
    EXPECT_EQ(EXC_is_loaded(), 1);
    EXPECT_EQ(calls::deviceCalls(), Calls({"open 2"}));
}

TEST_F(KernelChannelTest, ChildrenDoNotGetTheDevice) {
    EXPECT_EQ(EXC_is_loaded(), 1);
    EXPECT_EQ(calls::descriptorFlags(hQelPd), FD_CLOEXEC);
    EXC_close_handle();
    EXPECT_EQ(prv_EXC_Command(&block), 0);
    EXPECT_EQ(hQelPd, 1001);
    EXPECT_EQ(calls::descriptorFlags(1001), FD_CLOEXEC);
}

TEST_F(KernelChannelTest, DescriptorZeroCountsAsOpen) {
    hQelPd = 0;
    EXPECT_EQ(EXC_is_loaded(), 1);
    EXPECT_EQ(calls::deviceCalls(), Calls());
    hQelPd = -1;
}

TEST_F(KernelChannelTest, WithoutDeviceNothingIsLoadedOrSent) {
    calls::device(calls::Device::absent);
    EXPECT_EQ(EXC_is_loaded(), 0);
    EXPECT_EQ(hQelPd, -1);
    EXPECT_EQ(prv_EXC_Command(&block), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(calls::deviceCalls(), Calls({"open 2", "open 2"}));
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(KernelChannelTest, TheDeviceMayAppearLater) {
    calls::device(calls::Device::absent);
    EXPECT_EQ(prv_EXC_Command(&block), -1);
    calls::device(calls::Device::present);
    EXPECT_EQ(prv_EXC_Command(&block), 0);
}

TEST_F(KernelChannelTest, CommandOpensLazilyAndKeepsTheHandle) {
    EXPECT_EQ(prv_EXC_Command(&block), 0);
    EXPECT_EQ(prv_EXC_Command(&block), 0);
    EXPECT_EQ(calls::deviceCalls(), Calls({"open 2", "ioctl 1000 0x4321", "ioctl 1000 0x4321"}));
}

TEST_F(KernelChannelTest, CloseIsHarmlessTwiceAndTheNextCommandReopens) {
    EXPECT_EQ(prv_EXC_Command(&block), 0);
    EXC_close_handle();
    EXPECT_EQ(hQelPd, -1);
    EXC_close_handle();
    EXPECT_EQ(prv_EXC_Command(&block), 0);
    EXPECT_EQ(calls::deviceCalls(),
              Calls({"open 2", "ioctl 1000 0x4321", "close 1000", "open 2", "ioctl 1001 0x4321"}));
}

TEST_F(KernelChannelTest, TheBlockItselfReachesTheDevice) {
    const void *seen = nullptr;
    calls::onIoctl([&](void *argument) {
        seen = argument;
        return 0;
    });
    EXPECT_EQ(prv_EXC_Command(&block), 0);
    EXPECT_EQ(seen, &block);
}

TEST_F(KernelChannelTest, TheResultIsClearedBeforeTheCall) {
    block.result = -1;
    block.reason = 77;
    int32_t resultAtCall = 1;
    calls::onIoctl([&](void *argument) {
        resultAtCall = static_cast<rk::CommandHeader *>(argument)->result;
        return 0;
    });
    errno = 0;
    EXPECT_EQ(prv_EXC_Command(&block), 0);
    EXPECT_EQ(resultAtCall, 0);
    EXPECT_EQ(errno, 0);
    EXPECT_EQ(block.reason, 77);
}

TEST_F(KernelChannelTest, ARefusalGivesMinusOneAndTheReasonInErrno) {
    calls::onIoctl([](void *argument) {
        auto *header = static_cast<rk::CommandHeader *>(argument);
        header->result = -1;
        header->reason = 22;
        return 0;
    });
    errno = 0;
    EXPECT_EQ(prv_EXC_Command(&block), -1);
    EXPECT_EQ(errno, 22);
}

TEST_F(KernelChannelTest, AnotherResultIsReturnedAsItIs) {
    calls::onIoctl([](void *argument) {
        auto *header = static_cast<rk::CommandHeader *>(argument);
        header->result = 5;
        header->reason = 22;
        return 0;
    });
    errno = 0;
    EXPECT_EQ(prv_EXC_Command(&block), 5);
    EXPECT_EQ(errno, 0);
}

TEST_F(KernelChannelTest, AFailedIoctlGivesItsPositiveErrorNumber) {
    calls::onIoctl([](void *) {
        errno = EBADF;
        return -1;
    });
    EXPECT_EQ(prv_EXC_Command(&block), 9);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(KernelChannelTest, OnlyMinusOneOfIoctlIsAFailure) {
    calls::onIoctl([](void *) { return 7; });
    EXPECT_EQ(prv_EXC_Command(&block), 0);
}

TEST_F(KernelChannelTest, NoBlockGivesMinusOneInBothModes) {
    errno = 55;
    EXPECT_EQ(prv_EXC_Command(nullptr), -1);
    prv_giKVAServerModality = 1;
    EXPECT_EQ(prv_EXC_Command(nullptr), -1);
    EXPECT_EQ(errno, 55);
    EXPECT_EQ(calls::deviceCalls(), Calls());
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(KernelChannelTest, UserSpaceModeNeverTouchesTheDevice) {
    calls::device(calls::Device::absent);
    prv_giKVAServerModality = 0x80; // any byte but 0
    block.command = rk::Command::readExecutorReport;
    block.length = 16;
    block.result = 99;
    EXPECT_EQ(prv_EXC_Command(&block), 0);
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({3}));
    EXPECT_EQ(block.result, 99); // the user-space executor writes the result, nobody clears it
    EXPECT_EQ(calls::deviceCalls(), Calls());
}

TEST_F(KernelChannelTest, UserSpaceResultsAreReturnedUnchanged) {
    prv_giKVAServerModality = 1;
    block.command = rk::Command::readExecutorReport;
    block.length = 16;
    executor::answer(3, executor::refuse(-5, 4711));
    errno = 0;
    EXPECT_EQ(prv_EXC_Command(&block), 4711);
    EXPECT_EQ(errno, 0);
}

TEST_F(KernelChannelTest, KernelRoutineIgnoresTheMode) {
    prv_giKVAServerModality = 1;
    EXPECT_EQ(prv_EXC_Command_Kernel(&block), 0);
    EXPECT_EQ(calls::deviceCalls(), Calls({"open 2", "ioctl 1000 0x4321"}));
}

TEST_F(KernelChannelTest, SendStoresCodeAndRecordSize) {
    prv_giKVAServerModality = 1;
    EXPECT_EQ(rk::send(ucb.clusterReport, rk::Command::setClusterCps), 0);
    EXPECT_SENT(executor::Image(72).header(72, 72));
}

struct CodeRow {
    rk::Command command;
    int32_t code;
};

TEST(CommandCodesTest, AreTheExecutorsNumbers) {
    using rk::Command;
    const CodeRow rows[] = {{Command::readExecutorSettings, 1},
                            {Command::writeExecutorSettings, 2},
                            {Command::readExecutorReport, 3},
                            {Command::addCluster, 4},
                            {Command::removeCluster, 5},
                            {Command::listClusters, 6},
                            {Command::readClusterSettings, 7},
                            {Command::writeClusterSettings, 8},
                            {Command::readClusterReport, 9},
                            {Command::addPort, 10},
                            {Command::removePort, 11},
                            {Command::listPorts, 12},
                            {Command::readPortSettings, 13},
                            {Command::writePortSettings, 14},
                            {Command::readPortReport, 15},
                            {Command::writeServerWeights, 16},
                            {Command::readServerWeights, 17},
                            {Command::addRule, 18},
                            {Command::removeRule, 19},
                            {Command::listRules, 20},
                            {Command::readRuleSettings, 21},
                            {Command::writeRuleSettings, 22},
                            {Command::readRuleReport, 23},
                            {Command::addServerToRule, 24},
                            {Command::removeServerFromRule, 25},
                            {Command::listRuleServers, 26},
                            {Command::addServer, 27},
                            {Command::removeServer, 28},
                            {Command::markServerDown, 29},
                            {Command::markServerUp, 30},
                            {Command::listServers, 31},
                            {Command::writeServerSettings, 32},
                            {Command::readServerReport, 33},
                            {Command::allocateConnection, 34},
                            {Command::readLogHead, 35},
                            {Command::readLogTail, 36},
                            {Command::clearLog, 37},
                            {Command::readConnections, 39},
                            {Command::addBackup, 40},
                            {Command::deleteBackup, 41},
                            {Command::addReachTarget, 43},
                            {Command::deleteReachTarget, 44},
                            {Command::addHeartbeat, 45},
                            {Command::deleteHeartbeat, 46},
                            {Command::readHighAvailability, 47},
                            {Command::changeReachTarget, 48},
                            {Command::setHighAvailabilityTimers, 50},
                            {Command::takeOver, 51},
                            {Command::readAffinities, 52},
                            {Command::debugDump, 53},
                            {Command::readInterfaces, 54},
                            {Command::dumpNetworkCards, 55},
                            {Command::readServerSettings, 56},
                            {Command::readIcmp, 57},
                            {Command::writeIcmp, 58},
                            {Command::serverDirectedAffinity, 59},
                            {Command::releaseConnection, 63},
                            {Command::readByteCounters, 65},
                            {Command::readHalfOpenConnections, 67},
                            {Command::readAttackingAddresses, 68},
                            {Command::setAttackProtection, 69},
                            {Command::setExecutorCps, 71},
                            {Command::setClusterCps, 72},
                            {Command::setPortCps, 80},
                            {Command::setRuleCps, 81},
                            {Command::setServerCps, 83},
                            {Command::dumpReturnAddresses, 84},
                            {Command::dumpConnectionLists, 85},
                            {Command::dumpAffinityLists, 86}};
    for (const CodeRow &row : rows)
        EXPECT_EQ(static_cast<int32_t>(row.command), row.code);
}

} // namespace
