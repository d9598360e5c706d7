// Pieces of diagnostic texts.
#pragma once

#include "library/shared/replies.h"

namespace rk {

inline constexpr char kKernelError[] = "Error with kernel.\n";

// The dotted text of an address.
struct DottedText {
    char text[16];
};

inline DottedText dotted(NetworkAddress address) {
    DottedText result;
    getAddress(address.word, result.text);
    return result;
}

// The seconds between a stamp and `now`; 0 for a record that was never stamped.
inline int32_t ageOf(uint32_t firstTime, uint32_t stamp, uint32_t now) {
    return firstTime == 0 && stamp == 0 ? 0 : static_cast<int32_t>(now - stamp);
}

} // namespace rk
