// Presence, mode, the user-space executor's life, and keys.
#include "console_process.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace rk {
namespace {

bool deviceExists() {
    return std::filesystem::exists("/dev/qelxw");
}

TEST(System, AnswersOfTheLibrary) {
    const ConsoleRun run = runScript("system probe solaris\nsystem probe hp --json\n"
                                     "system stop\nsystem stop --json\n"
                                     "system script-prefix\nsystem script-prefix --json\n"
                                     "system update-kernel\nsystem update-kernel --json\n"
                                     "system check-max clusters -1\nsystem check-max ports 0\n"
                                     "system check-max servers 2147483647\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "no\n{\"up\":false}\n"
                       "EOK\n{\"result\":\"EOK\"}\n"
                       "{\"prefix\":\"\"}\n"
                       "MADE IT INSIDE native updateKernel\n{\"answer\":\"MADE IT INSIDE native updateKernel\\n\"}\n"
                       "ok\nok\nok\n");
}

TEST(System, KeysAreThoseOfTheIdentifiers) {
    const ConsoleRun run = runScript("key of AB\nkey of ab --json\nkey flag 1\nkey of ''\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "0x000000C4 (196)\n{\"key\":196}\nok\n0xFFFFFFFF (-1)\n");
}

TEST(System, UserSpaceExecutorRunsFromTheStartAndCanBeStoppedAndStarted) {
    const ConsoleRun run = runScript("system user started\n"
                                     "cluster add web --address 10.0.0.1\n"
                                     "system user load\n"
                                     "system user stop\n"
                                     "system user started --json\n"
                                     "! cluster list\n"
                                     "system user start\n"
                                     "cluster list --json\n"
                                     "system user stop\nsystem user term\nsystem user init\nsystem user start\n"
                                     "cluster list --json\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "yes\nok\nok\nok\n{\"started\":false}\nok\n[]\nok\nok\nok\nok\n[]\n");
    EXPECT_EQ(run.err, "line 6: cluster list: status -1: the executor refused the command, or cannot be reached\n");
}

TEST(System, LogTellsOfEachCommand) {
    const std::string folder = makeFolder();
    const std::string first = folder + "/first.log", second = folder + "/second.log";
    const ConsoleRun run = runScript("cluster add web --address 10.0.0.1\n! cluster remove mail\n"
                                     "system user log " +
                                         second +
                                         "\n"
                                         "! system user log " +
                                         folder +
                                         "/none/x.log\n"
                                         "system user install-path " +
                                         folder +
                                         "\n"
                                         "cluster remove web\n",
                                     {"--log", first, "--install-path", folder});
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.err.find("system user log: cannot write the log file " + folder + "/none/x.log\n"), std::string::npos)
        << run.err;
    const std::vector<std::string> lines = linesWith(readFile(first), "Cluster cluster=");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_NE(lines[0].find("addCluster cluster=web"), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find("result=0"), std::string::npos) << lines[0];
    EXPECT_NE(lines[1].find("removeCluster"), std::string::npos) << lines[1];
    EXPECT_NE(lines[1].find("reason=-5 (unknown cluster)"), std::string::npos) << lines[1];
    const std::vector<std::string> further = linesWith(readFile(second), "Cluster cluster=");
    ASSERT_EQ(further.size(), 1U);
    EXPECT_NE(further[0].find("removeCluster cluster=web"), std::string::npos) << further[0];
}

TEST(System, LogThatCannotBeWrittenStopsTheConsole) {
    const ConsoleRun run = runCommand({"--log", makeFolder() + "/none/x.log", "cluster", "list"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.err.find("user-space executor: cannot write the log file "), 0U) << run.err;
}

TEST(System, KernelModeWithoutTheDeviceSaysWhatToDo) {
    if (deviceExists())
        GTEST_SKIP() << "/dev/qelxw exists on this machine";
    const ConsoleRun run = runConsole({{"--kernel", "--keep-going"},
                                       "system present\nsystem probe\ncluster list\nexecutor status --json\n"
                                       "system mode user\nsystem user init\nsystem user start\ncluster list --json\n"
                                       "system mode kernel\nexecutor status\n",
                                       {}});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.out, "no\nno\nok\nok\nok\n[]\nok\n");
    const std::string meaning =
        "the executor refused the command, or cannot be reached (the executor device /dev/qelxw "
        "cannot be opened: load the executor, or use --user)";
    EXPECT_EQ(run.err, "line 3: cluster list: status -1: " + meaning + "\n" + "{\"status\":-1,\"meaning\":\"" +
                           meaning + "\",\"command\":\"executor status\",\"line\":4}\n" +
                           "line 10: executor status: status -1: " + meaning + "\n");
}

// Of these the library returns the executor's reason, or nothing: without an executor they would look successful.
TEST(System, CommandsWithoutAStatusOfTheirOwnAskWhetherThereIsAnExecutor) {
    const std::string commands = "connection allocate 10.0.0.10 80 10.5.0.1 40001 10.0.0.101\n"
                                 "affinity add 10.0.0.10 80 10.5.0.1=10.0.0.101\n"
                                 "affinity remove 10.0.0.10 80 10.5.0.1\n"
                                 "affinity query 10.0.0.10 80\n"
                                 "ha backup add 0 0 12345\n"
                                 "ha backup delete\n"
                                 "interface refresh\n";
    const ConsoleRun stopped = runScript("system user stop\n" + commands, {"--keep-going"});
    EXPECT_EQ(stopped.out, "ok\n");
    const std::string notStarted = "the user-space executor does not run: start it with 'system user start'";
    EXPECT_EQ(linesWith(stopped.err, notStarted).size(), 7U) << stopped.err;
    if (deviceExists())
        GTEST_SKIP() << "/dev/qelxw exists on this machine";
    const ConsoleRun kernel = runScript(commands, {"--kernel", "--keep-going"});
    EXPECT_EQ(kernel.exitStatus, 1);
    EXPECT_EQ(kernel.out, "");
    EXPECT_EQ(linesWith(kernel.err, "status -1: the executor refused the command, or cannot be reached (the executor "
                                    "device /dev/qelxw cannot be opened: load the executor, or use --user)")
                  .size(),
              7U)
        << kernel.err;
}

} // namespace
} // namespace rk
