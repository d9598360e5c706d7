// The kernel engine's texts, without a kernel: what /proc shows, the journal, settings, and the packet filter's table.
#include "executor/forwarding/kernel/announcements.h"
#include "executor/forwarding/kernel/connection_table.h"
#include "executor/forwarding/kernel/half_open_rules.h"
#include "executor/forwarding/kernel/hashed_services.h"
#include "executor/forwarding/kernel/journal.h"
#include "executor/forwarding/kernel/kernel_settings.h"
#include "executor/forwarding/kernel/mark_rules.h"
#include "executor/forwarding/kernel/pool_services.h"
#include "tests/kernel/plans.h"

#include <arpa/inet.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <linux/ip_vs.h>
#include <netinet/in.h>

namespace rk {
namespace {

// --- What /proc shows
// -------------------------------------------------------------------------------------------------

constexpr char kHeading[] = "Pro FromIP   FPrt ToIP     TPrt DestIP   DPrt State       Expires PEName PEData\n";

TEST(KernelConnections, linesAreRead) {
    const std::string text = std::string(kHeading) +
                             "TCP 0A010002 9C40 0A090001 0050 0A02000B 1F90 ESTABLISHED     899\n"
                             "UDP C0A80001 0035 0A090001 0035 0A02000C 0035 UDP             300\n"
                             "TCP 0A010010 0000 0A090001 0050 0A02000C 0050 ASSURED         299\n"
                             "IP  0A010005 0000 4C000010 0000 0A02000D 0000 NONE             10\n";
    const std::vector<KernelConnection> connections = parseConnections(text);
    ASSERT_EQ(connections.size(), 4U);
    const KernelConnection first{
        IPPROTO_TCP, 0x0A010002, 40000, 0x0A090001, 80, 0x0A02000B, 8080, KernelState::established, 899};
    EXPECT_EQ(connections[0], first);
    EXPECT_EQ(connections[1].transport, IPPROTO_UDP);
    EXPECT_EQ(connections[1].state, KernelState::udp);
    EXPECT_FALSE(isStickyClient(connections[1]));
    EXPECT_TRUE(isStickyClient(connections[2]));
    EXPECT_EQ(connections[3].transport, 0);
    EXPECT_EQ(connections[3].clusterAddress, 0x4C000010U);
}

TEST(KernelConnections, whatMakesNoSenseIsPassedOver) {
    for (const char *line :
         {"", "\n", "TCP", "TCP 0A010002", "TCP 0A010002 9C40 0A090001 0050 0A02000B 1F90 ESTABLISHED",
          "TCP 0A010002 9C40 0A090001 0050 0A02000B 1F90 ESTABLISHED -1",
          "TCP 0A010002G 9C40 0A090001 0050 0A02000B 1F90 ESTABLISHED 1",
          "TCP 0A010002 19C40 0A090001 0050 0A02000B 1F90 ESTABLISHED 1",
          "TCP 1230A010002 9C40 0A090001 0050 0A02000B 1F90 ESTABLISHED 1",
          "TCP [2001:db8::1] 9C40 [2001:db8::2] 0050 [2001:db8::3] 1F90 ESTABLISHED 1",
          "SCTP 0A010002 9C40 0A090001 0050 0A02000B 1F90 ESTABLISHED 1", "\0\0\0", kHeading})
        EXPECT_TRUE(parseConnections(line).empty()) << line;
    // The last line may lack its end, and states may be unknown.
    const auto connections = parseConnections("TCP 0A010002 9C40 0A090001 0050 0A02000B 1F90 NEWSTATE 1");
    ASSERT_EQ(connections.size(), 1U);
    EXPECT_EQ(connections[0].state, KernelState::other);
}

TEST(KernelStatistics, packetsAreTheSecondNumber) {
    const std::string text = "   Total Incoming Outgoing         Incoming         Outgoing\n"
                             "   Conns  Packets  Packets            Bytes            Bytes\n"
                             "     1A0     10FF      C00            DEAD0            BEEF0\n";
    EXPECT_EQ(parsePackets(text), 0x10FFU);
    EXPECT_EQ(parsePackets(""), 0U);
    EXPECT_EQ(parsePackets("\n\n 1 x"), 0U);
}

// --- The journal
// ------------------------------------------------------------------------------------------------------

IpvsServiceKey service(uint16_t transport, const char *address, uint16_t port) {
    IpvsServiceKey key;
    key.transport = transport;
    inet_pton(AF_INET, address, &key.address);
    key.port = port;
    return key;
}

TEST(KernelJournal, whatIsWrittenIsRead) {
    JournalContents contents;
    contents.services = {service(IPPROTO_TCP, "10.9.0.1", 80), service(IPPROTO_UDP, "10.9.0.1", 53)};
    ASSERT_TRUE(keepMark(contents.marks, "tcp 10.9.0.1:80 rule 6F66", kFirstMark + 5));
    contents.settings = {{"net/ipv4/ip_forward", "0"}};
    contents.timeouts = IpvsTimeouts{900, 120, 300};
    const JournalContents again = parseJournal(journalText(contents));
    EXPECT_EQ(again.services, contents.services);
    EXPECT_EQ(again.marks.nameOf, contents.marks.nameOf);
    EXPECT_EQ(again.settings, contents.settings);
    EXPECT_EQ(again.timeouts, contents.timeouts);
}

TEST(KernelJournal, laterLinesAreTrueButForFormerValues) {
    const IpvsServiceKey key = service(IPPROTO_TCP, "10.9.0.1", 80);
    const JournalContents contents = parseJournal(serviceLine(key, true) + serviceLine(key, false) +
                                                  markNameLine(kFirstMark, "one") + markNameLine(kFirstMark, "two") +
                                                  settingLine("a", "1") + settingLine("a", "2") + "service tcp 0A0");
    EXPECT_TRUE(contents.services.empty()); // the last line was not written to its end
    EXPECT_EQ(findMark(contents.marks, "two"), kFirstMark);
    EXPECT_EQ(findMark(contents.marks, "one"), 0U);
    EXPECT_EQ(contents.settings.at("a"), "1");
}

TEST(KernelJournal, whatMakesNoSenseIsPassedOver) {
    const JournalContents contents =
        parseJournal("service sctp 0A090001 80\nservice tcp xyz 80\nservice tcp 0A090001 80000\n"
                     "mark 00000001 not ours\nmark 5C000001 nor this\ntimeouts 1 2\n\n \nx\n");
    EXPECT_TRUE(contents.services.empty());
    EXPECT_TRUE(contents.marks.nameOf.empty());
    EXPECT_FALSE(contents.timeouts);
}

// What finds the ports again that a name in the journal belongs to.
TEST(KernelNames, tellTheirPorts) {
    PoolId id{plans::endpoint("10.9.0.1", 8080), Transport::udp, std::nullopt};
    const auto expectPools = [&id](const std::string &name, uint16_t port, bool isGroup = false) {
        const std::optional<NamedPools> named = poolsNamed(name);
        ASSERT_TRUE(named) << name;
        EXPECT_EQ(named->transport, id.transport) << name;
        EXPECT_EQ(named->address, id.port.address) << name;
        EXPECT_EQ(named->port, port) << name;
        EXPECT_EQ(named->isGroup, isGroup) << name;
    };
    for (const Transport transport : {Transport::udp, Transport::tcp}) {
        id.transport = transport;
        id.rule.reset();
        expectPools(nameOf(id), 8080);
        expectPools(boundNameOf(id, 7), 8080);
        expectPools(groupNameOf(id, 80), 80, true);
        EXPECT_TRUE(poolsNamed(groupNameOf(id, 80))->ports.empty());
        const std::string finishing = finishingNameOf(groupNameOf(id, 80), kFirstMark, {80, 443});
        expectPools(finishing, 80, true);
        EXPECT_EQ(poolsNamed(finishing)->ports, (std::set<uint16_t>{80, 443}));
        EXPECT_TRUE(isFinishingName(finishing));
        EXPECT_FALSE(isFinishingName(groupNameOf(id, 80)));
        expectPools(finishingNameOf(boundNameOf(id, 7), kFirstMark, {}), 8080);
        id.rule = " finishing : group \n";
        EXPECT_FALSE(isFinishingName(nameOf(id)));
        expectPools(nameOf(id), 8080);
    }
    for (const char *name :
         {"", " ", "tcp", "tcp ", "tcp 10.9.0.1", "tcp 10.9.0.1 grou", "tcp 10.9.0.1:", "tcp 10.9.0.1:x",
          "tcp 10.9.0.1:65536", "sctp 10.9.0.1:80", "tcp 10.9.0:80", "unknown 1275068417"})
        EXPECT_FALSE(poolsNamed(name)) << name;
}

class Folder : public testing::Test {
protected:
    void SetUp() override {
        char name[] = "/tmp/kernel_texts_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        folder = name;
    }
    void TearDown() override {
        std::filesystem::remove_all(folder);
    }
    std::string folder;
};

TEST_F(Folder, oneProcessHasTheJournal) {
    Journal journal;
    JournalContents contents;
    std::string mistake;
    const std::string place = folder + "/made";
    ASSERT_TRUE(openJournal(journal, place, contents, mistake)) << mistake;
    const IpvsServiceKey key = service(IPPROTO_TCP, "10.9.0.1", 80);
    ASSERT_TRUE(appendToJournal(journal, serviceLine(key, true)));

    Journal second;
    EXPECT_FALSE(openJournal(second, place, contents, mistake));
    EXPECT_NE(mistake.find("another process forwards already"), std::string::npos);

    closeJournal(journal, true);
    ASSERT_TRUE(openJournal(second, place, contents, mistake)) << mistake;
    EXPECT_TRUE(contents.services.contains(key));
    closeJournal(second, false);
    EXPECT_FALSE(std::filesystem::exists(place + "/forwarding"));
    EXPECT_FALSE(openJournal(second, "/dev/null/x", contents, mistake));
    EXPECT_EQ(mistake, "/dev/null/x cannot be made: Not a directory");
}

// --- Settings
// ---------------------------------------------------------------------------------------------------------

TEST_F(Folder, settingsAreChangedToldAndPutBack) {
    const auto value = [this] {
        std::string text;
        readWhole(folder + "/a", text);
        return text;
    };
    std::ofstream(folder + "/a") << "0\n";
    SettingsBefore before;
    std::string note;
    EXPECT_TRUE(changeSetting(folder, "a", "1", before, note));
    EXPECT_EQ(note, "a is 1 now, it was 0");
    EXPECT_EQ(value()[0], '1');
    EXPECT_TRUE(changeSetting(folder, "a", "1", before, note));
    EXPECT_EQ(note, "");
    EXPECT_TRUE(putBackSetting(folder, "a", before, note));
    EXPECT_EQ(note, "a is 0 now, it was 1");
    EXPECT_EQ(value()[0], '0');
    EXPECT_TRUE(before.empty());
    EXPECT_FALSE(changeSetting(folder, "b", "1", before, note));
    EXPECT_EQ(note, "b cannot be read: No such file or directory");
}

// --- Marks
// ------------------------------------------------------------------------------------------------------------

TEST(KernelMarks, aNameKeepsItsNumber) {
    MarkNumbers marks;
    const uint32_t one = markFor(marks, "one");
    const uint32_t two = markFor(marks, "two");
    EXPECT_EQ(one, kFirstMark);
    EXPECT_NE(one, two);
    EXPECT_EQ(markFor(marks, "one"), one);
    releaseMark(marks, one);
    EXPECT_EQ(findMark(marks, "one"), 0U);
    EXPECT_NE(markFor(marks, "three"), one); // not at once: packets may be on their way
    EXPECT_FALSE(keepMark(marks, "four", two));
    EXPECT_FALSE(keepMark(marks, "four", kFirstMark - 1));
    EXPECT_FALSE(keepMark(marks, "four", kLastMark + 1));
    marks.next = kLastMark;
    EXPECT_EQ(markFor(marks, "five"), kLastMark);
    EXPECT_EQ(markFor(marks, "six"), one); // round
}

// --- The table of the packet filter
// -----------------------------------------------------------------------------------

class MarkRules : public testing::Test {
protected:
    // The lines of the port's chain, for a rule that looks at something.
    std::string chainFor(const Selector &selector, int32_t secondsWest = 0) {
        Plan plan;
        plans::server(plans::pool(plan, "10.9.0.1", 80), "10.2.0.11", 80, 1);
        plans::server(plans::pool(plan, "10.9.0.1", 80, "r"), "10.2.0.12", 80, 1);
        plans::selector(plan, "10.9.0.1", 80, 1, "r", Match::always) = selector;
        plan.settings.secondsWest = secondsWest;
        MarkNumbers marks;
        servicesOf(plan, "wrr", marks);
        const std::string text = markRules(plan, marks);
        const std::string begin = " chain tcp_0a090001_80 {\n";
        const std::size_t place = text.find(begin);
        if (place == std::string::npos)
            return "";
        std::string lines = text.substr(place + begin.size());
        return lines.substr(0, lines.find("  accept\n }\n"));
    }

