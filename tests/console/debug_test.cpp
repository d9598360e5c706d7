// The trace log and the debugging commands.
#include "console_process.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

constexpr char kLogBanner[] = "EXECUTOR LOGGING COMMANDS SHOULD BE USED FOR DEBUGGING\n"
                              "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.  THESE\n"
                              "COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n"
                              "\n";
constexpr char kDebugBanner[] = "XMISC COMMAND SHOULD BE USED FOR DEBUGGING\n"
                                "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.\n"
                                "THESE COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n"
                                "\n";

bool has(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

TEST(Log, HoldsWhatTheLevelKeeps) {
    const ConsoleRun run = runScript("log level 2\ncluster add web --address 10.0.0.10\ncluster status web --json\n"
                                     "log head --json\n"
                                     "log level 3\ncluster status web --json\nlog tail --json\n"
                                     "log clear\nlog level 0\nlog clear\ncluster set web --max-ports 3\n"
                                     "log head\nlog tail\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::string banner = kLogBanner;
    EXPECT_EQ(run.out.find(banner + "ok\n{"), 0U) << run.out;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 4U + 3 + 4 + 2 + 3 * 4 + 1 + 2 * 4) << run.out;
    const std::string &changes = lines[6], &reads = lines[12];
    EXPECT_EQ(changes.find("{\"text\":\"EXECUTOR LOGGING COMMANDS SHOULD BE USED FOR DEBUGGING\\n"), 0U) << changes;
    EXPECT_TRUE(has(changes, "addCluster cluster=web")) << changes;
    EXPECT_FALSE(has(changes, "readClusterSettings")) << changes;
    EXPECT_TRUE(has(reads, "readClusterSettings")) << reads;
    EXPECT_TRUE(run.out.ends_with(banner + banner + banner + "ok\n" + banner + banner))
        << "not empty after it was cleared: " << run.out;
}

TEST(Log, LevelAndFilterChangeNothingElse) {
    // The fresh executor has its own settings again, and no command in between cleans the block of the old ones.
    for (const std::string command : {"log level 2", "log filter 0"}) {
        const ConsoleRun run = runScript("executor status --json\nexecutor set --fin-timeout 33 --nfa 10.0.0.2\n"
                                         "system user stop\nsystem user start\n" +
                                         command + "\nexecutor set --trace-level 1\nexecutor status --json\n");
        ASSERT_EQ(run.exitStatus, 0) << run.err;
        const std::vector<std::string> lines = linesOf(run.out);
        ASSERT_EQ(lines.size(), 10U) << run.out;
        EXPECT_EQ(lines[9], lines[0]) << command;
    }
}

TEST(Log, HeadAndTailAreAsLongAsAskedFor) {
    const ConsoleRun run = runScript("log head 18\nlog tail 15\nlog head 0x12 7\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    // The one line tells of the executor's start. One byte less than asked for: the last is for the text's end.
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 3U * 5) << run.out;
    EXPECT_EQ(lines[4].size(), 17U) << lines[4];
    EXPECT_EQ(lines[4].substr(0, 2), "20") << "no date: " << lines[4];
    EXPECT_EQ(lines[9], "cutor started");
    EXPECT_EQ(lines[14].substr(0, 13), lines[4].substr(0, 13));
}

TEST(Debug, CountersAreParsedForPrograms) {
    const ConsoleRun run = runScript("ha backup add 0 0 80\nha heartbeat add 10.0.0.2 10.0.0.3\n"
                                     "debug misc 0\ndebug misc 99 --json\ndebug misc 29 1 2 3 --json\n"
                                     "debug misc 30 --json\ndebug misc 43\ndebug misc 43 --json\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::size_t text = run.out.find(kDebugBanner);
    ASSERT_NE(text, std::string::npos) << run.out;
    EXPECT_TRUE(has(run.out, std::string(kDebugBanner) + "Primary FSM:\n  CntRcv ............ 2 (0x00000002)\n"))
        << run.out;
    EXPECT_TRUE(has(run.out, "\n (CntNpsOutTotal .... 0)         \n")) << run.out;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 2U + 4 + 1 + 13 + 1 + 13 + 1 + 31 + 5) << run.out;
    const std::string &counters = lines[66];
    EXPECT_EQ(counters.find("{\"Primary FSM\":{\"CntRcv\":2,\"CntSnd\":0,\"CntSndMisc\":1,\"CntSndDbSyncRsp\":0,"
                            "\"CntSndDbReach\":0,\"CntSndDbUpd\":0,\"CntGratArp\":0,\"CntNoCRKeepAlive\":0,"
                            "\"CntNoCRBreak\":0,\"CntNoServerInCR\":0,\"CntStateChanges\":1,\"CntSubStateChanges\":2,"
                            "\"Timer2\":0},\"Backup FSM\":{\"CntRcv\":0,"),
              0U)
        << counters;
    EXPECT_TRUE(has(counters, ",\"Timer2\":0},\"Misc debug\":{\"CntSndEncap\":0,\"CntRcvExcap\":0,"
                              "\"CntNtStarTrue\":0,\"CntNtStarFalse\":0,\"CntSloTimDec\":0,\"CntSloTimInc\":0,"
                              "\"CntCPASrvMismatch\":0,\"TimeLastSlowTimeout\":0,\"CntNoEphPortAvail\":0,"
                              "\"CntNoNPSAvail\":0,\"CntNoCRAvail\":0,\"CntCRsIntactInCT\":0,\"CntCRsFreedFromCT\":0,"
                              "\"CntSndRstBadPkts\":0,\"CntNpsRcv\":0,\"CntNpsGet\":0,\"CntNpsInTotal\":0,"
                              "\"CntNpsFwd\":0,\"CntNpsColoc\":0,\"CntNpsFree\":0,\"CntNpsOutTotal\":0,"
                              "\"CntPktReas\":0,\"CntFrgReas\":0,\"CntFrgGC\":0,\"TimeAsyncRstStart\":0,"
                              "\"TimeAsyncRstStop\":0,\"CntAsyncRstQueued\":0,\"CntAsyncRstSent\":0,\"TCP MSS\":0,"
                              "\"Checksum offload\":0,\"Arg28\":"))
        << counters;
    EXPECT_TRUE(counters.ends_with("}}")) << "records where there are none: " << counters;
    EXPECT_TRUE(has(lines[67], "\"Primary FSM\"")) << lines[67];
    EXPECT_EQ(lines[68], "{\"text\":\"OK\\n\"}");
    EXPECT_EQ(lines[69], "OK (Output is in rkserver window.)");
    EXPECT_EQ(lines[70], "{\"text\":\"OK (Output is in rkserver window.)\\n\"}");
}

TEST(Debug, RecordsBehindTheCountersAreParsedForPrograms) {
    const ConsoleRun run =
        runScript("debug misc 11 --json\ncluster add web --address 10.0.0.10\nport add web 80 --stale-timeout 44\n"
                  "port add web 443\nserver add web 80 10.0.0.101 --return-address 10.0.0.9\n"
                  "server add web 443 10.0.0.101 --return-address 10.0.0.9\n"
                  "connection allocate 10.0.0.10 80 10.5.0.1 1 10.0.0.101\n"
                  "affinity add 10.0.0.10 80 10.5.0.1=10.0.0.101 --json\n"
                  "debug misc 1 --json\ndebug misc 10 --json\ndebug misc 11 --json\ndebug misc 12 --json\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 12U) << run.out;
    EXPECT_TRUE(lines[0].ends_with("},\"connectionLists\":[]}")) << lines[0];
    EXPECT_TRUE(has(lines[8], "},\"networkCards\":[{\"ia->ia_net\":\"127.0.0.0\",\"ia->ia_netmask\":\"255.0.0.0\","
                              "\"ia->ia_subnet\":\"127.0.0.0\",\"ia->ia_subnetmask\":\"255.0.0.0\","
                              "\"ia->ia_addr\":\"127.0.0.1\",\"ifp->if_name\":\"lo\",\"ifp->if_unit\":0,"
                              "\"ifp->if_flags\":"))
        << lines[8];
    EXPECT_TRUE(lines[9].ends_with("},\"returnAddresses\":[{\"iaRar\":\"10.0.0.9\",\"ulRef\":2,\"iaFsm\":\"0.0.0.0\","
                                   "\"Ports in use\":0}]}"))
        << lines[9];
    EXPECT_TRUE(lines[10].ends_with(
        "},\"connectionLists\":[{\"Cluster:Port\":\"10.0.0.10:80\",\"Linked list\":\"all\",\"Timeout\":44,"
        "\"Current number of records\":1,\"Number of stale records\":0,\"Number of records reused\":0},"
        "{\"Cluster:Port\":\"10.0.0.10:443\",\"Linked list\":\"all\",\"Timeout\":300,"
        "\"Current number of records\":0,\"Number of stale records\":0,\"Number of records reused\":0}]}"))
        << lines[10];
    EXPECT_TRUE(lines[11].ends_with("},\"affinityLists\":[{\"Cluster:Port\":\"10.0.0.10:80\","
                                    "\"Current number of active affinity records\":1,"
                                    "\"Current number of non-active affinity records\":0,"
                                    "\"Number of stale non-active records\":0,\"Number of records reused\":0},"
                                    "{\"Cluster:Port\":\"10.0.0.10:443\","
                                    "\"Current number of active affinity records\":0,"
                                    "\"Current number of non-active affinity records\":0,"
                                    "\"Number of stale non-active records\":0,\"Number of records reused\":0}]}"))
        << lines[11];
}

TEST(Debug, RefusalsSayWhy) {
    const std::string refused = "the executor refused the command, or cannot be reached";
    const std::string memory = "there is no memory for a text of that size";
    expectRefusals("system user stop\n", {{"debug misc 1", "debug misc: " + refused},
                                          {"debug misc 30", "debug misc: " + refused},
                                          {"interface list", "interface list: " + refused},
                                          {"connection list", "connection list: " + refused},
                                          {"affinity list 10.0.0.10 80", "affinity list: " + refused},
                                          {"log level 1", "log level: status -1: " + refused},
                                          {"log filter 1", "log filter: status -1: " + refused},
                                          {"log head -2147483648", "log head: " + memory},
                                          {"log tail -2147483648", "log tail: " + memory},
                                          {"ha status", "ha status: status -1: " + refused},
                                          {"attack half-open", "attack half-open: status -1: " + refused},
                                          {"attack set 1 2 3 4 5 6 7 8", "attack set: status -1: " + refused},
                                          {"icmp get", "icmp get: status -1: " + refused},
                                          {"icmp set on 10.0.0.1", "icmp set: status -1: " + refused},
                                          {"debug misc", "debug misc: Missing required parameter: 'SUB'"},
                                          {"debug misc 1 2 3 4 5", "debug misc: there is no further argument '5'"},
                                          {"debug misc cards", "debug misc: SUB: 'cards' is not a number"},
                                          {"log head ten", "log head: SIZE: 'ten' is not a number"},
                                          {"log level", "log level: Missing required parameter: 'N'"}});
}

} // namespace
} // namespace rk
