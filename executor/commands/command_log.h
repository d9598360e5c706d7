// The logs: one line a command, in the log file and in the trace log.
#pragma once

#include "executor/commands/command_table.h"
#include "executor/state/log_text.h"

namespace rk {

// What a command is about, as the logs tell it: " cluster=web(0x000000c4) port=80", or the empty text. `block` is a
// request of the command of `row`, its length checked.
LogText describeSubject(ExecutorState &state, const CommandRow &row, const CommandHeader &block);

// Writes the line of a command that has been performed or refused to the log file, and to the trace log if it belongs
// there. `row` is null when the command is unknown.
void logCommand(ExecutorState &state, const CommandRow *row, const CommandHeader &block, const LogText &subject);

// Whether a command with this reason (0: performed) has a line in any log.
bool isLogged(const ExecutorState &state, const CommandRow *row, int32_t reason);

} // namespace rk
