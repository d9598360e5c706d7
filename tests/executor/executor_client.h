// What the tests of the executor share: requests as a client leaves them, and sending them.
#pragma once

#include "executor/state/settings.h"
#include "executor/state/values.h"
#include "rk/cluster_records.h"
#include "rk/diagnostic_records.h"
#include "rk/executor_records.h"
#include "rk/port_records.h"
#include "rk/reasons.h"
#include "rk/rule_records.h"
#include "rk/server_records.h"
#include "rk/uexc.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace rk {

// What stands in the bytes that a client did not write: it never clears its block. As a flag it is not 1.
inline constexpr uint8_t kStaleByte = 0xA5;

// A request whose every byte but the header's is stale.
template <typename Record> Record request(Command command) {
    Record record;
    std::memset(static_cast<void *>(&record), kStaleByte, sizeof record);
    record.header.command = command;
    record.header.length = sizeof record;
    return record;
}

// A request of which there is only the header.
struct HeaderRecord {
    CommandHeader header;
};

// What travels in the whole of the block that client and executor share.
union SharedBlock {
    CommandHeader header;
    LogRequestRecord log;
    ConnectionQueryRecord connectionQuery;
    ConnectionListRecord connections;
    ByteCountersRecord byteCounters;
    HalfOpenRecord halfOpen;
    AttackingAddressesRecord attacking;
    uint8_t bytes[kWireBytes];
};

// A reply whose every byte but the header's is zero, to fill in what is expected.
template <typename Record> Record emptyRecord(Command command) {
    Record record;
    std::memset(static_cast<void *>(&record), 0, sizeof record);
    record.header.command = command;
    return record;
}

// Sends `bytes` from a block of exactly that size, so that an access beyond it is noticed by the address sanitizer.
// Expects result and returned status to agree with the reason, and returns the reason.
int32_t sendBytes(uint8_t *bytes, std::size_t size);

template <typename Record> int32_t send(Record &record) {
    return sendBytes(reinterpret_cast<uint8_t *>(&record), sizeof record);
}

// A block with entries, which it owns.
template <typename Block, typename Entry> struct ListRequest {
    std::vector<uint8_t> bytes;

    Block &block() {
        return *reinterpret_cast<Block *>(bytes.data());
    }
    Entry &entry(std::size_t index) {
        return entriesOf<Entry>(&block())[index];
    }
};

template <typename Block, typename Entry> ListRequest<Block, Entry> listRequest(Command command, int32_t room) {
    ListRequest<Block, Entry> list;
    list.bytes.assign(sizeof(Block) + sizeof(Entry) * static_cast<std::size_t>(room), kStaleByte);
    list.block().header.command = command;
    list.block().header.length = static_cast<uint32_t>(list.bytes.size());
    list.block().count = static_cast<decltype(list.block().count)>(room);
    return list;
}

template <typename Block, typename Entry> int32_t send(ListRequest<Block, Entry> &list) {
    return sendBytes(list.bytes.data(), list.bytes.size());
}

// The names in the entries that a reply says it filled.
template <typename Block, typename Entry, std::size_t size>
std::vector<std::string> namesIn(ListRequest<Block, Entry> &list, char (Entry::*name)[size]) {
    std::vector<std::string> names;
    names.reserve(static_cast<std::size_t>(list.block().count));
    for (int32_t index = 0; index < list.block().count; ++index)
        names.emplace_back(list.entry(static_cast<std::size_t>(index)).*name);
    return names;
}

// Expects `actual` to be `expected` to the byte, its header being that of a success.
void expectSameBytes(const void *expected, const void *actual, std::size_t size);

template <typename Record> void expectReply(Record expected, const Record &actual) {
    expected.header = {actual.header.command, 0, 0, sizeof(Record)};
    expectSameBytes(&expected, &actual, sizeof(Record));
}

NetworkAddress address(const char *dotted);
std::string dotted(NetworkAddress address);
NetworkPort port(int number);

template <std::size_t size> void setText(char (&field)[size], const std::string &text) {
    ASSERT_LT(text.size(), size);
    std::memcpy(field, text.c_str(), text.size() + 1);
}

