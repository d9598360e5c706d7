// The executor's own settings and counters.
#include "executor_client.h"

#include <ctime>

namespace rk {
namespace {

using Settings = ExecutorSettingsRecord;

const std::vector<SettingCase<Settings>> kSettings = {
    {"nfa", &Settings::setNonForwardingAddress, [](Settings &r) { r.nfa = address("10.0.0.5"); }},
    {"traceLevel", &Settings::setTraceLevel, [](Settings &r) { r.traceLevel = 3; }},
    {"logFilter", &Settings::setLogFilter, [](Settings &r) { r.logFilter = -7; }},
    {"defaultClusterMaxPorts", &Settings::setDefaultClusterMaxPorts, [](Settings &r) { r.defaultClusterMaxPorts = 0; }},
    {"finTimeout", &Settings::setFinTimeout,
     [](Settings &r) {
         r.finTimeout = {0, 31};
     }},
    {"haTimeout", &Settings::setHaTimeout,
     [](Settings &r) {
         r.haTimeout = {0, 2147483647};
     }},
    {"haSyncTimeout", &Settings::setHaSyncTimeout,
     [](Settings &r) {
         r.haSyncTimeout = {0, 0};
     }},
    {"clientGateway", &Settings::setClientGateway, [](Settings &r) { r.clientGateway = address("10.0.0.1"); }},
    {"defaultPortMaxServers", &Settings::setDefaultPortMaxServers, [](Settings &r) { r.defaultPortMaxServers = 9; }},
    {"defaultPortStaleTimeout", &Settings::setDefaultPortStaleTimeout,
     [](Settings &r) {
         r.defaultPortStaleTimeout = {0, 77};
     }},
    {"defaultPortStickyTime", &Settings::setDefaultPortStickyTime,
     [](Settings &r) {
         r.defaultPortStickyTime = {0, 78};
     }},
    {"defaultPortAffinityType", &Settings::setDefaultPortAffinityType,
     [](Settings &r) { r.defaultPortAffinityType = 65535; }},
    {"defaultPortWeightBound", &Settings::setDefaultPortWeightBound,
     [](Settings &r) { r.defaultPortWeightBound = 100; }},
    {"defaultPortType", &Settings::setDefaultPortType, [](Settings &r) { r.defaultPortType = kPortTypeUdp; }},
    {"defaultPortReplicate", &Settings::setDefaultPortReplicate, [](Settings &r) { r.defaultPortReplicate = 200; }},
    {"maxNumberOfClusters", &Settings::setMaxNumberOfClusters, [](Settings &r) { r.maxNumberOfClusters = 5; }},
    {"widePortNumber", &Settings::setWidePortNumber, [](Settings &r) { r.widePortNumber = 65535; }},
    {"secondsWestOfGreenwich", &Settings::setSecondsWestOfGreenwich,
     [](Settings &r) {
         r.secondsWestOfGreenwich = {-1, -3600};
     }},
    {"sharedBytesPerSecond", &Settings::setSharedBandwidth, [](Settings &r) { r.sharedBytesPerSecond = 1000; }},
    {"cookieExpireInterval", &Settings::setCookieExpireInterval, [](Settings &r) { r.cookieExpireInterval = 12; }},
    {"v6ClientGateway", &Settings::setV6ClientGateway,
     [](Settings &r) { std::memcpy(r.v6ClientGateway, "\xfe\x80gateway-bytes", sizeof r.v6ClientGateway); }},
};

const std::vector<RefusalCase<Settings>> kRefusals = {
    {"traceLevel", &Settings::setTraceLevel, [](Settings &r) { r.traceLevel = -1; }, kOutOfRange},
    {"defaultClusterMaxPorts", &Settings::setDefaultClusterMaxPorts, [](Settings &r) { r.defaultClusterMaxPorts = -1; },
     kOutOfRange},
    {"finTimeout", &Settings::setFinTimeout,
     [](Settings &r) {
         r.finTimeout = {-1, -1};
     },
     kOutOfRange},
    {"finTimeout, beyond an int", &Settings::setFinTimeout,
     [](Settings &r) {
         r.finTimeout = {1, 0};
     },
     kOutOfRange},
    {"haTimeout", &Settings::setHaTimeout,
     [](Settings &r) {
         r.haTimeout = {-1, -1};
     },
     kOutOfRange},
    {"haSyncTimeout", &Settings::setHaSyncTimeout,
     [](Settings &r) {
         r.haSyncTimeout = {-1, -1};
     },
     kOutOfRange},
    {"defaultPortMaxServers", &Settings::setDefaultPortMaxServers, [](Settings &r) { r.defaultPortMaxServers = -1; },
     kOutOfRange},
    {"defaultPortStaleTimeout", &Settings::setDefaultPortStaleTimeout,
     [](Settings &r) {
         r.defaultPortStaleTimeout = {-1, -1};
     },
     kOutOfRange},
    {"defaultPortStickyTime", &Settings::setDefaultPortStickyTime,
     [](Settings &r) {
         r.defaultPortStickyTime = {0, -1};
     },
     kOutOfRange},
    {"defaultPortWeightBound 0", &Settings::setDefaultPortWeightBound,
     [](Settings &r) { r.defaultPortWeightBound = 0; }, kOutOfRange},
    {"defaultPortWeightBound 101", &Settings::setDefaultPortWeightBound,
     [](Settings &r) { r.defaultPortWeightBound = 101; }, kOutOfRange},
    {"defaultPortType", &Settings::setDefaultPortType, [](Settings &r) { r.defaultPortType = 3; }, kOutOfRange},
    {"maxNumberOfClusters", &Settings::setMaxNumberOfClusters, [](Settings &r) { r.maxNumberOfClusters = -1; },
     kOutOfRange},
    {"widePortNumber -1", &Settings::setWidePortNumber, [](Settings &r) { r.widePortNumber = -1; }, kOutOfRange},
    {"widePortNumber 65536", &Settings::setWidePortNumber, [](Settings &r) { r.widePortNumber = 65536; }, kOutOfRange},
    {"sharedBytesPerSecond", &Settings::setSharedBandwidth, [](Settings &r) { r.sharedBytesPerSecond = -1; },
     kOutOfRange},
    {"cookieExpireInterval", &Settings::setCookieExpireInterval, [](Settings &r) { r.cookieExpireInterval = -1; },
     kOutOfRange},
    {"configFileName without end", &Settings::setConfigFileName,
     [](Settings &r) { std::memset(r.configFileName, 'c', sizeof r.configFileName); }, kOutOfRange},
};

class ExecutorCommands : public ExecutorTest {};

TEST_F(ExecutorCommands, settingsBeginWithTheDefaults) {
    Settings expected{};
    expected.traceLevel = 1;
    expected.defaultClusterMaxPorts = 64;
    expected.finTimeout = {0, 60};
    expected.haTimeout = {0, 5};
    expected.haSyncTimeout = {0, 60};
    expected.defaultPortMaxServers = 256;
    expected.defaultPortStaleTimeout = {0, 300};
    expected.defaultPortWeightBound = 20;
    expected.maxNumberOfClusters = 100;
    expected.header.command = Command::readExecutorSettings;
    expectReply(expected, executorSettings());
}

TEST_F(ExecutorCommands, aFlagOfOneChangesItsSettingOnly) {
    expectFlagsToGovern(kSettings, request<Settings>(Command::writeExecutorSettings), executorSettings);
}

TEST_F(ExecutorCommands, aTextIsKeptWithZerosBehindIt) {
    auto record = request<Settings>(Command::writeExecutorSettings);
    setText(record.configFileName, "farm.cfg");
    record.setConfigFileName = 1;
    Settings expected = executorSettings();
    setText(expected.configFileName, "farm.cfg");
    ASSERT_EQ(send(record), 0);
    EXPECT_EQ(record.setConfigFileName, 1);
    expectReply(expected, executorSettings());

    const std::string longest(255, 'n');
    setText(record.configFileName, longest);
    ASSERT_EQ(send(record), 0);
    EXPECT_STREQ(executorSettings().configFileName, longest.c_str());
}

TEST_F(ExecutorCommands, theTimeZoneFollowsItsOwnFlag) {
    auto record = request<Settings>(Command::writeExecutorSettings);
    record.nfa = address("10.0.0.5");
    record.secondsWestOfGreenwich = {0, 18000};
    record.setNonForwardingAddress = 1;
    record.setSecondsWestOfGreenwich = 0;
    ASSERT_EQ(send(record), 0);
    EXPECT_EQ(executorSettings().nfa.word, address("10.0.0.5").word);
    EXPECT_EQ(executorSettings().secondsWestOfGreenwich.low, 0);
}

TEST_F(ExecutorCommands, aChangeIsAppliedAsAWholeOrNotAtAll) {
    expectRefusals(kRefusals,
                   {"nfa", &Settings::setNonForwardingAddress, [](Settings &r) { r.nfa = address("9.9.9.9"); }},
                   request<Settings>(Command::writeExecutorSettings), executorSettings);
}

TEST_F(ExecutorCommands, theClusterLimitDoesNotGoBelowTheClusters) {
    ClusterRecord first = newCluster(1, "first", "10.1.0.1");
    ClusterRecord second = newCluster(2, "second", "10.1.0.2");
    ASSERT_EQ(send(first), 0);
    ASSERT_EQ(send(second), 0);
    auto record = request<Settings>(Command::writeExecutorSettings);
    record.setMaxNumberOfClusters = 1;
    record.maxNumberOfClusters = 1;
    EXPECT_EQ(send(record), kOutOfRange);
    record.setMaxNumberOfClusters = 1;
    record.maxNumberOfClusters = 2;
    EXPECT_EQ(send(record), 0);
    EXPECT_EQ(executorSettings().maxNumberOfClusters, 2);
}

TEST_F(ExecutorCommands, theReportTellsWhatHappened) {
    ClusterRecord cluster = newCluster(1, "web", "10.1.0.1");
    ASSERT_EQ(send(cluster), 0);
    auto write = request<Settings>(Command::writeExecutorSettings);
    write.setNonForwardingAddress = 1;
    write.nfa = address("10.0.0.5");
    ASSERT_EQ(send(write), 0);
    auto rate = request<ExecutorReportRecord>(Command::setExecutorCps);
    rate.connectionsPerSecond = 4321;
    ASSERT_EQ(send(rate), 0);

    ExecutorReportRecord expected{};
    expected.header.command = Command::readExecutorReport;
    expected.nfa = address("10.0.0.5");
    setText(expected.version, "Reference executor 1.0.0");
    expected.numberOfClusters = 1;
    expected.connectionsPerSecond = 4321;
    const ExecutorReportRecord report = executorReport();
    expected.timeStarted = report.timeStarted;
    expectReply(expected, report);
}

TEST_F(ExecutorCommands, theStartTimeIsTheTimeOfTheStart) {
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
    const auto before = static_cast<int32_t>(std::time(nullptr));
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    const auto after = static_cast<int32_t>(std::time(nullptr));
    EXPECT_GE(executorReport().timeStarted, before);
    EXPECT_LE(executorReport().timeStarted, after);
}

TEST_F(ExecutorCommands, aNegativeRateIsRefused) {
    auto rate = request<ExecutorReportRecord>(Command::setExecutorCps);
    rate.connectionsPerSecond = 7;
    ASSERT_EQ(send(rate), 0);
    rate.connectionsPerSecond = -1;
    EXPECT_EQ(send(rate), kOutOfRange);
    EXPECT_EQ(executorReport().connectionsPerSecond, 7);
}

} // namespace
} // namespace rk
