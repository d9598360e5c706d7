#include "bench/full_replies.h"

#include "bench/stub_executor.h"
#include "rk/command_block.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <vector>

using namespace rk;

namespace {

ExecutorReportRecord executor;
ClusterReportRecord cluster;
PortReportRecord port;
ConnectionListRecord connections;
struct {
    AffinityRecord record;
    AffinityEntry entries[kWireAffinities];
} affinities;
HalfOpenRecord halfOpen;
AttackingAddressesRecord attackers;
HaStatusRecord highAvailability;
InterfaceListRecord interfaces;

// An address of 10.0.0.0/8.
NetworkAddress addressOf(int number) {
    return {htonl(0x0A000000U + static_cast<uint32_t>(number))};
}

template <std::size_t Size> void name(char (&field)[Size], const char *kind, int number) {
    snprintf(field, Size, "%s-%06u", kind, static_cast<unsigned>(number) % 1000000);
}

// The answer to list or weights commands: the block and its entries, which `fill` fills one by one.
template <typename Block, typename Entry>
void answerList(std::initializer_list<Command> commands, int32_t entries, void (*fill)(Entry &entry, int number)) {
    static std::vector<uint8_t> reply;
    reply.assign(sizeof(Block) + sizeof(Entry) * static_cast<std::size_t>(entries), 0);
    auto *block = reinterpret_cast<Block *>(reply.data());
    block->count = entries;
    for (int i = 0; i < entries; ++i)
        fill(entriesOf<Entry>(block)[i], i);
    for (const Command command : commands)
        stub::answer(command, reply.data(), reply.size());
}

void nameCluster(ClusterListEntry &entry, int number) {
    name(entry.clusterId, "CLUSTR", number);
}

void numberPort(PortListEntry &entry, int number) {
    entry.port = {htons(static_cast<uint16_t>(number))};
}

void nameRule(RuleListEntry &entry, int number) {
    name(entry.ruleName, "RULENR", number);
}

void nameServer(ServerListEntry &entry, int number) {
    entry.serverKey = static_cast<uint32_t>(number);
    name(entry.serverId, "SERVER", number);
}

void weighServer(ServerWeightEntry &entry, int number) {
    name(entry.serverId, "SERVER", number);
    entry.address = addressOf(number);
    entry.weight = 10;
}

void answerLists(int32_t entries) {
    answerList<ClusterListBlock>({Command::listClusters}, entries, nameCluster);
    answerList<PortListBlock>({Command::listPorts}, entries, numberPort);
    answerList<RuleListBlock>({Command::listRules}, entries, nameRule);
    answerList<ServerListBlock>({Command::listServers, Command::listRuleServers}, entries, nameServer);
    answerList<ServerWeightsBlock>({Command::readServerWeights}, entries, weighServer);
}

void fillConnections() {
    connections.now = 100000;
    for (int i = 0; i < kConnections; ++i) {
        ConnectionEntry &entry = connections.entries[i];
        entry.clusterAddress = addressOf(5);
        entry.clientAddress = addressOf(1000 + i);
        entry.serverAddress = addressOf(100 + i % 100);
        entry.clusterPort = {htons(80)};
        entry.clientPort = {htons(static_cast<uint16_t>(30000 + i))};
        entry.firstTime = 1;
        entry.stamp = 90000;
        entry.previousTcpState = 3;
        entry.currentTcpState = 4;
        entry.mark = 'A';
    }
}

void fillAffinities() {
    affinities.record.now = 100000;
    for (int i = 0; i < kWireAffinities; ++i) {
        affinities.entries[i].clientAddress = addressOf(1000 + i).word;
        affinities.entries[i].serverAddress = addressOf(100 + i % 100).word;
        affinities.entries[i].stamp = 90000;
    }
}

// The first interface is what the last is an alias of, and that one has the address 10.0.0.5.
void fillInterfaces() {
    for (int i = 0; i < kInterfaces; ++i) {
        InterfaceRecord &interface = interfaces.list.records[i];
        snprintf(interface.name, sizeof(interface.name), i == 0 ? "eth%d" : "eth%d:1", i == 0 ? kInterfaces - 1 : i);
        interface.ip = addressOf(5 + kInterfaces - 1 - i);
        interface.netmask = {htonl(0xFFFFFF00)};
        interface.netnumber = addressOf(0);
    }
}

// A debug dump whose entries are all zeros.
template <typename Record> void answerDump(Command command, int32_t count) {
    static Record record;
    record.count = count;
    stub::answer(command, record);
}

} // namespace

void full::answerAll(int32_t entries) {
    fillConnections();
    fillAffinities();
    fillInterfaces();
    interfaces.list.count = kInterfaces;
    highAvailability.heartbeatCount = kHeartbeats;
    highAvailability.reachCount = kReachTargets;
    answerLists(entries);
    stub::answer(Command::readExecutorReport, executor);
    stub::answer(Command::readClusterReport, cluster);
    stub::answer(Command::readPortReport, port);
    stub::answer(Command::readConnections, connections);
    stub::answer(Command::readAffinities, affinities);
    stub::answer(Command::serverDirectedAffinity, affinities);
    stub::answer(Command::readHalfOpenConnections, halfOpen);
    stub::answer(Command::readAttackingAddresses, attackers);
    stub::answer(Command::readHighAvailability, highAvailability);
    stub::answer(Command::readInterfaces, interfaces);
    answerDump<NetworkCardsRecord>(Command::dumpNetworkCards, 33);
    answerDump<ReturnAddressesRecord>(Command::dumpReturnAddresses, 129);
    answerDump<ConnectionListsRecord>(Command::dumpConnectionLists, 256);
    answerDump<AffinityListsRecord>(Command::dumpAffinityLists, 256);
    countEntries(INT32_MAX);
    executor.numberOfClusters = cluster.numberOfPorts = port.numberOfServers = port.numberOfRules = entries;
}

void full::countEntries(int32_t entries) {
    executor.numberOfClusters = cluster.numberOfPorts = port.numberOfServers = port.numberOfRules = entries;
    connections.count = std::min(entries, kConnections);
    affinities.record.count = static_cast<uint32_t>(std::min(entries, kWireAffinities));
    halfOpen.count = std::min(entries, kHalfOpenConnections);
    attackers.count = std::min(entries, kAttackingAddresses);
}
