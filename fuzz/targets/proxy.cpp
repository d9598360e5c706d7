// HAProxy's configuration and replies: names and texts of any bytes never change what the configuration means, and
// whatever comes as a reply is read to its end and no further.
#include "executor/forwarding/proxy/configuration.h"
#include "executor/forwarding/proxy/replies.h"
#include "forwarding/proxy/configuration_model.h"
#include "fuzz/harness/draws.h"

namespace {

using fuzz::finding;
using rk::ConfigurationLine;
using rk::ConfigurationSection;

rk::Address drawAddress(const fuzz::Draws &draws) {
    rk::Address address{rk::AddressFamily::ipv4, {}};
    for (int index = 0; index < 4; ++index)
        address.bytes[static_cast<std::size_t>(index)] = fuzz::drawByte(draws);
    return address;
}

rk::PoolServer drawServer(const fuzz::Draws &draws, uint32_t key) {
    rk::PoolServer server;
    server.key = key;
    server.name = fuzz::drawBytes(draws);
    server.endpoint = {drawAddress(draws), fuzz::drawHalf(draws)};
    if (fuzz::drawBelow(draws, 4) == 3)
        server.backup = {drawAddress(draws), fuzz::drawHalf(draws)};
    if (fuzz::drawBelow(draws, 4) == 3)
        server.source = drawAddress(draws);
    server.weight = static_cast<int32_t>(fuzz::drawBelow(draws, 101));
    server.connectTimeout = fuzz::drawWord(draws);
    server.cookieValue = fuzz::drawBytes(draws);
    return server;
}

rk::Pool drawPool(const fuzz::Draws &draws, const rk::PoolId &id) {
    rk::Pool pool;
    pool.id = id;
    pool.settings.method = fuzz::drawBelow(draws, 2) == 0 ? rk::Method::content : rk::Method::translation;
    pool.settings.stickyTime = fuzz::drawWord(draws);
    pool.settings.stickyBits = static_cast<uint8_t>(fuzz::drawBelow(draws, 33));
    pool.settings.group = id.rule ? 0 : fuzz::drawHalf(draws);
    pool.settings.staleTimeout = fuzz::drawWord(draws);
    pool.settings.cookieName = fuzz::drawBytes(draws);
    for (uint32_t key = 1 + fuzz::drawBelow(draws, 4); key > 0; --key) {
        const rk::PoolServer server = drawServer(draws, key);
        if (pool.keyOfEndpoint.emplace(server.endpoint, key).second)
            pool.servers.emplace(key, server);
    }
    return pool;
}

rk::Selector drawSelector(const fuzz::Draws &draws, const std::string &rule) {
    rk::Selector selector;
    selector.rule = rule;
    selector.match = static_cast<rk::Match>(fuzz::drawBelow(draws, 7));
    selector.firstAddress = drawAddress(draws);
    selector.lastAddress = drawAddress(draws);
    selector.first = fuzz::drawHalf(draws);
    selector.last = fuzz::drawHalf(draws);
    selector.pattern = fuzz::drawBytes(draws);
    return selector;
}

rk::Plan drawPlan(const fuzz::Draws &draws) {
    rk::Plan plan;
    plan.settings.secondsWest = static_cast<int32_t>(fuzz::drawWord(draws));
    plan.settings.finTimeout = fuzz::drawWord(draws);
    plan.settings.cookieLifetime = fuzz::drawWord(draws);
    for (uint32_t ports = 1 + fuzz::drawBelow(draws, 3); ports > 0; --ports) {
        const rk::PortId port{drawAddress(draws), fuzz::drawHalf(draws)};
        const rk::PoolId own{port, rk::Transport::tcp, std::nullopt};
        if (!plan.pools.emplace(own, drawPool(draws, own)).second)
            continue;
        rk::PortPlan &planned = plan.ports[port];
        for (uint32_t rules = fuzz::drawBelow(draws, 3); rules > 0; --rules) {
            const std::string rule = fuzz::drawBytes(draws);
            const rk::PoolId id{port, rk::Transport::tcp, rule};
            if (plan.pools.emplace(id, drawPool(draws, id)).second)
                planned.selectors.emplace(static_cast<int32_t>(rules), drawSelector(draws, rule));
        }
        const rk::Address client = drawAddress(draws);
        planned.clients.emplace(client, rk::BoundClient{client, fuzz::drawBelow(draws, 5)});
    }
    return plan;
}

// What a pool of the plan has to have in a configuration that was read back.
void checkPool(const std::vector<ConfigurationSection> &sections, const rk::ProxyNumbers &numbers,
               const rk::Pool &pool) {
    const std::string number = std::to_string(rk::numberOf(numbers, pool.id));
    const ConfigurationSection *backend = rk::sectionIn(sections, "backend", "b" + number);
    if (backend == nullptr)
        finding("pool %s has not one backend", number.c_str());
    std::size_t expected = pool.servers.size();
    for (const auto &[key, server] : pool.servers)
        expected += server.backup.address.family == rk::AddressFamily::none ? 0 : 1;
    const auto servers = rk::linesWith(*backend, "server");
    if (servers.size() != expected)
        finding("pool %s has %zu servers, not %zu", number.c_str(), servers.size(), expected);
    const bool hasCookie = rk::readsRequests(pool.settings) && !pool.settings.cookieName.empty();
    const auto cookies = rk::linesWith(*backend, "cookie");
    if (cookies.size() != (hasCookie ? 1 : 0) || (hasCookie && cookies.front().front() != pool.settings.cookieName))
        finding("pool %s has another cookie", number.c_str());
    if (!pool.id.rule && rk::sectionIn(sections, "frontend", "f" + number) == nullptr)
        finding("pool %s has not one frontend", number.c_str());
}

// The contents that rules look for are the last words of their lines.
void checkPatterns(const std::vector<ConfigurationSection> &sections, const rk::Plan &plan,
                   const rk::ProxyNumbers &numbers) {
    for (const auto &[port, planned] : plan.ports) {
        const rk::Pool &own = plan.pools.at({port, rk::Transport::tcp, std::nullopt});
        const std::string name = "f" + std::to_string(rk::numberOf(numbers, own.id));
        std::vector<std::string> patterns;
        for (const ConfigurationLine &line : rk::linesWith(*rk::sectionIn(sections, "frontend", name), "acl")) {
            if (line[1] == "path")
                patterns.push_back(line.back());
        }
        std::vector<std::string> expected;
        for (const auto &[priority, selector] : planned.selectors) {
            if (selector.match == rk::Match::content && rk::readsRequests(own.settings))
                expected.push_back(selector.pattern.empty() ? "^" : selector.pattern);
        }
        if (patterns != expected)
            finding("%s looks for other contents", name.c_str());
    }
}

void checkConfiguration(const rk::Plan &plan) {
    rk::ProxyNumbers numbers;
    rk::numberPlan(numbers, plan);
    const auto sections = rk::readConfiguration(rk::configurationText(plan, numbers, "/tmp/f", {1}));
    if (!sections)
        finding("the configuration cannot be read");
    std::size_t expected = 3; // global, defaults, and the frontend without a port
    for (const auto &[id, pool] : plan.pools)
        expected += id.rule ? 1 : 2;
    if (sections->size() != expected)
        finding("%zu sections, not %zu", sections->size(), expected);
    for (const auto &[id, pool] : plan.pools)
        checkPool(*sections, numbers, pool);
    checkPatterns(*sections, plan, numbers);
}

void checkReplies(const std::string &reply) {
    for (const rk::StatisticsRow &row : rk::parseStatistics("# pxname,svname,scur,stot,bin,bout,rate,\n" + reply)) {
        if (row.pool == 0)
            finding("statistics of no pool");
    }
    for (const rk::SessionRow &row : rk::parseSessions(reply)) {
        if (row.pool == 0 || row.server == 0)
            finding("a connection to no server");
    }
    for (const rk::TableRow &row : rk::parseTable(reply)) {
        if (row.server == 0)
            finding("a client of no server");
    }
    if (rk::parseProcess(reply) < 0)
        finding("a negative process");
    for (const char character : rk::alertsIn(reply)) {
        if (static_cast<unsigned char>(character) < ' ')
            finding("a reason with control characters");
    }
}

} // namespace

// A plan from the back of the input; what is left of its front is a reply.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::Input input = {data, data + size};
    checkConfiguration(drawPlan({&input, fuzz::Side::back}));
    checkReplies(std::string(input.begin, input.end));
    return 0;
}
