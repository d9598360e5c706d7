// What other families need of clusters, and the routine for both adding and changing one.
#pragma once

#include <cstdint>
#include <jni.h>

extern "C" {

// Asks for the counters of the cluster with this key. Returns 0 when they are in ucb.clusterReport, otherwise the
// channel's result.
int32_t getClusterReport(uint32_t clusterKey);

// Fills the cluster record from a Java cluster object and sends it under the code that the caller has put into the
// header; hands the change flags back. Returns 0; -3 for an address that does not parse, else -88 without an identifier
// (nothing is sent and no flag handed back in these cases); or the status of the executor's reason.
int32_t AddOrSetCluster(JNIEnv *env, jobject interface, jobject cluster);
}
