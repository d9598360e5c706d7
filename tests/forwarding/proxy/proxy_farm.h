// A farm on loopback: an executor with HAProxy as its engine, and web servers behind it. Its addresses are this
// process's own, so that tests may run side by side.
#pragma once

#include "executor/forwarding/forwarding.h"
#include "executor/forwarding/proxy/child.h"
#include "executor/forwarding/proxy/proxy_engine.h"
#include "farm.h"
#include "proxy/web_servers.h"

#include <gtest/gtest.h>

namespace rk {

inline constexpr int kServicePort = 8080; // of the cluster
inline constexpr int kServerPort = 8081;  // of the servers

// 127.x.y.`last`
std::string ownAddress(int last);

// The cluster's is ownAddress(10); server 1's is ownAddress(21), and so on.
std::string serverAddress(uint32_t serverKey);

// The processes below one that belong to its HAProxy: the shell that minds it as well.
std::vector<int> proxyProcesses(int ancestor);

// The private folder of such a process.
std::string proxyFolder(int process);

// Whether each server has what it is expected to have, or a few more or less: a round of turns begins where the one
// before was when something changed.
testing::AssertionResult areNear(const Shares &shares, const Shares &expected);

// Whether something becomes true within seconds.
template <typename Done> bool comesTrue(const Done &isTrue) {
    for (int attempt = 0; attempt < 1000; ++attempt) {
        if (isTrue())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

// Without HAProxy its tests are skipped.
class ProxyFarm : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // A port with the servers web1 to web3, which are started at the first call.
    void addPort(int number, const std::vector<int16_t> &weights = {1, 2, 3}, int32_t method = kMethodTranslation);
    void addServer(int portNumber, uint32_t serverKey, int16_t weight, const char *source = nullptr);
    void startServer(uint32_t serverKey, const std::string &address);
    void startServers(uint32_t count);
    void addRule(const char *name, RuleRecord record, const std::vector<uint32_t> &members);
    int32_t markServer(Command command, uint32_t serverKey);
    int32_t setWeight(uint32_t serverKey, int16_t weight);

    Shares ask(int count, const Client &client = {}, int number = kServicePort);
    std::string askOnce(const Client &client = {}, int number = kServicePort);
    int connectTo(const Client &client = {}, int number = kServicePort);
    Counts countsOf(uint32_t serverKey); // of the port's own pool
    ServerReportRecord serverReportOf(uint32_t serverKey, int number = kServicePort);

    // Process of the worker that takes connections: another one after a reload.
    int worker();

    std::string cluster;
    ExecutorState state;
    Forwarding forwarding;
    std::map<uint32_t, std::unique_ptr<WebServer>> servers;
};

} // namespace rk
