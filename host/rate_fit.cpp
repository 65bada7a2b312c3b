#include "rate_fit.h"

#include <cmath>
#include <cstdio>

namespace sorvane::host {

namespace {

/// 48 kHz models at 44.1 kHz hear everything 9 % too high, and don't mind.
constexpr double harmlessStretch = 1.1;

/// What an octave of the spectrum that the model doesn't hear, or misses, weighs beside an octave
/// by which it hears everything too high.
constexpr double weightOfOctave = 0.5;

} // namespace

SorvaneHostRateFit rateFit(double modelRate, double hostRate) {
    SorvaneHostRateFit fit{};
    const double ratio = std::log2(hostRate / modelRate);
    if (!std::isfinite(ratio))
        return fit;
    fit.octaves = static_cast<int>(std::ceil(ratio));
    fit.stretch = std::exp2(fit.octaves - ratio);
    fit.badness = fit.octaves - ratio + weightOfOctave * std::abs(fit.octaves);
    if (fit.stretch > harmlessStretch)
        std::snprintf(fit.warning, sizeof fit.warning,
                      "the model is made for %.6g Hz, and at %.6g Hz hears everything %.0f %% too "
                      "high: it works less well than one for this rate",
                      modelRate, hostRate, 100.0 * (fit.stretch - 1.0));
    else if (fit.octaves > 0)
        std::snprintf(fit.warning, sizeof fit.warning,
                      "the model is made for %.6g Hz: at %.6g Hz it hears nothing above %.6g Hz, "
                      "and treats what is there as the band below",
                      modelRate, hostRate, hostRate / std::exp2(fit.octaves + 1));
    else if (fit.octaves < 0)
        std::snprintf(fit.warning, sizeof fit.warning,
                      "the model is made for %.6g Hz: at %.6g Hz it misses the upper part of the "
                      "spectrum, and works less well than one for this rate",
                      modelRate, hostRate);
    return fit;
}

} // namespace sorvane::host
