#include "fuzz/models/address_model.h"

#include <cstring>

namespace model {

namespace {

struct Part {
    bool isNumber = false;
    bool isPlain = true; // every parser sees the same value
    uint32_t value = 0;  // modulo 2^32
};

std::vector<std::string> partsOf(const std::string &text) {
    std::vector<std::string> parts(1);
    for (const char character : text) {
        if (character == '.')
            parts.emplace_back();
        else
            parts.back() += character;
    }
    return parts;
}

int digitOf(char character) {
    static constexpr char kDigits[] = "0123456789abcdefABCDEF";
    const char *found = character == '\0' ? nullptr : strchr(kDigits, character);
    if (found == nullptr)
        return -1;
    const auto place = static_cast<int>(found - kDigits);
    return place < 16 ? place : place - 6;
}

// A part that is not empty.
Part judge(const std::string &text) {
    Part part;
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const bool isOctal = !isHexadecimal && text.starts_with("0");
    const int base = isHexadecimal ? 16 : isOctal ? 8 : 10;
    const std::string digits = isHexadecimal ? text.substr(2) : isOctal ? text.substr(1) : text;

    uint64_t value = 0;
    for (const char character : digits) {
        const int digit = digitOf(character);
        if (digit == -1 || digit >= (isHexadecimal ? 16 : 10))
            return part; // octal parts take the digits 8 and 9
        if (digit >= base)
            part.isPlain = false;
        value = value * static_cast<uint64_t>(base) + static_cast<uint64_t>(digit);
        if (value > UINT32_MAX) {
            part.isPlain = false;
            value &= UINT32_MAX;
        }
    }
    if (isHexadecimal && digits.empty())
        part.isPlain = false;
    part.isNumber = true;
    part.value = static_cast<uint32_t>(value);
    return part;
}

// The parts of a numeric address; none for any other text.
std::vector<Part> numericParts(const std::string &text) {
    static constexpr uint32_t kHighestLast[] = {0xFFFFFFFF, 0xFFFFFF, 0xFFFF, 0xFF};
    const std::vector<std::string> texts = partsOf(text);
    if (texts.size() > 4)
        return {};
    std::vector<Part> parts;
    for (const std::string &each : texts) {
        if (each.empty())
            return {};
        parts.push_back(judge(each));
        const uint32_t highest = parts.size() < texts.size() ? 0xFF : kHighestLast[texts.size() - 1];
        if (!parts.back().isNumber || parts.back().value > highest)
            return {};
    }
    return parts;
}

} // namespace

bool isNumericAddress(const std::string &text) {
    return text.empty() || !numericParts(text).empty();
}

std::optional<uint32_t> plainAddress(const std::string &text) {
    const std::vector<Part> parts = numericParts(text);
    if (parts.empty())
        return {};
    uint32_t address = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        if (!parts[i].isPlain)
            return {};
        address |= i + 1 < parts.size() ? parts[i].value << (24 - 8 * i) : parts[i].value;
    }
    return address;
}

std::string dotted(uint32_t address) {
    unsigned char octets[4];
    memcpy(octets, &address, sizeof(octets));
    std::string text = std::to_string(octets[0]);
    for (std::size_t i = 1; i < sizeof(octets); ++i)
        text += "." + std::to_string(octets[i]);
    return text;
}

int32_t number(const std::string &text) {
    if (text.find_first_not_of("0123456789") != std::string::npos)
        return -1;
    int64_t value = 0;
    for (const char character : text) {
        value = value * 10 + (character - '0');
        if (value > INT32_MAX)
            return -1;
    }
    return static_cast<int32_t>(value);
}

int32_t hexDigit(char character) {
    const int digit = digitOf(character);
    return digit == -1 ? 0 : digit;
}

uint32_t hexNumber(const std::string &text) {
    uint32_t value = 0;
    unsigned place = 0;
    for (auto digit = text.rbegin(); digit != text.rend() && place < 32; ++digit, place += 4)
        value |= static_cast<uint32_t>(hexDigit(*digit)) << place;
    return value;
}

std::vector<std::string> tokens(const std::string &text, char delimiter) {
    std::vector<std::string> found;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(delimiter, begin), text.size());
        if (end > begin)
            found.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    if (found.empty())
        found.emplace_back();
    return found;
}

} // namespace model
