// Java has signed ints only, in host byte order: here they become the numbers of records, and back.
#pragma once

#include "rk/wire_types.h"

#include <jni.h>

namespace rk {

inline jint javaInt(int32_t value) {
    return value;
}

inline jint javaInt(uint32_t value) {
    return static_cast<jint>(value);
}

inline jint javaInt(NetworkAddress address) {
    return javaInt(toHost(address));
}

inline jint javaInt(NetworkPort port) {
    return toHost(port);
}

inline NetworkAddress networkAddress(jint value) {
    return toNetworkAddress(static_cast<uint32_t>(value));
}

// Takes the low 16 bits.
inline NetworkPort networkPort(jint value) {
    return toNetworkPort(static_cast<uint16_t>(value));
}

} // namespace rk
