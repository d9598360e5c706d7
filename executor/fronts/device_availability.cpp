#include "executor/fronts/device_availability.h"

#include <sys/stat.h>

namespace rk {

namespace {

bool followNothing(void *own, ExecutorState &state, Command command, const HaBefore & /*before*/, LogText & /*words*/) {
    std::string &missing = *static_cast<std::string *>(own);
    if (command == Command::addBackup) {
        tellAvailability(state, missing);
        missing.clear();
    }
    return true;
}

void noteNothing(void * /*own*/, ExecutorState & /*state*/, bool /*isUrgent*/) {}

} // namespace

bool beginDeviceAvailability(const AvailabilityChoice &choice, const std::string &folder,
                             const ConnectionCopies &copies, ExecutorState &state, DeviceAvailability &availability) {
    if (choice.mode == AvailabilityMode::none)
        return true;
    mkdir(folder.c_str(), 0755); // when it cannot be made, opening what is in it tells
    const AvailabilityOptions options{choice.partnership, folder + "/ha", copies};
    if (openAvailability(availability.director, options, availability.words)) {
        tellAvailability(state, availability.words);
        beginAvailability(availability.director, state);
        return true;
    }
    availability.words = "no high availability: " + availability.words;
    if (choice.mode == AvailabilityMode::keepalived)
        return false;
    availability.missing = "kept, and nobody hears the partner: " + availability.words;
    availability.words.clear();
    availability.absent = {&availability.missing, followNothing, noteNothing};
    state.availability = &availability.absent;
    return true;
}

void serveDeviceAvailability(ExecutorState &state, DeviceAvailability &availability) {
    if (availability.director.watch != -1)
        serveAvailability(availability.director, state);
}

void endDeviceAvailability(ExecutorState &state, DeviceAvailability &availability) {
    if (availability.director.watch != -1)
        endAvailability(availability.director, state);
    state.availability = nullptr;
}

void endDeviceService(ExecutorState &state, DeviceAvailability &availability, DeviceForwarding &forwarding) {
    endDeviceAvailability(state, availability);
    endDeviceForwarding(state, forwarding);
}

} // namespace rk
