// The commands that the executor knows.
#pragma once

#include "executor/settings.h"
#include "executor/state.h"

#include <optional>

namespace rk {

// The keys that a request carries, for the log.
struct CommandKeys {
    std::optional<uint32_t> clusterKey;
    std::optional<NetworkPort> port;
    std::optional<uint32_t> serverKey;
    std::optional<std::string_view> ruleName;
    std::string_view clusterId; // of the commands that name a cluster; empty in the others
    std::string_view serverId;  // likewise of a server
};

struct CommandRow {
    Command command;
    int32_t outOfMemory; // the reason when memory ran out
    const char *name;
    std::size_t length;                             // of the record, or of the block before its entries
    std::size_t entryLength;                        // 0: the command has no entries
    int32_t (*countOf)(const CommandHeader &block); // the number of entries that a block tells; only with entries
    int32_t (*perform)(ExecutorState &state, CommandHeader &block);
    CommandKeys (*keysOf)(const CommandHeader &block);
    std::span<const Setting> settings; // with the change flags of the record; empty: it has none
};

// Null when the executor has no such command.
const CommandRow *findCommand(Command command);

} // namespace rk
