#include "executor/availability/machine_addresses.h"

#include <arpa/inet.h>
#include <bit>
#include <cerrno>
#include <cstring>
#include <ifaddrs.h>
#include <initializer_list>
#include <linux/rtnetlink.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/if_ether.h>
#include <netpacket/packet.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr char kAliasMark[] = ":ha";
constexpr int kWholeAddress = 32;

int openRoutes(uint32_t groups) {
    const int opened = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | (groups == 0 ? 0 : SOCK_NONBLOCK), NETLINK_ROUTE);
    sockaddr_nl own{};
    own.nl_family = AF_NETLINK;
    own.nl_groups = groups;
    if (opened != -1 && bind(opened, reinterpret_cast<sockaddr *>(&own), sizeof own) != 0) {
        close(opened);
        return -1;
    }
    return opened;
}

struct AddressRequest {
    nlmsghdr header;
    ifaddrmsg address;
    char attributes[128];
};

void addAttribute(AddressRequest &request, uint16_t type, const void *value, std::size_t size) {
    auto *attribute =
        reinterpret_cast<rtattr *>(reinterpret_cast<char *>(&request) + NLMSG_ALIGN(request.header.nlmsg_len));
    attribute->rta_type = type;
    attribute->rta_len = static_cast<uint16_t>(RTA_LENGTH(size));
    std::memcpy(RTA_DATA(attribute), value, size);
    request.header.nlmsg_len =
        static_cast<uint32_t>(NLMSG_ALIGN(request.header.nlmsg_len) + RTA_ALIGN(attribute->rta_len));
}

// Sends the request and waits for the kernel's answer. 0 or an errno value.
int orderAddress(const AddressTalk &talk, AddressRequest &request) {
    if (send(talk.netlink, &request, request.header.nlmsg_len, 0) == -1)
        return errno;
    struct {
        nlmsghdr header;
        nlmsgerr error;
        char rest[512];
    } answer{};
    if (recv(talk.netlink, &answer, sizeof answer, 0) < static_cast<ssize_t>(NLMSG_LENGTH(sizeof answer.error)))
        return EIO;
    return -answer.error.error;
}

AddressRequest newRequest(uint16_t type, uint16_t flags, NetworkAddress address, int bits, unsigned index) {
    AddressRequest request{};
    request.header.nlmsg_len = NLMSG_LENGTH(sizeof request.address);
    request.header.nlmsg_type = type;
    request.header.nlmsg_flags = static_cast<uint16_t>(NLM_F_REQUEST | NLM_F_ACK | flags);
    request.address.ifa_family = AF_INET;
    request.address.ifa_prefixlen = static_cast<uint8_t>(bits);
    request.address.ifa_index = index;
    addAttribute(request, IFA_LOCAL, &address, sizeof address);
    addAttribute(request, IFA_ADDRESS, &address, sizeof address);
    return request;
}

NetworkAddress ipv4Of(const sockaddr *address) {
    sockaddr_in ipv4{};
    std::memcpy(&ipv4, address, sizeof ipv4);
    return {ipv4.sin_addr.s_addr};
}

} // namespace

bool openAddressTalk(AddressTalk &talk, LogText &words) {
    talk.netlink = openRoutes(0);
    talk.changes = openRoutes(RTMGRP_IPV4_IFADDR | RTMGRP_LINK);
    talk.packets = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
    if (talk.netlink != -1 && talk.changes != -1 && talk.packets != -1)
        return true;
    append(words, "addresses cannot be announced: %s (CAP_NET_RAW)", strerrordesc_np(errno));
    closeAddressTalk(talk);
    return false;
}

void closeAddressTalk(AddressTalk &talk) {
    for (const int descriptor : {talk.netlink, talk.changes, talk.packets}) {
        if (descriptor != -1)
            close(descriptor);
    }
    talk = AddressTalk{};
}

