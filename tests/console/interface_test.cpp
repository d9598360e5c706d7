// Network interfaces, and cluster addresses on them. What changes an interface is not run here.
#include "console_process.h"

#include <arpa/inet.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

namespace rk {
namespace {

std::string dotted(const sockaddr *address) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in *>(address)->sin_addr, text, sizeof text);
    return text;
}

// The machine's own IPv4 interfaces, as JSON shows each of them up to its mask.
std::vector<std::string> machineInterfaces() {
    std::vector<std::string> interfaces;
    ifaddrs *list = nullptr;
    EXPECT_EQ(getifaddrs(&list), 0);
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET)
            continue;
        const std::string address = dotted(entry->ifa_addr);
        std::string &json = interfaces.emplace_back();
        json.append("{\"name\":\"").append(entry->ifa_name).append("\",\"ip\":\"").append(address);
        json.append("\",\"localip\":\"").append(address);
        json.append("\",\"netmask\":\"").append(dotted(entry->ifa_netmask)).append("\"");
    }
    freeifaddrs(list);
    return interfaces;
}

TEST(Interface, ListIsThatOfTheMachine) {
    const ConsoleRun run = runScript("debug misc 8 --json\ninterface refresh --json\ndebug misc 8 --json\n"
                                     "interface list --json\ninterface list\ninterface refresh\n");
    ASSERT_EQ(run.exitStatus, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    const std::vector<std::string> interfaces = machineInterfaces();
    ASSERT_EQ(lines.size(), 4 + 1 + interfaces.size() + 1) << run.out;
    EXPECT_NE(lines[0].find(",\"interfaces\":[]}"), std::string::npos) << "a list that was never read: " << lines[0];
    EXPECT_EQ(lines[1], "{\"status\":0}");
    EXPECT_NE(lines[2].find(",\"interfaces\":[{\"ip\":\""), std::string::npos) << lines[2];

    std::size_t at = 0;
    for (const std::string &interface : interfaces) {
        at = lines[3].find(interface + ",\"netnumber\":", at);
        ASSERT_NE(at, std::string::npos) << "no " << interface << " in " << lines[3];
        ++at;
    }
    EXPECT_EQ(lines[3].find("\"name\":", at + 2), std::string::npos) << "more than there are: " << lines[3];
    EXPECT_NE(lines[3].find("\"netnumber\":\"127.0.0.0\",\"broadcast\":\"0.0.0.0\",\"mac\":\"00:00:00:00:00:00\"}"),
              std::string::npos)
        << lines[3];
    EXPECT_EQ(lines[4].find("INTERFACE "), 0U) << lines[4];
    EXPECT_NE(run.out.find("\nlo "), std::string::npos) << run.out;
    EXPECT_EQ(lines.back(), "sent; 'debug misc 8' shows the result");
}

TEST(Interface, NicIsTheOneOnTheSubnet) {
    const ConsoleRun run = runScript("interface nic 127.1.2.3\ninterface nic 127.1.2.3 --local --json\n"
                                     "interface reserved\ninterface reserved --json\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "127.0.0.1\n{\"address\":\"127.0.0.1\"}\n-1\n{\"answer\":-1}\n");
}

TEST(Alias, AddressThatIsNotConfiguredIsSaidToBeNone) {
    const ConsoleRun run = runScript("alias status 240.0.0.1\nalias status 240.0.0.1 --json\n");
    EXPECT_EQ(run.exitStatus, 0) << run.err;
    EXPECT_EQ(run.out, "no\n{\"configured\":false}\n");
}

TEST(Alias, RefusalsNameTheStatusAndItsMeaningAndRunNothing) {
    const std::string canary = makeFolder() + "/canary";
    const std::string hostile = "'lo;touch " + canary + "'";
    const std::string notPlain = "alias configure: status -62: no interface is on the address's subnet, no alias number"
                                 " of it is free, or what was given is no plain name, address or mask";
    const std::string notConfigured = "status -63: no alias carries the address";
    expectRefusals(
        "",
        {{"alias configure 240.0.0.1", notPlain},
         {"alias configure 240.0.0.1 --interface " + hostile + " --netmask 255.255.255.0", notPlain},
         {"alias configure 240.0.0.1 --interface lo --netmask " + hostile, notPlain},
         {"alias configure 240.0.0.1 --interface $(touch${IFS}" + canary + ") --netmask 255.0.0.0", notPlain},
         {"alias configure 240.0.0.1 --interface lo --netmask ''", notPlain},
         {"alias configure '127.0.0.9;touch " + canary + "'", notPlain},
         {"alias unconfigure 240.0.0.1", "alias unconfigure: " + notConfigured},
         {"alias unconfigure '`touch " + canary + "`'", "alias unconfigure: " + notConfigured},
         {"alias info 240.0.0.1", "alias info: " + notConfigured},
         {"interface nic 240.0.0.1", "interface nic: no interface is on the subnet of 240.0.0.1"},
         {"alias configure 240.0.0.1 --interface lo", "alias configure: --interface and --netmask go together"},
         {"alias configure 240.0.0.1 --netmask 255.0.0.0", "alias configure: --interface and --netmask go together"},
         {"alias status", "alias status: Missing required parameter: 'ADDRESS'"},
         {"interface nic lo", "interface nic: A.B.C.D: 'lo' is not an IPv4 address of the form A.B.C.D"}});
    EXPECT_FALSE(std::filesystem::exists(canary)) << "a shell ran what was typed";
}

} // namespace
} // namespace rk
