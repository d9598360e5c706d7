#include "kernel_refusals.h"

#include <csignal>
#include <linux/genetlink.h>
#include <netlink/msg.h>
#include <nftables/libnftables.h>

namespace rk::refusals {

Interference interference;

namespace {

constexpr unsigned char kNoCommand = 0xFF;

// Whether the message that is about to be sent is to be refused.
bool isVictim() {
    if (interference.fate == Fate::none || interference.messages + interference.transactions != interference.victim)
        return false;
    if (interference.fate == Fate::lastWords)
        raise(SIGKILL);
    return true;
}

} // namespace

} // namespace rk::refusals

using rk::refusals::interference;

extern "C" {
int __real_nl_send_auto(nl_sock *socket, nl_msg *message);
int __real_nft_run_cmd_from_buffer(nft_ctx *context, const char *commands);

int __wrap_nl_send_auto(nl_sock *socket, nl_msg *message) {
    ++interference.messages;
    if (rk::refusals::isVictim())
        static_cast<genlmsghdr *>(nlmsg_data(nlmsg_hdr(message)))->cmd = rk::refusals::kNoCommand;
    return __real_nl_send_auto(socket, message);
}

int __wrap_nft_run_cmd_from_buffer(nft_ctx *context, const char *commands) {
    ++interference.transactions;
    return __real_nft_run_cmd_from_buffer(context, rk::refusals::isVictim() ? "refuse this" : commands);
}
}
