// What in the table of the packet filter keeps half-open connections at bay: ports that take no new connections while
// they have too many of them, and clients that get none for a while. Who that is, is seen to from outside.
#pragma once

#include "executor/forwarding/plan.h"

#include <set>
#include <string>

namespace rk {

// How long an element of the sets stays. The kernel waits as long for a client to open a connection; and should this
// program end, nothing is shut for ever.
inline constexpr int kShutSeconds = 60;

// A client and a port as the client sees it.
struct ClientAtPort {
    Address client;
    PortId port;

    bool operator==(const ClientAtPort &) const = default;
};

inline bool operator<(const ClientAtPort &one, const ClientAtPort &other) {
    return std::tie(one.client, one.port) < std::tie(other.client, other.port);
}

// Whether the plan limits half-open connections at all.
bool limitsHalfOpen(const Plan &plan);

// The sets, which are empty, and who is kept out by them; empty when nothing is limited. Throws std::bad_alloc.
std::string halfOpenRules(const Plan &plan);

// Commands that put ports and clients into the sets anew, or take ports out of them, whether they are in there or not.
std::string shutPorts(const std::set<PortId> &ports);
std::string openPorts(const std::set<PortId> &ports);
std::string shutClientsOut(const std::set<ClientAtPort> &clients);

} // namespace rk
