// Plans as text, one line a thing: for comparing them and for telling what is wrong with them. What a field has by
// default is left out. Made without streams, which take a lack of memory for the end of a text.
#pragma once

#include "executor/forwarding/plan.h"

#include <set>
#include <string>

namespace rk {

std::string lineOf(const PlanSettings &settings);
std::string lineOf(const Pool &pool, const PoolSettings &settings);
std::string lineOf(const Pool &pool, const PoolServer &server);
std::string lineOf(const PortId &port, int32_t priority, const Selector &selector);
std::string lineOf(const PortId &port, const BoundClient &client);

// The lines of all that is in the plan, but for its settings.
std::set<std::string> linesOf(const Plan &plan);

// All lines, each with an end. In their order: bound clients, pools with their servers, selectors.
std::string textOf(const Plan &plan);

} // namespace rk
