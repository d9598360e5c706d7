// What operators look at: lists in another order, colours, help as one types, commands that are repeated, a live view.
#include "console_process.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace rk {
namespace {

constexpr char kPrompt[] = "rk-console> ";
constexpr char kFarm[] = "cluster add shop --address 10.0.0.10\nport add shop 80\n"
                         "server add shop 80 web1 --weight 2\nserver add shop 80 web2 --weight 10 --sticky on\n"
                         "server add shop 80 db1 --weight 5 --quiesced on\nserver add shop 80 db2\n"
                         "server down shop 80 db2\n";

TEST(Lists, AreSortedFilteredAndShowTheColumnsThatAreWanted) {
    const ConsoleRun run =
        runScript(std::string(kFarm) + "server list shop 80 --sort weight --columns identifier,weight\n"
                                       "server list shop 80 --sort -weight --filter WEB --columns weight,identifier\n"
                                       "server list shop 80 --filter sticky=on --json\n"
                                       "server list shop 80 --filter identifier=db? --columns identifier\n"
                                       "server list shop 80 --sort color\n",
                  {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_NE(run.out.find("IDENTIFIER  WEIGHT\ndb2         0\nweb1        2\ndb1         5\nweb2        10\n"
                           "IDENTIFIER  WEIGHT\nweb2        10\nweb1        2\n[{\"ClusterId\":\"shop\""),
              std::string::npos)
        << run.out;
    EXPECT_TRUE(run.out.ends_with("}]\nIDENTIFIER\ndb1\ndb2\n")) << run.out;
    EXPECT_EQ(linesOf(run.out).size(), 7U + 5 + 3 + 1 + 3) << run.out;
    EXPECT_EQ(
        run.err.find("line 12: server list: --sort: there is no column 'color'; there are cluster, port, identifier,"),
        0U)
        << run.err;
}

TEST(Values, HaveNamesBesideNumbers) {
    const ConsoleRun run =
        runScript("cluster add shop --address 10.0.0.10\n"
                  "port add shop 80 --type tcp --method nat --protocol http --json\n"
                  "port status shop 80 --json\nport set shop 80 --type 2\nport status shop 80 --json\n"
                  "rule add shop 80 a --type address --begin 10.0.0.1 --end 10.0.0.2\n"
                  "rule status shop 80 a --json\nport set shop 80 --type tpc\nhelp port add\n",
                  {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 2);
    const std::vector<std::string> ports = linesWith(run.out, "\"iMethod\":2");
    ASSERT_EQ(ports.size(), 2U) << run.out;
    EXPECT_NE(ports[0].find("\"Type\":1,\"iMethod\":2,\"iPortProtocol\":1,"), std::string::npos) << ports[0];
    EXPECT_NE(ports[1].find("\"Type\":2,"), std::string::npos) << ports[1];
    EXPECT_NE(run.out.find("\"RuleType\":1,"), std::string::npos) << run.out;
    EXPECT_EQ(run.err, "line 8: port set: --type: 'tpc' is not a number, nor one of tcp-and-udp, tcp, udp\n");
    for (const char *part : {"link, nat, content", "0 to 32", "New: 32."})
        EXPECT_NE(run.out.find(part), std::string::npos) << part << " in " << run.out;
}

TEST(Watch, RepeatsACommandWithItsOptions) {
    const ConsoleRun run = runScript("cluster add shop --address 10.0.0.10\nwatch --times 3 0.1 cluster list --json\n"
                                     "watch 0 cluster list\nwatch 1 watch 1 cluster list\n"
                                     "watch --times 2 0.1 cluster status mail\n",
                                     {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.out, "ok\n[\"shop\"]\n[\"shop\"]\n[\"shop\"]\n");
    EXPECT_EQ(run.err, "line 3: watch: SECONDS: 0.0 is outside 0.1 to 86400\nline 4: watch: 'watch' goes on by itself\n"
                       "cluster status: status -5: the cluster does not exist\n"
                       "cluster status: status -5: the cluster does not exist\n");
}

TEST(Top, WantsATerminal) {
    const ConsoleRun run = runScript("top\n");
    EXPECT_EQ(run.exitStatus, 2);
    EXPECT_EQ(run.err, "line 1: top: a terminal is needed; elsewhere 'watch' repeats any command\n");
}

TerminalSession openFarm(const std::vector<std::string> &environment = {}, int columns = 160) {
    const std::string folder = makeFolder();
    std::ofstream(folder + "/farm.rk") << kFarm;
    ConsoleInput input{{"--script", folder + "/farm.rk", "--interactive"}, "", {"TERM=xterm", "PAGER="}};
    input.environment.push_back("JDK_JAVA_OPTIONS=-Duser.home=" + folder);
    input.environment.insert(input.environment.end(), environment.begin(), environment.end());
    return openTerminal(input, columns);
}

// Types a line, and returns what was said until the next prompt.
std::string answer(TerminalSession &session, const std::string &keys, const std::string &last) {
    const std::size_t before = session.seen.size();
    type(session, keys);
    EXPECT_TRUE(waitFor(session, last, before)) << session.seen;
    EXPECT_TRUE(waitFor(session, kPrompt, session.seen.find(last, before))) << session.seen;
    return session.seen.substr(before);
}

void leave(TerminalSession &session) {
    type(session, "quit\r");
    EXPECT_EQ(closeTerminal(session), 0) << session.seen;
}

TEST(Terminal, HasColoursUnlessTheyAreUnwanted) {
    for (const char *variable : {"NO_COLOR=", "NO_COLOR=1"}) {
        TerminalSession session = openFarm({variable});
        ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
        const std::string list = answer(session, "server list shop 80 --long\r", "db2");
        const std::string refused = answer(session, "cluster status mail\r", "does not exist");
        const bool isWanted = std::string(variable) == "NO_COLOR=";
        EXPECT_EQ(list.find("\x1b[31mdb2 ") != std::string::npos, isWanted) << list;
        EXPECT_EQ(list.find("\x1b[33mdb1 ") != std::string::npos, isWanted) << list;
        EXPECT_EQ(list.find("\x1b[31mweb1"), std::string::npos) << list;
        EXPECT_EQ(refused.find("\x1b[31mcluster status: status -5") != std::string::npos, isWanted) << refused;
        leave(session);
    }
}

TEST(Terminal, TablesFitIt) {
    TerminalSession session = openFarm({"NO_COLOR=1"}, 80);
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    const std::string columns =
        "identifier,weight,fixed-weight,return-address,router-address,sticky,quiesced,cookie-value";
    const std::string list = answer(session, "server list shop 80 --columns " + columns + "\r", "db2 ");
    std::size_t rows = 0;
    for (const std::string &line : linesOf(list)) {
        if (line.find("0.0.0.0") != std::string::npos) {
            EXPECT_LE(line.size(), 81U) << line; // with the carriage return
            ++rows;
        }
    }
    EXPECT_EQ(rows, 4U) << list;
    // Too many columns: a line for each field.
    const std::string all = answer(session, "server list shop 80 --columns all --filter db2\r", "clone identifier");
    EXPECT_NE(all.find("\nidentifier                   db2\r"), std::string::npos) << all;
    leave(session);
}

TEST(Terminal, QuestionMarkHelpsAndTabOffersValuesAndFiles) {
    TerminalSession session = openFarm();
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    answer(session, "server add ?\r", "Usage: rk-console server add");
    answer(session, "cluster nonsense ?\r", "Usage: rk-console cluster");
    answer(session, "help clu\tli\t\r", "Usage: rk-console cluster list");
    answer(session, "port set shop 80 --protocol ht\t\r", "ok");
    answer(session, "port set shop 80 --method=n\t\r", "ok");
    answer(session, "server set shop 80 web1 --sticky of\t\r", "ok");
    const std::string file = makeFolder() + "/exported.rk";
    answer(session, "config export " + file + "\r", "ok");
    answer(session, "config diff " + file.substr(0, file.size() - 5) + "\t\r", "nothing differs");
    EXPECT_NE(readFile(file).find("port add shop 80 --method nat --protocol http\n"), std::string::npos)
        << readFile(file);
    leave(session);
}

TEST(Terminal, HistoryIsBelowTheStateHome) {
    const std::string state = makeFolder();
    TerminalSession session = openFarm({"XDG_STATE_HOME=" + state});
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    answer(session, "cluster list\r", "shop");
    leave(session);
    EXPECT_NE(readFile(state + "/rk-console/history").find("cluster list"), std::string::npos);
}

TEST(Terminal, FormerHistoryIsTakenAlong) {
    const std::string home = makeFolder();
    std::ofstream(home + "/.rk_console_history") << "1700000000000:cluster list\n";
    TerminalSession session =
        openTerminal({{}, "", {"TERM=xterm", "XDG_STATE_HOME=", "JDK_JAVA_OPTIONS=-Duser.home=" + home}});
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    leave(session);
    EXPECT_EQ(readFile(home + "/.local/state/rk-console/history").find("1700000000000:cluster list"), 0U);
    EXPECT_FALSE(std::filesystem::exists(home + "/.rk_console_history"));
}

TEST(Top, ShowsSortsFiltersAndMarksServers) {
    TerminalSession session = openFarm({"NO_COLOR=1"}, 80);
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    const auto press = [&](const std::string &keys, const std::string &seen) {
        const std::size_t before = session.seen.size();
        type(session, keys);
        EXPECT_TRUE(waitFor(session, seen, before)) << seen << " never came: " << session.seen.substr(before);
    };
    press("top\r", "    db2                  down           0");
    EXPECT_NE(session.seen.find("    db1                  quiesced       5"), std::string::npos) << session.seen;
    press("s", "state");
    press("d", "choose a server first");
    press("/", "/");
    press("web1", "/web1");
    type(session, "\r");
    press("d", "mark server shop 80 web1 down? (y/n)");
    press("n", "nothing was done");
    press("d", "mark server shop 80 web1 down? (y/n)");
    press("y", "server shop 80 web1 is marked down");
    press("u", "mark server shop 80 web1 up? (y/n)");
    press("y", "server shop 80 web1 is marked up");
    press("d", "(y/n)");
    press("y", "is marked down");
    press("q", kPrompt);
    const std::string list = answer(session, "server list shop 80 --columns identifier,weight\r", "db2");
    EXPECT_NE(list.find("web1        0\r"), std::string::npos) << list;
    leave(session);
}

TEST(Watch, EndsWithAnInterrupt) {
    TerminalSession session = openFarm();
    ASSERT_TRUE(waitFor(session, kPrompt)) << session.seen;
    type(session, "watch 30 cluster list --json\r");
    ASSERT_TRUE(waitFor(session, "[\"shop\"]")) << session.seen;
    const std::size_t before = session.seen.size();
    type(session, "\x03");
    EXPECT_TRUE(waitFor(session, kPrompt, before)) << session.seen;
    leave(session);
}

} // namespace
} // namespace rk
