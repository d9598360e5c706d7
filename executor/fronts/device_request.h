// What the executor's device answers to an ioctl, apart from how it gets there.
//
// The request's number does not tell how long the block at its argument is, so a command takes three rounds. The first
// brings nothing and is told to come again with the header. The second brings the header, whose length word tells how
// long the block is. The third brings the block, is performed, and takes as many bytes back.
#pragma once

#include "executor/state/state.h"

#include <vector>

namespace rk {

// What one ioctl can carry, in and out: the 32 pages that the kernel sets aside for it. There is no way to get more.
inline constexpr std::size_t kMostDeviceBytes = 32UL * 4096;

enum class DeviceAnswer : uint8_t {
    refused,   // the ioctl fails with `error`
    retry,     // come again with `inBytes` of what is at the argument, and room for `outBytes` there
    performed, // the ioctl returns 0, `block` goes back to the argument
};

struct DeviceReply {
    DeviceAnswer answer = DeviceAnswer::refused;
    int error = 0; // an errno value
    std::size_t inBytes = 0;
    std::size_t outBytes = 0;
    std::vector<uint8_t> block;
};

// Answers one round of an ioctl. `in` are the `inBytes` bytes that it brought, of any alignment, null when there are
// none; `outBytes` is the room for a reply at its argument. The executor's answer, a refusal as well, is in the block
// that goes back. Errors, which leave the executor as it was:
// - ENOTTY: the request is another one than the executor's
// - EINVAL: the length word is below the header's size or above kMostDeviceBytes, or was changed between two rounds
// - ENOMEM: there is no memory for the block
void answerDeviceRequest(ExecutorState &state, uint32_t request, const void *in, std::size_t inBytes,
                         std::size_t outBytes, DeviceReply &reply);

} // namespace rk
