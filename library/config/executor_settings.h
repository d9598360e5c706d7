// What other families need of the executor's own settings and counters.
#pragma once

#include <cstdint>

extern "C" {

// Asks for the executor's counters. Returns 0 when they are in ucb.executorReport, otherwise the channel's result.
int32_t getExecutorReport();
}

namespace rk {

// How many seconds the local time zone is west of Greenwich; negative to the east. Right for zones up to 12 hours east
// and less than 12 hours west.
int32_t secondsWestOfGreenwich();

} // namespace rk
