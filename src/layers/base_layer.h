#pragma once

#include "audio/output_tensor.h"
#include "layers/record_reader.h"
#include "support/vector_rows.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace sorvane {

/// Scales past the first of each layer, over all edges, at which latency() asks before it gives up.
/// Only paths of many different strides that meet again make more than one a layer.
inline constexpr std::size_t maxLatencyScales = std::size_t{1} << 20;

/// The codes that a model file gives to the kinds of layers; "input" and "output" have none in a
/// file.
enum LayerKind : int {
    inputKind = 0,
    outputKind = 1,
    convKind = 2,
    transposedConvKind = 3,
    reluKind = 4,
    eluKind = 5,
    sigmoidKind = 6,
    normKind = 7,
    concatKind = 9,
    leakyReluKind = 12,
    denseKind = 14,
    separableConvKind = 15,
    preNormKind = 16,
    softplusKind = 17,
    arithmeticKind = 18,
    selfAttentionKind = 19,
    hardSigmoidKind = 20,
    frequencyRescaleKind = 22,
    arPreNormKind = 23,
};

template <typename T>
class BaseLayer;
template <typename T>
class BurstLayer;

/// For how many frames that it takes a layer gives how many.
struct FrameRatio {
    int taken = 1;
    int given = 1;
};

/// The layers of a model by name, as later records find them.
template <typename T>
using LayerMap = std::map<std::string, std::shared_ptr<BaseLayer<T>>>;

/// A node of a push network. A layer that has computed something hands it straight to each of its
/// successors, in the order in which they were attached, each of which finishes its whole subgraph
/// before the next one starts. A new kind overrides forward(); reset() if it remembers;
/// frameRatio() and ownLatency() if it changes the rate of frames or holds them back. One that lets
/// frames go at a flush derives from BurstLayer.
///
/// Tensors between layers are [T, F, C]: frames, frequency positions, channels, channels fastest.
/// What a layer hands on is its own output tensor, valid for the call; a receiver that keeps it
/// copies the value, and the producer detaches before it writes again.
///
/// Errors: exceptions, never return values. std::runtime_error "IPP exception: " and the status
/// text, with the size error for tensors that don't fit each other; the frame in progress is then
/// lost.
/// Threads: one at a time drives a graph.
/// Real time: after the first frames of a shape no allocation, but for frames that wait in numbers
/// that have not been met before.
template <typename T>
class BaseLayer {
public:
    explicit BaseLayer(int layerKind);

    /// Reads the name of the layer's input and attaches to it. std::out_of_range for an unknown
    /// name.
    BaseLayer(LayerMap<T>& layers, RecordReader& reader, int layerKind);

    BaseLayer(const BaseLayer&) = delete;
    BaseLayer& operator=(const BaseLayer&) = delete;
    virtual ~BaseLayer();

    /// Consumes all frames of `input` now, and passes on what comes of them. `source` is the layer
    /// that calls, null for the network's caller. Returns true when a frame reached an output.
    virtual bool forward(const Tensor<T>& input, BaseLayer* source);

    /// Forgets the stream; a layer without streaming state does nothing. Doesn't call successors.
    virtual void reset();

    /// Input frames of the network that pass before the first output frame, along the longest path.
    /// `scale` is the number of network input frames that one frame here stands for. std::domain_error
    /// where a ratio on a path gives nothing, by which a scale would be divided; std::length_error past
    /// maxLatencyScales.
    [[nodiscard]] int latency(int scale) const;

    /// Tells the graph downstream that a tick passed without output from an upstream layer.
    virtual void flush() final;

    /// Input frames of the network that this layer itself holds back, at a scale as above.
    [[nodiscard]] virtual int ownLatency(int scale) const;

    [[nodiscard]] virtual FrameRatio frameRatio() const;

    void addSuccessor(BaseLayer& successor) { successors.push_back(&successor); }

    /// Not owned, in order of attachment.
    [[nodiscard]] const std::vector<BaseLayer*>& getSuccessors() const { return successors; }

    /// Makes `changes` the count, for the whole graph, of the frames that began or ended to wait for
    /// a flush: all layers that can reach each other share one.
    void countBurstsIn(std::shared_ptr<std::uint64_t> changes) {
        burstChanges = std::move(changes);
    }

protected:
    /// Passes a tensor to every successor. True when any of them returned true.
    bool forwardToSuccessors(const Tensor<T>& output);

    /// Calls flush() on every successor.
    void flushSuccessors();

private:
    friend class BurstLayer<T>;

    /// Named by BurstLayer alone, so that no other layer can override what takes it: a layer whose
    /// waiting frames nobody counts would not be flushed.
    struct Tick {};

    /// A tick of flush() for this layer itself.
    virtual void tick(Tick) {}

    /// Counts a frame that begins or ends to wait for a flush.
    void noteBurstChange() { ++*burstChanges; }

    std::vector<BaseLayer*> successors;
    int kind; // nothing reads it; it tells layers apart in a debugger

    std::shared_ptr<std::uint64_t> burstChanges = std::make_shared<std::uint64_t>(0);
    std::uint64_t idleSince = ~std::uint64_t{0}; // burstChanges when a flush last found nothing
};

/// Looks a layer up by name; std::out_of_range "invalid map<K, T> key" for an unknown one.
template <typename T>
BaseLayer<T>& findLayer(LayerMap<T>& layers, const std::string& name);

/// Raises the null-pointer error for a tensor whose buffer could not be had.
inline void requireElements(const Tensor32& tensor, const TensorDims& dims) {
    if (!tensor.elements() && dims.frames > 0 && dims.frameSize() > 0)
        throwStatus(ippStsNullPtrErr);
}

/// Notices when the shape of a layer's input changes, so that tensors are held against each other
/// once a shape rather than once a frame.
class ShapeGuard {
public:
    /// Calls `verify(dimensions)` for a shape that differs from the last one that passed. What it
    /// raises leaves the shape unpassed. The null-pointer error for a tensor whose buffer could not
    /// be had. Returns the dimensions.
    template <typename Verify>
    TensorDims operator()(const Tensor32& input, Verify&& verify) {
        if (!hasPassed(input)) {
            forget();
            dims = dimsOf(input);
            requireElements(input, dims);
            verify(std::as_const(dims));
            passedRank = input.shape.size() == 3 ? 3 : none;
        }
        return dims;
    }

    /// Makes the next call verify, after the layer has changed what the check depends on.
    void forget() { passedRank = none; }

private:
    /// Whether a tensor has elements and the shape that passed last. Shapes of other than three
    /// dimensions are rare, and verified anew. All in as few comparisons as there can be: every
    /// layer asks for every frame.
    [[nodiscard]] bool hasPassed(const Tensor32& input) const {
        return input.shape.size() == passedRank &&
               std::memcmp(input.shape.data(), &dims, sizeof dims) == 0 &&
               input.elements() != nullptr;
    }

    static constexpr std::size_t none = ~std::size_t{0};
    static_assert(sizeof(TensorDims) == 3 * sizeof(int));

    std::size_t passedRank = none;
    TensorDims dims;
};

/// Products and sums of latencies wrap at 32 bits.
constexpr int wrappingAdd(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) + static_cast<unsigned>(b));
}
constexpr int wrappingMultiply(int a, int b) {
    return static_cast<int>(static_cast<unsigned>(a) * static_cast<unsigned>(b));
}

extern template class BaseLayer<float>;
extern template BaseLayer<float>& findLayer(LayerMap<float>&, const std::string&);

} // namespace sorvane
