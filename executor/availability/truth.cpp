#include "executor/availability/truth.h"

#include "executor/state/ha_state.h"
#include "executor/state/values.h"

#include <algorithm>

namespace rk {

namespace {

uint8_t stateOf(const Elections &elections) {
    const auto isAt = [&elections](Place place) {
        return std::any_of(elections.elections.begin(), elections.elections.end(),
                           [place](const ElectionState &each) { return each.place == place; });
    };
    if (isAt(Place::active))
        return kHaStateActive;
    return isAt(Place::failed) ? kHaStateFailed : kHaStateStandby;
}

uint8_t substateOf(const Elections &elections) {
    if (elections.paths.empty())
        return kHaSubstateNoHeartbeat;
    const bool isTwo = std::any_of(elections.elections.begin(), elections.elections.end(),
                                   [](const ElectionState &each) { return each.twoActiveSince != 0; });
    if (isTwo)
        return kHaSubstateTwoActive;
    return pathsUp(elections) > 0 ? kHaSubstatePartnerHeard : kHaSubstateWaiting;
}

void writeTargets(const Reachability &reachability, HaStatusRecord &record) {
    for (std::size_t index = 0; index < reachability.targets.size(); ++index) {
        const ReachState &target = reachability.targets[index];
        ReachEntry &entry = record.reachTargets[index];
        if (target.status == kReachUnknown || entry.localStatus == target.status)
            continue;
        entry.localStatus = target.status;
        entry.localTimeStamp = currentTime();
    }
}

} // namespace

void writeTruth(Executor &executor, const Partnership &partnership, const Elections &elections,
                const Reachability &reachability) {
    HaStatusRecord &record = executor.highAvailability;
    if (!partnership.isPaired)
        return;
    enterHaState(executor, stateOf(elections));
    enterHaSubstate(executor, substateOf(elections));
    record.peer = kHaPeerUnknown;
    if (!elections.paths.empty())
        record.peer = pathsUp(elections) > 0 ? kHaPeerHeard : kHaPeerSilent;
    for (std::size_t path = 0; path < elections.paths.size(); ++path)
        record.heartbeats[partnership.pathPlaces[path]].status =
            elections.paths[path].isUp ? kHeartbeatAnswered : kHeartbeatUnanswered;
    writeTargets(reachability, record);
}

} // namespace rk
