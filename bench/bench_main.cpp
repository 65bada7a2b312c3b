// sorvane_bench [OPTION...]
//
// Runs the comparisons whose "group/name" contains the filter, the sides of each in turns, and
// writes the table of medians to standard output or to files. See --help.

#include "registration.h"
#include "report.h"

#include "support/vector/dispatch.h"

#include <CLI/CLI.hpp>

#include <fstream>
#include <iostream>
#include <map>

namespace sorvane::bench {

namespace {

/// Keeps the time of every repetition of every side.
class Collector : public benchmark::BenchmarkReporter {
public:
    std::map<std::string, Times> times; // by the side's name

    /// Measures by the wall clock or the calling thread's time, which noise disturbs less.
    explicit Collector(bool wallClock) : usesWallClock(wallClock) {}

    bool ReportContext(const Context& /*context*/) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration)
                continue;
            if (run.error_occurred)
                std::cerr << run.benchmark_name() << ": " << run.error_message << '\n';
            else
                times[run.run_name.function_name].push_back(
                    (usesWallClock ? run.real_accumulated_time : run.cpu_accumulated_time) /
                    static_cast<double>(run.iterations));
        }
    }

private:
    bool usesWallClock;
};

/// Text as a regular expression that matches nothing else.
std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (std::string_view("^$\\.*+?()[]{}|").find(c) != std::string_view::npos)
            result += '\\';
        result += c;
    }
    return result;
}

Result measure(const Comparison& comparison, int index) {
    const std::string prefix = std::to_string(index) + '/';
    for (const Side& side : comparison.sides)
        benchmark::RegisterBenchmark((prefix + side.name).c_str(), side.run);
    // Beside real time counts what the host waits for, also where other threads work.
    Collector collector(comparison.audioSeconds > 0);
    benchmark::RunSpecifiedBenchmarks(&collector, nullptr, '^' + escaped(prefix));
    benchmark::ClearRegisteredBenchmarks();
    Result result{&comparison, {}};
    for (const Side& side : comparison.sides)
        result.times.push_back(collector.times[prefix + side.name]);
    return result;
}

void listForms() {
    const vector::Kernels* forms[8];
    for (int i = vector::availableForms(forms, 8); i > 0; --i)
        std::cout << forms[i - 1]->name << '\n';
}

void chooseForm(const std::string& name) {
    const vector::Kernels* forms[8];
    const int count = vector::availableForms(forms, 8);
    for (int i = 0; i < count; ++i)
        if (forms[i]->name == name) {
            vector::activeKernels.store(forms[i]);
            return;
        }
    throw CLI::ValidationError("--form", "this machine has no form " + name);
}

void write(const std::string& path, const Machine& machine, const std::vector<Result>& results,
           void (*writer)(std::ostream&, const Machine&, const std::vector<Result>&)) {
    if (path.empty())
        return;
    std::ofstream file(path);
    writer(file, machine, results);
    if (!file.flush())
        throw CLI::FileError("can't write " + path);
}

int run(int argc, char** argv) {
    CLI::App app{"Times the engine beside other ways to do the same"};
    std::string form, filter, markdown, json, repetitions = "21", time = "0.01";
    std::vector<std::string> models;
    app.add_option("--form", form, "force a form of the vector layer");
    app.add_option("--filter", filter, "run what contains this text");
    app.add_option("--model", models, "a model file to run beside the bench's own networks");
    app.add_option("--markdown", markdown, "write the table to this file");
    app.add_option("--json", json, "write the figures to this file");
    app.add_option("--repetitions", repetitions, "repetitions of each side (21)");
    app.add_option("--time", time, "seconds of each repetition at least (0.01)");
    bool lists = false;
    app.add_flag("--list-forms", lists, "name the forms that this machine has, the best first");
    CLI11_PARSE(app, argc, argv);
    if (lists) {
        listForms();
        return 0;
    }

    ippInit();
    ippSetFlushToZero(1, nullptr);
    ippSetDenormAreZeros(1);
    if (!form.empty())
        chooseForm(form);
    const std::string repetitionsFlag = "--benchmark_repetitions=" + repetitions;
    const std::string timeFlag = "--benchmark_min_time=" + time;
    const char* flags[] = {argv[0], repetitionsFlag.c_str(), timeFlag.c_str(),
                           "--benchmark_enable_random_interleaving=true"};
    int numFlags = 4;
    benchmark::Initialize(&numFlags, const_cast<char**>(flags));

    const vector::Kernels& active = vector::kernels();
    const Machine machine{processorName(), active.name, peakOperations(active.lanes),
                          readBandwidths()};
    select(filter);
    addFlat();
    addFunctions();
    addTransforms();
    addLayers();
    addChain();
    addNetworks(models);
    std::vector<Result> results;
    for (const Comparison& comparison : comparisons()) {
        results.push_back(measure(comparison, static_cast<int>(results.size())));
        std::cerr << comparison.group << '/' << comparison.name << ": " << ratio(results.back())
                  << '\n';
    }
    write(markdown, machine, results, writeMarkdown);
    write(json, machine, results, writeJson);
    if (markdown.empty())
        writeMarkdown(std::cout, machine, results);
    return 0;
}

} // namespace

} // namespace sorvane::bench

int main(int argc, char** argv) {
    try {
        return sorvane::bench::run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