// Requests for clusters, and reads that are to succeed. A key is whatever the caller says: the executor does not derive
// it.
ClusterRecord clusterRequest(Command command, uint32_t clusterKey);
ClusterRecord newCluster(uint32_t clusterKey, const char *clusterId, const char *dotted);
ExecutorSettingsRecord executorSettings();
ExecutorReportRecord executorReport();
ClusterRecord clusterSettings(uint32_t clusterKey);
ClusterReportRecord clusterReport(uint32_t clusterKey);
std::vector<std::string> clusterIds();

// What hangs below the cluster kCluster, where most tests have one cluster, and of it one port.
inline constexpr uint32_t kCluster = 0xC4;
inline constexpr int kPort = 80;

void addTestCluster();
void addTestPort(int portNumber = kPort);
void addTestServer(uint32_t serverKey, const char *serverId);
void addTestRule(const char *ruleName);
void addTestMember(const char *ruleName, uint32_t serverKey);

// A request on the affinity records of the tests' port, its length that of the shared block, or, when its entries do
// not fit into that, of the block that they need.
using AffinityBlock = ListRequest<AffinityRecord, AffinityEntry>;

AffinityBlock affinityRequest(Command command, uint32_t count = 0);

// A connection between a client and the server 10.3.0.1 on the tests' port.
constexpr uint16_t kHalfOpenState = 1;
ConnectionRequestRecord connectionRequest(Command command, const char *client, int32_t clientPort, uint16_t state = 0);
int32_t addConnection(const char *client, int32_t clientPort, uint16_t state = 0);

PortRecord portRequest(Command command, int portNumber = kPort);
PortRecord portSettings(int portNumber = kPort);
PortReportRecord portReport(int portNumber = kPort);
std::vector<int> portNumbers();

ServerRecord serverRequest(Command command, uint32_t serverKey);
ServerRecord newServer(uint32_t serverKey, const char *serverId);
ServerRecord serverSettings(uint32_t serverKey);
ServerReportRecord serverReport(uint32_t serverKey);
ServerCommandRecord serverCommand(Command command, uint32_t serverKey);
std::vector<std::string> serverIds();

RuleRecord ruleRequest(Command command, const char *ruleName);
RuleRecord ruleSettings(const char *ruleName);
RuleReportRecord ruleReport(const char *ruleName);
std::vector<std::string> ruleNames();
std::vector<std::string> ruleServerIds(const char *ruleName);
RuleMembershipRecord memberRequest(Command command, const char *ruleName, uint32_t serverKey);

using PortListRequest = ListRequest<PortListBlock, PortListEntry>;
using ServerListRequest = ListRequest<ServerListBlock, ServerListEntry>;
using RuleListRequest = ListRequest<RuleListBlock, RuleListEntry>;
using WeightsRequest = ListRequest<ServerWeightsBlock, ServerWeightEntry>;

PortListRequest portListRequest(int32_t room);
ServerListRequest serverListRequest(int32_t room);
ServerListRequest ruleServerListRequest(const char *ruleName, int32_t room);
RuleListRequest ruleListRequest(int32_t room);
WeightsRequest weightsRequest(Command command, int32_t room);

// What a list is to reply with: the request's head with `count` filled entries, all entries zero.
template <typename Block, typename Entry>
ListRequest<Block, Entry> emptyReply(ListRequest<Block, Entry> list, int32_t count) {
    list.block().header.result = list.block().header.reason = 0;
    std::memset(static_cast<void *>(&list.entry(0)), 0, list.bytes.size() - sizeof(Block));
    list.block().count = count;
    return list;
}

// A setting: its flag, and a procedure that writes a value for it other than the default.
template <typename Record> struct SettingCase {
    const char *name;
    uint8_t Record::*flag;
    void (*setValue)(Record &);
};

// The rows of the settings of the command that `request` is of.
std::span<const Setting> settingsOf(const CommandHeader &request);

// Gives a setting a value other than the one that it has, within its limits.
void setSample(const Setting &setting, CommandHeader &record);
void copyValue(const Setting &setting, const CommandHeader &from, CommandHeader &to);

