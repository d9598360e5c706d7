// Addresses, numbers and identifier keys: what the library makes of a text is what the models make of it.
#include "fuzz/harness/draws.h"
#include "fuzz/models/address_model.h"
#include "fuzz/models/key_model.h"
#include "harness/system_calls.h"
#include "library/support/CMNImpUtils.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

using fuzz::finding;

constexpr uint32_t kUntouched = 0xEEEEEEEE;
constexpr char kKnownHost[] = "balancer.example"; // the only host name that resolves here,
constexpr char kKnownHostAddress[] = "192.0.2.7"; // to this address

// The address of a text in network byte order; empty when there is none.
std::optional<uint32_t> expectedAddress(const std::string &text) {
    if (!model::isNumericAddress(text)) {
        if (text != kKnownHost)
            return {};
        return inet_addr(kKnownHostAddress);
    }
    const in_addr_t systems = inet_addr(text.c_str());
    if (systems == INADDR_NONE)
        return {};
    const std::optional<uint32_t> plain = model::plainAddress(text);
    if (plain && htonl(*plain) != systems)
        finding("the model takes %s for 0x%08x, the system for 0x%08x", text.c_str(), *plain, ntohl(systems));
    return systems;
}

void checkAddress(const std::string &text) {
    const int32_t isNumeric = isinet_addr(text.c_str());
    if (isNumeric != (model::isNumericAddress(text) ? 1 : 0))
        finding("isinet_addr(\"%s\") is %d", text.c_str(), isNumeric);

    const std::optional<uint32_t> expected = expectedAddress(text);
    uint32_t address = kUntouched;
    errno = 0;
    const int32_t status = ip_stol(text.c_str(), &address);
    if (status != (expected ? 0 : 1))
        finding("ip_stol(\"%s\") is %d", text.c_str(), status);
    if (expected && address != *expected)
        finding("ip_stol(\"%s\") stores 0x%08x, not 0x%08x", text.c_str(), address, *expected);
    if (!expected && errno != EINVAL)
        finding("ip_stol(\"%s\") fails with errno %d", text.c_str(), errno);
    if (isNumeric == 1 && !calls::namesResolved().empty())
        finding("\"%s\" was looked for as a host name", text.c_str());
}

void checkDotted(uint32_t address) {
    char text[16];
    memset(text, 'E', sizeof(text));
    const int32_t length = getAddress(address, text);
    const std::string expected = model::dotted(address);
    if (expected != text || length != static_cast<int32_t>(expected.size()))
        finding("getAddress(0x%08x) is %s, %d characters", address, text, length);
    uint32_t back = 0;
    if (address != INADDR_NONE && (ip_stol(text, &back) != 0 || back != address))
        finding("%s comes back as 0x%08x, not 0x%08x", text, back, address);
}

void checkNumbers(const std::string &text) {
    if (get_number(text.c_str()) != model::number(text))
        finding("get_number(\"%s\") is %d, not %d", text.c_str(), get_number(text.c_str()), model::number(text));
    if (hexStringToInt(text.c_str()) != model::hexNumber(text))
        finding("hexStringToInt(\"%s\") is 0x%x, not 0x%x", text.c_str(), hexStringToInt(text.c_str()),
                model::hexNumber(text));
    if (hexCharToInt(text.c_str()) != model::hexDigit(text[0]))
        finding("hexCharToInt(\"%s\") is %d", text.c_str(), hexCharToInt(text.c_str()));
}

// The library gets the text in memory of just its size, so that a step beyond it is noticed.
char *onHeap(const std::string &text) {
    char *copy = static_cast<char *>(malloc(text.size() + 1));
    memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

void checkTokens(const std::string &text, char delimiter) {
    char *copy = onHeap(text);
    char *save = nullptr;
    char *token = CMN_szStrtok(copy, delimiter, &save);
    for (const std::string &expected : model::tokens(text, delimiter)) {
        if (token == nullptr || expected != token)
            finding("CMN_szStrtok of \"%s\" at '%c': %s, not %s", text.c_str(), delimiter,
                    token == nullptr ? "null" : token, expected.c_str());
        token = CMN_szStrtok(nullptr, delimiter, &save);
    }
    if (token != nullptr)
        finding("CMN_szStrtok of \"%s\" at '%c': %s beyond the end", text.c_str(), delimiter, token);
    free(copy);
}

void checkKey(const std::string &text) {
    char *copy = onHeap(text);
    uint32_t key = 0;
    makeHashResult(copy, &key);
    if (key != model::key(text))
        finding("the key of \"%s\" is 0x%08x, not 0x%08x", text.c_str(), key, model::key(text));
    if (copy != model::upperCase(text))
        finding("\"%s\" became \"%s\"", text.c_str(), copy);
    free(copy);
}

void checkRotation(uint8_t value, uint32_t count) {
    if (bitrotate(value, count) != model::rotated(value, count))
        finding("bitrotate(0x%02x, %u) is 0x%02x", value, count, bitrotate(value, count));
}

// A part of a numeric address in any base, at or around the limits of octets and last parts.
std::string drawPart(const fuzz::Draws &draws) {
    static constexpr uint64_t kEdges[] = {
        0,       1,        7,         8,          9,          254,        255,         256,         0xFFFE,    0xFFFF,
        0x10000, 0xFFFFFF, 0x1000000, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF, 0x100000000, 0x1000000FF, UINT64_MAX};
    static constexpr const char *kFormats[] = {"%llu", "0%llo", "0x%llx", "0X%llX", "0%llu", "%llx", "00%llo"};
    const uint8_t choice = fuzz::drawByte(draws);
    const uint64_t value = choice < 0x80 ? kEdges[choice % std::size(kEdges)] : fuzz::drawWord(draws);
    char text[32];
    snprintf(text, sizeof(text), kFormats[fuzz::drawBelow(draws, std::size(kFormats))],
             static_cast<unsigned long long>(value));
    return text;
}

std::string drawParts(const fuzz::Draws &draws) {
    std::string text;
    for (uint32_t parts = 1 + fuzz::drawBelow(draws, 5); parts > 0; --parts)
        text += drawPart(draws) + (parts > 1 ? "." : "");
    return text;
}

} // namespace

// A text of the input's bytes up to the first zero, behind parts of an address when the input wants some.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::Input input = {data, data + size};
    const fuzz::Draws draws = {&input, fuzz::Side::back};
    const uint8_t delimiter = fuzz::drawByte(draws);
    const uint8_t rotation = fuzz::drawByte(draws);
    const uint32_t word = fuzz::drawWord(draws);
    std::string text = fuzz::drawByte(draws) < 0x80 ? "" : drawParts(draws);
    while (!fuzz::isOver(draws) && *input.begin != '\0')
        text += static_cast<char>(*input.begin++);
    calls::reset();
    checkAddress(text);
    checkNumbers(text);
    checkTokens(text, delimiter == 0 ? '.' : static_cast<char>(delimiter));
    checkKey(text);
    checkDotted(word);
    checkRotation(rotation, word);
    return 0;
}
