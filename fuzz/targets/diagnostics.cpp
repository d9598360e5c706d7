// The native methods of the diagnostics: trace log, connections, affinities, debug dump, attack protection, ICMP.
#include "fuzz/harness/native_calls.h"

#include <algorithm>
#include <cstdio>

namespace {

using fuzz::NativeCall;
using fuzz::Outcome;

constexpr char kKernelError[] = "Error with kernel.\n";
constexpr char kLogBanner[] = "EXECUTOR LOGGING COMMANDS SHOULD BE USED FOR DEBUGGING\nPURPOSES ONLY.  THESE ARE "
                              "UNSUPPORTED COMMANDS.  THESE\nCOMMANDS HAVE NOT BEEN EXTENSIVELY TESTED.\n\n";
constexpr std::size_t kLogBannerLength = sizeof(kLogBanner) - 1;
constexpr std::size_t kHeadSlack = 1024;
constexpr jlong kOrdinarySize = 10000;
constexpr int64_t kHalfOpenRoom = 5333;
constexpr int64_t kAttackingRoom = 7996;
constexpr uint32_t kMostAffinities = 3000;

void expectText(const NativeCall &call, const std::string &expected) {
    if (fuzz::returnedText(call) != expected)
        fuzz::finding("returned %s, not %s", fuzz::returnedText(call).c_str(), expected.c_str());
}

void checkBanner(const NativeCall &call) {
    expectText(call, kLogBanner);
}

// A log text ends with its buffer; none when that cannot be obtained, and nothing was asked for then.
void checkLog(const NativeCall &call, std::size_t slack) {
    const jlong asked = call.arguments[0].number;
    const jlong size = asked == 0 ? kOrdinarySize : asked;
    if (call.text == nullptr) {
        if (!call.exchanges.empty() || (size >= 0 && size <= 100000))
            fuzz::finding("no log of %d characters", static_cast<int>(asked));
        return;
    }
    const std::string text = fuzz::returnedText(call);
    const jlong room = static_cast<jlong>(kLogBannerLength + slack) + size; // with the terminator
    const std::string banner = std::string(kLogBanner).substr(0, room > 0 ? static_cast<std::size_t>(room - 1) : 0);
    if (!text.starts_with(banner) || (room > 0 && text.size() >= static_cast<std::size_t>(room)))
        fuzz::finding("a log of %d characters is %zu long: %s", static_cast<int>(asked), text.size(), text.c_str());
}

void checkHead(const NativeCall &call) {
    checkLog(call, kHeadSlack);
}

void checkTail(const NativeCall &call) {
    checkLog(call, 0);
}

void checkAllocated(const NativeCall &call) {
    const fuzz::Exchange &last = call.exchanges.back();
    fuzz::expectStatus(call, last.status == 0 ? 0 : last.reason);
}

// A report begins as it must, unless the executor refused it.
void checkReport(const NativeCall &call, const char *beginning) {
    if (call.exchanges.front().status != 0)
        expectText(call, kKernelError);
    else if (!fuzz::returnedText(call).starts_with(beginning))
        fuzz::finding("a report is %s", fuzz::returnedText(call).c_str());
}

void checkConnections(const NativeCall &call) {
    checkReport(call, "Number of connection records = ");
}

void checkAffinities(const NativeCall &call) {
    checkReport(call, "AFFINITY COMMANDS SHOULD BE USED FOR DEBUGGING\n");
}

void checkDump(const NativeCall &call) {
    const jlong subCommand = call.arguments[0].number;
    if (subCommand == 43)
        return expectText(call, "OK (Output is in rkserver window.)\n");
    checkReport(call, subCommand > 29 && subCommand != 99 ? "OK\n" : "XMISC COMMAND SHOULD BE USED FOR DEBUGGING\n");
}

void checkDirected(const NativeCall &call) {
    const auto asked = static_cast<uint32_t>(fuzz::numberOf(call, "iNumAffinities"));
    if (asked > kMostAffinities && !call.exchanges.empty())
        fuzz::finding("%u entries were sent", asked);
    if (asked > kMostAffinities)
        return fuzz::expectStatus(call, -101);
    if (call.exchanges.empty())
        fuzz::finding("%u entries were not sent", asked);
    checkAllocated(call);
}

void expectCalls(const NativeCall &call, const char *method, int64_t count) {
    const auto found = call.methodsCalled.find(method);
    const int64_t called = found == call.methodsCalled.end() ? 0 : found->second;
    if (called != (count < 0 ? 0 : count))
        fuzz::finding("%s was called %d times", method, static_cast<int>(called));
}

// A listener hears of each entry that there is room for, and of nothing when the executor refuses.
void checkListener(const NativeCall &call, const char *summary, const char *each, std::size_t count, int64_t room) {
    const fuzz::Exchange &last = call.exchanges.back();
    expectCalls(call, summary, last.status == 0 ? 1 : 0);
    expectCalls(call, each, last.status == 0 ? std::min<int64_t>(fuzz::wordAt(last.reply, count), room) : 0);
}

void checkHalfOpen(const NativeCall &call) {
    checkListener(call, "setNumHalfOpenRecs", "addHalfOpenRec", 16, kHalfOpenRoom);
}

void checkAttackers(const NativeCall &call) {
    checkListener(call, "reportAttackingAddrsResults", "reportAttackingAddr", 24, kAttackingRoom);
}

const fuzz::Native kMethods[] = {
    {FUZZ_NATIVE(xloglevelNative), {2}, Outcome::unchecked, {}, {}, {}, checkBanner},
    {FUZZ_NATIVE(xlogfilterNative), {2}, Outcome::unchecked, {}, {}, {}, checkBanner},
    {FUZZ_NATIVE(xlogheadNative), {35}, Outcome::unchecked, {}, {}, {}, checkHead},
    {FUZZ_NATIVE(xlogtailNative), {36}, Outcome::unchecked, {}, {}, {}, checkTail},
    {FUZZ_NATIVE(xlogclearNative), {37}, Outcome::unchecked, {}, {}, {}, checkBanner},
    {FUZZ_NATIVE(allocateConnectionNative), {34}, Outcome::unchecked, {}, {}, {}, checkAllocated},
    {FUZZ_NATIVE(deallocateConnectionNative), {63}, Outcome::raw},
    {FUZZ_NATIVE(getConnectionInfoNative), {39}, Outcome::unchecked, {}, {}, {}, checkConnections},
    {FUZZ_NATIVE(getAffinityInfoNative), {52}, Outcome::unchecked, {}, {}, {}, checkAffinities},
    {FUZZ_NATIVE(serverDirectedAffinityNative), {59}, Outcome::unchecked, {}, {}, {}, checkDirected, -99, false, true},
    {FUZZ_NATIVE(xmiscNative), {53, 55, 65, 84, 85, 86}, Outcome::unchecked, {}, {}, {}, checkDump},
    {FUZZ_NATIVE(getHalfOpenInfoNative), {67}, Outcome::raw, {}, {}, {}, checkHalfOpen},
    {FUZZ_NATIVE(getAttackingAddrsNative), {68}, Outcome::raw, {}, {}, {}, checkAttackers},
    {FUZZ_NATIVE(xDOSAttackNative), {69}, Outcome::raw},
    {FUZZ_NATIVE(getIcmpInfoNative), {57}, Outcome::raw},
    {FUZZ_NATIVE(setIcmpInfoNative), {58}, Outcome::raw},
    // For the dump of the interface list.
    {.name = "setInterfacesNative",
     .call = fuzz::callOf<NATIVE(setInterfacesNative)>,
     .sends = {54},
     .takesNulls = true},
};

} // namespace

// The dump of connections writes its banner to standard output.
extern "C" int LLVMFuzzerInitialize(int * /*count*/, char *** /*arguments*/) {
    return freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::play(kMethods, data, size);
    return 0;
}
