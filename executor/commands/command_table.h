// The commands that the executor knows.
#pragma once

#include "executor/commands/target.h"
#include "executor/state/log_text.h"
#include "executor/state/settings.h"
#include "rk/reasons.h"

namespace rk {

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
inline constexpr CommandFamily kHaFamily{kOutOfMemory, 0x20};
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
    Needs needs; // the objects without which the command is refused
    const char *name;
    std::size_t length;                                             // of the record, or of the block before its entries
    std::size_t entryLength;                                        // 0: the command has no entries
    int32_t (*countOf)(const CommandHeader &block);                 // the entries that a block tells; null without
    void (*refuseEntries)(CommandHeader &block, int32_t reason);    // tells a missing object in each entry, or null
    CommandKeys (*keysOf)(const CommandHeader &block);              // the keys that the request carries
    void (*describe)(LogText &text, const CommandHeader &block);    // for the logs: what the request tells besides
    int32_t (*perform)(const Target &target, CommandHeader &block); // 0 or the reason; what it needs is there
    std::span<const Setting> settings; // with the change flags of the record; empty: it has none
};

// Null when the executor has no such command.
const CommandRow *findCommand(Command command);

} // namespace rk
