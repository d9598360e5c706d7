// qelxwd: the reference executor behind a character device.
#include "executor/commands/commands.h"
#include "executor/fronts/cuse_device.h"
#include "executor/fronts/device_options.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

constexpr int kStopped = 0;
constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;

int fail(const std::string &mistake) {
    std::fprintf(stderr, "qelxwd: %s\n", mistake.c_str());
    return kFailed;
}

// A descriptor that can be read when a signal asks to stop. From now on, these signals do nothing else.
int catchStopSignals() {
    sigset_t stopping;
    sigemptyset(&stopping);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&stopping, signal);
    sigprocmask(SIG_BLOCK, &stopping, nullptr);
    std::signal(SIGPIPE, SIG_IGN); // whoever read standard error may be gone
    return signalfd(-1, &stopping, SFD_CLOEXEC);
}

int serve(const rk::DeviceOptions &options) {
    rk::ExecutorState state;
    if (!options.logFile.empty()) {
        state.log = std::fopen(options.logFile.c_str(), "ae");
        if (state.log == nullptr)
            return fail("cannot write " + options.logFile + ": " + std::strerror(errno));
    }
    const int stopDescriptor = catchStopSignals();
    if (stopDescriptor == -1)
        return fail(std::string("no signals can be awaited: ") + std::strerror(errno));
    rk::startExecutor(state);
    rk::CuseDevice device = rk::openDevice(options.deviceName, state);
    if (device.session == nullptr)
        return fail(device.mistake);

    if (options.isForeground)
        std::fprintf(stderr, "qelxwd: serving /dev/%s\n", options.deviceName.c_str());
    else if (daemon(0, 0) == -1)
        return fail(std::string("cannot go to the background: ") + std::strerror(errno));
    const bool isStopped = rk::serveDevice(device, stopDescriptor);
    rk::closeDevice(device);
    return isStopped ? kStopped : fail("the kernel took /dev/" + options.deviceName + " away");
}

} // namespace

int main(int count, char **arguments) {
    try {
        const rk::DeviceOptions options = rk::parseDeviceOptions(count, arguments);
        switch (options.action) {
        case rk::DeviceAction::showHelp:
            std::fputs(rk::kDeviceHelp, stdout);
            return kStopped;
        case rk::DeviceAction::showVersion:
            std::puts("qelxwd " RK_VERSION);
            return kStopped;
        case rk::DeviceAction::refuse:
            std::fprintf(stderr, "qelxwd: %s\nqelxwd --help tells what there is\n", options.mistake.c_str());
            return kWrongUsage;
        default:
            return serve(options);
        }
    } catch (const std::exception &) { // nothing else is thrown
        return fail("out of memory");
    }
}
