#pragma once

#include <optional>
#include <sorvane_host.hpp>
#include <string>
#include <vector>

namespace sorvane::tools {

/// The options that steer the busses, as the user wrote them.
struct BusOptions {
    std::optional<double> remainderLevel;   ///< dB
    std::vector<std::string> gains;         ///< BUS=FACTOR
    std::vector<std::string> sensitivities; ///< BUS=PERCENT
    std::optional<std::string> stem;        ///< BUS
    std::optional<double> noiseGain;        ///< of the last bus; models of two
};

/// Sets the controls of a processor. A bus is written as its name, small and capital letters alike,
/// or as its number from 0. Raises ProgramError with exitUsage for values out of range, for busses
/// that aren't there or can't be steered, and for options that the model's busses don't allow.
void applyBusOptions(const BusOptions& options, host::Processor& processor);

/// Raises ProgramError with exitUsage where a value isn't in one word with its bus. Called before the
/// files are looked at, since the value then counts as one of them.
void requireAssignments(const BusOptions& options);

/// The busses of a comma-separated list, or of "all", each once and in the model's order. Raises
/// ProgramError with exitUsage as above.
std::vector<int> findBusses(const std::string& list, const std::vector<std::string>& names,
                            const std::string& option);

/// Sets the gains so that the processor gives this bus alone. Raises ProgramError with exitUsage
/// when the model has busses that can't be silenced.
void isolateBus(int bus, host::Processor& processor, const std::string& option);

} // namespace sorvane::tools
