// From plan to kernel, and back when the kernel refuses.
#include "executor/forwarding/kernel/hashed_services.h"
#include "executor/forwarding/kernel/kernel_state.h"
#include "executor/forwarding/kernel/mark_rules.h"
#include "executor/forwarding/kernel/pool_services.h"

#include <algorithm>
#include <cerrno>

namespace rk {

namespace {

constexpr char kConntrack[] = "net/ipv4/vs/conntrack";
constexpr char kExpireNoDestination[] = "net/ipv4/vs/expire_nodest_conn";

// What one change of the plan asks of the kernel.
struct Work {
    IpvsChanges services;
    FinishingServices finishing; // all that are to finish then
    std::string marks;           // the transaction
    bool translatesSource = false;
    IpvsTimeouts timeouts;
    std::set<uint32_t> unserved; // addresses to be withdrawn
};

// What of it is done, to be undone.
struct DoneWork {
    std::vector<IpvsChange> services;
    bool areMarksChanged = false;
    bool isConntrackChanged = false;
};

bool hasClients(const Plan &plan, const PortId &port) {
    const auto found = plan.ports.find(port);
    return found != plan.ports.end() && !found->second.clients.empty();
}

bool isAlone(const Plan &plan, const Pool &pool) {
    return pool.settings.group == 0 && !hasClients(plan, pool.id.port);
}

// Whether no pool or server comes or goes at an address where something finishes: that would decide which servers the
// finishing services keep.
bool leavesFinishingAlone(const FinishingServices &finishing, const PlanChange &change) {
    std::set<Address> addresses;
    for (const auto &[key, heir] : finishing)
        addresses.insert(heir.port.address);
    const auto isElsewhere = [&addresses](const Pool *pool) { return !addresses.contains(pool->id.port.address); };
    return std::ranges::all_of(change.newPools, isElsewhere) && std::ranges::all_of(change.removedPools, isElsewhere) &&
           std::ranges::all_of(change.servers, [&](const ServerChange &server) {
               return (server.server.before != nullptr && server.server.after != nullptr) || isElsewhere(server.pool);
           });
}

// Whether each thing that changed changes its own services alone. Groups and bound clients make services of several
// things, and what finishes may have any server of its port.
bool isLocal(const KernelEngine &engine, const Plan &plan, const PlanChange &change) {
    const auto alone = [&plan](const Pool *pool) { return isAlone(plan, *pool); };
    return leavesFinishingAlone(engine.finishing, change) && change.clients.empty() &&
           std::ranges::all_of(change.newPools, alone) && std::ranges::all_of(change.removedPools, alone) &&
           std::ranges::all_of(
               change.changedPools,
               [&](const PoolSettingsChange &pool) { return pool.before->group == 0 && isAlone(plan, *pool.pool); }) &&
           std::ranges::all_of(change.servers, [&](const ServerChange &server) { return isAlone(plan, *server.pool); });
}

void wantPool(KernelEngine &engine, const Plan &plan, const Pool &pool, IpvsChanges &changes) {
    const IpvsServiceKey key = serviceOf(plan, pool, engine.journalled.marks);
    wantService(changes, engine.applied, key, serviceSettings(pool.settings, engine.options.scheduler));
    for (const auto &[server, settings] : serversOf(plan, pool, engine.options.scheduler))
        wantServer(changes, engine.applied, key, server, settings);
}

// A pool that has other settings now: its servers change with the method alone.
void changePool(KernelEngine &engine, const Plan &plan, const PoolSettingsChange &changed, IpvsChanges &changes) {
    const IpvsServiceKey key = serviceOf(plan, *changed.pool, engine.journalled.marks);
    wantService(changes, engine.applied, key, serviceSettings(changed.pool->settings, engine.options.scheduler));
    if (changed.before->method == changed.pool->settings.method)
        return;
    for (const auto &[server, settings] : serversOf(plan, *changed.pool, engine.options.scheduler))
        if (engine.applied[key].servers.contains(server)) // else it is new, and told as such
            wantServer(changes, engine.applied, key, server, settings);
}

// The service of a pool that is gone.
void retirePool(KernelEngine &engine, const Plan &plan, const Pool &pool, Difference &difference) {
    const IpvsServiceKey key = serviceOf(plan, pool, engine.journalled.marks);
    const auto row = engine.applied.find(key);
    if (row == engine.applied.end() || (engine.isAdopting && key.mark != 0)) // packets are still marked
        return;
    const Finish finish = finishOf(engine, plan, key);
    if (!finish.heir) {
        dropService(difference.changes, engine.applied, key);
        return;
    }
    difference.finishing.emplace(key, *finish.heir);
    for (const auto &[server, settings] : row->second.servers)
        if (!finish.servers.contains(server))
            dropServer(difference.changes, engine.applied, key, server);
}

Difference localDifference(KernelEngine &engine, const Plan &plan, const PlanChange &change) {
    Difference difference;
    difference.finishing = engine.finishing;
    IpvsChanges &changes = difference.changes;
    std::set<const Pool *> doneWithServers;
    for (const Pool *pool : change.newPools)
        wantPool(engine, plan, *pool, changes);
    for (const PoolSettingsChange &changed : change.changedPools) {
        changePool(engine, plan, changed, changes);
        if (changed.before->method != changed.pool->settings.method)
            doneWithServers.insert(changed.pool);
    }
    for (const ServerChange &changed : change.servers) {
        const IpvsServiceKey key = serviceOf(plan, *changed.pool, engine.journalled.marks);
        const PoolServer *after = changed.server.after;
        if (after == nullptr)
            dropServer(changes, engine.applied, key, serverKeyOf(*changed.server.before, false));
        else if (changed.server.before == nullptr || !doneWithServers.contains(changed.pool))
            wantServer(changes, engine.applied, key, serverKeyOf(*after, false),
                       serverSettings(changed.pool->settings, *after, engine.options.scheduler));
    }
    for (const Pool *pool : change.removedPools)
        retirePool(engine, plan, *pool, difference);
    sortChanges(changes);
    return difference;
}

bool hasSource(const PoolServer *server) {
    return server != nullptr && server->source.family != AddressFamily::none;
}

// Whether the table of the packet filter may become another one.
bool concernsMarks(const PlanChange &change, bool isLocalChange) {
    return !isLocalChange || change.settingsBefore != nullptr || !change.newPools.empty() ||
           !change.changedPools.empty() || !change.removedPools.empty() || !change.selectors.empty() ||
           std::ranges::any_of(change.servers, [](const ServerChange &server) {
               return hasSource(server.server.before) || hasSource(server.server.after);
           });
}

// 0 leaves the kernel's own time.
uint32_t timeOr(uint32_t seconds, uint32_t own) {
    return seconds == 0 ? own : std::min(seconds, kLongestKernelTime);
}

IpvsTimeouts timeoutsOf(const KernelEngine &engine, const Plan &plan) {
    IpvsTimeouts timeouts = engine.timeoutsBefore;
    if (plan.pools.empty())
        return timeouts;
    timeouts.established = timeOr(plan.settings.longestTcpStale, timeouts.established);
    timeouts.closing = timeOr(plan.settings.finTimeout, timeouts.closing);
    timeouts.udp = timeOr(plan.settings.longestUdpStale, timeouts.udp);
    return timeouts;
}

// A service that somebody else has is not to get into the journal.
bool areNewServicesFree(const KernelEngine &engine, const IpvsChanges &changes, std::string &mistake) {
    for (const IpvsChange &change : changes.before) {
        IpvsService found;
        if (change.isServer || change.what != IpvsOrder::add || change.service.mark != 0 ||
            readService(engine.ipvs, change.service, found) != 0)
            continue;
        mistake = describeRefusal(IpvsOrder::add, change.service, nullptr, EEXIST);
        return false;
    }
    return true;
}

// What is there for the first time is in the journal before it is in the kernel.
bool writeJournal(KernelEngine &engine, const IpvsChanges &changes, std::string &mistake) {
    std::string lines;
    for (const IpvsChange &change : changes.before) {
        if (change.isServer || change.what != IpvsOrder::add)
            continue;
        const IpvsServiceKey &key = change.service;
        if (key.mark == 0) {
            lines += serviceLine(key, true);
            engine.journalled.services.insert(key);
        } else {
            const auto name = engine.journalled.marks.nameOf.find(key.mark);
            if (name != engine.journalled.marks.nameOf.end())
                lines += markNameLine(key.mark, name->second);
        }
    }
    if (appendToJournal(engine.journal, lines))
        return true;
    mistake = engine.journal.path + " cannot be written";
    return false;
}

// What is not in the kernel, or not any more, is nobody's. Of marks the journal tells nothing: the next run sees which
// are in the kernel.
void forgetGone(KernelEngine &engine, const std::set<IpvsServiceKey> &services) {
    std::string lines;
    for (const IpvsServiceKey &key : services) {
        if (engine.applied.contains(key))
            continue;
        engine.finishing.erase(key);
        if (key.mark != 0) {
            releaseMark(engine.journalled.marks, key.mark);
            engine.portsOfGroup.erase(key.mark);
            engine.poolOfMark.erase(key.mark);
        } else if (engine.journalled.services.erase(key) > 0)
            lines += serviceLine(key, false);
    }
    appendToJournal(engine.journal, lines); // else the next run finds nothing there
}

std::set<IpvsServiceKey> servicesIn(const IpvsChanges &changes) {
    std::set<IpvsServiceKey> services;
    for (const std::vector<IpvsChange> *list : {&changes.before, &changes.after})
        for (const IpvsChange &change : *list)
            if (!change.isServer)
                services.insert(change.service);
    return services;
}

bool setConntrack(KernelEngine &engine, bool isOn, std::string &mistake) {
    const std::string &folder = engine.options.settingsFolder;
    SettingsBefore &settings = engine.journalled.settings;
    std::string note;
    const bool isSet = isOn ? changeSetting(folder, kConntrack, "1", settings, note)
                            : putBackSetting(folder, kConntrack, settings, note);
    if (const auto before = settings.find(kConntrack); isOn && before != settings.end())
        appendToJournal(engine.journal, settingLine(before->first, before->second));
    if (!isSet) {
        mistake = note;
        return false;
    }
    engine.isSourceTranslated = isOn;
    engine.notes = note;
    return true;
}

bool setMarks(KernelEngine &engine, const std::string &marks, std::string &mistake) {
    if (!runTransaction(engine.nftables, marks, mistake)) {
        mistake = std::string("table ip ") + kTableName + ": " + mistake;
        return false;
    }
    engine.marks = marks;
    engine.marksListed.reset();
    engine.shutPorts.clear(); // the sets of the new table are empty
    engine.shutClients.clear();
    engine.countHalfOpenAt = 0;
    return true;
}

bool setTimeouts(KernelEngine &engine, const IpvsTimeouts &timeouts, std::string &mistake) {
    if (timeouts == engine.timeouts)
        return true;
    if (!engine.journalled.timeouts) {
        engine.journalled.timeouts = engine.timeoutsBefore;
        appendToJournal(engine.journal, timeoutsLine(engine.timeoutsBefore));
    }
    if (const int error = writeTimeouts(engine.ipvs, timeouts)) {
        mistake = "time-outs: the kernel refuses them (" + std::to_string(error) + ")";
        return false;
    }
    engine.timeouts = timeouts;
    return true;
}

bool doWork(KernelEngine &engine, const Work &work, DoneWork &done, std::string &mistake) {
    if (!areNewServicesFree(engine, work.services, mistake) || !writeJournal(engine, work.services, mistake))
        return false;
    if (work.translatesSource && !engine.isSourceTranslated) {
        if (!setConntrack(engine, true, mistake))
            return false;
        done.isConntrackChanged = true;
    }
    if (!carryOut(engine.ipvs, work.services.before, engine.applied, done.services, mistake))
        return false;
    if (work.marks != engine.marks) {
        if (!setMarks(engine, work.marks, mistake))
            return false;
        done.areMarksChanged = true;
    }
    withdrawUnserved(engine, work.unserved);
    return carryOut(engine.ipvs, work.services.after, engine.applied, done.services, mistake) &&
           setTimeouts(engine, work.timeouts, mistake);
}

void undoWork(KernelEngine &engine, const std::string &marksBefore, DoneWork &done) {
    std::string ignored;
    // What the marks lead to has to be there before they do.
    undo(engine.ipvs, 0, engine.applied, done.services);
    if (done.areMarksChanged)
        setMarks(engine, marksBefore, ignored);
    if (done.isConntrackChanged)
        setConntrack(engine, false, ignored);
}

// Reads the counters of what is about to go, or to count for another pool.
void readBeforeChange(KernelEngine &engine, const Work &work) {
    std::set<IpvsServiceKey> services;
    for (const std::vector<IpvsChange> *list : {&work.services.before, &work.services.after})
        for (const IpvsChange &change : *list)
            if (change.what == IpvsOrder::remove)
                services.insert(change.service);
    for (const auto &[key, heir] : work.finishing)
        if (const auto known = engine.finishing.find(key); known == engine.finishing.end() || known->second != heir)
            services.insert(key);
    readLastCounts(engine, services);
}

Work workFor(KernelEngine &engine, const Plan &plan, Difference difference, bool areMarksConcerned) {
    Work work;
    work.services = std::move(difference.changes);
    work.finishing = std::move(difference.finishing);
    if (isHashed(engine.options.scheduler))
        keepOrder(work.services, engine.applied);
    // While things of the run before are in force, so is their table: their rules would not be there.
    work.marks = areMarksConcerned && !engine.isAdopting ? markRules(plan, engine.journalled.marks) : engine.marks;
    work.translatesSource = plan.settings.translatesSource;
    work.timeouts = timeoutsOf(engine, plan);
    work.unserved = unservedAddresses(engine, plan);
    return work;
}

// While servers are taken out for a moment, the packets of their connections are to be lost, and sent again, rather
// than their connections.
void keepConnections(const KernelEngine &engine, bool isKept) {
    SettingsBefore unused;
    std::string note;
    changeSetting(engine.options.settingsFolder, kExpireNoDestination, isKept ? "0" : "1", unused, note);
}

bool doOrUndo(KernelEngine &engine, const Work &work, DoneWork &done, std::string &mistake) {
    const std::string marksBefore = engine.marks;
    const bool isReordering = !work.services.reordered.empty();
    if (isReordering)
        keepConnections(engine, true);
    const bool isDone = doWork(engine, work, done, mistake);
    if (!isDone)
        undoWork(engine, marksBefore, done);
    if (isReordering)
        keepConnections(engine, false);
    for (const IpvsServiceKey &service : work.services.reordered)
        if (const auto row = engine.applied.find(service); isDone && row != engine.applied.end())
            row->second.isInOrder = true;
    return isDone;
}

// Tells of weights that the kernel makes coarse, once a service.
void noteCoarseShares(KernelEngine &engine, const std::vector<IpvsChange> &done) {
    std::set<IpvsServiceKey> services;
    for (const IpvsChange &change : done)
        services.insert(change.service);
    for (const IpvsServiceKey &key : services) {
        const auto row = engine.applied.find(key);
        const std::string words = row == engine.applied.end() ? "" : describeCoarseShares(key, row->second.servers);
        if (words.empty())
            engine.coarse.erase(key);
        else if (engine.coarse.insert(key).second)
            engine.notes += (engine.notes.empty() ? "" : "; ") + words;
    }
}

bool isNew(const IpvsChange &change) {
    return change.what == IpvsOrder::add;
}

// Keeps what finishes now, and whose its connections are.
void followFinishing(KernelEngine &engine, const Plan &plan, const FinishingServices &finishing,
                     std::vector<EndedCounts> &ended) {
    engine.finishing.clear();
    for (const auto &[key, heir] : finishing)
        if (engine.applied.contains(key))
            engine.finishing.emplace(key, heir);
    for (const auto &[key, heir] : engine.finishing)
        handOverCounts(engine, plan, key, ended);
    nameFinishing(engine);
}

bool tryWork(KernelEngine &engine, const Plan &plan, const Work &work, std::vector<EndedCounts> &ended,
             std::string &mistake) {
    readBeforeChange(engine, work);
    DoneWork done;
    const bool isDone = doOrUndo(engine, work, done, mistake);
    // What a manager declares step by step is not announced half done.
    if (std::ranges::any_of(work.services.before, isNew))
        engine.announcements.settledAt = steadySeconds() + kSettleSeconds;
    if (isDone && isHashed(engine.options.scheduler))
        noteCoarseShares(engine, done.services);
    followCounts(engine, plan, done.services, ended);
    if (isDone)
        followFinishing(engine, plan, work.finishing, ended);
    keepFormerWays(engine, done.services);
    std::string ignored; // it does no harm when it stays
    if (isDone && !work.translatesSource && engine.isSourceTranslated)
        setConntrack(engine, false, ignored);
    forgetGone(engine, servicesIn(work.services));
    return isDone;
}

void ownAllMarks(KernelEngine &engine, const Plan &plan) {
    for (const auto &[id, pool] : plan.pools)
        ownMarks(engine, plan, pool);
}

// Looks whether others have changed something of ours, which is then known.
bool hasLost(KernelEngine &engine, std::vector<EndedCounts> &ended) {
    IpvsTable now;
    if (listOwnServices(engine, now) != 0 || now == engine.applied)
        return false;
    engine.applied = std::move(now);
    endLost(engine, ended);
    std::set<IpvsServiceKey> finishing; // which nobody brings back
    for (const auto &[key, heir] : engine.finishing)
        finishing.insert(key);
    forgetGone(engine, finishing);
    return true;
}

// What a list does not tell of servers is as it was told to the kernel, where it is known. The newest server is the
// first of a list.
void completeHashed(const KernelEngine &engine, const IpvsServiceKey &key, const std::vector<IpvsServer> &listed,
                    IpvsServiceState &state) {
    state.isInOrder = std::ranges::is_sorted(
        listed, [](const IpvsServer &one, const IpvsServer &other) { return other.key < one.key; });
    const auto row = engine.applied.find(key);
    if (row == engine.applied.end())
        return;
    for (auto &[server, settings] : state.servers) {
        const auto told = row->second.servers.find(server);
        if (settings.weight == 0 && told != row->second.servers.end() && told->second.weight == 0)
            settings.tableWeight = told->second.tableWeight;
    }
}

bool areMarksInForce(KernelEngine &engine) {
    std::string listed;
    if (!listTable(engine.nftables, kTableName, listed))
        return engine.marks == removeMarkRules();
    if (!engine.marksListed)
        engine.marksListed = listed;
    return *engine.marksListed == listed;
}

} // namespace

bool applyToKernel(KernelEngine &engine, const Plan &plan, const PlanChange &change, std::vector<EndedCounts> &ended,
                   std::string &mistake) {
    const bool isLocalChange = isLocal(engine, plan, change);
    Difference difference = isLocalChange ? localDifference(engine, plan, change) : differenceTo(engine, plan);
    if (isLocalChange)
        for (const Pool *pool : change.newPools)
            ownMarks(engine, plan, *pool);
    else
        ownAllMarks(engine, plan);
    bool isDone =
        tryWork(engine, plan, workFor(engine, plan, std::move(difference), concernsMarks(change, isLocalChange)), ended,
                mistake);
    if (!isDone && hasLost(engine, ended)) { // others have been here: from what there is
        std::string again;
        ownAllMarks(engine, plan); // new things have other marks than when it was refused
        isDone = tryWork(engine, plan, workFor(engine, plan, differenceTo(engine, plan), true), ended, again);
        engine.isInLine = engine.isInLine && isDone; // else what they took away is brought back later
    }
    if (engine.isAdopting)
        countAdopted(engine, plan);
    return isDone;
}

bool bringInLine(KernelEngine &engine, const Plan &plan, std::vector<EndedCounts> &ended, std::string &words) {
    ownAllMarks(engine, plan);
    const Work work = workFor(engine, plan, differenceTo(engine, plan), true);
    const std::size_t count = work.services.before.size() + work.services.after.size();
    std::string mistake;
    engine.isInLine = tryWork(engine, plan, work, ended, mistake);
    if (!engine.isInLine) {
        words = "the kernel is not as it is to be: " + mistake;
        return false;
    }
    countAdopted(engine, plan);
    if (count > 0)
        words = "the kernel was brought in line: changes " + std::to_string(count);
    return true;
}

void endFinished(KernelEngine &engine, const Plan &plan, std::vector<EndedCounts> &ended, std::string &words) {
    IpvsChanges removals = removalsOfIdle(engine);
    if (removals.after.empty())
        return;
    const Work work = workFor(engine, plan, {std::move(removals), engine.finishing}, false);
    std::string mistake;
    if (!tryWork(engine, plan, work, ended, mistake))
        words = "a service that is not needed any more stays: " + mistake;
}

int listOwnServices(const KernelEngine &engine, IpvsTable &table) {
    std::vector<IpvsService> services;
    if (const int error = listServices(engine.ipvs, services))
        return error;
    for (const IpvsService &service : services) {
        if (!isOwnMark(service.key.mark) && !engine.journalled.services.contains(service.key))
            continue;
        std::vector<IpvsServer> servers;
        if (const int error = listServers(engine.ipvs, service.key, servers))
            return error;
        IpvsServiceState &state = table[service.key];
        state.settings = service.settings;
        for (const IpvsServer &server : servers)
            state.servers.emplace(server.key, server.settings);
        if (isHashed(service.settings.scheduler))
            completeHashed(engine, service.key, servers, state);
    }
    return 0;
}

void relist(KernelEngine &engine, const Plan &plan, std::vector<EndedCounts> &ended, std::string &words) {
    const bool areServicesLost = hasLost(engine, ended);
    const bool areMarksLost = !engine.isAdopting && !areMarksInForce(engine);
    if (areMarksLost)
        engine.marks.clear(); // unlike anything that is wanted
    if (isJournalLong(engine.journal))
        rewriteJournal(engine.journal, engine.journalled); // else it is tried again
    if (!areServicesLost && !areMarksLost && engine.isInLine)
        return;
    std::string said;
    bringInLine(engine, plan, ended, said);
    words = "others have changed what is forwarded: " + (said.empty() ? "the marks were brought back" : said);
}

} // namespace rk
