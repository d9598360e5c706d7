// How requests name an object to the executor: by the key of its cluster, its port, and its own key or name.
#pragma once

#include "library/shared/java_values.h"
#include "library/shared/statuses.h"
#include "library/support/CMNImpUtils.h"

namespace rk {

// Checks a port number of Java. Returns 0, or kStatusBadPort when it is outside 0 to 65535.
[[nodiscard]] int32_t checkPort(jint port);

// Checks and stores the port number in an int field. Returns the same; a bad number is not stored.
[[nodiscard]] int32_t portFromJava(JNIEnv *env, jobject obj, const char *name, NetworkPort &port);

// Stores the key of the String field ClusterId. Returns false, and stores nothing, when the field has no characters.
// The block then still has the key of an earlier command, so the caller must not send: it returns kStatusOther, but
// only where it would send, since the checks before that have statuses of their own.
[[nodiscard]] bool clusterKeyFromJava(JNIEnv *env, jobject obj, uint32_t &key);

// The same for an identifier that is an argument.
[[nodiscard]] bool keyOfString(JNIEnv *env, jstring identifier, uint32_t &key);

// The server's key, from the int field iServerIdKey.
uint32_t serverKeyFromJava(JNIEnv *env, jobject server);

// Stores the String field RuleName with its terminator. Returns 0, or kStatusBadRuleName when the name is missing or
// longer than 20 characters.
[[nodiscard]] int32_t ruleNameFromJava(JNIEnv *env, jobject rule, char (&name)[21]);

} // namespace rk
