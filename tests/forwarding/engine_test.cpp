// Executor and engine together: what the engine is told, and that a refusal leaves both as they were. Refusals come at
// every step of what the engine is told.
#include "farm.h"
#include "world.h"

#include <functional>
#include <random>

namespace rk {
namespace {

using Performed = std::function<int32_t(ExecutorState &state)>;

// Performs a command with the engine refusing its first step, then its second and so on, until it does not refuse.
// Returns the reason that the command has then, and how many refusals there were.
int32_t performAgainstRefusals(World &world, const Performed &command, int *refusals = nullptr) {
    for (int step = 0;; ++step) {
        world.fake.refusedStep = step;
        const std::string image = imageOf(world.state.executor);
        const std::string text = textOf(world.forwarding.plan);
        const std::string settings = lineOf(world.forwarding.plan.settings);
        const PlanTallies tallies = world.forwarding.plan.tallies;
        const int changes = world.fake.changes;
        const std::set<std::string> inForce = world.fake.inForce;
        const int32_t reason = command(world.state);
        world.fake.refusedStep = kNever;
        EXPECT_LE(world.fake.changes, changes + 1);
        const bool isRefusedByEngine =
            world.fake.changes == changes + 1 && static_cast<int>(world.fake.steps.size()) == step;
        if (reason != 0) {
            EXPECT_EQ(imageOf(world.state.executor), image);
            EXPECT_EQ(textOf(world.forwarding.plan), text);
            EXPECT_EQ(lineOf(world.forwarding.plan.settings), settings);
            EXPECT_TRUE(world.forwarding.plan.tallies == tallies);
            EXPECT_EQ(world.fake.inForce, inForce);
        }
        if (reason == kForwardingRefused && isRefusedByEngine)
            continue;
        if (refusals != nullptr)
            *refusals = step;
        return reason;
    }
}

class EngineTest : public testing::Test {
protected:
    void SetUp() override {
        begin(world);
    }

    // Performs a command on the executor with every refusal, and on its twin. Both are to be the same then.
    int32_t perform(const Performed &command) {
        const int32_t reason = performAgainstRefusals(world, command, &refusals);
        if (reason != kForwardingRefused) {
            EXPECT_EQ(command(world.twin), reason);
        }
        EXPECT_TRUE(imageOf(world.state.executor) == imageOf(world.twin.executor));
        expectInForce(world);
        return reason;
    }

    template <typename Record> int32_t send(const Record &record) {
        return perform([&record](ExecutorState &state) { return rk::perform(state, Record(record)); });
    }

    // A cluster with a port of both transports and a server.
    void makeFarm() {
        ASSERT_EQ(send(newCluster(kCluster, "web", "10.1.0.1")), 0);
        ASSERT_EQ(send(addPortRequest(80, kPortTypeTcpAndUdp)), 0);
        ASSERT_EQ(send(addServerRequest(80, 1, "10.2.0.11")), 0);
    }

