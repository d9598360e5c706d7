// The walk over the executor's byte counters.
#pragma once

#include <cstdint>

extern "C" {

// Asks for the byte counters and walks the whole configuration that comes back; shows nothing. Returns the status of
// the command, or the length of the last address's text.
[[nodiscard]] int32_t printBytesInformation();
}
