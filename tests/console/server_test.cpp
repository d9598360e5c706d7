// Servers.
#include "console_process.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

const std::string kPort = "cluster add web --address 10.0.0.10\nport add web 80 --weight-bound 50 --max-servers 3\n";

TEST(Server, EverySettingIsAddedChangedAndShown) {
    const ConsoleRun run = runScript(
        kPort + "server add web 80 one"
                " --listener 10.0.0.101,map-port=8080,protocol=2,key-ring=/etc/a.kdb,stash-file=/etc/a.sth"
                " --listener 10.0.0.102"
                " --connect-timeout 11 --wait-for-complete 12 --weight 33 --fixed-weight on --return-address 10.0.0.3"
                " --router-address 10.0.0.1 --sticky on --quiesced on --advisor-request 'HEAD / HTTP/1.0'"
                " --advisor-response '200 OK' --cookie-value chip --clone-id c1 --max-cps 500\n"
                "server status web 80 one\n"
                "server set web 80 one --listener 10.0.0.103,map-port=65535 --router-address 0.0.0.0 --collocated on"
                " --quiesced off\n"
                "server status web 80 one\n",
        {"--json"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 6U);
    // "ONE": 0xFFFFFFFF + (0x4F + 0x4E) + ((0x27 + 0x45) << 1) + ((0x51 + 0) << 2)
    const std::string head =
        "{\"ClusterId\":\"web\",\"Port\":80,\"sServerID\":\"one\",\"iServerIdKey\":696,\"listeners\":[";
    EXPECT_EQ(lines[3], head + "{\"_iAddress\":\"10.0.0.101\",\"_iMapPort\":8080,\"_iProtocol\":2,"
                               "\"_sKeyRing\":\"/etc/a.kdb\",\"_sStashFile\":\"/etc/a.sth\"},"
                               "{\"_iAddress\":\"10.0.0.102\",\"_iMapPort\":0,\"_iProtocol\":0,\"_sKeyRing\":\"\","
                               "\"_sStashFile\":\"\"}],\"iConnectTimeout\":11,\"iWaitForComplete\":12,\"_iWeight\":33,"
                               "\"_bFixedWeight\":1,\"_sReturnAddress\":\"10.0.0.3\",\"_sRouterAddress\":\"10.0.0.1\","
                               "\"IsRemote\":1,\"bCollocated\":0,\"bSticky\":1,\"_iQuiesced\":1,"
                               "\"_sAdvisorRequest\":\"HEAD / HTTP/1.0\",\"_sAdvisorResponse\":\"200 OK\","
                               "\"CookieValue\":\"chip\",\"CloneID\":\"c1\",\"_iCPSMaximum\":500}");
    EXPECT_EQ(lines[5].find(head + "{\"_iAddress\":\"10.0.0.103\",\"_iMapPort\":65535,"), 0U) << lines[5];
    EXPECT_EQ(member(lines[5], "_sRouterAddress"), "\"0.0.0.0\"");
    EXPECT_EQ(member(lines[5], "IsRemote"), "0");
    EXPECT_EQ(member(lines[5], "bCollocated"), "1");
    EXPECT_EQ(member(lines[5], "_iQuiesced"), "0");
    EXPECT_EQ(member(lines[5], "_iWeight"), "33");
    EXPECT_EQ(member(lines[5], "_sAdvisorRequest"), "\"HEAD / HTTP/1.0\"");
}

TEST(Server, ListsShowNamesAndListeners) {
    const ConsoleRun run = runScript(kPort + "server list web 80 --json\n"
                                             "server add web 80 one --listener 10.0.0.101,map-port=8080 --weight 5\n"
                                             "server add web 80 two --listener 10.0.0.102 --listener 10.1.0.102\n"
                                             "server add web 80 three\n"
                                             "server list web 80\nserver list web 80 --json\nserver list web 80 -l\n"
                                             "server remove web 80 two\nserver list web 80 --json\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "ok\nok\n[]\nok\nok\nok\none\ntwo\nthree\n[\"one\",\"two\",\"three\"]\n"
                       "IDENTIFIER  LISTENERS                  WEIGHT  FIXED WEIGHT  STICKY  QUIESCED\n"
                       "one         10.0.0.101:8080            5       off           off     off\n"
                       "two         10.0.0.102:0 10.1.0.102:0  10      off           off     off\n"
                       "three       -                          10      off           off     off\n"
                       "ok\n[\"one\",\"three\"]\n");
}

TEST(Server, DownAndUpKeepTheWeightAndHostsAreTaken) {
    const ConsoleRun run = runScript(kPort + "server add web 80 one --weight 17\n"
                                             "server down web 80 one\n"
                                             "server status web 80 one --json\nserver report web 80 one --json\n"
                                             "port report web 80 --json\n"
                                             "server up web 80 one\nserver status web 80 one --json\n"
                                             "server cps web 80 one 9\n"
                                             "server host down h\nserver host up h\nserver host remove h\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 13U);
    EXPECT_EQ(member(lines[4], "_iWeight"), "0");
    EXPECT_EQ(lines[5], "{\"ClusterId\":\"web\",\"Port\":80,\"sServerID\":\"one\",\"iServerIdKey\":696,"
                        "\"TotalConnections\":0,\"TotalTCPConnections\":0,\"TotalUDPConnections\":0,"
                        "\"ActiveConnections\":0,\"FINishedConnections\":0,\"CompleteConnections\":0,"
                        "\"_iSavedWeight\":17,\"iBytesPerSecond\":0}");
    EXPECT_EQ(member(lines[6], "NumNodesDown"), "1");
    EXPECT_EQ(member(lines[8], "_iWeight"), "17");
}

TEST(Server, RefusalsNameTheStatusAndItsMeaning) {
    const std::string name65(65, 's'), text256(256, 't');
    const std::string unknown = "status -19: the server does not exist";
    const std::string listener = "server add: status -78: a listener is not usable, or there are more than two";
    const std::string weight = "status -20: the weight is negative, or above the weight bound of the port";
    expectRefusals(
        kPort + "server add web 80 one\nserver add web 80 two\n",
        {
            {"server add web 80 one", "server add: status -18: the server exists already"},
            {"server add web 80 x --weight -1", "server add: " + weight},
            {"server set web 80 one --weight 51", "server set: " + weight},
            {"server add web 80 x --listener 10.0.0.1,map-port=-1", listener},
            {"server add web 80 x --listener 10.0.0.1,map-port=65536", listener},
            {"server add web 80 x --listener 10.0.0.1 --listener 10.0.0.2 --listener 10.0.0.3", listener},
            {"server add web 80 " + name65,
             "server add: status -85: the server identifier is longer than 64 characters"},
            {"server set web 80 " + name65 + " --weight 1",
             "server set: status -85: the server identifier is longer than 64 characters"},
            {"server add web 80 x --router-address nonsense..",
             "server add: status -49: the router address does not parse"},
            {"server add web 80 x --return-address 1..2", "server add: status -76: the return address does not parse"},
            {"server add web 80 x --collocated on --router-address 10.0.0.1",
             "server add: status -43: a collocated server cannot have a router address"},
            {"server add web 80 x --max-cps -1",
             "server add: status -58: the most connections per second are negative"},
            {"server add web 81 x", "server add: status -12: the port does not exist"},
            {"server add web 65536 x", "server add: status -10: the port number is outside 0 to 65535, or there is no "
                                       "room for the server's listeners"},
            {"server add mail 80 x", "server add: status -5: the cluster does not exist"},
            {"server set web 80 x --weight 1", "server set: " + unknown},
            {"server status web 80 x", "server status: " + unknown},
            {"server report web 80 x", "server report: " + unknown},
            {"server remove web 80 x", "server remove: " + unknown},
            {"server up web 80 x", "server up: " + unknown},
            {"server down web 80 x", "server down: " + unknown},
            {"server cps web 80 one -1", "server cps: status -99: the executor refused the command"},
            {"server list web 81", "server list: status -12: the port does not exist"},
            {"server set web 80 one --advisor-request " + text256,
             "server set: --advisor-request: the text is 256 bytes long, the most is 255"},
            {"server set web 80 one --connect-timeout 5",
             "server set: --connect-timeout and --wait-for-complete need a --listener"},
            {"server add web 80 x --listener 10.0.0",
             "server add: --listener: '10.0.0' is not an IPv4 address of the form A.B.C.D"},
            {"server add web 80 x --listener 10.0.0.256",
             "server add: --listener: '10.0.0.256' is not an IPv4 address of the form A.B.C.D"},
            {"server add web 80 x --listener 10.0.0.1,port=80",
             "server add: --listener: a listener has no part 'port=80'"},
            {"server add web 80 x --sticky maybe", "server add: --sticky: 'maybe' is neither on nor off"},
        });
    expectRefusals(kPort + "server add web 80 one\nserver add web 80 two\nserver add web 80 three\n",
                   {{"server add web 80 four", "server add: status -32: the port has as many servers as it may have"}});
}

} // namespace
} // namespace rk
