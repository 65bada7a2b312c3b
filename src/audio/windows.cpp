#include "audio/windows.h"

#include "support/vector_rows.h"

#include <cmath>

namespace sorvane {

namespace {

template <typename Shape>
Signal32 makeWindow(int channels, int length, Shape shape) {
    Signal32 window(1, length);
    float* row = window.channelData(0);
    const double step = 6.283185307179586 / length;
    if (length > 0)
        requireMemory(row);
    for (int n = 0; n < length; ++n)
        row[n] = static_cast<float>(shape(0.5 - 0.5 * std::cos((n + 0.5) * step)));
    return window.replicate(channels);
}

} // namespace

Signal32 hann(int channels, int length) {
    return makeWindow(channels, length, [](double value) { return value; });
}

Signal32 sqrtHann(int channels, int length) {
    return makeWindow(channels, length, [](double value) { return std::sqrt(value); });
}

} // namespace sorvane
