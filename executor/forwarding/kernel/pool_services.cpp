#include "executor/forwarding/kernel/pool_services.h"

#include "executor/forwarding/kernel/hashed_services.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <cstring>
#include <linux/ip_vs.h>

namespace rk {

namespace {

constexpr int kBoundWeight = 1; // any: there is one server
constexpr std::string_view kGroup = " group ";
constexpr std::string_view kFinishing = " finishing ";

std::string portText(const PoolId &pool) {
    return (pool.transport == Transport::tcp ? "tcp " : "udp ") + dottedText(pool.port.address);
}

// Any bytes as letters and digits.
std::string hexText(const std::string &bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[static_cast<unsigned char>(byte) & 15];
    }
    return text;
}

// The pool of the port that the group of `pool` crosses to, or null.
const Pool *groupLeader(const Plan &plan, const Pool &pool) {
    PoolId id = pool.id;
    id.port.port = pool.settings.group;
    return findPool(plan, id);
}

bool isUnmapped(const Pool &pool) {
    return std::ranges::all_of(pool.keyOfEndpoint, [&pool](const auto &endpoint) {
        return endpoint.first.port == 0 || endpoint.first.port == pool.id.port.port;
    });
}

// Both are unmapped: in either there is one server an address, in order of it.
bool haveSameServers(const Pool &pool, const Pool &other) {
    return std::ranges::equal(pool.keyOfEndpoint, other.keyOfEndpoint, [](const auto &one, const auto &another) {
        return one.first.address == another.first.address;
    });
}

// The numbers behind the mark in the name of a group that finishes.
std::set<uint16_t> portsIn(std::string_view name) {
    std::set<uint16_t> ports;
    const std::size_t finishing = std::min(name.find(kFinishing), name.size());
    std::size_t blank = name.find(' ', std::min(finishing + kFinishing.size(), name.size()));
    for (; blank != std::string_view::npos; blank = name.find(' ', blank + 1)) {
        uint16_t port = 0;
        if (std::from_chars(name.begin() + blank + 1, name.end(), port).ec == std::errc())
            ports.insert(port);
    }
    return ports;
}

// The pools that are balanced together with `leader`, itself included.
std::vector<const Pool *> poolsSharingWith(const Plan &plan, const Pool &leader) {
    std::vector<const Pool *> sharing;
    PoolId first = leader.id;
    first.port.port = 0;
    for (auto row = plan.pools.lower_bound(first);
         row != plan.pools.end() && row->first.port.address == leader.id.port.address; ++row)
        if (row->first.transport == leader.id.transport && row->second.settings.group == leader.settings.group &&
            isSharingGroup(plan, row->second))
            sharing.push_back(&row->second);
    return sharing;
}

// A server that takes nothing at one port of a group takes nothing at the others: a client would be sent to it there.
void quietServers(IpvsServers &servers, const Pool &pool, bool isHashed) {
    for (const auto &[key, server] : pool.servers) {
        if (takesConnections(server))
            continue;
        IpvsServerSettings &settings = servers[serverKeyOf(server, true)];
        if (isHashed && settings.weight != 0)
            settings.tableWeight = settings.weight;
        settings.weight = 0;
    }
}

} // namespace

uint32_t wordOf(const Address &address) {
    uint32_t word = 0;
    if (address.family == AddressFamily::ipv4)
        std::memcpy(&word, address.bytes.data(), sizeof word);
    return word;
}

Address addressOf(uint32_t word) {
    Address address;
    address.family = AddressFamily::ipv4;
    std::memcpy(address.bytes.data(), &word, sizeof word);
    return address;
}

std::string dottedText(const Address &address) {
    const uint32_t word = wordOf(address);
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &word, text, sizeof text);
    return text;
}

uint16_t transportNumber(Transport transport) {
    return transport == Transport::tcp ? IPPROTO_TCP : IPPROTO_UDP;
}

