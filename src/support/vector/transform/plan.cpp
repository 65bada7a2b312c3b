#include "support/vector/transform/plan.h"

#include "support/vector/alignment.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <new>
#include <numbers>
#include <utility>

namespace sorvane::vector {

namespace {

std::int64_t padded(std::int64_t bytes) {
    return (bytes + alignment - 1) / alignment * alignment;
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

/// The widest vectors, of at most `widest` lanes, that fill every pass over 2^bits complex samples.
int passLanes(int bits, int widest) {
    for (int lanes = widest; lanes >= 4; lanes /= 2) {
        const int needed = lanes == 4 ? 4 : 4 + std::countr_zero(static_cast<unsigned>(lanes));
        if (bits >= needed)
            return lanes;
    }
    return 1;
}

/// The radices of the column passes over `bits`: eights, and fours for what is left. With 16
/// registers an eight spills, but is no slower than the passes that it saves.
int chooseRadices(int bits, int* radices) {
    int count = 0;
    if (bits == 1) {
        radices[count++] = 2;
        return count;
    }
    for (; bits % 3 != 0; bits -= 2)
        radices[count++] = 4;
    for (; bits > 0; bits -= 3)
        radices[count++] = 8;
    return count;
}

/// Lays a plan out and, where there is memory, fills it.
class FftPlanBuilder {
public:
    FftPlanBuilder(Ipp8u* memory, int order, int flag, const Kernels& form)
        : m_arena(memory), m_order(order), m_form(form) {
        m_spec = m_arena.take<IppsFFTSpec_R_32f>(1);
        if (m_spec == nullptr)
            return;
        new (m_spec) IppsFFTSpec_R_32f{};
        m_spec->id = IppsFFTSpec_R_32f::identity;
        m_spec->order = order;
        const double n = std::ldexp(1.0, order);
        const double root = 1 / std::sqrt(n);
        m_spec->forwardScale = static_cast<float>(flag == 1 ? 1 / n : flag == 4 ? root : 1.0);
        m_spec->inverseScale = static_cast<float>(flag == 2 ? 1 / n : flag == 4 ? root : 1.0);
    }

    void planPasses() {
        const int bits = m_order - 1;
        if (bits < 2)
            return;
        const int lanes = passLanes(bits, m_form.lanes);
        const int numQuadPasses = lanes > 4 ? 2 : lanes > 1 ? 1 : 0;
        int radices[16];
        for (int i = 0; i < numQuadPasses; ++i)
            radices[i] = 4;
        const int numPasses =
            numQuadPasses + chooseRadices(bits - 2 - 2 * numQuadPasses, radices + numQuadPasses);
        std::int64_t rest = std::int64_t{1} << bits;
        std::int64_t stride = 1;
        for (int i = 0; i < numPasses; ++i) {
            const int radix = radices[i];
            rest /= radix;
            const float* twiddles =
                i >= numQuadPasses ? planTwiddles(radix, rest) : planTwiddles(rest, lanes, i == 1);
            if (m_spec != nullptr)
                m_spec->passes[i] = {radix, static_cast<std::ptrdiff_t>(rest),
                                     static_cast<std::ptrdiff_t>(stride), twiddles};
            stride *= radix;
        }
        planUnpacking(std::int64_t{1} << (bits - 2), lanes);
        if (m_spec != nullptr) {
            m_spec->lanes = lanes;
            m_spec->numPasses = numPasses;
        }
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
    /// For each butterfly and each k from 1: the real part, then the imaginary one.
    const float* planTwiddles(int radix, std::int64_t count) {
        auto* table = m_arena.take<float>(2 * (radix - 1) * count);
        if (table == nullptr)
            return nullptr;
        float* at = table;
        for (std::int64_t p = 0; p < count; ++p) {
            for (std::int64_t k = 1; k < radix; ++k, at += 2)
                store(p * k, radix * count, 1.0, at[0], at[1]);
        }
        return table;
    }

    /// For each vector of butterflies of four and each k from 1: their real parts, then their
    /// imaginary ones. Either every lane is a butterfly or, in quads, lane l of a group's vector i
    /// belongs to the group's butterfly i + 4 (l / 4).
    const float* planTwiddles(std::int64_t count, int lanes, bool quads) {
        auto* table = m_arena.take<float>((quads ? 24 : 6) * count);
        if (table == nullptr)
            return nullptr;
        float* at = table;
        for (std::int64_t group = 0; group < count; group += lanes) {
            for (int i = 0; i < (quads ? 4 : 1); ++i) {
                for (std::int64_t k = 1; k < 4; ++k, at += std::ptrdiff_t{2} * lanes) {
                    for (int lane = 0; lane < lanes; ++lane) {
                        const std::int64_t p = group + (quads ? i + lane / 4 * 4 : lane);
                        store(p * k, 4 * count, 1.0, at[lane], at[lanes + lane]);
                    }
                }
            }
        }
        return table;
    }

    /// Halved, in the order in which bins are unpacked.
    void planUnpacking(std::int64_t columns, int lanes) {
        const std::int64_t half = columns > 1 ? std::max<std::int64_t>(columns / 2, lanes) : 0;
        auto* table = m_arena.take<float>(8 * half);
        auto* selfMirrored = m_arena.take<float>(8);
        if (m_spec == nullptr)
            return;
        float* at = table;
        for (std::int64_t q = 0; q < half; q += lanes) {
            for (std::int64_t k = 0; k < 4; ++k, at += std::ptrdiff_t{2} * lanes) {
                for (std::int64_t lane = 0; lane < lanes; ++lane)
                    store(q + lane + k * columns, 8 * columns, 0.5, at[lane], at[lanes + lane]);
            }
        }
        const std::int64_t halves[4] = {2, 4, 1, 3}; // of a row of columns
        for (int i = 0; i < 4; ++i)
            store(halves[i], 16, 0.5, selfMirrored[2 * i], selfMirrored[2 * i + 1]);
        m_spec->unpackTwiddles = table;
        m_spec->selfMirroredTwiddles = selfMirrored;
    }

    static void store(std::int64_t k, std::int64_t n, double scale, float& re, float& im) {
        double x = 0, y = 0;
        unitRoot(k, n, x, y);
        re = static_cast<float>(scale * x);
        im = static_cast<float>(scale * y);
    }

    Arena m_arena;
    int m_order;
    const Kernels& m_form;
    IppsFFTSpec_R_32f* m_spec = nullptr;
};

} // namespace

FftSizes fftSizes(int order, FftMethod method, const Kernels& form) {
    FftPlanBuilder builder(nullptr, order, IPP_FFT_NODIV_BY_ANY, form);
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
    FftPlanBuilder builder(alignedFrom(memory), order, flag, form);
    IppsFFTSpec_R_32f& spec = *builder.spec();
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
