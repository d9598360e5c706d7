// Cluster addresses on network interfaces: which commands run, and what Java is told.
#include "harness/interfaces.h"

#include "library/native.h"

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

namespace {

using interfaces::InterfacesTest;

constexpr int32_t kNoInterface = -62;
constexpr int32_t kNotConfigured = -63;
constexpr char kTexts[][14] = {"Address", "InterfaceName", "NetMask"};
const Names kNone;

// Texts that a shell would not take for one plain word: the first make a file when they are.
const std::string kHostileTexts[] = {
    ";>canary", "`>canary`", "$(>canary)", "\n>canary\n", "|>canary", ">canary", "&>canary", "&&>canary", "||>canary",
    "eth 0",    "eth\t0",    " ",          "\n",          "eth0\n",   "<eth0",   "eth0/..",  "'eth0'",    "\"eth0\"",
    "eth*",     "eth?",      "[e]th0",     "{e,f}",       "~root",    "#eth0",   "!eth0",    "eth0\\",    "e=1",
    "%s%n",     "eth,0",     "eth+0",      "eth@if3",     "\x01",     "\x7f",    "\xC3\xA9", "\xC0\x80"};

struct AliasingTest : InterfacesTest {
    void SetUp() override {
        InterfacesTest::SetUp();
        config = java::make("rk/tests/AddressConfig");
        machine = {{.name = "eth0", .ip = "10.0.0.1", .netmask = "255.255.240.0"},
                   {.name = "eth1", .ip = "192.168.1.1"}};
        calls::onCommand([this](const std::string &command) {
            if (command.ends_with(" down"))
                return calls::Outcome{.status = downStatus, .output = ""};
            return calls::Outcome{.status = upStatus, .output = ""};
        });
    }

    jint configure() {
        return java::call("configureAddressNative", config);
    }

    jint unconfigure() {
        return java::call("unconfigureAddressNative", config);
    }

    jint status() {
        return java::call("clusterConfigureStatusNative", config);
    }

    jint info() {
        return java::call("getAddressConfigureInfoNative", config);
    }

    void set(const char *field, const std::string &text) {
        jstring string = java::makeString(text);
        java::setObject(config, field, kStringType, string);
        java::env()->DeleteLocalRef(string);
    }

    // The caller says where the address is to go.
    void provide(const std::string &interface, const std::string &netmask) {
        java::setByte(config, "ConfigInfoProvided", 1);
        set("InterfaceName", interface);
        set("NetMask", netmask);
    }

    // All aliases 1 to 99 of eth0, for other addresses.
    void takeAllAliases() {
        machine.resize(1);
        for (int i = 1; i <= 99; ++i)
            machine.push_back({.name = "eth0:" + std::to_string(i), .ip = "10.0.1." + std::to_string(i)});
    }

    jobject config = nullptr;
    int upStatus = 0;
    int downStatus = 0;
};

// --- Configuring -----------------------------------------------------------------------------------------------------

TEST_F(AliasingTest, AnAddressGoesToANewAliasOfTheInterfaceOnItsSubnet) {
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth0:1 10.0.0.5 netmask 255.255.240.0 up"}));
    EXPECT_EQ(refreshes(), 2u); // who has the address, which aliases are taken
}

TEST_F(AliasingTest, TheLowestFreeAliasIsUsed) {
    machine.push_back({.name = "eth0:1", .ip = "10.0.1.1"});
    machine.push_back({.name = "eth0:3", .ip = "10.0.1.3"});
    machine.push_back({.name = "eth1:2", .ip = "192.168.1.2"});
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth0:2 10.0.0.5 netmask 255.255.240.0 up"}));
}

TEST_F(AliasingTest, AnAddressGoesWhereTheCallerSays) {
    machine.push_back({.name = "eth1:1", .ip = "192.168.1.2"});
    machine.push_back({.name = "eth0:2", .ip = "10.0.1.1"});
    provide("eth1", "255.255.255.128");
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth1:2 10.0.0.5 netmask 255.255.255.128 up"}));
    EXPECT_EQ(refreshes(), 2u);
}

TEST_F(AliasingTest, AnInterfaceThatIsNotListedGetsAlias1) {
    provide("wlan0", "255.0.0.0");
    EXPECT_EQ(configure(), 0);
    machine.clear();
    EXPECT_EQ(configure(), 0);
    result = -1; // the list cannot be read
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names(3, "system /sbin/ifconfig wlan0:1 10.0.0.5 netmask 255.0.0.0 up"));
}

