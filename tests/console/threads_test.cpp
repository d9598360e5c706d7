// Native methods run one at a time, whatever is typed while one runs.
#include "console_process.h"

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>

namespace rk {
namespace {

namespace fs = std::filesystem;

constexpr char kPrompt[] = "rk-console> ";

// A console in a terminal, whose executor takes its time and writes down who comes in.
struct WatchedSession {
    TerminalSession console;
    std::string watch; // the file
};

WatchedSession openWatched() {
    const std::string folder = makeFolder();
    fs::copy(LIBRARY_FILE, folder);
    fs::copy(WATCHING_UEXC_FILE, folder);
    const std::string watch = folder + "/watch";
    return {openTerminal({{},
                          "",
                          {"TERM=xterm", "RK_LIBRARY_PATH=" + folder, "RK_WATCH=" + watch,
                           "JDK_JAVA_OPTIONS=-Duser.home=" + folder}}),
            watch};
}

// What the executor wrote down: one thread, and never two commands at once. Returns the number of commands.
std::size_t commandsOnOneThread(const std::string &watch) {
    std::set<std::string> threads;
    std::size_t commands = 0;
    for (const std::string &line : linesOf(readFile(watch))) {
        threads.insert(line.substr(0, line.find(' ')));
        EXPECT_EQ(line.find("beside another"), std::string::npos) << line;
        commands += line.find("EXC_UserInput") != std::string::npos ? 1 : 0;
    }
    EXPECT_EQ(threads.size(), 1U) << readFile(watch);
    return commands;
}

TEST(Threads, KeysTypedDuringACommandCallNoNativeMethodBesideIt) {
    WatchedSession session = openWatched();
    ASSERT_TRUE(waitFor(session.console, kPrompt)) << session.console.seen;
    // Completion asks the executor for names: here it is asked for while commands run, and while it completes itself.
    type(session.console, "cluster add web --address 10.0.0.1\rport add w\t80\rport status w\t\t\r");
    ASSERT_TRUE(waitFor(session.console, "sticky time")) << session.console.seen;
    // History: the command before, again.
    type(session.console, "\x1b[A\r\x1b[A\r");
    type(session.console, "quit\r");
    EXPECT_EQ(closeTerminal(session.console), 0) << session.console.seen;
    EXPECT_GE(commandsOnOneThread(session.watch), 7U) << readFile(session.watch);
}

TEST(Threads, AnInterruptDuringACommandCallsNoNativeMethodBesideIt) {
    WatchedSession session = openWatched();
    ASSERT_TRUE(waitFor(session.console, kPrompt)) << session.console.seen;
    type(session.console, "cluster add web --address 10.0.0.1\r");
    ASSERT_TRUE(waitFor(session.console, "ok\r\n")) << session.console.seen;
    // Ten seconds of commands, in the midst of which the terminal's interrupt comes.
    const std::size_t before = session.console.seen.size();
    std::string commands;
    for (int i = 0; i < 50; ++i)
        commands += "cluster status web\r";
    type(session.console, commands);
    ASSERT_TRUE(waitFor(session.console, "identifier", before)) << session.console.seen;
    type(session.console, "\x03");
    endInput(session.console);
    closeTerminal(session.console); // by the interrupt, or by the end of input when that came between two commands
    const std::size_t performed = commandsOnOneThread(session.watch);
    EXPECT_GE(performed, 2U) << readFile(session.watch);
    EXPECT_LT(performed, 50U) << "the interrupt interrupts nothing";
    EXPECT_EQ(session.console.seen.find("fatal error"), std::string::npos) << session.console.seen;
}

} // namespace
} // namespace rk
