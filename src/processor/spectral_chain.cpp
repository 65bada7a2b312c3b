#include "processor/sorvane_processor.h"

#include "support/vector/spectral.h"
#include "support/vector_rows.h"

#include <algorithm>
#include <cmath>
#include <future>

namespace sorvane {

namespace {

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

/// Bends the magnitudes of masks by a sensitivity: x^g for g below 1, otherwise x times a raised
/// cosine of x to the power g - 1, which leaves 1 as it is and presses small values down. The phase
/// stays. At a sensitivity of 0 it would give the mask itself, but for rounding, and NaN where one
/// part of a value is infinite; callers use the mask. `bent` may be the mask itself, if nobody shares
/// its block.
void bend(const ComplexSignal32& mask, float sensitivity, ComplexSignal32& bent) {
    const auto g =
        static_cast<float>(std::pow(2.718281828459045, static_cast<double>(sensitivity * 0.0075F)));
    for (int c = 0; mask.length > 0 && c < mask.channels; ++c)
        check(vlBend_32fc(mask.row(c), bent.channelData(c), mask.length, g));
}

/// The row of `signal` that belongs to channel `channel`: a signal of one row serves all.
int rowFor(const ComplexSignal32& signal, int channel) {
    return signal.channels == 1 ? 0 : channel;
}

/// sum += signal * factor.
void addScaledRows(ComplexSignal32& sum, const ComplexSignal32& signal, float factor) {
    for (int c = 0; c < sum.channels; ++c)
        addScaled(reinterpret_cast<const float*>(signal.row(rowFor(signal, c))), factor,
                  reinterpret_cast<float*>(sum.channelData(c)), 2 * sum.length);
}

} // namespace

void SorvaneProcessor::processSpectrum(const ComplexSignal32& frame,
                                       RecycledList<ComplexSignal32>& results) {
    pendingFrames.push_back(frame, maxSignalsInList);
    const ComplexSignal32 modelFrame = adaptChannels(frame, modelInputFormat.numChannels());
    const bool extend = bandExtension.load() != 0.0F;
    for (NeuralModel<float>& model : models)
        model.extendBand = extend;
    runModels(modelFrame);

    while (canMakeFrame())
        results.push_back(makeFrame(), maxSignalsInList);
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
            RecycledList<ComplexSignal32>& queue =
                busQueues[firstBus + static_cast<std::size_t>(s)];
            if (step.channels == channels) {
                queue.push_back(step, maxSignalsInList);
                continue;
            }
            ComplexSignal32 mask = spectra.take(channels, step.length);
            for (int c = 0; c < channels; ++c)
                copyElements(step.row(s * channels + c), mask.channelData(c), step.length);
            queue.push_back(std::move(mask), maxSignalsInList);
        }
    }
}

bool SorvaneProcessor::canMakeFrame() const {
    return !pendingFrames.empty() &&
           std::none_of(busQueues.begin(), busQueues.end(),
                        [](const RecycledList<ComplexSignal32>& queue) { return queue.empty(); });
}

ComplexSignal32 SorvaneProcessor::makeFrame() {
    ComplexSignal32 input = pendingFrames.take_front();
    // A model without masks has nothing to apply: the frame is empty, and its audio silent.
    if (numQueues() == 0)
        return {};
    requireShape(input.channels >= outputFormat.numChannels());
    for (const RecycledList<ComplexSignal32>& queue : busQueues)
        requireShape(queue.front().length == input.length);
    ComplexSignal32 mix = models.front().outputMode != 0 ? mixSpectra(input) : mixMasks(input);
    for (RecycledList<ComplexSignal32>& queue : busQueues)
        recycle(queue.take_front());
    recycle(std::move(input));
    return mix;
}

/// A block that is still shared is used again by whoever else has it, a model or the pool itself.
void SorvaneProcessor::recycle(ComplexSignal32 signal) {
    if (!signal.isShared())
        spectra.give(std::move(signal));
}

/// The stems and what they leave of the input, by their gains.
ComplexSignal32 SorvaneProcessor::mixSpectra(const ComplexSignal32& input) {
    ComplexSignal32 mix = spectra.take(outputFormat.numChannels(), input.length);
    mixBusses(input, false, mix);
    return mix;
}

