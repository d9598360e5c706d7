// Settings between Java fields and record fields: one line a setting, the conversion picked by the record field's type.
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

// A text into a text field of the shared block, with its terminator. No text is the empty text. A text longer than its
// field runs into the fields behind it, and stops at the end of the block's storage.
void copyString(JNIEnv *env, jstring string, char *field);
void textFromJava(JNIEnv *env, jobject obj, const char *name, char *field); // from a String field

// Reads a change flag into the record; true when it is exactly 1, which alone means that its setting is given.
[[nodiscard]] bool flagFromJava(JNIEnv *env, jobject obj, const char *name, uint8_t &flag);

// A setting that Java may leave alone: its flag always travels, its value only when the flag is 1.
template <typename Field>
void copyIfFlagged(JNIEnv *env, jobject obj, const char *flagName, uint8_t &flag, const char *name, Field &field) {
    if (flagFromJava(env, obj, flagName, flag))
        fromJava(env, obj, name, field);
}

// The same for a setting that Java keeps as a byte and the record as a word: widened with its sign.
void copyWidenedIfFlagged(JNIEnv *env, jobject obj, const char *flagName, uint8_t &flag, const char *name,
                          int32_t &field);

// The same for a text.
void copyTextIfFlagged(JNIEnv *env, jobject obj, const char *flagName, uint8_t &flag, const char *name, char *field);

// A change flag of a record and the Java field it goes back to.
struct FlagField {
    const char *name;
    uint8_t flag;
};

// Hands the flags back, so that Java sees which settings the executor did not take.
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

// Of any other type: what a field would be promoted to may be another Java type than its own, and the VM may end over
// the look-up.
template <typename Field> void toJava(JNIEnv *env, jobject obj, const char *name, const Field &field) = delete;

// A new Java string of a text field; a text without a terminator ends with its field.
jstring newString(JNIEnv *env, const char *field, std::size_t size);

template <std::size_t Size> jstring newString(JNIEnv *env, const char (&field)[Size]) {
    return newString(env, field, Size);
}

// The same to a String field.
void textToJava(JNIEnv *env, jobject obj, const char *name, const char *field, std::size_t size);

template <std::size_t Size> void toJava(JNIEnv *env, jobject obj, const char *name, const char (&field)[Size]) {
    textToJava(env, obj, name, field, Size);
}

// Bytes to and from a byte array. When the array cannot be read, zeros go into the record.
template <std::size_t Size> void bytesFromJava(JNIEnv *env, jobject obj, const char *name, uint8_t (&field)[Size]) {
    for (uint8_t &byte : field)
        byte = 0;
    GetJavaByteArrayField(env, obj, name, 0, Size, reinterpret_cast<jbyte *>(field));
}

template <std::size_t Size> void bytesToJava(JNIEnv *env, jobject obj, const char *name, const uint8_t (&field)[Size]) {
    SetJavaByteArrayField(env, obj, name, 0, Size, reinterpret_cast<const jbyte *>(field));
}

// The address in a String field: 0, or -21 when it does not parse. A text that cannot be had gives address 0.
[[nodiscard]] int32_t addressFromJava(JNIEnv *env, jobject obj, const char *name, NetworkAddress &address);

// Checks the identifier of an object that is to be added, and stores its key into the Java field `keyName`. Returns 0,
// `missing` when there are no characters, or `tooLong` for more than 64 bytes of modified UTF-8.
[[nodiscard]] int32_t identifierKeyToJava(JNIEnv *env, jobject obj, const char *name, const char *keyName,
                                          int32_t missing, int32_t tooLong);

} // namespace rk
