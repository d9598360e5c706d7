// Rules, and the servers of a rule.
#include "console_process.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

const std::string kPort = "cluster add web --address 10.0.0.10\nport add web 80\n";
const std::string kName20(20, 'r');
const std::string kName21(21, 'r');

TEST(Rule, EverySettingIsAddedChangedAndShown) {
    const ConsoleRun run = runScript(kPort + "rule add web 80 night --type 2 --begin 20 --end 23 --priority 5"
                                             " --share-level 2 --pattern 'path=/shop/*' --evaluate 1 --affinity 3"
                                             " --sticky-time 61 --cookie-name chip --config-source 4 --hash-id h1\n"
                                             "rule status web 80 night\n"
                                             "rule set web 80 night --begin 21 --priority 6 --config-source 1\n"
                                             "rule status web 80 night\n"
                                             "rule add web 80 voice --type 7 --service 01xX0x11\n"
                                             "rule status web 80 voice\n",
                                     {"--json"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 8U);
    EXPECT_EQ(lines[3].find("{\"ClusterId\":\"web\",\"PortNumber\":80,\"RuleName\":\"night\",\"RuleType\":2,"
                            "\"BeginRange\":20,"),
              0U)
        << lines[3];
    EXPECT_NE(lines[3].find("\"Priority\":5,\"NumServers\":0,\"iShareLevel\":2,\"ServiceTOS\":\"\","
                            "\"Pattern\":\"path=/shop/*\",\"bEvaluate\":1,\"WhatAffinity\":3,\"StickyTime\":61,"
                            "\"CookieName\":\"chip\",\"_iConfigSource\":4}"),
              std::string::npos)
        << lines[3];
    EXPECT_EQ(member(lines[3], "EndRange"), "23");
    EXPECT_EQ(member(lines[5], "BeginRange"), "21");
    EXPECT_EQ(member(lines[5], "EndRange"), "23");
    EXPECT_EQ(member(lines[5], "Priority"), "6");
    EXPECT_EQ(member(lines[5], "_iConfigSource"), "1");
    EXPECT_EQ(member(lines[7], "ServiceTOS"), "\"01xx0x11\"");
}

TEST(Rule, RangesAreAddressesForTypeOneAndNumbersForTheOthers) {
    const ConsoleRun run = runScript(kPort + "rule add web 80 office --type 1 --begin 192.168.0.0 --end 192.168.9.255\n"
                                             "rule set web 80 office --end 192.168.1.255\n"
                                             "rule status web 80 office --json\n"
                                             "rule add web 80 night --type 2 --begin 22 --end 23\n"
                                             "rule list web 80 --long\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 9U);
    EXPECT_EQ(member(lines[4], "AddressBeginRange"), "\"192.168.0.0\"");
    EXPECT_EQ(member(lines[4], "AddressEndRange"), "\"192.168.1.255\"");
    EXPECT_EQ(lines[6], "RULE    TYPE  RANGE BEGINS  RANGE ENDS     PRIORITY  SERVERS");
    EXPECT_EQ(lines[7], "office  1     192.168.0.0   192.168.1.255  1         0");
    EXPECT_EQ(lines[8], "night   2     22            23             2         0");
}

TEST(Rule, ListsReportAndCounter) {
    const ConsoleRun run = runScript(kPort +
                                     "rule list web 80 --json\nrule add web 80 b --type 0\n"
                                     "rule add web 80 " +
                                     kName20 +
                                     " --type 9\n"
                                     "rule list web 80\nrule list web 80 --json\n"
                                     "rule cps web 80 b 33\nrule report web 80 b --json\n"
                                     "rule remove web 80 b\nrule list web 80 --json\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "ok\nok\n[]\nok\nok\nb\n" + kName20 + "\n[\"b\",\"" + kName20 + "\"]\nok\n" +
                           "{\"ClusterId\":\"web\",\"PortNumber\":80,\"RuleName\":\"b\",\"iUniqueId\":1,"
                           "\"TimesFired\":0,\"NumServers\":0,\"ActiveConnections\":0,\"iBytesPerSecond\":0,"
                           "\"iConnectionsPerSecond\":33}\nok\n[\"" +
                           kName20 + "\"]\n");
}

TEST(Rule, ServersAreAddedListedAndRemoved) {
    const ConsoleRun run =
        runScript(kPort + "server add web 80 one\nserver add web 80 two\nrule add web 80 r --type 0\n"
                          "rule server list web 80 r --json\n"
                          "rule server add web 80 r two --argument 7\nrule server add web 80 r one\n"
                          "rule server list web 80 r\nrule server list web 80 r --json\n"
                          "rule status web 80 r --json\n"
                          "rule server remove web 80 r two\nrule server list web 80 r --json\n"
                          "server remove web 80 one\nrule server list web 80 r --json\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 16U) << run.out;
    EXPECT_EQ(lines[5], "[]");
    EXPECT_EQ(lines[8], "two");
    EXPECT_EQ(lines[9], "one");
    EXPECT_EQ(lines[10], "[\"two\",\"one\"]");
    EXPECT_EQ(member(lines[11], "NumServers"), "2");
    EXPECT_EQ(lines[13], "[\"one\"]");
    EXPECT_EQ(lines[15], "[]");
}

TEST(Rule, RefusalsNameTheStatusAndItsMeaning) {
    const std::string name = "status -51: the rule name is missing, or longer than 20 characters";
    const std::string unknown = "status -57: the rule does not exist";
    const std::string priority = "status -58: the priority is out of range, or another rule of the port has it";
    expectRefusals(
        kPort + "server add web 80 one\nrule add web 80 r --type 2 --begin 1 --end 5 --priority 5\n"
                "rule add web 80 a --type 1 --begin 10.0.0.1 --end 10.0.0.9\nrule server add web 80 r one\n",
        {
            {"rule add web 80 r --type 2", "rule add: status -50: the rule exists already"},
            {"rule add web 80 " + kName21 + " --type 2", "rule add: " + name},
            {"rule set web 80 " + kName21 + " --priority 1", "rule set: " + name},
            {"rule status web 80 " + kName21, "rule status: " + name},
            {"rule server add web 80 " + kName21 + " one", "rule server add: " + name},
            {"rule add web 80 x --type 10", "rule add: status -52: the rule type is outside 0 to 9"},
            {"rule add web 80 x --type -1", "rule add: status -52: the rule type is outside 0 to 9"},
            {"rule add web 80 x --type 1 --begin 1..2",
             "rule add: status -53: the begin of the range is not an address"},
            {"rule add web 80 x --type 1 --begin 10.0.0.1 --end 1..2",
             "rule add: status -54: the end of the range is not an address"},
            {"rule set web 80 a --begin 1..2", "rule set: status -53: the begin of the range is not an address"},
            {"rule add web 80 x --type 2 --begin 9 --end 8",
             "rule add: status -82: the range is not valid for the rule's type, or begins above its end"},
            {"rule add web 80 x --type 2 --priority 5", "rule add: " + priority},
            {"rule add web 81 x --type 2", "rule add: status -12: the port does not exist"},
            {"rule add web 65536 x --type 2", "rule add: status -10: the port number is outside 0 to 65535"},
            {"rule add mail 80 x --type 2", "rule add: status -5: the cluster does not exist"},
            {"rule set web 80 x --priority 1", "rule set: " + unknown},
            {"rule set web 80 x --begin noon", "rule set: " + unknown},
            {"rule status web 80 x", "rule status: " + unknown},
            {"rule report web 80 x", "rule report: " + unknown},
            {"rule remove web 80 x", "rule remove: " + unknown},
            {"rule cps web 80 x 1", "rule cps: status -1: the executor refused the command, or cannot be reached"},
            {"rule list web 81", "rule list: status -1: the executor refused the command, or cannot be reached"},
            {"rule server add web 80 r one", "rule server add: status -60: the server is in the rule already"},
            {"rule server add web 80 r two", "rule server add: status -19: the server does not exist"},
            {"rule server add web 80 x one", "rule server add: " + unknown},
            {"rule server remove web 80 a one", "rule server remove: status -59: the server is not in the rule"},
            {"rule server list web 80 x", "rule server list: " + unknown},
            {"rule add web 80 x --type 2 --begin noon", "rule add: --begin: 'noon' is not a number"},
            {"rule set web 80 r --end 10.0.0.1", "rule set: --end: '10.0.0.1' is not a number"},
            {"rule add web 80 x --type 7 --service 0101",
             "rule add: --service: '0101' is not eight characters 0, 1 or x, one a bit, highest bit first"},
            {"rule add web 80 x", "rule add: Missing required option: '--type=N'"},
        });
}

} // namespace
} // namespace rk
