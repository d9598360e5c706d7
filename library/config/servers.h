// The routine for both adding and changing a server.
#pragma once

#include <cstdint>
#include <jni.h>

extern "C" {

// Fills the server record from a Java server object and sends it under the code that the caller has put into the
// header. Returns 0 or the first of
// - -10 for a port outside 0 to 65535,
// - -17 or -78 for a listener that is not usable (see listenersFromJava),
// - -20 for a negative weight, -76 and -49 for a return or router address that does not parse,
// - -99 without a cluster identifier,
// and nothing is sent in these cases; or the status of the executor's reason.
int32_t AddOrSetServer(JNIEnv *env, jobject interface, jobject server);
}
