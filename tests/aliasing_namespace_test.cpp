// Cluster addresses on network interfaces for real: with the system's own tool, in a network of this program's own.
#include "harness/interfaces.h"
#include "harness/namespaces.h"

#include <ifaddrs.h>
#include <sstream>

namespace {

using interfaces::Interface;
using namespaces::outputOf;

auto *const network = new namespaces::Environment(CLONE_NEWNET);
[[maybe_unused]] const testing::Environment *const registered = testing::AddGlobalTestEnvironment(network);

// An address as `ip` shows it.
struct Shown {
    std::string label; // the interface, or an alias of it
    std::string address;
    int bits; // of its mask
    bool operator==(const Shown &) const = default;
};

std::ostream &operator<<(std::ostream &stream, const Shown &shown) {
    return stream << shown.label << ' ' << shown.address << '/' << shown.bits;
}

// One line an address: "2: rk0    inet 10.77.0.1/20 brd 10.77.15.255 scope global rk0\       valid_lft ..."
std::vector<Shown> shownOn(const std::string &interface) {
    std::vector<Shown> all;
    std::istringstream lines(outputOf("ip -4 -oneline address show dev " + interface));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line.substr(0, line.find('\\')));
        Shown shown = {};
        for (std::string before, word; words >> word; before = shown.label = word)
            if (before == "inet") {
                shown.address = word.substr(0, word.find('/'));
                shown.bits = std::stoi(word.substr(word.find('/') + 1));
            }
        all.push_back(shown);
    }
    return all;
}

std::string dotted(const sockaddr *address) {
    char text[INET_ADDRSTRLEN] = {};
    if (address != nullptr)
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in *>(address)->sin_addr, text, sizeof(text));
    return text;
}

// The machine's interfaces with an IPv4 address, aliases under their labels.
std::vector<Interface> liveInterfaces() {
    std::vector<Interface> machine;
    ifaddrs *first = nullptr;
    getifaddrs(&first);
    for (const ifaddrs *entry = first; entry != nullptr; entry = entry->ifa_next)
        if (entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET)
            machine.push_back(
                {.name = entry->ifa_name, .ip = dotted(entry->ifa_addr), .netmask = dotted(entry->ifa_netmask)});
    freeifaddrs(first);
    return machine;
}

struct RealAliasingTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        if (!network->refusal.empty())
            GTEST_SKIP() << network->refusal;
        executor::answer(54, [](uint8_t *block, uint32_t) {
            const Image image = interfaces::replyOf(liveInterfaces());
            memcpy(block + 16, image.bytes.data() + 16, image.bytes.size() - 16);
            return 0;
        });
        ASSERT_EQ(access("/sbin/ifconfig", X_OK), 0) << "the package net-tools is missing";
        // Kernels without dummy interfaces may have pairs of connected ones.
        for (const char *name : {"rk0", "rk1"}) {
            char command[128];
            snprintf(command, sizeof(command),
                     "ip link add %s type dummy > /dev/null 2>&1 || ip link add %s type veth peer name %sp", name, name,
                     name);
            const std::string refusal = outputOf(command);
            if (!refusal.empty())
                GTEST_SKIP() << "no interface can be made here: " << refusal;
        }
        ASSERT_EQ(outputOf("ip address add 10.77.0.1/20 dev rk0 && ip link set rk0 up"), "");
        ASSERT_EQ(outputOf("ip address add 192.168.77.1/24 dev rk1 && ip link set rk1 up"), "");
    }

    void TearDown() override {
        if (network->refusal.empty())
            outputOf("ip link delete rk0; ip link delete rk1");
        LibraryTest::TearDown();
    }

    static jobject configOf(const char *address) {
        jobject config = java::make("rk/tests/AddressConfig");
        java::setString(config, "Address", address);
        return config;
    }

    static jint configure(const char *address) {
        return java::call("configureAddressNative", configOf(address));
    }

    static jint unconfigure(const char *address) {
        return java::call("unconfigureAddressNative", configOf(address));
    }

    static jint status(const char *address) {
        return java::call("clusterConfigureStatusNative", configOf(address));
    }

    const Shown own0 = {"rk0", "10.77.0.1", 20};
    const Shown own1 = {"rk1", "192.168.77.1", 24};
};

