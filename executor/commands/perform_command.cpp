#include "executor/commands/perform_command.h"

#include "executor/commands/command_log.h"
#include "executor/commands/command_table.h"
#include "rk/reasons.h"

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

int32_t performRow(ExecutorState &state, const CommandRow &row, CommandHeader &block) {
    try {
        return row.perform(state, block);
    } catch (const std::exception &) {
        return row.family.outOfMemory; // nothing else is thrown
    }
}

} // namespace

int32_t performCommand(ExecutorState &state, CommandHeader *block) {
    const CommandRow *row = findCommand(block->command);
    const bool isReadable = row != nullptr && isLengthRight(*row, *block);
    LogText subject{}; // described beforehand: what a command removes still has its name then
    const bool isDescribed = isReadable && isLogged(state, row, 0);
    if (isDescribed)
        subject = describeSubject(state, *row, *block);

    int32_t reason = 0;
    if (!state.isStarted)
        reason = kNotStarted;
    else if (row == nullptr)
        reason = kUnknownCommand;
    else if (!isReadable)
        reason = kWrongLength;
    else
        reason = performRow(state, *row, *block);

    if (reason != 0 && isReadable)
        clearFlags(row->settings, *block);
    block->result = reason == 0 ? 0 : -1;
    block->reason = reason;
    if (isReadable && !isDescribed && isLogged(state, row, reason)) // a refused command has changed nothing
        subject = describeSubject(state, *row, *block);
    if (isLogged(state, row, reason))
        logCommand(state, row, *block, subject);
    ++state.executor.counters.commands;
    return block->result;
}

} // namespace rk
