// Reading and clearing the trace log. The replies are texts that begin directly behind the header.
#include "executor/commands/commands.h"
#include "executor/state/values.h"

#include <algorithm>
#include <cstring>

namespace rk {

namespace {

// The characters that a request for `size` bytes gets at most: one byte is for the terminator.
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

int32_t readLogHead(const TraceLog &trace, LogRequestRecord &record) {
    replyWithText(textOf(trace).substr(0, roomFor(record.size)), record.header);
    return 0;
}

int32_t readLogTail(const TraceLog &trace, LogRequestRecord &record) {
    const std::string_view text = textOf(trace);
    const std::size_t length = std::min(text.size(), roomFor(record.size));
    replyWithText(text.substr(text.size() - length), record.header);
    return 0;
}

int32_t clearLog(TraceLog &trace, const ShortRecord & /*record*/) {
    trace.length = 0;
    return 0;
}

} // namespace rk
