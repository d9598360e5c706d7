// The objects that a command works on.
#pragma once

#include "executor/commands/command_keys.h"
#include "executor/commands/traffic.h"

namespace rk {

// The state, and what a request's keys name in it. Null is what they do not name, or what is not there.
struct Target {
    ExecutorState *state = nullptr;
    Traffic traffic;
    Cluster *cluster = nullptr;
    Port *port = nullptr;
    Server *server = nullptr;
    Rule *rule = nullptr;
};

Target findTarget(ExecutorState &state, const CommandKeys &keys);

// The objects that have to be there: bits, with those of the objects above it for each kind.
using Needs = uint8_t;
template <typename Object> inline constexpr Needs kNeeds = 0; // what is always there
template <> inline constexpr Needs kNeeds<Cluster> = 0x1;
template <> inline constexpr Needs kNeeds<Port> = 0x2 | kNeeds<Cluster>;
template <> inline constexpr Needs kNeeds<Server> = 0x4 | kNeeds<Port>;
template <> inline constexpr Needs kNeeds<Rule> = 0x8 | kNeeds<Port>;

// 0, or the reason for the first of the objects that is not there, from above: cluster, port, server, rule.
int32_t reasonForMissing(const Target &target, Needs needs);

} // namespace rk
