// The lists of names: a block of its own for the call, sized for the entries there should be, and a text that holds the
// names one after another, each led by a plus sign.
#pragma once

#include "library/shared/statuses.h"
#include "library/support/CMNImpUtils.h"
#include "library/support/owners.h"

#include <cstdlib>

namespace rk {

inline constexpr std::size_t kListTextBytes = 10000; // what a list's text starts with

// What stands in a new block's entries: nothing but zeros, or anything at all for a caller that fills each.
enum class Entries { zeroed, unset };

// Allocates a block for `count` entries behind it, and stores its count and its length; null when the count is
// negative, the length word could not tell the size, or memory is short.
template <typename Block, typename Entry>
HeapBlock<Block> allocateBlock(int32_t count, Entries entries = Entries::zeroed) {
    const uint64_t size = sizeof(Block) + sizeof(Entry) * static_cast<uint64_t>(count);
    if (count < 0 || size > UINT32_MAX)
        return nullptr;
    const auto bytes = static_cast<std::size_t>(size);
    HeapBlock<Block> block(
        static_cast<Block *>(entries == Entries::zeroed ? std::calloc(1, bytes) : std::malloc(bytes)));
    if (block != nullptr) {
        *block = {};
        block->header.length = static_cast<uint32_t>(size);
        block->count = count;
    }
    return block;
}

// The same for a block that is about one port.
template <typename Block, typename Entry>
HeapBlock<Block> allocateBlock(int32_t count, uint32_t clusterKey, NetworkPort port,
                               Entries entries = Entries::zeroed) {
    HeapBlock<Block> block = allocateBlock<Block, Entry>(count, entries);
    if (block != nullptr) {
        block->clusterKey = clusterKey;
        block->port = port;
    }
    return block;
}

// Sends a block of its own, whose length is stored: 0, or the status that the rows give for the executor's reason.
[[nodiscard]] int32_t sendBlock(CommandHeader &header, Command command, std::span<const ReasonRow> rows);

// Appends one name of a list; a name without a terminator ends with its field. Returns what appendText returns.
int32_t appendName(ReportText &text, const char *name, std::size_t size);

// Appends the names of `count` entries, up to the first that memory is too short for. Returns how many it appended.
template <typename Entry, std::size_t Size>
int32_t appendNames(ReportText &text, const Entry *entries, int32_t count, char (Entry::*name)[Size]) {
    int32_t appended = 0;
    while (appended < count && appendName(text, entries[appended].*name, Size) == 0)
        ++appended;
    return appended;
}

} // namespace rk