std::string nameOf(const PoolId &pool) {
    const std::string name = portText(pool) + ":" + std::to_string(pool.port.port);
    return pool.rule ? name + " rule " + hexText(*pool.rule) : name;
}

std::string groupNameOf(const PoolId &pool, uint16_t group) {
    return portText(pool) + std::string(kGroup) + std::to_string(group);
}

std::string boundNameOf(const PoolId &pool, uint32_t serverKey) {
    char text[32] = "";
    std::snprintf(text, sizeof text, " server %08X", serverKey);
    return nameOf(pool) + text;
}

std::string finishingNameOf(const std::string &name, uint32_t mark, const std::set<uint16_t> &ports) {
    std::string finishing = name + std::string(kFinishing) + std::to_string(mark);
    for (const uint16_t port : ports) {
        finishing += ' ';
        finishing += std::to_string(port);
    }
    return finishing;
}

bool isFinishingName(std::string_view name) {
    return name.find(kFinishing) != std::string_view::npos;
}

std::optional<NamedPools> poolsNamed(std::string_view name) {
    const std::size_t blank = std::min(name.find(' '), name.size());
    const std::string_view transport = name.substr(0, blank);
    const std::string_view place = name.substr(std::min(blank + 1, name.size()));
    const std::size_t dottedLength = std::min(place.find_first_of(": "), place.size());
    const std::string dotted(place.substr(0, dottedLength));
    const std::string_view behind = place.substr(dottedLength);
    NamedPools pools;
    pools.transport = transport == "udp" ? Transport::udp : Transport::tcp;
    pools.address.family = AddressFamily::ipv4;
    if ((transport != "tcp" && transport != "udp") ||
        inet_pton(AF_INET, dotted.c_str(), pools.address.bytes.data()) != 1)
        return std::nullopt;
    pools.isGroup = behind.starts_with(kGroup);
    const std::string_view number =
        behind.substr(pools.isGroup ? kGroup.size() : std::min<std::size_t>(1, behind.size()));
    if ((!pools.isGroup && !behind.starts_with(":")) ||
        std::from_chars(number.begin(), number.end(), pools.port).ec != std::errc())
        return std::nullopt;
    if (pools.isGroup)
        pools.ports = portsIn(behind);
    return pools;
}

IpvsServiceKey markService(uint32_t mark) {
    IpvsServiceKey key;
    key.mark = mark;
    return key;
}

const Pool *findPool(const Plan &plan, const PoolId &id) {
    const auto found = plan.pools.find(id);
    return found == plan.pools.end() ? nullptr : &found->second;
}

const uint32_t *serverKeyAt(const Pool &pool, const Endpoint &server) {
    for (const uint16_t port : {server.port, pool.id.port.port}) {
        const auto found = pool.keyOfEndpoint.find({server.address, port});
        if (found != pool.keyOfEndpoint.end())
            return &found->second;
    }
    return nullptr;
}

bool isSharingGroup(const Plan &plan, const Pool &pool) {
    if (pool.settings.group == 0 || pool.id.rule || pool.id.port.port == 0 || !isUnmapped(pool))
        return false;
    const Pool *leader = groupLeader(plan, pool);
    return leader != nullptr && isUnmapped(*leader) && haveSameServers(pool, *leader);
}

const Pool &leaderOf(const Plan &plan, const Pool &pool) {
    const Pool *leader = isSharingGroup(plan, pool) ? groupLeader(plan, pool) : nullptr;
    return leader == nullptr ? pool : *leader;
}

IpvsServiceKey serviceOf(const Plan &plan, const Pool &pool, MarkNumbers &marks) {
    if (isSharingGroup(plan, pool))
        return markService(markFor(marks, groupNameOf(pool.id, pool.settings.group)));
    if (pool.id.rule || pool.id.port.port == 0)
        return markService(markFor(marks, nameOf(pool.id)));
    IpvsServiceKey key;
    key.transport = transportNumber(pool.id.transport);
    key.address = wordOf(pool.id.port.address);
    key.port = pool.id.port.port;
    return key;
}

