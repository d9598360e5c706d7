// The trace log: lines of text on what happened, which the executor keeps in memory.
#pragma once

#include "rk/command_header.h"

#include <string_view>

namespace rk {

// What a trace level keeps; each keeps what the levels below keep as well. 0: nothing.
inline constexpr int32_t kTraceRefusals = 1; // and starts of the executor
inline constexpr int32_t kTraceChanges = 2;  // commands that change something, performed
inline constexpr int32_t kTraceReads = 3;    // commands that only read, performed

// The text that a reply has room for, without its terminator.
inline constexpr std::size_t kLongestLogReply = kWireBytes - sizeof(CommandHeader) - 1;

// Head and tail together are the whole log.
struct TraceLog {
    char text[2 * kLongestLogReply]; // whole lines, each with its end
    std::size_t length = 0;
};

// Adds a line, which is shorter than the log can get. The oldest lines make room for it.
void addLine(TraceLog &trace, std::string_view line);

std::string_view textOf(const TraceLog &trace);

} // namespace rk
