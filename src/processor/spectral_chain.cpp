#include "processor/sorvane_processor.h"

#include "support/bounded_list.h"
#include "support/vector_rows.h"

#include <algorithm>
#include <cmath>
#include <future>

namespace sorvane {

namespace {

using Complex = std::complex<float>;

/// Waits at the end of a scope for every job that was started, also when an exception ends it.
class JobGuard {
public:
    explicit JobGuard(std::vector<std::future<std::vector<ComplexSignal32>>>& jobs)
        : futures(jobs) {}
    JobGuard(const JobGuard&) = delete;
    JobGuard& operator=(const JobGuard&) = delete;
    ~JobGuard() {
        for (auto& future : futures)
            if (future.valid())
                future.wait();
    }

private:
    std::vector<std::future<std::vector<ComplexSignal32>>>& futures;
};

/// Bends magnitudes: x^g for g below 1, otherwise x times a raised cosine of x to the power g - 1,
/// which leaves 1 as it is and presses small values down.
void bendMagnitudes(float* magnitudes, int count, float g) {
    const auto exponent = static_cast<double>(g - 1.0F);
    for (int i = 0; i < count; ++i) {
        const float x = magnitudes[i];
        float weight = x + 1e-12F;
        if (!(g < 1.0F)) {
            const auto c = static_cast<float>(std::cos(static_cast<double>(x * 3.1415927F)));
            weight = 0.5F - c * 0.5F + 1e-12F;
        }
        magnitudes[i] = x * static_cast<float>(std::pow(static_cast<double>(weight), exponent));
    }
}

} // namespace

std::list<ComplexSignal32> SorvaneProcessor::processSpectrum(const ComplexSignal32& frame) {
    appendBounded(pendingFrames, frame, maxSignalsInList);
    const ComplexSignal32 modelFrame = adaptChannels(frame, modelInputFormat.numChannels());
    const bool extend = bandExtension.load() != 0.0F;
    for (NeuralModel<float>& model : models)
        model.extendBand = extend;
    runModels(modelFrame);

    std::list<ComplexSignal32> frames;
    while (canMakeFrame())
        frames.push_back(makeFrame());
    return frames;
}

void SorvaneProcessor::runModels(const ComplexSignal32& modelFrame) {
    std::size_t busIndex = 0;
    const auto distribute = [&](const NeuralModel<float>& model,
                                const std::vector<ComplexSignal32>& results) {
        distributeResults(busIndex, model.numMasks, results);
        busIndex += static_cast<std::size_t>(std::max(model.numMasks, 0));
    };
    if (!threadPool) {
        for (NeuralModel<float>& model : models)
            distribute(model, model.runModel(modelFrame));
        return;
    }

    std::vector<std::future<std::vector<ComplexSignal32>>> jobs;
    jobs.reserve(models.size());
    const JobGuard guard(jobs);
    for (NeuralModel<float>& model : models)
        jobs.push_back(
            threadPool->enqueue([&model, modelFrame] { return model.runModel(modelFrame); }));
    for (std::size_t i = 0; i < models.size(); ++i)
        distribute(models[i], jobs[i].get());
}

void SorvaneProcessor::distributeResults(std::size_t firstBus, int numMasks,
                                         const std::vector<ComplexSignal32>& results) {
    const int channels = modelOutputFormat.numChannels();
    for (const ComplexSignal32& step : results)
        requireSize(std::int64_t{numMasks} * channels, step.channels);
    for (const ComplexSignal32& step : results) {
        for (int s = 0; s < numMasks; ++s) {
            ComplexSignal32 mask(channels, step.length);
            for (int c = 0; c < channels; ++c)
                copyElements(step.row(s * channels + c), mask.channelData(c), step.length);
            appendBounded(busQueues[firstBus + static_cast<std::size_t>(s)], mask,
                          maxSignalsInList);
        }
    }
}

bool SorvaneProcessor::canMakeFrame() const {
    return !pendingFrames.empty() &&
           std::none_of(busQueues.begin(), busQueues.end(),
                        [](const std::list<ComplexSignal32>& queue) { return queue.empty(); });
}

ComplexSignal32 SorvaneProcessor::makeFrame() {
    const bool directMode = models.front().outputMode != 0;
    const std::size_t lastBus = numQueues();
    const ComplexSignal32 input = std::move(pendingFrames.front());
    pendingFrames.pop_front();

    ComplexSignal32 maskSum;
    ComplexSignal32 mix;
    for (std::size_t bus = 0; bus < lastBus; ++bus) {
        ComplexSignal32 m = adaptChannels(busQueues[bus].front(), outputFormat.numChannels());
        if (!directMode)
            m = applySensitivity(m, sensitivityOf(bus));
        ComplexSignal32 weighted = m.scaled(gainOf(bus));
        if (bus == 0) {
            maskSum = std::move(m);
            mix = std::move(weighted);
        } else {
            maskSum.add(m);
            mix.add(weighted);
        }
        busQueues[bus].pop_front();
    }
    // A model without masks has nothing to apply: the frame is empty, and its audio silent.
    if (maskSum.isEmpty())
        return mix;

    ComplexSignal32 remainder;
    if (directMode) {
        remainder = input.subtract(maskSum);
    } else {
        ComplexSignal32 ones(maskSum.channels, maskSum.length);
        ones.fill(1.0F);
        remainder = applySensitivity(ones.subtract(maskSum), sensitivityOf(lastBus));
    }
    remainder.multiply(Complex(gainOf(lastBus)));
    mix.add(remainder);
    if (!directMode)
        mix.multiply(input);
    return mix;
}

float SorvaneProcessor::gainOf(std::size_t bus) const {
    return bus < busGains.size() ? busGains[bus].load() : 1.0F;
}

float SorvaneProcessor::sensitivityOf(std::size_t bus) const {
    return bus < busSensitivities.size() ? busSensitivities[bus].load() : 0.0F;
}

ComplexSignal32 SorvaneProcessor::applySensitivity(const ComplexSignal32& mask,
                                                   float sensitivity) const {
    const auto g =
        static_cast<float>(std::pow(2.718281828459045, static_cast<double>(sensitivity * 0.0075F)));
    const int numRows = std::min(outputFormat.numChannels(), mask.channels);
    const int numBins = std::min(fftLength / 2 + 1, mask.length);
    ComplexSignal32 bent(mask.channels, mask.length);
    Signal32 magnitude(1, mask.length);
    Signal32 phase(1, mask.length);
    float* magnitudes = magnitude.channelData(0);
    float* phases = phase.channelData(0);
    for (int c = 0; mask.length > 0 && c < mask.channels; ++c) {
        check(ippsMagnitude_32fc(mask.row(c), magnitudes, mask.length));
        check(ippsPhase_32fc(mask.row(c), phases, mask.length));
        if (c < numRows)
            bendMagnitudes(magnitudes, numBins, g);
        check(ippsPolarToCart_32fc(magnitudes, phases, bent.channelData(c), mask.length));
    }
    return bent;
}

ComplexSignal32 adaptChannels(const ComplexSignal32& signal, int channels) {
    if (signal.channels == channels)
        return signal;
    ComplexSignal32 mono =
        signal.channels < 2
            ? signal
            : signal.sumChannels().scaled(1.0F / static_cast<float>(signal.channels));
    if (channels < 2)
        return mono;
    ComplexSignal32 result(channels, mono.length);
    for (int c = 0; c < channels; ++c)
        copyElements(mono.row(0), result.channelData(c), mono.length);
    return result;
}

} // namespace sorvane
