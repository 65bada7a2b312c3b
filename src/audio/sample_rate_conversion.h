#pragma once

#include "audio/audio_processor.h"
#include "audio/audio_queue.h"

#include <atomic>
#include <mutex>

namespace sorvane {

/// Changes the sample rate of a stream by any ratio; the channel count stays. A polyphase
/// interpolator: rows of a sinc under a Gaussian window, for positions 1/64 sample apart, between
/// which it interpolates linearly. All arithmetic is in double precision. At equal rates finite
/// samples pass unchanged.
///
/// The first output sample stands at the time of the first input sample, and a stream gives about
/// its length times output rate over input rate, less a constant that further input (of silence, at the
/// end) brings out. Blocks may be of any length; how much one gives depends on the position.
///
/// Rates outside what can be computed give no audio: without a finite ratio above 0 process()
/// returns empty signals, and a filter of no taps gives silence.
///
/// Threads: process(), reset() and setFormats() may come from different threads, one waits for the
/// other. Real time: process() takes the lock and allocates; it evaluates no sine or exponential.
class SampleRateConversion : public BaseAudioProcessor {
public:
    /// Stores the formats, makes the filters and restarts the stream, also when nothing changed.
    /// False, and nothing changes, when the formats *stored so far* differ in their channel counts:
    /// a pair with different counts is taken once and refuses all that follow.
    bool setFormats(const AudioFormat& input, const AudioFormat& output) override;

    /// Half the filter and one sample, at the input rate.
    int getLatency(int blockSize) override;

    void reset() override;

    /// Takes a block of the input format's channels (the size error otherwise, before anything is
    /// touched). The size error too where what is queued, or what it gives, is more than a block of
    /// the vector layer holds in double precision: 268 million samples of one channel.
    void process(Signal32& output, const Signal32& input) override;

protected:
    std::recursive_mutex lock; // guards everything below
    float filterLengthMs = 1.5F;
    float cutoffPercent = 95.0F; // of the lower of the two Nyquist frequencies
    int numPhases = 64;          // a power of two
    bool interpolate = true;     // or take the lower row

private:
    void makeFilters();
    void resample(Signal64& result, const Signal64& block, double ratio);
    [[nodiscard]] double filterAt(std::int64_t index, const double* samples, int length) const;

    int phaseMask = 0;
    std::atomic<int> filterLength{0}; // taps of a row; atomic since getLatency() takes no lock
    int unityPhase = -1;              // the row that is a pure delay, or -1
    Signal64 filterBank;              // a channel per row
    AudioQueue inputQueue;
    double position = 0.0; // of the next output, in samples from the queue's first; below 1 between
                           // calls
};

} // namespace sorvane
