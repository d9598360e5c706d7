// The executor's list of network interfaces, and what is found in it.
#include "harness/interfaces.h"

#include "library/channel/channel.h"

namespace {

using interfaces::InterfacesTest;
using interfaces::replyOf;
using interfaces::word;
using Ints = std::vector<jint>;

TEST(InterfaceListStartTest, TheListIsEmpty) {
    EXPECT_EQ(sizeof(TheInterfaceList), 5604u);
    const executor::Bytes bytes(reinterpret_cast<uint8_t *>(&TheInterfaceList),
                                reinterpret_cast<uint8_t *>(&TheInterfaceList + 1));
    EXPECT_EQ(bytes, executor::Bytes(5604, 0));
}

struct InterfaceListTest : InterfacesTest {
    void SetUp() override {
        InterfacesTest::SetUp();
        machine = {{.name = "lo", .ip = "127.0.0.1", .netmask = "255.0.0.0"},
                   {.name = "eth0",
                    .ip = "10.0.0.1",
                    .netmask = "255.255.240.0",
                    .broadcast = "10.0.15.255",
                    .localip = "10.0.0.2"},
                   {.name = "eth0:1", .ip = "10.0.0.5", .broadcast = "10.0.0.255"},
                   {.name = "eth1", .ip = "192.168.1.1", .broadcast = "192.168.1.255", .localip = "192.168.1.2"}};
    }

    static executor::Bytes cached() {
        return {reinterpret_cast<uint8_t *>(&TheInterfaceList), reinterpret_cast<uint8_t *>(&TheInterfaceList + 1)};
    }

    // Reads the list, so that what uses it as it stands finds it.
    void take() {
        refreshInterfaceList();
        executor::reset(); // whoever asks again gets nothing
        executor::answer(54, executor::refuse(-5));
    }

    static std::string aliasOf(const char *address) {
        char name[12] = "untouched..";
        getInterface(0, ntohl(word(address)), name);
        return name;
    }

    static std::string netmaskOf(const char *name) {
        char text[16] = "untouched";
        getNetmaskStr(name, text);
        return text;
    }

    static std::string nameFor(const char *address) {
        const rk::InterfaceRecord *record = findAddressConfigInfo(word(address));
        return record == nullptr ? "(none)" : std::string(record->name, strnlen(record->name, sizeof(record->name)));
    }

    static jint nicAddress(const char *address, jint which) {
        return java::callInt("getNicAddrNative", "(II)I", static_cast<jint>(ntohl(word(address))), which);
    }

    static jint hostOrder(const char *address) {
        return static_cast<jint>(ntohl(word(address)));
    }

