// Reads, writes and calls members of Java objects by name. Nothing is cached, so an object of any class with the right
// members will do.
#include "library/support/CMNImpUtils.h"
#include "library/support/owners.h"

using rk::LocalReference;
using rk::methodOf;

namespace {

jfieldID fieldOf(JNIEnv *env, jobject obj, const char *name, const char *descriptor) {
    const LocalReference type(env, env->GetObjectClass(obj));
    return env->GetFieldID(type.reference, name, descriptor);
}

constexpr char kString[] = "Ljava/lang/String;";

// Returns the array of a field. A null array leaves a NullPointerException pending: the VM would not survive a copy
// from or to it.
template <typename Array> Array arrayOf(JNIEnv *env, jobject obj, const char *name, jfieldID field) {
    const auto array = static_cast<Array>(env->GetObjectField(obj, field));
    if (field != nullptr)
        rk::requireObject(env, array, name);
    return array;
}

} // namespace

void SetJavaIntField(JNIEnv *env, jobject obj, const char *name, jint value) {
    env->SetIntField(obj, fieldOf(env, obj, name, "I"), value);
}

jint GetJavaIntField(JNIEnv *env, jobject obj, const char *name, jint *value) {
    *value = env->GetIntField(obj, fieldOf(env, obj, name, "I"));
    return *value;
}

void SetJavaLongField(JNIEnv *env, jobject obj, const char *name, jlong value) {
    env->SetLongField(obj, fieldOf(env, obj, name, "J"), value);
}

void GetJavaLongField(JNIEnv *env, jobject obj, const char *name, jlong *value) {
    *value = env->GetLongField(obj, fieldOf(env, obj, name, "J"));
}

void SetJavaCharField(JNIEnv *env, jobject obj, const char *name, int32_t value) {
    env->SetCharField(obj, fieldOf(env, obj, name, "C"), static_cast<jchar>(value));
}

jchar GetJavaCharField(JNIEnv *env, jobject obj, const char *name, jchar *value) {
    *value = env->GetCharField(obj, fieldOf(env, obj, name, "C"));
    return *value;
}

void SetJavaByteField(JNIEnv *env, jobject obj, const char *name, int32_t value) {
    env->SetByteField(obj, fieldOf(env, obj, name, "B"), static_cast<jbyte>(value));
}

void GetJavaByteField(JNIEnv *env, jobject obj, const char *name, jbyte *value) {
    *value = env->GetByteField(obj, fieldOf(env, obj, name, "B"));
}

void SetJavaStringField(JNIEnv *env, jobject obj, const char *name, const char *text) {
    const jfieldID field = fieldOf(env, obj, name, kString);
    const LocalReference string(env, env->NewStringUTF(text));
    env->SetObjectField(obj, field, string.reference);
}

jstring GetJavaStringField(JNIEnv *env, jobject obj, const char *name, jstring *value) {
    *value = static_cast<jstring>(env->GetObjectField(obj, fieldOf(env, obj, name, kString)));
    return *value;
}

void SetJavaStringFieldToAddr(JNIEnv *env, jobject obj, const char *name, uint32_t address) {
    char text[16];
    getAddress(address, text);
    SetJavaStringField(env, obj, name, text);
}

int32_t SetJavaIntArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, const jint *values) {
    const jfieldID field = fieldOf(env, obj, name, "[I");
    if (field == nullptr)
        return 0;
    const LocalReference array(env, arrayOf<jintArray>(env, obj, name, field));
    if (array.reference != nullptr)
        env->SetIntArrayRegion(array.reference, start, count, values);
    return 0;
}

int32_t SetJavaByteArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, const jbyte *values) {
    const jfieldID field = fieldOf(env, obj, name, "[B");
    if (field == nullptr)
        return 0;
    const LocalReference array(env, arrayOf<jbyteArray>(env, obj, name, field));
    if (array.reference != nullptr)
        env->SetByteArrayRegion(array.reference, start, count, values);
    return 0;
}

