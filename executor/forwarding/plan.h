// What is to be forwarded, in words that do not depend on who does it: pools of servers, selectors that lead
// connections to them, and clients that are bound to a server. An engine gets the plan as a whole together with what
// changed in it.
//
// Addresses carry their family, ports are in host byte order, times are in seconds. Nothing in here points into the
// executor's state.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace rk {

enum class AddressFamily : uint8_t { none, ipv4, ipv6 };

// Of the bytes, in network order, the first 4 or all 16 count; the others are 0.
struct Address {
    AddressFamily family = AddressFamily::none; // none: there is no address
    std::array<uint8_t, 16> bytes{};

    bool operator==(const Address &) const = default;
};

inline bool operator<(const Address &one, const Address &other) {
    return std::tie(one.family, one.bytes) < std::tie(other.family, other.bytes);
}

struct Endpoint {
    Address address;
    uint16_t port = 0;

    bool operator==(const Endpoint &) const = default;
};

inline bool operator<(const Endpoint &one, const Endpoint &other) {
    return std::tie(one.address, one.port) < std::tie(other.address, other.port);
}

enum class Transport : uint8_t { tcp, udp };

// A port that clients connect to: the address of a cluster and a port number; 0 is every port of the address that has
// no own entry.
using PortId = Endpoint;

// What tells a pool from all others, in this run and in any other with the same configuration. A port of type TCP and
// UDP has two pools, and so has each of its rules. In this order the pools of a port stand side by side.
struct PoolId {
    PortId port;
    Transport transport = Transport::tcp;
    std::optional<std::string> rule; // the rule that leads to the pool, its name as it came; none: the port's own pool

    bool operator==(const PoolId &) const = default;
};

inline bool operator<(const PoolId &one, const PoolId &other) {
    return std::tie(one.port, one.transport, one.rule) < std::tie(other.port, other.transport, other.rule);
}

// How what a client sends gets to the servers.
enum class Method : uint8_t {
    linkLevel, // unchanged, to the hardware address of the server, or through a tunnel to one that has a router address
    translation, // with addresses and ports translated
    content,     // by a connection of the engine's own, after the request has been read
};

// Protocols of the contents.
enum class Protocol : uint8_t { none, http, tls };

struct PoolSettings {
    Method method = Method::linkLevel;
    Protocol protocol = Protocol::none;
    uint32_t stickyTime = 0; // a client stays with its server for so long after its last connection; 0: it does not
    uint8_t stickyBits = 32; // clients that have these first bits of their address in common stick together; 0: all do

    // Ports of one address with the same number here share their sticky clients; 0: the port is on its own. It is the
    // number of the port that the others cross to, which is in the group as well. Pools of rules are in none.
    uint16_t group = 0;

    uint32_t staleTimeout = 0; // connections without traffic for longer are forgotten; 0: the engine's own time
    uint32_t maxHalfOpen = 0;  // most half-open connections; 0: no limit
    bool isReplicated = false; // a backup machine is to know the connections
    bool sendsReset = false;   // connections are reset when their server is taken away

    // Of the pool of a rule with contents, as the manager gave them; unused otherwise.
    int32_t affinityType = 0; // by what clients stick, the executor gives the number no meaning
    std::string cookieName;   // empty: clients do not stick by cookie. Any bytes but zero

    bool operator==(const PoolSettings &) const = default;
};

// Why a server gets no connections.
enum class Availability : uint8_t {
    up,
    quiesced, // new connections go elsewhere, those that there are go on
    down,     // likewise, as it does not answer
};

struct PoolServer {
    uint32_t key = 0; // of the server, unique in its port
    std::string name; // its identifier. Any bytes but zero
    Endpoint endpoint;
    Endpoint backup;    // the second listener, to be used while the first does not answer; family none: there is none
    int32_t weight = 0; // share of new connections, 0 to 100. It is 0 as well while the server is quiesced or down
    int32_t fullWeight = 0; // the weight while it is up
    Availability availability = Availability::up;
    bool hasFixedWeight = false;
    bool isSticky = false;        // clients stick to it even where the pool has no sticky time, as the manager wants it
    Address router;               // to be reached through; family none: it is on a network of this machine
    Address source;               // what it is to see as the client's address; family none: the client's own
    bool isCollocated = false;    // on this machine
    uint32_t mostConnections = 0; // connections per second; 0: no limit
    uint32_t connectTimeout = 0;  // 0: the engine's own time
    bool waitsForComplete = false; // as the manager wants it, the executor gives it no meaning
    std::string cookieValue;       // empty: none. Any bytes but zero
    std::string cloneId;           // likewise

    bool operator==(const PoolServer &) const = default;
};

// Whether new connections may go to the server.
inline bool takesConnections(const PoolServer &server) {
    return server.weight > 0;
}

