#include "library/shared/lists.h"

#include <cstring>

namespace rk {

int32_t sendBlock(CommandHeader &header, Command command, std::span<const ReasonRow> rows) {
    return send(header, command, header.length) == 0 ? 0 : statusOf(header.reason, rows);
}

int32_t appendName(ReportText &text, const char *name, std::size_t size) {
    return appendLine(text, "+%.*s", static_cast<int>(strnlen(name, size)), name);
}

} // namespace rk
