// Turns texts into addresses and numbers, and back. What is accepted differs in small ways from the system's own
// parsers: Java servers depend on exactly these rules.
#include "library/support/CMNImpUtils.h"
#include "library/support/owners.h"
#include "rk/reasons.h"

#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <netdb.h>

namespace {

int32_t digitValue(char character, uint32_t base) {
    if (character >= '0' && character <= '9')
        return character - '0'; // 8 and 9 are digits in base 8 too
    if (base == 16 && character >= 'a' && character <= 'f')
        return character - 'a' + 10;
    if (base == 16 && character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    return -1;
}

// Reads one part of a numeric address, and moves the cursor behind it. The value wraps at 32 bits.
uint32_t readPart(const char **cursor) {
    uint32_t base = 10;
    if (**cursor == '0') {
        ++*cursor;
        base = 8;
        if (**cursor == 'x' || **cursor == 'X') {
            ++*cursor;
            base = 16;
        }
    }
    uint32_t value = 0;
    for (int32_t digit = digitValue(**cursor, base); digit >= 0; digit = digitValue(**cursor, base)) {
        value = value * base + static_cast<uint32_t>(digit);
        ++*cursor;
    }
    return value;
}

} // namespace

int32_t isinet_addr(const char *text) {
    constexpr int kMostDots = 3;
    // The highest last part by the number of dots before it: the last part fills the remaining bytes.
    constexpr uint32_t kLastPartMost[kMostDots + 1] = {0xFFFFFFFF, 0xFFFFFF, 0xFFFF, 0xFF};
    int dots = 0;
    uint32_t part = 0;
    const char *cursor = text;
    while (*cursor != '\0') {
        part = readPart(&cursor);
        if (*cursor != '.')
            break;
        if (cursor == text || cursor[-1] == '.' || cursor[1] == '\0' || part > 0xFF || dots == kMostDots)
            return 0;
        ++dots;
        ++cursor;
    }
    if (*cursor != '\0')
        return 0;
    return part <= kLastPartMost[dots] ? 1 : 0;
}

int32_t ip_stol(const char *text, uint32_t *address) {
    if (isinet_addr(text) != 0) {
        *address = inet_addr(text);
        if (*address != INADDR_NONE)
            return 0;
    } else if (const hostent *host = gethostbyname(text); host != nullptr) {
        std::memcpy(address, host->h_addr_list[0], sizeof(*address));
        return 0;
    }
    errno = EINVAL;
    return 1;
}

int32_t JStringFieldToAddr(JNIEnv *env, jobject obj, const char *name, uint32_t *address) {
    const rk::LocalReference string(env, rk::stringFromJava(env, obj, name));
    const rk::Characters characters(env, string.reference);
    return characters.text == nullptr || ip_stol(characters.text, address) == 0 ? 0 : rk::kStatusBadAddress;
}

int32_t getAddress(uint32_t address, char *text) {
    uint8_t octets[4];
    std::memcpy(octets, &address, sizeof(octets));
    // Reports have many addresses, and sprintf would take several times as long.
    char *end = text;
    for (const uint8_t octet : octets) {
        end = std::to_chars(end, end + 3, octet).ptr;
        *end++ = '.';
    }
    *--end = '\0';
    return static_cast<int32_t>(end - text);
}

int32_t get_number(const char *text) {
    int32_t value = 0;
    for (; *text != '\0'; ++text) {
        const int32_t digit = digitValue(*text, 10);
        if (digit < 0 || value > (INT32_MAX - digit) / 10)
            return -1;
        value = value * 10 + digit;
    }
    return value;
}

int32_t hexCharToInt(const char *character) {
    const int32_t value = digitValue(*character, 16);
    return value < 0 ? 0 : value;
}

uint32_t hexStringToInt(const char *text) {
    uint32_t value = 0;
    for (; *text != '\0'; ++text)
        value = value * 16 + static_cast<uint32_t>(hexCharToInt(text));
    return value;
}

char *CMN_szStrtok(char *text, char delimiter, char **save) {
    if (text != nullptr) {
        *save = text;
        while (**save != '\0' && **save == delimiter)
            ++*save;
    } else if (**save == '\0') {
        return nullptr;
    }
    char *token = *save;
    while (**save != '\0' && **save != delimiter)
        ++*save;
    if (**save == '\0')
        return token;
    *(*save)++ = '\0';
    while (**save != '\0' && **save == delimiter)
        ++*save;
    return token;
}
