#include "world.h"

#include "executor/commands/commands.h"

namespace rk {

void begin(World &world, Features features) {
    startExecutor(world.state);
    startExecutor(world.twin);
    world.forwarding.engine = engineOf(world.fake, features);
    LogText words;
    ASSERT_TRUE(beginForwarding(world.state, world.forwarding, words)) << words.text;
}

void expectInForce(const World &world) {
    Plan plan;
    LogText words;
    const Features features = world.forwarding.engine.features;
    ASSERT_TRUE(planExecutor(world.state.executor, features, plan, words)) << words.text;
    const Plan &inForce = world.forwarding.plan;
    EXPECT_EQ(textOf(inForce), textOf(plan));
    EXPECT_EQ(lineOf(inForce.settings), lineOf(plan.settings));
    EXPECT_TRUE(inForce.tallies == plan.tallies);
    ASSERT_EQ(inForce.ports.size(), plan.ports.size());
    for (const auto &[id, pool] : plan.pools) {
        const Pool &other = inForce.pools.at(id);
        EXPECT_EQ(other.takers, pool.takers);
        EXPECT_TRUE(other.keyOfEndpoint == pool.keyOfEndpoint);
        EXPECT_TRUE(other.settings == pool.settings);
        EXPECT_TRUE(other.servers == pool.servers);
    }
    EXPECT_EQ(world.fake.inForce, linesOf(plan));
    EXPECT_EQ(world.fake.settings, lineOf(plan.settings));
    EXPECT_EQ(world.fake.errors, std::vector<std::string>{});
}

} // namespace rk
