#pragma once

#include "audio/tensor.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace sorvane {

/// A tensor that its owner writes anew for every frame and hands on, to receivers of which some keep
/// it for a while. Buffers that were handed on are written again once nobody has them any more, so
/// that a steady stream allocates none. Remembers as many as were out at once, up to 4,096.
/// Threads: one at a time.
template <typename T>
class OutputTensor : public Tensor<T> {
public:
    /// Stores a shape and returns elements of undefined contents for writing, which nobody else
    /// has; null without a buffer.
    T* renew(std::span<const int> dimensions) {
        this->setShape(dimensions);
        if (this->isShared())
            changeBuffer(elementCount(this->shape));
        return this->data ? this->data->data : nullptr;
    }
    T* renew(std::initializer_list<int> dimensions) {
        return renew(std::span<const int>(dimensions.begin(), dimensions.size()));
    }

private:
    // Receivers let go in the order in which they were given, so that the oldest is free first.
    void changeBuffer(std::int64_t count) {
        for (std::size_t i = 0; i < std::min(given.size(), maxTries); ++i) {
            const std::size_t place = (next + i) % given.size();
            std::shared_ptr<TensorData<T>>& old = given[place];
            if (!isSoleOwner(old))
                continue;
            if (old->size < count)
                old = std::make_shared<TensorData<T>>(count);
            next = (place + 1) % given.size();
            std::swap(old, this->data);
            return;
        }
        auto fresh = std::make_shared<TensorData<T>>(count);
        if (given.size() < maxGiven) {
            given.insert(given.begin() + static_cast<std::ptrdiff_t>(next), this->data);
            next = (next + 1) % given.size();
        }
        this->data = std::move(fresh);
    }

    static constexpr std::size_t maxGiven = 4096;
    static constexpr std::size_t maxTries = 4; // a receiver may keep all, and more and more of them
    std::vector<std::shared_ptr<TensorData<T>>> given; // a ring, oldest at `next`
    std::size_t next = 0;
};

} // namespace sorvane
