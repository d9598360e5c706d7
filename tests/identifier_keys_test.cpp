// Identifiers as 32-bit keys.
#include "harness/library_test.h"

#include "library/support/CMNImpUtils.h"

#include <cstring>

namespace {

struct IdentifierKeysTest : LibraryTest {};

const int32_t kFlagAtStart = iClusterIdKeyIsIp;

uint32_t keyOf(std::string text) {
    uint32_t key = 0;
    makeHashResult(text.data(), &key);
    return key;
}

uint8_t upperCase(char character) {
    return static_cast<uint8_t>(character >= 'a' && character <= 'z' ? character - 32 : character);
}

// The key written out step by step: what a byte contributes at each place.
uint32_t keyByHand(const std::string &text) {
    uint64_t key = 0xFFFFFFFF;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t place = i % 64;
        if (place >= 32)
            continue;
        const uint8_t current = upperCase(text[i]);
        const uint8_t next = i + 1 < text.size() ? upperCase(text[i + 1]) : uint8_t{0};
        uint64_t rotated = 0;
        if (place <= 8)
            for (unsigned bit = 0; bit < 8; ++bit)
                if ((current >> ((bit + place) % 8) & 1) != 0)
                    rotated |= 1u << bit;
        key += (rotated + next) << place;
    }
    return static_cast<uint32_t>(key);
}

TEST_F(IdentifierKeysTest, RotatesWithinTheByte) {
    const uint8_t value = 0b10010110;
    const uint8_t expected[] = {0b10010110, 0b01001011, 0b10100101, 0b11010010, 0b01101001,
                                0b10110100, 0b01011010, 0b00101101, 0b10010110};
    for (uint32_t count = 0; count <= 8; ++count)
        EXPECT_EQ(bitrotate(value, count), expected[count]) << count;
    for (uint32_t count = 9; count < 64; ++count)
        EXPECT_EQ(bitrotate(0xFF, count), 0) << count;
    for (uint32_t count = 0; count < 64; ++count)
        EXPECT_EQ(bitrotate(value, count + 64), bitrotate(value, count)) << count;
}

TEST_F(IdentifierKeysTest, KnownKeys) {
    EXPECT_EQ(keyOf(""), 0xFFFFFFFF);
    EXPECT_EQ(keyOf("AB"), 0xC4u);
    EXPECT_EQ(keyOf("A"), 0x40u); // 0xFFFFFFFF + 0x41
}

TEST_F(IdentifierKeysTest, CaseDoesNotMatterAndTheTextIsUpperCased) {
    EXPECT_EQ(keyOf("abc"), keyOf("ABC"));
    EXPECT_EQ(keyOf("Web-Farm.1"), keyOf("wEB-fARM.1"));
    char text[] = "Web-farm_1";
    uint32_t key = 0;
    makeHashResult(text, &key);
    EXPECT_STREQ(text, "WEB-FARM_1");
}

TEST_F(IdentifierKeysTest, KeysFollowTheArithmeticAtEveryLength) {
    std::string text;
    for (int i = 0; i < 200; ++i) {
        EXPECT_EQ(keyOf(text), keyByHand(text)) << text;
        text += static_cast<char>(' ' + (i * 37) % 95);
    }
}

TEST_F(IdentifierKeysTest, BytesAbove127AreUnsigned) {
    EXPECT_EQ(keyOf("\xC3\xA9"), keyByHand("\xC3\xA9"));
    EXPECT_EQ(keyOf("\xFF"), 0xFEu);
}

TEST_F(IdentifierKeysTest, PlacesFrom32To63AddNothing) {
    std::string text(65, 'X');
    const uint32_t key = keyOf(text);
    for (std::size_t i = 33; i < 64; ++i) {
        std::string other = text;
        other[i] = 'Y';
        EXPECT_EQ(keyOf(other), key) << i;
    }
    text[64] = 'Y'; // place 0 again
    EXPECT_NE(keyOf(text), key);
}

TEST_F(IdentifierKeysTest, FromPlace9OnOnlyTheNextCharacterCounts) {
    const std::string text(20, 'X');
    std::string other = text;
    other[9] = 'Y'; // counts as the character after place 8
    EXPECT_EQ(keyOf(other) - keyOf(text), 1u << 8);
    other = text;
    other[15] = 'Y'; // counts as the character after place 14, by its own place no more
    EXPECT_EQ(keyOf(other) - keyOf(text), 1u << 14);
}

