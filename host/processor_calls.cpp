#include "processor.h"
#include "status.h"

#include "sorvane_engine.h"

#include <algorithm>
#include <cmath>
#include <cstring>

using sorvane::host::fail;
using sorvane::host::guarded;
using sorvane::host::Input;
using sorvane::host::Output;
using sorvane::host::require;
using Mode = SorvaneHostProcessor::Mode;

namespace {

constexpr const char* nullPointer = "a pointer is null";
constexpr const char* negativeCount = "a count of samples is negative";

void requireProcessor(const SorvaneHostProcessor* processor) {
    require(processor != nullptr, "the processor is null");
}

SorvaneHostStatus create(const SorvaneHostModel* model, int numChannels, double sampleRate,
                         Mode mode, SorvaneHostProcessor** processor) {
    return guarded([&] {
        require(model != nullptr && processor != nullptr, nullPointer);
        *processor = new SorvaneHostProcessor(*model, numChannels, sampleRate, mode);
    });
}

/// Runs what moves audio: a failure of it counts, one of the arguments doesn't.
template <typename Work>
SorvaneHostStatus guardedAudio(SorvaneHostProcessor* processor, const Work& work) noexcept {
    const SorvaneHostStatus status = guarded(work);
    if (status != SORVANE_HOST_OK && status != SORVANE_HOST_BAD_ARGUMENT)
        processor->countFailure();
    return status;
}

void requireStream(const SorvaneHostProcessor* processor) {
    requireProcessor(processor);
    require(processor->stream.has_value(), "the processor runs in blocks, not as a stream");
}

void requireChannels(const SorvaneHostProcessor& processor, const float* const* channels) {
    require(channels != nullptr, nullPointer);
    require(std::none_of(channels, channels + processor.info.numChannels,
                         [](const float* row) { return row == nullptr; }),
            nullPointer);
}

/// Tests the host's memory for `count` samples.
template <typename Sample>
void requireAudio(const SorvaneHostProcessor& processor,
                  const sorvane::host::AudioView<Sample>& audio, bool isPlanar, int count) {
    require(count >= 0, negativeCount);
    if (count == 0)
        return;
    if (isPlanar)
        requireChannels(processor, audio.rows);
    else
        require(audio.interleaved != nullptr, nullPointer);
}

SorvaneHostStatus push(SorvaneHostProcessor* processor, const Input& input, bool isPlanar,
                       int count) {
    return guardedAudio(processor, [&] {
        requireStream(processor);
        requireAudio(*processor, input, isPlanar, count);
        processor->stream->push(input, count, processor->blend());
    });
}

SorvaneHostStatus pull(SorvaneHostProcessor* processor, const Output& output, bool isPlanar,
                       int capacity, int* count) {
    return guardedAudio(processor, [&] {
        require(count != nullptr, nullPointer);
        *count = 0;
        requireStream(processor);
        requireAudio(*processor, output, isPlanar, capacity);
        *count = processor->stream->pull(output, capacity, processor->blend());
    });
}

SorvaneHostStatus process(SorvaneHostProcessor* processor, const Input& input, const Output& output,
                          bool isPlanar, int count) {
    return guardedAudio(processor, [&] {
        requireProcessor(processor);
        require(processor->blocks.has_value(), "the processor runs as a stream, not in blocks");
        requireAudio(*processor, input, isPlanar, count);
        requireAudio(*processor, output, isPlanar, count);
        processor->blocks->process(input, output, count, processor->blend());
    });
}

void setGain(const SorvaneHostProcessor& processor, int bus, float gain) {
    processor.requireSteered(bus);
    require(gain >= 0.0F && gain <= 100.0F, "a gain is from 0 to 100");
    sorvaneSetParameterValue(processor.engine.get(), SORVANE_BUS_GAIN + bus, gain);
}

bool isSteered(const SorvaneHostProcessor* processor, int bus) {
    return processor != nullptr && bus >= 0 && bus < SorvaneHostProcessor::mostSteeredBusses;
}

void requireTwoBusses(const SorvaneHostProcessor& processor) {
    if (processor.info.numBusses != 2)
        fail(SORVANE_HOST_NO_BUS,
             "the model has " + std::to_string(processor.info.numBusses) + " busses, not two");
}

void isolate(const SorvaneHostProcessor& processor, int bus) {
    if (processor.info.numBusses > SorvaneHostProcessor::mostSteeredBusses)
        fail(SORVANE_HOST_NO_BUS,
             "busses past the sixteenth can't be silenced, and this model has " +
                 std::to_string(processor.info.numBusses));
    processor.requireSteered(bus);
    for (int other = 0; other < processor.info.numBusses; ++other)
        setGain(processor, other, other == bus ? 1.0F : 0.0F);
}

} // namespace

