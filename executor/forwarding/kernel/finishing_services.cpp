// Services that no new connection comes to any more, as the port's connections are balanced elsewhere now: by a group,
// by other marks, or by the address again. A connection ends with its service, so they stay, with the servers that the
// port has still, until their last connection is over. Those without one stay until two looks have found none: a packet
// that was marked just before the change may be about to begin one.
#include "executor/forwarding/kernel/kernel_state.h"
#include "executor/forwarding/kernel/pool_services.h"

#include <algorithm>

namespace rk {

namespace {

std::string_view nameOfMark(const KernelEngine &engine, uint32_t mark) {
    const auto found = engine.journalled.marks.nameOf.find(mark);
    return found == engine.journalled.marks.nameOf.end() ? std::string_view() : found->second;
}

std::optional<NamedPools> poolsOf(const KernelEngine &engine, const IpvsServiceKey &key) {
    if (key.mark != 0)
        return poolsNamed(nameOfMark(engine, key.mark));
    const PoolId id = poolAt(key);
    return NamedPools{id.transport, id.port.address, id.port.port, false, {}};
}

void appendPool(const Plan &plan, const PoolId &id, std::vector<const Pool *> &pools) {
    if (const Pool *pool = findPool(plan, id))
        pools.push_back(pool);
}

// The ports' own pools that go on with the connections of a service, if they have its servers. Of a group these are its
// ports, that which they cross to first. When an earlier run did not tell its ports, all of the address count.
std::vector<const Pool *> heirsOf(const KernelEngine &engine, const Plan &plan, const IpvsServiceKey &key) {
    std::vector<const Pool *> heirs;
    const std::optional<NamedPools> named = poolsOf(engine, key);
    if (!named)
        return heirs;
    appendPool(plan, {{named->address, named->port}, named->transport, std::nullopt}, heirs);
    if (!named->isGroup)
        return heirs;
    const auto known = engine.portsOfGroup.find(key.mark);
    const std::set<uint16_t> &ports = known == engine.portsOfGroup.end() ? named->ports : known->second;
    for (auto row = plan.ports.lower_bound({named->address, 0});
         row != plan.ports.end() && row->first.address == named->address; ++row)
        if (row->first.port != named->port && (ports.empty() || ports.contains(row->first.port)))
            appendPool(plan, {row->first, named->transport, std::nullopt}, heirs);
    return heirs;
}

// Servers of marks may have no port: then any server of the address is meant.
bool hasServer(const Pool &pool, const IpvsServerKey &key) {
    const Endpoint endpoint{addressOf(key.address), key.port};
    const auto found = pool.keyOfEndpoint.lower_bound(endpoint);
    return found != pool.keyOfEndpoint.end() && found->first.address == endpoint.address &&
           (key.port == 0 || found->first.port == key.port);
}

bool isIdle(const KernelEngine &engine, const IpvsServiceKey &key) {
    std::vector<IpvsServer> servers;
    return listServers(engine.ipvs, key, servers) == 0 && std::ranges::all_of(servers, [](const IpvsServer &server) {
               return server.active == 0 && server.inactive == 0;
           });
}

} // namespace

Finish finishOf(const KernelEngine &engine, const Plan &plan, const IpvsServiceKey &key) {
    Finish finish;
    const IpvsServers &servers = engine.applied.at(key).servers;
    for (const Pool *heir : heirsOf(engine, plan, key)) {
        for (const auto &[server, settings] : servers) {
            if (!hasServer(*heir, server))
                continue;
            finish.servers.emplace(server, settings);
            if (!finish.heir)
                finish.heir = heir->id;
        }
    }
    return finish;
}

Difference differenceTo(KernelEngine &engine, const Plan &plan) {
    Difference difference;
    IpvsTable wanted = servicesOf(plan, engine.options.scheduler, engine.journalled.marks);
    for (const auto &[key, state] : engine.applied) {
        if (engine.isAdopting || wanted.contains(key))
            continue;
        Finish finish = finishOf(engine, plan, key);
        if (!finish.heir)
            continue;
        difference.finishing.emplace(key, *finish.heir);
        wanted[key] = {state.settings, std::move(finish.servers)};
    }
    difference.changes = differenceOf(engine.applied, wanted, engine.isAdopting);
    return difference;
}

bool isDeclaredAgain(KernelEngine &engine, const Plan &plan) {
    IpvsTable wanted = servicesOf(plan, engine.options.scheduler, engine.journalled.marks);
    for (const auto &[key, state] : engine.applied) {
        if (wanted.contains(key))
            continue;
        // A port that is declared has a service of its own or crosses.
        const bool isFinishing =
            key.mark == 0 ? plan.pools.contains(poolAt(key)) : isFinishingName(nameOfMark(engine, key.mark));
        if (!isFinishing)
            return false;
        wanted[key] = state;
    }
    const IpvsChanges changes = differenceOf(engine.applied, wanted, false);
    return changes.before.empty() && changes.after.empty();
}

void nameFinishing(KernelEngine &engine) {
    MarkNumbers &marks = engine.journalled.marks;
    std::string lines;
    for (const auto &[key, heir] : engine.finishing) {
        const std::string name(nameOfMark(engine, key.mark));
        if (key.mark == 0 || isFinishingName(name))
            continue;
        const auto ports = engine.portsOfGroup.find(key.mark);
        const std::string newName =
            finishingNameOf(name, key.mark, ports == engine.portsOfGroup.end() ? std::set<uint16_t>{} : ports->second);
        releaseMark(marks, key.mark);
        keepMark(marks, newName, key.mark);
        lines += markNameLine(key.mark, newName);
    }
    appendToJournal(engine.journal, lines); // else the next run waits for what is no more
}

IpvsChanges removalsOfIdle(KernelEngine &engine) {
    IpvsChanges changes;
    std::set<IpvsServiceKey> idle;
    for (const auto &[key, heir] : engine.finishing) {
        if (!isIdle(engine, key))
            continue;
        idle.insert(key);
        if (engine.idle.contains(key))
            dropService(changes, engine.applied, key);
    }
    engine.idle = std::move(idle);
    return changes;
}

} // namespace rk