    World world;
    int refusals = 0; // of the last command
};

TEST_F(EngineTest, isToldNothingThatItNeedNotKnow) {
    makeFarm();
    const int changes = world.fake.changes;
    PortReportRecord rate{};
    rate.header = {Command::setPortCps, 0, 0, sizeof rate};
    rate.clusterKey = kCluster;
    rate.port = port(80);
    ASSERT_EQ(send(rate), 0);
    ASSERT_EQ(send(newCluster(7, "other", "10.1.0.7")), 0);
    PortRecord limits = changePortRequest(80);
    set(limits.setMaxServers, limits.maxServers, 99);
    ASSERT_EQ(send(limits), 0);
    ASSERT_EQ(perform([](ExecutorState &state) { return setWeights(state, 80, {{1, 10}}); }), 0); // as it is
    EXPECT_EQ(world.fake.changes, changes);
}

TEST_F(EngineTest, isToldAPortAndWhatComesToIt) {
    makeFarm();
    EXPECT_EQ(world.fake.steps,
              (std::vector<std::string>{"+ pool 10.1.0.1:80 tcp server 1 10.2.0.11 10.2.0.11:80 weight 10",
                                        "+ pool 10.1.0.1:80 udp server 1 10.2.0.11 10.2.0.11:80 weight 10"}));
    EXPECT_EQ(refusals, 2);
    ASSERT_EQ(perform([](ExecutorState &state) { return setWeights(state, 80, {{1, 3}}); }), 0);
    EXPECT_EQ(world.fake.steps,
              (std::vector<std::string>{"~ pool 10.1.0.1:80 tcp server 1 10.2.0.11 10.2.0.11:80 weight 3",
                                        "~ pool 10.1.0.1:80 udp server 1 10.2.0.11 10.2.0.11:80 weight 3"}));
    ServerRecord removal = changeServerRequest(80, 1);
    removal.header.command = Command::removeServer;
    ASSERT_EQ(send(removal), 0);
    EXPECT_EQ(world.fake.steps,
              (std::vector<std::string>{"- pool 10.1.0.1:80 tcp server 1 10.2.0.11 10.2.0.11:80 weight 3",
                                        "- pool 10.1.0.1:80 udp server 1 10.2.0.11 10.2.0.11:80 weight 3"}));
}

// What is new comes first and what goes comes last, so that there always is a server.
TEST_F(EngineTest, isToldAnotherAddressAsANewServerAndOneThatGoes) {
    makeFarm();
    ServerRecord change = changeServerRequest(80, 1);
    setListeners(change, {{"10.2.0.99", 8080}});
    ASSERT_EQ(send(change), 0);
    EXPECT_EQ(world.fake.steps,
              (std::vector<std::string>{"+ pool 10.1.0.1:80 tcp server 1 10.2.0.11 10.2.0.99:8080 weight 10",
                                        "+ pool 10.1.0.1:80 udp server 1 10.2.0.11 10.2.0.99:8080 weight 10",
                                        "- pool 10.1.0.1:80 tcp server 1 10.2.0.11 10.2.0.11:80 weight 10",
                                        "- pool 10.1.0.1:80 udp server 1 10.2.0.11 10.2.0.11:80 weight 10"}));
}

TEST_F(EngineTest, isToldAnotherAddressOfAClusterAtOnce) {
    makeFarm();
    ClusterRecord change{};
    change.header = {Command::writeClusterSettings, 0, 0, sizeof change};
    change.clusterKey = kCluster;
    set(change.setAddress, change.address, address("10.1.0.9"));
    const int changes = world.fake.changes;
    ASSERT_EQ(send(change), 0);
    EXPECT_EQ(refusals, 8);
    EXPECT_EQ(world.fake.changes, changes + 9); // refused eight times
    EXPECT_EQ(world.fake.steps.front(), "+ pool 10.1.0.9:80 tcp translation");
    EXPECT_EQ(world.fake.steps.back(), "- pool 10.1.0.1:80 udp translation");
}

TEST_F(EngineTest, hearsOfARuleAsLongAsOneOfItsServersTakesConnections) {
    makeFarm();
    ASSERT_EQ(send(addRuleRequest(80, "r", 0, 0, 0, 5)), 0);
    const auto isAsked = [this] { return world.fake.inForce.contains("select 10.1.0.1:80 5 r: always"); };
    EXPECT_FALSE(isAsked());
    RuleMembershipRecord member = memberRequest(Command::addServerToRule, "r", 1);
    ASSERT_EQ(send(member), 0);
    EXPECT_TRUE(isAsked());
    ASSERT_EQ(send(serverCommand(Command::markServerDown, 1)), 0);
    EXPECT_FALSE(isAsked());
    ASSERT_EQ(send(serverCommand(Command::markServerUp, 1)), 0);
    EXPECT_TRUE(isAsked());
    member.header.command = Command::removeServerFromRule;
    ASSERT_EQ(send(member), 0);
    EXPECT_FALSE(isAsked());
    EXPECT_EQ(send(member), kServerNotInRule);
}

// The group of a port is what it crosses to, and what crosses to it.
TEST_F(EngineTest, hearsOfAllPortsThatAGroupGainsOrLoses) {
    ASSERT_EQ(send(newCluster(kCluster, "web", "10.1.0.1")), 0);
    for (const int number : {80, 81, 82, 83})
        ASSERT_EQ(send(addPortRequest(number)), 0);
    const auto cross = [this](int from, int to) {
        PortRecord record = changePortRequest(from);
        set(record.setCrossPort, record.crossPort, port(to));
        return send(record);
    };
    const auto removePort = [this](int number) {
        PortRecord record = changePortRequest(number);
        record.header.command = Command::removePort;
        return send(record);
    };
    const auto groups = [this] {
        std::vector<int> numbers;
        for (const auto &[id, pool] : world.forwarding.plan.pools)
            numbers.push_back(pool.settings.group);
        return numbers;
    };
    ASSERT_EQ(cross(81, 80), 0);
    EXPECT_EQ(groups(), (std::vector<int>{80, 80, 0, 0}));
    ASSERT_EQ(cross(81, 82), 0);
    EXPECT_EQ(groups(), (std::vector<int>{0, 82, 82, 0}));
    ASSERT_EQ(cross(83, 82), 0);
    ASSERT_EQ(cross(83, 0), 0);
    EXPECT_EQ(groups(), (std::vector<int>{0, 82, 82, 0}));
    ASSERT_EQ(removePort(81), 0); // the only one that crosses
    EXPECT_EQ(groups(), (std::vector<int>{0, 0, 0}));
    ASSERT_EQ(cross(80, 82), 0);
    ASSERT_EQ(cross(83, 82), 0);
    EXPECT_EQ(groups(), (std::vector<int>{82, 82, 82}));
    ASSERT_EQ(removePort(82), 0); // what the others cross to
    EXPECT_EQ(groups(), (std::vector<int>{0, 0}));
    PortRecord crossing = addPortRequest(84);
    set(crossing.setCrossPort, crossing.crossPort, port(80));
    ASSERT_EQ(send(crossing), 0);
    EXPECT_EQ(groups(), (std::vector<int>{80, 0, 80}));
}

TEST_F(EngineTest, losesTheClientsOfAServerWithIt) {
    makeFarm();
    const Performed bind = [](ExecutorState &state) { return directClient(state, 80, "10.7.0.1", 1); };
    ASSERT_EQ(perform(bind), 0);
    EXPECT_EQ(refusals, 1);
    ASSERT_EQ(perform(bind), 0); // the same again
    EXPECT_EQ(refusals, 0);
    EXPECT_TRUE(world.fake.inForce.contains("bound 10.1.0.1:80 10.7.0.1 to 1"));
    ServerRecord removal = changeServerRequest(80, 1);
    removal.header.command = Command::removeServer;
    ASSERT_EQ(send(removal), 0);
    EXPECT_FALSE(world.fake.inForce.contains("bound 10.1.0.1:80 10.7.0.1 to 1"));
}

// A refused request comes back as it was sent, but for its header.
TEST_F(EngineTest, refusesClientsAsAWhole) {
    makeFarm();
    ASSERT_EQ(perform([](ExecutorState &state) { return directClient(state, 80, "10.7.0.1", 1); }), 0);
    AffinityBlock block = affinityRequest(Command::serverDirectedAffinity, 2);
    block.block().command = kBindClients;
    block.entry(0) = {0x0A070001, 0x0A02000B, 1, 0, {}, 0, {}, 0, 0};
    block.entry(1) = {0x0A070002, 0x0A02000B, 1, 0, {}, 0, {}, 0, 0};
    std::vector<uint8_t> expected = block.bytes;
    world.fake.refusedStep = 0;
    const std::string image = imageOf(world.state.executor);
    EXPECT_EQ(performCommand(world.state, &block.block().header), -1);
    EXPECT_EQ(block.block().header.reason, kForwardingRefused);
    EXPECT_TRUE(imageOf(world.state.executor) == image);
    std::memcpy(expected.data(), &block.block().header, sizeof(CommandHeader));
    EXPECT_TRUE(block.bytes == expected);
}

TEST_F(EngineTest, refusesWeightsAsAWhole) {
    makeFarm();
    ASSERT_EQ(send(addServerRequest(80, 2, "10.2.0.12")), 0);
    WeightsRequest weights = weightsRequest(Command::writeServerWeights, 3);
    for (std::size_t index = 0; index < 3; ++index) {
        weights.entry(index) = {};
        weights.entry(index).serverKey = index == 1 ? 2 : 1; // one of them twice
        weights.entry(index).weight = static_cast<int16_t>(index);
        weights.entry(index).quiescedDown = index == 2 ? 1 : 0;
        weights.entry(index).fixedWeight = index == 2 ? 1 : 0;
    }
    world.fake.refusedStep = 3;
    const std::string image = imageOf(world.state.executor);
    EXPECT_EQ(performCommand(world.state, &weights.block().header), -1);
    EXPECT_EQ(weights.block().header.reason, kForwardingRefused);
    for (std::size_t index = 0; index < 3; ++index)
        EXPECT_EQ(weights.entry(index).result, kForwardingRefused);
    EXPECT_TRUE(imageOf(world.state.executor) == image);
    expectInForce(world);
}

// --- The log ---------------------------------------------------------------------------------------------------------

std::string lastLineOf(const ExecutorState &state) {
    std::string text(textOf(state.trace));
    if (!text.empty() && text.back() == '\n')
        text.pop_back();
    const std::size_t begin = text.rfind('\n') == std::string::npos ? 0 : text.rfind('\n') + 1;
    return text.substr(begin + sizeof "2026-11-20T22:31:12Z"); // without the time
}

TEST_F(EngineTest, hasItsWordsInTheLogWhenItRefuses) {
    makeFarm();
    world.fake.refusedStep = 1;
    EXPECT_EQ(setWeights(world.state, 80, {{1, 3}}), kForwardingRefused);
    EXPECT_EQ(lastLineOf(world.state), "writeServerWeights cluster=web(0x000000c4) port=80 result=-1 reason=-115 (the "
                                       "forwarding engine refused: step 1 is refused)");
}

TEST_F(EngineTest, isNotAskedWhatItWouldTakeWrongly) {
    makeFarm();
    const int changes = world.fake.changes;
    EXPECT_EQ(send(addServerRequest(80, 2, "10.1.0.1")), kForwardingRefused);
    EXPECT_EQ(lastLineOf(world.state),
              "addServer cluster=web(0x000000c4) port=80 server=10.1.0.1(0x00000002) result=-1 reason=-115 (the "
              "forwarding engine refused: server 10.1.0.1 would have the cluster's own address)");
    ServerRecord twin = addServerRequest(80, 2, "twin");
    setListeners(twin, {{"10.2.0.11"}});
    EXPECT_EQ(send(twin), kForwardingRefused);
    // A method that does not map the ports that servers have.
    ServerRecord mapped = changeServerRequest(80, 1);
    setListeners(mapped, {{"10.2.0.11", 8080}});
    ASSERT_EQ(send(mapped), 0);
    const int changesOfMapping = world.fake.changes;
    PortRecord method = changePortRequest(80);
    set(method.setMethod, method.method, kMethodLinkLevel);
    EXPECT_EQ(send(method), kForwardingRefused);
    // An address of the cluster that a server has.
    ServerRecord own = changeServerRequest(80, 1);
    setListeners(own, {{"10.1.0.9"}});
    ASSERT_EQ(send(own), 0);
    ClusterRecord move{};
    move.header = {Command::writeClusterSettings, 0, 0, sizeof move};
    move.clusterKey = kCluster;
    set(move.setAddress, move.address, address("10.1.0.9"));
    EXPECT_EQ(send(move), kForwardingRefused);
    EXPECT_GT(changesOfMapping, changes);
    EXPECT_NE(world.forwarding.plan.pools.begin()->second.settings.method, Method::linkLevel);
}

TEST_F(EngineTest, doesNotForwardToAServerWithoutAnAddressAndSaysSo) {
    makeFarm();
    const int changes = world.fake.changes;
    ASSERT_EQ(send(addServerRequest(80, 2, "nowhere")), 0);
    EXPECT_EQ(lastLineOf(world.state), "forwarding: server nowhere has no usable address: nothing is forwarded to it");
    EXPECT_EQ(world.fake.changes, changes);
    ServerRecord change = changeServerRequest(80, 2);
    // Not again when something else of it changes.
    world.state.trace.length = 0;
    ASSERT_EQ(perform([](ExecutorState &state) { return setWeights(state, 80, {{2, 3}}); }), 0);
    EXPECT_EQ(textOf(world.state.trace), "");
    setListeners(change, {{"10.2.0.12"}});
    ASSERT_EQ(send(change), 0);
    EXPECT_EQ(textOf(world.state.trace).find("usable"), std::string_view::npos);
    EXPECT_TRUE(world.fake.inForce.contains("pool 10.1.0.1:80 tcp server 2 nowhere 10.2.0.12:80 weight 3"));
}

TEST_F(EngineTest, refusesAListenerThatNothingCanBeSentTo) {
    makeFarm();
    const std::string image = imageOf(world.state.executor);
    for (const char *nowhere : {"0.0.0.0", "255.255.255.255", "224.0.0.1"}) {
        ServerRecord request = addServerRequest(80, 2, "nowhere");
        setListeners(request, {{nowhere}});
        EXPECT_EQ(send(request), kForwardingRefused);
        EXPECT_NE(lastLineOf(world.state)
                      .find("the forwarding engine refused: server nowhere would have an address "
                            "that nothing can be sent to)"),
                  std::string_view::npos)
            << lastLineOf(world.state);
    }
    EXPECT_TRUE(imageOf(world.state.executor) == image);
    ASSERT_EQ(send(addServerRequest(80, 2, "nowhere")), 0);
    ServerRecord change = changeServerRequest(80, 2);
    setListeners(change, {{"0.0.0.0"}});
    EXPECT_EQ(send(change), kForwardingRefused);
}

TEST_F(EngineTest, hasANoteInTheLog) {
    ASSERT_EQ(send(newCluster(kCluster, "web", "10.1.0.1")), 0);
    world.fake.note = "done, with\npains";
    ASSERT_EQ(send(addPortRequest(80)), 0);
    EXPECT_EQ(lastLineOf(world.state), "forwarding: done, with?pains");
}

TEST(Features, thatAreNotDoneAreToldOnce) {
    World world;
    begin(world, bitOf(Feature::udp) | bitOf(Feature::rulesByTime));
    startFarm(world.state);
    ASSERT_EQ(perform(world.state, addPortRequest(80)), 0);
    ASSERT_EQ(perform(world.state, addServerRequest(80, 1, "10.2.0.11")), 0);
    world.state.trace.length = 0;
    PortRecord limit = changePortRequest(80);
    set(limit.setMaxHalfOpen, limit.maxHalfOpen, 5);
    set(limit.setReplicate, limit.replicate, 1);
    ASSERT_EQ(perform(world.state, limit), 0);
    EXPECT_EQ(lastLineOf(world.state),
              "forwarding: kept, and not done by the fake engine: half-open limits, replication");
    world.state.trace.length = 0;
    set(limit.setMaxHalfOpen, limit.maxHalfOpen, 6);
    ASSERT_EQ(perform(world.state, limit), 0);
    ServerRecord server = addServerRequest(80, 2, "10.2.0.12");
    set(server.setReturnAddress, server.returnAddress, address("10.9.0.1"));
    ASSERT_EQ(perform(world.state, server), 0);
    EXPECT_EQ(lastLineOf(world.state), "forwarding: kept, and not done by the fake engine: return addresses");
    EXPECT_EQ(textOf(world.state.trace).find("half-open"), std::string_view::npos);
    for (const int32_t type : {2, 4, 5, 6, 7, 9}) {
        const std::string name = "r" + std::to_string(type);
        ASSERT_EQ(perform(world.state, addRuleRequest(80, name.c_str(), type, 1, 1, 10 + type)), 0);
    }
    const std::string log(textOf(world.state.trace));
    EXPECT_EQ(log.find("rules by time"), std::string::npos);
    EXPECT_NE(log.find(": rules of other types\n"), std::string::npos);
    EXPECT_NE(log.find(": rules by type of service\n"), std::string::npos);
    EXPECT_EQ(log.find("other types"), log.rfind("other types"));
}

// What a command asks for of an engine that does nothing of all that.
TEST(Features, areKnownByTheirSettings) {
    struct FeatureCase {
        const char *name; // in the log
        std::function<int32_t(ExecutorState &state)> command;
    };
    const auto port = [](void (*change)(PortRecord & record)) {
        return [change](ExecutorState &state) {
            PortRecord record = changePortRequest(80);
            change(record);
            return perform(state, record);
        };
    };
    const auto server = [](void (*change)(ServerRecord & record)) {
        return [change](ExecutorState &state) {
            ServerRecord record = changeServerRequest(80, 1);
            change(record);
            return perform(state, record);
        };
    };
    const auto rule = [](int32_t type, int32_t begin) {
        return [type, begin](ExecutorState &state) {
            return perform(state, addRuleRequest(80, "r", type, begin, begin, 5));
        };
    };
    const FeatureCase cases[] = {
        {"UDP", port([](PortRecord &r) { set(r.setType, r.type, kPortTypeTcpAndUdp); })},
        {"UDP", port([](PortRecord &r) { set(r.setType, r.type, kPortTypeUdp); })},
        {"link level (packets are translated)",
         port([](PortRecord &r) { set(r.setMethod, r.method, kMethodLinkLevel); })},
        {"content (connections are spread unread)",
         port([](PortRecord &r) { set(r.setMethod, r.method, kMethodContent); })},
        {"half-open limits", port([](PortRecord &r) { set(r.setMaxHalfOpen, r.maxHalfOpen, 1); })},
        {"replication", port([](PortRecord &r) { set(r.setReplicate, r.replicate, 1); })},
        {"resets", port([](PortRecord &r) { set(r.setSendReset, r.sendReset, 1); })},
        {"cross ports", port([](PortRecord &r) { set(r.setCrossPort, r.crossPort, rk::port(443)); })},
        {"second listeners", server([](ServerRecord &r) {
             setListeners(r, {{"10.2.0.11"}, {"10.2.0.12"}});
         })},
        {"return addresses",
         server([](ServerRecord &r) { set(r.setReturnAddress, r.returnAddress, address("10.9.0.1")); })},
        {"sticky servers", server([](ServerRecord &r) { set(r.setSticky, r.sticky, 1); })},
        {"connection rates", server([](ServerRecord &r) { set(r.setCpsMaximum, r.cpsMaximum, 1); })},
        {"cookies", server([](ServerRecord &r) {
             r.setCookieValue = 1;
             setText(r.cookieValue, "c");
         })},
        {"cookies",
         [](ExecutorState &state) {
             RuleRecord record = addRuleRequest(80, "r", 0, 0, 0, 5);
             record.setCookieName = 1;
             setText(record.cookieName, "c");
             return perform(state, record);
         }},
        {"rules by time", rule(2, 1)},
        {"rules by time", rule(4, 1)},
        {"rules by type of service", rule(7, 0)},
        {"rules of other types", rule(5, 0)},
        {"rules of other types", rule(2, 24)}, // never
        {"port 0", [](ExecutorState &state) { return perform(state, addPortRequest(0)); }},
        {"attack protection",
         [](ExecutorState &state) {
             AttackProtectionRecord record{};
             record.header = {Command::setAttackProtection, 0, 0, sizeof record};
             record.parameters[7] = 1;
             return perform(state, record);
         }},
        {"shared bandwidth",
         [](ExecutorState &state) {
             ExecutorSettingsRecord record{};
             record.header = {Command::writeExecutorSettings, 0, 0, sizeof record};
             set(record.setSharedBandwidth, record.sharedBytesPerSecond, 1);
             return perform(state, record);
         }},
        {"shared bandwidth",
         [](ExecutorState &state) {
             ClusterRecord record = newCluster(7, "other", "10.1.0.7");
             set(record.setSharedBandwidth, record.sharedBytesPerSecond, 1);
             return perform(state, record);
         }},
        {"shared bandwidth",
         [](ExecutorState &state) {
             ClusterRecord record{};
             record.header = {Command::writeClusterSettings, 0, 0, sizeof record};
             record.clusterKey = kCluster;
             set(record.setSharedBandwidth, record.sharedBytesPerSecond, 1);
             return perform(state, record);
         }},
    };
    for (const FeatureCase &each : cases) {
        World world;
        begin(world, 0);
        startFarm(world.state);
        ASSERT_EQ(perform(world.state, addPortRequest(80)), 0);
        ASSERT_EQ(perform(world.state, addPortRequest(443)), 0);
        ASSERT_EQ(perform(world.state, addServerRequest(80, 1, "10.2.0.11")), 0);
        world.state.trace.length = 0;
        ASSERT_EQ(each.command(world.state), 0) << each.name;
        EXPECT_EQ(lastLineOf(world.state),
                  std::string("forwarding: kept, and not done by the fake engine: ") + each.name);
        expectInForce(world);
    }
}

TEST(Features, ofARouterMatterAtLinkLevel) {
    World world;
    begin(world, kAll & ~bitOf(Feature::tunnel));
    startFarm(world.state);
    ASSERT_EQ(perform(world.state, addPortRequest(80)), 0);
    ServerRecord server = addServerRequest(80, 1, "10.2.0.11");
    set(server.setRouterAddress, server.routerAddress, address("10.9.0.1"));
    world.state.trace.length = 0;
    ASSERT_EQ(perform(world.state, server), 0);
    EXPECT_EQ(textOf(world.state.trace), "");
    ASSERT_EQ(perform(world.state, addPortRequest(81, kPortTypeTcp, kMethodLinkLevel)), 0);
    server.port = port(81);
    ASSERT_EQ(perform(world.state, server), 0);
    EXPECT_EQ(lastLineOf(world.state), "forwarding: kept, and not done by the fake engine: router addresses");
}

TEST(Features, ofServersMayComeWithAnotherMethod) {
    World world;
    begin(world, kAll & ~bitOf(Feature::tunnel));
    startFarm(world.state);
    ASSERT_EQ(perform(world.state, addPortRequest(80)), 0);
    ServerRecord server = addServerRequest(80, 1, "10.2.0.11");
    set(server.setRouterAddress, server.routerAddress, address("10.9.0.1"));
    ASSERT_EQ(perform(world.state, server), 0);
    PortRecord method = changePortRequest(80);
    set(method.setMethod, method.method, kMethodLinkLevel);
    ASSERT_EQ(perform(world.state, method), 0);
    EXPECT_EQ(lastLineOf(world.state), "forwarding: kept, and not done by the fake engine: router addresses");
}

// --- Beginning with what there is ------------------------------------------------------------------------------------

class Beginning : public testing::Test {
protected:
    void SetUp() override {
        startFarm(world.state);
        ASSERT_EQ(perform(world.state, addPortRequest(80)), 0);
        ASSERT_EQ(perform(world.state, addServerRequest(80, 1, "10.2.0.11")), 0);
        ASSERT_EQ(perform(world.state, addRuleRequest(80, "r", 0, 0, 0, 5)), 0);
        addMember(world.state, 80, "r", 1);
        ASSERT_EQ(directClient(world.state, 80, "10.7.0.1", 1), 0);
        world.forwarding.engine = engineOf(world.fake);
    }

