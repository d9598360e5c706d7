// Lines of the logs. They need no memory from the heap, so that a log can tell that there is none.
#pragma once

#include "rk/wire_types.h"

#include <string_view>

namespace rk {

// Longer than any line: the texts in a line come from fields of records.
struct LogText {
    char text[1024] = "";
    std::size_t length = 0;
};

// Appends as much as there is room for.
[[gnu::format(printf, 2, 3)]] void append(LogText &text, const char *format, ...);

// Appends a name that comes from a caller. Control characters become question marks, so that they cannot break the
// line.
void appendName(LogText &text, std::string_view name);

// Each appends " KIND=" and a value: web(0x000000c4), 10.0.0.1, 10.0.0.1:80.
void appendNameAndKey(LogText &text, const char *kind, std::string_view name, uint32_t key);
void appendAddress(LogText &text, const char *kind, NetworkAddress address);
void appendEndpoint(LogText &text, const char *kind, NetworkAddress address, int port);

// The current time, as in 2026-11-20T22:31:12Z.
void appendTime(LogText &text);

} // namespace rk
