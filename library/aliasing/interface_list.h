// The executor's list of network interfaces, kept until it is asked for again, and what it says about addresses.
#pragma once

#include "rk/interface_records.h"

#include <jni.h>

extern "C" {

// The list as it was read last; addresses are in network byte order. Empty at first, and after a failed refresh.
extern rk::InterfaceList TheInterfaceList;

// Reads the list from the executor.
void refreshInterfaceList();

// A place to look at the list from a debugger; prints nothing.
void printInterfaceList();

// Copies a list into a Java object with the int field iNumInterfaces and the int arrays aiIp, aiNetmask, aiNetnumber
// and aiBroadcast (addresses in host byte order). Always returns 0.
int32_t copyInterfaceList(JNIEnv *env, jobject interface, jobject javaList, const rk::InterfaceList *list);

// The first record whose subnet holds an address in network byte order, or null. Uses the list as it stands.
const rk::InterfaceRecord *findAddressConfigInfo(uint32_t address);

// The lowest alias number from 1 on that no interface has whose name begins with `prefix`; -1 when 1 to 99 are taken.
// Refreshes the list.
int32_t getAlias(const char *prefix);

// The name of the alias that carries an address in host byte order; `name` holds at least 11 bytes and is left alone
// when there is none. Refreshes the list.
void getInterface(int32_t unused, uint32_t address, char *name);

// The netmask of the interface of a name, as dotted text; `text` holds at least 16 bytes and is left alone when there
// is no such interface. Refreshes the list.
void getNetmaskStr(const char *name, char *text);
}

namespace rk {

// How many records may be read: the list's count, within its room.
int recordsOf(const InterfaceList &list);

} // namespace rk
