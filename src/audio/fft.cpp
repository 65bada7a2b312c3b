#include "audio/fft.h"

#include "support/vector_rows.h"

namespace sorvane {

namespace {

/// Null only for a size of 0.
Ipp8u* takeBuffer(int size) {
    Ipp8u* const buffer = ippsMalloc_8u(size);
    if (size > 0)
        requireMemory(buffer);
    return buffer;
}

} // namespace

FFT32::~FFT32() {
    ippsFree(specMemory);
    ippsFree(workBuffer);
    ippsFree(initBuffer);
}

void FFT32::rebuild(int length) {
    ippsFree(specMemory);
    ippsFree(workBuffer);
    ippsFree(initBuffer);
    spec = nullptr;
    specMemory = workBuffer = initBuffer = nullptr;
    size = length;
    order = 0;
    for (int half = length; half > 1; half >>= 1)
        ++order;

    // The statuses need no look: a transform that isn't there does nothing.
    int specSize = 0;
    int initSize = 0;
    int workSize = 0;
    ippsFFTGetSize_R_32f(order, IPP_FFT_NODIV_BY_ANY, ippAlgHintFast, &specSize, &initSize,
                         &workSize);
    specMemory = takeBuffer(specSize);
    workBuffer = takeBuffer(workSize);
    initBuffer = takeBuffer(initSize);
    ippsFFTInit_R_32f(&spec, order, IPP_FFT_NODIV_BY_ANY, ippAlgHintFast, specMemory, initBuffer);
}

ComplexSignal32 FFT32::forward(const Signal32& input) {
    ComplexSignal32 result(input.channels, numBins(input.length));
    forward(input, result);
    return result;
}

Signal32 FFT32::inverse(const ComplexSignal32& input) {
    Signal32 result(input.channels, numSamples(input.length));
    inverse(input, result);
    return result;
}

void FFT32::forward(const Signal32& input, ComplexSignal32& result) {
    if (!spec || input.length != size)
        rebuild(input.length);
    const bool ready = spec && input.length > 0;
    result.fill(0.0F, ready ? (1 << order) / 2 + 1 : 0);
    for (int c = 0; ready && c < input.channels; ++c)
        ippsFFTFwd_RToCCS_32f(input.row(c), reinterpret_cast<float*>(result.channelData(c)), spec,
                              workBuffer);
}

void FFT32::inverse(const ComplexSignal32& input, Signal32& result) {
    if (input.length < 2)
        return;
    if (!spec || input.length != size / 2 + 1)
        rebuild(2 * input.length - 2);
    result.fill(0.0F, spec ? 1 << order : 0);
    for (int c = 0; spec && c < input.channels; ++c)
        ippsFFTInv_CCSToR_32f(reinterpret_cast<const float*>(input.row(c)), result.channelData(c),
                              spec, workBuffer);
}

} // namespace sorvane