// Unlike writing, reading a missing field goes on with a null identifier and a null array: Java servers have always
// seen the exception of the look-up here.
void GetJavaIntArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, jint *values) {
    const jfieldID field = fieldOf(env, obj, name, "[I");
    const LocalReference array(env, arrayOf<jintArray>(env, obj, name, field));
    if (array.reference != nullptr || field == nullptr)
        env->GetIntArrayRegion(array.reference, start, count, values);
}

void GetJavaByteArrayField(JNIEnv *env, jobject obj, const char *name, jint start, jint count, jbyte *values) {
    const jfieldID field = fieldOf(env, obj, name, "[B");
    const LocalReference array(env, arrayOf<jbyteArray>(env, obj, name, field));
    if (array.reference != nullptr || field == nullptr)
        env->GetByteArrayRegion(array.reference, start, count, values);
}

int32_t GetIntFromJavaMethod(JNIEnv *env, jobject obj, const char *name, jint *value) {
    const jmethodID method = methodOf(env, obj, name, "()I");
    if (method == nullptr)
        return -1;
    *value = env->CallIntMethod(obj, method);
    return 0;
}

int32_t SetIntJavaMethod(JNIEnv *env, jobject obj, const char *name, jint value) {
    const jmethodID method = methodOf(env, obj, name, "(I)V");
    if (method == nullptr)
        return -1;
    env->CallVoidMethod(obj, method, value);
    return 0;
}

int32_t GetIntFromJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, jint index, jint *value) {
    const jmethodID method = methodOf(env, obj, name, "(I)I");
    if (method == nullptr)
        return -1;
    *value = env->CallIntMethod(obj, method, index);
    return 0;
}

int32_t SetIntJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, jint index, jint value) {
    // With the comma no method has this descriptor, so the helper always fails, as its callers expect.
    const jmethodID method = methodOf(env, obj, name, "(I,I)V");
    if (method == nullptr)
        return -1;
    env->CallVoidMethod(obj, method, index, value);
    return 0;
}

int32_t GetStringFromJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, jint index, jstring *value) {
    jobject string = nullptr;
    const int32_t status = GetObjectFromJavaMethodIndex(env, obj, name, "(I)Ljava/lang/String;", index, &string);
    if (status == 0)
        *value = static_cast<jstring>(string);
    return status;
}

int32_t GetObjectFromJavaMethod(JNIEnv *env, jobject obj, const char *name, const char *descriptor, jobject *value) {
    const jmethodID method = methodOf(env, obj, name, descriptor);
    if (method == nullptr)
        return -1;
    *value = env->CallObjectMethod(obj, method);
    return 0;
}

int32_t GetObjectFromJavaMethodIndex(JNIEnv *env, jobject obj, const char *name, const char *descriptor, jint index,
                                     jobject *value) {
    const jmethodID method = methodOf(env, obj, name, descriptor);
    if (method == nullptr)
        return -1;
    *value = env->CallObjectMethod(obj, method, index);
    return 0;
}

jobject AppendJavaStringBuffer(JNIEnv *env, jobject buffer, jstring string) {
    const jmethodID append = methodOf(env, buffer, "append", "(Ljava/lang/String;)Ljava/lang/StringBuffer;");
    if (append == nullptr)
        return nullptr; // not a StringBuffer: the VM would not survive the call
    return env->CallObjectMethod(buffer, append, string);
}

jmethodID rk::methodOf(JNIEnv *env, jobject obj, const char *name, const char *descriptor) {
    const LocalReference type(env, env->GetObjectClass(obj));
    return env->GetMethodID(type.reference, name, descriptor);
}

const char *rk::utfChars(JNIEnv *env, jstring string) {
    return string == nullptr ? nullptr : env->GetStringUTFChars(string, nullptr);
}

jstring rk::stringFromJava(JNIEnv *env, jobject obj, const char *name) {
    jstring string = nullptr;
    return GetJavaStringField(env, obj, name, &string);
}

bool rk::requireObject(JNIEnv *env, jobject object, const char *name) {
    if (object != nullptr)
        return true;
    if (!env->ExceptionCheck()) {
        const LocalReference type(env, env->FindClass("java/lang/NullPointerException"));
        if (type.reference != nullptr)
            env->ThrowNew(type.reference, name);
    }
    return false;
}
