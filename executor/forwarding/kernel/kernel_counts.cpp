// The kernel's counters, and whose they are.
#include "executor/forwarding/kernel/connection_table.h"
#include "executor/forwarding/kernel/kernel_state.h"
#include "executor/forwarding/kernel/pool_services.h"

namespace rk {

namespace {

constexpr std::size_t kFewServices = 4; // asking for each of them costs less than a list of all

Totals totalsOf(const IpvsCounters &counters) {
    Totals totals;
    totals.connections = counters.connections;
    totals.packetsIn = counters.inPackets;
    totals.packetsOut = counters.outPackets;
    totals.bytesIn = counters.inBytes;
    totals.bytesOut = counters.outBytes;
    return totals;
}

void add(Totals &sum, const Totals &more) {
    sum.connections += more.connections;
    sum.packetsIn += more.packetsIn;
    sum.packetsOut += more.packetsOut;
    sum.bytesIn += more.bytesIn;
    sum.bytesOut += more.bytesOut;
}

// What was counted from the start on.
Totals countedOf(const CountedTotals &counted) {
    const Totals start = totalsOf(counted.start);
    Totals totals = totalsOf(counted.last);
    if (totals.connections < start.connections || totals.packetsIn < start.packetsIn) // others have begun at 0
        return totals;
    totals.connections -= start.connections;
    totals.packetsIn -= start.packetsIn;
    totals.packetsOut -= start.packetsOut;
    totals.bytesIn -= start.bytesIn;
    totals.bytesOut -= start.bytesOut;
    return totals;
}

void addRates(Counts &counts, const IpvsCounters &counters) {
    counts.connectionsPerSecond += counters.connectionsPerSecond;
    counts.bytesPerSecond += counters.inBytesPerSecond + counters.outBytesPerSecond;
}

// The plan's key of a server of a service; 0 when the plan does not have it.
uint32_t keyIn(const Plan &plan, const PoolId &id, const IpvsServerKey &server) {
    const Pool *pool = findPool(plan, id);
    const uint32_t *key = pool == nullptr ? nullptr : serverKeyAt(*pool, {addressOf(server.address), server.port});
    return key == nullptr ? 0 : *key;
}

PoolId poolOf(const KernelEngine &engine, const IpvsServiceKey &key) {
    if (const auto finishing = engine.finishing.find(key); finishing != engine.finishing.end())
        return finishing->second;
    if (key.mark == 0)
        return poolAt(key);
    const auto found = engine.poolOfMark.find(key.mark);
    return found == engine.poolOfMark.end() ? PoolId{} : found->second;
}

CountedService &beginService(KernelEngine &engine, const IpvsServiceKey &key) {
    CountedService &service = engine.counted[key];
    service.pool = poolOf(engine, key);
    engine.servicesOfPool[service.pool].insert(key);
    return service;
}

void endServer(const CountedService &service, const CountedServer &server, std::vector<EndedCounts> &ended) {
    ended.push_back({service.pool, server.key, countedOf(server.totals)});
}

void endService(KernelEngine &engine, const IpvsServiceKey &key, std::vector<EndedCounts> &ended) {
    const auto found = engine.counted.find(key);
    if (found == engine.counted.end())
        return;
    const CountedService &service = found->second;
    for (const auto &[server, counted] : service.servers) {
        endServer(service, counted, ended);
        engine.formerServers.insert(server.address);
    }
    ended.push_back({service.pool, std::nullopt, countedOf(service.totals)});
    const auto services = engine.servicesOfPool.find(service.pool);
    if (services != engine.servicesOfPool.end()) {
        services->second.erase(key);
        if (services->second.empty())
            engine.servicesOfPool.erase(services);
    }
    engine.counted.erase(found);
}

// Servers whose counters are to be read as they begin. The kernel keeps a server that is removed as long as connections
// know it, and goes on counting where it was when it gets the server again.
using Resumed = std::map<IpvsServiceKey, std::vector<IpvsServerKey>>;

void beginServer(KernelEngine &engine, const Plan &plan, const IpvsChange &change, Resumed &resumed) {
    CountedService &service = engine.counted[change.service];
    service.servers[change.server].key = keyIn(plan, service.pool, change.server);
    if (engine.formerServers.contains(change.server.address))
        resumed[change.service].push_back(change.server);
}

void readResumed(KernelEngine &engine, const Resumed &resumed) {
    for (const auto &[key, servers] : resumed) {
        const auto service = engine.counted.find(key);
        if (service == engine.counted.end())
            continue;
        service->second.readAt = 0;
        if (!readCounts(engine, key))
            continue;
        for (const IpvsServerKey &server : servers) {
            const auto counted = service->second.servers.find(server);
            if (counted != service->second.servers.end())
                counted->second.totals.start = counted->second.totals.last;
        }
    }
}

void endRemovedServer(KernelEngine &engine, const IpvsChange &change, std::vector<EndedCounts> &ended) {
    CountedService &service = engine.counted[change.service];
    const auto server = service.servers.find(change.server);
    if (server == service.servers.end())
        return;
    endServer(service, server->second, ended);
    engine.formerServers.insert(change.server.address);
    service.servers.erase(server);
}

const std::set<IpvsServiceKey> &servicesFor(const KernelEngine &engine, const PoolId &id) {
    static const std::set<IpvsServiceKey> none;
    const auto found = engine.servicesOfPool.find(id);
    return found == engine.servicesOfPool.end() ? none : found->second;
}

// The services of `keys` that the kernel has.
std::vector<IpvsService> readServices(const KernelEngine &engine, const std::set<IpvsServiceKey> &keys) {
    std::vector<IpvsService> services;
    if (keys.size() > kFewServices) {
        listServices(engine.ipvs, services);
        return services;
    }
    for (const IpvsServiceKey &key : keys) {
        IpvsService service;
        if (readService(engine.ipvs, key, service) == 0)
            services.push_back(std::move(service));
    }
    return services;
}

} // namespace

bool readCounts(KernelEngine &engine, const IpvsServiceKey &key) {
    const auto found = engine.counted.find(key);
    if (found == engine.counted.end())
        return false;
    CountedService &counted = found->second;
    if (counted.readAt == steadySeconds())
        return true;
    IpvsService service;
    std::vector<IpvsServer> servers;
    if (readService(engine.ipvs, key, service) != 0 || listServers(engine.ipvs, key, servers) != 0)
        return false;
    counted.totals.last = service.counters;
    for (const IpvsServer &server : servers) {
        const auto known = counted.servers.find(server.key);
        if (known == counted.servers.end())
            continue;
        known->second.totals.last = server.counters;
        known->second.active = server.active;
        known->second.inactive = server.inactive;
    }
    counted.readAt = steadySeconds();
    return true;
}

void readLastCounts(KernelEngine &engine, const std::set<IpvsServiceKey> &keys) {
    for (const IpvsService &service : readServices(engine, keys)) {
        const auto counted = engine.counted.find(service.key);
        if (!keys.contains(service.key) || counted == engine.counted.end())
            continue;
        if (totalsOf(service.counters) == totalsOf(counted->second.totals.last))
            continue; // so those of its servers have not moved either
        counted->second.readAt = 0;
        readCounts(engine, service.key);
    }
}

void ownMarks(KernelEngine &engine, const Plan &plan, const Pool &pool) {
    const IpvsServiceKey own = serviceOf(plan, pool, engine.journalled.marks);
    if (own.mark != 0)
        engine.poolOfMark[own.mark] = leaderOf(plan, pool).id;
    if (isSharingGroup(plan, pool))
        engine.portsOfGroup[own.mark].insert(pool.id.port.port);
    for (const uint32_t server : boundServersOf(plan, pool))
        engine.poolOfMark[boundServiceOf(pool, server, engine.journalled.marks).mark] = pool.id;
}

void followCounts(KernelEngine &engine, const Plan &plan, const std::vector<IpvsChange> &done,
                  std::vector<EndedCounts> &ended) {
    Resumed resumed;
    for (const IpvsChange &change : done) {
        if (change.what == IpvsOrder::change)
            continue;
        if (change.what == IpvsOrder::add && change.isServer)
            beginServer(engine, plan, change, resumed);
        else if (change.what == IpvsOrder::add)
            beginService(engine, change.service);
        else if (change.isServer)
            endRemovedServer(engine, change, ended);
        else
            endService(engine, change.service, ended);
    }
    readResumed(engine, resumed);
}

void handOverCounts(KernelEngine &engine, const Plan &plan, const IpvsServiceKey &key,
                    std::vector<EndedCounts> &ended) {
    const auto counted = engine.counted.find(key);
    const bool isCounted = counted != engine.counted.end();
    if (isCounted && counted->second.pool == poolOf(engine, key))
        return;
    CountedService before;
    if (isCounted)
        before = counted->second;
    endService(engine, key, ended);
    CountedService &service = beginService(engine, key);
    for (const auto &[server, settings] : engine.applied.at(key).servers)
        service.servers[server] = before.servers[server];
    service.totals = before.totals;
    service.readAt = before.readAt;
    if (!isCounted) // of the run before
        readCounts(engine, key);
    service.totals.start = service.totals.last;
    for (auto &[server, ofServer] : service.servers) {
        ofServer.key = keyIn(plan, service.pool, server);
        ofServer.totals.start = ofServer.totals.last;
    }
}

void endLost(KernelEngine &engine, std::vector<EndedCounts> &ended) {
    std::vector<IpvsServiceKey> lost;
    for (auto &item : engine.counted) { // no binding: a lambda cannot hold one
        const IpvsServiceKey &key = item.first;
        auto &service = item.second;
        const auto row = engine.applied.find(key);
        if (row == engine.applied.end()) {
            lost.push_back(key);
            continue;
        }
        std::erase_if(service.servers, [&](const auto &server) {
            const bool isLost = !row->second.servers.contains(server.first);
            if (isLost) {
                endServer(service, server.second, ended);
                engine.formerServers.insert(server.first.address);
            }
            return isLost;
        });
    }
    for (const IpvsServiceKey &key : lost)
        endService(engine, key, ended);
}

void countAdopted(KernelEngine &engine, const Plan &plan) {
    for (const auto &[key, state] : engine.applied) {
        const PoolId id = poolOf(engine, key);
        if (!plan.pools.contains(id))
            continue;
        CountedService &service = beginService(engine, key);
        for (const auto &[server, settings] : state.servers) {
            CountedServer &counted = service.servers[server];
            if (counted.key == 0)
                counted.key = keyIn(plan, id, server);
        }
    }
}

bool readPoolCounts(KernelEngine &engine, const Pool &pool, Counts &counts) {
    counts = Counts{};
    for (const IpvsServiceKey &key : servicesFor(engine, pool.id)) {
        if (!readCounts(engine, key))
            return false;
        const CountedService &service = engine.counted.at(key);
        add(counts.totals, countedOf(service.totals));
        addRates(counts, service.totals.last);
        for (const auto &[server, counted] : service.servers) {
            counts.active += counted.active;
            counts.finished += counted.inactive;
        }
    }
    return true;
}

bool readServerCounts(KernelEngine &engine, const Pool &pool, const PoolServer &server, Counts &counts) {
    counts = Counts{};
    for (const IpvsServiceKey &key : servicesFor(engine, pool.id)) {
        if (!readCounts(engine, key))
            return false;
        const CountedService &service = engine.counted.at(key);
        for (const bool isSharing : {false, true}) {
            const auto counted = service.servers.find(serverKeyOf(server, isSharing));
            if (counted == service.servers.end())
                continue;
            add(counts.totals, countedOf(counted->second.totals));
            addRates(counts, counted->second.totals.last);
            counts.active += counted->second.active;
            counts.finished += counted->second.inactive;
            break;
        }
    }
    return true;
}

bool readAllCounts(KernelEngine &engine, Counts &counts) {
    counts = Counts{};
    std::vector<IpvsService> services;
    if (listServices(engine.ipvs, services) != 0)
        return false;
    for (const IpvsService &service : services) {
        const auto found = engine.counted.find(service.key);
        if (found == engine.counted.end())
            continue;
        add(counts.totals, countedOf({found->second.totals.start, service.counters}));
        addRates(counts, service.counters);
    }
    return true;
}

} // namespace rk
