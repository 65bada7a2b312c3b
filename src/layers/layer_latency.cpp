#include "layers/base_layer.h"

#include <algorithm>
#include <stdexcept>
#include <unordered_map>

namespace sorvane {

namespace {

/// The longest latency from one layer on: once for each layer and scale, and without recursion, since
/// paths are many and may be long.
template <typename T>
class LatencySearch {
public:
    int run(const BaseLayer<T>& start, int scale) {
        enter(start, scale);
        for (;;) {
            Step& step = path.back();
            const auto& successors = step.layer->getSuccessors();
            if (step.next < successors.size()) {
                const BaseLayer<T>& successor = *successors[step.next];
                if (const int* latency = answer(successor, step.successorScale))
                    step.add(*latency);
                else
                    enter(successor, step.successorScale);
                continue;
            }
            const int latency = wrappingAdd(step.layer->ownLatency(step.scale), step.longest);
            answers[step.layer].emplace(step.scale, latency);
            path.pop_back();
            if (path.empty())
                return latency;
        }
    }

private:
    /// A layer whose successors are being asked.
    struct Step {
        const BaseLayer<T>* layer;
        int scale;
        int successorScale;
        std::size_t next = 0;
        int longest = 0; // of the successors before `next`

        void add(int latency) {
            longest = next == 0 ? latency : std::max(longest, latency);
            ++next;
        }
    };

    [[nodiscard]] const int* answer(const BaseLayer<T>& layer, int scale) const {
        const auto known = answers.find(&layer);
        if (known == answers.end())
            return nullptr;
        const auto found = known->second.find(scale);
        return found == known->second.end() ? nullptr : &found->second;
    }

    void enter(const BaseLayer<T>& layer, int scale) {
        if (answers.contains(&layer))
            numExtraScales += layer.getSuccessors().size();
        if (numExtraScales > maxLatencyScales)
            throw std::length_error("too many paths of different strides");
        const FrameRatio ratio = layer.frameRatio();
        if (ratio.given == 0)
            throw std::domain_error("stride of 0");
        const std::int64_t taken = wrappingMultiply(scale, ratio.taken);
        path.push_back({&layer, scale, static_cast<int>(taken / ratio.given)});
    }

    std::vector<Step> path; // from the start to the layer that is asked
    std::unordered_map<const BaseLayer<T>*, std::map<int, int>> answers; // by scale
    std::size_t numExtraScales = 0; // past the first of each layer, over all edges
};

} // namespace

template <typename T>
int BaseLayer<T>::latency(int scale) const {
    return LatencySearch<T>().run(*this, scale);
}

template int BaseLayer<float>::latency(int) const;

} // namespace sorvane
