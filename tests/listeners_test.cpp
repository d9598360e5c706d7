// The listeners of servers: from Java when a server is added or changed, to Java when its status is read.
#include "harness/library_test.h"
#include "harness/servers.h"

#include "library/native.h"

#include <algorithm>
#include <cstring>

namespace {

using executor::Image;
using java::Failure;
using servers::newServer;
using servers::nothingSet;
using Names = std::vector<std::string>;

constexpr std::size_t kEntries[] = {120, 652};

struct Listener {
    uint32_t address; // host order
    int mapPort;
    jint protocol;
    const char *keyRing;
    const char *stashFile;
};

constexpr Listener kFirst = {0x0A000001, 8080, 6, "first.kdb", "first.sth"};
constexpr Listener kSecond = {0xC0A80102, 65535, -1, "second.kdb", "second.sth"};

jobject newListener(const Listener &values) {
    jobject listener = java::make("CMNListener");
    java::setInt(listener, "_iAddress", static_cast<jint>(values.address));
    java::setInt(listener, "_iMapPort", values.mapPort);
    java::setInt(listener, "_iProtocol", values.protocol);
    java::setString(listener, "_sKeyRing", values.keyRing);
    java::setString(listener, "_sStashFile", values.stashFile);
    return listener;
}

// The entry of a listener, with its address and port as they stand in memory.
void expectEntry(Image &image, std::size_t entry, const Listener &listener, const char *address, const char *port) {
    image.hex(entry, address).hex(entry + 4, port).word(entry + 8, static_cast<uint32_t>(listener.protocol));
    image.word(entry + 12, 30).word(entry + 16, 40);
    image.text(entry + 20, listener.keyRing).text(entry + 276, listener.stashFile);
}

struct ListenersTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        server = newServer();
    }

    void again() {
        executor::reset();
        server = newServer();
    }

    void addListener(const Listener &values) const {
        JNIEnv *env = java::env();
        const jmethodID add =
            env->GetMethodID(env->GetObjectClass(server), "addListener", "(Lcom/qel/internet/rk/common/CMNListener;)V");
        env->CallVoidMethod(server, add, newListener(values));
        ASSERT_EQ(java::takeException(), "");
    }

    // The server's listener, as Java holds it.
    [[nodiscard]] jobject listener(jint index) const {
        JNIEnv *env = java::env();
        const jmethodID get =
            env->GetMethodID(env->GetObjectClass(server), "getListener", "(I)Lcom/qel/internet/rk/common/CMNListener;");
        jobject result = env->CallObjectMethod(server, get, index);
        EXPECT_EQ(java::takeException(), "");
        return result;
    }

    void giveTwo() const {
        addListener(kFirst);
        addListener(kSecond);
        java::setByte(server, "SetListeners", 1);
        java::setInt(server, "iConnectTimeout", 30);
        java::setInt(server, "iWaitForComplete", 40);
    }

    static Image withTwo(int32_t command) {
        Image image = nothingSet(command).half(116, 2).byte(1184, 1);
        expectEntry(image, kEntries[0], kFirst, "0a000001", "1f90");
        expectEntry(image, kEntries[1], kSecond, "c0a80102", "ffff");
        return image;
    }

    // Past the VM, which drops the status of a call that leaves an exception pending.
    [[nodiscard]] jint add() const {
        return NATIVE(addServerNative)(java::env(), nullptr, server);
    }

    jobject server = nullptr;
};

// --- From Java -------------------------------------------------------------------------------------------------------

TEST_F(ListenersTest, TwoListenersTravelWithTheTimesOfTheServer) {
    for (const auto &[method, command] : {std::pair("addServerNative", 27), {"setServerStatusNative", 32}}) {
        again();
        giveTwo();
        EXPECT_EQ(java::call(method, server), 0);
        EXPECT_SENT(withTwo(command));
    }
}

