// Putting back what a command has changed in the executor's state. Each procedure is for the commands of its kind,
// after they have been performed; none needs memory.
#pragma once

#include "executor/commands/attempt.h"

namespace rk {

// What commands find that work on this target. The two below add what only some commands change; they may throw.
void keepFormer(Former &former, const Target &target);
void keepWeights(Attempt &attempt); // of servers whose weights are set
void keepClients(Attempt &attempt); // of clients who are bound

void removeNewCluster(Attempt &attempt);
void removeNewPort(Attempt &attempt);
void removeNewServer(Attempt &attempt);
void removeNewRule(Attempt &attempt);
void removeNewMember(Attempt &attempt);

void restoreExecutor(Attempt &attempt);
void restoreCluster(Attempt &attempt);
void restorePort(Attempt &attempt);
void restoreServer(Attempt &attempt);
void restoreWeights(Attempt &attempt);
void restoreRule(Attempt &attempt);
void restoreClients(Attempt &attempt);

} // namespace rk