template <typename Record> uint8_t &flagOf(Record &record, const Setting &setting) {
    return reinterpret_cast<uint8_t *>(&record)[setting.flag];
}

template <typename Record> bool isOf(const Setting &setting, uint8_t Record::*flag) {
    Record record{};
    return &flagOf(record, setting) == &(record.*flag);
}

// The settings that have no case of their own: a new one is tested without another line.
template <typename Record>
std::vector<Setting> withoutCase(const std::vector<SettingCase<Record>> &cases, const Record &write) {
    std::vector<Setting> rows;
    for (const Setting &row : settingsOf(write.header)) {
        if (std::none_of(cases.begin(), cases.end(), [&row](const auto &item) { return isOf(row, item.flag); }))
            rows.push_back(row);
    }
    return rows;
}

// Sends `write` once a setting, with all values but only this setting's flag, and expects the flag to be kept and the
// settings that `read` gives to change by just this value. With no flag of exactly 1, nothing may change.
template <typename Record, typename Read>
void expectFlagsToGovern(const std::vector<SettingCase<Record>> &cases, const Record &write, Read read) {
    const std::vector<Setting> others = withoutCase(cases, write);
    Record all = write;
    for (const SettingCase<Record> &setting : cases)
        setting.setValue(all);
    const auto expectWritten = [read](Record record, const Record &expected) {
        const Record sent = record;
        ASSERT_EQ(send(record), 0);
        expectReply(sent, record);
        expectReply(expected, read());
    };
    for (const uint8_t noFlag : std::initializer_list<uint8_t>{0, 2, 255}) {
        Record record = all;
        for (const Setting &setting : settingsOf(write.header))
            flagOf(record, setting) = noFlag;
        expectWritten(record, read());
    }
    for (const Setting &setting : others) {
        SCOPED_TRACE("the value at " + std::to_string(setting.value));
        const Record before = read();
        Record expected = before;
        setSample(setting, expected.header);
        Record record = all;
        flagOf(record, setting) = 1;
        copyValue(setting, expected.header, record.header);
        expectWritten(record, expected);
        copyValue(setting, before.header, record.header); // back, as some settings exclude others
        ASSERT_EQ(send(record), 0);
    }
    for (const SettingCase<Record> &setting : cases) {
        SCOPED_TRACE(setting.name);
        Record expected = read();
        setting.setValue(expected);
        Record record = all;
        record.*setting.flag = 1;
        expectWritten(record, expected);
    }
}

// A value that is refused, and the reason that it is to be refused with.
template <typename Record> struct RefusalCase {
    const char *name;
    uint8_t Record::*flag;
    void (*setValue)(Record &);
    int32_t reason;
};

// Sends `write` once a refusal, along with a second setting, `good`, that alone would be applied. Expects the reason,
// flags of 1 cleared and the others left, and nothing changed.
template <typename Record, typename Read>
void expectRefusals(const std::vector<RefusalCase<Record>> &cases, const SettingCase<Record> &good, const Record &write,
                    Read read) {
    for (const Setting &row : settingsOf(write.header)) {
        const bool isRefused =
            std::any_of(cases.begin(), cases.end(), [&row](const auto &item) { return isOf(row, item.flag); });
        EXPECT_TRUE(isRefused || row.limits.reason == 0) << "no refusal of the value at " << row.value;
    }
    for (const RefusalCase<Record> &refusal : cases) {
        SCOPED_TRACE(refusal.name);
        const Record before = read();
        Record record = write;
        good.setValue(record);
        record.*good.flag = 1;
        refusal.setValue(record);
        record.*refusal.flag = 1;
        Record expected = record;
        expected.*good.flag = 0;
        expected.*refusal.flag = 0;
        EXPECT_EQ(send(record), refusal.reason);
        record.header.result = 0;
        record.header.reason = 0;
        expectReply(expected, record);
        expectReply(before, read());
    }
}

// Each test has an executor of its own, fresh and started.
class ExecutorTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

} // namespace rk
