#include "forms.h"

#include "support/vector/ipps_compound.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

using namespace vectortest;
using sorvane::vector::usesFlatSequences;

namespace {

constexpr IppsConvSize_32f smallSize = {
    .inRows = 4,
    .inStep = 5,
    .inChannels = 3,
    .outRows = 4,
    .outStep = 6,
    .outChannels = 5,
    .numFrames = 2,
    .kernelRows = 3,
    .stride = 1,
    .firstRow = -1,
};

/// The blocks that a call gets; null where a case says so.
struct Blocks {
    const float* frames[2] = {};
    float* outFrames[2] = {};
    bool hasFrames = true;
    const float* src = nullptr;
    const float* weights = nullptr;
    const float* bias = nullptr;
    float* dst = nullptr;
    const IppsConvSize_32f* size = nullptr;
    IppsBand_32f bands[2] = {};
    int panelWidth = 8;

    const float* const* frameList() const { return hasFrames ? frames : nullptr; }
    float* const* outFrameList() const { return hasFrames ? outFrames : nullptr; }
};

struct StatusCase {
    const char* name;
    void (*change)(Blocks&, IppsConvSize_32f&);
    IppStatus (*call)(const Blocks&);
    IppStatus expected;
};

IppStatus convolve(const Blocks& b) {
    return ippsConv_32f(b.frameList(), b.weights, b.panelWidth, b.bias, 0, b.dst, b.size);
}
IppStatus convolveDepthwise(const Blocks& b) {
    return ippsConvDepthwise_32f(b.frameList(), b.weights, b.panelWidth, b.bias, 0, b.dst, b.size);
}
IppStatus transpose(const Blocks& b) {
    return ippsConvTransposed_32f(b.src, b.weights, b.panelWidth, b.outFrameList(), b.size);
}
IppStatus transposeDepthwise(const Blocks& b) {
    return ippsConvTransposedDepthwise_32f(b.src, b.weights, b.panelWidth, b.outFrameList(),
                                           b.size);
}
IppStatus sumBands(const Blocks& b) {
    return ippsBands_32f(b.src, b.bands, 2, b.dst, 3);
}

#define CHANGE(statement)                                                                          \
    []([[maybe_unused]] Blocks& b, [[maybe_unused]] IppsConvSize_32f& s) { statement; }
#define CALL(call) [](const Blocks& b) { return call; }

// clang-format off
const StatusCase statusCases[] = {
    {"conv", CHANGE(), convolve, ippStsNoErr},
    {"conv without bias", CHANGE(b.bias = nullptr), convolve, ippStsNoErr},
    {"conv without frames", CHANGE(s.numFrames = 0; b.hasFrames = false; b.weights = nullptr), convolve, ippStsNoErr},
    {"conv, null frames", CHANGE(b.hasFrames = false), convolve, ippStsNullPtrErr},
    {"conv, a null frame", CHANGE(b.frames[1] = nullptr), convolve, ippStsNullPtrErr},
    {"conv, null weights", CHANGE(b.weights = nullptr), convolve, ippStsNullPtrErr},
    {"conv, null dst", CHANGE(b.dst = nullptr), convolve, ippStsNullPtrErr},
    {"conv, null size", CHANGE(b.size = nullptr), convolve, ippStsNullPtrErr},
    {"null before size", CHANGE(b.dst = nullptr; s.stride = 0), convolve, ippStsNullPtrErr},
    {"conv, negative frames", CHANGE(s.numFrames = -1), convolve, ippStsSizeErr},
    {"conv, no input rows", CHANGE(s.inRows = 0), convolve, ippStsSizeErr},
    {"conv, no input step", CHANGE(s.inStep = 0), convolve, ippStsSizeErr},
    {"conv, no input channels", CHANGE(s.inChannels = 0), convolve, ippStsSizeErr},
    {"conv, no output rows", CHANGE(s.outRows = 0), convolve, ippStsSizeErr},
    {"conv, no output step", CHANGE(s.outStep = 0), convolve, ippStsSizeErr},
    {"conv, no output channels", CHANGE(s.outChannels = 0), convolve, ippStsSizeErr},
    {"conv, no kernel", CHANGE(s.kernelRows = 0), convolve, ippStsSizeErr},
    {"conv, no stride", CHANGE(s.stride = 0), convolve, ippStsSizeErr},
    {"conv, negative panels", CHANGE(b.panelWidth = -1), convolve, ippStsSizeErr},
    {"conv over few rows", CHANGE(s.inRows = 2; s.kernelRows = 7; s.firstRow = -3), convolve, ippStsNoErr},
    {"conv, endless matrix", CHANGE(s.kernelRows = s.inChannels = 1 << 16), convolve, ippStsSizeErr},
    {"depthwise", CHANGE(), convolveDepthwise, ippStsNoErr},
    {"depthwise, more inputs than outputs", CHANGE(s.inChannels = 6), convolveDepthwise, ippStsSizeErr},
    {"transposed", CHANGE(s.inChannels = 1), transpose, ippStsNoErr},
    {"transposed, null src", CHANGE(b.src = nullptr), transpose, ippStsNullPtrErr},
    {"transposed, null frames", CHANGE(b.hasFrames = false), transpose, ippStsNullPtrErr},
    {"transposed, a null frame", CHANGE(b.outFrames[1] = nullptr), transpose, ippStsNullPtrErr},
    {"transposed, no frames", CHANGE(s.numFrames = 0), transpose, ippStsSizeErr},
    {"transposed, no outputs", CHANGE(s.outChannels = 0), transpose, ippStsSizeErr},
    {"depthwise transposed", CHANGE(), transposeDepthwise, ippStsNoErr},
    {"depthwise transposed, null weights", CHANGE(b.weights = nullptr), transposeDepthwise, ippStsNullPtrErr},
    {"row", CHANGE(), CALL(ippsAddRow_32f(b.src, b.bias, b.dst, 3, 7)), ippStsNoErr},
    {"row, null", CHANGE(b.bias = nullptr), CALL(ippsAddRow_32f(b.src, b.bias, b.dst, 3, 7)), ippStsNullPtrErr},
    {"row, empty", CHANGE(), CALL(ippsAddRow_32f(b.src, b.bias, b.dst, 3, 0)), ippStsSizeErr},
    {"dense", CHANGE(), CALL(ippsDense_32f(b.src, b.weights, b.dst, 3, 3)), ippStsNoErr},
    {"dense, null", CHANGE(b.weights = nullptr), CALL(ippsDense_32f(b.src, b.weights, b.dst, 3, 3)), ippStsNullPtrErr},
    {"dense, no rows", CHANGE(), CALL(ippsDense_32f(b.src, b.weights, b.dst, 0, 3)), ippStsSizeErr},
    {"dense, endless matrix", CHANGE(), CALL(ippsDense_32f(b.src, b.weights, b.dst, 1 << 16, 1)), ippStsSizeErr},
    {"bands", CHANGE(), sumBands, ippStsNoErr},
    {"bands, null weights", CHANGE(b.bands[1].weights = nullptr), sumBands, ippStsNullPtrErr},
    {"bands, empty", CHANGE(b.bands[1].length = 0), sumBands, ippStsSizeErr},
    {"bands, before the first row", CHANGE(b.bands[1].start = -1), sumBands, ippStsSizeErr},
    {"frames", CHANGE(), CALL(ippsFilterFrames_32f(b.frameList(), b.weights, 2, b.dst, 9)), ippStsNoErr},
    {"one frame", CHANGE(), CALL(ippsFilterFrames_32f(b.frameList(), b.weights, 1, b.dst, 9)), ippStsNoErr},
    {"frames, a null one", CHANGE(b.frames[1] = nullptr), CALL(ippsFilterFrames_32f(b.frameList(), b.weights, 2, b.dst, 9)), ippStsNullPtrErr},
    {"frames, none", CHANGE(), CALL(ippsFilterFrames_32f(b.frameList(), b.weights, 0, b.dst, 9)), ippStsSizeErr},
    {"rows", CHANGE(), CALL(ippsFilterRows_32f(b.src, b.weights, 2, b.dst, 4, 3)), ippStsNoErr},
    {"rows, one tap", CHANGE(), CALL(ippsFilterRows_32f(b.src, b.weights, 1, b.dst, 4, 3)), ippStsNoErr},
    {"rows, null", CHANGE(b.src = nullptr), CALL(ippsFilterRows_32f(b.src, b.weights, 2, b.dst, 4, 3)), ippStsNullPtrErr},
    {"rows, no taps", CHANGE(), CALL(ippsFilterRows_32f(b.src, b.weights, 0, b.dst, 4, 3)), ippStsSizeErr},
    {"rows, endless", CHANGE(), CALL(ippsFilterRows_32f(b.src, b.weights, 2, b.dst, 1 << 16, 1 << 16)), ippStsSizeErr},
};
// clang-format on

/// What the cases work on: sources of small whole numbers, whose sums are exact in any order, and a
/// denormal, all `offset` floats past an aligned address, destinations between guards.
struct Memory {
    explicit Memory(std::size_t offset)
        : source(256, offset), weights(256, offset), dst(64, offset), other(64, offset) {
        std::mt19937 random(1);
        for (std::size_t i = 0; i < 256; ++i) {
            source[i] = static_cast<float>(random() % 9) - 4.0f;
            weights[i] = static_cast<float>(random() % 9) - 4.0f;
        }
        source[5] = 1e-41f;
        weights[0] = 1.0f; // a factor that makes a copy
        blocks = {.frames = {source.data(), source.data() + 30},
                  .outFrames = {dst.data(), other.data()},
                  .src = source.data(),
                  .weights = weights.data(),
                  .bias = weights.data() + 100,
                  .dst = dst.data(),
                  .size = &size,
                  .bands = {{weights.data(), 1, 1}, {weights.data() + 3, 1, 4}}};
    }

