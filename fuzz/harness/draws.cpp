#include "fuzz/harness/draws.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace fuzz {

namespace {

// Limits of ports, weights, counts, records and types.
constexpr int32_t kEdges[] = {0,         1,
                              2,         3,
                              -1,        -2,
                              7,         8,
                              9,         10,
                              16,        19,
                              20,        21,
                              29,        30,
                              31,        32,
                              33,        43,
                              47,        48,
                              63,        64,
                              65,        80,
                              99,        100,
                              101,       127,
                              128,       129,
                              254,       255,
                              256,       257,
                              443,       1599,
                              1600,      1999,
                              2000,      2001,
                              2999,      3000,
                              3001,      5333,
                              5334,      7996,
                              7997,      9999,
                              10000,     32767,
                              32768,     65534,
                              65535,     65536,
                              65537,     70000,
                              -99,       -32768,
                              1 << 20,   INT32_MAX - 1,
                              INT32_MAX, INT32_MIN,
                              11,        12};

constexpr uint8_t kAnyNumber = 0x80; // from here on, the bytes that follow are the number

// Addresses of all kinds, host names, identifiers, names of interfaces, and what a shell or printf would act on.
constexpr const char *kTexts[] = {"",
                                  "web",
                                  "10.0.0.5",
                                  "10.0.0.1",
                                  "192.168.1.77",
                                  "255.255.255.255",
                                  "0.0.0.0",
                                  "1.2.3",
                                  "1.2.3.4.5",
                                  "256.1.1.1",
                                  "0x0A.1.2.3",
                                  "012.1.1.1",
                                  "0x",
                                  "4294967295",
                                  "99999999999999999999",
                                  "balancer.example",
                                  "nowhere.example",
                                  "80",
                                  "0",
                                  "65535",
                                  "65536",
                                  "-1",
                                  "eth0",
                                  "eth0:1",
                                  "lo",
                                  ":",
                                  "eth0; reboot",
                                  "$(reboot)",
                                  "a b",
                                  "`id`",
                                  "%s%n%d",
                                  "01x01x01",
                                  "0101",
                                  "\xC0\x80",
                                  "\xC3\xA9t\xC3\xA9"};

// Lengths at and around the limits of names, fields, lines, records and the block.
constexpr uint32_t kLengths[] = {1,   19,  20,   21,   39,   40,    63,    64,    65,    67,    68,    79,
                                 80,  99,  100,  101,  105,  106,   107,   254,   255,   256,   257,   300,
                                 512, 999, 1952, 4096, 9999, 10000, 64000, 64016, 65536, 96048, 100000};

constexpr uint8_t kNullText = 1;
constexpr uint8_t kLongText = 2;
constexpr uint8_t kFirstKnownText = 3;
constexpr uint8_t kAnyText = 0x80;

} // namespace

bool isOver(const Draws &draws) {
    return draws.input->begin == draws.input->end;
}

uint8_t drawByte(const Draws &draws) {
    if (isOver(draws))
        return 0;
    return draws.side == Side::front ? *draws.input->begin++ : *--draws.input->end;
}

uint16_t drawHalf(const Draws &draws) {
    const uint8_t low = drawByte(draws);
    return static_cast<uint16_t>(low | drawByte(draws) << 8);
}

uint32_t drawWord(const Draws &draws) {
    const uint32_t low = drawHalf(draws);
    return low | uint32_t{drawHalf(draws)} << 16;
}

uint32_t drawBelow(const Draws &draws, uint32_t bound) {
    return (bound <= 256 ? drawByte(draws) : drawHalf(draws)) % bound;
}

int32_t drawNumber(const Draws &draws, int32_t ordinary) {
    const uint8_t choice = drawByte(draws);
    if (choice == 0)
        return ordinary;
    if (choice >= kAnyNumber)
        return static_cast<int32_t>(drawWord(draws));
    return kEdges[(choice - 1) % std::size(kEdges)];
}

std::string drawBytes(const Draws &draws) {
    std::string text;
    for (uint8_t left = drawByte(draws); left > 0 && !isOver(draws); --left) {
        const uint8_t byte = drawByte(draws);
        text += static_cast<char>(byte == 0 ? '0' : byte);
    }
    return text;
}

std::optional<std::string> drawText(const Draws &draws, const std::string &ordinary) {
    const uint8_t choice = drawByte(draws);
    if (choice == 0)
        return ordinary;
    if (choice == kNullText)
        return {};
    if (choice == kLongText)
        return std::string(kLengths[drawBelow(draws, std::size(kLengths))], 'x');
    if (choice >= kAnyText)
        return drawBytes(draws);
    return kTexts[(choice - kFirstKnownText) % std::size(kTexts)];
}

void finding(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    fputs("FINDING: ", stderr);
    vfprintf(stderr, format, arguments); // NOLINT(clang-analyzer-valist.Uninitialized)
    fputc('\n', stderr);
    va_end(arguments);
    abort();
}

} // namespace fuzz

// Many small allocations are made and freed: short call stacks and a small quarantine make that cheap, and a fuzzer
// without them would mostly keep books.
extern "C" const char *__asan_default_options();
const char *__asan_default_options() {
    return "allocator_may_return_null=1:malloc_context_size=6:quarantine_size_mb=16:detect_stack_use_after_return=0";
}
