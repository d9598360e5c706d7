#include "executor/availability/keepalived_text.h"

#include <cstdarg>
#include <cstdio>

namespace rk {

namespace {

// Version 3 wants an address in each virtual router, and calls those of a partner with another one wrong. This one is
// the same on both and used by nobody, so that no change of a cluster is one of the configuration.
constexpr char kTokenNetwork[] = "169.254.75";

constexpr int kWatchMilliseconds = 200; // between two packets that tell that a path is there
constexpr int kMissedWatches = 4;       // after which it is not
constexpr int kIdleMilliseconds = 1000; // between two while it is not

[[gnu::format(printf, 2, 3)]] void line(std::string &text, const char *format, ...) {
    char part[512];
    va_list values;
    va_start(values, format);
    std::vsnprintf(part, sizeof part, format, values);
    va_end(values);
    text += part;
    text += '\n';
}

void appendGlobals(std::string &text, const std::string &folder) {
    line(text, "global_defs {");
    line(text, "  router_id qelxwd");
    line(text, "  vrrp_version 3");
    line(text, "  vrrp_notify_fifo %s", noticesFile(folder).c_str());
    line(text, "  vrrp_garp_lower_prio_repeat 1"); // it tells of lower priorities only when it would announce
    line(text, "  vrrp_garp_lower_prio_delay 0");
    line(text, "  vrrp_higher_prio_send_advert true"); // who gives way says so, or the one that stays never knows
    line(text, "  max_auto_priority 50");              // adverts have to leave in time on a busy machine
    line(text, "}");
}

void appendElection(std::string &text, const Partnership &partnership, int election, const std::string &folder) {
    const ElectionPlan &plan = partnership.elections[static_cast<std::size_t>(election)];
    line(text, "track_file boost%d {", election);
    line(text, "  file \"%s\"", boostFile(folder, election).c_str());
    line(text, "  weight 1");
    line(text, "}");
    line(text, "vrrp_sync_group %s {", electionName(election).c_str());
    line(text, "  group {");
    for (const uint8_t identifier : plan.identifiers)
        line(text, "    %s", instanceName(election, identifier).c_str());
    line(text, "  }");
    line(text, "  track_file {");
    line(text, "    boost%d", election);
    line(text, "  }");
    if (!partnership.watchedInterfaces.empty()) {
        line(text, "  track_interface {");
        for (const std::string &interface : partnership.watchedInterfaces)
            line(text, "    %s", interface.c_str());
        line(text, "  }");
    }
    line(text, "}");
}

void appendPath(std::string &text, const PartnerPath &path, int index) {
    line(text, "bfd_instance %s {", pathName(index).c_str());
    line(text, "  neighbor_ip %s", dottedText(path.remote).c_str());
    line(text, "  source_ip %s", dottedText(path.local).c_str());
    line(text, "  min_rx %d", kWatchMilliseconds);
    line(text, "  min_tx %d", kWatchMilliseconds);
    line(text, "  idle_tx %d", kIdleMilliseconds);
    line(text, "  multiplier %d", kMissedWatches);
    line(text, "}");
}

void appendInstance(std::string &text, const Partnership &partnership, int election, std::size_t path) {
    const ElectionPlan &plan = partnership.elections[static_cast<std::size_t>(election)];
    const PartnerPath &ends = partnership.paths[path];
    const int identifier = plan.identifiers[path];
    line(text, "vrrp_instance %s {", instanceName(election, plan.identifiers[path]).c_str());
    line(text, "  state BACKUP");
    line(text, "  interface %s", ends.interface.c_str());
    line(text, "  dont_track_primary"); // one path of several may fail
    line(text, "  virtual_router_id %d", identifier);
    line(text, "  priority %d", plan.priority);
    line(text, "  advert_int %d.%02d", partnership.advertMilliseconds / 1000,
         partnership.advertMilliseconds % 1000 / 10);
    line(text, "  check_unicast_src");
    line(text, "  unicast_src_ip %s", dottedText(ends.local).c_str());
    line(text, "  unicast_peer {");
    line(text, "    %s min_ttl 255 max_ttl 255", dottedText(ends.remote).c_str());
    line(text, "  }");
    line(text, "  virtual_ipaddress {");
    line(text, "    %s.%d/32 dev lo", kTokenNetwork, identifier);
    line(text, "  }");
    line(text, "}");
}

} // namespace

std::string electionName(int election) {
    return "ha" + std::to_string(election);
}

std::string instanceName(int election, uint8_t identifier) {
    return electionName(election) + "_" + std::to_string(identifier);
}

std::string pathName(int path) {
    return "path" + std::to_string(path);
}

std::string boostFile(const std::string &folder, int election) {
    return folder + "/boost" + std::to_string(election);
}

std::string noticesFile(const std::string &folder) {
    return folder + "/notices";
}

std::string keepalivedText(const Partnership &partnership, const std::string &folder) {
    std::string text;
    appendGlobals(text, folder);
    const int elections = static_cast<int>(partnership.elections.size());
    for (int election = 0; election < elections; ++election)
        appendElection(text, partnership, election, folder);
    for (std::size_t path = 0; path < partnership.paths.size(); ++path) {
        appendPath(text, partnership.paths[path], static_cast<int>(path));
        for (int election = 0; election < elections; ++election)
            appendInstance(text, partnership, election, path);
    }
    return text;
}

} // namespace rk
