// The native methods of servers and of their weights.
#include "fuzz/harness/native_calls.h"

namespace {

using fuzz::NativeCall;
using fuzz::Outcome;
using fuzz::ReasonStatus;
using fuzz::Refusal;

constexpr ReasonStatus kChangeReasons[] = {{-5, -5},   {-1, -12},  {-11, -19}, {-13, -28}, {-14, -18},
                                           {-15, -32}, {-36, -20}, {-43, -43}, {-58, -58}};
constexpr ReasonStatus kReasons[] = {{-5, -5}, {-1, -12}, {-11, -19}};
constexpr ReasonStatus kPortReasons[] = {{-5, -5}, {-1, -12}};

constexpr Refusal kNoName = {[](const NativeCall &call) { return fuzz::isNull(call, "sServerID"); }, -80};
constexpr Refusal kLongName = {[](const NativeCall &call) { return fuzz::isLonger(call, "sServerID", 64); }, -85};
constexpr Refusal kNoCluster = {[](const NativeCall &call) { return fuzz::isNull(call, "ClusterId"); }, -99};
constexpr Refusal kBadPort = {[](const NativeCall &call) { return fuzz::isNoPort(fuzz::numberOf(call, "Port")); }, -10};
constexpr Refusal kBadWeight = {[](const NativeCall &call) { return fuzz::numberOf(call, "_iWeight") < 0; }, -20};
constexpr Refusal kBadReturn = {
    [](const NativeCall &call) { return fuzz::isBadAddress(call, "SetReturnAddress", "_sReturnAddress"); }, -76};
constexpr Refusal kBadRouter = {
    [](const NativeCall &call) { return fuzz::isBadAddress(call, "SetRouterAddress", "_sRouterAddress"); }, -49};
// Listeners are looked at before; whether they are refused is checked apart.
constexpr Refusal kNoClusterOfChange = {
    [](const NativeCall &call) { return call.status != -17 && call.status != -78 && fuzz::isNull(call, "ClusterId"); },
    -99};
constexpr Refusal kAddRefusals[] = {kNoName,    kLongName,  kBadPort,          kBadWeight,
                                    kBadReturn, kBadRouter, kNoClusterOfChange};
constexpr Refusal kChangeRefusals[] = {kBadPort, kBadWeight, kBadReturn, kBadRouter, kNoClusterOfChange};
constexpr Refusal kRefusals[] = {kBadPort, kNoCluster};
constexpr Refusal kCpsRefusals[] = {
    {[](const NativeCall &call) { return fuzz::numberOf(call, "iServerIdKey") < 0; }, -99},
    kBadPort,
    {[](const NativeCall &call) { return fuzz::numberOf(call, "_iCPSCount") < 0; }, -99},
    kNoCluster};
constexpr Refusal kListRefusals[] = {
    {[](const NativeCall &call) { return fuzz::isNoPort(call.arguments[1].number); }, -10},
    {[](const NativeCall &call) { return !call.arguments[0].text; }, -99}};
constexpr Refusal kWeightRefusals[] = {
    {[](const NativeCall &call) { return fuzz::isNoPort(fuzz::numberOf(call, "iPortNumber")); }, -10},
    {[](const NativeCall &call) { return call.status == -28 && fuzz::isMany(call.arguments[0].number); }, -28},
    {[](const NativeCall &call) { return fuzz::isNull(call, "sClusterID"); }, -99}};

template <std::size_t offset> void checkKey(const NativeCall &call) {
    fuzz::expectSent(call, offset, fuzz::keyOf(call, "ClusterId"));
}

void checkWeightsKey(const NativeCall &call) {
    fuzz::expectSent(call, 16, fuzz::keyOf(call, "sClusterID"));
    if (!call.exchanges.empty())
        fuzz::expectSent(call, 24, static_cast<uint32_t>(call.arguments[0].number));
}

// A listener that is refused: more than two, none there, a port that is none. Nothing is sent then.
void checkChange(const NativeCall &call) {
    checkKey<88>(call);
    const jlong listeners = fuzz::numberOf(call, "_iNumListeners");
    const bool hasListeners = fuzz::numberOf(call, "SetListeners") == 1;
    const bool isBadMapPort = hasListeners && fuzz::isNoPort(fuzz::numberOf(call, "getMapPort"));
    if (hasListeners && (listeners > 2 || isBadMapPort) && (call.status != -78 || !call.exchanges.empty()))
        fuzz::finding("%d listeners, the first at port %d: status %d", static_cast<int>(listeners),
                      static_cast<int>(fuzz::numberOf(call, "getMapPort")), call.status);
}

int64_t serversReported(const NativeCall &call) {
    return fuzz::wordAt(call.exchanges.front().reply, 36);
}

constexpr fuzz::List kList = {48, 88, 8, kPortReasons, serversReported, serversReported};

void checkList(const NativeCall &call) {
    fuzz::expectList(call, kList);
}

const fuzz::Native kMethods[] = {
    {FUZZ_NATIVE(addServerNative), {27}, Outcome::mapped, kChangeReasons, kAddRefusals, {-17, -78}, checkChange},
    {FUZZ_NATIVE(setServerStatusNative),
     {32},
     Outcome::mapped,
     kChangeReasons,
     kChangeRefusals,
     {-17, -78},
     checkChange},
    {FUZZ_NATIVE(removeServerNative), {28}, Outcome::mapped, kReasons, kRefusals, {}, checkKey<88>},
    {FUZZ_NATIVE(setServerUpNative), {30}, Outcome::mapped, kReasons, kRefusals, {}, checkKey<16>},
    {FUZZ_NATIVE(setServerDownNative), {29}, Outcome::mapped, kReasons, kRefusals, {}, checkKey<16>},
    {.name = "setHostDownNative", .call = fuzz::callOf<NATIVE(setHostDownNative)>, .takesNulls = true},
    {.name = "setHostUpNative", .call = fuzz::callOf<NATIVE(setHostUpNative)>, .takesNulls = true},
    {.name = "removeHostNative", .call = fuzz::callOf<NATIVE(removeHostNative)>, .takesNulls = true},
    {FUZZ_NATIVE(setServerCPSNative), {83}, Outcome::raw, {}, kCpsRefusals, {}, checkKey<16>},
    {FUZZ_NATIVE(getServerReportNative), {33}, Outcome::mapped, kReasons, kRefusals, {}, checkKey<16>},
    {FUZZ_NATIVE(getServerStatusNative), {56}, Outcome::mapped, kReasons, kRefusals, {-10, -78}, checkKey<88>},
    {FUZZ_NATIVE(getServersListNative), {15, 31}, Outcome::unchecked, {}, kListRefusals, {}, checkList},
    {FUZZ_NATIVE(getServerWeightsNative),
     {17},
     Outcome::mapped,
     kPortReasons,
     kWeightRefusals,
     {-28},
     checkWeightsKey,
     -99,
     false,
     true},
    {FUZZ_NATIVE(setServerWeightsNative),
     {16},
     Outcome::mapped,
     kPortReasons,
     kWeightRefusals,
     {-28},
     checkWeightsKey,
     -99,
     false,
     true},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::play(kMethods, data, size);
    return 0;
}
