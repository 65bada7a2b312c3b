#pragma once

#include "audio/audio_processor.h"
#include "audio/audio_queue.h"
#include "audio/block_pool.h"
#include "audio/fft.h"
#include "audio/signal_pool.h"
#include "support/recycled_list.h"

namespace sorvane {

/// Makes a streaming audio processor of a frequency-domain stage: cuts the input into overlapping
/// frames, windows, zero-pads and transforms them, hands each spectrum to processSpectrum(), and
/// overlap-adds what comes back. Output comes in whole hops, possibly none.
///
/// A spectrum has a row per channel and fftLength / 2 + 1 bins, unscaled: its first bin is the sum
/// of the windowed samples. All work runs on the thread that calls process(); no call may overlap
/// another. Without sizes (a frame length of 0) audio passes through.
class BaseSpectralProcessor : public BaseAudioProcessor {
public:
    /// Stores the sizes in samples at the host's rate, makes the windows and resets. Sizes that
    /// can't run, a hop below 1 or a transform shorter than the frame, raise the size error at every
    /// full frame.
    void setSizes(int newFftLength, int newFrameLength, int newHop);

    /// Samples from an input to its output: fewer by a hop when blocks are whole multiples of it.
    int getLatency(int blockSize) override;
    void reset() override;

    /// The output's block is used again once nobody else has it. Exceptions of the stage pass
    /// through; the frame in progress is then lost.
    void process(Signal32& output, const Signal32& input) override;

protected:
    /// Takes a spectrum of the input channels; appends zero or more of the output channels to
    /// `results`, which is empty, in order.
    virtual void processSpectrum(const ComplexSignal32& frame,
                                 RecycledList<ComplexSignal32>& results) = 0;

    /// Makes both windows for the sizes and formats; nothing without a set output format, or for
    /// sizes that can't run.
    virtual void makeWindows();

    int fftLength = 0;
    int frameLength = 0;
    int hop = 0;
    int tailHops = 0; // hops of a processed frame's end that lie beyond the part that is used
    static constexpr int overlapCount = 2; // frames that are summed into one hop of output

    /// Blocks for spectra; those that processSpectrum() gives go back there when they were used.
    SignalPool<ComplexSignal32> spectra;

private:
    /// Whether frames move on and fit their transform.
    [[nodiscard]] bool canRun() const { return hop > 0 && fftLength >= frameLength; }

    /// Runs the oldest frame of the queue, and appends what comes back to outputFrames.
    void processFrame();
    Signal32 takeFrame();
    Signal32 finish(const ComplexSignal32& spectrum);

    [[nodiscard]] int primingLength() const;
    [[nodiscard]] const float* windowRow(const Signal32& window) const;

    /// Writes the hop that is complete with the oldest `overlapCount` frames to samples from
    /// `offset` on.
    void sumOldestHop(Signal32& output, int offset) const;

    Signal32 analysisWindow;  // a row per input channel, frameLength samples
    Signal32 synthesisWindow; // a row per output channel, frameLength samples
    FFT32 fft;
    RecycledList<Signal32> outputFrames; // processed, oldest first
    AudioQueue inputQueue;
    RecycledList<ComplexSignal32> stageResults; // of the frame in progress
    SignalPool<Signal32> frames;
    BlockPool outputs; // what process() gave
};

} // namespace sorvane
