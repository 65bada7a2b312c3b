#pragma once

// The engine's lists refuse to grow past a fixed count of elements of their kind, the same on every
// platform.

#include <cstddef>
#include <list>
#include <stdexcept>
#include <utility>

namespace sorvane {

/// Most blocks, frames or spectra that one list holds.
inline constexpr std::size_t maxSignalsInList = 178956970;

/// Most tensors that one list holds.
inline constexpr std::size_t maxTensorsInList = 153391689;

/// Most jobs that wait in a thread pool.
inline constexpr std::size_t maxTasksInList = 89478485;

/// Most paths that a processor is made from.
inline constexpr std::size_t maxPathsInVector = 178956970;

/// Raises the error of a list that is full; call before one element is added.
inline void requireRoom(std::size_t size, std::size_t maximum) {
    if (size >= maximum)
        throw std::length_error("list too long");
}

/// Appends `value`, or raises std::length_error "list too long" and changes nothing.
template <typename T>
void appendBounded(std::list<T>& list, T value, std::size_t maximum) {
    requireRoom(list.size(), maximum);
    list.push_back(std::move(value));
}

} // namespace sorvane
