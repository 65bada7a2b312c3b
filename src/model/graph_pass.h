#pragma once

#include "layers/base_layer.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace sorvane {

/// Layers on the longest chain of a network that loads, its input and output included: each takes a
/// stack frame of some 100 to 300 bytes in a run.
inline constexpr int maxChainLength = 10002;

/// Frames that one input frame of a network that loads can make any layer take. Each transposed
/// convolution makes as many of one as its stride, and they multiply.
inline constexpr std::int64_t maxBurst = std::int64_t{1} << 20;

/// Works out once what a whole graph has to keep to, and makes its layers one graph: run before the
/// first frame, when all edges are there. `layers` are all of them, each behind its sources.
/// std::length_error for a chain longer than maxChainLength, and for bursts past maxBurst.
template <typename T>
void prepareGraph(const std::vector<std::shared_ptr<BaseLayer<T>>>& layers);

extern template void prepareGraph(const std::vector<std::shared_ptr<BaseLayer<float>>>&);

} // namespace sorvane
