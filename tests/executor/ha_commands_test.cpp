// High availability. Numbers of roles, states and so on are those that clients know, so they are written out here.
#include "executor_client.h"
#include "rk/ha_records.h"

#include <ctime>

namespace rk {
namespace {

constexpr uint32_t kPrimary = 0;
constexpr uint32_t kBackup = 1;
constexpr uint32_t kBoth = 2;
constexpr uint32_t kAutomatic = 0;
constexpr uint32_t kManual = 1;
constexpr int kActive = 1;
constexpr int kStandby = 2;

HaControlRecord haRequest(Command command, uint32_t first, uint32_t second = 0, uint32_t third = 0) {
    auto record = request<HaControlRecord>(command);
    record.first = first;
    record.second = second;
    record.third = third;
    return record;
}

int32_t addBackup(uint32_t role, uint32_t strategy, uint32_t haPort) {
    HaControlRecord record = haRequest(Command::addBackup, role, strategy, haPort);
    return send(record);
}

int32_t sendHeader(Command command) {
    auto record = request<HeaderRecord>(command);
    return send(record);
}

int32_t addHeartbeat(const char *local, const char *remote) {
    HaControlRecord record = haRequest(Command::addHeartbeat, address(local).word, address(remote).word);
    return send(record);
}

int32_t deleteHeartbeat(const char *dotted) {
    HaControlRecord record = haRequest(Command::deleteHeartbeat, address(dotted).word);
    return send(record);
}

int32_t addReachTarget(const char *dotted, const char *mask = "255.255.255.0", uint32_t type = 0) {
    HaControlRecord record = haRequest(Command::addReachTarget, address(dotted).word, address(mask).word, type);
    return send(record);
}

int32_t deleteReachTarget(const char *dotted) {
    HaControlRecord record = haRequest(Command::deleteReachTarget, address(dotted).word);
    return send(record);
}

int32_t changeReachTarget(uint32_t index, uint32_t type, uint32_t status) {
    HaControlRecord record = haRequest(Command::changeReachTarget, index, type, status);
    return send(record);
}

int32_t takeOver() {
    HaControlRecord record = haRequest(Command::takeOver, address("10.0.0.9").word);
    return send(record);
}

HaStatusRecord haStatus() {
    auto record = request<HaStatusRecord>(Command::readHighAvailability);
    EXPECT_EQ(send(record), 0);
    return record;
}

// A status that tells of nothing.
HaStatusRecord emptyStatus() {
    HaStatusRecord record{};
    record.header.command = Command::readHighAvailability;
    return record;
}

std::vector<std::string> heartbeats() {
    const HaStatusRecord status = haStatus();
    std::vector<std::string> pairs;
    for (int index = 0; index < status.heartbeatCount; ++index) {
        const HeartbeatEntry &entry = status.heartbeats[index];
        pairs.push_back(dotted(entry.local) + " " + dotted(entry.remote));
    }
    return pairs;
}

std::vector<std::string> reachTargets() {
    const HaStatusRecord status = haStatus();
    std::vector<std::string> addresses;
    addresses.reserve(status.reachCount);
    for (int index = 0; index < status.reachCount; ++index)
        addresses.push_back(dotted(status.reachTargets[index].address));
    return addresses;
}

using Texts = std::vector<std::string>;

class HighAvailability : public ExecutorTest {};

TEST_F(HighAvailability, withoutABackupThereIsNothing) {
    auto write = request<ExecutorSettingsRecord>(Command::writeExecutorSettings);
    write.setNonForwardingAddress = 1;
    write.nfa = address("10.0.0.5");
    ASSERT_EQ(send(write), 0);
    HaStatusRecord expected = emptyStatus();
    expected.address = address("10.0.0.5");
    expectReply(expected, haStatus());
}

TEST_F(HighAvailability, theStatusTellsWhatIsConfigured) {
    auto write = request<ExecutorSettingsRecord>(Command::writeExecutorSettings);
    write.setNonForwardingAddress = 1;
    write.nfa = address("10.0.0.5");
    ASSERT_EQ(send(write), 0);
    const auto before = static_cast<uint32_t>(std::time(nullptr));
    ASSERT_EQ(addBackup(kBoth, kManual, 12345), 0);
    ASSERT_EQ(addHeartbeat("10.0.0.5", "10.0.0.6"), 0);
    ASSERT_EQ(addHeartbeat("10.0.1.5", "10.0.1.6"), 0);
    ASSERT_EQ(addReachTarget("10.0.0.1", "255.255.0.0", 255), 0);
    const auto after = static_cast<uint32_t>(std::time(nullptr));

    HaStatusRecord expected = emptyStatus();
    expected.mode = 1;
    expected.address = address("10.0.0.5");
    expected.role = kBoth;
    expected.strategy = kManual;
    expected.state = kActive;
    expected.substate = 2; // waiting for the partner
    expected.port = 12345;
    expected.peer = 1; // silent
    expected.heartbeatCount = 2;
    expected.heartbeats[0].local = address("10.0.0.5");
    expected.heartbeats[0].remote = address("10.0.0.6");
    expected.heartbeats[0].status = 1; // unanswered
    expected.heartbeats[1].local = address("10.0.1.5");
    expected.heartbeats[1].remote = address("10.0.1.6");
    expected.heartbeats[1].status = 1;
    expected.reachCount = 1;
    expected.reachTargets[0].address = address("10.0.0.1");
    expected.reachTargets[0].mask = address("255.255.0.0");
    expected.reachTargets[0].type = 255;
    const HaStatusRecord status = haStatus();
    EXPECT_GE(status.reachTargets[0].localTimeStamp, before);
    EXPECT_LE(status.reachTargets[0].localTimeStamp, after);
    expected.reachTargets[0].localTimeStamp = status.reachTargets[0].localTimeStamp;
    expectReply(expected, status);
}

TEST_F(HighAvailability, theRoleTellsTheFirstState) {
    ASSERT_EQ(addBackup(kPrimary, kAutomatic, 1), 0);
    HaStatusRecord expected = emptyStatus();
    expected.mode = 1;
    expected.state = kActive;
    expected.substate = 1; // no heartbeat
    expected.port = 1;
    expectReply(expected, haStatus());

    ASSERT_EQ(sendHeader(Command::deleteBackup), 0);
    ASSERT_EQ(addBackup(kBackup, kAutomatic, 65535), 0);
    expected.role = kBackup;
    expected.state = kStandby;
    expected.port = 65535;
    expectReply(expected, haStatus());
}

TEST_F(HighAvailability, aBackupOutOfRangeIsRefused) {
    EXPECT_EQ(addBackup(3, kAutomatic, 80), kOutOfRange);
    EXPECT_EQ(addBackup(0xFFFFFFFF, kAutomatic, 80), kOutOfRange);
    EXPECT_EQ(addBackup(256, kAutomatic, 80), kOutOfRange);
    EXPECT_EQ(addBackup(kPrimary, 2, 80), kOutOfRange);
    EXPECT_EQ(addBackup(kPrimary, 0xFFFFFFFF, 80), kOutOfRange);
    EXPECT_EQ(addBackup(kPrimary, kAutomatic, 0), kOutOfRange);
    EXPECT_EQ(addBackup(kPrimary, kAutomatic, 65536), kOutOfRange);
    expectReply(emptyStatus(), haStatus());
}

TEST_F(HighAvailability, aSecondBackupIsRefusedAndChangesNothing) {
    ASSERT_EQ(addBackup(kPrimary, kAutomatic, 80), 0);
    const HaStatusRecord before = haStatus();
    EXPECT_EQ(addBackup(kBackup, kManual, 81), kBackupExists);
    expectReply(before, haStatus());
}

TEST_F(HighAvailability, deletingTheBackupClearsAll) {
    ASSERT_EQ(addBackup(kPrimary, kAutomatic, 80), 0);
    ASSERT_EQ(addHeartbeat("10.0.0.5", "10.0.0.6"), 0);
    ASSERT_EQ(addReachTarget("10.0.0.1"), 0);
    EXPECT_EQ(sendHeader(Command::deleteBackup), 0);
    expectReply(emptyStatus(), haStatus());
    EXPECT_EQ(sendHeader(Command::deleteBackup), kNoBackup);
}

TEST_F(HighAvailability, aStartBeginsWithoutABackup) {
    ASSERT_EQ(addBackup(kPrimary, kAutomatic, 80), 0);
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    expectReply(emptyStatus(), haStatus());
}

TEST_F(HighAvailability, whatNeedsABackupIsRefusedWithoutOne) {
    EXPECT_EQ(sendHeader(Command::deleteBackup), kNoBackup);
    EXPECT_EQ(sendHeader(Command::setHighAvailabilityTimers), kNoBackup);
    EXPECT_EQ(takeOver(), kNoBackup);
    expectReply(emptyStatus(), haStatus());
}

TEST_F(HighAvailability, timersAreAcceptedWithABackup) {
    ASSERT_EQ(addBackup(kPrimary, kAutomatic, 80), 0);
    EXPECT_EQ(sendHeader(Command::setHighAvailabilityTimers), 0);
}

TEST_F(HighAvailability, aTakeOverMakesItActive) {
    ASSERT_EQ(addBackup(kBackup, kAutomatic, 80), 0);
    ASSERT_EQ(haStatus().state, kStandby);
    EXPECT_EQ(takeOver(), 0);
    EXPECT_EQ(haStatus().state, kActive);
    EXPECT_EQ(takeOver(), 0); // is so already
    EXPECT_EQ(haStatus().state, kActive);
}

TEST_F(HighAvailability, heartbeatsMayComeBeforeTheBackup) {
    ASSERT_EQ(addHeartbeat("10.0.0.5", "10.0.0.6"), 0);
    EXPECT_EQ(haStatus().mode, 0U);
    EXPECT_EQ(haStatus().substate, 0);
    EXPECT_EQ(haStatus().peer, 0);
    EXPECT_EQ(haStatus().heartbeats[0].status, 0); // idle
    ASSERT_EQ(addBackup(kPrimary, kAutomatic, 80), 0);
    EXPECT_EQ(haStatus().substate, 2);
    EXPECT_EQ(haStatus().peer, 1);
    EXPECT_EQ(haStatus().heartbeats[0].status, 1);
}

TEST_F(HighAvailability, theSubstateFollowsTheHeartbeats) {
    ASSERT_EQ(addBackup(kPrimary, kAutomatic, 80), 0);
    EXPECT_EQ(haStatus().substate, 1);
    ASSERT_EQ(addHeartbeat("10.0.0.5", "10.0.0.6"), 0);
    EXPECT_EQ(haStatus().substate, 2);
    ASSERT_EQ(deleteHeartbeat("10.0.0.5"), 0);
    EXPECT_EQ(haStatus().substate, 1);
    EXPECT_EQ(haStatus().peer, 0);
}

TEST_F(HighAvailability, aHeartbeatIsThereOnce) {
    ASSERT_EQ(addHeartbeat("10.0.0.5", "10.0.0.6"), 0);
    EXPECT_EQ(addHeartbeat("10.0.0.5", "10.0.0.6"), -44);
    EXPECT_EQ(addHeartbeat("10.0.0.5", "10.0.0.7"), 0);
    EXPECT_EQ(addHeartbeat("10.0.0.6", "10.0.0.5"), 0); // another direction is another pair
    EXPECT_EQ(heartbeats(), (Texts{"10.0.0.5 10.0.0.6", "10.0.0.5 10.0.0.7", "10.0.0.6 10.0.0.5"}));
}

TEST_F(HighAvailability, addressesThatAreNoPairAreRefused) {
    for (const char *bad : {"0.0.0.0", "255.255.255.255", "224.0.0.1", "239.255.255.255", "10.0.0.5"}) {
        EXPECT_EQ(addHeartbeat("10.0.0.5", bad), -45) << bad;
        EXPECT_EQ(addHeartbeat(bad, "10.0.0.5"), -45) << bad;
    }
    EXPECT_EQ(heartbeats(), Texts{});
}

TEST_F(HighAvailability, thereIsRoomFor32Heartbeats) {
    for (int index = 1; index <= 32; ++index)
        ASSERT_EQ(addHeartbeat("10.0.0.254", ("10.0.0." + std::to_string(index)).c_str()), 0);
    EXPECT_EQ(addHeartbeat("10.0.0.254", "10.0.0.33"), -45);
    EXPECT_EQ(addHeartbeat("10.0.0.254", "10.0.0.32"), -44);
    const HaStatusRecord status = haStatus();
    EXPECT_EQ(status.heartbeatCount, 32);
    EXPECT_EQ(status.heartbeats[31].remote.word, address("10.0.0.32").word);
    EXPECT_EQ(status.reachCount, 0);
    ASSERT_EQ(deleteHeartbeat("10.0.0.7"), 0);
    EXPECT_EQ(addHeartbeat("10.0.0.254", "10.0.0.33"), 0);
}

TEST_F(HighAvailability, heartbeatsAreDeletedByTheAddressOfEitherEnd) {
    ASSERT_EQ(addHeartbeat("10.0.0.1", "10.0.0.2"), 0);
    ASSERT_EQ(addHeartbeat("10.0.0.3", "10.0.0.1"), 0);
    ASSERT_EQ(addHeartbeat("10.0.0.3", "10.0.0.4"), 0);
    ASSERT_EQ(addHeartbeat("10.0.0.5", "10.0.0.6"), 0);
    EXPECT_EQ(deleteHeartbeat("10.0.0.9"), kUnknownHeartbeat);
    EXPECT_EQ(deleteHeartbeat("10.0.0.1"), 0);
    EXPECT_EQ(heartbeats(), (Texts{"10.0.0.3 10.0.0.4", "10.0.0.5 10.0.0.6"}));
    EXPECT_EQ(deleteHeartbeat("10.0.0.1"), kUnknownHeartbeat);

    HaStatusRecord expected = emptyStatus(); // nothing of the deleted ones is left
    expected.heartbeatCount = 2;
    expected.heartbeats[0].local = address("10.0.0.3");
    expected.heartbeats[0].remote = address("10.0.0.4");
    expected.heartbeats[1].local = address("10.0.0.5");
    expected.heartbeats[1].remote = address("10.0.0.6");
    expectReply(expected, haStatus());
}

TEST_F(HighAvailability, reachTargetsAreAddedAndDeleted) {
    ASSERT_EQ(addReachTarget("10.0.0.1"), 0);
    ASSERT_EQ(addReachTarget("10.0.0.2"), 0);
    ASSERT_EQ(addReachTarget("10.0.0.3"), 0);
    EXPECT_EQ(addReachTarget("10.0.0.2", "255.255.255.255"), kReachTargetExists);
    EXPECT_EQ(deleteReachTarget("10.0.0.4"), kUnknownReachTarget);
    EXPECT_EQ(deleteReachTarget("10.0.0.1"), 0);
    EXPECT_EQ(reachTargets(), (Texts{"10.0.0.2", "10.0.0.3"}));
    EXPECT_EQ(deleteReachTarget("10.0.0.3"), 0);
    EXPECT_EQ(deleteReachTarget("10.0.0.2"), 0);
    expectReply(emptyStatus(), haStatus());
}

TEST_F(HighAvailability, aReachTargetOutOfRangeIsRefused) {
    for (const char *bad : {"0.0.0.0", "255.255.255.255", "224.0.0.1"})
        EXPECT_EQ(addReachTarget(bad), kOutOfRange) << bad;
    for (const char *bad : {"255.0.255.0", "0.0.0.255", "255.255.255.1", "127.0.0.0"})
        EXPECT_EQ(addReachTarget("10.0.0.1", bad), kOutOfRange) << bad;
    EXPECT_EQ(addReachTarget("10.0.0.1", "255.255.255.0", 256), kOutOfRange);
    EXPECT_EQ(addReachTarget("10.0.0.1", "255.255.255.0", 0xFFFFFFFF), kOutOfRange);
    EXPECT_EQ(reachTargets(), Texts{});
    EXPECT_EQ(addReachTarget("10.0.0.1", "0.0.0.0"), 0);
    EXPECT_EQ(addReachTarget("10.0.0.2", "255.255.255.255"), 0);
    EXPECT_EQ(addReachTarget("10.0.0.3", "255.255.255.254"), 0);
}

TEST_F(HighAvailability, thereIsRoomFor32ReachTargets) {
    for (int index = 1; index <= 32; ++index)
        ASSERT_EQ(addReachTarget(("10.0.0." + std::to_string(index)).c_str()), 0);
    EXPECT_EQ(addReachTarget("10.0.0.33"), kReachTargetLimit);
    EXPECT_EQ(addReachTarget("10.0.0.32"), kReachTargetExists);
    const HaStatusRecord status = haStatus();
    EXPECT_EQ(status.reachCount, 32);
    EXPECT_EQ(status.reachTargets[31].address.word, address("10.0.0.32").word);
    ASSERT_EQ(deleteReachTarget("10.0.0.32"), 0);
    EXPECT_EQ(addReachTarget("10.0.0.33"), 0);
}

TEST_F(HighAvailability, aReachTargetIsChangedByItsIndex) {
    ASSERT_EQ(addReachTarget("10.0.0.1", "255.255.255.0", 1), 0);
    ASSERT_EQ(addReachTarget("10.0.0.2", "255.255.255.0", 2), 0);
    HaStatusRecord expected = haStatus();
    EXPECT_EQ(changeReachTarget(1, 7, 2), 0);
    const HaStatusRecord status = haStatus();
    EXPECT_GE(status.reachTargets[1].localTimeStamp, expected.reachTargets[1].localTimeStamp);
    expected.reachTargets[1].type = 7;
    expected.reachTargets[1].localStatus = 2;
    expected.reachTargets[1].localTimeStamp = status.reachTargets[1].localTimeStamp;
    expectReply(expected, status);

    EXPECT_EQ(changeReachTarget(2, 7, 1), kUnknownReachTarget);
    EXPECT_EQ(changeReachTarget(0xFFFFFFFF, 7, 1), kUnknownReachTarget);
    EXPECT_EQ(changeReachTarget(0, 256, 1), kOutOfRange);
    EXPECT_EQ(changeReachTarget(0, 7, 3), kOutOfRange);
    EXPECT_EQ(changeReachTarget(0, 0xFFFFFFFF, 0xFFFFFFFF), kOutOfRange);
    expectReply(expected, haStatus());
}

TEST_F(HighAvailability, theRequestsAreLeftAsTheyWere) {
    HaControlRecord record = haRequest(Command::addHeartbeat, address("10.0.0.1").word, address("10.0.0.2").word);
    const HaControlRecord sent = record;
    ASSERT_EQ(send(record), 0);
    expectReply(sent, record);
}

} // namespace
} // namespace rk
