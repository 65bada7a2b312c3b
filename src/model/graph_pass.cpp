#include "model/graph_pass.h"

#include <algorithm>
#include <stdexcept>
#include <unordered_map>

namespace sorvane {

namespace {

/// Down the file's order: what reaches a layer is known once its sources have been seen.
template <typename T>
void checkBursts(const std::vector<std::shared_ptr<BaseLayer<T>>>& layers) {
    std::unordered_map<const BaseLayer<T>*, std::int64_t> arriving; // for one frame of the input
    for (const auto& layer : layers) {
        const FrameRatio ratio = layer->frameRatio();
        const std::int64_t taken = std::max(ratio.taken, 1);
        const std::int64_t frames = arriving.try_emplace(layer.get(), 1).first->second;
        const std::int64_t given = (frames + taken - 1) / taken * std::max(ratio.given, 1);
        if (given > maxBurst)
            throw std::length_error("too many frames for one");
        for (const BaseLayer<T>* successor : layer->getSuccessors()) {
            std::int64_t& most = arriving.try_emplace(successor, 1).first->second;
            most = std::max(most, given);
        }
    }
}

/// Up the file's order: a chain's length is known once that of the successors is.
template <typename T>
void checkChains(const std::vector<std::shared_ptr<BaseLayer<T>>>& layers) {
    std::unordered_map<const BaseLayer<T>*, int> chains;
    for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer) {
        int longest = 1;
        for (const BaseLayer<T>* successor : (*layer)->getSuccessors())
            longest = std::max(longest, chains.at(successor) + 1);
        if (longest > maxChainLength)
            throw std::length_error("chain of layers too long");
        chains.emplace(layer->get(), longest);
    }
}

} // namespace

template <typename T>
void prepareGraph(const std::vector<std::shared_ptr<BaseLayer<T>>>& layers) {
    checkBursts(layers);
    checkChains(layers);
    const auto burstChanges = std::make_shared<std::uint64_t>(0);
    for (const auto& layer : layers)
        layer->countBurstsIn(burstChanges);
}

template void prepareGraph(const std::vector<std::shared_ptr<BaseLayer<float>>>&);

} // namespace sorvane
