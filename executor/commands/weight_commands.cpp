// The weights of the servers of a port, in bulk.
#include "executor/commands/commands.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <algorithm>

namespace rk {

namespace {

// A fixed weight stays as it is until a request takes the mark off; the request that sets the mark brings the weight.
int32_t changeWeight(Port &port, const ServerWeightEntry &entry) {
    Server *server = findItem(port.servers, entry.serverKey);
    if (server == nullptr)
        return kUnknownServer;
    if (entry.weight < 0 || entry.weight > port.settings.weightBound)
        return kWeight;
    if (server->settings.fixedWeight == 0 || entry.fixedWeight == 0)
        setWeightWhenUp(*server, entry.weight);
    server->settings.fixedWeight = entry.fixedWeight;
    if (entry.quiescedDown == 1)
        server->settings.quiesced = 1;
    return 0;
}

// False when the engine cannot tell.
bool fillCounts(const Cluster &cluster, const Port &port, const Traffic &traffic, ServerWeightEntry *entries,
                int32_t count) {
    return std::all_of(entries, entries + count, [&](ServerWeightEntry &entry) {
        ServerCounts counts;
        const bool isRead = readCounts(traffic, cluster, port, *findItem(port.servers, entry.serverKey), counts);
        const Counts sum = sumOf(counts);
        entry.totalConnections = inField(sum.totals.connections);
        entry.activeConnections = inField(sum.active);
        return isRead;
    });
}

} // namespace

static void fillEntry(ServerWeightEntry &entry, const Server &server) {
    const ServerRecord &settings = server.settings;
    entry.serverKey = settings.serverKey;
    storeText(entry.serverId, textIn(settings.serverId));
    entry.address = addressOf(settings);
    entry.weight = settings.weight;
    entry.fixedWeight = settings.fixedWeight;
    entry.quiescedDown = settings.quiesced != 0 ? 1 : 0;
}

int32_t writeServerWeights(Port &port, ServerWeightsBlock &block) {
    auto *entries = entriesOf<ServerWeightEntry>(&block);
    for (int32_t index = 0; index < block.count; ++index)
        entries[index].result = changeWeight(port, entries[index]);
    return 0;
}

void refuseServerWeights(CommandHeader &header, int32_t reason) {
    auto &block = reinterpret_cast<ServerWeightsBlock &>(header);
    auto *entries = entriesOf<ServerWeightEntry>(&block);
    std::for_each(entries, entries + block.count, [reason](ServerWeightEntry &entry) { entry.result = reason; });
}

int32_t readServerWeights(const Cluster &cluster, const Port &port, const Traffic &traffic, ServerWeightsBlock &block) {
    const int32_t room = block.count;
    auto *entries = entriesOf<ServerWeightEntry>(&block);
    fillList<ServerWeightEntry>(block, port.servers);
    for (int32_t index = block.count; index < room; ++index)
        entries[index].result = kUnknownServer;
    return fillCounts(cluster, port, traffic, entries, block.count) ? 0 : kForwardingRefused;
}

} // namespace rk
