// The executor's own settings and counters.
#include "console_process.h"

#include <ctime>
#include <gtest/gtest.h>

namespace rk {
namespace {

struct SettingRow {
    const char *option;
    const char *value;
    const char *field;
    const char *shown; // in JSON
};

constexpr SettingRow kSettings[] = {
    {"--nfa", "10.0.0.2", "NFA", "\"10.0.0.2\""},
    {"--trace-level", "0x3", "TraceLevel", "3"},
    {"--fin-timeout", "045", "FINTimeout", "45"},
    {"--ha-timeout", "46", "HaTimeout", "46"},
    {"--ha-sync-timeout", "47", "HaSyncTimeout", "47"},
    {"--client-gateway", "10.0.0.1", "ClientGateway", "\"10.0.0.1\""},
    {"--v6-client-gateway", "2001:db8::1", "v6ClientGateway", "\"2001:db8:0:0:0:0:0:1\""},
    {"--max-clusters", "12", "MaxNumberOfClusters", "12"},
    {"--wide-port", "10099", "WidePortNumber", "10099"},
    {"--shared-bandwidth", "2147483647", "iSharedBytesPerSecond", "2147483647"},
    {"--config-file", "\"my farm.cfg\"", "ConfigFileName", "\"my farm.cfg\""},
    {"--default-max-ports", "9", "DefaultClusterMaxPorts", "9"},
    {"--default-max-servers", "33", "DefaultPortMaxServers", "33"},
    {"--default-stale-timeout", "601", "DefaultPortStaleTimeout", "601"},
    {"--default-sticky-time", "61", "DefaultPortStickyTime", "61"},
    {"--default-affinity-type", "65535", "DefaultPortAffinityType", "65535"},
    {"--default-weight-bound", "50", "DefaultPortWeightBound", "50"},
    {"--default-port-type", "1", "DefaultPortType", "1"},
    {"--default-replicate", "255", "DefaultPortReplicate", "255"},
};

TEST(Executor, EachOptionChangesItsSettingAlone) {
    std::string script = "executor status --json\n";
    for (const SettingRow &row : kSettings)
        script += std::string("executor set ") + row.option + " " + row.value + "\nexecutor status --json\n";
    const ConsoleRun run = runScript(script);
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 1 + 2 * std::size(kSettings));
    for (std::size_t i = 0; i < std::size(kSettings); ++i) {
        const std::string &before = lines[2 * i], &after = lines[2 * i + 2];
        EXPECT_EQ(lines[2 * i + 1], "ok");
        for (const SettingRow &row : kSettings) {
            const std::string expected = &row == &kSettings[i] ? row.shown : member(before, row.field);
            EXPECT_EQ(member(after, row.field), expected) << kSettings[i].option << " and " << row.field;
        }
        EXPECT_NE(member(before, kSettings[i].field), kSettings[i].shown) << kSettings[i].option << " changes nothing";
    }
}

TEST(Executor, SettingsAndCountersAreTablesForPeople) {
    const ConsoleRun run = runConsole({{"--script", "-"},
                                       "executor set --nfa 10.0.0.2 --config-file farm.cfg\n"
                                       "executor status\nexecutor cps 77\nexecutor report\n",
                                       {"TZ=UTC"}});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("\nnon-forwarding address                      10.0.0.2\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\nconfiguration file                          farm.cfg\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\nplug-in configuration file                  -\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\nnon-forwarding address                      10.0.0.2\nversion   "), std::string::npos);
    EXPECT_NE(run.out.find("\nconnections per second                      77\n"), std::string::npos) << run.out;

    const std::size_t at = run.out.find("\nstarted ");
    ASSERT_NE(at, std::string::npos) << run.out;
    const std::time_t started = std::stol(run.out.substr(run.out.find_first_of("123456789", at)));
    EXPECT_NEAR(static_cast<double>(started), static_cast<double>(std::time(nullptr)), 3600);
    char date[32];
    std::strftime(date, sizeof date, "(%Y-%m-%d %H:%M:%S UTC)", std::gmtime(&started));
    EXPECT_NE(run.out.find(date, at), std::string::npos) << "no " << date << " in " << run.out;
}

TEST(Executor, ReportIsOneJsonObjectWithTheFieldNames) {
    const ConsoleRun run =
        runScript("cluster add web --address 10.0.0.1\nexecutor cps 77\nexecutor report\n", {"--json"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], "{\"status\":0}");
    EXPECT_EQ(lines[1], "{\"status\":0}");
    EXPECT_EQ(member(lines[2], "NumClusters"), "1");
    EXPECT_EQ(member(lines[2], "iConnectionsPerSecond"), "77");
    EXPECT_EQ(member(lines[2], "NFA"), "\"0.0.0.0\"");
    for (const char *field : {"Version", "iTimeStarted", "Pcktotal", "Pcktoshort", "Pcknonforw", "PckVECdiscard",
                              "PckVECerror", "PckVEClocal", "PckVECownaddr", "PckVECforward", "Pckforwarderr",
                              "PcknotVEC", "PckVECbroadcast", "InconnHashBkts", "iBytesPerSecond"})
        EXPECT_NE(member(lines[2], field), "") << field;
}

TEST(Executor, RefusalsNameTheStatusAndItsMeaning) {
    const ConsoleRun run = runScript("executor set --nfa 1.2.3.400\n"
                                     "executor set --client-gateway 1..2\n"
                                     "executor set --cookie-expire-interval 60\n"
                                     "executor set --cookie-expire-interval -1\n"
                                     "executor cps -1\n",
                                     {"--keep-going"});
    EXPECT_EQ(run.exitStatus, 1);
    EXPECT_EQ(run.out, "ok\n");
    EXPECT_EQ(run.err, "line 1: executor set: status -21: the non-forwarding address does not parse\n"
                       "line 2: executor set: status -49: the client gateway's address does not parse\n"
                       "line 4: executor set: status -1: the executor refused the command, or cannot be reached\n"
                       "line 5: executor cps: status -1: the executor refused the command, or cannot be reached\n");
}

} // namespace
} // namespace rk
