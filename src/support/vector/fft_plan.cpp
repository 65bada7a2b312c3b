#include "support/vector/fft_plan.h"

#include <bit>
#include <cmath>
#include <new>
#include <numbers>
#include <utility>

namespace sorvane::vector {

namespace {

constexpr std::int64_t alignment = 64;

std::int64_t padded(std::int64_t bytes) {
    return (bytes + alignment - 1) / alignment * alignment;
}

Ipp8u* aligned(Ipp8u* p) {
    const auto past = reinterpret_cast<std::uintptr_t>(p) % alignment;
    return past == 0 ? p : p + (alignment - past);
}

/// Hands out pieces of a transform's memory, or only counts them when there is none.
class Arena {
public:
    explicit Arena(Ipp8u* memory) : m_memory(memory) {}

    template <class T>
    T* take(std::int64_t count) {
        const std::int64_t at = m_used;
        m_used += padded(count * static_cast<std::int64_t>(sizeof(T)));
        return m_memory == nullptr ? nullptr : reinterpret_cast<T*>(m_memory + at);
    }

    std::int64_t used() const { return m_used; }

private:
    Ipp8u* m_memory;
    std::int64_t m_used = 0;
};

/// exp(-2 pi i k / n), computed within the first eighth of a turn, so that symmetric roots
/// have symmetric values.
void unitRoot(std::int64_t k, std::int64_t n, double& re, double& im) {
    k %= n;
    const std::int64_t quarter = k * 4 / n;
    std::int64_t rest = 4 * k - quarter * n; // in quarters of a turn, over n
    const bool mirrored = 2 * rest > n;
    if (mirrored)
        rest = n - rest;
    const double angle = std::numbers::pi / 2 * static_cast<double>(rest) / static_cast<double>(n);
    double c = std::cos(angle), s = std::sin(angle);
    if (mirrored)
        std::swap(c, s);
    const double x[4] = {c, -s, -c, s};
    re = x[quarter];
    im = -x[(quarter + 3) % 4];
}

/// The radices of the passes over 2^bits complex samples: vectors first need a pass of their own
/// width, whose outputs fill whole vectors; the rest are eights, and fours for what is left.
int chooseRadices(int bits, int lanes, int (&radices)[16]) {
    int count = 0;
    if (lanes > 1) {
        radices[count++] = lanes;
        bits -= std::countr_zero(static_cast<unsigned>(lanes));
    }
    const int fours = bits % 3 == 1 ? 2 : bits % 3 == 2 ? 1 : 0;
    if (bits == 1) {
        radices[count++] = 2;
        return count;
    }
    for (int i = 0; i < (bits - 2 * fours) / 3; ++i)
        radices[count++] = 8;
    for (int i = 0; i < fours; ++i)
        radices[count++] = 4;
    return count;
}

/// Lays a plan out and, where there is memory, fills it.
class FftPlanBuilder {
public:
    FftPlanBuilder(Ipp8u* memory, int order, const Kernels& form)
        : m_arena(memory), m_order(order), m_form(form) {
        m_spec = m_arena.take<IppsFFTSpec_R_32f>(1);
        if (m_spec != nullptr)
            new (m_spec) IppsFFTSpec_R_32f{};
    }

    void planPasses() {
        const int bits = m_order - 1;
        const int widthBits = std::countr_zero(static_cast<unsigned>(m_form.lanes));
        // Vectors need as many butterflies in the first pass as they have lanes.
        const int lanes = bits >= 2 * widthBits ? m_form.lanes : 1;
        if (m_spec != nullptr)
            m_spec->lanes = lanes;
        if (bits < 1)
            return;
        int radices[16];
        const int numPasses = chooseRadices(bits, lanes, radices);
        std::int64_t rest = std::int64_t{1} << bits;
        std::int64_t stride = 1;
        for (int i = 0; i < numPasses; ++i) {
            const int radix = radices[i];
            rest /= radix;
            const float* twiddles = planTwiddles(radix, rest, i == 0 ? lanes : 1);
            if (m_spec != nullptr)
                m_spec->passes[i] = {radix, static_cast<std::ptrdiff_t>(rest),
                                     static_cast<std::ptrdiff_t>(stride), twiddles};
            stride *= radix;
        }
        planUnpacking(bits);
        if (m_spec != nullptr)
            m_spec->numPasses = numPasses;
    }

