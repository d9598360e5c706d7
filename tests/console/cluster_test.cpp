// Clusters.
#include "console_process.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

const std::string kName64(64, 'n');
const std::string kName65(65, 'n');

TEST(Cluster, EverySettingIsAddedChangedAndShown) {
    const ConsoleRun run =
        runScript("cluster add web --address 10.0.0.10 --primary-host 10.0.0.3 --nat-address 10.9.8.7 --max-ports 4"
                  " --proportions 40,30,20,10 --shared-bandwidth 1000000 --default-max-servers 12"
                  " --default-stale-timeout 601 --default-sticky-time 61 --default-affinity-type 65535"
                  " --default-weight-bound 100 --default-port-type 1 --default-replicate 200\n"
                  "cluster status web\n"
                  "cluster set web --address 10.0.0.11 --max-ports 5\n"
                  "cluster status web\n",
                  {"--json"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 4U);
    // "WEB": 0xFFFFFFFF + (0x57 + 0x45) + ((0xA2 + 0x42) << 1) + ((0x90 + 0) << 2)
    EXPECT_EQ(lines[1], "{\"sClusterId\":\"web\",\"iClusterIdKey\":1187,\"Address\":\"10.0.0.10\","
                        "\"sPrimaryHost\":\"10.0.0.3\",\"natPtAddress\":\"10.9.8.7\",\"NumPorts\":0,"
                        "\"MaxNumberOfPorts\":4,\"iActiveConnsProp\":40,\"iNewConnsProp\":30,"
                        "\"iPortSpecificProp\":20,\"iSystemProp\":10,\"iSharedBytesPerSecond\":1000000,"
                        "\"DefaultPortMaxServers\":12,\"DefaultPortStaleTimeout\":601,\"DefaultPortStickyTime\":61,"
                        "\"DefaultPortAffinityType\":65535,\"DefaultPortWeightBound\":100,\"DefaultPortType\":1,"
                        "\"DefaultPortReplicate\":200}");
    EXPECT_EQ(member(lines[3], "Address"), "\"10.0.0.11\"");
    EXPECT_EQ(member(lines[3], "MaxNumberOfPorts"), "5");
    EXPECT_EQ(member(lines[3], "iActiveConnsProp"), "40");
    EXPECT_EQ(member(lines[3], "DefaultPortWeightBound"), "100");
}

TEST(Cluster, StatusIsATableForPeople) {
    const ConsoleRun run = runScript("cluster add web --address 10.0.0.10 --proportions 40,30,20,10\n"
                                     "cluster status WEB\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out.find("ok\nidentifier                               web\n"
                           "key                                      0x000004A3\n"
                           "address                                  10.0.0.10\n"),
              0U)
        << run.out;
    EXPECT_NE(run.out.find("proportions (active, new, port, system)  40,30,20,10\n"), std::string::npos) << run.out;
}

