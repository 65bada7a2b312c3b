#include "forms.h"

#include "support/vector/ipps_compound.h"

#include <gtest/gtest.h>

#include <cmath>

#include <string>

using namespace vectortest;

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
    {"conv without frames", CHANGE(s.numFrames = 0; b.hasFrames = false; b.weights = nullptr), convolve, ippStsNoErr},
    {"conv, null frames", CHANGE(b.hasFrames = false), convolve, ippStsNullPtrErr},
    {"conv, a null frame", CHANGE(b.frames[1] = nullptr), convolve, ippStsNullPtrErr},
    {"conv, null size", CHANGE(b.size = nullptr), convolve, ippStsNullPtrErr},
    {"null before size", CHANGE(b.dst = nullptr; s.stride = 0), convolve, ippStsNullPtrErr},
    {"conv, no kernel", CHANGE(s.kernelRows = 0), convolve, ippStsSizeErr},
    {"conv, negative panels", CHANGE(b.panelWidth = -1), convolve, ippStsSizeErr},
    {"conv, endless matrix", CHANGE(s.kernelRows = s.inChannels = 1 << 16), convolve, ippStsSizeErr},
    {"depthwise", CHANGE(), convolveDepthwise, ippStsNoErr},
    {"depthwise, more inputs than outputs", CHANGE(s.inChannels = 6), convolveDepthwise, ippStsSizeErr},
    {"transposed", CHANGE(s.inChannels = 1), transpose, ippStsNoErr},
    {"transposed, a null frame", CHANGE(b.outFrames[1] = nullptr), transpose, ippStsNullPtrErr},
    {"depthwise transposed", CHANGE(), transposeDepthwise, ippStsNoErr},
    {"row", CHANGE(), CALL(ippsAddRow_32f(b.src, b.bias, b.dst, 3, 7)), ippStsNoErr},
    {"dense", CHANGE(), CALL(ippsDense_32f(b.src, b.weights, b.dst, 3, 3)), ippStsNoErr},
    {"dense, endless matrix", CHANGE(), CALL(ippsDense_32f(b.src, b.weights, b.dst, 1 << 16, 1)), ippStsSizeErr},
    {"bands", CHANGE(), sumBands, ippStsNoErr},
    {"bands, null weights", CHANGE(b.bands[1].weights = nullptr), sumBands, ippStsNullPtrErr},
    {"bands, before the first row", CHANGE(b.bands[1].start = -1), sumBands, ippStsSizeErr},
    {"frames", CHANGE(), CALL(ippsFilterFrames_32f(b.frameList(), b.weights, 2, b.dst, 9)), ippStsNoErr},
    {"rows", CHANGE(), CALL(ippsFilterRows_32f(b.src, b.weights, 2, b.dst, 4, 3)), ippStsNoErr},
    {"rows, endless", CHANGE(), CALL(ippsFilterRows_32f(b.src, b.weights, 2, b.dst, 1 << 16, 1 << 16)), ippStsSizeErr},
};
// clang-format on

TEST(CompoundOperations, CheckTheirArguments) {
    for (const StatusCase& c : statusCases) {
        SCOPED_TRACE(c.name);
        const std::vector<float> source = uniform(256, -1, 1, 1), weights = uniform(256, -1, 1, 2);
        Guarded<float> dst(64), other(64);
        IppsConvSize_32f size = smallSize;
        Blocks blocks = {.frames = {source.data(), source.data() + 30},
                         .outFrames = {dst.data(), other.data()},
                         .src = source.data(),
                         .weights = weights.data(),
                         .bias = weights.data() + 100,
                         .dst = dst.data(),
                         .size = &size,
                         .bands = {{weights.data(), 1, 1}, {weights.data() + 3, 1, 4}}};
        c.change(blocks, size);
        EXPECT_EQ(c.call(blocks), c.expected);
        EXPECT_EQ(dst.untouched(), c.expected != ippStsNoErr);
        EXPECT_TRUE(dst.intact() && other.intact());
    }
}

// A first weight of 0 makes zeros, whatever it meets, as in a row of products.
TEST(CompoundOperations, FirstWeightsOfZeroMakeZeros) {
    forEachForm([](const Kernels& form) {
        for (const int channels : {1, 3, 40}) {
            const std::vector<float> rows(static_cast<std::size_t>(2 * channels), NAN);
            const float weights[] = {0.0f, 0.0f};
            const IppsBand_32f band{weights, 0, 1};
            const float* frames[] = {rows.data()};
            Guarded<float> bands(rows.size() / 2), filtered(rows.size() / 2);
            ippsBands_32f(rows.data(), &band, 1, bands.data(), channels);
            ippsFilterFrames_32f(frames, weights, 1, filtered.data(), channels);
            for (std::size_t i = 0; i < rows.size() / 2; ++i) {
                EXPECT_EQ(bands[i], 0.0f) << form.name;
                EXPECT_EQ(filtered[i], 0.0f) << form.name;
            }
        }
    });
}

} // namespace
