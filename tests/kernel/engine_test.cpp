// The kernel engine, with a real kernel and real connections: to be run in the guest, with its network.
#include "executor/forwarding/kernel/connection_table.h"
#include "executor/forwarding/kernel/ipvs.h"
#include "executor/forwarding/kernel/kernel_engine.h"
#include "executor/forwarding/kernel/kernel_state.h"
#include "executor/forwarding/kernel/pool_services.h"
#include "executor/state/values.h"
#include "kernel_refusals.h"
#include "plans.h"
#include "traffic.h"

#include <algorithm>
#include <atomic>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <regex>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace rk {
namespace {

using refusals::Fate;
using refusals::interference;
using traffic::Answers;
using traffic::Request;

constexpr char kJournalFolder[] = "/run/qelxwd_test";
constexpr uint32_t kWeb1 = 11; // keys
constexpr uint32_t kWeb2 = 12;
constexpr uint32_t kWeb3 = 13;
constexpr int64_t kLongTime = 1000;            // seconds: longer than a test takes
constexpr useconds_t kCountersLag = 4'500'000; // two rounds of the kernel's summing up

// Servers in threads, once for all tests.
void serveOnce() {
    static const bool isServing = [] {
        for (const char *name : {"s1", "s2", "s3"})
            traffic::serve(name, {80, 443, 8080});
        return true;
    }();
    ASSERT_TRUE(isServing);
}

std::string settingNow(const std::string &path) {
    std::string value;
    readWhole("/proc/sys/" + path, value);
    return value.substr(0, value.find('\n'));
}

// A table as lines that can be read.
using TableText = std::vector<std::string>;
TableText textOf(const IpvsTable &table) {
    TableText lines;
    for (const auto &[key, state] : table) {
        std::string line = describe(key) + " " + state.settings.scheduler;
        if (state.settings.stickySeconds != 0)
            line += " sticky " + std::to_string(state.settings.stickySeconds);
        for (const auto &[server, settings] : state.servers)
            line += ", " + describe(server) + " by " + std::to_string(static_cast<uint32_t>(settings.method)) +
                    " weight " + std::to_string(settings.weight);
        lines.push_back(line);
    }
    return lines;
}

// All services of the kernel, also those of others.
IpvsTable servicesNow() {
    NetlinkFamily ipvs;
    EXPECT_EQ(openIpvs(ipvs), 0);
    IpvsTable table;
    std::vector<IpvsService> services;
    EXPECT_EQ(listServices(ipvs, services), 0);
    for (const IpvsService &service : services) {
        std::vector<IpvsServer> servers;
        EXPECT_EQ(listServers(ipvs, service.key, servers), 0);
        table[service.key].settings = service.settings;
        for (const IpvsServer &server : servers)
            table[service.key].servers[server.key] = server.settings;
    }
    closeFamily(ipvs);
    return table;
}

// What does not depend on the marks that were given out.
std::multiset<std::string> addressesOf(const IpvsTable &table) {
    std::multiset<std::string> all;
    for (const auto &[key, state] : table) {
        std::string text = key.mark == 0 ? describe(key) : "mark";
        for (const auto &[server, settings] : state.servers)
            text += " " + describe(server) + "=" + std::to_string(settings.weight);
        all.insert(text);
    }
    return all;
}

TableText kernelTable() {
    return textOf(servicesNow());
}

std::string packetFilter(const char *table = "qelxw") {
    Nftables nftables;
    EXPECT_TRUE(openNftables(nftables));
    std::string text;
    listTable(nftables, table, text);
    closeNftables(nftables);
    return text;
}

// Whether it does in time, which an emulated machine takes a lot of.
template <typename Condition> bool becomesTrue(Condition condition) {
    for (int tries = 0; tries < 100 && !condition(); ++tries)
        usleep(200'000);
    return condition();
}

// Whichever marks were given out.
std::string withoutMarks(const std::string &filter) {
    return std::regex_replace(filter, std::regex("0x4c[0-9a-f]{6}"), "MARK");
}

void runNft(const std::string &commands) {
    Nftables nftables;
    ASSERT_TRUE(openNftables(nftables));
    std::string mistake;
    EXPECT_TRUE(runTransaction(nftables, commands, mistake)) << mistake;
    closeNftables(nftables);
}

class KernelEngineTest : public testing::Test {
protected:
    void SetUp() override {
        serveOnce();
        interference = {};
        options.journalFolder = kJournalFolder;
        openEngine();
    }

    void TearDown() override {
        interference = {};
        if (engine.own != nullptr)
            engine.close(engine.own);
        EXPECT_TRUE(kernelTable().empty());
        EXPECT_EQ(packetFilter(), "");
    }

    void openEngine() {
        std::string words;
        ASSERT_TRUE(openKernelEngine(options, engine, words)) << words;
        applied = Plan{};
    }

    void closeEngine() {
        engine.close(engine.own);
        engine = Engine{};
    }

    // Whether the engine takes the plan `next`, which is in force then. `said` has its words.
    bool apply() {
        plans::settle(next);
        LogText words{};
        ended.clear();
        const bool isDone = engine.apply(engine.own, next, plans::changeBetween(applied, next), ended, words);
        said = words.text;
        if (isDone)
            applied = next;
        return isDone;
    }

    void mustApply() {
        ASSERT_TRUE(apply()) << said;
    }

    // Without those that finish.
    IpvsTable wantedServicesNow() {
        IpvsTable table = servicesNow();
        for (const auto &[key, heir] : own().finishing)
            table.erase(key);
        return table;
    }

    void tick() {
        LogText words{};
        ended.clear();
        engine.tick(engine.own, applied, ended, words);
        said = words.text;
    }

    KernelEngine &own() {
        return *static_cast<KernelEngine *>(engine.own);
    }

    // Makes the next tick look at the kernel.
    void letTimePass() {
        own().relistAt = 0;
    }

    // Services that finish go when two looks have found no connection.
    void endFinishedNow() {
        for (int look = 0; look < 2; ++look) {
            letTimePass();
            tick();
        }
    }

    Counts countsOf(const Pool &pool) {
        Counts counts;
        EXPECT_TRUE(engine.readPool(engine.own, pool, counts));
        return counts;
    }

    Counts countsOf(const Pool &pool, uint32_t key) {
        Counts counts;
        EXPECT_TRUE(engine.readServer(engine.own, pool, pool.servers.at(key), counts));
        return counts;
    }

    KernelEngineOptions options;
    Engine engine;
    Plan applied;
    Plan next;
    std::vector<EndedCounts> ended;
    std::string said;
};

Request to(const std::string &cluster, uint16_t port = 80, std::vector<std::string> clients = {"10.1.0.2"}) {
    Request request;
    request.address = cluster;
    request.port = port;
    request.clients = std::move(clients);
    return request;
}

// Shares of so many answers, none of which went wrong, each at most `slack` off.
void expectShares(const Answers &answers, const Answers &expected, int slack = 0) {
    for (const auto &[name, count] : answers)
        EXPECT_TRUE(expected.contains(name)) << traffic::textOf(answers);
    for (const auto &[name, count] : expected) {
        const auto found = answers.find(name);
        EXPECT_LE(std::abs((found == answers.end() ? 0 : found->second) - count), slack) << traffic::textOf(answers);
    }
}

// --- How packets get to the servers ----------------------------------------------------------------------------------

TEST_F(KernelEngineTest, translationMapsPortsAndKeepsWeights) {
    plans::threeServers(plans::pool(next, "10.9.0.1", 80), 8080, 1, 2, 3);
    mustApply();
    expectShares(traffic::ask(to("10.9.0.1"), 60), {{"s1", 10}, {"s2", 20}, {"s3", 30}}, 1);

    Pool &pool = plans::pool(next, "10.9.0.1", 80);
    pool.servers.at(kWeb1).weight = 3;
    pool.servers.at(kWeb3).weight = 1;
    mustApply();
    expectShares(traffic::ask(to("10.9.0.1"), 60), {{"s1", 30}, {"s2", 20}, {"s3", 10}}, 1);
}

TEST_F(KernelEngineTest, datagramsAreBalancedBySocket) {
    plans::threeServers(plans::pool(next, "10.9.0.1", 80, std::nullopt, Transport::udp), 8080, 1, 2, 3);
    mustApply();
    expectShares(traffic::askByDatagram(to("10.9.0.1"), 30), {{"s1", 5}, {"s2", 10}, {"s3", 15}}, 1);
    EXPECT_EQ(traffic::askByDatagram(to("10.9.0.1"), 10, true).size(), 1U);
}

TEST_F(KernelEngineTest, linkLevelLeavesAnswersToTheServers) {
    Pool &pool = plans::pool(next, "10.9.0.2", 80);
    pool.settings.method = Method::linkLevel;
    plans::threeServers(pool, 80, 1, 2, 3);
    mustApply();
    expectShares(traffic::ask(to("10.9.0.2", 80, {"10.1.0.129"}), 60), {{"s1", 10}, {"s2", 20}, {"s3", 30}}, 1);
    usleep(kCountersLag);
    const Counts counts = countsOf(applied.pools.begin()->second);
    EXPECT_EQ(counts.totals.connections, 60U);
    EXPECT_GT(counts.totals.bytesIn, 0U);
    EXPECT_EQ(counts.totals.bytesOut, 0U);
}

TEST_F(KernelEngineTest, serversBehindARouterAreReachedByTunnel) {
    Pool &pool = plans::pool(next, "10.9.0.3", 80);
    pool.settings.method = Method::linkLevel;
    plans::threeServers(pool, 80, 1, 1, 1);
    for (auto &[key, server] : pool.servers)
        server.router = plans::address("10.2.0.254");
    mustApply();
    expectShares(traffic::ask(to("10.9.0.3", 80, {"10.1.0.130"}), 30), {{"s1", 10}, {"s2", 10}, {"s3", 10}}, 1);
    // Another way for the same servers, while old connections go on: their packets bring the kernel off the new way,
    // until the next tick.
    traffic::Held held = traffic::hold(to("10.9.0.3", 80, {"10.1.0.131"}), 3);
    next = applied;
    for (auto &[key, server] : plans::pool(next, "10.9.0.3", 80).servers)
        server.router = Address{};
    mustApply();
    const Answers fromEach{{"s1", 1}, {"s2", 1}, {"s3", 1}};
    EXPECT_EQ(traffic::askHeld(held), fromEach);
    tick();
    expectShares(traffic::ask(to("10.9.0.3", 80, {"10.1.0.130"}), 30), {{"s1", 10}, {"s2", 10}, {"s3", 10}});
    EXPECT_EQ(traffic::askHeld(held), fromEach);
    traffic::letGo(held);
}

TEST_F(KernelEngineTest, everyPortOfAnAddressWithoutOneOfItsOwn) {
    plans::threeServers(plans::pool(next, "10.9.0.4", 0), 0, 1, 1, 1);
    plans::server(plans::pool(next, "10.9.0.4", 443), "10.2.0.12", 443, 1);
    mustApply();
    expectShares(traffic::ask(to("10.9.0.4", 80), 30), {{"s1", 10}, {"s2", 10}, {"s3", 10}}, 1);
    expectShares(traffic::ask(to("10.9.0.4", 8080), 30), {{"s1", 10}, {"s2", 10}, {"s3", 10}}, 1);
    expectShares(traffic::ask(to("10.9.0.4", 443), 10), {{"s2", 10}});
}

TEST_F(KernelEngineTest, returnAddressesBringAnswersBackThroughTheDirector) {
    Pool &pool = plans::pool(next, "10.9.0.9", 80);
    plans::threeServers(pool, 80, 1, 1, 1);
    mustApply();
    Request near = to("10.9.0.9", 80, {"10.2.0.200"});
    near.milliseconds = 300;
    EXPECT_EQ(traffic::textOf(traffic::ask(near, 1)), "lost=1"); // the servers answer past the director
    EXPECT_EQ(settingNow("net/ipv4/vs/conntrack"), "0");

    for (auto &[key, server] : plans::pool(next, "10.9.0.9", 80).servers)
        server.source = plans::address("10.2.0.1");
    mustApply();
    EXPECT_EQ(settingNow("net/ipv4/vs/conntrack"), "1");
    EXPECT_EQ(said, "net/ipv4/vs/conntrack is 1 now, it was 0");
    near.milliseconds = Request{}.milliseconds;
    expectShares(traffic::ask(near, 30), {{"s1", 10}, {"s2", 10}, {"s3", 10}}, 1);
    EXPECT_NE(traffic::answerTo(near).find(" 10.2.0.1:"), std::string::npos);

    for (auto &[key, server] : plans::pool(next, "10.9.0.9", 80).servers)
        server.source = Address{};
    mustApply();
    EXPECT_EQ(settingNow("net/ipv4/vs/conntrack"), "0");
}

// --- Clients that stay with a server ---------------------------------------------------------------------------------

TEST_F(KernelEngineTest, clientsStickByTheirFirstBits) {
    Pool &pool = plans::pool(next, "10.9.0.1", 443);
    plans::threeServers(pool, 443, 1, 1, 1);
    pool.settings.stickyTime = 300;
    pool.settings.stickyBits = 28;
    mustApply();
    const Answers low = traffic::ask(to("10.9.0.1", 443, {"10.1.0.2", "10.1.0.5", "10.1.0.15"}), 12);
    const Answers high = traffic::ask(to("10.9.0.1", 443, {"10.1.0.16", "10.1.0.20"}), 12);
    ASSERT_EQ(low.size(), 1U) << traffic::textOf(low);
    ASSERT_EQ(high.size(), 1U) << traffic::textOf(high);
    EXPECT_NE(low.begin()->first, high.begin()->first);

    std::vector<StickyClient> clients;
    ASSERT_TRUE(engine.listStickyClients(engine.own, applied, nullptr, clients));
    ASSERT_EQ(clients.size(), 2U);
    std::ranges::sort(clients, std::less<>(), &StickyClient::client);
    EXPECT_EQ(clients[0].client, plans::address("10.1.0.0"));
    EXPECT_EQ(clients[1].client, plans::address("10.1.0.16"));
    EXPECT_EQ("s" + std::to_string(clients[0].serverKey - 10), low.begin()->first);
    EXPECT_EQ(clients[0].pool, applied.pools.begin()->first);
    EXPECT_EQ(clients[0].active, 12U); // known still
    EXPECT_LT(clients[0].idle, 60U);

    // Its server takes nothing any more: another one does, and keeps it.
    next.pools.begin()->second.servers.at(clients[0].serverKey).weight = 0;
    mustApply();
    const Answers moved = traffic::ask(to("10.9.0.1", 443), 6);
    EXPECT_EQ(moved.size(), 1U);
    EXPECT_NE(moved.begin()->first, low.begin()->first);
}

TEST_F(KernelEngineTest, portsThatCrossShareTheirClients) {
    for (const uint16_t port : {uint16_t{80}, uint16_t{443}}) {
        Pool &pool = plans::pool(next, "10.9.0.5", port);
        plans::threeServers(pool, port, 1, 1, 1);
        pool.settings.stickyTime = 300;
        pool.settings.group = 80;
    }
    mustApply();
    for (const char *client : {"10.1.0.2", "10.1.0.3", "10.1.0.4", "10.1.0.16"}) {
        const Answers one = traffic::ask(to("10.9.0.5", 80, {client}), 3);
        const Answers other = traffic::ask(to("10.9.0.5", 443, {client}), 3);
        EXPECT_EQ(one, other) << client;
        EXPECT_EQ(one.size(), 1U) << client;
    }
    // A server that is down at one of them is avoided at both.
    plans::pool(next, "10.9.0.5", 443).servers.at(kWeb2).weight = 0;
    mustApply();
    const Answers rest = traffic::ask(to("10.9.0.5", 80, {"10.1.0.5", "10.1.0.17", "10.1.0.18", "10.1.0.19"}), 12);
    EXPECT_FALSE(rest.contains("s2")) << traffic::textOf(rest);
    // Other servers at one of them: each port is on its own.
    plans::removeServer(plans::pool(next, "10.9.0.5", 443), kWeb1);
    mustApply();
    EXPECT_EQ(traffic::textOf(traffic::ask(to("10.9.0.5", 443), 4)), "s3=4");
}

TEST_F(KernelEngineTest, boundClientsGoToTheirServer) {
    plans::threeServers(plans::pool(next, "10.9.0.1", 80), 8080, 1, 1, 1);
    plans::bindClient(next, "10.9.0.1", 80, "10.1.0.3", kWeb2);
    plans::bindClient(next, "10.9.0.1", 80, "10.1.0.4", kWeb3);
    mustApply();
    EXPECT_EQ(traffic::textOf(traffic::ask(to("10.9.0.1", 80, {"10.1.0.3"}), 6)), "s2=6");
    EXPECT_EQ(traffic::textOf(traffic::ask(to("10.9.0.1", 80, {"10.1.0.4"}), 6)), "s3=6");
    expectShares(traffic::ask(to("10.9.0.1"), 12), {{"s1", 4}, {"s2", 4}, {"s3", 4}}, 1);
    usleep(kCountersLag);
    EXPECT_EQ(countsOf(applied.pools.begin()->second).totals.connections, 24U);

    // While its server takes nothing, a bound client is as any other; then it is bound again.
    Pool &pool = plans::pool(next, "10.9.0.1", 80);
    const uint64_t before = countsOf(pool, kWeb2).totals.connections;
    pool.servers.at(kWeb2).weight = 0;
    mustApply();
    EXPECT_EQ(countsOf(pool, kWeb2).totals.connections, before);
    expectShares(traffic::ask(to("10.9.0.1", 80, {"10.1.0.3"}), 6), {{"s1", 3}, {"s3", 3}}, 1);
    pool.servers.at(kWeb2).weight = 1;
    mustApply();
    EXPECT_EQ(traffic::textOf(traffic::ask(to("10.9.0.1", 80, {"10.1.0.3"}), 6)), "s2=6");
    next.ports.begin()->second.clients.clear();
    mustApply();
    EXPECT_EQ(traffic::ask(to("10.9.0.1", 80, {"10.1.0.3"}), 6).size(), 3U);
}

// --- Rules ----------------------------------------------------------------------------------------------------------

class KernelRulesTest : public KernelEngineTest {
protected:
    void SetUp() override {
        KernelEngineTest::SetUp();
        plans::server(plans::pool(next, "10.9.0.6", 80), "10.2.0.11", 80, 1);
    }

    // A rule that leads to s2.
    Selector &rule(int32_t priority, const std::string &name, Match match, uint16_t first = 0, uint16_t last = 0) {
        plans::server(plans::pool(next, "10.9.0.6", 80, name), "10.2.0.12", 80, 1);
        Selector &selector = plans::selector(next, "10.9.0.6", 80, priority, name, match);
        selector.first = first;
        selector.last = last;
        return selector;
    }

    bool isSentElsewhere(const Request &request = to("10.9.0.6")) {
        const std::string answers = traffic::textOf(traffic::ask(request, 2));
        EXPECT_TRUE(answers == "s1=2" || answers == "s2=2") << answers;
        return answers == "s2=2";
    }
};

TEST_F(KernelRulesTest, always) {
    rule(5, "all", Match::always);
    mustApply();
    EXPECT_TRUE(isSentElsewhere());
    EXPECT_TRUE(isSentElsewhere(to("10.9.0.6", 80, {"10.1.0.66"})));
}

TEST_F(KernelRulesTest, clientAddresses) {
    Selector &selector = rule(5, "office", Match::clientAddress);
    selector.firstAddress = plans::address("10.1.0.16");
    selector.lastAddress = plans::address("10.1.0.19");
    mustApply();
    EXPECT_TRUE(isSentElsewhere(to("10.9.0.6", 80, {"10.1.0.16"})));
    EXPECT_TRUE(isSentElsewhere(to("10.9.0.6", 80, {"10.1.0.19"})));
    EXPECT_FALSE(isSentElsewhere(to("10.9.0.6", 80, {"10.1.0.15"})));
    EXPECT_FALSE(isSentElsewhere(to("10.9.0.6", 80, {"10.1.0.20"})));
    selector.lastAddress = selector.firstAddress;
    mustApply();
    EXPECT_TRUE(isSentElsewhere(to("10.9.0.6", 80, {"10.1.0.16"})));
    EXPECT_FALSE(isSentElsewhere(to("10.9.0.6", 80, {"10.1.0.17"})));
}

TEST_F(KernelRulesTest, clientPorts) {
    rule(5, "ports", Match::clientPort, 40000, 40010);
    mustApply();
    Request request = to("10.9.0.6");
    request.firstClientPort = 40000;
    request.lastClientPort = 40010;
    EXPECT_TRUE(isSentElsewhere(request));
    request.firstClientPort = request.lastClientPort = 40011;
    --request.firstClientPort;
    EXPECT_EQ(traffic::textOf(traffic::ask(request, 2)), "s1=1 s2=1");
}

TEST_F(KernelRulesTest, typeOfService) {
    Selector &selector = rule(5, "urgent", Match::typeOfService);
    selector.serviceBitsSet = 0xA0;
    selector.serviceBitsClear = 0x40;
    mustApply();
    Request request = to("10.9.0.6");
    EXPECT_FALSE(isSentElsewhere(request));
    request.typeOfService = 0xA0;
    EXPECT_TRUE(isSentElsewhere(request));
    request.typeOfService = 0xE0;
    EXPECT_FALSE(isSentElsewhere(request));
}

// An hour of the zone that is not at its end for the next minute or so: tests around a full hour would be about two.
int hourOf(time_t time) {
    std::tm parts{};
    gmtime_r(&time, &parts);
    return parts.tm_hour;
}

TEST_F(KernelRulesTest, hoursOfTheDay) {
    for (const int32_t west : {0, 5 * 3600, -9 * 3600 - 1800}) {
        next.settings.secondsWest = west;
        const int hour = hourOf(time(nullptr) - west);
        const int later = hourOf(time(nullptr) - west + 60); // another one only in the last minute
        const auto span = [](int begin, int end) {
            return std::pair{static_cast<uint16_t>((begin + 24) % 24), static_cast<uint16_t>((end + 24) % 24)};
        };
        const struct {
            std::pair<uint16_t, uint16_t> hours;
            bool isNow;
        } cases[] = {
            {span(hour, later), true},           {span(later + 1, hour - 1), false}, {span(hour - 23 + 1, later), true},
            {span(later + 2, later + 4), false}, {span(hour - 2, later + 2), true},  {{0, 23}, true},
        };
        for (const auto &[hours, isNow] : cases) {
            rule(5, "hours", Match::hours, hours.first, hours.second);
            mustApply();
            EXPECT_EQ(isSentElsewhere(), isNow) << hours.first << " to " << hours.second << ", west " << west;
        }
    }
}

TEST_F(KernelRulesTest, daysOfTheWeek) {
    for (const int32_t west : {0, 7 * 3600, -10 * 3600}) {
        next.settings.secondsWest = west;
        const auto dayOf = [west](time_t time) {
            std::tm parts{};
            time -= west;
            gmtime_r(&time, &parts);
            return static_cast<uint16_t>(parts.tm_wday);
        };
        const uint16_t day = dayOf(time(nullptr));
        const uint16_t later = dayOf(time(nullptr) + 60);
        rule(5, "days", Match::weekdays, day, later);
        mustApply();
        EXPECT_TRUE(isSentElsewhere()) << west;
        rule(5, "days", Match::weekdays, static_cast<uint16_t>((later + 1) % 7), static_cast<uint16_t>((day + 6) % 7));
        mustApply();
        EXPECT_FALSE(isSentElsewhere()) << west;
    }
}

TEST_F(KernelRulesTest, theFirstThatMatchesDecides) {
    rule(5, "all", Match::always);
    Selector &office = rule(3, "office", Match::clientAddress);
    office.firstAddress = office.lastAddress = plans::address("10.1.0.16");
    Pool &pool = plans::pool(next, "10.9.0.6", 80, "office");
    plans::removeServer(pool, kWeb2);
    plans::server(pool, "10.2.0.13", 80, 1);
    mustApply();
    EXPECT_EQ(traffic::textOf(traffic::ask(to("10.9.0.6", 80, {"10.1.0.16"}), 4)), "s3=4");
    EXPECT_EQ(traffic::textOf(traffic::ask(to("10.9.0.6"), 4)), "s2=4");

    // The rule in front has no server any more that takes connections, so its selector goes.
    pool.servers.at(kWeb3).weight = 0;
    next.ports.begin()->second.selectors.erase(3);
    mustApply();
    EXPECT_EQ(traffic::textOf(traffic::ask(to("10.9.0.6", 80, {"10.1.0.16"}), 4)), "s2=4");
}

TEST_F(KernelRulesTest, clientsStickWithinARule) {
    rule(5, "all", Match::always);
    Pool &pool = plans::pool(next, "10.9.0.6", 80, "all");
    plans::server(pool, "10.2.0.13", 80, 1);
    pool.settings.stickyTime = 60;
    mustApply();
    for (const char *client : {"10.1.0.2", "10.1.0.3", "10.1.0.4"})
        EXPECT_EQ(traffic::ask(to("10.9.0.6", 80, {client}), 4).size(), 1U);
    std::vector<StickyClient> clients;
    ASSERT_TRUE(engine.listStickyClients(engine.own, applied, nullptr, clients));
    ASSERT_EQ(clients.size(), 3U);
    EXPECT_EQ(clients[0].pool.rule, "all");
    usleep(kCountersLag);
    EXPECT_EQ(countsOf(applied.pools.at(clients[0].pool)).totals.connections, 12U);
}

TEST_F(KernelRulesTest, namesOfRulesNeedNotBeWords) {
    rule(5, "a\"b; drop { } \n table ip x", Match::always);
    mustApply();
    EXPECT_TRUE(isSentElsewhere());
}

TEST_F(KernelRulesTest, datagramsHaveRulesToo) {
    plans::server(plans::pool(next, "10.9.0.6", 80, std::nullopt, Transport::udp), "10.2.0.11", 80, 1);
    plans::server(plans::pool(next, "10.9.0.6", 80, "all", Transport::udp), "10.2.0.13", 80, 1);
    rule(5, "all", Match::always);
    mustApply();
    EXPECT_TRUE(isSentElsewhere());
    EXPECT_EQ(traffic::textOf(traffic::askByDatagram(to("10.9.0.6"), 3)), "s3=3");
}

// --- Servers that go and come ----------------------------------------------------------------------------------------

TEST_F(KernelEngineTest, heldConnectionsOutliveAllButTheirServer) {
    plans::threeServers(plans::pool(next, "10.9.0.1", 80), 8080, 1, 1, 1);
    mustApply();
    traffic::Held held = traffic::hold(to("10.9.0.1"), 12);
    const Answers spread{{"s1", 4}, {"s2", 4}, {"s3", 4}};
    EXPECT_EQ(traffic::askHeld(held), spread);
    Pool &pool = plans::pool(next, "10.9.0.1", 80);
    EXPECT_EQ(countsOf(pool).active, 12U);
    EXPECT_EQ(countsOf(pool, kWeb1).active, 4U);

    pool.servers.at(kWeb1).weight = 0; // as well while it is down or quiesced
    mustApply();
    EXPECT_EQ(traffic::askHeld(held), spread);
    expectShares(traffic::ask(to("10.9.0.1"), 6), {{"s2", 3}, {"s3", 3}}, 1);
    pool.servers.at(kWeb1).weight = 1;
    mustApply();
    EXPECT_EQ(traffic::ask(to("10.9.0.1"), 6).size(), 3U);

    plans::removeServer(pool, kWeb1);
    mustApply();
    const Answers after = traffic::askHeld(held);
    expectShares(after, {{"reset", 4}, {"s2", 4}, {"s3", 4}});
    plans::server(pool, "10.2.0.11", 8080, 1);
    mustApply();
    traffic::letGo(held);
}

// Other services balance the same servers: what is held goes on, through every one of them.
TEST_F(KernelEngineTest, heldConnectionsOutliveOtherServices) {
    const char cluster[] = "10.9.0.8";
    for (const uint16_t port : {uint16_t{80}, uint16_t{443}})
        plans::threeServers(plans::pool(next, cluster, port), port, 1, 1, 1);
    plans::threeServers(plans::pool(next, cluster, 21), 80, 1, 1, 1); // never crosses
    mustApply();
    traffic::Held held = traffic::hold(to(cluster), 3);
    const auto others = traffic::hold(to(cluster, 443), 3);
    held.sockets.insert(held.sockets.end(), others.sockets.begin(), others.sockets.end());

    for (const uint16_t port : {uint16_t{80}, uint16_t{443}})
        plans::pool(next, cluster, port).settings.group = 80;
    mustApply();
    EXPECT_EQ(own().finishing.size(), 2U); // those of the addresses
    traffic::Held more = traffic::hold(to(cluster), 3);
    held.sockets.insert(held.sockets.end(), more.sockets.begin(), more.sockets.end());
    EXPECT_EQ(traffic::textOf(traffic::askHeld(held)), "s1=3 s2=3 s3=3");
    traffic::Held across = traffic::hold(to(cluster, 443), 3); // through the same service

    for (auto &[id, pool] : next.pools)
        pool.settings.group = 0;
    mustApply();
    EXPECT_EQ(own().finishing.size(), 1U); // that of the group
    EXPECT_EQ(kernelTable().size(), 4U);
    EXPECT_EQ(traffic::textOf(traffic::askHeld(held)), "s1=3 s2=3 s3=3");

    plans::bindClient(next, cluster, 80, "10.1.0.4", kWeb2);
    plans::server(plans::pool(next, cluster, 80, "office"), "10.2.0.13", 80, 1);
    Selector &office = plans::selector(next, cluster, 80, 1, "office", Match::clientAddress);
    office.firstAddress = office.lastAddress = plans::address("10.1.0.5");
    mustApply();
    traffic::Held bound = traffic::hold(to(cluster, 80, {"10.1.0.4"}), 2);
    traffic::Held ruled = traffic::hold(to(cluster, 80, {"10.1.0.5"}), 2);
    EXPECT_EQ(traffic::textOf(traffic::askHeld(bound)), "s2=2");
    EXPECT_EQ(traffic::textOf(traffic::askHeld(ruled)), "s3=2");
    PortPlan &port = next.ports.at(plans::endpoint(cluster, 80));
    port.clients.clear();
    mustApply();
    port.selectors.clear();
    next.pools.erase(PoolId{plans::endpoint(cluster, 80), Transport::tcp, "office"});
    mustApply();
    EXPECT_EQ(own().finishing.size(), 3U);
    EXPECT_EQ(traffic::textOf(traffic::askHeld(bound)), "s2=2");
    EXPECT_EQ(traffic::textOf(traffic::askHeld(ruled)), "s3=2");
    expectShares(traffic::ask(to(cluster, 80, {"10.1.0.4", "10.1.0.5"}), 6), {{"s1", 2}, {"s2", 2}, {"s3", 2}}, 1);
    EXPECT_EQ(countsOf(plans::pool(next, cluster, 80)).active, 13U); // 3, 6 of the group, 2 and 2

    // The kernel is looked at, and a run that ends in the midst is followed by another: nothing changes.
    letTimePass();
    tick();
    EXPECT_EQ(said, "");
    EXPECT_EQ(own().finishing.size(), 3U);
    own().options.keepsForwarding = true;
    closeEngine();
    openEngine();
    mustApply();
    tick();
    EXPECT_FALSE(own().isAdopting);
    EXPECT_EQ(own().finishing.size(), 3U);
    EXPECT_EQ(traffic::textOf(traffic::askHeld(held)), "s1=3 s2=3 s3=3");
    EXPECT_EQ(traffic::textOf(traffic::askHeld(bound)), "s2=2");
    EXPECT_EQ(traffic::textOf(traffic::askHeld(ruled)), "s3=2");

    // A server that leaves the port leaves all of them; the group has it as long as one of its ports has.
    Pool &datagrams = plans::pool(next, cluster, 80, std::nullopt, Transport::udp);
    plans::server(datagrams, "10.2.0.12", 80, 1); // is of no help to them
    plans::removeServer(plans::pool(next, cluster, 80), kWeb2);
    mustApply();
    EXPECT_EQ(traffic::textOf(traffic::askHeld(bound)), "reset=2");
    EXPECT_EQ(traffic::textOf(traffic::askHeld(ruled)), "s3=2");
    EXPECT_EQ(traffic::textOf(traffic::askHeld(held)), "reset=1 s1=3 s2=2 s3=3");
    // The rule comes again with another server, and what it had is not to take new ones.
    plans::server(plans::pool(next, cluster, 80, "office"), "10.2.0.11", 80, 1);
    Selector &again = plans::selector(next, cluster, 80, 1, "office", Match::clientAddress);
    again.firstAddress = again.lastAddress = plans::address("10.1.0.5");
    mustApply();
    EXPECT_EQ(traffic::textOf(traffic::ask(to(cluster, 80, {"10.1.0.5"}), 3)), "s1=3");
    EXPECT_EQ(traffic::textOf(traffic::askHeld(ruled)), "s3=2");
    // A port that goes takes all its own with it.
    next.pools.erase(PoolId{plans::endpoint(cluster, 443), Transport::tcp, std::nullopt});
    next.ports.erase(plans::endpoint(cluster, 443));
    mustApply();
    EXPECT_EQ(traffic::textOf(traffic::askHeld(others)), "reset=3");
    for (const traffic::Held *group : {&more, &across}) // no port of the group has s2 now, but one has the others
        EXPECT_EQ(traffic::textOf(traffic::askHeld(*group)), "reset=1 s1=1 s3=1");
    for (traffic::Held *all : {&held, &across, &bound, &ruled})
        traffic::letGo(*all);
}

// What the run before had stays in force until it is declared, however much of it could finish by then.
TEST_F(KernelEngineTest, whatIsNotDeclaredYetIsWaitedFor) {
    const char cluster[] = "10.9.0.8";
    for (const uint16_t port : {uint16_t{80}, uint16_t{443}}) {
        Pool &pool = plans::pool(next, cluster, port);
        plans::threeServers(pool, port, 1, 1, 1);
        pool.settings.group = 80;
    }
    plans::server(plans::pool(next, cluster, 80, "office"), "10.2.0.13", 80, 1);
    Selector &office = plans::selector(next, cluster, 80, 1, "office", Match::clientAddress);
    office.firstAddress = office.lastAddress = plans::address("10.1.0.5");
    mustApply();
    const Plan whole = next;
    own().options.keepsForwarding = true;
    closeEngine();
    openEngine();

    next = Plan{};
    plans::threeServers(plans::pool(next, cluster, 80), 80, 1, 1, 1);
    mustApply();
    tick();
    EXPECT_TRUE(own().isAdopting);
    EXPECT_EQ(traffic::textOf(traffic::ask(to(cluster, 80, {"10.1.0.5"}), 3)), "s3=3");
    EXPECT_EQ(traffic::ask(to(cluster, 443), 3).size(), 3U);
    next = whole;
    next.pools.erase(PoolId{plans::endpoint(cluster, 80), Transport::tcp, "office"});
    next.ports.at(plans::endpoint(cluster, 80)).selectors.clear();
    mustApply();
    tick();
    EXPECT_TRUE(own().isAdopting);
    EXPECT_EQ(traffic::textOf(traffic::ask(to(cluster, 80, {"10.1.0.5"}), 3)), "s3=3");
    next = whole;
    mustApply();
    tick();
    EXPECT_FALSE(own().isAdopting);
}

TEST_F(KernelEngineTest, aServiceThatIsNotNeededGoesAfterItsLastConnection) {
    const char cluster[] = "10.9.0.8";
    Pool &pool = plans::pool(next, cluster, 80, std::nullopt, Transport::udp);
    plans::threeServers(pool, 80, 1, 1, 1);
    pool.settings.staleTimeout = 60;
    plans::server(plans::pool(next, cluster, 80, "all", Transport::udp), "10.2.0.12", 80, 1);
    plans::selector(next, cluster, 80, 1, "all", Match::always);
    mustApply();
    Request request = to(cluster);
    request.firstClientPort = 41000;
    request.lastClientPort = 41003;
    EXPECT_EQ(traffic::textOf(traffic::askByDatagram(request, 4)), "s2=4");
    usleep(kCountersLag);
    next.ports.begin()->second.selectors.clear();
    next.pools.erase(PoolId{plans::endpoint(cluster, 80), Transport::udp, "all"});
    mustApply();
    EXPECT_EQ(kernelTable().size(), 2U);
    // Its counts are the server's, and those of the port's own pool from now on.
    std::map<std::optional<uint32_t>, uint64_t> counted;
    for (const EndedCounts &counts : ended)
        counted[counts.serverKey] += counts.totals.connections;
    const std::map<std::optional<uint32_t>, uint64_t> expected{{std::nullopt, 4}, {kWeb2, 4}};
    EXPECT_EQ(counted, expected);
    EXPECT_EQ(countsOf(pool).totals.connections, 0U);

    pool.settings.staleTimeout = 1;
    mustApply();
    EXPECT_EQ(traffic::textOf(traffic::askByDatagram(request, 4)), "s2=4"); // the same connections
    usleep(2'500'000);
    own().relistAt = steadySeconds() + kLongTime;
    tick(); // not yet looked at
    tick();
    EXPECT_EQ(kernelTable().size(), 2U);
    endFinishedNow();
    EXPECT_EQ(said, "");
    EXPECT_EQ(kernelTable().size(), 1U);
    EXPECT_TRUE(own().finishing.empty());
    EXPECT_EQ(ended.size(), 2U);
    // Without a connection as well: one may be about to begin.
    plans::server(plans::pool(next, cluster, 80, "all", Transport::udp), "10.2.0.12", 80, 1);
    mustApply();
    EXPECT_EQ(kernelTable().size(), 2U);
    next.pools.erase(PoolId{plans::endpoint(cluster, 80), Transport::udp, "all"});
    mustApply();
    letTimePass();
    tick();
    EXPECT_EQ(kernelTable().size(), 2U);
    letTimePass();
    tick();
    EXPECT_EQ(kernelTable().size(), 1U);
}

class KernelFinishTest : public KernelEngineTest {
protected:
    void SetUp() override {
        KernelEngineTest::SetUp();
        plans::threeServers(plans::pool(next, "10.9.0.8", 80), 80, 1, 1, 1);
        beginToFinish();
    }

    // Two services that finish and have no connection, beside one that is wanted.
    void beginToFinish() {
        plans::bindClient(next, "10.9.0.8", 80, "10.1.0.4", kWeb1);
        plans::bindClient(next, "10.9.0.8", 80, "10.1.0.5", kWeb2);
        mustApply();
        next.ports.begin()->second.clients.clear();
        mustApply();
        ASSERT_EQ(own().finishing.size(), 2U);
        ASSERT_EQ(kernelTable().size(), 3U);
    }
};

TEST_F(KernelFinishTest, refusalsOfItsEndChangeNothing) {
    const std::multiset<std::string> both = addressesOf(servicesNow());
    int refusals = 0;
    bool isMet = true;
    for (int step = 1; isMet; ++step) {
        SCOPED_TRACE(step);
        letTimePass();
        tick();
        interference = {};
        interference.victim = step;
        interference.fate = Fate::refused;
        letTimePass();
        tick();
        isMet = interference.messages + interference.transactions >= step;
        interference = {};
        if (!said.empty()) {
            ++refusals;
            EXPECT_EQ(said.rfind("a service that is not needed any more stays: remove service mark ", 0), 0U) << said;
            EXPECT_EQ(addressesOf(servicesNow()), both);
        }
        endFinishedNow();
        EXPECT_EQ(said, "");
        EXPECT_EQ(kernelTable().size(), 1U);
        beginToFinish();
    }
    EXPECT_EQ(refusals, 2);
}

// Marks are for things to come, and the next run is not to take what is nobody's for its own.
TEST_F(KernelFinishTest, whatHasGoneIsForgotten) {
    const auto finishingNames = [this] {
        return std::ranges::count_if(own().journalled.marks.nameOf,
                                     [](const auto &mark) { return isFinishingName(mark.second); });
    };
    const auto takeOneAway = [this] {
        NetlinkFamily ipvs;
        ASSERT_EQ(openIpvs(ipvs), 0);
        EXPECT_EQ(orderService(ipvs, IpvsOrder::remove, own().finishing.begin()->first, {}), 0);
        closeFamily(ipvs);
    };
    EXPECT_EQ(finishingNames(), 2);
    takeOneAway();
    letTimePass();
    tick();
    EXPECT_EQ(own().finishing.size(), 1U);
    EXPECT_EQ(finishingNames(), 1);

    takeOneAway();
    own().options.keepsForwarding = true;
    closeEngine();
    openEngine();
    EXPECT_EQ(finishingNames(), 0);
    mustApply();
}

// The address is its own: for a while the kernel remembers a server of another test at the same address, counts
// included.
TEST_F(KernelEngineTest, totalsGoOnForAServerThatComesAgain) {
    plans::threeServers(plans::pool(next, "10.9.0.10", 80), 8080, 1, 1, 1);
    mustApply();
    traffic::ask(to("10.9.0.10"), 30);
    usleep(kCountersLag);
    Pool &pool = plans::pool(next, "10.9.0.10", 80);
    EXPECT_EQ(countsOf(pool, kWeb1).totals.connections, 10U);
    plans::removeServer(pool, kWeb1);
    mustApply();
    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0].serverKey, kWeb1);
    EXPECT_EQ(ended[0].totals.connections, 10U);
    plans::server(pool, "10.2.0.11", 8080, 1);
    mustApply();
    EXPECT_EQ(countsOf(pool, kWeb1).totals.connections, 0U);
    traffic::ask(to("10.9.0.10"), 30);
    usleep(kCountersLag);
    EXPECT_EQ(countsOf(pool, kWeb1).totals.connections, 10U);
    EXPECT_EQ(countsOf(pool).totals.connections, 60U);
    Counts all;
    ASSERT_TRUE(engine.readAll(engine.own, all));
    EXPECT_EQ(all.totals.connections, 60U);
    EXPECT_GT(all.totals.packetsIn, 240U); // SYN, ACK, request and FIN of each at least

