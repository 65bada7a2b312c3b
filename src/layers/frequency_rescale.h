#pragma once

#include "layers/base_layer.h"
#include "support/vector/ipps_compound.h"

#include <vector>

namespace sorvane {

/// Maps the frequency axis to another resolution: each output position is a weighted sum of a run
/// of input positions. The output is [T, number of bands, C].
template <typename T>
class FrequencyRescaleLayer : public BaseLayer<T> {
public:
    /// Reads the input's name and the bands. std::length_error for a negative number of them.
    FrequencyRescaleLayer(LayerMap<T>& layers, RecordReader& reader);

    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;

private:
    void verify(const TensorDims& input) const;

    std::vector<Tensor<T>> weights;  // of each band
    std::vector<IppsBand_32f> bands; // what the operation takes of them
    OutputTensor<T> output;
    ShapeGuard guard;
};

extern template class FrequencyRescaleLayer<float>;

} // namespace sorvane
