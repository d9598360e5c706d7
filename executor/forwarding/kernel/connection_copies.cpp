#include "executor/forwarding/kernel/connection_copies.h"

#include "executor/forwarding/kernel/ipvs.h"
#include "executor/forwarding/kernel/kernel_settings.h"

#include <cerrno>
#include <cstring>
#include <linux/ip_vs.h>
#include <netlink/attr.h>

namespace rk {

namespace {

constexpr char kSettingsFolder[] = "/proc/sys";

// From the third packet of a connection on, and each tenth after that; and again when nothing was copied for a second.
constexpr std::pair<const char *, const char *> kSettings[] = {
    {"net/ipv4/vs/sync_threshold", "3\t10"},
    {"net/ipv4/vs/sync_refresh_period", "1"},
};

SettingsBefore settingsBefore; // of the process, as what they are about is the machine's

// 0 or an errno value. `interface` is null to stop.
int orderDaemon(const NetlinkFamily &ipvs, int state, const std::string *interface, uint16_t port) {
    const NetlinkMessage message =
        newMessage(ipvs, interface == nullptr ? IPVS_CMD_DEL_DAEMON : IPVS_CMD_NEW_DAEMON, NLM_F_ACK);
    nlattr *nest = nla_nest_start(message.get(), IPVS_CMD_ATTR_DAEMON);
    bool isWhole =
        nest != nullptr && nla_put_u32(message.get(), IPVS_DAEMON_ATTR_STATE, static_cast<uint32_t>(state)) == 0;
    if (isWhole && interface != nullptr)
        isWhole = nla_put_string(message.get(), IPVS_DAEMON_ATTR_MCAST_IFN, interface->c_str()) == 0 &&
                  nla_put_u32(message.get(), IPVS_DAEMON_ATTR_SYNC_ID, 1U + port % 255U) == 0 &&
                  nla_put_u16(message.get(), IPVS_DAEMON_ATTR_MCAST_PORT, port) == 0;
    if (!isWhole)
        return ENOMEM;
    nla_nest_end(message.get(), nest);
    return order(ipvs, message.get());
}

void stopDaemons(const NetlinkFamily &ipvs) {
    for (const int state : {IP_VS_STATE_MASTER, IP_VS_STATE_BACKUP})
        orderDaemon(ipvs, state, nullptr, 0); // there may be none
}

} // namespace

bool startConnectionCopies(const std::string &interface, uint16_t port, LogText &words) {
    NetlinkFamily ipvs;
    int error = openIpvs(ipvs);
    if (error == 0) {
        stopDaemons(ipvs); // of a run that was killed
        for (const int state : {IP_VS_STATE_BACKUP, IP_VS_STATE_MASTER})
            error = error != 0 ? error : orderDaemon(ipvs, state, &interface, port);
        if (error != 0)
            stopDaemons(ipvs);
    }
    closeFamily(ipvs);
    if (error != 0) {
        append(words, "%s", error == ENOENT ? "this kernel has no IPVS (module ip_vs)" : strerrordesc_np(error));
        return false;
    }
    for (const auto &[path, value] : kSettings) {
        std::string note;
        if (!changeSetting(kSettingsFolder, path, value, settingsBefore, note))
            append(words, "%s%s", words.length == 0 ? "" : "; ", note.c_str());
    }
    return true;
}

void stopConnectionCopies() {
    NetlinkFamily ipvs;
    if (openIpvs(ipvs) == 0)
        stopDaemons(ipvs);
    closeFamily(ipvs);
    std::string ignored;
    for (const auto &[path, value] : kSettings)
        putBackSetting(kSettingsFolder, path, settingsBefore, ignored);
}

} // namespace rk
