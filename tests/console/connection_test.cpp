// Connection records, attack protection, and the ICMP record.
#include "console_process.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

constexpr char kBanner[] = "CONNECTION COMMANDS SHOULD BE USED FOR DEBUGGING\n"
                           "PURPOSES ONLY.  THESE ARE UNSUPPORTED COMMANDS.\n"
                           "THESE COMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n"
                           "\n";

// Two connections to a port and one to another, of which one is half-open. Six commands.
constexpr char kConnections[] = "cluster add web --address 10.0.0.10\n"
                                "port add web 80\n"
                                "port add web 443\n"
                                "connection allocate 10.0.0.10 80 10.5.0.1 40001 10.0.0.101\n"
                                "connection allocate 10.0.0.10 80 10.5.0.2 40002 10.0.0.102 --state 1\n"
                                "connection allocate 10.0.0.10 443 10.5.0.1 40003 10.0.0.101 --state 254\n";
constexpr char kDone[] = "ok\nok\nok\nok\nok\nok\n";

// The output of a script, whose first lines are kConnections.
std::string outputBehind(const std::string &script, std::vector<std::string> arguments = {}) {
    const ConsoleRun run = runScript(kConnections + script, std::move(arguments));
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out.find(kDone), 0U) << run.out;
    return run.out.substr(sizeof kDone - 1);
}

// Without the ages, which are those of a slow machine.
std::string withoutAges(std::string text) {
    const std::string name = "\"age(sec)\":";
    for (std::size_t at = text.find(name); at != std::string::npos; at = text.find(name, at)) {
        at += name.size();
        text.erase(at, text.find(',', at) - at);
    }
    return text;
}

TEST(Connection, RowsAreParsedForPrograms) {
    const std::string out = outputBehind("connection list --json\n"
                                         "connection release 10.0.0.10 80 10.5.0.1 40001 10.0.0.101 --json\n"
                                         "connection list --json\n");
    const std::string second =
        "{\"#\":1,\"ClientAddr:Port\":\"10.5.0.2:40002\",\"ClusAddr:Port\":\"10.0.0.10:80\","
        "\"ServerAddr\":\"10.0.0.102\",\"State\":1,\"PrevState\":\"LISTN\",\"CurrState\":\"SNRCV\",\"age(sec)\":,"
        "\"mark\":\"M\"}";
    const std::string third =
        "{\"#\":2,\"ClientAddr:Port\":\"10.5.0.1:40003\",\"ClusAddr:Port\":\"10.0.0.10:443\","
        "\"ServerAddr\":\"10.0.0.101\",\"State\":254,\"PrevState\":\"ESTBD\",\"CurrState\":\"ESTBD\",\"age(sec)\":,"
        "\"mark\":\"M\"}";
    std::string secondNow = second, thirdNow = third;
    secondNow.replace(0, 6, "{\"#\":0");
    thirdNow.replace(0, 6, "{\"#\":1");
    EXPECT_EQ(withoutAges(out),
              "{\"Number of connection records\":3,\"Num nps\":0,\"records\":["
              "{\"#\":0,\"ClientAddr:Port\":\"10.5.0.1:40001\",\"ClusAddr:Port\":\"10.0.0.10:80\","
              "\"ServerAddr\":\"10.0.0.101\",\"State\":0,\"PrevState\":\"ESTBD\",\"CurrState\":\"ESTBD\","
              "\"age(sec)\":,\"mark\":\"M\"}," +
                  second + "," + third +
                  "]}\n{\"status\":0}\n"
                  "{\"Number of connection records\":2,\"Num nps\":0,\"records\":[" +
                  secondNow + "," + thirdNow + "]}\n");
}

TEST(Connection, WarningOfTheLibraryIsForPeopleAlone) {
    const std::string report = "Number of connection records = 3\nNum nps = 0\n";
    const std::string document = "{\"Number of connection records\":3,\"Num nps\":0,\"records\":[]}\n";
    EXPECT_EQ(outputBehind("connection list --counts\nconnection list --counts --json\n"
                           "json on\nconnection list --counts\njson off\nconnection list --counts\n"),
              kBanner + report + document + document + kBanner + report);
    const ConsoleRun command = runCommand({"--json", "connection", "list", "--counts"});
    EXPECT_EQ(command.out, "{\"Number of connection records\":0,\"Num nps\":0,\"records\":[]}\n");
    EXPECT_EQ(command.err, "");
}

TEST(Connection, TextIsTheLibrarysForPeopleAndSelectionsChoose) {
    struct Row {
        const char *options;
        int records;
    };
    const Row rows[] = {
        {"--cluster 10.0.0.10", 3}, {"--cluster 10.0.0.10:80", 2},  {"--cluster 10.0.0.10:0x1bb", 1},
        {"--client 10.5.0.1", 2},   {"--client 0.0.0.0:40003", 1},  {"--client 10.5.0.2:40001", 0},
        {"--server 10.0.0.101", 2}, {"--server 10.0.0.101:443", 1}, {"--server 10.0.0.101 --client 10.5.0.2", 0}};
    std::string script, expected;
    for (const Row &row : rows) {
        script += std::string("connection list --counts ") + row.options + "\n";
        expected +=
            std::string(kBanner) + "Number of connection records = " + std::to_string(row.records) + "\nNum nps = 0\n";
    }
    const std::string out = outputBehind(script + "connection list --client 10.5.0.2\n");
    ASSERT_EQ(out.find(expected), 0U) << out;
    const std::vector<std::string> last = linesOf(out.substr(expected.size()));
    ASSERT_EQ(last.size(), 8U) << out;
    EXPECT_EQ(last[6], "#\tClientAddr:Port \tClusAddr:Port \tServerAddr \tState \tPrevState \tCurrState \tage(sec)");
    EXPECT_EQ(last[7].find("0 \t10.5.0.2:40002 \t10.0.0.10:80 \t10.0.0.102 \t0x01 \tLISTN \tSNRCV \t"), 0U) << last[7];
}