void takeChanges(const AddressTalk &talk) {
    char taken[8192];
    while (recv(talk.changes, taken, sizeof taken, 0) > 0 || errno == ENOBUFS) {
    }
}

std::vector<MachineAddress> listMachineAddresses() {
    std::vector<MachineAddress> machine;
    ifaddrs *first = nullptr;
    if (getifaddrs(&first) != 0)
        return machine;
    for (const ifaddrs *each = first; each != nullptr; each = each->ifa_next) {
        if (each->ifa_addr == nullptr || each->ifa_addr->sa_family != AF_INET || each->ifa_netmask == nullptr)
            continue;
        const std::string name = each->ifa_name;
        machine.push_back(
            {ipv4Of(each->ifa_addr), std::popcount(ipv4Of(each->ifa_netmask).word), name.substr(0, name.find(':'))});
    }
    freeifaddrs(first);
    return machine;
}

int addAddress(const AddressTalk &talk, const MovingAddress &address) {
    const unsigned index = if_nametoindex(address.interface.c_str());
    if (index == 0)
        return ENODEV;
    AddressRequest request = newRequest(RTM_NEWADDR, NLM_F_CREATE | NLM_F_EXCL, address.address, kWholeAddress, index);
    const std::string label = address.interface + kAliasMark;
    if (label.size() < IFNAMSIZ)
        addAttribute(request, IFA_LABEL, label.c_str(), label.size() + 1);
    const int error = orderAddress(talk, request);
    return error == EEXIST ? 0 : error;
}

int removeAddress(const AddressTalk &talk, const MachineAddress &address) {
    const unsigned index = if_nametoindex(address.interface.c_str());
    if (index == 0)
        return 0; // the interface is gone, and the address with it
    AddressRequest request = newRequest(RTM_DELADDR, 0, address.address, address.bits, index);
    const int error = orderAddress(talk, request);
    return error == EADDRNOTAVAIL ? 0 : error;
}

void announceAddress(const AddressTalk &talk, const MovingAddress &address) {
    ifreq interface {};
    std::strncpy(interface.ifr_name, address.interface.c_str(), sizeof interface.ifr_name - 1);
    if (ioctl(talk.packets, SIOCGIFHWADDR, &interface) != 0 || interface.ifr_hwaddr.sa_family != ARPHRD_ETHER)
        return;
    struct [[gnu::packed]] {
        ether_header ethernet;
        ether_arp arp;
    } packet{};
    const uint8_t *hardware = reinterpret_cast<uint8_t *>(interface.ifr_hwaddr.sa_data);
    std::memset(packet.ethernet.ether_dhost, 0xFF, ETH_ALEN);
    std::memcpy(packet.ethernet.ether_shost, hardware, ETH_ALEN);
    packet.ethernet.ether_type = htons(ETHERTYPE_ARP);
    packet.arp.ea_hdr.ar_hrd = htons(ARPHRD_ETHER);
    packet.arp.ea_hdr.ar_pro = htons(ETHERTYPE_IP);
    packet.arp.ea_hdr.ar_hln = ETH_ALEN;
    packet.arp.ea_hdr.ar_pln = sizeof address.address;
    std::memcpy(packet.arp.arp_sha, hardware, ETH_ALEN);
    std::memcpy(packet.arp.arp_spa, &address.address, sizeof address.address);
    std::memset(packet.arp.arp_tha, 0xFF, ETH_ALEN);
    std::memcpy(packet.arp.arp_tpa, &address.address, sizeof address.address);
    sockaddr_ll to{};
    to.sll_family = AF_PACKET;
    to.sll_ifindex = static_cast<int>(if_nametoindex(address.interface.c_str()));
    for (const uint16_t operation : std::initializer_list<uint16_t>{ARPOP_REQUEST, ARPOP_REPLY}) {
        packet.arp.ea_hdr.ar_op = htons(operation);
        sendto(talk.packets, &packet, sizeof packet, 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
    }
}

} // namespace rk
