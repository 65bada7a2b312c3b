#include "vector_bench.h"

#include "support/vector/ipps.h"

#include <cstring>
#include <random>

namespace sorvane::bench {

RowBlocks::RowBlocks(int length, float low, float high, float value) {
    // Apart by more than a row in the first cache, whose sets addresses 4,096 bytes apart share: a
    // store and a later load of the same low bits would wait for each other.
    constexpr int capacity = 2 * 1025;
    std::mt19937 random(11);
    std::uniform_real_distribution<float> uniform(low, high);
    for (int i = 0; i < 3; ++i) {
        m_blocks[i] = {reinterpret_cast<float*>(ippsMalloc_8u((capacity + 256 * i) * 4)),
                       [](float* block) { ippsFree(block); }};
        for (int n = 0; n < capacity; ++n)
            m_blocks[i].get()[n] = i < 2 ? uniform(random) : 0.0F;
    }
    m_rows = {m_blocks[0].get(), m_blocks[1].get(), m_blocks[2].get(), length, value};
}

Side side(std::string name, Loop loop, const RowBlocks& blocks) {
    return {std::move(name), [loop, blocks](benchmark::State& state) {
                constexpr std::int64_t batch = 64; // calls between two looks at the clock's count
                while (state.KeepRunningBatch(batch))
                    loop(blocks.rows(), batch);
            }};
}

const OtherWays* waysOfActiveForm() {
#if defined(__x86_64__)
    for (const OtherWays* ways : {&waysSse2, &waysAvx2, &waysAvx512})
        if (std::strcmp(ways->form, vector::kernels().name) == 0)
            return ways;
#endif
    return nullptr;
}

} // namespace sorvane::bench
