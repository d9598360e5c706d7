// What an engine counts and lists, in the terms of the executor's objects. While nothing is forwarded all counts are 0,
// and no memory is needed.
#pragma once

#include "executor/forwarding/forwarding.h"

namespace rk {

struct Traffic {
    const Forwarding *forwarding = nullptr; // null: nothing is forwarded
};

// Counts of an object, over all the pools that have to do with it. `connections` of the totals includes what was
// counted by pools that the engine has ended; the other totals do not. False when the engine cannot tell.
bool readCounts(const Traffic &traffic, const Cluster &cluster, Counts &counts);
bool readCounts(const Traffic &traffic, const Cluster &cluster, const Port &port, Counts &counts);
bool readCounts(const Traffic &traffic, const Cluster &cluster, const Port &port, const Rule &rule, Counts &counts);

struct ServerCounts {
    Counts tcp;
    Counts udp;
};
bool readCounts(const Traffic &traffic, const Cluster &cluster, const Port &port, const Server &server,
                ServerCounts &counts);

// Counts of everything; `packetsIn` of the totals includes what was counted by pools that the engine has ended.
bool readCounts(const Traffic &traffic, const Executor &executor, Counts &counts);

// Both transports together.
Counts sumOf(const ServerCounts &counts);

// What a field of 32 or 64 bits can hold of a count: counters stop at their maximum.
int32_t inField(uint64_t count);
int64_t inLongField(uint64_t count);

// The rate for a report: what the engine measures, else what a caller has set.
int32_t rateOf(const Traffic &traffic, const Counts &counts, int32_t given);

// The connections that an engine has, with those made by hand, of each port that it forwards.
using LiveConnections = std::map<PortId, Connections>;

// Lists them for all ports, or for one. False when the engine cannot tell.
bool listConnections(const Traffic &traffic, const Executor &executor, LiveConnections &live);
bool listConnections(const Traffic &traffic, const Cluster &cluster, const Port &port, LiveConnections &live);

// All connections of a port. The list of live ones has been made for it, or is empty while nothing is forwarded.
const Connections &connectionsOf(const LiveConnections &live, const Cluster &cluster, const Port &port);

// How many of the engine's own are half-open.
uint64_t halfOpenIn(const LiveConnections &live);

// Clients that stick to servers of a port on the engine's own account, ordered by client.
bool listStickyClients(const Traffic &traffic, const Cluster &cluster, const Port &port,
                       std::vector<StickyClient> &clients);

// The address of the server that a client sticks to, in host byte order; 0 when it is none of IPv4.
uint32_t serverAddressOf(const Traffic &traffic, const StickyClient &client);

// An IPv4 address in host byte order; 0 when it is none.
uint32_t hostAddress(const Address &address);

} // namespace rk
