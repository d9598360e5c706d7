#include "executor/forwarding/proxy/configuration.h"

#include "executor/forwarding/proxy/replies.h"

#include <algorithm>
#include <cstring>

namespace rk {

namespace {

constexpr uint32_t kLongestProxyTime = 24 * 86400; // HAProxy counts milliseconds in 31 bits
constexpr uint32_t kDefaultConnectTime = 5;
constexpr uint32_t kDefaultStaleTime = 300;
constexpr std::size_t kNetworksPerLine = 32; // a line has 64 words at most

std::string seconds(uint32_t time) {
    return std::to_string(std::min(time, kLongestProxyTime)) + "s";
}

std::string number(uint64_t value) {
    return std::to_string(value);
}

// What standby servers are for is known by trying: only servers that have one are tried.
bool hasStandby(const PoolServer &server) {
    return server.backup.address.family != AddressFamily::none;
}

bool hasCookies(const Pool &pool) {
    return readsRequests(pool.settings) && !pool.settings.cookieName.empty();
}

ServerIdentity identityOf(const Pool &pool, const PoolServer &server) {
    if (pool.settings.group == 0)
        return server.endpoint;
    const auto isAtTheAddress = [&server](const auto &item) {
        return item.second.endpoint.address == server.endpoint.address;
    };
    const bool isAlone = std::count_if(pool.servers.begin(), pool.servers.end(), isAtTheAddress) == 1;
    return isAlone ? ServerIdentity{server.endpoint.address, 0} : server.endpoint;
}

// A client sticks as long as the keeper's port says, else as long as the first says that crosses to it.
uint32_t stickyTimeOf(const Plan &plan, const Pool &keeper) {
    uint32_t time = keeper.settings.stickyTime;
    if (keeper.settings.group == 0)
        return time;
    const auto first = plan.pools.lower_bound(PoolId{{keeper.id.port.address, 0}, Transport::tcp, std::nullopt});
    for (auto item = first; item != plan.pools.end() && time == 0; ++item) {
        const Pool &pool = item->second;
        if (pool.id.port.address != keeper.id.port.address)
            break;
        if (keeperOf(plan, pool) == &keeper)
            time = pool.settings.stickyTime;
    }
    return time;
}

// One line of a section, out of its parts.
void line(std::string &text, std::initializer_list<std::string_view> parts) {
    text += joined({"    ", joined(parts), "\n"});
}

// The condition under which a selector takes a connection, under a name of its own; empty when it always does. None
// when HAProxy does not see what it looks at.
std::optional<std::string> appendCondition(std::string &text, const Plan &plan, const Selector &selector,
                                           const std::string &name, bool areRequestsRead) {
    const std::string range = number(selector.first) + ":" + number(selector.last);
    // The offset makes the local time of what is printed as Greenwich's.
    const std::string date = joined({"date(", std::to_string(-int64_t{plan.settings.secondsWest}), ")"});
    switch (selector.match) {
    case Match::always:
        return "";
    case Match::clientAddress: {
        const std::vector<std::string> networks = networksIn(selector.firstAddress, selector.lastAddress);
        for (std::size_t index = 0; index < networks.size(); ++index) {
            if (index % kNetworksPerLine == 0)
                text += joined({index == 0 ? "" : "\n", "    acl ", name, " src"});
            text += " " + networks[index];
        }
        text += "\n";
        return name;
    }
    case Match::hours:
        line(text, {"acl ", name, " ", date, ",utime(%H) -m int ", range});
        return name;
    case Match::weekdays:
        line(text, {"acl ", name, " ", date, ",utime(%w) -m int ", range});
        return name;
    case Match::clientPort:
        line(text, {"acl ", name, " src_port ", range});
        return name;
    case Match::content:
        if (!areRequestsRead)
            return std::nullopt;
        // The empty word would be no pattern at all, and match nothing.
        line(text, {"acl ", name, " path -m reg -- ", (selector.pattern.empty() ? "^" : quoted(selector.pattern))});
        return name;
    case Match::typeOfService:
        break;
    }
    return std::nullopt;
}

std::string found(const std::string &key, const std::string &file) {
    return joined({"{ ", key, ",map_ip(", file, ") -m found }"});
}

// Whether a client is in a file of bound ones, which is not looked into while there are none anywhere.
std::string isBound(const std::string &file) {
    return joined({"{ srv_is_up(", kBoundMark, ") } ", found("src", file)});
}

void appendMarks(std::string &text, const Plan &plan, const ProxyNumbers &numbers) {
    const bool areBound = std::any_of(plan.ports.begin(), plan.ports.end(), [&](const auto &port) {
        return !boundServers(plan, numbers, port.first).empty();
    });
    const std::size_t separator = kBoundMark.find('/');
    text += joined({"backend ", kBoundMark.substr(0, separator), "\n"});
    line(text, {"server ", kBoundMark.substr(separator + 1), " 127.0.0.1:1", areBound ? "" : " disabled"});
}

// The beginning of a section for a pool.
void beginSection(std::string &text, std::string_view kind, uint32_t own, const Pool &pool) {
    text += joined({kind, number(own), "\n"});
    line(text, {readsRequests(pool.settings) ? "mode http" : "mode tcp"});
}

// Where a port's clients come in.
void appendEntrance(std::string &text, const Pool &pool) {
    const uint32_t stale = pool.settings.staleTimeout;
    line(text, {"bind ", endpointText(pool.id.port)});
    if (readsRequests(pool.settings))
        line(text, {"option idle-close-on-response"}); // a request that is on its way to a replaced worker is answered
    line(text, {"timeout client ", seconds(stale == 0 ? kDefaultStaleTime : stale)});
}

bool hasRules(const Plan &plan, const PortId &id) {
    const auto port = plan.ports.find(id);
    return port != plan.ports.end() && !port->second.selectors.empty();
}

// A port that chooses among pools.
void appendFrontend(std::string &text, const Plan &plan, const Pool &pool, const ProxyNumbers &numbers,
                    const std::string &folder) {
    const uint32_t own = numberOf(numbers, pool.id);
    const bool areRequestsRead = readsRequests(pool.settings);
    beginSection(text, "frontend f", own, pool);
    appendEntrance(text, pool);
    line(text, {"use_backend b", number(own), " if ", isBound(boundFile(folder, own))});
    int selectors = 0;
    for (const auto &[priority, selector] : plan.ports.at(pool.id.port).selectors) {
        const uint32_t target = numberOf(numbers, PoolId{pool.id.port, Transport::tcp, selector.rule});
        const std::string name = joined({"r", std::to_string(++selectors)});
        if (target == 0 || !plan.pools.contains(PoolId{pool.id.port, Transport::tcp, selector.rule}))
            continue;
        const std::optional<std::string> condition = appendCondition(text, plan, selector, name, areRequestsRead);
        if (condition)
            line(text, {"use_backend b", number(target), condition->empty() ? "" : " if ", *condition});
    }
    line(text, {"default_backend b", number(own)});
}

void appendServer(std::string &text, const Pool &pool, const PoolServer &server, uint32_t own) {
    const std::string state = takesConnections(server) ? "" : " disabled";
    line(text, {"server s", number(own), " ", serverText(pool, server, own), state,
                (hasStandby(server) ? " check inter 1s fall 2 rise 2" : "")});
    if (!hasStandby(server))
        return;
    PoolServer standby = server;
    standby.endpoint = server.backup;
    line(text, {"server t", number(own), " ", serverText(pool, standby, kStandbyNumber + own), state, " backup"});
}

// What sends connections to a pool's servers.
void appendServers(std::string &text, const Plan &plan, const Pool &pool, const ProxyNumbers &numbers,
                   const std::string &folder, const std::set<uint32_t> &moving) {
    const uint32_t own = numberOf(numbers, pool.id);
    const PoolSettings &settings = pool.settings;
    uint32_t connectTime = 0;
    for (const auto &[key, server] : pool.servers)
        connectTime = std::max(connectTime, server.connectTimeout);
    line(text, {"id ", number(own)});
    line(text, {"balance roundrobin"});
    line(text, {"option allbackups"});
    line(text, {"timeout connect ", seconds(connectTime == 0 ? kDefaultConnectTime : connectTime)});
    line(text, {"timeout server ", seconds(settings.staleTimeout == 0 ? kDefaultStaleTime : settings.staleTimeout)});
    if (hasCookies(pool)) {
        const uint32_t lifetime = plan.settings.cookieLifetime;
        line(text, {"cookie ", quoted(settings.cookieName), " insert preserve nocache",
                    lifetime == 0 ? "" : " attr Max-Age=", lifetime == 0 ? "" : number(lifetime)});
    }
    if (!pool.id.rule) {
        const std::string file = boundFile(folder, own);
        line(text, {"use-server %[src,map_ip(", file, ")] if ", isBound(file)});
    }
    if (keepsClients(plan, pool))
        line(text, {"stick-table type ip size 100k expire ", seconds(stickyTimeOf(plan, pool))});
    if (const Pool *keeper = keeperOf(plan, pool); keeper != nullptr) {
        const uint32_t table = numberOf(numbers, keeper->id);
        const std::string client = joined({"src,ipmask(", number(settings.stickyBits), ")"});
        if (moving.contains(table)) {
            const std::string file = stickyFile(folder, table);
            line(text, {"use-server %[", client, ",map_ip(", file, ")] if ", found(client, file)});
        }
        line(text, {"stick on ", client, " table b", number(table)});
    }
    for (const auto &[key, server] : pool.servers)
        appendServer(text, pool, server, numberOf(numbers, pool, server));
}

// Sections of a pool. A port without rules takes one instead of two: each costs HAProxy much memory.
void appendPool(std::string &text, const Plan &plan, const Pool &pool, const ProxyNumbers &numbers,
                const std::string &folder, const std::set<uint32_t> &moving) {
    const uint32_t own = numberOf(numbers, pool.id);
    const bool isOneSection = !pool.id.rule && !hasRules(plan, pool.id.port);
    if (!pool.id.rule && !isOneSection)
        appendFrontend(text, plan, pool, numbers, folder);
    beginSection(text, isOneSection ? "listen b" : "backend b", own, pool);
    if (isOneSection)
        appendEntrance(text, pool);
    appendServers(text, plan, pool, numbers, folder, moving);
}

bool isTokenCharacter(char character) {
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'z') ||
           (character >= 'A' && character <= 'Z') || std::strchr("!#$%&'*+-.^_`|~", character) != nullptr;
}

} // namespace

