#include "bench/scale/own_time.h"

#include "rk/uexc.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <malloc.h>

namespace {

double executorNanoseconds = 0;
int executorCalls = 0;

bool watching = false;
std::size_t held = 0;
std::size_t most = 0;

double now() {
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return 1e9 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec);
}

// What lies between two looks at the clock with nothing in between.
double costOfLooking() {
    constexpr int kLooks = 1000;
    const double start = now();
    for (int i = 1; i < kLooks; ++i)
        now();
    return (now() - start) / kLooks;
}

void *keep(void *block) {
    if (watching && block != nullptr) {
        held += malloc_usable_size(block);
        most = std::max(most, held);
    }
    return block;
}

void drop(void *block) {
    if (watching && block != nullptr)
        held -= std::min(held, malloc_usable_size(block));
}

// A line of /proc/self/status that is in kB, in bytes.
std::size_t statusOf(const char *name) {
    FILE *status = fopen("/proc/self/status", "r");
    std::size_t kilobytes = 0;
    char line[128];
    while (status != nullptr && fgets(line, sizeof(line), status) != nullptr)
        if (strncmp(line, name, strlen(name)) == 0)
            kilobytes = strtoul(line + strlen(name) + 1, nullptr, 10);
    if (status != nullptr)
        fclose(status);
    return kilobytes * 1024;
}

// Makes the largest resident size the present one.
void forgetPeak() {
    FILE *file = fopen("/proc/self/clear_refs", "w");
    if (file != nullptr) {
        fputs("5", file);
        fclose(file);
    }
}

} // namespace

double own::nanosecondsOf(const std::function<void()> &call, int calls) {
    static const double look = costOfLooking();
    executorNanoseconds = 0;
    executorCalls = 0;
    const double start = now();
    for (int i = 0; i < calls; ++i)
        call();
    // Of the two looks around the executor, one lies within its time and the other outside.
    return (now() - start - executorNanoseconds - look * executorCalls) / calls;
}

own::Memory own::memoryOf(const std::function<void()> &call) {
    malloc_trim(0); // so that what is asked for is not there from before
    const std::size_t before = statusOf("VmRSS");
    forgetPeak();
    held = 0;
    most = 0;
    watching = true;
    call();
    watching = false;
    const std::size_t peak = statusOf("VmHWM");
    return {most, peak > before ? peak - before : 0};
}

extern "C" {

int32_t __real_EXC_UserInput(rk::CommandHeader *block);
void *__real_malloc(std::size_t size);
void *__real_calloc(std::size_t count, std::size_t size);
void *__real_realloc(void *block, std::size_t size);
void __real_free(void *block);

int32_t __wrap_EXC_UserInput(rk::CommandHeader *block) {
    const double start = now();
    const int32_t result = __real_EXC_UserInput(block);
    executorNanoseconds += now() - start;
    ++executorCalls;
    return result;
}

void *__wrap_malloc(std::size_t size) {
    return keep(__real_malloc(size));
}

void *__wrap_calloc(std::size_t count, std::size_t size) {
    return keep(__real_calloc(count, size));
}

void *__wrap_realloc(void *block, std::size_t size) {
    drop(block);
    return keep(__real_realloc(block, size));
}

void __wrap_free(void *block) {
    drop(block);
    __real_free(block);
}
}
