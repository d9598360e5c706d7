// The native methods of the executor's own settings and counters.
#include "fuzz/harness/native_calls.h"

namespace {

using fuzz::NativeCall;
using fuzz::Outcome;
using fuzz::Refusal;

constexpr Refusal kRefusals[] = {
    {[](const NativeCall &call) { return fuzz::isBadAddress(call, "SetNonForwardingAddress", "NFA"); }, -21},
    {[](const NativeCall &call) { return fuzz::isBadAddress(call, "SetClientGateway", "ClientGateway"); }, -49}};

const fuzz::Native kMethods[] = {
    {FUZZ_NATIVE(setExecutorStatusNative), {2}, Outcome::raw, {}, kRefusals},
    {FUZZ_NATIVE(getExecutorStatusNative), {1}, Outcome::raw},
    {FUZZ_NATIVE(getExecutorReportNative), {3}, Outcome::raw},
    {FUZZ_NATIVE(setExecutorCPSNative), {71}, Outcome::raw},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::play(kMethods, data, size);
    return 0;
}
