// Native methods that tell of the executor without sending it a command: whether it is there, and which limits it has.
#include "library/channel/channel.h"
#include "library/native.h"
#include "rk/device.h"

#include <fcntl.h>
#include <unistd.h>

JNIEXPORT jint NATIVE(isLoadedNative)(JNIEnv *, jobject) {
    return EXC_is_loaded();
}

// Probes with a descriptor of its own, so that the command channel stays as it is.
JNIEXPORT jint NATIVE(linuxUpNative)(JNIEnv *, jobject) {
    const int probe = open(rk::kExecutorDevice, O_RDONLY);
    if (probe == -1)
        return 0;
    close(probe);
    return 1;
}

// This library does not run on these platforms, so no executor runs on them either.
JNIEXPORT jint NATIVE(solarisUpNative)(JNIEnv *, jobject) {
    return 0;
}

JNIEXPORT jint NATIVE(HPUpNative)(JNIEnv *, jobject) {
    return 0;
}

JNIEXPORT jstring NATIVE(ScriptPrefixNative)(JNIEnv *env, jobject) {
    const char prefix[16] = {};
    return env->NewStringUTF(prefix);
}

// Closing reports no outcome, so stopping always succeeds.
JNIEXPORT jstring NATIVE(stopExecutorNative)(JNIEnv *env, jobject) {
    EXC_close_handle();
    return env->NewStringUTF("EOK");
}

JNIEXPORT jstring NATIVE(updateKernelNative)(JNIEnv *env, jobject) {
    return env->NewStringUTF("MADE IT INSIDE native updateKernel\n");
}

// The executor sets the limits. The library accepts every count, also a negative one.
JNIEXPORT jint NATIVE(checkMaxClustersNative)(JNIEnv *, jobject, jint) {
    return 0;
}

JNIEXPORT jint NATIVE(checkMaxPortsNative)(JNIEnv *, jobject, jint) {
    return 0;
}

JNIEXPORT jint NATIVE(checkMaxServersNative)(JNIEnv *, jobject, jint) {
    return 0;
}