TEST_F(AliasingTest, OnlyAFlagOf1MeansThatTheCallerSays) {
    for (const int flag : {0, 2, -1, 127, -127}) {
        calls::onCommand([](const std::string &) { return calls::Outcome{}; });
        provide("eth1", "255.0.0.0");
        java::setByte(config, "ConfigInfoProvided", flag);
        EXPECT_EQ(configure(), 0);
        EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth0:1 10.0.0.5 netmask 255.255.240.0 up"}));
    }
}

TEST_F(AliasingTest, AnAliasThatTheCallerNamesIsUsedItself) {
    machine.push_back({.name = "eth0:7", .ip = "10.0.1.1"});
    provide("eth0:7", "255.255.0.0");
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth0:7 10.0.0.5 netmask 255.255.0.0 up"}));
    EXPECT_EQ(refreshes(), 2u);
}

TEST_F(AliasingTest, AnAliasThatIsFirstOnTheSubnetIsUsedItself) {
    machine.insert(machine.begin(), {.name = "eth0:4", .ip = "10.0.0.9"});
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth0:4 10.0.0.5 netmask 255.255.255.0 up"}));
}

TEST_F(AliasingTest, TheTextOfAnAddressIsUsedAsItIs) {
    set("Address", "10.5");
    EXPECT_EQ(configure(), 0);
    machine.push_back({.name = "eth5", .ip = "192.0.2.1"});
    set("Address", "balancer.example");
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth0:1 10.5 netmask 255.255.240.0 up",
                                        "system /sbin/ifconfig eth5:1 balancer.example netmask 255.255.255.0 up"}));
}

TEST_F(AliasingTest, WhatTheCommandReturnsIsReturned) {
    for (const int returned : {256, 32512, -1, 9}) {
        upStatus = returned;
        EXPECT_EQ(configure(), returned);
        provide("eth1", "255.0.0.0");
        EXPECT_EQ(configure(), returned);
    }
}

TEST_F(AliasingTest, WithoutInterfaceOnTheSubnetNothingRuns) {
    set("Address", "172.16.0.1");
    EXPECT_EQ(configure(), kNoInterface);
    set("Address", "10.0.0.5");
    result = -1;
    EXPECT_EQ(configure(), kNoInterface);
    EXPECT_EQ(calls::commands(), kNone);
}

TEST_F(AliasingTest, WithoutFreeAliasNothingRuns) {
    takeAllAliases();
    EXPECT_EQ(configure(), kNoInterface);
    provide("eth0", "255.0.0.0");
    EXPECT_EQ(configure(), kNoInterface);
    EXPECT_EQ(calls::commands(), kNone);
    provide("eth1", "255.0.0.0");
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth1:1 10.0.0.5 netmask 255.0.0.0 up"}));
}

// The alias number is looked for even when it is not going to be used.
TEST_F(AliasingTest, ANamedAliasAlsoNeedsAFreeNumber) {
    takeAllAliases();
    provide("eth0:", "255.0.0.0");
    EXPECT_EQ(configure(), kNoInterface);
    EXPECT_EQ(calls::commands(), kNone);
}

TEST_F(AliasingTest, FieldsAreReadInOrder) {
    EXPECT_EQ(java::fieldsLookedUp([&] { configure(); }), Names({"Address", "Address", "ConfigInfoProvided"}));
    EXPECT_EQ(java::fieldsLookedUp([&] { unconfigure(); }), Names({"Address", "Address"}));
    EXPECT_EQ(java::fieldsLookedUp([&] { status(); }), Names({"Address", "Address"}));
    EXPECT_EQ(java::fieldsLookedUp([&] { info(); }), Names({"Address", "Address"}));
    provide("eth1", "255.0.0.0");
    EXPECT_EQ(java::fieldsLookedUp([&] { configure(); }),
              Names({"Address", "Address", "ConfigInfoProvided", "InterfaceName", "NetMask"}));
}