    // What goes is asked for its counts once more, one service or many.
    traffic::ask(to("10.9.0.10"), 30);
    usleep(kCountersLag);
    plans::removeServer(pool, kWeb2);
    mustApply();
    ASSERT_EQ(ended.size(), 1U);
    EXPECT_EQ(ended[0].totals.connections, 30U);
    for (uint16_t port = 1; port <= 6; ++port)
        plans::threeServers(plans::pool(next, "10.9.0.10", port), 8080, 1, 1, 1);
    mustApply();
    traffic::ask(to("10.9.0.10"), 20);
    usleep(kCountersLag);
    next = Plan{};
    mustApply();
    std::map<PortId, uint64_t> total;
    for (const EndedCounts &counts : ended)
        if (!counts.serverKey)
            total[counts.pool.port] = counts.totals.connections;
    EXPECT_EQ(total.size(), 7U);
    EXPECT_EQ(total[plans::endpoint("10.9.0.10", 80)], 110U);
    EXPECT_EQ(total[plans::endpoint("10.9.0.10", 1)], 0U);
}

TEST_F(KernelEngineTest, connectionsAreListed) {
    plans::threeServers(plans::pool(next, "10.9.0.1", 80), 8080, 1, 1, 1);
    plans::threeServers(plans::pool(next, "10.9.0.1", 443), 443, 1, 1, 1);
    mustApply();
    Request request = to("10.9.0.1", 80, {"10.1.0.7"});
    request.firstClientPort = 41000;
    request.lastClientPort = 41002;
    traffic::Held held = traffic::hold(request, 3);
    EXPECT_EQ(traffic::askHeld(held).size(), 3U);
    std::vector<LiveConnection> connections;
    const PortId port = plans::endpoint("10.9.0.1", 80);
    ASSERT_TRUE(engine.listConnections(engine.own, applied, &port, connections));
    std::erase_if(connections, [](const LiveConnection &connection) {
        return connection.client.address != plans::address("10.1.0.7");
    });
    ASSERT_EQ(connections.size(), 3U);
    std::ranges::sort(connections, std::less<>(), &LiveConnection::client);
    for (uint16_t index = 0; index < 3; ++index) {
        EXPECT_EQ(connections[index].client.port, 41000 + index);
        EXPECT_EQ(connections[index].port, port);
        EXPECT_EQ(connections[index].server.port, 8080);
        EXPECT_EQ(connections[index].tcpState, kTcpEstablished);
        EXPECT_LT(connections[index].idle, 60U);
    }
    const PortId other = plans::endpoint("10.9.0.1", 443);
    connections.clear();
    ASSERT_TRUE(engine.listConnections(engine.own, applied, &other, connections));
    EXPECT_TRUE(connections.empty());
    traffic::letGo(held);
}

