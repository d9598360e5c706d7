#include "proxy/proxy_farm.h"

#include "executor/forwarding/proxy/replies.h"
#include "executor/forwarding/proxy/talk.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace rk {

namespace {

// What is in a file of a process; empty when it has ended.
std::string read(int process, const char *name) {
    std::ostringstream text;
    text << std::ifstream("/proc/" + std::to_string(process) + "/" + name).rdbuf();
    return text.str();
}

std::string commandLine(int process) {
    return read(process, "cmdline");
}

int parentOf(int process) {
    const std::string text = read(process, "stat");
    const std::size_t end = text.rfind(") ");
    return end == std::string::npos ? 0 : std::atoi(text.c_str() + end + 4);
}

bool isBelow(int process, int ancestor) {
    while (process > 1 && process != ancestor)
        process = parentOf(process);
    return process == ancestor;
}

std::string nameOf(uint32_t serverKey) {
    return "web" + std::to_string(serverKey);
}

} // namespace

std::string ownAddress(int last) {
    const auto process = static_cast<unsigned>(getpid());
    return "127." + std::to_string(16 + (process >> 8) % 200) + "." + std::to_string(process & 255) + "." +
           std::to_string(last);
}

std::string serverAddress(uint32_t serverKey) {
    return ownAddress(20 + static_cast<int>(serverKey));
}

std::vector<int> proxyProcesses(int ancestor) {
    std::vector<int> processes;
    for (const auto &entry : std::filesystem::directory_iterator("/proc")) {
        const int process = std::atoi(entry.path().filename().c_str());
        if (process > 0 && commandLine(process).find("/qelxw-proxy-") != std::string::npos &&
            isBelow(process, ancestor))
            processes.push_back(process);
    }
    return processes;
}

std::string proxyFolder(int process) {
    const std::string line = commandLine(process);
    constexpr std::string_view kFolder = "/tmp/qelxw-proxy-XXXXXX";
    const std::size_t begin = line.find(kFolder.substr(0, kFolder.find('X')));
    return begin == std::string::npos ? "" : line.substr(begin, kFolder.size());
}

testing::AssertionResult areNear(const Shares &shares, const Shares &expected) {
    const auto isNear = [&shares](const auto &item) {
        const auto share = shares.find(item.first);
        return share != shares.end() && std::abs(share->second - item.second) <= 2;
    };
    if (shares.size() == expected.size() && std::all_of(expected.begin(), expected.end(), isNear))
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << testing::PrintToString(shares) << " and not "
                                       << testing::PrintToString(expected);
}

void ProxyFarm::SetUp() {
    if (findProxyProgram().empty())
        GTEST_SKIP() << "without HAProxy (Debian's package haproxy)";
    cluster = ownAddress(10);
    startFarm(state, cluster.c_str());
    LogText words;
    ASSERT_TRUE(openProxyEngine(forwarding.engine, words)) << words.text;
    const bool hasBegun = beginForwarding(state, forwarding, words);
    if (!hasBegun)
        forwarding.engine.close(forwarding.engine.own);
    ASSERT_TRUE(hasBegun) << words.text;
}

void ProxyFarm::TearDown() {
    if (state.forwarding != nullptr)
        endForwarding(state, forwarding);
    for (auto &[key, server] : servers)
        stopWebServer(*server);
    EXPECT_EQ(proxyProcesses(getpid()), std::vector<int>{}) << "HAProxy is left behind";
}

void ProxyFarm::startServer(uint32_t serverKey, const std::string &address) {
    servers[serverKey] = startWebServer(nameOf(serverKey), address, kServerPort);
    ASSERT_NE(servers[serverKey], nullptr) << address;
}

void ProxyFarm::startServers(uint32_t count) {
    for (uint32_t key = 1; key <= count; ++key) {
        if (!servers.contains(key))
            startServer(key, serverAddress(key));
    }
}

void ProxyFarm::addServer(int portNumber, uint32_t serverKey, int16_t weight, const char *source) {
    ServerRecord record = addServerRequest(portNumber, serverKey, nameOf(serverKey).c_str(), weight);
    setListeners(record, {{serverAddress(serverKey).c_str(), kServerPort}});
    if (source != nullptr) {
        record.setReturnAddress = 1;
        record.returnAddress = address(source);
    }
    ASSERT_EQ(perform(state, record), 0);
}

void ProxyFarm::addPort(int number, const std::vector<int16_t> &weights, int32_t method) {
    startServers(static_cast<uint32_t>(weights.size()));
    PortRecord record = addPortRequest(number, kPortTypeTcp, method);
    set(record.setWeightBound, record.weightBound, 100);
    ASSERT_EQ(perform(state, record), 0);
    for (uint32_t key = 1; key <= weights.size(); ++key)
        addServer(number, key, weights[key - 1]);
}

void ProxyFarm::addRule(const char *name, RuleRecord record, const std::vector<uint32_t> &members) {
    ASSERT_EQ(perform(state, record), 0);
    for (const uint32_t member : members)
        addMember(state, hostOrder(record.port), name, member);
}

int32_t ProxyFarm::markServer(Command command, uint32_t serverKey) {
    ServerCommandRecord record{};
    record.header.command = command;
    record.header.length = sizeof record;
    record.clusterKey = kCluster;
    record.port = port(kServicePort);
    record.numberOfServers = 1;
    record.serverKey = serverKey;
    return perform(state, record);
}

int32_t ProxyFarm::setWeight(uint32_t serverKey, int16_t weight) {
    return setWeights(state, kServicePort, {{serverKey, weight}});
}

Shares ProxyFarm::ask(int count, const Client &client, int number) {
    return requests(count, cluster, number, client);
}

std::string ProxyFarm::askOnce(const Client &client, int number) {
    return request(cluster, number, client);
}

int ProxyFarm::connectTo(const Client &client, int number) {
    return openConnection(cluster, number, client);
}

Counts ProxyFarm::countsOf(uint32_t serverKey) {
    const PortId id{planAddress(address(cluster.c_str())), kServicePort};
    const Pool &pool = forwarding.plan.pools.at(PoolId{id, Transport::tcp, std::nullopt});
    Counts counts;
    EXPECT_TRUE(forwarding.engine.readServer(forwarding.engine.own, pool, pool.servers.at(serverKey), counts));
    return counts;
}

ServerReportRecord ProxyFarm::serverReportOf(uint32_t serverKey, int number) {
    ServerReportRecord record{};
    record.header.command = Command::readServerReport;
    record.header.length = sizeof record;
    record.clusterKey = kCluster;
    record.port = port(number);
    record.serverKey = serverKey;
    EXPECT_EQ(perform(state, record), 0);
    return record;
}

int ProxyFarm::worker() {
    const std::vector<int> processes = proxyProcesses(getpid());
    std::string reply;
    if (processes.empty() || !rk::ask(proxyFolder(processes.front()) + "/worker", "show info", reply))
        return 0;
    return parseProcess(reply);
}

} // namespace rk
