#pragma once

// Runs tests in every form of the vector layer that this machine has, and guards their memory.

#include "support/vector/dispatch.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

namespace vectortest {

using sorvane::vector::Kernels;

/// Calls `test` with each form, which is in use meanwhile.
template <class Test>
void forEachForm(Test test) {
    const Kernels* forms[8];
    const int count = sorvane::vector::availableForms(forms, 8);
    const Kernels* before = sorvane::vector::activeKernels.load();
    for (int i = 0; i < count; ++i) {
        sorvane::vector::activeKernels.store(forms[i]);
        test(*forms[i]);
    }
    sorvane::vector::activeKernels.store(before);
}

inline std::vector<float> uniform(std::size_t size, float low, float high, unsigned seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<float> distribution(low, high);
    std::vector<float> values(size);
    std::generate(values.begin(), values.end(), [&] { return distribution(random); });
    return values;
}

/// `size` elements between guard bytes, the first one `offset` elements past an aligned address.
template <class T>
class Guarded {
public:
    Guarded(std::size_t size, std::size_t offset = 0)
        : m_block((size + offset) * sizeof(T) + 3 * guard, fill), m_size(size) {
        const auto address = reinterpret_cast<std::uintptr_t>(m_block.data()) + guard;
        const std::size_t start = (guard - address % guard) % guard + guard + offset * sizeof(T);
        m_data = reinterpret_cast<T*>(m_block.data() + start);
    }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    T* data() { return m_data; }
    T& operator[](std::size_t i) { return m_data[i]; }

    /// Whether nothing but the elements was written.
    bool intact() const { return allFill(0, begin()) && allFill(end(), m_block.size()); }
    /// Whether not even the elements were written.
    bool untouched() const { return allFill(0, m_block.size()); }

private:
    static constexpr std::size_t guard = 64;
    static constexpr unsigned char fill = 0xA5;

    std::size_t begin() const {
        return static_cast<std::size_t>(reinterpret_cast<const unsigned char*>(m_data) -
                                        m_block.data());
    }
    std::size_t end() const { return begin() + m_size * sizeof(T); }
    bool allFill(std::size_t from, std::size_t to) const {
        return std::all_of(m_block.data() + from, m_block.data() + to,
                           [](unsigned char byte) { return byte == fill; });
    }

    std::vector<unsigned char> m_block;
    T* m_data;
    std::size_t m_size;
};

} // namespace vectortest
