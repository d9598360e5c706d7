// Texts to addresses and numbers, and back.
#include "harness/library_test.h"

#include "library/support/CMNImpUtils.h"

#include <arpa/inet.h>
#include <cerrno>

namespace {

using Names = std::vector<std::string>;

struct AddressParsingTest : LibraryTest {};

TEST_F(AddressParsingTest, AcceptsNumericAddresses) {
    for (const char *text : {"1.2.3.4",
                             "0.0.0.0",
                             "255.255.255.255",
                             "10.1",
                             "10.1.2",
                             "1",
                             "4294967295",
                             "99999999999",
                             "0x0A.1.2.3",
                             "0XfF.1",
                             "012.1.1.1",
                             "09.1.1.1",
                             "08",
                             "0x",
                             "0x.1",
                             "0.1",
                             "",
                             "1.2.3",
                             "1.2.65535",
                             "1.16777215",
                             "0x1FFFFFFFF",
                             "255.1.1.255",
                             "0377.1.1.1"})
        EXPECT_EQ(isinet_addr(text), 1) << text;
}

TEST_F(AddressParsingTest, RefusesEverythingElse) {
    for (const char *text :
         {"1..2",       ".1",        "1.",         ".",         "1.2.3.4.5", "1.2.3.4.",   "256.1.1.1",
          "1.256.1.1",  "1.2.256.1", "1.2.3.4x",   "1.2.3.256", "1.2.65536", "1.16777216", "a",
          "1 ",         " 1",        "1.2.3.4 ",   "-1",        "1.-2",      "0xg",        "12a",
          "0x1.2.3.4x", "localhost", "0400.1.1.1", "1.2.3.4\n", "1,2"})
        EXPECT_EQ(isinet_addr(text), 0) << text;
}

TEST_F(AddressParsingTest, PartsWrapAt32Bits) {
    EXPECT_EQ(isinet_addr("4294967297.1"), 1);     // 2^32 + 1 wraps to 1
    EXPECT_EQ(isinet_addr("1.4294967551.1.1"), 1); // 2^32 + 255 wraps to 255
    EXPECT_EQ(isinet_addr("1.4294967552.1.1"), 0); // wraps to 256
    EXPECT_EQ(isinet_addr("1.2.3.4294967296"), 1);
}

TEST_F(AddressParsingTest, ConvertsNumericAddresses) {
    const std::pair<const char *, uint32_t> rows[] = {
        {"10.0.0.5", 0x0A000005},   {"10.1", 0x0A000001},      {"1.2.772", 0x01020304}, {"16909060", 0x01020304},
        {"0x0A.1.2.3", 0x0A010203}, {"012.1.1.1", 0x0A010101}, {"0.0.0.0", 0}};
    for (const auto &[text, expected] : rows) {
        uint32_t address = 0xEEEEEEEE;
        EXPECT_EQ(ip_stol(text, &address), 0) << text;
        EXPECT_EQ(address, htonl(expected)) << text;
    }
    EXPECT_EQ(calls::namesResolved(), Names());
}

TEST_F(AddressParsingTest, RefusesWhatTheSystemsParserRefuses) {
    for (const char *text : {"255.255.255.255", "", "09.1.1.1", "4294967295", "99999999999"}) {
        uint32_t address = 0;
        errno = 0;
        EXPECT_EQ(ip_stol(text, &address), 1) << text;
        EXPECT_EQ(errno, EINVAL) << text;
        EXPECT_EQ(address, 0xFFFFFFFF) << text;
    }
    EXPECT_EQ(calls::namesResolved(), Names());
}

TEST_F(AddressParsingTest, ResolvesOtherTextsAsHostNames) {
    uint32_t address = 0;
    EXPECT_EQ(ip_stol("balancer.example", &address), 0);
    EXPECT_EQ(address, htonl(0xC0000207));
    errno = 0;
    address = 0xEEEEEEEE;
    EXPECT_EQ(ip_stol("absent.example", &address), 1);
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(address, 0xEEEEEEEE);
    EXPECT_EQ(ip_stol("1.2.3.256", &address), 1);
    EXPECT_EQ(calls::namesResolved(), Names({"balancer.example", "absent.example", "1.2.3.256"}));
}

TEST_F(AddressParsingTest, ReadsAddressesFromStringFields) {
    jobject object = java::make("rk/tests/Members");
    uint32_t address = 0;
    java::setString(object, "stringField", "10.0.0.5");
    EXPECT_EQ(JStringFieldToAddr(java::env(), object, "stringField", &address), 0);
    EXPECT_EQ(address, htonl(0x0A000005));
    java::setString(object, "stringField", "absent.example");
    EXPECT_EQ(JStringFieldToAddr(java::env(), object, "stringField", &address), -21);
    EXPECT_EQ(address, htonl(0x0A000005));
}

TEST_F(AddressParsingTest, AStringWithoutCharactersSucceedsAndStoresNothing) {
    jobject object = java::make("rk/tests/Members");
    uint32_t address = 0xEEEEEEEE;
    {
        java::PatchedEnv patched;
        patched.functions.GetStringUTFChars = [](JNIEnv *, jstring, jboolean *) -> const char * { return nullptr; };
        EXPECT_EQ(JStringFieldToAddr(java::env(), object, "stringField", &address), 0);
    }
    java::setNull(object, "stringField", "Ljava/lang/String;");
    EXPECT_EQ(JStringFieldToAddr(java::env(), object, "stringField", &address), 0);
    EXPECT_EQ(address, 0xEEEEEEEE);
}

TEST_F(AddressParsingTest, ReleasesTheCharactersAlsoOnFailure) {
    jobject object = java::make("rk/tests/Members");
    static int held;
    held = 0;
    static const JNINativeInterface_ *original;
    java::PatchedEnv patched;
    original = patched.original;
    patched.functions.GetStringUTFChars = [](JNIEnv *e, jstring s, jboolean *copy) {
        ++held;
        return original->GetStringUTFChars(e, s, copy);
    };
    patched.functions.ReleaseStringUTFChars = [](JNIEnv *e, jstring s, const char *characters) {
        --held;
        original->ReleaseStringUTFChars(e, s, characters);
    };
    uint32_t value = 0;
    EXPECT_EQ(JStringFieldToAddr(java::env(), object, "stringField", &value), -21); // "fifteen"
    EXPECT_EQ(held, 0);
    EXPECT_NE(JStringFieldToHash(java::env(), object, "stringField", &value), nullptr);
    EXPECT_EQ(held, 0);
}

TEST_F(AddressParsingTest, WritesAddressesInMemoryOrder) {
    char text[16];
    EXPECT_EQ(getAddress(htonl(0x0A000001), text), 8);
    EXPECT_STREQ(text, "10.0.0.1");
    EXPECT_EQ(getAddress(0xFFFFFFFF, text), 15);
    EXPECT_STREQ(text, "255.255.255.255");
    EXPECT_EQ(getAddress(htonl(0x80FF0001), text), 11);
    EXPECT_STREQ(text, "128.255.0.1");
}

TEST_F(AddressParsingTest, WritesEveryOctet) {
    for (uint32_t octet = 0; octet < 256; ++octet) {
        const std::string digits = std::to_string(octet);
        const std::string expected = digits + ".0." + digits + ".7";
        char text[17] = "################";
        EXPECT_EQ(getAddress(htonl(octet << 24 | octet << 8 | 7), text), static_cast<int32_t>(expected.size()));
        EXPECT_EQ(text, expected);
        EXPECT_EQ(text[15], '#'); // no more is written than the longest address needs
    }
}

TEST_F(AddressParsingTest, ReadsDecimalNumbers) {
    const std::pair<const char *, int32_t> rows[] = {{"0", 0},   {"7", 7},   {"007", 7},  {"2147483647", 2147483647},
                                                     {"", 0},    {"-5", -1}, {"+5", -1},  {" 5", -1},
                                                     {"5 ", -1}, {"5a", -1}, {"0x5", -1}, {"1.5", -1}};
    for (const auto &[text, expected] : rows)
        EXPECT_EQ(get_number(text), expected) << text;
}

TEST_F(AddressParsingTest, NumbersThatNoIntHoldsAreNone) {
    const std::pair<const char *, int32_t> rows[] = {{"2147483647", 2147483647},
                                                     {"2147483646", 2147483646},
                                                     {"2147483639", 2147483639},
                                                     {"2147483648", -1},
                                                     {"2147483649", -1},
                                                     {"2147483650", -1},
                                                     {"3000000000", -1},
                                                     {"4294967295", -1},
                                                     {"4294967296", -1},
                                                     {"4294967376", -1}, // 2^32 + 80
                                                     {"9999999999", -1},
                                                     {"21474836470", -1},
                                                     {"18446744073709551696", -1}, // 2^64 + 80
                                                     {"99999999999999999999999999", -1}};
    for (const auto &[text, expected] : rows)
        for (const std::size_t zeros : {0u, 1u, 9u, 10u, 11u, 500u})
            EXPECT_EQ(get_number((std::string(zeros, '0') + text).c_str()), expected) << text << ' ' << zeros;
    EXPECT_EQ(get_number(std::string(10000, '0').c_str()), 0);
    EXPECT_EQ(get_number((std::string(10000, '0') + "80x").c_str()), -1);
}

TEST_F(AddressParsingTest, ReadsHexadecimalDigits) {
    const std::string digits = "0123456789abcdef";
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const std::string lower(1, digits[i]);
        const std::string upper(1, static_cast<char>(toupper(digits[i])));
        EXPECT_EQ(hexCharToInt(lower.c_str()), static_cast<int32_t>(i));
        EXPECT_EQ(hexCharToInt(upper.c_str()), static_cast<int32_t>(i));
    }
    for (const char *other : {"", "g", "G", " ", "/", ":", "@", "`", "x"})
        EXPECT_EQ(hexCharToInt(other), 0) << other;
    EXPECT_EQ(hexCharToInt("1f"), 1);
}

