// The commands that the executor knows.
#pragma once

#include "executor/state/log_text.h"
#include "executor/state/settings.h"
#include "executor/state/state.h"
#include "rk/reasons.h"

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

// Commands on one kind of object.
struct CommandFamily {
    int32_t outOfMemory; // the reason when memory ran out
    uint32_t traceBit;   // its bit in the filter of the trace log; 0: not in the trace log
};

inline constexpr CommandFamily kExecutorFamily{kOutOfRange, 0x1};
inline constexpr CommandFamily kClusterFamily{kClusterOutOfMemory, 0x2};
inline constexpr CommandFamily kPortFamily{kPortOutOfMemory, 0x4};
inline constexpr CommandFamily kServerFamily{kServerOutOfMemory, 0x8};
inline constexpr CommandFamily kRuleFamily{kRuleOutOfMemory, 0x10};
inline constexpr CommandFamily kMembershipFamily{kMembershipOutOfMemory, 0x10};
inline constexpr CommandFamily kHighAvailabilityFamily{kOutOfMemory, 0x20};
inline constexpr CommandFamily kInterfaceFamily{kOutOfMemory, 0x40};
inline constexpr CommandFamily kConnectionFamily{kOutOfMemory, 0x80};
inline constexpr CommandFamily kAffinityFamily{kOutOfMemory, 0x100};
inline constexpr CommandFamily kDebugFamily{kOutOfMemory, 0x200};
inline constexpr CommandFamily kAttackFamily{kOutOfMemory, 0x400};
inline constexpr CommandFamily kTraceLogFamily{kOutOfMemory, 0}; // who reads the log does not change it

enum Effect : uint8_t { kReads, kChanges };

struct CommandRow {
    Command command;
    CommandFamily family;
    Effect effect;
    const char *name;
    std::size_t length;                             // of the record, or of the block before its entries
    std::size_t entryLength;                        // 0: the command has no entries
    int32_t (*countOf)(const CommandHeader &block); // the number of entries that a block tells; only with entries
    int32_t (*perform)(ExecutorState &state, CommandHeader &block);
    CommandKeys (*keysOf)(const CommandHeader &block);
    void (*describe)(LogText &text, const CommandHeader &block); // for the logs: what is no key
    std::span<const Setting> settings; // with the change flags of the record; empty: it has none
};

// Null when the executor has no such command.
const CommandRow *findCommand(Command command);

} // namespace rk
