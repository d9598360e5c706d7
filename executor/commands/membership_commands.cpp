// The servers of a rule.
#include "executor/commands/commands.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

namespace rk {

static void fillEntry(ServerListEntry &entry, const RuleMember &member) {
    fillEntry(entry, *member.server);
}

int32_t addServerToRule(Executor &executor, const Server &server, Rule &rule, const RuleMembershipRecord &record) {
    if (findItem(rule.members, server.settings.serverKey) != nullptr)
        return kServerInRule;
    const int64_t order = executor.nextOrder;
    addItem(rule.members, server.settings.serverKey, order, RuleMember{&server, order, record.argument});
    ++executor.nextOrder;
    return 0;
}

int32_t removeServerFromRule(const Server &server, Rule &rule, const RuleMembershipRecord & /*record*/) {
    const RuleMember *member = findItem(rule.members, server.settings.serverKey);
    if (member == nullptr)
        return kServerNotInRule;
    removeItem(rule.members, server.settings.serverKey, member->order);
    return 0;
}

int32_t listRuleServers(const Rule &rule, ServerListBlock &block) {
    fillList<ServerListEntry>(block, rule.members);
    return 0;
}

} // namespace rk
