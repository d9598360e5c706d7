// All that an executor keeps, as one string: two executors with the same image are the same in everything that a
// command can see or change. Left out are the number of commands and what engines have counted.
#pragma once

#include "executor/state/state.h"

#include <string>

namespace rk {

std::string imageOf(const Executor &executor);

} // namespace rk
