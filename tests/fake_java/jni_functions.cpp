// The functions of the JNI that native code calls.
#include "fake_java/absent_functions.h"
#include "fake_java/state.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>

namespace fake_java {

namespace {

template <typename Handle> Handle localReference(Object *object) {
    return static_cast<Handle>(makeReference(object, false, state.calls.back().member));
}

// The object behind a reference that must be alive; null, and a misuse, otherwise.
Object *resolve(jobject handle) {
    const char *function = state.calls.back().function;
    const Reference *reference = find(handle);
    if (handle == nullptr)
        misuse(std::string(function) + " on null");
    else if (reference == nullptr)
        misuse(std::string(function) + " on what is no reference");
    else if (!reference->live)
        misuse(std::string(function) + " on a dead reference, made by " + madeBy(reference->call));
    else
        return reference->object;
    return nullptr;
}

Object *resolve(jobject handle, Kind kind) {
    Object *object = resolve(handle);
    if (object == nullptr || object->kind == kind)
        return object;
    misuse(std::string(state.calls.back().function) + " on an object of " + object->className);
    return nullptr;
}

// --- Calls -----------------------------------------------------------------------------------------------------------

bool mayBePending(const char *function) {
    for (const char *allowed : {"ExceptionCheck", "DeleteLocalRef", "ReleaseStringUTFChars", "ReleaseIntArrayElements"})
        if (strcmp(function, allowed) == 0)
            return true;
    return false;
}

// Counts a call; true when it is the one that fails.
bool fails(const char *function, const std::string &member = "") {
    state.calls.push_back({function, member});
    if (state.pending != nullptr && !mayBePending(function))
        ++state.whilePending[function];
    return static_cast<int>(state.calls.size()) == state.failing;
}

// A failure that gives null: with this exception, unless it is a silent one.
std::nullptr_t failed(const char *className, const std::string &message = "") {
    if (state.how == Failure::exception)
        raise(className, message);
    return nullptr;
}

constexpr char kOutOfMemory[] = "java.lang.OutOfMemoryError";

// The failure of a function that has none of its own: something else stopped the thread.
void interrupt(bool now) {
    if (now && state.how == Failure::exception)
        raise("java.lang.ThreadDeath", "");
}

// Where a reference comes from; nowhere when it is none.
std::string originOf(jobject handle) {
    const Reference *reference = find(handle);
    return reference == nullptr ? "" : reference->member;
}

// --- Classes and exceptions ------------------------------------------------------------------------------------------

jclass findClass(JNIEnv *, const char *name) {
    if (fails("FindClass", name))
        return static_cast<jclass>(static_cast<jobject>(failed("java.lang.NoClassDefFoundError", name)));
    std::string className = name;
    std::replace(className.begin(), className.end(), '/', '.');
    return localReference<jclass>(make(Kind::type, className));
}

jclass getObjectClass(JNIEnv *, jobject handle) {
    const bool now = fails("GetObjectClass");
    Object *object = resolve(handle);
    if (object == nullptr)
        return nullptr;
    if (object->type == nullptr) {
        object->type = make(Kind::type, object->className);
        object->type->instance = object;
    }
    jclass reference = localReference<jclass>(object->type);
    interrupt(now);
    return reference;
}

jint throwNew(JNIEnv *, jclass handle, const char *message) {
    if (fails("ThrowNew", message)) {
        failed(kOutOfMemory);
        return JNI_ERR;
    }
    const Object *type = resolve(handle, Kind::type);
    if (type != nullptr)
        raise(type->className, message);
    return type == nullptr ? JNI_ERR : JNI_OK;
}

jboolean exceptionCheck(JNIEnv *) {
    interrupt(fails("ExceptionCheck"));
    return state.pending != nullptr ? JNI_TRUE : JNI_FALSE;
}

void deleteLocalRef(JNIEnv *, jobject handle) {
    const bool now = fails("DeleteLocalRef");
    Reference *reference = find(handle);
    if (handle != nullptr && resolve(handle) != nullptr) {
        if (reference->argument)
            misuse("DeleteLocalRef of an argument");
        else
            --state.liveReferences;
        reference->live = false;
    }
    interrupt(now);
}

// --- Fields ----------------------------------------------------------------------------------------------------------

// The instance that a look-up on a class is about.
Object *instanceOf(jclass handle) {
    const Object *type = resolve(handle, Kind::type);
    if (type != nullptr && type->instance == nullptr)
        misuse(std::string(state.calls.back().function) + " on a class without an object");
    return type == nullptr ? nullptr : type->instance;
}

FieldRecord *fieldNamed(Object *object, const char *name, const char *descriptor) {
    const auto found = object->fields.find(name);
    if (found != object->fields.end()) {
        if (found->second.descriptor == descriptor)
            return &found->second;
        misuse(std::string("field ") + name + " is " + found->second.descriptor + " and not " + descriptor);
        return nullptr;
    }
    Value value;
    if (!state.fieldHook || !state.fieldHook(object, name, descriptor, value))
        return nullptr;
    return &object->fields.emplace(name, FieldRecord{object, name, descriptor, value}).first->second;
}

jfieldID getFieldId(JNIEnv *, jclass handle, const char *name, const char *descriptor) {
    const bool now = fails("GetFieldID", name);
    Object *object = instanceOf(handle);
    FieldRecord *field = object == nullptr || now ? nullptr : fieldNamed(object, name, descriptor);
    if (field != nullptr)
        return reinterpret_cast<jfieldID>(field);
    if (now)
        failed("java.lang.NoSuchFieldError", name);
    else
        raise("java.lang.NoSuchFieldError", name);
    return nullptr;
}

// The field that is accessed; null when there is nothing to access.
FieldRecord *accessed(jobject handle, jfieldID id, const std::string &descriptors) {
    const char *function = state.calls.back().function;
    const Object *object = resolve(handle);
    if (id == nullptr)
        ++state.nothing[function];
    if (object == nullptr || id == nullptr)
        return nullptr;
    auto *field = reinterpret_cast<FieldRecord *>(id);
    state.calls.back().member = field->name;
    if (field->owner != object)
        misuse(std::string(function) + " with the identifier of another class: " + field->name);
    else if (descriptors.find(field->descriptor[0]) == std::string::npos)
        misuse(std::string(function) + " of " + field->name + ", which is " + field->descriptor);
    else
        return field;
    return nullptr;
}

template <typename Number> Number getNumber(const char *function, jobject handle, jfieldID id, const char *descriptor) {
    const bool now = fails(function);
    const FieldRecord *field = accessed(handle, id, descriptor);
    interrupt(now);
    return field == nullptr ? Number{} : static_cast<Number>(field->value.number);
}

void storeNumber(const char *function, jobject handle, jfieldID id, const char *descriptor, jlong value) {
    const bool now = fails(function);
    if (FieldRecord *field = accessed(handle, id, descriptor); field != nullptr)
        field->value.number = value;
    interrupt(now);
}

jobject getObjectField(JNIEnv *, jobject handle, jfieldID id) {
    const bool now = fails("GetObjectField");
    const FieldRecord *field = accessed(handle, id, "L[");
    interrupt(now);
    return field == nullptr ? nullptr : makeReference(field->value.object, false, field->name);
}

void setObjectField(JNIEnv *, jobject handle, jfieldID id, jobject value) {
    const bool now = fails("SetObjectField");
    Object *object = value == nullptr ? nullptr : resolve(value);
    if (FieldRecord *field = accessed(handle, id, "L["); field != nullptr)
        field->value.object = object;
    interrupt(now);
}

// --- Methods ---------------------------------------------------------------------------------------------------------

MethodRecord *methodNamed(Object *object, const std::string &name, const std::string &descriptor) {
    const auto found = object->methods.find(name + descriptor);
    if (found != object->methods.end())
        return &found->second;
    if (!state.methodHook || descriptor.find(',') != std::string::npos)
        return nullptr;
    Method action = state.methodHook(object, name, descriptor);
    if (!action)
        return nullptr;
    return &object->methods.emplace(name + descriptor, MethodRecord{object, name, descriptor, action}).first->second;
}

jmethodID getMethodId(JNIEnv *, jclass handle, const char *name, const char *descriptor) {
    const bool now = fails("GetMethodID", name);
    Object *object = instanceOf(handle);
    MethodRecord *method = object == nullptr || now ? nullptr : methodNamed(object, name, descriptor);
    if (method != nullptr)
        return reinterpret_cast<jmethodID>(method);
    if (now)
        failed("java.lang.NoSuchMethodError", name);
    else
        raise("java.lang.NoSuchMethodError", name);
    return nullptr;
}

// What a caller passes, told by the descriptor: numbers up to int, long, and objects.
Arguments argumentsOf(const std::string &descriptor, va_list list) {
    Arguments arguments;
    for (std::size_t i = 1; i < descriptor.size() && descriptor[i] != ')'; ++i) {
        if (descriptor[i] == 'L' || descriptor[i] == '[') {
            i = descriptor.find_first_not_of('[', i);
            if (descriptor[i] == 'L')
                i = descriptor.find(';', i);
            jobject handle = va_arg(list, jobject);
            arguments.push_back({0, handle == nullptr ? nullptr : resolve(handle)});
        } else if (descriptor[i] == 'J') {
            arguments.push_back({va_arg(list, jlong), nullptr});
        } else {
            arguments.push_back({va_arg(list, jint), nullptr});
        }
    }
    return arguments;
}

// Calls a method whose result is of one of these types.
Value callMethod(const char *function, jobject handle, jmethodID id, va_list list, const std::string &results) {
    const bool now = fails(function);
    const Object *object = resolve(handle);
    const auto *method = reinterpret_cast<const MethodRecord *>(id);
    if (method == nullptr)
        misuse(std::string(function) + " of a null method");
    if (object == nullptr || method == nullptr)
        return {};
    state.calls.back().member = method->name;
    if (method->owner != object)
        misuse(std::string(function) + " with the identifier of another class: " + method->name);
    else if (results.find(method->descriptor[method->descriptor.find(')') + 1]) == std::string::npos)
        misuse(std::string(function) + " of " + method->name + method->descriptor);
    else if (now)
        failed("java.lang.IllegalStateException", method->name);
    else
        return method->action(argumentsOf(method->descriptor, list));
    return {};
}

jint callIntMethod(JNIEnv *, jobject handle, jmethodID id, va_list list) {
    return static_cast<jint>(callMethod("CallIntMethod", handle, id, list, "I").number);
}

void callVoidMethod(JNIEnv *, jobject handle, jmethodID id, va_list list) {
    callMethod("CallVoidMethod", handle, id, list, "V");
}

jobject callObjectMethod(JNIEnv *, jobject handle, jmethodID id, va_list list) {
    return localReference<jobject>(callMethod("CallObjectMethod", handle, id, list, "L[").object);
}

// --- Strings ---------------------------------------------------------------------------------------------------------

jstring newStringUtf(JNIEnv *, const char *text) {
    if (fails("NewStringUTF"))
        return static_cast<jstring>(static_cast<jobject>(failed(kOutOfMemory)));
    return localReference<jstring>(newString(text));
}

const char *getStringUtfChars(JNIEnv *, jstring handle, jboolean *isCopy) {
    if (fails("GetStringUTFChars", originOf(handle)))
        return failed(kOutOfMemory);
    Object *string = resolve(handle, Kind::string);
    if (string == nullptr)
        return nullptr;
    Copy copy = {string, state.calls.size(), std::make_unique<char[]>(string->text.size() + 1), nullptr};
    memcpy(copy.characters.get(), string->text.c_str(), string->text.size() + 1);
    const char *characters = copy.characters.get();
    state.copies.emplace(characters, std::move(copy));
    if (isCopy != nullptr)
        *isCopy = JNI_TRUE;
    return characters;
}

// Gives back a copy; what was obtained is known, so a second time, or another pointer, is a misuse.
void giveBack(const void *pointer, const Object *object) {
    const char *function = state.calls.back().function;
    const auto found = state.copies.find(pointer);
    if (found == state.copies.end())
        misuse(std::string(function) + " of what was not obtained, or is released");
    else if (object != nullptr && found->second.object != object)
        misuse(std::string(function) + " with another object");
    else
        state.copies.erase(found);
}

void releaseStringUtfChars(JNIEnv *, jstring handle, const char *characters) {
    const bool now = fails("ReleaseStringUTFChars");
    giveBack(characters, resolve(handle, Kind::string));
    interrupt(now);
}

// --- Arrays ----------------------------------------------------------------------------------------------------------

jsize getArrayLength(JNIEnv *, jarray handle) {
    const bool now = fails("GetArrayLength");
    const Object *array = resolve(handle);
    interrupt(now);
    if (array == nullptr)
        return 0;
    return static_cast<jsize>(array->kind == Kind::bytes ? array->bytes.size() : array->ints.size());
}

// True when a region may be copied; otherwise the exception is pending that the VM throws.
template <typename Element>
bool regionWithin(bool now, jobject handle, Kind kind, std::vector<Element> Object::*elements, jsize start,
                  jsize count) {
    if (handle == nullptr) {
        ++state.nothing[state.calls.back().function];
        raise("java.lang.NullPointerException", "array");
        return false;
    }
    Object *array = resolve(handle, kind);
    if (array == nullptr)
        return false;
    const auto length = static_cast<jlong>((array->*elements).size());
    const bool within = start >= 0 && count >= 0 && jlong{start} + count <= length;
    if (within && !(now && state.how == Failure::exception))
        return true;
    raise("java.lang.ArrayIndexOutOfBoundsException", std::to_string(start) + " + " + std::to_string(count));
    return false;
}

template <typename Element>
void getRegion(const char *function, jobject handle, Kind kind, std::vector<Element> Object::*elements, jsize start,
               jsize count, Element *values) {
    const bool now = fails(function, originOf(handle));
    if (regionWithin(now, handle, kind, elements, start, count))
        std::copy_n((resolve(handle)->*elements).begin() + start, count, values);
}

template <typename Element>
void setRegion(const char *function, jobject handle, Kind kind, std::vector<Element> Object::*elements, jsize start,
               jsize count, const Element *values) {
    const bool now = fails(function, originOf(handle));
    if (regionWithin(now, handle, kind, elements, start, count))
        std::copy_n(values, count, (resolve(handle)->*elements).begin() + start);
}

jint *getIntArrayElements(JNIEnv *, jintArray handle, jboolean *isCopy) {
    if (fails("GetIntArrayElements"))
        return failed(kOutOfMemory);
    Object *array = resolve(handle, Kind::ints);
    if (array == nullptr)
        return nullptr;
    if (isCopy != nullptr)
        *isCopy = state.handOutCopies ? JNI_TRUE : JNI_FALSE;
    if (!state.handOutCopies)
        return array->ints.data();
    Copy copy = {array, state.calls.size(), nullptr, std::make_unique<jint[]>(array->ints.size())};
    std::copy(array->ints.begin(), array->ints.end(), copy.elements.get());
    jint *elements = copy.elements.get();
    state.copies.emplace(elements, std::move(copy));
    return elements;
}

void releaseIntArrayElements(JNIEnv *, jintArray handle, jint *elements, jint mode) {
    const bool now = fails("ReleaseIntArrayElements");
    Object *array = resolve(handle, Kind::ints);
    if (array != nullptr && elements != array->ints.data()) {
        if (mode != JNI_ABORT && state.copies.count(elements) != 0)
            std::copy_n(elements, array->ints.size(), array->ints.begin());
        giveBack(elements, array);
    }
    interrupt(now);
}

} // namespace

JNINativeInterface_ makeTable() {
    JNINativeInterface_ table;
    fillWithAbsent(table);
    table.FindClass = findClass;
    table.GetObjectClass = getObjectClass;
    table.ThrowNew = throwNew;
    table.ExceptionCheck = exceptionCheck;
    table.DeleteLocalRef = deleteLocalRef;
    table.GetFieldID = getFieldId;
    table.GetObjectField = getObjectField;
    table.SetObjectField = setObjectField;
    table.GetIntField = [](JNIEnv *, jobject o, jfieldID f) { return getNumber<jint>("GetIntField", o, f, "I"); };
    table.GetLongField = [](JNIEnv *, jobject o, jfieldID f) { return getNumber<jlong>("GetLongField", o, f, "J"); };
    table.GetCharField = [](JNIEnv *, jobject o, jfieldID f) { return getNumber<jchar>("GetCharField", o, f, "C"); };
    table.GetByteField = [](JNIEnv *, jobject o, jfieldID f) { return getNumber<jbyte>("GetByteField", o, f, "B"); };
    table.SetIntField = [](JNIEnv *, jobject o, jfieldID f, jint v) { storeNumber("SetIntField", o, f, "I", v); };
    table.SetLongField = [](JNIEnv *, jobject o, jfieldID f, jlong v) { storeNumber("SetLongField", o, f, "J", v); };
    table.SetCharField = [](JNIEnv *, jobject o, jfieldID f, jchar v) { storeNumber("SetCharField", o, f, "C", v); };
    table.SetByteField = [](JNIEnv *, jobject o, jfieldID f, jbyte v) { storeNumber("SetByteField", o, f, "B", v); };
    table.GetMethodID = getMethodId;
    table.CallIntMethodV = callIntMethod;
    table.CallVoidMethodV = callVoidMethod;
    table.CallObjectMethodV = callObjectMethod;
    table.NewStringUTF = newStringUtf;
    table.GetStringUTFChars = getStringUtfChars;
    table.ReleaseStringUTFChars = releaseStringUtfChars;
    table.GetArrayLength = getArrayLength;
    table.GetIntArrayElements = getIntArrayElements;
    table.ReleaseIntArrayElements = releaseIntArrayElements;
    table.GetIntArrayRegion = [](JNIEnv *, jintArray array, jsize start, jsize count, jint *values) {
        getRegion("GetIntArrayRegion", array, Kind::ints, &Object::ints, start, count, values);
    };
    table.SetIntArrayRegion = [](JNIEnv *, jintArray array, jsize start, jsize count, const jint *values) {
        setRegion("SetIntArrayRegion", array, Kind::ints, &Object::ints, start, count, values);
    };
    table.GetByteArrayRegion = [](JNIEnv *, jbyteArray array, jsize start, jsize count, jbyte *values) {
        getRegion("GetByteArrayRegion", array, Kind::bytes, &Object::bytes, start, count, values);
    };
    table.SetByteArrayRegion = [](JNIEnv *, jbyteArray array, jsize start, jsize count, const jbyte *values) {
        setRegion("SetByteArrayRegion", array, Kind::bytes, &Object::bytes, start, count, values);
    };
    return table;
}

} // namespace fake_java
