#include "model/load_util.h"
#include "reference/random_network.h"
#include "support/vector/forms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

// The layers with the compound operations of the vector layer against the same layers with the flat
// ones: the same bits, in every form, but for dot products.
namespace sorvane::test {
namespace {

constexpr int kFrames = 5;

struct Case {
    FileLayer layer;
    int rows;
    int channels;
    // Products in a dot product, whose order is free; 0 where there is none.
    int dotLength = 0;
};

// The values of a case's tensors; `magnitudes` leaves out their signs, for bounds of errors.
class Values {
public:
    Values(unsigned seed, bool magnitudes)
        : m_random(seed), m_special(m_random.chance(0.3)), m_magnitudes(magnitudes) {}

    Random& random() { return m_random; }
    void stayFinite() { m_special = false; }

    FileTensor tensor(const std::vector<int>& shape) {
        FileTensor tensor = constantTensor(shape, 0.0F);
        for (float& value : tensor.values)
            value = next();
        return tensor;
    }
    FileTensor optional(const std::vector<int>& shape) {
        FileTensor filled = tensor(shape);
        return m_random.chance(0.7) ? filled : FileTensor{};
    }
    float next() {
        const float infinite = std::numeric_limits<float>::infinity();
        const std::vector<float> specials = {0.0F,   -0.0F,    1.0F,      -1.0F, 1e-41F,
                                             1e-30F, infinite, -infinite, NAN};
        const auto value = static_cast<float>(m_random.uniform(-1.0, 1.0));
        const float special = m_random.pick(specials);
        const float result = m_special && m_random.chance(0.03) ? special : value;
        return m_magnitudes ? std::fabs(result) : result;
    }

private:
    Random m_random;
    bool m_special;
    bool m_magnitudes;
};

ConvParameters randomParameters(Random& random, int rows) {
    ConvParameters parameters;
    parameters.strideT = random.between(1, 2);
    parameters.strideF = random.between(1, std::min(3, rows));
    parameters.dilationT = random.between(1, 2);
    return parameters;
}

Case convCase(Values& v, int channels) {
    Random& r = v.random();
    const int rows = r.between(1, 40), in = r.pick<int>({1, 2, 3, 8, 13, 33});
    const FileTensor weights = v.tensor({r.between(1, 3), r.between(1, 7), in, channels});
    // Some of the input's channels may stay unread; with one of several read, it is depthwise.
    const int unread = in > 1 && r.chance(0.2) ? 3 : 0;
    return {conv("layer", "input", weights, v.optional({channels}), randomParameters(r, rows)),
            rows, in + unread};
}

Case depthwiseConvCase(Values& v, int channels) {
    Random& r = v.random();
    const int repeat = r.between(1, 2), rows = r.between(1, 40), in = channels + 1;
    const FileTensor weights = v.tensor({r.between(1, 3), r.between(1, 7), 1, in * repeat});
    return {conv("layer", "input", weights, v.optional({in * repeat}), randomParameters(r, rows)),
            rows, in};
}

Case transposedCase(Values& v, int channels) {
    v.stayFinite();
    Random& r = v.random();
    const int rows = r.between(1, 30), in = r.pick<int>({1, 2, 5, 16, 21});
    const FileTensor weights = v.tensor({r.between(1, 3), r.between(1, 7), channels, in});
    const ConvParameters parameters = randomParameters(r, rows);
    return {transposedConv("layer", "input", weights, v.optional({channels}), channels, parameters),
            rows, in, in};
}

Case depthwiseTransposedCase(Values& v, int channels) {
    Random& r = v.random();
    const int rows = r.between(1, 30), in = channels + 1;
    const FileTensor weights = v.tensor({r.between(1, 3), r.between(1, 7), 1, in});
    const ConvParameters parameters = randomParameters(r, rows);
    return {transposedConv("layer", "input", weights, v.optional({in}), in, parameters), rows, in};
}

Case separableCase(Values& v, int channels) {
    Random& r = v.random();
    const FileTensor timeTaps = v.tensor({r.between(1, 5)}), freqTaps = v.tensor({r.between(1, 9)});
    return {separableChannelConv("layer", "input", timeTaps, freqTaps), r.between(1, 20), channels};
}

Case denseCase(Values& v, int channels) {
    const int rows = v.random().between(1, 20);
    // Every third case is a matrix over the positions of one channel.
    const int inChannels = channels % 3 == 0 ? 1 : channels;
    const int inRows = channels % 3 == 0 ? channels : rows;
    // Weights of more positions than the input's are read as a flat array.
    const int fileRows = inRows + (v.random().chance(0.2) ? 2 : 0);
    return {dense("layer", "input", v.tensor({fileRows, fileRows, inChannels}),
                  v.optional({inRows, inChannels})),
            inRows, inChannels};
}

Case attentionCase(Values& v, int channels) {
    Random& r = v.random();
    const int rows = r.between(1, 20);
    // Matrices of other channels than the input's are read as flat arrays.
    const int fileChannels = channels + (r.chance(0.2) ? r.between(1, 40) : 0);
    const FileTensor matrix = v.tensor({fileChannels, fileChannels});
    const FileTensor taps = v.optional({r.between(1, 4), fileChannels});
    return {selfAttention("layer", "input", matrix, v.tensor({rows, channels}), 0, taps), rows,
            channels};
}

Case rescaleCase(Values& v, int channels) {
    Random& r = v.random();
    const int rows = r.between(8, 20);
    std::vector<RescaleBand> bands;
    for (int b = r.between(1, 12); b > 0; --b) {
        const int length = r.between(1, 8);
        bands.push_back({r.between(0, rows - length), v.tensor({length})});
    }
    return {frequencyRescale("layer", "input", bands), rows, channels};
}

using MakeCase = Case (*)(Values&, int channels);
const std::vector<std::pair<const char*, MakeCase>> kKinds = {
    {"convolution", convCase},      {"depthwise", depthwiseConvCase},
    {"transposed", transposedCase}, {"depthwise transposed", depthwiseTransposedCase},
    {"separable", separableCase},   {"dense", denseCase},
    {"attention", attentionCase},   {"rescale", rescaleCase},
};

enum class Path { compound, flat, flatMagnitudes };

struct Output {
    std::vector<float> values;
    int dotLength;
};

Output runPath(MakeCase make, unsigned seed, int channels, Path path) {
    vector::usesFlatSequences.store(path != Path::compound);
    Values values(seed, path == Path::flatMagnitudes);
    const Case c = make(values, channels);
    ModelFile file;
    file.layers = {c.layer};
    file.outputSource = "layer";
    NeuralModel<float> model;
    EXPECT_TRUE(load(model, file.bytes()));
    Output output{{}, c.dotLength};
    for (int t = 0; t < kFrames; ++t) {
        const std::vector<float> frame = values.tensor({c.rows * c.channels}).values;
        const Tensor32 result = run(model, makeTensor({1, c.rows, c.channels}, frame));
        const std::vector<float> row = valuesOf(result);
        output.values.insert(output.values.end(), row.begin(), row.end());
    }
    vector::usesFlatSequences.store(false);
    return output;
}

bool sameBits(float a, float b) {
    return std::isnan(a) ? std::isnan(b) : std::memcmp(&a, &b, sizeof a) == 0;
}

std::string difference(MakeCase make, unsigned seed, int channels) {
    const Output compound = runPath(make, seed, channels, Path::compound);
    const Output flat = runPath(make, seed, channels, Path::flat);
    Output magnitudes = flat;
    if (flat.dotLength > 0)
        magnitudes = runPath(make, seed, channels, Path::flatMagnitudes);
    if (compound.values.size() != flat.values.size() || flat.values.empty())
        return "sizes " + std::to_string(compound.values.size()) + ", " +
               std::to_string(flat.values.size());
    for (std::size_t i = 0; i < flat.values.size(); ++i) {
        const float a = compound.values[i], b = flat.values[i];
        // Two orders of a sum each err by at most length * 2^-24 of the sum of the magnitudes.
        const float bound = static_cast<float>(flat.dotLength) * 0x1p-23F * magnitudes.values[i];
        if (flat.dotLength > 0 ? !(std::fabs(a - b) <= bound) : !sameBits(a, b))
            return "value " + std::to_string(i) + " is " + std::to_string(a) + " for " +
                   std::to_string(b);
    }
    return {};
}

TEST(CompoundPaths, GiveTheBitsOfTheFlatOperations) {
    vectortest::forEachForm([](const vectortest::Kernels& form) {
        for (const auto& [kind, make] : kKinds) {
            for (int channels = 1; channels <= 67; ++channels) {
                const auto seed = static_cast<unsigned>(channels);
                EXPECT_EQ(difference(make, seed, channels), "")
                    << form.name << ", " << kind << ", " << channels << " channels";
            }
        }
    });
}

} // namespace
} // namespace sorvane::test
