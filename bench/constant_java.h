// A Java environment without a Java VM: every call of the library is answered at once and always alike, so that what is
// measured in it is the library. All objects are one object, change flags are set, strings are one text.
#pragma once

#include <jni.h>

namespace constant_java {

inline constexpr jint kArrayLength = 100000; // of every array

// The answer to every request for an object, a string or an array; natives take it for any of them.
extern const jobject kObject;

// The environment; a call of Java that it has no answer to ends the program.
JNIEnv *env();

// From now on, every int is `number`, and every string has these characters: at most 127, none of them a lower-case
// letter, since the library turns identifiers into upper case where they stand.
void give(jint number, const char *text);

} // namespace constant_java
