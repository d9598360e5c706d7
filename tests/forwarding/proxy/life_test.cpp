// HAProxy as a child: it ends with its host, leaves nothing behind, and gets nothing of the host's. Nothing that is
// changed loses a request.
#include "proxy/proxy_farm.h"

#include <atomic>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/wait.h>
#include <unistd.h>

namespace rk {

namespace {

class ProxyLife : public ProxyFarm {};

bool isGone(int process) {
    return kill(process, 0) != 0;
}

// The files that a process has open, by their descriptors.
std::map<int, std::string> filesOf(int process) {
    std::map<int, std::string> files;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd", error))
        files[std::atoi(entry.path().filename().c_str())] = std::filesystem::read_symlink(entry.path(), error).string();
    return files;
}

// What this process was given, and is not ours.
const std::map<int, std::string> inherited = filesOf(getpid());

TEST_F(ProxyLife, endsSoonAfterItsHostWasKilled) {
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t host = fork();
    if (host == 0) {
        Engine engine;
        LogText words;
        const char isOpen = openProxyEngine(engine, words) ? 'y' : 'n';
        (void)!write(ready[1], &isOpen, 1);
        pause();
        _exit(0);
    }
    char isOpen = 0;
    ASSERT_EQ(read(ready[0], &isOpen, 1), 1);
    ASSERT_EQ(isOpen, 'y');
    const std::vector<int> processes = proxyProcesses(host);
    EXPECT_EQ(processes.size(), 3U); // the shell, HAProxy and its worker
    const std::string folder = proxyFolder(processes.at(0));
    EXPECT_EQ(std::filesystem::status(folder).permissions(), std::filesystem::perms::owner_all);
    kill(host, SIGKILL);
    waitpid(host, nullptr, 0);
    for (const int process : processes)
        EXPECT_TRUE(comesTrue([process] { return isGone(process); })) << process;
    EXPECT_TRUE(comesTrue([&folder] { return !std::filesystem::exists(folder); }));
    close(ready[0]);
    close(ready[1]);
}

// A copy of the host that runs no other program keeps neither HAProxy nor a worker that was replaced.
TEST_F(ProxyLife, endsThoughAForkOfItsHostLivesOn) {
    int ready[2];
    int leash[2]; // of the fork: it ends with this process
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(leash), 0);
    const pid_t host = fork();
    if (host == 0) {
        close(leash[1]);
        Engine engine;
        LogText words;
        if (openProxyEngine(engine, words) && fork() == 0) {
            char nothing = 0;
            (void)!write(ready[1], "f", 1);
            (void)!read(leash[0], &nothing, 1);
            _exit(0);
        }
        pause();
        _exit(0);
    }
    char isForked = 0;
    close(ready[1]); // so that reading ends when the host fails
    ASSERT_EQ(read(ready[0], &isForked, 1), 1);
    std::vector<int> processes;
    EXPECT_TRUE(comesTrue([&] { // one that is about to run another program has no command line
        processes = proxyProcesses(host);
        return processes.size() == 3;
    })) << processes.size();
    kill(host, SIGKILL);
    waitpid(host, nullptr, 0);
    for (const int process : processes)
        EXPECT_TRUE(comesTrue([process] { return isGone(process); })) << process;
    close(ready[0]);
    close(leash[0]);
    close(leash[1]);
}

TEST_F(ProxyLife, sharesNoFileWithItsHost) {
    const int file = open("/dev/zero", O_RDONLY); // is meant for programs that the host starts
    ASSERT_GE(file, 0);
    addPort(kServicePort);
    const std::map<int, std::string> own = filesOf(getpid());
    for (const int process : proxyProcesses(getpid())) {
        for (const auto &[descriptor, name] : filesOf(process)) {
            EXPECT_NE(name, "/dev/zero");
            if (name.starts_with("socket:") || (name.starts_with("pipe:") && descriptor != 0)) {
                for (const auto &[number, ours] : own)
                    EXPECT_NE(name, ours) << process << " has " << descriptor << ", which is ours as " << number;
            }
        }
    }
    for (const auto &[number, name] : own) {
        const bool isOurs = number != file && !inherited.contains(number);
        EXPECT_TRUE(!isOurs || (fcntl(number, F_GETFD) & FD_CLOEXEC) != 0) << number << " " << name;
    }
    close(file);
}

TEST_F(ProxyLife, isNotHurtByAHostThatClosesDescriptors) {
    addPort(kServicePort);
    const std::map<int, std::string> own = filesOf(getpid());
    const int listeners[] = {servers[1]->listener, servers[2]->listener, servers[3]->listener,
                             servers[1]->waker,    servers[2]->waker,    servers[3]->waker};
    for (const auto &[number, name] : own) {
        const bool isServers = std::find(std::begin(listeners), std::end(listeners), number) != std::end(listeners);
        if (number > 2 && !isServers && (name.starts_with("socket:") || name.starts_with("pipe:")))
            close(number);
    }
    // What the host opens now has the numbers that we had.
    std::vector<int> files;
    char name[] = "/tmp/proxy-life-XXXXXX";
    files.push_back(mkstemp(name));
    while (files.size() < 20)
        files.push_back(open(name, O_RDWR));
    ASSERT_EQ(setWeights(state, kServicePort, {{1, 1}, {2, 1}, {3, 0}}), 0);
    EXPECT_EQ(ask(4), (Shares{{"web1", 2}, {"web2", 2}}));
    endForwarding(state, forwarding);
    for (const int file : files)
        EXPECT_EQ(close(file), 0);
    EXPECT_EQ(std::filesystem::file_size(name), 0U);
    unlink(name);
}

TEST_F(ProxyLife, isStartedAnewAfterItWasKilled) {
    addPort(kServicePort);
    ask(6);
    EXPECT_EQ(countsOf(3).totals.connections, 3U);
    kill(worker(), SIGKILL);
    EXPECT_TRUE(comesTrue([this] { return worker() == 0; }));
    LogText words;
    tickForwarding(state, words);
    EXPECT_NE(std::string(words.text).find("started anew"), std::string::npos);
    EXPECT_EQ(ask(6), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
    EXPECT_EQ(countsOf(3).totals.connections, 6U);
}

// Something that is changed while clients ask.
struct ChangeWhileAsking {
    const char *name;
    std::function<void()> perform;
};

class ProxyLosesNothing : public ProxyLife, public testing::WithParamInterface<int32_t> {
protected:
    std::vector<ChangeWhileAsking> changes();

    void removeServer(uint32_t serverKey) {
        ServerRecord record = changeServerRequest(kServicePort, serverKey);
        record.header.command = Command::removeServer;
        ASSERT_EQ(perform(state, record), 0);
    }

    void removeRule(const char *name) {
        RuleRecord record = changeRuleRequest(kServicePort, name);
        record.header.command = Command::removeRule;
        ASSERT_EQ(perform(state, record), 0);
    }

    void quiesce(uint32_t serverKey, uint8_t quiesced) {
        ServerRecord record = changeServerRequest(kServicePort, serverKey);
        set(record.setQuiesced, record.quiesced, quiesced);
        ASSERT_EQ(perform(state, record), 0);
    }

    void stick(int32_t seconds) {
        PortRecord record = changePortRequest(kServicePort);
        set(record.setStickyTime, record.stickyTime, splitInt64(seconds));
        ASSERT_EQ(perform(state, record), 0);
    }
};

std::vector<ChangeWhileAsking> ProxyLosesNothing::changes() {
    return {
        {"weights",
         [this] {
             ASSERT_EQ(setWeights(state, kServicePort, {{1, 5}, {2, 5}, {3, 5}}), 0);
         }},
        {"weight 0", [this] { ASSERT_EQ(setWeight(1, 0), 0); }},
        {"its weight again", [this] { ASSERT_EQ(setWeight(1, 5), 0); }},
        {"down", [this] { ASSERT_EQ(markServer(Command::markServerDown, 1), 0); }},
        {"quiesced", [this] { quiesce(2, 1); }},
        {"up", [this] { ASSERT_EQ(markServer(Command::markServerUp, 1), 0); }},
        {"no longer quiesced", [this] { quiesce(2, 0); }},
        {"a server more", [this] { addServer(kServicePort, 4, 5); }},
        {"a server less", [this] { removeServer(3); }},
        {"it comes again", [this] { addServer(kServicePort, 3, 5); }},
        {"a rule", [this] { addRule("one", addRuleRequest(kServicePort, "one", 3, 1, 1, 1), {1}); }},
        {"a rule for all",
         [this] {
             addRule("all", addRuleRequest(kServicePort, "all", 0, 0, 0, 2), {2, 3});
         }},
        {"clients that stick", [this] { stick(60); }},
        {"the rule's server down", [this] { ASSERT_EQ(markServer(Command::markServerDown, 2), 0); }},
        {"a rule less", [this] { removeRule("all"); }},
        {"another port", [this] { addPort(kServicePort + 1); }},
        {"no clients that stick", [this] { stick(0); }},
        {"a bound client", [this] { ASSERT_EQ(directClient(state, kServicePort, "127.0.0.1", 4), 0); }},
        {"its server less", [this] { removeServer(4); }},
    };
}

TEST_P(ProxyLosesNothing, whateverIsChanged) {
    addPort(kServicePort, {1, 2, 3}, GetParam());
    startServers(4);
    std::atomic<bool> isOver{false};
    std::atomic<int> asked{0};
    std::vector<Shares> shares(2); // of each client
    std::vector<std::thread> clients;
    for (Shares &own : shares) {
        clients.emplace_back([&] {
            while (!isOver) {
                ++own[askOnce()];
                ++asked;
            }
        });
    }
    for (const ChangeWhileAsking &change : changes()) {
        const int before = asked;
        EXPECT_TRUE(comesTrue([&] { return asked >= before + 5; }));
        SCOPED_TRACE(change.name);
        ASSERT_NO_FATAL_FAILURE(change.perform());
    }
    isOver = true;
    for (std::thread &client : clients)
        client.join();
    for (const Shares &own : shares)
        EXPECT_FALSE(own.contains("")) << own.at("") << " lost";

    // Reports of those that stayed agree with what was sent, over all workers and rules that there have been.
    for (uint32_t key = 1; key <= 2; ++key) {
        const std::string name = "web" + std::to_string(key);
        EXPECT_EQ(serverReportOf(key).totalTcpConnections, shares[0][name] + shares[1][name]) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Methods, ProxyLosesNothing, testing::Values(kMethodTranslation, kMethodContent),
                         [](const auto &method) { return method.param == kMethodContent ? "content" : "translation"; });

TEST_F(ProxyLife, heldConnectionsGoOn) {
    addPort(kServicePort);
    std::map<int, std::string> held;
    for (int index = 0; index < 6; ++index) {
        const int connection = connectTo();
        ASSERT_GE(connection, 0);
        held[connection] = askServer(connection);
    }
    const auto expectAllGoOn = [&held](const char *after) {
        for (const auto &[connection, server] : held)
            EXPECT_EQ(askServer(connection), server) << after;
    };
    ASSERT_EQ(setWeights(state, kServicePort, {{1, 5}, {2, 0}, {3, 5}}), 0);
    expectAllGoOn("weights");
    ASSERT_EQ(markServer(Command::markServerDown, 3), 0);
    expectAllGoOn("a server is down");
    addRule("one", addRuleRequest(kServicePort, "one", 3, 1, 1, 1), {1});
    expectAllGoOn("a new worker");
    addRule("two", addRuleRequest(kServicePort, "two", 3, 2, 2, 2), {1});
    ServerRecord record = changeServerRequest(kServicePort, 3);
    record.header.command = Command::removeServer;
    ASSERT_EQ(perform(state, record), 0);
    expectAllGoOn("a server is removed");
    EXPECT_EQ(countsOf(2).active, 2U);
    std::vector<LiveConnection> connections;
    ASSERT_TRUE(forwarding.engine.listConnections(forwarding.engine.own, forwarding.plan, nullptr, connections));
    EXPECT_EQ(connections.size(), 3U); // those of the server that was removed are nobody's now
    for (const auto &[connection, server] : held)
        close(connection);
    EXPECT_TRUE(comesTrue([this] { return countsOf(2).active == 0U; }));
    EXPECT_EQ(countsOf(2).totals.connections, 2U);
    EXPECT_TRUE(comesTrue([this] {
        LogText words;
        tickForwarding(state, words);
        return proxyProcesses(getpid()).size() == 3U;
    })) << "former workers do not end";
}

// Those that came before a change began, however shortly.
TEST_F(ProxyLife, stickyClientsOutliveNewWorkers) {
    addPort(kServicePort);
    PortRecord record = changePortRequest(kServicePort);
    set(record.setStickyTime, record.stickyTime, splitInt64(300));
    ASSERT_EQ(perform(state, record), 0);
    const auto clientOf = [](std::size_t index) {
        Client client;
        client.from = "127.240." + std::to_string(index / 250) + "." + std::to_string(1 + index % 250);
        return client;
    };
    std::vector<std::string> firstServers; // of client 0, 1 ...
    for (int change = 1; change <= 3; ++change) {
        for (int client = 0; client < 500; ++client)
            firstServers.push_back(askOnce(clientOf(firstServers.size())));
        const std::string name = std::to_string(change);
        const int before = worker();
        addRule(name.c_str(), addRuleRequest(kServicePort, name.c_str(), 3, 1, 1, change), {1});
        EXPECT_NE(worker(), before);
    }
    std::size_t moved = 0;
    for (std::size_t index = 0; index < firstServers.size(); ++index)
        moved += askOnce(clientOf(index)) == firstServers[index] ? 0 : 1;
    EXPECT_EQ(moved, 0U);
}

TEST_F(ProxyLife, connectionsAreResetWithTheirServerWhereThePortSaysSo) {
    addPort(kServicePort, {1});
    PortRecord port = changePortRequest(kServicePort);
    set(port.setSendReset, port.sendReset, 1);
    ASSERT_EQ(perform(state, port), 0);
    const int connection = connectTo();
    ASSERT_EQ(askServer(connection), "web1");
    ServerRecord record = changeServerRequest(kServicePort, 1);
    record.header.command = Command::removeServer;
    ASSERT_EQ(perform(state, record), 0);
    EXPECT_EQ(askServer(connection), "");
    close(connection);
}

TEST_F(ProxyLife, whatHAProxyRefusesChangesNothing) {
    addPort(kServicePort, {1, 2, 3}, kMethodContent);
    const int before = worker();
    RuleRecord record = addRuleRequest(kServicePort, "odd", 8, 0, 0, 1);
    record.setPattern = 1;
    setText(record.pattern, "^/(");
    ASSERT_EQ(perform(state, record), 0); // without a server it is not asked
    auto member = request<RuleMembershipRecord>(Command::addServerToRule);
    member.clusterKey = kCluster;
    member.port = port(kServicePort);
    member.serverKey = 1;
    setText(member.ruleName, "odd");
    EXPECT_EQ(perform(state, member), kForwardingRefused);
    EXPECT_EQ(ask(6), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));

    // An address that is taken.
    startServer(9, cluster);
    EXPECT_EQ(perform(state, addPortRequest(kServerPort)), kForwardingRefused);
    EXPECT_EQ(ask(6), (Shares{{"web1", 1}, {"web2", 2}, {"web3", 3}}));
    EXPECT_EQ(countsOf(3).totals.connections, 6U);
    EXPECT_NE(worker(), 0);
    EXPECT_NE(before, 0);
    EXPECT_NE(textOf(state.trace).find("cannot listen on"), std::string::npos);
}

TEST(ProxyMissing, isToldInWords) {
    setenv("QELXW_HAPROXY", "/nonexistent/haproxy", 1);
    Engine engine;
    LogText words;
    EXPECT_FALSE(openProxyEngine(engine, words));
    EXPECT_STREQ(words.text, "there is no HAProxy (Debian's package haproxy)");
    EXPECT_EQ(proxyProcesses(getpid()), std::vector<int>{});
    unsetenv("QELXW_HAPROXY");
}

} // namespace

} // namespace rk
