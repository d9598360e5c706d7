// What any engine does: the kernel's load balancer, a proxy, or a test's stand-in. An engine is a record of procedures
// and what they work on.
#pragma once

#include "executor/forwarding/plan.h"
#include "executor/state/log_text.h"

namespace rk {

// What has been counted since the pool, or the server in its pool, was made. Grows only.
struct Totals {
    uint64_t connections = 0; // of datagrams: clients' sockets that were new, as far as the engine tells them apart
    uint64_t packetsIn = 0;   // from clients
    uint64_t packetsOut = 0;  // to clients, as far as they pass this machine
    uint64_t bytesIn = 0;
    uint64_t bytesOut = 0;

    bool operator==(const Totals &) const = default;
};

struct Counts {
    Totals totals;
    uint64_t active = 0;               // connections that are open now
    uint64_t finished = 0;             // that are closed and not forgotten yet
    uint64_t connectionsPerSecond = 0; // now
    uint64_t bytesPerSecond = 0;       // in both directions
};

// What a pool or a server of a pool has counted up to its end. When a pool ends, its servers end as well.
struct EndedCounts {
    PoolId pool;
    std::optional<uint32_t> serverKey; // none: the pool itself, all servers that it ever had
    Totals totals;
};

struct LiveConnection {
    Transport transport = Transport::tcp;
    Endpoint client;
    PortId port; // as the client sees it
    Endpoint server;
    uint8_t tcpState = 0; // as the records number them (values.h); of datagrams that of an established connection
    uint32_t idle = 0;    // seconds since the last packet
    std::optional<uint32_t> age; // seconds since the first; none: the engine does not tell
};

// A client, or a network of clients, that sticks to a server.
struct StickyClient {
    PoolId pool;
    Address client; // its last bits are 0 when it is a network
    uint32_t serverKey = 0;
    uint32_t active = 0; // its connections to the server that are open
    uint32_t idle = 0;   // seconds since it was last sent to the server
};

// What can be asked for that not every engine does. What an engine does not do is kept, and the log says so once.
enum class Feature : uint8_t {
    udp,
    linkLevel, // done as translation otherwise
    content,   // likewise
    tunnel,    // servers with a router address
    crossPort,
    halfOpenLimit,
    replication,
    reset,
    backupEndpoint, // second listeners
    sourceAddress,  // return addresses
    serverSticky,   // servers that clients stick to on their own account
    connectionRate, // most connections per second of a server
    cookies,
    rulesByTime,    // hours and weekdays
    rulesByService, // type of service
    rulesByContent,
    otherRules, // rules of types that are in no plan
    everyPort,  // port 0
    attackLimit,
    bandwidth, // shared bandwidth of the executor and of clusters
};
inline constexpr int kFeatures = 20;
using Features = uint32_t; // a bit for each

// In the words of the log.
const char *nameOf(Feature feature);

constexpr Features bitOf(Feature feature) {
    return Features{1} << static_cast<unsigned>(feature);
}

// All procedures get the engine's own data first. None of them throws but std::bad_alloc, and then all is as it was.
// They are called one at a time.
struct Engine {
    void *own = nullptr;
    const char *name = ""; // for the log: "kernel"
    char mark = 'E';       // of its connections in lists
    Features features = 0; // what it does

    // Makes `plan` true, which is the one before with `change` done to it. False when something is refused: then all is
    // as it was before, and `words` say why in the engine's own words. When it is true, `words` may tell the log
    // something, and are empty otherwise. Counts that begin at 0 again because of it, of things that go and of things
    // that had to be made anew, are appended to `ended`, whether it is true or not.
    bool (*apply)(void *own, const Plan &plan, const PlanChange &change, std::vector<EndedCounts> &ended,
                  LogText &words) = nullptr;

    // Counts of a pool with all its servers, or of one server in it. False when they cannot be read. They may be up to
    // a second old, so that asking for each server of a pool lists the pool once.
    bool (*readPool)(void *own, const Pool &pool, Counts &counts) = nullptr;
    bool (*readServer)(void *own, const Pool &pool, const PoolServer &server, Counts &counts) = nullptr;

    // Counts of everything that the engine forwards. `packetsIn` is 0 where it sees no packets.
    bool (*readAll)(void *own, Counts &counts) = nullptr;

    // Appends the connections that there are, in any order; those of one port of the plan when one is asked for, of
    // port 0 all that its pools have. False when they cannot be read.
    bool (*listConnections)(void *own, const Plan &plan, const PortId *port,
                            std::vector<LiveConnection> &connections) = nullptr;

    // Appends the clients that stick to servers, in any order; those of one port when one is asked for. Bound clients
    // are not among them. False when they cannot be read.
    bool (*listStickyClients)(void *own, const Plan &plan, const PortId *port,
                              std::vector<StickyClient> &clients) = nullptr;

    // To be called every second or so: brings back what others have taken away, ends what waits for its time. `words`
    // as in apply.
    void (*tick)(void *own, const Plan &plan, std::vector<EndedCounts> &ended, LogText &words) = nullptr;

    // Ends it and frees `own`. What becomes of what is in force is the engine's to know.
    void (*close)(void *own) = nullptr;
};

} // namespace rk
