#include "model/load_util.h"
#include "util/signals.h"
#include "util/tiny_models.h"

#include <gtest/gtest.h>

#include <algorithm>

// Weights and tensors that don't fit each other, in every kind of layer.
namespace sorvane::test {
namespace {

const std::string sizeError = "IPP exception: ippStsSizeErr: Incorrect value for data size";
const std::string nullError = "IPP exception: ippStsNullPtrErr: Null pointer error";

using Shape = std::vector<int>;

FileTensor ones(const Shape& shape) {
    return constantTensor(shape, 1.0F);
}

// Values that differ from call to call.
Tensor32 tensorOf(const Shape& shape, int call) {
    const std::int64_t count = std::max<std::int64_t>(elementCount(shape), 0);
    return makeTensor(shape, noise(1, static_cast<int>(count), static_cast<unsigned>(call))[0]);
}

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

// The tiny models of one layer, which take 8 positions of 1 channel.
std::vector<std::vector<FileLayer>> oneLayerNetworks() {
    std::vector<std::vector<FileLayer>> networks;
    for (const TinyModel& model : tinyModels())
        if (model.file.layers.size() == 1 && model.file.version == 0x100A)
            networks.push_back(model.file.layers);
    return networks;
}

} // namespace

// What doesn't fit raises the size error each time, and what fits afterwards meets the layer as it
// was.
TEST(ShapeChecks, WhatDoesNotFitIsRefusedBeforeAnythingIsTouched) {
    const std::vector<Shape> always = {{5}, {2, 3}, {-1, 3, 2}, {1, -3, 2}, {1, -3, -2}};
    const std::vector<Shape> some = {{1, 9, 1}, {1, 8, 2}, {1, 4, 1}, {3, 8, 1}, {1, 8, 0}};
    std::vector<std::vector<FileLayer>> networks = oneLayerNetworks();
    const FileLayer two = frequencyRescale("r", "input", {{0, ones({1})}, {1, ones({1})}});
    const Shape good = {1, 8, 1};
    for (const FileLayer& join :
         {arithmetic("a", {"input", "r"}, 2), concat("a", {"input", "r"})}) {
        NeuralModel<float> model = modelOf({two, join});
        expectRefused(model, "join", {1, 3, 2}, 1);
    }
    for (const std::vector<FileLayer>& layers : networks) {
        NeuralModel<float> plain = modelOf(layers);
        NeuralModel<float> tried = modelOf(layers);
        const auto expectSame = [&](const Shape& shape, int call) {
            const Tensor32 input = tensorOf(shape, call);
            const Tensor32 expected = run(plain, input), actual = run(tried, input);
            ASSERT_EQ(actual.shape, expected.shape) << layers[0].kind;
            ASSERT_EQ(valuesOf(actual), valuesOf(expected)) << layers[0].kind;
        };
        for (int pass = 0; pass < 2; ++pass) {
            for (int call = 0; call < 10; ++call) {
                expectSame(good, call);
                const auto index = static_cast<std::size_t>(call);
                const Shape& shape = index < 5 ? always[index] : some[index - 5];
                const std::string error = errorOf([&] { run(tried, tensorOf(shape, call)); });
                if (index < 5 || !error.empty()) {
                    expectRefused(tried, std::to_string(layers[0].kind).c_str(), shape, call);
                } else {
                    run(plain, tensorOf(shape, call));
                }
            }
            plain.reset();
            tried.reset();
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
    for (const std::vector<FileLayer>& layers : oneLayerNetworks()) {
        NeuralModel<float> model = modelOf(layers);
        Tensor32 missing;
        missing.shape = {1, 8, 1};
        missing.data = std::make_shared<TensorData<float>>(0);
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(errorOf([&] { run(model, missing); }), nullError) << layers[0].kind;
            EXPECT_EQ(errorOf([&] { run(model, tensorOf({1, 8, 1}, i)); }), "") << layers[0].kind;
        }
    }
}

} // namespace sorvane::test
