// The kernel's load balancer, IPVS, as it is: services and their servers, over netlink.
//
// Every procedure returns 0 or the kernel's errno value. What they mean depends on what was asked; describeRefusal has
// the words.
#pragma once

#include "executor/forwarding/kernel/netlink_family.h"
#include "rk/wire_types.h"

#include <arpa/inet.h>
#include <compare>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace rk {

// What finds a service: a mark on packets, or transport, address and port when the mark is 0.
struct IpvsServiceKey {
    uint32_t mark = 0;
    uint16_t transport = 0; // IPPROTO_TCP or IPPROTO_UDP
    uint32_t address = 0;   // in network byte order
    uint16_t port = 0;      // in host byte order

    bool operator==(const IpvsServiceKey &) const = default;
};

inline bool operator<(const IpvsServiceKey &one, const IpvsServiceKey &other) {
    return std::tie(one.mark, one.transport, one.address, one.port) <
           std::tie(other.mark, other.transport, other.address, other.port);
}

struct IpvsServiceSettings {
    std::string scheduler;
    uint32_t flags = 0;               // IP_VS_SVC_F_..., but for those that the kernel sets itself
    uint32_t stickySeconds = 0;       // with IP_VS_SVC_F_PERSISTENT only
    uint32_t clientMask = 0xFFFFFFFF; // in host byte order: which bits of a client's address make it the same client

    bool operator==(const IpvsServiceSettings &) const = default;
};

struct IpvsServerKey {
    uint32_t address = 0; // in network byte order
    uint16_t port = 0;    // in host byte order; 0 with a mark: the port that the client asked for

    bool operator==(const IpvsServerKey &) const = default;
};

inline bool operator<(const IpvsServerKey &one, const IpvsServerKey &other) {
    // In the order of the numbers: the same on every machine.
    return std::tuple(ntohl(one.address), one.port) < std::tuple(ntohl(other.address), other.port);
}

// How packets get to a server. The values are the kernel's.
enum class IpvsMethod : uint32_t { translation = 0, tunnel = 2, linkLevel = 3 };

struct IpvsServerSettings {
    IpvsMethod method = IpvsMethod::translation;
    int32_t weight = 1; // 0: no new connections

    // Of a server of weight 0, with the scheduler mh: the weight by which it has its part of the table still. 0: none.
    int32_t tableWeight = 0;

    bool operator==(const IpvsServerSettings &) const = default;
};

// What the kernel has counted since the service or server was made. It lags up to two seconds behind.
struct IpvsCounters {
    uint64_t connections = 0;
    uint64_t inPackets = 0;
    uint64_t outPackets = 0; // 0 unless addresses are translated: the answers pass this machine by
    uint64_t inBytes = 0;
    uint64_t outBytes = 0; // likewise
    uint64_t connectionsPerSecond = 0;
    uint64_t inBytesPerSecond = 0;
    uint64_t outBytesPerSecond = 0;
};

struct IpvsService {
    IpvsServiceKey key;
    IpvsServiceSettings settings;
    IpvsCounters counters;
};

struct IpvsServer {
    IpvsServerKey key;
    IpvsServerSettings settings;
    uint32_t active = 0;   // connections that are established
    uint32_t inactive = 0; // and those that are being opened or closed
    IpvsCounters counters;
};

enum class IpvsOrder : uint8_t { add, change, remove };

// Opens the talk. ENOENT: this kernel has no IPVS, or this network namespace none that this process may ask for.
int openIpvs(NetlinkFamily &ipvs);

// `settings` are not read for IpvsOrder::remove, which removes the servers too.
int orderService(const NetlinkFamily &ipvs, IpvsOrder what, const IpvsServiceKey &key,
                 const IpvsServiceSettings &settings);
int orderServer(const NetlinkFamily &ipvs, IpvsOrder what, const IpvsServiceKey &service, const IpvsServerKey &key,
                const IpvsServerSettings &settings);

// Lists are asked for again by themselves when they change meanwhile. Only IPv4 and mark services are listed.
int listServices(const NetlinkFamily &ipvs, std::vector<IpvsService> &services);
int listServers(const NetlinkFamily &ipvs, const IpvsServiceKey &service, std::vector<IpvsServer> &servers);

// One service, or its error when it is not there.
int readService(const NetlinkFamily &ipvs, const IpvsServiceKey &key, IpvsService &service);

// How long the kernel keeps a connection without a packet, in seconds, for all services. 0 leaves a value as it is.
struct IpvsTimeouts {
    uint32_t established = 0;
    uint32_t closing = 0; // after a FIN
    uint32_t udp = 0;

    bool operator==(const IpvsTimeouts &) const = default;
};
int readTimeouts(const NetlinkFamily &ipvs, IpvsTimeouts &timeouts);
int writeTimeouts(const NetlinkFamily &ipvs, const IpvsTimeouts &timeouts);

// Names of things for messages: "tcp 10.0.0.1:80", "mark 0x4c000001", "10.0.0.7:8080".
std::string describe(const IpvsServiceKey &service);
std::string describe(const IpvsServerKey &server);

// What an operator is told: "add service tcp 10.0.0.1:80: the kernel has it already". `server` is null for a service.
std::string describeRefusal(IpvsOrder what, const IpvsServiceKey &service, const IpvsServerKey *server, int error);

} // namespace rk
