// The native methods that send no command: presence, limits, user-space mode, identifier keys; and the choice of the
// kernel module's file.
#include "fuzz/harness/native_calls.h"
#include "fuzz/models/key_model.h"
#include "library/channel/module_file.h"

namespace {

using fuzz::NativeCall;
using fuzz::Outcome;

void checkKey(const NativeCall &call) {
    const auto &identifier = call.arguments[0].text;
    if (identifier)
        fuzz::expectStatus(call, static_cast<jint>(model::key(*identifier)));
}

void expectZero(const NativeCall &call) {
    fuzz::expectStatus(call, 0);
}

void checkStop(const NativeCall &call) {
    if (fuzz::returnedText(call) != "EOK")
        fuzz::finding("stopping returned %s", fuzz::returnedText(call).c_str());
}

void chooseModuleFile(NativeCall &call) {
    CMN_LinuxBinaryFile(fuzz::drawInt(call));
}

// A row of a method without commands, and its check.
#define QUIET(method, check)                                                                                           \
    { FUZZ_NATIVE(method), {}, Outcome::unchecked, {}, {}, {}, check }

const fuzz::Native kMethods[] = {
    QUIET(isLoadedNative, nullptr),
    QUIET(linuxUpNative, nullptr),
    QUIET(solarisUpNative, expectZero),
    QUIET(HPUpNative, expectZero),
    QUIET(ScriptPrefixNative, nullptr),
    QUIET(stopExecutorNative, checkStop),
    QUIET(updateKernelNative, nullptr),
    QUIET(checkMaxClustersNative, expectZero),
    QUIET(checkMaxPortsNative, expectZero),
    QUIET(checkMaxServersNative, expectZero),
    QUIET(setKVAServerModalityNative, nullptr),
    QUIET(loadUserExecutorNative, expectZero),
    QUIET(startUserExecutorNative, nullptr),
    QUIET(stopUserExecutorNative, nullptr),
    QUIET(userExecutorProcessInitNative, nullptr),
    QUIET(userExecutorProcessTermNative, nullptr),
    QUIET(userExecutorStartedNative, nullptr),
    {.name = "userExecutorSetLogNative", .call = fuzz::callOf<NATIVE(userExecutorSetLogNative)>, .charactersKept = 1},
    {.name = "userExecutorSetInstallPathNative",
     .call = fuzz::callOf<NATIVE(userExecutorSetInstallPathNative)>,
     .charactersKept = 1},
    QUIET(calcClusterIdKeyNative, checkKey),
    QUIET(setKeyIsIpAddrNative, nullptr),
    {.name = "CMN_LinuxBinaryFile", .call = chooseModuleFile},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::play(kMethods, data, size);
    return 0;
}
