#include "executor/state/ha_state.h"

namespace rk {

namespace {

void enter(Executor &executor, uint8_t &field, uint8_t value, FsmCounter counter) {
    if (field == value)
        return;
    field = value;
    countHighAvailability(executor, counter);
}

} // namespace

bool hasBackup(const HaStatusRecord &record) {
    return record.mode == kHaModePaired;
}

void countHighAvailability(Executor &executor, FsmCounter counter) {
    const uint8_t role = executor.highAvailability.role;
    if (role != kHaRoleBackup)
        ++executor.counters.primary.counters[counter];
    if (role != kHaRolePrimary)
        ++executor.counters.backup.counters[counter];
}

void enterHaState(Executor &executor, uint8_t state) {
    enter(executor, executor.highAvailability.state, state, kCountStateChanges);
}

void enterHaSubstate(Executor &executor, uint8_t substate) {
    enter(executor, executor.highAvailability.substate, substate, kCountSubstateChanges);
}

} // namespace rk
