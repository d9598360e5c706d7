// Commands while somebody hears the partner: the record and what is done about it change together, or neither does.
#pragma once

#include "executor/availability/agent.h"
#include "executor/commands/command_table.h"

namespace rk {

// Whether a command changes the record on high availability.
bool isOnHighAvailability(const CommandRow &row);

// Performs such a command. Returns 0 or the reason: its own, or kForwardingRefused, when the record is as it was and
// `words` say why.
int32_t performAvailable(AvailabilityAgent &agent, const CommandRow &row, const Target &target, CommandHeader &block,
                         LogText &words);

// Tells of another command that has been performed: addresses and servers may be others.
void noteChange(AvailabilityAgent &agent, const CommandRow &row, const Target &target);

} // namespace rk
