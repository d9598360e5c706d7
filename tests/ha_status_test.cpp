// The state of the high-availability machine, as Java gets it.
#include "harness/record_test.h"

#include "library/native.h"

#include <span>

namespace {

constexpr int kRoom = 32;
constexpr int kElements = 40; // of the Java arrays, to see what stands behind the room
constexpr jint kBefore = 0;   // what they hold at first

using Ints = std::vector<jint>;

// An int field: where the record holds it, what the record holds there, and what Java is to get.
struct Scalar {
    const char *name;
    jint value;
};

// In the order in which the library writes them; the counts are given by the tests.
const Scalar kScalars[] = {{"haFsmMode", static_cast<jint>(0xF1020304)},
                           {"haFsmAddress", static_cast<jint>(0xC0A80102)},
                           {"haRole", 200},
                           {"haStrategy", 201},
                           {"haState", 202},
                           {"haSubstate", 255},
                           {"haPort", 65534},
                           {"haPeer", 203}};

Image reply(int heartbeats, int reachTargets) {
    Image image(1712, 0xAA);
    image.word(16, 0xF1020304).hex(20, "c0a80102").byte(24, 200).byte(26, 201).byte(27, 202).byte(28, 255);
    image.half(30, 65534).half(32, static_cast<uint16_t>(heartbeats)).byte(34, 203);
    image.half(680, static_cast<uint16_t>(reachTargets));
    for (std::size_t i = 0; i < kRoom; ++i) {
        const auto number = static_cast<uint8_t>(i);
        image.hex(36 + 20 * i, "0a000100").byte(39 + 20 * i, number);
        image.hex(40 + 20 * i, "c0000200").byte(43 + 20 * i, number);
        image.byte(50 + 20 * i, static_cast<uint8_t>(200 + i));
    }
    for (std::size_t j = 0; j < kRoom; ++j) {
        const auto number = static_cast<uint8_t>(j);
        image.hex(688 + 32 * j, "0a000200").byte(691 + 32 * j, number);
        image.hex(692 + 32 * j, "ffffff00").byte(695 + 32 * j, number);
        image.byte(696 + 32 * j, static_cast<uint8_t>(100 + j)).byte(697 + 32 * j, static_cast<uint8_t>(150 + j));
        image.byte(698 + 32 * j, static_cast<uint8_t>(220 + j));
        image.word(708 + 32 * j, 0x81020300u + number).word(716 + 32 * j, 0x01020300u + number);
    }
    return image;
}

// An int array: what its element i is to be.
struct Column {
    const char *name;
    uint32_t first;
};

const Column kHeartbeatColumns[] = {
    {"haLocal_Address", 0x0A000100}, {"haRemote_Address", 0xC0000200}, {"haStatus", 200}};
const Column kReachColumns[] = {{"haAddress", 0x0A000200},   {"haMask", 0xFFFFFF00},   {"haType", 100},
                                {"haAddress_status", 150},   {"haRemote_status", 220}, {"haLTimeStamp", 0x81020300},
                                {"haRTimeStamp", 0x01020300}};

struct HaStatusTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        status = java::make("rk/tests/HaStatus");
    }

    jint get() {
        return java::call("getHAInfoNative", status);
    }

    void expectScalars(int heartbeats, int reachTargets) {
        for (const Scalar &scalar : kScalars)
            EXPECT_EQ(java::getInt(status, scalar.name), scalar.value) << scalar.name;
        EXPECT_EQ(java::getInt(status, "haHBCount"), heartbeats);
        EXPECT_EQ(java::getInt(status, "haReachCount"), reachTargets);
    }

    void expectColumns(std::span<const Column> columns, uint32_t count) {
        for (const Column &column : columns) {
            Ints expected(kElements, kBefore);
            for (uint32_t i = 0; i < count; ++i)
                expected[i] = static_cast<jint>(column.first + i);
            EXPECT_EQ(java::getInts(status, column.name), expected) << column.name;
        }
    }

    jobject status = nullptr;
};

TEST_F(HaStatusTest, OnlyTheAddressIsSent) {
    java::setInt(status, "haFsmAddress", static_cast<jint>(0xC0A80005));
    EXPECT_EQ(get(), 0);
    EXPECT_SENT(Image(1712).header(47, 1712).hex(20, "c0a80005"));
    EXPECT_EQ(executor::sent().size(), 1u);
}

TEST_F(HaStatusTest, EveryFieldReachesJava) {
    executor::answer(47, replyImage(reply(2, 3)));
    EXPECT_EQ(get(), 0);
    expectScalars(2, 3);
    expectColumns(kHeartbeatColumns, 2);
    expectColumns(kReachColumns, 3);
}

