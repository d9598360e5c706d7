// Executor, clusters, ports, servers, weights, rules.
#include "faults/scenario.h"

#include <cstring>

namespace faults {

namespace {

// Gives this word of the reply to a command.
std::function<void()> replies(int32_t command, std::size_t offset, uint32_t value) {
    return [=] { executor::answer(command, executor::reply({{offset, value}})); };
}

// Tells a number of entries, then lists that many names of 64 characters.
std::function<void()> longNames(int32_t report, std::size_t offset, uint32_t count, int32_t list, std::size_t head,
                                std::size_t stride) {
    return [=] {
        executor::answer(report, executor::reply({{offset, count}}));
        executor::answer(list, [=](uint8_t *block, uint32_t) {
            for (uint32_t i = 0; i < count; ++i)
                memset(block + head + i * stride, 'n', 64);
            return 0;
        });
    };
}

// Cluster and port by name, as everything below a port has them.
Stops noCluster(const Outcome &outcome) {
    return noText("ClusterId", outcome);
}

const std::vector<Scenario> kExecutor = {
    {RK_CALL(setExecutorStatusNative, object()), .outcome = {"0", {2}}, .refused = {"raw"}},
    {RK_CALL(getExecutorStatusNative, object()), .outcome = {"0", {1}}, .refused = {"raw"}},
    {RK_CALL(getExecutorReportNative, object()), .outcome = {"0", {3}}, .refused = {"raw"}},
    {RK_CALL(setExecutorCPSNative, object()), .outcome = {"0", {71}}, .refused = {"raw"}},
};

const Stops kNoCluster = noText("sClusterId", {"-88", {}}, 1, 1);

const std::vector<Scenario> kClusters = {
    {RK_CALL(addClusterNative, object()), .outcome = {"0", {4}}, .refused = {"-5"},
     .stops = noText("sClusterId", {"-88", {}}, 1, 2)},
    {RK_CALL(setClusterStatusNative, object()), .outcome = {"0", {8}}, .refused = {"-5"}, .stops = kNoCluster},
    {RK_CALL(removeClusterNative, object()), .outcome = {"0", {5}}, .refused = {"-5"}, .stops = kNoCluster},
    {RK_CALL(getClusterStatusNative, object()), .outcome = {"0", {7}}, .refused = {"-5"}, .stops = kNoCluster},
    {RK_CALL(getClusterReportNative, object()), .outcome = {"0", {9}}, .refused = {"-5"}, .stops = kNoCluster},
    {RK_CALL(setClusterCPSNative, object()), .outcome = {"0", {72}}, .refused = {"raw"}},
    {RK_CALL(getClustersListNative, buffer()), .outcome = {"0", {3, 6}}, .refused = {"raw", "-99"},
     .allocations = {{"-28", {}}, {"-28", {3}}}, .prepare = replies(3, 220, 3)},
    {RK_CALL(getClustersListNative, buffer()), .outcome = {"0", {3, 6}}, .refused = {"raw", "-99"},
     .allocations = {{"-28", {}}, {"-28", {3}}, {"0", {3, 6}}}, .prepare = longNames(3, 220, 200, 6, 20, 72)},
};

const std::vector<Scenario> kPorts = {
    {RK_CALL(addPortNative, object()), .outcome = {"0", {10}}, .refused = {"-5"}, .stops = noCluster({"-99", {}})},
    {RK_CALL(addPortNative, object()), .outcome = {"-28", {10, 10, 10}}, .refused = {"-5", "-28", "-28"},
     .stops = noCluster({"-99", {}}), .prepare = [] { executor::answer(10, executor::refuse(-2)); }},
    {RK_CALL(setPortStatusNative, object()), .outcome = {"0", {14}}, .refused = {"-5"},
     .stops = noCluster({"-99", {}})},
    {RK_CALL(removePortNative, object()), .outcome = {"0", {11}}, .refused = {"-5"}, .stops = noCluster({"-99", {}})},
    {RK_CALL(getPortStatusNative, object()), .outcome = {"0", {13}}, .refused = {"-5"},
     .stops = noCluster({"-99", {}})},
    {RK_CALL(getPortReportNative, object()), .outcome = {"0", {15}}, .refused = {"-5"},
     .stops = noCluster({"-99", {}})},
    {RK_CALL(setPortCPSNative, object()), .outcome = {"0", {80}}, .refused = {"raw"}, .stops = noCluster({"-99", {}})},
    {RK_CALL(getPortsListNative, string("web"), buffer()), .outcome = {"0", {9, 12}}, .refused = {"raw", "-5"},
     .stops = {{"GetStringUTFChars", "string", 1, 1, Leaving::either, {"-99", {}}}},
     .allocations = {{"-28", {}}, {"-28", {9}}}, .prepare = replies(9, 24, 3)},
};

const Outcome kNoServerCluster = {"-99", {}};

// What two listeners ask of Java on the way to the executor. Their texts are as good as empty when they are null.
Stops noListener() {
    const Outcome none = {"-17", {}};
    const Outcome bad = {"-78", {}};
    Stops stops = noMethod("getListener", "CallObjectMethod", none) + noMethod("getIntAddress", "CallIntMethod", none);
    stops.push_back({"CallObjectMethod", "getListener", 1, 99, Leaving::nothing, none});
    for (const char *member : {"getMapPort", "getProtocol", "getConnectTimeout", "getIntWaitForComplete"})
        stops = stops + noMethod(member, "CallIntMethod", bad);
    for (const char *member : {"getKeyRing", "getStashFile"})
        stops = stops + noMethod(member, "CallObjectMethod", bad);
    return stops;
}

// Without a flag or a number of listeners there are none. Without a cluster the request goes on to be checked, but with
// an exception pending, the first listener cannot be had.
Stops noServer(int32_t command) {
    Stops stops =
        noField("SetListeners", {"0", {command}}) + noField("_iNumListeners", {"0", {command}}) + noListener();
    for (const char *function : {"GetFieldID", "GetStringUTFChars"})
        stops.push_back({function, "ClusterId", 1, 1, Leaving::nothing, kNoServerCluster});
    return stops;
}

// What the executor's listeners ask of Java on the way back.
Stops noListenerToJava() {
    const Outcome bad = {"-78", {56}};
    Stops stops = noMethod("getListener", "CallObjectMethod", bad);
    stops.push_back({"CallObjectMethod", "getListener", 1, 99, Leaving::nothing, bad});
    for (const char *member :
         {"addListenersFromNative", "setAddress", "setWaitForContinueFromNative", "setConnectTimeoutFromNative"})
        stops = stops + noMethod(member, "CallVoidMethod", bad);
    return stops;
}

const std::vector<Scenario> kServers = {
    {RK_CALL(addServerNative, object({{"_iNumListeners", "I", 2}})), .outcome = {"0", {27}}, .refused = {"-5"},
     .stops = noServer(27) + noText("sServerID", {"-80", {}})},
    {RK_CALL(setServerStatusNative, object({{"_iNumListeners", "I", 2}})), .outcome = {"0", {32}}, .refused = {"-5"},
     .stops = noServer(32)},
    {RK_CALL(setServerStatusNative, object({{"SetListeners", "B", 0}, {"SetRouterAddress", "B", 0}})),
     .outcome = {"0", {32}}, .refused = {"-5"}, .stops = noCluster(kNoServerCluster)},
    {RK_CALL(removeServerNative, object()), .outcome = {"0", {28}}, .refused = {"-5"}, .stops = noCluster({"-99", {}})},
    {RK_CALL(setServerUpNative, object()), .outcome = {"0", {30}}, .refused = {"-5"}, .stops = noCluster({"-99", {}})},
    {RK_CALL(setServerDownNative, object()), .outcome = {"0", {29}}, .refused = {"-5"},
     .stops = noCluster({"-99", {}})},
    {RK_CALL(setHostDownNative, object()), .outcome = {"0", {}}},
    {RK_CALL(setHostUpNative, object()), .outcome = {"0", {}}},
    {RK_CALL(removeHostNative, object()), .outcome = {"0", {}}},
    {RK_CALL(setServerCPSNative, object()), .outcome = {"0", {83}}, .refused = {"raw"},
     .stops = noCluster({"-99", {}})},
    {RK_CALL(getServerReportNative, object()), .outcome = {"0", {33}}, .refused = {"-5"},
     .stops = noCluster(kNoServerCluster)},
    {RK_CALL(getServerStatusNative, object({{"_iNumListeners", "I", 1}})), .outcome = {"0", {56}}, .refused = {"-5"},
     .stops = noListenerToJava() + noCluster(kNoServerCluster), .prepare = replies(56, 116, 2)},
    {RK_CALL(getServersListNative, string("web"), 80, buffer(),
             static_cast<jintArray>(fake_java::argument(fake_java::newIntArray({1, 2, 3, 4})))),
     .outcome = {"0", {15, 31}}, .refused = {"raw", "-5"},
     .stops = {{"GetStringUTFChars", "string", 1, 1, Leaving::either, {"-99", {}}}},
     .allocations = {{"-28", {}}, {"-28", {15}}}, .prepare = replies(15, 36, 3)},
};

// An array of new weights that cannot be read refuses them all.
Stops noWeights() {
    const Outcome refused = {"-99", {}};
    Stops stops = {{"GetIntArrayRegion", "*", 1, 99, Leaving::exception, refused},
                   {"GetByteArrayRegion", "*", 1, 99, Leaving::exception, refused}};
    for (const char *member : {"iServerIdKey", "iWeight", "bFixedWeight", "ucQuiescedDown"})
        stops = stops + noField(member, refused);
    return stops + noText("sClusterID", refused);
}

const std::vector<Scenario> kWeights = {
    {RK_CALL(getServerWeightsNative, object(), 3), .outcome = {"0", {17}}, .refused = {"-5"},
     .stops = noText("sClusterID", {"-99", {}}) + noMethod("setServerId", "CallVoidMethod", {"-99", {17}}) +
              Stops{{"NewStringUTF", "", 1, 99, Leaving::either, {"-99", {17}}}},
     .allocations = {{"-28", {}}, {"-28", {17}}}},
    {RK_CALL(setServerWeightsNative, object(), 3), .outcome = {"0", {16}}, .refused = {"-5"}, .stops = noWeights(),
     .allocations = {{"-28", {}}, {"-28", {}}, {"-28", {16}}}},
};

// The members that name a rule.
Stops noRule() {
    return noCluster({"-99", {}}) + noText("RuleName", {"-51", {}});
}

const std::vector<Scenario> kRules = {
    {RK_CALL(addRuleNative, object({{"RuleType", "B", 1}})), .outcome = {"0", {18}}, .refused = {"-5"},
     .stops = noRule() + noField("SetRuleType", {"0", {21, 18}})},
    {RK_CALL(addRuleNative, object({{"SetRuleType", "B", 0}})), .outcome = {"0", {21, 18}}, .refused = {"-5", "-5"},
     .stops = noRule()},
    {RK_CALL(setRuleStatusNative, object({{"RuleType", "B", 2}})), .outcome = {"0", {22}}, .refused = {"-5"},
     .stops = noRule() + noField("SetRuleType", {"0", {21, 22}})},
    {RK_CALL(removeRuleNative, object()), .outcome = {"0", {19}}, .refused = {"-5"}, .stops = noRule()},
    {RK_CALL(getRuleStatusNative, object()), .outcome = {"0", {21}}, .refused = {"-5"}, .stops = noRule()},
    {RK_CALL(getRuleReportNative, object()), .outcome = {"0", {23}}, .refused = {"-5"}, .stops = noRule()},
    {RK_CALL(setRuleCPSNative, object()), .outcome = {"0", {81}}, .refused = {"raw"}, .stops = noCluster({"-99", {}})},
    {RK_CALL(getRulesListNative, string("web"), 80, buffer()), .outcome = {"0", {15, 20}}, .refused = {"raw", "-5"},
     .stops = {{"GetStringUTFChars", "string", 1, 1, Leaving::either, {"-99", {}}}},
     .allocations = {{"-28", {}}, {"-28", {15}}}, .prepare = replies(15, 40, 3)},
    {RK_CALL(addServertoRuleNative, object(), object(), 7), .outcome = {"0", {24}}, .refused = {"-5"},
     .stops = noRule()},
    {RK_CALL(removeServerfromRuleNative, object(), object(), 7), .outcome = {"0", {25}}, .refused = {"-5"},
     .stops = noRule()},
    {RK_CALL(getRuleServersListNative, object(), buffer()), .outcome = {"0", {26}}, .refused = {"-5"},
     .stops = noRule(), .allocations = {{"-28", {}}, {"-28", {}}}},
};

} // namespace

std::vector<Scenario> configurationScenarios() {
    std::vector<Scenario> all;
    for (const std::vector<Scenario> &family : {kExecutor, kClusters, kPorts, kServers, kWeights, kRules})
        all.insert(all.end(), family.begin(), family.end());
    return all;
}

} // namespace faults
