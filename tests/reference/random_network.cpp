#include "reference/random_network.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace sorvane::test {

FileTensor randomTensor(Random& random, const std::vector<int>& shape, double amplitude,
                        int storage) {
    FileTensor tensor = constantTensor(shape, 0.0F);
    tensor.storage = storage;
    for (float& value : tensor.values) {
        value = static_cast<float>(random.uniform(-amplitude, amplitude));
        if (storage == 0)
            value = halfValue(halfFromFloat(value));
    }
    return tensor;
}

namespace {

// The output of a layer.
struct Stream {
    std::string name;
    int positions = 1;
    int channels = 1;
    double rate = 1.0;   // frames for each frame of the network's input
    double scale = 0.6;  // about the root mean square of its values
    bool grouped = true; // hands on several frames at once when the network gets several
};

class Maker {
public:
    Maker(unsigned seed, const std::vector<int>& kinds, int widest)
        : m_random(seed), m_kinds(kinds), m_widest(widest) {}

    NetworkCase make() {
        m_case.file.version = chance(0.5) ? 0x100A : between(0x1004, 0x100B);
        m_case.positions = between(2, 12);
        m_case.channels = between(1, m_widest - 1);
        m_streams.push_back({"input", m_case.positions, m_case.channels});
        const bool wide = m_widest > 4;
        m_layerCount = static_cast<std::size_t>(wide ? between(1, 2) : between(3, 20));
        m_case.mostFrames = wide ? 6 : 44;
        while (m_case.file.layers.size() < m_layerCount) {
            const int kind = m_random.pick(m_kinds);
            if (kind == 9 || kind == 18) {
                addJoin(kind);
                continue;
            }
            Stream stream = pickSource(kind);
            FileLayer layer{newName(), kind, {stream.name}};
            if (complete(layer, stream))
                add(layer, stream);
        }
        if (chance(0.15))
            m_case.file.outputSource = m_random.pick(m_streams).name;
        return m_case;
    }

private:
    int between(int low, int high) { return m_random.between(low, high); }
    bool chance(double probability) { return m_random.chance(probability); }

    void add(const FileLayer& layer, Stream stream) {
        stream.name = m_case.file.add(layer);
        m_streams.push_back(stream);
    }

    // In random order, as the order of the layers must not come from their names.
    std::string newName() {
        return std::string(1, static_cast<char>(between('a', 'z'))) +
               std::to_string(m_case.file.layers.size());
    }

    Stream pickSource(int kind) {
        if (kind == 3 && chance(0.7))
            for (auto stream = m_streams.rbegin(); stream != m_streams.rend(); ++stream)
                if (stream->rate < 1.0)
                    return *stream;
        if (chance(0.55))
            return m_streams.back();
        const int count = static_cast<int>(m_streams.size());
        return *(m_streams.begin() + between(chance(0.5) ? std::max(0, count - 4) : 0, count - 1));
    }

    FileTensor tensor(const std::vector<int>& shape, double amplitude) {
        const bool half = m_case.file.version >= 0x1009 && chance(0.4);
        return randomTensor(m_random, shape, amplitude, half ? 0 : 1);
    }
    // An empty tensor is a valid bias for some kinds.
    FileTensor optionalBias(const std::vector<int>& shape) {
        if (chance(0.25))
            return chance(0.5) ? FileTensor{} : FileTensor{{0}, {}};
        return tensor(shape, 0.3);
    }
    // Weights that keep the scale near 1 for `terms` products in a sum.
    FileTensor weights(const std::vector<int>& shape, int terms, Stream& stream) {
        const double amplitude = std::sqrt(3.0 / std::max(terms, 1));
        return tensor(shape, amplitude / std::max(std::exchange(stream.scale, 1.0), 0.1));
    }
    float number(double low, double high) {
        return static_cast<float>(m_random.uniform(low, high));
    }

    // Fills in the layer and turns its input into its output; false when the input doesn't suit it.
    bool complete(FileLayer& layer, Stream& s) {
        const int version = m_case.file.version;
        const int c = s.channels;
        switch (layer.kind) {
        case 2:
            return completeConv(layer, s);
        case 3:
            return completeTransposedConv(layer, s);
        case 7:
            layer.code = between(0, 1);
            layer.weights = tensor({c}, 1.5);
            layer.bias =
                layer.code == 1 && version >= 0x100A ? optionalBias({c}) : tensor({c}, 0.3);
            s.scale = layer.code == 1 ? 1.0 : 0.3 + s.scale;
            return c > 1 || layer.code == 0 || chance(0.2);
        case 12:
            layer.numbers = {number(-0.5, 1.2)};
            return true;
        case 14:
            layer.weights = weights({s.positions, s.positions, c}, s.positions, s);
            layer.bias = optionalBias({s.positions * c});
            return s.positions <= 12;
        case 15:
            layer.timeTaps = tensor({between(1, 5)}, 1.0);
            layer.weights = tensor({between(1, 5)}, 1.0);
            s.grouped = false;
            return true;
        case 16:
            layer.weights = constantTensor({between(1, 6)}, 0.0F);
            for (float& value : layer.weights.values)
                value = number(0.5, 1.5) / static_cast<float>(layer.weights.values.size());
            s.scale = 1.0;
            return true;
        case 19:
            layer.weights = weights({c, c}, c, s);
            layer.bias = tensor({s.positions, c}, 0.3);
            if (version >= 0x1007 && chance(0.7))
                layer.timeTaps = tensor({between(1, 5), c}, 1.0);
            if (version >= 0x1007 && chance(s.grouped ? 0.1 : 0.5)) {
                layer.parameters.delay = between(1, 4);
                m_case.singleFrames = m_case.singleFrames || s.grouped;
                s.grouped = false;
            }
            return true;
        case 22:
            for (int b = between(1, 14); b > 0; --b) {
                const int start = between(0, s.positions - 1);
                const int length = between(1, std::min(4, s.positions - start));
                layer.bands.push_back({start, tensor({length}, 1.5)});
            }
            s.positions = static_cast<int>(layer.bands.size());
            return true;
        case 23:
            layer.numbers = {number(0.0, 0.95), number(0.0, 0.99), number(0.1, 1.0)};
            s.scale = 1.0;
            return true;
        default: // activations
            s.scale = std::max(0.8, s.scale);
            return true;
        }
    }

