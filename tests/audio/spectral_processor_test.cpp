#include "audio/spectral_processor.h"
#include "util/signal_rows.h"

#include <cmath>

namespace sorvane::test {

namespace {

// Gives back `burst` frames at every burst-th frame, its channels swapped.
class TestStage : public BaseSpectralProcessor {
public:
    TestStage(const TransformSizes& sizes, int channels, int burst = 1) : frames(burst) {
        const AudioFormat format = defaultFormat(channels, 48000.0);
        setFormats(format, format);
        setSizes(sizes.fftLength, sizes.frameLength, sizes.hop);
    }

    AudioRows run(const AudioRows& audio, const std::vector<int>& blocks) {
        AudioRows result(audio.size());
        std::size_t start = 0;
        for (std::size_t i = 0; start < audio[0].size(); ++i) {
            const auto block = static_cast<std::size_t>(blocks[i % blocks.size()]);
            const std::size_t end = std::min(start + block, audio[0].size());
            Signal32 output;
            process(output, toSignal(slice(audio, start, end)));
            EXPECT_EQ(output.length % std::max(hop, 1), 0);
            EXPECT_EQ(output.channels, static_cast<int>(audio.size()));
            append(result, toRows(output));
            start = end;
        }
        return result;
    }

protected:
    void processSpectrum(const ComplexSignal32& frame,
                         RecycledList<ComplexSignal32>& results) override {
        ComplexSignal32 swapped(frame.channels, frame.length);
        for (int c = 0; c < frame.channels; ++c)
            std::copy_n(frame.row(frame.channels - 1 - c), frame.length, swapped.channelData(c));
        held.push_back(swapped);
        if (held.size() < static_cast<std::size_t>(frames))
            return;
        for (const ComplexSignal32& result : held)
            results.push_back(result, maxSignalsInList);
        held.clear();
    }

private:
    std::list<ComplexSignal32> held;
    int frames;
};

struct SizesCase {
    const char* name;
    TransformSizes sizes;
    bool unity; // frames overlap to 1, so that the stage is an identity
};

const SizesCase sizesCases[] = {
    {"two hops", {64, 64, 32}, true},
    {"four hops", {64, 64, 16}, true},
    {"four hops, longer", {256, 256, 64}, true},
    {"eight hops", {128, 128, 16}, false},
    {"two and a half hops", {64, 64, 26}, false},
    {"two hops, zero-padded", {128, 64, 32}, true},
    {"four hops, zero-padded", {128, 64, 16}, false},
    {"exactly three hops", {128, 96, 32}, false},
    {"one sample below three hops", {128, 95, 32}, false},
    {"odd sizes, short", {128, 101, 37}, false},
    {"odd sizes, long", {128, 101, 23}, false},
    {"transform of no power of two", {96, 96, 48}, false},
    {"as above, zero-padded", {200, 96, 24}, false},
};

} // namespace

TEST(SpectralProcessor, MatchesTheWrittenFormula) {
    const auto swapChannels = [](const Spectrum& frame) {
        return std::vector<Spectrum>{{frame.rbegin(), frame.rend()}};
    };
    for (const SizesCase& entry : sizesCases) {
        SCOPED_TRACE(entry.name);
        const AudioRows audio = noise(2, 700, 1);
        const AudioRows actual = TestStage(entry.sizes, 2).run(audio, {700});
        const double louder = entry.sizes.fftLength / static_cast<double>(entry.sizes.frameLength);
        expectNear(actual, overlapAdd(toDouble(audio), entry.sizes, 2, swapChannels),
                   1e-6 * louder);
        if (entry.unity) {
            const AudioRows swapped = {audio[1], audio[0]};
            expectNear(actual, slice(swapped, 0, actual[0].size()), 1e-6);
        }
    }
}

TEST(SpectralProcessor, SplitsAndResetsGiveTheSameBits) {
    for (const SizesCase& entry : sizesCases) {
        SCOPED_TRACE(entry.name);
        const AudioRows audio = noise(1, 700, 2);
        const AudioRows whole = TestStage(entry.sizes, 1).run(audio, {700});
        TestStage stage(entry.sizes, 1);
        const std::vector<int> splits[] = {{1}, {7}, {entry.sizes.hop}, {0, 130, 3, 61}};
        for (const std::vector<int>& blocks : splits) {
            EXPECT_EQ(stage.run(audio, blocks), whole) << blocks[0];
            stage.reset();
        }
    }
}

TEST(SpectralProcessor, FramesMayComeLaterAndSeveralAtOnce) {
    const TransformSizes sizes = {64, 64, 16};
    const AudioRows audio = noise(1, 700, 3);
    const AudioRows expected = TestStage(sizes, 1).run(audio, {50});
    const AudioRows actual = TestStage(sizes, 1, 3).run(audio, {50});
    ASSERT_GT(actual[0].size(), 500U);
    EXPECT_EQ(actual, slice(expected, 0, actual[0].size()));
}

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
    EXPECT_EQ(passing.run(audio, {10}), audio);

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

TEST(SpectralProcessor, WindowsOfOtherSizesAreRefused) {
    const AudioFormat unset = defaultFormat(1, 0.0);
    TestStage stage({256, 256, 128}, 1);
    stage.setFormats(unset, unset);
    stage.setSizes(64, 64, 32);
    Signal32 output;
    EXPECT_THROW(stage.process(output, Signal32(1, 2048, 0.5F)), std::runtime_error);
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
