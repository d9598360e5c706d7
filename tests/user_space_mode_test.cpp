// Switching to the user-space executor, and driving its life.
#include "harness/library_test.h"

#include "library/channel/channel.h"

namespace {

using Calls = std::vector<std::string>;

struct UserSpaceModeTest : LibraryTest {};

TEST_F(UserSpaceModeTest, ModeKeepsTheLowByte) {
    const std::pair<jint, int> rows[] = {{1, 1}, {0, 0}, {256, 0}, {257, 1}, {-1, 255}, {128, 128}};
    for (const auto &[mode, kept] : rows) {
        java::callVoid("setKVAServerModalityNative", "(I)V", mode);
        EXPECT_EQ(prv_giKVAServerModality, kept) << mode;
    }
}

TEST_F(UserSpaceModeTest, ModeDecidesWhereTheNextCommandGoes) {
    calls::device(calls::Device::present);
    EXC_close_handle();
    jobject report = java::make("CMNExecutorReport");
    java::callVoid("setKVAServerModalityNative", "(I)V", 256);
    EXPECT_EQ(java::call("setExecutorCPSNative", report), 0);
    EXPECT_EQ(calls::deviceCalls(), Calls({"open 2", "ioctl 1000 0x4321"}));
    java::callVoid("setKVAServerModalityNative", "(I)V", 3);
    EXPECT_EQ(java::call("setExecutorCPSNative", report), 0);
    EXPECT_EQ(calls::deviceCalls().size(), 2u);
    EXPECT_EQ(executor::sent().size(), 2u);
    EXC_close_handle();
}

TEST_F(UserSpaceModeTest, LoadDoesNothing) {
    executor::operationsReturn(77);
    EXPECT_EQ(java::callInt("loadUserExecutorNative", "()I"), 0);
    EXPECT_EQ(executor::operations(), Calls());
}

TEST_F(UserSpaceModeTest, LifeCycleForwardsAndReturnsTheStatus) {
    const std::pair<const char *, const char *> rows[] = {{"startUserExecutorNative", "Init"},
                                                          {"stopUserExecutorNative", "Term"},
                                                          {"userExecutorProcessInitNative", "ProcessInit"},
                                                          {"userExecutorProcessTermNative", "ProcessTerm"}};
    for (const auto &[method, operation] : rows)
        for (const jint status : {0, -17, 0x12345678}) {
            executor::operations().clear();
            executor::operationsReturn(status);
            EXPECT_EQ(java::callInt(method, "()I"), status) << method;
            EXPECT_EQ(executor::operations(), Calls({operation}));
        }
}

TEST_F(UserSpaceModeTest, BooleansTakeTheLowByte) {
    const std::pair<int32_t, bool> rows[] = {{0, false}, {1, true}, {0x100, false}, {0x180, true}, {-1, true}};
    for (const auto &[status, expected] : rows) {
        executor::operationsReturn(status);
        EXPECT_EQ(java::callBoolean("userExecutorStartedNative", "()Z"), expected) << status;
        jstring path = java::makeString("/var/log/executor");
        EXPECT_EQ(java::callBoolean("userExecutorSetLogNative", "(Ljava/lang/String;)Z", path), expected) << status;
        EXPECT_EQ(java::callBoolean("userExecutorSetInstallPathNative", "(Ljava/lang/String;)Z", path), expected)
            << status;
    }
}

TEST_F(UserSpaceModeTest, PathsAreHandedOver) {
    java::callBoolean("userExecutorSetLogNative", "(Ljava/lang/String;)Z", java::makeString("/var/log/executor"));
    java::callBoolean("userExecutorSetInstallPathNative", "(Ljava/lang/String;)Z", java::makeString("/opt/engine"));
    EXPECT_EQ(executor::operations(), Calls({"SetLog /var/log/executor", "SetInstallPath /opt/engine"}));
}

TEST_F(UserSpaceModeTest, PathsThatCannotBeHadAreNull) {
    java::callBoolean("userExecutorSetLogNative", "(Ljava/lang/String;)Z", nullptr);
    java::callBoolean("userExecutorSetInstallPathNative", "(Ljava/lang/String;)Z", nullptr);
    {
        java::PatchedEnv patched;
        patched.functions.GetStringUTFChars = [](JNIEnv *, jstring, jboolean *) -> const char * { return nullptr; };
        java::callBoolean("userExecutorSetLogNative", "(Ljava/lang/String;)Z", java::makeString("/var/log/executor"));
    }
    EXPECT_EQ(executor::operations(), Calls({"SetLog (null)", "SetInstallPath (null)", "SetLog (null)"}));
}

TEST_F(UserSpaceModeTest, PathCharactersAreNotReleased) {
    static int released;
    released = 0;
    java::PatchedEnv patched;
    patched.functions.ReleaseStringUTFChars = [](JNIEnv *, jstring, const char *) { ++released; };
    java::callBoolean("userExecutorSetLogNative", "(Ljava/lang/String;)Z", java::makeString("/var/log/executor"));
    java::callBoolean("userExecutorSetInstallPathNative", "(Ljava/lang/String;)Z", java::makeString("/opt/engine"));
    EXPECT_EQ(released, 0);
}

} // namespace
