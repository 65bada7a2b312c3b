#include "util/processor_handle.h"
#include "util/signal_rows.h"
#include "util/u_network.h"

#include <climits>
#include <cmath>
#include <functional>
#include <limits>

#if defined(__x86_64__)
#include <xmmintrin.h>
#endif
#if defined(__unix__)
#include <sys/mman.h>
#endif

namespace sorvane::test {

namespace {

// Everything that a stream may carry but ordinary audio.
AudioRows oddAudio(int length) {
    const float specials[] = {std::numeric_limits<float>::quiet_NaN(),
                              std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity(),
                              std::numeric_limits<float>::max(),
                              std::numeric_limits<float>::denorm_min(),
                              -1e-40F,
                              -0.0F};
    AudioRows audio = noise(1, length, 8, 1e-39);
    for (std::size_t i = 0; i < audio[0].size(); i += 3)
        audio[0][i] = specials[i / 3 % 7];
    return audio;
}

} // namespace

TEST(HostileAudio, AResetLeavesNothingOfIt) {
    for (const ModelFile& model : {uNetwork(), everyKindNetwork()}) {
        const ProcessorHandle handle = makeProcessor(model, 1, model.sampleRate);
        sorvaneSetParameterValue(handle.get(), SORVANE_BUS_GAIN + 1, 0.0F);
        const AudioRows audio = noise(1, 8000, 4);
        const AudioRows expected = process(handle.get(), audio);
        for (const float sample : expected[0])
            ASSERT_TRUE(std::isfinite(sample));
        for (int pass = 0; pass < 2; ++pass) {
            process(handle.get(), oddAudio(5000), 333);
            sorvaneResetProcessorState(handle.get());
            EXPECT_EQ(process(handle.get(), audio), expected);
        }
    }
}

#if defined(__unix__)
// No block of memory holds as many: the first use of the missing one raises, and nothing is read.
TEST(HostileAudio, TheLongestBlockIsRefused) {
    const auto* samples = static_cast<const float*>(
        mmap(nullptr, std::size_t{INT_MAX} * 4, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    const ProcessorHandle handle = makeProcessor(ModelFile(), 2, 48000.0);
    const float* rows[] = {samples, samples};
    for (const auto& push : std::vector<std::function<void()>>{
             [&] { sorvaneAddAudio(handle.get(), rows, INT_MAX); },
             [&] { sorvaneAddAudioInterleaved(handle.get(), samples, INT_MAX); }})
        EXPECT_EQ(errorOf(push), "IPP exception: ippStsNullPtrErr: Null pointer error");
    EXPECT_EQ(sorvaneGetNumOfPendingSamples(handle.get()), 0);
}
#endif

#if defined(__x86_64__)
// Whatever a host's thread has set: rounding, denormals.
TEST(HostileAudio, CallsLeaveTheFloatingPointStateAlone) {
    const unsigned int states[] = {0x1F80, 0x1F80 | 0x8040, 0x1F80 | 0x2000,
                                   0x1F80 | 0x6000 | 0x40};
    constexpr unsigned int control = ~0x3FU; // the rest tells which exceptions have occurred
    const unsigned int before = _mm_getcsr();
    const TempFile file = everyKindNetwork().write();
    const char* paths[] = {file.c_str(), file.c_str()};
    const AudioRows audio = oddAudio(400);
    const float* rows[] = {audio[0].data()};
    std::vector<float> output(4096);
    float* outputRows[] = {output.data()};
    const int shape[] = {1, 33, 1};
    const std::function<void(void*)> calls[] = {
        [&](void* handle) { sorvaneAddAudio(handle, rows, 400); },
        [&](void* handle) { sorvaneAddAudioInterleaved(handle, rows[0], 400); },
        [&](void* handle) { sorvaneGetAudio(handle, outputRows, 32); },
        [&](void* handle) { sorvaneGetAudioInterleaved(handle, output.data(), 32); },
        [&](void* handle) { sorvaneSetParameterValue(handle, SORVANE_REMAINDER_LEVEL, -3.0F); },
        [&](void* handle) { sorvaneGetParameterValue(handle, SORVANE_REMAINDER_LEVEL); },
        [&](void* handle) { sorvaneResetProcessorState(handle); },
        [&](void*) {
            const ModelHandle model(sorvaneCreateModel(paths[0]));
            sorvaneAddTensor(model.get(), rows[0], 3, shape);
            sorvaneGetTensor(model.get(), output.data());
            sorvaneResetModelState(model.get());
        },
        [&](void*) { const ProcessorHandle other(sorvaneCreateStemSeparator(2, paths, 1, 48e3)); },
    };
    for (const unsigned int state : states) {
        const ProcessorHandle handle(sorvaneCreateProcessor(paths[0], 1, 48000.0));
        for (std::size_t i = 0; i < std::size(calls); ++i) {
            _mm_setcsr(state);
            calls[i](handle.get());
            const unsigned int after = _mm_getcsr();
            _mm_setcsr(before);
            EXPECT_EQ(after & control, state & control) << "state " << state << ", call " << i;
        }
    }
}
#endif

} // namespace sorvane::test