/// The input times the sum of the masks and of what they leave of 1, by their gains.
ComplexSignal32 SorvaneProcessor::mixMasks(const ComplexSignal32& input) {
    ComplexSignal32 mix = spectra.take(outputFormat.numChannels(), input.length);
    if (numQueues() == 1 && sensitivityOf(numQueues()) == 0.0F) {
        // One mask, the usual case, takes a single pass.
        const ComplexSignal32 mask = bentMask(0);
        const float gain = gainOf(0), remainderGain = gainOf(numQueues());
        for (int c = 0; c < mix.channels; ++c)
            check(vlApplyMask_32fc(mask.row(rowFor(mask, c)), gain, remainderGain, input.row(c),
                                   mix.channelData(c), mix.length));
        return mix;
    }
    // One row of weights serves all channels where the masks' channels aren't the host's.
    const int maskChannels = frontMask(0).channels;
    ComplexSignal32 ones = spectra.take(maskChannels, input.length);
    ComplexSignal32 weights = spectra.take(maskChannels, input.length);
    ones.fill(1.0F);
    mixBusses(ones, true, weights);
    for (int c = 0; c < mix.channels; ++c)
        check(ippsMul_32fc(weights.row(rowFor(weights, c)), input.row(c), mix.channelData(c),
                           mix.length));
    spectra.give(std::move(ones));
    spectra.give(std::move(weights));
    return mix;
}

/// Fills `mix` with the busses by their gains: those of the queues, and what their sum leaves of
/// `whole`. Each gain stands on its own term: a small term beside a large one doesn't vanish.
void SorvaneProcessor::mixBusses(const ComplexSignal32& whole, bool areMasks,
                                 ComplexSignal32& mix) {
    ComplexSignal32 sum = areMasks ? bentMask(0) : frontMask(0);
    for (int c = 0; mix.length > 0 && c < mix.channels; ++c)
        check(ippsMulC_32fc(sum.row(rowFor(sum, c)), gainOf(0), mix.channelData(c), mix.length));
    for (std::size_t bus = 1; bus < numQueues(); ++bus) {
        const ComplexSignal32 part = areMasks ? bentMask(bus) : frontMask(bus);
        addScaledRows(mix, part, gainOf(bus));
        ComplexSignal32 newSum = spectra.take(part.channels, part.length);
        for (int c = 0; part.length > 0 && c < part.channels; ++c)
            check(ippsAdd_32fc(sum.row(c), part.row(c), newSum.channelData(c), part.length));
        std::swap(sum, newSum);
        recycle(std::move(newSum));
    }
    ComplexSignal32 remainder = spectra.take(mix.channels, mix.length);
    for (int c = 0; mix.length > 0 && c < mix.channels; ++c)
        check(ippsSub_32fc(sum.row(rowFor(sum, c)), whole.row(c), remainder.channelData(c),
                           mix.length));
    recycle(std::move(sum));
    const float sensitivity = areMasks ? sensitivityOf(numQueues()) : 0.0F;
    if (sensitivity != 0.0F)
        bend(remainder, sensitivity, remainder);
    addScaledRows(mix, remainder, gainOf(numQueues()));
    spectra.give(std::move(remainder));
}

/// The oldest mask or stem of a bus, with the host's channels or with one for all of them.
ComplexSignal32 SorvaneProcessor::frontMask(std::size_t bus) {
    const ComplexSignal32& mask = busQueues[bus].front();
    return mask.channels == outputFormat.numChannels() ? mask : adaptChannels(mask, 1);
}

ComplexSignal32 SorvaneProcessor::bentMask(std::size_t bus) {
    const ComplexSignal32 mask = frontMask(bus);
    const float sensitivity = sensitivityOf(bus);
    if (sensitivity == 0.0F)
        return mask;
    ComplexSignal32 bent = spectra.take(mask.channels, mask.length);
    bend(mask, sensitivity, bent);
    spectra.giveWhenFree(bent);
    return bent;
}

float SorvaneProcessor::gainOf(std::size_t bus) const {
    return bus < busGains.size() ? busGains[bus].load() : 1.0F;
}

float SorvaneProcessor::sensitivityOf(std::size_t bus) const {
    return bus < busSensitivities.size() ? busSensitivities[bus].load() : 0.0F;
}

/// A signal of `channels` rows: the same when the count agrees, otherwise copies of the mean of all
/// rows. Below 2 channels the mean itself.
ComplexSignal32 SorvaneProcessor::adaptChannels(const ComplexSignal32& signal, int channels) {
    if (signal.channels == channels)
        return signal;
    ComplexSignal32 mono = signal;
    if (signal.channels > 1) {
        mono = spectra.take(1, signal.length);
        signal.sumChannels(mono);
        mono.multiply(1.0F / static_cast<float>(signal.channels));
        spectra.giveWhenFree(mono);
    }
    if (channels < 2)
        return mono;
    ComplexSignal32 result = spectra.take(channels, mono.length);
    for (int c = 0; c < channels; ++c)
        copyElements(mono.row(0), result.channelData(c), mono.length);
    spectra.giveWhenFree(result);
    return result;
}

} // namespace sorvane
