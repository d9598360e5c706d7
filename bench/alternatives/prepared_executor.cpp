// The stub executor as a libuexc.so for Java programs: it has its replies from the start.
#include "bench/replies.h"
#include "bench/stub_executor.h"

#include "rk/command_header.h"

#include <cstring>

namespace {

uint8_t lastBlock[rk::kWireBytes];
uint32_t lastLength;

// Keeps the block as it was sent, and zeroes it: the next one then shows what its sender writes.
void keep(const rk::CommandHeader *block) {
    lastLength = block->length < sizeof(lastBlock) ? block->length : sizeof(lastBlock);
    memcpy(lastBlock, block, lastLength);
    memset(const_cast<rk::CommandHeader *>(block + 1), 0, lastLength - sizeof(*block));
}

[[gnu::constructor]] void prepare() {
    replies::prepare();
}

} // namespace

extern "C" {

void rk_bench_keep_blocks(int32_t keeps);
int32_t rk_bench_last_block(uint8_t *bytes, int32_t room);

void rk_bench_keep_blocks(int32_t keeps) {
    stub::watch = keeps != 0 ? keep : nullptr;
}

// The length of the last block that was kept; its bytes go to `bytes`, as far as there is room.
int32_t rk_bench_last_block(uint8_t *bytes, int32_t room) {
    const auto most = static_cast<uint32_t>(room);
    memcpy(bytes, lastBlock, lastLength < most ? lastLength : most);
    return static_cast<int32_t>(lastLength);
}
}