// --- Time-outs and half-open connections -----------------------------------------------------------------------------

class KernelLimitsTest : public KernelEngineTest {
protected:
    // Connections to the cluster of these tests from one client, in a state or in any.
    long connectionsOf(const std::string &client, std::optional<uint8_t> tcpState = std::nullopt) {
        std::vector<LiveConnection> connections;
        EXPECT_TRUE(engine.listConnections(engine.own, applied, nullptr, connections));
        return std::ranges::count_if(connections, [&](const LiveConnection &connection) {
            return connection.client.address == plans::address(client) &&
                   (!tcpState || connection.tcpState == *tcpState);
        });
    }

    bool isForgotten(const std::string &client) {
        return becomesTrue([&] { return connectionsOf(client) == 0; });
    }

    // Nobody has the address: whoever connects stays half-open.
    void sendIntoTheVoid(const std::string &cluster) {
        plans::server(plans::pool(next, cluster, 80), "10.2.0.99", 80, 1);
    }

    // Those that are half-open stay so: a server that is removed would have them go to another one.
    void sendToServers(const std::string &cluster) {
        plans::pool(next, cluster, 80).servers.at(99).weight = 0;
        plans::threeServers(plans::pool(next, cluster, 80), 80, 1, 1, 1);
    }

    // A tick that counts half-open connections, and looks at the kernel.
    void lookNow() {
        own().countHalfOpenAt = 0;
        letTimePass();
        tick();
    }

