#include "executor/commands/command_log.h"

#include "executor/state/logs.h"
#include "executor/state/reason_text.h"

namespace rk {

namespace {

bool isTraced(const ExecutorState &state, const CommandRow *row, int32_t reason) {
    if (row == nullptr)
        return isTraced(state, kTraceRefusals, kExecutorFamily.traceBit);
    if (reason != 0)
        return isTraced(state, kTraceRefusals, row->family.traceBit);
    return isTraced(state, row->effect == kReads ? kTraceReads : kTraceChanges, row->family.traceBit);
}

std::string_view nameOf(const Cluster *cluster) {
    return cluster == nullptr ? "" : textIn(cluster->settings.clusterId);
}

std::string_view nameOf(const Server *server) {
    return server == nullptr ? "" : textIn(server->settings.serverId);
}

void appendReason(LogText &line, const CommandHeader &block, const LogText &words) {
    append(line, " reason=%d (%s", block.reason, reasonText(block.command, block.reason));
    if (words.length != 0)
        append(line, ": ");
    appendName(line, words.text);
    append(line, ")");
}

} // namespace

void describeSubject(LogText &text, const CommandRow &row, const CommandHeader &block, const CommandKeys &keys,
                     const Target &target) {
    if (keys.clusterKey)
        appendNameAndKey(text, "cluster", keys.newClusterId.value_or(nameOf(target.cluster)), *keys.clusterKey);
    if (keys.clusterAddress)
        appendEndpoint(text, "cluster", *keys.clusterAddress, hostOrder(*keys.port));
    else if (keys.port)
        append(text, " port=%d", hostOrder(*keys.port));
    if (keys.serverKey)
        appendNameAndKey(text, "server", keys.newServerId.value_or(nameOf(target.server)), *keys.serverKey);
    if (keys.ruleName) {
        append(text, " rule=");
        appendName(text, *keys.ruleName);
    }
    row.describe(text, block);
}

void logCommand(ExecutorState &state, const CommandRow *row, const CommandHeader &block, const LogText &subject,
                const LogText &words) {
    const bool isKept = isTraced(state, row, block.reason);
    if (isKept || state.log != nullptr) {
        LogText line;
        appendTime(line);
        append(line, " %s", row == nullptr ? "unknownCommand" : row->name);
        if (row == nullptr)
            append(line, " command=%d", static_cast<int>(block.command));
        append(line, "%s result=%d", subject.text, block.result);
        if (block.reason == kWrongLength)
            append(line, " length=%u", static_cast<unsigned int>(block.length));
        if (block.reason != 0)
            appendReason(line, block, words);
        writeLine(state, line, isKept);
    }
    if (block.reason == 0 && words.length != 0)
        logForwarding(state, words);
}

void logForwarding(ExecutorState &state, const LogText &words) {
    LogText line;
    appendTime(line);
    append(line, " forwarding: ");
    appendName(line, words.text);
    writeLine(state, line, isTraced(state, kTraceRefusals, kExecutorFamily.traceBit));
}

} // namespace rk
