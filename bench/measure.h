// Times of procedures that are compared: measured in turns, so that what the machine does beside hits all of them.
#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace measure {

struct Quartiles {
    double q1;
    double median;
    double q3;
};

Quartiles quartilesOf(std::vector<double> values);

// Nanoseconds of processor time a call, one row a procedure and one column a round. Every round calls each procedure
// for about `batchNanoseconds`, the first one being another in each round; what comes before has warmed the procedures
// up.
using Times = std::vector<std::vector<double>>;
Times inTurns(const std::vector<std::function<void()>> &procedures, int rounds, double batchNanoseconds);

// One row by another, round by round.
Quartiles ratioOf(const std::vector<double> &times, const std::vector<double> &base);

// Writes `"name": {"q1": ..., "median": ..., "q3": ...}`.
void print(FILE *json, const char *name, const Quartiles &quartiles);

} // namespace measure
