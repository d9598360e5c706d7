#include "executor/commands/perform_command.h"

#include "executor/commands/command_log.h"
#include "executor/commands/command_table.h"
#include "executor/commands/forwarded_commands.h"

#include <exception>

namespace rk {

namespace {

bool isLengthRight(const CommandRow &row, const CommandHeader &block) {
    if (row.entryLength == 0)
        return block.length == row.length;
    if (block.length < row.length)
        return false; // the count is not there to be read
    const int32_t count = row.countOf(block);
    return count >= 0 && block.length == row.length + row.entryLength * static_cast<uint64_t>(count);
}

// Returns 0 or the reason. `forwarding` is null when nothing is forwarded; `words` are what it has to say.
int32_t performRow(const CommandRow &row, const Target &target, CommandHeader &block, Forwarding *forwarding,
                   LogText &words) {
    if (const int32_t reason = reasonForMissing(target, row.needs); reason != 0) {
        if (row.refuseEntries != nullptr)
            row.refuseEntries(block, reason);
        return reason;
    }
    try {
        int32_t reason = 0;
        if (forwarding == nullptr)
            reason = row.perform(target, block);
        else
            reason = performForwarded(*forwarding, row, target, block, words);
        if (reason == kForwardingRefused && row.refuseEntries != nullptr)
            row.refuseEntries(block, reason);
        return reason;
    } catch (const std::exception &) {
        return row.family.outOfMemory; // nothing else is thrown
    }
}

} // namespace

int32_t performCommand(ExecutorState &state, CommandHeader *block) {
    const CommandRow *row = findCommand(block->command);
    const bool isReadable = row != nullptr && isLengthRight(*row, *block);
    Target target;
    LogText subject;
    LogText words;
    if (isReadable) {
        const CommandKeys keys = row->keysOf(*block);
        target = findTarget(state, keys);
        describeSubject(subject, *row, *block, keys, target); // now, while what the command removes has a name
    }

    int32_t reason = 0;
    if (!state.isStarted)
        reason = kNotStarted;
    else if (row == nullptr)
        reason = kUnknownCommand;
    else if (!isReadable)
        reason = kWrongLength;
    else
        reason = performRow(*row, target, *block, state.forwarding, words);

    if (reason != 0 && isReadable)
        clearFlags(row->settings, *block);
    block->result = reason == 0 ? 0 : -1;
    block->reason = reason;
    logCommand(state, row, *block, subject, words);
    ++state.executor.counters.commands;
    return block->result;
}

} // namespace rk
