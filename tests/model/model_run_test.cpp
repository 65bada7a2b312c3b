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

} // namespace sorvane::test