TEST_F(ListenersTest, GoldenImageOfListenersAndAllSettings) {
    giveTwo();
    for (const char *flag :
         {"SetWeight", "SetFixedWeight", "SetReturnAddress", "SetRouterAddress", "SetCollocated", "SetSticky",
          "SetQuiesced", "SetAdvisorRequest", "SetAdvisorResponse", "SetCookieValue", "SetCloneID", "SetCPSMaximum"})
        java::setByte(server, flag, 1);
    java::setInt(server, "_iWeight", 20);
    java::setByte(server, "_bFixedWeight", 1);
    java::setString(server, "_sReturnAddress", "10.0.0.9");
    java::setString(server, "_sRouterAddress", "10.0.0.8");
    java::setByte(server, "bCollocated", 1);
    java::setByte(server, "bSticky", 1);
    java::setInt(server, "_iQuiesced", 2);
    java::setString(server, "_sAdvisorRequest", "HEAD /");
    java::setString(server, "_sAdvisorResponse", "200 OK");
    java::setString(server, "CookieValue", "crumbs");
    java::setString(server, "CloneID", "clone-7");
    java::setInt(server, "_iCPSMaximum", 900);
    EXPECT_EQ(java::call("setServerStatusNative", server), 0);
    Image image = withTwo(32);
    image.half(1192, 20).byte(1194, 1).byte(1195, 1).hex(1196, "0a000008").hex(1200, "0a000009");
    image.word(1204, 1).word(1208, 1).word(1212, 2).word(1216, 900);
    image.hex(1220, "0101ee01 0101 0101 01 01 01 01").text(1232, "HEAD /").text(1488, "200 OK");
    image.byte(1744, 1).text(1745, "crumbs").byte(1845, 1).text(1846, "clone-7");
    EXPECT_SENT(image);
}

TEST_F(ListenersTest, MembersAreAskedForInOrder) {
    giveTwo();
    const Names entry = {"getListener()",       "getIntAddress()",         "getMapPort()", "getProtocol()",
                         "getConnectTimeout()", "getIntWaitForComplete()", "getKeyRing()", "getStashFile()"};
    Names expected = {"sServerID", "iServerIdKey", "ClusterId", "Port", "_iNumListeners", "SetListeners"};
    expected.insert(expected.end(), entry.begin(), entry.end());
    expected.insert(expected.end(), entry.begin(), entry.end());
    expected.insert(expected.end(), {"SetWeight", "SetFixedWeight", "SetReturnAddress", "SetRouterAddress",
                                     "SetCollocated", "SetSticky", "SetQuiesced", "SetAdvisorRequest",
                                     "SetAdvisorResponse", "SetCookieValue", "SetCloneID", "SetCPSMaximum"});
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(java::call("setServerStatusNative", server), 0); }), expected);
}

TEST_F(ListenersTest, WithoutTheFlagOnlyTheCountTravels) {
    for (const int flag : {0, 2, -1}) {
        again();
        giveTwo();
        java::setByte(server, "SetListeners", flag);
        java::setInt(server, "_iNumListeners", 0x10003); // more than there is room for, which matters to nobody
        const Names members = java::membersLookedUp([&] { EXPECT_EQ(java::call("setServerStatusNative", server), 0); });
        EXPECT_EQ(std::count(members.begin(), members.end(), "getListener()"), 0);
        EXPECT_SENT(nothingSet(32).half(116, 3).byte(1184, static_cast<uint8_t>(flag)));
    }
}

TEST_F(ListenersTest, CountsBelowOneAskForNoListener) {
    for (const auto &[count, low] : {std::pair(0, 0), {-1, 65535}, {-2147483647 - 1, 0}}) {
        again();
        java::setByte(server, "SetListeners", 1);
        java::setInt(server, "_iNumListeners", count);
        EXPECT_EQ(java::call("addServerNative", server), 0) << count;
        EXPECT_SENT(nothingSet(27).half(116, static_cast<uint16_t>(low)).byte(1184, 1)) << count;
    }
}

TEST_F(ListenersTest, MoreThanTwoAreRefusedBeforeAnyIsAskedFor) {
    giveTwo();
    for (const jint count : {3, 65536, 65537, 2147483647}) {
        java::setInt(server, "_iNumListeners", count);
        for (const char *method : {"addServerNative", "setServerStatusNative"}) {
            const Names members = java::membersLookedUp([&] { EXPECT_EQ(java::call(method, server), -78) << count; });
            EXPECT_EQ(members.back(), "SetListeners");
        }
    }
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ListenersTest, MapPortsAre16Bits) {
    for (const int port : {-1, 65536, -2147483647 - 1, 65536 + 80}) {
        again();
        Listener values = kFirst;
        values.mapPort = port;
        addListener(values);
        java::setByte(server, "SetListeners", 1);
        const Names members =
            java::membersLookedUp([&] { EXPECT_EQ(java::call("setServerStatusNative", server), -78) << port; });
        EXPECT_EQ(members.back(), "getMapPort()");
        EXPECT_TRUE(executor::sent().empty());
    }
    again();
    Listener values = kFirst;
    values.mapPort = 0;
    addListener(values);
    java::setByte(server, "SetListeners", 1);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    Image image = nothingSet(27).half(116, 1).byte(1184, 1);
    expectEntry(image, kEntries[0], values, "0a000001", "0000");
    EXPECT_SENT(image.word(kEntries[0] + 12, 0).word(kEntries[0] + 16, 0));
}

