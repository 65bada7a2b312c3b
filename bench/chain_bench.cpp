// What the spectral chain costs beside the transforms that it can't do without.

#include "comparison.h"
#include "networks.h"
#include "registration.h"

namespace sorvane::bench {

void addChain() {
    constexpr int length = 1024, hop = 512, channels = 2;
    const test::ModelFile file{.numInputChannels = channels,
                               .inputPacking = {.bins = length / 2 + 1},
                               .numOutputChannels = channels,
                               .outputPacking = {.bins = length / 2 + 1},
                               .fftLength = length,
                               .frameLength = length,
                               .hop = hop};
    const test::TempFile path = file.write();
    const Signal32 block = noise(channels, hop);
    const auto chainAt = [&](float sensitivity) {
        std::shared_ptr<SorvaneProcessor> processor =
            makeProcessor({path.c_str()}, channels, file.sampleRate);
        processor->busSensitivities[0].store(sensitivity);
        processor->busSensitivities[1].store(sensitivity);
        processor->busGains[1].store(0.25F);
        return repeat("ours", [processor, block] {
            Signal32 output;
            processor->process(output, block);
        });
    };
    // The spectra live outside the loop: the transforms alone are timed, not their results' memory.
    const auto transforms = [&] {
        int specSize = 0, initSize = 0, workSize = 0;
        ippsFFTGetSize_R_32f(10, IPP_FFT_NODIV_BY_ANY, ippAlgHintFast, &specSize, &initSize,
                             &workSize);
        std::shared_ptr<Ipp8u> memory(ippsMalloc_8u(specSize), ippsFree);
        const std::shared_ptr<Ipp8u> init(ippsMalloc_8u(initSize), ippsFree);
        std::shared_ptr<Ipp8u> work(ippsMalloc_8u(workSize), ippsFree);
        IppsFFTSpec_R_32f* spec = nullptr;
        ippsFFTInit_R_32f(&spec, 10, IPP_FFT_NODIV_BY_ANY, ippAlgHintFast, memory.get(),
                          init.get());
        const Signal32 frame = noise(channels, length);
        Signal32 spectrum(channels, length + 2);
        Signal32 result(channels, length);
        return repeat("4 transforms", [=]() mutable {
            for (int c = 0; c < channels; ++c) {
                ippsFFTFwd_RToCCS_32f(frame.row(c), spectrum.channelData(c), spec, work.get());
                ippsFFTInv_CCSToR_32f(spectrum.row(c), result.channelData(c), spec, work.get());
            }
            benchmark::DoNotOptimize(memory);
        });
    };
    const std::string group = "Chain of a layerless network, stereo, 1,024/1,024/512, a frame";
    add({.group = group,
         .name = "sensitivity 0",
         .sides = {chainAt(0.0F), transforms()},
         .goal = {.atLeast = 2.0, .aim = 1.4}});
    add({.group = group, .name = "sensitivity 50", .sides = {chainAt(50.0F), transforms()}});
    add({.group = group, .name = "sensitivity -50", .sides = {chainAt(-50.0F), transforms()}});
}

} // namespace sorvane::bench
