// What the engine announces.
#include "executor/forwarding/kernel/connection_table.h"
#include "executor/forwarding/kernel/kernel_state.h"
#include "executor/forwarding/kernel/pool_services.h"

#include <arpa/inet.h>
#include <cstring>
#include <unistd.h>

namespace rk {

namespace {

constexpr int kLongestWait = 30; // seconds for packets to stop at the end
constexpr useconds_t kLookAgain = 200'000;

uint64_t packetsSoFar(const KernelEngine &engine) {
    std::string text;
    readWhole(engine.options.tablesFolder + "/ip_vs_stats", text);
    return parsePackets(text);
}

void note(std::string &words, const std::string &more) {
    words += (words.empty() ? "" : "; ") + more;
}

std::string addressText(uint32_t address) {
    char text[INET_ADDRSTRLEN] = "";
    inet_ntop(AF_INET, &address, text, sizeof text);
    return text;
}

void changeRoute(KernelEngine &engine, uint32_t address, bool isWanted, std::string &words) {
    const uint32_t table = engine.options.announceTable;
    const int error =
        isWanted ? addRoute(engine.routeTalk, table, address) : removeRoute(engine.routeTalk, table, address);
    if (error != 0) {
        if (!engine.announcements.failed.insert(address).second)
            return;
        note(words, addressText(address) + (isWanted ? " cannot be announced: " : " cannot be withdrawn: ") +
                        std::strerror(error));
        return;
    }
    engine.announcements.failed.erase(address);
    if (isWanted)
        engine.announcements.routes.insert(address);
    else
        engine.announcements.routes.erase(address);
    note(words, addressText(address) + (isWanted ? " is announced" : " is withdrawn"));
}

void makeRoutes(KernelEngine &engine, const std::set<uint32_t> &wanted, std::string &words) {
    const std::set<uint32_t> now = engine.announcements.routes;
    for (const uint32_t address : now)
        if (!wanted.contains(address))
            changeRoute(engine, address, false, words);
    for (const uint32_t address : wanted)
        if (!now.contains(address))
            changeRoute(engine, address, true, words);
}

} // namespace

bool openAnnouncements(KernelEngine &engine, std::string &words) {
    if (engine.options.announceTable == 0)
        return true;
    int error = openRouteTalk(engine.routeTalk);
    if (error == 0)
        error = listRoutes(engine.routeTalk, engine.options.announceTable, engine.announcements.routes);
    if (error != 0) {
        words = "no talking about routes: " + std::string(std::strerror(error));
        return false;
    }
    if (isDrainWanted(engine.options.journalFolder))
        engine.announcements.state = AnnouncementState::draining;
    engine.announcements.settledAt = steadySeconds() + kSettleSeconds;
    if (tellAnnouncement(engine.options.journalFolder, engine.announcements.state))
        return true;
    words = engine.options.journalFolder + " cannot be written";
    return false;
}

void withdrawUnserved(KernelEngine &engine, const std::set<uint32_t> &unserved) {
    std::string ignored;
    for (const uint32_t address : unserved)
        changeRoute(engine, address, false, ignored);
}

std::set<uint32_t> unservedAddresses(const KernelEngine &engine, const Plan &plan) {
    std::set<uint32_t> unserved = engine.announcements.routes;
    if (engine.isAdopting)
        return {};
    for (const auto &[id, pool] : plan.pools)
        unserved.erase(wordOf(id.port.address));
    return unserved;
}

void tendAnnouncements(KernelEngine &engine, const Plan &plan, bool isRelisting, std::string &words) {
    if (engine.options.announceTable == 0)
        return;
    Announcements &announcements = engine.announcements;
    const std::string &folder = engine.options.journalFolder;
    if (isRelisting)
        listRoutes(engine.routeTalk, engine.options.announceTable, announcements.routes);
    const bool isChanged = followDrain(announcements, isDrainWanted(folder), packetsSoFar(engine), steadySeconds());
    if (isChanged)
        note(words, nameOf(announcements.state));
    std::set<uint32_t> wanted = addressesToAnnounce(plan, announcements, steadySeconds());
    if (engine.isAdopting && announcements.state == AnnouncementState::announced)
        wanted.insert(announcements.routes.begin(), announcements.routes.end());
    makeRoutes(engine, wanted, words);
    if (isChanged)
        tellAnnouncement(folder, announcements.state);
}

void endAnnouncements(KernelEngine &engine) {
    if (engine.options.announceTable == 0)
        return;
    if (!engine.options.keepsForwarding && !engine.announcements.routes.empty()) {
        std::string ignored;
        makeRoutes(engine, {}, ignored);
        const int64_t end = steadySeconds() + kLongestWait;
        Announcements &announcements = engine.announcements;
        followDrain(announcements, true, packetsSoFar(engine), steadySeconds());
        while (announcements.state != AnnouncementState::drained && steadySeconds() < end) {
            usleep(kLookAgain);
            followDrain(announcements, true, packetsSoFar(engine), steadySeconds());
        }
    }
    endAnnouncement(engine.options.journalFolder);
    closeFamily(engine.routeTalk);
}

} // namespace rk
