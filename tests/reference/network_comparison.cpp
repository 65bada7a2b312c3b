#include "reference/network_comparison.h"

#include "model/load_util.h"
#include "reference/reference_network.h"

#include <algorithm>
#include <sstream>

namespace sorvane::test {

namespace {

// Random frames up to full scale, some of them silent or nearly so.
Stream randomStream(Random& random, int frames, int positions, int channels) {
    Stream result{positions, channels};
    for (int t = 0; t < frames; ++t) {
        const double amplitude = random.chance(0.9) ? 1.0 : random.chance(0.5) ? 1e-11 : 0.0;
        result.frames.emplace_back();
        for (int i = 0; i < positions * channels; ++i)
            result.frames[static_cast<std::size_t>(t)].push_back(
                exact(static_cast<float>(random.uniform(-amplitude, amplitude))));
    }
    return result;
}

// Frames `begin` up to `end` - 1 through the engine.
Tensor32 runEngine(NeuralModel<float>& model, const Stream& input, int begin, int end) {
    std::vector<float> values;
    for (int t = begin; t < end; ++t)
        for (const Real& x : input.frames[static_cast<std::size_t>(t)])
            values.push_back(static_cast<float>(x.value));
    return run(model, makeTensor({end - begin, input.positions, input.channels}, values));
}

// Compares a tensor with the frames from `begin` on.
std::string difference(const Tensor32& actual, const Stream& expected, int begin,
                       ComparisonCounts& counts) {
    const int frames = actual.shape.empty() ? 0 : actual.shape[0];
    if (begin + frames > expected.length() ||
        (frames > 0 &&
         actual.shape != std::vector<int>{frames, expected.positions, expected.channels}))
        return "a tensor of " + std::to_string(elementCount(actual.shape)) + " elements";
    const float* value = actual.elements();
    for (int t = begin; t < begin + frames; ++t) {
        const std::vector<Real>& frame = expected.frames[static_cast<std::size_t>(t)];
        double magnitude = 0.0;
        for (const Real& x : frame)
            magnitude = std::max(magnitude, std::fabs(x.value));
        counts.values += static_cast<double>(frame.size());
        for (const Real& x : frame) {
            const auto found = static_cast<double>(*value++);
            const double tolerance = kTolerance * x.error;
            if (!(tolerance <= 0.01 * magnitude + 1e-30))
                counts.looseValues += 1.0;
            if (std::fabs(found - x.value) <= tolerance || !std::isfinite(tolerance))
                continue;
            std::ostringstream out;
            out << found << " in frame " << t << ", expected " << x.value << " within "
                << tolerance;
            return out.str();
        }
    }
    return {};
}

} // namespace

std::string differenceToReference(const NetworkCase& network, unsigned seed,
                                  ComparisonCounts& counts) {
    NeuralModel<float> engine;
    if (!load(engine, network.file.bytes()))
        return "the file is refused";
    if (engine.latencyFrames != referenceLatency(network.file))
        return "latency " + std::to_string(engine.latencyFrames) + ", expected " +
               std::to_string(referenceLatency(network.file));
    Random random(seed);
    const Stream input =
        randomStream(random, random.between(network.mostFrames / 2, network.mostFrames),
                     network.positions, network.channels);
    const Stream expected = runReference(network.file, input);
    for (const bool grouped : {false, true}) {
        int given = 0;
        for (int begin = 0; begin < input.length();) {
            const int most = input.length() - begin;
            const int frames =
                grouped && !network.singleFrames ? std::min(random.between(0, 5), most) : 1;
            std::string found;
            const std::string error = errorOf([&] {
                const Tensor32 result = runEngine(engine, input, begin, begin + frames);
                found = difference(result, expected, given, counts);
                given += result.shape.empty() ? 0 : result.shape[0];
            });
            if (!error.empty() || !found.empty())
                return (grouped ? "after a reset, input frame " : "input frame ") +
                       std::to_string(begin) + ": " + error + found;
            begin += frames;
        }
        // Of a burst some frames may still wait.
        if (network.hasBursts ? given < std::min(expected.length(), input.length()) - 16
                              : given != expected.length())
            return std::to_string(given) + " frames of " + std::to_string(expected.length());
        counts.networksWithOutput += !grouped && given > 0 ? 1 : 0;
        engine.reset();
    }
    return {};
}

} // namespace sorvane::test
