// What the logs tell of a command besides the keys of its objects: one procedure a record that has more.
#pragma once

#include "executor/state/log_text.h"
#include "rk/diagnostic_records.h"
#include "rk/ha_records.h"

namespace rk {

void describe(LogText &text, const HaControlRecord &record);
void describe(LogText &text, const ConnectionRequestRecord &record);
void describe(LogText &text, const AffinityRecord &record);
void describe(LogText &text, const DebugRequestRecord &record);

} // namespace rk
