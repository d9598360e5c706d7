// Is the executor there, and which limits has it: native methods that send no command.
#include "library/channel/channel.h"
#include "library/native.h"
#include "rk/device.h"

#include <fcntl.h>
#include <unistd.h>

JNIEXPORT jint NATIVE(isLoadedNative)(JNIEnv *, jobject) {
    return EXC_is_loaded();
}

// A descriptor of its own, so that a probe never opens or closes the command channel.
JNIEXPORT jint NATIVE(linuxUpNative)(JNIEnv *, jobject) {
    const int probe = open(rk::kExecutorDevice, O_RDONLY);
    if (probe == -1)
        return 0;
    close(probe);
    return 1;
}

// Platforms on which this library does not run: their executor is not running.
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

// The close reports no outcome, so a stop always succeeds.
JNIEXPORT jstring NATIVE(stopExecutorNative)(JNIEnv *env, jobject) {
    EXC_close_handle();
    return env->NewStringUTF("EOK");
}

JNIEXPORT jstring NATIVE(updateKernelNative)(JNIEnv *env, jobject) {
    return env->NewStringUTF("MADE IT INSIDE native updateKernel\n");
}

// The executor sets its own limits: the library accepts every count, negative ones included.
JNIEXPORT jint NATIVE(checkMaxClustersNative)(JNIEnv *, jobject, jint) {
    return 0;
}

JNIEXPORT jint NATIVE(checkMaxPortsNative)(JNIEnv *, jobject, jint) {
    return 0;
}

JNIEXPORT jint NATIVE(checkMaxServersNative)(JNIEnv *, jobject, jint) {
    return 0;
}
