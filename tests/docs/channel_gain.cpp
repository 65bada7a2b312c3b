// Blocks of docs/adding-a-layer.md, which stand beside this file when it is compiled.

#include "layers/base_layer.h"
#include "layers/tensor_operations.h"
#include "layers/tensor_record.h"

namespace sorvane {

#include "channel_gain_class.inc"

#include "channel_gain_forward.inc"

template <typename T>
ChannelGainLayer<T>::ChannelGainLayer(LayerMap<T>& layers, RecordReader& reader)
    : BaseLayer<T>(layers, reader, 24), gains(readTensor(reader)) {}

template class ChannelGainLayer<float>;

} // namespace sorvane