    Request impatient(const std::string &client) {
        Request request = to("10.9.0.7", 80, {client});
        request.milliseconds = 300;
        return request;
    }
};

TEST_F(KernelLimitsTest, connectionsWithoutTrafficAreForgotten) {
    plans::threeServers(plans::pool(next, "10.9.0.7", 80), 80, 1, 1, 1);
    plans::threeServers(plans::pool(next, "10.9.0.7", 80, std::nullopt, Transport::udp), 80, 1, 1, 1);
    mustApply();
    traffic::Held kept = traffic::hold(to("10.9.0.7", 80, {"10.1.0.8"}), 1);
    for (auto &[id, pool] : next.pools)
        pool.settings.staleTimeout = 1;
    mustApply();
    traffic::Held held = traffic::hold(to("10.9.0.7", 80, {"10.1.0.9"}), 1);
    EXPECT_EQ(traffic::askByDatagram(to("10.9.0.7", 80, {"10.1.0.10"}), 1).size(), 1U);
    EXPECT_TRUE(isForgotten("10.1.0.9"));
    EXPECT_TRUE(isForgotten("10.1.0.10"));
    EXPECT_EQ(traffic::textOf(traffic::askHeld(held)), "reset=1");
    EXPECT_EQ(connectionsOf("10.1.0.8"), 1); // as long as it began
    traffic::letGo(held);
    traffic::letGo(kept);
}

