// Native libraries that are missing or broken, and other Java VMs.
#include "console_process.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

namespace rk {
namespace {

namespace fs = std::filesystem;

ConsoleRun runWithLibraries(const std::string &folder) {
    return runConsole({{"cluster", "list"}, "", {"RK_LIBRARY_PATH=" + folder}});
}

TEST(Libraries, MissingLibraryIsNamedWithWhatToDo) {
    const std::string folder = makeFolder();
    const ConsoleRun run = runWithLibraries(folder);
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_EQ(run.out, "");
    EXPECT_EQ(run.err.find("The native library libcmnexecutor.so cannot be loaded: "), 0U) << run.err;
    EXPECT_NE(run.err.find(folder), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("-Djava.library.path=FOLDER"), std::string::npos) << run.err;
    EXPECT_TRUE(run.err.ends_with("The console takes the folder of its native libraries from RK_LIBRARY_PATH.\n"))
        << run.err;
}

TEST(Libraries, MissingUserSpaceExecutorIsNamedWithWhatToDo) {
    const std::string folder = makeFolder();
    fs::copy(LIBRARY_FILE, folder);
    const ConsoleRun run = runWithLibraries(folder);
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_NE(run.err.find("It needs libuexc.so, the user-space executor: put a libuexc.so "), std::string::npos)
        << run.err;
}

TEST(Libraries, UserSpaceExecutorThatLacksAnOperationIsNamedWithWhatToDo) {
    const std::string folder = makeFolder();
    fs::copy(LIBRARY_FILE, folder);
    fs::copy(BROKEN_UEXC_FILE, folder);
    const ConsoleRun run = runWithLibraries(folder);
    EXPECT_EQ(run.exitStatus, 3);
    EXPECT_NE(run.err.find("EXC_UsrExecutorTerm"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("The libuexc.so that was found is not a whole one"), std::string::npos) << run.err;
}

TEST(Libraries, JavaVmThatIsNoProgramIsNamedWithWhatToDo) {
    const std::string folder = makeFolder();
    for (const std::string &java : {folder, folder + "/java", std::string("no-such-java")}) {
        const ConsoleRun run = runConsole({{"cluster", "list"}, "", {"RK_JAVA=" + java}});
        EXPECT_EQ(run.exitStatus, 3);
        EXPECT_EQ(run.out, "");
        EXPECT_EQ(run.err, "rk-console: RK_JAVA names '" + java +
                               "', which is no program: name the program of a Java VM, 17 or newer\n");
    }
}

// What the library prints is then not told apart, and all else is as ever.
TEST(Libraries, ConsoleRunsWhereNoTemporaryFileCanBeMade) {
    const ConsoleRun run =
        runConsole({{}, "cluster list --json\nconnection list --counts\n", {"TMPDIR=/no/such/folder"}});
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(run.out.ends_with("TESTED.\n\nNumber of connection records = 0\nNum nps = 0\n")) << run.out;
}

TEST(Libraries, NewestJavaVmRunsTheConsoleWithoutAWarning) {
    if (std::string(NEWEST_JAVA).empty())
        GTEST_SKIP() << "there is no JDK newer than the one that the build uses";
    const ConsoleRun run =
        runConsole({{}, "cluster add web --address 10.0.0.1\ncluster list\n", {"RK_JAVA=" NEWEST_JAVA}});
    EXPECT_EQ(run.exitStatus, 0);
    EXPECT_EQ(run.out, "ok\nweb\n");
    EXPECT_EQ(run.err, "");
}

} // namespace
} // namespace rk