TEST_F(IdentifierKeysTest, AddressesThatAreAlikeMayHaveOneKey) {
    EXPECT_EQ(keyByHand("10.0.0.103"), keyByHand("10.0.0.120"));
    EXPECT_EQ(keyOf("10.0.0.103"), keyOf("10.0.0.120"));
}

TEST_F(IdentifierKeysTest, FieldsAndTheExportGiveTheSameKey) {
    jobject object = java::make("rk/tests/Members");
    java::setString(object, "stringField", "Web-Farm");
    uint32_t key = 0;
    EXPECT_NE(JStringFieldToHash(java::env(), object, "stringField", &key), nullptr);
    EXPECT_EQ(key, keyOf("WEB-FARM"));
    EXPECT_EQ(java::getString(object, "stringField"), "Web-Farm"); // Java's own text is not touched
    EXPECT_EQ(java::callInt("calcClusterIdKeyNative", "(Ljava/lang/String;Ljava/lang/String;)I",
                            java::makeString("Web-Farm"), java::makeString("anything")),
              static_cast<jint>(key));
}

TEST_F(IdentifierKeysTest, WithoutCharactersThereIsNoKey) {
    jobject object = java::make("rk/tests/Members");
    uint32_t key = 0xEEEEEEEE;
    {
        java::PatchedEnv patched;
        patched.functions.GetStringUTFChars = [](JNIEnv *, jstring, jboolean *) -> const char * { return nullptr; };
        EXPECT_EQ(JStringFieldToHash(java::env(), object, "stringField", &key), nullptr);
    }
    java::setNull(object, "stringField", "Ljava/lang/String;");
    EXPECT_EQ(JStringFieldToHash(java::env(), object, "stringField", &key), nullptr);
    EXPECT_EQ(key, 0xEEEEEEEE);
}

TEST_F(IdentifierKeysTest, TheSecondStringHasNoPartInTheKey) {
    const char *descriptor = "(Ljava/lang/String;Ljava/lang/String;)I";
    EXPECT_EQ(java::callInt("calcClusterIdKeyNative", descriptor, java::makeString("AB"), nullptr), 0xC4);
    EXPECT_EQ(java::callInt("calcClusterIdKeyNative", descriptor, java::makeString(""), java::makeString("x")), -1);
    EXPECT_EQ(java::callInt("calcClusterIdKeyNative", descriptor, nullptr, nullptr), -1);
}

TEST_F(IdentifierKeysTest, TheAddressFlagIsKeptAndChangesNoKey) {
    EXPECT_EQ(kFlagAtStart, 0);
    for (const jint flag : {1, -5, 0}) {
        java::callVoid("setKeyIsIpAddrNative", "(I)V", flag);
        EXPECT_EQ(iClusterIdKeyIsIp, flag);
        EXPECT_EQ(java::callInt("calcClusterIdKeyNative", "(Ljava/lang/String;Ljava/lang/String;)I",
                                java::makeString("AB"), nullptr),
                  0xC4);
    }
}

TEST_F(IdentifierKeysTest, TheTableIsBuiltOnceAndUndoneByASecondRun) {
    EXPECT_EQ(bCRCTableInited, 0);
    EXPECT_EQ(initCRCTable(), 0);
    EXPECT_EQ(bCRCTableInited, 1);
    const uint16_t first[] = {0x0000, 0xC0C1, 0xC181, 0x0140, 0xC301, 0x03C0, 0x0280, 0xC241};
    for (std::size_t i = 0; i < 8; ++i)
        EXPECT_EQ(prv_ausCRCTable[i], first[i]) << i;
    for (uint32_t value = 0; value < 256; ++value) { // the reflected polynomial 0xA001, bit by bit
        uint32_t crc = value;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? (crc >> 1) ^ 0xA001 : crc >> 1;
        EXPECT_EQ(prv_ausCRCTable[value], crc) << value;
    }
    EXPECT_EQ(keyOf("AB"), 0xC4u);
    EXPECT_EQ(initCRCTable(), 0);
    for (uint32_t value = 0; value < 256; ++value)
        EXPECT_EQ(prv_ausCRCTable[value], 0) << value;
}

} // namespace
