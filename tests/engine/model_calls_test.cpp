#include "util/processor_handle.h"

#include <gtest/gtest.h>

#include <climits>
#include <stdexcept>

namespace sorvane::test {

namespace {

// y[n] = x[n - 1] + 10 x[n] at n = 1, 3, 5...
ModelFile everySecondFrame() {
    ModelFile model{.version = 0x1004};
    model.layers = {conv("a", "input", {{2, 1, 1, 1}, {1, 10}}, {}, {.strideT = 2, .delay = 1})};
    model.outputSource = "a";
    return model;
}

void addFrame(void* handle, const std::vector<float>& values) {
    const int shape[] = {1, static_cast<int>(values.size()), 1};
    sorvaneAddTensor(handle, values.data(), 3, shape);
}

} // namespace

TEST(ModelCalls, InfoWritesEveryField) {
    const ModelHandle handle = makeModel(everySecondFrame());
    SorvaneModelInfo info = {1.0, 2, 3, 4, 5, 6};
    sorvane::sorvaneGetProcessorInfo(handle.get(), &info);
    EXPECT_EQ(info.sampleRate, 48000.0);
    EXPECT_EQ((std::vector<int>{info.numChannels, info.lengthOrLatency, info.frameLength, info.hop,
                                info.latencyFrames}),
              (std::vector<int>{1, 512, 512, 256, 1}));
}

TEST(ModelCalls, ResultsComeAndGo) {
    const ModelHandle handle = makeModel(everySecondFrame());
    int shape[3] = {7, 7, 7};
    float result[2] = {7, 7};
    const auto isEmpty = [&] {
        return !sorvaneGetTensor(handle.get(), result) && result[0] == 7 &&
               !sorvaneGetResultTensorShape(handle.get(), 3, shape) &&
               sorvaneGetResultTensorShape(handle.get(), 0, shape) && shape[0] == 7;
    };
    for (int pass = 0; pass < 2; ++pass) {
        EXPECT_TRUE(pass == 1 || isEmpty());
        addFrame(handle.get(), {1, 2});
        EXPECT_TRUE(isEmpty());
        addFrame(handle.get(), {3, 4});
        for (const int numDims : {-1, INT_MIN})
            EXPECT_THROW(sorvaneAddTensor(handle.get(), result, numDims, shape), std::length_error);
        for (const int numDims : {0, 1, 2, 4, -1, INT_MIN, INT_MAX})
            EXPECT_FALSE(sorvaneGetResultTensorShape(handle.get(), numDims, shape)) << numDims;
        EXPECT_EQ(shape[0], 7);
        EXPECT_TRUE(sorvaneGetResultTensorShape(handle.get(), 3, shape));
        EXPECT_EQ(shape[0] * 100 + shape[1] * 10 + shape[2], 121);
        for (int i = 0; i < 2; ++i) {
            result[0] = 0;
            EXPECT_TRUE(sorvaneGetTensor(handle.get(), result));
            EXPECT_EQ(result[0], 31);
            EXPECT_EQ(result[1], 42);
        }
        // The network forgets; the latest result stays.
        sorvaneResetModelState(handle.get());
        result[0] = 0;
        EXPECT_TRUE(sorvaneGetTensor(handle.get(), result));
        EXPECT_EQ(result[0], 31);
        std::fill_n(shape, 3, 7);
        std::fill_n(result, 2, 7.0F);
    }
}

} // namespace sorvane::test
