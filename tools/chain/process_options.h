#pragma once

#include "chain/bus_options.h"
#include "sound/output_format.h"
#include "sound/raw_format.h"

#include <optional>
#include <string>

namespace sorvane::tools {

/// A file that is made of an input.
struct OutputPlan {
    std::string path;
    std::optional<int> bus; ///< given alone; or else the mix
};

/// What becomes of samples beyond full scale.
enum class ClipMode {
    none,  ///< floats keep them; integers can't, and are limited
    limit, ///< they become full scale
    scale, ///< the whole result becomes quieter
};

/// What is to be done with every input.
struct ProcessOptions {
    std::string model; ///< a path, or empty for the speech model that suits the input's rate best
    BusOptions busses;
    double amount = 1.0; ///< 0 for the input itself, 1 for the result
    bool invert = false; ///< gives what was removed instead
    double start = 0.0;  ///< seconds, as the next
    std::optional<double> duration;
    std::optional<RawInput> rawInput;
    std::optional<RawFormat> rawOutput;
    std::optional<int> outputRate; ///< Hz
    SampleType sampleType = SampleType::sameAsInput;
    ClipMode clip = ClipMode::none;
    int block = 1024;
    std::optional<int> kilobits;   ///< a second, of lossy outputs
    std::optional<int> track;      ///< from 1; all, or the first, without it
    bool keepsBrokenParts = false; ///< of an input that breaks off, what could be read is kept
};

} // namespace sorvane::tools
