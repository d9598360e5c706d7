#pragma once

#include <jni.h>

namespace fake_java {

// Fills the table with functions that end the program with the name of the function they stand for.
void fillWithAbsent(JNINativeInterface_ &table);

} // namespace fake_java
