// The weights of all servers of a port in one exchange.
#include "harness/library_test.h"
#include "harness/servers.h"

#include "library/native.h"

#include <algorithm>
#include <cstring>
#include <numeric>

namespace {

using executor::Image;
using java::Failure;
using Names = std::vector<std::string>;

constexpr char kInts[] = "[I";

std::size_t entryAt(std::size_t i) {
    return 28 + 96 * i;
}

// An exchange about the first `count` servers of the weights object: through Java, and past the VM, which drops the
// status of a call that leaves an exception pending.
struct Method {
    const char *name;
    jint (*native)(JNIEnv *env, jobject interface, jobject weights, jint count);
};

constexpr Method kGet = {"getServerWeightsNative", NATIVE(getServerWeightsNative)};
constexpr Method kSet = {"setServerWeightsNative", NATIVE(setServerWeightsNative)};

jint callThroughJava(const Method &method, jobject weights, jint count) {
    return java::callInt(method.name, "(Ljava/lang/Object;I)I", weights, count);
}

jobject newWeights(jint capacity) {
    JNIEnv *env = java::env();
    jclass type = env->FindClass("com/qel/internet/rk/common/CMNServerWeights");
    jobject weights = env->NewObject(type, env->GetMethodID(type, "<init>", "(I)V"), capacity);
    EXPECT_EQ(java::takeException(), "");
    env->DeleteLocalRef(type);
    java::setString(weights, "sClusterID", "web");
    java::setInt(weights, "iPortNumber", 80);
    return weights;
}

void setInts(jobject weights, const char *name, const std::vector<jint> &values) {
    java::setObject(weights, name, kInts, java::makeIntArray(values));
}

// A block as it is sent for `count` servers, its entries empty.
Image request(int32_t command, std::size_t count) {
    const auto length = static_cast<uint32_t>(entryAt(count));
    Image image(length, 0);
    image.header(command, length).word(16, servers::kKeyOfWeb).hex(20, "0050");
    return image.word(24, static_cast<uint32_t>(count));
}

struct WeightsTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        weights = newWeights(3);
    }

    // The call, with what it allocates counted.
    jint ask(jint count) {
        return counted([&] { return callThroughJava(method, weights, count); });
    }

    // A call that is to leave an exception pending.
    jint askAndThrow(jint count) {
        return counted([&] { return method.native(java::env(), nullptr, weights, count); });
    }

    jint counted(const std::function<jint()> &call) {
        calls::countAllocations(failing);
        const jint status = call();
        held = calls::blocksHeld();
        sizes = calls::allocationSizes();
        calls::countAllocations();
        return status;
    }

    // Calls with every single allocation failing once: each is answered with -28, and keeps no memory.
    int allocationsThatMatter(jint count) {
        failing = 0;
        ask(count);
        const int all = static_cast<int>(sizes.size());
        for (const std::size_t size : sizes)
            EXPECT_GT(size, 0u); // of no memory the system may give null
        for (failing = 1; failing <= all; ++failing) {
            EXPECT_EQ(ask(count), -28) << failing;
            EXPECT_EQ(held, 0) << failing;
        }
        failing = 0;
        return all;
    }

    // What both methods do with bad keys and counts: nothing is sent, nothing is kept.
    void refusesBadRequests() {
        for (const jint port : {-1, 65536, 65536 + 80}) {
            java::setInt(weights, "iPortNumber", port);
            EXPECT_EQ(ask(3), -10) << port;
            EXPECT_EQ(ask(-1), -10) << port; // the port is looked at first
            EXPECT_EQ(held, 0);
        }
        java::setInt(weights, "iPortNumber", 80);
        // The last block would need 2^32 bytes and more, which the length word cannot tell.
        for (const jint count : {-1, -2147483647 - 1, 2147483647, 44739243}) {
            EXPECT_EQ(ask(count), -28) << count;
            EXPECT_TRUE(sizes.empty()) << count;
        }
        failing = 1;
        EXPECT_EQ(ask(44739242), -28); // one fewer can be told; there is no memory for them
        EXPECT_EQ(sizes, std::vector<std::size_t>({4294967260}));
        failing = 0;
        java::setNull(weights, "sClusterID", "Ljava/lang/String;");
        EXPECT_EQ(ask(3), -99);
        EXPECT_EQ(held, 0);
        weights = nullptr;
        EXPECT_EQ(askAndThrow(3), -99);
        EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: weights");
        EXPECT_TRUE(executor::sent().empty());
    }

    void takesPorts(int32_t command) const {
        for (const auto &[port, bytes] : {std::pair(0, "0000"), {65535, "ffff"}, {258, "0102"}}) {
            java::setInt(weights, "iPortNumber", port);
            EXPECT_EQ(callThroughJava(method, weights, 0), 0);
            EXPECT_SENT(request(command, 0).hex(20, bytes));
        }
    }

    void mapsReasons(int32_t command) {
        const int32_t rows[][2] = {{-5, -5},  {-1, -12}, {0, -99},   {1, -99},   {5, -99},   {-2, -99},
                                   {-4, -99}, {-6, -99}, {-11, -99}, {-13, -99}, {-36, -99}, {-99, -99}};
        for (const auto &[reason, status] : rows)
            for (const int32_t result : {-1, 19}) {
                executor::reset();
                executor::answer(command, executor::refuse(reason, result));
                EXPECT_EQ(ask(3), status) << reason;
                EXPECT_EQ(held, 0);
            }
    }

    jobject weights = nullptr;
    Method method = kGet;
    int failing = 0;
    int held = -1;
    std::vector<std::size_t> sizes;
};

