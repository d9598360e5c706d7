// Without the identifier of its cluster no request is sent, and that is told last: whatever else is wrong with the
// request has its own status, which comes first.
#include "faults/world.h"
#include "harness/system_calls.h"

#include <gtest/gtest.h>

namespace {

using faults::buffer;
using faults::Number;

constexpr char kStringType[] = "Ljava/lang/String;";
constexpr char kNotAnAddress[] = "1.2.3.256";

struct Text {
    const char *name;
    const char *value; // null: there is none
};

// An object without a cluster identifier, and otherwise good but for these fields.
jobject unnamed(std::initializer_list<Number> numbers = {}, std::initializer_list<Text> texts = {}) {
    fake_java::Object *object = fake_java::objectOf(faults::object(numbers));
    for (const char *identifier : {"ClusterId", "sClusterId", "sClusterID"})
        fake_java::setObject(object, identifier, kStringType, nullptr);
    for (const Text &text : texts)
        fake_java::setObject(object, text.name, kStringType,
                             text.value == nullptr ? nullptr : fake_java::newString(text.value));
    return fake_java::argument(object);
}

using OfObject = jint (*)(JNIEnv *, jobject, jobject);

jint call(OfObject native, jobject object) {
    return native(fake_java::env(), nullptr, object);
}

struct MissingIdentifiersTest : testing::Test {
    void SetUp() override {
        faults::beginWorld(faults::Mode::user);
        fake_java::beginCalls();
    }

