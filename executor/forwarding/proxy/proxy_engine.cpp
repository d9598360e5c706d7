#include "executor/forwarding/proxy/proxy_engine.h"

#include "executor/forwarding/proxy/child.h"
#include "executor/forwarding/proxy/configuration.h"
#include "executor/forwarding/proxy/workers.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <new>
#include <sys/socket.h>
#include <unistd.h>

namespace rk {

namespace {

constexpr Features kProxyFeatures = bitOf(Feature::content) | bitOf(Feature::crossPort) | bitOf(Feature::reset) |
                                    bitOf(Feature::backupEndpoint) | bitOf(Feature::sourceAddress) |
                                    bitOf(Feature::cookies) | bitOf(Feature::rulesByTime) |
                                    bitOf(Feature::rulesByContent);

constexpr uint8_t kStateEstablished = 4; // of a TCP connection, as the records number states
constexpr std::size_t kCommandsAtOnce = 200;
constexpr int kReloadTime = 10000; // milliseconds that a new worker may take

// Clients and their servers by the numbers of pools and servers.
using ClientsOfPools = std::map<uint32_t, std::map<Address, uint32_t>>;

struct ProxyEngine {
    ProxyChild child;
    Workers workers;
    ProxyNumbers numbers;
    std::string configuration; // what the worker has been started with
    ClientsOfPools bound;      // as the worker has them
    ClientsOfPools boundFiles; // as the files have them

