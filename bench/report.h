#pragma once

#include "comparison.h"
#include "machine.h"

#include <ostream>

namespace sorvane::bench {

/// Times of all repetitions, in seconds a run.
using Times = std::vector<double>;

/// What was measured of one comparison: the times of its sides, in their order.
struct Result {
    const Comparison* comparison;
    std::vector<Times> times;
};

struct Machine {
    std::string processor;
    std::string form; // of the vector layer
    double peak;      // operations a second
    std::vector<Bandwidth> bandwidths;
};

/// The value below which `share` (0 to 1) of the times lie.
double quantile(Times times, double share);

/// Ours over the fastest of the others, by medians; with one side over real time.
double ratio(const Result& result);

void writeMarkdown(std::ostream& out, const Machine& machine, const std::vector<Result>& results);
void writeJson(std::ostream& out, const Machine& machine, const std::vector<Result>& results);

} // namespace sorvane::bench
