#include "executor/commands/command_log.h"

#include "executor/state/reason_text.h"
#include "executor/state/values.h"

namespace rk {

namespace {

bool isTraced(const ExecutorState &state, const CommandRow *row, int32_t reason) {
    if (row == nullptr)
        return isTraced(state, kTraceRefusals, kExecutorFamily.traceBit);
    if (reason != 0)
        return isTraced(state, kTraceRefusals, row->family.traceBit);
    return isTraced(state, row->effect == kReads ? kTraceReads : kTraceChanges, row->family.traceBit);
}

} // namespace

bool isLogged(const ExecutorState &state, const CommandRow *row, int32_t reason) {
    return state.log != nullptr || isTraced(state, row, reason);
}

LogText describeSubject(ExecutorState &state, const CommandRow &row, const CommandHeader &block) {
    LogText subject{};
    row.describe(subject, block);
    const CommandKeys keys = row.keysOf(block);
    if (!keys.clusterKey)
        return subject;

    // An object has its name from the state; only an add brings it in the request, the others leave the bytes as any.
    const Target cluster = findCluster(state, *keys.clusterKey);
    std::string_view clusterId;
    if (row.command == Command::addCluster)
        clusterId = keys.clusterId;
    else if (cluster.cluster != nullptr)
        clusterId = textIn(cluster.cluster->settings.clusterId);
    appendNameAndKey(subject, "cluster", clusterId, *keys.clusterKey);

    if (!keys.port)
        return subject;
    append(subject, " port=%d", hostOrder(*keys.port));

    if (keys.serverKey) {
        const Target server = findServer(state, *keys.clusterKey, *keys.port, *keys.serverKey);
        std::string_view serverId;
        if (row.command == Command::addServer)
            serverId = keys.serverId;
        else if (server.server != nullptr)
            serverId = textIn(server.server->settings.serverId);
        appendNameAndKey(subject, "server", serverId, *keys.serverKey);
    }

    // The servers of a port are listed with the same block as those of a rule, its name field unused.
    if (keys.ruleName && row.command != Command::listServers) {
        append(subject, " rule=");
        appendName(subject, *keys.ruleName);
    }
    return subject;
}

void logCommand(ExecutorState &state, const CommandRow *row, const CommandHeader &block, const LogText &subject) {
    LogText line{};
    appendTime(line);
    append(line, " %s", row == nullptr ? "unknownCommand" : row->name);
    if (row == nullptr)
        append(line, " command=%d", static_cast<int>(block.command));
    append(line, "%s result=%d", subject.text, block.result);
    if (block.reason == kWrongLength)
        append(line, " length=%u", static_cast<unsigned int>(block.length));
    if (block.reason != 0)
        append(line, " reason=%d (%s)", block.reason, reasonText(block.command, block.reason));

    if (isTraced(state, row, block.reason))
        addLine(state.trace, line.text);
    if (state.log != nullptr) {
        std::fprintf(state.log, "%s\n", line.text);
        std::fflush(state.log);
    }
}

} // namespace rk
