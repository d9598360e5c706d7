// Puts cluster addresses on the machine's network interfaces as aliases, with the system's own tool.
#include "library/aliasing/interface_list.h"
#include "library/native.h"
#include "library/shared/settings.h"
#include "library/shared/statuses.h"
#include "library/support/owners.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

using namespace rk;

namespace {

constexpr std::size_t kNameBytes = 100;    // of names, addresses and masks, terminator included
constexpr std::size_t kCommandBytes = 512; // room for three of them and the rest of a command

// Only plain names, addresses and masks reach the shell. The tool would take a text that begins with "-" for an option.
bool isPlain(const char *text) {
    constexpr char kPlain[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.:_-";
    const std::size_t length = std::strlen(text);
    return length > 0 && length < kNameBytes && text[0] != '-' && strspn(text, kPlain) == length;
}

// The text of a String field of the address-configuration object; empty when there is none.
struct FieldText {
    FieldText(JNIEnv *env, jobject config, const char *name)
        : string(env, stringFromJava(env, config, name)), characters(env, string.reference),
          text(characters.text == nullptr ? "" : characters.text) {}

    const LocalReference<jstring> string;
    const Characters characters;
    const char *const text;
};

// Stands for an address that does not parse. No interface can carry it.
constexpr uint32_t kNoAddress = 0xFFFFFFFF;

// The address of the object, in host byte order.
uint32_t addressOf(JNIEnv *env, jobject config) {
    NetworkAddress address = {kNoAddress};
    JStringFieldToAddr(env, config, "Address", &address.word);
    return toHost(address);
}

// The name of the alias that carries an address; empty when none does.
struct AliasName {
    char text[kNameBytes];
};

AliasName aliasOf(uint32_t address) {
    AliasName alias = {};
    if (address != kNoAddress)
        getInterface(0, address, alias.text);
    else
        refreshInterfaceList(); // every call reads the list anew, also one that finds nothing in it
    return alias;
}

// The same for the address of the object. Like every method, it reads the text of the address too.
AliasName aliasOf(JNIEnv *env, jobject config) {
    const uint32_t address = addressOf(env, config);
    const FieldText text(env, config, "Address");
    return aliasOf(address);
}

// The address that is to be configured, in host byte order and as text, and the alias that carries it already.
struct Target {
    uint32_t address;
    const char *text;
    const char *alias; // empty when there is none
};

bool isConfigured(const Target &target) {
    return target.alias[0] != '\0';
}

// Puts the address on the alias that carried it before, on the alias that is named, or on a new alias of the interface.
// Returns the status of the command, or kStatusNoInterface when no alias is free.
int32_t configureOn(const Target &target, const char *interface, const char *netmask) {
    const int32_t alias = isConfigured(target) ? 0 : getAlias(interface);
    if (alias == -1)
        return kStatusNoInterface;
    char command[kCommandBytes];
    if (isConfigured(target))
        std::snprintf(command, sizeof(command), "/sbin/ifconfig %s %s netmask %s up", target.alias, target.text,
                      netmask);
    else if (std::strchr(interface, ':') != nullptr)
        std::snprintf(command, sizeof(command), "/sbin/ifconfig %s %s netmask %s up", interface, target.text, netmask);
    else
        std::snprintf(command, sizeof(command), "/sbin/ifconfig %s:%d %s netmask %s up", interface, alias, target.text,
                      netmask);
    return std::system(command);
}

// Takes the address off the alias that carries it, if any. Only the command that puts it back tells an outcome.
void takeOff(JNIEnv *env, jobject interface, jobject config, const Target &target) {
    if (isConfigured(target))
        (void)NATIVE(unconfigureAddressNative)(env, interface, config);
}

// Configures the address on the interface that the object names. All texts are checked before anything runs, so that a
// refusal leaves an address that is up as it is.
int32_t configureAsProvided(JNIEnv *env, jobject interface, jobject config, const Target &target) {
    const FieldText name(env, config, "InterfaceName");
    const FieldText netmask(env, config, "NetMask");
    if (!isPlain(netmask.text) || (!isConfigured(target) && !isPlain(name.text)))
        return kStatusNoInterface;
    takeOff(env, interface, config, target);
    return configureOn(target, name.text, netmask.text);
}

// Configures the address on the interface that the executor's list has on its subnet.
int32_t configureFromList(JNIEnv *env, jobject interface, jobject config, const Target &target) {
    takeOff(env, interface, config, target);
    const InterfaceRecord *record =
        target.address == kNoAddress ? nullptr : findAddressConfigInfo(toNetworkAddress(target.address).word);
    if (record == nullptr)
        return kStatusNoInterface;
    char name[sizeof(record->name) + 1] = {};
    std::memcpy(name, record->name, sizeof(record->name));
    char netmask[16];
    getAddress(record->netmask.word, netmask);
    if (!isConfigured(target) && !isPlain(name))
        return kStatusNoInterface;
    return configureOn(target, name, netmask);
}

bool isFlagSet(JNIEnv *env, jobject config, const char *flag) {
    uint8_t value = 0;
    return flagFromJava(env, config, flag, value);
}

} // namespace

JNIEXPORT jint NATIVE(configureAddressNative)(JNIEnv *env, jobject interface, jobject config) {
    if (!requireObject(env, config, "addressConfig"))
        return kStatusOther;
    const uint32_t address = addressOf(env, config);
    const FieldText text(env, config, "Address");
    const AliasName alias = aliasOf(address);
    const Target target = {address, text.text, alias.text};
    if (!isPlain(target.text) || (isConfigured(target) && !isPlain(target.alias)))
        return kStatusNoInterface;
    return isFlagSet(env, config, "ConfigInfoProvided") ? configureAsProvided(env, interface, config, target)
                                                        : configureFromList(env, interface, config, target);
}

JNIEXPORT jint NATIVE(unconfigureAddressNative)(JNIEnv *env, jobject, jobject config) {
    if (!requireObject(env, config, "addressConfig"))
        return kStatusOther;
    const uint32_t address = addressOf(env, config);
    const FieldText text(env, config, "Address");
    const AliasName alias = aliasOf(address);
    if (!isPlain(alias.text) || !isPlain(text.text))
        return kStatusNotConfigured;
    char command[kCommandBytes];
    std::snprintf(command, sizeof(command), "/sbin/ifconfig %s %s down", alias.text, text.text);
    return std::system(command);
}

JNIEXPORT jint NATIVE(clusterConfigureStatusNative)(JNIEnv *env, jobject, jobject config) {
    if (!requireObject(env, config, "addressConfig"))
        return kStatusOther;
    return aliasOf(env, config).text[0] != '\0' ? 0 : kStatusNotConfigured;
}

JNIEXPORT jint NATIVE(getAddressConfigureInfoNative)(JNIEnv *env, jobject, jobject config) {
    if (!requireObject(env, config, "addressConfig"))
        return kStatusOther;
    AliasName alias = aliasOf(env, config);
    char *save = nullptr;
    const char *base = strtok_r(alias.text, ":", &save); // null for an empty alias
    char netmask[16] = {};
    if (base != nullptr)
        getNetmaskStr(base, netmask);
    if (netmask[0] == '\0')
        return kStatusNotConfigured;
    SetJavaStringField(env, config, "NetMask", netmask);
    SetJavaStringField(env, config, "InterfaceName", base);
    return 0;
}
