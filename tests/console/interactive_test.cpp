// The console in a terminal.
#include "console_process.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace rk {
namespace {

constexpr char kPrompt[] = "rk-console> ";

TEST(Interactive, CompletesCommandsOptionsAndNames) {
    const std::string home = makeFolder();
    TerminalSession session =
        openTerminal({{}, "", {"TERM=xterm", "XDG_STATE_HOME=", "JDK_JAVA_OPTIONS=-Duser.home=" + home}});
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;

    type(session, "clu\tadd web-farm --addr\t10.0.0.1\r");
    ASSERT_TRUE(waitFor(session, "ok\r\n")) << session.seen;
    type(session, "! cluster status mail\r");
    ASSERT_TRUE(waitFor(session, "cluster status: status -5: the cluster does not exist")) << session.seen;
    type(session, "cluster status nothing --bogus\r");
    ASSERT_TRUE(waitFor(session, "there is no option '--bogus'")) << session.seen;

    const std::size_t before = session.seen.size();
    type(session, "cluster stat\twe\t\r");
    ASSERT_TRUE(waitFor(session, "0x", before)) << session.seen;
    EXPECT_NE(session.seen.find("identifier ", before), std::string::npos) << session.seen;
    EXPECT_NE(session.seen.find("web-farm", before), std::string::npos) << session.seen;

    // Names further down are offered by what was typed before them.
    type(session, "port add web-farm 8080\r");
    ASSERT_TRUE(waitFor(session, kPrompt, session.seen.size())) << session.seen;
    type(session, "server add web-farm 8080 first-server\r");
    ASSERT_TRUE(waitFor(session, kPrompt, session.seen.size())) << session.seen;
    type(session, "rule add web-farm 8080 night --type 2\r");
    ASSERT_TRUE(waitFor(session, kPrompt, session.seen.size())) << session.seen;
    const std::size_t below = session.seen.size();
    type(session, "rule server add we\t80\tni\tfi\t\rrule server list web-farm 8080 night --json\r");
    ASSERT_TRUE(waitFor(session, "[\"first-server\"]", below)) << session.seen;
    type(session, "system mode ke\t\r");
    ASSERT_TRUE(waitFor(session, "system mode kernel", below)) << session.seen;

    type(session, "quit\r");
    EXPECT_EQ(closeTerminal(session), 0);
    EXPECT_EQ(session.seen.find("WARN"), std::string::npos) << session.seen;
    const std::string history = readFile(home + "/.local/state/rk-console/history");
    EXPECT_NE(history.find("cluster add web-farm --address 10.0.0.1"), std::string::npos) << history;
}

TEST(Interactive, ProgramsDocumentsAreCleanAndExpectedRefusalsNeedNoBlank) {
    TerminalSession session = openTerminal({{}, "", {"TERM=xterm", "JDK_JAVA_OPTIONS=-Duser.home=/dev/null/home"}});
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    type(session, "connection list --json\r");
    ASSERT_TRUE(waitFor(session, "\"records\":[]}")) << session.seen;
    EXPECT_EQ(session.seen.find("UNSUPPORTED"), std::string::npos) << session.seen;
    type(session, "connection list\r");
    ASSERT_TRUE(waitFor(session, "Num nps = 0")) << session.seen;
    EXPECT_NE(session.seen.find("UNSUPPORTED"), std::string::npos) << session.seen;
    type(session, "!clus\tstatus mail\r");
    ASSERT_TRUE(waitFor(session, "cluster status: status -5")) << session.seen;
    EXPECT_NE(session.seen.find("!cluster status mail"), std::string::npos) << session.seen;
    type(session, "quit\r");
    EXPECT_EQ(closeTerminal(session), 0) << session.seen;
}

TerminalSession openWithPager(const std::string &pager) {
    return openTerminal({{}, "", {"TERM=xterm", "PAGER=" + pager, "JDK_JAVA_OPTIONS=-Duser.home=/dev/null/home"}});
}

TEST(Interactive, LongTextsGoThroughThePager) {
    TerminalSession session = openWithPager("sed 's/^/paged: /'");
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    type(session, "debug misc 0\r");
    ASSERT_TRUE(waitFor(session, "paged: Misc debug:")) << session.seen;

    // Short texts and JSON do not.
    const std::size_t after = session.seen.size();
    type(session, "log clear\r");
    ASSERT_TRUE(waitFor(session, "\nCOMMANDS HAVE NOT BEEN", after)) << session.seen;
    type(session, "debug misc 0 --json\r");
    ASSERT_TRUE(waitFor(session, "{\"Primary FSM\":", after)) << session.seen;
    EXPECT_EQ(session.seen.find("paged: EXECUTOR"), std::string::npos) << session.seen;
    EXPECT_EQ(session.seen.find("paged: {"), std::string::npos) << session.seen;
    type(session, "quit\r");
    EXPECT_EQ(closeTerminal(session), 0) << session.seen;
}

TEST(Interactive, InterruptIsThePagersAndDoesNotEndTheConsole) {
    TerminalSession session =
        openWithPager("cat > /dev/null; sleep 60 & trap 'kill $!; echo left it; exit' INT; echo holding; wait");
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    type(session, "debug misc 0\r");
    ASSERT_TRUE(waitFor(session, "holding")) << session.seen;
    type(session, "\x03");
    ASSERT_TRUE(waitFor(session, "left it")) << session.seen;
    EXPECT_TRUE(waitFor(session, kPrompt, session.seen.find("left it"))) << session.seen;
    EXPECT_EQ(session.seen.find("Misc debug:"), std::string::npos) << "printed as well: " << session.seen;
    type(session, "\x04");
    EXPECT_EQ(closeTerminal(session), 0) << session.seen;
}

TEST(Interactive, LongTextsArePrintedWhereThePagerDoesNotStart) {
    TerminalSession session = openWithPager("/no/such/pager");
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    type(session, "debug misc 0\r");
    ASSERT_TRUE(waitFor(session, "Misc debug:")) << session.seen;
    type(session, "quit\r");
    EXPECT_EQ(closeTerminal(session), 0) << session.seen;
}

// Native code prints into a file, which a session of days must not fill.
TEST(Interactive, WhatNativeCodePrintedIsNotKept) {
    TerminalSession session = openWithPager("");
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    const std::string caught = "/proc/" + std::to_string(session.process) + "/fd/1";
    for (int i = 0; i < 3; ++i) {
        const std::size_t before = session.seen.size();
        type(session, "connection list\r");
        ASSERT_TRUE(waitFor(session, "DEBUGGING", before)) << session.seen;
        ASSERT_TRUE(waitFor(session, kPrompt, session.seen.find("DEBUGGING", before))) << session.seen;
        EXPECT_EQ(session.seen.find("DEBUGGING", session.seen.find("DEBUGGING", before) + 1), std::string::npos);
        EXPECT_EQ(std::filesystem::file_size(caught), 0U);
    }
    type(session, "quit\r");
    EXPECT_EQ(closeTerminal(session), 0) << session.seen;
}

TEST(Interactive, ScriptGoesBeforeThePrompt) {
    const std::string file = makeFolder() + "/farm.rk";
    std::ofstream(file) << "cluster add web --address 10.0.0.1\n";
    TerminalSession session = openTerminal(
        {{"--script", file, "--interactive"}, "", {"TERM=xterm", "JDK_JAVA_OPTIONS=-Duser.home=/dev/null/home"}});
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    EXPECT_NE(session.seen.find("ok\r\n"), std::string::npos) << session.seen;
    type(session, "cluster list --json\r");
    EXPECT_TRUE(waitFor(session, "[\"web\"]")) << session.seen;
    type(session, "quit\r");
    EXPECT_EQ(closeTerminal(session), 0) << session.seen;
}

TEST(Interactive, ManyObjectsAreChangedAfterAQuestionOnly) {
    const std::string file = makeFolder() + "/farm.rk";
    std::ofstream farm(file);
    farm << "cluster add web --address 10.0.0.1\nport add web 80\n";
    for (int i = 10; i < 21; ++i)
        farm << "server add web 80 s" << i << "\n";
    farm.close();
    TerminalSession session = openTerminal(
        {{"--script", file, "--interactive"}, "", {"TERM=xterm", "JDK_JAVA_OPTIONS=-Duser.home=/dev/null/home"}});
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    type(session, "server remove web 80 *\r");
    ASSERT_TRUE(waitFor(session, "server remove for 11 servers? (y/n)")) << session.seen;
    type(session, "n\r");
    ASSERT_TRUE(waitFor(session, "server remove: nothing was done")) << session.seen;
    type(session, "server remove web 80 s1*\r");
    ASSERT_TRUE(waitFor(session, "ok: 10 servers")) << session.seen;
    type(session, "server remove web 80 *\r");
    ASSERT_TRUE(waitFor(session, "ok: 1 server\r")) << session.seen;
    type(session, "quit\r");
    EXPECT_EQ(closeTerminal(session), 0) << session.seen;
}

TEST(Interactive, EndOfInputEndsIt) {
    TerminalSession session =
        openTerminal({{"--user"}, "", {"TERM=xterm", "JDK_JAVA_OPTIONS=-Duser.home=/dev/null/home"}});
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    type(session, "cluster list --json\r");
    ASSERT_TRUE(waitFor(session, "[]")) << session.seen;
    ASSERT_TRUE(waitFor(session, kPrompt, session.seen.rfind("[]"))) << session.seen;
    type(session, "\x04");
    EXPECT_EQ(closeTerminal(session), 0) << session.seen;
    EXPECT_EQ(session.seen.find("WARN"), std::string::npos) << session.seen;
    EXPECT_EQ(session.seen.find("Exception"), std::string::npos) << session.seen;
}

} // namespace
} // namespace rk
