// A walk through the executor's byte counters.
#pragma once

#include <cstdint>

extern "C" {

// Asks for the byte counters, and walks through the configuration that comes back. Shows nothing. Returns the status of
// a failed command, otherwise the length of the last address's text.
[[nodiscard]] int32_t printBytesInformation();
}
