// What one call of each native method costs, arguments and replies whole: blocks of the heap, commands, and calls of
// the device in kernel mode.
#include "harness/interfaces.h"

#include "library/channel/channel.h"

#include <set>

namespace {

using Sizes = std::vector<std::size_t>;
using Commands = std::vector<int32_t>;

constexpr char kAnyResult[] = "";

struct Cost {
    const char *native;
    const char *objects; // the classes of its objects
    Commands commands;   // each of them is one ioctl
    Sizes blocks = {};   // of the heap, in bytes, in the order in which they are asked for
    const char *result = "0";
    jint number = 1;   // for its ints
    int flag = 1;      // of the objects' change flags
    Names device = {}; // what it calls the device for besides its commands
};

constexpr std::size_t kListText = 10000;
constexpr std::size_t kConnectionText = 128016;

// The second command of what reads as "report, then list" tells the list's room; the others that send more than one
// command are a rule without its type, which is asked for first, two-part debug dumps, and what looks more than once at
// the executor's interfaces.
const std::vector<Cost> kCosts = {
    {"isLoadedNative", "", {}, {}, "1"},
    {"linuxUpNative", "", {}, {}, "1", 1, 1, {"open 0", "close 1001"}},
    {"solarisUpNative", "", {}},
    {"HPUpNative", "", {}},
    {"ScriptPrefixNative", "", {}, {}, kAnyResult},
    {"stopExecutorNative", "", {}, {}, "EOK", 1, 1, {"close 1000"}},
    {"updateKernelNative", "", {}, {}, kAnyResult},
    {"checkMaxClustersNative", "", {}},
    {"checkMaxPortsNative", "", {}},
    {"checkMaxServersNative", "", {}},
    {"setKVAServerModalityNative", "", {}, {}, "null"},
    {"loadUserExecutorNative", "", {}},
    {"startUserExecutorNative", "", {}},
    {"stopUserExecutorNative", "", {}},
    {"userExecutorProcessInitNative", "", {}},
    {"userExecutorProcessTermNative", "", {}},
    {"userExecutorStartedNative", "", {}, {}, "false"},
    {"userExecutorSetLogNative", "", {}, {}, "false"},
    {"userExecutorSetInstallPathNative", "", {}, {}, "false"},
    {"calcClusterIdKeyNative", "", {}, {}, kAnyResult},
    {"setKeyIsIpAddrNative", "", {}, {}, "null"},

    {"setExecutorStatusNative", "CMNExecutorStatus", {2}},
    {"getExecutorStatusNative", "CMNExecutorStatus", {1}},
    {"getExecutorReportNative", "CMNExecutorReport", {3}},
    {"setExecutorCPSNative", "CMNExecutorReport", {71}},
    {"addClusterNative", "CMNCluster", {4}},
    {"setClusterStatusNative", "CMNCluster", {8}},
    {"removeClusterNative", "CMNCluster", {5}},
    {"getClusterStatusNative", "CMNCluster", {7}},
    {"getClusterReportNative", "CMNCluster", {9}},
    {"setClusterCPSNative", "CMNCluster", {72}},
    {"getClustersListNative", "java.lang.StringBuffer", {3, 6}, {kListText, 20 + 72}},
    {"addPortNative", "CMNPort", {10}},
    {"setPortStatusNative", "CMNPort", {14}},
    {"removePortNative", "CMNPort", {11}},
    {"getPortStatusNative", "CMNPort", {13}},
    {"getPortReportNative", "CMNPort", {15}},
    {"setPortCPSNative", "CMNPort", {80}},
    {"getPortsListNative", "java.lang.StringBuffer", {9, 12}, {kListText, 24 + 8}},
    {"addServerNative", "CMNServer", {27}},
    {"setServerStatusNative", "CMNServer", {32}},
    {"removeServerNative", "CMNServer", {28}},
    {"setServerUpNative", "CMNServer", {30}},
    {"setServerDownNative", "CMNServer", {29}},
    {"setHostDownNative", "java.lang.Object", {}},
    {"setHostUpNative", "java.lang.Object", {}},
    {"removeHostNative", "java.lang.Object", {}},
    {"setServerCPSNative", "CMNServer", {83}},
    {"getServerReportNative", "CMNServer", {33}},
    {"getServerStatusNative", "CMNServer", {56}},
    {"getServersListNative", "java.lang.StringBuffer", {15, 31}, {kListText, 48 + 88}},
    // The columns of the entries' fields are one block, with room for one entry more than there are.
    {"getServerWeightsNative", "CMNServerWeights", {17}, {28 + 96, 2 * (5 * 4 + 1)}},
    {"setServerWeightsNative", "CMNServerWeights", {16}, {28 + 96, 2 * (3 * 4 + 1), 2 * 4}},
    {"addRuleNative", "CMNRule", {18}},
    {"addRuleNative", "CMNRule", {21, 18}, {}, "0", 1, 0},
    {"setRuleStatusNative", "CMNRule", {22}},
    {"setRuleStatusNative", "CMNRule", {21, 22}, {}, "0", 1, 0},
    {"removeRuleNative", "CMNRule", {19}},
    {"getRuleStatusNative", "CMNRule", {21}},
    {"getRuleReportNative", "CMNRule", {23}},
    {"setRuleCPSNative", "CMNRule", {81}},
    {"getRulesListNative", "java.lang.StringBuffer", {15, 20}, {kListText, 28 + 28}},
    {"addServertoRuleNative", "CMNRule CMNServer", {24}},
    {"removeServerfromRuleNative", "CMNRule CMNServer", {25}},
    {"getRuleServersListNative", "CMNRule java.lang.StringBuffer", {26}, {kListText, 48 + 88}},

    {"getHAInfoNative", "CMNHAStatus", {47}},
    {"backupAddNative", "", {40}},
    {"backupDelNative", "", {41}},
    {"addReachNative", "", {43}},
    {"delReachNative", "", {44}},
    {"chgReachNative", "", {48}},
    {"addHBNative", "", {45}},
    {"delHBNative", "", {46}},
    {"setTimersNative", "", {50}},
    {"takeoverNative", "", {51}},

    {"getNicAddrNative", "", {}},
    {"setInterfacesNative", "java.lang.Object", {54}, {}, "null"},
    {"getInterfaceListNative", "java.lang.Object java.lang.Object", {}, {}, "-1"},
    {"configureAddressNative", "CMNAddressConfig", {54, 54}},
    {"configureAddressNative", "CMNAddressConfig", {54, 54}, {}, "0", 1, 0},
    {"unconfigureAddressNative", "CMNAddressConfig", {54}},
    {"clusterConfigureStatusNative", "CMNAddressConfig", {54}},
    {"getAddressConfigureInfoNative", "CMNAddressConfig", {54, 54}},

    {"xloglevelNative", "", {2}, {}, kAnyResult},
    {"xlogfilterNative", "", {2}, {}, kAnyResult},
    {"xlogheadNative", "", {35}, {154 + 1 + 1024}, kAnyResult},
    {"xlogtailNative", "", {36}, {154 + 1}, kAnyResult},
    {"xlogclearNative", "", {37}, {}, kAnyResult},
    {"allocateConnectionNative", "", {34}},
    {"deallocateConnectionNative", "", {63}},
    {"getConnectionInfoNative", "", {39}, {kConnectionText}, kAnyResult},
    {"getAffinityInfoNative", "", {52}, {kListText}, kAnyResult},
    // Two columns of the request, and one for those of the reply, one after another.
    {"serverDirectedAffinityNative", "CMNAffinityRequest", {59}, {2 * 4, 4}},
    {"xmiscNative", "", {53}, {kListText}, kAnyResult, 0},
    {"xmiscNative", "", {53, 55}, {kListText}, kAnyResult, 1},
    {"xmiscNative", "", {53}, {kListText}, kAnyResult, 8},
    {"xmiscNative", "", {53, 84}, {kListText}, kAnyResult, 10},
    {"xmiscNative", "", {53, 85}, {kListText}, kAnyResult, 11},
    {"xmiscNative", "", {53, 86}, {kListText}, kAnyResult, 12},
    {"xmiscNative", "", {53}, {kListText}, kAnyResult, 99},
    {"xmiscNative", "", {53}, {}, "OK\n", 30},
    {"xmiscNative", "", {65}, {}, kAnyResult, 43},
    {"getHalfOpenInfoNative", "rk.tests.AttackListener", {67}},
    {"getAttackingAddrsNative", "rk.tests.AttackListener", {68}},
    {"xDOSAttackNative", "", {69}},
    {"getIcmpInfoNative", "CMNIcmp", {57}},
    {"setIcmpInfoNative", "CMNIcmp", {58}},
};

// Replies with words of 1 behind the header, as many as the block has: one entry in every list.
int32_t replyWithOnes(uint8_t *block, uint32_t length) {
    const uint32_t one = 1;
    for (std::size_t offset = 16; offset + sizeof(one) <= length; offset += sizeof(one))
        memcpy(block + offset, &one, sizeof(one));
    return 0;
}

// The same for a machine with two interfaces, of which the second is the alias that the objects' address is on.
int32_t succeed(uint8_t *block, uint32_t length) {
    static const Image machine = interfaces::replyOf({{"eth0", "10.0.0.1"}, {"eth0:1", "10.0.0.5"}});
    int32_t command = 0;
    memcpy(&command, block, sizeof(command));
    return command == 54 ? replyImage(machine)(block, length) : replyWithOnes(block, length);
}

struct CallCostsTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        methods = java::make("rk/tests/NativeMethods");
        jclass type = java::env()->GetObjectClass(methods);
        callWith =
            java::env()->GetMethodID(type, "callWith", "(Ljava/lang/String;Ljava/lang/String;II)Ljava/lang/String;");
    }

    void TearDown() override {
        EXC_close_handle();
        LibraryTest::TearDown();
    }

    // The executor is there, and answers every command in this way.
    void prepare(const executor::Answer &answer) {
        TheInterfaceList = {};
        EXC_close_handle();
        calls::reset();
        calls::onCommand([](const std::string &) { return calls::Outcome{}; }); // no command really runs
        executor::reset();
        for (int command = 1; command <= 86; ++command)
            executor::answer(command, answer);
    }

    // What the device was called for after its first `before` calls.
    static Names deviceCallsSince(std::size_t before) {
        const Names &all = calls::deviceCalls();
        return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
    }

    std::string perform(const Cost &cost) {
        JNIEnv *env = java::env();
        env->PushLocalFrame(32);
        jobject result = env->CallObjectMethod(methods, callWith, java::makeString(cost.native),
                                               java::makeString(cost.objects), cost.number, cost.flag);
        EXPECT_EQ(java::takeException(), "") << cost.native;
        std::string text = java::text(result);
        env->PopLocalFrame(nullptr);
        return text;
    }

    // The same with the library's allocations counted, the one with number `failing` (0: none) being refused.
    std::string performCounted(const Cost &cost, int failing = 0) {
        calls::countAllocations(failing);
        return perform(cost);
    }

    jobject methods = nullptr;
    jmethodID callWith = nullptr;
};

