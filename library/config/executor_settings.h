// What the other families ask of the executor's own settings and counters.
#pragma once

#include <cstdint>

extern "C" {

// Asks for the executor's counters. On 0 they are in ucb.executorReport; otherwise the result is the channel's.
int32_t getExecutorReport();
}

namespace rk {

// Seconds that the local time zone is west of Greenwich (negative east of it); right for zones up to 12 hours east and
// less than 12 hours west of it.
int32_t secondsWestOfGreenwich();

} // namespace rk
