// HAProxy's configuration and replies as texts; no HAProxy is needed.
#include "executor/forwarding/proxy/configuration.h"
#include "executor/forwarding/proxy/replies.h"
#include "executor/forwarding/proxy/talk.h"
#include "proxy/configuration_model.h"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace rk {

namespace {

Address ipv4(uint8_t first, uint8_t second, uint8_t third, uint8_t fourth) {
    return {AddressFamily::ipv4, {first, second, third, fourth}};
}

const PortId kPortId{ipv4(10, 0, 0, 1), 80};

Pool poolWith(std::optional<std::string> rule, const std::vector<uint8_t> &lastBytes) {
    Pool pool;
    pool.id = {kPortId, Transport::tcp, std::move(rule)};
    pool.settings.method = Method::content;
    for (const uint8_t last : lastBytes) {
        PoolServer server;
        server.key = last;
        server.endpoint = {ipv4(10, 0, 1, last), 8080};
        server.weight = 10;
        pool.servers.emplace(server.key, server);
    }
    return pool;
}

// A port with two servers, and a rule on contents with one of them.
Plan planWith(const std::string &rule, const std::string &pattern, const std::string &cookie) {
    Plan plan;
    Pool own = poolWith(std::nullopt, {1, 2});
    Pool ruled = poolWith(rule, {1});
    ruled.settings.cookieName = cookie;
    plan.pools.emplace(own.id, own);
    plan.pools.emplace(ruled.id, ruled);
    Selector selector;
    selector.rule = rule;
    selector.match = Match::content;
    selector.pattern = pattern;
    plan.ports[kPortId].selectors.emplace(5, selector);
    return plan;
}

std::vector<ConfigurationSection> sectionsOf(const Plan &plan, const std::set<uint32_t> &moving = {}) {
    ProxyNumbers numbers;
    numberPlan(numbers, plan);
    const auto sections = readConfiguration(configurationText(plan, numbers, "/tmp/f", moving));
    EXPECT_TRUE(sections.has_value());
    return sections.value_or(std::vector<ConfigurationSection>{});
}

std::string everyByte() {
    std::string bytes;
    for (int code = 1; code < 256; ++code)
        bytes += static_cast<char>(code);
    return bytes;
}

TEST(ProxyConfiguration, hasAFrontendAPortAndABackendAPool) {
    const auto sections = sectionsOf(planWith("images", "^/img", ""));
    ASSERT_EQ(sections.size(), 7U); // global, defaults, idle, marks, and ours
    const ConfigurationSection *frontend = sectionIn(sections, "frontend", "f1");
    ASSERT_NE(frontend, nullptr);
    EXPECT_EQ(linesWith(*frontend, "bind"), (std::vector<ConfigurationLine>{{"10.0.0.1:80"}}));
    EXPECT_EQ(linesWith(*frontend, "acl"),
              (std::vector<ConfigurationLine>{{"r1", "path", "-m", "reg", "--", "^/img"}}));
    EXPECT_EQ(linesWith(*frontend, "use_backend").back(), (ConfigurationLine{"b2", "if", "r1"}));
    EXPECT_EQ(linesWith(*frontend, "default_backend"), (std::vector<ConfigurationLine>{{"b1"}}));
    const ConfigurationSection *own = sectionIn(sections, "backend", "b1");
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(linesWith(*own, "server"), (std::vector<ConfigurationLine>{
                                             {"s1", "10.0.1.1:8080", "id", "1", "weight", "10"},
                                             {"s2", "10.0.1.2:8080", "id", "2", "weight", "10"},
                                         }));
    const ConfigurationSection *ruled = sectionIn(sections, "backend", "b2");
    ASSERT_NE(ruled, nullptr);
    EXPECT_EQ(linesWith(*ruled, "server").size(), 1U);
}

TEST(ProxyConfiguration, hasOneSectionForAPortWithoutRules) {
    Plan plan;
    const Pool own = poolWith(std::nullopt, {1, 2});
    plan.pools.emplace(own.id, own);
    const auto sections = sectionsOf(plan);
    ASSERT_EQ(sections.size(), 5U); // global, defaults, idle, marks, and ours
    const ConfigurationSection *section = sectionIn(sections, "listen", "b1");
    ASSERT_NE(section, nullptr);
    EXPECT_EQ(linesWith(*section, "mode"), (std::vector<ConfigurationLine>{{"http"}}));
    EXPECT_EQ(linesWith(*section, "bind"), (std::vector<ConfigurationLine>{{"10.0.0.1:80"}}));
    EXPECT_EQ(linesWith(*section, "option"),
              (std::vector<ConfigurationLine>{{"idle-close-on-response"}, {"allbackups"}}));
    EXPECT_EQ(linesWith(*section, "timeout"),
              (std::vector<ConfigurationLine>{{"client", "300s"}, {"connect", "5s"}, {"server", "300s"}}));
    EXPECT_EQ(linesWith(*section, "use-server").size(), 1U);
    EXPECT_EQ(linesWith(*section, "server").size(), 2U);
}

TEST(ProxyConfiguration, keepsAnyBytesApartFromItsMeaning) {
    const std::string odd = everyByte();
    const auto sections = sectionsOf(planWith(odd, odd, ""));
    ASSERT_EQ(sections.size(), 7U);
    const ConfigurationSection *frontend = sectionIn(sections, "frontend", "f1");
    ASSERT_NE(frontend, nullptr);
    ASSERT_EQ(linesWith(*frontend, "acl").size(), 1U);
    EXPECT_EQ(linesWith(*frontend, "acl").front().back(), odd);
}

TEST(ProxyConfiguration, matchesAnythingWithAnEmptyPattern) {
    const auto sections = sectionsOf(planWith("all", "", ""));
    EXPECT_EQ(linesWith(*sectionIn(sections, "frontend", "f1"), "acl").front().back(), "^");
}

TEST(ProxyConfiguration, putsServersThatTakeNothingAside) {
    Plan plan = planWith("images", "a", "");
    PoolServer &server = plan.pools.at({kPortId, Transport::tcp, std::nullopt}).servers.at(2);
    server.weight = 0;
    server.availability = Availability::down;
    const auto sections = sectionsOf(plan);
    EXPECT_EQ(linesWith(*sectionIn(sections, "backend", "b1"), "server").back().back(), "disabled");
}

TEST(ProxyConfiguration, asksForCookiesWhereARuleHasThem) {
    const auto sections = sectionsOf(planWith("shop", "a", "basket"));
    EXPECT_EQ(linesWith(*sectionIn(sections, "backend", "b2"), "cookie").front().front(), "basket");
    EXPECT_TRUE(linesWith(*sectionIn(sections, "backend", "b1"), "cookie").empty());
    EXPECT_TRUE(isCookieName("basket-1"));
    for (const char *name : {"a b", "a=b", "a;b", "a\nb", "a\"", "\x80"})
        EXPECT_FALSE(isCookieName(name)) << name;
    EXPECT_TRUE(isCookieValue("abc=/?"));
    for (const char *value : {"a b", "a;b", "a\r", "a,b", "a\\", "\x80"})
        EXPECT_FALSE(isCookieValue(value)) << value;
}

// The lines of a section that begin with a word, as texts.
std::vector<std::string> textsWith(const ConfigurationSection *section, const std::string &word) {
    std::vector<std::string> texts;
    for (const ConfigurationLine &line : linesWith(*section, word)) {
        std::string text;
        for (const std::string &each : line)
            text += (text.empty() ? "" : " ") + each;
        texts.push_back(text);
    }
    return texts;
}

TEST(ProxyConfiguration, tellsTimes) {
    using Texts = std::vector<std::string>;
    Plan plan = planWith("shop", "a", "basket");
    auto sections = sectionsOf(plan);
    EXPECT_EQ(textsWith(sectionIn(sections, "frontend", "f1"), "timeout"), (Texts{"client 300s"}));
    EXPECT_EQ(textsWith(sectionIn(sections, "backend", "b1"), "timeout"), (Texts{"connect 5s", "server 300s"}));
    Pool &own = plan.pools.at({kPortId, Transport::tcp, std::nullopt});
    own.settings.staleTimeout = 20;
    own.settings.stickyTime = 4'000'000'000; // is cut to what HAProxy can count
    own.settings.stickyBits = 24;
    own.servers.at(2).connectTimeout = 7;
    plan.settings.finTimeout = 3;
    plan.settings.cookieLifetime = 60;
    sections = sectionsOf(plan);
    EXPECT_EQ(textsWith(sectionIn(sections, "defaults", ""), "timeout"),
              (Texts{"connect 5s", "client 300s", "server 300s", "client-fin 3s", "server-fin 3s"}));
    EXPECT_EQ(textsWith(sectionIn(sections, "frontend", "f1"), "timeout"), (Texts{"client 20s"}));
    const ConfigurationSection *backend = sectionIn(sections, "backend", "b1");
    EXPECT_EQ(textsWith(backend, "timeout"), (Texts{"connect 7s", "server 20s"}));
    EXPECT_EQ(textsWith(backend, "stick-table"), (Texts{"type ip size 100k expire 2073600s"}));
    EXPECT_EQ(textsWith(backend, "stick"), (Texts{"on src,ipmask(24) table b1"}));
    EXPECT_EQ(textsWith(sectionIn(sections, "backend", "b2"), "cookie"),
              (Texts{"basket insert preserve nocache attr Max-Age=60"}));
}

// What costs each request time is asked for only when there is something to find.
TEST(ProxyConfiguration, looksForBoundClientsWhereThereAreSome) {
    using Texts = std::vector<std::string>;
    Plan plan = planWith("images", "a", "");
    auto sections = sectionsOf(plan);
    EXPECT_EQ(textsWith(sectionIn(sections, "backend", "marks"), "server"), (Texts{"bound 127.0.0.1:1 disabled"}));
    EXPECT_EQ(textsWith(sectionIn(sections, "frontend", "f1"), "use_backend").front(),
              "b1 if { srv_is_up(marks/bound) } { src,map_ip(/tmp/f/bound1) -m found }");
    EXPECT_EQ(textsWith(sectionIn(sections, "backend", "b1"), "use-server"),
              (Texts{"%[src,map_ip(/tmp/f/bound1)] if { srv_is_up(marks/bound) } "
                     "{ src,map_ip(/tmp/f/bound1) -m found }"}));
    EXPECT_EQ(textsWith(sectionIn(sections, "backend", "b2"), "use-server"), Texts{});

    const Address client = ipv4(10, 7, 0, 1);
    plan.ports.at(kPortId).clients.emplace(client, BoundClient{client, 2});
    sections = sectionsOf(plan);
    EXPECT_EQ(textsWith(sectionIn(sections, "backend", "marks"), "server"), (Texts{"bound 127.0.0.1:1"}));

    // A client whose server takes nothing is as any other.
    plan.pools.at({kPortId, Transport::tcp, std::nullopt}).servers.at(2).weight = 0;
    sections = sectionsOf(plan);
    EXPECT_EQ(textsWith(sectionIn(sections, "backend", "marks"), "server"), (Texts{"bound 127.0.0.1:1 disabled"}));
}

TEST(ProxyConfiguration, hasWhatStandsByForAServer) {
    Plan plan = planWith("images", "a", "");
    PoolServer &server = plan.pools.at({kPortId, Transport::tcp, std::nullopt}).servers.at(2);
    server.backup = {ipv4(10, 0, 2, 2), 8080};
    server.source = ipv4(10, 0, 0, 9);
    const auto sections = sectionsOf(plan);
    EXPECT_EQ(textsWith(sectionIn(sections, "backend", "b1"), "server"),
              (std::vector<std::string>{
                  "s1 10.0.1.1:8080 id 1 weight 10",
                  "s2 10.0.1.2:8080 id 2 weight 10 source 10.0.0.9 check inter 1s fall 2 rise 2",
                  "t2 10.0.2.2:8080 id 1000000002 weight 10 source 10.0.0.9 backup",
              }));
}

TEST(ProxyConfiguration, makesNetworksOfARange) {
    EXPECT_EQ(networksIn(ipv4(10, 0, 0, 16), ipv4(10, 0, 0, 40)),
              (std::vector<std::string>{"10.0.0.16/28", "10.0.0.32/29", "10.0.0.40/32"}));
    EXPECT_EQ(networksIn(ipv4(0, 0, 0, 0), ipv4(255, 255, 255, 255)), (std::vector<std::string>{"0.0.0.0/0"}));
    EXPECT_EQ(networksIn(ipv4(255, 255, 255, 255), ipv4(255, 255, 255, 255)),
              (std::vector<std::string>{"255.255.255.255/32"}));
    EXPECT_EQ(networksIn(ipv4(0, 0, 0, 1), ipv4(255, 255, 255, 254)).size(), 62U);
}

TEST(ProxyConfiguration, putsManyNetworksOnLinesThatHAProxyTakes) {
    Plan plan = planWith("wide", "a", "");
    Selector &selector = plan.ports.at(kPortId).selectors.at(5);
    selector.match = Match::clientAddress;
    selector.firstAddress = ipv4(0, 0, 0, 1);
    selector.lastAddress = ipv4(255, 255, 255, 254);
    std::size_t networks = 0;
    for (const ConfigurationLine &line : linesWith(*sectionIn(sectionsOf(plan), "frontend", "f1"), "acl"))
        networks += line.size() - 2;
    EXPECT_EQ(networks, 62U);
}

TEST(ProxyConfiguration, hasOneTableForPortsThatCross) {
    Plan plan;
    for (const uint16_t number : std::initializer_list<uint16_t>{80, 443}) {
        Pool pool = poolWith(std::nullopt, {1, 2});
        pool.id.port.port = number;
        pool.settings.group = 80;
        pool.settings.stickyTime = 60;
        for (auto &[key, server] : pool.servers)
            server.endpoint.port = number;
        plan.pools.emplace(pool.id, pool);
    }
    const auto sections = sectionsOf(plan);
    const ConfigurationSection &keeper = *sectionIn(sections, "listen", "b1");
    const ConfigurationSection &crossing = *sectionIn(sections, "listen", "b2");
    EXPECT_EQ(linesWith(keeper, "stick-table").size(), 1U);
    EXPECT_EQ(linesWith(crossing, "stick-table").size(), 0U);
    EXPECT_EQ(linesWith(keeper, "stick"), linesWith(crossing, "stick"));
    // The same machine has the same number on both.
    EXPECT_EQ(linesWith(keeper, "server").front().front(), linesWith(crossing, "server").front().front());
}

TEST(ProxyConfiguration, givesANumberOnce) {
    Plan plan = planWith("images", "a", "");
    ProxyNumbers numbers;
    numberPlan(numbers, plan);
    const PoolId ruled{kPortId, Transport::tcp, "images"};
    EXPECT_EQ(numberOf(numbers, ruled), 2U);
    numbers.pools.erase(ruled);
    numberPlan(numbers, plan);
    EXPECT_EQ(numberOf(numbers, ruled), 3U);
}

TEST(ProxyReplies, tellStatisticsByTheNamesOfTheirColumns) {
    const auto rows = parseStatistics("# pxname,svname,scur,stot,bin,bout,status,rate,\n"
                                      "f1,FRONTEND,1,2,3,4,OPEN,5,\n"
                                      "b12,s3,1,20,300,4000,no check,6,\n"
                                      "b12,t3,1,2,3,4,UP,0,\n"
                                      "b12,BACKEND,2,22,,4004,UP,7,\n"
                                      "b12,s4\n"
                                      "GLOBAL,x,1,2,3,4,UP,5,\n\n");
    ASSERT_EQ(rows.size(), 4U);
    EXPECT_EQ(rows[0].pool, 12U);
    EXPECT_EQ(rows[0].server, 3U);
    EXPECT_EQ(rows[0].active, 1U);
    EXPECT_EQ(rows[0].connections, 20U);
    EXPECT_EQ(rows[0].bytesIn, 300U);
    EXPECT_EQ(rows[0].bytesOut, 4000U);
    EXPECT_EQ(rows[0].rate, 6U);
    EXPECT_EQ(rows[1].server, 3U); // what stands by for it
    EXPECT_EQ(rows[2].server, 0U);
    EXPECT_EQ(rows[2].bytesIn, 0U);
    EXPECT_EQ(rows[3].connections, 0U);
}

TEST(ProxyReplies, tellSessions) {
    const auto rows =
        parseSessions("0x1: proto=unix_stream src=unix:1 fe=GLOBAL be=<NONE> srv=<none> ts=00 age=0s\n"
                      "0x2: proto=tcpv4 src=127.0.0.1:37694 fe=f1 be=b1 srv=s2 ts=00 epoch=0 age=1h2m calls=2 "
                      "rq[f=808000h,i=0,an=00h,rx=4m59s,wx=,ax=] rp[f=80008000h,i=0,an=00h,rx=5s,wx=,ax=] exp=1s\n"
                      "0x3: proto=tcpv4 src=127.0.0.1:99999 fe=f1 be=b1 srv=<none> age=0s\n");
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].client, (Endpoint{ipv4(127, 0, 0, 1), 37694}));
    EXPECT_EQ(rows[0].pool, 1U);
    EXPECT_EQ(rows[0].server, 2U);
    EXPECT_EQ(rows[0].age, 3720U);
    EXPECT_EQ(rows[0].left, 299U);
}

