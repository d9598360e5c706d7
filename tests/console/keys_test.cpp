// Identifiers whose keys are the same. The executor knows clusters and servers by keys alone.
#include "console_process.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

// The keys of srv105 and srv950 are 0x0000200A, those of 10.0.0.103 and 10.0.0.120 are 0x000112B8.
const std::string kFarm = "cluster add srv105 --address 10.0.0.10\n"
                          "port add srv105 80\n"
                          "server add srv105 80 10.0.0.103\n"
                          "server add srv105 80 other\n"
                          "rule add srv105 80 night --type 2\n";

TEST(Keys, CommandForOneClusterDoesNotReachAnother) {
    const std::string clash =
        "there is no cluster 'srv950', and the executor would take 'srv105' for it: both have the "
        "key 0x0000200A";
    std::vector<RefusedCommand> refused;
    for (const char *command : {"cluster set srv950 --max-ports 9",
                                "cluster remove srv950",
                                "cluster status srv950",
                                "cluster report srv950",
                                "cluster cps srv950 7",
                                "port add srv950 443",
                                "port set srv950 80 --max-servers 9",
                                "port remove srv950 80",
                                "port status srv950 80",
                                "port report srv950 80",
                                "port cps srv950 80 7",
                                "port list srv950",
                                "server add srv950 80 x",
                                "server set srv950 80 other --weight 5",
                                "server remove srv950 80 other",
                                "server up srv950 80 other",
                                "server down srv950 80 other",
                                "server status srv950 80 other",
                                "server report srv950 80 other",
                                "server cps srv950 80 other 7",
                                "server list srv950 80",
                                "weights get srv950 80",
                                "weights set srv950 80 other=5",
                                "rule add srv950 80 day --type 2",
                                "rule set srv950 80 night --end 5",
                                "rule remove srv950 80 night",
                                "rule status srv950 80 night",
                                "rule report srv950 80 night",
                                "rule cps srv950 80 night 7",
                                "rule list srv950 80",
                                "rule server add srv950 80 night other",
                                "rule server remove srv950 80 night other",
                                "rule server list srv950 80 night"}) {
        const std::string words = command;
        refused.push_back({words, words.substr(0, words.find(" srv950")) + ": " + clash});
    }
    expectRefusals(kFarm, refused);
}

TEST(Keys, CommandForOneServerDoesNotReachAnother) {
    const std::string clash = "there is no server '10.0.0.120', and the executor would take '10.0.0.103' for it: both "
                              "have the key 0x000112B8";
    std::vector<RefusedCommand> refused;
    for (const char *command :
         {"server set srv105 80 10.0.0.120 --weight 5", "server remove srv105 80 10.0.0.120",
          "server up srv105 80 10.0.0.120", "server down srv105 80 10.0.0.120", "server status srv105 80 10.0.0.120",
          "server report srv105 80 10.0.0.120", "server cps srv105 80 10.0.0.120 7",
          "weights set srv105 80 other=5 10.0.0.120=5", "rule server add srv105 80 night 10.0.0.120",
          "rule server remove srv105 80 night 10.0.0.120", "affinity add 10.0.0.10 80 10.5.0.1=10.0.0.120"}) {
        const std::string words = command;
        const std::size_t end = words.find(words.starts_with("affinity") ? " 10.0.0.10" : " srv105");
        refused.push_back({words, words.substr(0, end) + ": " + clash});
    }
    expectRefusals(kFarm, refused);
}

TEST(Keys, RefusalToAddNamesTheOneThatHasTheKey) {
    expectRefusals(
        kFarm,
        {{"cluster add srv950 --address 10.0.0.11",
          "cluster add: status -4: the cluster 'srv105' has the same key 0x0000200A: choose another identifier"},
         {"cluster add SRV105 --address 10.0.0.11", "cluster add: status -4: the cluster exists already"},
         {"server add srv105 80 10.0.0.120",
          "server add: status -18: the server '10.0.0.103' has the same key 0x000112B8: choose another identifier"},
         {"server add srv105 80 Other", "server add: status -18: the server exists already"}});
}