// --- Reading ---------------------------------------------------------------------------------------------------------

const Names kFieldsOfReply = {"iAddress", "iWeight", "bFixedWeight", "iTotalConns", "iActiveConns", "iRC"};

struct GetWeightsTest : WeightsTest {
    void SetUp() override {
        WeightsTest::SetUp();
        method = kGet;
    }

    // The executor answers with these servers, each with values of its own.
    static void servers(const Names &identifiers) {
        executor::answer(17, [=](uint8_t *block, uint32_t length) {
            Image image(entryAt(identifiers.size()), 0xAA);
            image.header(17, length).word(16, 0).word(20, 0).word(24, 2147483647); // nobody believes it
            for (std::size_t i = 0; i < identifiers.size(); ++i) {
                const std::size_t entry = entryAt(i);
                const auto number = static_cast<uint32_t>(i);
                image.text(entry + 4, identifiers[i])
                    .hex(entry + 72, "0a0000ff")
                    .byte(entry + 75, static_cast<uint8_t>(number + 1));
                image.half(entry + 78, static_cast<uint16_t>(65535 - number)).word(entry + 80, 100 + number);
                image.word(entry + 84, 200 + number).word(entry + 88, static_cast<uint32_t>(-300) - number);
                image.byte(entry + 92, static_cast<uint8_t>(253 + number));
            }
            memcpy(block, image.bytes.data(), std::min<std::size_t>(length, image.bytes.size()));
            return 0;
        });
    }

    [[nodiscard]] Names identifiers() const {
        JNIEnv *env = java::env();
        const jfieldID field = env->GetFieldID(env->GetObjectClass(weights), "sServerID", "[Ljava/lang/String;");
        auto array = static_cast<jobjectArray>(env->GetObjectField(weights, field));
        Names names;
        for (jsize i = 0; i < env->GetArrayLength(array); ++i) {
            env->PushLocalFrame(8);
            names.push_back(java::text(env->GetObjectArrayElement(array, i)));
            env->PopLocalFrame(nullptr);
        }
        return names;
    }

    void expectUntouched() const {
        for (const std::string &name : kFieldsOfReply)
            if (name == "bFixedWeight")
                EXPECT_EQ(java::getBytes(weights, name.c_str()), std::vector<int>(3, 0));
            else
                EXPECT_EQ(java::getInts(weights, name.c_str()), std::vector<jint>(3, 0)) << name;
    }
};

TEST_F(GetWeightsTest, TheBlockIsSizedForTheServers) {
    for (const jint count : {0, 1, 3}) {
        executor::reset();
        EXPECT_EQ(ask(count), 0);
        EXPECT_SENT(request(17, static_cast<std::size_t>(count)));
        EXPECT_EQ(sizes.front(), entryAt(static_cast<std::size_t>(count)));
        EXPECT_EQ(held, 0);
    }
}

