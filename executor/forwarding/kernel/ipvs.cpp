#include "executor/forwarding/kernel/ipvs.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <linux/ip_vs.h>
#include <netlink/attr.h>
#include <netlink/genl/genl.h>
#include <new>

namespace rk {

namespace {

constexpr int kListAttempts = 5; // a list that changes each time it is read is given up
constexpr uint32_t kMethodBits = IP_VS_CONN_F_FWD_MASK;

using Attributes = std::vector<nlattr *>;

struct OrderRow {
    IpvsOrder what;
    const char *words;
    uint8_t serviceCommand;
    uint8_t serverCommand;
};
constexpr OrderRow kOrders[] = {
    {IpvsOrder::add, "add", IPVS_CMD_NEW_SERVICE, IPVS_CMD_NEW_DEST},
    {IpvsOrder::change, "change", IPVS_CMD_SET_SERVICE, IPVS_CMD_SET_DEST},
    {IpvsOrder::remove, "remove", IPVS_CMD_DEL_SERVICE, IPVS_CMD_DEL_DEST},
};
const OrderRow &rowOf(IpvsOrder what) {
    return kOrders[static_cast<std::size_t>(what)];
}

// A message is as large as a page: what is put into one here never fills it.
void put(int status) {
    if (status < 0)
        throw std::bad_alloc();
}

nlattr *beginNest(nl_msg *message, int attribute) {
    nlattr *nest = nla_nest_start(message, attribute);
    if (nest == nullptr)
        throw std::bad_alloc();
    return nest;
}

// The kernel wants room for an address of either family.
void putAddress(nl_msg *message, int attribute, uint32_t address) {
    in6_addr room{};
    std::memcpy(&room, &address, sizeof address);
    put(nla_put(message, attribute, sizeof room, &room));
}

void putServiceKey(nl_msg *message, const IpvsServiceKey &key) {
    put(nla_put_u16(message, IPVS_SVC_ATTR_AF, AF_INET));
    if (key.mark != 0) {
        put(nla_put_u32(message, IPVS_SVC_ATTR_FWMARK, key.mark));
        return;
    }
    put(nla_put_u16(message, IPVS_SVC_ATTR_PROTOCOL, key.transport));
    putAddress(message, IPVS_SVC_ATTR_ADDR, key.address);
    put(nla_put_u16(message, IPVS_SVC_ATTR_PORT, htons(key.port)));
}

void putService(nl_msg *message, const IpvsServiceKey &key, const IpvsServiceSettings *settings) {
    nlattr *nest = beginNest(message, IPVS_CMD_ATTR_SERVICE);
    putServiceKey(message, key);
    if (settings != nullptr) {
        const ip_vs_flags flags{settings->flags, ~0U};
        put(nla_put_string(message, IPVS_SVC_ATTR_SCHED_NAME, settings->scheduler.c_str()));
        put(nla_put(message, IPVS_SVC_ATTR_FLAGS, sizeof flags, &flags));
        put(nla_put_u32(message, IPVS_SVC_ATTR_TIMEOUT, settings->stickySeconds));
        put(nla_put_u32(message, IPVS_SVC_ATTR_NETMASK, htonl(settings->clientMask)));
    }
    nla_nest_end(message, nest);
}

void putServer(nl_msg *message, const IpvsServerKey &key, const IpvsServerSettings *settings) {
    nlattr *nest = beginNest(message, IPVS_CMD_ATTR_DEST);
    put(nla_put_u16(message, IPVS_DEST_ATTR_ADDR_FAMILY, AF_INET));
    putAddress(message, IPVS_DEST_ATTR_ADDR, key.address);
    put(nla_put_u16(message, IPVS_DEST_ATTR_PORT, htons(key.port)));
    if (settings != nullptr) {
        put(nla_put_u32(message, IPVS_DEST_ATTR_FWD_METHOD, static_cast<uint32_t>(settings->method)));
        put(nla_put_u32(message, IPVS_DEST_ATTR_WEIGHT, static_cast<uint32_t>(settings->weight)));
        put(nla_put_u32(message, IPVS_DEST_ATTR_U_THRESH, 0));
        put(nla_put_u32(message, IPVS_DEST_ATTR_L_THRESH, 0));
    }
    nla_nest_end(message, nest);
}

uint16_t word16(const nlattr *attribute) {
    return attribute == nullptr || nla_len(attribute) < 2 ? uint16_t{0} : nla_get_u16(attribute);
}

uint32_t word32(const nlattr *attribute) {
    return attribute == nullptr || nla_len(attribute) < 4 ? 0 : nla_get_u32(attribute);
}

uint64_t word64(const nlattr *attribute) {
    return attribute == nullptr || nla_len(attribute) < 8 ? 0 : nla_get_u64(attribute);
}

// The members of a nest, by their number; none when there is no such nest.
Attributes membersOf(nlattr *nest, int highest) {
    Attributes members(static_cast<std::size_t>(highest) + 1);
    if (nest != nullptr)
        nla_parse_nested(members.data(), highest, nest, nullptr);
    return members;
}

// The attribute `number` of an answer, or null.
nlattr *attributeOf(const nlmsghdr *answer, int number) {
    Attributes all(IPVS_CMD_ATTR_MAX + 1);
    genlmsg_parse(const_cast<nlmsghdr *>(answer), 0, all.data(), IPVS_CMD_ATTR_MAX, nullptr);
    return all[static_cast<std::size_t>(number)];
}

IpvsCounters countersOf(nlattr *nest) {
    const Attributes value = membersOf(nest, IPVS_STATS_ATTR_MAX);
    IpvsCounters counters;
    counters.connections = word64(value[IPVS_STATS_ATTR_CONNS]);
    counters.inPackets = word64(value[IPVS_STATS_ATTR_INPKTS]);
    counters.outPackets = word64(value[IPVS_STATS_ATTR_OUTPKTS]);
    counters.inBytes = word64(value[IPVS_STATS_ATTR_INBYTES]);
    counters.outBytes = word64(value[IPVS_STATS_ATTR_OUTBYTES]);
    counters.connectionsPerSecond = word64(value[IPVS_STATS_ATTR_CPS]);
    counters.inBytesPerSecond = word64(value[IPVS_STATS_ATTR_INBPS]);
    counters.outBytesPerSecond = word64(value[IPVS_STATS_ATTR_OUTBPS]);
    return counters;
}

// False for what is not IPv4.
bool takeService(nlattr *nest, IpvsService &service) {
    const Attributes value = membersOf(nest, IPVS_SVC_ATTR_MAX);
    if (word16(value[IPVS_SVC_ATTR_AF]) != AF_INET)
        return false;
    service.key.mark = word32(value[IPVS_SVC_ATTR_FWMARK]);
    if (service.key.mark == 0) {
        service.key.transport = word16(value[IPVS_SVC_ATTR_PROTOCOL]);
        service.key.address = word32(value[IPVS_SVC_ATTR_ADDR]);
        service.key.port = ntohs(word16(value[IPVS_SVC_ATTR_PORT]));
    }
    if (const nlattr *name = value[IPVS_SVC_ATTR_SCHED_NAME])
        service.settings.scheduler.assign(
            static_cast<const char *>(nla_data(name)),
            strnlen(static_cast<const char *>(nla_data(name)), static_cast<std::size_t>(nla_len(name))));
    service.settings.flags = word32(value[IPVS_SVC_ATTR_FLAGS]) & ~static_cast<uint32_t>(IP_VS_SVC_F_HASHED);
    service.settings.stickySeconds = word32(value[IPVS_SVC_ATTR_TIMEOUT]);
    service.settings.clientMask = ntohl(word32(value[IPVS_SVC_ATTR_NETMASK]));
    service.counters = countersOf(value[IPVS_SVC_ATTR_STATS64]);
    return true;
}

IpvsServer takeServer(nlattr *nest) {
    const Attributes value = membersOf(nest, IPVS_DEST_ATTR_MAX);
    IpvsServer server;
    server.key.address = word32(value[IPVS_DEST_ATTR_ADDR]);
    server.key.port = ntohs(word16(value[IPVS_DEST_ATTR_PORT]));
    server.settings.method = static_cast<IpvsMethod>(word32(value[IPVS_DEST_ATTR_FWD_METHOD]) & kMethodBits);
    server.settings.weight = static_cast<int32_t>(word32(value[IPVS_DEST_ATTR_WEIGHT]));
    server.active = word32(value[IPVS_DEST_ATTR_ACTIVE_CONNS]);
    server.inactive = word32(value[IPVS_DEST_ATTR_INACT_CONNS]);
    server.counters = countersOf(value[IPVS_DEST_ATTR_STATS64]);
    return server;
}

// Asks until the kernel gives a list that did not change while it was read. `service` is null for all services.
int askForList(const NetlinkFamily &ipvs, uint8_t command, const IpvsServiceKey *service, NetlinkAnswers &answers) {
    int error = EAGAIN;
    for (int attempt = 0; attempt < kListAttempts && error == EAGAIN; ++attempt) {
        const NetlinkMessage question = newMessage(ipvs, command, NLM_F_DUMP);
        if (service != nullptr)
            putService(question.get(), *service, nullptr);
        error = exchange(ipvs, question.get(), answers);
    }
    return error;
}

// What the errno values mean that do not stand for themselves.
const char *wordsFor(int error, IpvsOrder what, bool isServer) {
    switch (error) {
    case EPERM:
        return "not permitted: it takes CAP_NET_ADMIN, and not in a user namespace";
    case EEXIST:
        return "the kernel has it already, and not from here";
    case ESRCH:
        return "the kernel has no such service";
    case ENOENT:
        if (isServer)
            return "the kernel has no such server";
        return what == IpvsOrder::remove ? "the kernel has no such service"
                                         : "the kernel has no such scheduler (modprobe ip_vs_...)";
    case EINVAL:
        return "the kernel takes neither such an address nor such a value";
    case ERANGE:
        return "the weight is out of range";
    case EIO:
        return "there is no talking with the kernel";
    default:
        return std::strerror(error);
    }
}

std::string addressText(uint32_t address) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

} // namespace

int openIpvs(NetlinkFamily &ipvs) {
    return openFamily(ipvs, IPVS_GENL_NAME, IPVS_GENL_VERSION);
}

int orderService(const NetlinkFamily &ipvs, IpvsOrder what, const IpvsServiceKey &key,
                 const IpvsServiceSettings &settings) {
    const NetlinkMessage message = newMessage(ipvs, rowOf(what).serviceCommand, NLM_F_ACK);
    putService(message.get(), key, what == IpvsOrder::remove ? nullptr : &settings);
    return order(ipvs, message.get());
}

int orderServer(const NetlinkFamily &ipvs, IpvsOrder what, const IpvsServiceKey &service, const IpvsServerKey &key,
                const IpvsServerSettings &settings) {
    const NetlinkMessage message = newMessage(ipvs, rowOf(what).serverCommand, NLM_F_ACK);
    putService(message.get(), service, nullptr);
    putServer(message.get(), key, what == IpvsOrder::remove ? nullptr : &settings);
    return order(ipvs, message.get());
}

int listServices(const NetlinkFamily &ipvs, std::vector<IpvsService> &services) {
    services.clear();
    NetlinkAnswers answers;
    if (const int error = askForList(ipvs, IPVS_CMD_GET_SERVICE, nullptr, answers))
        return error;
    for (const nlmsghdr *answer = firstAnswer(answers); answer != nullptr; answer = nextAnswer(answers, answer)) {
        IpvsService service;
        if (takeService(attributeOf(answer, IPVS_CMD_ATTR_SERVICE), service))
            services.push_back(std::move(service));
    }
    return 0;
}

int readService(const NetlinkFamily &ipvs, const IpvsServiceKey &key, IpvsService &service) {
    const NetlinkMessage question = newMessage(ipvs, IPVS_CMD_GET_SERVICE, NLM_F_ACK);
    putService(question.get(), key, nullptr);
    NetlinkAnswers answers;
    if (const int error = exchange(ipvs, question.get(), answers))
        return error;
    const nlmsghdr *answer = firstAnswer(answers);
    return answer != nullptr && takeService(attributeOf(answer, IPVS_CMD_ATTR_SERVICE), service) ? 0 : EIO;
}

int listServers(const NetlinkFamily &ipvs, const IpvsServiceKey &service, std::vector<IpvsServer> &servers) {
    servers.clear();
    NetlinkAnswers answers;
    if (const int error = askForList(ipvs, IPVS_CMD_GET_DEST, &service, answers))
        return error;
    for (const nlmsghdr *answer = firstAnswer(answers); answer != nullptr; answer = nextAnswer(answers, answer))
        servers.push_back(takeServer(attributeOf(answer, IPVS_CMD_ATTR_DEST)));
    return 0;
}

int readTimeouts(const NetlinkFamily &ipvs, IpvsTimeouts &timeouts) {
    const NetlinkMessage question = newMessage(ipvs, IPVS_CMD_GET_CONFIG, NLM_F_ACK);
    NetlinkAnswers answers;
    if (const int error = exchange(ipvs, question.get(), answers))
        return error;
    const nlmsghdr *answer = firstAnswer(answers);
    if (answer == nullptr)
        return EIO;
    timeouts.established = word32(attributeOf(answer, IPVS_CMD_ATTR_TIMEOUT_TCP));
    timeouts.closing = word32(attributeOf(answer, IPVS_CMD_ATTR_TIMEOUT_TCP_FIN));
    timeouts.udp = word32(attributeOf(answer, IPVS_CMD_ATTR_TIMEOUT_UDP));
    return 0;
}

int writeTimeouts(const NetlinkFamily &ipvs, const IpvsTimeouts &timeouts) {
    const NetlinkMessage message = newMessage(ipvs, IPVS_CMD_SET_CONFIG, NLM_F_ACK);
    put(nla_put_u32(message.get(), IPVS_CMD_ATTR_TIMEOUT_TCP, timeouts.established));
    put(nla_put_u32(message.get(), IPVS_CMD_ATTR_TIMEOUT_TCP_FIN, timeouts.closing));
    put(nla_put_u32(message.get(), IPVS_CMD_ATTR_TIMEOUT_UDP, timeouts.udp));
    return order(ipvs, message.get());
}

std::string describe(const IpvsServiceKey &service) {
    if (service.mark != 0) {
        char text[32] = "";
        std::snprintf(text, sizeof text, "mark 0x%x", service.mark);
        return text;
    }
    return (service.transport == IPPROTO_UDP ? "udp " : "tcp ") + addressText(service.address) + ":" +
           std::to_string(service.port);
}

std::string describe(const IpvsServerKey &server) {
    return addressText(server.address) + ":" + std::to_string(server.port);
}

std::string describeRefusal(IpvsOrder what, const IpvsServiceKey &service, const IpvsServerKey *server, int error) {
    std::string text = rowOf(what).words;
    if (server != nullptr)
        text += " server " + describe(*server) + " of";
    return text + " service " + describe(service) + ": " + wordsFor(error, what, server != nullptr);
}

} // namespace rk
