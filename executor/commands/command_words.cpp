#include "executor/commands/command_words.h"

namespace rk {

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
    appendEndpoint(text, "client", record.third, record.fourth);
    appendAddress(text, "server", record.sixth);
}

void describe(LogText &text, const AffinityRecord &record) {
    if (record.header.command == Command::serverDirectedAffinity)
        append(text, " command=%d entries=%d", record.command, static_cast<int>(record.count));
}

void describe(LogText &text, const DebugRequestRecord &record) {
    append(text, " subcommand=%d", record.subCommand);
}

} // namespace rk
