#include "executor/availability/reachability.h"

#include "executor/state/values.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <netinet/ip.h>
#include <netinet/ip_icmp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr int kEnough = 2; // in a row

uint16_t checksumOf(const icmphdr &message) {
    uint16_t words[sizeof message / 2];
    std::memcpy(words, &message, sizeof message);
    uint32_t sum = 0;
    for (const uint16_t word : words)
        sum += word;
    sum = (sum >> 16) + (sum & 0xFFFF);
    return static_cast<uint16_t>(~(sum + (sum >> 16)));
}

uint16_t ownIdentifier() {
    return static_cast<uint16_t>(getpid());
}

// Answers to the requests of the round that is on its way alone.
bool isAnswer(const Reachability &reachability, const char *packet, std::size_t size, NetworkAddress &from) {
    iphdr head{};
    icmphdr message{};
    if (size < sizeof head)
        return false;
    std::memcpy(&head, packet, sizeof head);
    const std::size_t headSize = std::size_t{head.ihl} * 4;
    if (size < headSize + sizeof message)
        return false;
    std::memcpy(&message, packet + headSize, sizeof message);
    from.word = head.saddr;
    return message.type == ICMP_ECHOREPLY && message.un.echo.id == htons(ownIdentifier()) &&
           message.un.echo.sequence == htons(reachability.sequence);
}

} // namespace

bool openReachability(Reachability &reachability, LogText &words) {
    reachability.socket = socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_ICMP);
    if (reachability.socket == -1)
        append(words, "reach targets cannot be asked: %s (CAP_NET_RAW)", strerrordesc_np(errno));
    return reachability.socket != -1;
}

void closeReachability(Reachability &reachability) {
    if (reachability.socket != -1)
        close(reachability.socket);
    reachability = Reachability{};
}

void describeTargets(Reachability &reachability, const HaStatusRecord &record) {
    std::vector<ReachState> targets;
    for (int index = 0; index < record.reachCount; ++index) {
        const NetworkAddress address = record.reachTargets[index].address;
        const auto known =
            std::find_if(reachability.targets.begin(), reachability.targets.end(),
                         [address](const ReachState &each) { return each.address.word == address.word; });
        ReachState fresh;
        fresh.address = address;
        targets.push_back(known == reachability.targets.end() ? fresh : *known);
    }
    reachability.targets = std::move(targets);
}

bool judgeTarget(ReachState &target) {
    const uint8_t before = target.status;
    if (target.isAsked) {
        target.answered = target.isAnswered ? target.answered + 1 : 0;
        target.missed = target.isAnswered ? 0 : target.missed + 1;
        if (target.missed >= kEnough)
            target.status = kUnreachable;
        else if (target.answered >= (target.status == kReachUnknown ? 1 : kEnough))
            target.status = kReachable;
    }
    target.isAsked = false;
    target.isAnswered = false;
    return target.status != before;
}

void takeAnswers(Reachability &reachability) {
    char packet[2048];
    for (ssize_t size = 0; (size = recv(reachability.socket, packet, sizeof packet, 0)) > 0;) {
        NetworkAddress from{};
        if (!isAnswer(reachability, packet, static_cast<std::size_t>(size), from))
            continue;
        for (ReachState &target : reachability.targets)
            target.isAnswered = target.isAnswered || target.address.word == from.word;
    }
}

void askTargets(Reachability &reachability) {
    ++reachability.sequence;
    icmphdr message{};
    message.type = ICMP_ECHO;
    message.un.echo.id = htons(ownIdentifier());
    message.un.echo.sequence = htons(reachability.sequence);
    message.checksum = checksumOf(message);
    for (ReachState &target : reachability.targets) {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_addr.s_addr = target.address.word;
        // One that cannot even be sent is one that is not answered.
        sendto(reachability.socket, &message, sizeof message, 0, reinterpret_cast<sockaddr *>(&to), sizeof to);
        target.isAsked = true;
    }
}

int unreachableTargets(const Reachability &reachability) {
    return static_cast<int>(std::count_if(reachability.targets.begin(), reachability.targets.end(),
                                          [](const ReachState &each) { return each.status == kUnreachable; }));
}

} // namespace rk
