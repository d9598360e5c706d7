#include "executor/fronts/device_forwarding.h"

#include "executor/commands/command_log.h"
#ifdef RK_KERNEL_FORWARDING
#include "executor/forwarding/kernel/announcements.h"
#include "executor/forwarding/kernel/connection_copies.h"
#include "executor/forwarding/kernel/kernel_engine.h"
#endif

#include <cstdlib>
#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr char kRuntimeFolder[] = "/run/qelxwd";
constexpr uint16_t kCopyPort = 8848; // of UDP: the kernel's own choice for copies
constexpr itimerspec kEachSecond = {{1, 0}, {1, 0}};

#ifdef RK_KERNEL_FORWARDING
constexpr int kPatience = 60; // seconds for routers to learn that nothing is announced here

bool openEngine(const DeviceOptions &options, Engine &engine, std::string &words) {
    KernelEngineOptions engineOptions;
    engineOptions.scheduler = options.scheduler;
    engineOptions.announceTable = options.announceTable;
    engineOptions.keepsForwarding = options.keepsForwarding;
    engineOptions.journalFolder = runtimeFolder();
    return openKernelEngine(engineOptions, engine, words);
}
#else
bool openEngine(const DeviceOptions & /*options*/, Engine & /*engine*/, std::string &words) {
    words = "this program was built without forwarding by the kernel (libnl-genl-3 and libnftables)";
    return false;
}
#endif

void logWords(ExecutorState &state, const std::string &words) {
    if (words.empty())
        return;
    LogText line;
    append(line, "%s", words.c_str());
    logForwarding(state, line);
}

bool beginCopies(const std::string &interface, ExecutorState &state, DeviceForwarding &forwarding) {
    const ConnectionCopies copies = kernelCopies();
    LogText words;
    forwarding.copiesConnections = copies.start != nullptr && copies.start(interface, kCopyPort, words);
    if (!forwarding.copiesConnections)
        forwarding.words = "no copies of connections by " + interface + ": " + words.text;
    logWords(state, words.text);
    return forwarding.copiesConnections;
}

} // namespace

bool changeAnnouncement(DeviceAction action, std::string &words) {
#ifdef RK_KERNEL_FORWARDING
    return action == DeviceAction::drain ? askToDrain(runtimeFolder(), kPatience, words)
                                         : askToAnnounce(runtimeFolder(), kPatience, words);
#else
    (void)action;
    words = "this program was built without forwarding by the kernel";
    return false;
#endif
}

bool beginDeviceForwarding(const DeviceOptions &options, ExecutorState &state, DeviceForwarding &forwarding) {
    if (options.forward == ForwardMode::none)
        return true;
    LogText refusal;
    bool isBegun = openEngine(options, forwarding.forwarding.engine, forwarding.words);
    if (isBegun && !beginForwarding(state, forwarding.forwarding, refusal)) {
        forwarding.forwarding.engine.close(forwarding.forwarding.engine.own);
        forwarding.words = refusal.text;
        isBegun = false;
    }
    if (!isBegun)
        forwarding.words = "forwarding no packets: " + forwarding.words;
    logWords(state, forwarding.words);
    if (isBegun && !options.copyInterface.empty() && !beginCopies(options.copyInterface, state, forwarding)) {
        endDeviceForwarding(state, forwarding);
        return false;
    }
    return isBegun || options.forward == ForwardMode::automatic;
}

std::string runtimeFolder() {
    const char *folder = std::getenv("RUNTIME_DIRECTORY");
    return folder == nullptr ? kRuntimeFolder : folder;
}

ConnectionCopies kernelCopies() {
#ifdef RK_KERNEL_FORWARDING
    return {startConnectionCopies, stopConnectionCopies};
#else
    return {};
#endif
}

void endDeviceForwarding(ExecutorState &state, DeviceForwarding &forwarding) {
    if (state.forwarding != nullptr)
        endForwarding(state, forwarding.forwarding);
    if (forwarding.copiesConnections)
        kernelCopies().stop();
    forwarding.copiesConnections = false;
}

int openTicks(const ExecutorState &state) {
    if (state.forwarding == nullptr)
        return -1;
    const int timer = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    timerfd_settime(timer, 0, &kEachSecond, nullptr);
    return timer;
}

int watchBoth(int one, int other) {
    const int either = epoll_create1(EPOLL_CLOEXEC);
    for (const int handle : {one, other}) {
        epoll_event event{};
        event.events = EPOLLIN;
        if (handle != -1)
            epoll_ctl(either, EPOLL_CTL_ADD, handle, &event);
    }
    return either;
}

void tickDevice(ExecutorState &state, int timer) {
    uint64_t ticks = 0;
    if (read(timer, &ticks, sizeof ticks) != sizeof ticks)
        return;
    LogText words;
    tickForwarding(state, words);
    if (words.length != 0)
        logForwarding(state, words);
}

} // namespace rk
