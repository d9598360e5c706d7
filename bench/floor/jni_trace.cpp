#include "bench/floor/jni_trace.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace trace {

namespace {

Calls *seen;
const JNINativeInterface_ *below; // the table that the traced one stands before
jobject lastObject;               // whose class was asked for last

// The arguments of a call as text. A number before an array's elements is how many there are.
struct Arguments {
    std::string text;
    long long number = 0;

    template <typename Element> void addElements(const Element *elements) {
        for (long long i = 0; i < number; ++i)
            text.append(1, ' ').append(std::to_string(elements[i]));
    }

    template <typename Argument> void add(Argument argument) {
        if constexpr (std::is_integral_v<Argument>) {
            number = argument;
            text.append(1, ' ').append(std::to_string(argument));
        } else if constexpr (std::is_same_v<Argument, const char *>) {
            text.append(1, ' ').append(argument);
        } else if constexpr (std::is_same_v<Argument, const jint *> || std::is_same_v<Argument, const jbyte *>) {
            addElements(argument);
        }
    }
};

template <auto Slot> struct Traced;

template <typename Result, typename... Parameters,
          Result (JNICALL *JNINativeInterface_::*Slot)(JNIEnv *, Parameters...)>
struct Traced<Slot> {
    static inline const char *name;

    static Result JNICALL call(JNIEnv *env, Parameters... parameters) {
        Arguments arguments;
        (arguments.add(parameters), ...);
        seen->calls.push_back(name + arguments.text);
        return (below->*Slot)(env, parameters...);
    }
};

jclass JNICALL getObjectClass(JNIEnv *env, jobject object) {
    lastObject = object;
    seen->calls.emplace_back("GetObjectClass");
    return below->GetObjectClass(env, object);
}

void keepLookUp(JNIEnv *env, const char *name, const char *descriptor, bool isMethod) {
    const jobject object = lastObject == nullptr ? nullptr : below->NewGlobalRef(env, lastObject);
    seen->lookUps.push_back({object, name, descriptor, isMethod});
    seen->calls.push_back(std::string(isMethod ? "GetMethodID " : "GetFieldID ") + name + " " + descriptor);
}

jfieldID JNICALL getFieldId(JNIEnv *env, jclass type, const char *name, const char *descriptor) {
    keepLookUp(env, name, descriptor, false);
    return below->GetFieldID(env, type, name, descriptor);
}

jmethodID JNICALL getMethodId(JNIEnv *env, jclass type, const char *name, const char *descriptor) {
    keepLookUp(env, name, descriptor, true);
    return below->GetMethodID(env, type, name, descriptor);
}

// The characters are the caller's to change: what they are by now is no argument.
void JNICALL releaseStringUtfChars(JNIEnv *env, jstring string, const char *characters) {
    seen->calls.emplace_back("ReleaseStringUTFChars");
    below->ReleaseStringUTFChars(env, string, characters);
}

[[noreturn]] void untraced() {
    fputs("a JNI function that is not traced was called\n", stderr);
    abort();
}

#define TRACED(function)                                                                                               \
    Traced<&JNINativeInterface_::function>::name = #function;                                                          \
    table.function = Traced<&JNINativeInterface_::function>::call

JNINativeInterface_ tracedTable() {
    JNINativeInterface_ table;
    static_assert(sizeof(table) % sizeof(&untraced) == 0);
    for (std::size_t offset = 0; offset < sizeof(table); offset += sizeof(&untraced)) {
        void (*const function)() = untraced;
        memcpy(reinterpret_cast<char *>(&table) + offset, &function, sizeof(function));
    }
    table.GetObjectClass = getObjectClass;
    table.GetFieldID = getFieldId;
    table.GetMethodID = getMethodId;
    table.ReleaseStringUTFChars = releaseStringUtfChars;
    TRACED(DeleteLocalRef);
    TRACED(ExceptionCheck);
    TRACED(GetIntField);
    TRACED(SetIntField);
    TRACED(GetLongField);
    TRACED(SetLongField);
    TRACED(GetCharField);
    TRACED(SetCharField);
    TRACED(GetByteField);
    TRACED(SetByteField);
    TRACED(GetObjectField);
    TRACED(SetObjectField);
    TRACED(NewStringUTF);
    TRACED(GetStringUTFChars);
    TRACED(GetIntArrayRegion);
    TRACED(SetIntArrayRegion);
    TRACED(GetByteArrayRegion);
    TRACED(SetByteArrayRegion);
    TRACED(CallIntMethodV);
    TRACED(CallVoidMethodV);
    TRACED(CallObjectMethodV);
    return table;
}

} // namespace

Calls callsOf(JNIEnv *env, const std::function<void()> &procedure) {
    const JNINativeInterface_ table = tracedTable();
    Calls calls;
    seen = &calls;
    below = env->functions;
    lastObject = nullptr;
    env->functions = &table;
    procedure();
    env->functions = below;
    return calls;
}

void repeat(JNIEnv *env, const std::vector<LookUp> &lookUps) {
    for (const LookUp &lookUp : lookUps) {
        const jclass type = env->GetObjectClass(lookUp.object);
        if (lookUp.isMethod)
            env->GetMethodID(type, lookUp.name.c_str(), lookUp.descriptor.c_str());
        else
            env->GetFieldID(type, lookUp.name.c_str(), lookUp.descriptor.c_str());
        env->DeleteLocalRef(type);
    }
}

} // namespace trace
