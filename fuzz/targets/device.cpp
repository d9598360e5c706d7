// What the executor's device answers to an ioctl: rounds as the kernel makes them, with bytes that change between two
// rounds, and rounds that no kernel makes. What is brought stands in memory of just its size, of any alignment.
#include "rk/device.h"
#include "executor/commands/commands.h"
#include "executor/commands/perform_command.h"
#include "executor/fronts/device_request.h"
#include "fuzz/harness/executor_requests.h"
#include "fuzz/harness/machine.h"
#include "fuzz/harness/state_checks.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>

namespace {

using fuzz::Draws;
using fuzz::finding;
using rk::DeviceAnswer;
using rk::DeviceReply;

constexpr int kMostRequests = 16;
constexpr int kMostRounds = 4; // a caller who changes nothing needs three

void checkReply(const DeviceReply &reply, const std::vector<uint8_t> &in, std::size_t outBytes) {
    switch (reply.answer) {
    case DeviceAnswer::refused:
        if (reply.error != ENOTTY && reply.error != EINVAL && reply.error != ENOMEM)
            finding("the device fails with error %d", reply.error);
        break;
    case DeviceAnswer::retry:
        if (reply.inBytes < sizeof(rk::CommandHeader) || reply.inBytes > rk::kMostDeviceBytes ||
            reply.outBytes > rk::kMostDeviceBytes)
            finding("the device wants %zu bytes, and room for %zu", reply.inBytes, reply.outBytes);
        break;
    case DeviceAnswer::performed:
        if (reply.block.size() != in.size() || reply.block.size() != outBytes)
            finding("%zu bytes were brought, %zu go back to room for %zu", in.size(), reply.block.size(), outBytes);
        break;
    }
}

// One round. The state changes only when the command was performed.
DeviceReply answer(rk::ExecutorState &state, uint32_t request, const std::vector<uint8_t> &in, std::size_t outBytes,
                   std::size_t misalignment) {
    const std::unique_ptr<uint8_t[]> bytes(new uint8_t[misalignment + in.size()]);
    std::copy(in.begin(), in.end(), bytes.get() + misalignment);
    const uint64_t before = fuzz::digestOf(state);
    DeviceReply reply;
    rk::answerDeviceRequest(state, request, in.empty() ? nullptr : bytes.get() + misalignment, in.size(), outBytes,
                            reply);
    if (!std::equal(in.begin(), in.end(), bytes.get() + misalignment))
        finding("the device has written to what was brought");
    if (request != rk::kExecutorRequest && (reply.answer != DeviceAnswer::refused || reply.error != ENOTTY))
        finding("request 0x%x is answered", request);
    if (reply.answer != DeviceAnswer::performed && fuzz::digestOf(state) != before)
        finding("the state has changed without a command");
    checkReply(reply, in, outBytes);
    fuzz::checkState(state);
    return reply;
}

// As the kernel does it: what is at the argument, as much of it as the device wants. What there is not reads as zero.
void ioctl(rk::ExecutorState &state, const Draws &draws, std::vector<uint8_t> argument) {
    const uint8_t choice = fuzz::drawByte(draws);
    const uint32_t request = choice == 0xFF ? fuzz::drawWord(draws) : static_cast<uint32_t>(rk::kExecutorRequest);
    const bool isHonest = choice < 0xC0;
    std::vector<uint8_t> in;
    std::size_t outBytes = 0;
    DeviceAnswer last = DeviceAnswer::retry;
    for (int round = 0; round < kMostRounds && last == DeviceAnswer::retry; ++round) {
        const DeviceReply reply = answer(state, request, in, outBytes, choice % 16);
        last = reply.answer;
        if (!isHonest && fuzz::drawByte(draws) >= 0x80) // another thread of the caller writes to the header
            argument[fuzz::drawBelow(draws, sizeof(rk::CommandHeader))] = fuzz::drawByte(draws);
        in.assign(reply.inBytes, 0);
        std::copy_n(argument.begin(), std::min(argument.size(), in.size()), in.begin());
        outBytes = reply.outBytes;
    }
    if (isHonest && last == DeviceAnswer::retry)
        finding("the device still wants more after %d rounds", kMostRounds);
}

// One round with any numbers of bytes.
void oddRound(rk::ExecutorState &state, const Draws &draws, std::vector<uint8_t> in) {
    if (fuzz::drawByte(draws) >= 0x80)
        in.resize(fuzz::drawHalf(draws));
    const auto outBytes = static_cast<uint32_t>(fuzz::drawNumber(draws, static_cast<int32_t>(in.size())));
    answer(state, static_cast<uint32_t>(rk::kExecutorRequest), in, outBytes, fuzz::drawBelow(draws, 16));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::Input input = {data, data + size};
    const Draws draws = {&input, fuzz::Side::front};
    fuzz::drawMachine({&input, fuzz::Side::back});
    const auto state = std::make_unique<rk::ExecutorState>();
    rk::startExecutor(*state);
    for (int requests = 0; requests < kMostRequests && !fuzz::isOver(draws); ++requests) {
        const bool isOdd = fuzz::drawByte(draws) >= 0xE0;
        const std::vector<uint8_t> request = fuzz::drawRequest(draws);
        if (isOdd)
            oddRound(*state, draws, request);
        else
            ioctl(*state, draws, request);
    }
    return 0;
}
