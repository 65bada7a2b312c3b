#pragma once

#include "chain/processor.h"

#include <optional>
#include <string>
#include <vector>

namespace sorvane::tools {

/// The options that steer the busses, as the user wrote them.
struct BusOptions {
    std::optional<double> remainderLevel;   ///< dB
    std::vector<std::string> gains;         ///< BUS=FACTOR
    std::vector<std::string> sensitivities; ///< BUS=PERCENT
    std::optional<std::string> stem;        ///< BUS
};

/// Sets the parameters of a processor: the remainder's level first, then gains, then sensitivities.
/// A bus is written as its name or as its number from 0. Raises ProgramError with exitUsage for
/// values out of range, for busses that aren't there or have no parameters, and for options that
/// the model's busses don't allow.
void applyBusOptions(const BusOptions& options, Processor& processor);

/// The busses of a comma-separated list, or of "all", each once and in the model's order. Raises
/// ProgramError with exitUsage as above.
std::vector<int> findBusses(const std::string& list, const std::vector<std::string>& names,
                            const std::string& option);

/// Sets the gains so that the processor gives this bus alone. Raises ProgramError with exitUsage
/// when the model has busses that can't be silenced.
void isolateBus(int bus, Processor& processor, const std::string& option);

} // namespace sorvane::tools
