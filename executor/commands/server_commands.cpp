// The servers of a port.
#include "executor/commands/commands.h"
#include "executor/state/settings.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <algorithm>

namespace rk {

namespace {

bool areListenersUsable(const ServerRecord &request) {
    if (request.numberOfListeners > kListenersPerServer)
        return false;
    return std::all_of(request.listeners, request.listeners + request.numberOfListeners,
                       [](const ListenerEntry &listener) {
                           return isTerminated(listener.keyRing) && isTerminated(listener.stashFile);
                       });
}

// The listener with zeros in its unused bytes and behind its texts.
ListenerEntry cleanListener(const ListenerEntry &request) {
    ListenerEntry listener{};
    listener.address = request.address;
    listener.mapPort = request.mapPort;
    listener.protocol = request.protocol;
    listener.connectTimeout = request.connectTimeout;
    listener.waitForComplete = request.waitForComplete;
    storeText(listener.keyRing, textIn(request.keyRing));
    storeText(listener.stashFile, textIn(request.stashFile));
    return listener;
}

// Brings what a request changes into `settings`; when there is a reason, the caller drops them.
int32_t changeSettings(const ServerRecord &request, int16_t weightBound, ServerRecord &settings) {
    if (isSet(request.setListeners) && !areListenersUsable(request))
        return kOutOfRange;
    if (!applySettings(kServerSettings, request.header, settings.header))
        return kOutOfRange;
    if (isSet(request.setListeners)) {
        for (int index = 0; index < kListenersPerServer; ++index)
            settings.listeners[index] =
                index < request.numberOfListeners ? cleanListener(request.listeners[index]) : ListenerEntry{};
    }
    if (isSet(request.setRouterAddress)) {
        settings.routerAddressPresent = 1;
        settings.remote = settings.routerAddress.word != 0 ? 1 : 0;
    }
    if (settings.weight < 0 || settings.weight > weightBound)
        return kWeight;
    if (settings.collocated != 0 && settings.routerAddress.word != 0)
        return kCollocatedRouter;
    return checkLimits(kServerSettings, settings.header);
}

ServerRecord newServerSettings(const Port &port, const ServerRecord &request) {
    ServerRecord settings{};
    storeText(settings.serverId, textIn(request.serverId));
    settings.serverKey = request.serverKey;
    settings.clusterKey = request.clusterKey;
    settings.port = request.port;
    settings.weight = std::min(kDefaultWeight, port.settings.weightBound);
    return settings;
}

// Releases the clients that are bound to a server, which is about to be removed.
void releaseClientsOf(Port &port, uint32_t serverKey) {
    auto &affinities = port.affinities;
    std::erase_if(affinities.inOrder, [serverKey](const auto &item) { return item.second->serverKey == serverKey; });
    std::erase_if(affinities.byKey, [serverKey](const auto &item) { return item.second.serverKey == serverKey; });
}

} // namespace

int32_t addServer(Executor &executor, Port &port, const ServerRecord &record) {
    if (findItem(port.servers, record.serverKey) != nullptr)
        return kServerExists;
    if (numberOf(port.servers) >= port.settings.maxServers)
        return kServerLimit;
    if (textIn(record.serverId).size() > kLongestIdentifier)
        return kOutOfRange;

    Server server;
    server.settings = newServerSettings(port, record);
    server.order = executor.nextOrder;
    const int32_t reason = changeSettings(record, port.settings.weightBound, server.settings);
    if (reason != 0)
        return reason;
    addItem(port.servers, record.serverKey, server.order, server);
    ++executor.nextOrder;
    return 0;
}

int32_t removeServer(Port &port, Server &server, const ServerRecord & /*record*/) {
    const uint32_t serverKey = server.settings.serverKey;
    for (auto &[name, rule] : port.rules.byKey) {
        if (const RuleMember *member = findItem(rule.members, serverKey); member != nullptr)
            removeItem(rule.members, serverKey, member->order);
    }
    releaseClientsOf(port, serverKey);
    removeItem(port.servers, serverKey, server.order);
    return 0;
}

int32_t markServerDown(Server &server, const ServerCommandRecord &record) {
    if (record.numberOfServers != 1)
        return kOutOfRange;
    server.savedWeight = weightWhenUp(server); // once more changes nothing
    server.settings.weight = 0;
    server.isDown = true;
    return 0;
}

int32_t markServerUp(Server &server, const ServerCommandRecord &record) {
    if (record.numberOfServers != 1)
        return kOutOfRange;
    server.settings.weight = weightWhenUp(server); // once more changes nothing
    server.savedWeight = 0;
    server.isDown = false;
    return 0;
}

void fillEntry(ServerListEntry &entry, const Server &server) {
    entry.serverKey = server.settings.serverKey;
    storeText(entry.serverId, textIn(server.settings.serverId));
}

int32_t listServers(const Port &port, ServerListBlock &block) {
    fillList<ServerListEntry>(block, port.servers);
    return 0;
}

int32_t readServerSettings(const Server &server, ServerRecord &record) {
    replyWith(server.settings, record);
    return 0;
}

int32_t writeServerSettings(const Port &port, Server &server, const ServerRecord &record) {
    Server changed = server;
    changed.settings.weight = weightWhenUp(changed);
    const int32_t reason = changeSettings(record, port.settings.weightBound, changed.settings);
    if (reason != 0)
        return reason;
    if (changed.isDown) {
        changed.savedWeight = changed.settings.weight;
        changed.settings.weight = 0;
    }
    server = changed;
    return 0;
}

int32_t readServerReport(const Cluster &cluster, const Port &port, const Server &server, const Traffic &traffic,
                         ServerReportRecord &record) {
    ServerCounts counts;
    if (!readCounts(traffic, cluster, port, server, counts))
        return kForwardingRefused;
    const Counts sum = sumOf(counts);
    const uint64_t open = sum.active + sum.finished;
    ServerReportRecord report{};
    report.clusterKey = record.clusterKey;
    report.port = record.port;
    report.serverKey = record.serverKey;
    report.totalConnections = inField(sum.totals.connections);
    report.totalTcpConnections = inField(counts.tcp.totals.connections);
    report.totalUdpConnections = inField(counts.udp.totals.connections);
    report.activeConnections = inField(sum.active);
    report.finishedConnections = inField(sum.finished);
    report.completeConnections = inField(sum.totals.connections - std::min(open, sum.totals.connections));
    report.savedWeight = server.savedWeight;
    report.bytesPerSecond = inField(sum.bytesPerSecond);
    report.connectionsPerSecond = rateOf(traffic, sum, server.connectionsPerSecond);
    replyWith(report, record);
    return 0;
}

int32_t setServerCps(Server &server, const ServerReportRecord &record) {
    return keepRate(record.connectionsPerSecond, server.connectionsPerSecond);
}

} // namespace rk