    World world;
};

TEST_F(Beginning, forwardsWhatThereIs) {
    LogText words;
    ASSERT_TRUE(beginForwarding(world.state, world.forwarding, words)) << words.text;
    expectInForce(world);
    EXPECT_EQ(world.fake.inForce.size(), 6U); // two pools with a server each, a selector, a client
}

TEST_F(Beginning, isRefusedAtEveryStep) {
    int refusals = 0;
    for (bool isDone = false; !isDone; ++refusals) {
        world.fake.refusedStep = refusals;
        LogText words;
        isDone = beginForwarding(world.state, world.forwarding, words);
        if (!isDone) {
            EXPECT_EQ(world.state.forwarding, nullptr);
            EXPECT_EQ(world.fake.inForce, std::set<std::string>{});
            EXPECT_EQ(words.text, "step " + std::to_string(refusals) + " is refused");
        }
    }
    EXPECT_EQ(refusals, 8); // six things and the settings, and the one that was done
    world.fake.refusedStep = kNever;
    expectInForce(world);
}

TEST_F(Beginning, isRefusedWithAServerThatCannotBe) {
    ASSERT_EQ(perform(world.state, addServerRequest(80, 2, "10.1.0.1")), 0);
    LogText words;
    EXPECT_FALSE(beginForwarding(world.state, world.forwarding, words));
    EXPECT_STREQ(words.text, "server 10.1.0.1 would have the cluster's own address");
    EXPECT_EQ(world.fake.changes, 0);
}

// --- Any commands in any order ---------------------------------------------------------------------------------------

// Small worlds, so that commands meet: few keys, few addresses.
struct Dice {
    std::minstd_rand engine;

