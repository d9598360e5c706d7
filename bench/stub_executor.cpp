#include "bench/stub_executor.h"

#include "rk/uexc.h"

#include <cstring>

namespace {

struct Reply {
    const uint8_t *block;
    std::size_t length;
};

constexpr uint32_t kCodes = 128; // more than there are
Reply replies[kCodes];

} // namespace

void (*stub::watch)(const rk::CommandHeader *block) = nullptr;

void stub::answer(rk::Command command, const void *reply, std::size_t length) {
    replies[static_cast<uint32_t>(command) % kCodes] = {static_cast<const uint8_t *>(reply), length};
}

int32_t EXC_UserInput(rk::CommandHeader *block) {
    if (stub::watch != nullptr)
        stub::watch(block);
    block->result = 0;
    const Reply &reply = replies[static_cast<uint32_t>(block->command) % kCodes];
    if (reply.block == nullptr)
        return 0;
    const std::size_t length = reply.length < block->length ? reply.length : block->length;
    if (length > sizeof(rk::CommandHeader))
        memcpy(block + 1, reply.block + sizeof(rk::CommandHeader), length - sizeof(rk::CommandHeader));
    return 0;
}

int32_t EXC_UsrExecutorInit() {
    return 0;
}

int32_t EXC_UsrExecutorTerm() {
    return 0;
}

int32_t EXC_UsrExecutorProcessInit() {
    return 0;
}

int32_t EXC_UsrExecutorProcessTerm() {
    return 0;
}

int32_t EXC_UsrExecutorStarted() {
    return 1;
}

int32_t EXC_UsrExecutorSetLog(const char *) {
    return 1;
}

int32_t EXC_UsrExecutorSetInstallPath(const char *) {
    return 1;
}