// A step that fails: its method, the number of the call (the second listener's, or the same method's second one), and
// the status.
struct Step {
    const char *method;
    int32_t status;
};

constexpr Step kStepsFromJava[] = {{"getListener", -17}, {"getIntAddress", -17},     {"getMapPort", -78},
                                   {"getProtocol", -78}, {"getConnectTimeout", -78}, {"getIntWaitForComplete", -78},
                                   {"getKeyRing", -78},  {"getStashFile", -78}};

TEST_F(ListenersTest, AMissingMethodFailsItsStep) {
    giveTwo();
    for (const Step &step : kStepsFromJava)
        for (const int which : {1, 2}) {
            java::FailingMethod failing(step.method, Failure::lookUp, which);
            const Names members = java::membersLookedUp([&] { EXPECT_EQ(add(), step.status) << step.method; });
            EXPECT_EQ(members.back(), std::string(step.method) + "()"); // and no step after it
            EXPECT_EQ(java::takeException(), std::string("java.lang.NoSuchMethodError: ") + step.method);
        }
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ListenersTest, AMethodThatThrowsFailsItsStep) {
    giveTwo();
    for (const Step &step : kStepsFromJava)
        for (const int which : {1, 2}) {
            java::FailingMethod failing(step.method, Failure::call, which);
            const Names members = java::membersLookedUp([&] { EXPECT_EQ(add(), step.status) << step.method; });
            EXPECT_EQ(members.back(), std::string(step.method) + "()");
            EXPECT_EQ(java::takeException(), std::string("java.lang.IllegalStateException: ") + step.method);
        }
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ListenersTest, AServerThatThrowsIsAskedOnce) {
    server = java::make("rk/tests/ServerWithoutListeners");
    for (const char *method : {"addServerNative", "setServerStatusNative"}) {
        java::setInt(server, "asked", 0);
        java::call(method, server);
        EXPECT_EQ(java::takeException(), "java.lang.IllegalStateException: no listener 0");
        EXPECT_EQ(java::getInt(server, "asked"), 1);
    }
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ListenersTest, AListenerThatIsNullFailsItsStep) {
    addListener(kFirst);
    java::setInt(server, "_iNumListeners", 2); // the second was never added
    java::setByte(server, "SetListeners", 1);
    const Names members = java::membersLookedUp([&] { EXPECT_EQ(java::call("setServerStatusNative", server), -17); });
    EXPECT_EQ(members.back(), "getListener()");
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ListenersTest, TextsThatAreNullAreEmpty) {
    giveTwo();
    for (const char *text : {"_sKeyRing", "_sStashFile"})
        java::setNull(listener(0), text, "Ljava/lang/String;");
    EXPECT_EQ(java::call("addServerNative", server), 0);
    Image image = nothingSet(27).half(116, 2).byte(1184, 1);
    Listener first = kFirst;
    first.keyRing = "";
    first.stashFile = "";
    expectEntry(image, kEntries[0], first, "0a000001", "1f90");
    expectEntry(image, kEntries[1], kSecond, "c0a80102", "ffff");
    EXPECT_SENT(image);
}

TEST_F(ListenersTest, LongTextsRunIntoWhatFollows) {
    const std::string text(600, 'k');
    giveTwo();
    java::setString(listener(0), "_sKeyRing", text);
    EXPECT_EQ(java::call("addServerNative", server), 0);
    Image image = nothingSet(27).half(116, 2).byte(1184, 1);
    Listener first = kFirst;
    first.keyRing = text.c_str();
    expectEntry(image, kEntries[0], first, "0a000001", "1f90"); // into the second entry, which is written after it
    expectEntry(image, kEntries[1], kSecond, "c0a80102", "ffff");
    EXPECT_SENT(image);
}

