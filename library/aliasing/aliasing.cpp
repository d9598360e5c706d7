// Cluster addresses on the machine's network interfaces, as aliases, with the system's own tool.
#include "library/aliasing/interface_list.h"
#include "library/native.h"
#include "library/shared/statuses.h"
#include "library/support/CMNImpUtils.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace rk;

namespace {

constexpr std::size_t kNameBytes = 100;    // of names, addresses and masks, terminator included
constexpr std::size_t kCommandBytes = 512; // room for three of them and what stands around

// The text of a String field of the address-configuration object.
struct FieldText {
    jstring string;
    const char *text; // never null
    bool obtained;
};

FieldText takeText(JNIEnv *env, jobject config, const char *name) {
    FieldText field = {};
    GetJavaStringField(env, config, name, &field.string);
    const char *text = utfChars(env, field.string);
    field.obtained = text != nullptr;
    field.text = field.obtained ? text : "";
    return field;
}

void releaseText(JNIEnv *env, const FieldText &field) {
    if (field.obtained)
        env->ReleaseStringUTFChars(field.string, field.text);
    env->DeleteLocalRef(field.string);
}

// Only plain names, addresses and masks reach the shell. What begins with "-" would be an option of the tool.
bool isPlain(const char *text) {
    constexpr char kPlain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:_-";
    const std::size_t length = strlen(text);
    return length > 0 && length < kNameBytes && text[0] != '-' && strspn(text, kPlain) == length;
}

// What an address that does not parse counts as; no interface carries it.
constexpr uint32_t kNoAddress = 0xFFFFFFFF;

// The address of the object, in host byte order.
uint32_t addressOf(JNIEnv *env, jobject config) {
    NetworkAddress address = {kNoAddress};
    JStringFieldToAddr(env, config, "Address", &address.word);
    return toHost(address);
}

// An address, as number and as text, and the alias that carries it, empty when none does.
struct Target {
    uint32_t address; // host byte order
    FieldText text;
    char alias[kNameBytes];
};

Target findTarget(JNIEnv *env, jobject config) {
    Target target = {};
    target.address = addressOf(env, config);
    target.text = takeText(env, config, "Address");
    if (target.address != kNoAddress)
        getInterface(0, target.address, target.alias);
    else
        refreshInterfaceList(); // every call leaves a list that is new, also one that finds nothing in it
    return target;
}

// Puts the address on an interface: on the alias that had it before, on the alias that is named, or on a new alias.
int32_t configure(const Target &target, bool reconfiguring, const char *interface, const char *netmask) {
    const int32_t alias = reconfiguring ? 0 : getAlias(interface);
    if (alias == -1)
        return kStatusNoInterface;
    const char *address = target.text.text;
    char command[kCommandBytes];
    if (reconfiguring)
        snprintf(command, sizeof(command), "/sbin/ifconfig %s %s netmask %s up", target.alias, address, netmask);
    else if (strchr(interface, ':') != nullptr)
        snprintf(command, sizeof(command), "/sbin/ifconfig %s %s netmask %s up", interface, address, netmask);
    else
        snprintf(command, sizeof(command), "/sbin/ifconfig %s:%d %s netmask %s up", interface, alias, address, netmask);
    return system(command);
}

// On the interface that the executor's list has on the address's subnet.
int32_t configureFromList(const Target &target, bool reconfiguring) {
    const InterfaceRecord *record =
        target.address == kNoAddress ? nullptr : findAddressConfigInfo(toNetworkAddress(target.address).word);
    if (record == nullptr)
        return kStatusNoInterface;
    char interface[sizeof(record->name) + 1] = {};
    memcpy(interface, record->name, sizeof(record->name));
    char netmask[16];
    getAddress(record->netmask.word, netmask);
    if (!reconfiguring && !isPlain(interface))
        return kStatusNoInterface;
    return configure(target, reconfiguring, interface, netmask);
}

bool isSet(JNIEnv *env, jobject config, const char *flag) {
    jbyte value = 0;
    GetJavaByteField(env, config, flag, &value);
    return value == 1;
}

} // namespace

JNIEXPORT jint NATIVE(configureAddressNative)(JNIEnv *env, jobject interface, jobject config) {
    if (!required(env, config, "addressConfig"))
        return kStatusOther;
    const Target target = findTarget(env, config);
    const bool reconfiguring = target.alias[0] != '\0';
    const bool provided = isSet(env, config, "ConfigInfoProvided");
    FieldText name = {};
    FieldText netmask = {};
    // Every text is looked at before anything runs, so that a refusal leaves an address that is up as it is.
    bool plain = isPlain(target.text.text) && (!reconfiguring || isPlain(target.alias));
    if (provided) {
        name = takeText(env, config, "InterfaceName");
        netmask = takeText(env, config, "NetMask");
        plain = plain && isPlain(netmask.text) && (reconfiguring || isPlain(name.text));
    }
    int32_t status = kStatusNoInterface;
    if (plain) {
        if (reconfiguring)
            (void)NATIVE(unconfigureAddressNative)(env, interface, config); // it goes up again whatever came of this
        status = provided ? configure(target, reconfiguring, name.text, netmask.text)
                          : configureFromList(target, reconfiguring);
    }
    if (provided) {
        releaseText(env, name);
        releaseText(env, netmask);
    }
    releaseText(env, target.text);
    return status;
}

JNIEXPORT jint NATIVE(unconfigureAddressNative)(JNIEnv *env, jobject, jobject config) {
    if (!required(env, config, "addressConfig"))
        return kStatusOther;
    const Target target = findTarget(env, config);
    int32_t status = kStatusNotConfigured;
    if (target.alias[0] != '\0' && isPlain(target.alias) && isPlain(target.text.text)) {
        char command[kCommandBytes];
        snprintf(command, sizeof(command), "/sbin/ifconfig %s %s down", target.alias, target.text.text);
        status = system(command);
    }
    releaseText(env, target.text);
    return status;
}

JNIEXPORT jint NATIVE(clusterConfigureStatusNative)(JNIEnv *env, jobject, jobject config) {
    if (!required(env, config, "addressConfig"))
        return kStatusOther;
    const Target target = findTarget(env, config);
    releaseText(env, target.text);
    return target.alias[0] != '\0' ? 0 : kStatusNotConfigured;
}

JNIEXPORT jint NATIVE(getAddressConfigureInfoNative)(JNIEnv *env, jobject, jobject config) {
    if (!required(env, config, "addressConfig"))
        return kStatusOther;
    Target target = findTarget(env, config);
    releaseText(env, target.text);
    char *save = nullptr;
    const char *base = strtok_r(target.alias, ":", &save); // null for an empty alias
    char netmask[16] = {};
    if (base != nullptr)
        getNetmaskStr(base, netmask);
    if (netmask[0] == '\0')
        return kStatusNotConfigured;
    SetJavaStringField(env, config, "NetMask", netmask);
    SetJavaStringField(env, config, "InterfaceName", base);
    return 0;
}
