#include "layers/burst_layer.h"

namespace sorvane {

template <typename T>
void BurstLayer<T>::hold(const Tensor<T>& frame) {
    pending.push_back(frame, maxTensorsInList);
    this->noteBurstChange();
}

template <typename T>
bool BurstLayer<T>::release() {
    while (!pending.empty()) {
        // Taken out first: a frame whose passage fails is lost, as everywhere.
        leaving = pending.front();
        pending.pop_front();
        this->noteBurstChange();
        const bool reached = this->forwardToSuccessors(leaving);
        leaving.data.reset();
        if (reached)
            return true;
    }
    return false;
}

template <typename T>
void BurstLayer<T>::reset() {
    pending.clear();
}

template class BurstLayer<float>;

} // namespace sorvane
