#include "executor/fronts/device_wait.h"

#include <cerrno>
#include <cstring>
#include <poll.h>

namespace rk {

namespace {

// As poll, but goes on when a signal interrupts it. Nothing else that ends it would go away by itself.
int pollThrough(pollfd *wanted, nfds_t count) {
    int ready = 0;
    do {
        ready = poll(wanted, count, -1);
    } while (ready == -1 && errno == EINTR);
    return ready;
}

} // namespace

DeviceEvent awaitEvent(int channel, int signals, std::string &mistake) {
    pollfd wanted[] = {{channel, POLLIN, 0}, {signals, POLLIN, 0}};
    if (pollThrough(wanted, 2) == -1) {
        mistake = std::string("cannot wait for commands: ") + std::strerror(errno);
        return DeviceEvent::failure;
    }
    const auto &[message, signal] = wanted;
    if ((signal.revents & POLLIN) != 0)
        return DeviceEvent::signal;
    if ((message.revents & POLLIN) != 0 && signal.revents == 0)
        return DeviceEvent::message;
    mistake = signal.revents != 0 ? "signals can no longer be awaited" : "the kernel has ended the device";
    return DeviceEvent::failure;
}

} // namespace rk
