#include "reference/random_network.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace sorvane::test {

FileTensor randomTensor(Random& random, const std::vector<int>& shape, double amplitude,
                        int storage) {
    FileTensor tensor = constantTensor(shape, 0.0F);
    tensor.storage = storage;
    for (float& value : tensor.values) {
        value = static_cast<float>(random.uniform(-amplitude, amplitude));
        if (storage == 0)
            value = static_cast<float>(halfValue(halfFromFloat(value)));
    }
    return tensor;
}

namespace {

constexpr int kMaxPositions = 24;
constexpr int kMaxChannels = 8;
constexpr double kMaxRate = 2.0; // frames for one frame of the network's input
constexpr double kMinRate = 0.1;
constexpr double kMaxScale = 16.0;

// The output of a layer.
struct Stream {
    std::string name;
    int positions = 1;
    int channels = 1;
    double rate = 1.0;
    double scale = 0.6;  // about the root mean square of its values
    bool grouped = true; // hands on several frames at once when the network gets several
};

class Maker {
public:
    Maker(unsigned seed, const std::vector<int>& kinds) : m_random(seed), m_kinds(kinds) {}

    NetworkDescription make() {
        m_network.version = m_random.between(0x1004, 0x100B);
        if (m_random.chance(0.5))
            m_network.version = 0x100A;
        m_network.positions = m_random.between(2, 12);
        m_network.channels = m_random.between(1, 3);
        m_streams.push_back({"input", m_network.positions, m_network.channels});
        m_layerCount = m_random.between(3, 20);
        while (static_cast<int>(m_network.layers.size()) < m_layerCount)
            addLayer(m_random.pick(m_kinds));
        m_network.outputSource =
            m_random.chance(0.85) ? m_streams.back().name : m_random.pick(m_streams).name;
        return m_network;
    }

private:
    void addLayer(int kind) {
        if (kind == 9 || kind == 18)
            return addJoin(kind);
        Stream stream = pickSource(kind);
        LayerDescription layer{kind, newName(), {stream.name}};
        if (!complete(layer, stream))
            return;
        add(layer, stream);
    }

    void add(const LayerDescription& layer, Stream stream) {
        stream.name = layer.name;
        m_network.layers.push_back(layer);
        m_streams.push_back(stream);
    }

    std::string newName() {
        // Names in random order, as the order of the layers must not come from their names.
        return std::string(1, static_cast<char>(m_random.between('a', 'z'))) +
               std::to_string(m_network.layers.size());
    }

    Stream pickSource(int kind) {
        if (kind == 3 && m_random.chance(0.7))
            for (auto stream = m_streams.rbegin(); stream != m_streams.rend(); ++stream)
                if (stream->rate < 1.0)
                    return *stream;
        if (m_random.chance(0.55))
            return m_streams.back();
        const int count = static_cast<int>(m_streams.size());
        const int first = m_random.chance(0.5) ? std::max(0, count - 4) : 0;
        return *(m_streams.begin() + m_random.between(first, count - 1));
    }

    FileTensor tensor(const std::vector<int>& shape, double amplitude) {
        const int storage = m_network.version >= 0x1009 && m_random.chance(0.4) ? 0 : 1;
        return randomTensor(m_random, shape, amplitude, storage);
    }

    // An empty tensor is a valid bias for some kinds.
    FileTensor optionalBias(const std::vector<int>& shape) {
        if (m_random.chance(0.25))
            return m_random.chance(0.5) ? FileTensor{} : FileTensor{{0}, {}};
        return tensor(shape, 0.3);
    }

    FileTensor positive(int count, double low, double high) {
        FileTensor result = constantTensor({count}, 0.0F);
        for (float& value : result.values)
            value = static_cast<float>(m_random.uniform(low, high));
        return result;
    }

    // Weights that keep the scale near 1 for `terms` products in a sum.
    double amplitude(int terms, Stream& stream) {
        const double result = std::sqrt(3.0 / std::max(terms, 1)) / std::max(stream.scale, 0.1);
        stream.scale = 1.0;
        return result;
    }

