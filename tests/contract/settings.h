// How Java objects and records hold settings: what tables of settings are made of.
#pragma once

#include <cstddef>

namespace values {

// How Java holds a value, then how the record does.
enum class Kind {
    intWord,          // int; 32 bits
    intTwoWords,      // int; the word with its sign first, then its own word, which alone is read
    intQuad,          // int; 64 bits, whose low half is read
    longQuad,         // long, read only; 64 bits
    intSignedHalf,    // int; 16 bits, read with their sign
    intHalf,          // int; 16 bits, read without
    intPort,          // int; 16 bits in network byte order
    intByte,          // int; 8 bits, read without their sign
    intWordOfOneByte, // int; 32 bits, whose low byte is read, with its sign
    charByte,         // char; 8 bits, read without their sign
    charSignedByte,   // char; 8 bits, read with their sign
    byteByte,         // byte; 8 bits
    byteWord,         // byte; 32 bits with its sign, whose low byte is read
    address,          // String; 4 bytes in network byte order
    text,             // String; text
    bytes,            // byte[]; the same bytes
    elsewhere,        // what the library looks up here and other tests look at
};

struct Value {
    const char *name; // the Java field
    Kind kind;
    std::size_t offset = 0; // in the record
    int place = 0;          // among the fields that reading sets, from 1; 0 when it does not set this one
    std::size_t size = 0;   // of a text's field, or of bytes
};

} // namespace values

// A change flag: where the record holds it, and its place among those that go back to Java, from 1; 0 when it does not.
struct Flag {
    const char *name;
    std::size_t offset;
    int back = 0;
};

// A setting of one value.
struct OneValueSetting {
    Flag flag;
    values::Value value;
};