TEST_F(GetWeightsTest, RepliesAreReadIntoTheArraysInOrder) {
    servers({"s1", "s2", "a b"});
    Names expected = {"sClusterID", "iPortNumber", "setServerId()"};
    expected.insert(expected.end(), kFieldsOfReply.begin(), kFieldsOfReply.end());
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(ask(3), 0); }), expected);
    EXPECT_EQ(identifiers(), Names({"s1", "s2", "a b"}));
    EXPECT_EQ(java::getInts(weights, "iAddress"), std::vector<jint>({0x0A000001, 0x0A000002, 0x0A000003}));
    EXPECT_EQ(java::getInts(weights, "iWeight"), std::vector<jint>({-1, -2, -3}));
    EXPECT_EQ(java::getBytes(weights, "bFixedWeight"), std::vector<int>({-3, -2, -1}));
    EXPECT_EQ(java::getInts(weights, "iTotalConns"), std::vector<jint>({100, 101, 102}));
    EXPECT_EQ(java::getInts(weights, "iActiveConns"), std::vector<jint>({200, 201, 202}));
    EXPECT_EQ(java::getInts(weights, "iRC"), std::vector<jint>({-300, -301, -302}));
    EXPECT_EQ(java::getInts(weights, "iServerIdKey"), std::vector<jint>(3, 0)); // is not part of the reply
    EXPECT_EQ(java::getInts(weights, "ucQuiescedDown"), std::vector<jint>(3, 0));
}

TEST_F(GetWeightsTest, OnlyTheServersAskedForAreRead) {
    servers({"s1", "s2", "s3"});
    EXPECT_EQ(ask(2), 0);
    EXPECT_EQ(identifiers(), Names({"s1", "s2", "(null)"}));
    EXPECT_EQ(java::getInts(weights, "iWeight"), std::vector<jint>({-1, -2, 0}));
    EXPECT_EQ(java::getInts(weights, "iRC"), std::vector<jint>({-300, -301, 0}));
    EXPECT_EQ(java::getBytes(weights, "bFixedWeight"), std::vector<int>({-3, -2, 0}));
}

TEST_F(GetWeightsTest, NoServersAreNothingToRead) {
    servers({"s1", "s2", "s3"});
    EXPECT_EQ(ask(0), 0);
    EXPECT_EQ(identifiers(), Names(3, "(null)"));
    expectUntouched();
}

TEST_F(GetWeightsTest, IdentifiersWithoutTerminatorEndWithTheirField) {
    executor::answer(17, [](uint8_t *block, uint32_t length) {
        memset(block + 28, 'x', length - 28);
        return 0;
    });
    EXPECT_EQ(ask(3), 0);
    EXPECT_EQ(identifiers(), Names(3, std::string(68, 'x')));
}

TEST_F(GetWeightsTest, ThousandsOfServers) {
    constexpr jint kMany = 5000;
    weights = newWeights(kMany);
    Names names;
    for (int i = 0; i < kMany; ++i)
        names.push_back("server-" + std::to_string(i));
    servers(names);
    EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(ask(kMany), 0); }), 0u);
    EXPECT_EQ(identifiers(), names);
    EXPECT_EQ(java::getInts(weights, "iTotalConns").back(), 100 + kMany - 1);
    EXPECT_EQ(held, 0);
}

TEST_F(GetWeightsTest, Refusals) {
    refusesBadRequests();
    weights = newWeights(3);
    takesPorts(17);
    mapsReasons(17);
    executor::reset();
    executor::answer(17, executor::refuse(-5));
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(ask(3), -5); }), Names({"sClusterID", "iPortNumber"}));
}

TEST_F(GetWeightsTest, WithoutMemoryNoFieldIsSet) {
    servers({"s1", "s2", "s3"});
    failing = 1;
    EXPECT_EQ(ask(3), -28);
    EXPECT_TRUE(executor::sent().empty());
    failing = 2;
    EXPECT_EQ(ask(3), -28);
    expectUntouched();
    EXPECT_GE(allocationsThatMatter(3), 2);
    EXPECT_GE(allocationsThatMatter(0), 1); // no arrays at all are not a lack of memory
    EXPECT_EQ(ask(0), 0);
}

TEST_F(GetWeightsTest, AnIdentifierThatJavaDoesNotTakeEndsTheReading) {
    servers({"s1", "s2", "s3"});
    for (const Failure failure : {Failure::lookUp, Failure::call}) {
        java::FailingMethod fails("setServerId", failure);
        EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(askAndThrow(3), -99); }), 0u);
        EXPECT_NE(java::takeException().find("setServerId"), std::string::npos);
        EXPECT_EQ(held, 0);
        EXPECT_EQ(identifiers(), Names(3, "(null)"));
        expectUntouched();
    }
    java::FailingMethod fails("setServerId", Failure::call, 2);
    EXPECT_EQ(askAndThrow(3), -99);
    EXPECT_EQ(java::takeException(), "java.lang.IllegalStateException: setServerId");
    EXPECT_EQ(identifiers(), Names({"s1", "(null)", "(null)"}));
    expectUntouched();
}

