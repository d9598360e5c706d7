// A copy of the executor's list of network interfaces, and what it tells about addresses.
#pragma once

#include "rk/interface_records.h"

#include <jni.h>

extern "C" {

// The list as it was last read. Addresses are in network byte order. Empty at first, and after a failed refresh.
extern rk::InterfaceList TheInterfaceList;

// Reads the list from the executor anew.
void refreshInterfaceList();

// Visits every record, for a breakpoint in a debugger. Prints nothing.
void printInterfaceList();

// Copies a list into a Java object with the int field iNumInterfaces and the int arrays aiIp, aiNetmask, aiNetnumber
// and aiBroadcast (addresses in host byte order). Always returns 0.
int32_t copyInterfaceList(JNIEnv *env, jobject interface, jobject javaList, const rk::InterfaceList *list);

// The first record whose subnet holds an address in network byte order, or null. Does not refresh the list.
const rk::InterfaceRecord *findAddressConfigInfo(uint32_t address);

// Refreshes the list. Returns the lowest alias number, from 1 on, that is free among the interfaces whose names begin
// with `prefix`, or -1 when 1 to 99 are taken.
int32_t getAlias(const char *prefix);

// Refreshes the list. Copies the name of the alias that carries an address in host byte order into `name`, which holds
// at least 11 bytes; leaves `name` alone when there is no such alias.
void getInterface(int32_t unused, uint32_t address, char *name);

// Refreshes the list. Writes the netmask of the interface with this name as dotted text into `text`, which holds at
// least 16 bytes; leaves `text` alone when there is no such interface.
void getNetmaskStr(const char *name, char *text);
}

namespace rk {

// How many records of the list may be read.
int recordsOf(const InterfaceList &list);

} // namespace rk
