// What the tests of partnerships start from: two directors on three networks, as each of them sees itself.
#pragma once

#include "executor/availability/partnership.h"
#include "executor_client.h"

namespace rk {

// 10.1.0.N/24 on eth0, 10.2.0.N/24 on eth1, 10.3.0.N/24 on eth2.
std::vector<MachineAddress> machineOf(int director);

// The record of a director with a backup and no heartbeats; its executor is otherwise fresh.
Executor pairedExecutor(uint8_t role, uint8_t strategy = 0, uint16_t haPort = 9000);

void addHeartbeat(Executor &executor, const char *local, const char *remote);

// A cluster, and a port with one server if one is named.
void addCluster(Executor &executor, uint32_t key, const char *dotted, const char *primaryHost = "0.0.0.0",
                const char *server = nullptr);

// Both heartbeats of a director: over 10.1.0.0 and 10.3.0.0.
Executor directorWithTwoPaths(int director, uint8_t role, uint8_t strategy = 0);

// The partnership, which is expected to be possible.
Partnership partnershipOf(const Executor &executor, const std::vector<MachineAddress> &machine,
                          const PartnershipOptions &options = {});

} // namespace rk
