// Reading and clearing the trace log. The replies are texts that begin directly behind the header.
#include "executor/commands/commands.h"
#include "executor/state/values.h"

#include <algorithm>
#include <cstring>

namespace rk {

namespace {

// How many characters a reader who asks for `size` bytes gets at most: one byte is for the terminator.
std::size_t roomFor(int32_t size) {
    if (size < 1)
        return 0;
    return std::min(static_cast<std::size_t>(size) - 1, kLongestLogReply);
}

void replyWithText(std::string_view text, CommandHeader &block) {
    clearBody(block);
    std::memcpy(entriesOf<char>(&block), text.data(), text.size());
}

} // namespace

int32_t readLogHead(ExecutorState &state, LogRequestRecord &record) {
    replyWithText(textOf(state.trace).substr(0, roomFor(record.size)), record.header);
    return 0;
}

int32_t readLogTail(ExecutorState &state, LogRequestRecord &record) {
    const std::string_view text = textOf(state.trace);
    const std::size_t length = std::min(text.size(), roomFor(record.size));
    replyWithText(text.substr(text.size() - length), record.header);
    return 0;
}

int32_t clearLog(ExecutorState &state, ShortRecord & /*record*/) {
    state.trace.length = 0;
    return 0;
}

} // namespace rk