    // Interfaces of these names, each with an address of its own.
    void name(const Names &names) {
        machine.clear();
        for (const std::string &name : names)
            machine.push_back({.name = name, .ip = "10.1.0." + std::to_string(machine.size())});
    }
};

// --- Reading ---------------------------------------------------------------------------------------------------------

TEST_F(InterfaceListTest, ReadingAsksForTheListAndKeepsItAll) {
    bool clearedBefore = false;
    memset(static_cast<void *>(&TheInterfaceList), 0x55, sizeof(TheInterfaceList));
    executor::reset();
    executor::answer(54, [&](uint8_t *block, uint32_t) {
        clearedBefore = cached() == executor::Bytes(5604, 0);
        for (std::size_t i = 16; i < 5700; ++i)
            block[i] = static_cast<uint8_t>(i * 7 + i / 256);
        return 0;
    });
    testing::internal::CaptureStdout();
    refreshInterfaceList();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_SENT(Image(5620).header(54, 5620));
    EXPECT_TRUE(clearedBefore);
    EXPECT_EQ(executor::dump(cached()), executor::dump({ucb.bytes + 16, ucb.bytes + 5620}));
}

TEST_F(InterfaceListTest, AListThatCannotBeReadIsEmpty) {
    for (const int32_t refused : {-1, 19}) {
        result = 0;
        refreshInterfaceList();
        EXPECT_EQ(TheInterfaceList.count, 4);
        result = refused; // the reply is there nevertheless
        refreshInterfaceList();
        EXPECT_EQ(cached(), executor::Bytes(5604, 0));
    }
    EXPECT_EQ(aliasOf("10.0.0.5"), "untouched..");
    EXPECT_EQ(netmaskOf("eth0"), "untouched");
    EXPECT_EQ(getAlias("eth0"), 1);
    EXPECT_EQ(nameFor("10.0.0.5"), "(none)");
    EXPECT_EQ(nicAddress("10.0.0.9", 0), 0);
}

TEST_F(InterfaceListTest, JavaReadsTheListWithoutLookingAtItsArgument) {
    for (jobject argument : {jobject(nullptr), java::make("rk/tests/InterfaceList")}) {
        TheInterfaceList = {};
        EXPECT_EQ(
            java::membersLookedUp([&] { java::callVoid("setInterfacesNative", "(Ljava/lang/Object;)V", argument); }),
            Names());
        EXPECT_EQ(executor::dump(cached()), executor::dump({ucb.bytes + 16, ucb.bytes + 5620}));
        EXPECT_EQ(TheInterfaceList.count, 4);
    }
    EXPECT_EQ(refreshes(), 2u);
}

TEST_F(InterfaceListTest, TheReservedMethodFillsNothing) {
    for (jobject list : {jobject(nullptr), java::make("rk/tests/InterfaceList")})
        EXPECT_EQ(java::membersLookedUp([&] {
                      EXPECT_EQ(java::callInt("getInterfaceListNative", "(Ljava/lang/Object;Ljava/lang/Object;)I", list,
                                              list),
                                -1);
                  }),
                  Names());
    EXPECT_EQ(refreshes(), 0u);
}

// --- A list for Java -------------------------------------------------------------------------------------------------

struct CopiedListTest : InterfaceListTest {
    void SetUp() override {
        InterfaceListTest::SetUp();
        javaList = java::make("rk/tests/InterfaceList");
    }

    int32_t copy() {
        const Image image = replyOf(machine, count);
        memcpy(&list, image.bytes.data() + 16, sizeof(list));
        return copyInterfaceList(java::env(), nullptr, javaList, &list);
    }

    // The first elements are these, the rest is as it was.
    void expectArray(const char *name, Ints expected) {
        expected.resize(120);
        EXPECT_EQ(java::getInts(javaList, name), expected) << name;
    }

    jobject javaList = nullptr;
    rk::InterfaceList list = {};
};

TEST_F(CopiedListTest, EveryRecordInHostOrder) {
    EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(copy(), 0); }),
              Names({"iNumInterfaces", "aiIp", "aiNetmask", "aiNetnumber", "aiBroadcast"}));
    EXPECT_EQ(java::getInt(javaList, "iNumInterfaces"), 4);
    expectArray("aiIp", {0x7F000001, 0x0A000001, 0x0A000005, static_cast<jint>(0xC0A80101)});
    expectArray("aiNetmask", {static_cast<jint>(0xFF000000), static_cast<jint>(0xFFFFF000),
                              static_cast<jint>(0xFFFFFF00), static_cast<jint>(0xFFFFFF00)});
    expectArray("aiNetnumber", {0x7F000000, 0x0A000000, 0x0A000000, static_cast<jint>(0xC0A80100)});
    expectArray("aiBroadcast", {0, 0x0A000FFF, 0x0A0000FF, static_cast<jint>(0xC0A801FF)});
    EXPECT_EQ(refreshes(), 0u);
}

TEST_F(CopiedListTest, CountsOutOfRangeAreShownAndNotBelieved) {
    machine.assign(100, {.name = "eth0", .ip = "10.0.0.1"});
    for (const int32_t shown : {0, -1, INT32_MIN, 100, 101, 120, INT32_MAX}) {
        javaList = java::make("rk/tests/InterfaceList");
        count = shown;
        EXPECT_EQ(copy(), 0);
        EXPECT_EQ(java::getInt(javaList, "iNumInterfaces"), shown);
        expectArray("aiIp", Ints(shown > 0 ? 100 : 0, 0x0A000001));
        expectArray("aiBroadcast", Ints(0));
        expectArray("aiNetmask", Ints(shown > 0 ? 100 : 0, static_cast<jint>(0xFFFFFF00)));
    }
}

