// Half-open connections, attacking addresses, the parameters of attack protection, and the ICMP response.
#include "library/diagnostics/dump.h"
#include "library/native.h"
#include "library/shared/keys.h"
#include "library/shared/settings.h"
#include "library/shared/statuses.h"

using namespace rk;

namespace {

// A listener that throws is not called again.
bool reportHalfOpen(JNIEnv *env, jobject listener, const HalfOpenRecord &record) {
    const jmethodID setCount = methodOf(env, listener, "setNumHalfOpenRecs", "(I)V");
    if (setCount == nullptr)
        return false;
    const jmethodID add = methodOf(env, listener, "addHalfOpenRec", "(IIIZ)V");
    if (add == nullptr)
        return false;
    env->CallVoidMethod(listener, setCount, record.count);
    for (int i = 0; i < entriesWithin(record.count, kHalfOpenConnections); ++i) {
        if (env->ExceptionCheck())
            return false;
        const HalfOpenEntry &entry = record.entries[i];
        env->CallVoidMethod(listener, add, i, javaInt(entry.clientAddress), javaInt(entry.clientPort),
                            entry.flag != 0 ? JNI_TRUE : JNI_FALSE);
    }
    return !env->ExceptionCheck();
}

bool reportAttackers(JNIEnv *env, jobject listener, const AttackingAddressesRecord &record) {
    const jmethodID results = methodOf(env, listener, "reportAttackingAddrsResults", "(II)V");
    if (results == nullptr)
        return false;
    const jmethodID one = methodOf(env, listener, "reportAttackingAddr", "(II)V");
    if (one == nullptr)
        return false;
    env->CallVoidMethod(listener, results, record.count, record.summary);
    for (int i = 0; i < entriesWithin(record.count, kAttackingAddresses); ++i) {
        if (env->ExceptionCheck())
            return false;
        const AttackingAddressEntry &entry = record.entries[i];
        env->CallVoidMethod(listener, one, javaInt(entry.address), entry.value);
    }
    return !env->ExceptionCheck();
}

} // namespace

JNIEXPORT jint NATIVE(getHalfOpenInfoNative)(JNIEnv *env, jobject, jobject listener) {
    if (!requireObject(env, listener, "listener"))
        return kStatusOther;
    if (const int32_t status = send(ucb.halfOpen, Command::readHalfOpenConnections); status != 0)
        return status;
    return reportHalfOpen(env, listener, ucb.halfOpen) ? 0 : kStatusOther;
}

JNIEXPORT jint NATIVE(getAttackingAddrsNative)(JNIEnv *env, jobject, jobject listener, jint address, jint port) {
    if (!requireObject(env, listener, "listener"))
        return kStatusOther;
    AttackingAddressesRecord &record = ucb.attackingAddresses;
    record.address = networkAddress(address);
    record.port = networkPort(port);
    if (const int32_t status = send(record.header, Command::readAttackingAddresses, kWireBytes); status != 0)
        return status;
    return reportAttackers(env, listener, record) ? 0 : kStatusOther;
}

JNIEXPORT jint NATIVE(xDOSAttackNative)(JNIEnv *, jobject, jint p1, jint p2, jint p3, jint p4, jint p5, jint p6,
                                        jint p7, jint p8) {
    uint32_t *parameter = ucb.attackProtection.parameters;
    for (const jint value : {p1, p2, p3, p4, p5, p6, p7, p8})
        *parameter++ = static_cast<uint16_t>(value);
    return send(ucb.attackProtection, Command::setAttackProtection);
}

JNIEXPORT jint NATIVE(getIcmpInfoNative)(JNIEnv *env, jobject, jobject icmp) {
    if (!requireObject(env, icmp, "icmp"))
        return kStatusOther;
    const int32_t status = send(ucb.icmp, Command::readIcmp);
    if (status == 0) {
        toJava(env, icmp, "iGotIcmpResp", ucb.icmp.gotResponse);
        toJava(env, icmp, "iIcmpRespAddr", ucb.icmp.responseAddress);
    }
    return status;
}

JNIEXPORT jint NATIVE(setIcmpInfoNative)(JNIEnv *env, jobject, jobject icmp) {
    if (!requireObject(env, icmp, "icmp"))
        return kStatusOther;
    fromJava(env, icmp, "iGotIcmpResp", ucb.icmp.gotResponse);
    fromJava(env, icmp, "iIcmpRespAddr", ucb.icmp.responseAddress);
    return send(ucb.icmp, Command::writeIcmp);
}