TEST_F(KernelLimitsTest, connectionsThatCloseAreForgotten) {
    Pool &pool = plans::pool(next, "10.9.0.2", 80); // link level: the servers' own FIN is not seen
    pool.settings.method = Method::linkLevel;
    plans::threeServers(pool, 80, 1, 1, 1);
    mustApply();
    const Request first = to("10.9.0.2", 80, {"10.1.0.131"});
    traffic::Held held = traffic::hold(first, 3);
    EXPECT_FALSE(traffic::haveEnded(first));
    traffic::letGo(held);
    ASSERT_TRUE(becomesTrue([&] { return traffic::haveEnded(first); })); // else a client's last packet is yet to come
    next.settings.finTimeout = 1;
    mustApply();
    EXPECT_EQ(traffic::ask(to("10.9.0.2", 80, {"10.1.0.132"}), 3).size(), 3U);
    EXPECT_TRUE(isForgotten("10.1.0.132"));
    EXPECT_EQ(connectionsOf("10.1.0.131", kTcpFinWait), 3); // as long as they began
}

TEST_F(KernelLimitsTest, aPortTakesSoManyHalfOpenConnections) {
    sendIntoTheVoid("10.9.0.7");
    plans::pool(next, "10.9.0.7", 80).settings.maxHalfOpen = 3;
    plans::threeServers(plans::pool(next, "10.9.0.7", 0), 0, 1, 1, 1);
    mustApply();
    lookNow();
    EXPECT_EQ(said, "");
    traffic::Held begun = traffic::begin(to("10.9.0.7", 80, {"10.1.0.11", "10.1.0.12"}), 2);
    lookNow();
    EXPECT_EQ(said, ""); // fewer than the limit
    traffic::Held third = traffic::begin(to("10.9.0.7", 80, {"10.1.0.11"}), 1);
    lookNow();
    EXPECT_EQ(said, "ports that take no new connections while they have too many half-open ones: 1 more");
    traffic::Held beyond = traffic::begin(to("10.9.0.7", 80, {"10.1.0.14"}), 3);
    EXPECT_EQ(connectionsOf("10.1.0.14"), 0);
    lookNow();
    EXPECT_EQ(said, ""); // no mischief of others, and known already

    // Servers do not make them fewer. Another port of the cluster is not concerned.
    sendToServers("10.9.0.7");
    mustApply();
    lookNow();
    EXPECT_EQ(traffic::textOf(traffic::ask(impatient("10.1.0.13"), 1)), "lost=1");
    EXPECT_EQ(traffic::ask(to("10.9.0.7", 443), 3).size(), 3U);

    // A limit that is not reached opens the port again, without the table being made anew.
    const PortId shut = plans::endpoint("10.9.0.7", 80);
    own().shutPorts[shut] -= kShutSeconds / 2; // to be prolonged
    lookNow();
    ASSERT_TRUE(own().shutPorts.contains(shut));
    EXPECT_LT(steadySeconds() - own().shutPorts.at(shut), kShutSeconds / 2);
    applied.pools.at({plans::endpoint("10.9.0.7", 80), Transport::tcp, std::nullopt}).settings.maxHalfOpen = 4;
    lookNow();
    EXPECT_EQ(said, "");
    EXPECT_EQ(traffic::ask(to("10.9.0.7", 80, {"10.1.0.13"}), 6).size(), 3U);
    for (traffic::Held *held : {&begun, &third, &beyond})
        traffic::letGo(*held);
}

