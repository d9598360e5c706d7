#include "executor/commands/available_commands.h"

#include <exception>

namespace rk {

bool isOnHighAvailability(const CommandRow &row) {
    return row.family.traceBit == kHaFamily.traceBit && row.effect == kChanges;
}

int32_t performAvailable(AvailabilityAgent &agent, const CommandRow &row, const Target &target, CommandHeader &block,
                         LogText &words) {
    Executor &executor = target.state->executor;
    const HaBefore before{executor.highAvailability, executor.counters};
    const int32_t reason = row.perform(target, block);
    if (reason != 0)
        return reason;
    bool isDone = false;
    try {
        isDone = agent.follow(agent.own, *target.state, row.command, before, words);
    } catch (const std::exception &) { // memory ran out
        executor.highAvailability = before.record;
        executor.counters = before.counters;
        throw;
    }
    if (isDone)
        return 0;
    executor.highAvailability = before.record;
    executor.counters = before.counters;
    return kForwardingRefused;
}

void noteChange(AvailabilityAgent &agent, const CommandRow &row, const Target &target) {
    if (row.effect == kChanges)
        agent.note(agent.own, *target.state, row.family.traceBit == kClusterFamily.traceBit);
}

} // namespace rk
