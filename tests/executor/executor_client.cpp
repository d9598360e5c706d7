#include "executor_client.h"

#include "executor/commands/command_table.h"

#include <algorithm>

namespace rk {

int32_t sendBytes(uint8_t *bytes, std::size_t size) {
    // Not from a vector: its capacity is its own affair.
    const std::unique_ptr<uint8_t[]> block(new uint8_t[size]);
    std::memcpy(block.get(), bytes, size);
    const int32_t status = EXC_UserInput(reinterpret_cast<CommandHeader *>(block.get()));
    std::memcpy(bytes, block.get(), size);

    const auto *header = reinterpret_cast<const CommandHeader *>(bytes);
    EXPECT_EQ(header->result, status);
    EXPECT_EQ(header->result, header->reason == 0 ? 0 : -1);
    return header->reason;
}

void expectSameBytes(const void *expected, const void *actual, std::size_t size) {
    const auto *wanted = static_cast<const uint8_t *>(expected);
    const auto *found = static_cast<const uint8_t *>(actual);
    int shown = 0;
    for (std::size_t at = 0; at < size && shown < 8; ++at) {
        if (wanted[at] == found[at])
            continue;
        ADD_FAILURE() << "byte " << at << ": expected " << int{wanted[at]} << ", found " << int{found[at]};
        ++shown;
    }
}

NetworkAddress address(const char *dotted) {
    in_addr parsed{};
    EXPECT_EQ(inet_pton(AF_INET, dotted, &parsed), 1) << dotted;
    return {parsed.s_addr};
}

std::string dotted(NetworkAddress address) {
    char text[INET_ADDRSTRLEN] = "";
    EXPECT_NE(inet_ntop(AF_INET, &address, text, sizeof text), nullptr);
    return text;
}

NetworkPort port(int number) {
    return {htons(static_cast<uint16_t>(number))};
}

ClusterRecord clusterRequest(Command command, uint32_t clusterKey) {
    auto record = request<ClusterRecord>(command);
    record.clusterKey = clusterKey;
    return record;
}

ClusterRecord newCluster(uint32_t clusterKey, const char *clusterId, const char *dotted) {
    ClusterRecord record = clusterRequest(Command::addCluster, clusterKey);
    setText(record.clusterId, clusterId);
    record.address = address(dotted);
    return record;
}

ExecutorSettingsRecord executorSettings() {
    auto record = request<ExecutorSettingsRecord>(Command::readExecutorSettings);
    EXPECT_EQ(send(record), 0);
    return record;
}

ExecutorReportRecord executorReport() {
    auto record = request<ExecutorReportRecord>(Command::readExecutorReport);
    EXPECT_EQ(send(record), 0);
    return record;
}

ClusterRecord clusterSettings(uint32_t clusterKey) {
    ClusterRecord record = clusterRequest(Command::readClusterSettings, clusterKey);
    EXPECT_EQ(send(record), 0);
    return record;
}

ClusterReportRecord clusterReport(uint32_t clusterKey) {
    auto record = request<ClusterReportRecord>(Command::readClusterReport);
    record.clusterKey = clusterKey;
    EXPECT_EQ(send(record), 0);
    return record;
}

std::vector<std::string> clusterIds() {
    auto list =
        listRequest<ClusterListBlock, ClusterListEntry>(Command::listClusters, executorReport().numberOfClusters);
    EXPECT_EQ(send(list), 0);
    return namesIn(list, &ClusterListEntry::clusterId);
}

namespace {

// The key and port that the records of ports and of all below them carry.
template <typename Record> Record portKeyed(Command command, int portNumber = kPort) {
    auto record = request<Record>(command);
    record.clusterKey = kCluster;
    record.port = port(portNumber);
    return record;
}

template <typename List> void setPortKey(List &list) {
    list.block().clusterKey = kCluster;
    list.block().port = port(kPort);
}

} // namespace

void addTestCluster() {
    ClusterRecord record = newCluster(kCluster, "web", "10.1.0.1");
    ASSERT_EQ(send(record), 0);
}

void addTestPort(int portNumber) {
    PortRecord record = portRequest(Command::addPort, portNumber);
    ASSERT_EQ(send(record), 0);
}

void addTestServer(uint32_t serverKey, const char *serverId) {
    ServerRecord record = newServer(serverKey, serverId);
    ASSERT_EQ(send(record), 0);
}

void addTestRule(const char *ruleName) {
    RuleRecord record = ruleRequest(Command::addRule, ruleName);
    ASSERT_EQ(send(record), 0);
}

void addTestMember(const char *ruleName, uint32_t serverKey) {
    RuleMembershipRecord record = memberRequest(Command::addServerToRule, ruleName, serverKey);
    ASSERT_EQ(send(record), 0);
}

AffinityBlock affinityRequest(Command command, uint32_t count) {
    const auto room = static_cast<int32_t>(std::max<uint32_t>(count, 1999));
    auto request = listRequest<AffinityRecord, AffinityEntry>(command, room);
    AffinityRecord &record = request.block();
    const NetworkAddress cluster = address("10.1.0.1");
    record.clusterAddress = command == Command::serverDirectedAffinity ? ntohl(cluster.word) : cluster.word;
    record.port = port(kPort);
    record.count = count;
    return request;
}

ConnectionRequestRecord connectionRequest(Command command, const char *client, int32_t clientPort, uint16_t state) {
    auto record = request<ConnectionRequestRecord>(command);
    record.first = address("10.1.0.1");
    record.fifth = port(kPort);
    record.third = address(client);
    record.fourth = clientPort;
    record.sixth = address("10.3.0.1");
    record.second = state;
    return record;
}

int32_t addConnection(const char *client, int32_t clientPort, uint16_t state) {
    ConnectionRequestRecord record = connectionRequest(Command::allocateConnection, client, clientPort, state);
    return send(record);
}

PortRecord portRequest(Command command, int portNumber) {
    return portKeyed<PortRecord>(command, portNumber);
}

PortRecord portSettings(int portNumber) {
    PortRecord record = portRequest(Command::readPortSettings, portNumber);
    EXPECT_EQ(send(record), 0);
    return record;
}

PortReportRecord portReport(int portNumber) {
    auto record = portKeyed<PortReportRecord>(Command::readPortReport, portNumber);
    EXPECT_EQ(send(record), 0);
    return record;
}

std::vector<int> portNumbers() {
    PortListRequest list = portListRequest(clusterReport(kCluster).numberOfPorts);
    EXPECT_EQ(send(list), 0);
    std::vector<int> numbers;
    numbers.reserve(static_cast<std::size_t>(list.block().count));
    for (int32_t index = 0; index < list.block().count; ++index)
        numbers.push_back(ntohs(list.entry(static_cast<std::size_t>(index)).port.word));
    return numbers;
}

ServerRecord serverRequest(Command command, uint32_t serverKey) {
    auto record = portKeyed<ServerRecord>(command);
    record.serverKey = serverKey;
    return record;
}

ServerRecord newServer(uint32_t serverKey, const char *serverId) {
    ServerRecord record = serverRequest(Command::addServer, serverKey);
    setText(record.serverId, serverId);
    return record;
}

ServerRecord serverSettings(uint32_t serverKey) {
    ServerRecord record = serverRequest(Command::readServerSettings, serverKey);
    EXPECT_EQ(send(record), 0);
    return record;
}

ServerReportRecord serverReport(uint32_t serverKey) {
    auto record = portKeyed<ServerReportRecord>(Command::readServerReport);
    record.serverKey = serverKey;
    EXPECT_EQ(send(record), 0);
    return record;
}

ServerCommandRecord serverCommand(Command command, uint32_t serverKey) {
    auto record = portKeyed<ServerCommandRecord>(command);
    record.numberOfServers = 1;
    record.serverKey = serverKey;
    return record;
}

std::vector<std::string> serverIds() {
    ServerListRequest list = serverListRequest(portReport().numberOfServers);
    EXPECT_EQ(send(list), 0);
    return namesIn(list, &ServerListEntry::serverId);
}

RuleRecord ruleRequest(Command command, const char *ruleName) {
    auto record = portKeyed<RuleRecord>(command);
    setText(record.ruleName, ruleName);
    setText(record.hashId, ""); // always written
    return record;
}

RuleRecord ruleSettings(const char *ruleName) {
    RuleRecord record = ruleRequest(Command::readRuleSettings, ruleName);
    EXPECT_EQ(send(record), 0);
    return record;
}

RuleReportRecord ruleReport(const char *ruleName) {
    auto record = portKeyed<RuleReportRecord>(Command::readRuleReport);
    setText(record.ruleName, ruleName);
    EXPECT_EQ(send(record), 0);
    return record;
}

std::vector<std::string> ruleNames() {
    RuleListRequest list = ruleListRequest(portReport().numberOfRules);
    EXPECT_EQ(send(list), 0);
    return namesIn(list, &RuleListEntry::ruleName);
}

std::vector<std::string> ruleServerIds(const char *ruleName) {
    ServerListRequest list = ruleServerListRequest(ruleName, ruleReport(ruleName).numberOfServers);
    EXPECT_EQ(send(list), 0);
    return namesIn(list, &ServerListEntry::serverId);
}

RuleMembershipRecord memberRequest(Command command, const char *ruleName, uint32_t serverKey) {
    auto record = portKeyed<RuleMembershipRecord>(command);
    record.serverKey = serverKey;
    setText(record.ruleName, ruleName);
    return record;
}

PortListRequest portListRequest(int32_t room) {
    auto list = listRequest<PortListBlock, PortListEntry>(Command::listPorts, room);
    list.block().clusterKey = kCluster;
    return list;
}

ServerListRequest serverListRequest(int32_t room) {
    auto list = listRequest<ServerListBlock, ServerListEntry>(Command::listServers, room);
    setPortKey(list);
    return list;
}

ServerListRequest ruleServerListRequest(const char *ruleName, int32_t room) {
    auto list = listRequest<ServerListBlock, ServerListEntry>(Command::listRuleServers, room);
    setPortKey(list);
    setText(list.block().ruleName, ruleName);
    return list;
}

RuleListRequest ruleListRequest(int32_t room) {
    auto list = listRequest<RuleListBlock, RuleListEntry>(Command::listRules, room);
    setPortKey(list);
    return list;
}

WeightsRequest weightsRequest(Command command, int32_t room) {
    auto list = listRequest<ServerWeightsBlock, ServerWeightEntry>(command, room);
    setPortKey(list);
    return list;
}

void ExecutorTest::SetUp() {
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
}

void ExecutorTest::TearDown() {
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
}

std::span<const Setting> settingsOf(const CommandHeader &request) {
    const CommandRow *row = findCommand(request.command);
    return row == nullptr ? std::span<const Setting>{} : row->settings;
}

namespace {

template <typename Number> void put(uint8_t *place, int64_t number) {
    const auto value = static_cast<Number>(number);
    std::memcpy(place, &value, sizeof value);
}

void putValue(const Setting &setting, uint8_t *value, int64_t number) {
    std::memset(value, 0, setting.size);
    if (setting.kind == ValueKind::twoWords)
        put<int32_t>(value + offsetof(SplitInt64, low), number);
    else if (setting.size == sizeof(int16_t))
        put<int16_t>(value, number);
    else if (setting.size == sizeof(int32_t))
        put<int32_t>(value, number);
    else if (setting.size == sizeof(int64_t))
        put<int64_t>(value, number);
    else
        put<int8_t>(value, number);
}

} // namespace

void setSample(const Setting &setting, CommandHeader &record) {
    uint8_t *value = reinterpret_cast<uint8_t *>(&record) + setting.value;
    const std::vector<uint8_t> before(value, value + setting.size);
    for (const int64_t sample : {setting.limits.low, setting.limits.high, int64_t{1}, int64_t{2}}) {
        const bool isWithin = sample >= setting.limits.low && sample <= setting.limits.high;
        if (!isWithin || sample != static_cast<int32_t>(sample))
            continue;
        putValue(setting, value, sample);
        if (!std::equal(before.begin(), before.end(), value))
            return;
    }
    ADD_FAILURE() << "no other value within the limits";
}

void copyValue(const Setting &setting, const CommandHeader &from, CommandHeader &to) {
    std::memcpy(reinterpret_cast<uint8_t *>(&to) + setting.value,
                reinterpret_cast<const uint8_t *>(&from) + setting.value, setting.size);
}

} // namespace rk