    void randomise(ConvParameters& p) {
        p.strideT = chance(0.6) ? 1 : between(2, 3);
        p.strideF = chance(0.6) ? 1 : between(2, chance(0.2) ? 6 : 3);
        p.dilationT = between(1, 3);
        p.unusedParameter = between(-128, 127);
        p.delay = chance(0.5) ? 0 : between(chance(0.1) ? -3 : 0, 4);
    }

    bool completeConv(FileLayer& layer, Stream& s) {
        ConvParameters& p = layer.parameters;
        randomise(p);
        int in = s.channels;
        int out = between(1, m_widest);
        if (in > 1 && chance(0.3)) { // depthwise, mostly with repetition
            out = chance(0.1) ? between(1, in - 1) : in * between(1, 3);
            in = 1;
            m_case.singleFrames = m_case.singleFrames || (s.grouped && out != s.channels);
        } else if (in > 2 && chance(0.1)) { // leaves channels out
            --in;
        }
        const int kernelT = between(1, 4), kernelF = between(1, 6);
        layer.weights = weights({kernelT, kernelF, in, out}, kernelT * kernelF * in, s);
        layer.bias = optionalBias({out});
        s = {"", s.positions / p.strideF, out, s.rate / p.strideT, s.scale, false};
        return s.positions > 0 && out <= 2 * m_widest && s.rate >= 0.1;
    }

    bool completeTransposedConv(FileLayer& layer, Stream& s) {
        ConvParameters& p = layer.parameters;
        randomise(p);
        m_case.hasBursts = true;
        if (s.rate < 1.0 && chance(0.7))
            p.strideT = std::max(p.strideT, static_cast<int>(std::lround(1.0 / s.rate)));
        const bool separate = m_case.file.version >= 0x1008;
        int out = between(1, m_widest);
        int group = out;
        int in = s.channels;
        if (separate && in > 1 && chance(0.3)) { // depthwise
            out = in + (chance(0.2) ? 1 : 0);
            group = 1;
        } else if (separate && group > 1 && chance(0.1)) { // channels of bias alone
            ++out;
        }
        if (in > 2 && chance(0.05)) {
            --in;
            m_case.singleFrames = m_case.singleFrames || s.grouped;
        }
        const int kernelT = between(1, 5), kernelF = between(1, 6);
        layer.outputChannels = out;
        layer.weights = weights({kernelT, kernelF, group, in}, (kernelT * kernelF * in + 1) / 2, s);
        layer.bias = optionalBias({out});
        s = {"", s.positions * p.strideF, out, s.rate * p.strideT, s.scale, false};
        return s.positions <= 24 && s.rate <= 2.0;
    }

    // Joins two or three streams that fit, mostly the last among them and seldom of other rates.
    void addJoin(int kind) {
        const bool anyRate = chance(0.1);
        const std::size_t count = chance(0.03) ? 1 : static_cast<std::size_t>(between(2, 3));
        std::vector<Stream> inputs = {chance(0.7) ? m_streams.back() : m_random.pick(m_streams)};
        for (int tries = 0; tries < 40 && inputs.size() < count; ++tries) {
            const Stream& s = m_random.pick(m_streams);
            const Stream& first = inputs.front();
            if (s.positions == first.positions && (kind == 9 || s.channels == first.channels) &&
                s.name != first.name && s.name != inputs.back().name &&
                (anyRate || std::fabs(s.rate - first.rate) < 0.01))
                inputs.push_back(s);
        }
        if (inputs.size() < count || m_case.file.layers.size() + count > m_layerCount)
            return;
        if (chance(0.5))
            std::reverse(inputs.begin(), inputs.end());
        FileLayer layer{"", kind};
        layer.code = chance(0.05) ? m_random.pick<int>({-1, 4, 7}) : between(0, 3);
        const bool divides = kind == 18 && layer.code == 1;
        Stream result = inputs.front();
        result.grouped = false;
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            Stream& input = inputs[i];
            if (divides && i + 1 < inputs.size()) // all but the last are divisors
                add(activation(newName(), 6, input.name), input);
            layer.inputs.push_back(divides && i + 1 < inputs.size() ? m_streams.back().name
                                                                    : input.name);
            result.rate = std::min(result.rate, input.rate);
            if (i == 0)
                continue;
            result.channels += kind == 9 ? input.channels : 0;
            result.scale = kind == 9         ? std::max(result.scale, input.scale)
                           : layer.code == 0 ? result.scale * input.scale
                           : divides         ? 3.0 * input.scale
                                             : result.scale + input.scale;
        }
        layer.name = newName();
        if (result.channels <= 2 * m_widest && result.scale <= 16.0)
            add(layer, result);
    }

    Random m_random;
    std::vector<int> m_kinds;
    int m_widest;
    NetworkCase m_case;
    std::vector<Stream> m_streams;
    std::size_t m_layerCount = 0;
};

} // namespace

NetworkCase randomNetwork(unsigned seed, const std::vector<int>& kinds, int widest) {
    return Maker(seed, kinds, widest).make();
}

} // namespace sorvane::test
