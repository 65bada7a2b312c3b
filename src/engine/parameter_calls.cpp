#include "engine/processor_state.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <string_view>

using sorvane::NeuralModel;
using sorvane::ProcessorState;
using sorvane::SorvaneProcessor;
using sorvane::stateOf;

namespace {

constexpr int familySize = 256;
constexpr int gainFamily = SORVANE_BUS_GAIN / familySize;
constexpr int sensitivityFamily = SORVANE_BUS_SENSITIVITY / familySize;
constexpr float minLevel = -96.0F; // dB
constexpr float maxSensitivity = 100.0F;
constexpr float maxGain = 100.0F; // of the reported range only

float linearOf(float decibels) {
    return static_cast<float>(std::pow(10.0, static_cast<double>(decibels / 20.0F)));
}

/// The value behind a per-bus parameter, or null.
std::atomic<float>* busParameter(SorvaneProcessor& processor, int id) {
    if (id == SORVANE_SENSITIVITY)
        return processor.busSensitivities.data();
    const int index = id % familySize;
    if (index < 0 || index >= SorvaneProcessor::maxParameterBusses)
        return nullptr;
    if (id / familySize == gainFamily)
        return &processor.busGains[static_cast<std::size_t>(index)];
    if (id / familySize == sensitivityFamily)
        return &processor.busSensitivities[static_cast<std::size_t>(index)];
    return nullptr;
}

float remainderLevel(const SorvaneProcessor& processor) {
    const float floor = linearOf(minLevel);
    const float gain = processor.busGains[1].load();
    const float limited = floor > gain ? floor : std::min(1.0F, gain);
    return static_cast<float>(std::log10(static_cast<double>(limited)) * 20.0);
}

/// Fills a host's buffer with zeros and as much of a text as fits.
void writeText(std::string_view text, char* buffer, unsigned int bufferSize) {
    if (bufferSize == 0)
        return;
    std::memset(buffer, 0, bufferSize);
    std::memcpy(buffer, text.data(), std::min<std::size_t>(text.size(), bufferSize));
}

} // namespace

void ProcessorState::getParameterRange(int id, float* minValue, float* maxValue) {
    const int family = id / familySize;
    if (id == SORVANE_REMAINDER_LEVEL) {
        *minValue = minLevel;
        *maxValue = 0.0F;
    } else if (id == SORVANE_SENSITIVITY || family == sensitivityFamily) {
        *minValue = -maxSensitivity;
        *maxValue = maxSensitivity;
    } else if (family == gainFamily) {
        *minValue = 0.0F;
        *maxValue = maxGain;
    }
}

void sorvaneGetParameterRange(void* handle, int id, float* minValue, float* maxValue) {
    stateOf(handle).getParameterRange(id, minValue, maxValue);
}

float sorvaneGetParameterValue(void* handle, int id) {
    SorvaneProcessor& processor = stateOf(handle).processor;
    if (id == SORVANE_REMAINDER_LEVEL)
        return remainderLevel(processor);
    if (id == SORVANE_BAND_EXTENSION_OFF)
        return processor.bandExtension.load() == 0.0F ? 1.0F : 0.0F;
    const std::atomic<float>* parameter = busParameter(processor, id);
    return parameter ? parameter->load() : 0.0F;
}

void sorvaneSetParameterValue(void* handle, int id, float value) {
    SorvaneProcessor& processor = stateOf(handle).processor;
    if (std::isnan(value))
        return;
    if (id == SORVANE_REMAINDER_LEVEL) {
        processor.busGains[0].exchange(1.0F);
        processor.busGains[1].exchange(std::clamp(linearOf(value), 0.0F, 1.0F));
    } else if (std::atomic<float>* parameter = busParameter(processor, id)) {
        parameter->exchange(id / familySize == gainFamily
                                ? std::max(value, 0.0F)
                                : std::clamp(value, -maxSensitivity, maxSensitivity));
    }
}

int sorvaneGetNumOfOutputBusses(void* handle) {
    return stateOf(handle).processor.getNumOfOutputBusses(true);
}

void sorvaneGetOutputBusName(void* handle, int bus, char* buffer, unsigned int bufferSize) {
    writeText(stateOf(handle).processor.getOutputBusName(bus), buffer, bufferSize);
}

void sorvaneGetProcessorInfo(void* handle, SorvaneModelInfo* info) {
    SorvaneProcessor& processor = stateOf(handle).processor;
    info->sampleRate = 0.0;
    info->numChannels = info->lengthOrLatency = info->frameLength = info->hop = 0;
    if (processor.getModels().empty())
        return;
    const NeuralModel<float>& model = processor.getModels().front();
    info->sampleRate = model.sampleRate;
    info->numChannels = model.numInputChannels;
    info->lengthOrLatency = processor.getLatency(1);
    info->frameLength = model.frameLength;
    info->hop = model.hop;
}

void sorvaneGetVectorArithmeticWrapperName(char* buffer, unsigned int bufferSize) {
    writeText(ippName(), buffer, bufferSize);
}
