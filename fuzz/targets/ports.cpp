// The native methods of ports.
#include "fuzz/harness/native_calls.h"

namespace {

using fuzz::NativeCall;
using fuzz::Outcome;
using fuzz::ReasonStatus;
using fuzz::Refusal;

constexpr ReasonStatus kChangeReasons[] = {{-87, -57}, {-84, -84}, {-62, -75}, {-61, -74}, {-56, -68},
                                           {-55, -67}, {-54, -12}, {-53, -66}, {-52, -65}, {-27, -38},
                                           {-18, -73}, {-5, -5},   {-4, -30},  {-3, -14},  {-1, -12}};
constexpr ReasonStatus kReasons[] = {{-5, -5}, {-1, -12}};
constexpr ReasonStatus kListReasons[] = {{-5, -5}};
constexpr int32_t kNoMemoryReason = -2; // sent again after it, twice at most

constexpr Refusal kBadPort = {[](const NativeCall &call) { return fuzz::isNoPort(fuzz::numberOf(call, "PortNumber")); },
                              -10};
constexpr Refusal kNoCluster = {[](const NativeCall &call) { return fuzz::isNull(call, "ClusterId"); }, -99};
constexpr Refusal kBadClusterAddress = {[](const NativeCall &call) {
                                            const std::optional<std::string> text =
                                                fuzz::textOf(call, "ClusterAddress");
                                            return text && !fuzz::isAddress(*text);
                                        },
                                        -3};
constexpr Refusal kRefusals[] = {kBadPort, kNoCluster};
constexpr Refusal kRemoveRefusals[] = {kBadClusterAddress, kBadPort, kNoCluster};
constexpr Refusal kListRefusals[] = {{[](const NativeCall &call) { return !call.arguments[0].text; }, -99}};

void checkKey(const NativeCall &call) {
    fuzz::expectSent(call, 16, fuzz::keyOf(call, "ClusterId"));
}

void checkChange(const NativeCall &call) {
    if (call.exchanges.empty())
        return; // refused, or it would have been told
    const fuzz::Exchange &first = call.exchanges.front();
    if (call.exchanges.size() == 1) // a block that is sent again is as the executor left it
        checkKey(call);
    const fuzz::Exchange &last = call.exchanges.back();
    const bool isRetried = first.status != 0 && first.reason == kNoMemoryReason;
    if (isRetried != (call.exchanges.size() > 1) || call.exchanges.size() > 3)
        fuzz::finding("sent %zu times, reason %d", call.exchanges.size(), first.reason);
    if (isRetried && last.status != 0 && call.exchanges.size() < 3)
        fuzz::finding("given up after %zu times", call.exchanges.size());
    if (isRetried)
        fuzz::expectStatus(call, last.status == 0 ? 0 : -28);
    else
        fuzz::expectStatus(call, fuzz::statusByReasons(first, kChangeReasons));
}

constexpr fuzz::List kList = {
    24,
    8,
    0,
    kListReasons,
    [](const NativeCall &call) { return int64_t{fuzz::wordAt(call.exchanges.front().reply, 24)}; },
    [](const NativeCall &call) { return int64_t{fuzz::wordAt(call.exchanges.back().reply, 20)}; },
    true,
    true};

void checkList(const NativeCall &call) {
    fuzz::expectList(call, kList);
}

const fuzz::Native kMethods[] = {
    {FUZZ_NATIVE(addPortNative), {10}, Outcome::unchecked, {}, kRefusals, {}, checkChange},
    {FUZZ_NATIVE(setPortStatusNative), {14}, Outcome::unchecked, {}, kRefusals, {}, checkChange},
    {FUZZ_NATIVE(removePortNative), {11}, Outcome::mapped, kReasons, kRemoveRefusals, {}, checkKey},
    {FUZZ_NATIVE(getPortStatusNative), {13}, Outcome::mapped, kReasons, kRefusals, {}, checkKey},
    {FUZZ_NATIVE(getPortReportNative), {15}, Outcome::mapped, kReasons, kRefusals, {}, checkKey},
    {FUZZ_NATIVE(setPortCPSNative), {80}, Outcome::raw, {}, kRefusals, {}, checkKey},
    {FUZZ_NATIVE(getPortsListNative), {9, 12}, Outcome::unchecked, {}, kListRefusals, {}, checkList},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::play(kMethods, data, size);
    return 0;
}
