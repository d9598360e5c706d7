// What of an engine a setting needs. What the engine does not have is left out of the plan, or is in it and not done.
#pragma once

#include "executor/forwarding/engine.h"
#include "executor/state/state.h"

namespace rk {

Features featuresOf(Match match);
Features featuresOf(const PoolSettings &settings);
Features featuresOf(const PoolServer &server, Method method);
Features featuresOf(const Port &port, const Rule &rule);
Features featuresOf(const Port &port);
Features featuresOf(const Cluster &cluster);
Features featuresOf(const Executor &executor);

} // namespace rk
