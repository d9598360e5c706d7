#include "fuzz/models/key_model.h"

namespace model {

std::string upperCase(const std::string &text) {
    std::string upper = text;
    for (char &character : upper) {
        if (character >= 'a' && character <= 'z')
            character = static_cast<char>(character - 'a' + 'A');
    }
    return upper;
}

// Bit by bit: bit b comes to stand `count` places lower, around the end.
uint8_t rotated(uint8_t value, uint32_t count) {
    const uint32_t places = count % 64;
    if (places > 8)
        return 0;
    unsigned result = 0;
    for (uint32_t bit = 0; bit < 8; ++bit) {
        if ((value >> bit & 1) != 0)
            result += 1U << (bit + 8 - places) % 8;
    }
    return static_cast<uint8_t>(result);
}

// The sum in 64 bits, each term a product: characters 32 to 63 of every 64 have no term.
uint32_t key(const std::string &text) {
    const std::string upper = upperCase(text);
    uint64_t sum = UINT32_MAX;
    for (std::size_t i = 0; i < upper.size(); ++i) {
        const auto place = static_cast<uint32_t>(i % 64);
        const auto next = static_cast<uint8_t>(i + 1 < upper.size() ? upper[i + 1] : '\0');
        const uint64_t term = uint64_t{rotated(static_cast<uint8_t>(upper[i]), place)} + next;
        if (place < 32)
            sum = (sum + term * (uint64_t{1} << place)) % (uint64_t{1} << 32);
    }
    return static_cast<uint32_t>(sum);
}

} // namespace model