// --- Configuring again -----------------------------------------------------------------------------------------------

struct ConfiguredTest : AliasingTest {
    void SetUp() override {
        AliasingTest::SetUp();
        machine.push_back({.name = "eth0:3", .ip = "10.0.0.5", .netmask = "255.255.255.0"});
    }

    const Names downAndUp = {"system /sbin/ifconfig eth0:3 10.0.0.5 down",
                             "system /sbin/ifconfig eth0:3 10.0.0.5 netmask 255.255.240.0 up"};
};

TEST_F(ConfiguredTest, AConfiguredAddressComesUpAgainOnItsAlias) {
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), downAndUp);
    EXPECT_EQ(refreshes(), 2u); // who has the address, twice: no alias is looked for
}

TEST_F(ConfiguredTest, AlsoWhenTheCallerSaysAnotherInterface) {
    for (const char *interface : {"eth1", "eth0:9"}) {
        calls::onCommand([](const std::string &) { return calls::Outcome{}; });
        provide(interface, "255.255.255.128");
        EXPECT_EQ(configure(), 0);
        EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth0:3 10.0.0.5 down",
                                            "system /sbin/ifconfig eth0:3 10.0.0.5 netmask 255.255.255.128 up"}));
    }
}

TEST_F(ConfiguredTest, NoFreeAliasIsNeeded) {
    takeAllAliases();
    machine[1].ip = "10.0.0.5";
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth0:1 10.0.0.5 down",
                                        "system /sbin/ifconfig eth0:1 10.0.0.5 netmask 255.255.240.0 up"}));
}

TEST_F(ConfiguredTest, OnlyTheSecondCommandCounts) {
    downStatus = 256;
    EXPECT_EQ(configure(), 0);
    downStatus = 0;
    upStatus = 512;
    EXPECT_EQ(configure(), 512);
    EXPECT_EQ(calls::commands().size(), 4u);
}

// --- Unconfiguring, and asking ---------------------------------------------------------------------------------------

TEST_F(ConfiguredTest, AnAddressIsTakenOffItsAlias) {
    for (const int returned : {0, 256, -1}) {
        calls::onCommand([&](const std::string &) { return calls::Outcome{.status = returned, .output = ""}; });
        EXPECT_EQ(unconfigure(), returned);
        EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth0:3 10.0.0.5 down"}));
    }
    EXPECT_EQ(refreshes(), 3u);
}

TEST_F(AliasingTest, WhatIsNotConfiguredIsNotTakenOff) {
    EXPECT_EQ(unconfigure(), kNotConfigured);
    set("Address", "10.0.0.1"); // on the interface itself, which is no alias
    EXPECT_EQ(unconfigure(), kNotConfigured);
    EXPECT_EQ(calls::commands(), kNone);
}

TEST_F(ConfiguredTest, WhetherAnAddressIsConfigured) {
    EXPECT_EQ(status(), 0);
    for (const char *address : {"10.0.0.1", "10.0.0.6", "5.0.0.10"}) {
        set("Address", address);
        EXPECT_EQ(status(), kNotConfigured) << address;
    }
    set("Address", "10.0.0.5");
    result = -1;
    EXPECT_EQ(status(), kNotConfigured);
    EXPECT_EQ(refreshes(), 5u);
    EXPECT_EQ(calls::commands(), kNone);
}

TEST_F(ConfiguredTest, AColonAloneIsAnAliasToo) {
    machine[2].name = ":";
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig : 10.0.0.5 down",
                                        "system /sbin/ifconfig : 10.0.0.5 netmask 255.255.240.0 up"}));
}

