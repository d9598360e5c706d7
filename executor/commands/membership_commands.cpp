// The servers of a rule.
#include "executor/commands/commands.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

namespace rk {

namespace {

// The server and the rule that a request names.
Target findServerAndRule(ExecutorState &state, const RuleMembershipRecord &record) {
    Target target = findServer(state, record.clusterKey, record.port, record.serverKey);
    if (target.reason != 0)
        return target;
    target.rule = findItem(target.port->rules, textIn(record.ruleName));
    if (target.rule == nullptr)
        target.reason = kUnknownRule;
    return target;
}

} // namespace

static void fillEntry(ServerListEntry &entry, const RuleMember &member) {
    fillEntry(entry, *member.server);
}

int32_t addServerToRule(ExecutorState &state, RuleMembershipRecord &record) {
    const Target target = findServerAndRule(state, record);
    if (target.reason != 0)
        return target.reason;
    if (findItem(target.rule->members, record.serverKey) != nullptr)
        return kServerInRule;
    const int64_t order = state.executor.nextOrder;
    addItem(target.rule->members, record.serverKey, order, RuleMember{target.server, order, record.argument});
    ++state.executor.nextOrder;
    return 0;
}

int32_t removeServerFromRule(ExecutorState &state, RuleMembershipRecord &record) {
    const Target target = findServerAndRule(state, record);
    if (target.reason != 0)
        return target.reason;
    const RuleMember *member = findItem(target.rule->members, record.serverKey);
    if (member == nullptr)
        return kServerNotInRule;
    removeItem(target.rule->members, record.serverKey, member->order);
    return 0;
}

int32_t listRuleServers(ExecutorState &state, ServerListBlock &block) {
    const Target target = findRule(state, block.clusterKey, block.port, textIn(block.ruleName));
    if (target.reason != 0)
        return target.reason;
    fillList<ServerListEntry>(block, target.rule->members);
    return 0;
}

} // namespace rk
