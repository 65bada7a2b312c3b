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

/// A size at the host's rate, ties to even. False for one that no stream can have.
bool scaleSize(int size, double scale, int& result) {
    const double scaled = std::nearbyint(size * scale);
    if (!(std::abs(scaled) <= std::numeric_limits<int>::max()))
        return false;
    result = static_cast<int>(scaled);
    return true;
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
    for (std::size_t i = 0; i < paths.size(); ++i)
        if (!loadModel(models[i], paths[i]))
            return false;
    busQueues.resize(numQueues());

    if (inputFormat.isSet() &&
        (!BaseSpectralProcessor::setFormats(inputFormat, inputFormat) || !configureSpectralSizes()))
        return false;
    if (models.size() >= 2)
        threadPool = std::make_unique<ThreadPool>(static_cast<int>(models.size()));
    return true;
}

bool SorvaneProcessor::loadModel(NeuralModel<float>& model, const std::string& path) {
    if (!loadModelFile(model, path.c_str()))
        return false;
    // Tensors may go through such a network, but no audio has fewer channels than none.
    if (model.numInputChannels < 0 || model.numOutputChannels < 0)
        return false;
    // As long as no model had a frame length, the next one sets both sizes.
    for (const NeuralModel<float>* other = models.data(); other != &model; ++other) {
        if (other->frameLength == 0)
            continue;
        if (model.frameLength != other->frameLength || model.hop != other->hop)
            return false;
        break;
    }
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
    return modelInputFormat.isSet() && modelOutputFormat.isSet() &&
           BaseSpectralProcessor::setFormats(input, output) && configureSpectralSizes();
}

bool SorvaneProcessor::configureSpectralSizes() {
    double octaves = 0.0;
    if (inputFormat.isSet() && modelInputFormat.isSet() && !models.empty())
        octaves = std::ceil(std::log(inputFormat.sampleRate / modelOutputFormat.sampleRate) /
                            std::log(2.0));
    if (!std::isfinite(octaves))
        return false;

    const double scale = std::pow(2.0, octaves);
    const NeuralModel<float> none;
    const NeuralModel<float>& first = models.empty() ? none : models.front();
    int scaledLength = 0;
    int scaledFrame = 0;
    int scaledHop = 0;
    if (!scaleSize(first.fftLength, scale, scaledLength) ||
        !scaleSize(first.frameLength, scale, scaledFrame) ||
        !scaleSize(first.hop, scale, scaledHop))
        return false;
    // Frames that never move on, or that are longer than their transform, can't run.
    if (scaledFrame > 0 && (scaledHop < 1 || scaledLength < scaledFrame))
        return false;
    setSizes(scaledLength, scaledFrame, scaledHop);
    return true;
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