TEST_F(GetWeightsTest, AnObjectThatIsTooSmallSaysSo) {
    weights = newWeights(2);
    servers({"s1", "s2", "s3"});
    EXPECT_EQ(askAndThrow(3), -99);
    EXPECT_NE(java::takeException().find("ArrayIndexOutOfBounds"), std::string::npos);
    EXPECT_EQ(java::getInts(weights, "iWeight"), std::vector<jint>({0, 0}));
    EXPECT_EQ(held, 0);

    weights = newWeights(3);
    setInts(weights, "iRC", {7, 7}); // one array alone
    EXPECT_EQ(askAndThrow(3), 0);
    EXPECT_NE(java::takeException().find("ArrayIndexOutOfBounds"), std::string::npos);
    EXPECT_EQ(java::getInts(weights, "iRC"), std::vector<jint>({7, 7}));
    EXPECT_EQ(java::getInts(weights, "iWeight"), std::vector<jint>({-1, -2, -3}));
    EXPECT_EQ(held, 0);
}

TEST_F(GetWeightsTest, AStringThatCannotBeMadeEndsTheReading) {
    servers({"s1", "s2", "s3"});
    {
        java::PatchedEnv patched;
        patched.functions.NewStringUTF = [](JNIEnv *, const char *) -> jstring { return nullptr; };
        EXPECT_EQ(ask(3), -99);
    }
    EXPECT_EQ(held, 0);
    EXPECT_EQ(identifiers(), Names(3, "(null)"));
    expectUntouched();
}

// --- Writing ---------------------------------------------------------------------------------------------------------

struct SetWeightsTest : WeightsTest {
    void SetUp() override {
        WeightsTest::SetUp();
        method = kSet;
        give(weights);
    }

    static void give(jobject object) {
        setInts(object, "iServerIdKey", {0x11223344, -1, 0x1B3});
        setInts(object, "iWeight", {70000, -1, 10});
        java::setObject(object, "bFixedWeight", "[B", java::makeByteArray({1, -3, 0}));
        setInts(object, "ucQuiescedDown", {257, -2, 0});
        setInts(object, "iRC", {77, 78, 79});
    }

    static Image given(std::size_t count) {
        Image image = request(16, count);
        const uint32_t keys[] = {0x11223344, 0xFFFFFFFF, 0x1B3};
        const uint16_t low[] = {4464, 65535, 10};
        const uint8_t fixed[] = {1, 0xFD, 0};
        const uint8_t quiesced[] = {1, 0xFE, 0};
        for (std::size_t i = 0; i < count; ++i) {
            image.word(entryAt(i), keys[i]).half(entryAt(i) + 78, low[i]);
            image.byte(entryAt(i) + 92, fixed[i]).byte(entryAt(i) + 93, quiesced[i]);
        }
        return image;
    }

    // The executor's answer: a result for each server, and what it says of the whole command.
    static void results(const std::vector<uint32_t> &values, int32_t reason = 0) {
        executor::answer(16, [=](uint8_t *block, uint32_t length) {
            for (std::size_t i = 0; i < values.size() && entryAt(i) < length; ++i)
                memcpy(block + entryAt(i) + 88, &values[i], sizeof(uint32_t));
            const int32_t count = 2147483647; // nobody believes it
            memcpy(block + 24, &count, sizeof(count));
            return reason == 0 ? 0 : executor::refuse(reason)(block, length);
        });
    }
};

TEST_F(SetWeightsTest, BlocksHoldKeysWeightsAndFlags) {
    for (const jint count : {0, 1, 3}) {
        executor::reset();
        EXPECT_EQ(ask(count), 0);
        EXPECT_SENT(given(static_cast<std::size_t>(count)));
        EXPECT_EQ(sizes.front(), entryAt(static_cast<std::size_t>(count)));
        EXPECT_EQ(held, 0);
    }
}

// Entries are filled some dozens at a time; each is whole, the first and the last of every turn included.
TEST_F(SetWeightsTest, HundredsOfServers) {
    for (const jint count : {63, 64, 65, 128, 1000}) {
        weights = newWeights(count);
        std::vector<jint> keys(static_cast<std::size_t>(count));
        std::iota(keys.begin(), keys.end(), 1000);
        setInts(weights, "iServerIdKey", keys);
        setInts(weights, "iWeight", std::vector<jint>(keys.size(), 10));
        Image expected = request(16, keys.size());
        for (std::size_t i = 0; i < keys.size(); ++i)
            expected.word(entryAt(i), static_cast<uint32_t>(keys[i])).half(entryAt(i) + 78, 10);
        executor::reset();
        EXPECT_EQ(ask(count), 0);
        EXPECT_SENT(expected);
        EXPECT_EQ(java::getInts(weights, "iRC"), std::vector<jint>(keys.size(), 0));
    }
}

