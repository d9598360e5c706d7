// What an executor answers: ordinary replies, refusals, and replies that no sound executor gives.
#pragma once

#include "fuzz/harness/draws.h"
#include "rk/command_header.h"

namespace fuzz {

// Answers the block, of which `length` bytes are the command's, and returns what EXC_UserInput returns.
int32_t drawReply(const Draws &draws, uint8_t *block, uint32_t length);

} // namespace fuzz
