// The reference executor's entry: commands one after another on one state, whose blocks stand in memory of just the
// length that their length word says.
#include "executor/commands/commands.h"
#include "executor/commands/perform_command.h"
#include "executor/state/reason_text.h"
#include "fuzz/harness/executor_requests.h"
#include "fuzz/harness/machine.h"
#include "fuzz/harness/state_checks.h"

#include <cstring>
#include <memory>

namespace {

using fuzz::finding;

constexpr int kMostCommands = 40;

// Whether a command, if it succeeds, may leave another state behind.
bool mayChange(const rk::CommandRow *row, const rk::CommandHeader &header) {
    return row != nullptr && header.reason == 0 &&
           (row->effect == rk::kChanges || row->command == rk::Command::debugDump); // which may clear the counters
}

void perform(rk::ExecutorState &state, std::vector<uint8_t> request) {
    const rk::CommandHeader sent = fuzz::headerOf(request);
    const uint64_t before = fuzz::digestOf(state);
    const auto commands = state.executor.counters.commands;
    std::vector<uint8_t>(request).swap(request); // no spare room behind it
    const int32_t result = rk::performCommand(state, &fuzz::headerOf(request));

    const rk::CommandHeader &reply = fuzz::headerOf(request);
    const rk::CommandRow *row = rk::findCommand(sent.command);
    if (reply.command != sent.command || reply.length != sent.length)
        finding("command %d of %u bytes came back as %d of %u", static_cast<int>(sent.command), sent.length,
                static_cast<int>(reply.command), reply.length);
    if (result != reply.result || result != (reply.reason == 0 ? 0 : -1))
        finding("command %d: returns %d, result %d, reason %d", static_cast<int>(sent.command), result, reply.result,
                reply.reason);
    if (row == nullptr && reply.reason != rk::kUnknownCommand)
        finding("command %d is unknown, but the reason is %d", static_cast<int>(sent.command), reply.reason);
    if (reply.reason != 0 && strcmp(rk::reasonText(reply.command, reply.reason), "unknown reason") == 0)
        finding("command %d: reason %d has no words", static_cast<int>(sent.command), reply.reason);
    if (!mayChange(row, reply) && fuzz::digestOf(state) != before)
        finding("command %d, reason %d: the state has changed", static_cast<int>(sent.command), reply.reason);
    if (state.executor.counters.commands != commands + 1 && sent.command != rk::Command::debugDump)
        finding("command %d was not counted", static_cast<int>(sent.command));
    fuzz::checkState(state);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::Input input = {data, data + size};
    const fuzz::Draws requests = {&input, fuzz::Side::front};
    fuzz::drawMachine({&input, fuzz::Side::back});
    const auto state = std::make_unique<rk::ExecutorState>();
    rk::startExecutor(*state);
    for (int commands = 0; commands < kMostCommands && !fuzz::isOver(requests); ++commands)
        perform(*state, fuzz::drawRequest(requests));
    return 0;
}
