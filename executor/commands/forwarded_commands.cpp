#include "executor/commands/forwarded_commands.h"

#include "executor/commands/command_undo.h"
#include "executor/forwarding/forwarding.h"
#include "executor/forwarding/plan_features.h"

#include <algorithm>
#include <exception>

namespace rk {

namespace {

// --- What commands that have been performed change in the plan. False: what they ask for is refused. -----------------

// The settings of the whole machine are looked at after every command.
bool draftNothing(Attempt & /*attempt*/) {
    return true;
}

bool draftNewCluster(Attempt &attempt) {
    const uint32_t clusterKey = requestOf<ClusterRecord>(attempt).clusterKey;
    attempt.draft.used |= featuresOf(*findItem(attempt.target.state->executor.clusters, clusterKey));
    return true;
}

bool draftClusterSettings(Attempt &attempt) {
    const Cluster &cluster = *attempt.target.cluster;
    attempt.draft.used |= featuresOf(cluster);
    if (cluster.settings.address.word == attempt.former.cluster.address.word)
        return true;
    draftRemovedPorts(attempt.draft, attempt.former.cluster.address);
    return draftNewPorts(attempt.draft, cluster, attempt.words);
}

bool draftNewPort(Attempt &attempt) {
    const Cluster &cluster = *attempt.target.cluster;
    const Port &port = *findItem(cluster.ports, hostOrder(requestOf<PortRecord>(attempt).port));
    return draftNewPort(attempt.draft, cluster, port, attempt.words);
}

bool draftPortSettings(Attempt &attempt) {
    const Target &target = attempt.target;
    return draftPortSettings(attempt.draft, *target.cluster, *target.port, attempt.former.port, attempt.words);
}

bool draftServers(Attempt &attempt, const std::set<uint32_t> &serverKeys) {
    return draftServers(attempt.draft, *attempt.target.cluster, *attempt.target.port, serverKeys, attempt.words);
}

bool draftNewServer(Attempt &attempt) {
    return draftServers(attempt, {requestOf<ServerRecord>(attempt).serverKey});
}

bool draftServer(Attempt &attempt) {
    return draftServers(attempt, {attempt.target.server->settings.serverKey});
}

bool draftWeights(Attempt &attempt) {
    std::set<uint32_t> serverKeys;
    for (const FormerWeight &former : attempt.former.weights)
        serverKeys.insert(former.server->settings.serverKey);
    return draftServers(attempt, serverKeys);
}

bool draftRule(Attempt &attempt, const Rule &rule) {
    return draftRule(attempt.draft, *attempt.target.cluster, *attempt.target.port, rule, attempt.words);
}

bool draftNewRule(Attempt &attempt) {
    return draftRule(attempt, *findItem(attempt.target.port->rules, textIn(requestOf<RuleRecord>(attempt).ruleName)));
}

bool draftRuleSettings(Attempt &attempt) {
    return draftRule(attempt, *attempt.target.rule);
}

bool draftNewMember(Attempt &attempt) {
    const Target &target = attempt.target;
    draftMember(attempt.draft, *target.cluster, *target.port, *target.rule, *target.server);
    return true;
}

bool draftBoundClients(Attempt &attempt) {
    std::set<uint32_t> clients;
    for (const auto &[client, former] : attempt.former.clients)
        clients.insert(client);
    draftClients(attempt.draft, *attempt.target.cluster, *attempt.target.port, clients);
    return true;
}

// --- What commands that are to be performed will remove from the plan ------------------------------------------------

bool draftClusterRemoval(Attempt &attempt) {
    draftRemovedPorts(attempt.draft, attempt.target.cluster->settings.address);
    return true;
}

bool draftPortRemoval(Attempt &attempt) {
    draftRemovedPort(attempt.draft, *attempt.target.cluster, *attempt.target.port);
    return true;
}

bool draftServerRemoval(Attempt &attempt) {
    const Target &target = attempt.target;
    draftRemovedServer(attempt.draft, *target.cluster, *target.port, target.server->settings.serverKey);
    return true;
}

bool draftRuleRemoval(Attempt &attempt) {
    draftRemovedRule(attempt.draft, *attempt.target.cluster, *attempt.target.port, *attempt.target.rule);
    return true;
}

bool draftMemberRemoval(Attempt &attempt) {
    const Target &target = attempt.target;
    draftRemovedMember(attempt.draft, *target.cluster, *target.port, *target.rule, *target.server);
    return true;
}

bool draftReleasedClients(Attempt &attempt) {
    auto &record = requestOf<AffinityRecord>(attempt);
    const auto *entries = entriesOf<AffinityEntry>(&record);
    std::set<uint32_t> clients;
    for (uint32_t index = 0; index < record.count; ++index)
        clients.insert(entries[index].clientAddress);
    draftReleasedClients(attempt.draft, *attempt.target.cluster, *attempt.target.port, clients);
    return true;
}

// --- The commands ----------------------------------------------------------------------------------------------------

// A server without an address is a part of the configuration, but nobody would see why nothing gets there. The command
// has been performed by now: this must not run out of memory.
void noteMissingAddress(Attempt &attempt) {
    const auto &record = requestOf<ServerRecord>(attempt);
    const bool isNew = record.header.command == Command::addServer;
    const Server &server = *findItem(attempt.target.port->servers, record.serverKey);
    if ((!isNew && !isSet(record.setListeners)) || hasUsableAddress(server))
        return;
    LogText &words = attempt.words;
    append(words, "%sserver ", words.length == 0 ? "" : "; ");
    appendName(words, textIn(server.settings.serverId));
    append(words, " has no usable address: nothing is forwarded to it");
}

// Of what is removed, the engine is told first: a removal in the state cannot fail, and need not be undone.
struct ForwardedCommand {
    Command command;
    bool (*draft)(Attempt &attempt);
    void (*undo)(Attempt &attempt); // null: a removal
    void (*keep)(Attempt &attempt); // null: nothing besides what is kept for all commands
    void (*note)(Attempt &attempt); // null: the log is told no more
};

constexpr ForwardedCommand kForwardedCommands[] = {
    {Command::writeExecutorSettings, draftNothing, restoreExecutor, nullptr, nullptr},
    {Command::setAttackProtection, draftNothing, restoreExecutor, nullptr, nullptr},

    {Command::addCluster, draftNewCluster, removeNewCluster, nullptr, nullptr},
    {Command::writeClusterSettings, draftClusterSettings, restoreCluster, nullptr, nullptr},
    {Command::removeCluster, draftClusterRemoval, nullptr, nullptr, nullptr},

    {Command::addPort, draftNewPort, removeNewPort, nullptr, nullptr},
    {Command::writePortSettings, draftPortSettings, restorePort, nullptr, nullptr},
    {Command::removePort, draftPortRemoval, nullptr, nullptr, nullptr},

    {Command::addServer, draftNewServer, removeNewServer, nullptr, noteMissingAddress},
    {Command::writeServerSettings, draftServer, restoreServer, nullptr, noteMissingAddress},
    {Command::markServerDown, draftServer, restoreServer, nullptr, nullptr},
    {Command::markServerUp, draftServer, restoreServer, nullptr, nullptr},
    {Command::writeServerWeights, draftWeights, restoreWeights, keepWeights, nullptr},
    {Command::removeServer, draftServerRemoval, nullptr, nullptr, nullptr},

    {Command::addRule, draftNewRule, removeNewRule, nullptr, nullptr},
    {Command::writeRuleSettings, draftRuleSettings, restoreRule, nullptr, nullptr},
    {Command::removeRule, draftRuleRemoval, nullptr, nullptr, nullptr},
    {Command::addServerToRule, draftNewMember, removeNewMember, nullptr, nullptr},
    {Command::removeServerFromRule, draftMemberRemoval, nullptr, nullptr, nullptr},
};

// What serverDirectedAffinity does depends on its record.
constexpr ForwardedCommand kBinding = {Command::serverDirectedAffinity, draftBoundClients, restoreClients, keepClients,
                                       nullptr};
constexpr ForwardedCommand kReleasing = {Command::serverDirectedAffinity, draftReleasedClients, nullptr, nullptr,
                                         nullptr};

// Null when the command changes nothing that is forwarded.
const ForwardedCommand *findForwarded(const CommandHeader &block) {
    if (block.command == Command::serverDirectedAffinity) {
        switch (reinterpret_cast<const AffinityRecord &>(block).command) {
        case kBindClients:
            return &kBinding;
        case kReleaseClients:
            return &kReleasing;
        default:
            return nullptr;
        }
    }
    const auto *const row =
        std::find_if(std::begin(kForwardedCommands), std::end(kForwardedCommands),
                     [&block](const ForwardedCommand &each) { return each.command == block.command; });
    return row == std::end(kForwardedCommands) ? nullptr : row;
}

bool apply(Forwarding &forwarding, const ForwardedCommand &command, Attempt &attempt) {
    return command.draft(attempt) &&
           applyDraft(attempt.target.state->executor, forwarding, attempt.draft, attempt.words);
}

int32_t performChange(Forwarding &forwarding, const ForwardedCommand &command, const CommandRow &row,
                      Attempt &attempt) {
    keepFormer(attempt.former, attempt.target);
    if (command.keep != nullptr)
        command.keep(attempt);
    const int32_t reason = row.perform(attempt.target, attempt.block);
    if (reason != 0)
        return reason;
    bool isApplied = false;
    try {
        isApplied = apply(forwarding, command, attempt);
    } catch (const std::exception &) { // memory ran out
        command.undo(attempt);
        throw;
    }
    if (!isApplied) {
        command.undo(attempt);
        return kForwardingRefused;
    }
    if (command.note != nullptr)
        command.note(attempt);
    return 0;
}

} // namespace

int32_t performForwarded(Forwarding &forwarding, const CommandRow &row, const Target &target, CommandHeader &block,
                         LogText &words) {
    const ForwardedCommand *command = findForwarded(block);
    if (command == nullptr)
        return row.perform(target, block);
    Attempt attempt{target, block, words, newDraft(forwarding.plan, forwarding.engine.features), {}};
    if (command->undo != nullptr)
        return performChange(forwarding, *command, row, attempt);
    return apply(forwarding, *command, attempt) ? row.perform(target, block) : kForwardingRefused;
}

} // namespace rk
