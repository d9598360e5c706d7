// The character device /dev/NAME, which this process serves through the kernel's CUSE.
#pragma once

#include "executor/state/state.h"

#include <string>

struct fuse_session;

namespace rk {

struct CuseDevice {
    fuse_session *session = nullptr; // null: there is no device
    int channel = -1;                // the open /dev/cuse, which belongs to the session
    std::string mistake;             // why there is none, or why it cannot go on
};

// Makes the device /dev/NAME; `state`, which has to outlive it, answers the commands. The device is there when this
// returns.
CuseDevice openDevice(const std::string &name, ExecutorState &state);

// Answers what comes to the device until `signals` can be read. False when that cannot go on: `mistake` says why.
bool serveDevice(CuseDevice &device, int signals);

// Removes the device. Callers that wait in an ioctl get an error.
void closeDevice(CuseDevice &device);

} // namespace rk