TEST(ProxyReplies, tellStickyClients) {
    const auto rows = parseTable("# table: b1, type: ip, size:102400, used:2\n"
                                 "0x1: key=127.0.0.1 use=0 exp=289903 server_id=3 server_key=s3\n"
                                 "0x2: key=127.0.0.9 use=0 exp=300000 server_id=1000000007 server_key=-\n"
                                 "0x3: key=nonsense use=0 exp=1 server_id=1\n\n");
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].client, ipv4(127, 0, 0, 1));
    EXPECT_EQ(rows[0].server, 3U);
    EXPECT_EQ(rows[0].left, 289903U);
    EXPECT_EQ(rows[1].server, 7U);
}

TEST(ProxyReplies, tellTheWorker) {
    EXPECT_EQ(parseProcess("Name: HAProxy\nPid: 25950\nUptime: 0d\n"), 25950);
    EXPECT_EQ(parseCurrentConnections("CurrConns: 12\nCumConns: 40\n"), 12U);
    for (const char *reply : {"", "Pid: ", "Pid: x", "Pid: 99999999999999999999", "Pid:1", "Unknown command"})
        EXPECT_EQ(parseProcess(reply), 0) << reply;
}

TEST(ProxyReplies, tellReasons) {
    EXPECT_EQ(alertsIn("[NOTICE]   (7) : haproxy version is 2.6\n"
                       "[ALERT]    (7) : config : parsing [/tmp/q/next.cfg:12] : error\tdetected\n"
                       "[ALERT]    (7) : config : Fatal errors found.\n"),
              "config : parsing  : error?detected; config : Fatal errors found.");
    EXPECT_EQ(alertsIn("nothing"), "");
}

