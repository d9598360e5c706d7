// A Java VM in the test program. The library's objects are linked into the program, so natives called through Java run
// the very code that is inspected here; what the VM itself prints (-Xcheck:jni) is kept and must hold no complaint.
#pragma once

#include <cstdint>
#include <functional>
#include <jni.h>
#include <string>
#include <vector>

namespace java {

inline constexpr char kCommon[] = "com/qel/internet/rk/common/";

// The environment of the test's thread; the first call starts the VM. The options in RK_TEST_JVM_OPTIONS, with blanks
// in between, then stand for those that choose its heap and collector.
JNIEnv *env();

// The version of the VM that runs, and the options that chose its heap and collector.
std::string vmVersion();

// What the VM itself has printed so far, and the same, forgotten afterwards: a test that expects complaints takes them.
const std::string &vmOutput();
std::string takeVmOutput();

// Objects made in its life are dropped at its end: the VM's checks count them.
struct LocalFrame {
    LocalFrame();
    ~LocalFrame();
    LocalFrame(const LocalFrame &) = delete;
    LocalFrame &operator=(const LocalFrame &) = delete;
};

// New objects by their default constructor; `name` is a class of the API module or, with a slash, a full name.
jobject make(const std::string &name);
jobject makeWithInt(const std::string &name, jint argument); // by the constructor that takes an int
jobject makeIntArray(const std::vector<jint> &values);
jobject makeByteArray(const std::vector<int> &values);
jstring makeString(const std::string &text);

void setByte(jobject object, const char *name, int value);
void setInt(jobject object, const char *name, jint value);
void setLong(jobject object, const char *name, jlong value);
void setChar(jobject object, const char *name, int value);
void setString(jobject object, const char *name, const std::string &text);
void setNull(jobject object, const char *name, const char *descriptor);
void setObject(jobject object, const char *name, const char *descriptor, jobject value);

int getByte(jobject object, const char *name);
jint getInt(jobject object, const char *name);
jlong getLong(jobject object, const char *name);
int getChar(jobject object, const char *name);
std::string getString(jobject object, const char *name); // "(null)" for a null string
std::vector<int> getBytes(jobject object, const char *name);
std::vector<jint> getInts(jobject object, const char *name);
std::vector<jint> intsOf(jobject object);

std::string text(jobject object); // its toString(), "(null)" for null

// Calls a native method of CMNExecutorInterface through Java. The descriptor lists what follows.
jint callInt(const char *name, const char *descriptor, ...);
bool callBoolean(const char *name, const char *descriptor, ...);
void callVoid(const char *name, const char *descriptor, ...);
jobject callObject(const char *name, const char *descriptor, ...);

// The common shape: one object in, a status out.
jint call(const char *name, jobject argument);

// What hears of every native call that is made by these: before it, and after it with its name and whether it returned
// an object.
struct CallObserver {
    void (*begun)();
    void (*ended)(const char *name, bool returnsObject);
};
void observeCalls(const CallObserver &observer);

// The pending exception as "class: message", cleared; empty when there is none.
std::string takeException();

// For the time of its life, the environment's functions are a copy that a test may change: how a look-up fails, how
// memory for a string runs out.
struct PatchedEnv {
    PatchedEnv();
    ~PatchedEnv();
    PatchedEnv(const PatchedEnv &) = delete;
    PatchedEnv &operator=(const PatchedEnv &) = delete;

    JNINativeInterface_ functions;
    void *newer[8] = {}; // functions that only newer VMs have, right behind the others
    const JNINativeInterface_ *original;
};

// While it lives, one Java method does not do what the library wants: its look-up number `which` (from 1) fails with
// NoSuchMethodError, or its call of that number throws IllegalStateException; the message is the method's name.
enum class Failure { lookUp, call };
struct FailingMethod : PatchedEnv {
    FailingMethod(const std::string &name, Failure failure, int which = 1);
};

// While it lives, the request for a string's characters with number `which` (from 1) gives none.
struct FailingCharacters : PatchedEnv {
    explicit FailingCharacters(int which);
};

// The fields that the library looks up while `action` runs, in order.
std::vector<std::string> fieldsLookedUp(const std::function<void()> &action);

// The same with the methods, as "name()", in between.
std::vector<std::string> membersLookedUp(const std::function<void()> &action);

} // namespace java