TEST_F(ConfiguredTest, WhereAnAddressIsConfigured) {
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(info(), 0); }),
              Names({"Address", "Address", "NetMask", "InterfaceName"}));
    EXPECT_EQ(java::getString(config, "NetMask"), "255.255.240.0"); // of the interface, not of the alias
    EXPECT_EQ(java::getString(config, "InterfaceName"), "eth0");
    EXPECT_EQ(java::getString(config, "Address"), "10.0.0.5");
    EXPECT_EQ(refreshes(), 2u);
    EXPECT_EQ(calls::commands(), kNone);
}

TEST_F(ConfiguredTest, ABaseNameEndsAtTheFirstColon) {
    machine[2].name = "eth1:0:3";
    EXPECT_EQ(info(), 0);
    EXPECT_EQ(java::getString(config, "NetMask"), "255.255.255.0");
    EXPECT_EQ(java::getString(config, "InterfaceName"), "eth1");
}

TEST_F(ConfiguredTest, WithoutItsInterfaceAnAliasTellsNothing) {
    for (const char *alias : {"eth2:3", "eth:3", "eth00:3", ":", "::", ""}) {
        machine[2].name = alias;
        EXPECT_EQ(info(), kNotConfigured) << alias;
    }
    machine[2].name = "eth0:3";
    set("Address", "10.0.0.6");
    EXPECT_EQ(info(), kNotConfigured);
    EXPECT_EQ(java::getString(config, "NetMask"), "untouched");
    EXPECT_EQ(java::getString(config, "InterfaceName"), "untouched");
}

