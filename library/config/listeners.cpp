#include "library/config/listeners.h"
#include "library/shared/java_calls.h"
#include "library/shared/keys.h"
#include "library/shared/settings.h"
#include "library/support/owners.h"

namespace rk {

namespace {

// Asks for a listener. `isUsable` tells whether there is one and no exception is pending; an earlier step may have left
// one.
LocalReference<jobject> listenerAt(JNIEnv *env, jobject server, jint index, bool &isUsable) {
    jobject listener = nullptr;
    const int32_t status = GetObjectFromJavaMethodIndex(
        env, server, "getListener", "(I)Lcom/qel/internet/rk/common/CMNListener;", index, &listener);
    isUsable = hasSucceeded(env, status) && listener != nullptr;
    return {env, listener};
}

bool textFromMethod(JNIEnv *env, jobject listener, const char *name, char *field) {
    jobject returned = nullptr;
    const int32_t status = GetObjectFromJavaMethod(env, listener, name, "()Ljava/lang/String;", &returned);
    const LocalReference string(env, static_cast<jstring>(returned));
    if (!hasSucceeded(env, status))
        return false;
    copyString(env, string.reference, field);
    return true;
}

int32_t listenerFromJava(JNIEnv *env, jobject server, jobject listener, ListenerEntry &entry) {
    jint address = 0;
    if (!callInt(env, listener, "getIntAddress", address))
        return kStatusNoListener;
    entry.address = networkAddress(address);
    jint mapPort = 0;
    if (!callInt(env, listener, "getMapPort", mapPort) || checkPort(mapPort) != 0)
        return kStatusBadListener;
    entry.mapPort = networkPort(mapPort);
    // The two times are the server's: in the executor's protocol every entry carries the same ones.
    if (!callInt(env, listener, "getProtocol", entry.protocol) ||
        !callInt(env, server, "getConnectTimeout", entry.connectTimeout) ||
        !callInt(env, server, "getIntWaitForComplete", entry.waitForComplete) ||
        !textFromMethod(env, listener, "getKeyRing", entry.keyRing) ||
        !textFromMethod(env, listener, "getStashFile", entry.stashFile))
        return kStatusBadListener;
    return 0;
}

int32_t listenerToJava(JNIEnv *env, jobject server, jobject listener, const ListenerEntry &entry) {
    if (!callWithInt(env, listener, "setAddress", javaInt(entry.address)))
        return kStatusBadListener;
    toJava(env, listener, "_iMapPort", entry.mapPort);
    toJava(env, listener, "_iProtocol", entry.protocol);
    toJava(env, listener, "_sKeyRing", entry.keyRing);
    toJava(env, listener, "_sStashFile", entry.stashFile);
    if (!callWithInt(env, server, "setWaitForContinueFromNative", entry.waitForComplete) ||
        !callWithInt(env, server, "setConnectTimeoutFromNative", entry.connectTimeout))
        return kStatusBadListener;
    return 0;
}

} // namespace

int32_t listenersFromJava(JNIEnv *env, jobject server, jint count, ServerRecord &record) {
    if (count > kListenersPerServer)
        return kStatusBadListener;
    for (jint i = 0; i < count; ++i) {
        bool isUsable = false;
        const auto listener = listenerAt(env, server, i, isUsable);
        if (!isUsable)
            return kStatusNoListener;
        const int32_t status = listenerFromJava(env, server, listener.reference, record.listeners[i]);
        if (status != 0)
            return status;
    }
    return 0;
}

int32_t listenersToJava(JNIEnv *env, jobject server, const ServerRecord &record) {
    const jint javaCount = intFromJava(env, server, "_iNumListeners");
    const jint executorCount = record.numberOfListeners;
    if (javaCount > 1 && executorCount > 1 && javaCount != executorCount)
        return kStatusListenersDiffer;
    const jint count = executorCount < kListenersPerServer ? executorCount : kListenersPerServer;
    if (javaCount == 1 && count > 1 && !callWithInt(env, server, "addListenersFromNative", count))
        return kStatusBadListener;
    for (jint i = 0; i < count; ++i) {
        bool isUsable = false;
        const auto listener = listenerAt(env, server, i, isUsable);
        if (!isUsable)
            return kStatusBadListener;
        const int32_t status = listenerToJava(env, server, listener.reference, record.listeners[i]);
        if (status != 0)
            return status;
    }
    return 0;
}

} // namespace rk
