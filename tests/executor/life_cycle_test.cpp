// Starting and stopping.
#include "executor_client.h"

namespace rk {
namespace {

int32_t reasonOfReport() {
    auto record = request<ExecutorReportRecord>(Command::readExecutorReport);
    return send(record);
}

int32_t addOneCluster() {
    ClusterRecord cluster = newCluster(1, "web", "10.1.0.1");
    return send(cluster);
}

TEST(LifeCycle, commandsAreRefusedUnlessStarted) {
    EXPECT_EQ(EXC_UsrExecutorStarted(), 0);
    EXPECT_EQ(reasonOfReport(), kNotStarted);
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    EXPECT_EQ(EXC_UsrExecutorStarted(), 1);
    EXPECT_EQ(reasonOfReport(), 0);
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
    EXPECT_EQ(EXC_UsrExecutorStarted(), 0);
    EXPECT_EQ(reasonOfReport(), kNotStarted);
}

TEST(LifeCycle, aCommandToAStoppedExecutorHasItsFlagsCleared) {
    ClusterRecord cluster = newCluster(1, "web", "10.1.0.1");
    cluster.setMaxPorts = 1;
    EXPECT_EQ(send(cluster), kNotStarted);
    EXPECT_EQ(cluster.setMaxPorts, 0);
    EXPECT_EQ(cluster.setPrimaryHost, kStaleByte);
}

TEST(LifeCycle, aSecondStartIsRefusedAndChangesNothing) {
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    ASSERT_EQ(addOneCluster(), 0);
    EXPECT_EQ(EXC_UsrExecutorInit(), -1);
    EXPECT_EQ(EXC_UsrExecutorStarted(), 1);
    EXPECT_EQ(clusterIds(), std::vector<std::string>{"web"});
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
}

TEST(LifeCycle, aStopWithoutStartIsRefused) {
    EXPECT_EQ(EXC_UsrExecutorTerm(), -1);
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
    EXPECT_EQ(EXC_UsrExecutorTerm(), -1);
}

TEST(LifeCycle, aStartBeginsAfresh) {
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    ASSERT_EQ(addOneCluster(), 0);
    auto write = request<ExecutorSettingsRecord>(Command::writeExecutorSettings);
    write.setTraceLevel = 1;
    write.traceLevel = 5;
    ASSERT_EQ(send(write), 0);
    auto rate = request<ExecutorReportRecord>(Command::setExecutorCps);
    rate.connectionsPerSecond = 7;
    ASSERT_EQ(send(rate), 0);
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);

    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    EXPECT_EQ(executorReport().numberOfClusters, 0);
    EXPECT_EQ(executorReport().connectionsPerSecond, 0);
    EXPECT_EQ(executorSettings().traceLevel, 1);
    EXPECT_EQ(addOneCluster(), 0); // key and address are free again
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
}

TEST(LifeCycle, theProcessIsSetUpAndCleanedUpOnce) {
    EXPECT_EQ(EXC_UsrExecutorProcessTerm(), -1);
    EXPECT_EQ(EXC_UsrExecutorProcessInit(), 0);
    EXPECT_EQ(EXC_UsrExecutorProcessInit(), -1);
    EXPECT_EQ(EXC_UsrExecutorStarted(), 0);
    EXPECT_EQ(EXC_UsrExecutorProcessTerm(), 0);
    EXPECT_EQ(EXC_UsrExecutorProcessTerm(), -1);
    EXPECT_EQ(EXC_UsrExecutorProcessInit(), 0);
    EXPECT_EQ(EXC_UsrExecutorProcessTerm(), 0);
}

TEST(LifeCycle, cleaningUpStopsARunningExecutor) {
    ASSERT_EQ(EXC_UsrExecutorProcessInit(), 0);
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    EXPECT_EQ(EXC_UsrExecutorProcessTerm(), 0);
    EXPECT_EQ(EXC_UsrExecutorStarted(), 0);
    EXPECT_EQ(EXC_UsrExecutorTerm(), -1);
}

} // namespace
} // namespace rk
