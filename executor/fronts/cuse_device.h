// A character device of this process, by the kernel's CUSE.
#pragma once

#include "executor/state/state.h"

#include <string>

struct fuse_session;

namespace rk {

struct CuseDevice {
    fuse_session *session = nullptr; // null: there is no device
    int channel = -1;                // the open /dev/cuse, which belongs to the session
    std::string mistake;             // why there is none
};

// Makes the device /dev/NAME, at which `state` answers. It is there when this returns; `state` is to outlive it.
CuseDevice openDevice(const std::string &name, ExecutorState &state);

// Answers what comes to the device until `stopDescriptor` can be read. False when the kernel took the device away.
bool serveDevice(const CuseDevice &device, int stopDescriptor);

// Removes the device; callers that wait in an ioctl get an error.
void closeDevice(CuseDevice &device);

} // namespace rk