    void planInPlace() {
        const int bits = m_order > 1 ? m_order - 1 : 1; // of an index below N / 2
        const int fineBits = bits / 2;
        const std::int64_t numFine = std::int64_t{1} << fineBits;
        const std::int64_t numCoarse = std::int64_t{1} << (bits - fineBits);
        auto* coarse = m_arena.take<double>(2 * numCoarse);
        auto* fine = m_arena.take<double>(2 * numFine);
        if (m_spec == nullptr)
            return;
        const std::int64_t n = std::int64_t{2} << bits;
        for (std::int64_t i = 0; i < numCoarse; ++i)
            unitRoot(i * numFine, n, coarse[2 * i], coarse[2 * i + 1]);
        for (std::int64_t i = 0; i < numFine; ++i)
            unitRoot(i, n, fine[2 * i], fine[2 * i + 1]);
        m_spec->coarseTwiddles = coarse;
        m_spec->fineTwiddles = fine;
        m_spec->fineBits = fineBits;
    }

    IppsFFTSpec_R_32f* spec() const { return m_spec; }
    std::int64_t size() const { return m_arena.used() + alignment; }

private:
    /// For each `lanes` butterflies, in the order in which the form splits pairs, and each k from
    /// 1: their real parts, then their imaginary ones.
    const float* planTwiddles(int radix, std::int64_t count, int lanes) {
        auto* table = m_arena.take<float>(std::int64_t{2} * (radix - 1) * count);
        if (table == nullptr)
            return nullptr;
        float* at = table;
        for (std::int64_t p = 0; p < count; p += lanes) {
            for (std::int64_t k = 1; k < radix; ++k, at += std::ptrdiff_t{2} * lanes) {
                for (std::int64_t lane = 0; lane < lanes; ++lane) {
                    const std::int64_t index = lanes == 1 ? p : p + m_form.pairOrder[lane];
                    store(index * k, radix * count, at[lane], at[lanes + lane]);
                }
            }
        }
        return table;
    }

    void planUnpacking(int bits) {
        const std::int64_t half = std::int64_t{1} << (bits - 1);
        auto* table = m_arena.take<float>(2 * half);
        if (m_spec == nullptr)
            return;
        for (std::int64_t k = 1; k <= half; ++k)
            store(k, 4 * half, table[k - 1], table[half + k - 1]);
        m_spec->unpackTwiddles = table;
    }

    static void store(std::int64_t k, std::int64_t n, float& re, float& im) {
        double x = 0, y = 0;
        unitRoot(k, n, x, y);
        re = static_cast<float>(x);
        im = static_cast<float>(y);
    }

    Arena m_arena;
    int m_order;
    const Kernels& m_form;
    IppsFFTSpec_R_32f* m_spec = nullptr;
};

} // namespace

FftSizes fftSizes(int order, FftMethod method, const Kernels& form) {
    FftPlanBuilder builder(nullptr, order, form);
    std::int64_t work = 0;
    if (method == FftMethod::passes) {
        builder.planPasses();
        const std::int64_t size = (std::int64_t{1} << order) / 2;
        work = padded(fftWorkFloats(size) * static_cast<std::int64_t>(sizeof(float)));
    } else {
        builder.planInPlace();
    }
    return {builder.size(), work + alignment};
}

IppsFFTSpec_R_32f* buildFft(int order, int flag, FftMethod method, const Kernels& form,
                            Ipp8u* memory) {
    FftPlanBuilder builder(aligned(memory), order, form);
    IppsFFTSpec_R_32f& spec = *builder.spec();
    spec.id = IppsFFTSpec_R_32f::identity;
    spec.order = order;
    const double n = std::ldexp(1.0, order);
    spec.forwardScale = static_cast<float>(flag == 1 ? 1 / n : flag == 4 ? 1 / std::sqrt(n) : 1.0);
    spec.inverseScale = static_cast<float>(flag == 2 ? 1 / n : flag == 4 ? 1 / std::sqrt(n) : 1.0);
    if (method == FftMethod::passes) {
        builder.planPasses();
        spec.forward = form.fftForward;
        spec.inverse = form.fftInverse;
    } else {
        builder.planInPlace();
        spec.forward = fftForwardInPlace;
        spec.inverse = fftInverseInPlace;
    }
    return &spec;
}

} // namespace sorvane::vector
