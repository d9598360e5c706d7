#include "executor/forwarding/kernel/netlink_family.h"

#include <cerrno>
#include <cstdlib>
#include <netlink/errno.h>
#include <netlink/genl/ctrl.h>
#include <netlink/genl/genl.h>
#include <netlink/netlink.h>
#include <new>
#include <sys/socket.h>

namespace rk {

namespace {

constexpr std::size_t kReceiveBytes = 65536; // the kernel fills as much with one part of a list
constexpr int kReceiveQueueBytes = 1 << 20;  // answers wait here
constexpr timeval kPatience = {10, 0};       // the kernel answers while it takes the message

// What one part of an answer says about the whole.
struct Progress {
    bool isDone = false;
    bool isInterrupted = false;
    int error = 0;
};

// libnl gives two of the kernel's errors one number of its own (no such service, no such server), so the kernel's own
// is read here.
int errorIn(const nlmsghdr *header) {
    const auto *error = static_cast<const nlmsgerr *>(nlmsg_data(header));
    return nlmsg_datalen(header) < static_cast<int>(sizeof error->error) ? EIO : -error->error;
}

// The number that the end of a list carries: 0, or what ended it early.
int endOfList(const nlmsghdr *header) {
    const auto *number = static_cast<const int *>(nlmsg_data(header));
    return nlmsg_datalen(header) < static_cast<int>(sizeof *number) || *number >= 0 ? 0 : -*number;
}

void takePart(const nlmsghdr *header, Progress &progress, NetlinkAnswers &answers) {
    if ((header->nlmsg_flags & NLM_F_DUMP_INTR) != 0)
        progress.isInterrupted = true;
    switch (header->nlmsg_type) {
    case NLMSG_ERROR: // 0 acknowledges
        progress.error = errorIn(header);
        progress.isDone = true;
        break;
    case NLMSG_DONE:
        progress.error = endOfList(header);
        progress.isDone = true;
        break;
    case NLMSG_NOOP:
        break;
    default: {
        const auto *bytes = reinterpret_cast<const char *>(header);
        answers.bytes.insert(answers.bytes.end(), bytes, bytes + NLMSG_ALIGN(header->nlmsg_len));
    }
    }
}

// Parts of an exchange before this one, which broke off, have another sequence number and are passed over.
void takeParts(unsigned char *bytes, int size, uint32_t sequence, Progress &progress, NetlinkAnswers &answers) {
    for (auto *header = reinterpret_cast<nlmsghdr *>(bytes); nlmsg_ok(header, size) != 0;
         header = nlmsg_next(header, &size))
        if (header->nlmsg_seq == sequence && !progress.isDone)
            takePart(header, progress, answers);
}

} // namespace

int openTalk(NetlinkFamily &family, int protocol) {
    family.socket = nl_socket_alloc();
    if (family.socket == nullptr)
        return ENOMEM;
    if (nl_connect(family.socket, protocol) < 0) {
        closeFamily(family);
        return EPROTONOSUPPORT;
    }
    nl_socket_set_buffer_size(family.socket, kReceiveQueueBytes, 0);
    nl_socket_disable_msg_peek(family.socket);
    nl_socket_set_msg_buf_size(family.socket, kReceiveBytes);
    setsockopt(nl_socket_get_fd(family.socket), SOL_SOCKET, SO_RCVTIMEO, &kPatience, sizeof kPatience);
    return 0;
}

int openFamily(NetlinkFamily &family, const char *name, uint8_t version) {
    if (const int error = openTalk(family, NETLINK_GENERIC))
        return error;
    family.number = genl_ctrl_resolve(family.socket, name);
    family.version = version;
    if (family.number < 0) {
        closeFamily(family);
        return ENOENT;
    }
    return 0;
}

void closeFamily(NetlinkFamily &family) {
    if (family.socket != nullptr)
        nl_socket_free(family.socket);
    family.socket = nullptr;
}

NetlinkMessage newMessage(const NetlinkFamily &family, uint8_t command, int flags) {
    NetlinkMessage message(nlmsg_alloc());
    if (message == nullptr || genlmsg_put(message.get(), NL_AUTO_PORT, NL_AUTO_SEQ, family.number, 0, flags, command,
                                          family.version) == nullptr)
        throw std::bad_alloc();
    return message;
}

int exchange(const NetlinkFamily &family, nl_msg *message, NetlinkAnswers &answers) {
    answers.bytes.clear();
    if (nl_send_auto(family.socket, message) < 0)
        return EIO;
    const uint32_t sequence = nlmsg_hdr(message)->nlmsg_seq;
    Progress progress;
    while (!progress.isDone) {
        sockaddr_nl sender{};
        unsigned char *bytes = nullptr;
        const int size = nl_recv(family.socket, &sender, &bytes, nullptr);
        if (size > 0 && sender.nl_pid == 0) // the kernel's own
            takeParts(bytes, size, sequence, progress, answers);
        std::free(bytes);
        if (size <= 0)
            return EIO;
    }
    if (progress.error != 0)
        return progress.error;
    return progress.isInterrupted ? EAGAIN : 0;
}

int order(const NetlinkFamily &family, nl_msg *message) {
    NetlinkAnswers none;
    return exchange(family, message, none);
}

const nlmsghdr *firstAnswer(const NetlinkAnswers &answers) {
    return answers.bytes.empty() ? nullptr : reinterpret_cast<const nlmsghdr *>(answers.bytes.data());
}

const nlmsghdr *nextAnswer(const NetlinkAnswers &answers, const nlmsghdr *answer) {
    const char *next = reinterpret_cast<const char *>(answer) + NLMSG_ALIGN(answer->nlmsg_len);
    return next == answers.bytes.data() + answers.bytes.size() ? nullptr : reinterpret_cast<const nlmsghdr *>(next);
}

} // namespace rk
