// The ports of a cluster.
#include "executor_client.h"

namespace rk {
namespace {

constexpr int kOtherPort = 443;

const std::vector<SettingCase<PortRecord>> kSettings = {
    {"maxServers", &PortRecord::setMaxServers, [](PortRecord &r) { r.maxServers = 0; }},
    {"stickyTime", &PortRecord::setStickyTime,
     [](PortRecord &r) {
         r.stickyTime = {0, 2147483647};
     }},
    {"protocol", &PortRecord::setProtocol, [](PortRecord &r) { r.protocol = kProtocolTls; }},
    {"stickyBits", &PortRecord::setStickyBits, [](PortRecord &r) { r.stickyBits = 0; }},
    {"staleTimeout", &PortRecord::setStaleTimeout,
     [](PortRecord &r) {
         r.staleTimeout = {0, 0};
     }},
    {"weightBound", &PortRecord::setWeightBound, [](PortRecord &r) { r.weightBound = 100; }},
    {"type", &PortRecord::setType, [](PortRecord &r) { r.type = kPortTypeUdp; }},
    {"method", &PortRecord::setMethod, [](PortRecord &r) { r.method = kMethodContent; }},
    {"replicate", &PortRecord::setReplicate, [](PortRecord &r) { r.replicate = 255; }},
    {"crossPort", &PortRecord::setCrossPort, [](PortRecord &r) { r.crossPort = port(kOtherPort); }},
    {"maxHalfOpen", &PortRecord::setMaxHalfOpen, [](PortRecord &r) { r.maxHalfOpen = 2147483647; }},
    {"sendReset", &PortRecord::setSendReset, [](PortRecord &r) { r.sendReset = -1; }},
};

const std::vector<RefusalCase<PortRecord>> kRefusals = {
    {"maxServers", &PortRecord::setMaxServers, [](PortRecord &r) { r.maxServers = -1; }, kPortServerLimit},
    {"staleTimeout", &PortRecord::setStaleTimeout,
     [](PortRecord &r) {
         r.staleTimeout = {-1, -1};
     },
     kStaleTimeout},
    {"staleTimeout, beyond an int", &PortRecord::setStaleTimeout,
     [](PortRecord &r) {
         r.staleTimeout = {1, 0};
     },
     kStaleTimeout},
    {"stickyTime", &PortRecord::setStickyTime,
     [](PortRecord &r) {
         r.stickyTime = {-1, -1};
     },
     kStickyTime},
    {"stickyBits -1", &PortRecord::setStickyBits, [](PortRecord &r) { r.stickyBits = -1; }, kStickyBits},
    {"stickyBits 33", &PortRecord::setStickyBits, [](PortRecord &r) { r.stickyBits = 33; }, kStickyBits},
    {"weightBound 0", &PortRecord::setWeightBound, [](PortRecord &r) { r.weightBound = 0; }, kWeightBound},
    {"weightBound 101", &PortRecord::setWeightBound, [](PortRecord &r) { r.weightBound = 101; }, kWeightBound},
    {"type -1", &PortRecord::setType, [](PortRecord &r) { r.type = -1; }, kUnknownPortType},
    {"type 3", &PortRecord::setType, [](PortRecord &r) { r.type = 3; }, kUnknownPortType},
    {"method 0", &PortRecord::setMethod, [](PortRecord &r) { r.method = 0; }, kUnknownMethod},
    {"method 4", &PortRecord::setMethod, [](PortRecord &r) { r.method = 4; }, kUnknownMethod},
    {"protocol", &PortRecord::setProtocol, [](PortRecord &r) { r.protocol = 3; }, kUnknownProtocol},
    {"maxHalfOpen", &PortRecord::setMaxHalfOpen, [](PortRecord &r) { r.maxHalfOpen = -1; }, kHalfOpenLimit},
    {"crossPort, unknown", &PortRecord::setCrossPort, [](PortRecord &r) { r.crossPort = port(9999); },
     kUnknownCrossPort},
    {"crossPort, itself", &PortRecord::setCrossPort, [](PortRecord &r) { r.crossPort = port(kPort); }, kCrossPortChain},
};

// What a port has that was added with no flag to a cluster with default settings.
PortRecord defaultsOf(int number) {
    PortRecord expected{};
    expected.header.command = Command::readPortSettings;
    expected.clusterKey = kCluster;
    expected.port = port(number);
    expected.maxServers = 256;
    expected.stickyBits = 32;
    expected.staleTimeout = {0, 300};
    expected.weightBound = 20;
    expected.method = kMethodLinkLevel;
    return expected;
}

int32_t add(int number) {
    PortRecord record = portRequest(Command::addPort, number);
    return send(record);
}

int32_t remove(int number) {
    PortRecord record = portRequest(Command::removePort, number);
    return send(record);
}

int32_t setCrossPort(int from, int to) {
    PortRecord record = portRequest(Command::writePortSettings, from);
    record.setCrossPort = 1;
    record.crossPort = port(to);
    return send(record);
}

class PortCommands : public ExecutorTest {
protected:
    void SetUp() override {
        ExecutorTest::SetUp();
        addTestCluster();
    }
};

TEST_F(PortCommands, anAddedPortHasTheDefaults) {
    PortRecord record = portRequest(Command::addPort);
    const PortRecord sent = record;
    ASSERT_EQ(send(record), 0);
    expectReply(sent, record);
    expectReply(defaultsOf(kPort), portSettings());
    EXPECT_EQ(clusterReport(kCluster).numberOfPorts, 1);
    EXPECT_EQ(clusterSettings(kCluster).numberOfPorts, 1);
}

TEST_F(PortCommands, anyPortNumberCanBeAdded) {
    ASSERT_EQ(add(65535), 0);
    ASSERT_EQ(add(0), 0);
    EXPECT_EQ(portNumbers(), (std::vector<int>{0, 65535}));
    expectReply(defaultsOf(65535), portSettings(65535));
}

TEST_F(PortCommands, anAddAppliesItsFlaggedSettings) {
    ASSERT_EQ(add(kOtherPort), 0);
    for (const SettingCase<PortRecord> &setting : kSettings) {
        SCOPED_TRACE(setting.name);
        PortRecord record = portRequest(Command::addPort);
        setting.setValue(record);
        record.*setting.flag = 1;
        PortRecord expected = defaultsOf(kPort);
        setting.setValue(expected);
        ASSERT_EQ(send(record), 0);
        EXPECT_EQ(record.*setting.flag, 1);
        expectReply(expected, portSettings());
        ASSERT_EQ(remove(kPort), 0);
    }
}

TEST_F(PortCommands, anAddWithABadSettingAddsNothing) {
    for (const RefusalCase<PortRecord> &refusal : kRefusals) {
        SCOPED_TRACE(refusal.name);
        PortRecord record = portRequest(Command::addPort);
        record.setReplicate = 1;
        refusal.setValue(record);
        record.*refusal.flag = 1;
        EXPECT_EQ(send(record), refusal.reason);
        EXPECT_EQ(record.*refusal.flag, 0);
        EXPECT_EQ(record.setReplicate, 0);
        EXPECT_EQ(record.setSendReset, kStaleByte);
        EXPECT_EQ(portNumbers(), std::vector<int>{});
    }
}

TEST_F(PortCommands, aNewPortInheritsTheClustersDefaults) {
    ClusterRecord write = clusterRequest(Command::writeClusterSettings, kCluster);
    write.setDefaultPortMaxServers = write.setDefaultPortStickyTime = write.setDefaultPortStaleTimeout = 1;
    write.setDefaultPortWeightBound = write.setDefaultPortType = write.setDefaultPortReplicate = 1;
    write.defaultPortMaxServers = 4;
    write.defaultPortStickyTime = {0, 5};
    write.defaultPortStaleTimeout = {0, 6};
    write.defaultPortWeightBound = 8;
    write.defaultPortType = kPortTypeTcp;
    write.defaultPortReplicate = 200;
    ASSERT_EQ(add(kOtherPort), 0);
    ASSERT_EQ(send(write), 0);
    ASSERT_EQ(add(kPort), 0);

    PortRecord expected = defaultsOf(kPort);
    expected.maxServers = 4;
    expected.stickyTime = {0, 5};
    expected.staleTimeout = {0, 6};
    expected.weightBound = 8;
    expected.type = kPortTypeTcp;
    expected.replicate = 200;
    expectReply(expected, portSettings());
    expectReply(defaultsOf(kOtherPort), portSettings(kOtherPort)); // what is there stays
}

TEST_F(PortCommands, aNumberIsTakenOnceInACluster) {
    ASSERT_EQ(add(kPort), 0);
    EXPECT_EQ(add(kPort), kPortExists);
    ClusterRecord cluster = newCluster(7, "mail", "10.1.0.7");
    ASSERT_EQ(send(cluster), 0);
    PortRecord record = portRequest(Command::addPort);
    record.clusterKey = 7;
    EXPECT_EQ(send(record), 0);
}

TEST_F(PortCommands, thePortLimitOfTheClusterHolds) {
    ClusterRecord write = clusterRequest(Command::writeClusterSettings, kCluster);
    write.setMaxPorts = 1;
    write.maxPorts = 1;
    ASSERT_EQ(send(write), 0);
    ASSERT_EQ(add(kPort), 0);
    EXPECT_EQ(add(kOtherPort), kPortLimit);
    write.setMaxPorts = 1;
    write.maxPorts = 0;
    EXPECT_EQ(send(write), kOutOfRange); // below the ports that there are
    EXPECT_EQ(clusterSettings(kCluster).maxPorts, 1);
    ASSERT_EQ(remove(kPort), 0);
    EXPECT_EQ(add(kOtherPort), 0);
}

TEST_F(PortCommands, aFlagOfOneChangesItsSettingOnly) {
    addTestPort();
    addTestPort(kOtherPort);
    expectFlagsToGovern(kSettings, portRequest(Command::writePortSettings), [] { return portSettings(); });
}

TEST_F(PortCommands, aChangeIsAppliedAsAWholeOrNotAtAll) {
    addTestPort();
    expectRefusals(kRefusals, {"replicate", &PortRecord::setReplicate, [](PortRecord &r) { r.replicate = 7; }},
                   portRequest(Command::writePortSettings), [] { return portSettings(); });
}

TEST_F(PortCommands, theServerLimitDoesNotGoBelowTheServers) {
    addTestPort();
    addTestServer(1, "one");
    addTestServer(2, "two");
    PortRecord write = portRequest(Command::writePortSettings);
    write.setMaxServers = 1;
    write.maxServers = 1;
    EXPECT_EQ(send(write), kPortServerLimit);
    write.setMaxServers = 1;
    write.maxServers = 2;
    EXPECT_EQ(send(write), 0);
    EXPECT_EQ(portSettings().maxServers, 2);
}

TEST_F(PortCommands, theWeightBoundDoesNotGoBelowTheWeights) {
    addTestPort();
    addTestServer(1, "one"); // weight 10
    PortRecord write = portRequest(Command::writePortSettings);
    write.setWeightBound = 1;
    write.weightBound = 9;
    EXPECT_EQ(send(write), kWeightBound);

    ServerCommandRecord down = serverCommand(Command::markServerDown, 1);
    ASSERT_EQ(send(down), 0); // weight 0, but 10 when it is up again
    write.setWeightBound = 1;
    EXPECT_EQ(send(write), kWeightBound);
    write.setWeightBound = 1;
    write.weightBound = 10;
    EXPECT_EQ(send(write), 0);
    EXPECT_EQ(portSettings().weightBound, 10);
}

TEST_F(PortCommands, crossingIsOneStep) {
    for (const int number : {1, 2, 3})
        addTestPort(number);
    ASSERT_EQ(setCrossPort(1, 2), 0);
    EXPECT_EQ(setCrossPort(3, 1), kCrossPortChain); // 1 crosses itself
    EXPECT_EQ(setCrossPort(2, 3), kCrossPortChain); // 1 would cross to one that crosses
    EXPECT_EQ(setCrossPort(3, 2), 0);
    EXPECT_EQ(setCrossPort(1, 2), 0); // once more
    EXPECT_EQ(ntohs(portSettings(1).crossPort.word), 2);
    EXPECT_EQ(ntohs(portSettings(2).crossPort.word), 0);
    EXPECT_EQ(ntohs(portSettings(3).crossPort.word), 2);
    ASSERT_EQ(setCrossPort(1, 0), 0); // crosses to none
    ASSERT_EQ(setCrossPort(3, 0), 0);
    EXPECT_EQ(setCrossPort(2, 1), 0);
}

TEST_F(PortCommands, otherSettingsOfACrossingPortCanBeChanged) {
    addTestPort(1);
    addTestPort(2);
    ASSERT_EQ(setCrossPort(1, 2), 0);
    for (const int number : {1, 2}) {
        PortRecord write = portRequest(Command::writePortSettings, number);
        write.setMaxHalfOpen = 1;
        write.maxHalfOpen = 5;
        EXPECT_EQ(send(write), 0);
        EXPECT_EQ(portSettings(number).maxHalfOpen, 5);
    }
}

TEST_F(PortCommands, aRemovedPortIsNoLongerCrossedTo) {
    for (const int number : {1, 2, 3})
        addTestPort(number);
    ASSERT_EQ(setCrossPort(1, 2), 0);
    ASSERT_EQ(remove(2), 0);
    EXPECT_EQ(portSettings(1).crossPort.word, 0);
    EXPECT_EQ(setCrossPort(3, 1), 0);
}

TEST_F(PortCommands, aRemovedPortTakesWhatHangsBelowIt) {
    addTestPort();
    addTestServer(1, "one");
    addTestRule("any");
    addTestMember("any", 1);
    ASSERT_EQ(remove(kPort), 0);
    EXPECT_EQ(remove(kPort), kUnknownPort);
    EXPECT_EQ(clusterReport(kCluster).numberOfPorts, 0);
    addTestPort();
    EXPECT_EQ(portReport().numberOfServers, 0);
    EXPECT_EQ(portReport().numberOfRules, 0);
    addTestServer(1, "one");
    addTestRule("any");
}

TEST_F(PortCommands, aRemovedClusterTakesItsPorts) {
    addTestPort();
    addTestServer(1, "one");
    ClusterRecord removal = clusterRequest(Command::removeCluster, kCluster);
    ASSERT_EQ(send(removal), 0);
    addTestCluster();
    EXPECT_EQ(clusterReport(kCluster).numberOfPorts, 0);
    EXPECT_EQ(remove(kPort), kUnknownPort);
}

// Sends the port commands to `clusterKey` and port 81.
void expectRefused(uint32_t clusterKey, int32_t reason) {
    for (const Command command : {Command::removePort, Command::readPortSettings, Command::writePortSettings}) {
        PortRecord record = portRequest(command, 81);
        record.clusterKey = clusterKey;
        EXPECT_EQ(send(record), reason) << static_cast<int>(command);
    }
    for (const Command command : {Command::readPortReport, Command::setPortCps}) {
        auto record = request<PortReportRecord>(command);
        record.clusterKey = clusterKey;
        record.port = port(81);
        EXPECT_EQ(send(record), reason) << static_cast<int>(command);
    }
}

TEST_F(PortCommands, unknownClustersAndPortsAreRefused) {
    addTestPort();
    expectRefused(kCluster, kUnknownPort);
    expectRefused(kCluster + 1, kUnknownCluster);
    PortRecord addition = portRequest(Command::addPort);
    addition.clusterKey = kCluster + 1;
    EXPECT_EQ(send(addition), kUnknownCluster);
    PortListRequest list = portListRequest(1);
    list.block().clusterKey = kCluster + 1;
    EXPECT_EQ(send(list), kUnknownCluster);
}

TEST_F(PortCommands, theReportTellsWhatHappened) {
    PortRecord addition = portRequest(Command::addPort);
    addition.setMethod = addition.setProtocol = 1;
    addition.method = kMethodTranslation;
    addition.protocol = kProtocolHttp;
    ASSERT_EQ(send(addition), 0);
    ServerRecord near = newServer(1, "near");
    near.setWeight = 1;
    near.weight = 12;
    ASSERT_EQ(send(near), 0);
    ServerRecord far = newServer(2, "far");
    far.setRouterAddress = 1;
    far.routerAddress = address("10.9.0.1");
    ASSERT_EQ(send(far), 0);
    ServerRecord off = newServer(3, "off");
    off.setWeight = 1;
    off.weight = 20;
    ASSERT_EQ(send(off), 0);
    ServerCommandRecord down = serverCommand(Command::markServerDown, 3);
    ASSERT_EQ(send(down), 0);
    addTestRule("any");
    addTestRule("other");
    auto rate = request<PortReportRecord>(Command::setPortCps);
    rate.clusterKey = kCluster;
    rate.port = port(kPort);
    rate.connectionsPerSecond = 77;
    ASSERT_EQ(send(rate), 0);
    rate.connectionsPerSecond = -1;
    EXPECT_EQ(send(rate), kOutOfRange);

    PortReportRecord expected{};
    expected.header.command = Command::readPortReport;
    expected.clusterKey = kCluster;
    expected.port = port(kPort);
    expected.connectionsPerSecond = 77;
    expected.numberOfServers = 3;
    expected.numberOfRules = 2;
    expected.serversDown = 1;
    expected.highestWeight = 12;
    expected.localServers = 2;
    expected.protocol = kProtocolHttp;
    expected.method = kMethodTranslation;
    expectReply(expected, portReport());
    EXPECT_EQ(portSettings().numberOfServers, 3);
}

TEST_F(PortCommands, theListHasTheOrderOfTheNumbers) {
    for (const int number : {8080, 80, 443, 65535, 256})
        addTestPort(number);
    EXPECT_EQ(portNumbers(), (std::vector<int>{80, 256, 443, 8080, 65535}));
}

TEST_F(PortCommands, theListFillsTheRoomThatThereIs) {
    addTestPort(80);
    addTestPort(443);
    PortListRequest less = portListRequest(1);
    PortListRequest expected = emptyReply(less, 1);
    expected.entry(0).port = port(80);
    ASSERT_EQ(send(less), 0);
    expectSameBytes(expected.bytes.data(), less.bytes.data(), less.bytes.size());

    PortListRequest more = portListRequest(4);
    expected = emptyReply(more, 2);
    expected.entry(0).port = port(80);
    expected.entry(1).port = port(443);
    ASSERT_EQ(send(more), 0);
    expectSameBytes(expected.bytes.data(), more.bytes.data(), more.bytes.size());
}

} // namespace
} // namespace rk
