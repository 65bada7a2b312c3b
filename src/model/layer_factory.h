#pragma once

#include "layers/base_layer.h"

#include <memory>

namespace sorvane {

/// Builds the layer of a record from the rest of the record, attached to its inputs. Null for a
/// kind that isn't one; the exceptions of the layers' constructors.
template <typename T>
std::shared_ptr<BaseLayer<T>> makeLayer(int kind, LayerMap<T>& layers, RecordReader& reader);

extern template std::shared_ptr<BaseLayer<float>> makeLayer(int, LayerMap<float>&, RecordReader&);

} // namespace sorvane
