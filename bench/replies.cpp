#include "bench/replies.h"
#include "bench/stub_executor.h"

#include "rk/command_block.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>

using namespace rk;

namespace replies {

namespace {

struct Weights {
    ServerWeightsBlock block;
    ServerWeightEntry entries[kServers];
};

ExecutorSettingsRecord executor;
ClusterRecord cluster;
ClusterReportRecord clusterReport;
ServerReportRecord serverReport;
Weights weights;
HaStatusRecord haStatus;
ConnectionListRecord connections;
InterfaceListRecord interfaces;

// An address of a net of 2^24: 10.x.y.z.
NetworkAddress addressOf(int number) {
    return {htonl(0x0A000000 + static_cast<uint32_t>(number))};
}

// Gives every field something of its own: bytes that repeat only after 127.
template <typename Record> void fill(Record &record) {
    auto *bytes = reinterpret_cast<uint8_t *>(&record);
    for (std::size_t i = 0; i < sizeof(record); ++i)
        bytes[i] = static_cast<uint8_t>(1 + i % 127);
}

void fillExecutor() {
    fill(executor);
    strcpy(executor.configFileName, "/etc/load-balancer/default.cfg");
    strcpy(executor.pluginConfigFileName, "/etc/load-balancer/plugin.cfg");
}

void fillCluster() {
    fill(cluster);
    strcpy(cluster.clusterId, "www.example.com");
}

void fillReports() {
    fill(clusterReport);
    fill(serverReport);
}

void fillWeights() {
    fill(weights);
    weights.block.count = kServers;
    for (int i = 0; i < kServers; ++i) {
        ServerWeightEntry &entry = weights.entries[i];
        snprintf(entry.serverId, sizeof(entry.serverId), "server-%04d.example.com", i);
        entry.address = addressOf(i);
        entry.weight = static_cast<int16_t>(i % 20);
        entry.totalConnections = 1000 * i;
        entry.activeConnections = i;
    }
}

void fillHaStatus() {
    fill(haStatus);
    haStatus.heartbeatCount = kHeartbeats;
    haStatus.reachCount = kReachTargets;
}

void fillConnections() {
    connections.count = kConnections;
    connections.now = 100000;
    for (int i = 0; i < kConnections; ++i) {
        ConnectionEntry &entry = connections.entries[i];
        entry.clusterAddress = cluster.address;
        entry.clientAddress = addressOf(0x100000 + 257 * i);
        entry.serverAddress = addressOf(i % 32);
        entry.clusterPort = {htons(443)};
        entry.clientPort = {htons(static_cast<uint16_t>(40000 + i))};
        entry.firstTime = 90000;
        entry.stamp = 99000 + static_cast<uint32_t>(i % 1000);
        entry.state = 4;
        entry.previousTcpState = 3;
        entry.currentTcpState = 4;
        entry.mark = 'A';
    }
}

void fillInterfaces() {
    fill(interfaces);
    interfaces.list.count = 16;
    for (int i = 0; i < interfaces.list.count; ++i) {
        InterfaceRecord &record = interfaces.list.records[i];
        record.ip = addressOf(256 * i + 1);
        record.netmask = {htonl(0xFFFFFF00)};
        record.netnumber = addressOf(256 * i);
        record.broadcast = addressOf(256 * i + 255);
        snprintf(record.name, sizeof(record.name), "eth0:%d", i);
    }
}

} // namespace

void prepare() {
    fillExecutor();
    fillCluster();
    fillReports();
    fillWeights();
    fillHaStatus();
    fillConnections();
    fillInterfaces();
    stub::answer(Command::readExecutorSettings, executor);
    stub::answer(Command::readClusterSettings, cluster);
    stub::answer(Command::readClusterReport, clusterReport);
    stub::answer(Command::readServerReport, serverReport);
    stub::answer(Command::readServerWeights, &weights, sizeof(weights));
    stub::answer(Command::readHighAvailability, haStatus);
    stub::answer(Command::readConnections, connections);
    stub::answer(Command::readInterfaces, interfaces);
}

} // namespace replies
