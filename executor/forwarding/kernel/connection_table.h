// The kernel's table of balanced connections, as /proc/net/ip_vs_conn shows it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace rk {

// The kernel's names of states, in no order that means anything. What is not among them is `other`.
enum class KernelState : uint8_t {
    other, // of a transport without states, or before the first packet
    established,
    synSent,
    synReceived,
    finWait,
    timeWait,
    close,
    closeWait,
    lastAck,
    listen,
    synAcknowledged,
    udp,
};

// Addresses and ports are in host byte order.
struct KernelConnection {
    uint16_t transport = 0; // IPPROTO_TCP or IPPROTO_UDP, 0 for a client that sticks through a mark
    uint32_t clientAddress = 0;
    uint16_t clientPort = 0;     // 0: not a connection, but a client (network) that sticks to a server
    uint32_t clusterAddress = 0; // with transport 0: the mark
    uint16_t clusterPort = 0;
    uint32_t serverAddress = 0;
    uint16_t serverPort = 0;
    KernelState state = KernelState::other;
    uint32_t expires = 0; // seconds until the kernel forgets it, when no packet comes

    bool operator==(const KernelConnection &) const = default;
};

inline bool isStickyClient(const KernelConnection &connection) {
    return connection.clientPort == 0;
}

// Reads the lines of the table; its heading, lines of IPv6 and lines that make no sense are passed over.
std::vector<KernelConnection> parseConnections(std::string_view text);

// The packets that all services have taken so far, as /proc/net/ip_vs_stats tells; 0 when it makes no sense.
uint64_t parsePackets(std::string_view text);

// The whole of a file below /proc. False when it cannot be read; errno tells why.
bool readWhole(const std::string &path, std::string &text);

} // namespace rk
