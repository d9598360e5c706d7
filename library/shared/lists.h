// Lists travel in a block that is allocated for the call, with room for as many entries as there should be. Java gets a
// text of their names, with a plus sign before each.
#pragma once

#include "library/shared/statuses.h"
#include "library/support/CMNImpUtils.h"
#include "library/support/owners.h"

#include <cstdlib>

namespace rk {

inline constexpr std::size_t kListTextBytes = 10000; // of a list's text at first

// What a new block's entries hold: zeros, or anything, for a caller that fills each of them.
enum class Entries { zeroed, unset };

// Allocates a block with `count` entries behind it, and stores count and length. Returns null when the count is
// negative, when the size does not fit the length word, or when memory is short.
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

// The same for a block about one port.
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

// Sends an allocated block; its length word is set already. Returns 0, or the status of the executor's reason.
[[nodiscard]] int32_t sendBlock(CommandHeader &header, Command command, std::span<const ReasonRow> rows);

// Appends one name, which ends at its terminator or with its field of `size` bytes. Returns what appendText returns.
int32_t appendName(ReportText &text, const char *name, std::size_t size);

// Appends the names of `count` entries; stops when memory is short. Returns how many it appended.
template <typename Entry, std::size_t Size>
int32_t appendNames(ReportText &text, const Entry *entries, int32_t count, char (Entry::*name)[Size]) {
    int32_t appended = 0;
    while (appended < count && appendName(text, entries[appended].*name, Size) == 0)
        ++appended;
    return appended;
}

} // namespace rk
