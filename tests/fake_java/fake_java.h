// A JNIEnv without a Java VM: objects are plain records, and every call is counted, checked, and may be made to fail.
// Wrong uses that a VM may forgive (a reference that is dead, characters released twice, a field of another type) are
// reported. There is one such environment in the program; it depends on no test framework.
#pragma once

#include <cstddef>
#include <functional>
#include <jni.h>
#include <map>
#include <string>
#include <vector>

namespace fake_java {

struct Object;

// What a field holds, a method takes, a method returns: a number of any width, or an object (null: none).
struct Value {
    jlong number = 0;
    Object *object = nullptr;
};

using Arguments = std::vector<Value>;
using Method = std::function<Value(const Arguments &)>;

struct FieldRecord {
    Object *owner;
    std::string name;
    std::string descriptor;
    Value value;
};

struct MethodRecord {
    Object *owner;
    std::string name;
    std::string descriptor;
    Method action;
};

enum class Kind { plain, type, string, ints, bytes };

// Lives until reset. Every object has a class of its own, so that any object may have any members.
struct Object {
    Kind kind = Kind::plain;
    std::string className; // "java.lang.String"
    std::string text;      // a string's modified UTF-8
    std::vector<jint> ints;
    std::vector<jbyte> bytes;
    std::map<std::string, FieldRecord> fields;   // by name
    std::map<std::string, MethodRecord> methods; // by name and descriptor
    Object *type = nullptr;                      // a plain object's class, once it was asked for
    Object *instance = nullptr;                  // a class's only object
};

// Forgets all objects, references, records, hooks and faults.
void reset();

JNIEnv *env();

// --- Objects ---------------------------------------------------------------------------------------------------------

Object *newObject(const std::string &className = "java.lang.Object");
Object *newString(const std::string &text);
Object *newIntArray(const std::vector<jint> &values);
Object *newByteArray(const std::vector<jbyte> &values);
Object *newStringBuffer(); // its append() collects into its `text`

void setNumber(Object *object, const std::string &name, const char *descriptor, jlong value);
void setObject(Object *object, const std::string &name, const char *descriptor, Object *value);
void setString(Object *object, const std::string &name, const std::string &text);
void setMethod(Object *object, const std::string &name, const std::string &descriptor, Method action);

// What the field holds; the program ends when there is none.
const Value &valueOf(const Object *object, const std::string &name);

// What an object does not have is asked for here: give the value, or the method, and it has it from then on. False, or
// an empty method: there is none, and the look-up fails. Without a hook it always fails.
void onUnknownField(
    std::function<bool(Object *, const std::string &name, const std::string &descriptor, Value &)> hook);
void onUnknownMethod(std::function<Method(Object *, const std::string &name, const std::string &descriptor)> hook);

// A reference to pass to native code, null for null, and the object behind one. Only a native method's caller makes
// references this way: native code must not delete them.
jobject argument(Object *object, const std::string &name = "argument");
Object *objectOf(jobject reference);

// --- Exceptions ------------------------------------------------------------------------------------------------------

// Makes an exception pending in place of any other; from within a method, that is how it throws.
void raise(const std::string &className, const std::string &message);

// The pending exception as "class: message", which is no longer pending then; empty when there is none.
std::string takeException();

// --- Calls and faults ------------------------------------------------------------------------------------------------

struct Call {
    const char *function; // of the JNI: "GetFieldID"
    std::string member;   // the field or method it is about, the class, or where a string or an array comes from
};

// The calls since the last beginCalls, in order.
const std::vector<Call> &callsMade();

// How a call fails. `exception`: as the VM lets that function fail, with null and its exception; a function that has no
// failure does its work, and an exception that comes from elsewhere is pending. `silent`: null without an exception,
// of functions that return a reference, an identifier or characters; others succeed.
enum class Failure { exception, silent };

// Starts counting calls anew; the one with number `failing` (from 1; 0: none) fails.
void beginCalls(int failing = 0, Failure how = Failure::exception);

// Reports as misuse what native code obtained since beginCalls and did not give back, but for the reference that it
// returns. `charactersKept`: how many strings' characters it keeps on purpose; they are given back here.
void endCalls(jobject result = nullptr, int charactersKept = 0);

// Calls that the JNI does not want with an exception pending, by function; VMs go on and keep the exception.
const std::map<std::string, int> &callsWhilePending();

// Accesses through a null field identifier, which read 0 and write nothing, by function; null arrays likewise.
const std::map<std::string, int> &accessesOfNothing();

// The most local references that native code held at a time since beginCalls.
int mostReferences();

// Whether int arrays hand out copies of their elements (the default) or the elements themselves.
void handOutCopies(bool copies);

// --- Misuse ----------------------------------------------------------------------------------------------------------

// What was done wrong since the last reset; the hook, which reset removes, hears of it at once.
const std::vector<std::string> &misuses();
void onMisuse(std::function<void(const std::string &)> hook);

} // namespace fake_java
