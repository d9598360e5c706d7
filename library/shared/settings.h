// Settings travel between Java fields and record fields, one line of code each; the type of the record field picks the
// conversion.
#pragma once

#include "library/channel/channel.h"
#include "library/support/CMNImpUtils.h"

#include <initializer_list>

namespace rk {

// The value of an int field.
jint intFromJava(JNIEnv *env, jobject obj, const char *name);

// From Java into a record. Narrow fields take the low bits.
void fromJava(JNIEnv *env, jobject obj, const char *name, int32_t &field);     // int
void fromJava(JNIEnv *env, jobject obj, const char *name, int16_t &field);     // int
void fromJava(JNIEnv *env, jobject obj, const char *name, uint16_t &field);    // int
void fromJava(JNIEnv *env, jobject obj, const char *name, NetworkPort &field); // int
void fromJava(JNIEnv *env, jobject obj, const char *name, SplitInt64 &field);  // int, sign-extended
void fromJava(JNIEnv *env, jobject obj, const char *name, int64_t &field);     // int, sign-extended
void fromJava(JNIEnv *env, jobject obj, const char *name, uint8_t &field);     // char
void fromJava(JNIEnv *env, jobject obj, const char *name, int8_t &field);      // byte

// Copies a text into a text field of the shared block, with its terminator; a null string becomes the empty text.
// Callers keep texts short: a longer one runs into the fields behind its own, and ends with the block's storage.
void copyString(JNIEnv *env, jstring string, char *field);
void textFromJava(JNIEnv *env, jobject obj, const char *name, char *field); // from a String field

// Copies a change flag into the record. Returns whether it is exactly 1, the only value that means a setting is given.
[[nodiscard]] bool flagFromJava(JNIEnv *env, jobject obj, const char *name, uint8_t &flag);

// Copies the flag of an optional setting, and its value only when the flag is 1.
template <typename Field>
void copyIfFlagged(JNIEnv *env, jobject obj, const char *flagName, uint8_t &flag, const char *name, Field &field) {
    if (flagFromJava(env, obj, flagName, flag))
        fromJava(env, obj, name, field);
}

// The same for a Java byte that is a word in the record: it is widened with its sign.
void copyWidenedIfFlagged(JNIEnv *env, jobject obj, const char *flagName, uint8_t &flag, const char *name,
                          int32_t &field);

// The same for a text.
void copyTextIfFlagged(JNIEnv *env, jobject obj, const char *flagName, uint8_t &flag, const char *name, char *field);

// A change flag of a record and the Java field it goes back to.
struct FlagField {
    const char *name;
    uint8_t flag;
};

// Copies the flags back, so that Java sees which settings the executor did not take.
void flagsToJava(JNIEnv *env, jobject obj, std::initializer_list<FlagField> flags);

// From a record to Java.
void toJava(JNIEnv *env, jobject obj, const char *name, int32_t field);        // int
void toJava(JNIEnv *env, jobject obj, const char *name, uint32_t field);       // int
void toJava(JNIEnv *env, jobject obj, const char *name, int16_t field);        // int, sign-extended
void toJava(JNIEnv *env, jobject obj, const char *name, uint16_t field);       // int, zero-extended
void toJava(JNIEnv *env, jobject obj, const char *name, NetworkPort field);    // int
void toJava(JNIEnv *env, jobject obj, const char *name, SplitInt64 field);     // int, from the low word
void toJava(JNIEnv *env, jobject obj, const char *name, int64_t field);        // long
void toJava(JNIEnv *env, jobject obj, const char *name, uint8_t field);        // char
void toJava(JNIEnv *env, jobject obj, const char *name, int8_t field);         // byte
void toJava(JNIEnv *env, jobject obj, const char *name, NetworkAddress field); // String, dotted

// No other type: C++ would promote it to one of these, the look-up would then want another type than the Java field's,
// and the VM might not survive that.
template <typename Field> void toJava(JNIEnv *env, jobject obj, const char *name, const Field &field) = delete;

// Makes a Java string of a text field, which ends at its terminator or with the field.
jstring newString(JNIEnv *env, const char *field, std::size_t size);

template <std::size_t Size> jstring newString(JNIEnv *env, const char (&field)[Size]) {
    return newString(env, field, Size);
}

// Stores such a string into a String field.
void textToJava(JNIEnv *env, jobject obj, const char *name, const char *field, std::size_t size);

template <std::size_t Size> void toJava(JNIEnv *env, jobject obj, const char *name, const char (&field)[Size]) {
    textToJava(env, obj, name, field, Size);
}

// Copies bytes from and to a byte array. An array that cannot be read counts as zeros.
template <std::size_t Size> void bytesFromJava(JNIEnv *env, jobject obj, const char *name, uint8_t (&field)[Size]) {
    for (uint8_t &byte : field)
        byte = 0;
    GetJavaByteArrayField(env, obj, name, 0, Size, reinterpret_cast<jbyte *>(field));
}

template <std::size_t Size> void bytesToJava(JNIEnv *env, jobject obj, const char *name, const uint8_t (&field)[Size]) {
    SetJavaByteArrayField(env, obj, name, 0, Size, reinterpret_cast<const jbyte *>(field));
}

// Stores the address in a String field. Returns 0, or kStatusBadAddress when the text is no address and no host name
// that resolves. A missing text counts as address 0.
[[nodiscard]] int32_t addressFromJava(JNIEnv *env, jobject obj, const char *name, NetworkAddress &address);

// Checks the identifier of an object that is to be added, and stores its key into the Java field `keyName`. Returns 0,
// `missing` when there is no identifier, or `tooLong` when it takes more than 64 bytes in modified UTF-8.
[[nodiscard]] int32_t identifierKeyToJava(JNIEnv *env, jobject obj, const char *name, const char *keyName,
                                          int32_t missing, int32_t tooLong);

} // namespace rk
