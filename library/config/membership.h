// The routine for both adding a server to a rule and removing it.
#pragma once

#include <cstdint>
#include <jni.h>

extern "C" {

// Fills the membership record from a Java rule and a Java server object and sends it under the code that the caller has
// put into the header; `argument` is passed on as it is. Returns 0; the first of -10 for a port outside 0 to 65535, -51
// for a rule name that is missing or longer than 20 characters, and -99 without a cluster identifier (nothing is sent
// in these cases); or the status of the executor's reason.
int32_t addOrRemoveServer(JNIEnv *env, jobject interface, jobject rule, jobject server, jint argument);
}
