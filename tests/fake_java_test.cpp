// The JNIEnv of the tests itself: what it does as a Java VM does, what it sees, and how it fails.
#include "fake_java/fake_java.h"

#include <gtest/gtest.h>

namespace {

using fake_java::Failure;
using fake_java::Object;
using fake_java::Value;

constexpr char kString[] = "Ljava/lang/String;";

struct FakeJavaTest : testing::Test {
    void SetUp() override {
        fake_java::reset();
        object = fake_java::newObject("Thing");
        handle = fake_java::argument(object);
    }

    // Nothing was done wrong but this.
    static void expectMisuse(const std::string &text) {
        ASSERT_EQ(fake_java::misuses().size(), 1u) << text;
        EXPECT_NE(fake_java::misuses()[0].find(text), std::string::npos) << fake_java::misuses()[0];
    }

    static void expectNoMisuse() {
        EXPECT_EQ(fake_java::misuses(), std::vector<std::string>());
    }

    jfieldID field(const char *name, const char *descriptor) {
        jclass type = env->GetObjectClass(handle);
        const jfieldID id = env->GetFieldID(type, name, descriptor);
        env->DeleteLocalRef(type);
        return id;
    }

    jmethodID method(const char *name, const char *descriptor) {
        jclass type = env->GetObjectClass(handle);
        const jmethodID id = env->GetMethodID(type, name, descriptor);
        env->DeleteLocalRef(type);
        return id;
    }

