// Calls of Java methods. A method that is missing or throws fails the step that calls it; its exception stays pending
// for Java.
#pragma once

#include "library/support/CMNImpUtils.h"

namespace rk {

// Whether a helper found its method (status 0) and no exception is pending after the call.
inline bool hasSucceeded(JNIEnv *env, int32_t status) {
    return !env->ExceptionCheck() && status == 0;
}

inline bool callInt(JNIEnv *env, jobject obj, const char *name, jint &value) {
    return hasSucceeded(env, GetIntFromJavaMethod(env, obj, name, &value));
}

inline bool callWithInt(JNIEnv *env, jobject obj, const char *name, jint value) {
    return hasSucceeded(env, SetIntJavaMethod(env, obj, name, value));
}

} // namespace rk
