// The interface list, from a machine that a test makes up: getifaddrs is the test's own.
#include "executor_client.h"
#include "rk/interface_records.h"

#include <deque>
#include <filesystem>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <net/if.h>

namespace {

// A deque: what points to an element stays right while others are added.
struct Machine {
    std::deque<ifaddrs> entries;
    std::deque<sockaddr_in> addresses;
    std::deque<sockaddr_ll> links;
    std::deque<std::string> names;
    bool isUnreadable = false;
    int listsNotFreed = 0;
};
Machine machine;

} // namespace

int getifaddrs(ifaddrs **ifap) noexcept {
    if (machine.isUnreadable)
        return -1;
    ++machine.listsNotFreed;
    *ifap = machine.entries.empty() ? nullptr : &machine.entries.front();
    return 0;
}

void freeifaddrs(ifaddrs * /*list*/) noexcept {
    --machine.listsNotFreed;
}

namespace rk {
namespace {

ifaddrs &addEntry(const std::string &name, unsigned int flags) {
    machine.names.push_back(name);
    ifaddrs entry{};
    entry.ifa_name = machine.names.back().data();
    entry.ifa_flags = flags;
    machine.entries.push_back(entry);
    if (machine.entries.size() > 1)
        machine.entries[machine.entries.size() - 2].ifa_next = &machine.entries.back();
    return machine.entries.back();
}

sockaddr *addSocketAddress(const char *dotted, sa_family_t family = AF_INET) {
    if (dotted == nullptr)
        return nullptr;
    sockaddr_in ipv4{};
    ipv4.sin_family = family;
    ipv4.sin_addr.s_addr = address(dotted).word;
    machine.addresses.push_back(ipv4);
    return reinterpret_cast<sockaddr *>(&machine.addresses.back());
}

ifaddrs &addAddress(const std::string &name, const char *dotted, const char *mask, const char *broadcast,
                    unsigned int flags = IFF_UP | IFF_BROADCAST) {
    ifaddrs &entry = addEntry(name, flags);
    entry.ifa_addr = addSocketAddress(dotted);
    entry.ifa_netmask = addSocketAddress(mask);
    entry.ifa_broadaddr = addSocketAddress(broadcast);
    return entry;
}

void addLink(const std::string &name, const char *mac, uint8_t length = 6) {
    sockaddr_ll link{};
    link.sll_family = AF_PACKET;
    link.sll_halen = length;
    std::memcpy(link.sll_addr, mac, length);
    machine.links.push_back(link);
    addEntry(name, IFF_UP).ifa_addr = reinterpret_cast<sockaddr *>(&machine.links.back());
}

InterfaceListRecord interfaces() {
    auto record = request<InterfaceListRecord>(Command::readInterfaces);
    EXPECT_EQ(send(record), 0);
    EXPECT_EQ(machine.listsNotFreed, 0);
    return record;
}

InterfaceRecord expectedRecord(const char *name, const char *ip, const char *mask, const char *net,
                               const char *broadcast, const char *mac) {
    InterfaceRecord record{};
    record.ip = record.localip = address(ip);
    record.netmask = address(mask);
    record.netnumber = address(net);
    record.broadcast = address(broadcast);
    std::memcpy(record.mac, mac, sizeof record.mac);
    setText(record.name, name);
    return record;
}

class Interfaces : public ExecutorTest {
protected:
    void SetUp() override {
        ExecutorTest::SetUp();
        machine = Machine{};
    }
};

TEST_F(Interfaces, aMachineWithoutAnyHasAnEmptyList) {
    InterfaceListRecord expected{};
    expected.header.command = Command::readInterfaces;
    expectReply(expected, interfaces());
}

TEST_F(Interfaces, eachAddressIsARecord) {
    addLink("lo", "\0\0\0\0\0\0");
    addLink("eth0", "\x02\x42\xac\x11\x00\x07");
    addAddress("lo", "127.0.0.1", "255.0.0.0", "127.0.0.1", IFF_UP | IFF_LOOPBACK);
    addAddress("eth0", "10.1.2.3", "255.255.240.0", "10.1.15.255");
    addAddress("eth0:1", "10.1.2.4", "255.255.255.255", "10.1.2.4");
    InterfaceListRecord expected{};
    expected.header.command = Command::readInterfaces;
    expected.list.count = 3;
    expected.list.records[0] = expectedRecord("lo", "127.0.0.1", "255.0.0.0", "127.0.0.0", "0.0.0.0", "\0\0\0\0\0\0");
    expected.list.records[1] =
        expectedRecord("eth0", "10.1.2.3", "255.255.240.0", "10.1.0.0", "10.1.15.255", "\x02\x42\xac\x11\x00\x07");
    expected.list.records[2] = expectedRecord("eth0:1", "10.1.2.4", "255.255.255.255", "10.1.2.4", "10.1.2.4",
                                              "\x02\x42\xac\x11\x00\x07"); // the alias has its interface's
    expectReply(expected, interfaces());
}

TEST_F(Interfaces, whatIsNoIpv4AddressIsPassedOver) {
    addEntry("tun0", IFF_UP); // without any address
    addEntry("eth0", IFF_UP).ifa_addr = addSocketAddress("10.1.2.3", AF_INET6);
    addAddress("eth1", "10.1.2.4", "255.255.255.0", "10.1.2.255");
    addEntry("tun1", IFF_UP);
    const InterfaceListRecord record = interfaces();
    ASSERT_EQ(record.list.count, 1);
    EXPECT_STREQ(record.list.records[0].name, "eth1");
}

TEST_F(Interfaces, whatAnAddressLacksIsZero) {
    addAddress("eth0", "10.1.2.3", nullptr, nullptr);
    addAddress("ppp0", "10.1.2.4", "255.255.255.255", "10.9.9.9", IFF_UP | IFF_POINTOPOINT); // the other end's address
    const InterfaceListRecord record = interfaces();
    InterfaceListRecord expected{};
    expected.header.command = Command::readInterfaces;
    expected.list.count = 2;
    expected.list.records[0] = expectedRecord("eth0", "10.1.2.3", "0.0.0.0", "0.0.0.0", "0.0.0.0", "\0\0\0\0\0\0");
    expected.list.records[1] =
        expectedRecord("ppp0", "10.1.2.4", "255.255.255.255", "10.1.2.4", "0.0.0.0", "\0\0\0\0\0\0");
    expectReply(expected, record);
}

TEST_F(Interfaces, aHardwareAddressOfAnotherLengthIsCutOrShort) {
    addLink("ib0", "\1\2\3\4\5\6\7\10", 8);
    addLink("arc0", "\7", 1);
    addLink("eth00", "\x0f\x0f\x0f\x0f\x0f\x0f"); // another interface with a longer name
    addAddress("ib0", "10.1.2.3", "255.255.255.0", "10.1.2.255");
    addAddress("arc0", "10.1.2.4", "255.255.255.0", "10.1.2.255");
    addAddress("eth0", "10.1.2.5", "255.255.255.0", "10.1.2.255");
    const InterfaceListRecord record = interfaces();
    EXPECT_EQ(std::memcmp(record.list.records[0].mac, "\1\2\3\4\5\6", 6), 0);
    EXPECT_EQ(std::memcmp(record.list.records[1].mac, "\7\0\0\0\0\0", 6), 0);
    EXPECT_EQ(std::memcmp(record.list.records[2].mac, "\0\0\0\0\0\0", 6), 0);
}

TEST_F(Interfaces, aLongNameIsCutAndTerminated) {
    for (const char *name : {"ninechar9", "tencharact", "enp0s31f6:12345"})
        addAddress(name, "10.1.2.3", "255.255.255.0", "10.1.2.255");
    const InterfaceListRecord record = interfaces();
    EXPECT_STREQ(record.list.records[0].name, "ninechar9");
    EXPECT_STREQ(record.list.records[1].name, "tencharac");
    EXPECT_STREQ(record.list.records[2].name, "enp0s31f6");
    EXPECT_EQ(record.list.records[2].localip.word, address("10.1.2.3").word);
}

TEST_F(Interfaces, thereAreAtMost100) {
    for (int index = 1; index <= 99; ++index)
        addAddress("eth0:" + std::to_string(index), "10.1.2.3", "255.255.255.0", "10.1.2.255");
    EXPECT_EQ(interfaces().list.count, 99);
    addAddress("eth0:100", "10.1.2.3", "255.255.255.0", "10.1.2.255");
    EXPECT_EQ(interfaces().list.count, 100);
    addAddress("eth0:101", "10.1.2.3", "255.255.255.0", "10.1.2.255");
    const InterfaceListRecord record = interfaces();
    EXPECT_EQ(record.list.count, 100);
    EXPECT_STREQ(record.list.records[99].name, "eth0:100");
}

TEST_F(Interfaces, theListIsReadAnewEachTime) {
    EXPECT_EQ(interfaces().list.count, 0);
    addAddress("eth0", "10.1.2.3", "255.255.255.0", "10.1.2.255");
    EXPECT_EQ(interfaces().list.count, 1);
    machine.entries.clear();
    EXPECT_EQ(interfaces().list.count, 0);
}

TEST_F(Interfaces, aListThatCannotBeReadIsRefused) {
    machine.isUnreadable = true;
    auto record = request<InterfaceListRecord>(Command::readInterfaces);
    EXPECT_EQ(send(record), kInterfacesUnreadable);
    auto cards = request<NetworkCardsRecord>(Command::dumpNetworkCards);
    EXPECT_EQ(send(cards), kInterfacesUnreadable);
}

NetworkCardsRecord networkCards() {
    auto record = request<NetworkCardsRecord>(Command::dumpNetworkCards);
    EXPECT_EQ(send(record), 0);
    EXPECT_EQ(machine.listsNotFreed, 0);
    return record;
}

// The made-up interfaces are none of the system's, so it knows no MTU for them.
TEST_F(Interfaces, eachAddressIsANetworkCard) {
    addLink("made0", "\1\2\3\4\5\6");
    addAddress("made0", "10.1.2.3", "255.255.240.0", "10.1.15.255", 0x11043);
    addAddress("made12:7", "10.1.2.4", nullptr, nullptr, 0);
    addAddress("made", "10.1.2.5", "255.255.255.255", nullptr, 1);
    NetworkCardsRecord expected{};
    expected.header.command = Command::dumpNetworkCards;
    expected.count = 3;
    expected.entries[0] = {0x0A010000, 0xFFFFF000, 0x0A010000, 0xFFFFF000, address("10.1.2.3"), "made0", 0, 0x11043, 0};
    expected.entries[1] = {0, 0, 0, 0, address("10.1.2.4"), "made12", 12, 0, 0};
    expected.entries[2] = {0x0A010205, 0xFFFFFFFF, 0x0A010205, 0xFFFFFFFF, address("10.1.2.5"), "made", 0, 1, 0};
    expectReply(expected, networkCards());
}

TEST_F(Interfaces, thereAreAtMost33NetworkCards) {
    for (int index = 1; index <= 33; ++index)
        addAddress("made" + std::to_string(index), "10.1.2.3", "255.255.255.0", nullptr);
    EXPECT_EQ(networkCards().count, 33);
    addAddress("made34", "10.1.2.3", "255.255.255.0", nullptr);
    const NetworkCardsRecord record = networkCards();
    EXPECT_EQ(record.count, 33);
    EXPECT_EQ(record.entries[32].unit, 33U);
}

TEST_F(Interfaces, aNumberThatIsNoUnitIsNone) {
    addAddress("99999999999", "10.1.2.3", "255.255.255.0", nullptr);
    addAddress("4294967295", "10.1.2.3", "255.255.255.0", nullptr);
    EXPECT_EQ(networkCards().entries[0].unit, 0U);
    EXPECT_EQ(networkCards().entries[1].unit, 4294967295U);
}

TEST_F(Interfaces, readingNetworkCardsLeavesNoFileOpen) {
    addAddress("made0", "10.1.2.3", "255.255.255.0", nullptr);
    const auto openFiles = [] {
        const std::filesystem::directory_iterator files("/proc/self/fd");
        return std::distance(begin(files), end(files));
    };
    const auto before = openFiles();
    networkCards();
    EXPECT_EQ(openFiles(), before);
}

} // namespace
} // namespace rk
