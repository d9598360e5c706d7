// Affinity records: which server a client of a port is bound to by serverDirectedAffinity, or sticks to by what an
// engine does.
#include "executor/commands/commands.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <new>

namespace rk {

namespace {

// The leading bits of a client's address, which decide the server that it sticks to.
uint32_t clientMask(const Port &port) {
    const int32_t bits = port.settings.stickyBits;
    return bits == 0 ? 0 : ~uint32_t{0} << (kHighestStickyBits - bits);
}

// The entries that a block has room for, by its length.
uint32_t roomIn(const AffinityRecord &record) {
    return static_cast<uint32_t>((record.header.length - sizeof record) / sizeof(AffinityEntry));
}

// Fills the head of a reply, except the count.
void fillHead(AffinityRecord &record, const Port &port) {
    record.response = 0;
    std::memset(record.unused_24, 0, sizeof record.unused_24);
    record.now = currentTime();
    record.clientMask = clientMask(port);
    record.alternativeHeader = 0;
}

void clearEntries(AffinityRecord &record, uint32_t first) {
    auto *entries = entriesOf<AffinityEntry>(&record);
    std::fill(entries + first, entries + roomIn(record), AffinityEntry{});
}

// Addresses in host byte order.
AffinityEntry entryOf(const Connections &connections, const Affinity &affinity) {
    AffinityEntry entry{};
    entry.clientAddress = affinity.clientAddress;
    entry.serverAddress = affinity.serverAddress;
    entry.serverKey = affinity.serverKey;
    entry.activeConnections = activeConnections(connections, affinity);
    entry.firstTime = affinity.stamp;
    entry.stamp = affinity.stamp;
    return entry;
}

int32_t bindClient(Executor &executor, Port &port, const AffinityEntry &request) {
    if (!isUnicast({htonl(request.clientAddress)}))
        return kOutOfRange;
    if (findItem(port.servers, request.serverKey) == nullptr)
        return kUnknownServer;
    Affinity affinity;
    affinity.clientAddress = request.clientAddress;
    affinity.serverAddress = request.serverAddress;
    affinity.serverKey = request.serverKey;
    affinity.stamp = currentTime();
    if (Affinity *kept = findItem(port.affinities, request.clientAddress); kept != nullptr) {
        affinity.order = kept->order;
        *kept = affinity;
        ++port.affinitiesReused;
        return 0;
    }
    affinity.order = executor.nextOrder;
    try {
        addItem(port.affinities, request.clientAddress, affinity.order, affinity);
    } catch (const std::bad_alloc &) {
        return kOutOfMemory; // of this entry only
    }
    ++executor.nextOrder;
    return 0;
}

int32_t releaseClient(Port &port, uint32_t clientAddress) {
    const Affinity *affinity = findItem(port.affinities, clientAddress);
    if (affinity == nullptr)
        return kUnknownAffinity;
    removeItem(port.affinities, clientAddress, affinity->order);
    return 0;
}

// The reply to one entry of a request: how its client is bound now, and what became of the entry.
AffinityEntry replyTo(const AffinityEntry &request, Port &port, const Connections &connections, int32_t response) {
    const Affinity *affinity = findItem(port.affinities, request.clientAddress);
    AffinityEntry reply{};
    if (affinity != nullptr) {
        reply = entryOf(connections, *affinity);
    } else {
        reply.clientAddress = request.clientAddress;
        reply.serverAddress = request.serverAddress;
        reply.serverKey = request.serverKey;
    }
    reply.stamp = static_cast<uint32_t>(response);
    return reply;
}

int32_t ageOf(Port &port, uint32_t clientAddress) {
    const Affinity *affinity = findItem(port.affinities, clientAddress);
    return affinity == nullptr ? kUnknownAffinity : static_cast<int32_t>(currentTime() - affinity->stamp);
}

int32_t performOn(Executor &executor, Port &port, int32_t command, const AffinityEntry &request) {
    switch (command) {
    case kBindClients:
        return bindClient(executor, port, request);
    case kReleaseClients:
        return releaseClient(port, request.clientAddress);
    default:
        return ageOf(port, request.clientAddress);
    }
}

// Fills in as many records of a port as there is room for, and counts those.
void fillWithAll(AffinityRecord &record, const Port &port, const Connections &connections) {
    auto *entries = entriesOf<AffinityEntry>(&record);
    const uint32_t room = roomIn(record);
    uint32_t filled = 0;
    for (const auto &[order, affinity] : port.affinities.inOrder) {
        if (filled == room)
            break;
        entries[filled] = entryOf(connections, *affinity);
        ++filled;
    }
    record.count = filled;
    clearEntries(record, filled);
}

// Adds as many clients that stick to servers by what an engine does as there is room for, and counts those.
void addStickyClients(AffinityRecord &record, const Traffic &traffic, const std::vector<StickyClient> &clients) {
    auto *entries = entriesOf<AffinityEntry>(&record);
    const uint32_t room = roomIn(record);
    for (const StickyClient &client : clients) {
        if (record.count == room)
            break;
        AffinityEntry &entry = entries[record.count];
        entry.clientAddress = hostAddress(client.client);
        entry.serverAddress = serverAddressOf(traffic, client);
        entry.serverKey = client.serverKey;
        entry.activeConnections = client.active;
        entry.firstTime = entry.stamp = record.now - client.idle;
        ++record.count;
    }
}

} // namespace

int32_t readAffinities(const Cluster &cluster, const Port &port, const Traffic &traffic, AffinityRecord &record) {
    LiveConnections live;
    std::vector<StickyClient> clients;
    if (!listConnections(traffic, cluster, port, live) || !listStickyClients(traffic, cluster, port, clients))
        return kForwardingRefused;
    const bool isDetailed = record.count != 0;
    record.command = 0;
    fillHead(record, port);
    if (!isDetailed) {
        record.count = static_cast<uint32_t>(port.affinities.byKey.size() + clients.size());
        clearEntries(record, 0);
        return 0;
    }
    fillWithAll(record, port, connectionsOf(live, cluster, port));
    auto *entries = entriesOf<AffinityEntry>(&record);
    addStickyClients(record, traffic, clients);
    for (uint32_t index = 0; index < record.count; ++index) {
        entries[index].clientAddress = htonl(entries[index].clientAddress);
        entries[index].serverAddress = htonl(entries[index].serverAddress);
    }
    return 0;
}

int32_t serverDirectedAffinity(Executor &executor, const Cluster &cluster, Port &port, const Traffic &traffic,
                               AffinityRecord &record) {
    const int32_t command = record.command;
    if (command != kBindClients && command != kReleaseClients && command != kReadClients)
        return kOutOfRange;
    LiveConnections live; // asked for only when clients are read: a change takes no longer with many connections
    if (command == kReadClients && !listConnections(traffic, cluster, port, live))
        return kForwardingRefused;
    const Connections &connections = connectionsOf(live, cluster, port);

    auto *entries = entriesOf<AffinityEntry>(&record);
    fillHead(record, port);
    if (command == kReadClients && record.count == 0) {
        fillWithAll(record, port, connections);
        for (uint32_t index = 0; index < record.count; ++index)
            entries[index].stamp = record.now - entries[index].stamp;
        return 0;
    }
    for (uint32_t index = 0; index < record.count; ++index) {
        const AffinityEntry request = entries[index];
        const int32_t response = performOn(executor, port, command, request);
        entries[index] = replyTo(request, port, connections, response);
        if (response < 0 && record.response == 0)
            record.response = response;
    }
    clearEntries(record, record.count);
    return 0;
}

} // namespace rk
