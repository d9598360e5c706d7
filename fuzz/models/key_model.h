// Identifier keys and their rotation, by bits and sums instead of shifts.
#pragma once

#include <cstdint>
#include <string>

namespace model {

std::string upperCase(const std::string &text);
uint8_t rotated(uint8_t value, uint32_t count);
uint32_t key(const std::string &text);

} // namespace model
