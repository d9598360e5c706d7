// High availability, as far as this program and this machine can.
#pragma once

#include "executor/availability/availability.h"
#include "executor/fronts/availability_options.h"
#include "executor/fronts/device_forwarding.h"

namespace rk {

struct DeviceAvailability {
    Director director;        // at work when its `watch` is not -1
    AvailabilityAgent absent; // in its place otherwise: it tells, once, what is missing
    std::string missing;
    std::string words; // what was put away at the start, what is missing, or nothing
};

// Begins as the options want it, in `folder`, which is made when it is missing; `availability` stays where it is. False
// when they want what cannot be had; `words` tell why. When it is not asked for in so many words, it is done without,
// and the log tells that when the first backup is added.
bool beginDeviceAvailability(const AvailabilityChoice &choice, const std::string &folder,
                             const ConnectionCopies &copies, ExecutorState &state, DeviceAvailability &availability);

// As serveAvailability, if there is anything to serve.
void serveDeviceAvailability(ExecutorState &state, DeviceAvailability &availability);

void endDeviceAvailability(ExecutorState &state, DeviceAvailability &availability);

// Ends high availability and forwarding, in the order that keeps connections: while an address is up, what it leads to
// is there, else this machine itself would reset what the partner is to go on with.
void endDeviceService(ExecutorState &state, DeviceAvailability &availability, DeviceForwarding &forwarding);

} // namespace rk
