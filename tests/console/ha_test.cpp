// High availability.
#include "console_process.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

TEST(HighAvailability, BackupHeartbeatsAndReachTargetsShowInTheStatus) {
    const ConsoleRun run = runScript("executor set --nfa 10.0.0.2\n"
                                     "ha status\n"
                                     "ha backup add 1 1 12345\n"
                                     "ha heartbeat add 10.0.0.2 10.0.0.3\n"
                                     "ha heartbeat add 10.1.0.2 10.1.0.3\n"
                                     "ha reach add 10.0.0.1 255.255.255.0 7\n"
                                     "ha reach add 10.0.1.0 255.255.255.0 8\n"
                                     "ha reach change 1 9 2\n"
                                     "ha timers 1 2 3 4 5 6 7\n"
                                     "ha status --address 10.0.0.99\n"
                                     "ha takeover 10.0.0.10\n"
                                     "ha heartbeat delete 10.1.0.3\n"
                                     "ha reach delete 10.0.0.1\n"
                                     "ha status\n"
                                     "ha backup delete\n"
                                     "ha status\n",
                                     {"--json"});
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 16U) << run.out;
    const std::string alone =
        "{\"haFsmAddress\":\"10.0.0.2\",\"haFsmMode\":0,\"haRole\":0,\"haStrategy\":0,\"haState\":0,\"haSubstate\":0,"
        "\"haPort\":0,\"haPeer\":0,\"haHBCount\":0,\"haReachCount\":0,\"heartbeats\":[],\"reachTargets\":[]}";
    EXPECT_EQ(lines[1], alone);
    for (const int change : {2, 3, 4, 5, 6, 7, 8, 10, 11, 12, 14})
        EXPECT_EQ(lines[static_cast<std::size_t>(change)], "{\"status\":0}");

    // Paired as backup: standby, and its partner does not answer.
    EXPECT_EQ(
        lines[9].find("{\"haFsmAddress\":\"10.0.0.2\",\"haFsmMode\":1,\"haRole\":1,\"haStrategy\":1,\"haState\":2,"
                      "\"haSubstate\":2,\"haPort\":12345,\"haPeer\":1,\"haHBCount\":2,\"haReachCount\":2,"
                      "\"heartbeats\":["
                      "{\"haLocal_Address\":\"10.0.0.2\",\"haRemote_Address\":\"10.0.0.3\",\"haStatus\":1},"
                      "{\"haLocal_Address\":\"10.1.0.2\",\"haRemote_Address\":\"10.1.0.3\",\"haStatus\":1}],"
                      "\"reachTargets\":["
                      "{\"haAddress\":\"10.0.0.1\",\"haMask\":\"255.255.255.0\",\"haType\":7,"
                      "\"haAddress_status\":0,\"haLTimeStamp\":"),
        0U)
        << lines[9];
    EXPECT_NE(lines[9].find(",{\"haAddress\":\"10.0.1.0\",\"haMask\":\"255.255.255.0\",\"haType\":9,"
                            "\"haAddress_status\":2,\"haLTimeStamp\":"),
              std::string::npos)
        << lines[9];

    EXPECT_EQ(member(lines[13], "haState"), "1") << "no take-over";
    EXPECT_EQ(member(lines[13], "haHBCount"), "1");
    EXPECT_EQ(member(lines[13], "haRemote_Address"), "\"10.0.0.3\"");
    EXPECT_EQ(member(lines[13], "haReachCount"), "1");
    EXPECT_EQ(member(lines[13], "haAddress"), "\"10.0.1.0\"");
    EXPECT_EQ(lines[15], alone);
}

TEST(HighAvailability, StatusIsATableForPeople) {
    const ConsoleRun run = runScript("ha backup add 0 0 65535\nha heartbeat add 10.0.0.2 10.0.0.3\nha status\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "sent; 'ha status' shows the result\n"
                       "ok\n"
                       "active; partner heard on 0 of 1 path\n"
                       "\n"
                       "address of the state machine  0.0.0.0\n"
                       "mode                          1\n"
                       "role                          0\n"
                       "strategy                      0\n"
                       "state                         1\n"
                       "substate                      2\n"
                       "port                          65535\n"
                       "partner                       1\n"
                       "heartbeats                    1\n"
                       "reach targets                 0\n"
                       "\n"
                       "HEARTBEAT FROM  TO        STATUS\n"
                       "10.0.0.2        10.0.0.3  1\n");
}

