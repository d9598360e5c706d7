// A record field's type tells the type of its Java field.
#include "harness/library_test.h"

#include "library/shared/settings.h"

namespace {

template <typename Field>
concept HasJavaType = requires(JNIEnv *env, jobject object, Field field) {
    rk::toJava(env, object, "name", field);
};

static_assert(HasJavaType<int8_t> && HasJavaType<uint8_t> && HasJavaType<int16_t> && HasJavaType<uint16_t> &&
              HasJavaType<int32_t> && HasJavaType<uint32_t> && HasJavaType<int64_t> && HasJavaType<rk::SplitInt64> &&
              HasJavaType<rk::NetworkAddress> && HasJavaType<rk::NetworkPort> && HasJavaType<char (&)[20]>);
// These would be promoted, and looked up as a Java type that they are not.
static_assert(!HasJavaType<bool> && !HasJavaType<char> && !HasJavaType<uint64_t> && !HasJavaType<long long> &&
              !HasJavaType<float> && !HasJavaType<double> && !HasJavaType<const char *> && !HasJavaType<rk::Command> &&
              !HasJavaType<uint8_t (&)[4]>);

struct SettingsTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        object = java::make("rk/tests/Members");
    }

    jobject object = nullptr;
};

TEST_F(SettingsTest, SignedBytesAreBytes) {
    for (const int value : {0, 1, 127, -1, -128}) {
        rk::toJava(java::env(), object, "byteField", static_cast<int8_t>(value));
        EXPECT_EQ(java::getByte(object, "byteField"), value);
        int8_t back = 5;
        rk::fromJava(java::env(), object, "byteField", back);
        EXPECT_EQ(back, value);
    }
}

TEST_F(SettingsTest, UnsignedBytesAreChars) {
    for (const int value : {0, 1, 128, 255}) {
        rk::toJava(java::env(), object, "charField", static_cast<uint8_t>(value));
        EXPECT_EQ(java::getChar(object, "charField"), value);
        java::setChar(object, "charField", 0x7F00 + value);
        uint8_t back = 5;
        rk::fromJava(java::env(), object, "charField", back);
        EXPECT_EQ(back, value);
    }
}

TEST_F(SettingsTest, PortsAreIntsInHostOrder) {
    for (const int value : {0, 1, 80, 0x1234, 65535}) {
        rk::toJava(java::env(), object, "intField", rk::toNetworkPort(static_cast<uint16_t>(value)));
        EXPECT_EQ(java::getInt(object, "intField"), value);
        java::setInt(object, "intField", 0x7FFF0000 + value);
        rk::NetworkPort back = {5};
        rk::fromJava(java::env(), object, "intField", back);
        EXPECT_EQ(toHost(back), value);
    }
}

} // namespace
