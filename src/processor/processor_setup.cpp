#include "processor/sorvane_processor.h"

#include "model/model_file.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace sorvane {

namespace {

/// True when `format` may stand beside what earlier models said, which it becomes if none did.
bool agree(AudioFormat& known, const AudioFormat& format) {
    if (known.isSet())
        return known == format;
    known = format;
    return true;
}

/// A size at the host's rate, ties to even, within the range of int.
int scaleSize(int size, double scale) {
    using Limits = std::numeric_limits<int>;
    if (size == 0)
        return 0; // also at an infinite scale
    return static_cast<int>(
        std::clamp<double>(std::nearbyint(size * scale), Limits::min(), Limits::max()));
}

} // namespace

SorvaneProcessor::SorvaneProcessor() {
    for (auto& gain : busGains)
        gain.store(1.0F);
    for (auto& sensitivity : busSensitivities)
        sensitivity.store(0.0F);
}

bool SorvaneProcessor::loadModels(const std::vector<std::string>& paths) {
    models.resize(paths.size());
    modelInputFormat = {};
    modelOutputFormat = {};
    outputBusNames.clear();
    FrameSizes known;
    for (std::size_t i = 0; i < paths.size(); ++i)
        if (!loadModel(models[i], paths[i], known))
            return false;
    busQueues.resize(numQueues());

    if (inputFormat.isSet() && BaseSpectralProcessor::setFormats(inputFormat, inputFormat))
        configureSpectralSizes();
    if (models.size() >= 2)
        threadPool = std::make_unique<ThreadPool>(static_cast<int>(models.size()));
    return true;
}

bool SorvaneProcessor::loadModel(NeuralModel<float>& model, const std::string& path,
                                 FrameSizes& known) {
    if (!loadModelFile(model, path.c_str()))
        return false;
    // As long as no model had a frame length, the next one sets both sizes.
    if (known.frameLength == 0)
        known = {model.frameLength, model.hop};
    else if (model.frameLength != known.frameLength || model.hop != known.hop)
        return false;
    if (!agree(modelInputFormat, defaultFormat(model.numInputChannels, model.sampleRate)) ||
        !agree(modelOutputFormat, defaultFormat(model.numOutputChannels, model.sampleRate)))
        return false;
    outputBusNames.insert(outputBusNames.end(), model.outputNames.begin(), model.outputNames.end());
    return true;
}

std::size_t SorvaneProcessor::numQueues() const {
    return outputBusNames.empty() ? 0 : outputBusNames.size() - 1;
}

bool SorvaneProcessor::setFormats(const AudioFormat& input, const AudioFormat& output) {
    if (!modelInputFormat.isSet() || !modelOutputFormat.isSet() ||
        !BaseSpectralProcessor::setFormats(input, output))
        return false;
    configureSpectralSizes();
    return true;
}

void SorvaneProcessor::configureSpectralSizes() {
    if (models.empty()) {
        setSizes(0, 0, 0);
        return;
    }
    double octaves = 0.0;
    if (inputFormat.isSet() && modelInputFormat.isSet())
        octaves = std::ceil(std::log(inputFormat.sampleRate / modelOutputFormat.sampleRate) /
                            std::log(2.0));
    // A ratio of 0 scales all sizes to 0; one of two infinite rates is that of equal ones.
    const double scale = std::isnan(octaves) ? 1.0 : std::pow(2.0, octaves);
    const NeuralModel<float>& first = models.front();
    setSizes(scaleSize(first.fftLength, scale), scaleSize(first.frameLength, scale),
             scaleSize(first.hop, scale));
}

int SorvaneProcessor::getLatency(int blockSize) {
    int maxFrames = models.empty() ? 0 : models.front().latencyFrames;
    for (const NeuralModel<float>& model : models)
        maxFrames = std::max(maxFrames, model.latencyFrames);
    return wrappingAdd(wrappingMultiply(hop, maxFrames),
                       BaseSpectralProcessor::getLatency(blockSize));
}

void SorvaneProcessor::reset() {
    BaseSpectralProcessor::reset();
    pendingFrames.clear();
    for (RecycledList<ComplexSignal32>& queue : busQueues)
        queue.clear();
    for (NeuralModel<float>& model : models)
        model.reset();
}

int SorvaneProcessor::getNumOfOutputBusses(bool includeResidual) const {
    return static_cast<int>(includeResidual ? outputBusNames.size() : numQueues());
}

const std::string& SorvaneProcessor::getOutputBusName(int index) const {
    static const std::string empty;
    const auto size = static_cast<std::int64_t>(outputBusNames.size());
    const std::int64_t position = ((index % (size + 1)) + size + 1) % (size + 1);
    return position == size ? empty : outputBusNames[static_cast<std::size_t>(position)];
}

} // namespace sorvane
