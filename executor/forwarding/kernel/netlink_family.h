// Talking with one family of the kernel's generic netlink: a message goes out, the answers come back whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <netlink/msg.h>
#include <string>
#include <vector>

namespace rk {

struct NetlinkFamily {
    nl_sock *socket = nullptr; // null: not open
    int number = 0;            // the family's, which the kernel gave out
    uint8_t version = 0;
};

struct NetlinkMessageOwner {
    void operator()(nl_msg *message) const {
        nlmsg_free(message);
    }
};
using NetlinkMessage = std::unique_ptr<nl_msg, NetlinkMessageOwner>;

// The answers to one message, one after the other, each as nlmsg_ok and nlmsg_next want it.
struct NetlinkAnswers {
    std::vector<char> bytes;
};

// Opens a talk by one of netlink's protocols (NETLINK_ROUTE). Returns 0 or an errno value.
int openTalk(NetlinkFamily &family, int protocol);

// Opens a talk with the family `name`. Returns 0 or an errno value: ENOENT when this kernel has no such family (the
// kernel loads its module by itself when it can).
int openFamily(NetlinkFamily &family, const char *name, uint8_t version);
void closeFamily(NetlinkFamily &family);

// A message that carries `command`; `flags` are those of netlink (NLM_F_ACK, NLM_F_DUMP). Throws std::bad_alloc.
NetlinkMessage newMessage(const NetlinkFamily &family, uint8_t command, int flags);

// Sends `message`, waits for the kernel to be done with it, and keeps what it answered. Returns 0, the errno value with
// which the kernel refused, or:
// - EAGAIN: what was listed changed meanwhile, so that the answers are not all of it; ask again
// - EIO: there is no talking with the kernel
int exchange(const NetlinkFamily &family, nl_msg *message, NetlinkAnswers &answers);

// The same for a message without an answer.
int order(const NetlinkFamily &family, nl_msg *message);

// The first answer, or null; and the one behind another.
const nlmsghdr *firstAnswer(const NetlinkAnswers &answers);
const nlmsghdr *nextAnswer(const NetlinkAnswers &answers, const nlmsghdr *answer);

} // namespace rk