TEST(Connection, RefusalsNameTheStatusAndItsMeaning) {
    const std::string range = "status -103: a value is out of range";
    const std::string refused = "status -1: the executor refused the command, or cannot be reached";
    expectRefusals(kConnections,
                   {{"connection allocate 10.0.0.10 80 10.5.0.1 40001 10.0.0.101",
                     "connection allocate: status -112: there is a connection between these ends already"},
                    {"connection allocate 10.0.0.11 80 10.5.0.1 1 10.0.0.101",
                     "connection allocate: status -5: the cluster does not exist"},
                    {"connection allocate 10.0.0.10 81 10.5.0.1 1 10.0.0.101",
                     "connection allocate: status -1: the port does not exist, or the executor cannot be reached"},
                    {"connection allocate 10.0.0.10 80 10.5.0.1 65536 10.0.0.101", "connection allocate: " + range},
                    {"connection allocate 10.0.0.10 80 224.0.0.1 1 10.0.0.101", "connection allocate: " + range},
                    {"connection release 10.0.0.10 80 10.5.0.9 1 10.0.0.101", "connection release: " + refused},
                    {"attack attackers 10.0.0.10 81", "attack attackers: " + refused},
                    {"connection allocate 10.0.0.10 65536 10.5.0.1 1 10.0.0.101",
                     "connection allocate: PORT: 65536 is outside 0 to 65535"},
                    {"connection allocate 10.0.0.10 80 10.5.0.1 1 10.0.0.101 --state 65536",
                     "connection allocate: --state: 65536 is outside 0 to 65535"},
                    {"connection list --client 10.5.0.1:x", "connection list: --client: 'x' is not a number"},
                    {"connection list --server web:80",
                     "connection list: --server: 'web' is not an IPv4 address of the form A.B.C.D"},
                    {"attack set 1 2 3 4 5 6 7", "attack set: Missing required parameter: 'P8'"},
                    {"attack set 1 2 3 4 5 6 7 -1", "attack set: P8: -1 is outside 0 to 65535"},
                    {"attack attackers 10.0.0.10", "attack attackers: Missing required parameter: 'PORT'"},
                    {"icmp set maybe 10.0.0.1", "icmp set: on|off: 'maybe' is neither on nor off"},
                    {"icmp set on", "icmp set: Missing required parameter: 'A.B.C.D'"}});
}

TEST(Attack, HalfOpenConnectionsAndWhoMakesThemAreReported) {
    const std::string out =
        outputBehind("attack half-open\nattack attackers 10.0.0.10 80\nattack half-open --json\n"
                     "attack attackers 10.0.0.10 80 --json\nattack attackers 10.0.0.10 443 --json\n"
                     "attack set 2 0 0 0 0 0 0 65535\nattack half-open --json\nattack attackers 10.0.0.10 80 --json\n");
    EXPECT_EQ(out, "half-open connections  1\n"
                   "\n"
                   "NUMBER  CLIENT    PORT   FLAG\n"
                   "0       10.5.0.2  40002  true\n"
                   "attacking addresses  1\n"
                   "summary              1\n"
                   "\n"
                   "ADDRESS   VALUE\n"
                   "10.5.0.2  1\n"
                   "{\"count\":1,\"records\":[{\"index\":0,\"address\":\"10.5.0.2\",\"port\":40002,\"flag\":true}]}\n"
                   "{\"count\":1,\"summary\":1,\"addresses\":[{\"address\":\"10.5.0.2\",\"value\":1}]}\n"
                   "{\"count\":0,\"summary\":0,\"addresses\":[]}\n"
                   "ok\n"
                   "{\"count\":1,\"records\":[{\"index\":0,\"address\":\"10.5.0.2\",\"port\":40002,\"flag\":false}]}\n"
                   "{\"count\":0,\"summary\":1,\"addresses\":[]}\n");
}

TEST(Icmp, RecordIsSetAndRead) {
    const ConsoleRun run = runScript("icmp get\nicmp set on 200.0.0.1\nicmp get\nicmp get --json\n"
                                     "icmp set off 0.0.0.0 --json\nicmp get --json\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "response  off\naddress   0.0.0.0\n"
                       "ok\n"
                       "response  on\naddress   200.0.0.1\n"
                       "{\"iGotIcmpResp\":1,\"iIcmpRespAddr\":\"200.0.0.1\"}\n"
                       "{\"status\":0}\n"
                       "{\"iGotIcmpResp\":0,\"iIcmpRespAddr\":\"0.0.0.0\"}\n");
}

} // namespace
} // namespace rk
