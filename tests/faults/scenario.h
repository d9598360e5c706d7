// Ways through the native methods, and what is to come of each when it goes well and when one thing in it fails.
#pragma once

#include "fake_java/fake_java.h"
#include "harness/interface_replies.h"
#include "harness/scripted_executor.h"
#include "library/native.h"

#include <string>
#include <vector>

namespace faults {

using Commands = std::vector<int32_t>;

struct Result {
    std::string text; // a number, a text that is not long, or "(null)"
    jobject reference = nullptr;
};

struct Outcome {
    std::string result;
    Commands commands; // sent
};

// How a failing call leaves its thread: with an exception, without one, or whichever of both.
enum class Leaving { exception, nothing, either };

// What is to come of it when a call of the JNI fails, unless that is what comes of it when all goes well.
struct Stop {
    std::string function;
    std::string member; // as the JNIEnv of the tests tells it; "*" is any
    int first;          // which of the calls with this function and member, from 1
    int last;
    Leaving leaving;
    Outcome outcome;
};

using Stops = std::vector<Stop>;

struct Scenario {
    std::string native;
    std::string way; // through it
    std::function<Result()> call;
    Outcome outcome; // when all goes well
    // The result when one of the commands is refused with reason -5: "raw" is the channel's own status.
    std::vector<std::string> refused = {};
    Stops stops = {};
    std::vector<Outcome> allocations = {}; // what is to come of it when each of them fails
    std::function<void()> prepare = [] {}; // what the executor answers
    int charactersKept = 0;                // on purpose
};

const std::vector<Scenario> &scenarios();
std::vector<Scenario> configurationScenarios();
std::vector<Scenario> otherScenarios();

// --- Results ---------------------------------------------------------------------------------------------------------

inline Result result() {
    return {"void"};
}

inline Result result(jint status) {
    return {std::to_string(status)};
}

inline Result result(jboolean value) {
    return {value == JNI_FALSE ? "false" : "true"};
}

inline Result result(jstring string) {
    if (string == nullptr)
        return {"(null)"};
    const std::string &text = fake_java::objectOf(string)->text;
    return {text.size() > 40 ? "long text" : text, string};
}

// --- Arguments -------------------------------------------------------------------------------------------------------

struct Number {
    const char *name;
    const char *descriptor;
    jlong value;
};

// An object with these fields. All others come to be when they are looked up: flags are 1, numbers 3, texts an address,
// arrays long enough.
inline jobject object(std::initializer_list<Number> numbers = {}) {
    fake_java::Object *made = fake_java::newObject("Thing");
    for (const Number &number : numbers)
        fake_java::setNumber(made, number.name, number.descriptor, number.value);
    return fake_java::argument(made);
}

inline jstring string(const char *text, const char *name = "string") {
    return static_cast<jstring>(fake_java::argument(fake_java::newString(text), name));
}

inline jobject buffer() {
    return fake_java::argument(fake_java::newStringBuffer());
}

// --- Stops -----------------------------------------------------------------------------------------------------------

// A text that cannot be had: neither its field (the calls from number `first` to number `last`), nor its characters.
inline Stops noText(const std::string &member, const Outcome &outcome, int first = 1, int last = 1) {
    return {{"GetFieldID", member, first, last, Leaving::either, outcome},
            {"GetStringUTFChars", member, first, last, Leaving::either, outcome}};
}

// A field that is not there, when it is looked up for the first time.
inline Stops noField(const std::string &member, const Outcome &outcome) {
    return {{"GetFieldID", member, 1, 1, Leaving::either, outcome}};
}

// A method that is not there, or throws.
inline Stops noMethod(const std::string &member, const std::string &function, const Outcome &outcome) {
    return {{"GetMethodID", member, 1, 99, Leaving::either, outcome},
            {function, member, 1, 99, Leaving::exception, outcome}};
}

inline Stops operator+(Stops stops, const Stops &more) {
    stops.insert(stops.end(), more.begin(), more.end());
    return stops;
}

} // namespace faults

// The first members of a scenario: the native method, and its call with these arguments.
#define RK_CALL(method, ...)                                                                                           \
    .native = #method, .way = #__VA_ARGS__,                                                                            \
    .call = [] { return faults::result(NATIVE(method)(fake_java::env(), object() __VA_OPT__(, ) __VA_ARGS__)); }

#define RK_CALL_VOID(method, ...)                                                                                      \
    .native = #method, .way = #__VA_ARGS__, .call = [] {                                                               \
        NATIVE(method)(fake_java::env(), object() __VA_OPT__(, ) __VA_ARGS__);                                         \
        return faults::result();                                                                                       \
    }
