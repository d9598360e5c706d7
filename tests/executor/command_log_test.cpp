// The command log, and the paths that lead to it.
#include "executor_client.h"
#include "rk/ha_records.h"

#include <filesystem>
#include <fstream>
#include <regex>
#include <sys/stat.h>
#include <unistd.h>

namespace rk {
namespace {

class CommandLog : public ExecutorTest {
protected:
    void SetUp() override {
        ExecutorTest::SetUp();
        char name[] = "/tmp/command_log_test_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        folder = name;
    }

    void TearDown() override {
        EXPECT_EQ(EXC_UsrExecutorSetLog(""), 1);
        for (const char *file : {"/a.log", "/b.log"})
            unlink((folder + file).c_str());
        EXPECT_EQ(rmdir(folder.c_str()), 0);
        ExecutorTest::TearDown();
    }

    int32_t setLog(const char *file) {
        return EXC_UsrExecutorSetLog((folder + file).c_str());
    }

    // The lines of a log without the time at their beginning, which is to look like one.
    std::vector<std::string> linesOf(const char *file) {
        static const std::regex timed("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ (.*)");
        std::ifstream stream(folder + file);
        std::vector<std::string> lines;
        for (std::string line; std::getline(stream, line);) {
            std::smatch parts;
            EXPECT_TRUE(std::regex_match(line, parts, timed)) << line;
            lines.push_back(parts[1]);
        }
        return lines;
    }

