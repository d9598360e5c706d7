// Calls of Java methods whose failure is a step's failure: a method that is missing or throws, or an object that is not
// there. The exception stays pending for Java.
#pragma once

#include "library/support/CMNImpUtils.h"

namespace rk {

// True when the helper found its method (status 0) and the method did not throw.
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