using All = std::vector<Shown>;

TEST_F(RealAliasingTest, AnAddressComesAndGoes) {
    EXPECT_EQ(status("10.77.0.5"), -63);
    EXPECT_EQ(configure("10.77.0.5"), 0);
    EXPECT_EQ(shownOn("rk0"), All({own0, {"rk0:1", "10.77.0.5", 20}}));
    EXPECT_EQ(status("10.77.0.5"), 0);
    EXPECT_EQ(unconfigure("10.77.0.5"), 0);
    EXPECT_EQ(shownOn("rk0"), All({own0}));
    EXPECT_EQ(status("10.77.0.5"), -63);
    EXPECT_EQ(unconfigure("10.77.0.5"), -63);
    EXPECT_EQ(shownOn("rk1"), All({own1}));
}

TEST_F(RealAliasingTest, TwoAddressesAreOnTwoAliases) {
    EXPECT_EQ(configure("10.77.0.5"), 0);
    EXPECT_EQ(configure("10.77.0.6"), 0);
    EXPECT_EQ(configure("192.168.77.5"), 0);
    EXPECT_EQ(shownOn("rk0"), All({own0, {"rk0:1", "10.77.0.5", 20}, {"rk0:2", "10.77.0.6", 20}}));
    EXPECT_EQ(shownOn("rk1"), All({own1, {"rk1:1", "192.168.77.5", 24}}));
    EXPECT_EQ(unconfigure("10.77.0.5"), 0);
    EXPECT_EQ(shownOn("rk0"), All({own0, {"rk0:2", "10.77.0.6", 20}}));
    EXPECT_EQ(configure("10.77.0.7"), 0); // the lowest alias is free again
    EXPECT_EQ(status("10.77.0.6"), 0);
    EXPECT_EQ(shownOn("rk1"), All({own1, {"rk1:1", "192.168.77.5", 24}}));
    All now = shownOn("rk0");
    EXPECT_EQ(std::count(now.begin(), now.end(), Shown({"rk0:1", "10.77.0.7", 20})), 1);
    EXPECT_EQ(now.size(), 3u);
}

TEST_F(RealAliasingTest, AConfiguredAddressComesUpAgainOnItsAlias) {
    EXPECT_EQ(configure("10.77.0.5"), 0);
    EXPECT_EQ(configure("10.77.0.6"), 0);
    EXPECT_EQ(unconfigure("10.77.0.5"), 0); // alias 1 is free, and not taken
    EXPECT_EQ(configure("10.77.0.6"), 0);
    EXPECT_EQ(shownOn("rk0"), All({own0, {"rk0:2", "10.77.0.6", 20}}));
    EXPECT_EQ(configure("10.77.0.6"), 0);
    EXPECT_EQ(shownOn("rk0"), All({own0, {"rk0:2", "10.77.0.6", 20}}));
}

TEST_F(RealAliasingTest, AnAddressGoesWhereTheCallerSays) {
    jobject config = configOf("172.16.5.5");
    EXPECT_EQ(java::call("configureAddressNative", config), -62); // on no subnet
    java::setByte(config, "ConfigInfoProvided", 1);
    java::setString(config, "InterfaceName", "rk1");
    java::setString(config, "NetMask", "255.255.255.128");
    EXPECT_EQ(java::call("configureAddressNative", config), 0);
    java::setString(config, "Address", "172.16.6.6");
    java::setString(config, "InterfaceName", "rk1:7");
    EXPECT_EQ(java::call("configureAddressNative", config), 0);
    EXPECT_EQ(shownOn("rk1"), All({own1, {"rk1:1", "172.16.5.5", 25}, {"rk1:7", "172.16.6.6", 25}}));
    EXPECT_EQ(unconfigure("172.16.5.5"), 0);
    EXPECT_EQ(unconfigure("172.16.6.6"), 0);
    EXPECT_EQ(shownOn("rk1"), All({own1}));
}

