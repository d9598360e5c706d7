#include "library/shared/settings.h"
#include "library/shared/java_values.h"
#include "library/shared/statuses.h"
#include "library/support/owners.h"

#include <cstring>

namespace rk {

namespace {

constexpr std::size_t kIdentifierMost = 64;
constexpr std::size_t kTextFieldMost = 256;

// Copies a text field, and terminates the copy: the executor may have filled the field to its end.
void terminate(char (&text)[kTextFieldMost + 1], const char *field, std::size_t size) {
    const std::size_t length = strnlen(field, size < kTextFieldMost ? size : kTextFieldMost);
    std::memcpy(text, field, length);
    text[length] = '\0';
}

} // namespace

int32_t statusOf(int32_t reason, std::span<const ReasonRow> rows) {
    for (const ReasonRow &row : rows)
        if (row.reason == reason)
            return row.status;
    return kStatusOther;
}

jint intFromJava(JNIEnv *env, jobject obj, const char *name) {
    jint value = 0;
    return GetJavaIntField(env, obj, name, &value);
}

void fromJava(JNIEnv *env, jobject obj, const char *name, int32_t &field) {
    field = intFromJava(env, obj, name);
}

void fromJava(JNIEnv *env, jobject obj, const char *name, int16_t &field) {
    field = static_cast<int16_t>(intFromJava(env, obj, name));
}

void fromJava(JNIEnv *env, jobject obj, const char *name, uint16_t &field) {
    field = static_cast<uint16_t>(intFromJava(env, obj, name));
}

void fromJava(JNIEnv *env, jobject obj, const char *name, NetworkPort &field) {
    field = networkPort(intFromJava(env, obj, name));
}

void fromJava(JNIEnv *env, jobject obj, const char *name, SplitInt64 &field) {
    const jint value = intFromJava(env, obj, name);
    field = {value < 0 ? -1 : 0, value};
}

void fromJava(JNIEnv *env, jobject obj, const char *name, int64_t &field) {
    field = intFromJava(env, obj, name);
}

void fromJava(JNIEnv *env, jobject obj, const char *name, int8_t &field) {
    jbyte value = 0;
    GetJavaByteField(env, obj, name, &value);
    field = value;
}

void fromJava(JNIEnv *env, jobject obj, const char *name, uint8_t &field) {
    jchar value = 0;
    field = static_cast<uint8_t>(GetJavaCharField(env, obj, name, &value));
}

void copyString(JNIEnv *env, jstring string, char *field) {
    const Characters characters(env, string);
    const auto room = static_cast<std::size_t>(reinterpret_cast<char *>(&ucb + 1) - field);
    const std::size_t length = characters.text == nullptr ? 0 : strnlen(characters.text, room - 1);
    if (length > 0)
        std::memcpy(field, characters.text, length);
    field[length] = '\0';
}

void textFromJava(JNIEnv *env, jobject obj, const char *name, char *field) {
    const LocalReference string(env, stringFromJava(env, obj, name));
    copyString(env, string.reference, field);
}

bool flagFromJava(JNIEnv *env, jobject obj, const char *name, uint8_t &flag) {
    jbyte value = 0;
    GetJavaByteField(env, obj, name, &value);
    flag = static_cast<uint8_t>(value);
    return flag == 1;
}

void copyWidenedIfFlagged(JNIEnv *env, jobject obj, const char *flagName, uint8_t &flag, const char *name,
                          int32_t &field) {
    if (!flagFromJava(env, obj, flagName, flag))
        return;
    int8_t value = 0;
    fromJava(env, obj, name, value);
    field = value;
}

void copyTextIfFlagged(JNIEnv *env, jobject obj, const char *flagName, uint8_t &flag, const char *name, char *field) {
    if (flagFromJava(env, obj, flagName, flag))
        textFromJava(env, obj, name, field);
}

void flagsToJava(JNIEnv *env, jobject obj, std::initializer_list<FlagField> flags) {
    for (const FlagField &field : flags)
        SetJavaByteField(env, obj, field.name, field.flag);
}

void toJava(JNIEnv *env, jobject obj, const char *name, int32_t field) {
    SetJavaIntField(env, obj, name, field);
}

void toJava(JNIEnv *env, jobject obj, const char *name, uint32_t field) {
    SetJavaIntField(env, obj, name, javaInt(field));
}

void toJava(JNIEnv *env, jobject obj, const char *name, int16_t field) {
    SetJavaIntField(env, obj, name, field);
}

void toJava(JNIEnv *env, jobject obj, const char *name, uint16_t field) {
    SetJavaIntField(env, obj, name, field);
}

void toJava(JNIEnv *env, jobject obj, const char *name, NetworkPort field) {
    SetJavaIntField(env, obj, name, javaInt(field));
}

void toJava(JNIEnv *env, jobject obj, const char *name, SplitInt64 field) {
    SetJavaIntField(env, obj, name, field.low);
}

void toJava(JNIEnv *env, jobject obj, const char *name, int64_t field) {
    SetJavaLongField(env, obj, name, field);
}

void toJava(JNIEnv *env, jobject obj, const char *name, uint8_t field) {
    SetJavaCharField(env, obj, name, field);
}

void toJava(JNIEnv *env, jobject obj, const char *name, int8_t field) {
    SetJavaByteField(env, obj, name, field);
}

void toJava(JNIEnv *env, jobject obj, const char *name, NetworkAddress field) {
    SetJavaStringFieldToAddr(env, obj, name, field.word);
}

jstring newString(JNIEnv *env, const char *field, std::size_t size) {
    char text[kTextFieldMost + 1];
    terminate(text, field, size);
    return env->NewStringUTF(text);
}

void textToJava(JNIEnv *env, jobject obj, const char *name, const char *field, std::size_t size) {
    char text[kTextFieldMost + 1];
    terminate(text, field, size);
    SetJavaStringField(env, obj, name, text);
}

int32_t addressFromJava(JNIEnv *env, jobject obj, const char *name, NetworkAddress &address) {
    address.word = 0;
    return JStringFieldToAddr(env, obj, name, &address.word);
}

int32_t identifierKeyToJava(JNIEnv *env, jobject obj, const char *name, const char *keyName, int32_t missing,
                            int32_t tooLong) {
    const LocalReference string(env, stringFromJava(env, obj, name));
    const Characters characters(env, string.reference);
    if (characters.text == nullptr)
        return missing;
    if (std::strlen(characters.text) > kIdentifierMost)
        return tooLong;
    toJava(env, obj, keyName, keyOfCharacters(characters.text));
    return 0;
}

} // namespace rk
