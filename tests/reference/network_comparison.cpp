#include "reference/network_comparison.h"

#include "model/load_util.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>

namespace sorvane::test {

namespace {

std::vector<float> floatsOf(const Tensor& tensor) {
    std::vector<float> values;
    for (const Real& x : tensor.values)
        values.push_back(static_cast<float>(x.value));
    return values;
}

// Random frames up to full scale, some of them silent or nearly so.
Tensor randomFrames(Random& random, int frames, int positions, int channels) {
    Tensor result(frames, positions, channels);
    for (int t = 0; t < frames; ++t) {
        const double amplitude = random.chance(0.9) ? 1.0 : random.chance(0.5) ? 1e-11 : 0.0;
        for (int i = 0; i < result.frameSize(); ++i)
            result.frame(t)[i] = exact(static_cast<float>(random.uniform(-amplitude, amplitude)));
    }
    return result;
}

std::string difference(const EngineResult& actual, const std::optional<Tensor>& expected,
                       ComparisonCounts& counts) {
    const std::vector<int> shape =
        expected ? std::vector<int>{expected->frames, expected->positions, expected->channels}
                 : std::vector<int>{};
    if (actual.shape != shape)
        return "shape " + testing::PrintToString(actual.shape) + ", expected " +
               testing::PrintToString(shape);
    for (int t = 0; expected && t < expected->frames; ++t) {
        const Real* frame = expected->frame(t);
        double magnitude = 0.0;
        for (int i = 0; i < expected->frameSize(); ++i)
            magnitude = std::max(magnitude, std::fabs(frame[i].value));
        for (int i = 0; i < expected->frameSize(); ++i) {
            const float value = actual.values.data()[t * expected->frameSize() + i];
            const double error = std::fabs(exact(value).value - frame[i].value);
            const double tolerance = kTolerance * frame[i].error;
            counts.values += 1.0;
            if (!(tolerance <= 0.01 * magnitude + 1e-30))
                counts.looseValues += 1.0;
            if (tolerance > 0.0)
                counts.largestError = std::max(counts.largestError, error / tolerance);
            if (!(error <= tolerance) && std::isfinite(tolerance)) {
                std::ostringstream out;
                out << "value " << i << " of frame " << t << " is " << value << ", expected "
                    << frame[i].value << " within " << tolerance;
                return out.str();
            }
        }
    }
    return {};
}

} // namespace

EngineNetwork::EngineNetwork(const ModelFile& file) {
    if (!load(m_model, file.bytes()))
        throw std::runtime_error("the model file is refused");
}

EngineResult EngineNetwork::run(const Tensor& input) {
    const Tensor32 result = test::run(
        m_model, makeTensor({input.frames, input.positions, input.channels}, floatsOf(input)));
    return {result.shape, valuesOf(result)};
}

std::string differenceToReference(const NetworkDescription& network, unsigned seed,
                                  ComparisonCounts& counts) {
    const double valuesBefore = counts.values;
    std::ostringstream where;
    try {
        where << "while loading: ";
        EngineNetwork engine(network.modelFile());
        ReferenceNetwork reference(network);
        if (engine.latency() != reference.latency())
            return "latency " + std::to_string(engine.latency()) + ", expected " +
                   std::to_string(reference.latency());
        Random random(seed);
        for (const bool grouped : {false, true}) {
            const int total = random.between(20, 44);
            for (int begin = 0; begin < total;) {
                const int frames = grouped && !network.singleFrames ? random.between(0, 5) : 1;
                where.str("");
                where << (grouped ? "after a reset" : "frame by frame") << ", input frames "
                      << begin << " to " << begin + frames - 1 << ": ";
                const Tensor input =
                    randomFrames(random, frames, network.positions, network.channels);
                const std::string found =
                    difference(engine.run(input), reference.run(input), counts);
                if (!found.empty())
                    return where.str() + found;
                begin += frames;
            }
            engine.reset();
            reference.reset();
        }
    } catch (const std::exception& exception) {
        return where.str() + exception.what();
    }
    counts.networks += 1;
    counts.networksWithOutput += counts.values > valuesBefore ? 1 : 0;
    return {};
}

} // namespace sorvane::test
