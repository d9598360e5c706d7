// The state of the record on high availability, and what is counted of it.
#pragma once

#include "executor/state/state.h"

namespace rk {

bool hasBackup(const HaStatusRecord &record);

// Counts for the state machines that run in the role of the record; the primary one when there is no backup.
void countHighAvailability(Executor &executor, FsmCounter counter);

// Each counts the change, if it is one.
void enterHaState(Executor &executor, uint8_t state);
void enterHaSubstate(Executor &executor, uint8_t substate);

} // namespace rk
