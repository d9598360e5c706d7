// What a fuzzer's input says, drawn bit by bit. An input is read from both ends: what Java gives comes from its front,
// what the executor answers from its back, so that a change of the one leaves the other alone. Bytes of zero, and an
// input that has ended, stand for the ordinary: the empty input is a call that succeeds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace fuzz {

// What has not been drawn yet.
struct Input {
    const uint8_t *begin;
    const uint8_t *end;
};

enum class Side { front, back };

struct Draws {
    Input *input;
    Side side;
};

bool isOver(const Draws &draws);
uint8_t drawByte(const Draws &draws);
uint16_t drawHalf(const Draws &draws);
uint32_t drawWord(const Draws &draws);

// A number below `bound`, which is 1 to 65536.
uint32_t drawBelow(const Draws &draws, uint32_t bound);

// The ordinary value, one at some edge, or any other.
int32_t drawNumber(const Draws &draws, int32_t ordinary);

// Text of 0 to 255 bytes, none of them zero.
std::string drawBytes(const Draws &draws);

// The ordinary text, none (a null string), one that means something to the library, a long one, or any other.
std::optional<std::string> drawText(const Draws &draws, const std::string &ordinary);

// A finding: says what went wrong, and ends the program so that the fuzzer keeps the input.
[[noreturn, gnu::format(printf, 1, 2)]] void finding(const char *format, ...);

} // namespace fuzz
