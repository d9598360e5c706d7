// The native methods of clusters.
#include "fuzz/harness/native_calls.h"

namespace {

using fuzz::NativeCall;
using fuzz::Outcome;
using fuzz::ReasonStatus;
using fuzz::Refusal;

constexpr ReasonStatus kChangeReasons[] = {{-33, -3}, {-9, -29}, {-8, -4}, {-7, -28}, {-5, -5}};
constexpr ReasonStatus kReasons[] = {{-5, -5}};

constexpr Refusal kBadAddress = {
    [](const NativeCall &call) { return fuzz::isBadAddress(call, "SetIPAddress", "Address"); }, -3};
constexpr Refusal kNoName = {[](const NativeCall &call) { return fuzz::isNull(call, "sClusterId"); }, -88};
constexpr Refusal kLongName = {[](const NativeCall &call) { return fuzz::isLonger(call, "sClusterId", 64); }, -90};
constexpr Refusal kAddRefusals[] = {kNoName, kLongName, kBadAddress};
constexpr Refusal kChangeRefusals[] = {kBadAddress, kNoName};
constexpr Refusal kRefusals[] = {kNoName};

constexpr fuzz::List kList = {
    20,
    72,
    0,
    {},
    [](const NativeCall &call) { return int64_t{fuzz::wordAt(call.exchanges.front().reply, 220)}; },
    [](const NativeCall &call) { return int64_t{fuzz::wordAt(call.exchanges.back().reply, 16)}; }};

void checkList(const NativeCall &call) {
    fuzz::expectList(call, kList);
}

void checkKey(const NativeCall &call) {
    fuzz::expectSent(call, 100, fuzz::keyOf(call, "sClusterId"));
}

// A change carries the key that Java keeps, whatever the identifier.
void checkKeptKey(const NativeCall &call) {
    fuzz::expectSent(call, 100, static_cast<uint32_t>(fuzz::numberOf(call, "iClusterIdKey")));
}

void checkReportKey(const NativeCall &call) {
    fuzz::expectSent(call, 16, fuzz::keyOf(call, "sClusterId"));
}

const fuzz::Native kMethods[] = {
    {FUZZ_NATIVE(addClusterNative), {4}, Outcome::mapped, kChangeReasons, kAddRefusals, {}, checkKey},
    {FUZZ_NATIVE(setClusterStatusNative), {8}, Outcome::mapped, kChangeReasons, kChangeRefusals, {}, checkKeptKey},
    {FUZZ_NATIVE(removeClusterNative), {5}, Outcome::mapped, kReasons, kRefusals, {}, checkKey},
    {FUZZ_NATIVE(getClusterStatusNative), {7}, Outcome::mapped, kReasons, kRefusals, {}, checkKey},
    {FUZZ_NATIVE(getClusterReportNative), {9}, Outcome::mapped, kReasons, kRefusals, {}, checkReportKey},
    {FUZZ_NATIVE(setClusterCPSNative), {72}, Outcome::raw},
    {FUZZ_NATIVE(getClustersListNative), {3, 6}, Outcome::unchecked, {}, {}, {}, checkList},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::play(kMethods, data, size);
    return 0;
}
