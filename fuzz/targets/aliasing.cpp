// The native methods of the interface list and of cluster addresses as interface aliases. Command lines are looked at
// where they would run.
#include "fuzz/harness/native_calls.h"
#include "library/aliasing/interface_list.h"

namespace {

using fuzz::NativeCall;
using fuzz::Outcome;

#define READS                                                                                                          \
    { 54 }

// Whether any interface of the last list could be a subject of an answer is left to the tests: here the statuses count.
void checkQuery(const NativeCall &call) {
    if (call.status != 0 && call.status != -63)
        fuzz::finding("a query returned %d", call.status);
}

void checkFixed(const NativeCall &call) {
    fuzz::expectStatus(call, -1);
}

// The list as the library keeps it, into an object.
void copyList(NativeCall &call) {
    jobject list = fuzz::drawObject(call);
    if (call.objects[0] != nullptr)
        call.status = copyInterfaceList(fake_java::env(), nullptr, list, &TheInterfaceList);
}

const fuzz::Native kMethods[] = {
    {FUZZ_NATIVE(getNicAddrNative), {}},
    {.name = "setInterfacesNative",
     .call = fuzz::callOf<NATIVE(setInterfacesNative)>,
     .sends = READS,
     .takesNulls = true},
    {.name = "getInterfaceListNative",
     .call = fuzz::callOf<NATIVE(getInterfaceListNative)>,
     .check = checkFixed,
     .takesNulls = true},
    {FUZZ_NATIVE(configureAddressNative), READS},
    {FUZZ_NATIVE(unconfigureAddressNative), READS},
    {FUZZ_NATIVE(clusterConfigureStatusNative), READS, Outcome::unchecked, {}, {}, {}, checkQuery},
    {FUZZ_NATIVE(getAddressConfigureInfoNative), READS, Outcome::unchecked, {}, {}, {}, checkQuery},
    {.name = "copyInterfaceList", .call = copyList, .takesNulls = true, .takesCount = true},
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, std::size_t size) {
    fuzz::play(kMethods, data, size);
    return 0;
}
