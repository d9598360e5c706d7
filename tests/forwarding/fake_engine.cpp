#include "fake_engine.h"

#include <algorithm>
#include <new>

namespace rk {

namespace {

struct Refused {};

FakeEngine &fakeOf(void *own) {
    return *static_cast<FakeEngine *>(own);
}

void step(FakeEngine &fake, const std::string &what) {
    if (static_cast<int>(fake.steps.size()) == fake.refusedStep) {
        if (fake.runsOutOfMemory)
            throw std::bad_alloc();
        throw Refused();
    }
    fake.steps.push_back(what);
}

void add(FakeEngine &fake, const std::string &line) {
    step(fake, "+ " + line);
    if (!fake.inForce.insert(line).second)
        fake.errors.push_back("is there already: " + line);
}

void remove(FakeEngine &fake, const std::string &line) {
    step(fake, "- " + line);
    if (fake.inForce.erase(line) == 0)
        fake.errors.push_back("is not there: " + line);
}

void change(FakeEngine &fake, const std::string &before, const std::string &after) {
    step(fake, "~ " + after);
    if (fake.inForce.erase(before) == 0)
        fake.errors.push_back("is not there: " + before);
    if (!fake.inForce.insert(after).second)
        fake.errors.push_back("is there already: " + after);
}

// Does what is new, what has changed or what goes of a list.
enum class Round { news, changes, ends };

template <typename Item, typename Line>
void apply(FakeEngine &fake, Round round, const Change<Item> &item, Line lineOfItem) {
    const auto [before, after] = item;
    if (before == nullptr && round == Round::news)
        add(fake, lineOfItem(*after));
    else if (after == nullptr && round == Round::ends)
        remove(fake, lineOfItem(*before));
    else if (before != nullptr && after != nullptr && round == Round::changes)
        change(fake, lineOfItem(*before), lineOfItem(*after));
}

void apply(FakeEngine &fake, Round round, const PlanChange &change) {
    for (const ServerChange &each : change.servers)
        apply(fake, round, each.server, [&each](const PoolServer &server) { return lineOf(*each.pool, server); });
    for (const SelectorChange &each : change.selectors)
        apply(fake, round, each.selector,
              [&each](const Selector &selector) { return lineOf(each.port, each.priority, selector); });
    for (const ClientChange &each : change.clients)
        apply(fake, round, each.client, [&each](const BoundClient &client) { return lineOf(each.port, client); });
}

void applyAll(FakeEngine &fake, const Plan &plan, const PlanChange &changes) {
    for (const Pool *pool : changes.newPools) {
        add(fake, lineOf(*pool, pool->settings));
        for (const auto &[key, server] : pool->servers)
            add(fake, lineOf(*pool, server));
    }
    apply(fake, Round::news, changes);
    if (changes.settingsBefore != nullptr) {
        step(fake, "~ " + lineOf(plan.settings));
        if (fake.settings != lineOf(*changes.settingsBefore))
            fake.errors.push_back("are not there: " + lineOf(*changes.settingsBefore));
        fake.settings = lineOf(plan.settings);
    }
    for (const PoolSettingsChange &each : changes.changedPools)
        change(fake, lineOf(*each.pool, *each.before), lineOf(*each.pool, each.pool->settings));
    apply(fake, Round::changes, changes);
    apply(fake, Round::ends, changes);
    for (const Pool *pool : changes.removedPools) {
        for (const auto &[key, server] : pool->servers)
            remove(fake, lineOf(*pool, server));
        remove(fake, lineOf(*pool, pool->settings));
    }
}

bool applyToFake(void *own, const Plan &plan, const PlanChange &changes, std::vector<EndedCounts> &ended,
                 LogText &words) {
    FakeEngine &fake = fakeOf(own);
    ++fake.changes;
    fake.steps.clear();
    ended.insert(ended.end(), fake.ended.begin(), fake.ended.end());
    fake.ended.clear();
    std::set<std::string> inForce = fake.inForce;
    std::string settings = fake.settings;
    const auto undo = [&fake, &inForce, &settings] { // needs no memory
        fake.inForce.swap(inForce);
        fake.settings.swap(settings);
    };
    try {
        applyAll(fake, plan, changes);
    } catch (const Refused &) {
        undo();
        append(words, "step %d is refused", fake.refusedStep);
        return false;
    } catch (const std::bad_alloc &) {
        undo();
        throw;
    }
    append(words, "%s", fake.note.c_str());
    return true;
}

bool readPool(void *own, const Pool &pool, Counts &counts) {
    const FakeEngine &fake = fakeOf(own);
    if (const auto found = fake.poolCounts.find(pool.id); found != fake.poolCounts.end())
        counts = found->second;
    return fake.isReadable;
}

bool readServer(void *own, const Pool &pool, const PoolServer &server, Counts &counts) {
    const FakeEngine &fake = fakeOf(own);
    if (const auto found = fake.serverCounts.find({pool.id, server.key}); found != fake.serverCounts.end())
        counts = found->second;
    return fake.isReadable;
}

bool readAll(void *own, Counts &counts) {
    counts = fakeOf(own).allCounts;
    return fakeOf(own).isReadable;
}

bool listConnections(void *own, const Plan & /*plan*/, const PortId *port, std::vector<LiveConnection> &connections) {
    const FakeEngine &fake = fakeOf(own);
    std::copy_if(fake.connections.begin(), fake.connections.end(), std::back_inserter(connections),
                 [port](const LiveConnection &each) { return port == nullptr || each.port == *port; });
    return fake.isReadable;
}

bool listStickyClients(void *own, const Plan & /*plan*/, const PortId *port, std::vector<StickyClient> &clients) {
    const FakeEngine &fake = fakeOf(own);
    std::copy_if(fake.clients.begin(), fake.clients.end(), std::back_inserter(clients),
                 [port](const StickyClient &each) { return port == nullptr || each.pool.port == *port; });
    return fake.isReadable;
}

void tick(void *own, const Plan & /*plan*/, std::vector<EndedCounts> &ended, LogText &words) {
    FakeEngine &fake = fakeOf(own);
    ++fake.ticks;
    ended.insert(ended.end(), fake.ended.begin(), fake.ended.end());
    fake.ended.clear();
    append(words, "%s", fake.note.c_str());
}

void close(void *own) {
    fakeOf(own).isClosed = true;
}

} // namespace

Engine engineOf(FakeEngine &fake, Features features) {
    Engine engine;
    engine.own = &fake;
    engine.name = "fake";
    engine.features = features;
    engine.apply = applyToFake;
    engine.readPool = readPool;
    engine.readServer = readServer;
    engine.readAll = readAll;
    engine.listConnections = listConnections;
    engine.listStickyClients = listStickyClients;
    engine.tick = tick;
    engine.close = close;
    return engine;
}

} // namespace rk