struct Pool {
    PoolId id;
    PoolSettings settings;
    std::map<uint32_t, PoolServer> servers;     // by key
    std::map<Endpoint, uint32_t> keyOfEndpoint; // of the same servers: no two have the same endpoint
    int32_t takers = 0;                         // servers that take connections
};

// What a selector looks at. The rules of all other types are not in the plan.
enum class Match : uint8_t {
    always,
    clientAddress, // firstAddress to lastAddress
    hours,         // first to last, 0 to 23: from the beginning of the first hour to the end of the last
    clientPort,    // first to last, 0 to 65535
    weekdays,      // first to last, 0 Sunday to 6 Saturday
    typeOfService, // none of serviceBitsClear, all of serviceBitsSet
    content,       // the path of the request matches the regular expression `pattern`
};

// A rule that is asked: one that has a server to take the connection. What matches goes to the pools of the rule.
struct Selector {
    std::string rule;
    Match match = Match::always;
    Address firstAddress;
    Address lastAddress;
    uint16_t first = 0;
    uint16_t last = 0;
    uint8_t serviceBitsClear = 0;
    uint8_t serviceBitsSet = 0;
    std::string pattern; // any bytes but zero

    bool operator==(const Selector &) const = default;
};

// A client that the manager has bound to a server of the port, whatever the selectors say. While the server is not
// there or takes no connections, the client is as any other.
struct BoundClient {
    Address client;
    uint32_t serverKey = 0;

    bool operator==(const BoundClient &) const = default;
};

// What belongs to a port and to none of its pools.
struct PortPlan {
    uint32_t clusterKey = 0; // of the executor's cluster that has the port
    std::map<int32_t, Selector>
        selectors; // by priority: the first that matches decides, without one the port's own pool
    std::map<Address, BoundClient> clients; // by address
};

// Of the whole machine.
struct PlanSettings {
    Address ownAddress;            // the machine's own, not to be forwarded; family none: not told
    uint32_t finTimeout = 0;       // of connections that are being closed; 0: the engine's own time
    uint32_t longestTcpStale = 0;  // the longest stale time-out of the pools of the transport; 0: there is no pool, or
    uint32_t longestUdpStale = 0;  // none tells one
    bool isReplicated = false;     // a pool is replicated
    bool translatesSource = false; // a server of a pool has a source
    int32_t secondsWest = 0;       // of Greenwich: the zone of hours and weekdays; 0 as well when it was not told
    uint32_t cookieLifetime = 0;   // 0: as long as the browser runs
    std::array<uint32_t, 8> attackParameters{}; // the first: most half-open connections of one client; 0: no limit

    bool operator==(const PlanSettings &) const = default;
};

// How many there are of what makes a setting of the whole machine.
struct PlanTallies {
    std::map<uint32_t, int32_t> staleTimeouts[2]; // of each transport: pools with a stale time-out, by it
    int32_t replicatedPools = 0;
    int32_t serversWithSource = 0; // one that is in two pools counts twice

    bool operator==(const PlanTallies &) const = default;
};

// All of it, as far as the engine does it: pools of transports and selectors that it does not do are left out.
struct Plan {
    PlanSettings settings;
    std::map<PortId, PortPlan> ports; // every port that has a pool
    std::map<PoolId, Pool> pools;
    PlanTallies tallies; // not for engines
};

// --- What changed ----------------------------------------------------------------------------------------------------

// A thing before and after. `before` is null for a new one, `after` for one that goes.
template <typename Item> struct Change {
    const Item *before = nullptr;
    const Item *after = nullptr;
};

// A server of a pool that stays.
struct ServerChange {
    const Pool *pool = nullptr;
    Change<PoolServer> server; // the same key and endpoint in both: with another endpoint, one goes and one is new
};

struct SelectorChange {
    PortId port;
    int32_t priority = 0;
    Change<Selector> selector;
};

struct ClientChange {
    PortId port;
    Change<BoundClient> client;
};

struct PoolSettingsChange {
    const Pool *pool = nullptr; // as it is now
    const PoolSettings *before = nullptr;
};

// The difference between a plan and the one before it. All pointers hold until the engine returns. In each list what is
// new comes first, then what changed, then what goes; within that, in ascending order.
//
// An engine that does all that is new, then all that changed, then all that goes, never leaves a connection without a
// server that has one before and after.
struct PlanChange {
    const PlanSettings *settingsBefore = nullptr; // null: the same
    std::vector<const Pool *> newPools;           // with all their servers, which `servers` does not tell
    std::vector<PoolSettingsChange> changedPools; // their servers are in `servers` if they changed
    std::vector<const Pool *> removedPools;       // as they were, with all their servers
    std::vector<ServerChange> servers;
    std::vector<SelectorChange> selectors; // those of ports that are new or go as well
    std::vector<ClientChange> clients;     // likewise
};

} // namespace rk
