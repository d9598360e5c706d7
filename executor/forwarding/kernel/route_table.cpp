#include "executor/forwarding/kernel/route_table.h"

#include <cerrno>
#include <linux/rtnetlink.h>
#include <netlink/attr.h>
#include <netlink/netlink.h>
#include <new>
#include <sys/socket.h>

namespace rk {

namespace {

constexpr unsigned char kWholeAddress = 32;

NetlinkMessage newRouteMessage(int type, int flags, uint32_t table) {
    NetlinkMessage message(nlmsg_alloc_simple(type, NLM_F_REQUEST | flags));
    rtmsg route{};
    route.rtm_family = AF_INET;
    if (message == nullptr || nlmsg_append(message.get(), &route, sizeof route, NLMSG_ALIGNTO) != 0 ||
        nla_put_u32(message.get(), RTA_TABLE, table) != 0)
        throw std::bad_alloc();
    return message;
}

int orderRoute(const NetlinkFamily &routes, int type, int flags, uint32_t table, uint32_t address) {
    const NetlinkMessage message = newRouteMessage(type, NLM_F_ACK | flags, table);
    auto *route = static_cast<rtmsg *>(nlmsg_data(nlmsg_hdr(message.get())));
    route->rtm_dst_len = kWholeAddress;
    route->rtm_type = RTN_BLACKHOLE;
    route->rtm_protocol = RTPROT_STATIC;
    route->rtm_scope = RT_SCOPE_UNIVERSE;
    if (nla_put_u32(message.get(), RTA_DST, address) != 0)
        throw std::bad_alloc();
    return order(routes, message.get());
}

} // namespace

int openRouteTalk(NetlinkFamily &routes) {
    if (const int error = openTalk(routes, NETLINK_ROUTE))
        return error;
    const int on = 1; // lists one table alone, where the machine may have a million routes in others
    setsockopt(nl_socket_get_fd(routes.socket), SOL_NETLINK, NETLINK_GET_STRICT_CHK, &on, sizeof on);
    return 0;
}

int addRoute(const NetlinkFamily &routes, uint32_t table, uint32_t address) {
    return orderRoute(routes, RTM_NEWROUTE, NLM_F_CREATE | NLM_F_REPLACE, table, address);
}

int removeRoute(const NetlinkFamily &routes, uint32_t table, uint32_t address) {
    const int error = orderRoute(routes, RTM_DELROUTE, 0, table, address);
    return error == ESRCH ? 0 : error;
}

int listRoutes(const NetlinkFamily &routes, uint32_t table, std::set<uint32_t> &addresses) {
    addresses.clear();
    const NetlinkMessage question = newRouteMessage(RTM_GETROUTE, NLM_F_DUMP, table);
    NetlinkAnswers answers;
    const int error = exchange(routes, question.get(), answers);
    if (error != 0)
        return error == ENOENT ? 0 : error; // there has been no route in it yet
    for (const nlmsghdr *answer = firstAnswer(answers); answer != nullptr; answer = nextAnswer(answers, answer)) {
        const auto *route = static_cast<const rtmsg *>(nlmsg_data(answer));
        const nlattr *there = nlmsg_find_attr(const_cast<nlmsghdr *>(answer), sizeof *route, RTA_TABLE);
        const nlattr *address = nlmsg_find_attr(const_cast<nlmsghdr *>(answer), sizeof *route, RTA_DST);
        if (route->rtm_type == RTN_BLACKHOLE && route->rtm_dst_len == kWholeAddress && there != nullptr &&
            nla_get_u32(there) == table && address != nullptr)
            addresses.insert(nla_get_u32(address));
    }
    return 0;
}

} // namespace rk
