// Texts of the logs, put together without any memory being obtained, so that a log can tell of a lack of it.
#pragma once

#include "rk/diagnostic_records.h"
#include "rk/ha_records.h"

#include <string_view>

namespace rk {

// Longer than any line can get: all texts in it come from fields of records.
struct LogText {
    char text[1024];
};

// Appends as much as there is room for.
[[gnu::format(printf, 2, 3)]] void append(LogText &text, const char *format, ...);

// A name comes from a caller: what would break the line becomes a question mark.
void appendName(LogText &text, std::string_view name);
void appendNameAndKey(LogText &text, const char *kind, std::string_view name, uint32_t key);

// The current time, as in 2026-11-20T22:31:12Z.
void appendTime(LogText &text);

// What a command is about, one procedure a record of the commands that do not name their objects by keys.
void describe(LogText &text, const HaControlRecord &record);
void describe(LogText &text, const ConnectionRequestRecord &record);
void describe(LogText &text, const AffinityRecord &record);
void describe(LogText &text, const DebugRequestRecord &record);
void describe(LogText &text, const AttackingAddressesRecord &record);

} // namespace rk
