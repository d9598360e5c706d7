// Ports.
#include "console_process.h"

#include <gtest/gtest.h>

namespace rk {
namespace {

const std::string kCluster = "cluster add web --address 10.0.0.10 --max-ports 3\n";

TEST(Port, ListsReportAndCounter) {
    const ConsoleRun run = runScript(kCluster + "port list web\nport list web --json\n"
                                                "port add web 443 --weight-bound 30 --sticky-time 60\nport add web 80\n"
                                                "port list web\nport list web --json\nport list web --long\n"
                                                "server add web 80 one --weight 7\n"
                                                "port cps web 80 55\nport report web 80\nport report web 80 --json\n"
                                                "port remove web 80\nport list web --json\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_NE(run.out.find("[]\nok\nok\n80\n443\n[80,443]\n"
                           "PORT  SERVERS  MOST SERVERS  STICKY TIME  WEIGHT BOUND  TYPE  PROTOCOL\n"
                           "80    0        256           0            20            0     0\n"
                           "443   0        256           60           30            0     0\n"),
              std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("\nservers                  1\nservers down             0\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("\nconnections per second   55\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("{\"ClusterId\":\"web\",\"PortNumber\":80,\"NumServers\":1,\"NumNodesDown\":0,"
                           "\"NumNodesLocal\":1,\"MaxWeight\":7,\"ActiveConnections\":0,\"iNumHalfOpen\":0,"
                           "\"iResetsSent\":0,\"iBytesPerSecond\":0,\"iConnectionsPerSecond\":55,"
                           "\"iPortProtocol\":0,\"iMethod\":1}\nok\n[443]\n"),
              std::string::npos)
        << run.out;
}

TEST(Port, RefusalsNameTheStatusAndItsMeaning) {
    expectRefusals(
        kCluster + "port add web 80\nport add web 1\nport add web 2\n",
        {
            {"port add web -1", "port add: status -10: the port number is outside 0 to 65535"},
            {"port add web 65536", "port add: status -10: the port number is outside 0 to 65535"},
            {"port status web 65536", "port status: status -10: the port number is outside 0 to 65535"},
            {"port add web 80", "port add: status -14: the port exists already"},
            {"port add mail 80", "port add: status -5: the cluster does not exist"},
            {"port status web 81", "port status: status -12: the port does not exist"},
            {"port report web 81", "port report: status -12: the port does not exist"},
            {"port remove web 81", "port remove: status -12: the port does not exist"},
            {"port set web 81 --type 1", "port set: status -12: the port does not exist"},
            {"port list mail", "port list: status -1: the executor refused the command, or cannot be reached"},
            {"port set web 80 --max-servers -1",
             "port set: status -57: the server limit is negative, or below the number of servers that the port has"},
            {"port set web 80 --type 9", "port set: status -84: the port type is unknown"},
            {"port set web 80 --method 9", "port set: status -38: the forwarding method is unknown"},
            {"port set web 80 --protocol 9", "port set: status -74: the protocol is unknown"},
            {"port set web 80 --sticky-bits 33", "port set: status -65: the sticky bits are outside 0 to 32"},
            {"port set web 80 --sticky-time -1", "port set: status -66: the sticky time is out of range"},
            {"port set web 80 --stale-timeout -1", "port set: status -73: the stale time-out is out of range"},
            {"port set web 80 --weight-bound 101", "port set: status -67: the weight bound is outside 1 to 100"},
            {"port set web 80 --max-half-open -1", "port set: status -75: the half-open limit is negative"},
            {"port set web 80 --cross-port 81", "port set: status -12: the port does not exist"},
            {"port set web 80 --cross-port 80",
             "port set: status -68: the cross port cannot be the port itself, nor a port that itself has a cross port"},
            {"port add web 3", "port add: status -30: the cluster has as many ports as it may have"},
            {"port add web http", "port add: PORT: 'http' is not a number"},
        });
}

} // namespace
} // namespace rk
