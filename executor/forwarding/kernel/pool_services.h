// What the plan's pools are in the kernel's load balancer: which services there are to be, with which servers. Pure
// procedures, but for the marks that they give out.
#pragma once

#include "executor/forwarding/kernel/ipvs_change.h"
#include "executor/forwarding/kernel/mark_numbers.h"
#include "executor/forwarding/plan.h"

#include <set>

namespace rk {

inline constexpr uint32_t kLongestKernelTime =
    2'147'483; // seconds; the kernel counts ticks in 32 bits, up to 1000 a second

// An IPv4 address in network byte order, 0 for none; and back.
uint32_t wordOf(const Address &address);
Address addressOf(uint32_t word);

// The same in words: "10.0.0.1".
std::string dottedText(const Address &address);

uint16_t transportNumber(Transport transport);

// The names that marks are given out for, the same in every run:
// "tcp 10.0.0.1:80", "tcp 10.0.0.1:80 rule 6F6666696365", "tcp 10.0.0.1 group 80", "tcp 10.0.0.1:80 server 000000C4".
std::string nameOf(const PoolId &pool);
std::string groupNameOf(const PoolId &pool, uint16_t group);
std::string boundNameOf(const PoolId &pool, uint32_t serverKey);

// The name of a thing that is no more, and whose service finishes: the same thing may come again, and be another one.
// `ports` are those of a group.
std::string finishingNameOf(const std::string &name, uint32_t mark, const std::set<uint16_t> &ports);
bool isFinishingName(std::string_view name);

// Which ports' own pools a service of such a name belongs to. None: the name is none of these.
struct NamedPools {
    Transport transport = Transport::tcp;
    Address address;
    uint16_t port = 0;        // that of a group is the one that its ports cross to
    bool isGroup = false;     // the pools of the other ports of the group as well
    std::set<uint16_t> ports; // these, if the name tells them
};
std::optional<NamedPools> poolsNamed(std::string_view name);

// The service of what has a mark.
IpvsServiceKey markService(uint32_t mark);

// The plan's pool, or null.
const Pool *findPool(const Plan &plan, const PoolId &id);

// The plan's key of a server of the pool: of this address and port, or of the pool's own port. Null when it has
// neither.
const uint32_t *serverKeyAt(const Pool &pool, const Endpoint &server);

// Whether a pool is balanced together with the others of its group, by a mark: it has to have the servers of the port
// that the group crosses to, and all of these take connections at the port that the client asked for.
bool isSharingGroup(const Plan &plan, const Pool &pool);

// The pool whose servers and settings decide for `pool`: itself, or that of the port that its group crosses to.
const Pool &leaderOf(const Plan &plan, const Pool &pool);

// Where connections to the pool are balanced. A pool without an address and port of its own gets a mark.
IpvsServiceKey serviceOf(const Plan &plan, const Pool &pool, MarkNumbers &marks);

// The other way for the service of an address: which port's own pool it is.
PoolId poolAt(const IpvsServiceKey &key);

// Where the connections of clients are balanced that are bound to a server of a port's own pool.
IpvsServiceKey boundServiceOf(const Pool &pool, uint32_t serverKey, MarkNumbers &marks);

IpvsServiceSettings serviceSettings(const PoolSettings &settings, const std::string &scheduler);
IpvsServerKey serverKeyOf(const PoolServer &server, bool isSharing);
IpvsServerSettings serverSettings(const PoolSettings &settings, const PoolServer &server, const std::string &scheduler);

// The servers of the service of a pool that decides.
IpvsServers serversOf(const Plan &plan, const Pool &pool, const std::string &scheduler);

// The servers of a port's own pool to which clients are bound that go there: those that take connections.
std::set<uint32_t> boundServersOf(const Plan &plan, const Pool &pool);

// Everything. Throws std::bad_alloc.
IpvsTable servicesOf(const Plan &plan, const std::string &scheduler, MarkNumbers &marks);

} // namespace rk
