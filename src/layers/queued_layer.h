#pragma once

#include "layers/base_layer.h"
#include "support/recycled_list.h"

#include <cstddef>
#include <list>
#include <unordered_map>
#include <vector>

namespace sorvane {

/// Base of layers with several inputs: queues each input's frames, and runs once a frame when every
/// input has delivered it. The k-th frame of one input meets the k-th frame of another, whatever
/// their rates and delays. An input that never delivers makes the queues of the others grow without
/// bound, and so does a layer named twice: all its frames go to the first of its two queues.
template <typename T>
class BaseQueuedLayer : public BaseLayer<T> {
public:
    /// Reads the list of inputs and attaches to each, in order. std::out_of_range for an unknown
    /// name.
    BaseQueuedLayer(LayerMap<T>& layers, RecordReader& reader, int layerKind);

    bool forward(const Tensor<T>& input, BaseLayer<T>* source) override;

    /// Drops the frames that wait.
    void reset() override;

protected:
    /// Computes one frame: `frames` has a tensor [1, F, C] per input, in input order. Returns true
    /// when a frame reached an output.
    virtual bool process(const std::vector<Tensor<T>>& frames,
                         const std::vector<BaseLayer<T>*>& sources) = 0;

private:
    bool runReadyFrames();

    struct InputQueue {
        RecycledList<Tensor<T>> frames; // each [1, F, C]
        BaseLayer<T>* source;
    };

    std::vector<BaseLayer<T>*> sources;
    std::list<InputQueue> inputQueues;                          // one an input, in file order
    OutputTensor<T> stage;                                      // a frame on its way into a queue
    std::unordered_map<BaseLayer<T>*, InputQueue*> firstQueues; // of each source
    std::size_t numEmptyQueues = 0;
    std::vector<Tensor<T>> joining; // one frame of each input
};

extern template class BaseQueuedLayer<float>;

} // namespace sorvane
