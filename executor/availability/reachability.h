// Whether reach targets answer: an echo request each second, and who has answered.
#pragma once

#include "executor/availability/partnership.h"

namespace rk {

struct ReachState {
    NetworkAddress address;
    uint8_t status = 0; // as the record numbers them (values.h)
    bool isAsked = false;
    bool isAnswered = false; // since it was asked
    int missed = 0;          // in a row
    int answered = 0;        // in a row
};

struct Reachability {
    int socket = -1;
    uint16_t sequence = 0;
    std::vector<ReachState> targets; // in the order of the record
};

// False when the system does not let it ask; `words` tell. Needs CAP_NET_RAW.
bool openReachability(Reachability &reachability, LogText &words);
void closeReachability(Reachability &reachability);

// Has the targets of the record from now on; what is known of those that stay is kept.
void describeTargets(Reachability &reachability, const HaStatusRecord &record);

// Judges a target by its last request, which has had its time. Two answers, or two that are missing, in a row count; of
// one that nothing is known of, the first answer. True when its status is another one now.
bool judgeTarget(ReachState &target);

// Notes the answers that have come; then judges all targets and asks them again.
void takeAnswers(Reachability &reachability);
void askTargets(Reachability &reachability);

int unreachableTargets(const Reachability &reachability);

} // namespace rk
