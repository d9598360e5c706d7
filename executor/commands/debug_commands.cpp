// The debug dump: counters, network cards, return addresses, lists of connections and affinities, and the tree of the
// configuration.
#include "executor/commands/commands.h"
#include "executor/commands/machine_interfaces.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <cstring>
#include <iterator>
#include <net/if.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace rk {

namespace {

// Sub-commands up to 29, and 99, only ask for the counters. Of the others, which also act, the executor knows this one.
constexpr int32_t kResetCounters = 30;

// The miscellaneous counters that the executor keeps, by their place in the record.
constexpr int kMiscConnections = 11;
constexpr int kMiscConnectionsReleased = 12;
constexpr int kMiscCommands = 28;

constexpr char kConnectionList[] = "all";

uint32_t numberOfConnections(const Executor &executor, const LiveConnections &live) {
    std::size_t number = 0;
    for (const auto &[clusterOrder, cluster] : executor.clusters.inOrder) {
        for (const auto &[portNumber, port] : cluster->ports.inOrder)
            number += connectionsOf(live, *cluster, *port).size();
    }
    return static_cast<uint32_t>(number);
}

// The number at the end of an interface's name: 1 of eth1. 0 when there is none.
uint32_t unitOf(std::string_view name) {
    const std::size_t letters = name.find_last_not_of("0123456789") + 1;
    uint32_t unit = 0;
    std::from_chars(name.data() + letters, name.data() + name.size(), unit);
    return unit;
}

// 0 when the system does not tell. `handle` is any socket.
int32_t mtuOf(int handle, std::string_view name) {
    ifreq question{};
    storeText(question.ifr_name, name);
    return ioctl(handle, SIOCGIFMTU, &question) == 0 ? question.ifr_mtu : 0;
}

void fillEntry(NetworkCardEntry &entry, const ifaddrs &address, int handle) {
    const std::string_view name = withoutAlias(address.ifa_name);
    entry.address = ipv4In(address.ifa_addr);
    entry.mask = ntohl(ipv4In(address.ifa_netmask).word);
    entry.network = ntohl(entry.address.word) & entry.mask;
    entry.subnet = entry.network; // classes no longer divide networks
    entry.subnetMask = entry.mask;
    storeText(entry.name, name);
    entry.unit = unitOf(name);
    entry.flags = address.ifa_flags;
    entry.mtu = mtuOf(handle, name);
}

// Counts a reference to a return address. A new address gets an entry if there is room for one.
void addReference(ReturnAddressesRecord &record, NetworkAddress address, NetworkAddress fsmAddress) {
    ReturnAddressEntry *end = record.entries + record.count;
    ReturnAddressEntry *entry = std::find_if(
        record.entries, end, [address](const ReturnAddressEntry &item) { return item.address.word == address.word; });
    if (entry == std::end(record.entries))
        return;
    if (entry == end) {
        entry->address = address;
        entry->fsmAddress = fsmAddress;
        ++record.count;
    }
    ++entry->references;
}

// Whether something is older than its time allows. A time of 0 has no end.
bool isStale(uint32_t now, uint32_t stamp, SplitInt64 time) {
    return time.low > 0 && now - stamp > static_cast<uint32_t>(time.low);
}

void fillEntry(ConnectionListEntry &entry, const Cluster &cluster, const Port &port, const Connections &connections,
               uint32_t now) {
    entry.clusterAddress = ntohl(cluster.settings.address.word);
    entry.port = ntohs(port.settings.port.word);
    storeText(entry.name, kConnectionList);
    entry.records = static_cast<int32_t>(connections.size());
    entry.timeout = port.settings.staleTimeout.low;
    for (const auto &[key, connection] : connections)
        entry.stale += isStale(now, connection.stamp, port.settings.staleTimeout) ? 1 : 0;
}

void fillEntry(AffinityListEntry &entry, const Cluster &cluster, const Port &port, const Connections &connections,
               uint32_t now) {
    entry.clusterAddress = cluster.settings.address;
    entry.port = ntohs(port.settings.port.word);
    entry.reused = port.affinitiesReused;
    for (const auto &[clientAddress, affinity] : port.affinities.byKey) {
        if (activeConnections(connections, affinity) > 0) {
            ++entry.active;
            continue;
        }
        ++entry.nonActive;
        entry.staleNonActive += isStale(now, affinity.stamp, port.settings.stickyTime) ? 1 : 0;
    }
}

// Fills an entry for each port, in order of the clusters and of the port numbers, as many as there is room for.
template <typename Record> void fillPortLists(const Executor &executor, const LiveConnections &live, Record &record) {
    const uint32_t now = currentTime();
    clearBody(record.header);
    for (const auto &[clusterOrder, cluster] : executor.clusters.inOrder) {
        for (const auto &[portNumber, port] : cluster->ports.inOrder) {
            if (record.count == std::ssize(record.entries))
                return;
            fillEntry(record.entries[record.count], *cluster, *port, connectionsOf(live, *cluster, *port), now);
            ++record.count;
        }
    }
}

void addStickyClient(AffinityListEntry &entry, const Port &port, const StickyClient &client) {
    if (client.active > 0) {
        ++entry.active;
        return;
    }
    ++entry.nonActive;
    entry.staleNonActive += isStale(client.idle, 0, port.settings.stickyTime) ? 1 : 0;
}

// Adds the clients that stick to servers by what an engine does. False when it cannot tell.
bool addStickyClients(const Executor &executor, const Traffic &traffic, AffinityListsRecord &record) {
    if (traffic.forwarding == nullptr)
        return true;
    AffinityListEntry *entry = record.entries;
    for (const auto &[clusterOrder, cluster] : executor.clusters.inOrder) {
        for (const auto &[portNumber, port] : cluster->ports.inOrder) {
            if (entry == record.entries + record.count)
                return true;
            std::vector<StickyClient> clients;
            if (!listStickyClients(traffic, *cluster, *port, clients))
                return false;
            for (const StickyClient &client : clients)
                addStickyClient(*entry, *port, client);
            ++entry;
        }
    }
    return true;
}

// The tree of the configuration, written from front to back.
struct Tree {
    uint8_t *next;
    const uint8_t *end;
};

// Takes the place of the next entry, all zero; null when there is no room for it.
template <typename Entry> Entry *takeEntry(Tree &tree) {
    if (static_cast<std::size_t>(tree.end - tree.next) < sizeof(Entry))
        return nullptr;
    auto *entry = reinterpret_cast<Entry *>(tree.next);
    tree.next += sizeof(Entry);
    return entry;
}

// Each count grows with its entries, so that counts and tree agree even when there is no room for all. False when there
// was none.
bool addPortToTree(Tree &tree, ByteCountersCluster &parent, const Port &port) {
    auto *portEntry = takeEntry<ByteCountersPort>(tree);
    if (portEntry == nullptr)
        return false;
    ++parent.numberOfPorts;
    for (const auto &[order, server] : port.servers.inOrder) {
        auto *serverEntry = takeEntry<ByteCountersServer>(tree);
        if (serverEntry == nullptr)
            return false;
        ++portEntry->numberOfServers;
        serverEntry->address = addressOf(server->settings);
    }
    return true;
}

bool addClusterToTree(Tree &tree, ByteCountersRecord &parent, const Cluster &cluster) {
    auto *clusterEntry = takeEntry<ByteCountersCluster>(tree);
    if (clusterEntry == nullptr)
        return false;
    ++parent.numberOfClusters;
    clusterEntry->address = cluster.settings.address;
    return std::all_of(
        cluster.ports.inOrder.begin(), cluster.ports.inOrder.end(),
        [&tree, clusterEntry](const auto &item) { return addPortToTree(tree, *clusterEntry, *item.second); });
}

} // namespace

