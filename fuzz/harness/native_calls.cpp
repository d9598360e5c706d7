#include "fuzz/harness/native_calls.h"

#include "fuzz/harness/replies.h"
#include "harness/command_lengths.h"
#include "harness/scripted_executor.h"
#include "harness/system_calls.h"
#include "library/aliasing/interface_list.h"
#include "library/channel/channel.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace fuzz {

namespace {

using fake_java::Object;
using fake_java::Value;

constexpr int kMostCalls = 4;
constexpr std::size_t kLargestAllocation = 1 << 20; // more is out of memory, and would only take time
constexpr int32_t kOrdinaryLength = 64;             // of an array: more than most methods want
constexpr uint8_t kMissing = 0xFF;                  // first byte of a member that is not there

// The call that is made now, for the hooks.
NativeCall *current = nullptr;

// There is no executor.
bool isDeaf = false;

// --- What Java gives -------------------------------------------------------------------------------------------------

struct OrdinaryText {
    const char *member;
    const char *text;
};

constexpr OrdinaryText kOrdinaryTexts[] = {
    {"sClusterId", "web"},
    {"sClusterID", "web"},
    {"ClusterId", "web"},
    {"Address", "10.0.0.5"},
    {"ClusterAddress", "10.0.0.5"},
    {"NFA", "10.0.0.1"},
    {"ClientGateway", "10.0.0.254"},
    {"sPrimaryHost", "10.0.0.2"},
    {"_sRouterAddress", "10.0.0.3"},
    {"_sReturnAddress", "10.0.0.4"},
    {"AddressBeginRange", "10.1.0.0"},
    {"AddressEndRange", "10.1.255.255"},
    {"ServiceTOS", "01xxxxxx"},
    {"InterfaceName", "eth0"},
    {"NetMask", "255.255.255.0"},
    {"", "7"}, // an argument: an identifier, a number and an address at once
};

struct OrdinaryNumber {
    const char *member;
    int32_t number;
};

constexpr OrdinaryNumber kOrdinaryNumbers[] = {
    {"Port", 80},         {"PortNumber", 80}, {"iPortNumber", 80},
    {"getMapPort", 8080}, {"NumServers", 2},  {"iNumAffinities", 2},
};

std::string ordinaryText(const std::string &member) {
    for (const OrdinaryText &row : kOrdinaryTexts) {
        if (member == row.member)
            return row.text;
    }
    return "text";
}

int32_t ordinaryNumber(const std::string &member) {
    for (const OrdinaryNumber &row : kOrdinaryNumbers) {
        if (member == row.member)
            return row.number;
    }
    return 1;
}

void give(const std::string &member, const Given &given) {
    current->given.emplace(member, given);
}

jlong narrowed(int32_t number, char type) {
    switch (type) {
    case 'B':
        return static_cast<jbyte>(number);
    case 'C':
        return static_cast<jchar>(number);
    case 'Z':
        return number & 1;
    default:
        return number;
    }
}

// A null array, a short one, or long ones with a few values repeated.
Object *drawArray(const std::string &descriptor) {
    const Draws &java = current->java;
    const uint8_t choice = drawByte(java);
    if (choice != 0)
        current->isIrregular = true;
    if (choice == 1)
        return nullptr;
    const uint32_t length = choice == 0 ? kOrdinaryLength : choice < 0x80 ? choice - 2U : drawHalf(java) % 4000;
    const int32_t first = drawNumber(java, 1);
    const int32_t step = drawByte(java);
    Object *array = descriptor == "[B" ? fake_java::newByteArray({}) : fake_java::newIntArray({});
    for (uint32_t i = 0; i < length; ++i) {
        const auto value = static_cast<int32_t>(static_cast<uint32_t>(first) + i * static_cast<uint32_t>(step));
        if (descriptor == "[B")
            array->bytes.push_back(static_cast<jbyte>(value));
        else
            array->ints.push_back(value);
    }
    return array;
}

// Objects and StringBuffers at once: any object may have any member.
Object *drawPlainObject() {
    if (drawByte(current->java) != 1)
        return fake_java::newStringBuffer();
    current->isIrregular = true;
    return nullptr;
}

Object *drawStringObject(const std::string &member) {
    const std::optional<std::string> text = drawText(current->java, ordinaryText(member));
    give(member, {0, text});
    return text ? fake_java::newString(*text) : nullptr;
}

Value drawValue(const std::string &member, const std::string &descriptor) {
    if (descriptor == "Ljava/lang/String;")
        return {0, drawStringObject(member)};
    if (descriptor[0] == '[')
        return {0, drawArray(descriptor)};
    if (descriptor[0] == 'L')
        return {0, drawPlainObject()};
    if (descriptor[0] == 'V')
        return {};
    const jlong number = narrowed(drawNumber(current->java, ordinaryNumber(member)), descriptor[0]);
    give(member, {number, {}});
    return {number, nullptr};
}

// A member that is missing takes its byte; any other leaves it for its value.
bool isMissing() {
    if (isOver(current->java) || *current->java.input->begin != kMissing)
        return false;
    drawByte(current->java);
    current->isIrregular = true;
    return true;
}

bool giveField(Object * /*object*/, const std::string &name, const std::string &descriptor, Value &value) {
    if (isMissing())
        return false;
    value = drawValue(name, descriptor);
    return true;
}

Value callMethod(const std::string &name, const std::string &result) {
    ++current->methodsCalled[name];
    if (isMissing()) {
        fake_java::raise("java.lang.IllegalStateException", name);
        return {};
    }
    return drawValue(name, result);
}

fake_java::Method giveMethod(Object * /*object*/, const std::string &name, const std::string &descriptor) {
    if (isMissing())
        return nullptr;
    const std::string result = descriptor.substr(descriptor.find(')') + 1);
    return [name, result](const fake_java::Arguments &) { return callMethod(name, result); };
}

// --- What stands around a call ---------------------------------------------------------------------------------------

// The executor's answers come from the back of the input.
int32_t answer(const Draws &replies, bool isKernels, uint8_t *block, uint32_t length) {
    const auto &header = *reinterpret_cast<const rk::CommandHeader *>(block);
    Exchange &exchange = current->exchanges.emplace_back();
    exchange.command = static_cast<int32_t>(header.command);
    exchange.request.assign(block, block + length);
    const int32_t returned = drawReply(replies, block, length);
    exchange.status = isKernels ? header.result : returned;
    exchange.reason = header.reason;
    exchange.reply.assign(block, block + length);
    return returned;
}

int failIoctl(void * /*block*/) {
    current->isIrregular = true;
    errno = EIO;
    return -1;
}

// Of a command line, only plain names, addresses and masks come from outside.
calls::Outcome runCommand(const Draws &java, const std::string &command) {
    const bool isPlain =
        command.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:_-/ ") ==
            std::string::npos &&
        command.find(" -") == std::string::npos;
    const bool isConfiguring = command.starts_with("/sbin/ifconfig ");
    const auto words = std::count(command.begin(), command.end(), ' ');
    const bool isWhole =
        isConfiguring && ((command.ends_with(" up") && words == 5) || (command.ends_with(" down") && words == 3));
    if (isConfiguring && !(isPlain && isWhole))
        finding("the shell gets: %s", command.c_str());
    calls::Outcome outcome;
    outcome.status = drawNumber(java, 0);
    const uint8_t stream = drawByte(java);
    if (stream >= 0xF0)
        outcome.stream = stream >= 0xF8 ? calls::Stream::unreadable : calls::Stream::notOpened;
    outcome.output = stream >= 0x80 ? "1\n" : stream >= 0x40 ? "" : "0\n";
    return outcome;
}

// In user-space mode mostly; else through the device, which may be absent, and whose ioctl may fail.
void drawChannel(const Draws &java, const Draws &replies) {
    const uint8_t choice = drawByte(java);
    const bool isKernels = choice >= 0xC0;
    EXC_close_handle();
    executor::answerOthers(
        [replies, isKernels](uint8_t *block, uint32_t length) { return answer(replies, isKernels, block, length); });
    calls::onCommand([java](const std::string &command) { return runCommand(java, command); });
    prv_giKVAServerModality = isKernels ? 0 : 1;
    isDeaf = choice >= 0xFE;
    calls::device(isDeaf ? calls::Device::absent : calls::Device::present);
    if (choice >= 0xFA && !isDeaf)
        calls::onIoctl(failIoctl);
}

void drawFault(NativeCall &call) {
    const uint8_t choice = drawByte(call.java);
    int failingCall = 0;
    int failingAllocation = 0;
    if (choice >= 0xE0) {
        call.isIrregular = call.isFaulty = true;
        const int number = 1 + drawByte(call.java);
        (choice >= 0xF0 ? failingAllocation : failingCall) = number;
    }
    fake_java::beginCalls(failingCall, choice < 0xE8 ? fake_java::Failure::exception : fake_java::Failure::silent);
    fake_java::handOutCopies((choice & 1) == 0);
    calls::countAllocations(failingAllocation);
}

// --- What holds of a call --------------------------------------------------------------------------------------------

void checkBlocks(const Native &native, const NativeCall &call) {
    for (const Exchange &exchange : call.exchanges) {
        if (std::find(native.sends.begin(), native.sends.end(), exchange.command) == native.sends.end())
            finding("%s sent command %d", native.name, exchange.command);
        const std::optional<uint64_t> length = executor::lengthOf(exchange.request);
        if (!length || *length != exchange.request.size())
            finding("%s sent %zu bytes of command %d", native.name, exchange.request.size(), exchange.command);
    }
}

void checkNothingSent(const Native &native, const NativeCall &call, const char *why) {
    if (!call.exchanges.empty())
        finding("%s sent command %d: %s", native.name, call.exchanges.back().command, why);
}

const Refusal *refusalOf(const Native &native, const NativeCall &call) {
    for (const Refusal &refusal : native.refusals) {
        if (refusal.holds(call))
            return &refusal;
    }
    return nullptr;
}

jint statusOf(const Native &native, const Exchange &exchange) {
    if (exchange.status == 0 || native.outcome == Outcome::done)
        return 0;
    if (native.outcome == Outcome::raw)
        return exchange.status;
    for (const ReasonStatus &row : native.reasons) {
        if (row.reason == exchange.reason)
            return row.status;
    }
    return native.otherReason;
}

void checkOutcome(const Native &native, const NativeCall &call) {
    const Refusal *refusal = refusalOf(native, call);
    if (refusal != nullptr) {
        if (call.status != refusal->status)
            finding("%s returned %d, not %d", native.name, call.status, refusal->status);
        checkNothingSent(native, call, "it refuses");
        return;
    }
    if (native.outcome == Outcome::unchecked ||
        std::find(native.others.begin(), native.others.end(), call.status) != native.others.end())
        return;
    if (call.exchanges.empty())
        finding("%s returned %d and sent nothing", native.name, call.status);
    const jint expected = statusOf(native, call.exchanges.back());
    if (call.status != expected)
        finding("%s returned %d, not %d: command %d, status %d, reason %d", native.name, call.status, expected,
                call.exchanges.back().command, call.exchanges.back().status, call.exchanges.back().reason);
}

bool hasNull(const NativeCall &call) {
    return std::find(call.objects.begin(), call.objects.end(), nullptr) != call.objects.end();
}

void checkCall(const Native &native, const NativeCall &call, const std::string &exception) {
    fake_java::endCalls(call.text, native.charactersKept);
    if (!fake_java::misuses().empty())
        finding("%s: %s", native.name, fake_java::misuses().front().c_str());
    if (calls::blocksHeld() != 0)
        finding("%s keeps %d blocks of memory", native.name, calls::blocksHeld());
    checkBlocks(native, call);
    if (hasNull(call) && !native.takesNulls) {
        checkNothingSent(native, call, "an object is null");
        if (!call.isFaulty && exception.find("NullPointerException") == std::string::npos)
            finding("%s takes a null object", native.name);
    }
    const bool isShortArray = native.takesCount && exception.find("ArrayIndexOutOfBounds") != std::string::npos;
    if (call.isIrregular || isShortArray || isDeaf)
        return;
    if (!exception.empty())
        finding("%s: %s", native.name, exception.c_str());
    checkOutcome(native, call);
    if (native.check != nullptr)
        native.check(call);
}

void playCall(const Native &native, const Draws &java) {
    NativeCall call = {};
    call.java = java;
    fake_java::reset();
    fake_java::onUnknownField(giveField);
    fake_java::onUnknownMethod(giveMethod);
    current = &call;
    drawFault(call);
    native.call(call);
    current = nullptr;
    checkCall(native, call, fake_java::takeException());
    calls::countAllocations();
}

} // namespace