TEST_F(HaStatusTest, AFullRecordIsReadToItsEnd) {
    executor::answer(47, replyImage(reply(kRoom, kRoom)));
    EXPECT_EQ(get(), 0);
    expectScalars(kRoom, kRoom);
    expectColumns(kHeartbeatColumns, kRoom);
    expectColumns(kReachColumns, kRoom);
    EXPECT_EQ(java::getInts(status, "haStatus")[31], 231);
    EXPECT_EQ(java::getInts(status, "haRTimeStamp")[31], 0x0102031F);
}

TEST_F(HaStatusTest, FieldsAreWrittenInOrderAlsoWithoutEntries) {
    const Names expected = {"haFsmAddress", // read for the request
                            "haFsmMode",        "haFsmAddress",    "haRole",           "haStrategy",
                            "haState",          "haSubstate",      "haPort",           "haHBCount",
                            "haPeer",           "haLocal_Address", "haRemote_Address", "haStatus",
                            "haReachCount",     "haAddress",       "haMask",           "haType",
                            "haAddress_status", "haRemote_status", "haLTimeStamp",     "haRTimeStamp"};
    for (const int entries : {0, kRoom}) {
        executor::reset();
        executor::answer(47, replyImage(reply(entries, entries)));
        EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(get(), 0); }), expected);
    }
}

TEST_F(HaStatusTest, WithoutEntriesArraysStayAndNumbersAreSet) {
    executor::answer(47, replyImage(reply(0, 0)));
    std::vector<std::pair<jint, jint>> regions;
    static std::vector<std::pair<jint, jint>> *seen;
    static const JNINativeInterface_ *below;
    seen = &regions;
    {
        java::PatchedEnv patched;
        below = patched.original;
        patched.functions.SetIntArrayRegion = [](JNIEnv *e, jintArray array, jsize start, jsize count,
                                                 const jint *values) {
            seen->emplace_back(start, count);
            below->SetIntArrayRegion(e, array, start, count, values);
        };
        EXPECT_EQ(get(), 0);
    }
    expectScalars(0, 0);
    expectColumns(kHeartbeatColumns, 0);
    expectColumns(kReachColumns, 0);
    EXPECT_EQ(regions, (std::vector<std::pair<jint, jint>>(10, {0, 0})));
}

TEST_F(HaStatusTest, CountsBeyondTheRoomAreShownAndNotBelieved) {
    for (const int count : {33, 40, 0x8000, 0xFFFF}) {
        executor::reset();
        status = java::make("rk/tests/HaStatus");
        executor::answer(47, replyImage(reply(count, 1)));
        EXPECT_EQ(get(), 0);
        expectScalars(count, 1);
        expectColumns(kHeartbeatColumns, kRoom);
        expectColumns(kReachColumns, 1);

        executor::reset();
        status = java::make("rk/tests/HaStatus");
        executor::answer(47, replyImage(reply(1, count)));
        EXPECT_EQ(get(), 0);
        expectScalars(1, count);
        expectColumns(kHeartbeatColumns, 1);
        expectColumns(kReachColumns, kRoom);
    }
}

TEST_F(HaStatusTest, ARefusalIsReturnedUnchangedAndTouchesNothing) {
    const Image full = reply(kRoom, kRoom);
    for (const int32_t result : {-1, 19, -4711}) {
        executor::reset();
        executor::answer(47, [&](uint8_t *block, uint32_t) {
            memcpy(block + 16, full.bytes.data() + 16, full.bytes.size() - 16);
            return result;
        });
        EXPECT_EQ(java::fieldsLookedUp([&] { EXPECT_EQ(get(), result); }), Names({"haFsmAddress"}));
        for (const Scalar &scalar : kScalars)
            EXPECT_EQ(java::getInt(status, scalar.name), 77) << scalar.name;
        EXPECT_EQ(java::getInt(status, "haHBCount"), 77);
        EXPECT_EQ(java::getInt(status, "haReachCount"), 77);
        expectColumns(kHeartbeatColumns, 0);
        expectColumns(kReachColumns, 0);
    }
}

TEST_F(HaStatusTest, AnArrayThatIsTooShortIsAnExceptionOfJava) {
    java::setObject(status, "haRTimeStamp", "[I", java::makeIntArray({5}));
    executor::answer(47, replyImage(reply(2, 2)));
    EXPECT_EQ(get(), 0);
    EXPECT_NE(java::takeException().find("ArrayIndexOutOfBounds"), std::string::npos);
    EXPECT_EQ(java::getInts(status, "haRTimeStamp"), Ints({5}));
    EXPECT_EQ(java::getInts(status, "haLTimeStamp")[1], static_cast<jint>(0x81020301));
}

TEST_F(HaStatusTest, NothingIsKept) {
    executor::answer(47, replyImage(reply(kRoom, kRoom)));
    EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(get(), 0); }), 0u);
}

TEST_F(HaStatusTest, ANullObjectIsNamed) {
    java::call("getHAInfoNative", nullptr);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: haStatus");
    EXPECT_EQ(NATIVE(getHAInfoNative)(java::env(), nullptr, nullptr), -99);
    java::takeException();
    EXPECT_TRUE(executor::sent().empty());
}

} // namespace
