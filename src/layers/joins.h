#pragma once

#include "layers/queued_layer.h"

#include <vector>

namespace sorvane {

/// Folds its inputs, element by element, into the frame of the first: product, quotient, sum or
/// difference. The later input stands on the left: with two inputs the quotient is the second over
/// the first, and the difference the second minus the first.
template <typename T>
class ArithmeticLayer : public BaseQueuedLayer<T> {
public:
    /// Reads the inputs' names and the operation: 0 to 3 in the order above, others doing nothing.
    ArithmeticLayer(LayerMap<T>& layers, RecordReader& reader);

protected:
    bool process(const std::vector<Tensor<T>>& frames,
                 const std::vector<BaseLayer<T>*>& sources) override;

private:
    int operation;
    OutputTensor<T> output;
};

/// Joins its inputs along the channels, those of the first input first.
template <typename T>
class ConcatLayer : public BaseQueuedLayer<T> {
public:
    /// Reads the inputs' names.
    ConcatLayer(LayerMap<T>& layers, RecordReader& reader);

protected:
    bool process(const std::vector<Tensor<T>>& frames,
                 const std::vector<BaseLayer<T>*>& sources) override;

private:
    OutputTensor<T> output;
};

extern template class ArithmeticLayer<float>;
extern template class ConcatLayer<float>;

} // namespace sorvane
