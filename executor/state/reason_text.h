// The reasons in words, for the logs.
#pragma once

#include "rk/command_header.h"
#include "rk/reasons.h"

namespace rk {

// The reason of a command in words; "unknown reason" for a number that rk/reasons.h does not name.
const char *reasonText(Command command, int32_t reason);

} // namespace rk
