// How long the block of each command is, as numbers of their own beside the records' sizes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace executor {

// The length that the block of a command must have, from what stands in it; empty for a command that there is not.
std::optional<uint64_t> lengthOf(std::span<const uint8_t> block);

} // namespace executor