TEST_F(SetWeightsTest, FieldsAreReadInOrderAndResultsWritten) {
    results({0, static_cast<uint32_t>(-11), 5});
    EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(ask(3), 0); }),
              Names({"sClusterID", "iPortNumber", "iServerIdKey", "iWeight", "bFixedWeight", "ucQuiescedDown", "iRC"}));
    EXPECT_EQ(java::getInts(weights, "iRC"), std::vector<jint>({0, -11, 5}));
    EXPECT_EQ(java::getInts(weights, "iWeight"), std::vector<jint>({70000, -1, 10})); // stays Java's
}

TEST_F(SetWeightsTest, OnlyTheServersAskedForHaveResults) {
    results({1, 2, 3});
    EXPECT_EQ(ask(2), 0);
    EXPECT_EQ(java::getInts(weights, "iRC"), std::vector<jint>({1, 2, 79}));
    EXPECT_EQ(ask(0), 0);
    EXPECT_EQ(java::getInts(weights, "iRC"), std::vector<jint>({1, 2, 79}));
}

TEST_F(SetWeightsTest, ResultsAreWrittenAlsoWhenTheCommandIsRefused) {
    const int32_t rows[][2] = {{-5, -5}, {-1, -12}, {-36, -99}};
    for (const auto &[reason, status] : rows) {
        executor::reset();
        give(weights);
        results({4, 5, static_cast<uint32_t>(-36)}, reason);
        EXPECT_EQ(ask(3), status);
        EXPECT_EQ(java::getInts(weights, "iRC"), std::vector<jint>({4, 5, -36}));
    }
}

TEST_F(SetWeightsTest, Refusals) {
    refusesBadRequests();
    weights = newWeights(3);
    takesPorts(16);
    mapsReasons(16);
}

TEST_F(SetWeightsTest, WithoutMemory) {
    results({1, 2, 3});
    failing = 1;
    EXPECT_EQ(ask(3), -28);
    failing = 2;
    EXPECT_EQ(ask(3), -28);
    EXPECT_TRUE(executor::sent().empty());
    failing = 3; // the results: the executor has the weights already
    EXPECT_EQ(ask(3), -28);
    EXPECT_SENT(given(3));
    EXPECT_EQ(java::getInts(weights, "iRC"), std::vector<jint>({77, 78, 79}));
    EXPECT_GE(allocationsThatMatter(3), 3);
    EXPECT_GE(allocationsThatMatter(0), 1);
    EXPECT_EQ(ask(0), 0);
}

TEST_F(SetWeightsTest, ArraysThatCannotBeReadSendNothing) {
    for (const char *name : {"iServerIdKey", "iWeight", "bFixedWeight", "ucQuiescedDown"}) {
        const bool bytes = strcmp(name, "bFixedWeight") == 0;
        const char *descriptor = bytes ? "[B" : kInts;
        give(weights);
        java::setNull(weights, name, descriptor);
        EXPECT_EQ(java::membersLookedUp([&] { EXPECT_EQ(askAndThrow(3), -99) << name; }).back(), name);
        EXPECT_EQ(java::takeException(), std::string("java.lang.NullPointerException: ") + name);
        EXPECT_EQ(held, 0);
        java::setObject(weights, name, descriptor, bytes ? java::makeByteArray({1, 1}) : java::makeIntArray({1, 1}));
        EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(askAndThrow(3), -99) << name; }), 0u);
        EXPECT_NE(java::takeException().find("ArrayIndexOutOfBounds"), std::string::npos) << name;
        EXPECT_EQ(held, 0);
        EXPECT_EQ(java::getInts(weights, "iRC"), std::vector<jint>({77, 78, 79}));
        EXPECT_TRUE(executor::sent().empty());
        EXPECT_EQ(ask(2), 0); // for fewer servers it is long enough
        executor::reset();
    }
}

TEST_F(SetWeightsTest, AResultArrayThatIsTooShortSaysSo) {
    results({1, 2, 3});
    setInts(weights, "iRC", {7, 7});
    EXPECT_EQ(java::referencesKept([&] { EXPECT_EQ(askAndThrow(3), 0); }), 0u);
    EXPECT_NE(java::takeException().find("ArrayIndexOutOfBounds"), std::string::npos);
    EXPECT_EQ(java::getInts(weights, "iRC"), std::vector<jint>({7, 7}));
    EXPECT_EQ(held, 0);
}

} // namespace
