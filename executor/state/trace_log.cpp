#include "executor/state/trace_log.h"

#include <cstring>

namespace rk {

void addLine(TraceLog &trace, std::string_view line) {
    const std::size_t length = trace.length + line.size() + 1;
    if (length > sizeof trace.text) {
        // Whole lines go, so that the text always begins with a whole one.
        const std::size_t tooMuch = length - sizeof trace.text;
        const std::size_t dropped = textOf(trace).find('\n', tooMuch - 1) + 1;
        trace.length -= dropped;
        std::memmove(trace.text, trace.text + dropped, trace.length);
    }
    std::memcpy(trace.text + trace.length, line.data(), line.size());
    trace.length += line.size();
    trace.text[trace.length++] = '\n';
}

std::string_view textOf(const TraceLog &trace) {
    return {trace.text, trace.length};
}

} // namespace rk
