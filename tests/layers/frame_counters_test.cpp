#include "layers/normalisation.h"
#include "layers/separable_convolution.h"
#include "model/load_util.h"
#include "util/signals.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

// Frames of a stream that runs for years: what counts them must not end.
namespace sorvane::test {
namespace {

// Explicit instantiation may name private members: this lets the tests set the counters.
template <typename Layer>
using Counter = std::int64_t Layer::*;
Counter<PreNormLayer<float>> counterOf(PreNormLayer<float>*);
Counter<SeparableChannelConvLayer<float>> counterOf(SeparableChannelConvLayer<float>*);
template <typename Layer, Counter<Layer> member>
struct Opener {
    friend Counter<Layer> counterOf(Layer* /*layer*/) { return member; }
};
template struct Opener<PreNormLayer<float>, &PreNormLayer<float>::position>;
template struct Opener<SeparableChannelConvLayer<float>,
                       &SeparableChannelConvLayer<float>::frameCount>;

constexpr int windowLength = 5;

template <typename Layer>
std::vector<float> runFrom(const FileLayer& layer, std::int64_t count) {
    NeuralModel<float> model;
    EXPECT_TRUE(load(model, ModelFile{.layers = {layer}, .outputSource = layer.name}.bytes()));
    auto* const counted = dynamic_cast<Layer*>(model.layers.at(layer.name).get());
    counted->*counterOf(counted) = count;
    std::vector<float> results;
    for (unsigned frame = 0; frame < 12; ++frame) {
        const Tensor32 result = run(model, makeTensor({1, 3, 2}, noise(1, 6, frame)[0]));
        const std::vector<float> values = valuesOf(result);
        results.insert(results.end(), values.begin(), values.end());
    }
    return results;
}

} // namespace

TEST(FrameCounters, GoOnPastThirtyTwoBits) {
    const FileTensor window{{windowLength}, {0.4F, 0.3F, 0.2F, 0.06F, 0.04F}};
    const FileLayer level = preNorm("a", "input", window);
    const FileLayer filter = separableChannelConv("a", "input", window, {{3}, {0.5F, 1.0F, 0.2F}});
    for (const std::int64_t end : {std::int64_t{std::numeric_limits<std::int32_t>::max()},
                                   std::int64_t{std::numeric_limits<std::uint32_t>::max()}}) {
        const std::int64_t start = end - 4;
        const std::int64_t same = windowLength + start % windowLength; // the same slot of the ring
        EXPECT_EQ(runFrom<PreNormLayer<float>>(level, start),
                  runFrom<PreNormLayer<float>>(level, same));
        EXPECT_EQ(runFrom<SeparableChannelConvLayer<float>>(filter, start),
                  runFrom<SeparableChannelConvLayer<float>>(filter, same));
    }
}

} // namespace sorvane::test
