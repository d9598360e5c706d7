// What address and number texts mean, said a second time and another way than in the library: a text is cut into its
// parts first, and each part is judged as a whole.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace model {

// Whether a text is a numeric IPv4 address; the empty text counts as one.
bool isNumericAddress(const std::string &text);

// The address that the parts of a numeric text give, in host byte order. Empty when the system's own parser may see the
// text another way: a part that wraps, digits 8 and 9 in an octal part, a prefix 0x without digits, no part at all.
std::optional<uint32_t> plainAddress(const std::string &text);

// The dotted text of an address in network byte order.
std::string dotted(uint32_t address);

// The value of a text of decimal digits that an int holds, -1 for any other.
int32_t number(const std::string &text);

int32_t hexDigit(char character);
uint32_t hexNumber(const std::string &text);

// The tokens between the delimiters; a text of delimiters only has one empty token, the empty text as well.
std::vector<std::string> tokens(const std::string &text, char delimiter);

} // namespace model
