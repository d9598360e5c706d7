#include "directors.h"

namespace rk {

std::vector<MachineAddress> machineOf(int director) {
    const std::string last = std::to_string(director);
    return {{address("127.0.0.1"), 8, "lo"},
            {address(("10.1.0." + last).c_str()), 24, "eth0"},
            {address(("10.2.0." + last).c_str()), 24, "eth1"},
            {address(("10.3.0." + last).c_str()), 24, "eth2"}};
}

Executor pairedExecutor(uint8_t role, uint8_t strategy, uint16_t haPort) {
    Executor executor;
    executor.highAvailability.mode = 1;
    executor.highAvailability.role = role;
    executor.highAvailability.strategy = strategy;
    executor.highAvailability.port = haPort;
    return executor;
}

void addHeartbeat(Executor &executor, const char *local, const char *remote) {
    HaStatusRecord &record = executor.highAvailability;
    HeartbeatEntry &heartbeat = record.heartbeats[record.heartbeatCount];
    heartbeat.local = address(local);
    heartbeat.remote = address(remote);
    ++record.heartbeatCount;
}

void addCluster(Executor &executor, uint32_t key, const char *dotted, const char *primaryHost, const char *server) {
    Cluster cluster;
    cluster.settings.address = address(dotted);
    cluster.settings.primaryHost = address(primaryHost);
    if (server != nullptr) {
        Port port;
        Server only;
        setText(only.settings.serverId, server);
        addItem(port.servers, uint32_t{1}, 1, std::move(only));
        addItem(cluster.ports, 80, 80, std::move(port));
    }
    addItem(executor.clusters, key, static_cast<int64_t>(key), std::move(cluster));
}

Executor directorWithTwoPaths(int director, uint8_t role, uint8_t strategy) {
    Executor executor = pairedExecutor(role, strategy);
    for (const char *network : {"10.3.0.", "10.1.0."}) { // not in the order of the addresses
        const std::string local = network + std::to_string(director);
        const std::string remote = network + std::to_string(3 - director);
        addHeartbeat(executor, local.c_str(), remote.c_str());
    }
    return executor;
}

Partnership partnershipOf(const Executor &executor, const std::vector<MachineAddress> &machine,
                          const PartnershipOptions &options) {
    Partnership partnership;
    LogText words;
    EXPECT_TRUE(describePartnership(executor, machine, options, partnership, words)) << words.text;
    return partnership;
}

} // namespace rk
