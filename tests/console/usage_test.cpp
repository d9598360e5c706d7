// What the console says of itself, and of a command line that makes no sense.
#include "console_process.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

TEST(Usage, HelpAndVersionNeedNoLibrary) {
    const std::vector<std::string> nothing{"RK_LIBRARY_PATH=/nowhere"};
    const ConsoleRun help = runConsole({{"--help"}, "", nothing});
    EXPECT_EQ(help.exitStatus, 0);
    EXPECT_EQ(help.err, "");
    for (const char *expected : {"--kernel", "--user", "--json", "--script=FILE", "--log=FILE", "--install-path=DIR",
                                 "cluster ", "executor ", "system ", "lasts as long as the console", "Exit status"})
        EXPECT_NE(help.out.find(expected), std::string::npos) << expected;

    const ConsoleRun commandHelp = runConsole({{"cluster", "add", "--help"}, "", nothing});
    EXPECT_EQ(commandHelp.exitStatus, 0);
    EXPECT_NE(commandHelp.out.find("--proportions=N,N,N,N"), std::string::npos) << commandHelp.out;

    const ConsoleRun helpCommand = runConsole({{"help", "cluster", "add"}, "", nothing});
    EXPECT_EQ(helpCommand.exitStatus, 0) << helpCommand.err;
    EXPECT_EQ(helpCommand.out, commandHelp.out);
    const ConsoleRun helpAlone = runConsole({{"help"}, "", nothing});
    EXPECT_EQ(helpAlone.exitStatus, 0) << helpAlone.err;
    EXPECT_EQ(helpAlone.out, help.out);

    const ConsoleRun version = runConsole({{"--version"}, "", nothing});
    EXPECT_EQ(version.exitStatus, 0);
    EXPECT_EQ(version.out, "rk-console " PROJECT_VERSION "\n");
}

// It could name a file whose words take its place; "/" can be opened and not be read.
TEST(Usage, AWordWithALeadingAtIsAValue) {
    const ConsoleRun run = runCommand({"--user", "cluster", "status", "@/"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err.rfind("cluster status: status -5", 0), 0U) << run.err;
}

struct Mistake {
    std::vector<std::string> arguments;
    const char *message;
};

void PrintTo(const Mistake &mistake, std::ostream *out) {
    *out << mistake.message;
}

struct MistakeTest : testing::TestWithParam<Mistake> {};

TEST_P(MistakeTest, IsExplained) {
    const ConsoleRun run = runCommand(GetParam().arguments);
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err, GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, MistakeTest,
    testing::Values(
        Mistake{{"clsuter", "list"}, "there is no command 'clsuter' (did you mean cluster?)\nTry: --help\n"},
        Mistake{{"--user", "cluster", "add", "web"},
                "cluster add: Missing required option: '--address=ADDRESS'\nTry: cluster add --help\n"},
        Mistake{{"help", "cluster", "sub"}, "help: there is no command cluster sub\nTry: help --help\n"},
        Mistake{{"cluster"},
                "cluster: a command is missing: one of add, set, remove, status, report, list, cps\n"
                "Try: cluster --help\n"},
        Mistake{{"--user", "--kernel", "cluster", "list"}, "--user and --kernel exclude each other\nTry: --help\n"},
        Mistake{{"--kernel", "--log", "x", "cluster", "list"},
                "--log and --install-path are for the user-space executor\nTry: --help\n"},
        Mistake{{"--kernel", "--forward", "proxy", "cluster", "list"},
                "--forward is for the user-space executor\nTry: --help\n"},
        Mistake{{"--forward=all", "cluster", "list"}, "--forward takes proxy or none, and not 'all'\nTry: --help\n"},
        Mistake{{"--script", "x", "cluster", "list"},
                "--script, --first, --keep-going, --echo and --interactive are for scripts, and a command is given\n"
                "Try: --help\n"},
        Mistake{{"--json", "cluster", "status"},
                "{\"meaning\":\"Missing required parameter: 'CLUSTER'\",\"command\":\"cluster status\"}\n"}));

} // namespace
} // namespace rk
