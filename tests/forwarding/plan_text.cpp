#include "plan_text.h"

#include "executor/forwarding/planning.h"

namespace rk {

namespace {

std::string textOf(const Endpoint &endpoint) {
    return addressText(endpoint.address) + ":" + std::to_string(endpoint.port);
}

std::string textOf(const PoolId &id) {
    return textOf(id.port) + (id.transport == Transport::tcp ? " tcp" : " udp") + (id.rule ? " " + *id.rule : "");
}

const char *textOf(Method method) {
    constexpr const char *kNames[] = {"link level", "translation", "content"};
    return kNames[static_cast<int>(method)];
}

const char *textOf(Protocol protocol) {
    constexpr const char *kNames[] = {"none", "http", "tls"};
    return kNames[static_cast<int>(protocol)];
}

std::string matchOf(const Selector &selector) {
    const std::string range = std::to_string(selector.first) + "-" + std::to_string(selector.last);
    switch (selector.match) {
    case Match::always:
        return "always";
    case Match::clientAddress:
        return "clients " + addressText(selector.firstAddress) + "-" + addressText(selector.lastAddress);
    case Match::hours:
        return "hours " + range;
    case Match::clientPort:
        return "client ports " + range;
    case Match::weekdays:
        return "weekdays " + range;
    case Match::typeOfService:
        return "service clear " + std::to_string(selector.serviceBitsClear) + " set " +
               std::to_string(selector.serviceBitsSet);
    default:
        return "path " + selector.pattern;
    }
}

// Appends " NAME VALUE" when the value is not the default.
void add(std::string &line, const char *name, uint64_t value, uint64_t byDefault = 0) {
    if (value != byDefault)
        line += std::string(" ") + name + " " + std::to_string(value);
}

void add(std::string &line, const char *name, const std::string &value) {
    if (!value.empty())
        line += std::string(" ") + name + " " + value;
}

void addFlag(std::string &line, const char *name, bool isTrue) {
    if (isTrue)
        line += std::string(" ") + name;
}

} // namespace

std::string lineOf(const PlanSettings &settings) {
    std::string line = "settings";
    add(line, "own", addressText(settings.ownAddress));
    add(line, "fin", settings.finTimeout);
    add(line, "tcp", settings.longestTcpStale);
    add(line, "udp", settings.longestUdpStale);
    addFlag(line, "replicated", settings.isReplicated);
    addFlag(line, "sources", settings.translatesSource);
    if (settings.secondsWest != 0)
        line += " west " + std::to_string(settings.secondsWest);
    add(line, "cookies", settings.cookieLifetime);
    for (const uint32_t parameter : settings.attackParameters)
        add(line, "attack", parameter);
    return line;
}

std::string lineOf(const Pool &pool, const PoolSettings &settings) {
    std::string line = "pool " + textOf(pool.id) + " " + textOf(settings.method);
    if (settings.protocol != Protocol::none)
        line += std::string(" ") + textOf(settings.protocol);
    add(line, "sticky", settings.stickyTime);
    add(line, "bits", settings.stickyBits, 32);
    add(line, "group", settings.group);
    add(line, "stale", settings.staleTimeout, 300);
    add(line, "half-open", settings.maxHalfOpen);
    addFlag(line, "replicated", settings.isReplicated);
    addFlag(line, "reset", settings.sendsReset);
    add(line, "affinity", static_cast<uint64_t>(settings.affinityType));
    add(line, "cookie", settings.cookieName);
    return line;
}

std::string lineOf(const Pool &pool, const PoolServer &server) {
    constexpr const char *kAvailabilities[] = {"", " quiesced", " down"};
    std::string line = "pool " + textOf(pool.id) + " server " + std::to_string(server.key) + " " + server.name + " " +
                       textOf(server.endpoint) + " weight " + std::to_string(server.weight) +
                       kAvailabilities[static_cast<int>(server.availability)];
    if (server.backup.address.family != AddressFamily::none)
        line += " backup " + textOf(server.backup);
    addFlag(line, "fixed", server.hasFixedWeight);
    addFlag(line, "sticky", server.isSticky);
    add(line, "router", addressText(server.router));
    add(line, "source", addressText(server.source));
    addFlag(line, "collocated", server.isCollocated);
    add(line, "cps", server.mostConnections);
    add(line, "connect", server.connectTimeout);
    addFlag(line, "wait", server.waitsForComplete);
    add(line, "cookie", server.cookieValue);
    add(line, "clone", server.cloneId);
    return line;
}

std::string lineOf(const PortId &port, int32_t priority, const Selector &selector) {
    return "select " + textOf(port) + ' ' + std::to_string(priority) + ' ' + selector.rule + ": " + matchOf(selector);
}

std::string lineOf(const PortId &port, const BoundClient &client) {
    return "bound " + textOf(port) + ' ' + addressText(client.client) + " to " + std::to_string(client.serverKey);
}

std::set<std::string> linesOf(const Plan &plan) {
    std::set<std::string> lines;
    for (const auto &[id, pool] : plan.pools) {
        lines.insert(lineOf(pool, pool.settings));
        for (const auto &[key, server] : pool.servers)
            lines.insert(lineOf(pool, server));
    }
    for (const auto &[id, port] : plan.ports) {
        for (const auto &[priority, selector] : port.selectors)
            lines.insert(lineOf(id, priority, selector));
        for (const auto &[address, client] : port.clients)
            lines.insert(lineOf(id, client));
    }
    return lines;
}

std::string textOf(const Plan &plan) {
    std::string text;
    for (const std::string &line : linesOf(plan))
        text += line + "\n";
    return text;
}

} // namespace rk