TEST(Cluster, ListsComeInShortInLongAndAsJson) {
    const ConsoleRun run = runScript("cluster list\ncluster list --json\ncluster list --long --json\n"
                                     "cluster add web --address 10.0.0.10 --max-ports 7\n"
                                     "cluster add mail --address 10.0.0.200 --max-ports 12\n"
                                     "cluster list\ncluster list --json\ncluster list -l\ncluster list --long --json\n"
                                     "cluster remove web\ncluster list --json\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 13U) << run.out;
    EXPECT_EQ(lines[0], "[]");
    EXPECT_EQ(lines[1], "[]");
    EXPECT_EQ(lines[4], "web");
    EXPECT_EQ(lines[5], "mail");
    EXPECT_EQ(lines[6], "[\"web\",\"mail\"]");
    EXPECT_EQ(lines[7], "IDENTIFIER  ADDRESS     PORTS  MOST PORTS");
    EXPECT_EQ(lines[8], "web         10.0.0.10   0      7");
    EXPECT_EQ(lines[9], "mail        10.0.0.200  0      12");
    EXPECT_EQ(lines[10].find("[{\"sClusterId\":\"web\","), 0U);
    EXPECT_NE(lines[10].find("},{\"sClusterId\":\"mail\","), std::string::npos);
    EXPECT_EQ(lines[12], "[\"mail\"]");
}

TEST(Cluster, CountersAreReadAndSet) {
    const ConsoleRun run =
        runScript("cluster add web --address 10.0.0.10\ncluster cps web 120\ncluster report web\n", {"--json"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[2], "{\"sClusterId\":\"web\",\"iClusterIdKey\":1187,\"Address\":\"10.0.0.10\",\"NumPorts\":0,"
                        "\"SYNonActive\":0,\"SYNonFINNed\":0,\"FINs_Dropped\":0,\"ACKs_Dropped\":0,"
                        "\"RSTs_Dropped\":0,\"PKTs_Dropped\":0,\"PKTnonExisting\":0,\"QuiescNew\":0,"
                        "\"iBytesPerSecond\":0,\"iConnectionsPerSecond\":120}");
}

TEST(Cluster, RefusalsNameTheStatusAndItsMeaning) {
    const ConsoleRun run =
        runScript("executor set --max-clusters 2\n"
                  "cluster add web --address 10.0.0.10\n"
                  "cluster add WEB --address 10.0.0.20\n"
                  "cluster add mail --address 10.0.0.300\n"
                  "cluster add mail --address 0.0.0.0\n"
                  "cluster add mail --address 10.0.0.10\n"
                  "cluster set web --address nonsense..\n"
                  "cluster status mail\ncluster report mail\ncluster remove mail\ncluster set mail --max-ports 1\n"
                  "cluster cps mail 1\n"
                  "cluster add " +
                      kName64 +
                      " --address 10.0.0.20\n"
                      "cluster add mail --address 10.0.0.30\n"
                      "cluster add " +
                      kName65 +
                      " --address 10.0.0.30\n"
                      "cluster set " +
                      kName65 +
                      " --max-ports 1\n"
                      "cluster set web --max-ports -1\n"
                      "cluster list\n",
                  {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.out, "ok\nok\nok\nweb\n" + kName64 + "\n");
    const std::string exists = "the cluster exists already";
    const std::string address = "the address does not parse, or is not usable for a cluster";
    const std::string unknown = "the cluster does not exist";
    EXPECT_EQ(run.err,
              "line 3: cluster add: status -4: " + exists + "\n" + "line 4: cluster add: status -3: " + address + "\n" +
                  "line 5: cluster add: status -3: " + address + "\n" + "line 6: cluster add: status -3: " + address +
                  "\n" + "line 7: cluster set: status -3: " + address + "\n" + "line 8: cluster status: status -5: " +
                  unknown + "\n" + "line 9: cluster report: status -5: " + unknown + "\n" +
                  "line 10: cluster remove: status -5: " + unknown + "\n" +
                  "line 11: cluster set: status -5: " + unknown + "\n" +
                  "line 12: cluster cps: status -1: the executor refused the command, or cannot be reached\n"
                  "line 14: cluster add: status -29: the executor has as many clusters as it may have\n"
                  "line 15: cluster add: status -90: the cluster identifier is longer than 64 characters\n"
                  "line 16: cluster set: status -90: the cluster identifier is longer than 64 characters\n"
                  "line 17: cluster set: status -99: the executor refused the command\n");
}

TEST(Cluster, OneCommandEndsWithItsOwnExitStatus) {
    const ConsoleRun refused = runCommand({"--json", "cluster", "status", "web"});
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_EQ(refused.out, "");
    EXPECT_EQ(refused.err,
              "{\"status\":-5,\"meaning\":\"the cluster does not exist\",\"command\":\"cluster status\"}\n");

    const ConsoleRun done = runCommand({"cluster", "add", "web", "--address", "10.0.0.10"});
    EXPECT_EQ(done.exitStatus, 0);
    EXPECT_EQ(done.out, "ok\n");
    EXPECT_EQ(done.err, "");
}

} // namespace
} // namespace rk
