// Ports and clients that have too many half-open connections. The kernel cannot limit them by itself: they are counted
// here, in the table of connections, and the packet filter is told.
#include "executor/forwarding/kernel/half_open_rules.h"
#include "executor/forwarding/kernel/kernel_state.h"
#include "executor/state/values.h"

#include <ctime>

namespace rk {

namespace {

constexpr int64_t kMilliseconds = 1000;
constexpr int64_t kShareOfTime = 20; // counting takes at most one part in so many of the time

int64_t steadyMilliseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kMilliseconds + now.tv_nsec / 1'000'000;
}

struct HalfOpen {
    std::map<PortId, uint32_t> ofPort; // as clients see it
    std::map<ClientAtPort, uint32_t> ofClient;
};

bool countHalfOpen(const KernelEngine &engine, const Plan &plan, HalfOpen &halfOpen) {
    std::vector<LiveConnection> connections;
    if (!listKernelConnections(engine, plan, nullptr, connections))
        return false;
    for (const LiveConnection &connection : connections) {
        if (connection.transport != Transport::tcp || connection.tcpState != kTcpSynReceived)
            continue;
        ++halfOpen.ofPort[connection.port];
        ++halfOpen.ofClient[{connection.client.address, connection.port}];
    }
    return true;
}

// The limit of a port, as clients see it; 0 when it has none.
uint32_t limitOf(const Plan &plan, const PortId &port) {
    auto pool = plan.pools.find({port, Transport::tcp, std::nullopt});
    if (pool == plan.pools.end())
        pool = plan.pools.find({{port.address, 0}, Transport::tcp, std::nullopt});
    return pool == plan.pools.end() ? 0 : pool->second.settings.maxHalfOpen;
}

bool isReached(uint32_t count, uint32_t limit) {
    return limit > 0 && count >= limit;
}

// What becomes of the sets.
struct Shutting {
    std::set<PortId> ports;
    std::set<PortId> portsAgain; // long ago, and to be kept
    std::set<PortId> portsToOpen;
    std::set<ClientAtPort> clients;
};

Shutting shuttingFor(const KernelEngine &engine, const Plan &plan, const HalfOpen &halfOpen, int64_t now) {
    Shutting shutting;
    for (const auto &[port, count] : halfOpen.ofPort) {
        if (!isReached(count, limitOf(plan, port)))
            continue;
        const auto shut = engine.shutPorts.find(port);
        if (shut == engine.shutPorts.end())
            shutting.ports.insert(port);
        else if (now >= shut->second + kShutSeconds / 2)
            shutting.portsAgain.insert(port);
    }
    for (const auto &[port, since] : engine.shutPorts) {
        const auto count = halfOpen.ofPort.find(port);
        if (count == halfOpen.ofPort.end() || !isReached(count->second, limitOf(plan, port)))
            shutting.portsToOpen.insert(port);
    }
    for (const auto &[client, count] : halfOpen.ofClient) {
        const auto shut = engine.shutClients.find(client);
        if (isReached(count, plan.settings.attackParameters[0]) &&
            (shut == engine.shutClients.end() || now >= shut->second + kShutSeconds))
            shutting.clients.insert(client);
    }
    return shutting;
}

void follow(KernelEngine &engine, const Shutting &shutting, int64_t now) {
    for (const PortId &port : shutting.portsToOpen)
        engine.shutPorts.erase(port);
    for (const std::set<PortId> *ports : {&shutting.ports, &shutting.portsAgain})
        for (const PortId &port : *ports)
            engine.shutPorts[port] = now;
    std::erase_if(engine.shutClients, [now](const auto &client) { return now >= client.second + kShutSeconds; });
    for (const ClientAtPort &client : shutting.clients)
        engine.shutClients[client] = now;
}

std::string wordsFor(const Shutting &shutting) {
    std::string words;
    if (!shutting.ports.empty())
        words = "ports that take no new connections while they have too many half-open ones: " +
                std::to_string(shutting.ports.size()) + " more";
    if (!shutting.clients.empty())
        words += std::string(words.empty() ? "" : "; ") + "attacking clients that get no new connections for " +
                 std::to_string(kShutSeconds) + " seconds: " + std::to_string(shutting.clients.size());
    return words;
}

} // namespace

void limitHalfOpen(KernelEngine &engine, const Plan &plan, std::string &words) {
    const int64_t began = steadyMilliseconds();
    // While the table of the run before is in force, it has no place for them.
    if (engine.isAdopting || began < engine.countHalfOpenAt || !limitsHalfOpen(plan))
        return;
    HalfOpen halfOpen;
    const bool isCounted = countHalfOpen(engine, plan, halfOpen);
    const int64_t ended = steadyMilliseconds();
    engine.countHalfOpenAt = ended + (ended - began) * kShareOfTime;
    if (!isCounted)
        return;
    const int64_t now = steadySeconds();
    const Shutting shutting = shuttingFor(engine, plan, halfOpen, now);
    const std::string commands = openPorts(shutting.portsToOpen) + shutPorts(shutting.ports) +
                                 shutPorts(shutting.portsAgain) + shutClientsOut(shutting.clients);
    if (commands.empty())
        return;
    std::string mistake;
    if (!runTransaction(engine.nftables, commands, mistake)) {
        words = "half-open connections cannot be limited: " + mistake;
        return;
    }
    follow(engine, shutting, now);
    words = wordsFor(shutting);
}

} // namespace rk
