// Scripts: one command a line, from a file or from standard input.
#include "console_process.h"

#include <fstream>
#include <gtest/gtest.h>

namespace rk {
namespace {

TEST(Scripts, FirstBadLineEndsTheScriptAndWhatWentBeforeStands) {
    const std::string log = makeFolder() + "/log";
    const ConsoleRun run = runScript("# a farm\n\ncluster add web --address 10.0.0.1\n"
                                     "cluster add web --address 10.0.0.2\ncluster add mail --address 10.0.0.3\n",
                                     {"--log", log});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.out, "ok\n");
    EXPECT_EQ(run.err, "line 4: cluster add: status -4: the cluster exists already\n");
    EXPECT_EQ(linesWith(readFile(log), " addCluster ").size(), 2U) << "line 5 was sent";
}

TEST(Scripts, LineThatMakesNoSenseEndsTheScriptWithTheUsageStatus) {
    struct Row {
        const char *line;
        const char *reason;
    };
    const Row rows[] = {
        {"cluster ad web", "cluster: there is no command 'ad' (did you mean add?)"},
        {"cluster list --longer", "cluster list: there is no option '--longer' (did you mean --long?)"},
        {"cluster add web --adress=10.0.0.1",
         "cluster add: there is no option '--adress=10.0.0.1' (did you mean --address?)"},
        {"cluster remove --force", "cluster remove: there is no option '--force'"},
        {"cluster status web extra", "cluster status: there is no further argument 'extra'"},
        {"cluster add web", "cluster add: Missing required option: '--address=ADDRESS'"},
        {"cluster set web --max-ports many", "cluster set: --max-ports: 'many' is not a number"},
        {"cluster set web --max-ports 2147483648",
         "cluster set: --max-ports: 2147483648 is outside -2147483648 to 2147483647"},
        {"cluster set web --proportions 1,2,3",
         "cluster set: --proportions: '1,2,3' is not 4 values with commas between them"},
        {"cluster set web --nat-address 1.2.3",
         "cluster set: --nat-address: '1.2.3' is not an IPv4 address of the form A.B.C.D"},
        {"cluster set web --default-replicate 256", "cluster set: --default-replicate: 256 is outside 0 to 255"},
        {"cluster set web", "cluster set: there is nothing to change: give an option"},
        {"cluster add web --address '10.0.0.1", "a quote is not closed: '10.0.0.1"},
        {"cluster", "cluster: a command is missing: one of "},
        {"--kernel cluster list", "there is no option '--kernel'"},
        {"executor set --v6-client-gateway 10.0.0.1",
         "executor set: --v6-client-gateway: '10.0.0.1' is not an IPv6 address"},
        {"system mode sideways", "system mode: Invalid value for positional parameter at index 0 (MODE): "},
    };
    std::string script;
    for (const Row &row : rows)
        script += std::string(row.line) + "\n";
    const ConsoleRun run = runScript(script, {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.out, "");
    const std::vector<std::string> lines = linesOf(run.err);
    ASSERT_EQ(lines.size(), std::size(rows)) << run.err;
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_EQ(lines[i].find("line " + std::to_string(i + 1) + ": " + rows[i].reason), 0U) << lines[i];
}

TEST(Scripts, QuotesCommentsAndBlankLinesAreAShells) {
    const ConsoleRun run = runScript("   \n"
                                     "  # nothing\n"
                                     "cluster add 'my web' --address 10.0.0.1 # comment\n"
                                     "cluster add \"say \\\"hi\\\" \\\\ #1\" --address \"10.0.0.2\"\n"
                                     "cluster add a\\ b'c d'\"e\"#f --address=10.0.0.3\n"
                                     "cluster list");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "ok\nok\nok\nmy web\nsay \"hi\" \\ #1\na bc de#f\n");
}

TEST(Scripts, FileIsReadAndEchoed) {
    const std::string file = makeFolder() + "/farm.rk";
    std::ofstream(file) << "# a farm\ncluster add web --address 10.0.0.1\n! cluster status mail\nexit\ncluster list\n";
    const ConsoleRun run = runCommand({"--echo", "--script", file});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "# a farm\n\n> cluster add web --address 10.0.0.1\nok\n\n> ! cluster status mail\n\n> exit\n");
    EXPECT_EQ(run.err, "line 3: cluster status: status -5: the cluster does not exist\n");
}

