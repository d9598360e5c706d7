// Rules, clients that stick and the forwarding methods, with real requests through HAProxy.
#include "executor/forwarding/proxy/talk.h"
#include "proxy/proxy_farm.h"

#include <cstring>
#include <ctime>
#include <sys/socket.h>
#include <unistd.h>

namespace rk {

namespace {

class ProxyRows : public ProxyFarm {};

Client from(const std::string &address) {
    Client client;
    client.from = address;
    return client;
}

Client forPath(const std::string &path) {
    Client client;
    client.path = path;
    return client;
}

TEST_F(ProxyRows, aRuleTakesItsClientsByPriority) {
    addPort(kServicePort);
    const std::string first = ownAddress(116);
    const std::string last = ownAddress(140);
    RuleRecord office = addRuleRequest(kServicePort, "office", kRuleTypeAddress, rangeAddress(first.c_str()),
                                       rangeAddress(last.c_str()), 2);
    addRule("office", office, {1});
    EXPECT_EQ(ask(6, from(first)), (Shares{{"web1", 6}}));
    EXPECT_EQ(ask(6, from(last)), (Shares{{"web1", 6}}));
    EXPECT_EQ(ask(6, from(ownAddress(115))), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
    EXPECT_EQ(ask(6, from(ownAddress(141))), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
    addRule("chief",
            addRuleRequest(kServicePort, "chief", kRuleTypeAddress, rangeAddress(last.c_str()),
                           rangeAddress(last.c_str()), 1),
            {3});
    EXPECT_EQ(ask(6, from(last)), (Shares{{"web3", 6}}));
    EXPECT_EQ(ask(6, from(first)), (Shares{{"web1", 6}}));

    // Without a server that takes connections a rule is not asked.
    ASSERT_EQ(markServer(Command::markServerDown, 3), 0);
    EXPECT_EQ(ask(6, from(last)), (Shares{{"web1", 6}}));
}

TEST_F(ProxyRows, aRuleTakesSourcePortsHoursAndDays) {
    addPort(kServicePort);
    RuleRecord ports = addRuleRequest(kServicePort, "ports", 3, 40000, 40009, 1);
    addRule("ports", ports, {1});
    Client client;
    client.fromPort = 40005;
    EXPECT_EQ(askOnce(client), "web1");
    EXPECT_EQ(ask(6), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));

    // The zone that the manager tells decides what the time is.
    const time_t now = time(nullptr);
    const int hour = gmtime(&now)->tm_hour;
    addRule("hour", addRuleRequest(kServicePort, "hour", 2, (hour + 5) % 24, (hour + 5) % 24, 2), {2});
    EXPECT_EQ(ask(6), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
    ExecutorSettingsRecord settings{};
    settings.header.command = Command::writeExecutorSettings;
    settings.header.length = sizeof settings;
    settings.setSecondsWestOfGreenwich = 1;
    settings.secondsWestOfGreenwich = splitInt64(-5 * 3600);
    ASSERT_EQ(perform(state, settings), 0);
    EXPECT_EQ(ask(3), (Shares{{"web2", 3}}));

    const time_t there = now + 5 * 3600;
    const int day = gmtime(&there)->tm_wday;
    addRule("day", addRuleRequest(kServicePort, "day", 4, day, day, 0), {3});
    EXPECT_EQ(ask(3), (Shares{{"web3", 3}}));
}

TEST_F(ProxyRows, clientsStickByTheirNetwork) {
    addPort(kServicePort);
    PortRecord record = changePortRequest(kServicePort);
    set(record.setStickyTime, record.stickyTime, splitInt64(300));
    set(record.setStickyBits, record.stickyBits, 28);
    ASSERT_EQ(perform(state, record), 0);
    std::set<std::string> seen;
    for (int network = 0; network < 6; ++network) {
        const std::string server = askOnce(from(ownAddress(112 + 16 * network)));
        EXPECT_NE(server, "");
        seen.insert(server);
        EXPECT_EQ(ask(3, from(ownAddress(127 + 16 * network))), (Shares{{server, 3}}));
    }
    EXPECT_EQ(seen.size(), 3U);

    // A client whose server is down goes elsewhere.
    const std::string server = askOnce(from(ownAddress(112)));
    const auto key = static_cast<uint32_t>(server.back() - '0');
    ASSERT_EQ(markServer(Command::markServerDown, key), 0);
    const std::string other = askOnce(from(ownAddress(113)));
    EXPECT_NE(other, "");
    EXPECT_NE(other, server);
    EXPECT_EQ(ask(3, from(ownAddress(114))), (Shares{{other, 3}}));

    // A new worker knows them as well.
    const int before = worker();
    addRule("any", addRuleRequest(kServicePort, "any", 3, 1, 1, 9), {1});
    EXPECT_NE(worker(), before);
    EXPECT_EQ(ask(4, from(ownAddress(115))), (Shares{{other, 4}}));
    std::vector<StickyClient> clients;
    ASSERT_TRUE(forwarding.engine.listStickyClients(forwarding.engine.own, forwarding.plan, nullptr, clients));
    EXPECT_EQ(clients.size(), 6U);
}

TEST_F(ProxyRows, clientsStickOverPortsThatCross) {
    addPort(kServicePort);
    PortRecord sticky = changePortRequest(kServicePort);
    set(sticky.setStickyTime, sticky.stickyTime, splitInt64(300));
    ASSERT_EQ(perform(state, sticky), 0);
    PortRecord crossing = addPortRequest(kServicePort + 1);
    set(crossing.setCrossPort, crossing.crossPort, port(kServicePort));
    set(crossing.setStickyTime, crossing.stickyTime, splitInt64(300));
    ASSERT_EQ(perform(state, crossing), 0);
    for (uint32_t key = 1; key <= 3; ++key)
        addServer(kServicePort + 1, key, 5);
    for (int client = 100; client < 106; ++client) {
        const std::string server = askOnce(from(ownAddress(client)), kServicePort + client % 2);
        EXPECT_NE(server, "");
        EXPECT_EQ(askOnce(from(ownAddress(client)), kServicePort), server);
        EXPECT_EQ(askOnce(from(ownAddress(client)), kServicePort + 1), server);
    }
}

TEST_F(ProxyRows, boundClientsGoToTheirServerWithoutANewWorker) {
    addPort(kServicePort);
    addRule("all", addRuleRequest(kServicePort, "all", 0, 0, 0, 1), {1});
    const int before = worker();
    const std::string client = ownAddress(77);
    ASSERT_EQ(directClient(state, kServicePort, client.c_str(), 3), 0);
    EXPECT_EQ(ask(6, from(client)), (Shares{{"web3", 6}}));
    EXPECT_EQ(ask(3, from(ownAddress(78))), (Shares{{"web1", 3}}));
    ASSERT_EQ(directClient(state, kServicePort, client.c_str(), 2), 0);
    EXPECT_EQ(ask(6, from(client)), (Shares{{"web2", 6}}));
    ASSERT_EQ(markServer(Command::markServerDown, 2), 0);
    EXPECT_EQ(ask(6, from(client)), (Shares{{"web1", 6}}));
    ASSERT_EQ(markServer(Command::markServerUp, 2), 0);
    EXPECT_EQ(ask(6, from(client)), (Shares{{"web2", 6}}));
    EXPECT_EQ(worker(), before);
    ASSERT_EQ(directClient(state, kServicePort, ownAddress(79).c_str(), 3), 0);
    addRule("more", addRuleRequest(kServicePort, "more", 3, 1, 1, 9), {1});
    EXPECT_NE(worker(), before);
    EXPECT_EQ(ask(3, from(client)), (Shares{{"web2", 3}}));
    ASSERT_EQ(directClient(state, kServicePort, client.c_str(), 0, 2), 0);
    EXPECT_EQ(ask(3, from(client)), (Shares{{"web1", 3}}));
    EXPECT_EQ(ask(3, from(ownAddress(79))), (Shares{{"web3", 3}}));
}

// Whether the worker looks for bound clients at all.
bool areClientsLookedUp() {
    std::string reply;
    const std::vector<int> processes = proxyProcesses(getpid());
    EXPECT_FALSE(processes.empty());
    EXPECT_TRUE(rk::ask(proxyFolder(processes.at(0)) + "/worker", "show stat", reply));
    const std::size_t begin = reply.find("marks,bound,");
    EXPECT_NE(begin, std::string::npos);
    return reply.substr(begin, reply.find('\n', begin) - begin).find(",MAINT,") == std::string::npos;
}

TEST_F(ProxyRows, boundClientsAreLookedForFromTheFirstToTheLast) {
    addPort(kServicePort);
    addPort(kServicePort + 1);
    const int before = worker();
    const std::string client = ownAddress(77);
    const auto bind = [&](int port, bool binds) {
        ASSERT_EQ(directClient(state, port, client.c_str(), 3, binds ? 1 : 2), 0);
    };
    EXPECT_FALSE(areClientsLookedUp());
    for (int round = 0; round < 2; ++round) {
        bind(kServicePort, true);
        EXPECT_TRUE(areClientsLookedUp());
        EXPECT_EQ(ask(6, from(client)), (Shares{{"web3", 6}}));
        bind(kServicePort + 1, true);
        bind(kServicePort, false);
        EXPECT_TRUE(areClientsLookedUp()); // there is one at the other port
        EXPECT_EQ(ask(6, from(client)), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
        EXPECT_EQ(ask(6, from(client), kServicePort + 1), (Shares{{"web3", 6}}));
        ASSERT_EQ(markServer(Command::markServerDown, 1), 0); // at the first port, which has none any more
        ASSERT_EQ(markServer(Command::markServerUp, 1), 0);
        EXPECT_TRUE(areClientsLookedUp());
        bind(kServicePort + 1, false);
        EXPECT_FALSE(areClientsLookedUp());
        EXPECT_EQ(ask(6, from(client), kServicePort + 1), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
    }
    EXPECT_EQ(worker(), before);

    // A new worker begins as the one before ended.
    bind(kServicePort, true);
    addPort(kServicePort + 2);
    EXPECT_NE(worker(), before);
    EXPECT_TRUE(areClientsLookedUp());
    EXPECT_EQ(ask(6, from(client)), (Shares{{"web3", 6}}));
    bind(kServicePort, false);
    EXPECT_FALSE(areClientsLookedUp());
}

TEST_F(ProxyRows, contentDecidesOnEachRequestOfAConnection) {
    addPort(kServicePort, {1, 2, 3}, kMethodContent);
    RuleRecord images = addRuleRequest(kServicePort, "images", 8, 0, 0, 1);
    images.setPattern = 1;
    setText(images.pattern, "^/images/.*[.](png|jpe?g)$");
    addRule("images", images, {1});
    const int connection = connectTo();
    ASSERT_GE(connection, 0);
    EXPECT_EQ(askServer(connection, forPath("/images/a.png")), "web1");
    Shares shares;
    for (int index = 0; index < 6; ++index)
        ++shares[askServer(connection, forPath("/a.png"))];
    EXPECT_EQ(shares, (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
    EXPECT_EQ(askServer(connection, forPath("/images/b.jpeg")), "web1");
    close(connection);
}

TEST_F(ProxyRows, cookiesBindWhereARuleHasThem) {
    addPort(kServicePort, {1, 2, 3}, kMethodContent);
    for (uint32_t key = 1; key <= 3; ++key) {
        ServerRecord record = changeServerRequest(kServicePort, key);
        record.setCookieValue = 1;
        setText(record.cookieValue, "value" + std::to_string(key));
        ASSERT_EQ(perform(state, record), 0);
    }
    RuleRecord shop = addRuleRequest(kServicePort, "shop", 8, 0, 0, 1);
    shop.setPattern = 1;
    setText(shop.pattern, "^/shop");
    shop.setCookieName = 1;
    setText(shop.cookieName, "basket");
    addRule("shop", shop, {1, 2, 3});
    Client client = forPath("/shop");
    std::string header;
    const std::string server = request(cluster, kServicePort, client, &header);
    EXPECT_NE(header.find("basket=value" + server.substr(3)), std::string::npos) << header;
    client.headers = "Cookie: basket=value3\r\n";
    EXPECT_EQ(ask(4, client), (Shares{{"web3", 4}}));
    client.headers = "Cookie: basket=value1\r\n";
    EXPECT_EQ(ask(4, client), (Shares{{"web1", 4}}));
}

TEST_F(ProxyRows, secondListenersAnswerWhileNoFirstOneDoes) {
    startServers(1);
    startServer(7, serverAddress(7));
    PortRecord port = addPortRequest(kServicePort);
    ASSERT_EQ(perform(state, port), 0);
    ServerRecord record = addServerRequest(kServicePort, 1, "web1");
    setListeners(record, {{serverAddress(1).c_str(), kServerPort}, {serverAddress(7).c_str(), kServerPort}});
    ASSERT_EQ(perform(state, record), 0);
    EXPECT_EQ(ask(3), (Shares{{"web1", 3}}));
    stopWebServer(*servers[1]);
    EXPECT_TRUE(comesTrue([this] { return askOnce() == "web7"; }));
    startServer(1, serverAddress(1));
    EXPECT_TRUE(comesTrue([this] { return askOnce() == "web1"; }));
}

TEST_F(ProxyRows, aServerSeesItsReturnAddress) {
    startServers(1);
    ASSERT_EQ(perform(state, addPortRequest(kServicePort)), 0);
    const std::string source = ownAddress(99);
    addServer(kServicePort, 1, 10, source.c_str());
    const int connection = connectTo();
    ASSERT_GE(connection, 0);
    EXPECT_EQ(askServer(connection), "web1");
    EXPECT_TRUE(servers[1]->clients.contains(source));
    close(connection);
}

TEST_F(ProxyRows, connectionsWithoutTrafficEndWithTheirTime) {
    addPort(kServicePort);
    const int patient = connectTo();
    ASSERT_EQ(askServer(patient), "web3");
    PortRecord record = changePortRequest(kServicePort);
    set(record.setStaleTimeout, record.staleTimeout, splitInt64(1));
    ASSERT_EQ(perform(state, record), 0);
    const int idle = connectTo();
    ASSERT_NE(askServer(idle), "");
    char nothing = 0;
    EXPECT_EQ(recv(idle, &nothing, 1, 0), 0); // waits for seconds at most
    EXPECT_EQ(askServer(patient), "web3");    // has the time that it came with
    close(idle);
    close(patient);
}

TEST_F(ProxyRows, whatOneServerRefusesGoesToAnother) {
    addPort(kServicePort, {1, 1});
    stopWebServer(*servers[2]);
    EXPECT_EQ(ask(4), (Shares{{"web1", 4}}));
}

TEST_F(ProxyRows, aRulesClientsStickAsLongAsTheRuleSays) {
    addPort(kServicePort);
    RuleRecord sticky = addRuleRequest(kServicePort, "sticky", kRuleTypeAddress, rangeAddress(ownAddress(100).c_str()),
                                       rangeAddress(ownAddress(120).c_str()), 1);
    set(sticky.setStickyTime, sticky.stickyTime, 300);
    addRule("sticky", sticky, {1, 2, 3});
    for (int client = 100; client < 106; ++client) {
        const std::string server = askOnce(from(ownAddress(client)));
        EXPECT_NE(server, "");
        EXPECT_EQ(ask(3, from(ownAddress(client))), (Shares{{server, 3}}));
    }
    EXPECT_EQ(ask(6, from(ownAddress(99))), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
}

TEST_F(ProxyRows, whatHAProxyCannotDoIsKeptAndToldOnce) {
    addPort(kServicePort);
    ASSERT_EQ(perform(state, addPortRequest(kServicePort + 1, kPortTypeUdp)), 0);
    addRule("low delay", addRuleRequest(kServicePort, "low delay", 7, 0, 0x10, 1), {1});
    ASSERT_EQ(perform(state, addPortRequest(0)), 0);
    const std::string log(textOf(state.trace));
    for (const char *words : {"kept, and not done by the proxy engine: UDP",
                              "kept, and not done by the proxy engine: rules by type of service",
                              "kept, and not done by the proxy engine: port 0"}) {
        EXPECT_NE(log.find(words), std::string::npos) << words << " is not in\n" << log;
    }
    EXPECT_EQ(ask(6), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
    EXPECT_EQ(perform(state, changePortRequest(kServicePort + 1)), 0); // is there
}

// What has a meaning to a configuration has none in a pattern or a cookie, in the eyes of HAProxy itself.
TEST_F(ProxyRows, textsMeanThemselvesToHAProxy) {
    addPort(kServicePort, {1, 2, 3}, kMethodContent);
    const std::string odd = R"(/a"b'c;d$HOME%e\f&g{h}i)";
    const char name[] = "odd \n# \"'\\x00 $HOME";
    RuleRecord rule = addRuleRequest(kServicePort, name, 8, 0, 0, 1);
    rule.setPattern = 1;
    setText(rule.pattern, R"(^/a"b'c;d[$]HOME%e\\f&g[{]h[}]i$)");
    addRule(name, rule, {1});
    EXPECT_EQ(ask(6, forPath(odd)), (Shares{{"web1", 6}}));
    EXPECT_EQ(ask(6, forPath("/a")), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
    std::string everyByte;
    for (int code = 1; code < 256; ++code) {
        if (std::strchr("()[]{}*+?|", code) == nullptr) // those that an expression cannot have anywhere
            everyByte += static_cast<char>(code);
    }
    RuleRecord bytes = addRuleRequest(kServicePort, "bytes", 8, 0, 0, 2);
    bytes.setPattern = 1;
    setText(bytes.pattern, everyByte.substr(everyByte.size() - sizeof bytes.pattern + 2));
    addRule("bytes", bytes, {2});
    EXPECT_EQ(ask(6, forPath(odd)), (Shares{{"web1", 6}}));
    EXPECT_EQ(ask(6, forPath("/a")), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
}

} // namespace

} // namespace rk
