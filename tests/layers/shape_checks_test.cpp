#include "model/load_util.h"
#include "util/signals.h"

#include <gtest/gtest.h>

#include <algorithm>

// Weights and tensors that don't fit each other, in every kind of layer.
namespace sorvane::test {
namespace {

const std::string sizeError = "IPP exception: ippStsSizeErr: Incorrect value for data size";
const std::string nullError = "IPP exception: ippStsNullPtrErr: Null pointer error";

using Shape = std::vector<int>;

struct ShapeCase {
    const char* name;
    std::vector<FileLayer> layers; // the last one is the output
    Shape good;                    // a shape that fits
    std::vector<Shape> bad;        // shapes that don't
};

FileTensor ones(const Shape& shape) {
    return constantTensor(shape, 1.0F);
}

// Values that differ from call to call.
Tensor32 tensorOf(const Shape& shape, int call) {
    const std::int64_t count = std::max<std::int64_t>(elementCount(shape), 0);
    return makeTensor(shape, noise(1, static_cast<int>(count), static_cast<unsigned>(call))[0]);
}

const std::vector<ShapeCase> shapeCases = {
    {"conv",
     {conv("a", "input", ones({2, 3, 2, 3}), ones({3}))},
     {1, 5, 2},
     {{1, 5, 3}, {1, 6, 2}, {1, 5, 0}}},
    {"depthwise conv",
     {conv("a", "input", ones({2, 3, 1, 3}), ones({3}))},
     {1, 5, 3},
     {{1, 6, 3}, {1, 5, 2}, {1, 5, 0}}},
    {"transposed conv",
     {transposedConv("a", "input", ones({2, 2, 3, 2}), ones({3}), 3)},
     {1, 3, 2},
     {{1, 3, 1}, {1, 4, 2}, {3, 3, 1}}},
    {"separable conv",
     {separableChannelConv("a", "input", ones({3}), ones({3}))},
     {1, 3, 2},
     {{1, 4, 2}, {1, 3, 3}}},
    {"dense",
     {dense("a", "input", ones({3, 3, 2}), ones({3, 2}))},
     {1, 3, 2},
     {{1, 4, 2}, {1, 3, 3}}},
    {"scale", {norm("a", "input", 0, ones({2}), ones({2}))}, {1, 3, 2}, {{1, 3, 3}}},
    {"attention",
     {selfAttention("a", "input", ones({2, 2}), ones({3, 2}), 0, ones({2, 2}))},
     {1, 3, 2},
     {{1, 4, 2}, {1, 2, 3}}},
    {"attention with a delay",
     {selfAttention("a", "input", ones({2, 2}), ones({3, 2}), 1, {})},
     {1, 3, 2},
     {{2, 3, 2}, {1, 4, 2}}},
    {"rescale", {frequencyRescale("a", "input", {{1, ones({2})}})}, {1, 3, 2}, {{1, 2, 2}}},
    {"sum",
     {frequencyRescale("r", "input", {{0, ones({1})}, {1, ones({1})}}),
      arithmetic("a", {"input", "r"}, 2)},
     {1, 2, 2},
     {{1, 3, 2}}},
    {"concat",
     {frequencyRescale("r", "input", {{0, ones({1})}, {1, ones({1})}}),
      concat("a", {"input", "r"})},
     {1, 2, 2},
     {{1, 3, 2}}},
    {"activation", {activation("a", 5, "input")}, {1, 3, 2}, {}},
    {"pre-norm", {preNorm("a", "input", ones({2}))}, {1, 3, 2}, {}},
    {"AR pre-norm", {arPreNorm("a", "input", 0.5F, 0.5F, 1.0F)}, {1, 3, 2}, {}},
};

const struct {
    const char* name;
    FileLayer layer;
    Shape shape;
} neverFits[] = {
    {"conv, fewer channels", conv("a", "input", ones({2, 3, 2, 3}), {}), {1, 5, 1}},
    {"conv, fewer channels in more frames", conv("a", "input", ones({2, 3, 2, 3}), {}), {2, 1, 1}},
    {"conv, short bias", conv("a", "input", ones({1, 1, 2, 3}), ones({2})), {1, 5, 2}},
    {"conv, no stride in time",
     conv("a", "input", ones({1, 1, 2, 3}), {}, {.strideT = 0}),
     {1, 5, 2}},
    {"conv, no stride in time behind the delay",
     conv("a", "input", ones({1, 1, 2, 3}), {}, {.strideT = 0, .delay = 1}),
     {2, 5, 2}},
    {"conv, no stride in frequency",
     conv("a", "input", ones({1, 1, 2, 3}), {}, {.strideF = 0}),
     {1, 5, 2}},
    {"conv, no frame in the ring",
     conv("a", "input", ones({2, 1, 2, 3}), {}, {.dilationT = -1}),
     {1, 5, 2}},
    {"transposed conv, short bias",
     transposedConv("a", "input", ones({2, 2, 3, 2}), ones({2}), 3),
     {1, 3, 2}},
    {"transposed conv, negative stride",
     transposedConv("a", "input", ones({2, 2, 3, 2}), {}, 3, {.strideT = -1}),
     {1, 3, 2}},
    {"transposed conv, more group than output channels",
     transposedConv("a", "input", ones({2, 2, 3, 2}), {}, 2),
     {1, 3, 2}},
    {"depthwise transposed conv, more inputs than outputs",
     transposedConv("a", "input", ones({2, 2, 1, 3}), {}, 2),
     {1, 3, 3}},
    {"separable conv, no time taps", separableChannelConv("a", "input", {}, ones({3})), {1, 3, 2}},
    {"separable conv, no frequency taps",
     separableChannelConv("a", "input", ones({3}), {}),
     {1, 3, 2}},
    {"dense matrix, short bias", dense("a", "input", ones({3, 3, 1}), ones({2})), {1, 3, 1}},
    {"normalisation, short bias", norm("a", "input", 1, ones({2}), ones({1})), {1, 3, 2}},
    {"dense, short matrix", dense("a", "input", ones({3, 2, 2}), {}), {1, 3, 2}},
    {"scale, short factors", norm("a", "input", 1, ones({1}), {}), {1, 3, 2}},
    {"attention, short constants",
     selfAttention("a", "input", ones({2, 2}), ones({5}), 0, {}),
     {1, 3, 2}},
    {"attention, short taps",
     selfAttention("a", "input", ones({2, 2}), ones({3, 2}), 0, ones({1})),
     {1, 3, 2}},
    {"rescale from below the axis", frequencyRescale("a", "input", {{-1, ones({1})}}), {1, 3, 2}},
    {"rescale without a weight", frequencyRescale("a", "input", {{0, {}}}), {1, 3, 2}},
};

NeuralModel<float> modelOf(const std::vector<FileLayer>& layers) {
    NeuralModel<float> model;
    EXPECT_TRUE(
        load(model, ModelFile{.layers = layers, .outputSource = layers.back().name}.bytes()));
    return model;
}

void expectRefused(NeuralModel<float>& model, const char* name, const Shape& shape, int call) {
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(errorOf([&] { run(model, tensorOf(shape, call)); }), sizeError)
            << name << ", " << testing::PrintToString(shape);
}

} // namespace

// What doesn't fit raises the size error each time, and what fits afterwards meets the layer as it
// was.
TEST(ShapeChecks, WhatDoesNotFitIsRefusedBeforeAnythingIsTouched) {
    const std::vector<Shape> always = {{5}, {2, 3}, {-1, 3, 2}, {1, -3, 2}, {1, -3, -2}};
    for (const ShapeCase& entry : shapeCases) {
        std::vector<Shape> bad = entry.bad;
        bad.insert(bad.end(), always.begin(), always.end());
        NeuralModel<float> plain = modelOf(entry.layers);
        NeuralModel<float> tried = modelOf(entry.layers);
        for (int pass = 0; pass < 2; ++pass) {
            for (int call = 0; call < static_cast<int>(bad.size()) + 3; ++call) {
                const Tensor32 input = tensorOf(entry.good, call);
                const Tensor32 expected = run(plain, input);
                const Tensor32 actual = run(tried, input);
                ASSERT_EQ(actual.shape, expected.shape) << entry.name;
                ASSERT_EQ(valuesOf(actual), valuesOf(expected)) << entry.name;
                expectRefused(tried, entry.name, bad[static_cast<std::size_t>(call) % bad.size()],
                              call);
            }
            plain.reset();
            tried.reset();
            // A ring keeps the shape that it was built for.
            for (const Shape& shape : entry.bad)
                expectRefused(tried, entry.name, shape, 0);
        }
    }
    for (const auto& entry : neverFits) {
        NeuralModel<float> model = modelOf({entry.layer});
        expectRefused(model, entry.name, entry.shape, 1);
        for (const Shape& shape : always)
            expectRefused(model, entry.name, shape, 1);
        model.reset();
        expectRefused(model, entry.name, entry.shape, 1);
    }
}

// Frames before the delay are not divided among the strides.
TEST(ShapeChecks, AStrideOfZeroIsMissedAtTheFirstFrameThatNeedsIt) {
    NeuralModel<float> model =
        modelOf({conv("a", "input", ones({1, 1, 2, 3}), {}, {.strideT = 0, .delay = 2})});
    EXPECT_TRUE(run(model, tensorOf({1, 5, 2}, 0)).shape.empty());
    EXPECT_TRUE(run(model, tensorOf({1, 5, 2}, 1)).shape.empty());
    expectRefused(model, "conv", {1, 5, 2}, 2);
}

TEST(ShapeChecks, AShapeOfMoreDimensionsPassesForItselfAlone) {
    NeuralModel<float> model =
        modelOf({transposedConv("a", "input", ones({2, 2, 3, 2}), ones({3}), 3)});
    run(model, tensorOf({1, 3, 1, 2}, 0));
    expectRefused(model, "transposed conv", {1, 3, 1}, 1);
}

// Tensors that a file leaves out where it must not, and one that memory ran out for.
TEST(ShapeChecks, AMissingBufferIsNoticedAtItsFirstUse) {
    for (const FileLayer& layer :
         {dense("dense", "input", {}, {}), norm("scale", "input", 0, {}, ones({2})),
          norm("bias", "input", 0, ones({2}), {}), norm("norm", "input", 1, {}, {}),
          preNorm("window", "input", {}),
          selfAttention("matrix", "input", {}, ones({3, 2}), 0, ones({1, 2})),
          selfAttention("constants", "input", ones({2, 2}), {}, 0, {})}) {
        NeuralModel<float> model = modelOf({layer});
        for (int i = 0; i < 2; ++i)
            EXPECT_EQ(errorOf([&] {
                          run(model, tensorOf({1, 3, 2}, i));
                      }),
                      nullError)
                << layer.name;
    }
    for (const ShapeCase& entry : shapeCases) {
        NeuralModel<float> model = modelOf(entry.layers);
        Tensor32 missing;
        missing.shape = entry.good;
        missing.data = std::make_shared<TensorData<float>>(0);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(errorOf([&] { run(model, missing); }), nullError) << entry.name;
            EXPECT_EQ(errorOf([&] { run(model, tensorOf(entry.good, i)); }), "") << entry.name;
        }
    }
}

} // namespace sorvane::test
