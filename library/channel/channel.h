// The channel to the executor: the command block, and the one way to send it.
//
// The whole process has one block and one handle, and nothing locks them: callers make one native call at a time.
#pragma once

#include "rk/command_block.h"

extern "C" {

// The block of all commands but those of lists and weights. It is never cleared: bytes that a command does not write
// keep what the last one left.
extern rk::CommandBlock ucb;

// The descriptor of the executor's device, or -1 while it is closed.
extern int32_t hQelPd;

// Where commands go: 0 means the kernel executor, any other value the user-space executor.
extern uint8_t prv_giKVAServerModality;

// Reserved for a user-space entry that is found at run time. The entry is linked, so nothing uses this.
extern int32_t (*pfEXC_UserInput)(rk::CommandHeader *block);

// Reserved for a handle of the user-space executor; nothing uses it.
extern uint32_t ueHandle;

// Opens the executor's device unless it is open. Child processes do not get it. Returns 1 when the device is open now,
// 0 when it cannot be opened.
int32_t EXC_is_loaded();

// Closes the executor's device if it is open. The next command in kernel mode opens it again.
void EXC_close_handle();

// Sends the block to the executor that the mode byte selects. The reply is then in the same block. Returns
// - 0 on success,
// - -1 for a null block, a device that cannot be opened, or a refusal by the kernel executor (its reason is in the
//   header and in errno),
// - the positive error number of a failed ioctl,
// - in user-space mode, whatever the user-space executor returns.
int32_t prv_EXC_Command(rk::CommandHeader *block);

// The same to the kernel executor, whatever the mode byte says. `block` must not be null.
int32_t prv_EXC_Command_Kernel(rk::CommandHeader *block);
}

namespace rk {

// Stores code and length, and sends the block. Returns what prv_EXC_Command returns.
[[nodiscard]] inline int32_t send(CommandHeader &header, Command command, std::size_t length) {
    header.command = command;
    header.length = static_cast<uint32_t>(length);
    return prv_EXC_Command(&header);
}

// Sends a record of the shared block; its length word is the record's size.
template <typename Record> [[nodiscard]] int32_t send(Record &record, Command command) {
    return send(record.header, command, sizeof(Record));
}

// Sends a command that is a header alone.
[[nodiscard]] inline int32_t send(CommandHeader &header, Command command) {
    return send(header, command, sizeof(CommandHeader));
}

} // namespace rk
