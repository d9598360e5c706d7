// The executor's one entry, for every front: the user-space library, or a device.
#pragma once

#include "executor/state/state.h"

namespace rk {

// Performs the command in `block` and writes result, reason and reply into it. Of the block, only the header is touched
// before its length word has proved right, and nothing beyond that length at any time: the caller answers for the
// length word's bytes being there. Returns the result, 0 or -1. No exception leaves it.
int32_t performCommand(ExecutorState &state, CommandHeader *block);

} // namespace rk
