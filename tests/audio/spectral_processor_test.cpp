#include "audio/spectral_processor.h"
#include "util/signal_rows.h"

#include <cmath>

namespace sorvane::test {

namespace {

class TestStage : public BaseSpectralProcessor {
public:
    TestStage(const TransformSizes& sizes, int channels) {
        const AudioFormat format = defaultFormat(channels, 48000.0);
        setFormats(format, format);
        setSizes(sizes.fftLength, sizes.frameLength, sizes.hop);
    }

protected:
    void processSpectrum(const ComplexSignal32& frame,
                         RecycledList<ComplexSignal32>& results) override {
        results.push_back(frame, maxSignalsInList);
    }
};

} // namespace

TEST(SpectralProcessor, HoldsBackNoMoreThanItsLatency) {
    const struct {
        TransformSizes sizes;
        int block;
        int latency;
    } cases[] = {{{1024, 1024, 512}, 512, 512}, {{1024, 1024, 512}, 500, 1024},
                 {{1024, 1024, 256}, 256, 512}, {{1024, 1024, 256}, 100, 768},
                 {{1024, 1024, 256}, 512, 512}, {{1024, 1024, 512}, 1, 1024}};
    for (const auto& entry : cases) {
        SCOPED_TRACE("hop " + std::to_string(entry.sizes.hop) + ", block " +
                     std::to_string(entry.block));
        TestStage stage(entry.sizes, 1);
        EXPECT_EQ(stage.getLatency(entry.block), entry.latency);
        int held = 0;
        int most = 0;
        for (int pushed = 0; pushed < 5120; pushed += entry.block) {
            Signal32 output;
            stage.process(output, Signal32(1, entry.block, 0.0F));
            held += entry.block - output.length;
            most = std::max(most, held);
        }
        EXPECT_LE(most, entry.latency);
        EXPECT_GT(most, entry.latency - entry.sizes.hop);
    }
}

TEST(SpectralProcessor, WithoutSizesOrFormats) {
    TestStage passing({0, 0, 0}, 2);
    const AudioRows audio = noise(2, 10, 6);
    Signal32 passed;
    passing.process(passed, toSignal(audio));
    EXPECT_EQ(toRows(passed), audio);

    // No windows are made for a rate that isn't above 0, and the first frame misses them.
    TestStage stage({0, 0, 0}, 1);
    const AudioFormat format = defaultFormat(1, 0.0);
    stage.setFormats(format, format);
    stage.setSizes(64, 64, 32);
    Signal32 output;
    stage.process(output, Signal32(1, 63, 0.0F));
    EXPECT_EQ(output.length, 0);
    EXPECT_THROW(stage.process(output, Signal32(1, 1, 0.0F)), std::runtime_error);
    // That frame is lost: the next one fails when it is whole, not before.
    stage.process(output, Signal32(1, 31, 0.0F));
    EXPECT_THROW(stage.process(output, Signal32(1, 1, 0.0F)), std::runtime_error);
}

// A block of another width restarts the stream, with the width still unknown, so that rows come and
// go within a frame: what a block lacks is silent.
TEST(SpectralProcessor, BlocksMayChangeTheirWidth) {
    const int widths[][4] = {{2, 5, 3, 2}, {2, 1, 2, 2}, {1, 3, 1, 3}, {2, 1, 1, 1}};
    for (const auto& sequence : widths) {
        TestStage stage({64, 64, 32}, 3);
        Signal32 output;
        for (int i = 0; i < 20; ++i) {
            const int channels = sequence[i % 4];
            stage.process(output, Signal32(channels, 50, 0.5F));
            for (int c = 0; c < output.channels; ++c)
                for (int k = 0; k < output.length; ++k)
                    ASSERT_LE(std::abs(output.row(c)[k]), 0.75F);
        }
    }
}

} // namespace sorvane::test
