#include "model/load_util.h"
#include "util/tiny_models.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace sorvane::test {

TEST(ModelRun, ADefaultModelPassesTensorsThrough) {
    NeuralModel<float> model;
    std::vector<float> values(24);
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = static_cast<float>(i);
    const Tensor32 result = run(model, makeTensor({2, 3, 4}, values));
    EXPECT_EQ(result.shape, (std::vector<int>{2, 3, 4}));
    EXPECT_EQ(valuesOf(result), values);
}

TEST(ModelRun, CollectJoinsWhatWaits) {
    NeuralModel<float> model;
    EXPECT_TRUE(model.outputLayer->collect().shape.empty());
    model.inputLayer->forward(makeTensor({1, 1, 2}, {1, 2}), nullptr);
    model.inputLayer->forward(makeTensor({2, 1, 2}, {3, 4, 5, 6}), nullptr);
    const Tensor32 both = model.outputLayer->collect();
    EXPECT_EQ(both.shape, (std::vector<int>{3, 1, 2}));
    EXPECT_EQ(valuesOf(both), (std::vector<float>{1, 2, 3, 4, 5, 6}));
    EXPECT_TRUE(model.outputLayer->collect().shape.empty());

    model.inputLayer->forward(makeTensor({1, 1, 2}, {1, 2}), nullptr);
    model.reset();
    EXPECT_TRUE(model.outputLayer->collect().shape.empty());

    // Tensors that don't fit the first one: an error, and the next run starts afresh.
    model.inputLayer->forward(makeTensor({1, 1, 2}, {1, 2}), nullptr);
    model.inputLayer->forward(makeTensor({1, 2, 2}, {1, 2, 3, 4}), nullptr);
    EXPECT_THROW(model.outputLayer->collect(), std::runtime_error);
    EXPECT_EQ(run(model, makeTensor({1, 1, 1}, {7})).shape, (std::vector<int>{1, 1, 1}));
}

TEST(ModelRun, EmptyTensorsGiveNoValues) {
    const std::vector<int> shapes[] = {{}, {0, 8, 1}, {1, 0, 1}, {1, 8, 0}, {0, 0, 0}, {1, 1, 1}};
    for (const TinyModel& tiny : tinyModels())
        for (const std::vector<int>& shape : shapes) {
            SCOPED_TRACE(tiny.name + " " + testing::PrintToString(shape));
            NeuralModel<float> model;
            ASSERT_TRUE(load(model, tiny.file.bytes()));
            const Tensor32 input(shape);
            try {
                const Tensor32 result = run(model, input);
                EXPECT_LE(elementCount(result.shape), 2 * elementCount(shape));
            } catch (const std::runtime_error& error) {
                // A layer that can't do without rows or channels, or with so few.
                EXPECT_STREQ(error.what(),
                             "IPP exception: ippStsSizeErr: Incorrect value for data size");
            }
        }
    EXPECT_FALSE(BaseLayer<float>(inputKind).forward({}, nullptr));
}

TEST(ModelRun, AJoinTakesFramesFromItsInputsAlone) {
    NeuralModel<float> model;
    ASSERT_TRUE(
        load(model, ModelFile{.layers = {concat("a", {"input"})}, .outputSource = "a"}.bytes()));
    const Tensor32 frame = makeTensor({1, 1, 1}, {3});
    EXPECT_FALSE(model.layers.at("a")->forward(frame, nullptr));
    EXPECT_EQ(valuesOf(run(model, frame)), std::vector<float>{3});
}

TEST(ModelRun, StridesHoldFramesBackAndResetStartsOver) {
    // y[n] = x[n - 1] + 10 x[n] at n = 1, 3, 5...
    ModelFile file;
    file.layers = {conv("a", "input", {{2, 1, 1, 1}, {1, 10}}, {}, {.strideT = 2, .delay = 1})};
    file.outputSource = "a";
    NeuralModel<float> model;
    ASSERT_TRUE(load(model, file.bytes()));
    for (int pass = 0; pass < 2; ++pass) {
        std::vector<float> results;
        for (int n = 0; n < 6; ++n) {
            const Tensor32 result = run(model, makeTensor({1, 1, 1}, {static_cast<float>(n + 1)}));
            EXPECT_EQ(result.shape.empty(), n % 2 == 0) << n;
            if (!result.shape.empty())
                results.push_back(result.elements()[0]);
        }
        EXPECT_EQ(results, (std::vector<float>{21, 43, 65}));
        run(model, makeTensor({1, 1, 1}, {100}));
        model.reset();
    }
    EXPECT_EQ(valuesOf(run(model, makeTensor({6, 1, 1}, {1, 2, 3, 4, 5, 6}))),
              (std::vector<float>{21, 43, 65}));
}

} // namespace sorvane::test
