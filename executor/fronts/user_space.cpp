// The front of libuexc: the operations that a program links to.
#pragma GCC visibility push(default)
#include "rk/uexc.h"
#pragma GCC visibility pop

#include "executor/commands/command_log.h"
#include "executor/commands/commands.h"
#include "executor/commands/perform_command.h"
#include "executor/forwarding/forwarding.h"
#include "executor/forwarding/proxy/proxy_engine.h"
#include "executor/state/logs.h"
#include "executor/state/values.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <sys/stat.h>

namespace {

// Never destroyed: a thread may still be in a command while the process runs its exit handlers.
rk::ExecutorState &state = *new rk::ExecutorState;

// Its engine is closed while nothing is forwarded.
rk::Forwarding &forwarding = *new rk::Forwarding;
uint32_t lastTick = 0; // seconds since 1970

constexpr int32_t kDone = 0;
constexpr int32_t kRefused = -1;

bool isDirectory(const char *path) {
    struct stat status {};
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

// A relative path begins at the installation directory.
std::string fromInstallPath(const char *path) {
    const bool isRelative = path[0] != '/';
    const std::string base = isRelative && !state.installPath.empty() ? state.installPath + "/" : "";
    return base + path;
}

// Whether an engine is at work now; `words` say why not.
bool openForwarding(rk::LogText &words) {
    try {
        if (!rk::openProxyEngine(forwarding.engine, words))
            return false;
        if (rk::beginForwarding(state, forwarding, words))
            return true;
        forwarding.engine.close(forwarding.engine.own);
    } catch (const std::exception &) {
        append(words, "memory ran out");
    }
    return false;
}

// Does what the environment's QELXW_FORWARD says. An executor without an engine keeps and answers everything all the
// same.
void startForwarding() {
    const char *wanted = std::getenv("QELXW_FORWARD");
    if (wanted == nullptr || std::strcmp(wanted, "none") == 0)
        return;
    rk::LogText words;
    bool isOpen = false;
    if (std::strcmp(wanted, "proxy") == 0)
        isOpen = openForwarding(words);
    else
        append(words, "QELXW_FORWARD is neither proxy nor none");
    rk::LogText said;
    append(said, "%s%s", isOpen ? "by HAProxy" : "nothing is forwarded: ", words.text);
    rk::logForwarding(state, said);
}

void closeForwarding() {
    if (state.forwarding != nullptr)
        rk::endForwarding(state, forwarding);
}

// What the engine does at times. There is no thread for it: it is done when a command comes.
void tick() {
    const uint32_t now = rk::currentTime();
    if (state.forwarding == nullptr || now == lastTick)
        return;
    lastTick = now;
    rk::LogText words;
    rk::tickForwarding(state, words);
    if (words.length != 0)
        rk::logForwarding(state, words);
}

} // namespace

int32_t EXC_UserInput(rk::CommandHeader *block) {
    if (block == nullptr)
        return kRefused;
    tick();
    return rk::performCommand(state, block);
}

int32_t EXC_UsrExecutorInit() {
    if (state.isStarted)
        return kRefused;
    rk::startExecutor(state);
    startForwarding();
    return kDone;
}

int32_t EXC_UsrExecutorTerm() {
    if (!state.isStarted)
        return kRefused;
    closeForwarding();
    state.executor = rk::Executor{};
    state.isStarted = false;
    return kDone;
}

int32_t EXC_UsrExecutorProcessInit() {
    if (state.isProcessReady)
        return kRefused;
    state.isProcessReady = true;
    return kDone;
}

// Stops a running executor as well, and closes the log.
int32_t EXC_UsrExecutorProcessTerm() {
    if (!state.isProcessReady)
        return kRefused;
    EXC_UsrExecutorTerm();
    rk::closeLogFile(state);
    state.isProcessReady = false;
    return kDone;
}

int32_t EXC_UsrExecutorStarted() {
    return state.isStarted ? 1 : 0;
}

// In the two below, a path that cannot be used leaves the one before in force. The caller keeps the path.
int32_t EXC_UsrExecutorSetLog(const char *path) {
    if (path == nullptr)
        return 0;
    try {
        if (path[0] != '\0')
            return rk::openLogFile(state, fromInstallPath(path).c_str()) ? 1 : 0;
        rk::closeLogFile(state); // the empty text turns the log off
        return 1;
    } catch (const std::exception &) {
        return 0;
    }
}

int32_t EXC_UsrExecutorSetInstallPath(const char *path) {
    if (path == nullptr || !isDirectory(path))
        return 0;
    try {
        state.installPath = path;
        return 1;
    } catch (const std::exception &) {
        return 0;
    }
}
