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
template <typename Tag, typename Tag::Counter member>
struct Opener {
    friend typename Tag::Counter counterOf(Tag) { return member; }
};
struct PreNormCounter {
    using Layer = PreNormLayer<float>;
    using Counter = std::int64_t Layer::*;
    friend Counter counterOf(PreNormCounter);
};
struct SeparableCounter {
    using Layer = SeparableChannelConvLayer<float>;
    using Counter = std::int64_t Layer::*;
    friend Counter counterOf(SeparableCounter);
};
template struct Opener<PreNormCounter, &PreNormLayer<float>::position>;
template struct Opener<SeparableCounter, &SeparableChannelConvLayer<float>::frameCount>;

constexpr int windowLength = 5;

template <typename Tag>
std::vector<float> runFrom(const FileLayer& layer, std::int64_t count) {
    ModelFile file;
    file.layers = {layer};
    file.outputSource = layer.name;
    NeuralModel<float> model;
    EXPECT_TRUE(load(model, file.bytes()));
    auto& counted = dynamic_cast<typename Tag::Layer&>(*model.layers.at(layer.name));
    counted.*counterOf(Tag()) = count;
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
        EXPECT_EQ(runFrom<PreNormCounter>(level, start), runFrom<PreNormCounter>(level, same));
        EXPECT_EQ(runFrom<SeparableCounter>(filter, start),
                  runFrom<SeparableCounter>(filter, same));
    }
}

} // namespace sorvane::test
