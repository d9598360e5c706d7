#include "executor/state/values.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <ctime>

namespace rk {

bool isUnicast(NetworkAddress address) {
    const uint32_t word = ntohl(address.word);
    const bool isMulticast = word >> 28 == 0xE;
    return word != INADDR_ANY && word != INADDR_BROADCAST && !isMulticast;
}

bool isNetmask(NetworkAddress mask) {
    const uint32_t hostBits = ~ntohl(mask.word);
    return (hostBits & (hostBits + 1)) == 0;
}

uint32_t currentTime() {
    return static_cast<uint32_t>(std::time(nullptr));
}

void clearBody(CommandHeader &block) {
    std::memset(entriesOf<uint8_t>(&block), 0, block.length - sizeof block);
}

SplitInt64 splitInt64(int32_t value) {
    return {value < 0 ? -1 : 0, value};
}

int32_t hostOrder(NetworkPort port) {
    return ntohs(port.word);
}

std::string_view textIn(const char *field, std::size_t size) {
    return {field, strnlen(field, size)};
}

void storeText(char *field, std::size_t size, std::string_view text) {
    const std::size_t length = std::min(text.size(), size - 1);
    std::memmove(field, text.data(), length);
    std::memset(field + length, 0, size - length);
}

} // namespace rk
