#include "harness/balance.h"
#include "harness/jvm.h"
#include "harness/system_calls.h"

#include <cstring>
#include <gtest/gtest.h>
#include <map>

namespace java {

namespace {

const JNINativeInterface_ *below; // the functions that these stand before
int watching = 0;
bool entering = false;                          // the next call of a method is the native method itself
std::multimap<const void *, const char *> kept; // with the function that gave it

template <typename Obtained> Obtained keep(Obtained obtained, const char *function) {
    if (watching > 0 && obtained != nullptr)
        kept.emplace(obtained, function);
    return obtained;
}

void giveBack(const void *obtained) {
    const auto place = kept.find(obtained);
    if (watching > 0 && place != kept.end())
        kept.erase(place);
}

// What Java code does that is called from native code, loading classes even, is its own business.
template <typename Call> auto unwatched(Call call) {
    const int outside = watching;
    watching = entering ? watching : 0;
    entering = false;
    auto result = call();
    watching = outside;
    return result;
}

JNINativeInterface_ countingFunctions() {
    JNINativeInterface_ counting = *below;
    counting.GetObjectClass = [](JNIEnv *e, jobject object) {
        return keep(below->GetObjectClass(e, object), "GetObjectClass");
    };
    counting.FindClass = [](JNIEnv *e, const char *name) { return keep(below->FindClass(e, name), "FindClass"); };
    counting.ExceptionOccurred = [](JNIEnv *e) { return keep(below->ExceptionOccurred(e), "ExceptionOccurred"); };
    counting.NewStringUTF = [](JNIEnv *e, const char *text) {
        return keep(below->NewStringUTF(e, text), "NewStringUTF");
    };
    counting.GetObjectField = [](JNIEnv *e, jobject object, jfieldID id) {
        return keep(below->GetObjectField(e, object, id), "GetObjectField");
    };
    counting.CallObjectMethodV = [](JNIEnv *e, jobject object, jmethodID id, va_list arguments) {
        const bool fromTest = entering;
        jobject result = unwatched([&] { return below->CallObjectMethodV(e, object, id, arguments); });
        return fromTest ? result : keep(result, "CallObjectMethod");
    };
    counting.CallIntMethodV = [](JNIEnv *e, jobject object, jmethodID id, va_list arguments) {
        return unwatched([&] { return below->CallIntMethodV(e, object, id, arguments); });
    };
    counting.CallVoidMethodV = [](JNIEnv *e, jobject object, jmethodID id, va_list arguments) {
        unwatched([&] {
            below->CallVoidMethodV(e, object, id, arguments);
            return 0;
        });
    };
    counting.GetStringUTFChars = [](JNIEnv *e, jstring string, jboolean *isCopy) {
        return keep(below->GetStringUTFChars(e, string, isCopy), "GetStringUTFChars");
    };
    counting.GetIntArrayElements = [](JNIEnv *e, jintArray array, jboolean *isCopy) {
        jint *elements = below->GetIntArrayElements(e, array, isCopy);
        // What is no copy, as of an empty array, needs no release.
        return isCopy != nullptr && *isCopy == JNI_FALSE ? elements : keep(elements, "GetIntArrayElements");
    };
    counting.DeleteLocalRef = [](JNIEnv *e, jobject reference) {
        giveBack(reference);
        below->DeleteLocalRef(e, reference);
    };
    counting.ReleaseStringUTFChars = [](JNIEnv *e, jstring string, const char *characters) {
        giveBack(characters);
        below->ReleaseStringUTFChars(e, string, characters);
    };
    counting.ReleaseIntArrayElements = [](JNIEnv *e, jintArray array, jint *elements, jint mode) {
        giveBack(elements);
        below->ReleaseIntArrayElements(e, array, elements, mode);
    };
    return counting;
}

// The executor may keep what these hand over to it.
bool keepsCharacters(const char *name) {
    return strcmp(name, "userExecutorSetLogNative") == 0 || strcmp(name, "userExecutorSetInstallPathNative") == 0;
}

std::size_t keptBefore;

void begun() {
    keptBefore = kept.size();
    calls::watchBlocks();
    ++watching;
    entering = true;
}

void ended(const char *name, bool returnsObject) {
    --watching;
    entering = false;
    const std::size_t allowed = (returnsObject ? 1u : 0u) + (keepsCharacters(name) ? 1u : 0u);
    EXPECT_EQ(calls::blocksLeft(), 0) << name << " keeps memory";
    if (kept.size() <= keptBefore + allowed) {
        if (watching == 0)
            kept.clear();
        return;
    }
    for (const auto &[obtained, function] : kept)
        ADD_FAILURE() << name << " keeps what " << function << " gave";
    kept.clear();
}

} // namespace

void watchBalance() {
    callInt("checkMaxPortsNative", "(I)I", 0); // what loading the library takes is not a call's
    static PatchedEnv counting;
    below = counting.original;
    counting.functions = countingFunctions();
    observeCalls({begun, ended});
}

std::size_t referencesKept(const std::function<void()> &action) {
    kept.clear();
    ++watching;
    action();
    --watching;
    return kept.size();
}

} // namespace java
