// An executor with a stand-in for an engine.
#pragma once

#include "executor/forwarding/forwarding.h"
#include "fake_engine.h"
#include "state_image.h"

#include <gtest/gtest.h>

namespace rk {

inline constexpr Features kAll = ~Features{0};

struct World {
    ExecutorState state;
    ExecutorState twin; // without an engine: gets the same commands
    FakeEngine fake;
    Forwarding forwarding;
};

void begin(World &world, Features features = kAll);

// Expects that plan and engine are what they would be if they were made of the executor as it is.
void expectInForce(const World &world);

} // namespace rk