TEST(HighAvailability, RefusalsNameTheStatusAndItsMeaning) {
    const std::string reachAddress =
        "status -47: the address does not parse, or the executor has no such reach target to remove";
    const std::string reachMask = "status -46: the mask does not parse, or is 255.255.255.255";
    const std::string heartbeatAddress =
        "status -47: the address, the second of two, does not parse, or the executor has no such heartbeat to remove";
    const std::string noHeartbeat =
        "status -45: the addresses make no heartbeat, or there are as many heartbeats as there may be";
    const std::string port = "status -10: the port is outside 1 to 65535, or no number";
    const std::string timer = "status -6: a timer is negative, or no number";
    expectRefusals(
        "ha heartbeat add 10.0.0.2 10.0.0.3\n",
        {{"ha backup add 0 0 0", "ha backup add: " + port},
         {"ha backup add 0 0 65536", "ha backup add: " + port},
         {"ha backup add 0 0 0x50", "ha backup add: " + port},
         {"ha heartbeat add 10.0.0.2 10.0.0.3",
          "ha heartbeat add: status -44: there is a heartbeat between these addresses already"},
         {"ha heartbeat add 10.0.0.2 10.0.0.2", "ha heartbeat add: " + noHeartbeat},
         {"ha heartbeat add 10.0.0.2 224.0.0.1", "ha heartbeat add: " + noHeartbeat},
         {"ha heartbeat add 10.0.0.300 10.0.0.3", "ha heartbeat add: status -46: the first address does not parse"},
         {"ha heartbeat add 10.0.0.2 10.0.0.300", "ha heartbeat add: " + heartbeatAddress},
         {"ha heartbeat delete 10.0.0.300", "ha heartbeat delete: " + heartbeatAddress},
         {"ha heartbeat delete 10.0.0.4", "ha heartbeat delete: " + heartbeatAddress},
         {"ha reach add 10.0.0.300 255.0.0.0 1", "ha reach add: " + reachAddress},
         {"ha reach add 10.0.0.1 10.0.0.300 1", "ha reach add: " + reachMask},
         {"ha reach add 10.0.0.1 255.255.255.255 1", "ha reach add: " + reachMask},
         {"ha reach add 0.0.0.0 255.0.0.0 1", "ha reach add: status -34: the executor refused the reach target"},
         {"ha reach delete 10.0.0.300", "ha reach delete: " + reachAddress},
         {"ha reach delete 10.0.0.1", "ha reach delete: " + reachAddress},
         {"ha reach change 0 1 1", "ha reach change: status -99: the executor refused the command"},
         {"ha timers 1 2 x 4 5 6 7", "ha timers: " + timer},
         {"ha timers 1 2 3 4 5 6 -7", "ha timers: " + timer},
         {"ha timers 1 2 3 4 5 6 7", "ha timers: status -17: the executor refused the timers"},
         {"ha takeover 10.0.0.300", "ha takeover: status -1: the address does not parse"},
         {"ha takeover 10.0.0.10", "ha takeover: status -36: the executor refused to take over"},
         {"ha timers 1 2 3 4 5 6", "ha timers: there are 7 timers, and 6 times"},
         {"ha timers", "ha timers: Missing required parameter: 'TIME'"},
         {"ha backup add primary 0 80", "ha backup add: ROLE: 'primary' is not a number"},
         {"ha reach change 0 1", "ha reach change: Missing required parameter: 'STATUS'"},
         {"ha status --address 10.0.0", "ha status: --address: '10.0.0' is not an IPv4 address of the form A.B.C.D"},
         {"ha heartbeat", "ha heartbeat: a command is missing: one of add, delete"}});
}

} // namespace
} // namespace rk
