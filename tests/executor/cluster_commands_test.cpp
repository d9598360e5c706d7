// Clusters.
#include "executor_client.h"

namespace rk {
namespace {

constexpr uint32_t kWeb = 0xC4;
constexpr uint32_t kMail = 0x80000001; // a key may have any bits

const std::vector<SettingCase<ClusterRecord>> kSettings = {
    {"maxPorts", &ClusterRecord::setMaxPorts, [](ClusterRecord &r) { r.maxPorts = 0; }},
    {"defaultPortMaxServers", &ClusterRecord::setDefaultPortMaxServers,
     [](ClusterRecord &r) { r.defaultPortMaxServers = 12; }},
    {"defaultPortStickyTime", &ClusterRecord::setDefaultPortStickyTime,
     [](ClusterRecord &r) {
         r.defaultPortStickyTime = {0, 21};
     }},
    {"defaultPortAffinityType", &ClusterRecord::setDefaultPortAffinityType,
     [](ClusterRecord &r) { r.defaultPortAffinityType = 65535; }},
    {"defaultPortWeightBound", &ClusterRecord::setDefaultPortWeightBound,
     [](ClusterRecord &r) { r.defaultPortWeightBound = 1; }},
    {"defaultPortType", &ClusterRecord::setDefaultPortType, [](ClusterRecord &r) { r.defaultPortType = kPortTypeTcp; }},
    {"defaultPortReplicate", &ClusterRecord::setDefaultPortReplicate,
     [](ClusterRecord &r) { r.defaultPortReplicate = 3; }},
    {"defaultPortStaleTimeout", &ClusterRecord::setDefaultPortStaleTimeout,
     [](ClusterRecord &r) {
         r.defaultPortStaleTimeout = {0, 22};
     }},
    {"sharedBytesPerSecond", &ClusterRecord::setSharedBandwidth,
     [](ClusterRecord &r) { r.sharedBytesPerSecond = 500000; }},
    {"primaryHost", &ClusterRecord::setPrimaryHost, [](ClusterRecord &r) { r.primaryHost = address("10.2.0.9"); }},
    {"proportions", &ClusterRecord::setProportions,
     [](ClusterRecord &r) {
         r.activeConnectionsProportion = 10;
         r.newConnectionsProportion = 20;
         r.portSpecificProportion = 30;
         r.systemProportion = 40;
     }},
    {"address", &ClusterRecord::setAddress, [](ClusterRecord &r) { r.address = address("10.1.0.200"); }},
    {"natAddress", &ClusterRecord::setNatAddress,
     [](ClusterRecord &r) { std::memcpy(r.natAddress, "\x0a\x01\x02\x03", sizeof r.natAddress); }},
};

const std::vector<RefusalCase<ClusterRecord>> kRefusals = {
    {"maxPorts", &ClusterRecord::setMaxPorts, [](ClusterRecord &r) { r.maxPorts = -1; }, kOutOfRange},
    {"defaultPortMaxServers", &ClusterRecord::setDefaultPortMaxServers,
     [](ClusterRecord &r) { r.defaultPortMaxServers = -1; }, kOutOfRange},
    {"defaultPortStickyTime", &ClusterRecord::setDefaultPortStickyTime,
     [](ClusterRecord &r) {
         r.defaultPortStickyTime = {-1, -1};
     },
     kOutOfRange},
    {"defaultPortWeightBound 0", &ClusterRecord::setDefaultPortWeightBound,
     [](ClusterRecord &r) { r.defaultPortWeightBound = 0; }, kOutOfRange},
    {"defaultPortWeightBound 101", &ClusterRecord::setDefaultPortWeightBound,
     [](ClusterRecord &r) { r.defaultPortWeightBound = 101; }, kOutOfRange},
    {"defaultPortType", &ClusterRecord::setDefaultPortType, [](ClusterRecord &r) { r.defaultPortType = 3; },
     kOutOfRange},
    {"defaultPortStaleTimeout", &ClusterRecord::setDefaultPortStaleTimeout,
     [](ClusterRecord &r) {
         r.defaultPortStaleTimeout = {1, 0};
     },
     kOutOfRange},
    {"sharedBytesPerSecond", &ClusterRecord::setSharedBandwidth, [](ClusterRecord &r) { r.sharedBytesPerSecond = -1; },
     kOutOfRange},
    {"activeConnectionsProportion", &ClusterRecord::setProportions,
     [](ClusterRecord &r) {
         r.activeConnectionsProportion = -1;
         r.newConnectionsProportion = r.portSpecificProportion = r.systemProportion = 1;
     },
     kOutOfRange},
    {"newConnectionsProportion", &ClusterRecord::setProportions,
     [](ClusterRecord &r) {
         r.newConnectionsProportion = -1;
         r.activeConnectionsProportion = r.portSpecificProportion = r.systemProportion = 1;
     },
     kOutOfRange},
    {"portSpecificProportion", &ClusterRecord::setProportions,
     [](ClusterRecord &r) {
         r.portSpecificProportion = -1;
         r.activeConnectionsProportion = r.newConnectionsProportion = r.systemProportion = 1;
     },
     kOutOfRange},
    {"systemProportion", &ClusterRecord::setProportions,
     [](ClusterRecord &r) {
         r.systemProportion = -1;
         r.activeConnectionsProportion = r.newConnectionsProportion = r.portSpecificProportion = 1;
     },
     kOutOfRange},
    {"address", &ClusterRecord::setAddress, [](ClusterRecord &r) { r.address = {0}; }, kClusterAddress},
};

// What a cluster has that was added with no flag to a fresh executor.
ClusterRecord defaultsOf(uint32_t key, const char *id, const char *dotted) {
    ClusterRecord expected{};
    expected.header.command = Command::readClusterSettings;
    expected.clusterKey = key;
    setText(expected.clusterId, id);
    expected.address = address(dotted);
    expected.maxPorts = 64;
    expected.defaultPortMaxServers = 256;
    expected.defaultPortWeightBound = 20;
    expected.defaultPortStaleTimeout = {0, 300};
    expected.activeConnectionsProportion = 50;
    expected.newConnectionsProportion = 50;
    return expected;
}

int32_t add(uint32_t key, const char *id, const char *dotted) {
    ClusterRecord record = newCluster(key, id, dotted);
    return send(record);
}

int32_t remove(uint32_t key) {
    ClusterRecord record = clusterRequest(Command::removeCluster, key);
    return send(record);
}

class ClusterCommands : public ExecutorTest {};

TEST_F(ClusterCommands, anAddedClusterHasIdentifierAddressAndDefaults) {
    ClusterRecord record = newCluster(kWeb, "web", "10.1.0.1");
    const ClusterRecord sent = record;
    ASSERT_EQ(send(record), 0);
    expectReply(sent, record);
    expectReply(defaultsOf(kWeb, "web", "10.1.0.1"), clusterSettings(kWeb));
    EXPECT_EQ(executorReport().numberOfClusters, 1);
}

TEST_F(ClusterCommands, anIdentifierMayHave64Characters) {
    const std::string longest(64, 'i');
    ASSERT_EQ(add(kWeb, longest.c_str(), "10.1.0.1"), 0);
    EXPECT_STREQ(clusterSettings(kWeb).clusterId, longest.c_str());
    EXPECT_EQ(clusterIds(), std::vector<std::string>{longest});
}

TEST_F(ClusterCommands, anIdentifierWithoutEndIsRefused) {
    ClusterRecord record = newCluster(kWeb, "", "10.1.0.1");
    std::memset(record.clusterId, 'i', sizeof record.clusterId);
    EXPECT_EQ(send(record), kOutOfRange);
    EXPECT_EQ(executorReport().numberOfClusters, 0);
}

TEST_F(ClusterCommands, anAddAppliesItsFlaggedSettings) {
    for (const SettingCase<ClusterRecord> &setting : kSettings) {
        SCOPED_TRACE(setting.name);
        ClusterRecord record = newCluster(kWeb, "web", "10.1.0.1");
        setting.setValue(record);
        record.*setting.flag = 1;
        ClusterRecord expected = defaultsOf(kWeb, "web", "10.1.0.1");
        setting.setValue(expected);
        ASSERT_EQ(send(record), 0);
        EXPECT_EQ(record.*setting.flag, 1);
        expectReply(expected, clusterSettings(kWeb));
        ASSERT_EQ(remove(kWeb), 0);
    }
}

TEST_F(ClusterCommands, anAddWithABadSettingAddsNothing) {
    for (const RefusalCase<ClusterRecord> &refusal : kRefusals) {
        SCOPED_TRACE(refusal.name);
        ClusterRecord record = newCluster(kWeb, "web", "10.1.0.1");
        record.setPrimaryHost = 1;
        refusal.setValue(record);
        record.*refusal.flag = 1;
        EXPECT_EQ(send(record), refusal.reason);
        EXPECT_EQ(record.*refusal.flag, 0);
        EXPECT_EQ(record.setPrimaryHost, 0);
        EXPECT_EQ(executorReport().numberOfClusters, 0);
        ASSERT_EQ(add(kMail, "mail", "10.1.0.1"), 0); // its address is free
        ASSERT_EQ(remove(kMail), 0);
    }
}

TEST_F(ClusterCommands, aNewClusterInheritsTheExecutorsDefaults) {
    auto write = request<ExecutorSettingsRecord>(Command::writeExecutorSettings);
    write.setDefaultClusterMaxPorts = write.setDefaultPortMaxServers = write.setDefaultPortStickyTime = 1;
    write.setDefaultPortStaleTimeout = write.setDefaultPortAffinityType = write.setDefaultPortWeightBound = 1;
    write.setDefaultPortType = write.setDefaultPortReplicate = 1;
    write.defaultClusterMaxPorts = 3;
    write.defaultPortMaxServers = 4;
    write.defaultPortStickyTime = {0, 5};
    write.defaultPortStaleTimeout = {0, 6};
    write.defaultPortAffinityType = 7;
    write.defaultPortWeightBound = 8;
    write.defaultPortType = kPortTypeTcp;
    write.defaultPortReplicate = 9;
    ASSERT_EQ(add(kMail, "mail", "10.1.0.2"), 0);
    ASSERT_EQ(send(write), 0);
    ASSERT_EQ(add(kWeb, "web", "10.1.0.1"), 0);

    ClusterRecord expected = defaultsOf(kWeb, "web", "10.1.0.1");
    expected.maxPorts = 3;
    expected.defaultPortMaxServers = 4;
    expected.defaultPortStickyTime = {0, 5};
    expected.defaultPortStaleTimeout = {0, 6};
    expected.defaultPortAffinityType = 7;
    expected.defaultPortWeightBound = 8;
    expected.defaultPortType = kPortTypeTcp;
    expected.defaultPortReplicate = 9;
    expectReply(expected, clusterSettings(kWeb));
    expectReply(defaultsOf(kMail, "mail", "10.1.0.2"), clusterSettings(kMail)); // what is there stays
}

TEST_F(ClusterCommands, aKeyIsTakenOnce) {
    ASSERT_EQ(add(kWeb, "web", "10.1.0.1"), 0);
    EXPECT_EQ(add(kWeb, "other", "10.1.0.2"), kClusterExists);
    expectReply(defaultsOf(kWeb, "web", "10.1.0.1"), clusterSettings(kWeb));
}

TEST_F(ClusterCommands, theClusterLimitHolds) {
    auto write = request<ExecutorSettingsRecord>(Command::writeExecutorSettings);
    write.setMaxNumberOfClusters = 1;
    write.maxNumberOfClusters = 1;
    ASSERT_EQ(send(write), 0);
    ASSERT_EQ(add(kWeb, "web", "10.1.0.1"), 0);
    EXPECT_EQ(add(kMail, "mail", "10.1.0.2"), kClusterLimit);
    EXPECT_EQ(clusterIds(), std::vector<std::string>{"web"});
    ASSERT_EQ(remove(kWeb), 0);
    EXPECT_EQ(add(kMail, "mail", "10.1.0.2"), 0);
}

TEST_F(ClusterCommands, someAddressesAreNotForClusters) {
    for (const char *dotted : {"0.0.0.0", "255.255.255.255", "224.0.0.0", "224.0.0.18", "239.255.255.255"})
        EXPECT_EQ(add(kWeb, "web", dotted), kClusterAddress) << dotted;
    EXPECT_EQ(executorReport().numberOfClusters, 0);
    uint32_t key = 1;
    for (const char *dotted : {"0.0.0.1", "223.255.255.255", "240.0.0.1", "255.255.255.254"})
        EXPECT_EQ(add(key++, "web", dotted), 0) << dotted;
}

TEST_F(ClusterCommands, anAddressBelongsToOneCluster) {
    ASSERT_EQ(add(kWeb, "web", "10.1.0.1"), 0);
    EXPECT_EQ(add(kMail, "mail", "10.1.0.1"), kClusterAddress);
    ASSERT_EQ(add(kMail, "mail", "10.1.0.2"), 0);

    ClusterRecord write = clusterRequest(Command::writeClusterSettings, kMail);
    write.setAddress = 1;
    write.address = address("10.1.0.1");
    EXPECT_EQ(send(write), kClusterAddress);
    write.setAddress = 1;
    write.address = address("10.1.0.2"); // the one that it has
    EXPECT_EQ(send(write), 0);
    write.address = address("10.1.0.3");
    EXPECT_EQ(send(write), 0);
    EXPECT_EQ(add(7, "seventh", "10.1.0.3"), kClusterAddress); // taken by the change
    EXPECT_EQ(add(7, "seventh", "10.1.0.2"), 0);               // given up by the change
    ASSERT_EQ(remove(kWeb), 0);
    EXPECT_EQ(add(8, "eighth", "10.1.0.1"), 0); // given up by the removal
}

TEST_F(ClusterCommands, aFlagOfOneChangesItsSettingOnly) {
    ASSERT_EQ(add(kWeb, "web", "10.1.0.1"), 0);
    expectFlagsToGovern(kSettings, clusterRequest(Command::writeClusterSettings, kWeb),
                        [] { return clusterSettings(kWeb); });
}

TEST_F(ClusterCommands, aChangeIsAppliedAsAWholeOrNotAtAll) {
    ASSERT_EQ(add(kWeb, "web", "10.1.0.1"), 0);
    expectRefusals(
        kRefusals,
        {"primaryHost", &ClusterRecord::setPrimaryHost, [](ClusterRecord &r) { r.primaryHost = address("10.2.0.9"); }},
        clusterRequest(Command::writeClusterSettings, kWeb), [] { return clusterSettings(kWeb); });
}

TEST_F(ClusterCommands, aRemovedClusterIsGone) {
    ASSERT_EQ(add(kWeb, "web", "10.1.0.1"), 0);
    ASSERT_EQ(add(kMail, "mail", "10.1.0.2"), 0);
    ClusterRecord record = clusterRequest(Command::removeCluster, kWeb);
    const ClusterRecord sent = record;
    ASSERT_EQ(send(record), 0);
    expectReply(sent, record);
    EXPECT_EQ(remove(kWeb), kUnknownCluster);
    EXPECT_EQ(clusterIds(), std::vector<std::string>{"mail"});
}

TEST_F(ClusterCommands, anUnknownClusterIsRefused) {
    ASSERT_EQ(add(kWeb, "web", "10.1.0.1"), 0);
    for (const Command command :
         {Command::removeCluster, Command::readClusterSettings, Command::writeClusterSettings}) {
        ClusterRecord record = clusterRequest(command, kMail);
        const ClusterRecord sent = record;
        EXPECT_EQ(send(record), kUnknownCluster);
        expectSameBytes(&sent.address, &record.address, sizeof sent - sizeof sent.header);
    }
    for (const Command command : {Command::readClusterReport, Command::setClusterCps}) {
        auto record = request<ClusterReportRecord>(command);
        record.clusterKey = kMail;
        EXPECT_EQ(send(record), kUnknownCluster);
    }
}

TEST_F(ClusterCommands, theReportTellsWhatHappened) {
    ASSERT_EQ(add(kWeb, "web", "10.1.0.1"), 0);
    auto record = request<ClusterReportRecord>(Command::setClusterCps);
    record.clusterKey = kWeb;
    record.connectionsPerSecond = 99;
    ASSERT_EQ(send(record), 0);
    record.connectionsPerSecond = -1;
    EXPECT_EQ(send(record), kOutOfRange);

    ClusterReportRecord expected{};
    expected.header.command = Command::readClusterReport;
    expected.clusterKey = kWeb;
    expected.address = address("10.1.0.1");
    expected.connectionsPerSecond = 99;
    expectReply(expected, clusterReport(kWeb));
}

TEST_F(ClusterCommands, theListHasTheOrderOfAddition) {
    EXPECT_EQ(clusterIds(), std::vector<std::string>{});
    ASSERT_EQ(add(9, "nine", "10.1.0.9"), 0);
    ASSERT_EQ(add(1, "one", "10.1.0.1"), 0);
    ASSERT_EQ(add(5, "five", "10.1.0.5"), 0);
    EXPECT_EQ(clusterIds(), (std::vector<std::string>{"nine", "one", "five"}));
    ASSERT_EQ(remove(9), 0);
    ASSERT_EQ(add(9, "nine", "10.1.0.9"), 0);
    EXPECT_EQ(clusterIds(), (std::vector<std::string>{"one", "five", "nine"}));
}

TEST_F(ClusterCommands, theListFillsTheRoomThatThereIs) {
    ASSERT_EQ(add(1, "one", "10.1.0.1"), 0);
    ASSERT_EQ(add(2, "two", "10.1.0.2"), 0);
    auto none = listRequest<ClusterListBlock, ClusterListEntry>(Command::listClusters, 0);
    ASSERT_EQ(send(none), 0);
    EXPECT_EQ(none.block().count, 0);

    auto less = listRequest<ClusterListBlock, ClusterListEntry>(Command::listClusters, 1);
    ASSERT_EQ(send(less), 0);
    EXPECT_EQ(less.block().count, 1);
    EXPECT_STREQ(less.entry(0).clusterId, "one");

    auto more = listRequest<ClusterListBlock, ClusterListEntry>(Command::listClusters, 3);
    auto expected = emptyReply(more, 2);
    setText(expected.entry(0).clusterId, "one");
    setText(expected.entry(1).clusterId, "two");
    ASSERT_EQ(send(more), 0);
    expectSameBytes(expected.bytes.data(), more.bytes.data(), more.bytes.size());
}

} // namespace
} // namespace rk