TEST_F(ConfiguredTest, AnAliasWithoutTerminatorEndsWithItsField) {
    machine[2] = {.name = "ethernet:3", .ip = "10.0.0.5", .localip = "52.53.54.55"};
    EXPECT_EQ(unconfigure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig ethernet:3 10.0.0.5 down"}));
    machine.push_back({.name = "ethernet", .ip = "10.0.0.1"});
    EXPECT_EQ(info(), 0);
    EXPECT_EQ(java::getString(config, "InterfaceName"), "ethernet");
    machine = {{.name = "ethernet10", .ip = "10.0.0.1", .localip = "52.53.54.55"}};
    calls::onCommand([](const std::string &) { return calls::Outcome{}; });
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig ethernet10:1 10.0.0.5 netmask 255.255.255.0 up"}));
}

// --- Addresses that are none -----------------------------------------------------------------------------------------

// Neither an interface whose network holds the last address of all, nor an alias that carries it.
TEST_F(AliasingTest, AnAddressThatDoesNotParseMatchesNothing) {
    machine.push_back({.name = "eth2", .ip = "200.0.0.1", .netmask = "128.0.0.0"});
    machine.push_back({.name = "eth2:1", .ip = "255.255.255.255"});
    machine.push_back({.name = "eth2:2", .ip = "0.0.0.0"});
    for (const char *address : {"absent.example", "1.2.3.256", "255.255.255.255", ""}) {
        set("Address", address);
        EXPECT_EQ(configure(), kNoInterface) << address;
        EXPECT_EQ(unconfigure(), kNotConfigured) << address;
        EXPECT_EQ(status(), kNotConfigured) << address;
        EXPECT_EQ(info(), kNotConfigured) << address;
    }
    java::setNull(config, "Address", kStringType);
    EXPECT_EQ(configure(), kNoInterface);
    EXPECT_EQ(unconfigure(), kNotConfigured);
    EXPECT_EQ(status(), kNotConfigured);
    EXPECT_EQ(info(), kNotConfigured);
    EXPECT_EQ(calls::commands(), kNone);
}

// Whatever the address is, all four leave the list as the machine has it now.
TEST_F(AliasingTest, EveryCallReadsTheListAnew) {
    machine.push_back({.name = "eth2:1", .ip = "255.255.255.255"});
    const std::function<void()> addresses[] = {[&] { set("Address", "10.0.0.5"); },
                                               [&] { set("Address", "absent.example"); },
                                               [&] { set("Address", "255.255.255.255"); }, [&] { set("Address", ""); },
                                               [&] { java::setNull(config, "Address", kStringType); }};
    for (const auto &giveAddress : addresses)
        for (const char *method : {"configureAddressNative", "unconfigureAddressNative", "clusterConfigureStatusNative",
                                   "getAddressConfigureInfoNative"}) {
            giveAddress();
            TheInterfaceList = {};
            const std::size_t before = refreshes();
            java::call(method, config);
            EXPECT_GE(refreshes(), before + 1) << method;
            EXPECT_EQ(TheInterfaceList.count, 3) << method;
        }
}

// Whether a plain text is an address is then for the command to say.
TEST_F(AliasingTest, AnAddressThatDoesNotParseGoesWhereTheCallerSays) {
    upStatus = 256;
    provide("eth1", "255.0.0.0");
    set("Address", "absent.example");
    EXPECT_EQ(configure(), 256);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth1:1 absent.example netmask 255.0.0.0 up"}));
}

// --- What may not reach a shell --------------------------------------------------------------------------------------

TEST_F(AliasingTest, OnlyPlainTextsReachTheShell) {
    std::vector<std::string> texts(std::begin(kHostileTexts), std::end(kHostileTexts));
    texts.insert(texts.end(), {"", std::string(5000, 'a'), std::string(100, 'a')});
    for (const std::string &text : texts)
        for (const char *field : kTexts) {
            provide("eth1", "255.0.0.0");
            set("Address", "10.0.0.5");
            set(field, text);
            EXPECT_EQ(configure(), kNoInterface) << field << ' ' << text.substr(0, 20);
        }
    EXPECT_EQ(calls::commands(), kNone);
}

TEST_F(AliasingTest, EveryCharacterIsPlainOrRefused) {
    const std::string plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:_-";
    for (int character = 1; character < 128; ++character)
        for (const std::string &text :
             {std::string(1, static_cast<char>(character)) + "x", std::string("x") + static_cast<char>(character) + "x",
              std::string("x") + static_cast<char>(character)})
            for (const char *field : kTexts) {
                provide("eth1", "255.0.0.0");
                set("Address", "10.0.0.5");
                set(field, text);
                const bool accepted = plain.find(static_cast<char>(character)) != std::string::npos && text[0] != '-';
                EXPECT_EQ(configure(), accepted ? 0 : kNoInterface) << field << ' ' << text;
            }
    EXPECT_EQ(calls::commands().size(), plain.size() * 9 - 3);
}

// It would be an option of the tool.
TEST_F(AliasingTest, TextsThatBeginWithAMinusAreRefused) {
    for (const std::string text : {"-", "-promisc", "--help", "-eth0"}) {
        for (const char *field : kTexts) {
            provide("eth1", "255.0.0.0");
            set("Address", "10.0.0.5");
            set(field, text);
            EXPECT_EQ(configure(), kNoInterface) << field << ' ' << text;
        }
        config = java::make("rk/tests/AddressConfig");
        machine = {{.name = text, .ip = "10.0.0.1"}};
        EXPECT_EQ(configure(), kNoInterface) << text;
        machine = {{.name = text.substr(0, 8) + ":1", .ip = "10.0.0.5"}};
        EXPECT_EQ(configure(), kNoInterface) << text;
        EXPECT_EQ(unconfigure(), kNotConfigured) << text;
    }
    EXPECT_EQ(calls::commands(), kNone);
    provide("eth-1", "255.0.0.0");
    set("Address", "a-b");
    machine.clear();
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(), Names({"system /sbin/ifconfig eth-1:1 a-b netmask 255.0.0.0 up"}));
}

TEST_F(AliasingTest, LongTextsAreNotCut) {
    const std::string interface(99, 'i');
    const std::string address(99, 'a');
    const std::string netmask(99, 'n');
    provide(interface, netmask);
    set("Address", address);
    EXPECT_EQ(configure(), 0);
    EXPECT_EQ(calls::commands(),
              Names({"system /sbin/ifconfig " + interface + ":1 " + address + " netmask " + netmask + " up"}));
}

TEST_F(AliasingTest, TextsThatAreMissingAreRefused) {
    for (const char *field : kTexts) {
        provide("eth1", "255.0.0.0");
        set("Address", "10.0.0.5");
        java::setNull(config, field, kStringType);
        EXPECT_EQ(configure(), kNoInterface) << field;
    }
    EXPECT_EQ(calls::commands(), kNone);
}

