#include "fuzz/harness/machine.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ifaddrs.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>

namespace {

constexpr const char *kNames[] = {"eth0", "eth0:1", "lo", "eth10:99", "a-name-of-15-ch", "", ":", "wlan0"};
constexpr int kMostInterfaces = 140;

struct Interface {
    ifaddrs entry;
    sockaddr_ll link;
    sockaddr_in address;
    sockaddr_in netmask;
    sockaddr_in broadcast;
    char name[IFNAMSIZ];
};

Interface interfaces[kMostInterfaces];
int numberOfInterfaces = 0;
bool isTold = true;
int mtu = 1500;

sockaddr *drawAddress(const fuzz::Draws &draws, sockaddr_in &address) {
    const uint8_t choice = fuzz::drawByte(draws);
    address = {};
    address.sin_family = choice == 0xFE ? AF_INET6 : AF_INET;
    address.sin_addr.s_addr = choice == 0xFD ? fuzz::drawWord(draws) : htonl(0x0A000000U + choice);
    return choice == 0xFF ? nullptr : reinterpret_cast<sockaddr *>(&address);
}

void drawInterface(const fuzz::Draws &draws, Interface &interface) {
    interface = {};
    const uint8_t choice = fuzz::drawByte(draws);
    strncpy(interface.name, kNames[choice % std::size(kNames)], sizeof(interface.name) - 1);
    interface.entry.ifa_name = interface.name;
    interface.entry.ifa_flags = choice >= 0x80 ? IFF_BROADCAST : 0;
    if (choice >= 0x40 && choice < 0x80) { // the hardware's entry
        interface.link.sll_family = AF_PACKET;
        interface.link.sll_halen = fuzz::drawByte(draws);
        interface.entry.ifa_addr = reinterpret_cast<sockaddr *>(&interface.link);
        return;
    }
    interface.entry.ifa_addr = drawAddress(draws, interface.address);
    interface.entry.ifa_netmask = drawAddress(draws, interface.netmask);
    interface.entry.ifa_broadaddr = drawAddress(draws, interface.broadcast);
}

} // namespace

namespace fuzz {

void drawMachine(const Draws &draws) {
    const uint8_t choice = drawByte(draws);
    isTold = choice != 0xFF;
    numberOfInterfaces = choice % (kMostInterfaces + 1);
    for (int i = 0; i < numberOfInterfaces; ++i) {
        drawInterface(draws, interfaces[i]);
        if (i > 0)
            interfaces[i - 1].entry.ifa_next = &interfaces[i].entry;
    }
    mtu = drawNumber(draws, 1500);
}

} // namespace fuzz

extern "C" {

int __wrap_getifaddrs(ifaddrs **list) {
    *list = numberOfInterfaces == 0 ? nullptr : &interfaces[0].entry;
    return isTold ? 0 : -1;
}

void __wrap_freeifaddrs(ifaddrs * /*list*/) {}

int __wrap_ioctl(int /*descriptor*/, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    auto *question = va_arg(arguments, ifreq *);
    va_end(arguments);
    if (request != SIOCGIFMTU || mtu < 0)
        return -1;
    question->ifr_mtu = mtu;
    return 0;
}
}
