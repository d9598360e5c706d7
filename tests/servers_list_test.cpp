// The list of the servers of a port, and of their keys.
#include "harness/library_test.h"
#include "harness/servers.h"

#include <cstring>

namespace {

using executor::Image;
using servers::kKeyOfWeb;
using Names = std::vector<std::string>;

std::size_t entryAt(std::size_t i) {
    return 48 + 88 * i;
}

struct ServersListTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        list = java::make("java/lang/StringBuffer");
        keys = java::makeIntArray({-1, -1, -1, -1});
        cluster = java::makeString("web");
    }

    // The port has these servers, with keys from 700 on; the executor says that it has filled `replied` entries.
    static void serversOfPort(const Names &identifiers, uint32_t replied) {
        executor::answer(15, executor::reply({{36, static_cast<uint32_t>(identifiers.size())}}));
        executor::answer(31, [=](uint8_t *block, uint32_t length) {
            for (std::size_t i = 0; i < identifiers.size() && entryAt(i + 1) <= length; ++i) {
                const uint32_t key = 700 + static_cast<uint32_t>(i);
                memcpy(block + entryAt(i), &key, sizeof(key));
                memcpy(block + entryAt(i) + 8, identifiers[i].c_str(),
                       std::min<std::size_t>(identifiers[i].size() + 1, 80));
            }
            memcpy(block + 44, &replied, sizeof(replied));
            return 0;
        });
    }

    static void serversOfPort(const Names &identifiers) {
        serversOfPort(identifiers, static_cast<uint32_t>(identifiers.size()));
    }

    jint ask(jint port = 80) {
        calls::countAllocations(failing);
        const jint status = java::callInt("getServersListNative", "(Ljava/lang/String;ILjava/lang/Object;[I)I", cluster,
                                          port, list, keys);
        held = calls::blocksHeld();
        sizes = calls::allocationSizes();
        calls::countAllocations();
        return status;
    }

    void expectNothingListed() const {
        EXPECT_EQ(java::text(list), "");
        EXPECT_EQ(java::intsOf(keys), std::vector<jint>(4, -1));
        EXPECT_EQ(held, 0);
    }

    jobject list = nullptr;
    jobject keys = nullptr;
    jobject cluster = nullptr;
    int failing = 0;
    int held = -1;
    std::vector<std::size_t> sizes;
};

TEST_F(ServersListTest, NamesFollowOneAnotherEachLedByAPlusAndKeysStandInTheArray) {
    serversOfPort({"s1", "s2", "a b"});
    EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(ask(), 0); }), 0u);
    EXPECT_EQ(java::text(list), "+s1+s2+a b");
    EXPECT_EQ(java::intsOf(keys), std::vector<jint>({700, 701, 702, -1}));
    EXPECT_EQ(held, 0);
}

TEST_F(ServersListTest, AsksThePortForItsServersFirst) {
    serversOfPort({"s1", "s2", "s3"});
    EXPECT_EQ(ask(258), 0);
    ASSERT_EQ(executor::commandsSent(), std::vector<int32_t>({15, 31}));
    EXPECT_EQ(executor::dump(executor::sent()[0]),
              executor::dump(Image(72).header(15, 72).word(16, kKeyOfWeb).hex(20, "0102").bytes));
    const auto length = static_cast<uint32_t>(entryAt(3));
    EXPECT_SENT(Image(length, 0).header(31, length).word(16, kKeyOfWeb).hex(20, "0102").word(44, 3));
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, length}));
}

