// Services that no new connection comes to any more, as the port's connections are balanced elsewhere now: by a group,
// by other marks, or by the address again. A connection ends with its service, so they stay, with the servers that the
// port has still, until their last connection is over.
#include "executor/forwarding/kernel/kernel_state.h"
#include "executor/forwarding/kernel/pool_services.h"

#include <algorithm>

namespace rk {

namespace {

// The ports' own pools that go on with the connections of a service, if they have its servers.
std::vector<const Pool *> heirsOf(const KernelEngine &engine, const Plan &plan, const IpvsServiceKey &key) {
    std::optional<NamedPools> named;
    if (key.mark == 0) {
        const PoolId id = poolAt(key);
        named = NamedPools{id.transport, id.port.address, id.port.port};
    } else if (const auto name = engine.journalled.marks.nameOf.find(key.mark);
               name != engine.journalled.marks.nameOf.end()) {
        named = poolsNamed(name->second);
    }
    std::vector<const Pool *> heirs;
    if (!named)
        return heirs;
    const PoolId first{{named->address, named->port.value_or(0)}, named->transport, std::nullopt};
    for (auto row = plan.pools.lower_bound(first); row != plan.pools.end() && row->first.port.address == named->address;
         ++row) {
        if (named->port && row->first.port.port != *named->port)
            break;
        if (!row->first.rule && row->first.transport == named->transport)
            heirs.push_back(&row->second);
    }
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

Difference differenceTo(KernelEngine &engine, const Plan &plan, bool isKeepingSurplus) {
    Difference difference;
    IpvsTable wanted = servicesOf(plan, engine.options.scheduler, engine.journalled.marks);
    if (isKeepingSurplus) {
        difference.finishing = engine.finishing;
        std::erase_if(difference.finishing, [&](const auto &service) { return wanted.contains(service.first); });
        difference.changes = differenceOf(engine.applied, wanted, true);
        return difference;
    }
    for (const auto &[key, state] : engine.applied) {
        if (wanted.contains(key))
            continue;
        Finish finish = finishOf(engine, plan, key);
        if (!finish.heir)
            continue;
        difference.finishing.emplace(key, *finish.heir);
        wanted[key] = {state.settings, std::move(finish.servers)};
    }
    difference.changes = differenceOf(engine.applied, wanted, false);
    return difference;
}

std::vector<IpvsChange> dropIdle(const KernelEngine &engine, const FinishingServices &finishing) {
    IpvsChanges changes;
    for (const auto &[key, heir] : finishing)
        if (isIdle(engine, key))
            dropService(changes, engine.applied, key);
    return changes.after;
}

} // namespace rk
