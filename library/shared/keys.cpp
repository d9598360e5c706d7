#include "library/shared/keys.h"
#include "library/shared/settings.h"

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
    const char *text = utfChars(env, identifier);
    if (text == nullptr)
        return false;
    makeHashResult(const_cast<char *>(text), &key); // the characters are our own copy
    env->ReleaseStringUTFChars(identifier, text);
    return true;
}

uint32_t serverKeyFromJava(JNIEnv *env, jobject server) {
    return static_cast<uint32_t>(intFromJava(env, server, "iServerIdKey"));
}

int32_t ruleNameFromJava(JNIEnv *env, jobject rule, char (&name)[21]) {
    jstring string = nullptr;
    GetJavaStringField(env, rule, "RuleName", &string);
    const char *text = utfChars(env, string);
    int32_t status = kStatusBadRuleName;
    if (text != nullptr) {
        const std::size_t length = strlen(text);
        if (length < sizeof(name)) {
            memcpy(name, text, length + 1);
            status = 0;
        }
        env->ReleaseStringUTFChars(string, text);
    }
    env->DeleteLocalRef(string);
    return status;
}

} // namespace rk