    void TearDown() override {
        fake_java::endCalls();
        EXPECT_EQ(fake_java::misuses(), std::vector<std::string>());
        EXPECT_EQ(executor::commandsSent(), std::vector<int32_t>());
        EXPECT_EQ(calls::blocksHeld(), 0);
        calls::reset();
    }
};

TEST_F(MissingIdentifiersTest, OfClusters) {
    EXPECT_EQ(call(NATIVE(addClusterNative), unnamed({}, {{"Address", kNotAnAddress}})), -88);
    EXPECT_EQ(call(NATIVE(setClusterStatusNative), unnamed({}, {{"Address", kNotAnAddress}})), -3);
    EXPECT_EQ(call(NATIVE(setClusterStatusNative), unnamed({{"SetIPAddress", "B", 0}}, {{"Address", kNotAnAddress}})),
              -88);
    for (OfObject native : {NATIVE(setClusterStatusNative), NATIVE(removeClusterNative), NATIVE(getClusterStatusNative),
                            NATIVE(getClusterReportNative)})
        EXPECT_EQ(call(native, unnamed()), -88);
}

TEST_F(MissingIdentifiersTest, OfPorts) {
    EXPECT_EQ(call(NATIVE(removePortNative), unnamed({{"PortNumber", "I", -1}}, {{"ClusterAddress", kNotAnAddress}})),
              -3);
    for (OfObject native : {NATIVE(addPortNative), NATIVE(setPortStatusNative), NATIVE(removePortNative),
                            NATIVE(getPortStatusNative), NATIVE(getPortReportNative), NATIVE(setPortCPSNative)}) {
        EXPECT_EQ(call(native, unnamed({{"PortNumber", "I", -1}})), -10);
        EXPECT_EQ(call(native, unnamed({{"PortNumber", "I", 65536}})), -10);
        EXPECT_EQ(call(native, unnamed()), -99);
    }
    EXPECT_EQ(NATIVE(getPortsListNative)(fake_java::env(), nullptr, nullptr, buffer()), -99);
}

TEST_F(MissingIdentifiersTest, OfServers) {
    for (OfObject native : {NATIVE(addServerNative), NATIVE(setServerStatusNative)}) {
        EXPECT_EQ(call(native, unnamed({{"_iNumListeners", "I", 3}, {"_iWeight", "I", -1}})), -78);
        EXPECT_EQ(call(native, unnamed({{"SetListeners", "B", 0}, {"_iWeight", "I", -1}},
                                       {{"_sReturnAddress", kNotAnAddress}})),
                  -20);
        EXPECT_EQ(call(native, unnamed({{"SetListeners", "B", 0}},
                                       {{"_sReturnAddress", kNotAnAddress}, {"_sRouterAddress", kNotAnAddress}})),
                  -76);
        EXPECT_EQ(call(native, unnamed({{"SetListeners", "B", 0}}, {{"_sRouterAddress", kNotAnAddress}})), -49);
        EXPECT_EQ(call(native, unnamed({{"_iNumListeners", "I", 2}})), -99);
    }
    for (OfObject native : {NATIVE(addServerNative), NATIVE(setServerStatusNative), NATIVE(removeServerNative),
                            NATIVE(setServerUpNative), NATIVE(setServerDownNative), NATIVE(setServerCPSNative),
                            NATIVE(getServerReportNative), NATIVE(getServerStatusNative)}) {
        EXPECT_EQ(call(native, unnamed({{"Port", "I", -1}, {"_iNumListeners", "I", 3}})), -10);
        EXPECT_EQ(call(native, unnamed({{"Port", "I", 65536}, {"_iCPSCount", "I", -1}})), -10);
        EXPECT_EQ(call(native, unnamed({{"SetListeners", "B", 0}})), -99);
    }
    const auto list = [](jint port) {
        auto *keys = static_cast<jintArray>(fake_java::argument(fake_java::newIntArray({1, 2})));
        return NATIVE(getServersListNative)(fake_java::env(), nullptr, nullptr, port, buffer(), keys);
    };
    EXPECT_EQ(list(65536), -10);
    EXPECT_EQ(list(80), -99);
}

TEST_F(MissingIdentifiersTest, OfServersWithAListenerThatCannotBeHad) {
    const auto noListener = [](fake_java::Object *, const std::string &, const std::string &) {
        return [](const fake_java::Arguments &) { return fake_java::Value{}; };
    };
    fake_java::onUnknownMethod(noListener);
    for (OfObject native : {NATIVE(addServerNative), NATIVE(setServerStatusNative)})
        EXPECT_EQ(call(native, unnamed({{"_iNumListeners", "I", 1}})), -17);
}

TEST_F(MissingIdentifiersTest, OfWeights) {
    using OfWeights = jint (*)(JNIEnv *, jobject, jobject, jint);
    const auto ask = [](OfWeights native, jobject weights, jint count = 3, int failing = 0) {
        calls::countAllocations(failing);
        return native(fake_java::env(), nullptr, weights, count);
    };
    for (OfWeights native : {NATIVE(getServerWeightsNative), NATIVE(setServerWeightsNative)}) {
        EXPECT_EQ(ask(native, unnamed({{"iPortNumber", "I", 65536}}), -1), -10);
        EXPECT_EQ(ask(native, unnamed(), -1), -28);
        EXPECT_EQ(ask(native, unnamed(), 3, 1), -28);
        EXPECT_EQ(ask(native, unnamed()), -99);
    }
    EXPECT_EQ(ask(NATIVE(setServerWeightsNative), unnamed(), 3, 2), -28);
}

TEST_F(MissingIdentifiersTest, OfRules) {
    for (OfObject native : {NATIVE(addRuleNative), NATIVE(setRuleStatusNative), NATIVE(removeRuleNative),
                            NATIVE(getRuleStatusNative), NATIVE(getRuleReportNative)}) {
        EXPECT_EQ(call(native, unnamed({{"PortNumber", "I", -1}}, {{"RuleName", nullptr}})), -10);
        EXPECT_EQ(call(native, unnamed({{"PortNumber", "I", 65536}})), -10);
        EXPECT_EQ(call(native, unnamed({{"RuleType", "B", 10}}, {{"RuleName", nullptr}})), -51);
        EXPECT_EQ(call(native, unnamed({{"RuleType", "B", 10}}, {{"RuleName", "twenty-one characters"}})), -51);
        EXPECT_EQ(call(native, unnamed({{"RuleType", "B", 2}})), -99);
    }
    for (OfObject native : {NATIVE(addRuleNative), NATIVE(setRuleStatusNative)}) {
        EXPECT_EQ(call(native, unnamed({{"RuleType", "B", 10}})), -52);
        EXPECT_EQ(call(native, unnamed({{"RuleType", "B", -1}})), -52);
        EXPECT_EQ(call(native, unnamed({{"RuleType", "B", 1}}, {{"AddressBeginRange", kNotAnAddress}})), -53);
        EXPECT_EQ(call(native, unnamed({{"RuleType", "B", 1}}, {{"AddressEndRange", kNotAnAddress}})), -54);
        EXPECT_EQ(call(native, unnamed({{"SetRuleType", "B", 0}})), -99); // the executor is not asked for the type
    }
    EXPECT_EQ(call(NATIVE(setRuleCPSNative), unnamed({{"PortNumber", "I", -1}}, {{"RuleName", nullptr}})), -99);
    const auto list = [](jint port) {
        return NATIVE(getRulesListNative)(fake_java::env(), nullptr, nullptr, port, buffer());
    };
    EXPECT_EQ(list(-1), -10);
    EXPECT_EQ(list(80), -99);
}

TEST_F(MissingIdentifiersTest, OfTheServersOfRules) {
    using OfMembership = jint (*)(JNIEnv *, jobject, jobject, jobject, jint);
    for (OfMembership native : {NATIVE(addServertoRuleNative), NATIVE(removeServerfromRuleNative)}) {
        const auto perform = [=](jobject rule) { return native(fake_java::env(), nullptr, rule, faults::object(), 7); };
        EXPECT_EQ(perform(unnamed({{"PortNumber", "I", 65536}}, {{"RuleName", nullptr}})), -10);
        EXPECT_EQ(perform(unnamed({}, {{"RuleName", nullptr}})), -51);
        EXPECT_EQ(perform(unnamed({}, {{"RuleName", "twenty-one characters"}})), -51);
        EXPECT_EQ(perform(unnamed()), -99);
    }
    const auto list = [](jobject rule, int failing = 0) {
        jobject text = buffer();
        calls::countAllocations(failing);
        return NATIVE(getRuleServersListNative)(fake_java::env(), nullptr, rule, text);
    };
    EXPECT_EQ(list(unnamed({{"PortNumber", "I", 65536}}, {{"RuleName", nullptr}})), -10);
    EXPECT_EQ(list(unnamed({{"NumServers", "I", -1}}, {{"RuleName", nullptr}})), -51);
    EXPECT_EQ(list(unnamed(), 1), -28);
    EXPECT_EQ(list(unnamed(), 2), -28);
    EXPECT_EQ(list(unnamed({{"NumServers", "I", 2147483647}})), -28); // more than a block holds
    EXPECT_EQ(list(unnamed({{"NumServers", "I", -1}})), -99);
    EXPECT_EQ(list(unnamed()), -99);
}

} // namespace
