// All native methods at once: how many there are, and that none of them minds being called with nothing.
#include "harness/record_test.h"

#include "library/channel/channel.h"
#include "library/support/CMNImpUtils.h"

#include <set>

namespace {

struct AllNativesTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        calls::onCommand([](const std::string &) { return calls::Outcome{}; }); // no command really runs
        methods = java::make("rk/tests/NativeMethods");
        GetIntFromJavaMethod(java::env(), methods, "count", &count);
        ASSERT_FALSE(java::env()->ExceptionCheck());
    }

    void TearDown() override {
        EXC_close_handle();
        LibraryTest::TearDown();
    }

    std::string textAt(const char *method, int index) {
        jstring result = nullptr;
        EXPECT_EQ(GetStringFromJavaMethodIndex(java::env(), methods, method, index, &result), 0);
        EXPECT_EQ(java::takeException(), "") << method << ' ' << index;
        return java::text(result);
    }

    // Calls every method; before each of them `prepare` makes the world that it finds. What they sent adds up.
    void callAll(const std::function<void()> &prepare) {
        commands.clear();
        for (int i = 0; i < count; ++i) {
            executor::reset();
            prepare();
            java::env()->PushLocalFrame(32);
            const std::string name = textAt("nameAt", i);
            const std::string exception = textAt("callAt", i);
            java::env()->PopLocalFrame(nullptr);
            EXPECT_TRUE(exception.empty() || exception.rfind("java.lang.NullPointerException: ", 0) == 0)
                << name << ": " << exception;
            for (const int32_t command : executor::commandsSent())
                commands.insert(command);
        }
    }

    // Gives every command of the registry this answer.
    static void answerAll(const executor::Answer &answer) {
        for (int command = 1; command <= 86; ++command)
            executor::answer(command, answer);
    }

    jobject methods = nullptr;
    jint count = 0;
    std::set<int32_t> commands;
};

// Those that need no object and no text, so that calling them with nothing sends something.
const std::set<int32_t> kCommandsWithoutObjects = {2, 34, 35, 36, 37, 39, 41, 52, 53, 54, 63, 69};

TEST_F(AllNativesTest, ThereAre96) {
    EXPECT_EQ(count, 96);
    std::set<std::string> names;
    for (int i = 0; i < count; ++i)
        names.insert(textAt("nameAt", i));
    EXPECT_EQ(names.size(), 96u);
}

TEST_F(AllNativesTest, AnExecutorThatSucceeds) {
    callAll([] {});
    EXPECT_TRUE(std::includes(commands.begin(), commands.end(), kCommandsWithoutObjects.begin(),
                              kCommandsWithoutObjects.end()));
    EXPECT_EQ(calls::commands(), Names()) << "a null address must not reach a shell";
    callAll([] { answerAll(replyImage(Image(64016, 0))); });
}

TEST_F(AllNativesTest, AnExecutorThatRefusesEverything) {
    for (const int32_t reason : {-1, -2, -5, -99, 0, 22})
        for (const int32_t result : {-1, 9})
            callAll([=] { answerAll(executor::refuse(reason, result)); });
}

TEST_F(AllNativesTest, NoDevice) {
    callAll([] {
        prv_giKVAServerModality = 0;
        calls::device(calls::Device::absent);
    });
    EXPECT_TRUE(commands.empty());
}

TEST_F(AllNativesTest, ADeviceThatFails) {
    callAll([] {
        EXC_close_handle();
        prv_giKVAServerModality = 0;
        calls::device(calls::Device::present);
        calls::onIoctl([](void *) {
            errno = 9;
            return -1;
        });
    });
    EXPECT_TRUE(commands.empty());
}

TEST_F(AllNativesTest, ADeviceThatSucceeds) {
    callAll([] {
        EXC_close_handle();
        prv_giKVAServerModality = 0;
        calls::device(calls::Device::present);
    });
}

} // namespace
