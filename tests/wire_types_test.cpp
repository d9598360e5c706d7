// Numbers in host byte order and what stands in network byte order.
#include "rk/wire_types.h"

#include <cstring>
#include <gtest/gtest.h>
#include <vector>

namespace {

using rk::NetworkAddress;
using rk::NetworkPort;

static_assert(toHost(rk::toNetworkAddress(0x0A000005)) == 0x0A000005);
static_assert(toHost(rk::toNetworkPort(443)) == 443);
static_assert(sizeof(toHost(NetworkAddress{})) == 4 && sizeof(toHost(NetworkPort{})) == 2);

template <typename Value> std::vector<int> bytesOf(const Value &value) {
    unsigned char bytes[sizeof(value)];
    memcpy(bytes, &value, sizeof(value));
    return {bytes, bytes + sizeof(value)};
}

TEST(WireTypesTest, TheFirstOctetComesFirstInMemory) {
    EXPECT_EQ(bytesOf(rk::toNetworkAddress(0x0A000005)), std::vector<int>({10, 0, 0, 5}));
    EXPECT_EQ(bytesOf(rk::toNetworkAddress(0xFFFEFDFC)), std::vector<int>({255, 254, 253, 252}));
    EXPECT_EQ(bytesOf(rk::toNetworkPort(0x01BB)), std::vector<int>({0x01, 0xBB}));
    EXPECT_EQ(bytesOf(rk::toNetworkPort(0xFF00)), std::vector<int>({0xFF, 0x00}));
}

TEST(WireTypesTest, NumbersComeBackAsTheyWere) {
    for (const uint32_t number : {0u, 1u, 0x0A000005u, 0x80000000u, 0x12345678u, 0xFFFFFFFFu})
        EXPECT_EQ(toHost(rk::toNetworkAddress(number)), number);
    for (int number = 0; number <= 65535; ++number)
        EXPECT_EQ(toHost(rk::toNetworkPort(static_cast<uint16_t>(number))), number);
}

} // namespace