    std::string folder;
};

TEST_F(CommandLog, eachCommandIsALine) {
    ASSERT_EQ(setLog("/a.log"), 1);
    ClusterRecord cluster = newCluster(0xC4, "web", "10.1.0.1");
    ASSERT_EQ(send(cluster), 0);
    EXPECT_EQ(send(cluster), kClusterExists);
    auto report = request<ExecutorReportRecord>(Command::readExecutorReport);
    ASSERT_EQ(send(report), 0);
    auto list = listRequest<ClusterListBlock, ClusterListEntry>(Command::listClusters, 1);
    ASSERT_EQ(send(list), 0);
    ClusterRecord removal = clusterRequest(Command::removeCluster, 0xC4);
    ASSERT_EQ(send(removal), 0);
    EXPECT_EQ(send(removal), kUnknownCluster);
    EXPECT_EQ(linesOf("/a.log"), (std::vector<std::string>{
                                     "addCluster cluster=web(0x000000c4) result=0",
                                     "addCluster cluster=web(0x000000c4) result=-1 reason=-8 (cluster exists already)",
                                     "readExecutorReport result=0",
                                     "listClusters result=0",
                                     "removeCluster cluster=web(0x000000c4) result=0",
                                     "removeCluster cluster=(0x000000c4) result=-1 reason=-5 (unknown cluster)",
                                 }));
}

TEST_F(CommandLog, aLineTellsTheKeysOfItsCommand) {
    addTestCluster();
    ASSERT_EQ(setLog("/a.log"), 1);
    addTestPort();
    addTestServer(7, "10.3.0.1");
    addTestRule("any");
    addTestMember("any", 7);
    ServerListRequest members = ruleServerListRequest("any", 1);
    ASSERT_EQ(send(members), 0);
    ServerListRequest servers = serverListRequest(1);
    setText(servers.block().ruleName, "stale");
    ASSERT_EQ(send(servers), 0);
    serverReport(7);
    ServerRecord settings = serverRequest(Command::writeServerSettings, 8);
    setText(settings.serverId, "stale");
    EXPECT_EQ(send(settings), kUnknownServer);
    WeightsRequest weights = weightsRequest(Command::readServerWeights, 1);
    ASSERT_EQ(send(weights), 0);
    ServerRecord removal = serverRequest(Command::removeServer, 7);
    ASSERT_EQ(send(removal), 0);
    const std::string onPort = " cluster=web(0x000000c4) port=80";
    const std::string server = " server=10.3.0.1(0x00000007)";
    EXPECT_EQ(linesOf("/a.log"),
              (std::vector<std::string>{
                  "addPort" + onPort + " result=0",
                  "addServer" + onPort + server + " result=0",
                  "addRule" + onPort + " rule=any result=0",
                  "addServerToRule" + onPort + server + " rule=any result=0",
                  "listRuleServers" + onPort + " rule=any result=0",
                  "listServers" + onPort + " result=0",
                  "readServerReport" + onPort + server + " result=0",
                  "writeServerSettings" + onPort + " server=(0x00000008) result=-1 reason=-11 (unknown server)",
                  "readServerWeights" + onPort + " result=0",
                  "removeServer" + onPort + server + " result=0",
              }));
}

TEST_F(CommandLog, refusalsOfAnyCommandAreLines) {
    ASSERT_EQ(setLog("/a.log"), 1);
    auto unknown = request<HeaderRecord>(Command{38});
    EXPECT_EQ(send(unknown), kUnknownCommand);
    auto tooShort = request<HeaderRecord>(Command::addCluster);
    EXPECT_EQ(send(tooShort), kWrongLength);
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
    auto stopped = request<ExecutorReportRecord>(Command::readExecutorReport);
    EXPECT_EQ(send(stopped), kNotStarted);
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    EXPECT_EQ(linesOf("/a.log"), (std::vector<std::string>{
                                     "unknownCommand command=38 result=-1 reason=-101 (unknown command)",
                                     "addCluster result=-1 length=16 reason=-102 (length does not fit the command)",
                                     "readExecutorReport result=-1 reason=-100 (executor not started)",
                                 }));
}

TEST_F(CommandLog, aLineTellsTheAddressesOfItsCommand) {
    addTestCluster();
    addTestPort();
    ASSERT_EQ(setLog("/a.log"), 1);
    const auto sendHa = [](Command command, uint32_t first, uint32_t second, uint32_t third) {
        auto record = request<HaControlRecord>(command);
        record.first = first;
        record.second = second;
        record.third = third;
        send(record);
    };
    sendHa(Command::addBackup, 1, 0, 12345);
    sendHa(Command::addBackup, static_cast<uint32_t>(-1), static_cast<uint32_t>(-2), static_cast<uint32_t>(-3));
    sendHa(Command::addReachTarget, address("10.0.0.9").word, address("255.255.0.0").word, 3);
    sendHa(Command::changeReachTarget, 0, 5, 2);
    sendHa(Command::deleteReachTarget, address("10.0.0.9").word, 0, 0);
    sendHa(Command::addHeartbeat, address("10.0.0.1").word, address("10.0.0.2").word, 0);
    sendHa(Command::addHeartbeat, address("10.0.0.1").word, address("10.0.0.2").word, 0);
    sendHa(Command::addHeartbeat, address("10.0.0.1").word, address("10.0.0.1").word, 0);
    sendHa(Command::deleteHeartbeat, address("10.0.0.2").word, 0, 0);
    sendHa(Command::takeOver, address("10.0.0.5").word, 0, 0);
    ASSERT_EQ(addConnection("10.7.0.1", 40000), 0);
    auto affinities = affinityRequest(Command::readAffinities);
    affinities.block().port = port(81);
    EXPECT_EQ(send(affinities), kUnknownPort);
    auto directed = affinityRequest(Command::serverDirectedAffinity);
    directed.block().command = 3;
    EXPECT_EQ(send(directed), 0);
    auto attacking = std::make_unique<SharedBlock>(request<SharedBlock>(Command::readAttackingAddresses));
    attacking->attacking.address = address("10.1.0.1");
    attacking->attacking.port = port(kPort);
    EXPECT_EQ(send(*attacking), 0);
    auto debug = request<DebugRequestRecord>(Command::debugDump);
    debug.subCommand = -7;
    EXPECT_EQ(send(debug), 0);
    auto header = request<HeaderRecord>(Command::deleteBackup);
    EXPECT_EQ(send(header), 0);
    const std::string onPort = " cluster=10.1.0.1:80";
    const std::string notAPair = " result=-1 reason=-45 (addresses not usable for a heartbeat, or no room for more)";
    EXPECT_EQ(linesOf("/a.log"),
              (std::vector<std::string>{
                  "addBackup role=1 strategy=0 port=12345 result=0",
                  "addBackup role=-1 strategy=-2 port=-3 result=-1 reason=-106 (backup exists already)",
                  "addReachTarget target=10.0.0.9 mask=255.255.0.0 type=3 result=0",
                  "changeReachTarget index=0 type=5 status=2 result=0",
                  "deleteReachTarget address=10.0.0.9 result=0",
                  "addHeartbeat local=10.0.0.1 partner=10.0.0.2 result=0",
                  "addHeartbeat local=10.0.0.1 partner=10.0.0.2 result=-1 reason=-44 (heartbeat exists already)",
                  "addHeartbeat local=10.0.0.1 partner=10.0.0.1" + notAPair,
                  "deleteHeartbeat address=10.0.0.2 result=0",
                  "takeOver address=10.0.0.5 result=0",
                  "allocateConnection" + onPort + " client=10.7.0.1:40000 server=10.3.0.1 result=0",
                  "readAffinities cluster=10.1.0.1:81 result=-1 reason=-1 (unknown port)",
                  "serverDirectedAffinity" + onPort + " command=3 entries=0 result=0",
                  "readAttackingAddresses" + onPort + " result=0",
                  "debugDump subcommand=-7 result=0",
                  "deleteBackup result=0",
              }));
}

TEST_F(CommandLog, aNameCannotBreakALine) {
    ASSERT_EQ(setLog("/a.log"), 1);
    ClusterRecord cluster = newCluster(1, "a\nb\x1b[2J\x7f\tc", "10.1.0.1");
    ASSERT_EQ(send(cluster), 0);
    std::memset(cluster.clusterId, 'x', sizeof cluster.clusterId); // no end
    cluster.clusterKey = 2;
    EXPECT_EQ(send(cluster), kClusterAddress);
    EXPECT_EQ(linesOf("/a.log"), (std::vector<std::string>{
                                     "addCluster cluster=a?b?[2J??c(0x00000001) result=0",
                                     "addCluster cluster=" + std::string(65, 'x') +
                                         "(0x00000002) result=-1 reason=-33 (address not usable for a cluster)",
                                 }));
}

TEST_F(CommandLog, aLogIsAppendedTo) {
    std::ofstream(folder + "/a.log") << "2026-01-01T00:00:00Z before\n";
    ASSERT_EQ(setLog("/a.log"), 1);
    executorReport();
    EXPECT_EQ(linesOf("/a.log"), (std::vector<std::string>{"before", "readExecutorReport result=0"}));
}

TEST_F(CommandLog, anotherPathMovesTheLogAndTheEmptyTextEndsIt) {
    ASSERT_EQ(setLog("/a.log"), 1);
    executorReport();
    ASSERT_EQ(setLog("/b.log"), 1);
    executorSettings();
    ASSERT_EQ(EXC_UsrExecutorSetLog(""), 1);
    executorReport();
    EXPECT_EQ(linesOf("/a.log"), std::vector<std::string>{"readExecutorReport result=0"});
    EXPECT_EQ(linesOf("/b.log"), std::vector<std::string>{"readExecutorSettings result=0"});
}

TEST_F(CommandLog, aLogThatEndsIsClosed) {
    const auto openFiles = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    const auto before = openFiles();
    ASSERT_EQ(setLog("/a.log"), 1);
    ASSERT_EQ(setLog("/b.log"), 1);
    EXPECT_EQ(openFiles(), before + 1);
    ASSERT_EQ(EXC_UsrExecutorSetLog(""), 1);
    EXPECT_EQ(openFiles(), before);
}

TEST_F(CommandLog, aPathThatCannotBeOpenedKeepsTheLogBefore) {
    ASSERT_EQ(setLog("/a.log"), 1);
    EXPECT_EQ(setLog("/no/such/folder.log"), 0);
    EXPECT_EQ(setLog(""), 0); // the folder itself
    EXPECT_EQ(EXC_UsrExecutorSetLog(nullptr), 0);
    executorReport();
    EXPECT_EQ(linesOf("/a.log"), std::vector<std::string>{"readExecutorReport result=0"});
}

TEST_F(CommandLog, thePathIsNotKept) {
    std::string path = folder + "/a.log";
    ASSERT_EQ(EXC_UsrExecutorSetLog(path.c_str()), 1);
    std::fill(path.begin(), path.end(), 'z');
    executorReport();
    EXPECT_EQ(linesOf("/a.log").size(), 1U);
}

TEST_F(CommandLog, theLogOutlivesAStartAndEndsWithTheProcess) {
    ASSERT_EQ(setLog("/a.log"), 1);
    ASSERT_EQ(EXC_UsrExecutorProcessInit(), 0);
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    executorReport();
    EXPECT_EQ(linesOf("/a.log").size(), 1U);
    ASSERT_EQ(EXC_UsrExecutorProcessTerm(), 0);
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    executorReport();
    EXPECT_EQ(linesOf("/a.log").size(), 1U);
}

TEST_F(CommandLog, aRelativePathBeginsAtTheInstallationDirectory) {
    std::string path = folder;
    ASSERT_EQ(EXC_UsrExecutorSetInstallPath(path.c_str()), 1);
    std::fill(path.begin(), path.end(), 'z'); // the path is copied
    ASSERT_EQ(EXC_UsrExecutorSetLog("a.log"), 1);
    ASSERT_EQ(setLog("/b.log"), 1); // an absolute path is taken as it is
    executorReport();
    EXPECT_EQ(linesOf("/b.log").size(), 1U);
    EXPECT_EQ(access((folder + "/a.log").c_str(), F_OK), 0);
}

TEST_F(CommandLog, theInstallationDirectoryIsToExist) {
    EXPECT_EQ(EXC_UsrExecutorSetInstallPath(folder.c_str()), 1);
    EXPECT_EQ(EXC_UsrExecutorSetInstallPath((folder + "/missing").c_str()), 0);
    EXPECT_EQ(EXC_UsrExecutorSetInstallPath(""), 0);
    EXPECT_EQ(EXC_UsrExecutorSetInstallPath(nullptr), 0);
    ASSERT_EQ(setLog("/a.log"), 1);
    EXPECT_EQ(EXC_UsrExecutorSetInstallPath((folder + "/a.log").c_str()), 0); // a file
    ASSERT_EQ(EXC_UsrExecutorSetLog("b.log"), 1);                             // the first one is still in force
    EXPECT_EQ(access((folder + "/b.log").c_str(), F_OK), 0);
}

} // namespace
} // namespace rk
