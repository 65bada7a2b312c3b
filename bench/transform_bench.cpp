// The real transform beside FFTW, with the plans that FFTW finds by measuring. FFTW's inverse may
// overwrite its source, which ours keeps: the faster of FFTW's two ways.

#include "comparison.h"
#include "registration.h"

#include "support/vector/ipps.h"

#include <fftw3.h>

#include <memory>
#include <random>

namespace sorvane::bench {

namespace {

std::shared_ptr<Ipp8u> block(int bytes) {
    return {ippsMalloc_8u(bytes), ippsFree};
}

/// A transform of both kinds, with a row of samples and one of bins.
class Transform {
public:
    explicit Transform(int order)
        : samples(block(4 << order)),
          bins(block((4 << order) + 8)),
          m_samples(block(4 << order)),
          m_bins(block((4 << order) + 8)) {
        const int length = 1 << order;
        int specSize = 0, initSize = 0, workSize = 0;
        ippsFFTGetSize_R_32f(order, IPP_FFT_NODIV_BY_ANY, ippAlgHintFast, &specSize, &initSize,
                             &workSize);
        m_memory = block(specSize);
        m_work = block(workSize);
        const std::shared_ptr<Ipp8u> init = block(initSize);
        ippsFFTInit_R_32f(&m_spec, order, IPP_FFT_NODIV_BY_ANY, ippAlgHintFast, m_memory.get(),
                          init.get());
        const auto plan = [](fftwf_plan made) {
            return std::shared_ptr<fftwf_plan_s>(made, fftwf_destroy_plan);
        };
        m_forward = plan(fftwf_plan_dft_r2c_1d(length, fftwSamples(), fftwBins(), FFTW_MEASURE));
        m_inverse = plan(fftwf_plan_dft_c2r_1d(length, fftwBins(), fftwSamples(), FFTW_MEASURE));
        std::mt19937 random(3);
        std::uniform_real_distribution<float> uniform(-1, 1);
        for (int n = 0; n < length; ++n)
            floats(samples)[n] = fftwSamples()[n] = uniform(random);
        forward();
        fftwForward();
    }

    void forward() const {
        ippsFFTFwd_RToCCS_32f(floats(samples), floats(bins), m_spec, m_work.get());
    }
    void inverse() const {
        ippsFFTInv_CCSToR_32f(floats(bins), floats(samples), m_spec, m_work.get());
    }
    void fftwForward() const { fftwf_execute(m_forward.get()); }
    void fftwInverse() const { fftwf_execute(m_inverse.get()); }

private:
    static float* floats(const std::shared_ptr<Ipp8u>& p) {
        return reinterpret_cast<float*>(p.get());
    }
    float* fftwSamples() const { return floats(m_samples); }
    fftwf_complex* fftwBins() const { return reinterpret_cast<fftwf_complex*>(m_bins.get()); }

    std::shared_ptr<Ipp8u> samples, bins, m_samples, m_bins, m_memory, m_work;
    IppsFFTSpec_R_32f* m_spec = nullptr;
    std::shared_ptr<fftwf_plan_s> m_forward, m_inverse;
};

} // namespace

void addTransforms() {
    const std::string group = "Real transform";
    for (int order = 6; order <= 13; ++order) {
        const std::string length = std::to_string(1 << order);
        const std::string names[] = {"forward " + length, "inverse " + length};
        if (!isWanted(group, names[0]) && !isWanted(group, names[1]))
            continue;
        const Goal goal = order >= 9 ? Goal{.atLeast = 0.8, .aim = 0.55} : Goal{};
        const Transform transform(order);
        add({.group = group,
             .name = names[0],
             .sides = {repeat("ours", [transform] { transform.forward(); }),
                       repeat("FFTW", [transform] { transform.fftwForward(); })},
             .goal = goal});
        add({.group = group,
             .name = names[1],
             .sides = {repeat("ours", [transform] { transform.inverse(); }),
                       repeat("FFTW", [transform] { transform.fftwInverse(); })},
             .goal = goal});
    }
}

} // namespace sorvane::bench
