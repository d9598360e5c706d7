// What other families need of ports, and the routine for both adding and changing one.
#pragma once

#include <cstdint>
#include <jni.h>

extern "C" {

// Asks for the counters of the port with this number (host order, low 16 bits) of the cluster with this key. Returns 0
// when they are in ucb.portReport, otherwise the channel's result.
int32_t getPortReport(uint32_t clusterKey, int32_t port);

// Fills the port record from a Java port object and sends it under the code that the caller has put into the header;
// hands the change flags back. Returns 0; -10 for a port outside 0 to 65535, else -99 without a cluster identifier
// (nothing is sent and no flag handed back in these cases); or the status of the executor's reason. When the executor
// is out of memory, it waits for hours and tries again, twice.
int32_t AddOrSetPort(JNIEnv *env, jobject interface, jobject port);
}

namespace rk {

// The first steps of listing a port's servers or rules: makes the cluster's key, and asks for the port's counters,
// which tell how many there are. Returns 0; -10 for a port outside 0 to 65535, else -99 without an identifier (nothing
// is sent in these cases); otherwise the channel's result.
[[nodiscard]] int32_t reportOfListedPort(JNIEnv *env, jstring clusterId, jint port, uint32_t &clusterKey);

} // namespace rk
