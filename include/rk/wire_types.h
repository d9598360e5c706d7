// The value types of the command records.
//
// A record travels between two programs on one host, so its plain integers are in host byte order. Other values have
// types of their own here, so that the compiler keeps byte orders apart and picks the conversion between a record field
// and its Java field.
#pragma once

#include <cstddef>
#include <cstdint>

namespace rk {

// An IPv4 address; `word` is in network byte order (first octet in the lowest memory byte).
struct NetworkAddress {
    uint32_t word;
};

// A port number; `word` is in network byte order.
struct NetworkPort {
    uint16_t word;
};

// A setting that Java gives as an int and the executor keeps as 64 bits: two host-order words, the high word at the
// lower offset on machines of either byte order. The high word holds only the sign (0 or -1).
struct SplitInt64 {
    int32_t high;
    int32_t low;
};

static_assert(sizeof(NetworkAddress) == 4);
static_assert(sizeof(NetworkPort) == 2);
static_assert(sizeof(SplitInt64) == 8);
static_assert(alignof(SplitInt64) == 4); // records have it at offsets where a native 64-bit integer cannot be

// From network byte order to host byte order, and back.
inline constexpr bool kHostIsLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

constexpr uint32_t toHost(NetworkAddress address) {
    return kHostIsLittleEndian ? __builtin_bswap32(address.word) : address.word;
}

constexpr uint16_t toHost(NetworkPort port) {
    return kHostIsLittleEndian ? __builtin_bswap16(port.word) : port.word;
}

constexpr NetworkAddress toNetworkAddress(uint32_t number) {
    return {toHost(NetworkAddress{number})};
}

constexpr NetworkPort toNetworkPort(uint16_t number) {
    return {toHost(NetworkPort{number})};
}

} // namespace rk

// Checks the offset of a record's field, counted from the start of the block.
#define RK_AT(Record, field, offset) static_assert(offsetof(Record, field) == (offset))
