// What holds of the reference executor's state whatever it was asked.
#pragma once

#include "executor/state/state.h"

namespace fuzz {

// Ends the program with a finding when something does not hold.
void checkState(const rk::ExecutorState &state);

// A digest of all that a refused command, and one that only reads, must leave as it is: the configuration, connections
// and affinities, but not the number of commands nor the trace log.
uint64_t digestOf(const rk::ExecutorState &state);

} // namespace fuzz
