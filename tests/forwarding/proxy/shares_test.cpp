// Real requests through HAProxy, counted.
#include "proxy/proxy_farm.h"

namespace rk {

namespace {

class ProxyShares : public ProxyFarm {};

TEST_F(ProxyShares, followTheWeights) {
    addPort(kServicePort);
    EXPECT_TRUE(areNear(ask(60), Shares{{"web1", 10}, {"web2", 20}, {"web3", 30}}));
}

TEST_F(ProxyShares, followChangedWeightsWithoutANewWorker) {
    addPort(kServicePort);
    const int before = worker();
    ASSERT_EQ(setWeights(state, kServicePort, {{1, 3}, {2, 2}, {3, 1}}), 0);
    EXPECT_TRUE(areNear(ask(60), Shares{{"web1", 30}, {"web2", 20}, {"web3", 10}}));
    EXPECT_EQ(worker(), before);
}

TEST_F(ProxyShares, ofADownServerGoToTheOthers) {
    addPort(kServicePort);
    const int before = worker();
    ASSERT_EQ(markServer(Command::markServerDown, 3), 0);
    EXPECT_TRUE(areNear(ask(60), Shares{{"web1", 20}, {"web2", 40}}));
    ASSERT_EQ(markServer(Command::markServerUp, 3), 0);
    EXPECT_TRUE(areNear(ask(60), Shares{{"web1", 10}, {"web2", 20}, {"web3", 30}}));
    EXPECT_EQ(worker(), before);
}

TEST_F(ProxyShares, ofAQuiescedServerGoToTheOthers) {
    addPort(kServicePort);
    const int before = worker();
    ServerRecord record = changeServerRequest(kServicePort, 1);
    set(record.setQuiesced, record.quiesced, 1);
    ASSERT_EQ(perform(state, record), 0);
    EXPECT_TRUE(areNear(ask(60), Shares{{"web2", 24}, {"web3", 36}}));
    EXPECT_EQ(worker(), before);
}

TEST_F(ProxyShares, ofAServerWithoutWeightGoToTheOthers) {
    addPort(kServicePort);
    ASSERT_EQ(setWeight(2, 0), 0);
    EXPECT_TRUE(areNear(ask(40), Shares{{"web1", 10}, {"web3", 30}}));
    ASSERT_EQ(setWeight(2, 4), 0);
    EXPECT_TRUE(areNear(ask(80), Shares{{"web1", 10}, {"web2", 40}, {"web3", 30}}));
}

TEST_F(ProxyShares, reachServersThatAreAddedAndLeaveThoseThatAreRemoved) {
    addPort(kServicePort);
    startServers(4);
    const int before = worker();
    addServer(kServicePort, 4, 6);
    EXPECT_TRUE(areNear(ask(60), Shares{{"web1", 5}, {"web2", 10}, {"web3", 15}, {"web4", 30}}));
    ServerRecord record = changeServerRequest(kServicePort, 4);
    record.header.command = Command::removeServer;
    ASSERT_EQ(perform(state, record), 0);
    EXPECT_TRUE(areNear(ask(60), Shares{{"web1", 10}, {"web2", 20}, {"web3", 30}}));
    addServer(kServicePort, 4, 6);
    EXPECT_TRUE(areNear(ask(60), Shares{{"web1", 5}, {"web2", 10}, {"web3", 15}, {"web4", 30}}));
    EXPECT_EQ(worker(), before);
}

TEST_F(ProxyShares, areCountedInReports) {
    addPort(kServicePort);
    Shares shares = ask(60);
    EXPECT_EQ(serverReportOf(1).totalConnections, shares["web1"]);
    EXPECT_EQ(serverReportOf(2).totalTcpConnections, shares["web2"]);
    EXPECT_EQ(serverReportOf(3).completeConnections, shares["web3"]);
    EXPECT_GT(shares["web3"], shares["web1"]);
}

} // namespace

} // namespace rk
