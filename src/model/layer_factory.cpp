#include "model/layer_factory.h"

#include "layers/activation.h"
#include "layers/convolution.h"

namespace sorvane {

template <typename T>
std::shared_ptr<BaseLayer<T>> makeLayer(int kind, LayerMap<T>& layers, RecordReader& reader) {
    switch (kind) {
    case convKind:
        return std::make_shared<ConvLayer<T>>(layers, reader);
    case reluKind:
        return std::make_shared<ReLULayer<T>>(layers, reader);
    case eluKind:
        return std::make_shared<ELULayer<T>>(layers, reader);
    case sigmoidKind:
        return std::make_shared<SigmoidLayer<T>>(layers, reader);
    case leakyReluKind:
        return std::make_shared<LeakyReLULayer<T>>(layers, reader);
    case softplusKind:
        return std::make_shared<SoftplusLayer<T>>(layers, reader);
    case hardSigmoidKind:
        return std::make_shared<HardSigmoidLayer<T>>(layers, reader);
    default:
        return nullptr;
    }
}

template std::shared_ptr<BaseLayer<float>> makeLayer(int, LayerMap<float>&, RecordReader&);

} // namespace sorvane