    int roll(int sides) {
        return static_cast<int>(engine() % static_cast<unsigned>(sides));
    }
    bool often() {
        return roll(4) != 0;
    }
    bool seldom() {
        return roll(4) == 0;
    }
};

std::string serverAddress(int number) {
    return "10.2.0." + std::to_string(number);
}

uint32_t anyKey(Dice &dice) {
    return dice.seldom() ? kCluster + 1 : kCluster;
}

int anyPort(Dice &dice) {
    constexpr int kPorts[] = {80, 443, 0, 53};
    return kPorts[dice.roll(4)];
}

std::string anyRule(Dice &dice) {
    return std::string(1, static_cast<char>('a' + dice.roll(3)));
}

void changeServer(Dice &dice, ServerRecord &record) {
    if (dice.seldom())
        setListeners(
            record, {{dice.seldom() ? "0.0.0.0" : serverAddress(10 + dice.roll(4)).c_str(), dice.seldom() ? 8080 : 0}});
    set(record.setQuiesced, record.quiesced, dice.seldom() ? 1 : 0);
    if (dice.seldom())
        set(record.setReturnAddress, record.returnAddress, address(dice.seldom() ? "10.9.0.1" : "0.0.0.0"));
    if (dice.seldom())
        set(record.setRouterAddress, record.routerAddress, address("10.9.0.2"));
}

void changePort(Dice &dice, PortRecord &record) {
    set(record.setType, record.type, dice.roll(3));
    set(record.setMethod, record.method, dice.seldom() ? kMethodLinkLevel : 2 + dice.roll(2));
    if (dice.seldom())
        set(record.setCrossPort, record.crossPort, port(dice.seldom() ? 0 : anyPort(dice)));
    if (dice.seldom())
        set(record.setStaleTimeout, record.staleTimeout.low, dice.roll(3));
    if (dice.seldom())
        set(record.setReplicate, record.replicate, dice.roll(2));
}

void changeRule(Dice &dice, RuleRecord &record) {
    if (dice.seldom())
        set(record.setPriority, record.priority, dice.roll(6));
    if (dice.seldom())
        set(record.setStickyTime, record.stickyTime, dice.roll(3));
    set(record.setRuleType, record.ruleType, dice.roll(10));
    set(record.setBeginRange, record.beginRange, 0);
    set(record.setEndRange, record.endRange, dice.roll(30));
}

template <typename Record> Performed sending(const Record &record) {
    return [record](ExecutorState &state) { return perform(state, Record(record)); };
}

// A request whose flags are all off, for one of the objects that there may be.
template <typename Record> Record anyRequest(Dice &dice, Command command) {
    Record record{};
    record.header = {command, 0, 0, sizeof record};
    record.clusterKey = anyKey(dice);
    if constexpr (requires { record.port; })
        record.port = port(anyPort(dice));
    if constexpr (requires { record.serverKey; })
        record.serverKey = static_cast<uint32_t>(1 + dice.roll(4));
    if constexpr (requires { record.ruleName; })
        setText(record.ruleName, anyRule(dice));
    return record;
}

Performed anyCommandOnClusters(Dice &dice) {
    auto record = anyRequest<ClusterRecord>(dice, dice.often() ? Command::addCluster : Command::removeCluster);
    setText(record.clusterId, "c");
    record.address = address(("10.1.0." + std::to_string(record.clusterKey)).c_str());
    if (dice.seldom()) {
        record.header.command = Command::writeClusterSettings;
        set(record.setAddress, record.address, address(dice.seldom() ? "10.2.0.11" : "10.1.0.77"));
    }
    return sending(record);
}

Performed anyCommandOnPorts(Dice &dice) {
    constexpr Command kCommands[] = {Command::addPort, Command::addPort, Command::writePortSettings,
                                     Command::writePortSettings, Command::removePort};
    auto record = anyRequest<PortRecord>(dice, kCommands[dice.roll(5)]);
    changePort(dice, record);
    return sending(record);
}

Performed anyCommandOnServers(Dice &dice) {
    constexpr Command kCommands[] = {Command::addServer, Command::addServer, Command::writeServerSettings,
                                     Command::removeServer};
    auto record = anyRequest<ServerRecord>(dice, kCommands[dice.roll(4)]);
    setText(record.serverId, dice.seldom() ? "name" : serverAddress(10 + static_cast<int>(record.serverKey)));
    changeServer(dice, record);
    return sending(record);
}

Performed anyCommandOnWeights(Dice &dice) {
    if (dice.seldom()) {
        auto record =
            anyRequest<ServerCommandRecord>(dice, dice.roll(2) == 0 ? Command::markServerDown : Command::markServerUp);
        record.numberOfServers = 1;
        return sending(record);
    }
    WeightsRequest list = weightsRequest(Command::writeServerWeights, 3);
    list.block().clusterKey = anyKey(dice);
    list.block().port = port(anyPort(dice));
    for (std::size_t index = 0; index < 3; ++index) {
        list.entry(index) = {};
        list.entry(index).serverKey = static_cast<uint32_t>(1 + dice.roll(4));
        list.entry(index).weight = static_cast<int16_t>(dice.roll(4));
        list.entry(index).quiescedDown = dice.seldom() ? 1 : 0;
    }
    return [list](ExecutorState &state) {
        WeightsRequest copy = list;
        performCommand(state, &copy.block().header);
        return copy.block().header.reason;
    };
}

Performed anyCommandOnRules(Dice &dice) {
    if (dice.often()) {
        constexpr Command kCommands[] = {Command::addServerToRule, Command::addServerToRule,
                                         Command::removeServerFromRule};
        return sending(anyRequest<RuleMembershipRecord>(dice, kCommands[dice.roll(3)]));
    }
    constexpr Command kCommands[] = {Command::addRule, Command::addRule, Command::writeRuleSettings,
                                     Command::removeRule};
    auto record = anyRequest<RuleRecord>(dice, kCommands[dice.roll(4)]);
    changeRule(dice, record);
    return sending(record);
}

Performed anyCommandOnClients(Dice &dice) {
    AffinityBlock block = affinityRequest(Command::serverDirectedAffinity, 3);
    block.block().port = port(anyPort(dice));
    block.block().clusterAddress = ntohl(address("10.1.0.196").word);
    block.block().command = 1 + dice.roll(3);
    for (std::size_t index = 0; index < 3; ++index) {
        block.entry(index) = {};
        block.entry(index).clientAddress = ntohl(address("10.7.0.1").word) + static_cast<uint32_t>(dice.roll(4));
        block.entry(index).serverKey = static_cast<uint32_t>(1 + dice.roll(4));
    }
    return [block](ExecutorState &state) {
        AffinityBlock copy = block;
        performCommand(state, &copy.block().header);
        return copy.block().header.reason;
    };
}

Performed anySettings(Dice &dice) {
    ExecutorSettingsRecord record{};
    record.header = {Command::writeExecutorSettings, 0, 0, sizeof record};
    set(record.setFinTimeout, record.finTimeout.low, dice.roll(100));
    return sending(record);
}

Performed anyCommand(Dice &dice) {
    switch (dice.roll(12)) {
    case 0:
        return anyCommandOnClusters(dice);
    case 1:
    case 2:
        return anyCommandOnPorts(dice);
    case 3:
    case 4:
    case 5:
        return anyCommandOnServers(dice);
    case 6:
    case 7:
        return anyCommandOnWeights(dice);
    case 8:
    case 9:
        return anyCommandOnRules(dice);
    case 10:
        return anyCommandOnClients(dice);
    default:
        return anySettings(dice);
    }
}

class AnyCommands : public testing::TestWithParam<unsigned> {};

TEST_P(AnyCommands, changeExecutorAndEngineTogether) {
    constexpr Features kFeatureSets[] = {kAll, kAll & ~bitOf(Feature::udp) & ~bitOf(Feature::everyPort),
                                         kAll & ~bitOf(Feature::linkLevel) & ~bitOf(Feature::rulesByTime)};
    World world;
    begin(world, kFeatureSets[GetParam() % 3]);
    Dice dice{std::minstd_rand(GetParam() + 1)};
    int done = 0;
    int refusedByEngine = 0;
    for (int turn = 0; turn < 300 && !testing::Test::HasFailure(); ++turn) {
        const Performed command = anyCommand(dice);
        int refusals = 0;
        const int32_t reason = performAgainstRefusals(world, command, &refusals);
        if (reason != kForwardingRefused) { // which an executor without an engine does not give
            ASSERT_EQ(command(world.twin), reason);
        }
        ASSERT_TRUE(imageOf(world.state.executor) == imageOf(world.twin.executor)) << "turn " << turn;
        expectInForce(world);
        done += reason == 0 ? 1 : 0;
        refusedByEngine += refusals;
    }
    EXPECT_GT(done, 25);
    EXPECT_GT(refusedByEngine, 25);
}

INSTANTIATE_TEST_SUITE_P(Seeds, AnyCommands, testing::Range(0U, 12U));

} // namespace
} // namespace rk
