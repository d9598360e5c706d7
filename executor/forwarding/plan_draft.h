// Changes of a plan, put together before they are done: all memory is obtained while drafting, so that doing and
// undoing cannot fail (plan_exchange.h). A draft is made from the executor's state as it is to be and the plan as it
// is, and looks only at what a command has touched: its cost does not grow with what else there is.
#pragma once

#include "executor/forwarding/planning.h"

#include <set>
#include <span>

namespace rk {

// An entry of a map, and the one that is to be in its place. To exchange them is to do the change, and to do so again
// is to undo it.
template <typename Key, typename Item> struct Replacement {
    std::map<Key, Item> *items = nullptr;
    Key key{};
    typename std::map<Key, Item>::node_type other; // empty: there is no such entry
};

// The entry that a map has now; null: it has none.
template <typename Key, typename Item> const Item *itemAt(const std::map<Key, Item> &items, const Key &key) {
    const auto found = items.find(key);
    return found == items.end() ? nullptr : &found->second;
}

template <typename Owner, typename Key, typename Item> struct OwnedReplacement : Replacement<Key, Item> {
    Owner owner{};
};

struct PoolSettingsReplacement {
    Pool *pool = nullptr;
    PoolSettings other;
};

struct TakersReplacement {
    Pool *pool = nullptr;
    int32_t other = 0;
};

struct PlanDraft {
    Plan *plan = nullptr;
    Features features = 0; // of the engine
    Features used = 0;     // by what is new or changed

    PlanSettings settings;
    std::optional<PlanTallies> tallies; // none: the plan's stay
    std::vector<Replacement<PortId, PortPlan>> ports;
    std::vector<Replacement<PoolId, Pool>> pools;
    std::vector<PoolSettingsReplacement> poolSettings;
    std::vector<OwnedReplacement<Pool *, uint32_t, PoolServer>> servers;
    std::vector<Replacement<Endpoint, uint32_t>> endpoints;
    std::vector<TakersReplacement> takers;
    std::vector<OwnedReplacement<PortId, int32_t, Selector>> selectors;
    std::vector<OwnedReplacement<PortId, Address, BoundClient>> clients;
};

PlanDraft newDraft(Plan &plan, Features features);

// Each adds what has changed to the draft. False when a server is refused; `words` say why. In one draft, each thing is
// told once. What a command is about to remove is told before it goes, everything else when it is as it is to be.

// A port: a new one with all that it has; one that goes; one with other settings than the former ones. The ports that
// it crosses to, or that cross to it, are seen to.
bool draftNewPort(PlanDraft &draft, const Cluster &cluster, const Port &port, LogText &words);
void draftRemovedPort(PlanDraft &draft, const Cluster &cluster, const Port &port);
bool draftPortSettings(PlanDraft &draft, const Cluster &cluster, const Port &port, const PortRecord &former,
                       LogText &words);

// All ports of a cluster: those at the address that it has no longer, those at its new one.
void draftRemovedPorts(PlanDraft &draft, NetworkAddress clusterAddress);
bool draftNewPorts(PlanDraft &draft, const Cluster &cluster, LogText &words);

// Servers of a port, in the port's own pools and in those of its rules. With one that goes, go the clients bound to it.
bool draftServers(PlanDraft &draft, const Cluster &cluster, const Port &port, const std::set<uint32_t> &serverKeys,
                  LogText &words);
void draftRemovedServer(PlanDraft &draft, const Cluster &cluster, const Port &port, uint32_t serverKey);

// A rule: one that is new, with its servers, or has other settings; one that goes.
bool draftRule(PlanDraft &draft, const Cluster &cluster, const Port &port, const Rule &rule, LogText &words);
void draftRemovedRule(PlanDraft &draft, const Cluster &cluster, const Port &port, const Rule &rule);

// A server in the pools of a rule: one that is new there, one that goes from there.
void draftMember(PlanDraft &draft, const Cluster &cluster, const Port &port, const Rule &rule, const Server &server);
void draftRemovedMember(PlanDraft &draft, const Cluster &cluster, const Port &port, const Rule &rule,
                        const Server &server);

// Clients of a port, by their addresses in host byte order: as they are bound now, if they are; no more.
void draftClients(PlanDraft &draft, const Cluster &cluster, const Port &port, const std::set<uint32_t> &clients);
void draftReleasedClients(PlanDraft &draft, const Cluster &cluster, const Port &port,
                          const std::set<uint32_t> &clients);

// To be called at last: what concerns the whole machine.
void draftSettings(PlanDraft &draft, const Executor &executor);

} // namespace rk
