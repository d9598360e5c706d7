#include "faults/world.h"
#include "harness/system_calls.h"

#include "library/aliasing/interface_list.h"
#include "library/channel/channel.h"

#include <gtest/gtest.h>

namespace faults {

namespace {

fake_java::Value makeValue(const std::string &name, const std::string &descriptor, std::size_t elements) {
    if (descriptor == "Ljava/lang/String;")
        return {0, fake_java::newString("10.0.0.5")};
    if (descriptor == "[I")
        return {0, fake_java::newIntArray(std::vector<jint>(elements, 0x01020304))};
    if (descriptor == "[B")
        return {0, fake_java::newByteArray(std::vector<jbyte>(elements, 5))};
    return {descriptor == "B" || name.rfind("Set", 0) == 0 ? 1 : 3, nullptr};
}

fake_java::Method makeMethod(fake_java::Object *, const std::string &, const std::string &descriptor) {
    const std::string result = descriptor.substr(descriptor.find(')') + 1);
    return [result](const fake_java::Arguments &) {
        if (result == "Ljava/lang/String;")
            return fake_java::Value{0, fake_java::newString("text")};
        return fake_java::Value{3, result[0] == 'L' ? fake_java::newObject("Made") : nullptr};
    };
}

} // namespace

void beginWorld(Mode mode, std::size_t elements) {
    EXC_close_handle();
    fake_java::reset();
    calls::reset();
    executor::reset();
    TheInterfaceList = {};
    fake_java::onUnknownField([elements](fake_java::Object *, const std::string &name, const std::string &descriptor,
                                         fake_java::Value &value) {
        value = makeValue(name, descriptor, elements);
        return true;
    });
    fake_java::onUnknownMethod(makeMethod);
    calls::device(calls::Device::present);
    calls::onCommand([](const std::string &) { return calls::Outcome{}; });
    prv_giKVAServerModality = mode == Mode::user ? 1 : 0;
}

void expectNothingLeft(const Scenario &scenario, const Result &result) {
    fake_java::endCalls(result.reference, scenario.charactersKept);
    EXPECT_EQ(fake_java::misuses(), std::vector<std::string>());
    EXPECT_LE(fake_java::mostReferences(), 16) << "more local references than the JNI promises room for";
    EXPECT_EQ(calls::blocksHeld(), 0);
    for (const std::size_t size : calls::allocationSizes())
        EXPECT_GT(size, 0u) << "of no memory the system may give null";
}

} // namespace faults
