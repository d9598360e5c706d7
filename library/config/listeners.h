// Copies a server's listeners between Java and the server record.
#pragma once

#include "rk/command_block.h"

#include <jni.h>

namespace rk {

// Fills the first `count` entries from the listeners of a Java server object. Returns 0; -17 when a listener or its
// address cannot be had; -78 when anything else of a listener cannot be had, when a mapped port is outside 0 to 65535,
// or when there are more listeners than the record has room for.
[[nodiscard]] int32_t listenersFromJava(JNIEnv *env, jobject server, jint count, ServerRecord &record);

// Hands the record's listeners to a Java server object. Returns 0; -10 when Java and the executor both have more than
// one, but not as many; -78 when a listener cannot be had or does not take its values.
[[nodiscard]] int32_t listenersToJava(JNIEnv *env, jobject server, const ServerRecord &record);

} // namespace rk
