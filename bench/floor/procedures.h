// The native methods as the least code: the JNI calls and the block of the library's own, and nothing else. Every
// argument is taken for good, every command for successful. All strings that they are given are ASCII.
#pragma once

#include <jni.h>

namespace least {

void executorStatus(JNIEnv *env, jobject status);
void addCluster(JNIEnv *env, jobject cluster);
void clusterStatus(JNIEnv *env, jobject cluster);
void clusterReport(JNIEnv *env, jobject cluster);
void addPort(JNIEnv *env, jobject port);
void addServer(JNIEnv *env, jobject server);
void serverReport(JNIEnv *env, jobject server);
void addRule(JNIEnv *env, jobject rule);
void readWeights(JNIEnv *env, jobject weights, jint count);
void writeWeights(JNIEnv *env, jobject weights, jint count);
void haStatus(JNIEnv *env, jobject status);
jstring dumpConnections(JNIEnv *env);
void readInterfaces();

} // namespace least
