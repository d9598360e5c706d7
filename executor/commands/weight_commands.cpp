// The weights of the servers of a port, in bulk.
#include "executor/commands/commands.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

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

int32_t writeServerWeights(ExecutorState &state, ServerWeightsBlock &block) {
    const Target target = findPort(state, block.clusterKey, block.port);
    auto *entries = entriesOf<ServerWeightEntry>(&block);
    for (int32_t index = 0; index < block.count; ++index)
        entries[index].result = target.reason != 0 ? target.reason : changeWeight(*target.port, entries[index]);
    return target.reason;
}

int32_t readServerWeights(ExecutorState &state, ServerWeightsBlock &block) {
    const Target target = findPort(state, block.clusterKey, block.port);
    if (target.reason != 0)
        return target.reason;
    const int32_t room = block.count;
    fillList<ServerWeightEntry>(block, target.port->servers);
    for (int32_t index = block.count; index < room; ++index)
        entriesOf<ServerWeightEntry>(&block)[index].result = kUnknownServer;
    return 0;
}

} // namespace rk
