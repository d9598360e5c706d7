// What the scheduler mh takes: it computes the server of a connection from its addresses and ports, so that several
// directors that forward at once send it to the same one. Pure procedures.
#pragma once

#include "executor/forwarding/kernel/ipvs_change.h"
#include "executor/forwarding/plan.h"

namespace rk {

inline constexpr uint32_t kHashesPort = 0x10; // flag of a service: the client's port counts, besides its address

bool isHashed(const std::string &scheduler);

// What is wrong with a pool that several directors are to forward; empty: nothing.
std::string whyNotHashed(const Pool &pool);

// What is to be told of weights that the kernel makes coarse: above 63, once divided by what all have in common, it
// halves them, and a 1 stays 1. Empty while no server's share is off by more than a tenth.
std::string describeCoarseShares(const IpvsServiceKey &service, const IpvsServers &servers);

} // namespace rk
