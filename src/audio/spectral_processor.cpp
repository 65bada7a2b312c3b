#include "audio/spectral_processor.h"

#include "audio/windows.h"
#include "support/vector_rows.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace sorvane {

namespace {

/// `count` samples of `signal` from `offset` on. Sizes that don't fit each other (a hop longer than
/// half the frame, a transform of odd length) reach outside the signal, where there is silence.
Signal32 slice(const Signal32& signal, std::int64_t offset, int count) {
    if (offset == 0 && count == signal.length)
        return signal;
    Signal32 part(signal.channels, count);
    if (offset >= 0 && count <= signal.length - offset) {
        signal.extract(static_cast<int>(offset), part);
        return part;
    }
    part.fill(0.0F);
    const auto start = std::max<std::int64_t>(offset, 0);
    const auto end = std::min<std::int64_t>(offset + count, signal.length);
    if (start < end)
        part.copyRange(static_cast<int>(start - offset), signal, static_cast<int>(start),
                       static_cast<int>(end));
    return part;
}

/// Samples of a frame from `start` on.
struct Part {
    Signal32 frame;
    int start;

    /// Null for a row that the frame lacks.
    [[nodiscard]] const float* row(int channel) const {
        return channel < frame.channels && frame.row(channel) ? frame.row(channel) + start
                                                              : nullptr;
    }
};

/// Lets go of a frame's first hop of a queue at the end of a scope, also when the frame fails.
class HopGuard {
public:
    HopGuard(AudioQueue& audioQueue, int hopLength) : queue(audioQueue), hop(hopLength) {}
    HopGuard(const HopGuard&) = delete;
    HopGuard& operator=(const HopGuard&) = delete;
    ~HopGuard() { queue.discard(hop); }

private:
    AudioQueue& queue;
    int hop;
};

} // namespace

void BaseSpectralProcessor::setSizes(int newFftLength, int newFrameLength, int newHop) {
    fftLength = newFftLength;
    frameLength = newFrameLength;
    hop = newHop;
    makeWindows();
    reset();
}

void BaseSpectralProcessor::makeWindows() {
    if (!outputFormat.isSet())
        return;
    const bool shortOverlap = frameLength < std::int64_t{3} * hop;
    tailHops = shortOverlap ? 0 : 1;
    if (frameLength <= 0 || !canRun())
        return; // no frame is ever windowed
    if (shortOverlap) {
        analysisWindow = sqrtHann(inputFormat.numChannels(), frameLength);
        synthesisWindow = sqrtHann(outputFormat.numChannels(), frameLength)
                              .scale(1.0F / static_cast<float>(fftLength));
    } else {
        // A short window in the middle of the frame, where it cancels the long analysis window. The
        // scale is the frame's length: with a longer transform the result is louder by their ratio.
        analysisWindow = hann(1, frameLength);
        synthesisWindow = Signal32(1, frameLength, 0.0F);
        synthesisWindow.insert((frameLength - 2 * hop) / 2, hann(1, 2 * hop));
        synthesisWindow.divide(analysisWindow.scale(static_cast<float>(frameLength)));
        analysisWindow = analysisWindow.replicate(inputFormat.numChannels());
        synthesisWindow = synthesisWindow.replicate(outputFormat.numChannels());
    }
}

int BaseSpectralProcessor::getLatency(int blockSize) {
    const bool wholeHops = hop != 0 && blockSize % hop == 0;
    return static_cast<int>((tailHops + overlapCount - (wholeHops ? 1 : 0)) * std::int64_t{hop});
}

/// Silence at the start of a stream, so that its first samples meet whole frames.
int BaseSpectralProcessor::primingLength() const {
    if (frameLength <= 0 || hop <= 0)
        return 0;
    const std::int64_t length = frameLength - (tailHops + 1) * std::int64_t{hop};
    return static_cast<int>(std::max(length, std::int64_t{0}));
}

void BaseSpectralProcessor::reset() {
    outputFrames.clear();
    inputQueue.clear();
    if (inputFormat.isSet())
        inputQueue.add(Signal32(inputFormat.numChannels(), primingLength(), 0.0F));
}