TEST_F(ServersListTest, AppendsToWhatTheBufferHolds) {
    serversOfPort({"s1"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+s1+s1");
}

TEST_F(ServersListTest, NoServersGiveTheEmptyTextAndUntouchedKeys) {
    serversOfPort({});
    EXPECT_EQ(ask(), 0);
    EXPECT_SENT(Image(48, 0).header(31, 48).word(16, kKeyOfWeb).hex(20, "0050").word(44, 0));
    expectNothingListed();
}

TEST_F(ServersListTest, TheReportsNumberOfServersCountsNotTheRepliesOne) {
    for (const uint32_t replied : {0u, 2u, 4u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        executor::reset();
        list = java::make("java/lang/StringBuffer");
        serversOfPort({"s1", "s2", "s3"}, replied);
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(java::text(list), "+s1+s2+s3") << replied;
        EXPECT_EQ(java::intsOf(keys), std::vector<jint>({700, 701, 702, -1}));
    }
}

TEST_F(ServersListTest, AKeyArrayThatIsTooShortIsFilledAsFarAsItReaches) {
    serversOfPort({"s1", "s2", "s3"});
    for (const std::vector<jint> &filled : {std::vector<jint>{700, 701}, {}}) {
        keys = java::makeIntArray(std::vector<jint>(filled.size(), -1));
        list = java::make("java/lang/StringBuffer");
        EXPECT_EQ(ask(), 0);
        EXPECT_EQ(java::text(list), "+s1+s2+s3");
        EXPECT_EQ(java::intsOf(keys), filled);
    }
}

// --- How the keys reach Java -----------------------------------------------------------------------------------------

struct Elements {
    jint values[4];
    jboolean copied;
    int released;
    jint mode;
};

Elements elements;

struct KeyArrayTest : ServersListTest {
    // The VM hands out these elements, copied or not.
    jint askWith(jboolean copied) {
        elements = {{-1, -1, -1, -1}, copied, 0, 99};
        java::PatchedEnv patched;
        patched.functions.GetIntArrayElements = [](JNIEnv *, jintArray, jboolean *isCopy) -> jint * {
            if (isCopy != nullptr)
                *isCopy = elements.copied;
            return elements.values;
        };
        patched.functions.ReleaseIntArrayElements = [](JNIEnv *, jintArray, jint *values, jint mode) {
            EXPECT_EQ(values, elements.values);
            ++elements.released;
            elements.mode = mode;
        };
        return ask();
    }
};

TEST_F(KeyArrayTest, ACopyIsHandedBack) {
    serversOfPort({"s1", "s2", "s3"});
    EXPECT_EQ(askWith(JNI_TRUE), 0);
    EXPECT_EQ(std::vector<jint>(elements.values, elements.values + 4), std::vector<jint>({700, 701, 702, -1}));
    EXPECT_EQ(elements.released, 1);
    EXPECT_EQ(elements.mode, 0);
}

TEST_F(KeyArrayTest, TheArrayItselfIsNotReleased) {
    serversOfPort({"s1", "s2", "s3"});
    EXPECT_EQ(askWith(JNI_FALSE), 0);
    EXPECT_EQ(std::vector<jint>(elements.values, elements.values + 4), std::vector<jint>({700, 701, 702, -1}));
    EXPECT_EQ(elements.released, 0);
}

TEST_F(KeyArrayTest, AFailedListDoesNotTouchTheArray) {
    serversOfPort({"s1"});
    executor::reset();
    executor::answer(15, executor::reply({{36, 1}}));
    executor::answer(31, executor::refuse(-5));
    EXPECT_EQ(askWith(JNI_TRUE), -5);
    EXPECT_EQ(elements.values[0], -1);
    EXPECT_EQ(elements.released, 0);
}

TEST_F(KeyArrayTest, WithoutElementsTheNamesAreListedAllTheSame) {
    serversOfPort({"s1", "s2"});
    {
        java::PatchedEnv patched;
        patched.functions.GetIntArrayElements = [](JNIEnv *, jintArray, jboolean *) -> jint * { return nullptr; };
        ask();
    }
    EXPECT_EQ(java::text(list), "+s1+s2");
    EXPECT_EQ(held, 0);
}

// --- Refusals and shortage -------------------------------------------------------------------------------------------

TEST_F(ServersListTest, PortsAre16Bits) {
    for (const jint port : {-1, 65536, 65536 + 80, -2147483647 - 1}) {
        EXPECT_EQ(ask(port), -10) << port;
        expectNothingListed();
    }
    EXPECT_TRUE(executor::sent().empty());
    serversOfPort({"s1"});
    EXPECT_EQ(ask(0), 0);
    EXPECT_EQ(ask(65535), 0);
}

TEST_F(ServersListTest, NullsAreNamedOrRefused) {
    serversOfPort({"s1"});
    cluster = nullptr;
    EXPECT_EQ(ask(), -99);
    expectNothingListed();
    cluster = java::makeString("web");
    jobject given = keys;
    keys = nullptr;
    ask();
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: keys");
    EXPECT_EQ(java::text(list), "");
    keys = given;
    list = nullptr;
    ask();
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: list");
    EXPECT_EQ(held, 0);
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ServersListTest, AFailedReportIsReturnedAsItComes) {
    for (const int32_t result : {-1, 17, -2}) {
        executor::reset();
        executor::answer(15, executor::refuse(-5, result));
        EXPECT_EQ(ask(), result);
        EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({15}));
        expectNothingListed();
    }
}

TEST_F(ServersListTest, ReasonsOfAFailedListBecomeStatuses) {
    const int32_t rows[][2] = {{-5, -5},  {-1, -12}, {-11, -99}, {-13, -99}, {-36, -99}, {0, -99},
                               {-2, -99}, {-4, -99}, {-6, -99},  {1, -99},   {5, -99}};
    for (const auto &[reason, status] : rows)
        for (const int32_t result : {-1, 19}) {
            executor::reset();
            executor::answer(15, executor::reply({{36, 1}}));
            executor::answer(31, executor::refuse(reason, result));
            EXPECT_EQ(ask(), status) << reason;
            expectNothingListed();
        }
}

TEST_F(ServersListTest, AnImpossibleNumberOfServersIsOutOfMemory) {
    for (const uint32_t count : {0xFFFFFFFFu, 0x80000000u, 0x7FFFFFFFu, 48806446u}) { // the last: 2^32 bytes
        executor::reset();
        executor::answer(15, executor::reply({{36, count}}));
        EXPECT_EQ(ask(), -28) << count;
        EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({15}));
        EXPECT_EQ(sizes, std::vector<std::size_t>({10000}));
        expectNothingListed();
    }
    executor::reset();
    executor::answer(15, executor::reply({{36, 48806445}}));
    failing = 2;
    EXPECT_EQ(ask(), -28);
    EXPECT_EQ(sizes, std::vector<std::size_t>({10000, 4294967208}));
}

TEST_F(ServersListTest, WithoutMemory) {
    serversOfPort({"s1"});
    failing = 1; // the text
    EXPECT_EQ(ask(), -28);
    EXPECT_TRUE(executor::sent().empty());
    expectNothingListed();
    failing = 2; // the block
    EXPECT_EQ(ask(), -28);
    EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>({15}));
    expectNothingListed();
}

