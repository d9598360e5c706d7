// What the diagnostic texts share.
#pragma once

#include "rk/wire_types.h"

#include <arpa/inet.h>
#include <jni.h>

// An address of the format "%d.%d.%d.%d": the bytes of a host-order word, most significant first.
#define RK_OCTETS(word) ((word) >> 24) & 0xFF, ((word) >> 16) & 0xFF, ((word) >> 8) & 0xFF, (word)&0xFF

namespace rk {

inline constexpr char kKernelError[] = "Error with kernel.\n";

// How many entries of a reply may be read: the executor's count, within the record's room.
inline int entriesWithin(int64_t count, int room) {
    if (count < 0)
        return 0;
    return count < room ? static_cast<int>(count) : room;
}

template <typename Entry, std::size_t Room> int entriesWithin(int64_t count, const Entry (&)[Room]) {
    return entriesWithin(count, static_cast<int>(Room));
}

// Seconds from a stamp to the executor's now; 0 for a record that was never stamped.
inline int32_t ageOf(uint32_t firstTime, uint32_t stamp, uint32_t now) {
    return firstTime == 0 && stamp == 0 ? 0 : static_cast<int32_t>(now - stamp);
}

inline uint32_t hostOrder(NetworkAddress address) {
    return ntohl(address.word);
}

inline NetworkAddress networkOrder(jint address) {
    return {htonl(static_cast<uint32_t>(address))};
}

} // namespace rk
