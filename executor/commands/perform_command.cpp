#include "executor/commands/perform_command.h"

#include "executor/commands/available_commands.h"
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

// Performs a command whose objects are there, with whoever has to do it as well. Returns 0 or the reason.
int32_t performWithOthers(const CommandRow &row, const Target &target, CommandHeader &block, LogText &words) {
    ExecutorState &state = *target.state;
    if (state.availability != nullptr && isOnHighAvailability(row))
        return performAvailable(*state.availability, row, target, block, words);
    const int32_t reason = state.forwarding == nullptr ? row.perform(target, block)
                                                       : performForwarded(*state.forwarding, row, target, block, words);
    if (state.availability != nullptr && reason == 0)
        noteChange(*state.availability, row, target);
    return reason;
}

// Returns 0 or the reason. `words` are what those who do it have to say.
int32_t performRow(const CommandRow &row, const Target &target, CommandHeader &block, LogText &words) {
    if (const int32_t reason = reasonForMissing(target, row.needs); reason != 0) {
        if (row.refuseEntries != nullptr)
            row.refuseEntries(block, reason);
        return reason;
    }
    try {
        const int32_t reason = performWithOthers(row, target, block, words);
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
        reason = performRow(*row, target, *block, words);

    if (reason != 0 && isReadable)
        clearFlags(row->settings, *block);
    block->result = reason == 0 ? 0 : -1;
    block->reason = reason;
    logCommand(state, row, *block, subject, words);
    ++state.executor.counters.commands;
    return block->result;
}

} // namespace rk
