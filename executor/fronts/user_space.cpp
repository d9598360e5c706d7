// The front of libuexc: the operations that a program links to.
#pragma GCC visibility push(default)
#include "rk/uexc.h"
#pragma GCC visibility pop

#include "executor/commands/commands.h"
#include "executor/commands/perform_command.h"
#include "executor/state/logs.h"

#include <exception>
#include <sys/stat.h>

namespace {

// Never destroyed: a thread may still be in a command while the process runs its exit handlers.
rk::ExecutorState &state = *new rk::ExecutorState;

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

} // namespace

int32_t EXC_UserInput(rk::CommandHeader *block) {
    if (block == nullptr)
        return kRefused;
    return rk::performCommand(state, block);
}

int32_t EXC_UsrExecutorInit() {
    if (state.isStarted)
        return kRefused;
    rk::startExecutor(state);
    return kDone;
}

int32_t EXC_UsrExecutorTerm() {
    if (!state.isStarted)
        return kRefused;
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
