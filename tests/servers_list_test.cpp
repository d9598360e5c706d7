// The list of the servers of a port, and of their keys.
#include "contract/list_contract.h"

#include <cstring>

namespace {

constexpr std::size_t kEntries = 48;
constexpr std::size_t kStride = 88;

jint ask(jobject list, jstring cluster, jint port, jobject keys) {
    return java::callInt("getServersListNative", "(Ljava/lang/String;ILjava/lang/Object;[I)I", cluster, port, list,
                         keys);
}

const List kList = {
    .method = {"getServersListNative", 31},
    .ask =
        [](jobject list, jstring cluster, jint port) {
            return ask(list, cluster, port, java::makeIntArray({-1, -1, -1, -1}));
        },
    .count =
        [](uint32_t entries) {
            executor::answer(15, executor::reply({{36, entries}}));
        },
    .request = [](uint32_t entries) { return Image(48, 0).word(16, kKeyOfWeb).hex(20, "0050").word(44, entries); },
    .nameAt = kEntries + 8,
    .stride = kStride,
    .width = 80,
    .countAt = 44,
    .believesReply = false,
    .statuses = {{-5, -5},
                 {-1, -12},
                 {-11, -99},
                 {-13, -99},
                 {-36, -99},
                 {0, -99},
                 {-2, -99},
                 {-4, -99},
                 {-6, -99},
                 {1, -99},
                 {5, -99}},
    .report = [] { return Image(72).header(15, 72).word(16, kKeyOfWeb).hex(20, "0050"); },
};

INSTANTIATE_TEST_SUITE_P(Servers, ListContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Servers, ListAfterReportContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Servers, ListOfNamesContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Servers, ListOfClusterContract, testing::Values(kList), kNameOfMethod);
INSTANTIATE_TEST_SUITE_P(Servers, ListOfPortContract, testing::Values(kList), kNameOfMethod);

// --- The keys --------------------------------------------------------------------------------------------------------

struct ServersListTest : ListTest {
    void SetUp() override {
        ListTest::SetUp();
        keys = java::makeIntArray({-1, -1, -1, -1});
    }

    // The port has these servers, with keys from 700 on.
    static void serversOfPort(const Names &identifiers) {
        kList.count(static_cast<uint32_t>(identifiers.size()));
        executor::answer(31, [=](uint8_t *block, uint32_t) {
            for (std::size_t i = 0; i < identifiers.size(); ++i) {
                uint8_t *entry = block + kEntries + kStride * i;
                const uint32_t key = 700 + static_cast<uint32_t>(i);
                memcpy(entry, &key, sizeof(key));
                memcpy(entry + 8, identifiers[i].c_str(), identifiers[i].size() + 1);
            }
            return 0;
        });
    }

    jint askForKeys() {
        return counted([&] { return ask(list, java::makeString("web"), 80, keys); });
    }

    void expectList(const std::string &text, const std::vector<jint> &expected) const {
        EXPECT_EQ(java::text(list), text);
        EXPECT_EQ(java::intsOf(keys), expected);
        EXPECT_EQ(held, 0);
    }

    jobject keys = nullptr;
};

TEST_F(ServersListTest, KeysStandInTheArray) {
    serversOfPort({"s1", "s2", "a b"});
    EXPECT_EQ(askForKeys(), 0);
    expectList("+s1+s2+a b", {700, 701, 702, -1});
}

TEST_F(ServersListTest, NoServersLeaveTheKeysUntouched) {
    serversOfPort({});
    EXPECT_EQ(askForKeys(), 0);
    expectList("", {-1, -1, -1, -1});
}

TEST_F(ServersListTest, AKeyArrayThatIsTooShortIsFilledAsFarAsItReaches) {
    serversOfPort({"s1", "s2", "s3"});
    for (const std::vector<jint> &filled : {std::vector<jint>{700, 701}, {}}) {
        keys = java::makeIntArray(std::vector<jint>(filled.size(), -1));
        list = java::make("java/lang/StringBuffer");
        EXPECT_EQ(askForKeys(), 0);
        expectList("+s1+s2+s3", filled);
    }
}

TEST_F(ServersListTest, AMissingKeyArrayIsNamed) {
    keys = nullptr;
    askForKeys();
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: keys");
    EXPECT_EQ(java::text(list), "");
    EXPECT_TRUE(executor::sent().empty());
}

TEST_F(ServersListTest, ThousandsOfKeys) {
    std::vector<jint> expected;
    for (int i = 0; i < 5000; ++i)
        expected.push_back(700 + i);
    serversOfPort(Names(5000, "s"));
    keys = java::makeIntArray(std::vector<jint>(5000, -1));
    EXPECT_EQ(askForKeys(), 0);
    EXPECT_EQ(java::intsOf(keys), expected);
}

TEST_F(ServersListTest, ATextThatCannotGrowEndsTheKeysWithTheNames) {
    serversOfPort(Names(200, std::string(64, 'x'))); // 65 characters each: 153 fit into 10000
    keys = java::makeIntArray(std::vector<jint>(200, -1));
    failing = 3; // the text's growth
    EXPECT_EQ(askForKeys(), 0);
    EXPECT_EQ(java::text(list).size(), 153u * 65);
    const std::vector<jint> values = java::intsOf(keys);
    EXPECT_EQ(values[152], 700 + 152);
    EXPECT_EQ(values[153], -1);
    EXPECT_EQ(held, 0);
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
        return askForKeys();
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
    kList.count(1);
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
        askForKeys();
    }
    EXPECT_EQ(java::text(list), "+s1+s2");
    EXPECT_EQ(held, 0);
}

} // namespace