TEST_F(ServersListTest, NamesWithoutTerminatorEndWithTheirEntry) {
    const std::string name(80, 'n');
    serversOfPort({name, "s2"});
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), "+" + name + "+s2");
}

TEST_F(ServersListTest, ALongListGrowsTheText) {
    Names identifiers;
    std::string expected;
    std::vector<jint> expectedKeys;
    for (int i = 0; i < 5000; ++i) {
        identifiers.push_back("server-number-" + std::to_string(i));
        expected += "+" + identifiers.back();
        expectedKeys.push_back(700 + i);
    }
    serversOfPort(identifiers);
    keys = java::makeIntArray(std::vector<jint>(5000, -1));
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list), expected);
    EXPECT_EQ(java::intsOf(keys), expectedKeys);
    EXPECT_EQ(held, 0);
}

TEST_F(ServersListTest, ATextThatCannotGrowEndsNamesAndKeysThere) {
    serversOfPort(Names(200, std::string(64, 'x'))); // 65 characters each: 153 fit into 10000
    keys = java::makeIntArray(std::vector<jint>(200, -1));
    failing = 3; // the text's growth
    EXPECT_EQ(ask(), 0);
    EXPECT_EQ(java::text(list).size(), 153u * 65);
    const std::vector<jint> values = java::intsOf(keys);
    EXPECT_EQ(values[152], 700 + 152);
    EXPECT_EQ(values[153], -1);
    EXPECT_EQ(held, 0);
}

} // namespace
