#include "state_image.h"

#include <type_traits>

namespace rk {

namespace {

// The bytes of what has no pointers and nothing between its fields.
template <typename Record> void add(std::string &image, const Record &record) {
    static_assert(std::is_trivially_copyable_v<Record> && !std::is_pointer_v<Record>);
    image.append(reinterpret_cast<const char *>(&record), sizeof record);
}

void add(std::string &image, const Server &server) {
    add(image, server.settings);
    add(image, server.order);
    add(image, server.isDown);
    add(image, server.savedWeight);
    add(image, server.connectionsPerSecond);
}

void add(std::string &image, const RuleMember &member) {
    add(image, member.server->settings.serverKey);
    add(image, member.order);
    add(image, member.argument);
}

void add(std::string &image, const Affinity &affinity) {
    add(image, affinity.clientAddress);
    add(image, affinity.serverAddress);
    add(image, affinity.serverKey);
    add(image, affinity.order);
}

template <typename Key, typename Item> void add(std::string &image, const OrderedItems<Key, Item> &items);

void add(std::string &image, const Rule &rule) {
    add(image, rule.settings);
    add(image, rule.uniqueId);
    add(image, rule.connectionsPerSecond);
    add(image, rule.members);
}

void add(std::string &image, const Port &port) {
    add(image, port.settings);
    add(image, port.affinityType);
    add(image, port.connectionsPerSecond);
    add(image, port.servers);
    add(image, port.rules);
    add(image, port.connections.size());
    add(image, port.affinities);
    add(image, port.affinitiesReused);
}

void add(std::string &image, const Cluster &cluster) {
    add(image, cluster.settings);
    add(image, cluster.order);
    add(image, cluster.connectionsPerSecond);
    add(image, cluster.ports);
}

// Both orders, so that one which is amiss is seen.
template <typename Key, typename Item> void add(std::string &image, const OrderedItems<Key, Item> &items) {
    image += '(';
    for (const auto &[key, item] : items.byKey)
        add(image, item);
    image += '|';
    for (const auto &[order, item] : items.inOrder) {
        add(image, order);
        add(image, *item);
    }
    image += ')';
}

} // namespace

std::string imageOf(const Executor &executor) {
    std::string image;
    add(image, executor.settings);
    add(image, executor.highAvailability);
    add(image, executor.attackProtection);
    add(image, executor.icmp);
    add(image, executor.connectionsPerSecond);
    add(image, executor.clusters);
    for (const uint32_t address : executor.clusterAddresses)
        add(image, address);
    add(image, executor.nextOrder);
    add(image, executor.nextRuleId);
    return image;
}

} // namespace rk
