#pragma once

#include "audio/signal.h"

#include <functional>

namespace sorvane {

/// Converts between packed samples, as files and pipes hold them, and floats of full scale 1.
///
///   code  bytes  packed                          full scale
///   0     1      unsigned, silence at 127        128
///   1     1      signed                          128
///   2     2      signed                          32768
///   3     3      signed                          2^23
///   4     4      signed                          2^31
///   5     4      float                           1
///   6     8      double                          1
///
/// Integers are limited to their range and rounded to the nearest, ties to even; NaN becomes
/// silence. 24 bits are the top bits of the 32-bit value. Nothing is dithered.
///
/// Choose a format with select() or selectByBits(), then call reader and writer;
/// std::bad_function_call before. `stride` counts samples on the packed side: the channel count for one channel of an
/// interleaved stream, from its first sample on. Packed data need no alignment. A count below 1 does
/// nothing.
///
/// Threads: reader and writer keep no state. Real time: no allocation, lock or file access.
struct SampleFormat {
    /// Sets all members; an unknown code sets bytesPerSample to 0 and leaves reader and writer.
    /// Byte order applies to samples of more than one byte.
    void select(int code, bool isBigEndian);

    /// Selects the integer format of so many bits, rounded up to bytes: unsigned for one byte,
    /// signed for two to four. False, and nothing changes, for others. Only tests call it.
    bool selectByBits(int bits, bool isBigEndian);

    /// Fills all channels of `destination` from interleaved frames of as many samples. Only tests
    /// call it.
    void readInterleaved(const void* source, Signal32& destination) const;

    int formatCode = 0;
    bool bigEndian = false;
    int bytesPerSample = 0; // 0 until a format is selected
    std::function<void(const void* source, float* destination, int count, int stride)> reader;
    std::function<void(const float* source, void* destination, int count, int stride)> writer;
};

} // namespace sorvane
