#include "chain/bus_options.h"

#include "console/program_error.h"
#include "console/text.h"

#include "engine/sorvane_engine.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace sorvane::tools {

namespace {

constexpr int mostBussesWithParameters = 16;

[[noreturn]] void fail(const std::string& message) {
    throw ProgramError(exitUsage, message);
}

struct Range {
    double lowest;
    double highest;
};

constexpr Range levelRange{-96.0, 0.0};
constexpr Range gainRange{0.0, 100.0};
constexpr Range sensitivityRange{-100.0, 100.0};

void requireInRange(double value, Range range, const std::string& option) {
    if (!(value >= range.lowest && value <= range.highest))
        fail(option + ": the value must be from " + shortNumber(range.lowest) + " to " +
             shortNumber(range.highest));
}

std::string listOf(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + printable(name);
    return text;
}

/// A name wins over a number, should a bus be called "1".
int findBus(const std::string& bus, const std::vector<std::string>& names,
            const std::string& option) {
    const auto sameName = std::count(names.begin(), names.end(), bus);
    if (sameName > 1)
        fail(option + ": several busses are called " + inQuotes(bus) + "; use a number");
    auto index =
        static_cast<std::size_t>(std::find(names.begin(), names.end(), bus) - names.begin());
    const bool isNumber =
        !bus.empty() && bus.size() < 6 && bus.find_first_not_of("0123456789") == std::string::npos;
    if (sameName == 0 && isNumber)
        index = std::stoul(bus);
    if (index >= names.size())
        fail(option + ": there is no bus " + inQuotes(bus) + "; the busses are " + listOf(names));
    if (index >= mostBussesWithParameters)
        fail(option + ": bus " + inQuotes(bus) + " can't be steered, only the first sixteen can");
    return static_cast<int>(index);
}

void applyAssignment(const std::string& text, const std::string& option, const std::string& form,
                     int firstId, Range range, Processor& processor) {
    // A name may hold an equals sign, a number can't.
    const std::size_t split = text.rfind('=');
    const std::optional<double> value =
        split == std::string::npos ? std::nullopt : parseNumber(text.substr(split + 1));
    if (!value)
        fail(option + ": " + inQuotes(text) + " is not of the form " + form);
    requireInRange(*value, range, option + " " + printable(text));
    const int bus = findBus(text.substr(0, split), processor.busNames(), option);
    processor.setParameter(firstId + bus, *value);
}

} // namespace

void applyBusOptions(const BusOptions& options, Processor& processor) {
    if (options.remainderLevel) {
        requireInRange(*options.remainderLevel, levelRange, "--remainder");
        if (processor.busNames().size() != 2)
            fail("--remainder is for models of one mask, and this one has " +
                 std::to_string(processor.busNames().size()) + " busses; use --gain");
        processor.setParameter(SORVANE_REMAINDER_LEVEL, *options.remainderLevel);
    }
    for (const std::string& gain : options.gains)
        applyAssignment(gain, "--gain", "BUS=FACTOR", SORVANE_BUS_GAIN, gainRange, processor);
    for (const std::string& sensitivity : options.sensitivities)
        applyAssignment(sensitivity, "--sensitivity", "BUS=PERCENT", SORVANE_BUS_SENSITIVITY,
                        sensitivityRange, processor);
    if (options.stem)
        isolateBus(findBus(*options.stem, processor.busNames(), "--stem"), processor, "--stem");
}

std::vector<int> findBusses(const std::string& list, const std::vector<std::string>& names,
                            const std::string& option) {
    std::set<int> busses;
    if (list == "all") {
        for (std::size_t bus = 0; bus < names.size(); ++bus)
            busses.insert(static_cast<int>(bus));
    } else {
        std::istringstream items(list);
        for (std::string item; std::getline(items, item, ',');)
            busses.insert(findBus(item, names, option));
    }
    if (busses.empty())
        fail(option + ": the list is empty");
    return {busses.begin(), busses.end()};
}

void isolateBus(int bus, Processor& processor, const std::string& option) {
    const auto numBusses = static_cast<int>(processor.busNames().size());
    if (numBusses > mostBussesWithParameters)
        fail(option + ": busses past the sixteenth can't be silenced, and this model has " +
             std::to_string(numBusses));
    for (int other = 0; other < numBusses; ++other)
        processor.setParameter(SORVANE_BUS_GAIN + other, other == bus ? 1.0 : 0.0);
}

} // namespace sorvane::tools