    static Selector looking(Match match, uint16_t first, uint16_t last) {
        Selector selector;
        selector.rule = "r";
        selector.match = match;
        selector.first = first;
        selector.last = last;
        return selector;
    }
};

const std::string kMarked = " meta mark set 0x4c000001 accept\n";

TEST_F(MarkRules, hoursAreThoseOfTheZone) {
    const Selector morning = looking(Match::hours, 8, 11);
    EXPECT_EQ(chainFor(morning), "  meta hour \"08:00:00\"-\"11:59:59\"" + kMarked);
    EXPECT_EQ(chainFor(morning, 5 * 3600), "  meta hour \"13:00:00\"-\"16:59:59\"" + kMarked);
    EXPECT_EQ(chainFor(morning, -5 * 3600 - 1800), "  meta hour \"02:30:00\"-\"06:29:59\"" + kMarked);
    EXPECT_EQ(chainFor(looking(Match::hours, 22, 1)),
              "  meta hour \"22:00:00\"-\"23:59:59\"" + kMarked + "  meta hour \"00:00:00\"-\"01:59:59\"" + kMarked);
    EXPECT_EQ(chainFor(looking(Match::hours, 0, 23), 3600), " " + kMarked);
}

TEST_F(MarkRules, daysOfAnotherZoneBeginAtAnotherHour) {
    const Selector day = looking(Match::weekdays, 6, 0);
    EXPECT_EQ(chainFor(day), "  meta day { \"Saturday\", \"Sunday\" }" + kMarked);
    EXPECT_EQ(chainFor(day, 2 * 3600),
              "  meta day { \"Saturday\", \"Sunday\" } meta hour \"02:00:00\"-\"23:59:59\"" + kMarked +
                  "  meta day { \"Sunday\", \"Monday\" } meta hour \"00:00:00\"-\"01:59:59\"" + kMarked);
    EXPECT_EQ(chainFor(day, -3600),
              "  meta day { \"Friday\", \"Saturday\" } meta hour \"23:00:00\"-\"23:59:59\"" + kMarked +
                  "  meta day { \"Saturday\", \"Sunday\" } meta hour \"00:00:00\"-\"22:59:59\"" + kMarked);
}

TEST_F(MarkRules, portsAddressesAndServices) {
    EXPECT_EQ(chainFor(looking(Match::clientPort, 5, 5)), "  th sport 5" + kMarked);
    EXPECT_EQ(chainFor(looking(Match::clientPort, 0, 65535)), "  th sport 0-65535" + kMarked);
    Selector selector = looking(Match::clientAddress, 0, 0);
    selector.firstAddress = plans::address("10.0.0.1");
    selector.lastAddress = plans::address("10.0.0.9");
    EXPECT_EQ(chainFor(selector), "  ip saddr 10.0.0.1-10.0.0.9" + kMarked);
    selector = looking(Match::typeOfService, 0, 0);
    EXPECT_EQ(chainFor(selector), " " + kMarked);
    selector.serviceBitsSet = 0x80;
    selector.serviceBitsClear = 0x41;
    EXPECT_EQ(chainFor(selector), "  @nh,8,8 & 0xc1 == 0x80" + kMarked);
}

TEST_F(MarkRules, nothingToMarkIsNoTable) {
    Plan plan;
    plans::server(plans::pool(plan, "10.9.0.1", 80), "10.2.0.11", 80, 1);
    EXPECT_EQ(markRules(plan, MarkNumbers{}), removeMarkRules());
}

// --- Half-open connections -------------------------------------------------------------------------------------------

TEST(HalfOpenRules, aTableHasThemWhenSomethingIsLimited) {
    Plan plan;
    Pool &pool = plans::pool(plan, "10.9.0.1", 80);
    EXPECT_FALSE(limitsHalfOpen(plan));
    EXPECT_EQ(halfOpenRules(plan), "");
    pool.settings.maxHalfOpen = 5;
    EXPECT_TRUE(limitsHalfOpen(plan));
    EXPECT_NE(markRules(plan, MarkNumbers{}).find("tcp flags & (fin | syn | rst | ack) == syn jump first_packets"),
              std::string::npos);
    pool.settings.maxHalfOpen = 0;
    plan.settings.attackParameters[0] = 1;
    EXPECT_TRUE(limitsHalfOpen(plan));
    plan.pools.clear();
    EXPECT_FALSE(limitsHalfOpen(plan));
}

TEST(HalfOpenRules, elementsComeAnewAndGo) {
    const PortId port = plans::endpoint("10.9.0.1", 80);
    EXPECT_EQ(shutPorts({}) + openPorts({}) + shutClientsOut({}), "");
    EXPECT_EQ(openPorts({port}), "add element ip qelxw full_ports { 10.9.0.1 . 80 }\n"
                                 "delete element ip qelxw full_ports { 10.9.0.1 . 80 }\n");
    EXPECT_EQ(shutPorts({port}), openPorts({port}) + "add element ip qelxw full_ports { 10.9.0.1 . 80 }\n");
    const std::string clients =
        shutClientsOut({{plans::address("10.1.0.2"), port}, {plans::address("10.1.0.3"), port}});
    EXPECT_TRUE(clients.ends_with("\nadd element ip qelxw attackers { 10.1.0.2 . 10.9.0.1 . 80, "
                                  "10.1.0.3 . 10.9.0.1 . 80 }\n"))
        << clients;
}

// --- Pools as services
// ------------------------------------------------------------------------------------------------

TEST(PoolServices, aGroupNeedsTheSameServersAtUnmappedPorts) {
    Plan plan;
    for (const uint16_t port : {uint16_t{80}, uint16_t{443}}) {
        Pool &pool = plans::pool(plan, "10.9.0.1", port);
        plans::threeServers(pool, port, 5, 5, 5);
        pool.settings.group = 80;
    }
    Pool &member = plans::pool(plan, "10.9.0.1", 443);
    MarkNumbers marks;
    EXPECT_EQ(servicesOf(plan, "wrr", marks).size(), 1U);
    member.servers.at(12).weight = 0;
    const IpvsTable table = servicesOf(plan, "wrr", marks);
    ASSERT_EQ(table.size(), 1U);
    EXPECT_EQ(table.begin()->second.servers.at({wordOf(plans::address("10.2.0.12")), 0}).weight, 0);
    EXPECT_EQ(table.begin()->second.servers.at({wordOf(plans::address("10.2.0.11")), 0}).weight, 5);

    plans::removeServer(member, 13);
    EXPECT_EQ(servicesOf(plan, "wrr", marks).size(), 2U);
    plans::server(member, "10.2.0.13", 8443, 5);
    EXPECT_EQ(servicesOf(plan, "wrr", marks).size(), 2U);
}

TEST(PoolServices, stickyBitsBecomeAMask) {
    PoolSettings settings;
    EXPECT_EQ(serviceSettings(settings, "wrr").flags, 0U);
    settings.stickyTime = 60;
    settings.stickyBits = 28;
    EXPECT_EQ(serviceSettings(settings, "wrr").clientMask, 0xFFFFFFF0U);
    EXPECT_EQ(serviceSettings(settings, "wrr").stickySeconds, 60U);
    settings.stickyBits = 0;
    EXPECT_EQ(serviceSettings(settings, "wrr").clientMask, 0U);
    settings.stickyTime = ~0U;
    EXPECT_EQ(serviceSettings(settings, "wrr").stickySeconds, kLongestKernelTime);
}

// --- The order of changes
// ---------------------------------------------------------------------------------------------

TEST(KernelChanges, whatIsNewComesBeforeWhatGoes) {
    IpvsTable now;
    IpvsTable wanted;
    const IpvsServiceKey one = service(IPPROTO_TCP, "10.9.0.1", 80);
    const IpvsServiceKey other = service(IPPROTO_TCP, "10.9.0.1", 81);
    now[one].servers = {{{1, 80}, {IpvsMethod::translation, 0}}, {{2, 80}, {IpvsMethod::translation, 5}}};
    now[other];
    wanted[one].servers = {{{1, 80}, {IpvsMethod::translation, 5}}, {{3, 80}, {}}};
    const IpvsChanges changes = differenceOf(now, wanted, false);
    ASSERT_EQ(changes.before.size(), 2U); // takes connections again, and a new one
    EXPECT_EQ(changes.before[0].what, IpvsOrder::change);
    EXPECT_EQ(changes.before[1].what, IpvsOrder::add);
    ASSERT_EQ(changes.after.size(), 2U);
    EXPECT_EQ(changes.after[0].what, IpvsOrder::remove);
    EXPECT_TRUE(differenceOf(now, wanted, true).after.empty());
    EXPECT_TRUE(differenceOf(wanted, wanted, false).before.empty());
}

// --- Several directors at once ---------------------------------------------------------------------------------------

Plan farm(std::initializer_list<std::pair<const char *, int32_t>> servers, Method method = Method::linkLevel) {
    Plan plan;
    Pool &pool = plans::pool(plan, "10.9.0.1", 80);
    pool.settings.method = method;
    for (const auto &[address, weight] : servers)
        plans::server(pool, address, 80, weight);
    plans::settle(plan);
    return plan;
}

IpvsTable tableOf(const Plan &plan, const std::string &scheduler = "mh") {
    MarkNumbers marks;
    return servicesOf(plan, scheduler, marks);
}

// What the kernel is told, in order: "+10.2.0.11 1", "-10.2.0.12", "10.2.0.13 4 0".
std::vector<std::string> orders(const std::vector<IpvsChange> &changes) {
    std::vector<std::string> lines;
    for (const IpvsChange &change : changes) {
        if (!change.isServer)
            continue;
        std::string line = describe(change.server);
        line = line.substr(0, line.find(':'));
        if (change.what == IpvsOrder::remove) {
            lines.push_back("-" + line);
            continue;
        }
        const bool isNew = change.what == IpvsOrder::add;
        for (const int32_t weight : weightSteps(isNew ? nullptr : &change.serverBefore, change.serverAfter))
            line += " " + std::to_string(weight);
        lines.push_back((isNew ? "+" : "") + line);
    }
    return lines;
}

IpvsChanges hashedDifference(const IpvsTable &now, const IpvsTable &wanted) {
    IpvsChanges changes = differenceOf(now, wanted, false);
    keepOrder(changes, now);
    return changes;
}

TEST(ManyDirectors, servicesHashPortsUnlessClientsStick) {
    PoolSettings settings;
    EXPECT_EQ(serviceSettings(settings, "mh").flags, 0x18U);
    EXPECT_EQ(serviceSettings(settings, "sh").flags, 0x08U);
    settings.stickyTime = 60;
    EXPECT_EQ(serviceSettings(settings, "mh").flags, 0x08U | IP_VS_SVC_F_PERSISTENT);
}

TEST(ManyDirectors, settingsOfTheKernel) {
    using Rows = std::vector<std::pair<std::string, std::string>>;
    const auto rows = [](const char *scheduler) {
        Rows all;
        for (const auto &[path, value] : settingsToForward(scheduler))
            all.emplace_back(path, value);
        return all;
    };
    const Rows alone = {{"net/ipv4/vs/expire_nodest_conn", "1"},
                        {"net/ipv4/vs/expire_quiescent_template", "1"},
                        {"net/ipv4/ip_forward", "1"}};
    Rows many = alone;
    many.emplace_back("net/ipv4/vs/sloppy_tcp", "1");
    many.emplace_back("net/ipv4/vs/schedule_icmp", "1");
    EXPECT_EQ(rows("wrr"), alone);
    EXPECT_EQ(rows("mh"), many);
}

TEST(ManyDirectors, serversAreAddedInTheOrderOfTheirNumbers) {
    // 10.2.1.2 is behind 10.2.0.13, though its last number is the lower one.
    const IpvsTable all = tableOf(farm({{"10.2.1.2", 1}, {"10.2.0.13", 2}, {"10.2.0.11", 1}}));
    const IpvsChanges changes = hashedDifference({}, all);
    EXPECT_EQ(orders(changes.before), (std::vector<std::string>{"+10.2.0.11 1", "+10.2.0.13 2", "+10.2.1.2 1"}));
    EXPECT_TRUE(changes.reordered.empty());
}

TEST(ManyDirectors, aServerBetweenOthersTakesThoseBehindItOutAndBack) {
    const IpvsTable now = tableOf(farm({{"10.2.0.11", 1}, {"10.2.0.13", 2}, {"10.2.0.14", 3}}));
    const IpvsTable wanted = tableOf(farm({{"10.2.0.11", 1}, {"10.2.0.12", 5}, {"10.2.0.13", 4}}));
    const IpvsChanges changes = hashedDifference(now, wanted);
    EXPECT_EQ(orders(changes.before), (std::vector<std::string>{"+10.2.0.12 5", "-10.2.0.13", "+10.2.0.13 2"}));
    EXPECT_EQ(orders(changes.after), (std::vector<std::string>{"10.2.0.13 4", "-10.2.0.14"}));
    EXPECT_EQ(changes.reordered.size(), 1U);
    // Behind all others, it disturbs none.
    const IpvsTable longer = tableOf(farm({{"10.2.0.11", 1}, {"10.2.0.13", 2}, {"10.2.0.14", 3}, {"10.2.0.15", 1}}));
    EXPECT_EQ(orders(hashedDifference(now, longer).before), (std::vector<std::string>{"+10.2.0.15 1"}));
}

TEST(ManyDirectors, anOrderThatIsAnotherOneIsMadeRight) {
    const IpvsTable wanted = tableOf(farm({{"10.2.0.11", 1}, {"10.2.0.12", 1}}));
    IpvsTable now = wanted;
    EXPECT_TRUE(hashedDifference(now, wanted).before.empty());
    now.begin()->second.isInOrder = false;
    EXPECT_EQ(orders(hashedDifference(now, wanted).before),
              (std::vector<std::string>{"-10.2.0.11", "+10.2.0.11 1", "-10.2.0.12", "+10.2.0.12 1"}));
}

TEST(ManyDirectors, aServerThatTakesNothingKeepsItsPartOfTheTable) {
    const Plan up = farm({{"10.2.0.11", 1}, {"10.2.0.12", 4}});
    Plan down = up;
    PoolServer &server = down.pools.begin()->second.servers.at(12);
    server.weight = 0;
    server.availability = Availability::down;
    // It is added with its weight, and goes down.
    EXPECT_EQ(orders(hashedDifference({}, tableOf(down)).before),
              (std::vector<std::string>{"+10.2.0.11 1", "+10.2.0.12 4 0"}));
    EXPECT_EQ(orders(hashedDifference(tableOf(up), tableOf(down)).after), (std::vector<std::string>{"10.2.0.12 0"}));
    EXPECT_EQ(orders(hashedDifference(tableOf(down), tableOf(up)).before), (std::vector<std::string>{"10.2.0.12 4"}));
    // Another weight while it is down counts for the table.
    Plan other = down;
    other.pools.begin()->second.servers.at(12).fullWeight = 6;
    EXPECT_EQ(orders(hashedDifference(tableOf(down), tableOf(other)).after),
              (std::vector<std::string>{"10.2.0.12 6 0"}));
    // Other schedulers have no such table.
    EXPECT_EQ(orders(differenceOf({}, tableOf(down, "wrr"), false).before),
              (std::vector<std::string>{"+10.2.0.11 1", "+10.2.0.12 0"}));
}

TEST(ManyDirectors, translationIsRefusedWithTheReason) {
    const auto refusal = [](Method method) { return whyNotHashed(farm({}, method).pools.begin()->second); };
    EXPECT_EQ(refusal(Method::linkLevel), "");
    EXPECT_EQ(
        refusal(Method::translation),
        "tcp 10.9.0.1:80: with the scheduler mh several directors forward at once, and answers do not come back to "
        "the one that translated: link level or tunnels only");
    EXPECT_EQ(refusal(Method::content), refusal(Method::translation));
}

TEST(ManyDirectors, coarseSharesAreTold) {
    const auto told = [](std::initializer_list<std::pair<const char *, int32_t>> servers) {
        const IpvsTable table = tableOf(farm(servers));
        return describeCoarseShares(table.begin()->first, table.begin()->second.servers);
    };
    EXPECT_EQ(told({{"10.2.0.11", 1}, {"10.2.0.12", 63}}), "");
    EXPECT_EQ(told({{"10.2.0.11", 10}, {"10.2.0.12", 100}}), ""); // 1 to 10
    EXPECT_EQ(told({{"10.2.0.11", 99}, {"10.2.0.12", 100}}), ""); // 49 to 50
    EXPECT_EQ(told({{"10.2.0.11", 1}, {"10.2.0.12", 99}}),        // 1 to 49
              "tcp 10.9.0.1:80: the kernel halves weights above 63, so that 10.2.0.11:80 gets 2.0 % instead of 1.0 %");
    EXPECT_EQ(told({}), "");
}

const uint32_t kCluster = htonl(0x0A090001);
using Addresses = std::set<uint32_t>;

TEST(Announcements, anAddressIsAnnouncedOnceItHasSettledAndAServer) {
    Announcements announcements;
    announcements.settledAt = 100;
    const Plan served = farm({{"10.2.0.11", 1}});
    EXPECT_EQ(addressesToAnnounce(served, announcements, 99), Addresses{});
    EXPECT_EQ(addressesToAnnounce(served, announcements, 100), Addresses{kCluster});
    EXPECT_EQ(addressesToAnnounce(farm({{"10.2.0.11", 0}}), announcements, 100), Addresses{});
    EXPECT_EQ(addressesToAnnounce(farm({}), announcements, 100), Addresses{});
}

TEST(Announcements, whatIsAnnouncedStaysWhileThereIsAService) {
    Announcements announcements;
    announcements.settledAt = 100;
    announcements.routes = {kCluster, htonl(0x0A090002)};
    EXPECT_EQ(addressesToAnnounce(farm({{"10.2.0.11", 0}}), announcements, 0), Addresses{kCluster});
    EXPECT_EQ(addressesToAnnounce(Plan{}, announcements, 200), Addresses{});
    announcements.state = AnnouncementState::drained;
    EXPECT_EQ(addressesToAnnounce(farm({{"10.2.0.11", 1}}), announcements, 200), Addresses{});
}

TEST(Announcements, drainedIsWhoGetsNoPacketForAWhile) {
    Announcements announcements;
    EXPECT_FALSE(followDrain(announcements, false, 10, 100));
    EXPECT_TRUE(followDrain(announcements, true, 10, 110)); // quiet before it was withdrawn does not count
    EXPECT_EQ(announcements.state, AnnouncementState::draining);
    EXPECT_FALSE(followDrain(announcements, true, 10, 110 + kQuietSeconds - 1));
    EXPECT_FALSE(followDrain(announcements, true, 11, 110 + kQuietSeconds)); // one more
    EXPECT_FALSE(followDrain(announcements, true, 11, 110 + 2 * kQuietSeconds - 1));
    EXPECT_TRUE(followDrain(announcements, true, 11, 110 + 2 * kQuietSeconds));
    EXPECT_EQ(announcements.state, AnnouncementState::drained);
    EXPECT_FALSE(followDrain(announcements, true, 12, 200)); // a stray one
    EXPECT_TRUE(followDrain(announcements, false, 12, 201));
    EXPECT_EQ(announcements.state, AnnouncementState::announced);
}

TEST(Announcements, anOperatorAsksByFiles) {
    char folder[] = "/tmp/announcements.XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    std::string words;
    EXPECT_FALSE(askToDrain(folder, 0, words)); // nobody is there
    EXPECT_NE(words.find("no qelxwd announces here"), std::string::npos);
    EXPECT_FALSE(isDrainWanted(folder));

    ASSERT_TRUE(tellAnnouncement(folder, AnnouncementState::drained));
    EXPECT_TRUE(askToDrain(folder, 1, words));
    EXPECT_EQ(words, "drained: nothing is announced, and no packet came for 5 seconds");
    EXPECT_TRUE(isDrainWanted(folder));
    ASSERT_TRUE(tellAnnouncement(folder, AnnouncementState::draining));
    EXPECT_FALSE(askToDrain(folder, 0, words));
    EXPECT_NE(words.find("packets come still after 0 seconds"), std::string::npos);

    EXPECT_FALSE(askToAnnounce(folder, 0, words)); // it does not answer
    EXPECT_NE(words.find("does qelxwd run?"), std::string::npos);
    EXPECT_FALSE(isDrainWanted(folder));
    ASSERT_TRUE(tellAnnouncement(folder, AnnouncementState::announced));
    EXPECT_TRUE(askToAnnounce(folder, 1, words));
    EXPECT_EQ(words, "announcing again");
    endAnnouncement(folder);
    EXPECT_FALSE(askToAnnounce(folder, 0, words));
    std::filesystem::remove_all(folder);
}

} // namespace
} // namespace rk