TEST_F(AliasingTest, OnlyPlainInterfacesOfTheListReachTheShell) {
    for (const std::string &text : kHostileTexts) {
        machine = {{.name = text, .ip = "10.0.0.1"}};
        EXPECT_EQ(configure(), kNoInterface) << text;
        machine = {{.name = text.substr(0, 8) + ":1", .ip = "10.0.0.1"}};
        EXPECT_EQ(configure(), kNoInterface) << text;
    }
    machine = {{.name = "", .ip = "10.0.0.1"}};
    EXPECT_EQ(configure(), kNoInterface);
    EXPECT_EQ(calls::commands(), kNone);
}

TEST_F(ConfiguredTest, OnlyPlainAliasesReachTheShell) {
    for (const std::string &text : kHostileTexts) {
        machine[2].name = text.substr(0, 8) + ":3";
        EXPECT_EQ(unconfigure(), kNotConfigured) << text;
        EXPECT_EQ(configure(), kNoInterface) << text;
        provide("eth1", "255.0.0.0");
        EXPECT_EQ(configure(), kNoInterface) << text;
        java::setByte(config, "ConfigInfoProvided", 0);
        EXPECT_EQ(status(), 0) << text; // it is configured, however the alias is called
    }
    EXPECT_EQ(calls::commands(), kNone);
}

TEST_F(ConfiguredTest, ARefusedNetmaskLeavesTheAddressUp) {
    std::vector<std::string> texts(std::begin(kHostileTexts), std::end(kHostileTexts));
    texts.insert(texts.end(), {"", std::string(5000, 'a')});
    for (const std::string &text : texts) {
        provide("eth1", text);
        EXPECT_EQ(configure(), kNoInterface) << text.substr(0, 20);
    }
    provide("eth1", "255.0.0.0");
    java::setNull(config, "NetMask", kStringType);
    EXPECT_EQ(configure(), kNoInterface);
    EXPECT_EQ(calls::commands(), kNone);
}

const JNINativeInterface_ *below;
int requests;
const char *secondText;

// The address is read twice: it parses the first time, and is not plain when it is to go into the command.
TEST_F(ConfiguredTest, AnAddressIsCheckedAlsoWhenItHasParsed) {
    const std::string endless(5000, '1');
    for (const char *text : {"10.0.0.5;reboot", "10.0.0.5 x", "", endless.c_str()})
        for (const bool configuring : {true, false}) {
            java::PatchedEnv patched;
            below = patched.original;
            requests = 0;
            secondText = text;
            patched.functions.GetStringUTFChars = [](JNIEnv *e, jstring string, jboolean *copied) {
                return ++requests == 1 ? below->GetStringUTFChars(e, string, copied) : secondText;
            };
            patched.functions.ReleaseStringUTFChars = [](JNIEnv *e, jstring string, const char *characters) {
                if (characters != secondText)
                    below->ReleaseStringUTFChars(e, string, characters);
            };
            EXPECT_EQ(configuring ? configure() : unconfigure(), configuring ? kNoInterface : kNotConfigured);
        }
    EXPECT_EQ(calls::commands(), kNone);
}

// With a real shell, in a folder of its own, where every file that appears is the work of a text that it was given.
struct RealShellTest : AliasingTest {
    void SetUp() override {
        AliasingTest::SetUp();
        calls::onCommand(nullptr);
        char name[] = "/tmp/aliasing-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        folder = name;
        before = std::filesystem::current_path();
        std::filesystem::current_path(folder);
    }

    void TearDown() override {
        std::filesystem::current_path(before);
        std::filesystem::remove_all(folder);
        AliasingTest::TearDown();
    }

    bool fileAppeared() const {
        return !std::filesystem::is_empty(folder);
    }