TEST_F(CopiedListTest, NothingIsKept) {
    EXPECT_EQ(java::referencesKept([&] { copy(); }), 0u);
}

// --- The interface on a subnet ---------------------------------------------------------------------------------------

TEST_F(InterfaceListTest, TheFirstInterfaceWhoseSubnetHoldsAnAddress) {
    take();
    EXPECT_EQ(nameFor("127.9.9.9"), "lo");
    EXPECT_EQ(nameFor("10.0.0.5"), "eth0");
    EXPECT_EQ(nameFor("10.0.15.255"), "eth0");
    EXPECT_EQ(nameFor("10.0.16.1"), "(none)");
    EXPECT_EQ(nameFor("192.168.1.77"), "eth1");
    EXPECT_EQ(nameFor("192.168.2.1"), "(none)");
    EXPECT_EQ(refreshes(), 0u);
}

TEST_F(InterfaceListTest, AnAliasMayBeTheInterfaceOfASubnet) {
    machine = {{.name = "eth0:1", .ip = "10.0.0.5"}, {.name = "eth0", .ip = "10.0.0.1"}};
    take();
    EXPECT_EQ(nameFor("10.0.0.9"), "eth0:1");
}

TEST_F(InterfaceListTest, WithoutNetmaskThereIsNoSubnet) {
    machine = {{.name = "ppp0", .ip = "10.0.0.1", .netmask = "0.0.0.0"},
               {.name = "ppp1", .ip = "10.0.0.2", .netmask = "0.0.0.0", .netnumber = "10.0.0.0"}};
    take();
    EXPECT_EQ(nameFor("10.0.0.9"), "(none)");
    EXPECT_EQ(nameFor("0.0.0.0"), "(none)");
}

// A mask alone does not make a record without a subnet: 0.0.0.9 is in 0.0.0.0/24.
TEST_F(InterfaceListTest, SubnetZeroIsASubnet) {
    machine = {{.name = "eth2", .ip = "0.0.0.1", .localip = "0.0.0.2"}};
    take();
    EXPECT_EQ(nameFor("0.0.0.9"), "eth2");
    EXPECT_EQ(nicAddress("0.0.0.9", 0), 1);
}

// --- The address of an interface -------------------------------------------------------------------------------------

TEST_F(InterfaceListTest, AddressAndLocalAddressOfTheInterfaceOnASubnet) {
    take();
    EXPECT_EQ(nicAddress("10.0.1.1", 0), hostOrder("10.0.0.1"));
    for (const jint which : {1, -1, 2, INT32_MIN})
        EXPECT_EQ(nicAddress("10.0.1.1", which), hostOrder("10.0.0.2"));
    EXPECT_EQ(nicAddress("192.168.1.200", 0), hostOrder("192.168.1.1"));
    EXPECT_EQ(nicAddress("192.168.1.200", 1), hostOrder("192.168.1.2"));
    EXPECT_EQ(nicAddress("127.1.2.3", 1), 0); // its local address
    EXPECT_EQ(nicAddress("172.16.0.1", 0), 0);
    EXPECT_EQ(refreshes(), 0u);
}

TEST_F(InterfaceListTest, TheFirstInterfaceOnASubnetCounts) {
    machine = {{.name = "eth0", .ip = "10.0.0.1"}, {.name = "eth1", .ip = "10.0.0.2"}};
    take();
    EXPECT_EQ(nicAddress("10.0.0.9", 0), hostOrder("10.0.0.1"));
}

TEST_F(InterfaceListTest, AnAliasIsNotTheInterfaceOfAnAddress) {
    machine = {{.name = "eth0:5", .ip = "10.0.0.5"}, {.name = "e1234567:1", .ip = "10.0.0.6"}};
    take();
    EXPECT_EQ(nicAddress("10.0.0.5", 0), 0);
    EXPECT_EQ(nicAddress("10.0.0.9", 1), 0);
    machine.push_back({.name = "eth0", .ip = "10.0.0.1"});
    executor::reset();
    executor::answer(54, replyImage(replyOf(machine)));
    refreshInterfaceList();
    EXPECT_EQ(nicAddress("10.0.0.5", 0), hostOrder("10.0.0.1"));
}