SorvaneHostStatus sorvaneHostCreateStream(const SorvaneHostModel* model, int numChannels,
                                          double sampleRate, SorvaneHostProcessor** processor) {
    return create(model, numChannels, sampleRate, Mode::stream, processor);
}

SorvaneHostStatus sorvaneHostCreateBlocks(const SorvaneHostModel* model, int numChannels,
                                          double sampleRate, SorvaneHostProcessor** processor) {
    return create(model, numChannels, sampleRate, Mode::blocks, processor);
}

void sorvaneHostDeleteProcessor(SorvaneHostProcessor* processor) {
    delete processor;
}

SorvaneHostStatus sorvaneHostGetProcessorInfo(const SorvaneHostProcessor* processor,
                                              SorvaneHostProcessorInfo* info, size_t infoSize) {
    return guarded([&] {
        requireProcessor(processor);
        require(info != nullptr, nullPointer);
        std::memcpy(info, &processor->info, std::min(infoSize, sizeof *info));
    });
}

SorvaneHostStatus sorvaneHostReset(SorvaneHostProcessor* processor) {
    return guardedAudio(processor, [&] {
        requireProcessor(processor);
        if (processor->stream)
            processor->stream->reset();
        else
            processor->blocks->reset();
    });
}

int sorvaneHostGetNumFailures(const SorvaneHostProcessor* processor) {
    return processor != nullptr ? processor->numFailures.load() : 0;
}

const char* sorvaneHostProcessorError(const SorvaneHostProcessor* processor) {
    return processor != nullptr ? processor->error.data() : "";
}

SorvaneHostStatus sorvaneHostPush(SorvaneHostProcessor* stream, const float* const* channels,
                                  int numSamples) {
    return push(stream, {channels, nullptr}, true, numSamples);
}

SorvaneHostStatus sorvaneHostPushInterleaved(SorvaneHostProcessor* stream, const float* samples,
                                             int numSamples) {
    return push(stream, {nullptr, samples}, false, numSamples);
}

int sorvaneHostGetNumAvailable(const SorvaneHostProcessor* stream) {
    return stream != nullptr && stream->stream ? stream->stream->available() : 0;
}

SorvaneHostStatus sorvaneHostPull(SorvaneHostProcessor* stream, float* const* channels,
                                  int capacity, int* numSamples) {
    return pull(stream, {channels, nullptr}, true, capacity, numSamples);
}

SorvaneHostStatus sorvaneHostPullInterleaved(SorvaneHostProcessor* stream, float* samples,
                                             int capacity, int* numSamples) {
    return pull(stream, {nullptr, samples}, false, capacity, numSamples);
}

SorvaneHostStatus sorvaneHostFinish(SorvaneHostProcessor* stream) {
    return guardedAudio(stream, [&] {
        requireStream(stream);
        stream->stream->finish();
    });
}

SorvaneHostStatus sorvaneHostProcess(SorvaneHostProcessor* blocks, const float* const* inputs,
                                     float* const* outputs, int numSamples) {
    return process(blocks, {inputs, nullptr}, {outputs, nullptr}, true, numSamples);
}

