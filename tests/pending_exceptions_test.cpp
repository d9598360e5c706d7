// Field helpers report nothing: when a Java array is too short or missing, or a string cannot be made, the exception
// stays pending and the method goes on with what follows. That is so on purpose, and seen here on a JNIEnv of our own.
#include "faults/world.h"

#include "library/aliasing/interface_list.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

using fake_java::Object;
using faults::object;

constexpr char kTooShort[] = "java.lang.ArrayIndexOutOfBoundsException: ";
constexpr char kNull[] = "java.lang.NullPointerException: ";

struct PendingExceptionsTest : testing::Test {
    void SetUp() override {
        faults::beginWorld(faults::Mode::user);
        given = object();
        thing = fake_java::objectOf(given);
        fake_java::beginCalls();
    }

    void TearDown() override {
        fake_java::endCalls();
        EXPECT_EQ(fake_java::misuses(), std::vector<std::string>());
    }

    void giveInts(const char *name, const std::vector<jint> &values) const {
        fake_java::setObject(thing, name, "[I", fake_java::newIntArray(values));
    }

    void giveBytes(const char *name, const std::vector<jbyte> &values) const {
        fake_java::setObject(thing, name, "[B", fake_java::newByteArray(values));
    }

    const std::vector<jint> &ints(const char *name) const {
        return fake_java::valueOf(thing, name).object->ints;
    }

    static void expectException(const std::string &beginning) {
        EXPECT_EQ(fake_java::takeException().substr(0, beginning.size()), beginning);
    }

    // These bytes stand in the block that was sent.
    static void expectSent(std::size_t offset, const executor::Bytes &bytes) {
        ASSERT_GE(executor::lastSent().size(), offset + bytes.size());
        const auto first = executor::lastSent().begin() + static_cast<std::ptrdiff_t>(offset);
        EXPECT_EQ(executor::Bytes(first, first + static_cast<std::ptrdiff_t>(bytes.size())), bytes);
    }

    jobject given = nullptr;
    Object *thing = nullptr;
};

// --- Columns of a reply ----------------------------------------------------------------------------------------------

TEST_F(PendingExceptionsTest, HaStatusFillsTheColumnsThatFit) {
    executor::answer(47, [](uint8_t *block, uint32_t length) {
        memset(block + 16, 0x11, length - 16);
        const uint16_t heartbeats = 2;
        memcpy(block + 32, &heartbeats, sizeof(heartbeats));
        return 0;
    });
    giveInts("haLocal_Address", {5});
    giveInts("haStatus", {7, 7});
    EXPECT_EQ(NATIVE(getHAInfoNative)(fake_java::env(), given, given), 0);
    expectException(kTooShort);
    EXPECT_EQ(ints("haLocal_Address"), std::vector<jint>({5}));
    EXPECT_EQ(ints("haStatus"), std::vector<jint>({0x11, 0x11}));
    EXPECT_NE(fake_java::callsWhilePending().count("SetIntArrayRegion"), 0u);
}

TEST_F(PendingExceptionsTest, WeightsFillTheColumnsThatFit) {
    executor::answer(17, [](uint8_t *block, uint32_t length) {
        memset(block + 28, 0, length - 28);
        return 0;
    });
    giveInts("iAddress", {5});
    giveInts("iRC", {7, 7});
    EXPECT_EQ(NATIVE(getServerWeightsNative)(fake_java::env(), given, given, 2), 0);
    expectException(kTooShort);
    EXPECT_EQ(ints("iAddress"), std::vector<jint>({5}));
    EXPECT_EQ(ints("iRC"), std::vector<jint>({0, 0}));
}

TEST_F(PendingExceptionsTest, ResultsOfNewWeightsThatDoNotFitAreNoFailure) {
    giveInts("iRC", {7});
    EXPECT_EQ(NATIVE(setServerWeightsNative)(fake_java::env(), given, given, 2), 0);
    expectException(kTooShort);
    EXPECT_EQ(ints("iRC"), std::vector<jint>({7}));
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({16}));
}

TEST_F(PendingExceptionsTest, AnInterfaceListFillsTheColumnsThatFit) {
    static rk::InterfaceList list;
    list.count = 2;
    giveInts("aiIp", {5});
    giveInts("aiBroadcast", {7, 7});
    EXPECT_EQ(copyInterfaceList(fake_java::env(), nullptr, given, &list), 0);
    expectException(kTooShort);
    EXPECT_EQ(ints("aiIp"), std::vector<jint>({5}));
    EXPECT_EQ(ints("aiBroadcast"), std::vector<jint>({0, 0}));
}

// --- Strings ---------------------------------------------------------------------------------------------------------

TEST_F(PendingExceptionsTest, AStringThatCannotBeMadeLeavesNullAndTheRestFollows) {
    const auto read = [&](int failing) {
        thing->fields.clear();
        fake_java::beginCalls(failing);
        EXPECT_EQ(NATIVE(getExecutorStatusNative)(fake_java::env(), given, given), 0);
    };
    read(0);
    const std::vector<fake_java::Call> calls = fake_java::callsMade();
    int strings = 0;
    for (std::size_t i = 0; i < calls.size(); ++i)
        if (calls[i].function == std::string("NewStringUTF")) {
            read(static_cast<int>(i + 1));
            expectException("java.lang.OutOfMemoryError: ");
            const std::string &name = calls[i + 1].member; // SetObjectField follows
            EXPECT_EQ(fake_java::valueOf(thing, name).object, nullptr) << name;
            EXPECT_EQ(thing->fields.size(), 20u) << name;
            ++strings;
        }
    EXPECT_EQ(strings, 4); // two addresses, two file names
}

// --- Arrays of single settings ---------------------------------------------------------------------------------------

TEST_F(PendingExceptionsTest, ANatAddressThatCannotBeReadIsZeros) {
    for (const bool missing : {true, false}) {
        if (missing)
            fake_java::setObject(thing, "natPtAddress", "[B", nullptr);
        else
            giveBytes("natPtAddress", {1, 2, 3});
        EXPECT_EQ(NATIVE(setClusterStatusNative)(fake_java::env(), given, given), 0);
        expectException(missing ? kNull : kTooShort);
        expectSent(169, {1, 0xEE, 0xEE, 0, 0, 0, 0});
        executor::reset();
    }
}

TEST_F(PendingExceptionsTest, AV6GatewayThatCannotBeReadIsZeros) {
    for (const bool missing : {true, false}) {
        if (missing)
            fake_java::setObject(thing, "v6ClientGateway", "[B", nullptr);
        else
            giveBytes("v6ClientGateway", std::vector<jbyte>(15, 1));
        EXPECT_EQ(NATIVE(setExecutorStatusNative)(fake_java::env(), given, given), 0);
        expectException(missing ? kNull : kTooShort);
        expectSent(672, executor::Bytes(16 + 6, 0)); // the address, and the hardware address behind it
        executor::reset();
    }
}

} // namespace