TEST_F(KernelLimitsTest, connectionsThatWereOpenedAreNotHalfOpen) {
    plans::threeServers(plans::pool(next, "10.9.0.7", 80), 80, 1, 1, 1);
    plans::pool(next, "10.9.0.7", 80).settings.maxHalfOpen = 1;
    next.settings.attackParameters[0] = 1;
    mustApply();
    traffic::Held held = traffic::hold(to("10.9.0.7", 80, {"10.1.0.20"}), 6);
    EXPECT_EQ(traffic::ask(to("10.9.0.7", 80, {"10.1.0.20"}), 6).size(), 3U);
    EXPECT_EQ(connectionsOf("10.1.0.20"), 12);
    lookNow();
    EXPECT_EQ(traffic::askHeld(held), (Answers{{"s1", 2}, {"s2", 2}, {"s3", 2}}));
    EXPECT_EQ(traffic::ask(to("10.9.0.7", 80, {"10.1.0.20"}), 6).size(), 3U);
    EXPECT_FALSE(own().shutClients.contains({plans::address("10.1.0.20"), plans::endpoint("10.9.0.7", 80)}));
    traffic::letGo(held);
}

TEST_F(KernelLimitsTest, attackersAreShutOut) {
    sendIntoTheVoid("10.9.0.8");
    next.settings.attackParameters[0] = 3;
    mustApply();
    lookNow();
    EXPECT_EQ(said, "");
    traffic::Held begun = traffic::begin(to("10.9.0.8", 80, {"10.1.0.15"}), 3);
    traffic::Held fewer = traffic::begin(to("10.9.0.8", 80, {"10.1.0.17"}), 2);
    sendToServers("10.9.0.8");
    mustApply();
    lookNow();
    EXPECT_EQ(said, "attacking clients that get no new connections for 60 seconds: 1");
    traffic::letGo(begun);
    traffic::letGo(fewer);
    Request request = impatient("10.1.0.15");
    request.address = "10.9.0.8";
    EXPECT_EQ(traffic::textOf(traffic::ask(request, 1)), "lost=1");
    EXPECT_EQ(traffic::ask(to("10.9.0.8", 80, {"10.1.0.17"}), 3).size(), 3U);
    lookNow();
    EXPECT_EQ(said, ""); // known already, and no mischief of others
    next.settings.attackParameters[0] = 0;
    mustApply();
    EXPECT_EQ(traffic::ask(request, 3).size(), 3U);
    lookNow();
    EXPECT_EQ(said, "");
}

// --- The machine ----------------------------------------------------------------------------------------------------

TEST_F(KernelEngineTest, settingsArePutBack) {
    EXPECT_EQ(settingNow("net/ipv4/vs/expire_nodest_conn"), "1");
    EXPECT_EQ(settingNow("net/ipv4/vs/expire_quiescent_template"), "1");
    EXPECT_EQ(settingNow("net/ipv4/ip_forward"), "1");
    closeEngine();
    EXPECT_EQ(settingNow("net/ipv4/vs/expire_nodest_conn"), "0");
    EXPECT_EQ(settingNow("net/ipv4/vs/expire_quiescent_template"), "0");
    EXPECT_EQ(settingNow("net/ipv4/ip_forward"), "0");
    EXPECT_FALSE(std::filesystem::exists(std::string(kJournalFolder) + "/forwarding"));
}