TEST_F(InterfaceListTest, AnInterfaceWithoutMaskAndSubnetIsNoneOfAnAddress) {
    machine = {{.name = "ppp0", .ip = "10.0.0.1", .netmask = "0.0.0.0"},
               {.name = "ppp1", .ip = "10.0.0.2", .netmask = "0.0.0.0", .netnumber = "10.0.0.0"},
               {.name = "eth0", .ip = "10.0.0.3", .localip = "10.0.0.4"}};
    take();
    EXPECT_EQ(nicAddress("10.0.0.9", 0), hostOrder("10.0.0.3"));
    EXPECT_EQ(nicAddress("172.16.0.1", 0), 0);
}

// --- Alias numbers ---------------------------------------------------------------------------------------------------

TEST_F(InterfaceListTest, TheLowestFreeAliasNumber) {
    struct Row {
        Names names;
        const char *prefix;
        int32_t number;
    };
    const Row rows[] = {
        {{}, "eth0", 1},
        {{"eth0"}, "eth0", 1},
        {{"eth0:1", "eth0:2", "eth0:4"}, "eth0", 3}, // a gap
        {{"eth0:4", "eth0:2", "eth0:1"}, "eth0", 3}, // in any order
        {{"eth0:1", "eth0:1", "eth0:2"}, "eth0", 3},
        {{"eth0:2"}, "eth0", 1},
        {{"eth0:0"}, "eth0", 1}, // 0 is never handed out
        {{"eth0:0", "eth0:1"}, "eth0", 2},
        {{"eth0:001", "eth0:02"}, "eth0", 3},
        {{"eth1:1", "eth1:2"}, "eth0", 1},            // of another interface
        {{"eth1:1", "eth10:2"}, "eth", 3},            // whatever begins so
        {{"eth1:1", "eth10:2", "eth2:3"}, "eth1", 3}, // eth1 also begins eth10
        {{"eth1:1"}, "eth1:1", 2},                    // an alias is a beginning, too
        {{"eth1:1", "eth1:11"}, "eth1:11", 1},
        {{"eth0:1", "lo:2"}, "", 3},
        {{"et:1"}, "eth0", 1},
        {{"eth0:1"}, "wlan0", 1}, // an interface that is not there
        {{"eth01", "eth02"}, "eth0", 1},
        {{"eth0:web", "eth0:-1", "eth0:1a", "eth0:", "eth0:+1", "eth0: 1"}, "eth0", 1},
        {{"eth0:100", "eth0:101", "eth0:257", "eth0:99999"}, "eth0", 1},
    };
    for (const Row &row : rows) {
        name(row.names);
        EXPECT_EQ(getAlias(row.prefix), row.number) << row.prefix << ' ' << testing::PrintToString(row.names);
    }
    EXPECT_EQ(refreshes(), std::size(rows));
}

TEST_F(InterfaceListTest, AliasNumbersEndAt99) {
    Names names;
    for (int number = 1; number <= 98; ++number)
        names.push_back("eth0:" + std::to_string(number));
    name(names);
    EXPECT_EQ(getAlias("eth0"), 99);
    names.emplace_back("eth0:99");
    name(names);
    EXPECT_EQ(getAlias("eth0"), -1);
    EXPECT_EQ(getAlias("eth1"), 1);
    names[49] = "eth0:100";
    name(names);
    EXPECT_EQ(getAlias("eth0"), 50);
}

// --- The alias of an address -----------------------------------------------------------------------------------------

TEST_F(InterfaceListTest, TheAliasThatCarriesAnAddress) {
    machine.push_back({.name = "eth0:2", .ip = "10.0.0.5"});
    machine.push_back({.name = "eth0:3", .ip = "10.0.0.6"});
    EXPECT_EQ(aliasOf("10.0.0.5"), "eth0:1"); // the first
    EXPECT_EQ(aliasOf("10.0.0.6"), "eth0:3");
    EXPECT_EQ(aliasOf("10.0.0.1"), "untouched.."); // on the interface itself
    EXPECT_EQ(aliasOf("5.0.0.10"), "untouched..");
    EXPECT_EQ(refreshes(), 4u);
}

