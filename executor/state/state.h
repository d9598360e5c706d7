// The executor's state: plain records. Settings are kept in the layout in which they travel, so that reading them is a
// copy; header, flags and unused bytes are 0.
#pragma once

#include "executor/state/trace_log.h"
#include "executor/state/values.h"
#include "rk/cluster_records.h"
#include "rk/diagnostic_records.h"
#include "rk/executor_records.h"
#include "rk/ha_records.h"
#include "rk/interface_records.h"
#include "rk/port_records.h"
#include "rk/rule_records.h"
#include "rk/server_records.h"

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace rk {

// Objects that are found by their key and listed by another order. An object stays where it is until it is removed.
// It can be moved but not copied: the copy's order would point to the original's items.
template <typename Key, typename Item> struct OrderedItems {
    OrderedItems() = default;
    OrderedItems(OrderedItems &&) noexcept = default;
    OrderedItems &operator=(OrderedItems &&) noexcept = default;

    std::map<Key, Item, std::less<>> byKey;
    std::map<int64_t, Item *> inOrder;
};

struct Server {
    ServerRecord settings{};
    int64_t order = 0;       // order of addition
    bool isDown = false;     // marked down: the weight is 0
    int16_t savedWeight = 0; // of a server that is down: the weight it gets back when it is marked up
    int32_t connectionsPerSecond = 0;
    uint64_t formerTcpConnections = 0; // counted by what an engine has ended since
    uint64_t formerUdpConnections = 0; // likewise
};

struct RuleMember {
    const Server *server = nullptr;
    int64_t order = 0;    // order of addition to the rule
    int32_t argument = 0; // the caller's; whatever chooses among the servers may use it
};

struct Rule {
    RuleRecord settings{};
    int32_t uniqueId = 0;
    int32_t connectionsPerSecond = 0;
    uint64_t formerConnections = 0;             // counted by what an engine has ended since
    OrderedItems<uint32_t, RuleMember> members; // by server key
};

struct Connection {
    uint32_t clientAddress = 0; // in host byte order
    uint16_t clientPort = 0;    // in host byte order
    NetworkAddress serverAddress{};
    uint8_t state = 0; // the caller's; the executor knows only the flag kConnectionHalfOpen
    uint8_t tcpState = kTcpEstablished;
    bool isDatagram = false;
    char mark = kMadeByHand;
    uint32_t firstTime = 0; // when it was made: seconds since 1970
    uint32_t stamp = 0;     // when it last had a packet, likewise
};

using Connections = std::multimap<uint64_t, Connection>; // by client address and port, and in order of them

struct Affinity {
    uint32_t clientAddress = 0; // in host byte order
    uint32_t serverAddress = 0; // in host byte order
    uint32_t serverKey = 0;
    int64_t order = 0;  // order of addition
    uint32_t stamp = 0; // when the client was last bound to a server: seconds since 1970
};

struct Port {
    PortRecord settings{};
    uint16_t affinityType =
        0; // the cluster's default when the port was added; for whatever forwards, no command reads it
    int32_t connectionsPerSecond = 0;
    OrderedItems<uint32_t, Server> servers; // by server key
    OrderedItems<std::string, Rule> rules;  // by name, in order of priority

    Connections connections;                     // those made by hand
    OrderedItems<uint32_t, Affinity> affinities; // by client address
    int32_t affinitiesReused = 0;                // how often a client that was bound was bound again
};

struct Cluster {
    ClusterRecord settings{};
    int64_t order = 0; // order of addition
    int32_t connectionsPerSecond = 0;
    OrderedItems<int32_t, Port> ports; // by port number, and in order of it
};

// Counters of a state machine, by their place in its record.
enum FsmCounter : uint8_t {
    kCountCommands = 0,     // performed commands on high availability, reads not counted
    kCountHeartbeats = 2,   // heartbeats added
    kCountReachChanges = 4, // reach targets added, changed or deleted
    kCountTakeOvers = 6,    // take-overs that made it active
    kCountStateChanges = 10,
    kCountSubstateChanges = 11,
    kCountTimersSet = 12,
};

// What the executor has counted, for the debug dump.
struct Counters {
    FsmCounters primary{};
    FsmCounters backup{};
    uint32_t commands = 0;
    uint32_t connectionsReleased = 0;
};

// What a start begins afresh.
struct Executor {
    ExecutorSettingsRecord settings{};
    HaStatusRecord highAvailability{};
    AttackProtectionRecord attackProtection{};
    IcmpRecord icmp{};
    Counters counters{};
    int32_t timeStarted = 0; // seconds since 1970
    int32_t connectionsPerSecond = 0;
    uint64_t formerPackets = 0;               // counted by what an engine has ended since
    OrderedItems<uint32_t, Cluster> clusters; // by cluster key
    std::set<uint32_t> clusterAddresses;      // in network byte order
    int64_t nextOrder = 1;
    int32_t nextRuleId = 1;
};

struct Forwarding;        // executor/forwarding
struct AvailabilityAgent; // executor/availability

// Names of interfaces, in a record of fixed size: noting one cannot fail.
struct NotedInterfaces {
    char names[kInterfaces][16]; // the first `count` of them
    int count = 0;
};

struct ExecutorState {
    bool isProcessReady = false;
    bool isStarted = false;
    std::string installPath;
    std::FILE *log = nullptr; // null: there is no log file
    TraceLog trace;
    NotedInterfaces toldInterfaces; // those that the logs have a line on
    Executor executor;
    Forwarding *forwarding = nullptr;          // null: nothing is forwarded
    AvailabilityAgent *availability = nullptr; // null: no partner is ever heard
};

// The key of a connection among those of a port. Address and port are in host byte order.
uint64_t connectionKey(uint32_t clientAddress, uint16_t clientPort);

bool isHalfOpen(const Connection &connection);

// How many of a port's connections a bound client has to its server.
uint32_t activeConnections(const Connections &connections, const Affinity &affinity);

// The address of a server, as far as its settings tell one; else 0.0.0.0.
NetworkAddress addressOf(const ServerRecord &settings);

// Give a cluster other settings, its address among them, or a rule, its priority among them. No other one has the new
// address or priority. They need no memory.
void replaceSettings(Executor &executor, Cluster &cluster, const ClusterRecord &settings);
void replaceSettings(Port &port, Rule &rule, const RuleRecord &settings);

// The weight that a server has when it is up. While the server is down, a new weight waits for that.
int16_t weightWhenUp(const Server &server);
void setWeightWhenUp(Server &server, int16_t weight);

// Null when there is no such item.
template <typename Items, typename Wanted> auto *findItem(Items &items, const Wanted &key) {
    const auto found = items.byKey.find(key);
    return found == items.byKey.end() ? nullptr : &found->second;
}

template <typename Key, typename Item> int32_t numberOf(const OrderedItems<Key, Item> &items) {
    return static_cast<int32_t>(items.byKey.size());
}

// Adds an item whose key and order are not in use. When it throws std::bad_alloc, the items are as they were: it
// obtains all memory first, and merge only links what is there.
template <typename Key, typename Item>
void addItem(OrderedItems<Key, Item> &items, const Key &key, int64_t order, Item item) {
    OrderedItems<Key, Item> added;
    Item &place = added.byKey.emplace(key, std::move(item)).first->second;
    added.inOrder.emplace(order, &place);
    items.byKey.merge(added.byKey);
    items.inOrder.merge(added.inOrder);
}

// Removes an item that is there.
template <typename Key, typename Item, typename Wanted>
void removeItem(OrderedItems<Key, Item> &items, const Wanted &key, int64_t order) {
    items.inOrder.erase(order);
    items.byKey.erase(items.byKey.find(key));
}

// Fills as many entries of a list as there is room for, by `fillEntry(Entry &, const Item &)`, and sets the count to
// that. The other entries become zero, so that a caller who reads them all finds empty ones.
template <typename Entry, typename Block, typename Key, typename Item>
void fillList(Block &block, const OrderedItems<Key, Item> &items) {
    Entry *entry = entriesOf<Entry>(&block);
    Entry *const end = entry + block.count;
    block.count = 0;
    for (const auto &[order, item] : items.inOrder) {
        if (entry == end)
            break;
        *entry = Entry{};
        fillEntry(*entry, *item);
        ++entry;
        ++block.count;
    }
    for (; entry != end; ++entry)
        *entry = Entry{};
}

} // namespace rk
