// The logs: one line a command, in the log file and in the trace log.
#pragma once

#include "executor/commands/command_table.h"

namespace rk {

// Appends what a command is about, as the logs tell it: " cluster=web(0x000000c4) port=80", or nothing. `block` is a
// request of the command of `row`, its length checked; `keys` are its keys, `target` is what they name.
void describeSubject(LogText &text, const CommandRow &row, const CommandHeader &block, const CommandKeys &keys,
                     const Target &target);

// Writes the line of a command that has been performed or refused to the log file, if there is one, and to the trace
// log if it belongs there. `row` is null when the command is unknown. `words` are what forwarding has to say: why it
// refused, else something that gets a line of its own; none when they are empty.
void logCommand(ExecutorState &state, const CommandRow *row, const CommandHeader &block, const LogText &subject,
                const LogText &words);

// Writes a line about forwarding to the log file, if there is one, and to the trace log.
void logForwarding(ExecutorState &state, const LogText &words);

} // namespace rk
