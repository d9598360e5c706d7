// A reply's entries are read only as far as there is room for them, whatever the executor counts.
#pragma once

#include "library/shared/java_values.h"
#include "library/support/CMNImpUtils.h"

namespace rk {

// How many entries may be read of a reply with this count.
constexpr int32_t entriesWithin(int64_t count, int64_t room) {
    if (count < 0)
        return 0;
    return static_cast<int32_t>(count < room ? count : room);
}

template <typename Entry, std::size_t Room> constexpr int32_t entriesWithin(int64_t count, const Entry (&)[Room]) {
    return entriesWithin(count, static_cast<int64_t>(Room));
}

// Copies one field of `count` entries into an int array of a Java object. `values` is the caller's, with room for
// `count` ints. The loop is unrolled because stepping and testing would take most of its instructions.
template <typename Entry, typename Field>
void columnToJava(JNIEnv *env, jobject obj, const char *name, const Entry *entries, jint count, Field Entry::*field,
                  jint *values) {
#pragma GCC unroll 8
    for (jint i = 0; i < count; ++i)
        values[i] = javaInt(entries[i].*field);
    SetJavaIntArrayField(env, obj, name, 0, count, values);
}

// The same for entries that are part of a record.
template <typename Entry, std::size_t Room, typename Field>
void columnToJava(JNIEnv *env, jobject obj, const char *name, const Entry (&entries)[Room], int64_t count,
                  Field Entry::*field) {
    jint values[Room];
    columnToJava(env, obj, name, entries, entriesWithin(count, entries), field, values);
}

} // namespace rk