TEST(Scripts, RefusalThatWasExpectedAndDidNotComeIsAFailure) {
    const ConsoleRun run = runScript("! cluster list\n! cluster lst\n", {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_NE(run.err.find("line 1: cluster list: should have been refused, but succeeded\n"), std::string::npos)
        << run.err;
    EXPECT_NE(run.err.find("line 2: cluster: there is no command 'lst'"), std::string::npos) << run.err;
}

TEST(Scripts, FileThatCannotBeReadIsNamed) {
    const ConsoleRun missing = runCommand({"--script", "/no/such/farm.rk"});
    EXPECT_EQ(missing.exitStatus, 2);
    EXPECT_EQ(missing.err, "the script /no/such/farm.rk cannot be read: there is no such file\n");

    const ConsoleRun binary = runScript("cluster list\n\xff\xfe\n");
    EXPECT_EQ(binary.exitStatus, 2);
    EXPECT_EQ(binary.err, "the script - cannot be read: it is not UTF-8\n");
}

TEST(Scripts, ExpectedRefusalNeedsNoBlankBehindItsMark) {
    const ConsoleRun run = runScript("!cluster status mail\n!cluster list\n!\n", {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(linesOf(run.err)[0], "line 1: cluster status: status -5: the cluster does not exist");
    EXPECT_EQ(linesOf(run.err)[1], "line 2: cluster list: should have been refused, but succeeded");
}

TEST(Scripts, JsonAndHelpWorkOnALine) {
    const ConsoleRun run =
        runScript("json on\ncluster list\njson off\ncluster list\nhelp cluster remove\nhelp no such\n"
                  "cluster status x --json\n",
                  {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.out.find("[]\nUsage: rk-console cluster remove [-h] [--json] [--yes] CLUSTER\n"), 0U) << run.out;
    EXPECT_EQ(run.err, "line 6: help: there is no command no such\n"
                       "{\"status\":-5,\"meaning\":\"the cluster does not exist\",\"command\":\"cluster status\","
                       "\"line\":7}\n");
}

TEST(Scripts, DemonstrationSucceedsAndLeavesNothingBehind) {
    const ConsoleRun run = runCommand({"--echo", "--script", DEMONSTRATION});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_TRUE(run.out.ends_with("\n> cluster list --json\n[]\n")) << run.out;
}

TEST(Scripts, FirstFileGoesBeforeTheOthers) {
    const std::string file = makeFolder() + "/first.rk";
    std::ofstream(file) << "cluster add web --address 10.0.0.1\n";
    const ConsoleRun run = runScript("cluster list\n", {"--first", file});
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.out, "ok\nweb\n");
    std::ofstream(file) << "cluster remove web\n";
    const ConsoleRun refused = runScript("cluster list\n", {"--first", file});
    EXPECT_EQ(refused.exitStatus, 1);
    EXPECT_EQ(refused.out, "");
}

// Who forwards is told by the option, or else by the environment; without HAProxy everything else goes on.
TEST(Scripts, ForwardingIsAsTheOptionOrTheEnvironmentSays) {
    const std::string absent = "QELXW_HAPROXY=/nonexistent/haproxy";
    const std::string tried = "forwarding: nothing is forwarded: there is no HAProxy";
    const std::string log = makeFolder() + "/log";
    struct Row {
        std::vector<std::string> arguments;
        std::vector<std::string> environment;
        std::size_t lines;
    };
    const Row rows[] = {
        {{"--forward", "proxy"}, {absent}, 1},
        {{"--forward=proxy"}, {absent}, 1},
        {{}, {absent, "QELXW_FORWARD=proxy"}, 1},
        {{"--forward", "none"}, {absent, "QELXW_FORWARD=proxy"}, 0},
        {{}, {absent}, 0},
    };
    for (const Row &row : rows) {
        std::ofstream(log, std::ios::trunc);
        ConsoleInput input{row.arguments, "cluster add web --address 10.0.0.1\n", row.environment};
        input.arguments.insert(input.arguments.end(), {"--log", log, "--script", "-"});
        const ConsoleRun run = runConsole(input);
        EXPECT_EQ(run.exitStatus, 0);
        EXPECT_EQ(run.out, "ok\n");
        EXPECT_EQ(linesWith(readFile(log), tried).size(), row.lines) << testing::PrintToString(row.arguments);
    }
}

TEST(Scripts, EmptyInputIsAnEmptyScript) {
    const ConsoleRun run = runScript("");
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, "");
}

} // namespace
} // namespace rk
