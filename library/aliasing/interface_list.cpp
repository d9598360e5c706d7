#include "library/aliasing/interface_list.h"
#include "library/channel/channel.h"
#include "library/native.h"
#include "library/shared/replies.h"
#include "library/support/CMNImpUtils.h"

#include <cstring>

using namespace rk;

InterfaceList TheInterfaceList;

namespace {

constexpr int kAliasNumbers = 100; // 0 to 99; 0 is never given out

// A record's name with a terminator, which the executor may have left out.
struct Name {
    char text[sizeof(InterfaceRecord::name) + 1];
};

Name nameOf(const InterfaceRecord &record) {
    Name name = {};
    std::memcpy(name.text, record.name, sizeof(record.name));
    return name;
}

bool isAlias(const Name &name) {
    return std::strchr(name.text, ':') != nullptr;
}

bool isOnSubnet(uint32_t address, const InterfaceRecord &record) {
    return (address & record.netmask.word) == record.netnumber.word;
}

} // namespace

int rk::recordsOf(const InterfaceList &list) {
    return entriesWithin(list.count, list.records);
}

void refreshInterfaceList() {
    TheInterfaceList = {};
    if (send(ucb.interfaces, Command::readInterfaces) != 0)
        return;
    TheInterfaceList = ucb.interfaces.list;
    printInterfaceList();
}

void printInterfaceList() {
    for (int i = 0; i < recordsOf(TheInterfaceList); ++i)
        ; // visits a record
}

int32_t copyInterfaceList(JNIEnv *env, jobject, jobject javaList, const InterfaceList *list) {
    SetJavaIntField(env, javaList, "iNumInterfaces", list->count);
    columnToJava(env, javaList, "aiIp", list->records, list->count, &InterfaceRecord::ip);
    columnToJava(env, javaList, "aiNetmask", list->records, list->count, &InterfaceRecord::netmask);
    columnToJava(env, javaList, "aiNetnumber", list->records, list->count, &InterfaceRecord::netnumber);
    columnToJava(env, javaList, "aiBroadcast", list->records, list->count, &InterfaceRecord::broadcast);
    return 0;
}

const InterfaceRecord *findAddressConfigInfo(uint32_t address) {
    for (int i = 0; i < recordsOf(TheInterfaceList); ++i) {
        const InterfaceRecord &record = TheInterfaceList.records[i];
        if (record.netmask.word != 0 && isOnSubnet(address, record))
            return &record;
    }
    return nullptr;
}

int32_t getAlias(const char *prefix) {
    bool taken[kAliasNumbers] = {};
    refreshInterfaceList();
    for (int i = 0; i < recordsOf(TheInterfaceList); ++i) {
        const Name name = nameOf(TheInterfaceList.records[i]);
        const char *colon = std::strchr(name.text, ':');
        if (colon == nullptr || std::strncmp(name.text, prefix, std::strlen(prefix)) != 0)
            continue;
        const int32_t number = get_number(colon + 1);
        if (number >= 0 && number < kAliasNumbers)
            taken[number] = true;
    }
    for (int32_t number = 1; number < kAliasNumbers; ++number)
        if (!taken[number])
            return number;
    return -1;
}

void getInterface(int32_t, uint32_t address, char *name) {
    refreshInterfaceList();
    for (int i = 0; i < recordsOf(TheInterfaceList); ++i) {
        const InterfaceRecord &record = TheInterfaceList.records[i];
        const Name found = nameOf(record);
        if (isAlias(found) && toHost(record.ip) == address) {
            std::memcpy(name, found.text, std::strlen(found.text) + 1);
            return;
        }
    }
}

void getNetmaskStr(const char *name, char *text) {
    refreshInterfaceList();
    for (int i = 0; i < recordsOf(TheInterfaceList); ++i) {
        const InterfaceRecord &record = TheInterfaceList.records[i];
        if (std::strcmp(nameOf(record).text, name) == 0) {
            getAddress(record.netmask.word, text);
            return;
        }
    }
}

// Does not refresh the list; setInterfacesNative does.
JNIEXPORT jint NATIVE(getNicAddrNative)(JNIEnv *, jobject, jint address, jint which) {
    for (int i = 0; i < recordsOf(TheInterfaceList); ++i) {
        const InterfaceRecord &record = TheInterfaceList.records[i];
        if (isAlias(nameOf(record)) || (record.netmask.word == 0 && record.netnumber.word == 0))
            continue;
        if (isOnSubnet(networkAddress(address).word, record))
            return javaInt(which == 0 ? record.ip : record.localip);
    }
    return 0;
}

JNIEXPORT void NATIVE(setInterfacesNative)(JNIEnv *, jobject, jobject) {
    refreshInterfaceList();
}

// Reserved. Fills nothing.
JNIEXPORT jint NATIVE(getInterfaceListNative)(JNIEnv *, jobject, jobject, jobject) {
    return -1;
}
