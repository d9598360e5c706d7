#include "executor/forwarding/kernel/kernel_engine.h"

#include "executor/forwarding/kernel/connection_table.h"
#include "executor/forwarding/kernel/hashed_services.h"
#include "executor/forwarding/kernel/kernel_state.h"
#include "executor/forwarding/kernel/mark_rules.h"
#include "executor/forwarding/kernel/pool_services.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>

namespace rk {

namespace {

constexpr char kName[] = "kernel";
constexpr char kMark = 'K';
constexpr Features kDone = bitOf(Feature::udp) | bitOf(Feature::linkLevel) | bitOf(Feature::tunnel) |
                           bitOf(Feature::crossPort) | bitOf(Feature::reset) | bitOf(Feature::sourceAddress) |
                           bitOf(Feature::rulesByTime) | bitOf(Feature::rulesByService) | bitOf(Feature::everyPort) |
                           bitOf(Feature::halfOpenLimit) | bitOf(Feature::attackLimit);

void appendWords(std::string &words, const std::string &more) {
    if (more.empty())
        return;
    if (!words.empty())
        words += "; ";
    words += more;
}

KernelEngine &engineOf(void *own) {
    return *static_cast<KernelEngine *>(own);
}

std::string describeOpening(int error) {
    switch (error) {
    case ENOENT:
        return "this kernel has no IPVS: modprobe ip_vs, as root";
    case EPERM:
        return "no right to steer IPVS: it takes CAP_NET_ADMIN, and not in a user namespace";
    default:
        return std::string("no talking with IPVS: ") + std::strerror(error);
    }
}

// A service that no packet has a mark for, to see whether the kernel takes the scheduler, and orders at all.
int tryScheduler(const NetlinkFamily &ipvs, const std::string &scheduler) {
    IpvsServiceKey key;
    key.mark = kLastMark;
    const IpvsServiceSettings settings = serviceSettings(PoolSettings{}, scheduler);
    int error = orderService(ipvs, IpvsOrder::add, key, settings);
    if (error == EEXIST) // from a crash just here
        error = orderService(ipvs, IpvsOrder::change, key, settings);
    if (error == 0)
        orderService(ipvs, IpvsOrder::remove, key, settings);
    return error;
}

bool openTalks(KernelEngine &engine, std::string &words) {
    if (const int error = openIpvs(engine.ipvs)) {
        words = describeOpening(error);
        return false;
    }
    if (const int error = tryScheduler(engine.ipvs, engine.options.scheduler)) {
        const std::string &name = engine.options.scheduler;
        words = error == ENOENT ? "this kernel has no scheduler " + name + ": modprobe ip_vs_" + name + ", as root"
                                : describeOpening(error);
        return false;
    }
    if (!openNftables(engine.nftables)) {
        words = "no memory for nftables";
        return false;
    }
    // Hours are written in UTC.
    setenv("TZ", "UTC0", 1);
    tzset();
    std::string mistake;
    std::string listed;
    if (!listTable(engine.nftables, kTableName, listed) &&
        !runTransaction(engine.nftables, removeMarkRules(), mistake)) {
        words = "no nftables in this kernel (modprobe nf_tables, as root), or no right to it: " + mistake;
        return false;
    }
    if (const int error = readTimeouts(engine.ipvs, engine.timeoutsBefore)) {
        words = describeOpening(error);
        return false;
    }
    engine.timeouts = engine.timeoutsBefore;
    return true;
}

bool putBackSettings(KernelEngine &engine, std::string &words) {
    bool isDone = true;
    while (!engine.journalled.settings.empty()) {
        std::string note;
        const std::string path = engine.journalled.settings.begin()->first;
        isDone = putBackSetting(engine.options.settingsFolder, path, engine.journalled.settings, note) && isDone;
        appendWords(words, note);
    }
    return isDone;
}

bool changeSettings(KernelEngine &engine, std::string &words) {
    for (const auto &[path, value] : settingsToForward(engine.options.scheduler)) {
        std::string note;
        const bool isSet = changeSetting(engine.options.settingsFolder, path, value, engine.journalled.settings, note);
        if (!isSet) {
            std::string ignored;
            putBackSettings(engine, ignored);
            words = "a setting of the kernel cannot be had: " + note;
            return false;
        }
        appendWords(words, note);
    }
    return true;
}

// What finished in an earlier run, and has gone since.
void forgetFinished(KernelEngine &engine) {
    MarkNumbers &marks = engine.journalled.marks;
    std::vector<uint32_t> gone;
    for (const auto &[mark, name] : marks.nameOf)
        if (isFinishingName(name) && !engine.applied.contains(markService(mark)))
            gone.push_back(mark);
    for (const uint32_t mark : gone)
        releaseMark(marks, mark);
}

// Takes over what is in force of an earlier run.
bool adopt(KernelEngine &engine, std::string &words) {
    if (const int error = listOwnServices(engine, engine.applied)) {
        words = describeOpening(error);
        return false;
    }
    for (const auto &[key, state] : engine.applied)
        if (key.mark != 0 && !engine.journalled.marks.nameOf.contains(key.mark)) // not to be given out
            keepMark(engine.journalled.marks, "unknown " + std::to_string(key.mark), key.mark);
    forgetFinished(engine);
    if (engine.journalled.timeouts)
        engine.timeoutsBefore = *engine.journalled.timeouts;
    std::string connections;
    if (readWhole(engine.options.tablesFolder + "/ip_vs_conn", connections))
        for (const KernelConnection &connection : parseConnections(connections))
            engine.formerServers.insert(htonl(connection.serverAddress));
    std::string listed;
    const bool hasTable = listTable(engine.nftables, kTableName, listed);
    engine.marks = hasTable ? "" : removeMarkRules();
    engine.isAdopting = hasTable || !engine.applied.empty();
    engine.isSourceTranslated = engine.journalled.settings.contains("net/ipv4/vs/conntrack");
    engine.adoptingUntil = steadySeconds() + kGraceSeconds;
    engine.relistAt = steadySeconds() + kRelistSeconds;
    if (engine.isAdopting)
        appendWords(words, "services in force from the run before: " + std::to_string(engine.applied.size()) +
                               ", kept until they are declared again, at most " + std::to_string(kGraceSeconds) +
                               " seconds");
    return true;
}

void closeTalks(KernelEngine &engine, bool isJournalKept) {
    closeJournal(engine.journal, isJournalKept);
    closeNftables(engine.nftables);
    closeFamily(engine.routeTalk);
    closeFamily(engine.ipvs);
}

void tell(LogText &text, const std::string &words) {
    append(text, "%s", words.c_str());
}

// --- What the engine does -------------------------------------------------------------------------------------------

// What is wrong with a change for the scheduler; empty: nothing.
std::string whyNotScheduled(const std::string &scheduler, const PlanChange &change) {
    std::string mistake;
    if (!isHashed(scheduler))
        return mistake;
    for (const Pool *pool : change.newPools)
        mistake = mistake.empty() ? whyNotHashed(*pool) : mistake;
    for (const PoolSettingsChange &changed : change.changedPools)
        mistake = mistake.empty() ? whyNotHashed(*changed.pool) : mistake;
    return mistake;
}

bool applyPlan(void *own, const Plan &plan, const PlanChange &change, std::vector<EndedCounts> &ended, LogText &words) {
    KernelEngine &engine = engineOf(own);
    engine.notes.clear();
    std::string mistake = whyNotScheduled(engine.options.scheduler, change);
    const bool isDone = mistake.empty() && applyToKernel(engine, plan, change, ended, mistake);
    tell(words, isDone ? engine.notes : mistake);
    return isDone;
}

bool readPool(void *own, const Pool &pool, Counts &counts) {
    return readPoolCounts(engineOf(own), pool, counts);
}

bool readServer(void *own, const Pool &pool, const PoolServer &server, Counts &counts) {
    return readServerCounts(engineOf(own), pool, server, counts);
}

bool readAll(void *own, Counts &counts) {
    return readAllCounts(engineOf(own), counts);
}

bool listConnections(void *own, const Plan &plan, const PortId *port, std::vector<LiveConnection> &connections) {
    return listKernelConnections(engineOf(own), plan, port, connections);
}

bool listStickyClients(void *own, const Plan &plan, const PortId *port, std::vector<StickyClient> &clients) {
    return listKernelClients(engineOf(own), plan, port, clients);
}

// What was taken over needs no more patience when all of it is declared again.
bool isAdoptionOver(KernelEngine &engine, const Plan &plan) {
    return steadySeconds() >= engine.adoptingUntil || isDeclaredAgain(engine, plan);
}

void tick(void *own, const Plan &plan, std::vector<EndedCounts> &ended, LogText &words) {
    KernelEngine &engine = engineOf(own);
    std::string said;
    const bool isRelisting = steadySeconds() >= engine.relistAt;
    if (engine.isAdopting && isAdoptionOver(engine, plan)) {
        engine.isAdopting = false;
        bringInLine(engine, plan, ended, said);
        said = said.empty() ? "all that was in force is declared again" : "the time to declare is over: " + said;
    } else if (isRelisting) {
        engine.relistAt = steadySeconds() + kRelistSeconds;
        relist(engine, plan, ended, said);
        std::string more;
        endFinished(engine, plan, ended, more);
        appendWords(said, more);
    }
    renewRoutes(engine);
    std::string more;
    limitHalfOpen(engine, plan, more);
    appendWords(said, more);
    std::string routes;
    tendAnnouncements(engine, plan, isRelisting, routes);
    appendWords(said, routes);
    tell(words, said);
}

void removeEverything(KernelEngine &engine) {
    std::string ignored;
    runTransaction(engine.nftables, removeMarkRules(), ignored);
    for (const auto &[key, state] : engine.applied)
        orderService(engine.ipvs, IpvsOrder::remove, key, state.settings);
    if (engine.timeouts != engine.timeoutsBefore)
        writeTimeouts(engine.ipvs, engine.timeoutsBefore);
    putBackSettings(engine, ignored);
}

void closeEngine(void *own) {
    const std::unique_ptr<KernelEngine> engine(static_cast<KernelEngine *>(own));
    endAnnouncements(*engine);
    if (!engine->options.keepsForwarding)
        removeEverything(*engine);
    closeTalks(*engine, engine->options.keepsForwarding);
}

bool openAll(KernelEngine &engine, std::string &words) {
    if (!openTalks(engine, words))
        return false;
    if (!openJournal(engine.journal, engine.options.journalFolder, engine.journalled, words))
        return false;
    if (!openAnnouncements(engine, words) || !changeSettings(engine, words) || !adopt(engine, words))
        return false;
    if (rewriteJournal(engine.journal, engine.journalled)) // with the settings
        return true;
    words = engine.journal.path + " cannot be written";
    return false;
}

} // namespace

int64_t steadySeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec;
}

bool openKernelEngine(const KernelEngineOptions &options, Engine &engine, std::string &words) {
    auto own = std::make_unique<KernelEngine>();
    own->options = options;
    words.clear();
    if (!openAll(*own, words)) {
        closeTalks(*own, true);
        return false;
    }
    engine.own = own.release();
    engine.name = kName;
    engine.mark = kMark;
    engine.features = kDone;
    engine.apply = applyPlan;
    engine.readPool = readPool;
    engine.readServer = readServer;
    engine.readAll = readAll;
    engine.listConnections = listConnections;
    engine.listStickyClients = listStickyClients;
    engine.tick = tick;
    engine.close = closeEngine;
    return true;
}

} // namespace rk
