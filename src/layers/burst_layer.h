#pragma once

#include "layers/base_layer.h"
#include "support/recycled_list.h"

namespace sorvane {

/// Base of layers that finish several frames at once and let them go one a tick: the one kind that a
/// flush releases something from. It keeps count of what waits, so that a flush finds its way here.
template <typename T>
class BurstLayer : public BaseLayer<T> {
public:
    using BaseLayer<T>::BaseLayer;

    /// Drops the frames that wait.
    void reset() override;

protected:
    /// Lets a finished frame wait behind the others. std::length_error "list too long" when full.
    void hold(const Tensor<T>& frame);

    /// Passes on the frames that wait, up to the first that reaches an output: true then. One that
    /// reaches none is followed by the next at once.
    bool release();

private:
    void tick(typename BaseLayer<T>::Tick) override { release(); }

    RecycledList<Tensor<T>> pending; // oldest first
    Tensor<T> leaving;               // taken out of `pending`
};

extern template class BurstLayer<float>;

} // namespace sorvane