    // Fills in the layer and turns its input into its output; false when the input doesn't suit it.
    bool complete(LayerDescription& layer, Stream& stream) {
        switch (layer.kind) {
        case 2:
            return completeConv(layer, stream);
        case 3:
            return completeTransposedConv(layer, stream);
        case 5:
            stream.scale = std::max(0.8, 0.7 * stream.scale);
            return true;
        case 6:
        case 20:
            stream.scale = 0.6;
            return true;
        case 7:
            layer.code = m_random.between(0, 1);
            layer.weights = tensor({stream.channels}, 1.5);
            layer.bias = layer.code == 1 && m_network.version >= 0x100A
                             ? optionalBias({stream.channels})
                             : tensor({stream.channels}, 0.3);
            stream.scale = layer.code == 1 ? 1.0 : 0.3 + stream.scale;
            return stream.channels > 1 || layer.code == 0 || m_random.chance(0.2);
        case 12:
            layer.slope = static_cast<float>(m_random.uniform(-0.5, 1.2));
            return true;
        case 14:
            layer.weights = tensor({stream.positions, stream.positions, stream.channels},
                                   amplitude(stream.positions, stream));
            layer.bias = optionalBias({stream.positions * stream.channels});
            return stream.positions <= 12;
        case 15:
            layer.timeTaps = tensor({m_random.between(1, 5)}, 1.0);
            layer.weights = tensor({m_random.between(1, 5)}, 1.0);
            stream.grouped = false;
            return true;
        case 16: {
            const int length = m_random.between(1, 6);
            layer.weights = positive(length, 0.5 / length, 1.5 / length);
            stream.scale = 1.0;
            return true;
        }
        case 17:
            stream.scale = std::max(1.0, stream.scale);
            return true;
        case 19:
            return completeSelfAttention(layer, stream);
        case 22:
            return completeRescale(layer, stream);
        case 23:
            layer.attack = static_cast<float>(m_random.uniform(0.0, 0.95));
            layer.release = static_cast<float>(m_random.uniform(0.0, 0.99));
            layer.epsilon = static_cast<float>(m_random.uniform(0.1, 1.0));
            stream.scale = 1.0;
            return true;
        default:
            return true;
        }
    }

    void randomParameters(ConvParameters& p) {
        p.strideT = m_random.chance(0.6) ? 1 : m_random.between(2, 3);
        p.strideF = m_random.chance(0.6) ? 1 : m_random.between(2, m_random.chance(0.2) ? 6 : 3);
        p.dilationT = m_random.between(1, 3);
        p.unusedParameter = m_random.between(-128, 127);
        p.delay = m_random.chance(0.5) ? 0 : m_random.between(m_random.chance(0.1) ? -3 : 0, 4);
    }

    bool completeConv(LayerDescription& layer, Stream& stream) {
        ConvParameters& p = layer.parameters;
        randomParameters(p);
        const int kernelT = m_random.between(1, 4);
        const int kernelF = m_random.between(1, 6);
        int in = stream.channels;
        int out = m_random.between(1, 4);
        if (stream.channels > 1 && m_random.chance(0.3)) { // depthwise, mostly with repetition
            in = 1;
            out = m_random.chance(0.1) ? m_random.between(1, stream.channels - 1)
                                       : stream.channels * m_random.between(1, 3);
        } else if (stream.channels > 2 && m_random.chance(0.1)) { // leaves channels out
            in = stream.channels - 1;
        }
        layer.weights =
            tensor({kernelT, kernelF, in, out}, amplitude(kernelT * kernelF * in, stream));
        layer.bias = optionalBias({out});
        stream.positions /= p.strideF;
        stream.channels = out;
        stream.rate /= p.strideT;
        stream.grouped = false;
        return stream.positions > 0 && out <= kMaxChannels && stream.rate >= kMinRate;
    }

    bool completeTransposedConv(LayerDescription& layer, Stream& stream) {
        ConvParameters& p = layer.parameters;
        randomParameters(p);
        if (stream.rate < 1.0 && m_random.chance(0.7))
            p.strideT = std::max(p.strideT, static_cast<int>(std::lround(1.0 / stream.rate)));
        const int kernelT = m_random.between(1, 5);
        const int kernelF = m_random.between(1, 6);
        const bool separate = m_network.version >= 0x1008;
        layer.outputChannels = m_random.between(1, 4);
        int group = layer.outputChannels;
        int in = stream.channels;
        if (separate && stream.channels > 1 && m_random.chance(0.3)) { // depthwise
            layer.outputChannels = stream.channels + (m_random.chance(0.2) ? 1 : 0);
            group = 1;
        } else if (separate && group > 1 && m_random.chance(0.1)) { // channels of bias alone
            ++layer.outputChannels;
        }
        if (stream.channels > 2 && m_random.chance(0.05))
            --in;
        layer.weights = tensor({kernelT, kernelF, group, in},
                               amplitude((kernelT * kernelF * in + 1) / 2, stream));
        layer.bias = optionalBias({layer.outputChannels});
        stream.positions *= p.strideF;
        stream.channels = layer.outputChannels;
        stream.rate *= p.strideT;
        stream.grouped = false;
        return stream.positions <= kMaxPositions && stream.rate <= kMaxRate;
    }

