// A libuexc that is not whole: EXC_UsrExecutorTerm is missing.
#include "rk/uexc.h"

extern "C" {

int32_t EXC_UserInput(rk::CommandHeader *) {
    return 0;
}

int32_t EXC_UsrExecutorInit() {
    return 0;
}

int32_t EXC_UsrExecutorProcessInit() {
    return 0;
}

int32_t EXC_UsrExecutorProcessTerm() {
    return 0;
}

int32_t EXC_UsrExecutorStarted() {
    return 0;
}

int32_t EXC_UsrExecutorSetLog(const char *) {
    return 1;
}

int32_t EXC_UsrExecutorSetInstallPath(const char *) {
    return 1;
}
}
