#include "layers/activation.h"

#include "support/vector_status.h"

namespace sorvane {

template <typename T>
bool ActivationLayer<T>::forward(const Tensor<T>& input, BaseLayer<T>* /*source*/) {
    T* out = output.renew(input.shape);
    scratch.setShape(input.shape);
    if (elementCount(input.shape) > 0)
        requireMemory(input.elements());
    if (const auto count = static_cast<int>(input.numAvailable()); count > 0)
        compute(input.elements(), out, scratch.writableElements(), count);
    return this->forwardToSuccessors(output);
}

template <typename T>
ReLULayer<T>::ReLULayer(LayerMap<T>& layers, RecordReader& reader)
    : ActivationLayer<T>(layers, reader, reluKind) {}

template <typename T>
void ReLULayer<T>::compute(const T* in, T* out, T* /*work*/, int count) {
    check(ippsThreshold_LTVal_32f(in, out, count, 0.0F, 0.0F));
}

template <typename T>
LeakyReLULayer<T>::LeakyReLULayer(LayerMap<T>& layers, RecordReader& reader)
    : ActivationLayer<T>(layers, reader, leakyReluKind), slope(reader.scalar<float>()) {}

template <typename T>
void LeakyReLULayer<T>::compute(const T* in, T* out, T* work, int count) {
    check(ippsThreshold_LTVal_32f(in, out, count, 0.0F, 0.0F));
    check(ippsThreshold_GTVal_32f(in, work, count, 0.0F, 0.0F));
    check(ippsAddProductC_32f(work, slope, out, count));
}

template <typename T>
ELULayer<T>::ELULayer(LayerMap<T>& layers, RecordReader& reader)
    : ActivationLayer<T>(layers, reader, eluKind) {}

// The exponential sees values of 0 or less only, so that it can't overflow.
template <typename T>
void ELULayer<T>::compute(const T* in, T* out, T* work, int count) {
    check(ippsThreshold_GTVal_32f(in, out, count, 0.0F, 0.0F));
    check(ippsExp_32f(out, work, count));
    check(ippsSubC_32f(work, 1.0F, out, count));
    check(ippsThreshold_LTVal_32f(in, work, count, 0.0F, 0.0F));
    check(ippsAdd_32f(work, out, out, count));
}

template <typename T>
SigmoidLayer<T>::SigmoidLayer(LayerMap<T>& layers, RecordReader& reader)
    : ActivationLayer<T>(layers, reader, sigmoidKind) {}

template <typename T>
void SigmoidLayer<T>::compute(const T* in, T* out, T* work, int count) {
    check(ippsThreshold_LTValGTVal_32f(in, out, count, -10.0F, -10.0F, 10.0F, 10.0F));
    check(ippsExp_32f(out, work, count));
    check(ippsAddC_32f(work, 1.0F, out, count));
    check(ippsDiv_32f(out, work, out, count));
}

template <typename T>
HardSigmoidLayer<T>::HardSigmoidLayer(LayerMap<T>& layers, RecordReader& reader)
    : ActivationLayer<T>(layers, reader, hardSigmoidKind) {}

template <typename T>
void HardSigmoidLayer<T>::compute(const T* in, T* out, T* work, int count) {
    check(ippsMulC_32f(in, 1.0F / 6.0F, out, count));
    check(ippsAddC_32f(out, 0.5F, work, count));
    check(ippsThreshold_LTValGTVal_32f(work, out, count, 0.0F, 0.0F, 1.0F, 1.0F));
}

template <typename T>
SoftplusLayer<T>::SoftplusLayer(LayerMap<T>& layers, RecordReader& reader)
    : ActivationLayer<T>(layers, reader, softplusKind) {}

template <typename T>
void SoftplusLayer<T>::compute(const T* in, T* out, T* /*work*/, int count) {
    check(ippsExp_32f(in, out, count));
    check(ippsAddC_32f(out, 1.0F, out, count));
    check(ippsLn_32f(out, out, count));
}

template class ActivationLayer<float>;
template class ReLULayer<float>;
template class LeakyReLULayer<float>;
template class ELULayer<float>;
template class SigmoidLayer<float>;
template class HardSigmoidLayer<float>;
template class SoftplusLayer<float>;

} // namespace sorvane
