#include "executor/forwarding/kernel/ipvs_change.h"

#include <algorithm>
#include <iterator>

namespace rk {

namespace {

IpvsChange serviceChange(IpvsOrder what, const IpvsServiceKey &key) {
    IpvsChange change;
    change.what = what;
    change.service = key;
    return change;
}

IpvsChange serverChange(IpvsOrder what, const IpvsServiceKey &service, const IpvsServerKey &key) {
    IpvsChange change = serviceChange(what, service);
    change.isServer = true;
    change.server = key;
    return change;
}

const IpvsServerSettings *findServer(const IpvsTable &table, const IpvsServiceKey &service, const IpvsServerKey &key) {
    const auto row = table.find(service);
    if (row == table.end())
        return nullptr;
    const auto server = row->second.servers.find(key);
    return server == row->second.servers.end() ? nullptr : &server->second;
}

// A new server that could not be told all its weights is taken out again.
int tellServer(const NetlinkFamily &ipvs, const IpvsChange &change) {
    if (change.what == IpvsOrder::remove)
        return orderServer(ipvs, change.what, change.service, change.server, change.serverAfter);
    IpvsOrder what = change.what;
    IpvsServerSettings settings = change.serverAfter;
    for (const int32_t weight :
         weightSteps(what == IpvsOrder::change ? &change.serverBefore : nullptr, change.serverAfter)) {
        settings.weight = weight;
        if (const int error = orderServer(ipvs, what, change.service, change.server, settings)) {
            if (what != change.what)
                orderServer(ipvs, IpvsOrder::remove, change.service, change.server, settings);
            return error;
        }
        what = IpvsOrder::change;
    }
    return 0;
}

int tellKernel(const NetlinkFamily &ipvs, const IpvsChange &change) {
    return change.isServer ? tellServer(ipvs, change)
                           : orderService(ipvs, change.what, change.service, change.serviceAfter);
}

void follow(IpvsTable &table, const IpvsChange &change) {
    if (!change.isServer) {
        if (change.what == IpvsOrder::remove)
            table.erase(change.service);
        else
            table[change.service].settings = change.serviceAfter;
        return;
    }
    IpvsServers &servers = table[change.service].servers;
    if (change.what == IpvsOrder::remove)
        servers.erase(change.server);
    else
        servers[change.server] = change.serverAfter;
}

IpvsChange reverse(const IpvsChange &change) {
    IpvsChange back = change;
    std::swap(back.serviceBefore, back.serviceAfter);
    std::swap(back.serverBefore, back.serverAfter);
    if (change.what == IpvsOrder::add)
        back.what = IpvsOrder::remove;
    else if (change.what == IpvsOrder::remove)
        back.what = IpvsOrder::add;
    return back;
}

// What undoes a change: its reverse, and the servers that went with a service.
std::vector<IpvsChange> reverses(const IpvsChange &change) {
    std::vector<IpvsChange> all{reverse(change)};
    for (const auto &[server, settings] : change.serversBefore) {
        all.push_back(serverChange(IpvsOrder::add, change.service, server));
        all.back().serverAfter = settings;
    }
    return all;
}

// The servers that there are to be of a service once what is new is there: what each is to be told, by number.
using ServerOrders = std::map<IpvsServerKey, std::vector<IpvsChange>>;

// Takes a server out and puts it back, which makes it the last one. Its connections go on: the kernel keeps what it
// knows of a server that has any.
std::vector<IpvsChange> takeOutAndPutBack(const IpvsServiceKey &service, const IpvsServerKey &key,
                                          const IpvsServerSettings &settings) {
    std::vector<IpvsChange> both{serverChange(IpvsOrder::remove, service, key),
                                 serverChange(IpvsOrder::add, service, key)};
    both[0].serverBefore = settings;
    both[1].serverAfter = settings;
    return both;
}

bool isNewServer(const IpvsChange &change) {
    return change.isServer && change.what == IpvsOrder::add;
}

// Takes the new servers of `service` out of the list, and follows the changes of its others in `servers`.
ServerOrders takeNewServers(std::vector<IpvsChange> &changes, const IpvsServiceKey &service, IpvsServers &servers) {
    ServerOrders orders;
    for (const IpvsChange &change : changes) {
        if (!change.isServer || change.service != service)
            continue;
        if (isNewServer(change))
            orders[change.server] = {change};
        else
            servers[change.server] = change.serverAfter;
    }
    std::erase_if(changes,
                  [&service](const IpvsChange &change) { return isNewServer(change) && change.service == service; });
    return orders;
}

bool goes(const std::vector<IpvsChange> &changes, const IpvsServiceKey &service, const IpvsServerKey &server) {
    return std::ranges::any_of(changes, [&](const IpvsChange &change) {
        return change.isServer && change.what == IpvsOrder::remove && change.service == service &&
               change.server == server;
    });
}

void keepOrderOf(IpvsChanges &changes, const IpvsTable &now, const IpvsServiceKey &service) {
    const auto row = now.find(service);
    const bool isInOrder = row == now.end() || row->second.isInOrder;
    IpvsServers servers = row == now.end() ? IpvsServers{} : row->second.servers;
    ServerOrders orders = takeNewServers(changes.before, service, servers);
    const bool hasNew = !orders.empty();
    for (const auto &[key, settings] : servers) {
        const bool isBehind = !isInOrder || (hasNew && orders.begin()->first < key);
        if (!isBehind || goes(changes.after, service, key))
            continue;
        orders[key] = takeOutAndPutBack(service, key, settings);
        changes.reordered.insert(service);
    }
    for (auto &[key, all] : orders)
        std::ranges::move(all, std::back_inserter(changes.before));
}

} // namespace

void wantService(IpvsChanges &changes, const IpvsTable &now, const IpvsServiceKey &key,
                 const IpvsServiceSettings &settings) {
    const auto row = now.find(key);
    const bool isNew = row == now.end();
    if (!isNew && row->second.settings == settings)
        return;
    IpvsChange change = serviceChange(isNew ? IpvsOrder::add : IpvsOrder::change, key);
    change.serviceAfter = settings;
    if (!isNew)
        change.serviceBefore = row->second.settings;
    (isNew ? changes.before : changes.after).push_back(std::move(change));
}

void wantServer(IpvsChanges &changes, const IpvsTable &now, const IpvsServiceKey &service, const IpvsServerKey &key,
                const IpvsServerSettings &settings) {
    const IpvsServerSettings *old = findServer(now, service, key);
    if (old != nullptr && *old == settings)
        return;
    IpvsChange change = serverChange(old == nullptr ? IpvsOrder::add : IpvsOrder::change, service, key);
    change.serverAfter = settings;
    if (old != nullptr)
        change.serverBefore = *old;
    const bool takesAgain = old != nullptr && old->weight == 0 && settings.weight > 0;
    (old == nullptr || takesAgain ? changes.before : changes.after).push_back(std::move(change));
}

void dropServer(IpvsChanges &changes, const IpvsTable &now, const IpvsServiceKey &service, const IpvsServerKey &key) {
    const IpvsServerSettings *old = findServer(now, service, key);
    if (old == nullptr)
        return;
    IpvsChange change = serverChange(IpvsOrder::remove, service, key);
    change.serverBefore = *old;
    changes.after.push_back(std::move(change));
}

void dropService(IpvsChanges &changes, const IpvsTable &now, const IpvsServiceKey &key) {
    const auto row = now.find(key);
    if (row == now.end())
        return;
    IpvsChange change = serviceChange(IpvsOrder::remove, key);
    change.serviceBefore = row->second.settings;
    change.serversBefore = row->second.servers;
    changes.after.push_back(std::move(change));
}

IpvsChanges differenceOf(const IpvsTable &now, const IpvsTable &wanted, bool isKeepingSurplus) {
    IpvsChanges changes;
    for (const auto &[key, state] : wanted) {
        wantService(changes, now, key, state.settings);
        for (const auto &[server, settings] : state.servers)
            wantServer(changes, now, key, server, settings);
    }
    for (const auto &[key, state] : now) {
        if (isKeepingSurplus)
            break;
        const auto row = wanted.find(key);
        if (row == wanted.end()) {
            dropService(changes, now, key);
            continue;
        }
        for (const auto &[server, settings] : state.servers)
            if (!row->second.servers.contains(server))
                dropServer(changes, now, key, server);
    }
    sortChanges(changes);
    return changes;
}

void sortChanges(IpvsChanges &changes) {
    std::stable_partition(changes.after.begin(), changes.after.end(),
                          [](const IpvsChange &change) { return change.what != IpvsOrder::remove; });
}

void keepOrder(IpvsChanges &changes, const IpvsTable &now) {
    std::set<IpvsServiceKey> services;
    for (const IpvsChange &change : changes.before)
        if (isNewServer(change))
            services.insert(change.service);
    for (const auto &[key, state] : now)
        if (!state.isInOrder)
            services.insert(key);
    for (const IpvsServiceKey &service : services)
        keepOrderOf(changes, now, service);
}

// The kernel's table keeps the last weight above 0 that it was told.
std::vector<int32_t> weightSteps(const IpvsServerSettings *before, const IpvsServerSettings &after) {
    if (after.weight != 0 || after.tableWeight == 0)
        return {after.weight};
    const bool isInTable =
        before != nullptr && (before->weight == 0 ? before->tableWeight : before->weight) == after.tableWeight;
    return isInTable ? std::vector<int32_t>{0} : std::vector<int32_t>{after.tableWeight, 0};
}

bool carryOut(const NetlinkFamily &ipvs, const std::vector<IpvsChange> &changes, IpvsTable &now,
              std::vector<IpvsChange> &done, std::string &mistake) {
    done.reserve(done.size() + changes.size());
    for (const IpvsChange &change : changes) {
        if (const int error = tellKernel(ipvs, change)) {
            mistake = describeRefusal(change.what, change.service, change.isServer ? &change.server : nullptr, error);
            return false;
        }
        follow(now, change);
        done.push_back(change);
    }
    return true;
}

bool undo(const NetlinkFamily &ipvs, std::size_t kept, IpvsTable &now, std::vector<IpvsChange> &done) {
    bool isUndone = true;
    for (std::size_t index = done.size(); index > kept; --index)
        for (const IpvsChange &back : reverses(done[index - 1])) {
            if (tellKernel(ipvs, back) == 0) {
                follow(now, back);
                done.push_back(back);
            } else {
                isUndone = false;
            }
        }
    return isUndone;
}

} // namespace rk
