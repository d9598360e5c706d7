// qelxwd: the reference executor behind a character device.
#include "executor/commands/commands.h"
#include "executor/fronts/cuse_device.h"
#include "executor/fronts/device_availability.h"
#include "executor/fronts/device_forwarding.h"
#include "executor/fronts/device_options.h"
#include "executor/state/logs.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <filesystem>
#include <poll.h>
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

// A descriptor from which signals can be read. From now on, these signals do nothing else.
int catchSignals() {
    sigset_t caught;
    sigemptyset(&caught);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&caught, signal);
    sigprocmask(SIG_BLOCK, &caught, nullptr);
    std::signal(SIGPIPE, SIG_IGN); // whoever read standard error may be gone
    return signalfd(-1, &caught, SFD_CLOEXEC);
}

// Takes the signal that has come.
uint32_t takeSignal(int signals) {
    signalfd_siginfo information{};
    return read(signals, &information, sizeof information) == sizeof information ? information.ssi_signo : 0;
}

// The path from the root: the program leaves its folder when it goes to the background.
std::string absolute(const std::string &path) {
    return path.empty() ? path : std::filesystem::absolute(path).string();
}

// Opens the log at its path anew, where log rotation may have moved the old one away. When it cannot, the old one goes
// on and has a line on that.
void reopenLog(rk::ExecutorState &state, const std::string &path) {
    if (path.empty() || rk::openLogFile(state, path.c_str()))
        return;
    rk::LogText line;
    rk::appendTime(line);
    rk::append(line, " the log cannot be opened anew: %s", std::strerror(errno));
    rk::writeLine(state, line, false);
}

// Answers until a signal asks to stop, and has forwarding seen to meanwhile. False when something failed.
bool serveUntilStopped(rk::CuseDevice &device, int signals, rk::ExecutorState &state, const std::string &logFile,
                       rk::DeviceAvailability &availability) {
    const int timer = rk::openTicks(state);
    const int others = rk::watchBoth(timer, availability.director.watch);
    const int either = rk::watchBoth(signals, others);
    if (either == -1) {
        device.mistake = std::string("no signals can be awaited: ") + std::strerror(errno);
        return false;
    }
    pollfd wanted[] = {{signals, POLLIN, 0}, {timer, POLLIN, 0}};
    bool isStopped = false;
    while (!isStopped && rk::serveDevice(device, either)) {
        poll(wanted, 2, 0);
        if (wanted[1].revents != 0)
            rk::tickDevice(state, timer);
        rk::serveDeviceAvailability(state, availability);
        if (wanted[0].revents == 0)
            continue;
        if (takeSignal(signals) == SIGHUP)
            reopenLog(state, logFile);
        else
            isStopped = true;
    }
    close(either);
    close(others);
    close(timer);
    return isStopped;
}

int serve(const rk::DeviceOptions &options) {
    rk::ExecutorState state;
    const std::string logFile = absolute(options.logFile);
    if (!logFile.empty() && !rk::openLogFile(state, logFile.c_str()))
        return fail("cannot write " + options.logFile + ": " + std::strerror(errno));
    const int signals = catchSignals();
    if (signals == -1)
        return fail(std::string("no signals can be awaited: ") + std::strerror(errno));
    rk::startExecutor(state);
    rk::CuseDevice device = rk::openDevice(options.deviceName, state);
    if (device.session == nullptr)
        return fail(device.mistake);
    rk::DeviceAvailability availability; // first: what an earlier run left goes before anything is done
    if (!rk::beginDeviceAvailability(options.availability, rk::runtimeFolder(), rk::kernelCopies(), state,
                                     availability)) {
        rk::closeDevice(device);
        return fail(availability.words);
    }
    rk::DeviceForwarding forwarding;
    if (!rk::beginDeviceForwarding(options, state, forwarding)) {
        rk::endDeviceAvailability(state, availability);
        rk::closeDevice(device);
        return fail(forwarding.words);
    }
    if (!forwarding.words.empty())
        std::fprintf(stderr, "qelxwd: %s\n", forwarding.words.c_str());

    if (options.isForeground)
        std::fprintf(stderr, "qelxwd: serving /dev/%s\n", options.deviceName.c_str());
    else if (daemon(0, 0) == -1)
        return fail(std::string("cannot go to the background: ") + std::strerror(errno));
    const bool isStopped = serveUntilStopped(device, signals, state, logFile, availability);
    rk::closeDevice(device);
    rk::endDeviceService(state, availability, forwarding);
    return isStopped ? kStopped : fail(device.mistake);
}

int changeAnnouncement(rk::DeviceAction action) {
    std::string words;
    if (!rk::changeAnnouncement(action, words))
        return fail(words);
    std::puts(words.c_str());
    return kStopped;
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
        case rk::DeviceAction::drain:
        case rk::DeviceAction::announce:
            return changeAnnouncement(options.action);
        default:
            return serve(options);
        }
    } catch (const std::exception &) { // nothing else is thrown
        return fail("out of memory");
    }
}
