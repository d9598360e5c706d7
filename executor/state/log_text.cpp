#include "executor/state/log_text.h"

#include "executor/state/values.h"

#include <arpa/inet.h>
#include <cstdarg>
#include <cstdio>
#include <ctime>

namespace rk {

namespace {

void appendAddress(LogText &text, const char *kind, NetworkAddress address) {
    char dotted[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, dotted, sizeof dotted);
    append(text, " %s=%s", kind, dotted);
}

void appendEndpoint(LogText &text, const char *kind, NetworkAddress address, int port) {
    appendAddress(text, kind, address);
    append(text, ":%d", port);
}

} // namespace

void append(LogText &text, const char *format, ...) {
    const std::size_t length = textIn(text.text).size();
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text.text + length, sizeof text.text - length, format, arguments);
    va_end(arguments);
}

void appendName(LogText &text, std::string_view name) {
    for (const char character : name) {
        const bool isControl = static_cast<unsigned char>(character) < ' ' || character == '\x7f';
        append(text, "%c", isControl ? '?' : character);
    }
}

void appendNameAndKey(LogText &text, const char *kind, std::string_view name, uint32_t key) {
    append(text, " %s=", kind);
    appendName(text, name);
    append(text, "(0x%08x)", static_cast<unsigned int>(key));
}

void appendTime(LogText &text) {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    gmtime_r(&now, &parts);
    char time[32];
    std::strftime(time, sizeof time, "%Y-%m-%dT%H:%M:%SZ", &parts);
    append(text, "%s", time);
}

void describe(LogText &text, const HaControlRecord &record) {
    switch (record.header.command) {
    case Command::addBackup:
        append(text, " role=%d strategy=%d port=%d", static_cast<int>(record.first), static_cast<int>(record.second),
               static_cast<int>(record.third));
        break;
    case Command::addReachTarget:
        appendAddress(text, "target", {record.first});
        appendAddress(text, "mask", {record.second});
        append(text, " type=%d", static_cast<int>(record.third));
        break;
    case Command::changeReachTarget:
        append(text, " index=%d type=%d status=%d", static_cast<int>(record.first), static_cast<int>(record.second),
               static_cast<int>(record.third));
        break;
    case Command::addHeartbeat:
        appendAddress(text, "local", {record.first});
        appendAddress(text, "partner", {record.second});
        break;
    default: // deleteReachTarget, deleteHeartbeat, takeOver
        appendAddress(text, "address", {record.first});
        break;
    }
}

void describe(LogText &text, const ConnectionRequestRecord &record) {
    appendEndpoint(text, "cluster", record.first, hostOrder(record.fifth));
    appendEndpoint(text, "client", record.third, record.fourth);
    appendAddress(text, "server", record.sixth);
}

void describe(LogText &text, const AffinityRecord &record) {
    const bool isDirected = record.header.command == Command::serverDirectedAffinity;
    appendEndpoint(text, "cluster", {isDirected ? htonl(record.clusterAddress) : record.clusterAddress},
                   hostOrder(record.port));
    if (isDirected)
        append(text, " command=%d entries=%d", record.command, static_cast<int>(record.count));
}

void describe(LogText &text, const DebugRequestRecord &record) {
    append(text, " subcommand=%d", record.subCommand);
}

void describe(LogText &text, const AttackingAddressesRecord &record) {
    appendEndpoint(text, "cluster", record.address, hostOrder(record.port));
}

} // namespace rk
