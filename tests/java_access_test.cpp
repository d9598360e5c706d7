// Reading, writing and calling members of Java objects by name.
#include "harness/library_test.h"

#include "library/shared/java_calls.h"
#include "library/support/CMNImpUtils.h"

#include <arpa/inet.h>
#include <memory>

namespace {

struct JavaAccessTest : LibraryTest {
    void SetUp() override {
        LibraryTest::SetUp();
        env = java::env();
        object = java::make("rk/tests/Members");
    }

    JNIEnv *env = nullptr;
    jobject object = nullptr;
};

TEST_F(JavaAccessTest, SetsFields) {
    SetJavaIntField(env, object, "intField", -2000000000);
    SetJavaLongField(env, object, "longField", -0x123456789ABCDEF0);
    SetJavaCharField(env, object, "charField", 0x1234);
    SetJavaByteField(env, object, "byteField", -7);
    SetJavaStringField(env, object, "stringField", "a text");
    EXPECT_EQ(java::getInt(object, "intField"), -2000000000);
    EXPECT_EQ(java::getLong(object, "longField"), -0x123456789ABCDEF0);
    EXPECT_EQ(java::getChar(object, "charField"), 0x1234);
    EXPECT_EQ(java::getByte(object, "byteField"), -7);
    EXPECT_EQ(java::getString(object, "stringField"), "a text");
}

TEST_F(JavaAccessTest, NarrowFieldsTakeTheLowBits) {
    SetJavaByteField(env, object, "byteField", 0x1FF);
    SetJavaCharField(env, object, "charField", 0x12345);
    EXPECT_EQ(java::getByte(object, "byteField"), -1);
    EXPECT_EQ(java::getChar(object, "charField"), 0x2345);
}

TEST_F(JavaAccessTest, GetsFieldsThroughThePointerAndAsResult) {
    jint number = 0;
    EXPECT_EQ(GetJavaIntField(env, object, "intField", &number), 11);
    EXPECT_EQ(number, 11);
    jlong large = 0;
    java::setLong(object, "longField", 0x1122334455667788);
    GetJavaLongField(env, object, "longField", &large);
    EXPECT_EQ(large, 0x1122334455667788);
    jchar character = 0;
    EXPECT_EQ(GetJavaCharField(env, object, "charField", &character), 13);
    EXPECT_EQ(character, 13);
    jbyte byte = 0;
    GetJavaByteField(env, object, "byteField", &byte);
    EXPECT_EQ(byte, 14);
    jstring string = nullptr;
    const jstring result = GetJavaStringField(env, object, "stringField", &string);
    EXPECT_EQ(result, string);
    EXPECT_EQ(java::text(string), "fifteen");
}

TEST_F(JavaAccessTest, ANullStringReadsAsNull) {
    java::setNull(object, "stringField", "Ljava/lang/String;");
    jstring string = java::makeString("before");
    EXPECT_EQ(GetJavaStringField(env, object, "stringField", &string), nullptr);
    EXPECT_EQ(string, nullptr);
}

TEST_F(JavaAccessTest, AddressesBecomeDottedText) {
    SetJavaStringFieldToAddr(env, object, "stringField", htonl(0x0A000001));
    EXPECT_EQ(java::getString(object, "stringField"), "10.0.0.1");
    SetJavaStringFieldToAddr(env, object, "stringField", 0xFFFFFFFF);
    EXPECT_EQ(java::getString(object, "stringField"), "255.255.255.255");
}

TEST_F(JavaAccessTest, CopiesArrayRegions) {
    const jint ints[] = {70, 80};
    EXPECT_EQ(SetJavaIntArrayField(env, object, "intArray", 1, 2, ints), 0);
    EXPECT_EQ(java::getInts(object, "intArray"), std::vector<jint>({1, 70, 80, 4}));
    const jbyte bytes[] = {-1, -2, -3};
    EXPECT_EQ(SetJavaByteArrayField(env, object, "byteArray", 1, 3, bytes), 0);
    EXPECT_EQ(java::getBytes(object, "byteArray"), std::vector<int>({5, -1, -2, -3}));

    jint intsOut[] = {0, 0, 99};
    GetJavaIntArrayField(env, object, "intArray", 2, 2, intsOut);
    EXPECT_EQ(std::vector<jint>(intsOut, intsOut + 3), std::vector<jint>({80, 4, 99}));
    jbyte bytesOut[] = {0, 0, 99};
    GetJavaByteArrayField(env, object, "byteArray", 0, 2, bytesOut);
    EXPECT_EQ(std::vector<int>(bytesOut, bytesOut + 3), std::vector<int>({5, -1, 99}));
}

TEST_F(JavaAccessTest, NoElementsAreCopiedForACountOfZero) {
    EXPECT_EQ(SetJavaIntArrayField(env, object, "intArray", 0, 0, nullptr), 0);
    EXPECT_EQ(java::getInts(object, "intArray"), std::vector<jint>({1, 2, 3, 4}));
}

TEST_F(JavaAccessTest, ARegionOutsideTheArrayLeavesTheExceptionAndCopiesNothing) {
    const jint ints[] = {7, 7, 7, 7, 7};
    EXPECT_EQ(SetJavaIntArrayField(env, object, "intArray", 0, 5, ints), 0);
    EXPECT_NE(java::takeException().find("ArrayIndexOutOfBounds"), std::string::npos);
    EXPECT_EQ(java::getInts(object, "intArray"), std::vector<jint>({1, 2, 3, 4}));
    const jbyte bytes[] = {7, 7, 7, 7, 7};
    EXPECT_EQ(SetJavaByteArrayField(env, object, "byteArray", -1, 1, bytes), 0);
    EXPECT_NE(java::takeException().find("ArrayIndexOutOfBounds"), std::string::npos);
    EXPECT_EQ(java::getBytes(object, "byteArray"), std::vector<int>({5, 6, 7, 8}));

    jint intOut = 99;
    GetJavaIntArrayField(env, object, "intArray", 4, 1, &intOut);
    EXPECT_NE(java::takeException().find("ArrayIndexOutOfBounds"), std::string::npos);
    EXPECT_EQ(intOut, 99);
    jbyte byteOut = 99;
    GetJavaByteArrayField(env, object, "byteArray", 4, 1, &byteOut);
    EXPECT_NE(java::takeException().find("ArrayIndexOutOfBounds"), std::string::npos);
    EXPECT_EQ(byteOut, 99);
}

TEST_F(JavaAccessTest, ANullArrayLeavesAnExceptionAndTheVmUp) {
    java::setNull(object, "intArray", "[I");
    java::setNull(object, "byteArray", "[B");
    jint number = 99;
    jbyte byte = 99;
    EXPECT_EQ(SetJavaIntArrayField(env, object, "intArray", 0, 1, &number), 0);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: intArray");
    EXPECT_EQ(SetJavaByteArrayField(env, object, "byteArray", 0, 1, &byte), 0);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: byteArray");
    GetJavaIntArrayField(env, object, "intArray", 0, 1, &number);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: intArray");
    GetJavaByteArrayField(env, object, "byteArray", 0, 1, &byte);
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: byteArray");
    EXPECT_EQ(number, 99);
    EXPECT_EQ(byte, 99);
}

// --- Members that are missing: what is done with the null identifier, seen in place of the VM ------------------------

std::vector<std::string> seen;

void see(const char *what, bool null) {
    seen.push_back(std::string(what) + (null ? " null" : " something"));
}

struct MissingMemberTest : JavaAccessTest {
    void SetUp() override {
        JavaAccessTest::SetUp();
        seen.clear();
        patched = std::make_unique<java::PatchedEnv>();
        auto &table = patched->functions;
        table.GetFieldID = [](JNIEnv *, jclass, const char *, const char *) -> jfieldID { return nullptr; };
        table.SetIntField = [](JNIEnv *, jobject, jfieldID id, jint) { see("SetIntField", id == nullptr); };
        table.SetLongField = [](JNIEnv *, jobject, jfieldID id, jlong) { see("SetLongField", id == nullptr); };
        table.SetCharField = [](JNIEnv *, jobject, jfieldID id, jchar) { see("SetCharField", id == nullptr); };
        table.SetByteField = [](JNIEnv *, jobject, jfieldID id, jbyte) { see("SetByteField", id == nullptr); };
        table.SetObjectField = [](JNIEnv *, jobject, jfieldID id, jobject) { see("SetObjectField", id == nullptr); };
        table.GetIntField = [](JNIEnv *, jobject, jfieldID id) {
            see("GetIntField", id == nullptr);
            return jint{21};
        };
        table.GetLongField = [](JNIEnv *, jobject, jfieldID id) {
            see("GetLongField", id == nullptr);
            return jlong{22};
        };
        table.GetCharField = [](JNIEnv *, jobject, jfieldID id) {
            see("GetCharField", id == nullptr);
            return jchar{23};
        };
        table.GetByteField = [](JNIEnv *, jobject, jfieldID id) {
            see("GetByteField", id == nullptr);
            return jbyte{24};
        };
        table.GetObjectField = [](JNIEnv *, jobject, jfieldID id) -> jobject {
            see("GetObjectField", id == nullptr);
            return nullptr;
        };
        table.GetIntArrayRegion = [](JNIEnv *, jintArray array, jsize, jsize, jint *) {
            see("GetIntArrayRegion", array == nullptr);
        };
        table.GetByteArrayRegion = [](JNIEnv *, jbyteArray array, jsize, jsize, jbyte *) {
            see("GetByteArrayRegion", array == nullptr);
        };
        table.SetIntArrayRegion = [](JNIEnv *, jintArray array, jsize, jsize, const jint *) {
            see("SetIntArrayRegion", array == nullptr);
        };
        table.SetByteArrayRegion = [](JNIEnv *, jbyteArray array, jsize, jsize, const jbyte *) {
            see("SetByteArrayRegion", array == nullptr);
        };
    }

