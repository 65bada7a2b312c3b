#include "common/stream_adapter.h"

#include <algorithm>
#include <cstdio>
#include <exception>

namespace sorvane::plugins {

namespace {

constexpr double rampSeconds = 0.02;

} // namespace

StreamAdapter::StreamAdapter(const std::string& modelPath, int channels, double sampleRate,
                             bool& failureReported)
    : model(modelPath),
      stream(modelPath, channels, sampleRate),
      ramp(std::max(1, static_cast<int>(rampSeconds * sampleRate))),
      delays(static_cast<std::size_t>(channels), DelayLine(stream.latency())),
      lateInput(static_cast<std::size_t>(channels), std::vector<float>(largestBlock)),
      hasReported(failureReported) {}

void StreamAdapter::setBlend(Blend target) {
    if (hasStarted)
        ramp.moveTo(target);
    else
        ramp.jumpTo(target);
}

void StreamAdapter::process(const float* const* inputs, float* const* outputs, int count) noexcept {
    hasStarted = true;
    for (std::size_t c = 0; c < delays.size(); ++c)
        delays[c].process(inputs[c], lateInput[c].data(), count);
    if (!hasFailed) {
        try {
            stream.exchange(inputs, outputs, count);
        } catch (const std::exception& error) {
            fail(error.what());
        } catch (...) {
            fail("unknown failure");
        }
    }
    if (hasFailed)
        passThrough(outputs, count);
    else
        mix(outputs, count);
    ramp.advance(count);
}

void StreamAdapter::reset() noexcept {
    for (DelayLine& delay : delays)
        delay.reset();
    ramp.jumpTo(ramp.at(0));
    hasStarted = false;
    hasFailed = false;
    try {
        stream.reset();
    } catch (const std::exception& error) {
        fail(error.what());
    } catch (...) {
        fail("unknown failure");
    }
}

void StreamAdapter::mix(float* const* outputs, int count) {
    if (!ramp.isMoving() && ramp.at(0) == Blend{0.0F, 1.0F})
        return;
    for (std::size_t c = 0; c < delays.size(); ++c)
        for (int i = 0; i < count; ++i) {
            const Blend blend = ramp.at(i);
            outputs[c][i] =
                blend.wet * outputs[c][i] + blend.dry * lateInput[c][static_cast<std::size_t>(i)];
        }
}

void StreamAdapter::passThrough(float* const* outputs, int count) {
    for (std::size_t c = 0; c < delays.size(); ++c)
        std::copy_n(lateInput[c].data(), count, outputs[c]);
}

void StreamAdapter::fail(const char* reason) {
    hasFailed = true;
    if (hasReported)
        return;
    hasReported = true;
    std::fprintf(stderr, "sorvane: %s: %s; the input passes unchanged\n", model.c_str(), reason);
}

} // namespace sorvane::plugins