TEST(Keys, NothingIsRefusedWithoutAClash) {
    // In capitals, with a plus sign, on a port in another notation; and again when the other one is gone.
    const ConsoleRun run = runScript(kFarm + "server down SRV105 0x50 OTHER\n"
                                             "server add srv105 80 a+b\nserver set srv105 80 a+b --weight 7\n"
                                             "affinity add 10.0.0.10 80 10.5.0.1=10.0.0.103 --json\n"
                                             "server remove srv105 80 10.0.0.103\n"
                                             "server add srv105 80 10.0.0.120\nserver down srv105 80 10.0.0.120\n"
                                             "! server up srv105 80 10.0.0.103\n"
                                             "cluster remove srv105\n"
                                             "cluster add srv950 --address 10.0.0.10\nport add srv950 80\n"
                                             "! server status srv950 80 10.0.0.120\n"
                                             "system user stop\nsystem user start\n"
                                             "cluster add srv105 --address 10.0.0.10\nport add srv105 80\n"
                                             "! port add srv950 443\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(linesOf(run.err),
              (std::vector<std::string>{
                  "line 13: server up: there is no server '10.0.0.103', and the executor would take '10.0.0.120' for "
                  "it: both have the key 0x000112B8",
                  "line 17: server status: status -19: the server does not exist",
                  "line 22: port add: there is no cluster 'srv950', and the executor would take 'srv105' for it: both "
                  "have the key 0x0000200A"}));
}

TEST(Keys, ManyLinesListTheNamesOnce) {
    std::string script = kFarm;
    for (int i = 0; i < 100; ++i)
        script += "server down srv105 80 other\nport set srv105 80 --max-servers 9\n";
    const std::string log = makeFolder() + "/log";
    const ConsoleRun run = runScript(script, {"--log", log});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::string lines = readFile(log);
    EXPECT_EQ(linesWith(lines, " markServerDown ").size(), 100U);
    EXPECT_LE(linesWith(lines, " list").size(), 2U);
}

// Names that the documentation advises, and such that it warns of: how many of them share a key. The format gets the
// three digits of a number.
struct Scheme {
    const char *format;
    int names;
    int sharing;
};

TEST(Keys, NamesWhoseDigitsStandApartDoNotClash) {
    const Scheme schemes[] = {{"rack%d-row%d-srv%d", 1000, 0},
                              {"room%d.rack%d.server%d", 1000, 0},
                              {"web%2$d%3$d", 100, 0},
                              {"srv%d%d%d", 1000, 712},
                              {"webserver-%d%d%d", 1000, 996}};
    std::string script;
    std::vector<std::string> refusals;
    for (const Scheme &scheme : schemes) {
        script += scheme.sharing == 0 ? "key compare" : "! key compare";
        for (int i = 0; i < scheme.names; ++i) {
            char name[64];
            snprintf(name, sizeof name, scheme.format, i / 100, i / 10 % 10, i % 10);
            script += std::string(" ") + name;
        }
        script += "\n";
        if (scheme.sharing != 0)
            refusals.push_back(": key compare: " + std::to_string(scheme.sharing) +
                               " of 1000 identifiers have a key in common");
    }
    const ConsoleRun run = runScript(script);
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(linesOf(run.err), (std::vector<std::string>{"line 4" + refusals[0], "line 5" + refusals[1]}));
}

TEST(Keys, ComparisonShowsWhichShareAKey) {
    const ConsoleRun run = runScript("key compare one two\nkey compare one two --json\n"
                                     "! key compare 10.0.0.103 one 10.0.0.120 One\n"
                                     "! key compare 10.0.0.120 one 10.0.0.103 --json\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out,
              "ok\n[]\nKEY         IDENTIFIER\n0x000112B8  10.0.0.103\n0x000112B8  10.0.0.120\n"
              "0x000002B8  one\n0x000002B8  One\n"
              "[{\"key\":70328,\"identifier\":\"10.0.0.120\"},{\"key\":70328,\"identifier\":\"10.0.0.103\"}]\n");
}

} // namespace
} // namespace rk
