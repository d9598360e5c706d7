#include "executor/forwarding/proxy/workers.h"

#include <algorithm>
#include <unistd.h>

namespace rk {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kTakeOverTime = 10000; // milliseconds

void add(Totals &sum, const Totals &totals) {
    sum.connections += totals.connections;
    sum.bytesIn += totals.bytesIn;
    sum.bytesOut += totals.bytesOut;
}

void subtract(Totals &sum, const Totals &totals) {
    sum.connections -= totals.connections;
    sum.bytesIn -= totals.bytesIn;
    sum.bytesOut -= totals.bytesOut;
}

Totals totalsOf(const StatisticsRow &row) {
    Totals totals;
    totals.connections = row.connections;
    totals.bytesIn = row.bytesIn;
    totals.bytesOut = row.bytesOut;
    return totals;
}

void add(Counts &sum, const StatisticsRow &row) {
    add(sum.totals, totalsOf(row));
    sum.active += row.active;
    sum.connectionsPerSecond += row.rate;
}

// A statistics command: of one pool by its number, or of all (-1); with or without its servers.
std::string statisticsCommand(int64_t pool, bool withServers) {
    return std::string("show stat ").append(std::to_string(pool)).append(withServers ? " 6 -1" : " 2 -1");
}

// Bytes of the last second or more, as the reports come.
uint64_t bytesPerSecond(Workers::Rate &rate, uint64_t bytes) {
    const Clock::time_point now = Clock::now();
    if (rate.since == Clock::time_point{})
        rate = {now, bytes, 0};
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(now - rate.since).count();
    if (elapsed >= 1000)
        rate = {now, bytes, (bytes - std::min(bytes, rate.bytes)) * 1000 / static_cast<uint64_t>(elapsed)};
    return rate.bytesPerSecond;
}

// Whether a former worker has nothing open but the connection that we hold. What it counted is kept then.
bool hasEnded(Workers &workers, const HeldWorker &worker) {
    std::string reply;
    if (!askHeld(worker, "show info", reply))
        return true;
    if (parseCurrentConnections(reply) != 0)
        return false;
    if (!askHeld(worker, statisticsCommand(-1, true), reply))
        return true;
    for (const StatisticsRow &row : parseStatistics(reply))
        add(workers.bases[{row.pool, row.server}], totalsOf(row));
    return true;
}

// Of a pool that no worker has any more.
void dropBases(Workers &workers, uint32_t pool) {
    add(workers.bases[{}], workers.bases[{pool, 0}]);
    std::erase_if(workers.bases, [pool](const auto &item) { return item.first.pool == pool; });
}

} // namespace

bool isAnswering(Workers &workers, const ProxyChild &child) {
    std::string reply;
    if (workers.current.process != 0 && askHeld(workers.current, "show version", reply))
        return true;
    HeldWorker again;
    if (!holdWorker(workerSocket(child), again))
        return false;
    const bool isSame = again.process == workers.current.process;
    if (isSame)
        std::swap(workers.current, again);
    releaseWorker(again);
    return isSame;
}

bool takeOver(Workers &workers, const ProxyChild &child) {
    HeldWorker next;
    // Both answer on the same socket until the former one has heard that it is to stop.
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(kTakeOverTime);
    while (holdWorker(workerSocket(child), next) && next.process == workers.current.process && Clock::now() < end) {
        releaseWorker(next);
        usleep(1000);
    }
    if (next.process == 0 || next.process == workers.current.process) {
        releaseWorker(next);
        return false;
    }
    if (workers.current.process != 0)
        workers.former.push_back(workers.current);
    workers.current = next;
    return true;
}

void endFormer(Workers &workers) {
    std::erase_if(workers.former, [&workers](HeldWorker &worker) {
        if (!hasEnded(workers, worker))
            return false;
        releaseWorker(worker);
        return true;
    });
    if (!workers.former.empty())
        return;
    for (const uint32_t pool : workers.gone)
        dropBases(workers, pool);
    workers.gone.clear();
}

void forgetWorkers(Workers &workers) {
    releaseWorker(workers.current);
    for (HeldWorker &worker : workers.former)
        releaseWorker(worker);
    workers.former.clear();
    for (const auto &[thing, totals] : workers.seen)
        workers.bases[thing] = totals;
}

std::vector<std::string> askAll(const Workers &workers, const std::string &command) {
    std::vector<std::string> replies;
    std::string reply;
    if (askHeld(workers.current, command, reply))
        replies.push_back(reply);
    for (const HeldWorker &worker : workers.former) {
        if (askHeld(worker, command, reply))
            replies.push_back(reply);
    }
    return replies;
}

bool readCounts(Workers &workers, NumberedThing thing, Counts &counts) {
    endFormer(workers);
    const std::vector<std::string> replies = askAll(workers, statisticsCommand(thing.pool, thing.server != 0));
    if (replies.empty())
        return false;
    counts = {};
    for (const std::string &reply : replies) {
        for (const StatisticsRow &row : parseStatistics(reply)) {
            if (row.pool == thing.pool && row.server == thing.server)
                add(counts, row);
        }
    }
    add(counts.totals, workers.bases[thing]);
    workers.seen[thing] = counts.totals;
    counts.bytesPerSecond = bytesPerSecond(workers.rates[thing], counts.totals.bytesIn + counts.totals.bytesOut);
    return true;
}

bool readAllCounts(Workers &workers, Counts &counts) {
    endFormer(workers);
    const std::vector<std::string> replies = askAll(workers, statisticsCommand(-1, false));
    if (replies.empty())
        return false;
    counts = {};
    for (const std::string &reply : replies) {
        for (const StatisticsRow &row : parseStatistics(reply))
            add(counts, row);
    }
    for (const auto &[thing, totals] : workers.bases) {
        if (thing.server == 0)
            add(counts.totals, totals);
    }
    counts.bytesPerSecond = bytesPerSecond(workers.rates[{}], counts.totals.bytesIn + counts.totals.bytesOut);
    return true;
}

Totals endCounts(Workers &workers, NumberedThing thing) {
    Counts counts;
    if (!readCounts(workers, thing, counts))
        counts.totals = workers.seen[thing];
    subtract(workers.bases[thing], counts.totals);
    if (thing.server == 0)
        add(workers.bases[{}], counts.totals);
    workers.seen.erase(thing);
    workers.rates.erase(thing);
    return counts.totals;
}

void forgetPool(Workers &workers, uint32_t pool) {
    workers.gone.insert(pool);
    endFormer(workers);
}

} // namespace rk
