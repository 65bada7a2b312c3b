#include "reference/random_network.h"
#include "util/processor_handle.h"
#include "util/signal_rows.h"

namespace sorvane::test {

namespace {

struct ChainCase {
    const char* name;
    std::vector<double> gains; // one a bus, the remainder last
    std::vector<double> sensitivities;
    int hostChannels = 1;
    int modelInput = 1;
    int modelOutput = 1;
    int outputMode = 0;
    double rate = 1.0; // the host's, in units of the model's
    TransformSizes sizes = {64, 64, 32};
    FilePacking packing = {.code = 1, .bins = 33};
    int kernelT = 1;
    int delay = 0;
};

const FilePacking complexPacking = {.code = 4, .bins = 33};
const FilePacking rectified = {.code = 2, .bins = 0, .split = 8, .rest = 25};
const FilePacking groups = {.code = 6, .bins = 0, .split = 9, .rest = 24, .pool = 4};

const ChainCase chainCases[] = {
    {"mask alone", {1, 0}, {0, 0}},
    {"remainder alone", {0, 1}, {0, 0}},
    {"pressed mask alone", {1, 0}, {100, 0}},
    {"raised mask alone", {1, 0}, {-100, 0}},
    {"raised remainder alone", {0, 1}, {0, -60}},
    {"pressed remainder alone", {0, 1}, {30, 90}},
    {"two masks", {0.3, 1.7, 0.6}, {60, -40, 80}, 2, 2, 2},
    {"two masks, remainder raised", {0.3, 1.7, 0.6}, {-70, 30, -90}, 2, 2, 2},
    {"three masks", {0, 1, 2, 0.5}, {10, 20, -30, 40}},
    {"mono model on stereo", {1, 0.2}, {20, -20}, 2},
    {"stereo model on mono", {1, 0.2}, {20, -20}, 1, 2, 2},
    {"stereo model on 3 channels", {0.5, 1, 0}, {0, 50, 50}, 3, 2, 2},
    {"stereo to mono model", {1, 0}, {-20, 0}, 2, 2, 1},
    {"mono to stereo model", {1, 0}, {-20, 0}, 2, 1, 2},
    {"spectra", {0.5, 2, 0.25}, {50, -50, 50}, 2, 2, 2, 1, 1.0, {64, 64, 32}, complexPacking},
    {"spectra, mono model", {0.5, 0.25}, {50, -50}, 2, 1, 1, -1, 1.0, {64, 64, 32}, complexPacking},
    {"complex masks", {1, 0.5, 0}, {50, -50, 20}, 2, 2, 2, 0, 1.0, {64, 64, 32}, complexPacking},
    {"rectified parts", {1, 0.5, 0}, {50, -50, 20}, 1, 1, 1, 0, 1.0, {64, 64, 32}, rectified},
    {"groups", {1, 0.5, 0}, {50, -50, 20}, 1, 1, 1, 0, 1.0, {64, 64, 16}, groups},
    {"half the rate", {1, 0.2}, {30, 0}, 1, 1, 1, 0, 0.5, {65, 61, 19}},
    {"0.92 of the rate", {1, 0.2}, {30, 0}, 2, 1, 1, 0, 0.92, {64, 61, 19}},
    {"1.5 of the rate", {1, 0.2}, {30, 0}, 1, 1, 1, 0, 1.5, {65, 61, 25}},
    {"twice the rate", {1, 0.2}, {30, 0}, 1, 2, 2, 0, 2.0, {64, 63, 21}},
    {"four hops, zero-padded", {1, 0}, {0, 0}, 1, 1, 1, 0, 1.0, {128, 64, 16}},
    {"exactly three hops", {1, 0}, {0, 0}, 1, 1, 1, 0, 1.0, {128, 96, 32}},
    {"one sample below three hops", {1, 0}, {0, 0}, 1, 1, 1, 0, 1.0, {128, 95, 32}},
    {"odd sizes", {1, 0}, {0, 0}, 2, 1, 1, 0, 1.0, {128, 101, 37}},
    {"transform of no power of two", {1, 0}, {0, 0}, 1, 1, 1, 0, 1.0, {96, 96, 48}},
    {"four times the rate, groups", {1, 0}, {0, 0}, 1, 1, 1, 0, 4.0, {32, 32, 16}, groups},
    {"look-ahead", {1, 0}, {0, 0}, 1, 1, 1, 0, 1.0, {64, 64, 32}, {.code = 1, .bins = 33}, 4, 3},
};

// A convolution over time, the same at every frequency position, and a sigmoid where masks are real.
ModelFile modelOf(const ChainCase& entry) {
    ModelFile model{.numInputChannels = entry.modelInput,
                    .inputPacking = entry.packing,
                    .outputMode = entry.outputMode,
                    .numOutputChannels = entry.modelOutput,
                    .numMasks = static_cast<int>(entry.gains.size()) - 1,
                    .outputNames = Inputs(entry.gains.size(), "bus"),
                    .outputPacking = entry.packing,
                    .fftLength = entry.sizes.fftLength,
                    .frameLength = entry.sizes.frameLength,
                    .hop = entry.sizes.hop};
    const int parts = entry.packing.code >= 4 ? 2 : 1;
    const int in = entry.modelInput * parts;
    const int out = model.numMasks * entry.modelOutput * parts;
    Random random(5);
    model.add(conv("conv", "input", randomTensor(random, {entry.kernelT, 1, in, out}, 0.3),
                   randomTensor(random, {out}, 0.3), {.delay = entry.delay}));
    if (entry.outputMode == 0 && entry.packing.code == 1)
        model.add(activation("sigmoid", 6, "conv"));
    return model;
}

} // namespace

TEST(SpectralChain, MatchesTheWrittenFormula) {
    for (const ChainCase& entry : chainCases) {
        SCOPED_TRACE(entry.name);
        const ModelFile model = modelOf(entry);
        const AudioRows audio = noise(entry.hostChannels, 900, 11);
        const ProcessorHandle handle =
            makeProcessor(model, entry.hostChannels, entry.rate * model.sampleRate);
        ASSERT_NE(handle, nullptr);
        for (std::size_t bus = 0; bus < entry.gains.size(); ++bus) {
            const auto id = static_cast<int>(bus);
            sorvaneSetParameterValue(handle.get(), SORVANE_BUS_GAIN + id,
                                     static_cast<float>(entry.gains[bus]));
            sorvaneSetParameterValue(handle.get(), SORVANE_BUS_SENSITIVITY + id,
                                     static_cast<float>(entry.sensitivities[bus]));
        }
        const AudioRows actual = process(handle.get(), audio, 130);
        const Rows expected = referenceProcess(model, entry.gains, entry.sensitivities,
                                               entry.rate * model.sampleRate, audio);
        ASSERT_GT(expected[0].size(), 300U);
        double loudest = 0.0;
        for (const double value : expected[0])
            loudest = std::max(loudest, std::abs(value));
        EXPECT_GT(loudest, 1e-3);
        expectNear(actual, expected, 1e-5 * (1.0 + loudest));
    }
}

TEST(SpectralChain, ASmallTermStaysBesideALargeOne) {
    // Masks of 1 in all, and a stem that is the input: nothing is left over, whatever its gain.
    const auto masks = [](int count) {
        const FileTensor shares = constantTensor({count}, 1.0F / static_cast<float>(count));
        ModelFile model{.numMasks = count, .outputSource = "a"};
        model.outputNames.assign(static_cast<std::size_t>(count) + 1, "bus");
        model.layers = {conv("a", "input", constantTensor({1, 1, 1, count}, 0.0F), shares)};
        return model;
    };
    const ModelFile stem{
        .inputPacking = {.code = 4}, .outputMode = 1, .outputPacking = {.code = 4}};
    for (const ModelFile& model : {masks(1), masks(2), stem}) {
        const ProcessorHandle handle = makeProcessor(model, 1, 48000.0);
        ASSERT_NE(handle, nullptr);
        const AudioRows audio = noise(1, 2000, 14);
        const AudioRows expected = process(handle.get(), audio);
        sorvaneResetProcessorState(handle.get());
        sorvaneSetParameterValue(handle.get(), SORVANE_BUS_GAIN + model.numMasks, 1e8F);
        expectNear(process(handle.get(), audio), expected, 1e-5);
    }
}

TEST(SpectralChain, BussesPastTheSixteenthStayAsTheyAre) {
    ChainCase entry{"", std::vector<double>(18, 0.0), std::vector<double>(18, 0.0)};
    const ModelFile model = modelOf(entry);
    const ProcessorHandle handle = makeProcessor(model, 1, 48000.0);
    ASSERT_NE(handle, nullptr);
    EXPECT_EQ(sorvaneGetNumOfOutputBusses(handle.get()), 18);
    for (int bus = 0; bus < 18; ++bus) {
        sorvaneSetParameterValue(handle.get(), SORVANE_BUS_GAIN + bus, 0.0F);
        sorvaneSetParameterValue(handle.get(), SORVANE_BUS_SENSITIVITY + bus, 0.0F);
    }
    entry.gains[16] = entry.gains[17] = 1.0;
    const AudioRows audio = noise(1, 500, 12);
    expectNear(process(handle.get(), audio),
               referenceProcess(model, entry.gains, entry.sensitivities, 48000.0, audio), 1e-4);
}

TEST(SpectralChain, ModelsWithoutMasksGiveSilenceOfTheRightLength) {
    for (const int outputMode : {0, 1})
        for (const int channels : {1, 2}) {
            const ModelFile model{
                .outputMode = outputMode, .numMasks = 0, .outputNames = {"Remainder"}};
            const ProcessorHandle handle = makeProcessor(model, channels, 48000.0);
            ASSERT_NE(handle, nullptr);
            const AudioRows result = process(handle.get(), noise(channels, 2048, 13));
            EXPECT_EQ(result,
                      AudioRows(static_cast<std::size_t>(channels), std::vector<float>(1792, 0.0F)))
                << outputMode << " " << channels;
        }
}

} // namespace sorvane::test
