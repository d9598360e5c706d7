#include "executor/forwarding/forwarding.h"

#include "executor/forwarding/plan_exchange.h"

#include <exception>

namespace rk {

namespace {

// The executor's cluster that had a port, which may be gone from the plan with the draft.
Cluster *findCluster(Executor &executor, const Plan &plan, const PlanDraft *draft, const PortId &id) {
    const PortPlan *port = nullptr;
    if (const auto found = plan.ports.find(id); found != plan.ports.end())
        port = &found->second;
    if (port == nullptr && draft != nullptr) {
        for (const auto &each : draft->ports) {
            if (each.key == id && !each.other.empty())
                port = &each.other.mapped();
        }
    }
    return port == nullptr ? nullptr : findItem(executor.clusters, port->clusterKey);
}

// Keeps what was counted by what has ended, as far as the object that it was counted for is still there.
void keepEnded(Executor &executor, const Plan &plan, const PlanDraft *draft, const EndedCounts &ended) {
    if (!ended.serverKey)
        executor.formerPackets += ended.totals.packetsIn;
    Cluster *cluster = findCluster(executor, plan, draft, ended.pool.port);
    Port *port = cluster == nullptr ? nullptr : findItem(cluster->ports, int32_t{ended.pool.port.port});
    if (port == nullptr)
        return;
    if (ended.serverKey) {
        if (Server *server = findItem(port->servers, *ended.serverKey); server != nullptr) {
            const bool isTcp = ended.pool.transport == Transport::tcp;
            (isTcp ? server->formerTcpConnections : server->formerUdpConnections) += ended.totals.connections;
        }
    } else if (ended.pool.rule) {
        if (Rule *rule = findItem(port->rules, *ended.pool.rule); rule != nullptr)
            rule->formerConnections += ended.totals.connections;
    }
}

void keepAllEnded(Executor &executor, const Plan &plan, const PlanDraft *draft, const std::vector<EndedCounts> &ended) {
    for (const EndedCounts &each : ended)
        keepEnded(executor, plan, draft, each);
}

// True when the engine does the plan, which has been changed as the draft says.
bool applyExchanged(Forwarding &forwarding, const PlanDraft &draft, std::vector<EndedCounts> &ended, LogText &words) {
    Engine &engine = forwarding.engine;
    return engine.apply(engine.own, forwarding.plan, changeOf(draft), ended, words);
}

// Tells the log, once, what is asked for for the first time and not done.
void tellNotDone(Forwarding &forwarding, Features used, LogText &words) {
    const Features untold = used & ~forwarding.engine.features & ~forwarding.told;
    if (untold == 0)
        return;
    append(words, "%skept, and not done by the %s engine:", words.length == 0 ? "" : "; ", forwarding.engine.name);
    const char *separator = " ";
    for (int index = 0; index < kFeatures; ++index) {
        const auto feature = static_cast<Feature>(index);
        if ((untold & bitOf(feature)) == 0)
            continue;
        append(words, "%s%s", separator, nameOf(feature));
        separator = ", ";
    }
    forwarding.told |= untold;
}

} // namespace

bool beginForwarding(ExecutorState &state, Forwarding &forwarding, LogText &words) {
    forwarding.plan = Plan{};
    PlanDraft draft = newDraft(forwarding.plan, forwarding.engine.features);
    for (const auto &[clusterKey, cluster] : state.executor.clusters.byKey) {
        if (!draftNewPorts(draft, cluster, words))
            return false;
    }
    if (!applyDraft(state.executor, forwarding, draft, words))
        return false;
    state.forwarding = &forwarding;
    return true;
}

void endForwarding(ExecutorState &state, Forwarding &forwarding) {
    state.forwarding = nullptr;
    forwarding.engine.close(forwarding.engine.own);
    forwarding = Forwarding{};
}

bool applyDraft(Executor &executor, Forwarding &forwarding, PlanDraft &draft, LogText &words) {
    draftSettings(draft, executor);
    if (!isEmpty(draft)) {
        std::vector<EndedCounts> ended;
        exchange(draft);
        bool isDone = false;
        try {
            isDone = applyExchanged(forwarding, draft, ended, words);
        } catch (const std::exception &) { // memory ran out
            keepAllEnded(executor, forwarding.plan, &draft, ended);
            exchange(draft);
            throw;
        }
        keepAllEnded(executor, forwarding.plan, &draft, ended);
        if (!isDone) {
            exchange(draft);
            return false;
        }
    }
    tellNotDone(forwarding, draft.used, words);
    return true;
}

void tickForwarding(ExecutorState &state, LogText &words) {
    Forwarding &forwarding = *state.forwarding;
    std::vector<EndedCounts> ended;
    try {
        forwarding.engine.tick(forwarding.engine.own, forwarding.plan, ended, words);
    } catch (const std::exception &) {
        append(words, "memory ran out"); // the next time does what was left
    }
    keepAllEnded(state.executor, forwarding.plan, nullptr, ended);
}

} // namespace rk
