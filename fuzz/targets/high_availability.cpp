// The native methods of high availability.
#include "fuzz/harness/native_calls.h"

#include <cstdlib>

namespace {

using fuzz::NativeCall;
using fuzz::Outcome;
using fuzz::ReasonStatus;
using fuzz::Refusal;

constexpr ReasonStatus kHeartbeatReasons[] = {{-44, -44}, {-45, -45}};

template <int argument> bool isNoAddress(const NativeCall &call) {
    const auto &text = call.arguments[argument].text;
    return !text || !fuzz::isAddress(*text);
}

// What the library takes a text for: a number of digits only, else -1.
template <int argument> int numberIn(const NativeCall &call) {
    const auto &text = call.arguments[argument].text;
    return text && text->find_first_not_of("0123456789") == std::string::npos ? atoi(text->c_str()) : -1;
}

constexpr Refusal kBackupRefusals[] = {
    {[](const NativeCall &call) { return numberIn<2>(call) < 1 || numberIn<2>(call) > 65535; }, -10}};
constexpr Refusal kReachRefusals[] = {{isNoAddress<0>, -47}, {isNoAddress<1>, -46}};
constexpr Refusal kHeartbeatRefusals[] = {{isNoAddress<0>, -46}, {isNoAddress<1>, -47}};
constexpr Refusal kDeleteRefusals[] = {{isNoAddress<0>, -47}};
constexpr Refusal kTakeOverRefusals[] = {{isNoAddress<0>, -1}};
constexpr Refusal kTimerRefusals[] = {{[](const NativeCall &call) {
                                           return numberIn<0>(call) < 0 || numberIn<1>(call) < 0 ||
                                                  numberIn<2>(call) < 0 || numberIn<3>(call) < 0 ||
                                                  numberIn<4>(call) < 0 || numberIn<5>(call) < 0 ||
                                                  numberIn<6>(call) < 0;
                                       },
                                       -6}};

const fuzz::Native kMethods[] = {
    {FUZZ_NATIVE(getHAInfoNative), {47}, Outcome::raw},
    {FUZZ_NATIVE(backupAddNative), {40}, Outcome::done, {}, kBackupRefusals},
    {FUZZ_NATIVE(backupDelNative), {41}, Outcome::done},
    {FUZZ_NATIVE(addReachNative), {43}, Outcome::mapped, {}, kReachRefusals, {}, nullptr, -34},
    {FUZZ_NATIVE(delReachNative), {44}, Outcome::mapped, {}, kDeleteRefusals, {}, nullptr, -47},
    {FUZZ_NATIVE(chgReachNative), {48}, Outcome::mapped},
    {FUZZ_NATIVE(addHBNative), {45}, Outcome::mapped, kHeartbeatReasons, kHeartbeatRefusals, {}, nullptr, -35},
    {FUZZ_NATIVE(delHBNative), {46}, Outcome::mapped, {}, kDeleteRefusals, {}, nullptr, -47},
    {FUZZ_NATIVE(setTimersNative), {50}, Outcome::mapped, {}, kTimerRefusals, {}, nullptr, -17},
    {FUZZ_NATIVE(takeoverNative), {51}, Outcome::mapped, {}, kTakeOverRefusals, {}, nullptr, -36},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::play(kMethods, data, size);
    return 0;
}
