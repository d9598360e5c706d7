// A table of the kernel's routes that no packet is looked up in: a routing daemon learns from it what this machine
// announces to its routers, and one route more or less is all that is to be said to it.
#pragma once

#include "executor/forwarding/kernel/netlink_family.h"

#include <set>

namespace rk {

// Opens the talk on routes. 0 or an errno value.
int openRouteTalk(NetlinkFamily &routes);

// Each returns 0 or an errno value. An address is one in network byte order; its route is one that leads nowhere
// ("blackhole"). Adding one that is there, and removing one that is not, is done at once.
int addRoute(const NetlinkFamily &routes, uint32_t table, uint32_t address);
int removeRoute(const NetlinkFamily &routes, uint32_t table, uint32_t address);

// The addresses that the table has such a route for.
int listRoutes(const NetlinkFamily &routes, uint32_t table, std::set<uint32_t> &addresses);

} // namespace rk