    Guarded<float> source, weights, dst, other;
    IppsConvSize_32f size = smallSize;
    Blocks blocks;
};

TEST(CompoundOperations, CheckTheirArguments) {
    for (const StatusCase& c : statusCases) {
        SCOPED_TRACE(c.name);
        Memory memory(0);
        c.change(memory.blocks, memory.size);
        EXPECT_EQ(c.call(memory.blocks), c.expected);
        EXPECT_EQ(memory.dst.untouched(), c.expected != ippStsNoErr);
    }
}

TEST(CompoundOperations, WriteWhatTheFlatOnesWrite) {
    forEachForm([](const Kernels& form) {
        for (const StatusCase& c : statusCases) {
            for (std::size_t offset = 0; c.expected == ippStsNoErr && offset < 4; ++offset) {
                SCOPED_TRACE(std::string(form.name) + ", " + c.name);
                Memory compound(offset), flat(offset);
                c.change(compound.blocks, compound.size);
                c.change(flat.blocks, flat.size);
                // The matrices have one panel, which stands row by row.
                flat.blocks.panelWidth = 0;
                c.call(compound.blocks);
                usesFlatSequences.store(true);
                c.call(flat.blocks);
                usesFlatSequences.store(false);
                const auto same = [](Guarded<float>& a, Guarded<float>& b) {
                    return a.intact() && std::memcmp(a.data(), b.data(), 64 * sizeof(float)) == 0;
                };
                EXPECT_TRUE(same(compound.dst, flat.dst));
                EXPECT_TRUE(same(compound.other, flat.other));
            }
        }
    });
}

// Panels are as wide as what a matrix leaves for each, in whole vectors, and no wider than the form
// has registers for.
TEST(CompoundOperations, ChoosePanelsOfEqualWidth) {
    forEachForm([](const Kernels& form) {
        for (int columns = 1; columns < 300; ++columns) {
            const int width = ippsPanelWidth(columns);
            EXPECT_EQ(width % form.lanes, 0) << columns;
            EXPECT_LE(width, form.panelWidth) << columns;
            const int panels = (columns - 1) / width + 1;
            EXPECT_EQ(panels, (columns - 1) / form.panelWidth + 1) << columns;
            EXPECT_LT((width - form.lanes) * panels, columns) << columns;
        }
    });
    usesFlatSequences.store(true);
    EXPECT_EQ(ippsPanelWidth(16), 0);
    usesFlatSequences.store(false);
}

} // namespace