SorvaneHostStatus sorvaneHostProcessInterleaved(SorvaneHostProcessor* blocks, const float* input,
                                                float* output, int numSamples) {
    return process(blocks, {nullptr, input}, {nullptr, output}, false, numSamples);
}

const char* sorvaneHostGetBusName(const SorvaneHostProcessor* processor, int bus) {
    return processor != nullptr && bus >= 0 && bus < processor->info.numBusses
               ? processor->busNames[static_cast<std::size_t>(bus)].c_str()
               : nullptr;
}

SorvaneHostStatus sorvaneHostFindBus(const SorvaneHostProcessor* processor,
                                     const char* nameOrNumber, int* bus) {
    return guarded([&] {
        requireProcessor(processor);
        require(nameOrNumber != nullptr && bus != nullptr, nullPointer);
        *bus = processor->findBus(nameOrNumber);
    });
}

SorvaneHostStatus sorvaneHostSetGain(SorvaneHostProcessor* processor, int bus, float gain) {
    return guarded([&] {
        requireProcessor(processor);
        setGain(*processor, bus, gain);
    });
}

SorvaneHostStatus sorvaneHostSetGainDecibels(SorvaneHostProcessor* processor, int bus,
                                             float decibels) {
    return guarded([&] {
        requireProcessor(processor);
        require(decibels <= 40.0F, "a gain is at most 40 dB");
        setGain(*processor, bus, std::pow(10.0F, decibels / 20.0F));
    });
}

float sorvaneHostGetGain(const SorvaneHostProcessor* processor, int bus) {
    return isSteered(processor, bus)
               ? sorvaneGetParameterValue(processor->engine.get(), SORVANE_BUS_GAIN + bus)
               : 1.0F;
}

SorvaneHostStatus sorvaneHostSetSensitivity(SorvaneHostProcessor* processor, int bus,
                                            float sensitivity) {
    return guarded([&] {
        requireProcessor(processor);
        processor->requireSteered(bus);
        require(sensitivity >= -100.0F && sensitivity <= 100.0F,
                "a sensitivity is from -100 to 100");
        sorvaneSetParameterValue(processor->engine.get(), SORVANE_BUS_SENSITIVITY + bus,
                                 sensitivity);
    });
}

float sorvaneHostGetSensitivity(const SorvaneHostProcessor* processor, int bus) {
    return isSteered(processor, bus)
               ? sorvaneGetParameterValue(processor->engine.get(), SORVANE_BUS_SENSITIVITY + bus)
               : 0.0F;
}

SorvaneHostStatus sorvaneHostSetRemainder(SorvaneHostProcessor* processor, float decibels) {
    return guarded([&] {
        requireProcessor(processor);
        requireTwoBusses(*processor);
        require(decibels >= -96.0F && decibels <= 0.0F, "a remainder's level is from -96 to 0 dB");
        sorvaneSetParameterValue(processor->engine.get(), SORVANE_REMAINDER_LEVEL, decibels);
    });
}

SorvaneHostStatus sorvaneHostIsolateBus(SorvaneHostProcessor* processor, int bus) {
    return guarded([&] {
        requireProcessor(processor);
        isolate(*processor, bus);
    });
}

SorvaneHostStatus sorvaneHostSilenceNoise(SorvaneHostProcessor* processor) {
    return guarded([&] {
        requireProcessor(processor);
        requireTwoBusses(*processor);
        isolate(*processor, 0);
    });
}

SorvaneHostStatus sorvaneHostSetAmount(SorvaneHostProcessor* processor, float amount) {
    return guarded([&] {
        requireProcessor(processor);
        require(amount >= 0.0F && amount <= 1.0F, "an amount is from 0 to 1");
        processor->amount = amount;
    });
}

float sorvaneHostGetAmount(const SorvaneHostProcessor* processor) {
    return processor != nullptr ? processor->amount.load() : 1.0F;
}

SorvaneHostStatus sorvaneHostSetInverted(SorvaneHostProcessor* processor, bool inverted) {
    return guarded([&] {
        requireProcessor(processor);
        processor->isInverted = inverted;
    });
}
