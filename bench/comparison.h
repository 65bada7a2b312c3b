#pragma once

// Comparisons: several ways to do one job, timed in turns within one process.
//
// Every source file of a bench registers its comparisons from a function that bench_main.cpp calls
// (list it there). The first side is ours; the ratio in the report is its time over that of the
// fastest of the others.

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace sorvane::bench {

/// One way to do the job. `run` holds the benchmark's loop; `repeat` makes it from a callable.
struct Side {
    std::string name;
    std::function<void(benchmark::State&)> run;
};

/// A side that calls `job()` over and over. The job is inlined into the loop, so that only its own
/// cost is measured; it writes its result to memory that it keeps a pointer to.
template <typename Job>
Side repeat(std::string name, Job job) {
    return {std::move(name), [job](benchmark::State& state) mutable {
                for (auto _ : state) {
                    job();
                    benchmark::ClobberMemory();
                }
            }};
}

/// The ratio to reach; 0 where there is none.
struct Goal {
    double atLeast = 0;
    double aim = 0;
};

struct Comparison {
    std::string group; // a table of the report, such as "Real transform"
    std::string name;  // a row, such as "forward 1024"
    std::vector<Side> sides;
    Goal goal = {};
    double operations = 0; // floating-point operations of one run, for the share of the peak; or 0
    double audioSeconds = 0; // audio of one run; a comparison of one side is then beside real time
    std::string note = {};
};

/// Only comparisons whose "group/name" contains `text` are wanted.
void select(const std::string& text);

/// Whether a comparison is wanted; ask before its sides are made where that takes time.
bool isWanted(const std::string& group, const std::string& name);

/// Adds a comparison to the run if it is wanted. Names of groups and of rows within a group are unique.
void add(Comparison comparison);

const std::vector<Comparison>& comparisons();

} // namespace sorvane::bench
