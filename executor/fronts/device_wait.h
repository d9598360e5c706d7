// What the program around the device waits for.
#pragma once

#include <cstdint>
#include <string>

namespace rk {

enum class DeviceEvent : uint8_t {
    message, // the kernel has a message on the device
    signal,  // a signal has come
    failure, // there is nothing left to wait for, and `mistake` says why
};

// Waits for the next event; a signal comes first. `channel` is the open /dev/cuse, `signals` a descriptor that can be
// read when a signal has come.
DeviceEvent awaitEvent(int channel, int signals, std::string &mistake);

} // namespace rk
