// Affinity records.
#include "console_process.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

constexpr char kPreparation[] = "cluster add web --address 10.0.0.10\n"
                                "port add web 80 --sticky-time 300 --sticky-bits 24\n"
                                "server add web 80 10.0.0.101\n"
                                "server add web 80 10.0.0.102\n";

// Without what a clock says: the time, and ages in seconds.
std::string withoutTimes(std::string text) {
    for (const std::string name : {"\"iTime\":", "\"Age(sec)\":"}) {
        for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at)) {
            at += name.size();
            text.erase(at, text.find_first_of(",}", at) - at);
        }
    }
    return text;
}

TEST(Affinity, ClientsAreBoundShownAndReleased) {
    const ConsoleRun run = runScript(kPreparation + std::string("affinity query 10.0.0.10 80\n"
                                                                "affinity add 10.0.0.10 80 10.5.0.1=10.0.0.101"
                                                                " 200.5.0.2=10.0.0.102\n"
                                                                "affinity add 10.0.0.10 80 10.5.0.1=10.0.0.102\n"
                                                                "affinity list 10.0.0.10 80\n"
                                                                "affinity list 10.0.0.10 80 --counts\n"
                                                                "affinity remove 10.0.0.10 80 200.5.0.2\n"
                                                                "affinity list 10.0.0.10 80\n"),
                                     {"--json"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(withoutTimes(run.out));
    ASSERT_EQ(lines.size(), 11U) << run.out;
    EXPECT_EQ(lines[4], "{\"iResponse\":0,\"iTime\":,\"iNumAffinities\":0,\"entries\":[]}");
    EXPECT_EQ(lines[5], "{\"iResponse\":0,\"iTime\":,\"iNumAffinities\":2,\"entries\":["
                        "{\"aiClientAddr\":\"10.5.0.1\",\"aiServerAddr\":\"10.0.0.101\",\"aiNumActive\":0,"
                        "\"aiAgeOrResponse\":0},"
                        "{\"aiClientAddr\":\"200.5.0.2\",\"aiServerAddr\":\"10.0.0.102\",\"aiNumActive\":0,"
                        "\"aiAgeOrResponse\":0}]}");
    EXPECT_EQ(member(lines[6], "aiServerAddr"), "\"10.0.0.102\"");
    EXPECT_EQ(lines[7], "{\"Sticky client address mask\":4294967040,\"Number of affinity records\":2,\"records\":["
                        "{\"ClientAddr\":\"10.5.0.1\",\"ServerAddr\":\"10.0.0.102\",\"NumActive\":0,\"Age(sec)\":},"
                        "{\"ClientAddr\":\"200.5.0.2\",\"ServerAddr\":\"10.0.0.102\",\"NumActive\":0,\"Age(sec)\":}]}");
    EXPECT_EQ(lines[8], "{\"Sticky client address mask\":4294967040,\"Number of affinity records\":2,\"records\":[]}");
    EXPECT_EQ(lines[10], "{\"Sticky client address mask\":4294967040,\"Number of affinity records\":1,\"records\":["
                         "{\"ClientAddr\":\"10.5.0.1\",\"ServerAddr\":\"10.0.0.102\",\"NumActive\":0,\"Age(sec)\":}]}");
}

TEST(Affinity, PeopleSeeTablesAndTheLibrarysText) {
    const ConsoleRun run = runScript(kPreparation + std::string("affinity add 10.0.0.10 80 10.5.0.1=10.0.0.101\n"
                                                                "affinity list 10.0.0.10 80\n"));
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 18U) << run.out;
    EXPECT_EQ(lines[4], "response  0");
    EXPECT_EQ(lines[5].find("time      "), 0U) << lines[5];
    EXPECT_EQ(lines[6], "records   1");
    EXPECT_EQ(lines[8], "CLIENT    SERVER      ACTIVE  AGE OR RESPONSE");
    EXPECT_EQ(lines[9], "10.5.0.1  10.0.0.101  0       0");
    EXPECT_EQ(lines[10], "AFFINITY COMMANDS SHOULD BE USED FOR DEBUGGING");
    EXPECT_EQ(lines[14], "Sticky client address mask = 0xFFFFFF00");
    EXPECT_EQ(lines[15], "Number of affinity records = 1");
    EXPECT_EQ(lines[16], "ClientAddr - ServerAddr - NumActive - Age(sec)");
    EXPECT_EQ(lines[17].find("10.5.0.1 - 10.0.0.101 - 0 - "), 0U) << lines[17];
}

TEST(Affinity, EachClientHasItsOwnResponse) {
    const ConsoleRun run = runScript(kPreparation + std::string("affinity add 10.0.0.10 80 10.5.0.1=10.0.0.109"
                                                                " 10.5.0.2=10.0.0.101\n"
                                                                "affinity remove 10.0.0.10 80 10.5.0.1 10.5.0.2\n"
                                                                "affinity query 10.0.0.10 80 10.5.0.2 --json\n"),
                                     {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_NE(run.out.find("\n10.5.0.1  10.0.0.109  0       -11\n10.5.0.2  10.0.0.101  0       0\n"), std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("\n10.5.0.1  0.0.0.0  0       -114\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\"aiAgeOrResponse\":-114}]}"), std::string::npos) << run.out;
    const std::string notAll = "not done for every client, see their responses: ";
    EXPECT_EQ(run.err, "line 5: affinity add: status -11: " + notAll + "the server does not exist\n" +
                           "line 6: affinity remove: status -114: " + notAll +
                           "the client has no affinity record\n"
                           "{\"status\":-114,\"meaning\":\"" +
                           notAll + "the client has no affinity record\",\"command\":\"affinity query\",\"line\":7}\n");
}

// `count` arguments with a blank before each.
std::string clients(int count, const std::string &server) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += " 10.6." + std::to_string(i / 250) + "." + std::to_string(i % 250 + 1) + server;
    return text;
}

TEST(Affinity, AsManyAsTheLibraryTakesGoInOneRequest) {
    const ConsoleRun run = runScript(
        kPreparation + ("affinity add 10.0.0.10 80" + clients(3000, "=10.0.0.101") + "\n") +
            "affinity list 10.0.0.10 80 --counts\n" + "affinity remove 10.0.0.10 80" + clients(3001, "") + "\n",
        {"--json"});
    EXPECT_EQ(run.exitStatus, 1);
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 6U);
    EXPECT_EQ(member(lines[4], "iNumAffinities"), "3000");
    EXPECT_NE(lines[4].find("{\"aiClientAddr\":\"10.6.11.250\",\"aiServerAddr\":\"10.0.0.101\",\"aiNumActive\":0,"
                            "\"aiAgeOrResponse\":0}]}"),
              std::string::npos);
    EXPECT_EQ(member(lines[5], "Number of affinity records"), "3000");
    EXPECT_EQ(run.err, "{\"status\":-101,\"meaning\":\"there are more than 3000 affinity records\","
                       "\"command\":\"affinity remove\",\"line\":7}\n");
}

TEST(Affinity, RefusalsNameTheStatusAndItsMeaning) {
    const std::string port = "status -1: the port does not exist, or the executor cannot be reached";
    expectRefusals(
        kPreparation,
        {{"affinity query 10.0.0.10 81", "affinity query: " + port},
         {"affinity add 10.0.0.11 80 10.5.0.1=10.0.0.101", "affinity add: status -5: the cluster does not exist"},
         {"affinity list 10.0.0.10 81", "affinity list: the executor refused the command, or cannot be reached"},
         {"affinity add 10.0.0.10 80 10.5.0.1", "affinity add: '10.5.0.1' is not of the form CLIENT=SERVER"},
         {"affinity remove 10.0.0.10 80 10.5.0.1=10.0.0.101",
          "affinity remove: '10.5.0.1=10.0.0.101' is not of the form A.B.C.D"},
         {"affinity add 10.0.0.10 80 10.5.0.1=web", "affinity add: 'web' is not an IPv4 address of the form A.B.C.D"},
         {"affinity add 10.0.0.10 80", "affinity add: Missing required parameter: 'CLIENT=SERVER'"},
         {"affinity list web 80", "affinity list: CLUSTER_ADDRESS: 'web' is not an IPv4 address of the form A.B.C.D"}});
}

} // namespace
} // namespace rk
