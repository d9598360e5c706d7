// From a partnership to keepalived's configuration.
#include "directors.h"
#include "executor/availability/keepalived_child.h"
#include "executor/availability/keepalived_text.h"

#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <net/if.h>

namespace rk {
namespace {

// The statements of the blocks with this head, all of them one below the other, without their margins; "" when there is
// no such block.
std::string blockOf(const std::string &text, const std::string &head) {
    const std::size_t begin = text.find(head + " {\n");
    if (begin == std::string::npos)
        return "";
    const std::size_t end = text.find("\n}\n", begin);
    return text.substr(begin, end + 3 - begin);
}

std::string directorText(int director, uint8_t role, const PartnershipOptions &options = {}) {
    Executor executor = directorWithTwoPaths(director, role);
    addCluster(executor, 1, "10.1.0.50", "0.0.0.0", "10.2.0.11");
    return keepalivedText(partnershipOf(executor, machineOf(director), options), "/run/x");
}

TEST(KeepalivedText, anInstanceForEachPathWithItsEnds) {
    const std::string text = directorText(1, 0);
    const Partnership partnership = partnershipOf(directorWithTwoPaths(1, 0), machineOf(1));
    const std::string first = std::to_string(partnership.elections[0].identifiers[0]);
    EXPECT_EQ(blockOf(text, "vrrp_instance ha0_" + first), "vrrp_instance ha0_" + first +
                                                               " {\n"
                                                               "  state BACKUP\n"
                                                               "  interface eth0\n"
                                                               "  dont_track_primary\n"
                                                               "  virtual_router_id " +
                                                               first +
                                                               "\n"
                                                               "  priority 110\n"
                                                               "  advert_int 1.00\n"
                                                               "  check_unicast_src\n"
                                                               "  unicast_src_ip 10.1.0.1\n"
                                                               "  unicast_peer {\n"
                                                               "    10.1.0.2 min_ttl 255 max_ttl 255\n"
                                                               "  }\n"
                                                               "  virtual_ipaddress {\n"
                                                               "    169.254.75." +
                                                               first +
                                                               "/32 dev lo\n"
                                                               "  }\n"
                                                               "}\n");
}

TEST(KeepalivedText, allPathsAreOneGroupSoThatOnlyTheSilenceOfAllCounts) {
    const std::string text = directorText(1, 0);
    const Partnership partnership = partnershipOf(directorWithTwoPaths(1, 0), machineOf(1));
    const std::string first = std::to_string(partnership.elections[0].identifiers[0]);
    const std::string second = std::to_string(partnership.elections[0].identifiers[1]);
    EXPECT_EQ(blockOf(text, "vrrp_sync_group ha0"), "vrrp_sync_group ha0 {\n"
                                                    "  group {\n"
                                                    "    ha0_" +
                                                        first + "\n    ha0_" + second +
                                                        "\n"
                                                        "  }\n"
                                                        "  track_file {\n"
                                                        "    boost0\n"
                                                        "  }\n"
                                                        "  track_interface {\n"
                                                        "    eth0\n"
                                                        "    eth1\n"
                                                        "  }\n"
                                                        "}\n");
    EXPECT_EQ(blockOf(text, "track_file boost0"), "track_file boost0 {\n  file \"/run/x/boost0\"\n  weight 1\n}\n");
}

TEST(KeepalivedText, theBackupDiffersByPriorityAndEndsAlone) {
    std::string text = directorText(2, 1);
    EXPECT_NE(text.find("  priority 100\n"), std::string::npos);
    EXPECT_EQ(text.find("  priority 110\n"), std::string::npos);
    EXPECT_NE(text.find("  unicast_src_ip 10.3.0.2\n  unicast_peer {\n    10.3.0.1 min_ttl 255"), std::string::npos);
}

TEST(KeepalivedText, bothRolesAreTwoGroups) {
    const std::string text = directorText(1, 2);
    EXPECT_NE(blockOf(text, "vrrp_sync_group ha0"), "");
    EXPECT_NE(blockOf(text, "vrrp_sync_group ha1"), "");
    EXPECT_NE(blockOf(text, "track_file boost1"), "");
    EXPECT_NE(text.find("  priority 110\n"), std::string::npos);
    EXPECT_NE(text.find("  priority 100\n"), std::string::npos);
}

TEST(KeepalivedText, eachPathIsWatchedOnItsOwn) {
    EXPECT_EQ(blockOf(directorText(1, 0), "bfd_instance path1"), "bfd_instance path1 {\n"
                                                                 "  neighbor_ip 10.3.0.2\n"
                                                                 "  source_ip 10.3.0.1\n"
                                                                 "  min_rx 200\n"
                                                                 "  min_tx 200\n"
                                                                 "  idle_tx 1000\n"
                                                                 "  multiplier 4\n"
                                                                 "}\n");
}

// keepalived owns no cluster address, so that a new one is no change of its configuration; and it must stay open to a
// take-over by command, and run nothing.
TEST(KeepalivedText, whatIsNotInIt) {
    const std::string text = directorText(1, 0);
    for (const char *unwanted : {"10.1.0.50", "nopreempt", "script", "lvs_sync_daemon", "virtual_server"})
        EXPECT_EQ(text.find(unwanted), std::string::npos) << unwanted;
    EXPECT_NE(text.find("  vrrp_notify_fifo /run/x/notices\n"), std::string::npos);
    EXPECT_NE(text.find("  vrrp_version 3\n"), std::string::npos);
    EXPECT_NE(text.find("  vrrp_higher_prio_send_advert true\n"), std::string::npos);
}

TEST(KeepalivedText, adverts) {
    PartnershipOptions options;
    for (const auto &[milliseconds, expected] :
         {std::pair{10, "0.01"}, std::pair{200, "0.20"}, std::pair{2500, "2.50"}}) {
        options.advertMilliseconds = milliseconds;
        EXPECT_NE(directorText(1, 0, options).find(std::string("  advert_int ") + expected + "\n"), std::string::npos)
            << milliseconds;
    }
}

// On an interface of this machine, as it has to be there; the loopback one is none to keepalived.
TEST(KeepalivedText, keepalivedTakesIt) {
    std::string interface;
    struct if_nameindex *const names = if_nameindex();
    for (const struct if_nameindex *each = names; each != nullptr && each->if_index != 0; ++each)
        interface = std::string_view(each->if_name) == "lo" ? interface : each->if_name;
    if_freenameindex(names);
    KeepalivedChild child;
    child.program = findKeepalived();
    if (interface.empty() || child.program.empty())
        GTEST_SKIP() << "without keepalived, or an interface";
    char folder[] = "/tmp/rk-keepalived-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    child.folder = folder;
    for (const uint8_t role : std::initializer_list<uint8_t>{0, 1, 2}) {
        Executor executor = pairedExecutor(role);
        addHeartbeat(executor, "10.1.0.1", "10.1.0.2");
        LogText words;
        const std::string text =
            keepalivedText(partnershipOf(executor, {{address("10.1.0.1"), 24, interface}}), folder);
        EXPECT_TRUE(checkKeepalived(child, text, words)) << int{role} << words.text;
        EXPECT_FALSE(checkKeepalived(child, text + "vrrp_instance bad {\n}\n", words)) << "it would take anything";
        EXPECT_NE(words.length, 0U);
    }
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace rk
