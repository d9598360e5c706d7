// The command log: one line a command.
#pragma once

#include "executor/command_table.h"

namespace rk {

// What a command is about, as the log tells it: " cluster=web(0x000000c4) port=80", or the empty text.
struct LogSubject {
    char text[512];
};

// `block` is a request of the command of `row`, its length checked.
LogSubject describeSubject(ExecutorState &state, const CommandRow &row, const CommandHeader &block);

// Writes the line of a command that has been performed or refused. `row` is null when the command is unknown.
void logCommand(std::FILE *log, const CommandRow *row, const CommandHeader &block, const LogSubject &subject);

} // namespace rk
