// The executor's one entry, for every front: the user-space library, or a device.
#pragma once

#include "executor/state/state.h"

namespace rk {

// Performs the command in `block` and writes result, reason and reply into it. Returns the result, 0 or -1; no
// exception leaves it. It touches only the header before the length word has proved right, and never anything beyond
// that length; the caller answers for those bytes being there.
int32_t performCommand(ExecutorState &state, CommandHeader *block);

} // namespace rk
