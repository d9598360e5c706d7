#include "bench/constant_java.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

char anything;
jint givenNumber = 2;
char givenText[128] = "10.0.0.5";
jint elements[constant_java::kArrayLength];
JNINativeInterface_ answers;

const auto object = reinterpret_cast<jobject>(&anything);
const auto field = reinterpret_cast<jfieldID>(&anything);
const auto method = reinterpret_cast<jmethodID>(&anything);

[[noreturn]] void unexpected() {
    fputs("the library calls Java in a way that the constant environment has no answer to\n", stderr);
    abort();
}

// Whatever the table has no answer to ends the program; what its slots are declared as does not matter then.
void expectNothing() {
    void (*const answer)() = unexpected;
    for (std::size_t offset = 0; offset < sizeof(answers); offset += sizeof(answer))
        memcpy(reinterpret_cast<char *>(&answers) + offset, &answer, sizeof(answer));
}

// What arrays hold.
template <typename Element> void clear(Element *values, jsize count) {
    memset(values, 0, sizeof(Element) * static_cast<std::size_t>(count));
}

void answerLookUps() {
    answers.GetObjectClass = [](JNIEnv *, jobject) { return static_cast<jclass>(object); };
    answers.DeleteLocalRef = [](JNIEnv *, jobject) {};
    answers.GetFieldID = [](JNIEnv *, jclass, const char *, const char *) { return field; };
    answers.GetMethodID = [](JNIEnv *, jclass, const char *, const char *) { return method; };
    answers.ExceptionCheck = [](JNIEnv *) { return static_cast<jboolean>(JNI_FALSE); };
}

void answerFields() {
    answers.GetObjectField = [](JNIEnv *, jobject, jfieldID) { return object; };
    answers.GetIntField = [](JNIEnv *, jobject, jfieldID) { return givenNumber; };
    answers.GetByteField = [](JNIEnv *, jobject, jfieldID) { return static_cast<jbyte>(1); };
    answers.GetCharField = [](JNIEnv *, jobject, jfieldID) { return static_cast<jchar>(1); };
    answers.SetObjectField = [](JNIEnv *, jobject, jfieldID, jobject) {};
    answers.SetIntField = [](JNIEnv *, jobject, jfieldID, jint) {};
    answers.SetLongField = [](JNIEnv *, jobject, jfieldID, jlong) {};
    answers.SetByteField = [](JNIEnv *, jobject, jfieldID, jbyte) {};
    answers.SetCharField = [](JNIEnv *, jobject, jfieldID, jchar) {};
}

void answerMethods() {
    answers.CallObjectMethodV = [](JNIEnv *, jobject, jmethodID, va_list) { return object; };
    answers.CallIntMethodV = [](JNIEnv *, jobject, jmethodID, va_list) { return givenNumber; };
    answers.CallVoidMethodV = [](JNIEnv *, jobject, jmethodID, va_list) {};
}

void answerTextsAndArrays() {
    answers.NewStringUTF = [](JNIEnv *, const char *) { return static_cast<jstring>(object); };
    answers.GetStringUTFChars = [](JNIEnv *, jstring, jboolean *) -> const char * { return givenText; };
    answers.ReleaseStringUTFChars = [](JNIEnv *, jstring, const char *) {};
    answers.GetArrayLength = [](JNIEnv *, jarray) { return constant_java::kArrayLength; };
    answers.GetIntArrayElements = [](JNIEnv *, jintArray, jboolean *isCopy) -> jint * {
        *isCopy = JNI_TRUE;
        return elements;
    };
    answers.ReleaseIntArrayElements = [](JNIEnv *, jintArray, jint *, jint) {};
    answers.GetIntArrayRegion = [](JNIEnv *, jintArray, jsize, jsize count, jint *values) { clear(values, count); };
    answers.GetByteArrayRegion = [](JNIEnv *, jbyteArray, jsize, jsize count, jbyte *values) { clear(values, count); };
    answers.SetIntArrayRegion = [](JNIEnv *, jintArray, jsize, jsize, const jint *) {};
    answers.SetByteArrayRegion = [](JNIEnv *, jbyteArray, jsize, jsize, const jbyte *) {};
}

} // namespace

const jobject constant_java::kObject = object;

JNIEnv *constant_java::env() {
    static JNIEnv environment = {};
    if (environment.functions == nullptr) {
        expectNothing();
        answerLookUps();
        answerFields();
        answerMethods();
        answerTextsAndArrays();
        environment.functions = &answers;
    }
    return &environment;
}

void constant_java::give(jint number, const char *text) {
    givenNumber = number;
    snprintf(givenText, sizeof(givenText), "%s", text);
}
