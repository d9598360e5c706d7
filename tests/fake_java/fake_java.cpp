#include "fake_java/fake_java.h"
#include "fake_java/state.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace fake_java {

State state;

namespace {

constexpr std::uintptr_t kHandleStep = 16; // handles look like pointers

} // namespace

void misuse(const std::string &what) {
    const std::string text = "call " + std::to_string(state.calls.size()) + ": " + what;
    state.misuses.push_back(text);
    if (state.misuseHook)
        state.misuseHook(text);
}

std::string madeBy(std::size_t call) {
    if (call == 0 || call > state.calls.size())
        return "an earlier call";
    const Call &made = state.calls[call - 1];
    return std::string(made.function) + "(" + made.member + "), call " + std::to_string(call);
}

Object *make(Kind kind, const std::string &className) {
    state.objects.push_back(std::make_unique<Object>());
    Object *object = state.objects.back().get();
    object->kind = kind;
    object->className = className;
    return object;
}

jobject makeReference(Object *object, bool isArgument, const std::string &member) {
    if (object == nullptr)
        return nullptr;
    state.references.push_back({object, true, isArgument, state.calls.size(), member});
    if (!isArgument)
        state.mostReferences = std::max(state.mostReferences, ++state.liveReferences);
    return reinterpret_cast<jobject>(state.references.size() * kHandleStep);
}

Reference *find(jobject handle) {
    const auto number = reinterpret_cast<std::uintptr_t>(handle);
    if (number % kHandleStep != 0 || number == 0 || number / kHandleStep > state.references.size())
        return nullptr;
    return &state.references[number / kHandleStep - 1];
}

void reset() {
    state = {};
}

JNIEnv *env() {
    static const JNINativeInterface_ table = makeTable();
    static JNIEnv environment = {&table};
    return &environment;
}

Object *newObject(const std::string &className) {
    return make(Kind::plain, className);
}

Object *newString(const std::string &text) {
    Object *string = make(Kind::string, "java.lang.String");
    string->text = text;
    return string;
}

Object *newIntArray(const std::vector<jint> &values) {
    Object *array = make(Kind::ints, "int[]");
    array->ints = values;
    return array;
}

Object *newByteArray(const std::vector<jbyte> &values) {
    Object *array = make(Kind::bytes, "byte[]");
    array->bytes = values;
    return array;
}

Object *newStringBuffer() {
    Object *buffer = newObject("java.lang.StringBuffer");
    setMethod(buffer, "append", "(Ljava/lang/String;)Ljava/lang/StringBuffer;", [buffer](const Arguments &arguments) {
        buffer->text += arguments[0].object == nullptr ? "null" : arguments[0].object->text;
        return Value{0, buffer};
    });
    return buffer;
}

void setNumber(Object *object, const std::string &name, const char *descriptor, jlong value) {
    object->fields[name] = {object, name, descriptor, {value, nullptr}};
}

void setObject(Object *object, const std::string &name, const char *descriptor, Object *value) {
    object->fields[name] = {object, name, descriptor, {0, value}};
}

void setString(Object *object, const std::string &name, const std::string &text) {
    setObject(object, name, "Ljava/lang/String;", newString(text));
}

void setMethod(Object *object, const std::string &name, const std::string &descriptor, Method action) {
    object->methods[name + descriptor] = {object, name, descriptor, std::move(action)};
}

const Value &valueOf(const Object *object, const std::string &name) {
    const auto found = object->fields.find(name);
    if (found == object->fields.end()) {
        fprintf(stderr, "%s has no field %s\n", object->className.c_str(), name.c_str());
        abort();
    }
    return found->second.value;
}

void onUnknownField(std::function<bool(Object *, const std::string &, const std::string &, Value &)> hook) {
    state.fieldHook = std::move(hook);
}

void onUnknownMethod(std::function<Method(Object *, const std::string &, const std::string &)> hook) {
    state.methodHook = std::move(hook);
}

jobject argument(Object *object, const std::string &name) {
    return makeReference(object, true, name);
}

Object *objectOf(jobject reference) {
    const Reference *found = find(reference);
    return found == nullptr ? nullptr : found->object;
}

void raise(const std::string &className, const std::string &message) {
    state.pending = make(Kind::plain, className);
    state.pending->text = message;
}

std::string takeException() {
    const Object *pending = state.pending;
    state.pending = nullptr;
    return pending == nullptr ? "" : pending->className + ": " + pending->text;
}

const std::vector<Call> &callsMade() {
    return state.calls;
}

void beginCalls(int failing, Failure how) {
    state.calls.clear();
    state.whilePending.clear();
    state.nothing.clear();
    state.failing = failing;
    state.how = how;
    state.mostReferences = state.liveReferences;
}

void endCalls(jobject result, int charactersKept) {
    for (Reference &reference : state.references) {
        if (!reference.live || reference.argument)
            continue;
        const bool returned = result != nullptr && &reference == find(result);
        if (!returned)
            misuse("a local reference is left, made by " + madeBy(reference.call));
        reference.live = false;
        --state.liveReferences;
    }
    if (result != nullptr && find(result) == nullptr)
        misuse("what is returned is no reference");
    for (const auto &[pointer, copy] : state.copies)
        if (copy.characters == nullptr || --charactersKept < 0)
            misuse("a copy is not released, made by " + madeBy(copy.call));
    state.copies.clear();
}

const std::map<std::string, int> &callsWhilePending() {
    return state.whilePending;
}

const std::map<std::string, int> &accessesOfNothing() {
    return state.nothing;
}

int mostReferences() {
    return state.mostReferences;
}

void handOutCopies(bool copies) {
    state.handOutCopies = copies;
}

const std::vector<std::string> &misuses() {
    return state.misuses;
}

void onMisuse(std::function<void(const std::string &)> hook) {
    state.misuseHook = std::move(hook);
}

} // namespace fake_java