    void TearDown() override {
        patched.reset();
        JavaAccessTest::TearDown();
    }

    std::unique_ptr<java::PatchedEnv> patched;
};

TEST_F(MissingMemberTest, FieldHelpersGoOnWithTheNullIdentifier) {
    jint number = 0;
    jlong large = 0;
    jchar character = 0;
    jbyte byte = 0;
    jstring string = nullptr;
    SetJavaIntField(env, object, "absent", 1);
    SetJavaLongField(env, object, "absent", 1);
    SetJavaCharField(env, object, "absent", 1);
    SetJavaByteField(env, object, "absent", 1);
    SetJavaStringField(env, object, "absent", "text");
    SetJavaStringFieldToAddr(env, object, "absent", 1);
    EXPECT_EQ(GetJavaIntField(env, object, "absent", &number), 21);
    GetJavaLongField(env, object, "absent", &large);
    EXPECT_EQ(large, 22);
    EXPECT_EQ(GetJavaCharField(env, object, "absent", &character), 23);
    GetJavaByteField(env, object, "absent", &byte);
    EXPECT_EQ(byte, 24);
    EXPECT_EQ(GetJavaStringField(env, object, "absent", &string), nullptr);
    EXPECT_EQ(seen, std::vector<std::string>({"SetIntField null", "SetLongField null", "SetCharField null",
                                              "SetByteField null", "SetObjectField null", "SetObjectField null",
                                              "GetIntField null", "GetLongField null", "GetCharField null",
                                              "GetByteField null", "GetObjectField null"}));
}

TEST_F(MissingMemberTest, SettingAnArrayTouchesNothing) {
    const jint number = 1;
    const jbyte byte = 1;
    EXPECT_EQ(SetJavaIntArrayField(env, object, "absent", 0, 1, &number), 0);
    EXPECT_EQ(SetJavaByteArrayField(env, object, "absent", 0, 1, &byte), 0);
    EXPECT_TRUE(seen.empty());
}

TEST_F(MissingMemberTest, ReadingAnArrayTriesTheCopyOnANullArray) {
    jint number = 1;
    jbyte byte = 1;
    GetJavaIntArrayField(env, object, "absent", 0, 1, &number);
    GetJavaByteArrayField(env, object, "absent", 0, 1, &byte);
    EXPECT_EQ(seen, std::vector<std::string>({"GetObjectField null", "GetIntArrayRegion null", "GetObjectField null",
                                              "GetByteArrayRegion null"}));
}

// --- Methods ---------------------------------------------------------------------------------------------------------

TEST_F(JavaAccessTest, CallsMethods) {
    jint number = 0;
    EXPECT_EQ(GetIntFromJavaMethod(env, object, "number", &number), 0);
    EXPECT_EQ(java::takeException(), "");
    EXPECT_EQ(number, 4711);
    EXPECT_EQ(GetIntFromJavaMethodIndex(env, object, "numberAt", 7, &number), 0);
    EXPECT_EQ(java::takeException(), "");
    EXPECT_EQ(number, 70);
    EXPECT_EQ(SetIntJavaMethod(env, object, "takeNumber", 99), 0);
    EXPECT_EQ(java::takeException(), "");
    EXPECT_EQ(java::getInt(object, "called"), 99);
    jstring string = nullptr;
    EXPECT_EQ(GetStringFromJavaMethodIndex(env, object, "textAt", 3, &string), 0);
    EXPECT_EQ(java::takeException(), "");
    EXPECT_EQ(java::text(string), "text 3");
    jobject result = nullptr;
    EXPECT_EQ(GetObjectFromJavaMethod(env, object, "self", "()Lrk/tests/Members;", &result), 0);
    EXPECT_EQ(java::takeException(), "");
    EXPECT_TRUE(env->IsSameObject(result, object));
    result = nullptr;
    EXPECT_EQ(GetObjectFromJavaMethodIndex(env, object, "selfAt", "(I)Lrk/tests/Members;", 5, &result), 0);
    EXPECT_EQ(java::takeException(), "");
    EXPECT_TRUE(env->IsSameObject(result, object));
    EXPECT_EQ(java::getInt(object, "calledIndex"), 5);
}

TEST_F(JavaAccessTest, MissingMethodsGiveMinusOneAndLeaveResultsAlone) {
    jint number = 99;
    jstring string = nullptr;
    jobject result = object;
    const std::string missing = "java.lang.NoSuchMethodError: ";
    EXPECT_EQ(GetIntFromJavaMethod(env, object, "absent", &number), -1);
    EXPECT_EQ(java::takeException(), missing + "absent");
    EXPECT_EQ(GetIntFromJavaMethod(env, object, "numberAt", &number), -1); // another descriptor
    EXPECT_NE(java::takeException().find("numberAt"), std::string::npos);
    EXPECT_EQ(GetIntFromJavaMethodIndex(env, object, "absent", 1, &number), -1);
    EXPECT_EQ(java::takeException(), missing + "absent");
    EXPECT_EQ(SetIntJavaMethod(env, object, "absent", 1), -1);
    EXPECT_EQ(java::takeException(), missing + "absent");
    EXPECT_EQ(GetStringFromJavaMethodIndex(env, object, "absent", 1, &string), -1);
    EXPECT_EQ(java::takeException(), missing + "absent");
    EXPECT_EQ(GetObjectFromJavaMethod(env, object, "absent", "()Lrk/tests/Members;", &result), -1);
    EXPECT_EQ(java::takeException(), missing + "absent");
    EXPECT_EQ(GetObjectFromJavaMethodIndex(env, object, "absent", "(I)Lrk/tests/Members;", 1, &result), -1);
    EXPECT_EQ(java::takeException(), missing + "absent");
    EXPECT_EQ(number, 99);
    EXPECT_EQ(string, nullptr);
    EXPECT_EQ(result, object);
}

TEST_F(JavaAccessTest, SettingAnIntByIndexAlwaysFails) {
    static std::string descriptor;
    descriptor.clear();
    {
        java::PatchedEnv patched;
        patched.functions.GetMethodID = [](JNIEnv *, jclass, const char *, const char *signature) -> jmethodID {
            descriptor = signature;
            return nullptr;
        };
        EXPECT_EQ(SetIntJavaMethodIndex(env, object, "takeNumberAt", 1, 2), -1);
    }
    EXPECT_EQ(descriptor, "(I,I)V");
    EXPECT_EQ(SetIntJavaMethodIndex(env, object, "takeNumberAt", 1, 2), -1);
    EXPECT_NE(java::takeException(), "");
    EXPECT_EQ(java::getInt(object, "called"), 0);
}

// What it would do with a Java VM that takes the descriptor.
TEST_F(JavaAccessTest, SettingAnIntByIndexPassesIndexAndValue) {
    java::PatchedEnv patched;
    static const JNINativeInterface_ *original;
    original = patched.original;
    patched.functions.GetMethodID = [](JNIEnv *e, jclass type, const char *name, const char *) {
        return original->GetMethodID(e, type, name, "(II)V");
    };
    EXPECT_EQ(SetIntJavaMethodIndex(env, object, "takeNumberAt", 3, 40), 0);
    EXPECT_EQ(java::takeException(), "");
    EXPECT_EQ(java::getInt(object, "calledIndex"), 3);
    EXPECT_EQ(java::getInt(object, "called"), 40);
}

TEST_F(JavaAccessTest, AMethodThatThrowsReturnsZeroAndItsExceptionStays) {
    jint number = 0;
    EXPECT_EQ(GetIntFromJavaMethod(env, object, "fails", &number), 0);
    EXPECT_EQ(java::takeException(), "java.lang.IllegalStateException: it fails");
}

TEST_F(JavaAccessTest, AppendsToAStringBuffer) {
    jobject buffer = java::make("java/lang/StringBuffer");
    jobject result = AppendJavaStringBuffer(env, buffer, java::makeString("one"));
    EXPECT_EQ(java::takeException(), "");
    EXPECT_TRUE(env->IsSameObject(result, buffer));
    AppendJavaStringBuffer(env, buffer, java::makeString(" two"));
    EXPECT_EQ(java::takeException(), "");
    EXPECT_EQ(java::text(buffer), "one two");
}

TEST_F(JavaAccessTest, NothingIsAppendedToAnotherObject) {
    const std::string missing = "java.lang.NoSuchMethodError: ";
    EXPECT_EQ(AppendJavaStringBuffer(env, object, java::makeString("one")), nullptr);
    EXPECT_EQ(java::takeException().substr(0, missing.size()), missing);
    jobject builder = java::make("java/lang/StringBuilder");
    executor::answer(3, executor::reply({{220, 0}}));
    EXPECT_EQ(java::call("getClustersListNative", builder), 0);
    EXPECT_EQ(java::takeException().substr(0, missing.size()), missing);
    EXPECT_EQ(java::text(builder), "");
}

TEST_F(JavaAccessTest, HelpersLeaveNoClassReferenceBehind) {
    static int classes;
    classes = 0;
    static const JNINativeInterface_ *original;
    java::PatchedEnv patched;
    original = patched.original;
    patched.functions.GetObjectClass = [](JNIEnv *e, jobject o) {
        ++classes;
        return original->GetObjectClass(e, o);
    };
    patched.functions.DeleteLocalRef = [](JNIEnv *e, jobject o) {
        if (o != nullptr && original->IsInstanceOf(e, o, original->FindClass(e, "java/lang/Class")))
            --classes;
        original->DeleteLocalRef(e, o);
    };
    jint number = 0;
    SetJavaIntField(env, object, "intField", 1);
    GetIntFromJavaMethod(env, object, "number", &number);
    EXPECT_EQ(env->ExceptionCheck(), JNI_FALSE);
    jobject buffer = java::make("java/lang/StringBuffer");
    classes = 0;
    SetJavaStringField(env, object, "stringField", "text");
    GetJavaIntArrayField(env, object, "intArray", 0, 1, &number);
    AppendJavaStringBuffer(env, buffer, nullptr);
    EXPECT_EQ(env->ExceptionCheck(), JNI_FALSE);
    EXPECT_EQ(classes, 0);
}

TEST_F(JavaAccessTest, NoCharactersOfANullString) {
    EXPECT_EQ(rk::utfChars(env, nullptr), nullptr);
}

TEST_F(JavaAccessTest, ARequiredObjectThatIsNullIsNamed) {
    EXPECT_TRUE(rk::requireObject(env, object, "cluster"));
    EXPECT_EQ(java::takeException(), "");
    EXPECT_FALSE(rk::requireObject(env, nullptr, "cluster"));
    EXPECT_EQ(java::takeException(), "java.lang.NullPointerException: cluster");
}

TEST_F(JavaAccessTest, ARequiredObjectThatIsNullLeavesAnEarlierExceptionAlone) {
    env->ThrowNew(env->FindClass("java/lang/IllegalStateException"), "earlier");
    EXPECT_FALSE(rk::requireObject(env, nullptr, "cluster"));
    EXPECT_EQ(java::takeException(), "java.lang.IllegalStateException: earlier");
}

TEST_F(JavaAccessTest, ARequiredObjectIsMissingEvenWhenThatCannotBeThrown) {
    java::PatchedEnv patched;
    patched.functions.FindClass = [](JNIEnv *, const char *) -> jclass { return nullptr; };
    EXPECT_FALSE(rk::requireObject(env, nullptr, "cluster"));
}

TEST_F(JavaAccessTest, ACallThatFindsNoMethodFailsEvenWithoutAnException) {
    java::PatchedEnv patched;
    patched.functions.GetMethodID = [](JNIEnv *, jclass, const char *, const char *) -> jmethodID { return nullptr; };
    jint number = 7;
    EXPECT_FALSE(rk::callInt(env, object, "number", number));
    EXPECT_FALSE(rk::callWithInt(env, object, "takeNumber", 1));
    EXPECT_EQ(number, 7);
}

} // namespace
