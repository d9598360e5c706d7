// Changing the executor's high-availability state machine: backup, reach targets, heartbeats, timers, take-over.
#include "library/native.h"
#include "library/shared/keys.h"
#include "library/shared/statuses.h"
#include "library/support/owners.h"

using namespace rk;

namespace {

constexpr ReasonRow kAddHeartbeatReasons[] = {{kHeartbeatExists, kStatusHeartbeatExists},
                                              {kHeartbeatPair, kStatusHeartbeatPair}};

// Returns the number in a string of decimal digits, or -1 for any other string and for null.
int32_t numberOf(JNIEnv *env, jstring string) {
    const Characters characters(env, string);
    return characters.text == nullptr ? -1 : get_number(characters.text);
}

// Stores the address in a string, in network byte order. Returns false, and stores nothing, when it does not parse or
// the string is null.
bool storeAddress(JNIEnv *env, jstring string, uint32_t &address) {
    const Characters characters(env, string);
    uint32_t parsed = 0;
    if (characters.text == nullptr || ip_stol(characters.text, &parsed) != 0)
        return false;
    address = parsed;
    return true;
}

// Sends a command about one address. Returns 0, `bad` when the address does not parse, or `refused` when the executor
// refuses.
int32_t sendAddress(JNIEnv *env, jstring address, Command command, int32_t bad, int32_t refused) {
    HaControlRecord &record = ucb.haControl;
    if (!storeAddress(env, address, record.first))
        return bad;
    return send(record, command) == 0 ? 0 : refused;
}

} // namespace

// Returns 0 whether or not the executor obeys, and Java servers depend on it: they look at the status afterwards.
JNIEXPORT jint NATIVE(backupAddNative)(JNIEnv *env, jobject, jint first, jint second, jstring port) {
    HaControlRecord &record = ucb.haControl;
    record.first = static_cast<uint32_t>(first);
    record.second = static_cast<uint32_t>(second);
    const int32_t number = numberOf(env, port);
    if (number < 1 || checkPort(number) != 0)
        return kStatusBadBackupPort;
    record.third = static_cast<uint32_t>(number);
    (void)send(record, Command::addBackup);
    return 0;
}

// Returns 0 likewise.
JNIEXPORT jint NATIVE(backupDelNative)(JNIEnv *, jobject) {
    (void)send(ucb.header, Command::deleteBackup);
    return 0;
}

JNIEXPORT jint NATIVE(addReachNative)(JNIEnv *env, jobject, jstring address, jstring mask, jint argument) {
    HaControlRecord &record = ucb.haControl;
    uint32_t first = 0;
    uint32_t second = 0;
    if (!storeAddress(env, address, first))
        return kStatusBadReachAddress;
    if (!storeAddress(env, mask, second))
        return kStatusBadReachMask;
    record.first = first;
    record.second = second;
    record.third = static_cast<uint32_t>(argument);
    return send(record, Command::addReachTarget) == 0 ? 0 : kStatusReachRefused;
}

// The statuses of first and second address are those of a reach target's mask and address: the reverse of its order.
JNIEXPORT jint NATIVE(addHBNative)(JNIEnv *env, jobject, jstring firstAddress, jstring secondAddress) {
    HaControlRecord &record = ucb.haControl;
    uint32_t first = 0;
    uint32_t second = 0;
    if (!storeAddress(env, firstAddress, first))
        return kStatusBadFirstHeartbeat;
    if (!storeAddress(env, secondAddress, second))
        return kStatusBadSecondHeartbeat;
    record.first = first;
    record.second = second;
    const int32_t status = sendAndMap(record, Command::addHeartbeat, kAddHeartbeatReasons);
    return status == kStatusOther ? kStatusHeartbeatRefused : status;
}

// A bad address and a refusal have the same status, as Java servers expect of both removals.
JNIEXPORT jint NATIVE(delReachNative)(JNIEnv *env, jobject, jstring address) {
    return sendAddress(env, address, Command::deleteReachTarget, kStatusReachNotDeleted, kStatusReachNotDeleted);
}

JNIEXPORT jint NATIVE(delHBNative)(JNIEnv *env, jobject, jstring address) {
    return sendAddress(env, address, Command::deleteHeartbeat, kStatusHeartbeatNotDeleted, kStatusHeartbeatNotDeleted);
}

JNIEXPORT jint NATIVE(chgReachNative)(JNIEnv *, jobject, jint first, jint second, jint third) {
    HaControlRecord &record = ucb.haControl;
    record.first = static_cast<uint32_t>(first);
    record.second = static_cast<uint32_t>(second);
    record.third = static_cast<uint32_t>(third);
    return send(record, Command::changeReachTarget) == 0 ? 0 : kStatusOther;
}

// The values are checked but not sent: in the executor's protocol this command is a header alone.
JNIEXPORT jint NATIVE(setTimersNative)(JNIEnv *env, jobject, jstring timer1, jstring timer2, jstring timer3,
                                       jstring timer4, jstring timer5, jstring timer6, jstring timer7) {
    for (jstring timer : {timer1, timer2, timer3, timer4, timer5, timer6, timer7})
        if (numberOf(env, timer) < 0)
            return kStatusBadTimer;
    return send(ucb.header, Command::setHighAvailabilityTimers) == 0 ? 0 : kStatusTimersRefused;
}

JNIEXPORT jint NATIVE(takeoverNative)(JNIEnv *env, jobject, jstring address) {
    return sendAddress(env, address, Command::takeOver, kStatusBadTakeOverAddress, kStatusTakeOverRefused);
}
