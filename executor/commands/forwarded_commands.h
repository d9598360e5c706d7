// Commands that change what is forwarded: the executor's state and the engine change together, or neither does.
#pragma once

#include "executor/commands/command_table.h"

namespace rk {

// Performs a command whose objects are there, while an engine forwards. Returns 0 or the reason, as the command's own
// procedure does, or kForwardingRefused: then the state and the engine are as they were, and `words` say why.
// `words` that are not empty after a success are for the log. Throws std::bad_alloc with all as it was.
int32_t performForwarded(Forwarding &forwarding, const CommandRow &row, const Target &target, CommandHeader &block,
                         LogText &words);

} // namespace rk
