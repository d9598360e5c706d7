// The reference executor behind a watch: each command takes a while, and writes the thread that it came on, and whether
// another one was inside meanwhile, into the file that RK_WATCH names.
#include "rk/uexc.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>
#include <unistd.h>

namespace {

constexpr useconds_t kCommandMicroseconds = 200'000;

std::atomic<int> inside = 0;

template <typename Operation> Operation *real(const char *name) {
    static void *library = dlopen(REAL_UEXC_FILE, RTLD_NOW | RTLD_LOCAL);
    return reinterpret_cast<Operation *>(dlsym(library, name));
}

void enter(const char *operation) {
    const int others = inside++;
    FILE *watch = fopen(getenv("RK_WATCH"), "a");
    fprintf(watch, "%d %s%s\n", gettid(), operation, others == 0 ? "" : " beside another");
    fclose(watch);
}

int32_t forward(const char *operation) {
    enter(operation);
    const int32_t result = real<int32_t()>(operation)();
    --inside;
    return result;
}

int32_t forward(const char *operation, const char *path) {
    enter(operation);
    const int32_t result = real<int32_t(const char *)>(operation)(path);
    --inside;
    return result;
}

} // namespace

extern "C" {

int32_t EXC_UserInput(rk::CommandHeader *block) {
    enter("EXC_UserInput");
    usleep(kCommandMicroseconds);
    const int32_t result = real<int32_t(rk::CommandHeader *)>("EXC_UserInput")(block);
    --inside;
    return result;
}

int32_t EXC_UsrExecutorInit() {
    return forward("EXC_UsrExecutorInit");
}

int32_t EXC_UsrExecutorTerm() {
    return forward("EXC_UsrExecutorTerm");
}

int32_t EXC_UsrExecutorProcessInit() {
    return forward("EXC_UsrExecutorProcessInit");
}

int32_t EXC_UsrExecutorProcessTerm() {
    return forward("EXC_UsrExecutorProcessTerm");
}

int32_t EXC_UsrExecutorStarted() {
    return forward("EXC_UsrExecutorStarted");
}

int32_t EXC_UsrExecutorSetLog(const char *path) {
    return forward("EXC_UsrExecutorSetLog", path);
}

int32_t EXC_UsrExecutorSetInstallPath(const char *path) {
    return forward("EXC_UsrExecutorSetInstallPath", path);
}
}
