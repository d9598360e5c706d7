// Is the executor there: the native methods that send no command.
#include "harness/library_test.h"

#include "library/channel/channel.h"

namespace {

using Calls = std::vector<std::string>;

struct PresenceTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        EXC_close_handle();
        calls::reset();
    }

    void TearDown() override {
        EXC_close_handle();
        LibraryTest::TearDown();
    }
};

TEST_F(PresenceTest, WithoutDeviceBothProbesSayNo) {
    calls::device(calls::Device::absent);
    EXPECT_EQ(java::callInt("isLoadedNative", "()I"), 0);
    EXPECT_EQ(java::callInt("linuxUpNative", "()I"), 0);
    EXPECT_EQ(hQelPd, -1);
    EXPECT_EQ(calls::deviceCalls(), Calls({"open 2", "open 0"}));
}

TEST_F(PresenceTest, LinuxProbeUsesItsOwnDescriptor) {
    calls::device(calls::Device::present);
    EXPECT_EQ(java::callInt("linuxUpNative", "()I"), 1);
    EXPECT_EQ(hQelPd, -1);
    EXPECT_EQ(calls::deviceCalls(), Calls({"open 0", "close 1000"}));
}

TEST_F(PresenceTest, LinuxProbeLeavesAnOpenChannelAlone) {
    calls::device(calls::Device::present);
    EXPECT_EQ(EXC_is_loaded(), 1);
    EXPECT_EQ(java::callInt("linuxUpNative", "()I"), 1);
    EXPECT_EQ(hQelPd, 1000);
    EXPECT_EQ(calls::deviceCalls(), Calls({"open 2", "open 0", "close 1001"}));
}

TEST_F(PresenceTest, LoadedLeavesTheDeviceOpenAndStopClosesIt) {
    calls::device(calls::Device::present);
    EXPECT_EQ(java::callInt("isLoadedNative", "()I"), 1);
    EXPECT_EQ(java::callInt("isLoadedNative", "()I"), 1);
    EXPECT_EQ(hQelPd, 1000);
    EXPECT_EQ(java::text(java::callObject("stopExecutorNative", "()Ljava/lang/String;")), "EOK");
    EXPECT_EQ(hQelPd, -1);
    EXPECT_EQ(java::text(java::callObject("stopExecutorNative", "()Ljava/lang/String;")), "EOK");
    EXPECT_EQ(calls::deviceCalls(), Calls({"open 2", "close 1000"}));
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(PresenceTest, OtherPlatformsAreNeverUp) {
    calls::device(calls::Device::present);
    EXPECT_EQ(java::callInt("solarisUpNative", "()I"), 0);
    EXPECT_EQ(java::callInt("HPUpNative", "()I"), 0);
    EXPECT_EQ(calls::deviceCalls(), Calls());
}

TEST_F(PresenceTest, FixedTexts) {
    EXPECT_EQ(java::text(java::callObject("ScriptPrefixNative", "()Ljava/lang/String;")), "");
    EXPECT_EQ(java::text(java::callObject("updateKernelNative", "()Ljava/lang/String;")),
              "MADE IT INSIDE native updateKernel\n");
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(PresenceTest, TextsThatCannotBeMadeAreNull) {
    for (const char *method : {"ScriptPrefixNative", "stopExecutorNative", "updateKernelNative"}) {
        java::PatchedEnv patched;
        patched.functions.NewStringUTF = [](JNIEnv *, const char *) -> jstring { return nullptr; };
        EXPECT_EQ(java::callObject(method, "()Ljava/lang/String;"), nullptr) << method;
    }
}

TEST_F(PresenceTest, EveryCapacityIsAccepted) {
    for (const char *method : {"checkMaxClustersNative", "checkMaxPortsNative", "checkMaxServersNative"})
        for (const jint count : {0, -1, 1, 2147483647, -2147483647 - 1})
            EXPECT_EQ(java::callInt(method, "(I)I", count), 0) << method << ' ' << count;
    EXPECT_TRUE(executor::sent().empty());
}

} // namespace