void BaseSpectralProcessor::process(Signal32& output, const Signal32& input) {
    if (frameLength <= 0) {
        output = input;
        return;
    }
    inputQueue.add(input);
    while (inputQueue.pending() >= frameLength)
        processFrame();

    const std::int64_t numHops = std::max(
        static_cast<std::int64_t>(outputFrames.size()) - overlapCount + 1, std::int64_t{0});
    requireSize(numHops * hop, std::numeric_limits<int>::max());
    output = outputs.take(outputFormat.numChannels(), static_cast<int>(numHops) * hop);
    for (int k = 0; k < static_cast<int>(numHops); ++k) {
        sumOldestHop(output, hop * k);
        frames.give(outputFrames.take_front());
    }
    outputs.giveWhenFree(output);
}

void BaseSpectralProcessor::sumOldestHop(Signal32& output, int offset) const {
    const auto partOf = [&](const Signal32& frame, int age) {
        const std::int64_t position = frameLength - (tailHops + age + 1) * std::int64_t{hop};
        const bool inside = position >= 0 && hop <= frame.length - position;
        return inside ? Part{frame, static_cast<int>(position)}
                      : Part{slice(frame, position, hop), 0};
    };
    const Part older = partOf(outputFrames.front(), 0);
    const Part newer = partOf(*std::next(outputFrames.begin()), 1);
    for (int c = 0; c < output.channels; ++c) {
        const float* a = older.row(c);
        const float* b = newer.row(c);
        float* sum = output.channelData(c) + offset;
        if (a && b)
            check(ippsAdd_32f(a, b, sum, hop));
        else if (a || b)
            copyElements(a ? a : b, sum, hop);
        else // frames of a stage that gave nothing
            zeroElements(sum, hop);
    }
}

/// The oldest frame of the queue, windowed, with zeros in front up to the transform's length.
Signal32 BaseSpectralProcessor::takeFrame() {
    const HopGuard guard(inputQueue, std::max(hop, 0));
    requireShape(canRun());
    const int padding = fftLength - frameLength;
    Signal32 frame = frames.take(std::max(inputQueue.channels(), 0), fftLength);
    frame.fill(0.0F, 0, padding);
    inputQueue.readTimes(windowRow(analysisWindow), frame, padding, frameLength);
    return frame;
}

/// The values of a window, whose rows are all the same. Null where there is none yet.
const float* BaseSpectralProcessor::windowRow(const Signal32& window) const {
    requireShape(window.isEmpty() || window.length == frameLength);
    return window.row(0);
}

void BaseSpectralProcessor::processFrame() {
    Signal32 frame = takeFrame();
    ComplexSignal32 spectrum = spectra.take(frame.channels, FFT32::numBins(frame.length));
    fft.forward(frame, spectrum);
    frames.give(std::move(frame));
    stageResults.clear(); // of a frame that failed
    processSpectrum(spectrum, stageResults);
    while (!stageResults.empty()) {
        ComplexSignal32 result = stageResults.take_front();
        outputFrames.push_back(finish(result), maxSignalsInList);
        if (!result.isShared()) // it may be the spectrum, which is given once
            spectra.give(std::move(result));
    }
    spectra.giveWhenFree(spectrum); // the stage may have kept it
}

/// The windowed frame of samples that a spectrum stands for.
Signal32 BaseSpectralProcessor::finish(const ComplexSignal32& spectrum) {
    const float* window = windowRow(synthesisWindow);
    Signal32 time = frames.take(spectrum.channels, FFT32::numSamples(spectrum.length));
    fft.inverse(spectrum, time);
    const int padding = fftLength - frameLength;
    Signal32 frame;
    if (padding == 0 && time.length == frameLength) {
        std::swap(frame, time);
    } else if (padding >= 0 && frameLength <= time.length - padding) {
        frame = frames.take(time.channels, frameLength);
        for (int c = 0; c < frame.channels; ++c)
            copyElements(time.row(c) + padding, frame.channelData(c), frameLength);
    } else {
        frame = slice(time, padding, frameLength);
    }
    frames.give(std::move(time));
    for (int c = 0; c < frame.channels; ++c) {
        float* row = frame.channelData(c);
        check(ippsMul_32f(row, window, row, frameLength));
    }
    return frame;
}

} // namespace sorvane
