#pragma once

#include "console/program_error.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace sorvane::tools {

struct OutputReport {
    std::string path;
    std::optional<int> bus;
    double peak = 0.0;   ///< before scaling and limiting
    double factor = 1.0; ///< of --clip scale
    std::int64_t clippedSamples = 0;
};

/// What became of one input.
struct FileReport {
    std::string input;
    std::optional<Failure> failure; ///< in which case the rest means nothing
    double audioSeconds = 0.0;
    double processingSeconds = 0.0;
    int latencySamples = 0; ///< of the processor, at the input's rate
    double latencySeconds = 0.0;
    std::vector<OutputReport> outputs;
};

/// What became of an input that didn't fail, in a line for people.
std::string resultText(const FileReport& file);

/// A run as JSON. The real-time factor is processing time through the length of the audio.
std::string reportAsJson(const std::string& model, const std::vector<FileReport>& files);

} // namespace sorvane::tools
