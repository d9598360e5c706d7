#include "executor/fronts/device_request.h"

#include "executor/commands/perform_command.h"
#include "rk/device.h"

#include <cerrno>
#include <cstring>
#include <exception>

namespace rk {

namespace {

DeviceReply refusal(int error) {
    DeviceReply reply;
    reply.error = error;
    return reply;
}

DeviceReply retryWith(std::size_t inBytes, std::size_t outBytes) {
    DeviceReply reply;
    reply.answer = DeviceAnswer::retry;
    reply.inBytes = inBytes;
    reply.outBytes = outBytes;
    return reply;
}

// Works on a copy: it is aligned as records are, and the caller cannot change it meanwhile.
DeviceReply performCopy(ExecutorState &state, const void *in, std::size_t bytes) {
    DeviceReply reply;
    try {
        const auto *begin = static_cast<const uint8_t *>(in);
        reply.block.assign(begin, begin + bytes);
    } catch (const std::exception &) {
        return refusal(ENOMEM);
    }
    performCommand(state, reinterpret_cast<CommandHeader *>(reply.block.data()));
    reply.answer = DeviceAnswer::performed;
    return reply;
}

} // namespace

void answerDeviceRequest(ExecutorState &state, uint32_t request, const void *in, std::size_t inBytes,
                         std::size_t outBytes, DeviceReply &reply) {
    if (request != kExecutorRequest) {
        reply = refusal(ENOTTY);
        return;
    }
    CommandHeader header{};
    if (inBytes < sizeof header) {
        reply = retryWith(sizeof header, 0);
        return;
    }
    std::memcpy(&header, in, sizeof header);
    const bool isPossible = header.length >= sizeof header && header.length <= kMostDeviceBytes;
    // False when another thread of the caller has changed the length word since the round before.
    const bool isWhole = inBytes == header.length && outBytes == header.length;
    if (isPossible && outBytes == 0)
        reply = retryWith(header.length, header.length);
    else if (isPossible && isWhole)
        reply = performCopy(state, in, inBytes);
    else
        reply = refusal(EINVAL);
}

} // namespace rk
