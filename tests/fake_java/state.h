// What the parts of the environment share.
#pragma once

#include "fake_java/fake_java.h"

#include <cstdint>
#include <memory>

namespace fake_java {

// A local reference or an argument. Its place in the list is its handle, which is never used again: what is dead stays
// known.
struct Reference {
    Object *object;
    bool live;
    bool argument;
    std::size_t call;   // that made it
    std::string member; // that it came from, or the argument's name
};

// What native code obtained and has to release: a string's characters, or copied elements of an array.
struct Copy {
    Object *object;
    std::size_t call;
    std::unique_ptr<char[]> characters; // a block of exactly their size, so that sanitizers see what runs over it
    std::unique_ptr<jint[]> elements;
};

struct State {
    std::vector<std::unique_ptr<Object>> objects;
    std::vector<Reference> references;
    std::map<const void *, Copy> copies;
    Object *pending = nullptr;
    std::vector<Call> calls;
    int failing = 0;
    Failure how = Failure::exception;
    int liveReferences = 0;
    int mostReferences = 0;
    bool handOutCopies = true;
    std::map<std::string, int> whilePending;
    std::map<std::string, int> nothing;
    std::vector<std::string> misuses;
    std::function<void(const std::string &)> misuseHook;
    std::function<bool(Object *, const std::string &, const std::string &, Value &)> fieldHook;
    std::function<Method(Object *, const std::string &, const std::string &)> methodHook;
};

extern State state;

// Notes, and tells the hook, what was done wrong in the call that is made.
void misuse(const std::string &what);

// The call of this number, for people.
std::string madeBy(std::size_t call);

Object *make(Kind kind, const std::string &className);

// A reference to an object, null for null. `member` tells where it comes from.
jobject makeReference(Object *object, bool isArgument, const std::string &member);

// What is known of a reference, dead ones too; null for what is none.
Reference *find(jobject handle);

// All functions that there are.
JNINativeInterface_ makeTable();

} // namespace fake_java
