#pragma once

#include "layers/base_layer.h"

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

    struct Band {
        Tensor<T> weights;
        int start = 0;             // first input position
        int length = 0;            // dimension 0 of the weights
        const T* values = nullptr; // of the weights; so the loop touches no tensor
    };

    std::vector<Band> bands;
    Tensor<T> output;
    ShapeGuard guard;
};

extern template class FrequencyRescaleLayer<float>;

} // namespace sorvane