    // Servers that take nothing any more and still have connections, and what they were added with.
    std::map<NumberedThing, std::string> leaving;
};

// A command to the worker, and the one that takes it back.
struct Step {
    std::string command;
    std::string undoing;
};

ProxyEngine &engineOf(void *own) {
    return *static_cast<ProxyEngine *>(own);
}

bool isTcp(const PoolId &id) {
    return id.transport == Transport::tcp;
}

std::string nameOf(uint32_t pool, uint32_t server) {
    return joined({"b", std::to_string(pool), "/s", std::to_string(server)});
}

// --- Commands to the worker ------------------------------------------------------------------------------------------

// Whether a reply tells that the command was done. Most are silent then.
bool isDone(const std::string &reply) {
    const std::size_t begin = reply.find_first_not_of('\n');
    return begin == std::string::npos || reply.compare(begin, 22, "New server registered.") == 0 ||
           reply.compare(begin, 15, "Server deleted.") == 0;
}

bool tell(const ProxyEngine &engine, const std::string &command) {
    std::string reply;
    return askHeld(engine.workers.current, command, reply) && isDone(reply);
}

void takeBack(const ProxyEngine &engine, const std::vector<Step> &steps, std::size_t count) {
    while (count > 0) {
        --count;
        if (!steps[count].undoing.empty())
            tell(engine, steps[count].undoing);
    }
}

// Does all steps, or none; `words` are HAProxy's then.
bool performSteps(ProxyEngine &engine, const std::vector<Step> &steps, LogText &words) {
    std::size_t done = 0;
    try {
        for (const Step &step : steps) {
            std::string reply;
            const bool isAnswered = askHeld(engine.workers.current, step.command, reply);
            if (!isAnswered || !isDone(reply)) {
                append(words, "HAProxy: ");
                appendName(words, isAnswered ? reply.substr(0, 200) : "no answer");
                // Without an answer it may have been done, and the connection has ended. A worker that does not answer
                // now either is replaced with the next command.
                if (isAnswered || isAnswering(engine.workers, engine.child))
                    takeBack(engine, steps, isAnswered ? done : done + 1);
                return false;
            }
            ++done;
        }
    } catch (const std::bad_alloc &) {
        takeBack(engine, steps, done);
        throw;
    }
    return true;
}

// What makes a server take connections, or none.
std::string stateCommand(const std::string &name, bool takes) {
    return joined({"set server ", name, " state ", takes ? "ready" : "maint"});
}

std::string weightCommand(const std::string &name, int32_t weight) {
    return joined({"set server ", name, " weight ", std::to_string(weight)});
}

void addStateSteps(std::vector<Step> &steps, const std::string &name, const PoolServer &before,
                   const PoolServer &after) {
    // A server that takes nothing keeps its weight: at weight 0 its sticky clients would still come.
    const int32_t lastWeight = takesConnections(before) ? before.weight : after.weight;
    if (takesConnections(after) && lastWeight != after.weight)
        steps.push_back({weightCommand(name, after.weight), weightCommand(name, lastWeight)});
    else if (takesConnections(after) && !takesConnections(before))
        steps.push_back({weightCommand(name, after.weight), ""});
    if (takesConnections(after) != takesConnections(before))
        steps.push_back({stateCommand(name, takesConnections(after)), stateCommand(name, takesConnections(before))});
}

// --- What needs a new worker -----------------------------------------------------------------------------------------

bool hasStandby(const PoolServer &server) {
    return server.backup.address.family != AddressFamily::none;
}

// Servers that a running worker can neither be given nor be asked to change.
bool isFixed(const Pool &pool, const PoolServer &server) {
    return hasStandby(server) || server.connectTimeout != 0 || pool.settings.group != 0 ||
           (readsRequests(pool.settings) && !pool.settings.cookieName.empty());
}

bool needsNewWorker(const ProxyEngine &engine, const ServerChange &change) {
    const auto &[before, after] = change.server;
    if (before != nullptr && after != nullptr)
        return before->backup != after->backup || before->source != after->source ||
               before->connectTimeout != after->connectTimeout || before->cookieValue != after->cookieValue;
    if (isFixed(*change.pool, before != nullptr ? *before : *after))
        return true;
    // One that comes back before it has gone has to be the same.
    if (after == nullptr)
        return false;
    const uint32_t number = numberOf(engine.numbers, *change.pool, *after);
    const auto leaving = engine.leaving.find({numberOf(engine.numbers, change.pool->id), number});
    return leaving != engine.leaving.end() && leaving->second != serverText(*change.pool, *after, number);
}

bool needsNewWorker(const PoolSettings &before, const PoolSettings &after) {
    return readsRequests(before) != readsRequests(after) || before.stickyTime != after.stickyTime ||
           before.stickyBits != after.stickyBits || before.group != after.group ||
           before.staleTimeout != after.staleTimeout || before.cookieName != after.cookieName;
}

bool needsNewWorker(const ProxyEngine &engine, const Plan &plan, const PlanChange &change) {
    const auto isOfOurs = [](const Pool *pool) { return isTcp(pool->id); };
    if (change.settingsBefore != nullptr && (change.settingsBefore->finTimeout != plan.settings.finTimeout ||
                                             change.settingsBefore->secondsWest != plan.settings.secondsWest ||
                                             change.settingsBefore->cookieLifetime != plan.settings.cookieLifetime))
        return true;
    return std::any_of(change.newPools.begin(), change.newPools.end(), isOfOurs) ||
           std::any_of(change.removedPools.begin(), change.removedPools.end(), isOfOurs) || !change.selectors.empty() ||
           std::any_of(change.changedPools.begin(), change.changedPools.end(),
                       [](const PoolSettingsChange &pool) {
                           return isTcp(pool.pool->id) && needsNewWorker(*pool.before, pool.pool->settings);
                       }) ||
           std::any_of(change.servers.begin(), change.servers.end(), [&engine](const ServerChange &server) {
               return isTcp(server.pool->id) && needsNewWorker(engine, server);
           });
}

// --- Ended counts ----------------------------------------------------------------------------------------------------

void endServer(ProxyEngine &engine, const Pool &pool, const PoolServer &server, std::vector<EndedCounts> &ended) {
    const NumberedThing thing{numberOf(engine.numbers, pool.id), numberOf(engine.numbers, pool, server)};
    ended.push_back({pool.id, server.key, endCounts(engine.workers, thing)});
}

void endPool(ProxyEngine &engine, const Pool &pool, std::vector<EndedCounts> &ended) {
    const uint32_t number = numberOf(engine.numbers, pool.id);
    for (const auto &[key, server] : pool.servers)
        endServer(engine, pool, server, ended);
    ended.push_back({pool.id, std::nullopt, endCounts(engine.workers, {number, 0})});
    engine.numbers.pools.erase(pool.id);
    engine.bound.erase(number);
    engine.boundFiles.erase(number);
    unlink(boundFile(engine.child.folder, number).c_str());
    forgetPool(engine.workers, number);
}

void endRemoved(ProxyEngine &engine, const PlanChange &change, std::vector<EndedCounts> &ended) {
    for (const ServerChange &item : change.servers) {
        if (isTcp(item.pool->id) && item.server.after == nullptr)
            endServer(engine, *item.pool, *item.server.before, ended);
    }
    for (const Pool *pool : change.removedPools) {
        if (isTcp(pool->id))
            endPool(engine, *pool, ended);
    }
}

// Connections of pools and servers that are gone and whose ports reset them.
void resetRemoved(const ProxyEngine &engine, const PlanChange &change) {
    const auto reset = [&engine](const Pool &pool, const PoolServer &server) {
        const std::string name = nameOf(numberOf(engine.numbers, pool.id), numberOf(engine.numbers, pool, server));
        askAll(engine.workers, "shutdown sessions server " + name);
    };
    for (const ServerChange &item : change.servers) {
        if (isTcp(item.pool->id) && item.server.after == nullptr && item.pool->settings.sendsReset)
            reset(*item.pool, *item.server.before);
    }
    for (const Pool *pool : change.removedPools) {
        for (const auto &[key, server] : pool->servers) {
            if (isTcp(pool->id) && pool->settings.sendsReset)
                reset(*pool, server);
        }
    }
}

// --- Over the sockets ------------------------------------------------------------------------------------------------

void addServerSteps(ProxyEngine &engine, const ServerChange &change, std::vector<Step> &steps) {
    const auto &[before, after] = change.server;
    const Pool &pool = *change.pool;
    const uint32_t poolNumber = numberOf(engine.numbers, pool.id);
    const uint32_t number = numberOf(engine.numbers, pool, before != nullptr ? *before : *after);
    const std::string name = nameOf(poolNumber, number);
    if (before != nullptr && after != nullptr) {
        addStateSteps(steps, name, *before, *after);
    } else if (before != nullptr) {
        steps.push_back({stateCommand(name, false), stateCommand(name, takesConnections(*before))});
    } else {
        if (engine.leaving.contains({poolNumber, number}))
            steps.push_back({weightCommand(name, after->weight), ""});
        else
            steps.push_back(
                {joined({"add server ", name, " ", serverText(pool, *after, number)}), joined({"del server ", name})});
        if (takesConnections(*after))
            steps.push_back({stateCommand(name, true), stateCommand(name, false)});
    }
}

// What makes the bound clients that the worker has of a pool those that it is to have.
void addClientSteps(const ProxyEngine &engine, uint32_t pool, const std::map<Address, uint32_t> &before,
                    const std::map<Address, uint32_t> &after, std::vector<Step> &steps) {
    const std::string file = joined({boundFile(engine.child.folder, pool), " "});
    const auto adding = [&file](const auto &client) {
        return joined({"add map ", file, addressText(client.first), " s", std::to_string(client.second)});
    };
    const auto removing = [&file](const auto &client) { return joined({"del map ", file, addressText(client.first)}); };
    for (const auto &client : before) {
        const auto now = after.find(client.first);
        if (now == after.end() || now->second != client.second)
            steps.push_back({removing(client), adding(client)});
    }
    for (const auto &client : after) {
        const auto then = before.find(client.first);
        if (then == before.end() || then->second != client.second)
            steps.push_back({adding(client), removing(client)});
    }
}

// Turns the look-up of bound clients on with the first one of all ports, and off with the last one. `changed` are the
// pools that are to have other bound clients than now.
void addLookUpStep(const ProxyEngine &engine, const ClientsOfPools &changed, std::vector<Step> &steps) {
    const auto hasClients = [](const auto &pool) { return !pool.second.empty(); };
    const bool before = std::any_of(engine.bound.begin(), engine.bound.end(), hasClients);
    const bool after = std::any_of(changed.begin(), changed.end(), hasClients) ||
                       std::any_of(engine.bound.begin(), engine.bound.end(), [&changed, &hasClients](const auto &pool) {
                           return hasClients(pool) && !changed.contains(pool.first);
                       });
    const std::string mark(kBoundMark);
    if (before != after)
        steps.push_back({stateCommand(mark, after), stateCommand(mark, before)});
}

// The ports whose bound clients may go elsewhere than before.
std::set<PortId> portsWithClients(const Plan &plan, const PlanChange &change) {
    std::set<PortId> ports;
    for (const ClientChange &client : change.clients)
        ports.insert(client.port);
    for (const ServerChange &server : change.servers) {
        const auto port = plan.ports.find(server.pool->id.port);
        if (isTcp(server.pool->id) && port != plan.ports.end() && !port->second.clients.empty())
            ports.insert(port->first);
    }
    return ports;
}

// Deletes those that have nothing open any more.
void endLeaving(ProxyEngine &engine) {
    std::erase_if(engine.leaving, [&engine](const auto &item) {
        return tell(engine, joined({"del server ", nameOf(item.first.pool, item.first.server)}));
    });
}

// Which of a pool's servers begin to leave with a change, and which stay after all.
void noteLeaving(ProxyEngine &engine, const PlanChange &change) {
    for (const ServerChange &item : change.servers) {
        if (!isTcp(item.pool->id) || (item.server.before != nullptr && item.server.after != nullptr))
            continue;
        const PoolServer &server = item.server.before != nullptr ? *item.server.before : *item.server.after;
        const uint32_t number = numberOf(engine.numbers, *item.pool, server);
        const NumberedThing named{numberOf(engine.numbers, item.pool->id), number};
        if (item.server.after == nullptr)
            engine.leaving[named] = serverText(*item.pool, server, number);
        else
            engine.leaving.erase(named);
    }
}

bool applyOverSocket(ProxyEngine &engine, const Plan &plan, const PlanChange &change, std::vector<EndedCounts> &ended,
                     LogText &words) {
    std::vector<Step> steps;
    for (const ServerChange &item : change.servers) {
        if (isTcp(item.pool->id))
            addServerSteps(engine, item, steps);
    }
    ClientsOfPools bound;
    for (const PortId &port : portsWithClients(plan, change)) {
        const uint32_t pool = numberOf(engine.numbers, PoolId{port, Transport::tcp, std::nullopt});
        if (pool == 0)
            continue;
        bound[pool] = boundServers(plan, engine.numbers, port);
        addClientSteps(engine, pool, engine.bound[pool], bound[pool], steps);
    }
    addLookUpStep(engine, bound, steps);
    if (!performSteps(engine, steps, words))
        return false;
    for (auto &[pool, clients] : bound)
        engine.bound[pool].swap(clients);
    noteLeaving(engine, change);
    resetRemoved(engine, change);
    endRemoved(engine, change, ended);
    endLeaving(engine);
    return true;
}

// --- With a new worker -----------------------------------------------------------------------------------------------

// Whether something can listen there. HAProxy would find out as well, but would stop listening elsewhere to try.
bool canListen(const Endpoint &endpoint, LogText &words) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(endpoint.port);
    std::memcpy(&address.sin_addr, endpoint.address.bytes.data(), sizeof address.sin_addr);
    OwnDescriptor tried = ownDescriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int yes = 1;
    const bool can = tried.number >= 0 && setsockopt(tried.number, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) == 0 &&
                     bind(tried.number, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    if (!can)
        append(words, "cannot listen on %s: %s", endpointText(endpoint).c_str(), strerrordesc_np(errno));
    closeOwn(tried);
    return can;
}

bool areListenable(const PlanChange &change, LogText &words) {
    return std::all_of(change.newPools.begin(), change.newPools.end(), [&words](const Pool *pool) {
        return !isTcp(pool->id) || pool->id.rule || canListen(pool->id.port, words);
    });
}

bool areCookiesPlain(const Plan &plan, LogText &words) {
    for (const auto &[id, pool] : plan.pools) {
        if (!isTcp(id) || pool.settings.cookieName.empty())
            continue;
        const bool isPlain = isCookieName(pool.settings.cookieName) &&
                             std::all_of(pool.servers.begin(), pool.servers.end(),
                                         [](const auto &server) { return isCookieValue(server.second.cookieValue); });
        if (!isPlain) {
            append(words, "no cookie can have the name or a value that it is given");
            return false;
        }
    }
    return true;
}

// The pools that keep sticky clients: empty as yet.
ClientsOfPools emptyTables(const ProxyEngine &engine, const Plan &plan) {
    ClientsOfPools tables;
    for (const auto &[id, pool] : plan.pools) {
        if (isTcp(id) && keepsClients(plan, pool))
            tables[numberOf(engine.numbers, id)];
    }
    return tables;
}

// Adds the worker's sticky clients to tables. Those of a pool that it does not have are none.
void addStickyClients(const ProxyEngine &engine, ClientsOfPools &tables) {
    std::string reply;
    for (auto &[pool, clients] : tables) {
        if (!askHeld(engine.workers.current, joined({"show table b", std::to_string(pool)}), reply))
            continue;
        for (const TableRow &row : parseTable(reply))
            clients[row.client] = row.server;
    }
}

// Gives the new worker the clients that it has been told by files, so that they are forgotten in time.
void restoreStickyClients(const ProxyEngine &engine, const ClientsOfPools &tables) {
    std::string commands;
    std::string reply;
    std::size_t count = 0;
    const auto send = [&] {
        if (!commands.empty())
            askHeld(engine.workers.current, commands.substr(0, commands.size() - 1), reply);
        commands.clear();
        count = 0;
    };
    for (const auto &[pool, clients] : tables) {
        for (const auto &[client, server] : clients) {
            commands += joined({"set table b", std::to_string(pool), " key ", addressText(client), " data.server_id ",
                                std::to_string(server), "\n"});
            if (++count == kCommandsAtOnce)
                send();
        }
        commands += joined({"clear map ", stickyFile(engine.child.folder, pool), "\n"});
        send();
        unlink(stickyFile(engine.child.folder, pool).c_str());
    }
}

bool writeTables(const ProxyEngine &engine, const ClientsOfPools &tables, LogText &words) {
    return std::all_of(tables.begin(), tables.end(), [&](const auto &table) {
        return writeFile(stickyFile(engine.child.folder, table.first), mapText(table.second), words);
    });
}

bool writeBound(ProxyEngine &engine, const ClientsOfPools &bound, LogText &words) {
    const std::string &folder = engine.child.folder;
    for (const auto &[pool, clients] : bound) {
        const auto file = engine.boundFiles.find(pool);
        if (file != engine.boundFiles.end() && file->second == clients)
            continue;
        if (!writeFile(boundFile(folder, pool), mapText(clients), words))
            return false;
        engine.boundFiles[pool] = clients;
    }
    return true;
}

ClientsOfPools allBound(const Plan &plan, const ProxyNumbers &numbers) {
    ClientsOfPools bound;
    for (const auto &[id, pool] : plan.pools) {
        if (isTcp(id) && !id.rule)
            bound[numberOf(numbers, id)] = boundServers(plan, numbers, id.port);
    }
    return bound;
}

// Checks a configuration for a plan and puts it where HAProxy reads it.
bool writeConfiguration(ProxyEngine &engine, const Plan &plan, const ClientsOfPools &tables, LogText &words) {
    std::set<uint32_t> moving;
    for (const auto &[pool, clients] : tables)
        moving.insert(pool);
    const std::string text = configurationText(plan, engine.numbers, engine.child.folder, moving);
    const std::string next = engine.child.folder + "/next.cfg";
    ClientsOfPools bound = allBound(plan, engine.numbers);
    if (!areCookiesPlain(plan, words) || !writeBound(engine, bound, words) || !writeTables(engine, tables, words) ||
        !writeFile(next, text, words) || !checkConfiguration(engine.child, next, words) ||
        !writeFile(configurationFile(engine.child), text, words))
        return false;
    engine.bound = std::move(bound);
    engine.configuration = text;
    return true;
}

// Replaces the worker. Its sticky clients, which it forgets when it stops, are read until the new one answers.
bool replaceWorker(ProxyEngine &engine, ClientsOfPools &tables, LogText &words) {
    addStickyClients(engine, tables);
    int before = 0;
    if (!writeTables(engine, tables, words) || !beginReload(engine.child, before, words))
        return false;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kReloadTime);
    Reload reload = Reload::underWay;
    while (reload == Reload::underWay && std::chrono::steady_clock::now() < end) {
        usleep(1000);
        addStickyClients(engine, tables);
        reload = reloadOf(engine.child, before, words);
    }
    return reload == Reload::done && takeOver(engine.workers, engine.child);
}

bool applyWithNewWorker(ProxyEngine &engine, const Plan &plan, const PlanChange &change,
                        std::vector<EndedCounts> &ended, LogText &words) {
    if (!areListenable(change, words))
        return false;
    const std::string configurationBefore = engine.configuration;
    const auto boundBefore = engine.bound;
    ClientsOfPools tables = emptyTables(engine, plan);
    if (!writeConfiguration(engine, plan, tables, words))
        return false;
    if (!replaceWorker(engine, tables, words)) {
        LogText ignored{};
        engine.configuration = configurationBefore;
        engine.bound = boundBefore;
        writeFile(configurationFile(engine.child), configurationBefore, ignored);
        return false;
    }
    engine.leaving.clear();
    restoreStickyClients(engine, tables);
    resetRemoved(engine, change);
    endRemoved(engine, change, ended);
    return true;
}

// --- The child -------------------------------------------------------------------------------------------------------

// Starts HAProxy with a plan where none runs.
bool start(ProxyEngine &engine, const Plan &plan, LogText &words) {
    engine.leaving.clear();
    engine.boundFiles.clear();
    numberPlan(engine.numbers, plan);
    return makeProxyFolder(engine.child, words) && writeConfiguration(engine, plan, {}, words) &&
           startProxy(engine.child, words) && takeOver(engine.workers, engine.child);
}

// HAProxy may have been killed, or is about to end since a host has closed the leash, which it did not open.
bool isThere(ProxyEngine &engine) {
    return isOurs(engine.child.leash) && isAnswering(engine.workers, engine.child);
}

bool startAnew(ProxyEngine &engine, const Plan &plan, LogText &words) {
    forgetWorkers(engine.workers);
    stopProxy(engine.child);
    append(words, "HAProxy had ended and is started anew. ");
    return start(engine, plan, words);
}

void numberChange(ProxyNumbers &numbers, const PlanChange &change) {
    for (const Pool *pool : change.newPools)
        numberPool(numbers, *pool);
    for (const PoolSettingsChange &pool : change.changedPools)
        numberPool(numbers, *pool.pool);
    for (const ServerChange &server : change.servers) {
        if (server.pool->settings.group != 0) // what one is known by depends on the others there
            numberPool(numbers, *server.pool);
        else if (server.server.after != nullptr)
            numberServer(numbers, *server.pool, *server.server.after);
    }
}

// --- The engine's procedures -----------------------------------------------------------------------------------------

bool applyPlan(void *own, const Plan &plan, const PlanChange &change, std::vector<EndedCounts> &ended, LogText &words) {
    ProxyEngine &engine = engineOf(own);
    numberChange(engine.numbers, change);
    if (!isThere(engine)) {
        if (!startAnew(engine, plan, words))
            return false;
        endRemoved(engine, change, ended);
        return true;
    }
    if (needsNewWorker(engine, plan, change))
        return applyWithNewWorker(engine, plan, change, ended, words);
    return applyOverSocket(engine, plan, change, ended, words);
}

bool readPool(void *own, const Pool &pool, Counts &counts) {
    ProxyEngine &engine = engineOf(own);
    return readCounts(engine.workers, {numberOf(engine.numbers, pool.id), 0}, counts);
}

bool readServer(void *own, const Pool &pool, const PoolServer &server, Counts &counts) {
    ProxyEngine &engine = engineOf(own);
    const uint32_t number = numberOf(engine.numbers, pool, server);
    return readCounts(engine.workers, {numberOf(engine.numbers, pool.id), number}, counts);
}

bool readAll(void *own, Counts &counts) {
    return readAllCounts(engineOf(own).workers, counts);
}

// The plan's pools and servers by their numbers.
struct NumberedPlan {
    std::map<uint32_t, const Pool *> pools;
    std::map<NumberedThing, const PoolServer *> servers;
};

NumberedPlan byNumber(const ProxyEngine &engine, const Plan &plan, const PortId *port) {
    NumberedPlan numbered;
    for (const auto &[id, pool] : plan.pools) {
        if (!isTcp(id) || (port != nullptr && id.port != *port))
            continue;
        const uint32_t number = numberOf(engine.numbers, id);
        numbered.pools[number] = &pool;
        for (const auto &[key, server] : pool.servers)
            numbered.servers[{number, numberOf(engine.numbers, pool, server)}] = &server;
    }
    return numbered;
}

std::vector<SessionRow> sessionsOf(const ProxyEngine &engine) {
    std::vector<SessionRow> sessions;
    for (const std::string &reply : askAll(engine.workers, "show sess")) {
        const std::vector<SessionRow> rows = parseSessions(reply);
        sessions.insert(sessions.end(), rows.begin(), rows.end());
    }
    return sessions;
}

// Seconds of a time that have passed when `left` of it are left.
uint32_t passed(uint32_t time, uint32_t left) {
    return time - std::min(time, left);
}

bool listConnections(void *own, const Plan &plan, const PortId *port, std::vector<LiveConnection> &connections) {
    ProxyEngine &engine = engineOf(own);
    if (!isThere(engine))
        return false;
    const NumberedPlan numbered = byNumber(engine, plan, port);
    for (const SessionRow &session : sessionsOf(engine)) {
        const auto server = numbered.servers.find({session.pool, session.server});
        if (server == numbered.servers.end())
            continue;
        const Pool &pool = *numbered.pools.at(session.pool);
        LiveConnection connection;
        connection.client = session.client;
        connection.port = pool.id.port;
        connection.server = server->second->endpoint;
        connection.tcpState = kStateEstablished;
        connection.idle = passed(pool.settings.staleTimeout, session.left);
        connection.age = session.age;
        connections.push_back(connection);
    }
    return true;
}

Address masked(const Address &address, uint8_t bits) {
    Address network = address;
    for (std::size_t index = 0; index < 4; ++index) {
        const int kept = std::clamp(bits - static_cast<int>(8 * index), 0, 8);
        network.bytes[index] = static_cast<uint8_t>(network.bytes[index] & (0xff00 >> kept));
    }
    return network;
}

// Connections that clients have to the server that they stick to.
uint32_t activeOf(const std::vector<SessionRow> &sessions, uint32_t poolNumber, const Pool &pool, const TableRow &row) {
    return static_cast<uint32_t>(
        std::count_if(sessions.begin(), sessions.end(), [poolNumber, &pool, &row](const SessionRow &session) {
            return session.pool == poolNumber && session.server == row.server &&
                   masked(session.client.address, pool.settings.stickyBits) == row.client;
        }));
}

bool listStickyClients(void *own, const Plan &plan, const PortId *port, std::vector<StickyClient> &clients) {
    ProxyEngine &engine = engineOf(own);
    if (!isThere(engine))
        return false;
    const NumberedPlan numbered = byNumber(engine, plan, port);
    const std::vector<SessionRow> sessions = sessionsOf(engine);
    for (const auto &[number, pool] : numbered.pools) {
        const Pool *keeper = keeperOf(plan, *pool);
        if (keeper == nullptr)
            continue;
        const uint32_t table = numberOf(engine.numbers, keeper->id);
        std::string reply;
        if (!askHeld(engine.workers.current, joined({"show table b", std::to_string(table)}), reply))
            return false;
        for (const TableRow &row : parseTable(reply)) {
            const auto server = numbered.servers.find({number, row.server});
            if (server == numbered.servers.end())
                continue;
            StickyClient client;
            client.pool = pool->id;
            client.client = row.client;
            client.serverKey = server->second->key;
            client.active = activeOf(sessions, number, *pool, row);
            client.idle = passed(pool->settings.stickyTime, row.left / 1000);
            clients.push_back(client);
        }
    }
    return true;
}

void tick(void *own, const Plan &plan, std::vector<EndedCounts> &, LogText &words) {
    ProxyEngine &engine = engineOf(own);
    if (!isThere(engine) && !startAnew(engine, plan, words))
        return;
    endFormer(engine.workers);
    endLeaving(engine);
    trimLog(engine.child);
}

void closeEngine(void *own) {
    ProxyEngine &engine = engineOf(own);
    forgetWorkers(engine.workers);
    stopProxy(engine.child);
    delete &engine;
}

} // namespace

bool openProxyEngine(Engine &engine, LogText &words) {
    auto *own = new ProxyEngine;
    own->child.program = findProxyProgram();
    if (own->child.program.empty()) {
        append(words, "there is no HAProxy (Debian's package haproxy)");
        delete own;
        return false;
    }
    if (!start(*own, Plan{}, words)) {
        closeEngine(own);
        return false;
    }
    engine.own = own;
    engine.name = "proxy";
    engine.features = kProxyFeatures;
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
