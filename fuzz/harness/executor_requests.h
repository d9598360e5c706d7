// Requests to the reference executor that mostly make sense: the right length, keys and addresses from a few that meet
// again, settings with their flags. What an input wants otherwise becomes so: any bytes anywhere, any length word.
#pragma once

#include "executor/commands/command_table.h"
#include "fuzz/harness/draws.h"

#include <vector>

namespace fuzz {

// All commands that the executor knows.
const std::vector<const rk::CommandRow *> &allCommands();

// The bytes of a request, as many as its length word says, but never fewer than a header.
std::vector<uint8_t> drawRequest(const Draws &draws);

// A header in front of the request's bytes.
rk::CommandHeader &headerOf(std::vector<uint8_t> &request);

} // namespace fuzz
