#include "executor/forwarding/kernel/hashed_services.h"

#include "executor/forwarding/kernel/pool_services.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>

namespace rk {

namespace {

constexpr int32_t kLargestTurns = 63;       // of one server in a round of the kernel's table
constexpr double kMostOff = 0.1;            // of a share, before it is told
constexpr double kRounding = 0.000'000'001; // of the computation

int32_t weightInTable(const IpvsServerSettings &server) {
    return server.weight == 0 ? server.tableWeight : server.weight;
}

// The turns that a server has instead of its weight.
int32_t turnsOf(int32_t weight, int32_t divisor, int halvings) {
    return weight == 0 ? 0 : std::max(1, weight / divisor >> halvings);
}

} // namespace

bool isHashed(const std::string &scheduler) {
    return scheduler == "mh";
}

std::string whyNotHashed(const Pool &pool) {
    if (pool.settings.method == Method::linkLevel)
        return "";
    return nameOf(pool.id) + ": with the scheduler mh several directors forward at once, and answers do not come back "
                             "to the one that translated: link level or tunnels only";
}

std::string describeCoarseShares(const IpvsServiceKey &service, const IpvsServers &servers) {
    int32_t divisor = 0;
    int32_t largest = 0;
    int32_t sum = 0;
    for (const auto &[key, server] : servers) {
        divisor = std::gcd(divisor, weightInTable(server));
        largest = std::max(largest, weightInTable(server));
        sum += weightInTable(server);
    }
    if (divisor == 0 || largest / divisor <= kLargestTurns)
        return "";
    int halvings = 0;
    while (largest / divisor >> halvings > kLargestTurns)
        ++halvings;
    int32_t turns = 0;
    for (const auto &[key, server] : servers)
        turns += turnsOf(weightInTable(server), divisor, halvings);

    double worst = kMostOff + kRounding;
    std::string words;
    for (const auto &[key, server] : servers) {
        const int32_t weight = weightInTable(server);
        if (weight == 0)
            continue;
        const double wanted = static_cast<double>(weight) / sum;
        const double given = static_cast<double>(turnsOf(weight, divisor, halvings)) / turns;
        const double off = std::abs(given / wanted - 1);
        if (off <= worst)
            continue;
        worst = off;
        char text[160] = "";
        std::snprintf(text, sizeof text,
                      ": the kernel halves weights above 63, so that %s gets %.1f %% instead of %.1f %%",
                      describe(key).c_str(), given * 100, wanted * 100);
        words = describe(service) + text;
    }
    return words;
}

} // namespace rk
