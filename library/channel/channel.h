// The channel to the executor: the command block, and the one way to send it.
//
// One command is in flight in the whole process: block and handle are shared and nothing locks them, so callers make
// one native call at a time.
#pragma once

#include "rk/command_block.h"

extern "C" {

// The command block of every command but the list and weight commands. It is never cleared: what a command does not
// write keeps what the command before left there.
extern rk::CommandBlock ucb;

// The open executor device; -1 while closed.
extern int32_t hQelPd;

// Where commands go: 0 to the kernel executor, any other value to the user-space executor.
extern uint8_t prv_giKVAServerModality;

// Reserved for a user-space command entry found at run time; the entry is linked, and nothing uses this.
extern int32_t (*pfEXC_UserInput)(rk::CommandHeader *block);

// Reserved for a handle of the user-space executor; nothing uses it.
extern uint32_t ueHandle;

// Opens the executor device unless it is open; child processes do not get it. Returns 1 when it is open now, 0 when it
// cannot be opened.
int32_t EXC_is_loaded();

// Closes the executor device if it is open; the next kernel-mode command opens it again.
void EXC_close_handle();

// Sends the block to the executor that the mode byte selects; the reply is left in the block. Returns
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

// Puts code and length into the header and sends the block; returns what prv_EXC_Command returns.
[[nodiscard]] inline int32_t send(CommandHeader &header, Command command, std::size_t length) {
    header.command = command;
    header.length = static_cast<uint32_t>(length);
    return prv_EXC_Command(&header);
}

// Sends a record of the shared block under a code; its length word is the record's size.
template <typename Record> [[nodiscard]] int32_t send(Record &record, Command command) {
    return send(record.header, command, sizeof(Record));
}

// Sends a command that consists of its header.
[[nodiscard]] inline int32_t send(CommandHeader &header, Command command) {
    return send(header, command, sizeof(CommandHeader));
}

} // namespace rk