TEST_F(ListenersTest, EverythingObtainedIsGivenBack) {
    giveTwo();
    EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(java::call("addServerNative", server), 0); }), 0u);
    for (const Step &step : kStepsFromJava) {
        java::FailingMethod failing(step.method, Failure::call, 2);
        EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(add(), step.status); }), 0u) << step.method;
        EXPECT_NE(java::takeException(), "");
    }
}

// --- To Java ---------------------------------------------------------------------------------------------------------

struct ListenersStatusTest : ListenersTest {
    // The executor's server has the two listeners, and says that there are `count`.
    static void reply(uint16_t count) {
        executor::answer(56, [=](uint8_t *block, uint32_t) {
            Image image(1952, 0);
            expectEntry(image, kEntries[0], kFirst, "0a000001", "1f90");
            expectEntry(image, kEntries[1], kSecond, "c0a80102", "ffff");
            image.word(kEntries[1] + 12, 31).word(kEntries[1] + 16, 41).half(116, count).half(1192, 7);
            memcpy(block + 116, image.bytes.data() + 116, 1952 - 116);
            return 0;
        });
    }

    // As many Java listeners as `count` says, or fewer.
    void hold(int listeners, jint count) {
        again();
        for (int i = 0; i < listeners; ++i)
            addListener({0, 0, 0, "", ""});
        java::setInt(server, "_iNumListeners", count);
    }

    Names ask(int32_t status) const {
        return java::membersLookedUp([&] { EXPECT_EQ(java::call("getServerStatusNative", server), status); });
    }

    // Past the VM, as add().
    [[nodiscard]] jint read() const {
        return NATIVE(getServerStatusNative)(java::env(), nullptr, server);
    }

    [[nodiscard]] Names failToRead() const {
        return java::membersLookedUp([&] { EXPECT_EQ(read(), -78); });
    }

    void expectListener(jint index, const Listener &values) const {
        jobject object = listener(index);
        EXPECT_EQ(java::getInt(object, "_iAddress"), static_cast<jint>(values.address));
        EXPECT_EQ(java::getInt(object, "_iMapPort"), values.mapPort);
        EXPECT_EQ(java::getInt(object, "_iProtocol"), values.protocol);
        EXPECT_EQ(java::getString(object, "_sKeyRing"), values.keyRing);
        EXPECT_EQ(java::getString(object, "_sStashFile"), values.stashFile);
    }

    static std::ptrdiff_t times(const Names &members, const char *name) {
        return std::count(members.begin(), members.end(), name);
    }
};

TEST_F(ListenersStatusTest, ListenersAreReadInOrder) {
    hold(2, 2);
    reply(2);
    const Names entry = {"getListener()",
                         "setAddress()",
                         "_iMapPort",
                         "_iProtocol",
                         "_sKeyRing",
                         "_sStashFile",
                         "setWaitForContinueFromNative()",
                         "setConnectTimeoutFromNative()"};
    Names expected = {"ClusterId", "Port", "iServerIdKey", "_iNumListeners"};
    expected.insert(expected.end(), entry.begin(), entry.end());
    expected.insert(expected.end(), entry.begin(), entry.end());
    expected.emplace_back("_iWeight");
    Names members = ask(0);
    members.resize(expected.size());
    EXPECT_EQ(members, expected);
    expectListener(0, kFirst);
    expectListener(1, kSecond);
    EXPECT_EQ(java::getInt(server, "iConnectTimeout"), 31); // the last entry's
    EXPECT_EQ(java::getInt(server, "iWaitForComplete"), 41);
    EXPECT_EQ(java::getInt(server, "_iWeight"), 7);
}

TEST_F(ListenersStatusTest, CountsThatDiffer) {
    // Java's listeners; the executor's; the status; how often room is asked for; how many listeners are taken.
    const int rows[][5] = {
        {0, 0, 0, 0, 0},   {1, 0, 0, 0, 0},   {2, 0, 0, 0, 0},       {0, 1, 0, 0, 1}, {1, 1, 0, 0, 1},
        {2, 1, 0, 0, 1},   {0, 2, 0, 0, 2},   {1, 2, 0, 1, 2},       {2, 2, 0, 0, 2}, {3, 1, 0, 0, 1},
        {3, 2, -10, 0, 0}, {2, 3, -10, 0, 0}, {2, 65535, -10, 0, 0},
    };
    for (const auto &[javaCount, executorCount, status, roomAsked, taken] : rows) {
        const std::string row = std::to_string(javaCount) + " " + std::to_string(executorCount);
        hold(javaCount, javaCount);
        reply(static_cast<uint16_t>(executorCount));
        const Names members = ask(status);
        EXPECT_EQ(times(members, "addListenersFromNative()"), roomAsked) << row;
        EXPECT_EQ(times(members, "getListener()"), taken) << row;
        EXPECT_EQ(times(members, "setAddress()"), taken) << row;
        EXPECT_EQ(times(members, "_iWeight"), status == 0 ? 1 : 0) << row;
        if (taken > 0)
            expectListener(0, kFirst);
        if (taken > 1)
            expectListener(1, kSecond);
    }
}