TEST_F(CallCostsTest, AllNativesAreLookedAt) {
    std::set<std::string> names;
    for (const Cost &cost : kCosts)
        names.insert(cost.native);
    EXPECT_EQ(names.size(), 96u);
}

TEST_F(CallCostsTest, BlocksOfTheHeap) {
    for (const Cost &cost : kCosts) {
        SCOPED_TRACE(std::string(cost.native) + ' ' + std::to_string(cost.number));
        prepare(succeed);
        performCounted(cost);
        EXPECT_EQ(calls::allocationSizes(), cost.blocks);
        EXPECT_EQ(calls::blocksHeld(), 0);
        EXPECT_EQ(executor::commandsSent(), cost.commands);
    }
}

// What was allocated before the executor refuses is freed.
TEST_F(CallCostsTest, NothingIsHeldAfterARefusal) {
    for (const Cost &cost : kCosts)
        for (std::size_t refused = 0; refused < cost.commands.size(); ++refused) {
            SCOPED_TRACE(std::string(cost.native) + ' ' + std::to_string(cost.commands[refused]));
            std::size_t answered = 0;
            prepare([&](uint8_t *block, uint32_t length) {
                return answered++ == refused ? executor::refuse(-1)(block, length) : succeed(block, length);
            });
            performCounted(cost);
            EXPECT_GT(answered, refused);
            EXPECT_LE(calls::allocations(), static_cast<int>(cost.blocks.size()));
            EXPECT_EQ(calls::blocksHeld(), 0);
        }
}

