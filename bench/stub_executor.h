// A user-space executor that does as little as an executor can: it succeeds, and copies a prepared reply. What is
// measured against it is the library. A program links its objects, or finds it as libuexc.so.
#pragma once

#include "rk/command_header.h"

namespace stub {

// From now on, commands of this code are answered with the block at `reply`, which stays the caller's and must stay:
// its `length` bytes, without the header, go over the block that was sent, as far as that one's length word reaches. A
// null `reply` takes the answer back. A command without an answer succeeds, and its block stays as it was sent.
void answer(rk::Command command, const void *reply, std::size_t length);

template <typename Record> void answer(rk::Command command, const Record &reply) {
    answer(command, &reply, sizeof(Record));
}

// Sees every block before it is answered; null, the default, for nobody. Only for what is not measured.
extern void (*watch)(const rk::CommandHeader *block);

} // namespace stub
