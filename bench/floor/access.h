// The least code that reads and writes a Java object's members by name: what the library's own helpers are measured by.
#pragma once

#include "rk/wire_types.h"

#include <cstring>
#include <jni.h>

namespace least {

struct Object {
    JNIEnv *env;
    jobject reference;
};

inline jfieldID field(Object object, const char *name, const char *descriptor) {
    const jclass type = object.env->GetObjectClass(object.reference);
    const jfieldID id = object.env->GetFieldID(type, name, descriptor);
    object.env->DeleteLocalRef(type);
    return id;
}

inline jmethodID method(Object object, const char *name, const char *descriptor) {
    const jclass type = object.env->GetObjectClass(object.reference);
    const jmethodID id = object.env->GetMethodID(type, name, descriptor);
    object.env->DeleteLocalRef(type);
    return id;
}

inline jint getInt(Object object, const char *name) {
    return object.env->GetIntField(object.reference, field(object, name, "I"));
}

inline void setInt(Object object, const char *name, jint value) {
    object.env->SetIntField(object.reference, field(object, name, "I"), value);
}

inline jchar getChar(Object object, const char *name) {
    return object.env->GetCharField(object.reference, field(object, name, "C"));
}

inline void setChar(Object object, const char *name, jchar value) {
    object.env->SetCharField(object.reference, field(object, name, "C"), value);
}

inline jbyte getByte(Object object, const char *name) {
    return object.env->GetByteField(object.reference, field(object, name, "B"));
}

inline void setByte(Object object, const char *name, uint8_t value) {
    object.env->SetByteField(object.reference, field(object, name, "B"), static_cast<jbyte>(value));
}

inline void setText(Object object, const char *name, const char *text) {
    const jfieldID id = field(object, name, "Ljava/lang/String;");
    const jstring string = object.env->NewStringUTF(text);
    object.env->SetObjectField(object.reference, id, string);
    object.env->DeleteLocalRef(string);
}

// Gives the string's characters to `use`.
template <typename Use> void withCharacters(JNIEnv *env, jobject string, Use use) {
    const char *text = env->GetStringUTFChars(static_cast<jstring>(string), nullptr);
    use(text);
    env->ReleaseStringUTFChars(static_cast<jstring>(string), text);
}

template <typename Use> void withText(Object object, const char *name, Use use) {
    const jobject string = object.env->GetObjectField(object.reference, field(object, name, "Ljava/lang/String;"));
    withCharacters(object.env, string, use);
    object.env->DeleteLocalRef(string);
}

inline void copyText(char *text, const char *characters) {
    memcpy(text, characters, strlen(characters) + 1);
}

inline void getText(Object object, const char *name, char *text) {
    withText(object, name, [=](const char *characters) { copyText(text, characters); });
}

template <typename Element, typename Move>
void moveRegion(Object object, const char *name, const char *descriptor, Move move) {
    const jobject array = object.env->GetObjectField(object.reference, field(object, name, descriptor));
    move(static_cast<Element>(array));
    object.env->DeleteLocalRef(array);
}

inline void getInts(Object object, const char *name, jsize count, jint *values) {
    moveRegion<jintArray>(object, name, "[I",
                          [=](jintArray array) { object.env->GetIntArrayRegion(array, 0, count, values); });
}

inline void setInts(Object object, const char *name, jsize count, const jint *values) {
    moveRegion<jintArray>(object, name, "[I",
                          [=](jintArray array) { object.env->SetIntArrayRegion(array, 0, count, values); });
}

inline void getBytes(Object object, const char *name, jsize count, void *values) {
    moveRegion<jbyteArray>(object, name, "[B", [=](jbyteArray array) {
        object.env->GetByteArrayRegion(array, 0, count, static_cast<jbyte *>(values));
    });
}

inline void setBytes(Object object, const char *name, jsize count, const void *values) {
    moveRegion<jbyteArray>(object, name, "[B", [=](jbyteArray array) {
        object.env->SetByteArrayRegion(array, 0, count, static_cast<const jbyte *>(values));
    });
}

// Calls of Java methods, each with the look for an exception that belongs to it.
inline jint callInt(Object object, const char *name) {
    const jint value = object.env->CallIntMethod(object.reference, method(object, name, "()I"));
    object.env->ExceptionCheck();
    return value;
}

inline jobject callObject(Object object, const char *name, const char *descriptor, jint argument = 0) {
    const jobject value = object.env->CallObjectMethod(object.reference, method(object, name, descriptor), argument);
    object.env->ExceptionCheck();
    return value;
}

// A dotted address that is known to be one, and back; `text` holds 16 bytes.
inline rk::NetworkAddress toAddress(const char *text) {
    uint8_t octets[4] = {};
    for (int place = 0; *text != '\0'; ++text)
        if (*text == '.')
            ++place;
        else
            octets[place] = static_cast<uint8_t>(octets[place] * 10 + (*text - '0'));
    rk::NetworkAddress address;
    memcpy(&address, octets, sizeof(address));
    return address;
}

inline char *appendDecimal(char *end, uint32_t value) {
    char digits[10];
    int count = 0;
    do {
        digits[count++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    while (count > 0)
        *end++ = digits[--count];
    return end;
}

inline char *appendAddress(char *end, rk::NetworkAddress address) {
    uint8_t octets[4];
    memcpy(octets, &address, sizeof(octets));
    for (int i = 0; i < 4; ++i) {
        if (i > 0)
            *end++ = '.';
        end = appendDecimal(end, octets[i]);
    }
    return end;
}

inline void getAddress(Object object, const char *name, rk::NetworkAddress &address) {
    withText(object, name, [&](const char *text) { address = toAddress(text); });
}

inline void setAddress(Object object, const char *name, rk::NetworkAddress address) {
    char text[16];
    *appendAddress(text, address) = '\0';
    setText(object, name, text);
}

// The key of an identifier, of which what stays the same in every step is left out: characters whose index is 9 and
// more count shifted by their index alone, and from index 32 on not at all.
inline uint32_t keyOf(const char *text) {
    const auto upper = [](char character) {
        return static_cast<uint8_t>(character >= 'a' && character <= 'z' ? character - 0x20 : character);
    };
    uint32_t key = 0xFFFFFFFF;
    for (uint32_t i = 0; i < 32 && text[i] != '\0'; ++i) {
        const uint32_t current = upper(text[i]);
        const uint32_t next = upper(text[i + 1]);
        const uint32_t rotated = i < 9 ? static_cast<uint8_t>(current >> i | current << (8 - i)) : 0;
        key += (rotated + next) << i;
    }
    return key;
}

inline void getKey(Object object, const char *name, uint32_t &key) {
    withText(object, name, [&](const char *text) { key = keyOf(text); });
}

} // namespace least
