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

void fillExecutor() {
    executor.nfa = addressOf(1);
    executor.traceLevel = 1;
    executor.defaultClusterMaxPorts = 8;
    executor.finTimeout = {0, 60};
    executor.haTimeout = {0, 2};
    executor.haSyncTimeout = {0, 5};
    executor.clientGateway = addressOf(254);
    executor.defaultPortMaxServers = 32;
    executor.defaultPortStaleTimeout = {0, 300};
    executor.sharedBytesPerSecond = 125000000;
    executor.maxNumberOfClusters = 100;
    executor.defaultPortWeightBound = 20;
    executor.widePortNumber = 0;
    strcpy(executor.configFileName, "/etc/load-balancer/default.cfg");
    strcpy(executor.pluginConfigFileName, "/etc/load-balancer/plugin.cfg");
}

void fillCluster() {
    cluster.address = addressOf(0x050005);
    cluster.maxPorts = 8;
    cluster.defaultPortMaxServers = 32;
    cluster.defaultPortStickyTime = {0, 60};
    cluster.defaultPortWeightBound = 20;
    cluster.defaultPortStaleTimeout = {0, 300};
    cluster.activeConnectionsProportion = 50;
    cluster.newConnectionsProportion = 50;
    cluster.primaryHost = addressOf(1);
    cluster.numberOfPorts = 2;
    cluster.clusterKey = 123456789;
    strcpy(cluster.clusterId, "www.example.com");
}

void fillReports() {
    clusterReport.clusterKey = cluster.clusterKey;
    clusterReport.address = cluster.address;
    clusterReport.numberOfPorts = 2;
    clusterReport.synOnActive = 17;
    clusterReport.packetsDropped = 1234;
    clusterReport.bytesPerSecond = 12345678;
    clusterReport.connectionsPerSecond = 4321;
    serverReport.totalConnections = 7654321;
    serverReport.totalTcpConnections = 7654000;
    serverReport.totalUdpConnections = 321;
    serverReport.activeConnections = 1500;
    serverReport.finishedConnections = 300;
    serverReport.completeConnections = 7652521;
    serverReport.savedWeight = 10;
    serverReport.bytesPerSecond = 3456789;
}

void fillWeights() {
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
    haStatus.mode = 1;
    haStatus.address = addressOf(1);
    haStatus.state = 2;
    haStatus.port = 8888;
    haStatus.heartbeatCount = kHeartbeats;
    haStatus.reachCount = kReachTargets;
    for (int i = 0; i < kHeartbeats; ++i)
        haStatus.heartbeats[i] = {
            .local = addressOf(i), .remote = addressOf(100 + i), .unused_8 = {}, .status = 1, .unused_15 = {}};
    for (int i = 0; i < kReachTargets; ++i) {
        ReachEntry &target = haStatus.reachTargets[i];
        target.address = addressOf(200 + i);
        target.mask = {0xFFFFFFFF};
        target.localStatus = 1;
        target.localTimeStamp = 100000U + static_cast<uint32_t>(i);
        target.remoteTimeStamp = 100001U + static_cast<uint32_t>(i);
    }
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
