#include "library/shared/keys.h"
#include "library/shared/settings.h"
#include "library/support/owners.h"

#include <cstring>

namespace rk {

int32_t checkPort(jint port) {
    return port < 0 || port > 65535 ? kStatusBadPort : 0;
}

int32_t portFromJava(JNIEnv *env, jobject obj, const char *name, NetworkPort &port) {
    const jint number = intFromJava(env, obj, name);
    const int32_t status = checkPort(number);
    if (status == 0)
        port = networkPort(number);
    return status;
}

bool clusterKeyFromJava(JNIEnv *env, jobject obj, uint32_t &key) {
    return JStringFieldToHash(env, obj, "ClusterId", &key) != nullptr;
}

bool keyOfString(JNIEnv *env, jstring identifier, uint32_t &key) {
    const Characters characters(env, identifier);
    if (characters.text != nullptr)
        key = keyOfCharacters(characters.text);
    return characters.text != nullptr;
}

uint32_t serverKeyFromJava(JNIEnv *env, jobject server) {
    return static_cast<uint32_t>(intFromJava(env, server, "iServerIdKey"));
}

int32_t ruleNameFromJava(JNIEnv *env, jobject rule, char (&name)[21]) {
    const LocalReference string(env, stringFromJava(env, rule, "RuleName"));
    const Characters characters(env, string.reference);
    if (characters.text == nullptr)
        return kStatusBadRuleName;
    const std::size_t length = std::strlen(characters.text);
    if (length >= sizeof(name))
        return kStatusBadRuleName;
    std::memcpy(name, characters.text, length + 1);
    return 0;
}

} // namespace rk
