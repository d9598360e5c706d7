#include "farm.h"

namespace rk {

namespace {

// A record whose flags are all off, and whose values are 0.
template <typename Record> Record cleanRecord(Command command) {
    Record record{};
    record.header.command = command;
    record.header.length = sizeof record;
    return record;
}

template <typename Record> Record onPort(Command command, int number) {
    auto record = cleanRecord<Record>(command);
    record.clusterKey = kCluster;
    record.port = port(number);
    return record;
}

} // namespace

PortRecord addPortRequest(int number, int32_t type, int32_t method) {
    auto record = onPort<PortRecord>(Command::addPort, number);
    set(record.setType, record.type, type);
    set(record.setMethod, record.method, method);
    return record;
}

PortRecord changePortRequest(int number) {
    return onPort<PortRecord>(Command::writePortSettings, number);
}

ServerRecord addServerRequest(int portNumber, uint32_t serverKey, const char *serverId, int32_t weight) {
    auto record = onPort<ServerRecord>(Command::addServer, portNumber);
    record.serverKey = serverKey;
    setText(record.serverId, serverId);
    set(record.setWeight, record.weight, weight);
    return record;
}

ServerRecord changeServerRequest(int portNumber, uint32_t serverKey) {
    auto record = onPort<ServerRecord>(Command::writeServerSettings, portNumber);
    record.serverKey = serverKey;
    return record;
}

RuleRecord addRuleRequest(int portNumber, const char *name, int32_t type, int32_t begin, int32_t end,
                          int32_t priority) {
    auto record = onPort<RuleRecord>(Command::addRule, portNumber);
    setText(record.ruleName, name);
    set(record.setRuleType, record.ruleType, type);
    set(record.setBeginRange, record.beginRange, begin);
    set(record.setEndRange, record.endRange, end);
    set(record.setPriority, record.priority, priority);
    return record;
}

RuleRecord changeRuleRequest(int portNumber, const char *name) {
    auto record = onPort<RuleRecord>(Command::writeRuleSettings, portNumber);
    setText(record.ruleName, name);
    return record;
}

int32_t rangeAddress(const char *dotted) {
    return static_cast<int32_t>(address(dotted).word);
}

void setListeners(ServerRecord &record, const std::vector<TestListener> &listeners) {
    record.setListeners = 1;
    record.numberOfListeners = static_cast<uint16_t>(listeners.size());
    for (std::size_t index = 0; index < listeners.size(); ++index) {
        record.listeners[index].address = address(listeners[index].address);
        record.listeners[index].mapPort = port(listeners[index].mapPort);
    }
}

void startFarm(ExecutorState &state, const char *clusterAddress) {
    startExecutor(state);
    ASSERT_EQ(perform(state, newCluster(kCluster, "web", clusterAddress)), 0);
}

void addMember(ExecutorState &state, int portNumber, const char *ruleName, uint32_t serverKey) {
    auto record = onPort<RuleMembershipRecord>(Command::addServerToRule, portNumber);
    setText(record.ruleName, ruleName);
    record.serverKey = serverKey;
    ASSERT_EQ(perform(state, record), 0);
}

int32_t directClient(ExecutorState &state, int portNumber, const char *client, uint32_t serverKey, int32_t command) {
    AffinityBlock block = affinityRequest(Command::serverDirectedAffinity, 1);
    AffinityRecord &record = block.block();
    record.clusterAddress = ntohl(state.executor.clusters.byKey.at(kCluster).settings.address.word);
    record.port = port(portNumber);
    record.command = command;
    block.entry(0) = {};
    block.entry(0).clientAddress = ntohl(address(client).word);
    block.entry(0).serverKey = serverKey;
    performCommand(state, &record.header);
    return record.header.reason;
}

int32_t setWeights(ExecutorState &state, int portNumber, const std::vector<std::pair<uint32_t, int16_t>> &weights) {
    WeightsRequest list = weightsRequest(Command::writeServerWeights, static_cast<int32_t>(weights.size()));
    list.block().port = port(portNumber);
    for (std::size_t index = 0; index < weights.size(); ++index) {
        list.entry(index) = {};
        list.entry(index).serverKey = weights[index].first;
        list.entry(index).weight = weights[index].second;
    }
    performCommand(state, &list.block().header);
    return list.block().header.reason;
}

} // namespace rk
