// The table of the packet filter that marks what clients send, so that rules, groups of ports and bound clients lead to
// services of their own, that translates source addresses, and that keeps half-open connections at bay.
#pragma once

#include "executor/forwarding/kernel/mark_numbers.h"
#include "executor/forwarding/plan.h"

#include <string>

namespace rk {

inline constexpr char kTableName[] = "qelxw"; // in the family ip

// What the table is to hold, as one transaction for nft(8), hours in UTC; it removes the table when there is nothing to
// do for it. Every mark in it has been given out before. Throws std::bad_alloc.
std::string markRules(const Plan &plan, const MarkNumbers &marks);

// The transaction that removes the table, there or not.
std::string removeMarkRules();

} // namespace rk
