// The interface list of the machine that the test runs on.
#include "executor_client.h"
#include "rk/interface_records.h"

#include <fstream>
#include <net/if.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace rk {
namespace {

class MachineInterfaces : public ExecutorTest {};

// What the system's older interface tells of a name, by one request each.
NetworkAddress askSystem(unsigned long what, const char *name) {
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    EXPECT_NE(handle, -1);
    ifreq question{};
    std::memcpy(question.ifr_name, name, strnlen(name, sizeof question.ifr_name - 1));
    EXPECT_EQ(ioctl(handle, what, &question), 0) << name;
    close(handle);
    sockaddr_in ipv4{};
    std::memcpy(&ipv4, &question.ifr_addr, sizeof ipv4);
    return {ipv4.sin_addr.s_addr};
}

TEST_F(MachineInterfaces, theLoopbackIsThereAsTheSystemTellsIt) {
    auto record = request<InterfaceListRecord>(Command::readInterfaces);
    ASSERT_EQ(send(record), 0);
    ASSERT_LE(record.list.count, kInterfaces);
    int found = 0;
    for (int index = 0; index < record.list.count; ++index) {
        const InterfaceRecord &entry = record.list.records[index];
        ASSERT_LT(textIn(entry.name).size(), sizeof entry.name);
        if (std::string(entry.name) != "lo")
            continue;
        if (entry.ip.word != askSystem(SIOCGIFADDR, "lo").word)
            continue; // another address of the same interface
        ++found;
        EXPECT_EQ(entry.netmask.word, askSystem(SIOCGIFNETMASK, "lo").word);
        EXPECT_EQ(entry.netnumber.word, entry.ip.word & entry.netmask.word);
    }
    EXPECT_EQ(found, 1);
}

TEST_F(MachineInterfaces, theLoopbackIsANetworkCardAsTheSystemTellsIt) {
    auto record = request<NetworkCardsRecord>(Command::dumpNetworkCards);
    ASSERT_EQ(send(record), 0);
    int32_t mtu = 0;
    std::ifstream("/sys/class/net/lo/mtu") >> mtu;
    int found = 0;
    for (int index = 0; index < record.count; ++index) {
        const NetworkCardEntry &entry = record.entries[index];
        if (entry.address.word != askSystem(SIOCGIFADDR, "lo").word)
            continue;
        ++found;
        EXPECT_STREQ(entry.name, "lo");
        EXPECT_EQ(entry.mask, ntohl(askSystem(SIOCGIFNETMASK, "lo").word));
        EXPECT_EQ(entry.network, ntohl(entry.address.word) & entry.mask);
        EXPECT_TRUE((entry.flags & IFF_LOOPBACK) != 0);
        EXPECT_GT(mtu, 0);
        EXPECT_EQ(entry.mtu, mtu);
    }
    EXPECT_EQ(found, 1);
}

} // namespace
} // namespace rk
