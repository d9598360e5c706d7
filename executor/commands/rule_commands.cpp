// The rules of a port.
#include "executor/commands/commands.h"
#include "executor/state/settings.h"
#include "executor/state/values.h"
#include "rk/reasons.h"

#include <arpa/inet.h>
#include <limits>

namespace rk {

namespace {

bool isRangeInOrder(const RuleRecord &settings) {
    if (settings.ruleType != kRuleTypeAddress)
        return settings.beginRange <= settings.endRange;
    return ntohl(static_cast<uint32_t>(settings.beginRange)) <= ntohl(static_cast<uint32_t>(settings.endRange));
}

// `own` is the rule whose settings these are to be, null for a new one.
int32_t checkSettings(const Port &port, const Rule *own, const RuleRecord &settings) {
    if (const int32_t reason = checkLimits(kRuleSettings, settings.header); reason != 0)
        return reason;
    const auto holder = port.rules.inOrder.find(settings.priority);
    if (holder != port.rules.inOrder.end() && holder->second != own)
        return kRulePriority;
    if (!isRangeInOrder(settings))
        return kRuleRange;
    if ((settings.serviceBitsClear & settings.serviceBitsSet) != 0)
        return kOutOfRange; // no packet has a bit that is both
    return 0;
}

// Brings what a request changes into `settings`; when there is a reason, the caller drops them. The hash identifier has
// no flag: every request carries it.
int32_t changeSettings(const Port &port, const Rule *own, const RuleRecord &request, RuleRecord &settings) {
    if (!isTerminated(request.hashId) || !applySettings(kRuleSettings, request.header, settings.header))
        return kOutOfRange;
    storeText(settings.hashId, textIn(request.hashId));
    return checkSettings(port, own, settings);
}

// The priority that puts a new rule behind those that are there; negative when none is left.
int32_t nextPriority(const Port &port) {
    if (port.rules.inOrder.empty())
        return 1;
    const int64_t highest = port.rules.inOrder.rbegin()->first;
    return highest == std::numeric_limits<int32_t>::max() ? -1 : static_cast<int32_t>(highest + 1);
}

RuleRecord newRuleSettings(const Port &port, const RuleRecord &request) {
    RuleRecord settings{};
    settings.clusterKey = request.clusterKey;
    settings.port = request.port;
    storeText(settings.ruleName, textIn(request.ruleName));
    settings.priority = nextPriority(port);
    return settings;
}

} // namespace

static void fillEntry(RuleListEntry &entry, const Rule &rule) {
    storeText(entry.ruleName, textIn(rule.settings.ruleName));
}

int32_t addRule(Executor &executor, Port &port, const RuleRecord &record) {
    if (!isTerminated(record.ruleName))
        return kOutOfRange;
    const std::string name(textIn(record.ruleName));
    if (findItem(port.rules, name) != nullptr)
        return kRuleExists;

    Rule rule;
    rule.settings = newRuleSettings(port, record);
    rule.uniqueId = executor.nextRuleId;
    const int32_t reason = changeSettings(port, nullptr, record, rule.settings);
    if (reason != 0)
        return reason;
    const int32_t priority = rule.settings.priority;
    addItem(port.rules, name, priority, std::move(rule));
    ++executor.nextRuleId;
    return 0;
}

int32_t removeRule(Port &port, Rule &rule, const RuleRecord & /*record*/) {
    removeItem(port.rules, textIn(rule.settings.ruleName), rule.settings.priority);
    return 0;
}

int32_t listRules(const Port &port, RuleListBlock &block) {
    fillList<RuleListEntry>(block, port.rules);
    return 0;
}

int32_t readRuleSettings(const Rule &rule, RuleRecord &record) {
    replyWith(rule.settings, record);
    record.numberOfServers = numberOf(rule.members);
    return 0;
}

int32_t writeRuleSettings(Port &port, Rule &rule, const RuleRecord &record) {
    RuleRecord settings = rule.settings;
    const int32_t reason = changeSettings(port, &rule, record, settings);
    if (reason != 0)
        return reason;
    replaceSettings(port, rule, settings);
    return 0;
}

int32_t readRuleReport(const Cluster &cluster, const Port &port, const Rule &rule, const Traffic &traffic,
                       RuleReportRecord &record) {
    Counts counts;
    if (!readCounts(traffic, cluster, port, rule, counts))
        return kForwardingRefused;
    RuleReportRecord report{};
    report.clusterKey = record.clusterKey;
    report.port = record.port;
    report.connectionsPerSecond = rateOf(traffic, counts, rule.connectionsPerSecond);
    report.activeConnections = inField(counts.active);
    report.timesFired = inField(counts.totals.connections);
    report.bytesPerSecond = inField(counts.bytesPerSecond);
    storeText(report.ruleName, textIn(record.ruleName));
    report.uniqueId = rule.uniqueId;
    report.numberOfServers = numberOf(rule.members);
    replyWith(report, record);
    return 0;
}

int32_t setRuleCps(Rule &rule, const RuleReportRecord &record) {
    return keepRate(record.connectionsPerSecond, rule.connectionsPerSecond);
}

} // namespace rk
