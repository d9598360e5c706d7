// The interface list, from a machine that a test makes up: getifaddrs is the test's own.
#include "executor_client.h"
#include "rk/interface_records.h"

#include <deque>
#include <filesystem>
#include <fstream>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sstream>

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

// The lines of the trace log on interfaces, without the times before them.
std::vector<std::string> linesOnInterfaces() {
    auto block = std::make_unique<SharedBlock>(request<SharedBlock>(Command::readLogHead));
    block->log.size = 60000;
    EXPECT_EQ(send(*block), 0);
    std::vector<std::string> lines;
    std::istringstream text(reinterpret_cast<const char *>(block->bytes + sizeof(CommandHeader)));
    for (std::string line; std::getline(text, line);) {
        const std::size_t begin = line.find(' ') + 1;
        if (line.compare(begin, 10, "interface ") == 0)
            lines.push_back(line.substr(begin));
    }
    return lines;
}

std::string lineOn(const std::string &interface) {
    return "interface " + interface +
           ": the names of its aliases are cut to 9 characters, so a second address may replace the first";
}

void setLogging(int32_t traceLevel, int32_t filter) {
    auto record = request<ExecutorSettingsRecord>(Command::writeExecutorSettings);
    record.setTraceLevel = record.setLogFilter = 1;
    record.traceLevel = traceLevel;
    record.logFilter = filter;
    ASSERT_EQ(send(record), 0);
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

TEST_F(Interfaces, whoseAliasesHaveNoNumberInTheListAreTold) {
    using Texts = std::vector<std::string>;
    for (const char *name : {"lo", "eth0", "eth0:1", "docker0", "docker0:9"})
        addAddress(name, "10.1.2.3", "255.255.255.0", nullptr);
    interfaces();
    EXPECT_EQ(linesOnInterfaces(), Texts{});

    addAddress("enp0s31f", "10.2.2.3", "255.255.255.0", nullptr);
    addAddress("docker0:10", "10.2.2.4", "255.255.255.0", nullptr);
    addAddress("docker0:11", "10.2.2.5", "255.255.255.0", nullptr);
    interfaces();
    const Texts expected{lineOn("enp0s31f"), lineOn("docker0")};
    EXPECT_EQ(linesOnInterfaces(), expected);
    interfaces();
    EXPECT_EQ(linesOnInterfaces(), expected) << "once each";
    addAddress("br-0123456789ab", "10.3.2.3", "255.255.255.0", nullptr);
    interfaces();
    EXPECT_EQ(linesOnInterfaces(), (Texts{lineOn("enp0s31f"), lineOn("docker0"), lineOn("br-0123456789ab")}));
}

TEST_F(Interfaces, areToldBeyondWhatIsKept) {
    for (int group = 0; group < 3; ++group) {
        machine = Machine{};
        for (int number = 100; number < 160; ++number)
            addAddress("br" + std::to_string(group) + "-bridge" + std::to_string(number), "10.1.2.3", nullptr, nullptr);
        interfaces();
    }
    const std::vector<std::string> lines = linesOnInterfaces();
    ASSERT_EQ(lines.size(), 180U);
    EXPECT_EQ(lines.front(), lineOn("br0-bridge100"));
    EXPECT_EQ(lines.back(), lineOn("br2-bridge159"));
}

TEST_F(Interfaces, areToldAsSoonAsALogTakesTheLine) {
    addAddress("enp0s31f6", "10.1.2.3", "255.255.255.0", nullptr);
    setLogging(0, 0);
    interfaces();
    setLogging(1, 0x1); // of the executor's own commands only
    interfaces();
    EXPECT_EQ(linesOnInterfaces().size(), 0U);
    setLogging(1, 0x40);
    interfaces();
    EXPECT_EQ(linesOnInterfaces().size(), 1U);
    ASSERT_EQ(EXC_UsrExecutorTerm(), 0);
    ASSERT_EQ(EXC_UsrExecutorInit(), 0);
    interfaces();
    EXPECT_EQ(linesOnInterfaces().size(), 1U) << "a start empties the log";
}

TEST_F(Interfaces, areToldInEachLogFile) {
    addAddress("enp0s31f6", "10.1.2.3", "255.255.255.0", nullptr);
    interfaces(); // in the trace log
    char folder[] = "/tmp/interface_commands_test_XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const std::string log = std::string(folder) + "/log";
    ASSERT_EQ(EXC_UsrExecutorSetLog(log.c_str()), 1);
    interfaces();
    interfaces();
    ASSERT_EQ(EXC_UsrExecutorSetLog(""), 1);
    std::ifstream stream(log);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line.substr(line.find(' ') + 1));
    EXPECT_EQ(lines,
              (std::vector<std::string>{lineOn("enp0s31f6"), "readInterfaces result=0", "readInterfaces result=0"}));
    EXPECT_EQ(std::filesystem::remove_all(folder), 2U);
}

} // namespace
} // namespace rk
