// The JNI calls that a procedure makes, seen through the environment's function table.
#pragma once

#include <functional>
#include <jni.h>
#include <string>
#include <vector>

namespace trace {

// One look-up of a member on an object's class.
struct LookUp {
    jobject object; // a global reference, never given back
    std::string name;
    std::string descriptor;
    bool isMethod;
};

struct Calls {
    std::vector<std::string> calls; // name and plain arguments: numbers, texts, the elements of array regions
    std::vector<LookUp> lookUps;
};

// Runs the procedure and returns its calls. A call of a function that is not traced ends the program.
Calls callsOf(JNIEnv *env, const std::function<void()> &procedure);

// Makes the look-ups again, each as GetObjectClass, GetFieldID or GetMethodID, DeleteLocalRef.
void repeat(JNIEnv *env, const std::vector<LookUp> &lookUps);

} // namespace trace
