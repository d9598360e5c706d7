// Plans for tests, and what changes between two.
#pragma once

#include "executor/forwarding/engine.h"

namespace rk::plans {

Address address(const std::string &dotted);
Endpoint endpoint(const std::string &dotted, uint16_t port);

// The pool of a port, or of one of its rules, with translation; made when it is not there, with its port.
Pool &pool(Plan &plan, const std::string &cluster, uint16_t port, const std::optional<std::string> &rule = std::nullopt,
           Transport transport = Transport::tcp);

// Puts a server into a pool; its key is the last number of its address.
PoolServer &server(Pool &pool, const std::string &dotted, uint16_t port, int32_t weight);

// Servers s1, s2 and s3 of the guest's network.
void threeServers(Pool &pool, uint16_t port, int32_t weight1, int32_t weight2, int32_t weight3);

void removeServer(Pool &pool, uint32_t key);

// A selector of the port, in front of those with a higher priority.
Selector &selector(Plan &plan, const std::string &cluster, uint16_t port, int32_t priority, const std::string &rule,
                   Match match);

void bindClient(Plan &plan, const std::string &cluster, uint16_t port, const std::string &client, uint32_t serverKey);

// Has to be called when a plan is whole: what the plan tells of all its pools.
void settle(Plan &plan);

// What an engine is told. It points into both plans.
PlanChange changeBetween(const Plan &before, const Plan &after);

} // namespace rk::plans
