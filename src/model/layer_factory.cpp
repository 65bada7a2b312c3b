#include "model/layer_factory.h"

#include "layers/activation.h"
#include "layers/convolution.h"
#include "layers/dense.h"
#include "layers/frequency_rescale.h"
#include "layers/joins.h"
#include "layers/normalisation.h"
#include "layers/self_attention.h"
#include "layers/separable_convolution.h"
#include "layers/transposed_convolution.h"

namespace sorvane {

template <typename T>
std::shared_ptr<BaseLayer<T>> makeLayer(int kind, LayerMap<T>& layers, RecordReader& reader) {
    switch (kind) {
    case convKind:
        return std::make_shared<ConvLayer<T>>(layers, reader);
    case transposedConvKind:
        return std::make_shared<TransposedConvLayer<T>>(layers, reader);
    case reluKind:
        return std::make_shared<ReLULayer<T>>(layers, reader);
    case eluKind:
        return std::make_shared<ELULayer<T>>(layers, reader);
    case sigmoidKind:
        return std::make_shared<SigmoidLayer<T>>(layers, reader);
    case normKind:
        return std::make_shared<NormLayer<T>>(layers, reader);
    case concatKind:
        return std::make_shared<ConcatLayer<T>>(layers, reader);
    case leakyReluKind:
        return std::make_shared<LeakyReLULayer<T>>(layers, reader);
    case denseKind:
        return std::make_shared<DenseLayer<T>>(layers, reader);
    case separableConvKind:
        return std::make_shared<SeparableChannelConvLayer<T>>(layers, reader);
    case preNormKind:
        return std::make_shared<PreNormLayer<T>>(layers, reader);
    case softplusKind:
        return std::make_shared<SoftplusLayer<T>>(layers, reader);
    case arithmeticKind:
        return std::make_shared<ArithmeticLayer<T>>(layers, reader);
    case selfAttentionKind:
        return std::make_shared<SelfAttentionLayer<T>>(layers, reader);
    case hardSigmoidKind:
        return std::make_shared<HardSigmoidLayer<T>>(layers, reader);
    case frequencyRescaleKind:
        return std::make_shared<FrequencyRescaleLayer<T>>(layers, reader);
    case arPreNormKind:
        return std::make_shared<ARPreNormLayer<T>>(layers, reader);
    default:
        return nullptr;
    }
}

template std::shared_ptr<BaseLayer<float>> makeLayer(int, LayerMap<float>&, RecordReader&);

} // namespace sorvane
