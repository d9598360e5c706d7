// From a plan to HAProxy's configuration. Pure procedures: no file is read or written. Objects are numbered, and what
// people have chosen is written in a way that cannot end a word or a line.
#pragma once

#include "executor/forwarding/planning.h"

#include <initializer_list>
#include <set>
#include <string>
#include <string_view>

namespace rk {

// What HAProxy knows a server by. Servers of ports that share their clients are known by their addresses alone, since
// a client's server is the same machine on each of the ports.
using ServerIdentity = Endpoint;

// Numbers of pools and servers. They are given once: connections and counts of one that is gone are nobody else's.
struct ProxyNumbers {
    std::map<PoolId, uint32_t> pools;
    std::map<ServerIdentity, uint32_t> servers;
    uint32_t lastPool = 0;
    uint32_t lastServer = 0;
};

// Numbers everything in a plan that has no number yet.
void numberPlan(ProxyNumbers &numbers, const Plan &plan);
void numberPool(ProxyNumbers &numbers, const Pool &pool);
void numberServer(ProxyNumbers &numbers, const Pool &pool, const PoolServer &server);

// Of what has a number; 0 when it has none.
uint32_t numberOf(const ProxyNumbers &numbers, const PoolId &pool);
uint32_t numberOf(const ProxyNumbers &numbers, const Pool &pool, const PoolServer &server);

// Whether HAProxy reads the requests of a port.
bool readsRequests(const PoolSettings &settings);

// The pool that keeps the sticky clients of a pool: itself, or that of the port to which its port crosses. Null when
// nothing sticks.
const Pool *keeperOf(const Plan &plan, const Pool &pool);

// Whether a pool keeps sticky clients, its own or those of others.
bool keepsClients(const Plan &plan, const Pool &pool);

// Where a pool's bound clients are, and its sticky clients while they move to another worker.
std::string boundFile(const std::string &folder, uint32_t pool);
std::string stickyFile(const std::string &folder, uint32_t pool);

// The servers that bound clients of a port go to now, by their numbers. A client whose server takes no connections is
// as any other.
std::map<Address, uint32_t> boundServers(const Plan &plan, const ProxyNumbers &numbers, const PortId &port);

// A server that nothing is sent to: it is up as long as any port has bound clients. HAProxy sees that faster than that
// an address is in no map.
inline constexpr std::string_view kBoundMark = "marks/bound";

// The contents of the files above: clients and servers.
std::string mapText(const std::map<Address, uint32_t> &servers);

// The whole configuration. All that the plan has is numbered; `moving` are the pools that have a file of sticky
// clients.
std::string configurationText(const Plan &plan, const ProxyNumbers &numbers, const std::string &folder,
                              const std::set<uint32_t> &moving);

// What follows the name of a server in the configuration and in `add server` alike, but for its state. `own` is its
// number.
std::string serverText(const Pool &pool, const PoolServer &server, uint32_t own);

// The parts one after the other.
std::string joined(std::initializer_list<std::string_view> parts);

// 10.0.0.1:80
std::string endpointText(const Endpoint &endpoint);

// Bytes as a word of the configuration: all that might have a meaning is written as its code.
std::string quoted(std::string_view bytes);

// The networks that make up a range of IPv4 addresses.
std::vector<std::string> networksIn(const Address &first, const Address &last);

// Whether a text can be the name, or the value, of a cookie: anything else could end the header that it is in.
bool isCookieName(std::string_view text);
bool isCookieValue(std::string_view text);

} // namespace rk
