// Calls of native methods with what an input gives: arguments, members of Java objects, answers of the executor, and
// what fails on the way; and what holds of every call.
#pragma once

#include "fake_java/fake_java.h"
#include "fuzz/harness/draws.h"
#include "library/native.h"
#include "rk/command_header.h"

#include <functional>
#include <map>
#include <type_traits>
#include <vector>

namespace fuzz {

// What Java gave for a member when it was asked first: a number, or a text (none for a null string).
struct Given {
    jlong number = 0;
    std::optional<std::string> text;
};

// A command and its outcome.
struct Exchange {
    int32_t command;
    int32_t status; // what sending it returns
    int32_t reason;
    std::vector<uint8_t> request;
    std::vector<uint8_t> reply;
};

// One call, while it runs and after.
struct NativeCall {
    Draws java;
    std::vector<fake_java::Object *> objects; // the object arguments, null for null
    std::vector<Given> arguments;             // the other arguments
    std::map<std::string, Given> given;       // by the member's name
    std::map<std::string, int> methodsCalled; // by name
    bool isIrregular = false;                 // something failed that the executor has no part in
    bool isFaulty = false;                    // of those, a call of the JNI or an allocation
    std::vector<Exchange> exchanges;

    jint status = 0;        // what an int or boolean method returned
    jobject text = nullptr; // what a method that makes a text returned
    bool makesText = false;
};

struct Refusal {
    bool (*holds)(const NativeCall &call);
    jint status;
};

struct ReasonStatus {
    int32_t reason;
    jint status;
};

// How the status of a method follows from its last exchange.
enum class Outcome {
    mapped,    // 0, or by the table of reasons
    raw,       // the status of sending
    done,      // 0 whatever the executor said
    unchecked, // by the method's own check, if at all
};

// A native method, and what holds of it.
struct Native {
    const char *name;
    void (*call)(NativeCall &call);
    std::vector<int32_t> sends = {}; // codes of the commands that it may send
    Outcome outcome = Outcome::unchecked;
    std::span<const ReasonStatus> reasons = {};
    std::span<const Refusal> refusals = {};          // in the order of the checks; nothing is sent then
    std::vector<jint> others = {};                   // statuses that it has for more than these tables tell
    void (*check)(const NativeCall &call) = nullptr; // what else holds of a regular call
    jint otherReason = -99;                          // the status of a reason that the table does not name
    bool takesNulls = false;                         // objects are not used
    bool takesCount = false;                         // of array elements, which Java's arrays may not have
    int charactersKept = 0;
};

// Makes calls of a family's methods as the input says, and checks each.
void play(std::span<const Native> family, const uint8_t *data, std::size_t size);

// --- What checks ask -------------------------------------------------------------------------------------------------

// The number or text of a member; the ordinary zero or none when nobody asked for it.
jlong numberOf(const NativeCall &call, const char *member);
std::optional<std::string> textOf(const NativeCall &call, const char *member);

bool isNull(const NativeCall &call, const char *member);
bool isLonger(const NativeCall &call, const char *member, std::size_t most);

// A member that is none of a port's numbers.
bool isNoPort(jlong number);

// A number of entries for which there may be no memory.
bool isMany(jlong entries);

// A flag that is 1, and the text that it governs is no address.
bool isBadAddress(const NativeCall &call, const char *flag, const char *member);
bool isAddress(const std::string &text);

// The status of an exchange by a table of reasons.
jint statusByReasons(const Exchange &exchange, std::span<const ReasonStatus> reasons);

// Ends with a finding when the method returned another status.
void expectStatus(const NativeCall &call, jint status);

// What the method returned as text; empty when it returned null, which is fine when memory is wanting.
std::string returnedText(const NativeCall &call);

// The key of an identifier that Java gave for a member or, by its number, for an argument; null counts as empty.
uint32_t keyOf(const NativeCall &call, const char *member);

// Ends with a finding when the block that was sent last, if any, has another word there.
void expectSent(const NativeCall &call, std::size_t offset, uint32_t word);

// A list: where its names stand, and how many the executor's report or Java says there are.
struct List {
    std::size_t first; // entry
    std::size_t entry; // size of one
    std::size_t name;  // place in the entry
    std::span<const ReasonStatus> reasons;
    int64_t (*room)(const NativeCall &call);  // the entries that were asked for
    int64_t (*count)(const NativeCall &call); // the entries that are filled
    bool afterReport = true;                  // a report was asked for first, whose failure is the method's status
    bool ofPorts = false;                     // entries are port numbers instead of names
};

// Status and text of a method that lists.
void expectList(const NativeCall &call, const List &list);

int32_t wordAt(const std::vector<uint8_t> &block, std::size_t offset);

// --- Making the calls ------------------------------------------------------------------------------------------------

jint drawInt(NativeCall &call);
jstring drawString(NativeCall &call);
jobject drawObject(NativeCall &call);
jintArray drawIntArray(NativeCall &call);

template <typename Argument> Argument drawArgument(NativeCall &call) {
    if constexpr (std::is_same_v<Argument, jint>)
        return drawInt(call);
    else if constexpr (std::is_same_v<Argument, jstring>)
        return drawString(call);
    else if constexpr (std::is_same_v<Argument, jintArray>)
        return drawIntArray(call);
    else
        return drawObject(call);
}

// Draws what a method takes after environment and object, in order, and calls it.
template <typename Result, typename... Arguments>
void makeCall(NativeCall &call, Result (*method)(JNIEnv *, jobject, Arguments...)) {
    const std::tuple<Arguments...> arguments{drawArgument<Arguments>(call)...};
    const auto made = [method](Arguments... each) -> Result { return method(fake_java::env(), nullptr, each...); };
    if constexpr (std::is_void_v<Result>) {
        std::apply(made, arguments);
    } else if constexpr (std::is_same_v<Result, jstring>) {
        call.text = std::apply(made, arguments);
        call.makesText = true;
    } else {
        call.status = static_cast<jint>(std::apply(made, arguments));
    }
}

template <auto method> void callOf(NativeCall &call) {
    makeCall(call, method);
}

} // namespace fuzz

// The first two members of a Native's row.
#define FUZZ_NATIVE(method) #method, fuzz::callOf < NATIVE(method)>