IpvsTimeouts timeoutsNow() {
    NetlinkFamily ipvs;
    IpvsTimeouts timeouts;
    EXPECT_EQ(openIpvs(ipvs), 0);
    EXPECT_EQ(readTimeouts(ipvs, timeouts), 0);
    closeFamily(ipvs);
    return timeouts;
}

TEST_F(KernelEngineTest, timeoutsAreTheLongestAndPutBack) {
    const IpvsTimeouts before = timeoutsNow();
    Pool &pool = plans::pool(next, "10.9.0.1", 80);
    plans::threeServers(pool, 80, 1, 1, 1);
    pool.settings.staleTimeout = 77;
    plans::pool(next, "10.9.0.1", 443).settings.staleTimeout = 55;
    plans::pool(next, "10.9.0.1", 443, std::nullopt, Transport::udp).settings.staleTimeout = 33;
    next.settings.finTimeout = 44;
    mustApply();
    EXPECT_EQ(timeoutsNow(), (IpvsTimeouts{77, 44, 33}));
    pool.settings.staleTimeout = 0;
    mustApply();
    EXPECT_EQ(timeoutsNow(), (IpvsTimeouts{55, 44, 33}));
    pool.settings.staleTimeout = 4'000'000'000;
    mustApply();
    EXPECT_EQ(timeoutsNow().established, 2'147'483U);
    closeEngine();
    EXPECT_EQ(timeoutsNow(), before);
}

TEST_F(KernelEngineTest, aSchedulerThatTheKernelLacksIsRefused) {
    closeEngine();
    KernelEngineOptions other = options;
    other.scheduler = "lblcr";
    Engine none;
    std::string words;
    EXPECT_FALSE(openKernelEngine(other, none, words));
    EXPECT_EQ(words, "this kernel has no scheduler lblcr: modprobe ip_vs_lblcr, as root");
    EXPECT_EQ(settingNow("net/ipv4/ip_forward"), "0");
    openEngine();
}

TEST_F(KernelEngineTest, schedulersByAddressPassOverServersThatTakeNothing) {
    for (const char *scheduler : {"wlc", "sh"}) {
        closeEngine();
        options.scheduler = scheduler;
        next = Plan{};
        openEngine();
        plans::threeServers(plans::pool(next, "10.9.0.1", 80), 80, 1, 1, 0);
        mustApply();
        const Answers answers = traffic::ask(
            to("10.9.0.1", 80, {"10.1.0.2", "10.1.0.3", "10.1.0.4", "10.1.0.5", "10.1.0.6", "10.1.0.7", "10.1.0.8"}),
            14);
        expectShares(answers, {{"s1", 7}, {"s2", 7}}, 7);
        EXPECT_EQ(traffic::ask(to("10.9.0.1"), 8).size(), scheduler == std::string("wlc") ? 2U : 1U) << scheduler;
    }
}

TEST_F(KernelEngineTest, manyDirectorsGetNoTranslation) {
    closeEngine();
    options.scheduler = "mh";
    openEngine();
    EXPECT_EQ(settingNow("net/ipv4/vs/sloppy_tcp"), "1");
    EXPECT_EQ(settingNow("net/ipv4/vs/schedule_icmp"), "1");
    plans::threeServers(plans::pool(next, "10.9.0.1", 80), 80, 1, 1, 1);
    EXPECT_FALSE(apply());
    EXPECT_TRUE(said.starts_with("tcp 10.9.0.1:80: with the scheduler mh several directors")) << said;
    EXPECT_TRUE(kernelTable().empty());
    next = Plan{};
    closeEngine();
    EXPECT_EQ(settingNow("net/ipv4/vs/sloppy_tcp"), "0");
    openEngine();
}

TEST_F(KernelEngineTest, onlyOneProcessForwards) {
    Engine second;
    std::string words;
    EXPECT_FALSE(openKernelEngine(options, second, words));
    EXPECT_EQ(words, std::string("another process forwards already: it has ") + kJournalFolder + "/forwarding.lock");
}

// --- Others on the machine -------------------------------------------------------------------------------------------

// A service and a table that belong to somebody else, for as long as this is there.
struct Others {
    NetlinkFamily ipvs;
    IpvsServiceKey service{0, IPPROTO_TCP, htonl(0x0A090001), 9999};
    IpvsServiceKey mark{7, 0, 0, 0};
    Others() {
        IpvsServiceSettings settings;
        settings.scheduler = "wlc";
        EXPECT_EQ(openIpvs(ipvs), 0);
        for (const IpvsServiceKey &key : {service, mark}) {
            EXPECT_EQ(orderService(ipvs, IpvsOrder::add, key, settings), 0);
            EXPECT_EQ(orderServer(ipvs, IpvsOrder::add, key, {htonl(0x0A020063), 9}, {}), 0);
        }
        runNft("table ip other {\n chain in {\n  type filter hook input priority 0;\n  tcp dport 9999 accept\n }\n}\n");
    }
    ~Others() {
        for (const IpvsServiceKey &key : {service, mark})
            EXPECT_EQ(orderService(ipvs, IpvsOrder::remove, key, {}), 0);
        closeFamily(ipvs);
        runNft("delete table ip other");
    }
};

TEST_F(KernelEngineTest, whatOthersHaveIsLeftAlone) {
    const Others others;
    const TableText theirs = kernelTable();
    const std::string theirTable = packetFilter("other");
    ASSERT_EQ(theirs.size(), 2U);

    plans::threeServers(plans::pool(next, "10.9.0.1", 80), 80, 1, 1, 1);
    plans::server(plans::pool(next, "10.9.0.1", 80, "all"), "10.2.0.12", 80, 1);
    plans::selector(next, "10.9.0.1", 80, 1, "all", Match::always);
    mustApply();
    letTimePass();
    tick();
    EXPECT_EQ(said, "");
    // A port that somebody else has is not ours to change.
    const Plan before = next;
    const TableText forwarded = kernelTable();
    plans::threeServers(plans::pool(next, "10.9.0.1", 9999), 80, 1, 1, 1);
    plans::threeServers(plans::pool(next, "10.9.0.1", 81), 80, 1, 1, 1);
    EXPECT_FALSE(apply());
    EXPECT_EQ(said, "add service tcp 10.9.0.1:9999: the kernel has it already, and not from here");
    EXPECT_EQ(kernelTable(), forwarded);
    next = before;

    closeEngine();
    EXPECT_EQ(kernelTable(), theirs);
    EXPECT_EQ(packetFilter("other"), theirTable);
}

TEST_F(KernelEngineTest, whatOthersTakeAwayComesBack) {
    plans::threeServers(plans::pool(next, "10.9.0.1", 80), 80, 1, 2, 3);
    plans::server(plans::pool(next, "10.9.0.1", 80, "all"), "10.2.0.12", 80, 1);
    Selector &selector = plans::selector(next, "10.9.0.1", 80, 1, "all", Match::clientAddress);
    selector.firstAddress = selector.lastAddress = plans::address("10.1.0.16");
    mustApply();
    const IpvsTable table = servicesNow();
    const std::string filter = packetFilter();
    letTimePass();
    tick();
    EXPECT_EQ(said, "");

    NetlinkFamily ipvs;
    ASSERT_EQ(openIpvs(ipvs), 0);
    for (const auto &[key, state] : table)
        ASSERT_EQ(orderService(ipvs, IpvsOrder::remove, key, {}), 0);
    tick(); // not yet looked at
    EXPECT_EQ(kernelTable().size(), 0U);
    letTimePass();
    tick();
    EXPECT_NE(said, "");
    EXPECT_EQ(kernelTable(), textOf(table));

    runNft("delete table ip qelxw");
    letTimePass();
    tick();
    EXPECT_NE(said, "");
    EXPECT_EQ(packetFilter(), filter);

    // A change that is refused in any case does not hide what others did.
    for (const auto &[key, state] : table)
        ASSERT_EQ(orderService(ipvs, IpvsOrder::remove, key, {}), 0);
    IpvsServiceKey theirs;
    theirs.transport = IPPROTO_TCP;
    theirs.address = wordOf(plans::address("10.9.0.1"));
    theirs.port = 81;
    ASSERT_EQ(orderService(ipvs, IpvsOrder::add, theirs, table.begin()->second.settings), 0);
    const Plan before = next;
    plans::threeServers(plans::pool(next, "10.9.0.1", 81), 80, 1, 1, 1);
    EXPECT_FALSE(apply());
    ASSERT_EQ(orderService(ipvs, IpvsOrder::remove, theirs, {}), 0);
    next = before;
    letTimePass();
    tick();
    EXPECT_EQ(addressesOf(servicesNow()), addressesOf(table));

    // A change that meets what others did is done nevertheless.
    for (const auto &[key, state] : servicesNow())
        ASSERT_EQ(orderService(ipvs, IpvsOrder::remove, key, {}), 0);
    plans::pool(next, "10.9.0.1", 80).servers.at(kWeb1).weight = 5;
    const Pool &night = plans::pool(next, "10.9.0.1", 80, "night");
    plans::server(plans::pool(next, "10.9.0.1", 80, "night"), "10.2.0.13", 80, 1);
    plans::selector(next, "10.9.0.1", 80, 2, "night", Match::clientPort).last = 10;
    mustApply();
    EXPECT_EQ(kernelTable().size(), 3U);
    EXPECT_EQ(own().servicesOfPool[night.id].size(), 1U); // which counts for it
    EXPECT_EQ(traffic::textOf(traffic::ask(to("10.9.0.1", 80, {"10.1.0.16"}), 2)), "s2=2");
    closeFamily(ipvs);
}

