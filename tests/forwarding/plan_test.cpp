// The plan that is made from what the executor keeps. Expectations are written out: configurations and what becomes of
// them.
#include "executor/forwarding/plan_exchange.h"
#include "farm.h"
#include "plan_text.h"

namespace rk {
namespace {

constexpr Features kAll = ~Features{0};

Features without(Feature feature) {
    return kAll & ~bitOf(feature);
}

class PlanTest : public testing::Test {
protected:
    void SetUp() override {
        startFarm(state);
    }

    // Of an executor whose plan is not refused.
    Plan plan(Features features = kAll) {
        Plan planned;
        LogText words{};
        EXPECT_TRUE(planExecutor(state.executor, features, planned, words)) << words.text;
        return planned;
    }

    std::string text(Features features = kAll) {
        return textOf(plan(features));
    }

    std::string refusal(Features features = kAll) {
        Plan planned;
        LogText words{};
        EXPECT_FALSE(planExecutor(state.executor, features, planned, words));
        return words.text;
    }

    ExecutorState state;
};

TEST_F(PlanTest, isEmptyWithoutPorts) {
    EXPECT_EQ(text(), "");
    EXPECT_EQ(lineOf(plan().settings), "settings fin 60");
}

// --- Ports -----------------------------------------------------------------------------------------------------------

struct PortCase {
    const char *name;
    void (*change)(PortRecord &record);
    const char *line;
};

TEST_F(PlanTest, hasAPoolForATcpPortWithItsSettings) {
    const PortCase cases[] = {
        {"nothing", [](PortRecord &) {}, "translation"},
        {"link level", [](PortRecord &r) { set(r.setMethod, r.method, kMethodLinkLevel); }, "link level"},
        {"content", [](PortRecord &r) { set(r.setMethod, r.method, kMethodContent); }, "content"},
        {"http", [](PortRecord &r) { set(r.setProtocol, r.protocol, kProtocolHttp); }, "translation http"},
        {"tls", [](PortRecord &r) { set(r.setProtocol, r.protocol, kProtocolTls); }, "translation tls"},
        {"sticky",
         [](PortRecord &r) {
             set(r.setStickyTime, r.stickyTime.low, 7);
             r.stickyTime.high = 0;
         },
         "translation sticky 7"},
        {"bits", [](PortRecord &r) { set(r.setStickyBits, r.stickyBits, 28); }, "translation bits 28"},
        {"no bits", [](PortRecord &r) { set(r.setStickyBits, r.stickyBits, 0); }, "translation bits 0"},
        {"stale",
         [](PortRecord &r) {
             set(r.setStaleTimeout, r.staleTimeout.low, 9);
             r.staleTimeout.high = 0;
         },
         "translation stale 9"},
        {"never stale",
         [](PortRecord &r) {
             set(r.setStaleTimeout, r.staleTimeout.low, 0);
             r.staleTimeout.high = 0;
         },
         "translation stale 0"},
        {"half-open", [](PortRecord &r) { set(r.setMaxHalfOpen, r.maxHalfOpen, 11); }, "translation half-open 11"},
        {"replicate", [](PortRecord &r) { set(r.setReplicate, r.replicate, 1); }, "translation replicated"},
        {"reset", [](PortRecord &r) { set(r.setSendReset, r.sendReset, 1); }, "translation reset"},
        // The executor's own affairs, and the manager's.
        {"limits",
         [](PortRecord &r) {
             set(r.setMaxServers, r.maxServers, 3);
             set(r.setWeightBound, r.weightBound, 50);
         },
         "translation"},
    };
    for (const PortCase &each : cases) {
        startFarm(state);
        PortRecord record = addPortRequest(80);
        each.change(record);
        ASSERT_EQ(perform(state, record), 0) << each.name;
        EXPECT_EQ(text(), std::string("pool 10.1.0.1:80 tcp ") + each.line + "\n") << each.name;
    }
}

TEST_F(PlanTest, hasAPoolForEachTransport) {
    ASSERT_EQ(perform(state, addPortRequest(80, kPortTypeTcp)), 0);
    ASSERT_EQ(perform(state, addPortRequest(53, kPortTypeUdp)), 0);
    ASSERT_EQ(perform(state, addPortRequest(88, kPortTypeTcpAndUdp)), 0);
    EXPECT_EQ(text(), "pool 10.1.0.1:53 udp translation\n"
                      "pool 10.1.0.1:80 tcp translation\n"
                      "pool 10.1.0.1:88 tcp translation\n"
                      "pool 10.1.0.1:88 udp translation\n");
    EXPECT_EQ(text(without(Feature::udp)), "pool 10.1.0.1:80 tcp translation\n"
                                           "pool 10.1.0.1:88 tcp translation\n");
    EXPECT_EQ(plan(without(Feature::udp)).ports.size(), 2U);
}

TEST_F(PlanTest, hasEveryPortOnlyForAnEngineThatDoesIt) {
    ASSERT_EQ(perform(state, addPortRequest(0)), 0);
    EXPECT_EQ(text(), "pool 10.1.0.1:0 tcp translation\n");
    EXPECT_EQ(text(without(Feature::everyPort)), "");
}

TEST_F(PlanTest, groupsPortsThatCross) {
    for (const int number : {80, 443, 8080, 21})
        ASSERT_EQ(perform(state, addPortRequest(number)), 0);
    for (const int number : {443, 8080}) {
        PortRecord record = changePortRequest(number);
        set(record.setCrossPort, record.crossPort, port(80));
        ASSERT_EQ(perform(state, record), 0);
    }
    EXPECT_EQ(text(), "pool 10.1.0.1:21 tcp translation\n"
                      "pool 10.1.0.1:443 tcp translation group 80\n"
                      "pool 10.1.0.1:80 tcp translation group 80\n"
                      "pool 10.1.0.1:8080 tcp translation group 80\n");
}

TEST_F(PlanTest, knowsTheClusterOfAPort) {
    ASSERT_EQ(perform(state, addPortRequest(80)), 0);
    EXPECT_EQ(plan().ports.at(PortId{planAddress(address("10.1.0.1")), 80}).clusterKey, kCluster);
}

// --- Servers ---------------------------------------------------------------------------------------------------------

struct ServerCase {
    const char *name;
    const char *serverId;
    void (*change)(ServerRecord &record);
    const char *line; // null: it is not forwarded to
};

TEST_F(PlanTest, hasAServerWithItsSettings) {
    const ServerCase cases[] = {
        {"identifier", "10.2.0.11", [](ServerRecord &) {}, "1 10.2.0.11 10.2.0.11:80 weight 10"},
        {"listener", "web1", [](ServerRecord &r) { setListeners(r, {{"10.2.0.12"}}); },
         "1 web1 10.2.0.12:80 weight 10"},
        {"both", "10.2.0.11", [](ServerRecord &r) { setListeners(r, {{"10.2.0.12"}}); },
         "1 10.2.0.11 10.2.0.12:80 weight 10"},
        {"mapped port", "web1",
         [](ServerRecord &r) {
             setListeners(r, {{"10.2.0.12", 8080}});
         },
         "1 web1 10.2.0.12:8080 weight 10"},
        {"two listeners", "web1",
         [](ServerRecord &r) {
             setListeners(r, {{"10.2.0.12", 8080}, {"10.2.0.13"}});
         },
         "1 web1 10.2.0.12:8080 weight 10 backup 10.2.0.13:80"},
        {"two listeners, mapped", "web1",
         [](ServerRecord &r) {
             setListeners(r, {{"10.2.0.12"}, {"10.2.0.13", 81}});
         },
         "1 web1 10.2.0.12:80 weight 10 backup 10.2.0.13:81"},
        {"second listener without an address", "web1",
         [](ServerRecord &r) {
             setListeners(r, {{"10.2.0.12"}, {"0.0.0.0"}});
         },
         "1 web1 10.2.0.12:80 weight 10"},
        {"no address", "web1", [](ServerRecord &) {}, nullptr},
        {"no host", "0.0.0.0", [](ServerRecord &) {}, nullptr},
        {"broadcast", "255.255.255.255", [](ServerRecord &) {}, nullptr},
        {"multicast", "224.0.0.1", [](ServerRecord &) {}, nullptr},
        {"weight", "10.2.0.11", [](ServerRecord &r) { r.weight = 3; }, "1 10.2.0.11 10.2.0.11:80 weight 3"},
        {"no weight", "10.2.0.11", [](ServerRecord &r) { r.weight = 0; }, "1 10.2.0.11 10.2.0.11:80 weight 0"},
        {"fixed weight", "10.2.0.11", [](ServerRecord &r) { set(r.setFixedWeight, r.fixedWeight, 1); },
         "1 10.2.0.11 10.2.0.11:80 weight 10 fixed"},
        {"quiesced", "10.2.0.11", [](ServerRecord &r) { set(r.setQuiesced, r.quiesced, 1); },
         "1 10.2.0.11 10.2.0.11:80 weight 0 quiesced"},
        {"router", "10.2.0.11", [](ServerRecord &r) { set(r.setRouterAddress, r.routerAddress, address("10.9.0.1")); },
         "1 10.2.0.11 10.2.0.11:80 weight 10 router 10.9.0.1"},
        {"return address", "10.2.0.11",
         [](ServerRecord &r) { set(r.setReturnAddress, r.returnAddress, address("10.9.0.2")); },
         "1 10.2.0.11 10.2.0.11:80 weight 10 source 10.9.0.2"},
        {"collocated", "10.2.0.11", [](ServerRecord &r) { set(r.setCollocated, r.collocated, 1); },
         "1 10.2.0.11 10.2.0.11:80 weight 10 collocated"},
        {"sticky", "10.2.0.11", [](ServerRecord &r) { set(r.setSticky, r.sticky, 1); },
         "1 10.2.0.11 10.2.0.11:80 weight 10 sticky"},
        {"rate", "10.2.0.11", [](ServerRecord &r) { set(r.setCpsMaximum, r.cpsMaximum, 70); },
         "1 10.2.0.11 10.2.0.11:80 weight 10 cps 70"},
        {"texts", "10.2.0.11",
         [](ServerRecord &r) {
             r.setCookieValue = r.setCloneId = 1;
             setText(r.cookieValue, "c1");
             setText(r.cloneId, "k1");
         },
         "1 10.2.0.11 10.2.0.11:80 weight 10 cookie c1 clone k1"},
        {"time-outs of the listener", "web1",
         [](ServerRecord &r) {
             setListeners(r, {{"10.2.0.12"}});
             r.listeners[0].connectTimeout = 4;
             r.listeners[0].waitForComplete = 1;
         },
         "1 web1 10.2.0.12:80 weight 10 connect 4 wait"},
    };
    for (const ServerCase &each : cases) {
        startFarm(state);
        ASSERT_EQ(perform(state, addPortRequest(80)), 0);
        ServerRecord record = addServerRequest(80, 1, each.serverId);
        each.change(record);
        ASSERT_EQ(perform(state, record), 0) << each.name;
        const std::string pool = "pool 10.1.0.1:80 tcp";
        const std::string server = each.line == nullptr ? "" : pool + " server " + each.line + "\n";
        // Spaces come before letters.
        EXPECT_EQ(text(), server + pool + " translation\n") << each.name;
    }
}

ServerCommandRecord commandOn(Command command, uint32_t serverKey) {
    ServerCommandRecord record = serverCommand(command, serverKey);
    record.clusterKey = kCluster;
    return record;
}

TEST_F(PlanTest, tellsDownFromQuiescedAndFromNoWeight) {
    ASSERT_EQ(perform(state, addPortRequest(80)), 0);
    for (uint32_t key = 1; key <= 4; ++key)
        ASSERT_EQ(perform(state, addServerRequest(80, key, ("10.2.0.1" + std::to_string(key)).c_str(), 10)), 0);
    ASSERT_EQ(setWeights(state, 80, {{1, 0}}), 0);
    for (const uint32_t key : {2U, 3U}) {
        ServerRecord record = changeServerRequest(80, key);
        set(record.setQuiesced, record.quiesced, 1);
        ASSERT_EQ(perform(state, record), 0);
    }
    for (const uint32_t key : {3U, 4U})
        ASSERT_EQ(perform(state, commandOn(Command::markServerDown, key)), 0);
    EXPECT_EQ(text(), "pool 10.1.0.1:80 tcp server 1 10.2.0.11 10.2.0.11:80 weight 0\n"
                      "pool 10.1.0.1:80 tcp server 2 10.2.0.12 10.2.0.12:80 weight 0 quiesced\n"
                      "pool 10.1.0.1:80 tcp server 3 10.2.0.13 10.2.0.13:80 weight 0 down\n"
                      "pool 10.1.0.1:80 tcp server 4 10.2.0.14 10.2.0.14:80 weight 0 down\n"
                      "pool 10.1.0.1:80 tcp translation\n");
    EXPECT_EQ(plan().pools.begin()->second.takers, 0);
    ASSERT_EQ(perform(state, commandOn(Command::markServerUp, 4)), 0);
    EXPECT_EQ(plan().pools.begin()->second.servers.at(4).weight, 10);
    EXPECT_EQ(plan().pools.begin()->second.takers, 1);
}

TEST_F(PlanTest, refusesTheClustersOwnAddress) {
    ASSERT_EQ(perform(state, addPortRequest(80)), 0);
    ASSERT_EQ(perform(state, addServerRequest(80, 1, "10.1.0.1")), 0);
    EXPECT_EQ(refusal(), "server 10.1.0.1 would have the cluster's own address");
}

TEST_F(PlanTest, refusesAMappedPortAtLinkLevel) {
    ASSERT_EQ(perform(state, addPortRequest(80, kPortTypeTcp, kMethodLinkLevel)), 0);
    ServerRecord record = addServerRequest(80, 1, "web1");
    setListeners(record, {{"10.2.0.11", 80}});
    ASSERT_EQ(perform(state, record), 0);
    EXPECT_EQ(text(), "pool 10.1.0.1:80 tcp link level\n"
                      "pool 10.1.0.1:80 tcp server 1 web1 10.2.0.11:80 weight 10\n");
    ServerRecord change = changeServerRequest(80, 1);
    setListeners(change, {{"10.2.0.11", 8080}});
    ASSERT_EQ(perform(state, change), 0);
    EXPECT_EQ(refusal(), "server web1 has a mapped port, 8080, which forwarding at link level does not change to");
    // What translates instead maps it.
    EXPECT_EQ(text(without(Feature::linkLevel)), "pool 10.1.0.1:80 tcp link level\n"
                                                 "pool 10.1.0.1:80 tcp server 1 web1 10.2.0.11:8080 weight 10\n");
}

TEST_F(PlanTest, refusesTwoServersThatAreOne) {
    ASSERT_EQ(perform(state, addPortRequest(80)), 0);
    ASSERT_EQ(perform(state, addServerRequest(80, 1, "10.2.0.11")), 0);
    ServerRecord record = addServerRequest(80, 2, "twin");
    setListeners(record, {{"10.2.0.11", 80}});
    ASSERT_EQ(perform(state, record), 0);
    EXPECT_EQ(refusal(), "servers 10.2.0.11 and twin have the same address and port");
    setListeners(record = changeServerRequest(80, 2), {{"10.2.0.11", 81}});
    ASSERT_EQ(perform(state, record), 0);
    EXPECT_EQ(plan().pools.begin()->second.keyOfEndpoint.size(), 2U);
}

// --- Rules -----------------------------------------------------------------------------------------------------------

struct RuleCase {
    const char *name;
    int32_t type;
    int32_t begin;
    int32_t end;
    const char *line; // null: the rule selects nothing
};

TEST_F(PlanTest, selectsByRules) {
    const RuleCase cases[] = {
        {"always", 0, 0, 0, "always"},
        {"addresses", 1, rangeAddress("10.7.0.0"), rangeAddress("10.7.0.255"), "clients 10.7.0.0-10.7.0.255"},
        {"all addresses", 1, 0, -1, "clients 0.0.0.0-255.255.255.255"},
        {"hours", 2, 8, 17, "hours 8-17"},
        {"hours of more than a day", 2, 20, 99, "hours 20-23"},
        {"no hour", 2, 24, 30, nullptr},
        {"negative hours", 2, -5, 3, "hours 0-3"},
        {"only negative hours", 2, -5, -1, nullptr},
        {"ports", 3, 1024, 2047, "client ports 1024-2047"},
        {"ports beyond", 3, 60000, 70000, "client ports 60000-65535"},
        {"weekdays", 4, 1, 5, "weekdays 1-5"},
        {"weekdays beyond", 4, 6, 7, "weekdays 6-6"},
        {"type 5", 5, 0, 0, nullptr},
        {"type 6", 6, 0, 0, nullptr},
        {"type 9", 9, 0, 0, nullptr},
    };
    for (const RuleCase &each : cases) {
        startFarm(state);
        ASSERT_EQ(perform(state, addPortRequest(80)), 0);
        ASSERT_EQ(perform(state, addServerRequest(80, 1, "10.2.0.11")), 0);
        ASSERT_EQ(perform(state, addRuleRequest(80, "r", each.type, each.begin, each.end, 5)), 0) << each.name;
        addMember(state, 80, "r", 1);
        const std::string server = "server 1 10.2.0.11 10.2.0.11:80 weight 10\n";
        const std::string selector =
            each.line == nullptr ? "" : std::string("select 10.1.0.1:80 5 r: ") + each.line + "\n";
        EXPECT_EQ(text(), "pool 10.1.0.1:80 tcp r " + server + "pool 10.1.0.1:80 tcp r translation\n" +
                              "pool 10.1.0.1:80 tcp " + server + "pool 10.1.0.1:80 tcp translation\n" + selector)
            << each.name;
    }
}

TEST_F(PlanTest, selectsByTypeOfServiceAndContent) {
    ASSERT_EQ(perform(state, addPortRequest(80, kPortTypeTcp, kMethodContent)), 0);
    ASSERT_EQ(perform(state, addServerRequest(80, 1, "10.2.0.11")), 0);
    RuleRecord service = addRuleRequest(80, "tos", 7, 0, 0, 1);
    set(service.setServiceTos, service.serviceBitsClear, 3);
    service.serviceBitsSet = 16;
    ASSERT_EQ(perform(state, service), 0);
    RuleRecord content = addRuleRequest(80, "path", 8, 0, 0, 2);
    content.setPattern = 1;
    setText(content.pattern, "^/shop");
    ASSERT_EQ(perform(state, content), 0);
    addMember(state, 80, "tos", 1);
    addMember(state, 80, "path", 1);

    const auto selectors = [this](Features features) {
        const std::string all = text(features);
        const std::size_t first = all.find("select");
        return first == std::string::npos ? "" : all.substr(first);
    };
    EXPECT_EQ(selectors(kAll), "select 10.1.0.1:80 1 tos: service clear 3 set 16\n"
                               "select 10.1.0.1:80 2 path: path ^/shop\n");
    EXPECT_EQ(selectors(without(Feature::rulesByService)), "select 10.1.0.1:80 2 path: path ^/shop\n");
    EXPECT_EQ(selectors(without(Feature::rulesByContent)), "select 10.1.0.1:80 1 tos: service clear 3 set 16\n");
    EXPECT_EQ(selectors(without(Feature::rulesByContent) & without(Feature::rulesByService)), "");
    // Requests are not read when connections are only translated.
    PortRecord record = changePortRequest(80);
    set(record.setMethod, record.method, kMethodTranslation);
    ASSERT_EQ(perform(state, record), 0);
    EXPECT_EQ(selectors(kAll), "select 10.1.0.1:80 1 tos: service clear 3 set 16\n");
}

TEST_F(PlanTest, doesNotAskARuleWhoseServersTakeNothing) {
    ASSERT_EQ(perform(state, addPortRequest(80)), 0);
    ASSERT_EQ(perform(state, addServerRequest(80, 1, "10.2.0.11")), 0);
    ASSERT_EQ(perform(state, addServerRequest(80, 2, "nowhere")), 0);
    ASSERT_EQ(perform(state, addRuleRequest(80, "r", 0, 0, 0, 5)), 0);
    const auto isAsked = [this] { return text().find("select") != std::string::npos; };
    EXPECT_FALSE(isAsked());
    addMember(state, 80, "r", 2); // has no address
    EXPECT_FALSE(isAsked());
    addMember(state, 80, "r", 1);
    EXPECT_TRUE(isAsked());
    ASSERT_EQ(perform(state, commandOn(Command::markServerDown, 1)), 0);
    EXPECT_FALSE(isAsked());
    // Its pool is there for the connections that it has.
    EXPECT_NE(text().find("pool 10.1.0.1:80 tcp r server 1"), std::string::npos);
}

TEST_F(PlanTest, hasARulesOwnStickyTimeElseThePorts) {
    PortRecord record = addPortRequest(80);
    set(record.setStickyTime, record.stickyTime.low, 60);
    ASSERT_EQ(perform(state, record), 0);
    ASSERT_EQ(perform(state, addRuleRequest(80, "asPort", 0, 0, 0, 1)), 0);
    RuleRecord own = addRuleRequest(80, "own", 0, 0, 0, 2);
    set(own.setStickyTime, own.stickyTime, 600);
    set(own.setWhatAffinity, own.whatAffinity, 2);
    own.setCookieName = 1;
    setText(own.cookieName, "shop");
    ASSERT_EQ(perform(state, own), 0);
    RuleRecord forever = addRuleRequest(80, "forever", 0, 0, 0, 3);
    set(forever.setStickyTime, forever.stickyTime, int64_t{1} << 40);
    ASSERT_EQ(perform(state, forever), 0);
    EXPECT_EQ(text(), "pool 10.1.0.1:80 tcp asPort translation sticky 60\n"
                      "pool 10.1.0.1:80 tcp forever translation sticky 2147483647\n"
                      "pool 10.1.0.1:80 tcp own translation sticky 600 affinity 2 cookie shop\n"
                      "pool 10.1.0.1:80 tcp translation sticky 60\n");
}

TEST_F(PlanTest, hasAPoolOfARuleForEachTransportAndNoneInAGroup) {
    ASSERT_EQ(perform(state, addPortRequest(80, kPortTypeTcpAndUdp)), 0);
    PortRecord crossing = addPortRequest(81, kPortTypeTcp);
    set(crossing.setCrossPort, crossing.crossPort, port(80));
    ASSERT_EQ(perform(state, crossing), 0);
    ASSERT_EQ(perform(state, addRuleRequest(80, "r", 0, 0, 0, 1)), 0);
    EXPECT_EQ(text(), "pool 10.1.0.1:80 tcp r translation\n"
                      "pool 10.1.0.1:80 tcp translation group 80\n"
                      "pool 10.1.0.1:80 udp r translation\n"
                      "pool 10.1.0.1:80 udp translation group 80\n"
                      "pool 10.1.0.1:81 tcp translation group 80\n");
}

// --- Changes ---------------------------------------------------------------------------------------------------------

TEST_F(PlanTest, tellsOfWhatIsNewThenOfWhatChangedThenOfWhatGoes) {
    ASSERT_EQ(perform(state, addPortRequest(80)), 0);
    ASSERT_EQ(perform(state, addServerRequest(80, 1, "10.2.0.11")), 0);
    ASSERT_EQ(perform(state, addServerRequest(80, 2, "10.2.0.12")), 0);
    ASSERT_EQ(perform(state, addServerRequest(80, 3, "10.2.0.13")), 0);
    Plan inForce = plan();
    ASSERT_EQ(setWeights(state, 80, {{2, 5}, {3, 6}}), 0);
    ASSERT_EQ(perform(state, addServerRequest(80, 4, "10.2.0.14")), 0);

    const Cluster &cluster = state.executor.clusters.byKey.at(kCluster);
    const Port &port80 = cluster.ports.byKey.at(80);
    PlanDraft draft = newDraft(inForce, kAll);
    LogText words;
    draftRemovedServer(draft, cluster, port80, 1);
    ASSERT_TRUE(draftServers(draft, cluster, port80, {2, 3, 4}, words));
    const std::string before = textOf(inForce);
    exchange(draft);
    const PlanChange change = changeOf(draft);
    std::vector<std::string> told;
    for (const ServerChange &each : change.servers)
        told.push_back((each.server.before == nullptr ? "-" : std::to_string(each.server.before->weight)) + ">" +
                       (each.server.after == nullptr ? "-" : std::to_string(each.server.after->weight)));
    EXPECT_EQ(told, (std::vector<std::string>{"->10", "10>5", "10>6", "10>-"}));
    EXPECT_EQ(inForce.pools.begin()->second.servers.size(), 3U);
    exchange(draft);
    EXPECT_EQ(textOf(inForce), before);
}

// --- Clients and the whole machine -----------------------------------------------------------------------------------

TEST_F(PlanTest, hasTheClientsThatAreBound) {
    ASSERT_EQ(perform(state, addPortRequest(80)), 0);
    ASSERT_EQ(perform(state, addServerRequest(80, 7, "10.2.0.11")), 0);
    ASSERT_EQ(directClient(state, 80, "10.7.0.1", 7), 0);
    ASSERT_EQ(directClient(state, 80, "10.7.0.2", 7), 0);
    ASSERT_EQ(directClient(state, 80, "10.7.0.2", 7, 2), 0);
    EXPECT_EQ(text(), "bound 10.1.0.1:80 10.7.0.1 to 7\n"
                      "pool 10.1.0.1:80 tcp server 7 10.2.0.11 10.2.0.11:80 weight 10\n"
                      "pool 10.1.0.1:80 tcp translation\n");
}

TEST_F(PlanTest, hasTheSettingsOfTheMachine) {
    const auto addPort = [this](int number, int32_t type, int32_t stale, bool isReplicated) {
        PortRecord record = addPortRequest(number, type);
        set(record.setStaleTimeout, record.staleTimeout.low, stale);
        set(record.setReplicate, record.replicate, isReplicated ? 1 : 0);
        ASSERT_EQ(perform(state, record), 0);
    };
    addPort(80, kPortTypeTcp, 30, false);
    addPort(81, kPortTypeTcp, 40, false);
    addPort(53, kPortTypeUdp, 20, true);
    ServerRecord server = addServerRequest(80, 1, "10.2.0.11");
    set(server.setReturnAddress, server.returnAddress, address("10.9.0.2"));
    ASSERT_EQ(perform(state, server), 0);
    ExecutorSettingsRecord settings{};
    settings.header = {Command::writeExecutorSettings, 0, 0, sizeof settings};
    set(settings.setNonForwardingAddress, settings.nfa, address("10.0.0.9"));
    settings.setSecondsWestOfGreenwich = 1;
    settings.secondsWestOfGreenwich = {-1, -7200};
    set(settings.setFinTimeout, settings.finTimeout.low, 15);
    set(settings.setCookieExpireInterval, settings.cookieExpireInterval, 90);
    ASSERT_EQ(perform(state, settings), 0);
    AttackProtectionRecord attack{};
    attack.header = {Command::setAttackProtection, 0, 0, sizeof attack};
    attack.parameters[0] = 5;
    ASSERT_EQ(perform(state, attack), 0);
    EXPECT_EQ(lineOf(plan().settings),
              "settings own 10.0.0.9 fin 15 tcp 40 udp 20 replicated sources west -7200 cookies 90 attack 5");
}

} // namespace
} // namespace rk
