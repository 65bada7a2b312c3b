#include "report.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace sorvane::bench {

namespace {

constexpr double quietShare = 0.1;

std::string number(double value, const char* format = "%.3g") {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string duration(double seconds) {
    if (seconds < 1e-6)
        return number(seconds * 1e9) + " ns";
    if (seconds < 1e-3)
        return number(seconds * 1e6) + " us";
    return number(seconds * 1e3) + " ms";
}

double quiet(const Times& times) {
    return quantile(times, quietShare);
}

double median(const Times& times) {
    return quantile(times, 0.5);
}

double ratioOf(const Result& result, double (*value)(const Times&)) {
    double others = result.times.size() == 1 ? result.comparison->audioSeconds : 0;
    for (std::size_t i = 1; i < result.times.size(); ++i)
        if (const double time = value(result.times[i]); others == 0 || time < others)
            others = time;
    return others > 0 ? value(result.times[0]) / others : 0;
}

std::string goalText(const Goal& goal) {
    if (goal.atLeast == 0)
        return "";
    return number(goal.atLeast) + (goal.aim > 0 ? " / " + number(goal.aim) : "");
}

void writeRow(std::ostream& out, const Machine& machine, const Result& result) {
    const Comparison& comparison = *result.comparison;
    const Times& ours = result.times[0];
    out << "| " << comparison.name << " | " << duration(median(ours)) << " | "
        << duration(quiet(ours)) << " | ";
    for (std::size_t i = 1; i < result.times.size(); ++i)
        out << (i > 1 ? ", " : "") << comparison.sides[i].name << ' '
            << duration(median(result.times[i]));
    const bool besideRealTime = result.times.size() == 1;
    const char* format = besideRealTime || ratioOf(result, median) < 0.01 ? "%.4f" : "%.2f";
    out << (besideRealTime ? "real time" : "") << " | " << number(ratioOf(result, median), format)
        << " | " << number(ratioOf(result, quiet), format) << " | " << goalText(comparison.goal)
        << " | ";
    if (comparison.operations > 0 && machine.peak > 0)
        out << number(100 * comparison.operations / median(ours) / machine.peak, "%.0f") << " %";
    out << " | " << comparison.note << " |\n";
}

/// The geometric mean of the ratios of a table's rows tells what one row can't.
void writeMean(std::ostream& out, const std::vector<const Result*>& rows) {
    double sum = 0;
    int count = 0;
    for (const Result* row : rows)
        if (const double value = ratio(*row); row->times.size() > 1 && value > 0) {
            sum += std::log(value);
            ++count;
        }
    if (count > 1)
        out << "\nGeometric mean of the ratios: " << number(std::exp(sum / count), "%.2f") << "\n";
}

} // namespace

double quantile(Times times, double share) {
    if (times.empty())
        return 0;
    const auto index = static_cast<std::size_t>(share * static_cast<double>(times.size() - 1));
    std::nth_element(times.begin(), times.begin() + static_cast<std::ptrdiff_t>(index),
                     times.end());
    return times[index];
}

double ratio(const Result& result) {
    return ratioOf(result, median);
}

void writeMarkdown(std::ostream& out, const Machine& machine, const std::vector<Result>& results) {
    out << "Processor: " << machine.processor << ", vector layer: " << machine.form
        << ", peak of one core: " << number(machine.peak / 1e9, "%.0f") << " GFLOP/s.\n"
        << "Read bandwidth:";
    for (const Bandwidth& level : machine.bandwidths)
        out << ' ' << level.level << ' ' << number(level.gigabytesPerSecond, "%.0f") << " GB/s"
            << (&level == &machine.bandwidths.back() ? ".\n" : ",");

    std::vector<std::string> groups;
    for (const Result& result : results)
        if (std::find(groups.begin(), groups.end(), result.comparison->group) == groups.end())
            groups.push_back(result.comparison->group);
    for (const std::string& group : groups) {
        out << "\n## " << group << "\n\n"
            << "| case | ours | quiet tenth | others | ratio | quiet | goal / aim | of the peak | "
               "|\n"
            << "|---|---|---|---|---|---|---|---|---|\n";
        std::vector<const Result*> rows;
        for (const Result& result : results)
            if (result.comparison->group == group) {
                writeRow(out, machine, result);
                rows.push_back(&result);
            }
        writeMean(out, rows);
    }
}

void writeJson(std::ostream& out, const Machine& machine, const std::vector<Result>& results) {
    using Json = nlohmann::ordered_json;
    const auto rounded = [](double value) { return std::stod(number(value, "%.4g")); };
    Json about{{"processor", machine.processor},
               {"vectorForm", machine.form},
               {"peakOperationsPerSecond", rounded(machine.peak)}};
    for (const Bandwidth& level : machine.bandwidths)
        about["readGigabytesPerSecond"][level.level] = rounded(level.gigabytesPerSecond);
    out << "{\"machine\": " << about.dump() << ",\n\"comparisons\": [";
    const char* separator = "\n";
    for (const Result& result : results) {
        Json row{{"group", result.comparison->group}, {"name", result.comparison->name}};
        for (std::size_t i = 0; i < result.times.size(); ++i)
            row["seconds"][result.comparison->sides[i].name] = rounded(median(result.times[i]));
        row["quietTenth"] = rounded(quiet(result.times[0]));
        row["ratio"] = rounded(ratio(result));
        out << separator << row.dump();
        separator = ",\n";
    }
    out << "\n]}\n";
}

} // namespace sorvane::bench
