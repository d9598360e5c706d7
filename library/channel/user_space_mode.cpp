// The choice between kernel and user-space executor, and the life of the user-space executor. Each method calls one
// operation of libuexc, whatever state libuexc is in: their order is the caller's business.
#include "library/channel/channel.h"
#include "library/native.h"
#include "rk/uexc.h"

uint32_t ueHandle = 0;

namespace {

jboolean lowByte(int32_t status) {
    return static_cast<jboolean>(status & 0xFF);
}

// The executor may keep the pointer, so these characters are never released.
const char *handOver(JNIEnv *env, jstring path) {
    return path == nullptr ? nullptr : env->GetStringUTFChars(path, nullptr);
}

} // namespace

// Only the low byte counts, so a mode of 256 means the kernel executor.
JNIEXPORT void NATIVE(setKVAServerModalityNative)(JNIEnv *, jobject, jint mode) {
    prv_giKVAServerModality = static_cast<uint8_t>(mode);
}

// The library is linked with the executor, so there is nothing to load.
JNIEXPORT jint NATIVE(loadUserExecutorNative)(JNIEnv *, jobject) {
    return 0;
}

JNIEXPORT jint NATIVE(startUserExecutorNative)(JNIEnv *, jobject) {
    return EXC_UsrExecutorInit();
}

JNIEXPORT jint NATIVE(stopUserExecutorNative)(JNIEnv *, jobject) {
    return EXC_UsrExecutorTerm();
}

JNIEXPORT jint NATIVE(userExecutorProcessInitNative)(JNIEnv *, jobject) {
    return EXC_UsrExecutorProcessInit();
}

JNIEXPORT jint NATIVE(userExecutorProcessTermNative)(JNIEnv *, jobject) {
    return EXC_UsrExecutorProcessTerm();
}

JNIEXPORT jboolean NATIVE(userExecutorStartedNative)(JNIEnv *, jobject) {
    return lowByte(EXC_UsrExecutorStarted());
}

JNIEXPORT jboolean NATIVE(userExecutorSetLogNative)(JNIEnv *env, jobject, jstring path) {
    return lowByte(EXC_UsrExecutorSetLog(handOver(env, path)));
}

JNIEXPORT jboolean NATIVE(userExecutorSetInstallPathNative)(JNIEnv *env, jobject, jstring directory) {
    return lowByte(EXC_UsrExecutorSetInstallPath(handOver(env, directory)));
}