void numberPool(ProxyNumbers &numbers, const Pool &pool) {
    if (numbers.pools.try_emplace(pool.id, numbers.lastPool + 1).second)
        ++numbers.lastPool;
    for (const auto &[key, server] : pool.servers)
        numberServer(numbers, pool, server);
}

void numberServer(ProxyNumbers &numbers, const Pool &pool, const PoolServer &server) {
    if (numbers.servers.try_emplace(identityOf(pool, server), numbers.lastServer + 1).second)
        ++numbers.lastServer;
}

void numberPlan(ProxyNumbers &numbers, const Plan &plan) {
    for (const auto &[id, pool] : plan.pools)
        numberPool(numbers, pool);
}

uint32_t numberOf(const ProxyNumbers &numbers, const PoolId &pool) {
    const auto item = numbers.pools.find(pool);
    return item == numbers.pools.end() ? 0 : item->second;
}

uint32_t numberOf(const ProxyNumbers &numbers, const Pool &pool, const PoolServer &server) {
    const auto item = numbers.servers.find(identityOf(pool, server));
    return item == numbers.servers.end() ? 0 : item->second;
}

bool readsRequests(const PoolSettings &settings) {
    return settings.method == Method::content && settings.protocol != Protocol::tls;
}

const Pool *keeperOf(const Plan &plan, const Pool &pool) {
    if (pool.settings.stickyTime == 0)
        return nullptr;
    if (pool.settings.group == 0)
        return &pool;
    const auto keeper =
        plan.pools.find(PoolId{{pool.id.port.address, pool.settings.group}, pool.id.transport, std::nullopt});
    return keeper == plan.pools.end() ? &pool : &keeper->second;
}

