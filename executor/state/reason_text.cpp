#include "executor/state/reason_text.h"

#include <algorithm>
#include <span>

namespace rk {

namespace {

struct ReasonRow {
    int32_t reason;
    const char *text;
};

// These numbers mean something else in all other commands.
constexpr ReasonRow kHeartbeatRows[] = {
    {kHeartbeatExists, "heartbeat exists already"},
    {kHeartbeatPair, "addresses not usable for a heartbeat, or no room for more"},
};

// What forwards has no part in high availability.
constexpr Command kHaCommands[] = {
    Command::addBackup,         Command::deleteBackup, Command::addReachTarget,  Command::deleteReachTarget,
    Command::changeReachTarget, Command::addHeartbeat, Command::deleteHeartbeat, Command::setHighAvailabilityTimers,
    Command::takeOver};
constexpr ReasonRow kHaRows[] = {{kForwardingRefused, "this machine cannot do it"}};

constexpr ReasonRow kReasonRows[] = {
    {kNotStarted, "executor not started"},
    {kUnknownCommand, "unknown command"},
    {kWrongLength, "length does not fit the command"},
    {kOutOfRange, "value out of range"},
    {kOutOfMemory, "out of memory"},

    {kNoBackup, "there is no backup"},
    {kBackupExists, "backup exists already"},
    {kUnknownHeartbeat, "unknown heartbeat"},
    {kReachTargetExists, "reach target exists already"},
    {kReachTargetLimit, "reach target limit reached"},
    {kUnknownReachTarget, "unknown reach target"},
    {kInterfacesUnreadable, "network interfaces cannot be read"},
    {kConnectionExists, "connection exists already"},
    {kUnknownConnection, "unknown connection"},
    {kUnknownAffinity, "unknown affinity"},
    {kForwardingRefused, "the forwarding engine refused"},

    {kUnknownCluster, "unknown cluster"},
    {kClusterExists, "cluster exists already"},
    {kClusterLimit, "cluster limit reached"},
    {kClusterOutOfMemory, "out of memory for a cluster"},
    {kClusterAddress, "address not usable for a cluster"},

    {kUnknownPort, "unknown port"},
    {kPortOutOfMemory, "out of memory for a port"},
    {kPortExists, "port exists already"},
    {kPortLimit, "port limit of the cluster reached"},
    {kStaleTimeout, "stale time-out out of range"},
    {kUnknownMethod, "unknown forwarding method"},
    {kStickyBits, "sticky bits outside 0 to 32"},
    {kStickyTime, "sticky time out of range"},
    {kUnknownCrossPort, "unknown cross port"},
    {kWeightBound, "weight bound out of range"},
    {kCrossPortChain, "cross port is the port itself or part of a chain"},
    {kUnknownProtocol, "unknown protocol"},
    {kHalfOpenLimit, "half-open limit negative"},
    {kUnknownPortType, "unknown port type"},
    {kPortServerLimit, "server limit negative or below the number of servers"},

    {kUnknownServer, "unknown server"},
    {kServerOutOfMemory, "out of memory for a server"},
    {kServerExists, "server exists already"},
    {kServerLimit, "server limit of the port reached"},
    {kWeight, "weight outside 0 to the weight bound"},
    {kCollocatedRouter, "collocated server with a router address"},
    {kCpsMaximum, "connections-per-second maximum negative"},

    {kUnknownRule, "unknown rule"},
    {kRuleOutOfMemory, "out of memory for a rule"},
    {kRuleExists, "rule exists already"},
    {kRulePriority, "priority in use or out of range"},
    {kRuleRange, "range begins above its end"},

    {kServerInRule, "server is in the rule already"},
    {kMembershipOutOfMemory, "out of memory for a server of a rule"},
    {kServerNotInRule, "server is not in the rule"},
};

// Null when it is not among the rows.
const char *findText(std::span<const ReasonRow> rows, int32_t reason) {
    for (const ReasonRow &row : rows) {
        if (row.reason == reason)
            return row.text;
    }
    return nullptr;
}

} // namespace

const char *reasonText(Command command, int32_t reason) {
    const char *text = nullptr;
    if (command == Command::addHeartbeat)
        text = findText(kHeartbeatRows, reason);
    if (text == nullptr && std::ranges::find(kHaCommands, command) != std::end(kHaCommands))
        text = findText(kHaRows, reason);
    if (text == nullptr)
        text = findText(kReasonRows, reason);
    return text == nullptr ? "unknown reason" : text;
}

} // namespace rk
