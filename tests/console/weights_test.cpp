// The weights of the servers of a port.
#include "console_process.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

const std::string kServers = "cluster add web --address 10.0.0.10\nport add web 80 --weight-bound 50\n"
                             "server add web 80 one --listener 10.0.0.101 --weight 5\n"
                             "server add web 80 t=o --listener 10.0.0.102 --weight 6\n"
                             "server add web 80 three --weight 7\n";

TEST(Weights, AreReadAndSetForManyServersAtOnce) {
    const ConsoleRun run = runScript(kServers + "weights get web 80\n"
                                                "weights set web 80 one=50,fixed t=o=0,down\n"
                                                "weights get web 80 --json\n"
                                                "server status web 80 t=o --json\n"
                                                "weights set web 80 three=1 --json\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out.find("ok\nok\nok\nok\nok\n"
                           "SERVER  ADDRESS     WEIGHT  FIXED  CONNECTIONS  ACTIVE  RESULT\n"
                           "one     10.0.0.101  5       off    0            0       0\n"
                           "t=o     10.0.0.102  6       off    0            0       0\n"
                           "three   0.0.0.0     7       off    0            0       0\n"
                           "SERVER  WEIGHT  RESULT\n"
                           "one     50      0\n"
                           "t=o     0       0\n"
                           "[{\"sServerID\":\"one\",\"iAddress\":\"10.0.0.101\",\"iWeight\":50,\"bFixedWeight\":1,"
                           "\"iTotalConns\":0,\"iActiveConns\":0,\"iRC\":0},"
                           "{\"sServerID\":\"t=o\",\"iAddress\":\"10.0.0.102\",\"iWeight\":0,\"bFixedWeight\":0,"),
              0U)
        << run.out;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 15U);
    EXPECT_EQ(member(lines[13], "_iQuiesced"), "1");
    EXPECT_EQ(lines[14], "[{\"sServerID\":\"three\",\"iWeight\":1,\"iRC\":0}]");
}

TEST(Weights, PortWithoutServersHasNone) {
    const ConsoleRun run =
        runScript("cluster add web --address 10.0.0.10\nport add web 80\nweights get web 80\n", {"--json"});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(linesOf(run.out).back(), "[]");
}

TEST(Weights, EachServerHasItsOwnResult) {
    const ConsoleRun run =
        runScript(kServers + "weights set web 80 one=51 three=9 four=1\nweights get web 80 --json\n", {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 1);
    // The executor's own reasons: -36 weight outside the bound, -11 unknown server.
    EXPECT_NE(run.out.find("SERVER  WEIGHT  RESULT\n"
                           "one     51      -36\n"
                           "three   9       0\n"
                           "four    1       -11\n"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("{\"sServerID\":\"three\",\"iAddress\":\"0.0.0.0\",\"iWeight\":9,"), std::string::npos);
    EXPECT_NE(run.out.find("{\"sServerID\":\"one\",\"iAddress\":\"10.0.0.101\",\"iWeight\":5,"), std::string::npos);
    EXPECT_EQ(run.err, "line 6: weights set: 2 of 3 servers were refused, see their results\n");
}

TEST(Weights, RefusalsNameTheStatusAndItsMeaning) {
    const std::string form = " is not of the form SERVER=WEIGHT[,fixed][,down]";
    expectRefusals(kServers,
                   {
                       {"weights get web 81", "weights get: status -12: the port does not exist"},
                       {"weights get mail 80", "weights get: status -5: the cluster does not exist"},
                       {"weights set web 81 one=1", "weights set: status -12: the port does not exist"},
                       {"weights set web -1 one=1", "weights set: status -10: the port number is outside 0 to 65535"},
                       {"weights set web 80 one", "weights set: 'one'" + form},
                       {"weights set web 80 =1", "weights set: '=1'" + form},
                       {"weights set web 80 one=1,two", "weights set: 'two' is neither fixed nor down"},
                       {"weights set web 80 one=,", "weights set: '' is not a number"},
                       {"weights set web 80 one=70000", "weights set: 70000 is outside -32768 to 32767"},
                   });
}

} // namespace
} // namespace rk