TEST_F(AddressParsingTest, ReadsHexadecimalNumbers) {
    const std::pair<const char *, uint32_t> rows[] = {{"ff", 255},
                                                      {"FF", 255},
                                                      {"0x1F", 31},
                                                      {"1G", 16},
                                                      {"", 0},
                                                      {"123456789", 0x23456789},
                                                      {"ffffffff", 0xFFFFFFFF}};
    for (const auto &[text, expected] : rows)
        EXPECT_EQ(hexStringToInt(text), expected) << text;
}

Names tokens(std::string text, char delimiter) {
    Names found;
    char *save = nullptr;
    for (char *token = CMN_szStrtok(text.data(), delimiter, &save); token != nullptr;
         token = CMN_szStrtok(nullptr, delimiter, &save))
        found.emplace_back(token);
    return found;
}

TEST_F(AddressParsingTest, SplitsTokens) {
    EXPECT_EQ(tokens("::a::b", ':'), Names({"a", "b"}));
    EXPECT_EQ(tokens("a", ':'), Names({"a"}));
    EXPECT_EQ(tokens("a:b:", ':'), Names({"a", "b"}));
    EXPECT_EQ(tokens("a b,c", ','), Names({"a b", "c"}));
    EXPECT_EQ(tokens(":::", ':'), Names({""})); // delimiters only: one empty token
    EXPECT_EQ(tokens("", ':'), Names({""}));
}

TEST_F(AddressParsingTest, SplittingIsReentrant) {
    char first[] = "a,b";
    char second[] = "c,d";
    char *saveFirst = nullptr;
    char *saveSecond = nullptr;
    EXPECT_STREQ(CMN_szStrtok(first, ',', &saveFirst), "a");
    EXPECT_STREQ(CMN_szStrtok(second, ',', &saveSecond), "c");
    EXPECT_STREQ(CMN_szStrtok(nullptr, ',', &saveFirst), "b");
    EXPECT_STREQ(CMN_szStrtok(nullptr, ',', &saveSecond), "d");
    EXPECT_EQ(CMN_szStrtok(nullptr, ',', &saveFirst), nullptr);
}

} // namespace