    // Interfaces that this machine does not have, so that nothing changes whatever runs.
    void expectNothingRuns(const std::string &text) {
        for (const char *field : kTexts) {
            machine = {{.name = "absent0", .ip = "10.0.0.1"}};
            provide("absent0", "255.0.0.0");
            set("Address", "10.0.0.5");
            set(field, text);
            EXPECT_EQ(configure(), kNoInterface) << field;
            EXPECT_FALSE(fileAppeared()) << field << ' ' << text;
        }
        config = java::make("rk/tests/AddressConfig");
        machine = {{.name = text, .ip = "10.0.0.1"}};
        EXPECT_EQ(configure(), kNoInterface);
        EXPECT_FALSE(fileAppeared()) << text;
        machine = {{.name = text.substr(0, 8) + ":1", .ip = "10.0.0.5"}};
        EXPECT_EQ(configure(), kNoInterface);
        EXPECT_EQ(unconfigure(), kNotConfigured);
        EXPECT_FALSE(fileAppeared()) << text;
    }

    std::filesystem::path folder;
    std::filesystem::path before;
};

TEST_F(RealShellTest, NoTextRunsAsACommand) {
    constexpr std::size_t kMakingFiles = 7;
    for (std::size_t i = 0; i < kMakingFiles; ++i) {
        const std::string &text = kHostileTexts[i];
        testing::internal::CaptureStderr();
        EXPECT_EQ(system(("/bin/true absent0" + text + ":1").c_str()) & 0x7F, 0); // what it does when it gets there
        testing::internal::GetCapturedStderr();
        EXPECT_TRUE(fileAppeared()) << text;
        for (const auto &entry : std::filesystem::directory_iterator(folder))
            std::filesystem::remove(entry);
        expectNothingRuns(text);
    }
}

// --- Strings and objects ---------------------------------------------------------------------------------------------

TEST_F(ConfiguredTest, NothingIsKept) {
    for (const char *address : {"10.0.0.5", "10.0.0.6", "172.16.0.1", "absent.example", "`x`"})
        for (const char *netmask : {"255.0.0.0", "`x`"})
            for (const int provided : {0, 1}) {
                set("Address", address);
                provide("eth1", netmask);
                java::setByte(config, "ConfigInfoProvided", provided);
                for (const char *method : {"configureAddressNative", "unconfigureAddressNative",
                                           "clusterConfigureStatusNative", "getAddressConfigureInfoNative"}) {
                    EXPECT_EQ(java::referencesKept([&] { java::call(method, config); }), 0u) << method << address;
                }
            }
}

TEST_F(AliasingTest, CharactersThatCannotBeObtainedAreNoText) {
    const auto fails = [this](const char *method, int which, jint expected) {
        const java::FailingCharacters failing(which);
        EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(java::call(method, config), expected) << method << which; }),
                  0u);
    };
    provide("eth1", "255.0.0.0");
    for (int which = 2; which <= 4; ++which) // the first only parses, and the text is there
        fails("configureAddressNative", which, kNoInterface);
    machine.push_back({.name = "eth0:3", .ip = "10.0.0.5"});
    for (int which = 1; which <= 2; ++which)
        fails("unconfigureAddressNative", which, kNotConfigured);
    fails("clusterConfigureStatusNative", 1, kNotConfigured);
    fails("getAddressConfigureInfoNative", 1, kNotConfigured);
    EXPECT_EQ(calls::commands(), kNone);
}

TEST_F(AliasingTest, NullObjectsAreNamed) {
    for (const char *method : {"configureAddressNative", "unconfigureAddressNative", "clusterConfigureStatusNative",
                               "getAddressConfigureInfoNative"}) {
        java::call(method, nullptr);
        EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: addressConfig") << method;
    }
    using Native = jint(JNIEnv *, jobject, jobject);
    for (Native *native : {NATIVE(configureAddressNative), NATIVE(unconfigureAddressNative),
                           NATIVE(clusterConfigureStatusNative), NATIVE(getAddressConfigureInfoNative)}) {
        EXPECT_EQ(native(java::env(), nullptr, nullptr), -99);
        java::takeException();
    }
    EXPECT_EQ(refreshes(), 0u);
    EXPECT_EQ(calls::commands(), kNone);
}

} // namespace