TEST_F(RealAliasingTest, WhereAnAddressIsAgreesWithTheSystem) {
    for (const char *address : {"10.77.0.5", "10.77.0.6", "192.168.77.5"})
        ASSERT_EQ(configure(address), 0);
    for (const char *interface : {"rk0", "rk1"}) {
        const All shown = shownOn(interface);
        ASSERT_GE(shown.size(), 2u);
        ASSERT_EQ(shown[0].label, interface);
        const uint32_t mask = ~uint32_t{0} << (32 - shown[0].bits);
        for (std::size_t i = 1; i < shown.size(); ++i) {
            jobject config = configOf(shown[i].address.c_str());
            EXPECT_EQ(java::call("getAddressConfigureInfoNative", config), 0) << shown[i];
            EXPECT_EQ(java::getString(config, "InterfaceName"), shown[i].label.substr(0, shown[i].label.find(':')));
            EXPECT_EQ(ntohl(inet_addr(java::getString(config, "NetMask").c_str())), mask) << shown[i];
        }
    }
    EXPECT_EQ(java::call("getAddressConfigureInfoNative", configOf("10.77.0.1")), -63);
    EXPECT_EQ(java::call("getAddressConfigureInfoNative", configOf("10.77.0.9")), -63);
}

TEST_F(RealAliasingTest, AFailureOfTheToolIsTold) {
    jobject config = configOf("10.77.0.5");
    java::setByte(config, "ConfigInfoProvided", 1);
    java::setString(config, "InterfaceName", "absent0");
    java::setString(config, "NetMask", "255.255.255.0");
    testing::internal::CaptureStderr();
    const int waitStatus = java::call("configureAddressNative", config);
    testing::internal::GetCapturedStderr();
    EXPECT_TRUE(WIFEXITED(waitStatus));
    EXPECT_GT(WEXITSTATUS(waitStatus), 0);
    EXPECT_EQ(status("10.77.0.5"), -63);
}

TEST_F(RealAliasingTest, HostileTextsChangeNothing) {
    const std::string before = outputOf("ip address");
    for (const char *text :
         {"rk0;ip link delete rk1", "$(ip link delete rk1)", "`ip link delete rk1`", "rk0\nip link delete rk1"})
        for (const char *field : {"Address", "InterfaceName", "NetMask"}) {
            jobject config = configOf("10.77.0.5");
            java::setByte(config, "ConfigInfoProvided", 1);
            java::setString(config, "InterfaceName", "rk0");
            java::setString(config, "NetMask", "255.255.255.0");
            java::setString(config, field, text);
            EXPECT_EQ(java::call("configureAddressNative", config), -62) << field << text;
            EXPECT_EQ(java::call("unconfigureAddressNative", config), -63) << field << text;
        }
    EXPECT_EQ(outputOf("ip address"), before);
}

TEST_F(RealAliasingTest, AddressesOfInterfacesForJava) {
    java::callVoid("setInterfacesNative", "(Ljava/lang/Object;)V", nullptr);
    EXPECT_EQ(java::callInt("getNicAddrNative", "(II)I", 0x0A4D0F09, 0), 0x0A4D0001);
    EXPECT_EQ(configure("10.77.0.5"), 0);
    EXPECT_EQ(java::callInt("getNicAddrNative", "(II)I", 0x0A4D0005, 0), 0x0A4D0001); // not the alias
    EXPECT_EQ(java::callInt("getNicAddrNative", "(II)I", 0x0A4D1001, 0), 0);
}

} // namespace