PoolId poolAt(const IpvsServiceKey &key) {
    const Transport transport = key.transport == transportNumber(Transport::udp) ? Transport::udp : Transport::tcp;
    return {{addressOf(key.address), key.port}, transport, std::nullopt};
}

IpvsServiceKey boundServiceOf(const Pool &pool, uint32_t serverKey, MarkNumbers &marks) {
    return markService(markFor(marks, boundNameOf(pool.id, serverKey)));
}

IpvsServiceSettings serviceSettings(const PoolSettings &settings, const std::string &scheduler) {
    IpvsServiceSettings service;
    service.scheduler = scheduler;
    if (scheduler == "sh" || scheduler == "mh") // else clients of a server that takes nothing get no other one
        service.flags |= IP_VS_SVC_F_SCHED_SH_FALLBACK;
    // All connections of a client that sticks are to have the same server, also by other directors.
    if (isHashed(scheduler) && settings.stickyTime == 0)
        service.flags |= kHashesPort;
    if (settings.stickyTime > 0) {
        service.flags |= IP_VS_SVC_F_PERSISTENT;
        service.stickySeconds = std::min(settings.stickyTime, kLongestKernelTime);
        service.clientMask = settings.stickyBits == 0 ? 0 : ~uint32_t{0} << (32 - settings.stickyBits);
    }
    return service;
}

IpvsServerKey serverKeyOf(const PoolServer &server, bool isSharing) {
    return {wordOf(server.endpoint.address), isSharing ? uint16_t{0} : server.endpoint.port};
}

IpvsServerSettings serverSettings(const PoolSettings &settings, const PoolServer &server,
                                  const std::string &scheduler) {
    IpvsServerSettings result;
    result.weight = server.weight;
    if (isHashed(scheduler) && server.weight == 0)
        result.tableWeight = server.fullWeight;
    if (settings.method == Method::linkLevel)
        result.method = server.router.family == AddressFamily::none ? IpvsMethod::linkLevel : IpvsMethod::tunnel;
    return result;
}

IpvsServers serversOf(const Plan &plan, const Pool &pool, const std::string &scheduler) {
    IpvsServers servers;
    const bool isSharing = isSharingGroup(plan, pool);
    for (const auto &[key, server] : pool.servers)
        servers.emplace(serverKeyOf(server, isSharing), serverSettings(pool.settings, server, scheduler));
    if (isSharing)
        for (const Pool *member : poolsSharingWith(plan, pool))
            quietServers(servers, *member, isHashed(scheduler));
    return servers;
}

std::set<uint32_t> boundServersOf(const Plan &plan, const Pool &pool) {
    std::set<uint32_t> keys;
    const auto port = plan.ports.find(pool.id.port);
    if (pool.id.rule || port == plan.ports.end())
        return keys;
    for (const auto &[address, client] : port->second.clients) {
        const auto server = pool.servers.find(client.serverKey);
        if (server != pool.servers.end() && takesConnections(server->second))
            keys.insert(client.serverKey);
    }
    return keys;
}

IpvsTable servicesOf(const Plan &plan, const std::string &scheduler, MarkNumbers &marks) {
    IpvsTable table;
    for (const auto &[id, pool] : plan.pools) {
        if (&leaderOf(plan, pool) == &pool)
            table[serviceOf(plan, pool, marks)] = {serviceSettings(pool.settings, scheduler),
                                                   serversOf(plan, pool, scheduler)};
        for (const uint32_t key : boundServersOf(plan, pool)) {
            const PoolServer &server = pool.servers.at(key);
            IpvsServerSettings settings = serverSettings(pool.settings, server, scheduler);
            settings.weight = kBoundWeight;
            IpvsServiceState &state = table[boundServiceOf(pool, key, marks)];
            state.settings = serviceSettings(PoolSettings{}, scheduler);
            state.servers.emplace(serverKeyOf(server, false), settings);
        }
    }
    return table;
}

} // namespace rk