bool keepsClients(const Plan &plan, const Pool &pool) {
    return stickyTimeOf(plan, pool) != 0 && (pool.settings.stickyTime == 0 || keeperOf(plan, pool) == &pool);
}

std::string boundFile(const std::string &folder, uint32_t pool) {
    return joined({folder, "/bound", number(pool)});
}

std::string stickyFile(const std::string &folder, uint32_t pool) {
    return joined({folder, "/sticky", number(pool)});
}

std::map<Address, uint32_t> boundServers(const Plan &plan, const ProxyNumbers &numbers, const PortId &port) {
    std::map<Address, uint32_t> servers;
    const auto planned = plan.ports.find(port);
    const auto pool = plan.pools.find(PoolId{port, Transport::tcp, std::nullopt});
    if (planned == plan.ports.end() || pool == plan.pools.end())
        return servers;
    for (const auto &[address, client] : planned->second.clients) {
        const auto server = pool->second.servers.find(client.serverKey);
        if (server != pool->second.servers.end() && takesConnections(server->second))
            servers.emplace(address, numberOf(numbers, pool->second, server->second));
    }
    return servers;
}

std::string mapText(const std::map<Address, uint32_t> &servers) {
    std::string text;
    for (const auto &[client, server] : servers)
        text += joined({addressText(client), " s", number(server), "\n"});
    return text;
}