    bool completeSelfAttention(LayerDescription& layer, Stream& stream) {
        const int c = stream.channels;
        layer.weights = tensor({c, c}, amplitude(c, stream));
        layer.bias = tensor({stream.positions, c}, 0.3);
        if (m_network.version < 0x1007)
            return true;
        if (m_random.chance(0.7))
            layer.timeTaps = tensor({m_random.between(1, 5), c}, 1.0);
        if (m_random.chance(stream.grouped ? 0.1 : 0.5))
            layer.parameters.delay = m_random.between(1, 4);
        if (layer.parameters.delay > 0) {
            m_network.singleFrames = m_network.singleFrames || stream.grouped;
            stream.grouped = false;
        }
        return true;
    }

    bool completeRescale(LayerDescription& layer, Stream& stream) {
        const int count = m_random.between(1, 14);
        for (int b = 0; b < count; ++b) {
            const int start = m_random.between(0, stream.positions - 1);
            const int length = m_random.between(1, std::min(4, stream.positions - start));
            layer.bands.push_back({start, tensor({length}, 1.5)});
        }
        stream.positions = count;
        return true;
    }

    // Joins two or three streams of equal shape, mostly the last among them. Seldom they have
    // different rates, or the later ones have more elements than are read.
    void addJoin(int kind) {
        const bool anyRate = m_random.chance(0.1);
        const bool larger = m_random.chance(0.1);
        const int count = m_random.chance(0.03) ? 1 : m_random.between(2, 3);
        std::vector<Stream> inputs = {m_random.chance(0.7) ? m_streams.back()
                                                           : m_random.pick(m_streams)};
        for (int tries = 0; tries < 40 && static_cast<int>(inputs.size()) < count; ++tries) {
            const Stream& s = m_random.pick(m_streams);
            const auto fits = [&](const Stream& first) {
                const int size = kind == 9 ? s.positions : s.positions * s.channels;
                const int needed = kind == 9 ? first.positions : first.positions * first.channels;
                const bool same = kind == 9 || s.channels == first.channels;
                return (larger ? size >= needed : size == needed && same) && s.name != first.name &&
                       (anyRate || std::fabs(s.rate - first.rate) < 0.01);
            };
            if (fits(inputs.front()) && s.name != inputs.back().name)
                inputs.push_back(s);
        }
        if (!larger && m_random.chance(0.5))
            std::reverse(inputs.begin(), inputs.end());
        if (static_cast<int>(inputs.size()) < count)
            return;
        if (kind == 9)
            addConcat(inputs);
        else
            addArithmetic(inputs);
    }

    static Stream joined(const std::vector<Stream>& inputs) {
        Stream result = inputs.front();
        for (const Stream& input : inputs)
            result.rate = std::min(result.rate, input.rate);
        result.grouped = false;
        return result;
    }

    void addConcat(const std::vector<Stream>& inputs) {
        LayerDescription layer{9, newName(), {}};
        Stream stream = joined(inputs);
        stream.channels = 0;
        for (const Stream& input : inputs) {
            layer.inputs.push_back(input.name);
            stream.channels += input.channels;
            stream.scale = std::max(stream.scale, input.scale);
        }
        if (stream.channels <= kMaxChannels)
            add(layer, stream);
    }

    void addArithmetic(std::vector<Stream> inputs) {
        LayerDescription layer{18, "", {}};
        layer.code =
            m_random.chance(0.05) ? m_random.pick<int>({-1, 4, 7}) : m_random.between(0, 3);
        const bool divides = layer.code == 1;
        const std::size_t added = divides ? inputs.size() : 1;
        if (m_network.layers.size() + added > static_cast<std::size_t>(m_layerCount) ||
            (divides && std::find(m_kinds.begin(), m_kinds.end(), 6) == m_kinds.end()))
            return;
        Stream stream = joined(inputs);
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            Stream& input = inputs[i];
            if (divides && i + 1 < inputs.size()) { // all but the last are divisors
                const LayerDescription sigmoid{6, newName(), {input.name}};
                input.scale = 0.6;
                add(sigmoid, input);
                input.name = sigmoid.name;
            }
            layer.inputs.push_back(input.name);
            if (i > 0)
                stream.scale = layer.code == 0 ? stream.scale * input.scale
                               : divides       ? 3.0 * input.scale / std::min(stream.scale, 1.0)
                                               : stream.scale + input.scale;
        }
        layer.name = newName();
        if (stream.scale <= kMaxScale)
            add(layer, stream);
    }

    Random m_random;
    std::vector<int> m_kinds;
    NetworkDescription m_network;
    std::vector<Stream> m_streams;
    int m_layerCount = 0;
};

} // namespace

NetworkDescription randomNetwork(unsigned seed, const std::vector<int>& kinds) {
    return Maker(seed, kinds).make();
}

} // namespace sorvane::test