TEST_F(ListenersStatusTest, RoomIsMadeForAllThatTheExecutorHas) {
    hold(1, 1);
    reply(2);
    ask(0);
    EXPECT_EQ(java::getInt(server, "_iNumListeners"), 2);
}

TEST_F(ListenersStatusTest, AtMostTwoEntriesAreTaken) {
    for (const uint16_t count : {uint16_t{3}, uint16_t{65535}})
        for (const int held : {0, 1}) {
            hold(held, held);
            reply(count);
            EXPECT_EQ(times(ask(0), "setAddress()"), 2);
            expectListener(0, kFirst);
            expectListener(1, kSecond);
            EXPECT_EQ(java::getInt(server, "_iNumListeners"), 2);
        }
}

TEST_F(ListenersStatusTest, AMethodThatIsMissingOrThrowsEndsTheReading) {
    for (const char *method : {"addListenersFromNative", "getListener", "setAddress", "setWaitForContinueFromNative",
                               "setConnectTimeoutFromNative"})
        for (const Failure failure : {Failure::lookUp, Failure::call}) {
            hold(1, 1);
            reply(2);
            java::FailingMethod failing(method, failure);
            EXPECT_EQ(failToRead().back(), std::string(method) + "()");
            EXPECT_NE(java::takeException().find(method), std::string::npos);
            EXPECT_EQ(java::getInt(server, "_iWeight"), 0) << method;
        }
}

TEST_F(ListenersStatusTest, WhatWasReadBeforeAFailureStays) {
    hold(2, 2);
    reply(2);
    {
        java::FailingMethod failing("getListener", Failure::call, 2);
        EXPECT_EQ(read(), -78);
    }
    EXPECT_EQ(java::takeException(), "java.lang.IllegalStateException: getListener");
    expectListener(0, kFirst);
    expectListener(1, {0, 0, 0, "", ""});
    EXPECT_EQ(java::getInt(server, "iConnectTimeout"), 30);
}

TEST_F(ListenersStatusTest, AListenerThatIsNullEndsTheReading) {
    hold(0, 2);
    reply(2);
    EXPECT_EQ(ask(-78).back(), "getListener()");
    EXPECT_EQ(java::takeException(), "");
}

TEST_F(ListenersStatusTest, AServerThatThrowsIsAskedOnce) {
    server = java::make("rk/tests/ServerWithoutListeners");
    reply(2);
    java::call("getServerStatusNative", server);
    EXPECT_EQ(java::takeException(), "java.lang.IllegalStateException: no listener 0");
    EXPECT_EQ(java::getInt(server, "asked"), 1);
}

TEST_F(ListenersStatusTest, TextsWithoutTerminatorEndWithTheirField) {
    hold(1, 1);
    executor::answer(56, [](uint8_t *block, uint32_t) {
        memset(block + 116, 0, 1952 - 116);
        const Image image = Image(118).half(116, 1);
        memcpy(block + 116, image.bytes.data() + 116, 2);
        memset(block + kEntries[0] + 20, 'x', 512 + 50);
        return 0;
    });
    ask(0);
    EXPECT_EQ(java::getString(listener(0), "_sKeyRing"), std::string(256, 'x'));
    EXPECT_EQ(java::getString(listener(0), "_sStashFile"), std::string(256, 'x'));
}

TEST_F(ListenersStatusTest, EverythingObtainedIsGivenBack) {
    hold(1, 1);
    reply(2);
    EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(java::call("getServerStatusNative", server), 0); }), 0u);
    for (const char *method : {"setAddress", "setWaitForContinueFromNative", "setConnectTimeoutFromNative"}) {
        java::FailingMethod failing(method, Failure::call);
        EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(read(), -78); }), 0u);
        EXPECT_NE(java::takeException(), "");
    }
}

} // namespace