// Whatever comes, nothing is read that is not there.
TEST(ProxyReplies, mayBeAnything) {
    std::string hostile;
    uint32_t random = 1;
    const std::string parts[] = {"# pxname,svname,scur,stot,bin,bout,rate,",
                                 "b1",
                                 ",",
                                 "s1",
                                 "\n",
                                 "key=",
                                 "src=",
                                 "1.2.3.4",
                                 ":",
                                 "age=",
                                 "rq[",
                                 "rx=",
                                 "]",
                                 "99999999999999999999",
                                 "\\",
                                 " ",
                                 "=",
                                 "Pid: ",
                                 "[ALERT]",
                                 ") : ",
                                 "[/",
                                 std::string(1, '\0'),
                                 "\xff"};
    for (int round = 0; round < 2000; ++round) {
        hostile.clear();
        for (int part = 0; part < 20; ++part) {
            random = random * 1664525 + 1013904223;
            hostile += parts[(random >> 16) % std::size(parts)];
        }
        for (const StatisticsRow &row : parseStatistics(hostile))
            EXPECT_NE(row.pool, 0U);
        for (const SessionRow &row : parseSessions(hostile))
            EXPECT_NE(row.server, 0U);
        for (const TableRow &row : parseTable(hostile))
            EXPECT_NE(row.server, 0U);
        EXPECT_GE(parseProcess(hostile), 0);
        EXPECT_EQ(alertsIn(hostile).find('\n'), std::string::npos);
    }
}

// A reply that comes late is not taken for the one to another command.
TEST(ProxyTalk, endsWithAReplyThatDoesNotCome) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    HeldWorker worker{1, ownDescriptor(ends[0])};
    const auto answer = [&ends](const std::string &text) {
        EXPECT_EQ(write(ends[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    };
    std::string reply;
    answer("one\n\n> ");
    EXPECT_TRUE(askHeld(worker, "show", reply));
    EXPECT_EQ(reply, "one\n\n");
    answer("one\n\n> tw");
    EXPECT_FALSE(askHeld(worker, "show\nshow", reply, 20));
    signal(SIGPIPE, SIG_IGN);
    (void)!write(ends[1], "o\n\n> ", 5);
    EXPECT_FALSE(askHeld(worker, "show", reply));
    releaseWorker(worker);
    close(ends[1]);
}

} // namespace

} // namespace rk
