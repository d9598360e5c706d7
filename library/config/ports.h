// What the other families ask of ports, and the routine that adding and changing share.
#pragma once

#include <cstdint>
#include <jni.h>

extern "C" {

// Asks for a port's counters, by its cluster's key and its number (host order, low 16 bits). On 0 they are in
// ucb.portReport; otherwise the result is the channel's.
int32_t getPortReport(uint32_t clusterKey, int32_t port);

// Fills the port record from a Java port object and sends it under the code that the caller has put into the header;
// hands the change flags back. Returns 0; -10 for a port outside 0 to 65535, else -99 without a cluster identifier
// (nothing is sent and no flag handed back in these cases); or the status of the executor's reason. When the executor
// is out of memory, waits for hours and tries again, twice.
int32_t AddOrSetPort(JNIEnv *env, jobject interface, jobject port);
}

namespace rk {

// The first steps of a list of what hangs below a port: the key of the cluster's identifier, and the port's report,
// which tells how many there are. Returns 0; -10 for a port outside 0 to 65535, else -99 without an identifier (nothing
// is sent in these cases); otherwise the channel's result.
[[nodiscard]] int32_t reportOfListedPort(JNIEnv *env, jstring clusterId, jint port, uint32_t &clusterKey);

} // namespace rk
