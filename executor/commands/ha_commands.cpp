// High availability: backup, heartbeats, reach targets. The state follows the configuration; what hears a partner
// (executor/availability) puts in its place what is true.
#include "executor/commands/commands.h"
#include "executor/state/ha_state.h"
#include "executor/state/settings.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <algorithm>
#include <limits>

namespace rk {

namespace {

// Sets what depends on backup and heartbeats.
void followConfiguration(Executor &executor) {
    HaStatusRecord &ha = executor.highAvailability;
    const bool isWaiting = hasBackup(ha) && ha.heartbeatCount > 0;
    ha.peer = isWaiting ? kHaPeerSilent : kHaPeerUnknown;
    for (int index = 0; index < ha.heartbeatCount; ++index)
        ha.heartbeats[index].status = isWaiting ? kHeartbeatUnanswered : kHeartbeatIdle;

    uint8_t substate = kHaSubstateNone;
    if (hasBackup(ha))
        substate = isWaiting ? kHaSubstateWaiting : kHaSubstateNoHeartbeat;
    enterHaSubstate(executor, substate);
}

ReachEntry *findReachTarget(HaStatusRecord &ha, NetworkAddress address) {
    ReachEntry *end = ha.reachTargets + ha.reachCount;
    ReachEntry *target = std::find_if(
        ha.reachTargets, end, [address](const ReachEntry &entry) { return entry.address.word == address.word; });
    return target == end ? nullptr : target;
}

} // namespace

int32_t readHighAvailability(const Executor &executor, HaStatusRecord &record) {
    replyWith(executor.highAvailability, record);
    record.address = executor.settings.nfa;
    return 0;
}

int32_t addBackup(Executor &executor, const HaControlRecord &record) {
    HaStatusRecord &ha = executor.highAvailability;
    if (hasBackup(ha))
        return kBackupExists;
    const uint32_t role = record.first;
    const uint32_t strategy = record.second;
    const uint32_t port = record.third;
    if (role > kHaRoleBoth || strategy > kHaStrategyManual || port < 1 || port > kHighestPortNumber)
        return kOutOfRange;

    ha.mode = kHaModePaired;
    ha.role = static_cast<uint8_t>(role);
    ha.strategy = static_cast<uint8_t>(strategy);
    ha.port = static_cast<uint16_t>(port);
    countHighAvailability(executor, kCountCommands);
    enterHaState(executor, role == kHaRoleBackup ? kHaStateStandby : kHaStateActive);
    followConfiguration(executor);
    return 0;
}

int32_t deleteBackup(Executor &executor, const CommandHeader & /*header*/) {
    HaStatusRecord &ha = executor.highAvailability;
    if (!hasBackup(ha))
        return kNoBackup;
    countHighAvailability(executor, kCountCommands);
    countHighAvailability(executor, kCountStateChanges);
    countHighAvailability(executor, kCountSubstateChanges);
    ha = HaStatusRecord{};
    return 0;
}

int32_t addReachTarget(Executor &executor, const HaControlRecord &record) {
    HaStatusRecord &ha = executor.highAvailability;
    const NetworkAddress address{record.first};
    const NetworkAddress mask{record.second};
    const uint32_t type = record.third;
    if (findReachTarget(ha, address) != nullptr)
        return kReachTargetExists;
    if (ha.reachCount == kReachTargets)
        return kReachTargetLimit;
    if (!isUnicast(address) || !isNetmask(mask) || type > std::numeric_limits<uint8_t>::max())
        return kOutOfRange;

    ReachEntry &target = ha.reachTargets[ha.reachCount];
    target = ReachEntry{};
    target.address = address;
    target.mask = mask;
    target.type = static_cast<uint8_t>(type);
    target.localTimeStamp = currentTime();
    ++ha.reachCount;
    countHighAvailability(executor, kCountCommands);
    countHighAvailability(executor, kCountReachChanges);
    return 0;
}

int32_t deleteReachTarget(Executor &executor, const HaControlRecord &record) {
    HaStatusRecord &ha = executor.highAvailability;
    ReachEntry *target = findReachTarget(ha, {record.first});
    if (target == nullptr)
        return kUnknownReachTarget;
    ReachEntry *end = ha.reachTargets + ha.reachCount;
    *std::move(target + 1, end, target) = ReachEntry{};
    --ha.reachCount;
    countHighAvailability(executor, kCountCommands);
    countHighAvailability(executor, kCountReachChanges);
    return 0;
}

int32_t changeReachTarget(Executor &executor, const HaControlRecord &record) {
    HaStatusRecord &ha = executor.highAvailability;
    const uint32_t index = record.first;
    const uint32_t type = record.second;
    const uint32_t status = record.third;
    if (index >= ha.reachCount)
        return kUnknownReachTarget;
    if (type > std::numeric_limits<uint8_t>::max() || status > kUnreachable)
        return kOutOfRange;

    ReachEntry &target = ha.reachTargets[index];
    target.type = static_cast<uint8_t>(type);
    target.localStatus = static_cast<uint8_t>(status);
    target.localTimeStamp = currentTime();
    countHighAvailability(executor, kCountCommands);
    countHighAvailability(executor, kCountReachChanges);
    return 0;
}

int32_t addHeartbeat(Executor &executor, const HaControlRecord &record) {
    HaStatusRecord &ha = executor.highAvailability;
    const NetworkAddress local{record.first};
    const NetworkAddress remote{record.second};
    const bool exists =
        std::any_of(ha.heartbeats, ha.heartbeats + ha.heartbeatCount, [local, remote](const HeartbeatEntry &entry) {
            return entry.local.word == local.word && entry.remote.word == remote.word;
        });
    if (exists)
        return kHeartbeatExists;
    if (ha.heartbeatCount == kHeartbeats || !isUnicast(local) || !isUnicast(remote) || local.word == remote.word)
        return kHeartbeatPair;

    HeartbeatEntry &heartbeat = ha.heartbeats[ha.heartbeatCount];
    heartbeat = HeartbeatEntry{};
    heartbeat.local = local;
    heartbeat.remote = remote;
    ++ha.heartbeatCount;
    countHighAvailability(executor, kCountCommands);
    countHighAvailability(executor, kCountHeartbeats);
    followConfiguration(executor);
    return 0;
}

int32_t deleteHeartbeat(Executor &executor, const HaControlRecord &record) {
    HaStatusRecord &ha = executor.highAvailability;
    const uint32_t address = record.first;
    HeartbeatEntry *end = ha.heartbeats + ha.heartbeatCount;
    HeartbeatEntry *keptEnd = std::remove_if(ha.heartbeats, end, [address](const HeartbeatEntry &entry) {
        return entry.local.word == address || entry.remote.word == address;
    });
    if (keptEnd == end)
        return kUnknownHeartbeat;
    std::fill(keptEnd, end, HeartbeatEntry{});
    ha.heartbeatCount = static_cast<uint16_t>(keptEnd - ha.heartbeats);
    countHighAvailability(executor, kCountCommands);
    followConfiguration(executor);
    return 0;
}

// The timers do not travel with the command: it only tells that they were set.
int32_t setHighAvailabilityTimers(Executor &executor, const CommandHeader & /*header*/) {
    if (!hasBackup(executor.highAvailability))
        return kNoBackup;
    countHighAvailability(executor, kCountCommands);
    countHighAvailability(executor, kCountTimersSet);
    return 0;
}

// There is one state machine, so the request's address is not looked at.
int32_t takeOver(Executor &executor, const HaControlRecord & /*record*/) {
    if (!hasBackup(executor.highAvailability))
        return kNoBackup;
    countHighAvailability(executor, kCountCommands);
    if (executor.highAvailability.state != kHaStateActive)
        countHighAvailability(executor, kCountTakeOvers);
    enterHaState(executor, kHaStateActive);
    return 0;
}

} // namespace rk