    JNIEnv *env = fake_java::env();
    Object *object = nullptr;
    jobject handle = nullptr;
};

using FakeJavaDeathTest = FakeJavaTest;

TEST_F(FakeJavaTest, NumbersNarrowToTheirFields) {
    for (const char *descriptor : {"I", "J", "C", "B"})
        fake_java::setNumber(object, descriptor, descriptor, 0);
    env->SetIntField(handle, field("I", "I"), -5);
    env->SetLongField(handle, field("J", "J"), jlong{1} << 40);
    env->SetCharField(handle, field("C", "C"), 0xFFFF);
    env->SetByteField(handle, field("B", "B"), -1);
    EXPECT_EQ(env->GetIntField(handle, field("I", "I")), -5);
    EXPECT_EQ(env->GetLongField(handle, field("J", "J")), jlong{1} << 40);
    EXPECT_EQ(env->GetCharField(handle, field("C", "C")), 0xFFFF);
    EXPECT_EQ(env->GetByteField(handle, field("B", "B")), -1);
    EXPECT_EQ(fake_java::valueOf(object, "J").number, jlong{1} << 40);
    fake_java::endCalls();
    expectNoMisuse();
}

TEST_F(FakeJavaTest, AMissingFieldIsAnExceptionAndItsNullIdentifierDoesNothing) {
    EXPECT_EQ(field("absent", "I"), nullptr);
    EXPECT_EQ(fake_java::takeException(), "java.lang.NoSuchFieldError: absent");
    EXPECT_EQ(env->GetIntField(handle, nullptr), 0);
    env->SetIntField(handle, nullptr, 1);
    EXPECT_EQ(env->GetObjectField(handle, nullptr), nullptr);
    const std::map<std::string, int> counts = {{"GetIntField", 1}, {"GetObjectField", 1}, {"SetIntField", 1}};
    EXPECT_EQ(fake_java::accessesOfNothing(), counts);
    expectNoMisuse();
}

TEST_F(FakeJavaTest, UnknownMembersCanBeMadeUp) {
    fake_java::onUnknownField([](Object *, const std::string &name, const std::string &, Value &value) {
        value.number = static_cast<jlong>(name.size());
        return true;
    });
    EXPECT_EQ(env->GetIntField(handle, field("four", "I")), 4);
    fake_java::onUnknownMethod([](Object *, const std::string &name, const std::string &) -> fake_java::Method {
        if (name == "none")
            return nullptr;
        return [](const fake_java::Arguments &arguments) { return Value{arguments.at(1).number, nullptr}; };
    });
    EXPECT_EQ(env->CallIntMethod(handle, method("second", "(II)I"), 5, 6), 6);
    EXPECT_EQ(method("none", "()V"), nullptr);
    EXPECT_EQ(method("malformed", "(I,I)V"), nullptr);
    EXPECT_EQ(fake_java::takeException(), "java.lang.NoSuchMethodError: malformed");
    expectNoMisuse();
}

TEST_F(FakeJavaTest, AFieldOfAnotherTypeIsMisuse) {
    fake_java::setNumber(object, "count", "I", 1);
    EXPECT_EQ(field("count", "J"), nullptr);
    expectMisuse("field count is I and not J");
}

TEST_F(FakeJavaTest, AnAccessOfAnotherTypeIsMisuse) {
    fake_java::setNumber(object, "count", "I", 1);
    EXPECT_EQ(env->GetByteField(handle, field("count", "I")), 0);
    expectMisuse("GetByteField of count, which is I");
}

TEST_F(FakeJavaTest, AnIdentifierOfAnotherObjectsClassIsMisuse) {
    fake_java::setNumber(object, "count", "I", 1);
    env->GetIntField(fake_java::argument(fake_java::newObject()), field("count", "I"));
    expectMisuse("identifier of another class: count");
}

TEST_F(FakeJavaTest, MethodsTakeAndReturnAndThrow) {
    fake_java::setMethod(object, "mixed", "(IZLjava/lang/String;J[II)Ljava/lang/String;",
                         [](const fake_java::Arguments &arguments) {
                             EXPECT_EQ(arguments.size(), 6u);
                             EXPECT_EQ(arguments[0].number, -1);
                             EXPECT_EQ(arguments[1].number, 1);
                             EXPECT_EQ(arguments[3].number, jlong{1} << 40);
                             EXPECT_EQ(arguments[4].object, nullptr);
                             EXPECT_EQ(arguments[5].number, 7);
                             return Value{0, arguments[2].object};
                         });
    fake_java::setMethod(object, "thrower", "()V", [](const fake_java::Arguments &) {
        fake_java::raise("java.lang.IllegalArgumentException", "no");
        return Value{};
    });
    jstring string = env->NewStringUTF("text");
    jobject result = env->CallObjectMethod(handle, method("mixed", "(IZLjava/lang/String;J[II)Ljava/lang/String;"), -1,
                                           JNI_TRUE, string, jlong{1} << 40, nullptr, 7);
    EXPECT_EQ(fake_java::objectOf(result)->text, "text");
    env->CallVoidMethod(handle, method("thrower", "()V"));
    EXPECT_TRUE(env->ExceptionCheck());
    EXPECT_EQ(fake_java::takeException(), "java.lang.IllegalArgumentException: no");
    EXPECT_FALSE(env->ExceptionCheck());
    expectNoMisuse();
}

TEST_F(FakeJavaTest, DeadReferencesAreSeen) {
    jstring string = env->NewStringUTF("text");
    env->DeleteLocalRef(string);
    EXPECT_EQ(env->GetStringUTFChars(string, nullptr), nullptr);
    expectMisuse("GetStringUTFChars on a dead reference, made by NewStringUTF(), call 1");
}

TEST_F(FakeJavaTest, DeletingTwiceIsMisuse) {
    jstring string = env->NewStringUTF("text");
    env->DeleteLocalRef(string);
    env->DeleteLocalRef(nullptr);
    expectNoMisuse();
    env->DeleteLocalRef(string);
    expectMisuse("DeleteLocalRef on a dead reference");
}

TEST_F(FakeJavaTest, DeletingAnArgumentIsMisuse) {
    env->DeleteLocalRef(handle);
    expectMisuse("DeleteLocalRef of an argument");
}

TEST_F(FakeJavaTest, CharactersAreReleasedOnce) {
    jstring string = env->NewStringUTF("text");
    const char *characters = env->GetStringUTFChars(string, nullptr);
    EXPECT_STREQ(characters, "text");
    env->ReleaseStringUTFChars(string, characters);
    expectNoMisuse();
    env->ReleaseStringUTFChars(string, characters);
    expectMisuse("ReleaseStringUTFChars of what was not obtained, or is released");
}

TEST_F(FakeJavaTest, CharactersOfAnotherStringAreMisuse) {
    const char *characters = env->GetStringUTFChars(env->NewStringUTF("one"), nullptr);
    env->ReleaseStringUTFChars(env->NewStringUTF("two"), characters);
    expectMisuse("ReleaseStringUTFChars with another object");
}

TEST_F(FakeJavaTest, WhatIsLeftIsMisuse) {
    jstring kept = env->NewStringUTF("text");
    env->NewStringUTF("returned");
    env->GetStringUTFChars(kept, nullptr);
    EXPECT_EQ(fake_java::mostReferences(), 2);
    fake_java::endCalls(kept, 1);
    expectMisuse("a local reference is left, made by NewStringUTF(), call 2");
}

TEST_F(FakeJavaTest, CharactersThatAreLeftAreMisuse) {
    fake_java::setString(object, "text", "t");
    auto string = static_cast<jstring>(env->GetObjectField(handle, field("text", kString)));
    env->GetStringUTFChars(string, nullptr);
    env->DeleteLocalRef(string);
    fake_java::endCalls();
    expectMisuse("a copy is not released, made by GetStringUTFChars(text)");
}

TEST_F(FakeJavaTest, RegionsOutsideTheirArrayCopyNothing) {
    auto array = static_cast<jintArray>(fake_java::argument(fake_java::newIntArray({1, 2, 3})));
    jint values[] = {9, 9, 9};
    env->GetIntArrayRegion(array, 1, 2, values);
    EXPECT_EQ(std::vector<jint>(values, values + 3), std::vector<jint>({2, 3, 9}));
    for (const auto &[start, count] : {std::pair{-1, 1}, {0, -1}, {3, 1}, {0, 4}, {2, 0x7FFFFFFF}}) {
        env->GetIntArrayRegion(array, start, count, values);
        EXPECT_EQ(fake_java::takeException().rfind("java.lang.ArrayIndexOutOfBoundsException: ", 0), 0u);
        env->SetIntArrayRegion(array, start, count, values);
        EXPECT_EQ(fake_java::takeException().rfind("java.lang.ArrayIndexOutOfBoundsException: ", 0), 0u);
    }
    env->SetIntArrayRegion(array, 0, 1, values);
    EXPECT_EQ(fake_java::objectOf(array)->ints, std::vector<jint>({2, 2, 3}));
    env->GetIntArrayRegion(nullptr, 0, 1, values);
    EXPECT_EQ(fake_java::takeException(), "java.lang.NullPointerException: array");
    expectNoMisuse();
}

TEST_F(FakeJavaTest, ElementsAreCopiesOrTheArrayItself) {
    for (const bool copies : {true, false}) {
        Object *ints = fake_java::newIntArray({1, 2});
        auto array = static_cast<jintArray>(fake_java::argument(ints));
        fake_java::handOutCopies(copies);
        jboolean isCopy = 7;
        jint *elements = env->GetIntArrayElements(array, &isCopy);
        EXPECT_EQ(isCopy, copies ? JNI_TRUE : JNI_FALSE);
        elements[1] = 5;
        EXPECT_EQ(ints->ints[1], copies ? 2 : 5);
        env->ReleaseIntArrayElements(array, elements, 0);
        EXPECT_EQ(ints->ints[1], 5);
        EXPECT_EQ(env->GetArrayLength(array), 2);
    }
    fake_java::endCalls();
    expectNoMisuse();
}

TEST_F(FakeJavaTest, AnObjectOfAnotherKindIsMisuse) {
    env->GetStringUTFChars(static_cast<jstring>(handle), nullptr);
    expectMisuse("GetStringUTFChars on an object of Thing");
}

TEST_F(FakeJavaTest, NullObjectsAreMisuse) {
    env->GetObjectClass(nullptr);
    expectMisuse("GetObjectClass on null");
}

// --- Faults ----------------------------------------------------------------------------------------------------------

struct Fault {
    const char *function;
    const char *exception;
    std::function<bool(JNIEnv *, jobject)> isNull;
};

TEST_F(FakeJavaTest, ACallFailsInTheMannerOfItsFunction) {
    fake_java::setNumber(object, "field", "I", 3);
    fake_java::setMethod(object, "text", "()Ljava/lang/String;", [](const fake_java::Arguments &) {
        return Value{0, fake_java::newString("t")};
    });
    jobject type = fake_java::argument(fake_java::objectOf(env->GetObjectClass(handle)));
    jobject string = fake_java::argument(fake_java::newString("s"));
    jobject array = fake_java::argument(fake_java::newIntArray({1}));
    const jmethodID text = method("text", "()Ljava/lang/String;");
    const Fault faults[] = {
        {"FindClass", "java.lang.NoClassDefFoundError: A",
         [](JNIEnv *e, jobject) { return e->FindClass("A") == nullptr; }},
        {"GetFieldID", "java.lang.NoSuchFieldError: field",
         [=](JNIEnv *e, jobject) { return e->GetFieldID(static_cast<jclass>(type), "field", "I") == nullptr; }},
        {"GetMethodID", "java.lang.NoSuchMethodError: text",
         [=](JNIEnv *e, jobject) {
             return e->GetMethodID(static_cast<jclass>(type), "text", "()Ljava/lang/String;") == nullptr;
         }},
        {"CallObjectMethod", "java.lang.IllegalStateException: text",
         [=](JNIEnv *e, jobject o) { return e->CallObjectMethod(o, text) == nullptr; }},
        {"NewStringUTF",
         "java.lang.OutOfMemoryError: ", [](JNIEnv *e, jobject) { return e->NewStringUTF("t") == nullptr; }},
        {"GetStringUTFChars", "java.lang.OutOfMemoryError: ",
         [=](JNIEnv *e, jobject) { return e->GetStringUTFChars(static_cast<jstring>(string), nullptr) == nullptr; }},
        {"GetIntArrayElements", "java.lang.OutOfMemoryError: ",
         [=](JNIEnv *e, jobject) { return e->GetIntArrayElements(static_cast<jintArray>(array), nullptr) == nullptr; }},
    };
    for (const Fault &fault : faults)
        for (const Failure how : {Failure::exception, Failure::silent}) {
            fake_java::beginCalls(1, how);
            EXPECT_TRUE(fault.isNull(env, handle)) << fault.function;
            EXPECT_EQ(fake_java::takeException(), how == Failure::silent ? "" : fault.exception);
            EXPECT_FALSE(fault.isNull(env, handle)) << fault.function << " fails once";
            EXPECT_STREQ(fake_java::callsMade().at(0).function, fault.function);
        }
}

TEST_F(FakeJavaTest, WhatCannotFailIsInterrupted) {
    fake_java::setNumber(object, "field", "I", 3);
    const jfieldID id = field("field", "I");
    fake_java::beginCalls(1);
    EXPECT_EQ(env->GetIntField(handle, id), 3);
    EXPECT_EQ(fake_java::takeException(), "java.lang.ThreadDeath: ");
}

TEST_F(FakeJavaTest, CallsWithAnExceptionPendingAreCounted) {
    fake_java::raise("java.lang.Error", "");
    env->ExceptionCheck();
    jclass type = env->GetObjectClass(handle);
    env->DeleteLocalRef(type);
    const std::map<std::string, int> counts = {{"GetObjectClass", 1}};
    EXPECT_EQ(fake_java::callsWhilePending(), counts);
    env->ThrowNew(env->FindClass("java/lang/Exception"), "newer");
    EXPECT_EQ(fake_java::takeException(), "java.lang.Exception: newer");
}

TEST_F(FakeJavaTest, TheHookHearsOfMisuse) {
    std::string heard;
    fake_java::onMisuse([&](const std::string &what) { heard = what; });
    env->GetObjectClass(nullptr);
    EXPECT_EQ(heard, "call 1: GetObjectClass on null");
}

TEST_F(FakeJavaDeathTest, AFunctionThatIsNotThereEndsTheProgram) {
    EXPECT_DEATH(env->MonitorEnter(handle), "not there is called: MonitorEnter");
}

} // namespace
