#include "executor/forwarding/kernel/half_open_rules.h"

#include "executor/forwarding/kernel/mark_rules.h"
#include "executor/forwarding/kernel/pool_services.h"

#include <algorithm>

namespace rk {

namespace {

constexpr char kPorts[] = "full_ports";
constexpr char kClients[] = "attackers";

std::string setText(const char *name, const char *type) {
    return std::string(" set ") + name + " {\n  type " + type + "\n  flags timeout\n  timeout " +
           std::to_string(kShutSeconds) + "s\n }\n";
}

std::string textOf(const PortId &port) {
    return dottedText(port.address) + " . " + std::to_string(port.port);
}

std::string textOf(const ClientAtPort &client) {
    return dottedText(client.client) + " . " + textOf(client.port);
}

template <typename Item> std::string elementsOf(const char *set, const std::set<Item> &items) {
    std::string list;
    for (const Item &item : items)
        list += (list.empty() ? "" : ", ") + textOf(item);
    return std::string("element ip ") + kTableName + " " + set + " { " + list + " }\n";
}

// What is not in a set cannot be deleted from it, and what is in there already keeps its time.
template <typename Item> std::string deleted(const char *set, const std::set<Item> &items) {
    const std::string elements = elementsOf(set, items);
    return items.empty() ? "" : "add " + elements + "delete " + elements;
}

template <typename Item> std::string addedAnew(const char *set, const std::set<Item> &items) {
    return items.empty() ? "" : deleted(set, items) + "add " + elementsOf(set, items);
}

} // namespace

bool limitsHalfOpen(const Plan &plan) {
    return !plan.pools.empty() &&
           (plan.settings.attackParameters[0] > 0 ||
            std::ranges::any_of(plan.pools, [](const auto &item) { return item.second.settings.maxHalfOpen > 0; }));
}

std::string halfOpenRules(const Plan &plan) {
    if (!limitsHalfOpen(plan))
        return "";
    return setText(kPorts, "ipv4_addr . inet_service") + setText(kClients, "ipv4_addr . ipv4_addr . inet_service") +
           " chain first_packets {\n"
           "  ip daddr . tcp dport @" +
           kPorts + " drop\n" + "  ip saddr . ip daddr . tcp dport @" + kClients + " drop\n }\n" +
           " chain limit_half_open {\n  type filter hook prerouting priority mangle - 1;\n"
           "  tcp flags & (fin | syn | rst | ack) == syn jump first_packets\n }\n";
}

std::string shutPorts(const std::set<PortId> &ports) {
    return addedAnew(kPorts, ports);
}

std::string openPorts(const std::set<PortId> &ports) {
    return deleted(kPorts, ports);
}

std::string shutClientsOut(const std::set<ClientAtPort> &clients) {
    return addedAnew(kClients, clients);
}

} // namespace rk