std::string configurationText(const Plan &plan, const ProxyNumbers &numbers, const std::string &folder,
                              const std::set<uint32_t> &moving) {
    std::string text = "global\n";
    line(text, {"stats socket ", folder, "/worker mode 600 level admin expose-fd listeners"});
    line(text, {"stats timeout 24d"}); // a connection that is held shall last
    line(text, {"fd-hard-limit 20000"});
    text += "defaults\n";
    line(text, {"timeout connect ", seconds(kDefaultConnectTime)});
    line(text, {"timeout client ", seconds(kDefaultStaleTime)});
    line(text, {"timeout server ", seconds(kDefaultStaleTime)});
    if (plan.settings.finTimeout != 0) {
        line(text, {"timeout client-fin ", seconds(plan.settings.finTimeout)});
        line(text, {"timeout server-fin ", seconds(plan.settings.finTimeout)});
    }
    line(text, {"option redispatch 1"}); // a connection that one server refuses goes to another
    // HAProxy wants something to listen on, however little there is to do.
    text += "frontend idle\n";
    line(text, {"mode tcp"});
    line(text, {"bind unix@", folder, "/idle mode 600"});
    appendMarks(text, plan, numbers);
    for (const auto &[id, pool] : plan.pools) {
        if (id.transport == Transport::tcp)
            appendPool(text, plan, pool, numbers, folder, moving);
    }
    return text;
}

std::string serverText(const Pool &pool, const PoolServer &server, uint32_t own) {
    std::string text = joined(
        {endpointText(server.endpoint), " id ", number(own), " weight ", std::to_string(std::max(server.weight, 0))});
    if (server.source.family != AddressFamily::none)
        text += joined({" source ", addressText(server.source)});
    if (hasCookies(pool))
        text +=
            joined({" cookie ", server.cookieValue.empty() ? joined({"s", number(own)}) : quoted(server.cookieValue)});
    return text;
}

std::string joined(std::initializer_list<std::string_view> parts) {
    std::string text;
    for (const std::string_view part : parts)
        text += part;
    return text;
}

std::string endpointText(const Endpoint &endpoint) {
    return joined({addressText(endpoint.address), ":", number(endpoint.port)});
}

std::string quoted(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string word;
    for (const char character : bytes) {
        const auto code = static_cast<unsigned char>(character);
        const bool isPlain = (code >= '0' && code <= '9') || (code >= 'a' && code <= 'z') ||
                             (code >= 'A' && code <= 'Z') || code == '_' || code == '.' || code == '/';
        if (isPlain)
            word += character;
        else
            word += {'\\', 'x', kDigits[code >> 4], kDigits[code & 15]};
    }
    return word;
}

std::vector<std::string> networksIn(const Address &first, const Address &last) {
    const auto valueOf = [](const Address &address) {
        uint64_t value = 0;
        for (int index = 0; index < 4; ++index)
            value = value << 8 | address.bytes[static_cast<std::size_t>(index)];
        return value;
    };
    std::vector<std::string> networks;
    const uint64_t end = valueOf(last) + 1;
    for (uint64_t begin = valueOf(first); begin < end;) {
        int bits = 32; // the largest network that begins here and ends in the range
        while (bits > 0) {
            const uint64_t size = uint64_t{1} << (33 - bits);
            if (begin % size != 0 || begin + size > end)
                break;
            --bits;
        }
        Address network{AddressFamily::ipv4, {}};
        for (std::size_t index = 0; index < 4; ++index)
            network.bytes[index] = static_cast<uint8_t>(begin >> (8 * (3 - index)));
        networks.push_back(joined({addressText(network), "/", std::to_string(bits)}));
        begin += uint64_t{1} << (32 - bits);
    }
    return networks;
}

bool isCookieName(std::string_view text) {
    return std::all_of(text.begin(), text.end(), isTokenCharacter);
}

bool isCookieValue(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char character) {
        return character > ' ' && character < '\x7f' && std::strchr("\",;\\", character) == nullptr;
    });
}

} // namespace rk
