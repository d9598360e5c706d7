// What a command costs while an engine forwards, in pieces of memory: the same however many servers there are. A plan
// made anew, or a copy of what there is, would take more the more there is.
#include "farm.h"
#include "harness/counted_memory.h"
#include "world.h"

namespace rk {
namespace {

// Nothing is kept of what is told, so that only the executor's own pieces count.
bool applyOneThing(void * /*own*/, const Plan & /*plan*/, const PlanChange &change,
                   std::vector<EndedCounts> & /*ended*/, LogText & /*words*/) {
    EXPECT_EQ(change.servers.size() + change.newPools.size() + change.removedPools.size() + change.changedPools.size() +
                  change.selectors.size() + change.clients.size(),
              1U);
    return true;
}

bool applyAnything(void * /*own*/, const Plan & /*plan*/, const PlanChange & /*change*/,
                   std::vector<EndedCounts> & /*ended*/, LogText & /*words*/) {
    return true;
}

// The pieces of memory that some commands take on a port with so many servers.
std::vector<long> costsWith(uint32_t servers) {
    World world;
    begin(world);
    world.forwarding.engine.apply = applyAnything;
    startFarm(world.state);
    PortRecord port = addPortRequest(80);
    set(port.setMaxServers, port.maxServers, 20000);
    EXPECT_EQ(perform(world.state, port), 0);
    for (uint32_t key = 1; key <= servers; ++key) {
        ServerRecord server = addServerRequest(80, key, "server");
        setListeners(server, {{"10.2.0.1", static_cast<int>(key)}});
        EXPECT_EQ(perform(world.state, server), 0);
    }
    EXPECT_EQ(perform(world.state, addRuleRequest(80, "r", 1, 1, 1, 1)), 0);
    addMember(world.state, 80, "r", 2);

    world.forwarding.engine.apply = applyOneThing;
    std::vector<long> costs;
    const auto measure = [&world, &costs](auto record) {
        const long before = memory::obtained;
        EXPECT_EQ(perform(world.state, record), 0);
        costs.push_back(memory::obtained - before);
    };
    ServerRecord weight = changeServerRequest(80, 1);
    set(weight.setWeight, weight.weight, 7);
    measure(weight);
    measure(serverCommand(Command::markServerDown, 1));
    ServerRecord added = addServerRequest(80, 20001, "10.2.0.2");
    measure(added);
    added.header.command = Command::removeServer;
    measure(added);
    RuleRecord rule = changeRuleRequest(80, "r");
    set(rule.setEndRange, rule.endRange, -1);
    measure(rule);
    PortRecord sticky = changePortRequest(80);
    set(sticky.setWeightBound, sticky.weightBound, 90);
    measure(sticky); // the manager's affair: nothing changes for the engine
    return costs;
}

TEST(Costs, ofACommandDoNotGrowWithWhatElseThereIs) {
    const std::vector<long> few = costsWith(10);
    const std::vector<long> many = costsWith(10000);
    EXPECT_EQ(few, many);
    EXPECT_GT(few.front(), 0);
}

} // namespace
} // namespace rk
