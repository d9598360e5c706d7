#include "executor/commands/command_keys.h"

#include <arpa/inet.h>

namespace rk {

// Only an add brings the identifier; the other commands leave the bytes as they were.
CommandKeys keysOf(const ClusterRecord &record) {
    CommandKeys keys = plainKeysOf(record);
    if (record.header.command == Command::addCluster)
        keys.newClusterId = textIn(record.clusterId);
    return keys;
}

CommandKeys keysOf(const ServerRecord &record) {
    CommandKeys keys = plainKeysOf(record);
    if (record.header.command == Command::addServer)
        keys.newServerId = textIn(record.serverId);
    return keys;
}

// The servers of a port are listed with the same block as those of a rule, its name field unused.
CommandKeys keysOf(const ServerListBlock &block) {
    CommandKeys keys = plainKeysOf(block);
    if (block.header.command == Command::listServers)
        keys.ruleName.reset();
    return keys;
}

CommandKeys keysOf(const ConnectionRequestRecord &record) {
    CommandKeys keys;
    keys.clusterAddress = record.first;
    keys.port = record.fifth;
    return keys;
}

CommandKeys keysOf(const AffinityRecord &record) {
    const bool isDirected = record.header.command == Command::serverDirectedAffinity;
    CommandKeys keys;
    keys.clusterAddress = NetworkAddress{isDirected ? htonl(record.clusterAddress) : record.clusterAddress};
    keys.port = record.port;
    return keys;
}

CommandKeys keysOf(const AttackingAddressesRecord &record) {
    CommandKeys keys;
    keys.clusterAddress = record.address;
    keys.port = record.port;
    return keys;
}

} // namespace rk
