// Owners give back what a call obtains, at the end of their scope: a local reference, the characters of a string, a
// block of the heap.
#pragma once

#include "library/support/CMNImpUtils.h"

#include <cstdlib>
#include <memory>

namespace rk {

// A local reference, or null.
template <typename Reference> struct LocalReference {
    LocalReference(JNIEnv *environment, Reference obtained) : env(environment), reference(obtained) {}
    ~LocalReference() {
        env->DeleteLocalRef(reference); // does nothing for null
    }
    LocalReference(const LocalReference &) = delete;
    LocalReference &operator=(const LocalReference &) = delete;

    JNIEnv *const env;
    const Reference reference;
};

// The characters of a string in modified UTF-8: a copy, which may be changed. Null for a null string, or when memory is
// short.
struct Characters {
    Characters(JNIEnv *environment, jstring obtainedFrom)
        : env(environment), string(obtainedFrom), text(utfChars(environment, obtainedFrom)) {}
    ~Characters() {
        if (text != nullptr)
            env->ReleaseStringUTFChars(string, text);
    }
    Characters(const Characters &) = delete;
    Characters &operator=(const Characters &) = delete;

    JNIEnv *const env;
    const jstring string;
    const char *const text;
};

// A block of the heap, or null.
struct FreeBlock {
    void operator()(void *block) const {
        std::free(block);
    }
};
template <typename Type> using HeapBlock = std::unique_ptr<Type, FreeBlock>;

} // namespace rk
