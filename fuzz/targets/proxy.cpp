// HAProxy's configuration and replies: names and texts of any bytes never change what the configuration means, and
// whatever comes as a reply is read to its end and no further.
#include "executor/forwarding/proxy/configuration.h"
#include "executor/forwarding/proxy/replies.h"
#include "forwarding/proxy/configuration_model.h"
#include "fuzz/harness/draws.h"

#include <cstring>

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

// The texts of a plan as harmless words, and what each stands for.
struct Words {
    std::vector<std::string> texts; // the word number N stands for the text at N
};

// The empty text stays: it says that there is none.
std::string wordFor(Words &words, const std::string &text) {
    if (text.empty())
        return text;
    words.texts.push_back(text);
    return "text" + std::to_string(words.texts.size() - 1);
}

rk::Pool inWords(Words &words, rk::Pool pool) {
    pool.settings.cookieName = wordFor(words, pool.settings.cookieName);
    for (auto &[key, server] : pool.servers) {
        server.name = wordFor(words, server.name);
        server.cookieValue = wordFor(words, server.cookieValue);
    }
    return pool;
}

// The same plan with words for texts. Rules have names that are in the same order, as pools are numbered in it.
rk::Plan inWords(Words &words, const rk::Plan &plan) {
    rk::Plan other;
    other.settings = plan.settings;
    other.ports = plan.ports;
    std::size_t rules = 0;
    for (const auto &[id, pool] : plan.pools) {
        rk::Pool renamed = inWords(words, pool);
        if (id.rule) {
            const std::string ordered = std::to_string(100 + rules++);
            for (auto &[priority, selector] : other.ports.at(id.port).selectors) {
                if (plan.ports.at(id.port).selectors.at(priority).rule == *id.rule)
                    selector.rule = ordered;
            }
            renamed.id.rule = ordered;
        }
        other.pools.emplace(renamed.id, renamed);
    }
    for (auto &[port, planned] : other.ports) {
        for (auto &[priority, selector] : planned.selectors)
            selector.pattern = wordFor(words, selector.pattern);
    }
    return other;
}

std::vector<ConfigurationSection> read(const rk::Plan &plan) {
    rk::ProxyNumbers numbers;
    rk::numberPlan(numbers, plan);
    const std::string text = rk::configurationText(plan, numbers, "/tmp/f", {1});
    for (const char character : text) {
        // What follows a backslash is a code; nothing else with a meaning to whoever reads a configuration is there.
        if (character != '\n' && (character < ' ' || character > '~' || std::strchr("\"'#$;`", character) != nullptr))
            finding("a byte %d in the configuration", character);
    }
    auto sections = rk::readConfiguration(text);
    if (!sections)
        finding("the configuration cannot be read");
    return *sections;
}

// Whatever its texts are, a plan's configuration says the same, and has the texts themselves where words would stand.
void checkConfiguration(const rk::Plan &plan) {
    const std::vector<ConfigurationSection> sections = read(plan);
    Words words;
    std::vector<ConfigurationSection> expected = read(inWords(words, plan));
    for (ConfigurationSection &section : expected) {
        for (ConfigurationLine &line : section.lines) {
            for (std::string &word : line) {
                if (word.starts_with("text"))
                    word = words.texts.at(std::stoul(word.substr(4)));
            }
        }
    }
    if (sections.size() != expected.size())
        finding("%zu sections, not %zu", sections.size(), expected.size());
    for (std::size_t index = 0; index < sections.size(); ++index) {
        const ConfigurationSection &section = sections[index];
        if (section.kind != expected[index].kind || section.name != expected[index].name)
            finding("section %zu is %s %s", index, section.kind.c_str(), section.name.c_str());
        if (section.lines != expected[index].lines)
            finding("%s %s has other lines", section.kind.c_str(), section.name.c_str());
    }
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
