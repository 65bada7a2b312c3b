#include "audio/spectral_processor.h"

#include "audio/windows.h"
#include "support/bounded_list.h"
#include "support/vector_status.h"

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
    overlapCount = 2;
    if (frameLength <= 0)
        return; // audio passes through
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
    requireShape(hop > 0);
    inputQueue.add(input);
    while (inputQueue.pending() >= frameLength) {
        const Signal32 frame = inputQueue.read(frameLength);
        inputQueue.discard(hop);
        std::list<Signal32> processed = processFrame(frame);
        requireRoom(outputFrames.size() + processed.size(), maxSignalsInList);
        outputFrames.splice(outputFrames.end(), processed);
    }

    const std::int64_t numHops = std::max(
        static_cast<std::int64_t>(outputFrames.size()) - overlapCount + 1, std::int64_t{0});
    requireSize(numHops * hop, std::numeric_limits<int>::max());
    output = Signal32(outputFormat.numChannels(), static_cast<int>(numHops) * hop);
    for (int k = 0; k < static_cast<int>(numHops); ++k) {
        const Signal32 sum = sumOldestHop();
        if (sum.isEmpty())
            output.fill(0.0F, hop * k, hop * (k + 1));
        else
            output.insert(hop * k, sum);
        outputFrames.pop_front();
    }
}

Signal32 BaseSpectralProcessor::sumOldestHop() const {
    Signal32 sum;
    auto node = outputFrames.begin();
    for (int j = 0; j < overlapCount; ++j, ++node) {
        const Signal32 part =
            slice(*node, frameLength - (tailHops + j + 1) * std::int64_t{hop}, hop);
        sum = sum.isEmpty() ? part : sum.add(part);
    }
    return sum;
}

std::list<Signal32> BaseSpectralProcessor::processFrame(const Signal32& frame) {
    Signal32 padded = frame.multiply(analysisWindow);
    const int padding = fftLength - frameLength;
    if (padding != 0) {
        const Signal32 windowed = padded;
        padded = Signal32(frame.channels, fftLength, 0.0F);
        padded.insert(padding, windowed);
    }

    std::list<Signal32> result;
    for (const ComplexSignal32& spectrum : processSpectrum(fft.forward(padded)))
        result.push_back(
            slice(fft.inverse(spectrum), padding, frameLength).multiply(synthesisWindow));
    return result;
}

} // namespace sorvane
