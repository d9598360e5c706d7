// The native methods of rules and of their servers.
#include "fuzz/harness/native_calls.h"

namespace {

using fuzz::NativeCall;
using fuzz::Outcome;
using fuzz::ReasonStatus;
using fuzz::Refusal;

constexpr ReasonStatus kChangeReasons[] = {{-46, -50}, {-47, -58}, {-70, -82}, {-45, -28}, {-5, -5}, {-1, -12}};
constexpr ReasonStatus kReasons[] = {{-5, -5}, {-1, -12}, {-44, -57}};
constexpr ReasonStatus kPortReasons[] = {{-5, -5}, {-1, -12}};
constexpr ReasonStatus kMemberReasons[] = {{-5, -5},   {-1, -12},  {-11, -19}, {-44, -57},
                                           {-48, -60}, {-49, -28}, {-51, -59}};
constexpr int32_t kReadSettings = 21; // how a change learns of the rule's type

constexpr Refusal kNoCluster = {[](const NativeCall &call) { return fuzz::isNull(call, "ClusterId"); }, -99};
constexpr Refusal kBadPort = {[](const NativeCall &call) { return fuzz::isNoPort(fuzz::numberOf(call, "PortNumber")); },
                              -10};
constexpr Refusal kBadName = {
    [](const NativeCall &call) { return fuzz::isNull(call, "RuleName") || fuzz::isLonger(call, "RuleName", 20); }, -51};
constexpr Refusal kBadType = {
    [](const NativeCall &call) { return fuzz::numberOf(call, "RuleType") < 0 || fuzz::numberOf(call, "RuleType") > 9; },
    -52};

// The type of the rule decides whether its range is of addresses, which may be bad, and only those are read.
bool isBadEnd(const NativeCall &call, const char *member) {
    const std::optional<std::string> text = fuzz::textOf(call, member);
    return text && !fuzz::isAddress(*text);
}

// As long as the type is Java's: the executor is asked for it otherwise.
constexpr Refusal kBadBegin = {
    [](const NativeCall &call) { return call.exchanges.empty() && isBadEnd(call, "AddressBeginRange"); }, -53};
constexpr Refusal kBadEnd = {
    [](const NativeCall &call) { return call.exchanges.empty() && isBadEnd(call, "AddressEndRange"); }, -54};

constexpr Refusal kRefusals[] = {kBadPort, kBadName, kNoCluster};
constexpr Refusal kChangeRefusals[] = {kBadPort, kBadName, kBadType, kBadBegin, kBadEnd, kNoCluster};
constexpr Refusal kCpsRefusals[] = {kNoCluster};
constexpr Refusal kServersRefusals[] = {
    kBadPort,
    kBadName,
    {[](const NativeCall &call) { return fuzz::numberOf(call, "NumServers") < 0; }, -99},
    {[](const NativeCall &call) { return call.status == -28 && fuzz::isMany(fuzz::numberOf(call, "NumServers")); },
     -28},
    kNoCluster};
constexpr Refusal kListRefusals[] = {
    {[](const NativeCall &call) { return fuzz::isNoPort(call.arguments[1].number); }, -10},
    {[](const NativeCall &call) { return !call.arguments[0].text; }, -99}};

void checkKey(const NativeCall &call) {
    fuzz::expectSent(call, 16, fuzz::keyOf(call, "ClusterId"));
}

void checkChange(const NativeCall &call) {
    if (call.exchanges.empty() && call.status != -53 && call.status != -54)
        return; // refused, or it would have been told
    const bool isSent = !call.exchanges.empty() && call.exchanges.back().command != kReadSettings;
    const bool isBadBegin = isBadEnd(call, "AddressBeginRange");
    if (isBadBegin || isBadEnd(call, "AddressEndRange")) {
        if (isSent)
            fuzz::finding("a range that is no address was sent");
        fuzz::expectStatus(call, isBadBegin ? -53 : -54);
    } else if (!isSent) {
        if (call.exchanges.empty() || call.exchanges.back().status == 0)
            fuzz::finding("nothing was sent");
        fuzz::expectStatus(call, fuzz::statusByReasons(call.exchanges.back(), kReasons));
    } else {
        fuzz::expectStatus(call, fuzz::statusByReasons(call.exchanges.back(), kChangeReasons));
    }
}

int64_t rulesReported(const NativeCall &call) {
    return fuzz::wordAt(call.exchanges.front().reply, 40);
}

int64_t serversKept(const NativeCall &call) {
    return fuzz::numberOf(call, "NumServers");
}

constexpr fuzz::List kRules = {28, 28, 0, kPortReasons, rulesReported, rulesReported};
constexpr fuzz::List kServers = {48, 88, 8, kReasons, serversKept, serversKept, false};

void checkRules(const NativeCall &call) {
    fuzz::expectList(call, kRules);
}

void checkServers(const NativeCall &call) {
    if (!call.exchanges.empty() || call.status == -28)
        fuzz::expectList(call, kServers);
}

void checkMember(const NativeCall &call) {
    fuzz::expectSent(call, 88, fuzz::keyOf(call, "ClusterId"));
    fuzz::expectSent(call, 1948, static_cast<uint32_t>(call.arguments[0].number));
}

const fuzz::Native kMethods[] = {
    {FUZZ_NATIVE(addRuleNative), {21, 18}, Outcome::unchecked, {}, kChangeRefusals, {}, checkChange},
    {FUZZ_NATIVE(setRuleStatusNative), {21, 22}, Outcome::unchecked, {}, kChangeRefusals, {}, checkChange},
    {FUZZ_NATIVE(removeRuleNative), {19}, Outcome::mapped, kReasons, kRefusals, {}, checkKey},
    {FUZZ_NATIVE(getRuleStatusNative), {21}, Outcome::mapped, kReasons, kRefusals, {}, checkKey},
    {FUZZ_NATIVE(getRuleReportNative), {23}, Outcome::mapped, kReasons, kRefusals, {}, checkKey},
    {FUZZ_NATIVE(setRuleCPSNative), {81}, Outcome::raw, {}, kCpsRefusals, {}, nullptr},
    {FUZZ_NATIVE(getRulesListNative), {15, 20}, Outcome::unchecked, {}, kListRefusals, {}, checkRules},
    {FUZZ_NATIVE(addServertoRuleNative), {24}, Outcome::mapped, kMemberReasons, kRefusals, {}, checkMember},
    {FUZZ_NATIVE(removeServerfromRuleNative), {25}, Outcome::mapped, kMemberReasons, kRefusals, {}, checkMember},
    {FUZZ_NATIVE(getRuleServersListNative), {26}, Outcome::unchecked, {}, kServersRefusals, {}, checkServers},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::play(kMethods, data, size);
    return 0;
}
