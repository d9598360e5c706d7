// The two logs that the executor may have: a file, which lines are appended to, and the trace log.
#pragma once

#include "executor/state/log_text.h"
#include "executor/state/state.h"

namespace rk {

// Appends to the file at `path` from now on. False when it cannot be opened: errno says why, and the log that there is
// stays.
bool openLogFile(ExecutorState &state, const char *path);

// Ends the log file, if there is one.
void closeLogFile(ExecutorState &state);

// Whether the trace log keeps lines of this level on commands with this bit in the filter; 0: it never does.
bool isTraced(const ExecutorState &state, int32_t level, uint32_t traceBit);

// Appends a line to the log file, if there is one, and to the trace log if it is to keep the line.
void writeLine(ExecutorState &state, const LogText &line, bool isKept);

} // namespace rk
