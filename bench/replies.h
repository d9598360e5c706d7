// What the stub executor answers to the commands of the benchmarks: replies in which every field holds something.
#pragma once

#include "rk/wire_types.h"

namespace replies {

inline constexpr int kServers = 1000; // whose weights a reply has

// Hands all replies to the stub executor.
void prepare();

} // namespace replies