int32_t debugDump(Executor &executor, const Traffic &traffic, DebugRequestRecord &record) {
    LiveConnections live;
    if (!listConnections(traffic, executor, live))
        return kForwardingRefused;
    if (record.subCommand == kResetCounters)
        executor.counters = Counters{};
    auto &reply = reinterpret_cast<DebugCountersRecord &>(record);
    clearBody(reply.header);
    reply.primary = executor.counters.primary;
    reply.backup = executor.counters.backup;
    reply.misc[kMiscConnections] = numberOfConnections(executor, live);
    reply.misc[kMiscConnectionsReleased] = executor.counters.connectionsReleased;
    reply.misc[kMiscCommands] = executor.counters.commands;
    return 0;
}

int32_t dumpNetworkCards(NetworkCardsRecord &record) {
    ifaddrs *addresses = nullptr;
    if (getifaddrs(&addresses) != 0)
        return kInterfacesUnreadable;
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    clearBody(record.header);
    for (const ifaddrs *address = firstIpv4(addresses); address != nullptr && record.count < std::ssize(record.entries);
         address = firstIpv4(address->ifa_next)) {
        fillEntry(record.entries[record.count], *address, handle);
        ++record.count;
    }
    if (handle != -1)
        close(handle);
    freeifaddrs(addresses);
    return 0;
}

int32_t dumpReturnAddresses(const Executor &executor, ReturnAddressesRecord &record) {
    const bool hasBackup = executor.highAvailability.mode != kHaModeAlone;
    const NetworkAddress fsmAddress = hasBackup ? executor.settings.nfa : NetworkAddress{};
    clearBody(record.header);
    for (const auto &[clusterOrder, cluster] : executor.clusters.inOrder) {
        for (const auto &[portNumber, port] : cluster->ports.inOrder) {
            for (const auto &[serverOrder, server] : port->servers.inOrder) {
                if (server->settings.returnAddress.word != 0)
                    addReference(record, server->settings.returnAddress, fsmAddress);
            }
        }
    }
    return 0;
}

int32_t dumpConnectionLists(const Executor &executor, const Traffic &traffic, ConnectionListsRecord &record) {
    LiveConnections live;
    if (!listConnections(traffic, executor, live))
        return kForwardingRefused;
    fillPortLists(executor, live, record);
    return 0;
}

int32_t dumpAffinityLists(const Executor &executor, const Traffic &traffic, AffinityListsRecord &record) {
    LiveConnections live;
    if (!listConnections(traffic, executor, live))
        return kForwardingRefused;
    fillPortLists(executor, live, record);
    return addStickyClients(executor, traffic, record) ? 0 : kForwardingRefused;
}

int32_t readByteCounters(const Executor &executor, ByteCountersRecord &record) {
    clearBody(record.header);
    auto *bytes = reinterpret_cast<uint8_t *>(&record);
    Tree tree{bytes + sizeof record, bytes + record.header.length};
    for (const auto &[order, cluster] : executor.clusters.inOrder) {
        if (!addClusterToTree(tree, record, *cluster))
            break;
    }
    return 0;
}

} // namespace rk
