// What names an object to the executor: its cluster's key, its port, its own key or name.
#pragma once

#include "library/shared/statuses.h"
#include "library/support/CMNImpUtils.h"

namespace rk {

inline constexpr int32_t kStatusBadPort = -10;
inline constexpr int32_t kStatusBadRuleName = -51;

NetworkPort toNetworkPort(jint port); // low 16 bits
jint fromNetworkPort(NetworkPort port);

// A port number of Java: 0, or kStatusBadPort when it is outside 0 to 65535.
int32_t checkPort(jint port);

// The same for an int field, whose value is stored.
int32_t portFromJava(JNIEnv *env, jobject obj, const char *name, NetworkPort &port);

// The key of the String field ClusterId. Returns 0, or kStatusOther when it has no characters: nothing may be sent
// then, or the command would be about the cluster of the command before.
int32_t clusterKeyFromJava(JNIEnv *env, jobject obj, uint32_t &key);

// Both, the key first; 0 or the first failure.
int32_t clusterAndPortFromJava(JNIEnv *env, jobject obj, const char *portName, uint32_t &key, NetworkPort &port);

// The key that a Java object holds in its int field iServerIdKey.
uint32_t serverKeyFromJava(JNIEnv *env, jobject server);

// The String field RuleName, with its terminator. Returns 0, or kStatusBadRuleName when there is none or it is longer
// than 20 characters.
int32_t ruleNameFromJava(JNIEnv *env, jobject rule, char (&name)[21]);

// The key of an identifier that Java gives as a string. Returns 0, or kStatusOther when it has no characters.
int32_t keyOfString(JNIEnv *env, jstring identifier, uint32_t &key);

} // namespace rk
