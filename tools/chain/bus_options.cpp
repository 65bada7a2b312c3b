#include "chain/bus_options.h"

#include "console/program_error.h"
#include "console/suggestion.h"
#include "console/text.h"

#include <set>
#include <sstream>

namespace sorvane::tools {

namespace {

constexpr std::size_t mostBussesWithParameters = 16;

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

/// A name wins over a number, should a bus be called "1", and the name as it is over one in other
/// letters.
int findBus(const std::string& bus, const std::vector<std::string>& names,
            const std::string& option) {
    const auto matches = [&](bool anyCase) {
        std::vector<std::size_t> found;
        for (std::size_t i = 0; i < names.size(); ++i)
            if (anyCase ? lowerCase(names[i]) == lowerCase(bus) : names[i] == bus)
                found.push_back(i);
        return found;
    };
    std::vector<std::size_t> found = matches(false);
    if (found.empty())
        found = matches(true);
    if (found.size() > 1)
        fail(option + ": several busses are called " + inQuotes(bus) + "; use a number");
    std::size_t index = found.empty() ? names.size() : found.front();
    const bool isNumber =
        !bus.empty() && bus.size() < 6 && bus.find_first_not_of("0123456789") == std::string::npos;
    if (found.empty() && isNumber)
        index = std::stoul(bus);
    if (index >= names.size())
        fail(option + ": there is no bus " + inQuotes(bus) + "; the busses are " +
             listOfNames(names) + suggestion(bus, names));
    if (index >= mostBussesWithParameters)
        fail(option + ": bus " + inQuotes(bus) + " can't be steered, only the first sixteen can");
    return static_cast<int>(index);
}

struct Assignment {
    int bus;
    float value;
};

Assignment parseAssignment(const std::string& text, const std::string& option,
                           const std::string& form, Range range,
                           const std::vector<std::string>& names) {
    // A name may hold an equals sign, a number can't.
    const std::size_t split = text.rfind('=');
    const std::optional<double> value =
        split == std::string::npos ? std::nullopt : parseNumber(text.substr(split + 1));
    if (!value)
        fail(option + ": " + inQuotes(text) + " is not of the form " + form);
    requireInRange(*value, range, option + " " + printable(text));
    return {findBus(text.substr(0, split), names, option), static_cast<float>(*value)};
}

void applyRemainder(const BusOptions& options, host::Processor& processor,
                    const std::vector<std::string>& names) {
    requireInRange(*options.remainderLevel, levelRange, "--remainder");
    if (names.size() != 2)
        fail("--remainder is for models of one mask, and this one has " +
             std::to_string(names.size()) + " busses; use --gain");
    for (const std::string& gain : options.gains)
        if (parseAssignment(gain, "--gain", "BUS=FACTOR", gainRange, names).bus == 1)
            fail("--remainder and --gain " + printable(gain) +
                 " both set the level of what the mask leaves over; use one of them");
    processor.setRemainder(static_cast<float>(*options.remainderLevel));
}

} // namespace

void requireAssignments(const BusOptions& options) {
    const auto require = [](const std::vector<std::string>& texts, const std::string& option,
                            const std::string& form) {
        for (const std::string& text : texts)
            if (text.find('=') == std::string::npos)
                fail(option + ": write " + form + " as one word, such as " + option + " " +
                     printable(text) + "=0");
    };
    require(options.gains, "--gain", "BUS=FACTOR");
    require(options.sensitivities, "--sensitivity", "BUS=PERCENT");
}

void applyBusOptions(const BusOptions& options, host::Processor& processor) {
    const std::vector<std::string> names = processor.busNames();
    if (options.noiseGain) {
        if (names.size() != 2)
            fail("the model has " + std::to_string(names.size()) +
                 " busses and not two, of which the second is the noise; use sorvane process");
        processor.setGain(1, static_cast<float>(*options.noiseGain));
    }
    if (options.remainderLevel)
        applyRemainder(options, processor, names);
    for (const std::string& gain : options.gains) {
        const Assignment set = parseAssignment(gain, "--gain", "BUS=FACTOR", gainRange, names);
        processor.setGain(set.bus, set.value);
    }
    for (const std::string& sensitivity : options.sensitivities) {
        const Assignment set =
            parseAssignment(sensitivity, "--sensitivity", "BUS=PERCENT", sensitivityRange, names);
        processor.setSensitivity(set.bus, set.value);
    }
    if (options.stem)
        isolateBus(findBus(*options.stem, names, "--stem"), processor, "--stem");
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

void isolateBus(int bus, host::Processor& processor, const std::string& option) {
    const std::size_t numBusses = processor.busNames().size();
    if (numBusses > mostBussesWithParameters)
        fail(option + ": busses past the sixteenth can't be silenced, and this model has " +
             std::to_string(numBusses));
    processor.isolateBus(bus);
}

} // namespace sorvane::tools
