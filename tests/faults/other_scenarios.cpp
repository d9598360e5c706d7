// Presence, user-space executor, keys, high availability, interfaces, aliases, diagnostics.
#include "faults/scenario.h"
#include "library/aliasing/interface_list.h"
#include "library/support/CMNImpUtils.h"

#include <cstring>

namespace faults {

namespace {

// The only reference that a method makes is the text it returns.
Stops noReturn(const Commands &commands) {
    return {{"NewStringUTF", "", 1, 1, Leaving::either, {"(null)", commands}}};
}

const std::vector<Scenario> kPresence = {
    {RK_CALL(isLoadedNative), .outcome = {"1", {}}},
    {RK_CALL(linuxUpNative), .outcome = {"1", {}}},
    {RK_CALL(solarisUpNative), .outcome = {"0", {}}},
    {RK_CALL(HPUpNative), .outcome = {"0", {}}},
    {RK_CALL(ScriptPrefixNative), .outcome = {"", {}}, .stops = noReturn({})},
    {RK_CALL(stopExecutorNative), .outcome = {"EOK", {}}, .stops = noReturn({})},
    {RK_CALL(updateKernelNative), .outcome = {"MADE IT INSIDE native updateKernel\n", {}}, .stops = noReturn({})},
    {RK_CALL(checkMaxClustersNative, 1), .outcome = {"0", {}}},
    {RK_CALL(checkMaxPortsNative, 1), .outcome = {"0", {}}},
    {RK_CALL(checkMaxServersNative, 1), .outcome = {"0", {}}},
    {RK_CALL_VOID(setKVAServerModalityNative, 1), .outcome = {"void", {}}},
    {RK_CALL(loadUserExecutorNative), .outcome = {"0", {}}},
    {RK_CALL(startUserExecutorNative), .outcome = {"0", {}}},
    {RK_CALL(stopUserExecutorNative), .outcome = {"0", {}}},
    {RK_CALL(userExecutorProcessInitNative), .outcome = {"0", {}}},
    {RK_CALL(userExecutorProcessTermNative), .outcome = {"0", {}}},
    {RK_CALL(userExecutorStartedNative), .outcome = {"false", {}}},
    {RK_CALL(userExecutorSetLogNative, string("/a/log")), .outcome = {"false", {}}, .charactersKept = 1},
    {RK_CALL(userExecutorSetInstallPathNative, string("/a")), .outcome = {"false", {}}, .charactersKept = 1},
    {RK_CALL(calcClusterIdKeyNative, string("AB"), string("other")), .outcome = {"196", {}}, // 0xC4
     .stops = {{"GetStringUTFChars", "string", 1, 1, Leaving::either, {"-1", {}}}}},
    {RK_CALL_VOID(setKeyIsIpAddrNative, 1), .outcome = {"void", {}}},
};

// A text of the caller's that cannot be had.
Stop noArgument(const std::string &name, const std::string &result) {
    return {"GetStringUTFChars", name, 1, 1, Leaving::either, {result, {}}};
}

const std::vector<Scenario> kHighAvailability = {
    {RK_CALL(getHAInfoNative, object()), .outcome = {"0", {47}}, .refused = {"raw"}},
    {RK_CALL(backupAddNative, 1, 2, string("80")), .outcome = {"0", {40}}, .refused = {"0"},
     .stops = {noArgument("string", "-10")}},
    {RK_CALL(backupDelNative), .outcome = {"0", {41}}, .refused = {"0"}},
    {RK_CALL(addReachNative, string("10.0.0.1", "address"), string("255.0.0.0", "mask"), 3), .outcome = {"0", {43}},
     .refused = {"-34"}, .stops = {noArgument("address", "-47"), noArgument("mask", "-46")}},
    {RK_CALL(delReachNative, string("10.0.0.1")), .outcome = {"0", {44}}, .refused = {"-47"},
     .stops = {noArgument("string", "-47")}},
    {RK_CALL(chgReachNative, 1, 2, 3), .outcome = {"0", {48}}, .refused = {"-99"}},
    {RK_CALL(addHBNative, string("10.0.0.1", "first"), string("10.0.0.2", "second")), .outcome = {"0", {45}},
     .refused = {"-35"}, .stops = {noArgument("first", "-46"), noArgument("second", "-47")}},
    {RK_CALL(delHBNative, string("10.0.0.1")), .outcome = {"0", {46}}, .refused = {"-47"},
     .stops = {noArgument("string", "-47")}},
    {RK_CALL(setTimersNative, string("1"), string("2"), string("3"), string("4"), string("5"), string("6"),
             string("7")),
     .outcome = {"0", {50}}, .refused = {"-17"},
     .stops = {{"GetStringUTFChars", "string", 1, 7, Leaving::either, {"-6", {}}}}},
    {RK_CALL(takeoverNative, string("10.0.0.1")), .outcome = {"0", {51}}, .refused = {"-36"},
     .stops = {noArgument("string", "-1")}},
};

// The machine has eth0, and, when an alias is wanted, the address 10.0.0.5 on eth0:1.
std::function<void()> machine(bool alias) {
    return [=] {
        std::vector<interfaces::Interface> all = {{"eth0", "10.0.0.1"}};
        if (alias)
            all.push_back({"eth0:1", "10.0.0.5"});
        executor::answer(54, executor::replyImage(interfaces::replyOf(all)));
    };
}

// An address is read twice: as an address, which no alias carries when it cannot be had, and as a text, without which
// nothing runs. The list of interfaces is read all the same.
const std::vector<Scenario> kAliasing = {
    {RK_CALL(getNicAddrNative, 0x0A000007, 0), .outcome = {"0", {}}},
    {RK_CALL_VOID(setInterfacesNative, object()), .outcome = {"void", {54}}, .refused = {"void"}},
    {RK_CALL(getInterfaceListNative, object(), object()), .outcome = {"-1", {}}},
    {.native = "copyInterfaceList",
     .way = "two interfaces",
     .call =
         [] {
             static rk::InterfaceList list;
             list.count = 2;
             return result(copyInterfaceList(fake_java::env(), nullptr, object(), &list));
         },
     .outcome = {"0", {}}},
    {RK_CALL(configureAddressNative, object()), .outcome = {"0", {54, 54}}, .refused = {"0", "0"},
     .stops = noText("Address", {"-62", {54}}, 2, 2) + noText("InterfaceName", {"-62", {54}}) +
              noText("NetMask", {"-62", {54}}),
     .prepare = machine(false)},
    {RK_CALL(configureAddressNative, object({{"ConfigInfoProvided", "B", 0}})), .outcome = {"0", {54, 54}},
     .refused = {"-62", "0"}, .stops = noText("Address", {"-62", {54}}, 1, 2), .prepare = machine(false)},
    // An address that an alias carries is taken down first; when that fails, it goes up on the alias all the same. One
    // that cannot be had goes up on a new alias.
    {RK_CALL(configureAddressNative, object()), .outcome = {"0", {54, 54}}, .refused = {"0", "0"},
     .stops = noText("Address", {"-62", {54}}, 2, 2) + noText("NetMask", {"-62", {54}}), .prepare = machine(true)},
    {RK_CALL(unconfigureAddressNative, object()), .outcome = {"0", {54}}, .refused = {"-63"},
     .stops = noText("Address", {"-63", {54}}, 1, 2), .prepare = machine(true)},
    {RK_CALL(clusterConfigureStatusNative, object()), .outcome = {"0", {54}}, .refused = {"-63"},
     .stops = noText("Address", {"-63", {54}}), .prepare = machine(true)},
    {RK_CALL(getAddressConfigureInfoNative, object()), .outcome = {"0", {54, 54}}, .refused = {"-63", "-63"},
     .stops = noText("Address", {"-63", {54}}), .prepare = machine(true)},
};

// Replies that are full: as many entries as there is room for make a text that has to grow.
std::function<void()> full(int32_t command, std::size_t offset, uint32_t count) {
    return [=] {
        executor::answer(command, [=](uint8_t *block, uint32_t length) {
            memset(block + 16, 0xBB, length - 16);
            memcpy(block + offset, &count, sizeof(count));
            return 0;
        });
    };
}

const std::vector<Scenario> kTexts = {
    {RK_CALL(xloglevelNative, 1), .outcome = {"long text", {2}}, .refused = {"long text"}, .stops = noReturn({2})},
    {RK_CALL(xlogfilterNative, 1), .outcome = {"long text", {2}}, .refused = {"long text"}, .stops = noReturn({2})},
    {RK_CALL(xlogclearNative), .outcome = {"long text", {37}}, .refused = {"long text"}, .stops = noReturn({37})},
    {RK_CALL(xlogheadNative, 0, 1), .outcome = {"long text", {35}}, .refused = {"long text"}, .stops = noReturn({35}),
     .allocations = {{"(null)", {}}}},
    {RK_CALL(xlogtailNative, 100), .outcome = {"long text", {36}}, .refused = {"long text"}, .stops = noReturn({36}),
     .allocations = {{"(null)", {}}}},
    {RK_CALL(allocateConnectionNative, 1, 2, 3, 4, 5, 6), .outcome = {"0", {34}}, .refused = {"-5"}},
    {RK_CALL(deallocateConnectionNative, 1, 2, 3, 4, 5, 6), .outcome = {"0", {63}}, .refused = {"raw"}},
    {RK_CALL(getConnectionInfoNative, 1, 2, 3, 4, 5, 6, 1), .outcome = {"long text", {39}},
     .refused = {"Error with kernel.\n"}, .stops = noReturn({39}),
     .allocations = {{"(null)", {39}}, {"long text", {39}}, {"long text", {39}}}, .prepare = full(39, 16, 1599)},
    {RK_CALL(getAffinityInfoNative, 1, 2, 1), .outcome = {"long text", {52}}, .refused = {"Error with kernel.\n"},
     .stops = noReturn({52}), .allocations = {{"(null)", {52}}, {"long text", {52}}}, .prepare = full(52, 44, 300)},
    {RK_CALL(xmiscNative, 0, 1, 2, 3), .outcome = {"long text", {53}}, .refused = {"Error with kernel.\n"},
     .stops = noReturn({53}), .allocations = {{"(null)", {53}}}},
    {RK_CALL(xmiscNative, 1, 1, 2, 3), .outcome = {"long text", {53, 55}},
     .refused = {"Error with kernel.\n", "long text"}, .stops = noReturn({53, 55}),
     .allocations = {{"(null)", {53}}, {"long text", {53, 55}}}, .prepare = full(55, 16, 33)},
    {RK_CALL(xmiscNative, 8, 1, 2, 3), .outcome = {"long text", {53}}, .refused = {"Error with kernel.\n"},
     .stops = noReturn({53}), .allocations = {{"(null)", {53}}}},
    {RK_CALL(xmiscNative, 10, 1, 2, 3), .outcome = {"long text", {53, 84}},
     .refused = {"Error with kernel.\n", "long text"}, .stops = noReturn({53, 84}),
     .allocations = {{"(null)", {53}}, {"long text", {53, 84}}, {"long text", {53, 84}}}, .prepare = full(84, 16, 128)},
    {RK_CALL(xmiscNative, 11, 1, 2, 3), .outcome = {"long text", {53, 85}},
     .refused = {"Error with kernel.\n", "long text"}, .stops = noReturn({53, 85}),
     .allocations = {{"(null)", {53}}, {"long text", {53, 85}}}, .prepare = full(85, 16, 60)},
    {RK_CALL(xmiscNative, 12, 1, 2, 3), .outcome = {"long text", {53, 86}},
     .refused = {"Error with kernel.\n", "long text"}, .stops = noReturn({53, 86}),
     .allocations = {{"(null)", {53}}, {"long text", {53, 86}}, {"long text", {53, 86}}}, .prepare = full(86, 16, 60)},
    {RK_CALL(xmiscNative, 30, 1, 2, 3), .outcome = {"OK\n", {53}}, .refused = {"Error with kernel.\n"},
     .stops = noReturn({53})},
    {RK_CALL(xmiscNative, 43, 1, 2, 3), .outcome = {"OK (Output is in rkserver window.)\n", {65}},
     .refused = {"OK (Output is in rkserver window.)\n"}, .stops = noReturn({65})},
};

// An array of a request that cannot be read refuses it; one that cannot take its reply does not.
Stops noAffinities() {
    const Outcome refused = {"-99", {}};
    Stops stops = {{"GetIntArrayRegion", "*", 1, 99, Leaving::exception, refused}};
    return stops + noField("aiClientAddr", refused) + noField("aiServerAddr", refused) +
           noField("iNumAffinities", {"0", {59}});
}

Stops noListener(int32_t command, const char *first, const char *second) {
    return noMethod(first, "CallVoidMethod", {"-99", {command}}) +
           noMethod(second, "CallVoidMethod", {"-99", {command}});
}

const std::vector<Scenario> kRecords = {
    {RK_CALL(serverDirectedAffinityNative, object()), .outcome = {"0", {59}}, .refused = {"-5"},
     .stops = noAffinities(), .allocations = {{"-102", {}}, {"-102", {59}}}},
    {RK_CALL(getHalfOpenInfoNative, object()), .outcome = {"0", {67}}, .refused = {"raw"},
     .stops = noListener(67, "setNumHalfOpenRecs", "addHalfOpenRec"), .prepare = full(67, 16, 3)},
    {RK_CALL(getAttackingAddrsNative, object(), 1, 2), .outcome = {"0", {68}}, .refused = {"raw"},
     .stops = noListener(68, "reportAttackingAddrsResults", "reportAttackingAddr"), .prepare = full(68, 24, 3)},
    {RK_CALL(xDOSAttackNative, 1, 2, 3, 4, 5, 6, 7, 8), .outcome = {"0", {69}}, .refused = {"raw"}},
    {RK_CALL(getIcmpInfoNative, object()), .outcome = {"0", {57}}, .refused = {"raw"}},
    {RK_CALL(setIcmpInfoNative, object()), .outcome = {"0", {58}}, .refused = {"raw"}},
};

// Helpers that no native method uses. Their callers look at the status and leave the reference to Java.
const std::vector<Scenario> kHelpers = {
    {.native = "GetJavaLongField",
     .way = "",
     .call =
         [] {
             jlong value = 0;
             GetJavaLongField(fake_java::env(), object(), "long", &value);
             return Result{std::to_string(value)};
         },
     .outcome = {"3", {}},
     .stops = noField("long", {"0", {}})},
    {.native = "GetIntFromJavaMethodIndex",
     .way = "",
     .call =
         [] {
             jint value = 0;
             const int32_t status = GetIntFromJavaMethodIndex(fake_java::env(), object(), "number", 1, &value);
             return Result{std::to_string(status) + " " + std::to_string(value)};
         },
     .outcome = {"0 3", {}},
     .stops = {{"GetMethodID", "number", 1, 1, Leaving::either, {"-1 0", {}}},
               {"CallIntMethod", "number", 1, 1, Leaving::either, {"0 0", {}}}}},
    {.native = "GetStringFromJavaMethodIndex",
     .way = "",
     .call =
         [] {
             jstring value = nullptr;
             const int32_t status = GetStringFromJavaMethodIndex(fake_java::env(), object(), "text", 1, &value);
             return Result{std::to_string(status) + " " + result(value).text, value};
         },
     .outcome = {"0 text", {}},
     .stops = {{"GetMethodID", "text", 1, 1, Leaving::either, {"-1 (null)", {}}},
               {"CallObjectMethod", "text", 1, 1, Leaving::either, {"0 (null)", {}}}}},
};

} // namespace

std::vector<Scenario> otherScenarios() {
    std::vector<Scenario> all;
    for (const std::vector<Scenario> &family : {kPresence, kHighAvailability, kAliasing, kTexts, kRecords, kHelpers})
        all.insert(all.end(), family.begin(), family.end());
    return all;
}

const std::vector<Scenario> &scenarios() {
    static const std::vector<Scenario> all = [] {
        std::vector<Scenario> made = configurationScenarios();
        const std::vector<Scenario> others = otherScenarios();
        made.insert(made.end(), others.begin(), others.end());
        return made;
    }();
    return all;
}

} // namespace faults
