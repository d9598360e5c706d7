// What the kernel engine takes to configure, change, read and remove, to be run in a guest: forwarding_bench FOLDER
// It leaves in FOLDER the same farms as input for `ipvsadm -R` and `nft -f`, to be timed beside. One line a figure:
// NAME MILLISECONDS.
#include "executor/forwarding/kernel/kernel_engine.h"
#include "executor/forwarding/kernel/mark_rules.h"
#include "executor/forwarding/kernel/pool_services.h"
#include "tests/kernel/plans.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>

namespace {

using namespace rk;

constexpr int kPorts = 1000;
constexpr int kServersPerPort = 10;
constexpr int kServersPerRule = 2;
constexpr int kServersOfOnePort = 10'000;
constexpr int kRounds = 20; // of what is short

// Runs `work` and says how long it took.
template <typename Work> void timed(const char *name, int rounds, Work work) {
    const auto began = std::chrono::steady_clock::now();
    for (int round = 0; round < rounds; ++round)
        work(round);
    const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - began;
    std::printf("%s %.3f\n", name, taken.count() / rounds);
    std::fflush(stdout);
}

std::string serverAddress(int number) {
    return "10.3." + std::to_string(number / 250) + "." + std::to_string(number % 250 + 1);
}

void addServers(Pool &pool, int count) {
    for (int number = 0; number < count; ++number) {
        PoolServer server;
        server.key = static_cast<uint32_t>(number) + 1;
        server.endpoint = plans::endpoint(serverAddress(number), 80);
        server.weight = 1;
        pool.keyOfEndpoint[server.endpoint] = server.key;
        pool.servers.emplace(server.key, server);
    }
}

Plan manyPorts() {
    Plan plan;
    for (int port = 1; port <= kPorts; ++port)
        addServers(plans::pool(plan, "10.9.0.1", static_cast<uint16_t>(port)), kServersPerPort);
    plans::settle(plan);
    return plan;
}

// Each port has a rule, so that there are as many marks.
Plan manyRules() {
    Plan plan = manyPorts();
    for (int port = 1; port <= kPorts; ++port) {
        const auto number = static_cast<uint16_t>(port);
        addServers(plans::pool(plan, "10.9.0.1", number, "office"), kServersPerRule);
        Selector &selector = plans::selector(plan, "10.9.0.1", number, 1, "office", Match::clientAddress);
        selector.firstAddress = plans::address("10.1.0.16");
        selector.lastAddress = plans::address("10.1.0.31");
    }
    plans::settle(plan);
    return plan;
}

Plan manyServers() {
    Plan plan;
    addServers(plans::pool(plan, "10.9.0.1", 80), kServersOfOnePort);
    plans::settle(plan);
    return plan;
}

std::string serviceText(const IpvsServiceKey &service) {
    return service.mark != 0 ? "-f " + std::to_string(service.mark) : "-t 10.9.0.1:" + std::to_string(service.port);
}

// The plan as input for ipvsadm -R and nft -f, and what takes it away again.
void writeForTools(const Plan &plan, const std::string &path) {
    MarkNumbers marks;
    std::ofstream add(path);
    std::ofstream remove(path + ".removed");
    for (const auto &[key, state] : servicesOf(plan, "wrr", marks)) {
        const std::string service = serviceText(key);
        add << "-A " << service << " -s wrr\n";
        remove << "-D " << service << "\n";
        for (const auto &[server, settings] : state.servers)
            add << "-a " << service << " -r " << describe(server) << " -m -w " << settings.weight << "\n";
    }
    std::ofstream(path + ".nft") << markRules(plan, marks);
    std::ofstream(path + ".removed.nft") << removeMarkRules();
}

void must(bool isDone, const LogText &words) {
    if (isDone)
        return;
    std::fprintf(stderr, "forwarding_bench: %s\n", words.text);
    std::exit(1);
}

void apply(Engine &engine, const Plan &before, const Plan &after) {
    const PlanChange change = plans::changeBetween(before, after);
    std::vector<EndedCounts> ended;
    LogText words;
    must(engine.apply(engine.own, after, change, ended, words), words);
}

void measure(Engine &engine, const Plan &plan, const char *name) {
    const Plan none;
    const auto called = [name](const char *what) { return std::string(name) + "_" + what; };
    timed(called("made").c_str(), 1, [&](int) { apply(engine, none, plan); });
    Plan other = plan;
    Pool &pool = other.pools.rbegin()->second;
    PoolServer &server = pool.servers.rbegin()->second;
    PoolServer before = server;
    std::vector<EndedCounts> ended;
    timed(called("weight").c_str(), kRounds, [&](int round) {
        before = server;
        server.weight = 2 + round;
        PlanChange change;
        change.servers.push_back({&pool, {&before, &server}});
        LogText words;
        must(engine.apply(engine.own, other, change, ended, words), words);
    });
    timed(called("read").c_str(), 1, [&](int) {
        Counts counts;
        for (const auto &[id, each] : other.pools)
            for (const auto &[key, one] : each.servers)
                if (!engine.readServer(engine.own, each, one, counts))
                    must(false, LogText{});
    });
    timed(called("removed").c_str(), 1, [&](int) { apply(engine, other, none); });
}

} // namespace

int main(int count, char **arguments) {
    if (count != 2)
        return 2;
    KernelEngineOptions options;
    options.journalFolder = "/run/forwarding_bench";
    Engine engine;
    std::string words;
    if (!openKernelEngine(options, engine, words)) {
        std::fprintf(stderr, "forwarding_bench: %s\n", words.c_str());
        return 1;
    }
    const std::string folder = arguments[1];
    const Plan ports = manyPorts();
    const Plan rules = manyRules();
    const Plan servers = manyServers();
    measure(engine, ports, "ports");
    measure(engine, rules, "rules");
    measure(engine, servers, "servers");
    engine.close(engine.own);
    writeForTools(ports, folder + "/ports");
    writeForTools(rules, folder + "/rules");
    writeForTools(servers, folder + "/servers");
    return 0;
}
