// The executor's list of network interfaces.
#pragma once

#include "rk/command_header.h"

namespace rk {

inline constexpr int kInterfaces = 100;

struct InterfaceRecord {
    uint8_t unused_0[4];
    NetworkAddress ip;
    uint8_t unused_8[16];
    NetworkAddress netmask;
    NetworkAddress netnumber; // ip AND netmask
    NetworkAddress broadcast;
    uint8_t mac[6];
    char name[10]; // an alias carries a colon and its number, as in eth0:1
    NetworkAddress localip;
};

static_assert(sizeof(InterfaceRecord) == 56);
RK_AT(InterfaceRecord, ip, 4);
RK_AT(InterfaceRecord, netmask, 24);
RK_AT(InterfaceRecord, netnumber, 28);
RK_AT(InterfaceRecord, broadcast, 32);
RK_AT(InterfaceRecord, mac, 36);
RK_AT(InterfaceRecord, name, 42);
RK_AT(InterfaceRecord, localip, 52);

struct InterfaceList {
    int32_t count;
    InterfaceRecord records[kInterfaces];
};

static_assert(sizeof(InterfaceList) == 5604);
RK_AT(InterfaceList, records, 4);

// Command readInterfaces.
struct InterfaceListRecord {
    CommandHeader header;
    InterfaceList list;
};

static_assert(sizeof(InterfaceListRecord) == 5620);
RK_AT(InterfaceListRecord, list, 16);

} // namespace rk
