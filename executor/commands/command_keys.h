// The keys by which a request names its objects.
#pragma once

#include "executor/state/values.h"
#include "rk/cluster_records.h"
#include "rk/diagnostic_records.h"
#include "rk/rule_records.h"
#include "rk/server_records.h"

#include <optional>
#include <string_view>

namespace rk {

// Texts point into the request.
struct CommandKeys {
    std::optional<uint32_t> clusterKey;
    std::optional<NetworkAddress> clusterAddress; // of commands that name a cluster by its address instead
    std::optional<NetworkPort> port;
    std::optional<uint32_t> serverKey;
    std::optional<std::string_view> ruleName;
    std::optional<std::string_view> newClusterId; // what a new cluster is to be called
    std::optional<std::string_view> newServerId;  // likewise a new server
};

// The keys of a record that calls them `clusterKey`, `port`, `serverKey` and `ruleName`, as far as it has them.
// Without a cluster's key there are none: the port of a partner in high availability is none of a cluster.
template <typename Record> CommandKeys plainKeysOf(const Record &record) {
    CommandKeys keys;
    if constexpr (requires { record.clusterKey; }) {
        keys.clusterKey = record.clusterKey;
        if constexpr (requires { record.port; })
            keys.port = record.port;
        if constexpr (requires { record.serverKey; })
            keys.serverKey = record.serverKey;
        if constexpr (requires { record.ruleName; })
            keys.ruleName = textIn(record.ruleName);
    }
    return keys;
}

// The keys of any record. The records with an overload have some in another place, or not in every command.
template <typename Record> CommandKeys keysOf(const Record &record) {
    return plainKeysOf(record);
}
CommandKeys keysOf(const ClusterRecord &record);
CommandKeys keysOf(const ServerRecord &record);
CommandKeys keysOf(const ServerListBlock &block);
CommandKeys keysOf(const ConnectionRequestRecord &record);
CommandKeys keysOf(const AffinityRecord &record);
CommandKeys keysOf(const AttackingAddressesRecord &record);

} // namespace rk
