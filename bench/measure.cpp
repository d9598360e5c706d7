#include "bench/measure.h"

#include <algorithm>
#include <ctime>

namespace measure {

namespace {

constexpr double kWarmUpNanoseconds = 50e6; // so that the VM has compiled what Java code is called

// Of the thread's own processor time, so that it does not matter who else runs.
double now() {
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return 1e9 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec);
}

double nanosecondsOf(const std::function<void()> &procedure, int calls) {
    const double start = now();
    for (int i = 0; i < calls; ++i)
        procedure();
    return now() - start;
}

// Warms a procedure up, and finds how many calls take as long as a batch should.
int callsFor(const std::function<void()> &procedure, double batchNanoseconds) {
    int calls = 1;
    double taken = 0;
    for (double warm = 0; warm < kWarmUpNanoseconds || taken < batchNanoseconds / 2; warm += taken) {
        taken = nanosecondsOf(procedure, calls);
        if (taken < batchNanoseconds / 2)
            calls *= 2;
    }
    return std::max(1, static_cast<int>(calls * batchNanoseconds / taken));
}

double quantileOf(const std::vector<double> &sorted, double place) {
    const double index = place * static_cast<double>(sorted.size() - 1);
    const auto below = static_cast<std::size_t>(index);
    const std::size_t above = std::min(below + 1, sorted.size() - 1);
    return sorted[below] + (sorted[above] - sorted[below]) * (index - static_cast<double>(below));
}

} // namespace

Quartiles quartilesOf(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return {quantileOf(values, 0.25), quantileOf(values, 0.5), quantileOf(values, 0.75)};
}

Times inTurns(const std::vector<std::function<void()>> &procedures, int rounds, double batchNanoseconds) {
    std::vector<int> calls;
    calls.reserve(procedures.size());
    for (const auto &procedure : procedures)
        calls.push_back(callsFor(procedure, batchNanoseconds));
    Times times(procedures.size());
    for (int round = 0; round < rounds; ++round)
        for (std::size_t turn = 0; turn < procedures.size(); ++turn) {
            const std::size_t i = (turn + static_cast<std::size_t>(round)) % procedures.size();
            times[i].push_back(nanosecondsOf(procedures[i], calls[i]) / calls[i]);
        }
    return times;
}

Quartiles ratioOf(const std::vector<double> &times, const std::vector<double> &base) {
    std::vector<double> ratios;
    ratios.reserve(times.size());
    for (std::size_t i = 0; i < times.size(); ++i)
        ratios.push_back(times[i] / base[i]);
    return quartilesOf(ratios);
}

void print(FILE *json, const char *name, const Quartiles &quartiles) {
    fprintf(json, "\"%s\": {\"q1\": %.4g, \"median\": %.4g, \"q3\": %.4g}", name, quartiles.q1, quartiles.median,
            quartiles.q3);
}

} // namespace measure