void play(std::span<const Native> family, const uint8_t *data, std::size_t size) {
    Input input = {data, data + size};
    const Draws java = {&input, Side::front};
    calls::reset();
    calls::allocateAtMost(kLargestAllocation);
    executor::reset();
    TheInterfaceList = {};
    drawChannel(java, {&input, Side::back});
    int made = 0;
    do {
        const Native &native = family[drawBelow(java, static_cast<uint32_t>(family.size()))];
        playCall(native, java);
    } while (++made < kMostCalls && !isOver(java));
}

// --- Arguments -------------------------------------------------------------------------------------------------------

jint drawInt(NativeCall &call) {
    const int32_t number = drawNumber(call.java, 1);
    call.arguments.push_back({number, {}});
    return number;
}

jstring drawString(NativeCall &call) {
    const std::optional<std::string> text = drawText(call.java, ordinaryText(""));
    call.arguments.push_back({0, text});
    return static_cast<jstring>(fake_java::argument(text ? fake_java::newString(*text) : nullptr));
}

jobject drawObject(NativeCall &call) {
    call.objects.push_back(drawPlainObject());
    return fake_java::argument(call.objects.back());
}

jintArray drawIntArray(NativeCall & /*call*/) {
    return static_cast<jintArray>(fake_java::argument(drawArray("[I")));
}

} // namespace fuzz
