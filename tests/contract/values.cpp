#include "contract/values.h"
#include "harness/jvm.h"

#include <gtest/gtest.h>
#include <limits>

namespace values {

using executor::Image;

namespace {

constexpr jint kLeast = std::numeric_limits<jint>::min();
constexpr jint kMost = std::numeric_limits<jint>::max();

struct Given {
    jint java;
    uint64_t record;
};

struct Held {
    uint64_t record;
    jlong java;
};

struct Number {
    Kind kind;
    void (*give)(jobject object, const char *name, jint value);
    jlong (*get)(jobject object, const char *name);
    void (*put)(Image &image, std::size_t offset, uint64_t value);
    std::vector<Given> given; // four at the least, for the four values of one setting are to differ
    std::vector<Held> held;
};

void setChar(jobject object, const char *name, jint value) {
    java::setChar(object, name, value);
}

void setByte(jobject object, const char *name, jint value) {
    java::setByte(object, name, value);
}

jlong getInt(jobject object, const char *name) {
    return java::getInt(object, name);
}

jlong getChar(jobject object, const char *name) {
    return java::getChar(object, name);
}

jlong getByte(jobject object, const char *name) {
    return java::getByte(object, name);
}

void putWord(Image &image, std::size_t offset, uint64_t value) {
    image.word(offset, static_cast<uint32_t>(value));
}

void putTwoWords(Image &image, std::size_t offset, uint64_t value) {
    image.word(offset, static_cast<uint32_t>(value >> 32)).word(offset + 4, static_cast<uint32_t>(value));
}

void putQuad(Image &image, std::size_t offset, uint64_t value) {
    image.quad(offset, value);
}

void putHalf(Image &image, std::size_t offset, uint64_t value) {
    image.half(offset, static_cast<uint16_t>(value));
}

void putPort(Image &image, std::size_t offset, uint64_t value) {
    image.byte(offset, static_cast<uint8_t>(value >> 8)).byte(offset + 1, static_cast<uint8_t>(value));
}

void putByte(Image &image, std::size_t offset, uint64_t value) {
    image.byte(offset, static_cast<uint8_t>(value));
}

const Number kNumbers[] = {
    {Kind::intWord,
     java::setInt,
     getInt,
     putWord,
     {{0x01020304, 0x01020304}, {-3, 0xFFFFFFFD}, {kLeast, 0x80000000}, {kMost, 0x7FFFFFFF}, {0, 0}},
     {{0x11121314, 0x11121314}, {0xFFFFFFFE, -2}, {0x80000000, kLeast}}},
    {Kind::intTwoWords,
     java::setInt,
     getInt,
     putTwoWords,
     {{300, 300}, {-300, 0xFFFFFFFFFFFFFED4}, {kLeast, 0xFFFFFFFF80000000}, {kMost, 0x7FFFFFFF}, {0, 0}},
     {{0x11121314, 0x11121314}, {0x1FFFFFFC4, -60}, {0xFFFFFFFF00000005, 5}}},
    {Kind::intQuad,
     java::setInt,
     getInt,
     putQuad,
     {{300, 300}, {-1, 0xFFFFFFFFFFFFFFFF}, {kLeast, 0xFFFFFFFF80000000}, {kMost, 0x7FFFFFFF}, {0, 0}},
     {{0x11121314, 0x11121314}, {0x10000003C, 60}, {0xFFFFFFFFFFFFFFFF, -1}}},
    {Kind::longQuad,
     nullptr,
     java::getLong,
     putQuad,
     {},
     {{0x0102030405060708, 0x0102030405060708}, {0x8000000100000000, -0x7FFFFFFF00000000}}},
    // What must not be negative to be taken has no negative samples.
    {Kind::intSignedHalf,
     java::setInt,
     getInt,
     putHalf,
     {{0x18014, 0x8014}, {20, 20}, {0x1FFFF, 0xFFFF}, {0, 0}},
     {{0x1314, 0x1314}, {0xFFFF, -1}, {0x8001, -32767}}},
    {Kind::intHalf,
     java::setInt,
     getInt,
     putHalf,
     {{0x12345, 0x2345}, {20, 20}, {-1, 0xFFFF}, {0, 0}},
     {{0x1314, 0x1314}, {0xFFFF, 65535}}},
    {Kind::intPort,
     java::setInt,
     getInt,
     putPort,
     {{80, 80}, {0x21234, 0x1234}, {65535, 65535}, {0, 0}},
     {{0x1314, 0x1314}, {65535, 65535}}},
    {Kind::intByte,
     java::setInt,
     getInt,
     putByte,
     {{0x1FE, 0xFE}, {3, 3}, {-1, 0xFF}, {0, 0}},
     {{0x13, 0x13}, {0xFE, 0xFE}}},
    {Kind::intWordOfOneByte,
     java::setInt,
     getInt,
     putWord,
     {{0x21222324, 0x21222324}, {-2, 0xFFFFFFFE}, {3, 3}, {0, 0}},
     {{0x123456F0, -16}, {0x17F, 0x7F}}},
    {Kind::charByte,
     setChar,
     getChar,
     putByte,
     {{0x2F1, 0xF1}, {3, 3}, {0xFFFF, 0xFF}, {0, 0}},
     {{0x13, 0x13}, {200, 200}, {0xFF, 0xFF}}},
    {Kind::charSignedByte,
     setChar,
     getChar,
     putByte,
     {{0x2F1, 0xF1}, {3, 3}, {0xFFFF, 0xFF}, {0, 0}},
     {{0x13, 0x13}, {0x80, 0xFF80}, {0x7F, 0x7F}}},
    {Kind::byteByte,
     setByte,
     getByte,
     putByte,
     {{-7, 0xF9}, {3, 3}, {-128, 0x80}, {0, 0}},
     {{7, 7}, {0xF9, -7}, {0x80, -128}}},
    {Kind::byteWord,
     setByte,
     getByte,
     putWord,
     {{-2, 0xFFFFFFFE}, {3, 3}, {-128, 0xFFFFFF80}, {0, 0}},
     {{0x123456FE, -2}, {0x12345601, 1}}},
};

const Number &numberOf(Kind kind) {
    for (const Number &number : kNumbers)
        if (number.kind == kind)
            return number;
    ADD_FAILURE() << "not a number";
    return kNumbers[0];
}

struct Address {
    const char *java; // null: no text
    const char *record;
};

constexpr Address kGivenAddresses[] = {
    {"10.9.8.7", "0a090807"}, {"balancer.example", "c0000207"}, {nullptr, "00000000"}};
constexpr Address kHeldAddresses[] = {{"10.0.0.6", "0a000006"}, {"192.0.2.7", "c0000207"}};

constexpr std::size_t kGivenTexts = 4;
constexpr std::size_t kHeldTexts = 3;

// The text that Java gives for a field of this size: a short one, the longest with a terminator, an empty one.
std::string givenText(std::size_t size, std::size_t sample) {
    const std::string texts[] = {"HEAD /", std::string(size - 1, 'g'), ""};
    return texts[sample];
}

// A text as the record holds it: the second has no terminator and ends with its field.
std::string heldText(std::size_t size, std::size_t sample) {
    const std::string texts[] = {"200 OK", std::string(size, 'h'), ""};
    return texts[sample];
}

constexpr std::size_t kBytesSamples = 2;

int byteOf(std::size_t index, std::size_t sample) {
    return static_cast<int8_t>(10 + 37 * index + 100 * sample);
}

std::vector<int> bytesOf(const Value &value, std::size_t sample) {
    std::vector<int> result;
    for (std::size_t i = 0; i < value.size; ++i)
        result.push_back(byteOf(i, sample));
    return result;
}

void putBytes(Image &image, const Value &value, std::size_t sample) {
    for (std::size_t i = 0; i < value.size; ++i)
        image.byte(value.offset + i, static_cast<uint8_t>(byteOf(i, sample)));
}

void setString(jobject object, const char *name, const char *text) {
    if (text == nullptr)
        java::setNull(object, name, "Ljava/lang/String;");
    else
        java::setString(object, name, text);
}

} // namespace

std::size_t givenSamples(Kind kind) {
    switch (kind) {
    case Kind::address:
        return std::size(kGivenAddresses);
    case Kind::text:
        return kGivenTexts;
    case Kind::bytes:
        return kBytesSamples;
    case Kind::elsewhere:
        return 1;
    default:
        return numberOf(kind).given.size();
    }
}

void give(jobject object, const Value &value, std::size_t sample) {
    sample %= givenSamples(value.kind);
    switch (value.kind) {
    case Kind::address:
        return setString(object, value.name, kGivenAddresses[sample].java);
    case Kind::text:
        if (sample == kGivenTexts - 1)
            return setString(object, value.name, nullptr);
        return java::setString(object, value.name, givenText(value.size, sample));
    case Kind::bytes:
        return java::setObject(object, value.name, "[B", java::makeByteArray(bytesOf(value, sample)));
    case Kind::elsewhere:
        return;
    default:
        const Number &number = numberOf(value.kind);
        number.give(object, value.name, number.given[sample].java);
    }
}

void expectGiven(Image &image, const Value &value, std::size_t sample) {
    sample %= givenSamples(value.kind);
    switch (value.kind) {
    case Kind::address:
        image.hex(value.offset, kGivenAddresses[sample].record);
        return;
    case Kind::text:
        image.text(value.offset, sample == kGivenTexts - 1 ? "" : givenText(value.size, sample));
        return;
    case Kind::bytes:
        return putBytes(image, value, sample);
    case Kind::elsewhere:
        return;
    default:
        const Number &number = numberOf(value.kind);
        number.put(image, value.offset, number.given[sample].record);
    }
}

std::size_t heldSamples(Kind kind) {
    switch (kind) {
    case Kind::address:
        return std::size(kHeldAddresses);
    case Kind::text:
        return kHeldTexts;
    case Kind::bytes:
        return kBytesSamples;
    case Kind::elsewhere:
        return 1;
    default:
        return numberOf(kind).held.size();
    }
}

void hold(Image &image, const Value &value, std::size_t sample) {
    sample %= heldSamples(value.kind);
    switch (value.kind) {
    case Kind::address:
        image.hex(value.offset, kHeldAddresses[sample].record);
        return;
    case Kind::text: {
        const std::string text = heldText(value.size, sample);
        for (std::size_t i = 0; i < value.size && i <= text.size(); ++i)
            image.byte(value.offset + i, i < text.size() ? static_cast<uint8_t>(text[i]) : 0);
        return;
    }
    case Kind::bytes:
        return putBytes(image, value, sample);
    case Kind::elsewhere:
        return;
    default:
        const Number &number = numberOf(value.kind);
        number.put(image, value.offset, number.held[sample].record);
    }
}

void expectRead(jobject object, const Value &value, std::size_t sample) {
    sample %= heldSamples(value.kind);
    switch (value.kind) {
    case Kind::address:
        EXPECT_EQ(java::getString(object, value.name), kHeldAddresses[sample].java);
        return;
    case Kind::text:
        EXPECT_EQ(java::getString(object, value.name), heldText(value.size, sample));
        return;
    case Kind::bytes:
        EXPECT_EQ(java::getBytes(object, value.name), bytesOf(value, sample));
        return;
    case Kind::elsewhere:
        return;
    default:
        const Number &number = numberOf(value.kind);
        EXPECT_EQ(number.get(object, value.name), number.held[sample].java);
    }
}

} // namespace values
