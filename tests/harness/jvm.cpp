#include "harness/jvm.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <utility>

// Makes the VM take the program itself for the library when Java loads "cmnexecutor".
extern "C" JNIEXPORT jint JNICALL JNI_OnLoad_cmnexecutor(JavaVM *, void *) {
    return JNI_VERSION_1_8;
}

namespace java {

namespace {

constexpr char kString[] = "Ljava/lang/String;";

std::string &output() {
    static std::string text;
    return text;
}

jint keepOutput(FILE *, const char *format, va_list arguments) {
    char text[4096];
    const int length = vsnprintf(text, sizeof(text), format, arguments);
    output() += text;
    return length;
}

// What the VM is started with besides the class path and the checks.
std::string memoryOptions() {
    const char *others = getenv("RK_TEST_JVM_OPTIONS");
    return others == nullptr ? "-Xmx512m -XX:+UseSerialGC" : others;
}

JNIEnv *startVm() {
    std::vector<std::string> texts = {"-Djava.class.path=" TEST_CLASS_PATH, JVM_OPTION}; // -Xcheck:jni in tests
    std::istringstream more(memoryOptions());
    for (std::string option; more >> option;)
        texts.push_back(option);
    char hook[] = "vfprintf";
    std::vector<JavaVMOption> options = {{hook, reinterpret_cast<void *>(keepOutput)}};
    for (std::string &text : texts)
        options.push_back({text.data(), nullptr});
    JavaVMInitArgs arguments = {JNI_VERSION_10, static_cast<jint>(options.size()), options.data(), JNI_FALSE};
    JavaVM *vm = nullptr;
    void *environment = nullptr;
    if (JNI_CreateJavaVM(&vm, &environment, &arguments) != JNI_OK) {
        fprintf(stderr, "the Java VM does not start\n%s", output().c_str());
        exit(1);
    }
    return static_cast<JNIEnv *>(environment);
}

[[noreturn]] void fail(const char *what, const std::string &name) {
    fprintf(stderr, "%s: %s\n", what, name.c_str());
    if (env()->ExceptionCheck())
        env()->ExceptionDescribe();
    exit(1);
}

jclass classNamed(const std::string &name) {
    const std::string full = name.find('/') == std::string::npos ? kCommon + name : name;
    jclass type = env()->FindClass(full.c_str());
    if (type == nullptr)
        fail("no such class", full);
    return type;
}

jfieldID field(jobject object, const char *name, const char *descriptor) {
    jclass type = env()->GetObjectClass(object);
    jfieldID id = env()->GetFieldID(type, name, descriptor);
    if (id == nullptr)
        fail("no such field", name);
    env()->DeleteLocalRef(type);
    return id;
}

// By the constructor of this descriptor; one without parameters does not look at the argument.
jobject construct(const std::string &name, const char *descriptor, jint argument) {
    jclass type = classNamed(name);
    jobject object = env()->NewObject(type, env()->GetMethodID(type, "<init>", descriptor), argument);
    if (env()->ExceptionCheck())
        fail("cannot construct", name);
    env()->DeleteLocalRef(type);
    return object;
}

jobject interfaceObject() {
    static const jobject object = env()->NewGlobalRef(make("CMNExecutorInterface"));
    return object;
}

CallObserver callObserver = {[] {}, [](const char *, bool) {}};

// The VM's checks want every call of Java code to be followed by a look for exceptions; tests look in takeException.
void ended(const char *name, bool returnsObject = false) {
    env()->ExceptionCheck();
    callObserver.ended(name, returnsObject);
}

jmethodID method(jobject object, const char *name, const char *descriptor) {
    jclass type = env()->GetObjectClass(object);
    jmethodID id = env()->GetMethodID(type, name, descriptor);
    if (id == nullptr)
        fail("no such method", name);
    env()->DeleteLocalRef(type);
    return id;
}

} // namespace

JNIEnv *env() {
    static JNIEnv *environment = startVm();
    return environment;
}

std::string vmVersion() {
    jclass system = classNamed("java/lang/System");
    const jmethodID property =
        env()->GetStaticMethodID(system, "getProperty", "(Ljava/lang/String;)Ljava/lang/String;");
    jstring name = makeString("java.vm.version");
    jobject version = env()->CallStaticObjectMethod(system, property, name);
    env()->ExceptionCheck(); // the VM's checks want it
    std::string result = text(version) + " " + memoryOptions();
    for (jobject reference : {static_cast<jobject>(system), static_cast<jobject>(name), version})
        env()->DeleteLocalRef(reference);
    return result;
}

const std::string &vmOutput() {
    return output();
}

std::string takeVmOutput() {
    return std::exchange(output(), "");
}

LocalFrame::LocalFrame() {
    env()->PushLocalFrame(256);
}

LocalFrame::~LocalFrame() {
    env()->PopLocalFrame(nullptr);
}

jobject make(const std::string &name) {
    return construct(name, "()V", 0);
}

jobject makeWithInt(const std::string &name, jint argument) {
    return construct(name, "(I)V", argument);
}

jobject makeIntArray(const std::vector<jint> &values) {
    const auto size = static_cast<jsize>(values.size());
    jintArray array = env()->NewIntArray(size);
    env()->SetIntArrayRegion(array, 0, size, values.data());
    return array;
}

jobject makeByteArray(const std::vector<int> &values) {
    const std::vector<jbyte> bytes(values.begin(), values.end());
    const auto size = static_cast<jsize>(bytes.size());
    jbyteArray array = env()->NewByteArray(size);
    env()->SetByteArrayRegion(array, 0, size, bytes.data());
    return array;
}

jstring makeString(const std::string &text) {
    return env()->NewStringUTF(text.c_str());
}

void setByte(jobject object, const char *name, int value) {
    env()->SetByteField(object, field(object, name, "B"), static_cast<jbyte>(value));
}

void setInt(jobject object, const char *name, jint value) {
    env()->SetIntField(object, field(object, name, "I"), value);
}

void setLong(jobject object, const char *name, jlong value) {
    env()->SetLongField(object, field(object, name, "J"), value);
}

void setChar(jobject object, const char *name, int value) {
    env()->SetCharField(object, field(object, name, "C"), static_cast<jchar>(value));
}

void setString(jobject object, const char *name, const std::string &text) {
    setObject(object, name, kString, makeString(text));
}

void setNull(jobject object, const char *name, const char *descriptor) {
    setObject(object, name, descriptor, nullptr);
}

void setObject(jobject object, const char *name, const char *descriptor, jobject value) {
    env()->SetObjectField(object, field(object, name, descriptor), value);
}

int getByte(jobject object, const char *name) {
    return env()->GetByteField(object, field(object, name, "B"));
}

jint getInt(jobject object, const char *name) {
    return env()->GetIntField(object, field(object, name, "I"));
}

jlong getLong(jobject object, const char *name) {
    return env()->GetLongField(object, field(object, name, "J"));
}

int getChar(jobject object, const char *name) {
    return env()->GetCharField(object, field(object, name, "C"));
}

std::string getString(jobject object, const char *name) {
    return text(env()->GetObjectField(object, field(object, name, kString)));
}

std::vector<int> getBytes(jobject object, const char *name) {
    auto array = static_cast<jbyteArray>(env()->GetObjectField(object, field(object, name, "[B")));
    std::vector<jbyte> bytes(static_cast<std::size_t>(env()->GetArrayLength(array)));
    env()->GetByteArrayRegion(array, 0, static_cast<jsize>(bytes.size()), bytes.data());
    return {bytes.begin(), bytes.end()};
}

std::vector<jint> getInts(jobject object, const char *name) {
    return intsOf(env()->GetObjectField(object, field(object, name, "[I")));
}

std::vector<jint> intsOf(jobject object) {
    auto array = static_cast<jintArray>(object);
    std::vector<jint> values(static_cast<std::size_t>(env()->GetArrayLength(array)));
    env()->GetIntArrayRegion(array, 0, static_cast<jsize>(values.size()), values.data());
    return values;
}

std::string text(jobject object) {
    if (object == nullptr)
        return "(null)";
    auto string =
        static_cast<jstring>(env()->CallObjectMethod(object, method(object, "toString", "()Ljava/lang/String;")));
    if (env()->ExceptionCheck())
        fail("toString throws", "");
    const char *characters = env()->GetStringUTFChars(string, nullptr);
    std::string result = characters;
    env()->ReleaseStringUTFChars(string, characters);
    return result;
}

void observeCalls(const CallObserver &observer) {
    callObserver = observer;
}

jint callInt(const char *name, const char *descriptor, ...) {
    va_list arguments;
    va_start(arguments, descriptor);
    const jmethodID id = method(interfaceObject(), name, descriptor);
    callObserver.begun();
    const jint result = env()->CallIntMethodV(interfaceObject(), id, arguments);
    ended(name);
    va_end(arguments);
    return result;
}

bool callBoolean(const char *name, const char *descriptor, ...) {
    va_list arguments;
    va_start(arguments, descriptor);
    const jmethodID id = method(interfaceObject(), name, descriptor);
    callObserver.begun();
    const bool result = env()->CallBooleanMethodV(interfaceObject(), id, arguments) != JNI_FALSE;
    ended(name);
    va_end(arguments);
    return result;
}

void callVoid(const char *name, const char *descriptor, ...) {
    va_list arguments;
    va_start(arguments, descriptor);
    const jmethodID id = method(interfaceObject(), name, descriptor);
    callObserver.begun();
    env()->CallVoidMethodV(interfaceObject(), id, arguments);
    ended(name);
    va_end(arguments);
}

jobject callObject(const char *name, const char *descriptor, ...) {
    va_list arguments;
    va_start(arguments, descriptor);
    const jmethodID id = method(interfaceObject(), name, descriptor);
    callObserver.begun();
    jobject result = env()->CallObjectMethodV(interfaceObject(), id, arguments);
    ended(name, result != nullptr);
    va_end(arguments);
    return result;
}

jint call(const char *name, jobject argument) {
    return callInt(name, "(Ljava/lang/Object;)I", argument);
}

std::string takeException() {
    jthrowable thrown = env()->ExceptionOccurred();
    if (thrown == nullptr)
        return "";
    env()->ExceptionClear();
    return text(thrown);
}

namespace {

// How many functions the running VM's table has behind those that the build's JDK knows; the VM's own code calls them.
std::size_t functionsBehind(jint version) {
    constexpr std::size_t kKnown = sizeof(JNINativeInterface_) / sizeof(void *);
    const std::size_t all = version >= 0x00180000 ? 236 : version >= 0x00130000 ? 235 : 234; // JDK 24, 19, 10
    return all > kKnown ? all - kKnown : 0;
}

} // namespace

PatchedEnv::PatchedEnv() : functions(*env()->functions), original(env()->functions) {
    const std::size_t behind = functionsBehind(env()->GetVersion());
    memcpy(newer, original + 1, behind * sizeof(void *));
    env()->functions = &functions;
}

PatchedEnv::~PatchedEnv() {
    env()->functions = original;
}

namespace {

// What patched functions, which are plain functions, work on. `below` is the table that they stand before.
const JNINativeInterface_ *below;
const JNINativeInterface_ *belowFailing; // the same for a FailingMethod, within which others may be used
std::vector<std::string> names;
std::string failingName;
Failure failingWay;
int untilFailure;
jmethodID failingMethod;

jfieldID recordField(JNIEnv *e, jclass type, const char *name, const char *descriptor) {
    names.emplace_back(name);
    return below->GetFieldID(e, type, name, descriptor);
}

// The native method that a test calls is looked up by the harness, not by the library.
jmethodID recordMethod(JNIEnv *e, jclass type, const char *name, const char *descriptor) {
    if (!below->IsInstanceOf(e, interfaceObject(), type))
        names.emplace_back(std::string(name) + "()");
    return below->GetMethodID(e, type, name, descriptor);
}

bool failsNow(JNIEnv *e, const char *exception) {
    if (--untilFailure != 0)
        return false;
    jclass type = belowFailing->FindClass(e, exception);
    belowFailing->ThrowNew(e, type, failingName.c_str());
    belowFailing->DeleteLocalRef(e, type);
    return true;
}

bool callFails(JNIEnv *e, jmethodID id) {
    return failingWay == Failure::call && id == failingMethod && failsNow(e, "java/lang/IllegalStateException");
}

} // namespace

FailingMethod::FailingMethod(const std::string &name, Failure failure, int which) {
    belowFailing = original;
    failingName = name;
    failingWay = failure;
    untilFailure = which;
    failingMethod = nullptr;
    functions.GetMethodID = [](JNIEnv *e, jclass type, const char *member, const char *descriptor) -> jmethodID {
        const bool named = failingName == member;
        if (named && failingWay == Failure::lookUp && failsNow(e, "java/lang/NoSuchMethodError"))
            return nullptr;
        const jmethodID id = belowFailing->GetMethodID(e, type, member, descriptor);
        if (named)
            failingMethod = id;
        return id;
    };
    functions.CallIntMethodV = [](JNIEnv *e, jobject object, jmethodID id, va_list arguments) {
        return callFails(e, id) ? 0 : belowFailing->CallIntMethodV(e, object, id, arguments);
    };
    functions.CallVoidMethodV = [](JNIEnv *e, jobject object, jmethodID id, va_list arguments) {
        if (!callFails(e, id))
            belowFailing->CallVoidMethodV(e, object, id, arguments);
    };
    functions.CallObjectMethodV = [](JNIEnv *e, jobject object, jmethodID id, va_list arguments) {
        return callFails(e, id) ? nullptr : belowFailing->CallObjectMethodV(e, object, id, arguments);
    };
}

// The VM itself takes characters when it loads the library and, of their symbols, when natives are called first.
FailingCharacters::FailingCharacters(int which) {
    interfaceObject();
    belowFailing = original;
    untilFailure = which;
    functions.GetStringUTFChars = [](JNIEnv *e, jstring string, jboolean *isCopy) -> const char * {
        const char *characters = belowFailing->GetStringUTFChars(e, string, isCopy);
        if (characters == nullptr || strncmp(characters, "Java_", 5) == 0 || --untilFailure != 0)
            return characters;
        belowFailing->ReleaseStringUTFChars(e, string, characters);
        return nullptr;
    };
}

std::vector<std::string> fieldsLookedUp(const std::function<void()> &action) {
    PatchedEnv patched;
    below = patched.original;
    names.clear();
    patched.functions.GetFieldID = recordField;
    action();
    return names;
}

std::vector<std::string> membersLookedUp(const std::function<void()> &action) {
    interfaceObject(); // its own constructor is not looked up by the library
    PatchedEnv patched;
    below = patched.original;
    names.clear();
    patched.functions.GetFieldID = recordField;
    patched.functions.GetMethodID = recordMethod;
    action();
    return names;
}

} // namespace java
