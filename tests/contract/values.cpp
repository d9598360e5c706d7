#include "contract/values.h"
#include "harness/jvm.h"

#include <gtest/gtest.h>
#include <limits>
#include <variant>

namespace values {

using executor::Bytes;
using executor::Image;

namespace {

using JavaValue = std::variant<std::monostate, jlong, std::string, std::vector<int>>; // the first is null

// What Java holds and what the record holds for it, byte for byte.
struct Sample {
    JavaValue java;
    Bytes record;
};

struct Samples {
    std::vector<Sample> given; // Java gives, the record is to hold
    std::vector<Sample> held;  // the record holds, Java is to get
};

// --- Numbers ---------------------------------------------------------------------------------------------------------

constexpr jint kLeast = std::numeric_limits<jint>::min();
constexpr jint kMost = std::numeric_limits<jint>::max();

Bytes word(uint64_t value) {
    return Image(4).word(0, static_cast<uint32_t>(value)).bytes;
}

Bytes twoWords(uint64_t value) {
    return Image(8).word(0, static_cast<uint32_t>(value >> 32)).word(4, static_cast<uint32_t>(value)).bytes;
}

Bytes quad(uint64_t value) {
    return Image(8).quad(0, value).bytes;
}

Bytes half(uint64_t value) {
    return Image(2).half(0, static_cast<uint16_t>(value)).bytes;
}

Bytes networkHalf(uint64_t value) {
    return {static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value)};
}

Bytes byte(uint64_t value) {
    return {static_cast<uint8_t>(value)};
}

struct Number {
    jlong java;
    uint64_t record;
};

struct NumberKind {
    Kind kind;
    Bytes (*bytes)(uint64_t record);
    std::vector<Number> given; // four at the least, for the four values of one setting are to differ
    std::vector<Number> held;
};

const NumberKind kNumbers[] = {
    {Kind::intWord,
     word,
     {{0x01020304, 0x01020304}, {-3, 0xFFFFFFFD}, {kLeast, 0x80000000}, {kMost, 0x7FFFFFFF}, {0, 0}},
     {{0x11121314, 0x11121314}, {-2, 0xFFFFFFFE}, {kLeast, 0x80000000}}},
    {Kind::intTwoWords,
     twoWords,
     {{300, 300}, {-300, 0xFFFFFFFFFFFFFED4}, {kLeast, 0xFFFFFFFF80000000}, {kMost, 0x7FFFFFFF}, {0, 0}},
     {{0x11121314, 0x11121314}, {-60, 0x1FFFFFFC4}, {5, 0xFFFFFFFF00000005}}},
    {Kind::intQuad,
     quad,
     {{300, 300}, {-1, 0xFFFFFFFFFFFFFFFF}, {kLeast, 0xFFFFFFFF80000000}, {kMost, 0x7FFFFFFF}, {0, 0}},
     {{0x11121314, 0x11121314}, {60, 0x10000003C}, {-1, 0xFFFFFFFFFFFFFFFF}}},
    {Kind::longQuad, quad, {}, {{0x0102030405060708, 0x0102030405060708}, {-0x7FFFFFFF00000000, 0x8000000100000000}}},
    // What must not be negative to be taken has no negative samples.
    {Kind::intSignedHalf,
     half,
     {{0x18014, 0x8014}, {20, 20}, {0x1FFFF, 0xFFFF}, {0, 0}},
     {{0x1314, 0x1314}, {-1, 0xFFFF}, {-32767, 0x8001}}},
    {Kind::intHalf, half, {{0x12345, 0x2345}, {20, 20}, {-1, 0xFFFF}, {0, 0}}, {{0x1314, 0x1314}, {0xFFFF, 0xFFFF}}},
    {Kind::intPort,
     networkHalf,
     {{80, 80}, {0x21234, 0x1234}, {65535, 65535}, {0, 0}},
     {{0x1314, 0x1314}, {65535, 65535}}},
    {Kind::intByte, byte, {{0x1FE, 0xFE}, {3, 3}, {-1, 0xFF}, {0, 0}}, {{0x13, 0x13}, {0xFE, 0xFE}}},
    {Kind::intWordOfOneByte,
     word,
     {{0x21222324, 0x21222324}, {-2, 0xFFFFFFFE}, {3, 3}, {0, 0}},
     {{-16, 0x123456F0}, {0x7F, 0x17F}}},
    {Kind::charByte, byte, {{0x2F1, 0xF1}, {3, 3}, {0xFFFF, 0xFF}, {0, 0}}, {{0x13, 0x13}, {200, 200}, {0xFF, 0xFF}}},
    {Kind::charSignedByte,
     byte,
     {{0x2F1, 0xF1}, {3, 3}, {0xFFFF, 0xFF}, {0, 0}},
     {{0x13, 0x13}, {0xFF80, 0x80}, {0x7F, 0x7F}}},
    {Kind::byteByte, byte, {{-7, 0xF9}, {3, 3}, {-128, 0x80}, {0, 0}}, {{7, 7}, {-7, 0xF9}, {-128, 0x80}}},
    {Kind::byteWord, word, {{-2, 0xFFFFFFFE}, {3, 3}, {-128, 0xFFFFFF80}, {0, 0}}, {{-2, 0x123456FE}, {1, 0x12345601}}},
};

std::vector<Sample> samplesOf(const NumberKind &kind, const std::vector<Number> &numbers) {
    std::vector<Sample> samples;
    for (const Number &number : numbers)
        samples.push_back({number.java, kind.bytes(number.record)});
    return samples;
}

Samples numbersOf(Kind kind) {
    for (const NumberKind &row : kNumbers)
        if (row.kind == kind)
            return {samplesOf(row, row.given), samplesOf(row, row.held)};
    ADD_FAILURE() << "a kind without samples";
    return {};
}

// --- Others ----------------------------------------------------------------------------------------------------------

Samples addresses() {
    const Sample resolved = {"192.0.2.7", {192, 0, 2, 7}};
    return {{{"10.9.8.7", {10, 9, 8, 7}}, {"balancer.example", resolved.record}, {{}, {0, 0, 0, 0}}},
            {{"10.0.0.6", {10, 0, 0, 6}}, resolved}};
}

// A text with its terminator, or, when it fills its field, without.
Bytes textBytes(const std::string &text, std::size_t size) {
    Bytes bytes(text.begin(), text.end());
    if (bytes.size() < size)
        bytes.push_back(0);
    return bytes;
}

Samples texts(std::size_t size) {
    Samples samples;
    for (const std::string &text : {std::string("HEAD /"), std::string(size - 1, 'g'), std::string()})
        samples.given.push_back({text, textBytes(text, size)});
    samples.given.push_back({{}, {0}});
    for (const std::string &text : {std::string("200 OK"), std::string(size, 'h'), std::string()})
        samples.held.push_back({text, textBytes(text, size)});
    return samples;
}

Samples byteArrays(std::size_t size) {
    std::vector<Sample> samples;
    for (const unsigned first : {10u, 110u}) {
        std::vector<int> java;
        Bytes record;
        for (std::size_t i = 0; i < size; ++i) {
            record.push_back(static_cast<uint8_t>(first + 37 * i));
            java.push_back(static_cast<int8_t>(record.back()));
        }
        samples.push_back({java, record});
    }
    return {samples, samples};
}

Samples samplesOf(const Value &value) {
    switch (value.kind) {
    case Kind::address:
        return addresses();
    case Kind::text:
        return texts(value.size);
    case Kind::bytes:
        return byteArrays(value.size);
    default:
        return numbersOf(value.kind);
    }
}

const Sample &pick(const std::vector<Sample> &samples, std::size_t number) {
    return samples[number % samples.size()];
}

// --- Java's side -----------------------------------------------------------------------------------------------------

void setJava(jobject object, const Value &value, const JavaValue &java) {
    const auto number = static_cast<jint>(std::holds_alternative<jlong>(java) ? std::get<jlong>(java) : 0);
    switch (value.kind) {
    case Kind::address:
    case Kind::text:
        if (java.index() == 0)
            return java::setNull(object, value.name, "Ljava/lang/String;");
        return java::setString(object, value.name, std::get<std::string>(java));
    case Kind::bytes:
        return java::setObject(object, value.name, "[B", java::makeByteArray(std::get<std::vector<int>>(java)));
    case Kind::charByte:
    case Kind::charSignedByte:
        return java::setChar(object, value.name, number);
    case Kind::byteByte:
    case Kind::byteWord:
        return java::setByte(object, value.name, number);
    default:
        return java::setInt(object, value.name, number);
    }
}

JavaValue getJava(jobject object, const Value &value) {
    switch (value.kind) {
    case Kind::address:
    case Kind::text:
        return java::getString(object, value.name);
    case Kind::bytes:
        return java::getBytes(object, value.name);
    case Kind::charByte:
    case Kind::charSignedByte:
        return jlong{java::getChar(object, value.name)};
    case Kind::byteByte:
    case Kind::byteWord:
        return jlong{java::getByte(object, value.name)};
    case Kind::longQuad:
        return java::getLong(object, value.name);
    default:
        return jlong{java::getInt(object, value.name)};
    }
}

void put(Image &image, const Value &value, const Sample &sample) {
    for (std::size_t i = 0; i < sample.record.size(); ++i)
        image.byte(value.offset + i, sample.record[i]);
}

} // namespace

std::size_t givenSamples(const Value &value) {
    return value.kind == Kind::elsewhere ? 0 : samplesOf(value).given.size();
}

void give(jobject object, const Value &value, std::size_t sample) {
    if (value.kind != Kind::elsewhere)
        setJava(object, value, pick(samplesOf(value).given, sample).java);
}

void expectGiven(Image &image, const Value &value, std::size_t sample) {
    if (value.kind != Kind::elsewhere)
        put(image, value, pick(samplesOf(value).given, sample));
}

std::size_t heldSamples(const Value &value) {
    return value.kind == Kind::elsewhere ? 0 : samplesOf(value).held.size();
}

void hold(Image &image, const Value &value, std::size_t sample) {
    if (value.kind != Kind::elsewhere)
        put(image, value, pick(samplesOf(value).held, sample));
}

void expectRead(jobject object, const Value &value, std::size_t sample) {
    if (value.kind != Kind::elsewhere) {
        EXPECT_EQ(getJava(object, value), pick(samplesOf(value).held, sample).java);
    }
}

} // namespace values