// --- Refusals, and ends in the middle --------------------------------------------------------------------------------

// From a plan to another one, with every kind of change.
struct TwoPlans {
    Plan from;
    Plan to;
};

TwoPlans twoPlans() {
    TwoPlans both;
    plans::threeServers(plans::pool(both.from, "10.9.0.1", 80), 8080, 1, 1, 1);
    plans::threeServers(plans::pool(both.from, "10.9.0.1", 8080), 8080, 1, 1, 1);
    plans::server(plans::pool(both.from, "10.9.0.1", 80, "office"), "10.2.0.11", 8080, 1);
    Selector &office = plans::selector(both.from, "10.9.0.1", 80, 1, "office", Match::clientAddress);
    office.firstAddress = office.lastAddress = plans::address("10.1.0.16");
    both.from.settings.finTimeout = 50;

    both.to = both.from;
    plans::server(plans::pool(both.from, "10.9.0.1", 80, "day"), "10.2.0.11", 8080, 1);
    Selector &day = plans::selector(both.from, "10.9.0.1", 80, 3, "day", Match::clientAddress);
    day.firstAddress = day.lastAddress = plans::address("10.1.0.34");
    Pool &pool = plans::pool(both.to, "10.9.0.1", 80);
    pool.servers.at(kWeb2).weight = 4;
    plans::removeServer(pool, kWeb3);
    plans::server(pool, "10.2.0.13", 80, 2); // another port
    pool.settings.stickyTime = 60;
    both.to.pools.erase(PoolId{plans::endpoint("10.9.0.1", 8080), Transport::tcp, std::nullopt});
    both.to.ports.erase(plans::endpoint("10.9.0.1", 8080));
    plans::threeServers(plans::pool(both.to, "10.9.0.1", 443), 443, 1, 1, 1);
    plans::server(plans::pool(both.to, "10.9.0.1", 80, "night"), "10.2.0.12", 8080, 1);
    plans::selector(both.to, "10.9.0.1", 80, 2, "night", Match::clientPort).last = 10;
    both.to.settings.finTimeout = 40;
    return both;
}

TEST_F(KernelEngineTest, aRefusedMessageUndoesTheWholeChange) {
    const TwoPlans both = twoPlans();
    next = both.from;
    mustApply();
    const std::multiset<std::string> first = addressesOf(servicesNow());
    const std::string firstFilter = withoutMarks(packetFilter());
    const IpvsTimeouts timeouts = timeoutsNow();

    next = both.to;
    interference = {};
    interference.victim = 1000;
    mustApply();
    const int steps = interference.messages + interference.transactions;
    EXPECT_GT(steps, 15);
    next = both.from;
    mustApply();
    endFinishedNow();
    TableText before = kernelTable();
    std::string filter = packetFilter();
    ASSERT_EQ(addressesOf(servicesNow()), first);
    ASSERT_EQ(withoutMarks(filter), firstFilter);

    for (int step = 1; step <= steps; ++step) {
        next = both.to;
        interference = {};
        interference.victim = step;
        interference.fate = Fate::refused;
        const bool isDone = apply();
        interference = {};
        SCOPED_TRACE("step " + std::to_string(step) + (isDone ? " done" : " refused: " + said));
        if (isDone) { // only counters were not to be read, or it was tried again
            next = both.from;
            mustApply();
            endFinishedNow();
            EXPECT_EQ(addressesOf(servicesNow()), first) << step;
            EXPECT_EQ(withoutMarks(packetFilter()), firstFilter) << step;
            before = kernelTable(); // a rule that comes again has another mark
            filter = packetFilter();
        } else {
            EXPECT_NE(said, "") << step;
        }
        EXPECT_EQ(kernelTable(), before) << step;
        EXPECT_EQ(timeoutsNow(), timeouts) << step;
        EXPECT_EQ(packetFilter(), filter) << step;
    }
}

TEST_F(KernelEngineTest, oneWeightIsOneMessage) {
    Pool &pool = plans::pool(next, "10.9.0.1", 80);
    for (int index = 0; index < 1000; ++index) {
        PoolServer &server =
            plans::server(pool, "10.3." + std::to_string(index / 250) + "." + std::to_string(index % 250 + 1), 80, 1);
        server.key = static_cast<uint32_t>(index);
    }
    // Keys are to be unique here, not the last number of an address.
    pool.servers.clear();
    uint32_t key = 1000;
    for (auto &[endpoint, known] : pool.keyOfEndpoint) {
        known = key++;
        PoolServer server;
        server.key = known;
        server.endpoint = endpoint;
        server.weight = 1;
        pool.servers.emplace(known, server);
    }
    mustApply();
    pool.servers.at(1500).weight = 7;
    plans::settle(next);
    interference = {};
    mustApply();
    EXPECT_EQ(interference.messages, 1);
    EXPECT_EQ(interference.transactions, 0);
}

// The engine in a process of its own, which makes the second plan of the first one at a word, and ends while it does
// message `step` of that.
struct DoomedProcess {
    pid_t id = 0;
    int word = -1; // written to
};

DoomedProcess startDoomed(const KernelEngineOptions &options, const TwoPlans &both, int step) {
    int word[2];
    int ready[2];
    EXPECT_EQ(pipe(word), 0);
    EXPECT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    if (child == 0) {
        Engine engine;
        std::string words;
        LogText ignored{};
        std::vector<EndedCounts> ended;
        char byte = 0;
        if (!openKernelEngine(options, engine, words) ||
            !engine.apply(engine.own, both.from, plans::changeBetween(Plan{}, both.from), ended, ignored) ||
            write(ready[1], &byte, 1) != 1 || read(word[0], &byte, 1) != 1)
            _exit(3);
        interference = {};
        interference.victim = step;
        interference.fate = Fate::lastWords;
        _exit(engine.apply(engine.own, both.to, plans::changeBetween(both.from, both.to), ended, ignored) ? 0 : 4);
    }
    close(word[0]);
    close(ready[1]);
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    close(ready[0]);
    return {child, word[1]};
}

// False when it got through.
bool meetDoom(const DoomedProcess &doomed) {
    EXPECT_EQ(write(doomed.word, "", 1), 1);
    close(doomed.word);
    int status = 0;
    waitpid(doomed.id, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0) << WEXITSTATUS(status);
    return WIFSIGNALED(status);
}

TEST_F(KernelEngineTest, forwardingOutlivesAnEndAtAnyStep) {
    closeEngine();
    TwoPlans both = twoPlans();
    plans::settle(both.from);
    plans::settle(both.to);
    const std::vector<std::string> asking{"10.1.0.33", "10.1.0.34"}; // any, and that of the rule that goes
    IpvsTable cleanTable;
    bool isKilled = true;
    for (int step = 1; isKilled; ++step) {
        const DoomedProcess doomed = startDoomed(options, both, step);
        std::atomic<bool> isOver = false;
        Answers takenBefore = traffic::takenFrom(asking);
        Answers answers;
        std::thread clients([&] {
            while (!isOver)
                for (const auto &[name, count] : traffic::ask(to("10.9.0.1", 80, asking), 6))
                    answers[name] += count;
        });
        isKilled = meetDoom(doomed);
        // The next run: what is in force goes on, and is declared again.
        openEngine();
        expectShares(traffic::ask(to("10.9.0.1"), 6), {{"s1", 3}, {"s2", 3}, {"s3", 3}}, 6);
        next = both.to;
        mustApply();
        own().adoptingUntil = 0;
        tick();
        EXPECT_FALSE(own().isAdopting);
        const IpvsTable afterCrash = wantedServicesNow();
        const std::string filter = packetFilter();
        isOver = true;
        clients.join();
        SCOPED_TRACE("step " + std::to_string(step) + ": " + traffic::textOf(answers));
        for (const char *mishap : {"refused", "closed"})
            EXPECT_FALSE(answers.contains(mishap));
        // At most the one that is open when its server, the third, is removed: it is reset with its next packet, and
        // none follows from a client that only waits for the answer.
        EXPECT_LE(answers["reset"] + answers["lost"], 1);
        Answers taken = traffic::takenFrom(asking);
        for (const char *staying : {"s1", "s2"})
            EXPECT_EQ(taken[staying] - takenBefore[staying], answers[staying]) << staying;
        closeEngine();
        EXPECT_TRUE(kernelTable().empty());

        // As without a crash.
        if (step == 1) {
            openEngine();
            next = both.to;
            mustApply();
            cleanTable = wantedServicesNow();
            closeEngine();
        }
        EXPECT_EQ(addressesOf(afterCrash), addressesOf(cleanTable)) << step;
        EXPECT_FALSE(filter.empty());
    }
}

} // namespace
} // namespace rk
