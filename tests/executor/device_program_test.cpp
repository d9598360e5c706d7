// qelxwd as a user meets it where there is no /dev/cuse. What it does with one is tested in a guest.
#include "executor/fronts/device_options.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace rk {
namespace {

struct ProgramRun {
    int exitStatus; // -1 when a signal ended it
    std::string output;
};

// Runs it by the shell, both streams together unless `arguments` say otherwise.
ProgramRun run(const std::string &arguments) {
    std::FILE *stream = popen(("exec 2>&1; exec " QELXWD " " + arguments).c_str(), "r");
    ProgramRun result{-1, ""};
    char piece[4096];
    for (std::size_t length = 0; (length = std::fread(piece, 1, sizeof piece, stream)) > 0;)
        result.output.append(piece, length);
    const int status = pclose(stream);
    if (WIFEXITED(status))
        result.exitStatus = WEXITSTATUS(status);
    return result;
}

void expectRun(const std::string &arguments, int exitStatus, const std::string &output) {
    const ProgramRun result = run(arguments);
    EXPECT_EQ(result.exitStatus, exitStatus) << arguments;
    EXPECT_EQ(result.output, output) << arguments;
}

TEST(DeviceProgram, helpAndVersionAreForStandardOutput) {
    expectRun("--help 2> /dev/null", 0, kDeviceHelp);
    expectRun("--version 2> /dev/null", 0, "qelxwd " RK_VERSION "\n");
}

TEST(DeviceProgram, aWrongCommandLineIsTold) {
    const std::string more = "\nqelxwd --help tells what there is\n";
    expectRun("--nonsense", 2, "qelxwd: unknown option --nonsense" + more);
    expectRun("surplus", 2, "qelxwd: surplus argument: surplus" + more);
    expectRun("--log > /dev/null", 2, "qelxwd: --log needs a value" + more);
    expectRun("--device-name 2> /dev/null", 2, "");
}

TEST(DeviceProgram, aLogThatCannotBeWrittenIsTold) {
    expectRun("--log /dev/null/log", 1, "qelxwd: cannot write /dev/null/log: Not a directory\n");
}

TEST(DeviceProgram, withoutTheKernelsModuleItSaysWhatToDo) {
    if (access(kDeviceChannel, F_OK) == 0)
        GTEST_SKIP() << "this machine has /dev/cuse, and a device would be made";
    const std::string words = "qelxwd: there is no /dev/cuse: load the kernel's module first (modprobe cuse)\n";
    expectRun("", 1, words);
    expectRun("--foreground", 1, words);
    expectRun("--device-name other > /dev/null", 1, words);
}

#ifdef RK_KERNEL_FORWARDING
// As an operator, where one forwards with its files in this folder.
TEST(DeviceProgram, drainingIsToldByTheExitStatus) {
    char folder[] = "/tmp/qelxwd_drain.XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    setenv("RUNTIME_DIRECTORY", folder, 1);
    const std::string nobody = "qelxwd: no qelxwd announces here, as one with --announce-table does (" +
                               std::string(folder) + "/announcement)\n";
    expectRun("--drain", 1, nobody);
    expectRun("--announce", 1, nobody);
    const auto tell = [&folder](const char *state) {
        std::ofstream(std::string(folder) + "/announcement") << state << '\n';
    };
    tell("drained");
    expectRun("--drain", 0, "drained: nothing is announced, and no packet came for 5 seconds\n");
    EXPECT_TRUE(std::filesystem::exists(std::string(folder) + "/drain"));
    tell("announced");
    expectRun("--announce", 0, "announcing again\n");
    EXPECT_FALSE(std::filesystem::exists(std::string(folder) + "/drain"));
    unsetenv("RUNTIME_DIRECTORY");
    std::filesystem::remove_all(folder);
}
#endif

} // namespace
} // namespace rk