// Nor after an allocation that failed.
TEST_F(CallCostsTest, NothingIsHeldWhenMemoryIsShort) {
    for (const Cost &cost : kCosts)
        for (int failing = 1; failing <= static_cast<int>(cost.blocks.size()); ++failing) {
            SCOPED_TRACE(std::string(cost.native) + ' ' + std::to_string(failing));
            prepare(succeed);
            performCounted(cost, failing);
            EXPECT_EQ(calls::allocations(), failing) << "nothing is asked for after the first failure";
            EXPECT_EQ(calls::blocksHeld(), 0);
        }
}

// A command is one ioctl on the open device, and nothing else.
TEST_F(CallCostsTest, CallsOfTheDevice) {
    for (const Cost &cost : kCosts) {
        SCOPED_TRACE(std::string(cost.native) + ' ' + std::to_string(cost.number));
        prepare(succeed);
        prv_giKVAServerModality = 0;
        calls::device(calls::Device::present);
        ASSERT_EQ(EXC_is_loaded(), 1);
        const std::size_t before = calls::deviceCalls().size();
        const std::string result = perform(cost);
        Names expected(cost.commands.size(), "ioctl 1000 0x4321");
        expected.insert(expected.end(), cost.device.begin(), cost.device.end());
        EXPECT_EQ(deviceCallsSince(before), expected);
        EXPECT_EQ(cost.result == kAnyResult ? kAnyResult : result, cost.result);
        EXPECT_EQ(executor::commandsSent(), cost.commands);
    }
}

} // namespace
