// What the machine can do at most, measured.

#include "machine.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <fstream>

#if defined(__x86_64__)
#include <immintrin.h>
#elif defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace sorvane::bench {

namespace {

constexpr int rounds = 200'000;
constexpr int chains = 12; // independent sums: more than latency times throughput anywhere

// `chains` sums stay in registers; each round adds one product to each.
#define SORVANE_PEAK_LOOP(Vector, set, fma, store)                                                 \
    Vector sums[chains];                                                                           \
    for (auto& sum : sums)                                                                         \
        sum = set(start);                                                                          \
    const Vector factor = set(0.5f), addend = set(0.25f);                                          \
    for (int i = 0; i < rounds; ++i)                                                               \
        for (auto& sum : sums)                                                                     \
            sum = fma;                                                                             \
    alignas(64) float lanes[16];                                                                   \
    float total = 0;                                                                               \
    for (auto& sum : sums) {                                                                       \
        store;                                                                                     \
        total += lanes[0];                                                                         \
    }                                                                                              \
    return total;

#if defined(__x86_64__)
__attribute__((target("avx512f"))) float multiplyAdd16(float start) {
    SORVANE_PEAK_LOOP(__m512, _mm512_set1_ps, _mm512_fmadd_ps(sum, factor, addend),
                      _mm512_store_ps(lanes, sum))
}

__attribute__((target("avx2,fma"))) float multiplyAdd8(float start) {
    SORVANE_PEAK_LOOP(__m256, _mm256_set1_ps, _mm256_fmadd_ps(sum, factor, addend),
                      _mm256_store_ps(lanes, sum))
}

float multiplyAdd4(float start) {
    SORVANE_PEAK_LOOP(__m128, _mm_set1_ps, _mm_add_ps(_mm_mul_ps(sum, factor), addend),
                      _mm_store_ps(lanes, sum))
}

__attribute__((target("avx2"))) std::uint64_t readAll(const std::uint64_t* data,
                                                      std::size_t count) {
    __m256i sums[8] = {};
    for (std::size_t i = 0; i < count; i += 32)
        for (std::size_t k = 0; k < 8; ++k)
            sums[k] = _mm256_xor_si256(
                sums[k], _mm256_load_si256(reinterpret_cast<const __m256i*>(data + i + 4 * k)));
    for (std::size_t k = 1; k < 8; ++k)
        sums[0] = _mm256_xor_si256(sums[0], sums[k]);
    return static_cast<std::uint64_t>(_mm256_extract_epi64(sums[0], 0));
}
#else
std::uint64_t readAll(const std::uint64_t* data, std::size_t count) {
    std::uint64_t sums[8] = {};
    for (std::size_t i = 0; i < count; i += 8)
        for (std::size_t k = 0; k < 8; ++k)
            sums[k] ^= data[i + k];
    for (std::size_t k = 1; k < 8; ++k)
        sums[0] ^= sums[k];
    return sums[0];
}
#if defined(__aarch64__)
float multiplyAdd4(float start) {
    SORVANE_PEAK_LOOP(float32x4_t, vdupq_n_f32, vfmaq_f32(addend, sum, factor),
                      vst1q_f32(lanes, sum))
}
#endif
#endif

/// Shortest of some runs of `job`, in seconds: the machine's best, free of what else it did.
template <typename Job>
double shortest(int runs, Job job) {
    double best = 1e9;
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        volatile auto keep = job();
        static_cast<void>(keep);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        best = std::min(best, took.count());
    }
    return best;
}

} // namespace

std::string processorName() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);)
        if (line.rfind("model name", 0) == 0)
            return line.substr(line.find(':') + 2);
    return "unknown processor";
}

double peakOperations(int lanes) {
    float (*loop)(float) = nullptr;
#if defined(__x86_64__)
    if (lanes == 16 && __builtin_cpu_supports("avx512f"))
        loop = multiplyAdd16;
    else if (lanes == 8 && __builtin_cpu_supports("avx2"))
        loop = multiplyAdd8;
    else if (lanes == 4)
        loop = multiplyAdd4;
#elif defined(__aarch64__)
    if (lanes == 4)
        loop = multiplyAdd4;
#endif
    if (!loop)
        return 0;
    const double seconds = shortest(50, [loop] { return loop(1.0f); });
    return 2.0 * lanes * chains * rounds / seconds;
}

std::vector<Bandwidth> readBandwidths() {
    std::vector<Bandwidth> result{
        {"L1", 16 << 10, 0}, {"L2", 256 << 10, 0}, {"L3", 4 << 20, 0}, {"memory", 256 << 20, 0}};
#if defined(__x86_64__)
    if (!__builtin_cpu_supports("avx2"))
        return {};
#endif
    const auto most = static_cast<std::size_t>(result.back().bytes);
    std::vector<std::uint64_t> block(most / 8 + 8, 1);
    // Aligned to a cache line by hand; the vector's own alignment is that of its elements.
    const auto misfit = reinterpret_cast<std::uintptr_t>(block.data()) % 64;
    const std::uint64_t* data = block.data() + (misfit ? (64 - misfit) / 8 : 0);
    for (auto& level : result) {
        const auto count = static_cast<std::size_t>(level.bytes) / 8;
        const auto passes = std::max<std::size_t>(1, (32 << 20) / (count * 8));
        const double seconds = shortest(15, [=] {
            std::uint64_t sum = 0;
            for (std::size_t i = 0; i < passes; ++i) {
                sum += readAll(data, count);
                benchmark::ClobberMemory(); // or one pass would do for all
            }
            return sum;
        });
        level.gigabytesPerSecond = level.bytes * static_cast<double>(passes) / seconds / 1e9;
    }
    return result;
}

} // namespace sorvane::bench
