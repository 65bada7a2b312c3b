#pragma once

#include "audio/signal.h"

namespace sorvane {

/// Real transform of whole signals, row by row. Built at first use for the length that arrives, and
/// rebuilt only when the length changes. Neither direction scales: forward then inverse gives N
/// times the input. For a length that isn't a power of two only the largest power of two below it
/// takes part, and what the transform doesn't write is 0. The null-pointer error
/// without memory for the transform. Threads: one at a time. Real time: allocates when the length
/// changes, and results that aren't given.
class FFT32 {
public:
    FFT32() = default;
    FFT32(const FFT32&) = delete;
    FFT32& operator=(const FFT32&) = delete;
    ~FFT32();

    // Only tests call the two that make their results.

    /// N samples to N / 2 + 1 bins; the first and the last have imaginary part 0.
    ComplexSignal32 forward(const Signal32& input);

    /// L bins to N = 2 L - 2 samples, to none for fewer than two bins.
    Signal32 inverse(const ComplexSignal32& input);

    /// The same into a signal of the result's channels and length.
    void forward(const Signal32& input, ComplexSignal32& result);
    void inverse(const ComplexSignal32& input, Signal32& result);

    static int numBins(int length) { return length / 2 + 1; }
    static int numSamples(int bins) { return bins < 2 ? 0 : 2 * bins - 2; }

private:
    void rebuild(int length);

    IppsFFTSpec_R_32f* spec = nullptr;
    Ipp8u* specMemory = nullptr; // the three buffers are owned
    Ipp8u* workBuffer = nullptr;
    Ipp8u* initBuffer = nullptr;
    int size = 0; // N
    int order = 0;
};

} // namespace sorvane