TEST_F(InterfaceListTest, AnInterfaceWithTheSameAddressIsPassedOver) {
    machine = {{.name = "eth0", .ip = "10.0.0.5"}, {.name = "eth1:7", .ip = "10.0.0.5"}};
    EXPECT_EQ(aliasOf("10.0.0.5"), "eth1:7");
}

// --- The netmask of an interface -------------------------------------------------------------------------------------

TEST_F(InterfaceListTest, TheNetmaskOfAName) {
    EXPECT_EQ(netmaskOf("eth0"), "255.255.240.0");
    EXPECT_EQ(netmaskOf("eth0:1"), "255.255.255.0");
    EXPECT_EQ(netmaskOf("lo"), "255.0.0.0");
    for (const char *absent : {"eth", "eth00", "eth2", "", "ETH0", "eth0:10"})
        EXPECT_EQ(netmaskOf(absent), "untouched") << absent;
    EXPECT_EQ(refreshes(), 9u);
}

TEST_F(InterfaceListTest, TheFirstOfAName) {
    machine = {{.name = "eth0", .ip = "10.0.0.5", .netmask = "255.255.255.254"}, {.name = "eth0", .ip = "10.0.0.5"}};
    EXPECT_EQ(netmaskOf("eth0"), "255.255.255.254");
}

// --- What an executor gets wrong -------------------------------------------------------------------------------------

// Behind the name stand digits of the local address.
TEST_F(InterfaceListTest, ANameWithoutTerminatorEndsWithItsField) {
    machine = {{.name = "ethernet:1", .ip = "10.0.0.5", .localip = "50.51.52.53"},
               {.name = "ethernet10", .ip = "10.0.0.6", .netmask = "255.255.0.0", .localip = "50.51.58.53"}};
    EXPECT_EQ(getAlias("ethernet"), 2);
    EXPECT_EQ(netmaskOf("ethernet10"), "255.255.0.0");
    EXPECT_EQ(netmaskOf("ethernet:1"), "255.255.255.0");
    EXPECT_EQ(aliasOf("10.0.0.6"), "untouched..");
    EXPECT_EQ(nicAddress("10.0.7.7", 0), hostOrder("10.0.0.6"));

    char name[12];
    memset(name, '#', sizeof(name));
    getInterface(0, 0x0A000005, name);
    EXPECT_EQ(std::string(name, sizeof(name)), std::string("ethernet:1\0#", 12));
}

TEST_F(InterfaceListTest, CountsOutOfRangeAreNotBelieved) {
    for (int i = 1; i <= 98; ++i)
        machine.push_back({.name = "eth2:" + std::to_string(i), .ip = "10.2.0." + std::to_string(i)});
    machine.resize(99);
    machine.push_back({.name = "eth2:99", .ip = "10.2.0.99"});
    for (const int32_t shown : {101, 1000, INT32_MAX}) {
        count = shown;
        EXPECT_EQ(aliasOf("10.2.0.99"), "eth2:99");
        EXPECT_EQ(aliasOf("10.2.0.200"), "untouched..");
        EXPECT_EQ(netmaskOf("absent"), "untouched");
        EXPECT_EQ(getAlias("absent"), 1);
        EXPECT_EQ(nameFor("172.16.0.1"), "(none)");
        EXPECT_EQ(nicAddress("172.16.0.1", 0), 0);
    }
    for (const int32_t shown : {0, -1, INT32_MIN}) {
        count = shown;
        EXPECT_EQ(aliasOf("10.2.0.99"), "untouched..");
        EXPECT_EQ(netmaskOf("eth0"), "untouched");
        EXPECT_EQ(getAlias("eth2"), 1);
        EXPECT_EQ(nameFor("10.0.0.9"), "(none)");
        EXPECT_EQ(nicAddress("10.0.0.9", 0), 0);
    }
}

} // namespace
