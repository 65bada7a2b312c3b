#include "model/load_util.h"
#include "util/tiny_models.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace sorvane::test {

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

} // namespace sorvane::test
