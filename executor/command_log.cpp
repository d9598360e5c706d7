#include "executor/command_log.h"

#include "executor/reasons.h"
#include "executor/values.h"

#include <cstdarg>
#include <ctime>

namespace rk {

namespace {

// Appends as much as there is room for. The log uses no other memory, so that it can tell of a lack of it.
[[gnu::format(printf, 2, 3)]] void append(LogSubject &subject, const char *format, ...) {
    const std::size_t length = textIn(subject.text).size();
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(subject.text + length, sizeof subject.text - length, format, arguments);
    va_end(arguments);
}

// A name comes from a caller: what would break the line becomes a question mark.
void appendName(LogSubject &subject, std::string_view name) {
    for (const char character : name) {
        const bool isControl = static_cast<unsigned char>(character) < ' ' || character == '\x7f';
        append(subject, "%c", isControl ? '?' : character);
    }
}

void appendNameAndKey(LogSubject &subject, const char *kind, std::string_view name, uint32_t key) {
    append(subject, " %s=", kind);
    appendName(subject, name);
    append(subject, "(0x%08x)", static_cast<unsigned int>(key));
}

} // namespace

LogSubject describeSubject(ExecutorState &state, const CommandRow &row, const CommandHeader &block) {
    LogSubject subject{};
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

void logCommand(std::FILE *log, const CommandRow *row, const CommandHeader &block, const LogSubject &subject) {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char time[32];
    std::strftime(time, sizeof time, "%Y-%m-%dT%H:%M:%SZ", &parts);

    std::fprintf(log, "%s %s", time, row == nullptr ? "unknownCommand" : row->name);
    if (row == nullptr)
        std::fprintf(log, " command=%d", static_cast<int>(block.command));
    std::fprintf(log, "%s result=%d", subject.text, block.result);
    if (block.reason == kWrongLength)
        std::fprintf(log, " length=%u", static_cast<unsigned int>(block.length));
    if (block.reason != 0)
        std::fprintf(log, " reason=%d (%s)", block.reason, reasonText(block.reason));
    std::fprintf(log, "\n");
    std::fflush(log);
}

} // namespace rk
