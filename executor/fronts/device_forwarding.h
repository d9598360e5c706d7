// Forwarding by the kernel, as far as this program and this machine can.
#pragma once

#include "executor/availability/availability.h"
#include "executor/forwarding/forwarding.h"
#include "executor/fronts/device_options.h"

namespace rk {

struct DeviceForwarding {
    Forwarding forwarding;
    bool copiesConnections = false;
    std::string words; // what the kernel was changed to, why it does not forward, or nothing
};

// Begins to forward as the options want it. False when they want what cannot be had; `words` tell why. When forwarding
// is not asked for in so many words, it is done without, and `words` tell that. What is told is in the log as well.
bool beginDeviceForwarding(const DeviceOptions &options, ExecutorState &state, DeviceForwarding &forwarding);

// Drains the program that forwards on this machine, or has it announce again. Waits until that is done, and returns
// whether it is; `words` tell.
bool changeAnnouncement(DeviceAction action, std::string &words);

// Where the program keeps what has to outlive it: a service's own folder, or /run/qelxwd.
std::string runtimeFolder();

// How the kernel's load balancer copies connections to the partner; null procedures where it is not built in.
ConnectionCopies kernelCopies();

void endDeviceForwarding(ExecutorState &state, DeviceForwarding &forwarding);

// A descriptor that can be read once a second while there is forwarding; -1 otherwise.
int openTicks(const ExecutorState &state);

// A descriptor that can be read when either of two can; -1 is none.
int watchBoth(int one, int other);

// What is to be done when the descriptor of openTicks can be read.
void tickDevice(ExecutorState &state, int timer);

} // namespace rk
