// A command that is being tried while an engine forwards: what it works on, what it found, and what it changes.
#pragma once

#include "executor/commands/target.h"
#include "executor/forwarding/plan_draft.h"

namespace rk {

// What a server's weight and marks were.
struct FormerWeight {
    Server *server = nullptr;
    int16_t weight = 0;
    int16_t savedWeight = 0;
    int8_t fixedWeight = 0;
    int32_t quiesced = 0;
};

// What the command found, as far as it may have to be put back.
struct Former {
    ExecutorSettingsRecord executor{};
    AttackProtectionRecord attackProtection{};
    int64_t nextOrder = 0;
    int32_t nextRuleId = 0;

    // Of the objects that the command works on.
    ClusterRecord cluster{};
    PortRecord port{};
    int32_t affinitiesReused = 0;
    ServerRecord server{};
    bool isServerDown = false;
    int16_t savedWeight = 0;
    RuleRecord rule{};

    std::vector<FormerWeight> weights;                   // in the order of the entries that change them
    std::map<uint32_t, std::optional<Affinity>> clients; // none: the client was not bound
    std::vector<uint8_t> request;                        // of a command whose reply overwrites it
};

struct Attempt {
    const Target &target;
    CommandHeader &block;
    LogText &words; // why it is refused, or what the log is to be told
    PlanDraft draft;
    Former former;
};

template <typename Record> Record &requestOf(Attempt &attempt) {
    return reinterpret_cast<Record &>(attempt.block);
}

} // namespace rk
