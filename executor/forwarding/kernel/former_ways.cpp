// Servers that were reached another way before link level. For each server the kernel remembers a route for its
// packets, and packets of an older connection remember theirs there too: without the server's own address as the next
// step, which link level needs. New connections then ask the network for the cluster's address, and end. Every message
// about a server has the kernel forget the route.
#include "executor/forwarding/kernel/kernel_state.h"

namespace rk {

namespace {

void keepWay(KernelEngine &engine, const IpvsServiceKey &service, const IpvsServerKey &server,
             const IpvsServerSettings &settings) {
    if (settings.method != IpvsMethod::linkLevel)
        engine.formerWays[{service, server}] = steadySeconds() + engine.timeouts.established;
}

} // namespace

void keepFormerWays(KernelEngine &engine, const std::vector<IpvsChange> &done) {
    for (const IpvsChange &change : done) {
        if (change.isServer && change.what != IpvsOrder::add)
            keepWay(engine, change.service, change.server, change.serverBefore);
        for (const auto &[server, settings] : change.serversBefore)
            keepWay(engine, change.service, server, settings);
    }
}

void renewRoutes(KernelEngine &engine) {
    const int64_t now = steadySeconds();
    std::erase_if(engine.formerWays, [now](const auto &former) { return former.second < now; });
    for (const auto &[at, until] : engine.formerWays) {
        const auto service = engine.applied.find(at.first);
        if (service == engine.applied.end())
            continue;
        const auto server = service->second.servers.find(at.second);
        if (server != service->second.servers.end() && server->second.method == IpvsMethod::linkLevel)
            orderServer(engine.ipvs, IpvsOrder::change, at.first, at.second, server->second); // else relist tells
    }
}

} // namespace rk
