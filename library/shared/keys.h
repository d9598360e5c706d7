// What names an object to the executor: its cluster's key, its port, its own key or name.
#pragma once

#include "library/shared/java_values.h"
#include "library/shared/statuses.h"
#include "library/support/CMNImpUtils.h"

namespace rk {

// A port number of Java: 0, or kStatusBadPort when it is outside 0 to 65535.
[[nodiscard]] int32_t checkPort(jint port);

// The same for an int field, whose value is stored.
[[nodiscard]] int32_t portFromJava(JNIEnv *env, jobject obj, const char *name, NetworkPort &port);

// The key of the String field ClusterId. False, and nothing is stored, when it has no characters: the command would be
// about the cluster of the command before. Callers refuse just before they would send, with kStatusOther, since the
// checks before that have statuses of their own.
[[nodiscard]] bool clusterKeyFromJava(JNIEnv *env, jobject obj, uint32_t &key);

// The same of an identifier that Java gives as a string.
[[nodiscard]] bool keyOfString(JNIEnv *env, jstring identifier, uint32_t &key);

// The key that a Java object holds in its int field iServerIdKey.
uint32_t serverKeyFromJava(JNIEnv *env, jobject server);

// The String field RuleName, with its terminator. Returns 0, or kStatusBadRuleName when there is none or it is longer
// than 20 characters.
[[nodiscard]] int32_t ruleNameFromJava(JNIEnv *env, jobject rule, char (&name)[21]);

} // namespace rk
