// What the library expects of `libuexc`, the executor that runs in user space, in the caller's own process.
#pragma once

#include "rk/command_header.h"

extern "C" {

// Performs the command in `block`, which is header.length bytes long, and leaves result, reason and reply in it.
// Returns 0 on success; any other value is the status of the failure.
int32_t EXC_UserInput(rk::CommandHeader *block);

// Start and stop the executor. Return 0 on success.
int32_t EXC_UsrExecutorInit();
int32_t EXC_UsrExecutorTerm();

// Set up and clean up what the executor needs once in a process. Return 0 on success.
int32_t EXC_UsrExecutorProcessInit();
int32_t EXC_UsrExecutorProcessTerm();

// The low byte tells whether the executor runs.
int32_t EXC_UsrExecutorStarted();

// Set the log file and the installation directory; `path` is zero-terminated, or null when the caller had none.
// The low byte of the result is not 0 on success. The executor may keep the pointer.
int32_t EXC_UsrExecutorSetLog(const char *path);
int32_t EXC_UsrExecutorSetInstallPath(const char *path);
}
