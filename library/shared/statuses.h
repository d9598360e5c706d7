// Sending a command, and the status that Java gets for a refusal.
#pragma once

#include "library/channel/channel.h"
#include "rk/reasons.h"

#include <span>

namespace rk {

// One line of a family's table: a reason that the executor gives, and the status that Java gets for it.
struct ReasonRow {
    int32_t reason;
    int32_t status;
};

// Returns the status of a reason, or kStatusOther when no row names it.
int32_t statusOf(int32_t reason, std::span<const ReasonRow> rows);

// Sends a record of the shared block. Returns 0, or the status of the executor's reason.
template <typename Record>
[[nodiscard]] int32_t sendAndMap(Record &record, Command command, std::span<const ReasonRow> rows) {
    return send(record, command) == 0 ? 0 : statusOf(record.header.reason, rows);
}

} // namespace rk
