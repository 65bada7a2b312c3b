#include "reference/reference_network.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>

namespace sorvane::test {

namespace {

using Frame = std::vector<Real>;

std::size_t at(int index) {
    return static_cast<std::size_t>(index);
}

Real weight(const FileTensor& tensor, int index) {
    return exact(tensor.values.at(at(index)));
}

void addProduct(Sum& sum, const FileTensor& tensor, int index, Real x) {
    sum.add(tensor.values.at(at(index)), x);
}

// The value of a bias that may be missing.
void addBias(Sum& sum, const FileTensor& bias, int index) {
    if (!bias.values.empty())
        sum.add(1.0F, weight(bias, index));
}

// A stream of one frame for each of the input's, computed element by element.
using Element = std::function<Real(int t, int position, int channel)>;
Stream framewise(const Stream& x, int positions, const Element& element) {
    Stream y{positions, x.channels};
    for (int t = 0; t < x.length(); ++t) {
        y.frames.emplace_back();
        for (int f = 0; f < positions; ++f)
            for (int c = 0; c < x.channels; ++c)
                y.frames.back().push_back(element(t, f, c));
    }
    return y;
}

// A function whose slope never exceeds `slope` near `value`.
Real function(double value, Real x, double slope, double ulps = 1.0, double further = 0.0) {
    const Real result = rounded(value, slope * x.error, ulps);
    return {result.value, result.error + further * kRounding};
}

Real activationOf(const FileLayer& layer, Real x) {
    const double positive = std::max(x.value, 0.0);
    const double negative = std::min(x.value, 0.0);
    switch (layer.kind) {
    case 4: // ReLU
        return function(positive, x, 1.0);
    case 5: // ELU
        return function(positive + std::exp(negative) - 1.0, x, 1.0, 1.0, 2.0 * std::exp(negative));
    case 6: { // sigmoid
        const double e = std::exp(std::clamp(x.value, -10.0, 10.0));
        return function(e / (1.0 + e), x, std::min(0.25, e), 6.0);
    }
    case 12: { // leaky ReLU
        const double slope = exact(layer.numbers.at(0)).value;
        return function(positive + slope * negative, x, std::max(1.0, std::fabs(slope)), 2.0);
    }
    case 17: { // softplus: beyond 88.7 the exponential doesn't fit a float
        const double e = x.value < 88.7 ? std::exp(x.value) : HUGE_VAL;
        return function(std::log(1.0 + e), x, 1.0, 2.0, 2.0);
    }
    case 20: // hard sigmoid
        return function(std::clamp(x.value / 6.0 + 0.5, 0.0, 1.0), x, 1.0 / 6.0, 1.0,
                        2.0 * std::fabs(x.value));
    default:
        throw std::invalid_argument("no layer kind");
    }
}

// Position of the first frequency tap relative to o * strideF, or of its place in the output.
int padding(int kernelF, int strideF) {
    return -((kernelF - strideF) / 2);
}

Stream conv(const FileLayer& layer, const Stream& x) {
    const std::vector<int>& shape = layer.weights.shape;
    const int kernelT = shape.at(0), kernelF = shape[1], in = shape[2], out = shape[3];
    const ConvParameters& p = layer.parameters;
    const bool depthwise = in == 1 && x.channels != 1;
    const int width = depthwise ? out : x.channels;
    const int repeat = std::max(width / x.channels, 1);
    const int rowStep = repeat > 1 ? x.channels : width;
    Stream y{x.positions / p.strideF, out};
    for (int now = 0; now < x.length(); ++now) {
        if (now < p.delay || (now - p.delay) % p.strideT != 0)
            continue;
        y.frames.emplace_back();
        for (int o = 0; o < y.positions; ++o)
            for (int c = 0; c < out; ++c) {
                Sum sum;
                addBias(sum, layer.bias, c);
                for (int k = 0; k < kernelT; ++k)
                    for (int j = 0; j < kernelF; ++j) {
                        const int t = now - (kernelT - 1 - k) * p.dilationT;
                        const int position = o * p.strideF + padding(kernelF, p.strideF) + j;
                        if (t < 0 || position < 0 || position >= x.positions)
                            continue;
                        const Real* row = &x.frames[at(t)].at(at(position * rowStep));
                        const int w = (k * kernelF + j) * in * out + c;
                        for (int i = 0; i < in; ++i)
                            addProduct(sum, layer.weights, w + i * out,
                                       row[depthwise ? c / repeat : i]);
                    }
                y.frames.back().push_back(sum.mixed());
            }
    }
    return y;
}

// Input frame t and position i reach the output frames t * strideT + k and the positions
// i * strideF + padding + j.
Stream transposedConv(const FileLayer& layer, const Stream& x, int version) {
    const std::vector<int>& shape = layer.weights.shape;
    const int kernelT = shape.at(0), kernelF = shape[1], group = shape[2], in = shape[3];
    const ConvParameters& p = layer.parameters;
    Stream y{x.positions * p.strideF, version >= 0x1008 ? layer.outputChannels : group};
    const bool depthwise = group == 1 && y.channels != 1;
    for (int n = std::max(p.delay, 0); n < x.length() * p.strideT; ++n) {
        y.frames.emplace_back();
        for (int o = 0; o < y.positions; ++o)
            for (int c = 0; c < y.channels; ++c) {
                Sum sum;
                addBias(sum, layer.bias, c);
                for (int t = 0; t < x.length() && c < (depthwise ? in : group); ++t)
                    for (int i = 0; i < x.positions; ++i) {
                        const int k = n - t * p.strideT;
                        const int j = o - i * p.strideF - padding(kernelF, p.strideF);
                        if (k < 0 || k >= kernelT || j < 0 || j >= kernelF)
                            continue;
                        const Real* row = &x.frames[at(t)].at(at(i * in));
                        const int w = (k * kernelF + j) * group * in;
                        if (depthwise)
                            addProduct(sum, layer.weights, w + c, row[c]);
                        for (int ic = 0; ic < in && !depthwise; ++ic)
                            addProduct(sum, layer.weights, w + c * in + ic, row[ic]);
                    }
                y.frames.back().push_back(sum.mixed());
            }
    }
    return y;
}

// The last time tap meets the current frame; the first one the frame before it, and so on back.
Stream separableConv(const FileLayer& layer, const Stream& x) {
    const int timeTaps = layer.timeTaps.shape.at(0), freqTaps = layer.weights.shape.at(0);
    const Stream filtered = framewise(x, x.positions, [&](int now, int f, int c) {
        Sum sum;
        for (int k = 0; k < timeTaps; ++k)
            if (const int t = k == timeTaps - 1 ? now : now - 1 - k; t >= 0)
                addProduct(sum, layer.timeTaps, k, x.frames[at(t)][at(f * x.channels + c)]);
        return sum.related();
    });
    Stream y = framewise(filtered, x.positions, [&](int t, int f, int c) {
        Sum sum;
        for (int q = 0; q < freqTaps; ++q)
            if (const int from = f - (q - (freqTaps - 1) / 2); from >= 0 && from < x.positions)
                addProduct(sum, layer.weights, q,
                           filtered.frames[at(t)][at(from * x.channels + c)]);
        return sum.related();
    });
    const int startup = std::min((timeTaps + 1) / 2 - 1, y.length());
    y.frames.erase(y.frames.begin(), y.frames.begin() + startup);
    return y;
}

Stream dense(const FileLayer& layer, const Stream& x) {
    return framewise(x, x.positions, [&](int t, int f, int c) {
        Sum sum;
        for (int j = 0; j < x.positions; ++j)
            addProduct(sum, layer.weights, (f * x.positions + j) * x.channels + c,
                       x.frames[at(t)][at(j * x.channels + c)]);
        addBias(sum, layer.bias, f * x.channels + c);
        return sum.mixed();
    });
}

Stream rescale(const FileLayer& layer, const Stream& x) {
    return framewise(x, static_cast<int>(layer.bands.size()), [&](int t, int b, int c) {
        const RescaleBand& band = layer.bands[at(b)];
        Sum sum;
        for (int k = 0; k < band.weights.shape.at(0); ++k)
            addProduct(sum, band.weights, k,
                       x.frames[at(t)].at(at((band.start + k) * x.channels + c)));
        return sum.related();
    });
}

const Real kLevelFloor = exact(1e-12F);

Real rootMeanSquare(const Real* x, int count) {
    double squares = 0.0;
    double errors = 0.0;
    for (int i = 0; i < count; ++i) {
        squares += x[i].value * x[i].value;
        errors += x[i].error * x[i].error;
    }
    return count > 0 ? rounded(std::sqrt(squares / count), std::sqrt(errors / count),
                               4.0 + std::sqrt(count))
                     : Real{};
}

Stream norm(const FileLayer& layer, const Stream& x, int version) {
    const int mode = version >= 0x100A ? layer.code : 0;
    return framewise(x, x.positions, [&](int t, int f, int c) {
        const Real* row = &x.frames[at(t)].at(at(f * x.channels));
        Real y = row[c];
        if (mode == 1)
            y = y * (exact(1.0F) / (rootMeanSquare(row, x.channels) + kLevelFloor));
        y = y * weight(layer.weights, c);
        return layer.bias.values.empty() ? y : y + weight(layer.bias, c);
    });
}

Stream divided(const Stream& x, const Frame& levels, Real floor) {
    return framewise(x, x.positions, [&](int t, int f, int c) {
        return x.frames[at(t)][at(f * x.channels + c)] * (exact(1.0F) / (levels[at(t)] + floor));
    });
}

Frame levelsOf(const Stream& x) {
    Frame levels;
    for (const Frame& frame : x.frames)
        levels.push_back(rootMeanSquare(frame.data(), x.positions * x.channels));
    return levels;
}

// Before the first frame the level was that of the first frame. The first weight meets the current
// frame, the second one the oldest, and the last one the frame before the current one.
Stream preNorm(const FileLayer& layer, const Stream& x) {
    const Frame own = levelsOf(x);
    const int length = layer.weights.shape.at(0);
    Frame levels;
    for (int now = 0; now < x.length(); ++now) {
        Sum sum;
        for (int k = 0; k < length; ++k)
            addProduct(sum, layer.weights, k,
                       own[at(std::max(k == 0 ? now : now - length + k, 0))]);
        levels.push_back(sum.related());
    }
    return divided(x, levels, kLevelFloor);
}

Stream arPreNorm(const FileLayer& layer, const Stream& x) {
    Frame levels = levelsOf(x);
    Real level;
    for (Real& rms : levels) {
        const Real coefficient = exact(layer.numbers.at(rms.value > level.value ? 0 : 1));
        level = (exact(1.0F) - coefficient) * rms + coefficient * level;
        rms = level;
    }
    return divided(x, levels, exact(layer.numbers.at(2)));
}

// The first time tap meets the oldest frame.
Stream selfAttention(const FileLayer& layer, const Stream& x, int version) {
    const int taps =
        version >= 0x1007 && !layer.timeTaps.values.empty() ? layer.timeTaps.shape.at(0) : 0;
    const Stream filtered = framewise(x, x.positions, [&](int now, int f, int c) {
        const auto element = at(f * x.channels + c);
        if (taps == 0)
            return x.frames[at(now)][element];
        Sum sum;
        for (int k = 0; k < taps; ++k)
            if (const int t = now - (taps - 1 - k); t >= 0)
                addProduct(sum, layer.timeTaps, k * x.channels + c, x.frames[at(t)][element]);
        return sum.related();
    });
    Stream y = framewise(filtered, x.positions, [&](int t, int f, int m) {
        Sum sum;
        sum.add(1.0F, weight(layer.bias, f * x.channels + m));
        for (int j = 0; j < x.channels; ++j)
            addProduct(sum, layer.weights, j * x.channels + m,
                       filtered.frames[at(t)][at(f * x.channels + j)]);
        return sum.mixed();
    });
    const int delay = version >= 0x1007 ? layer.parameters.delay : 0;
    y.frames.erase(y.frames.begin(), y.frames.begin() + std::min(delay, y.length()));
    return y;
}

Real combine(int operation, Real result, Real x) {
    switch (operation) {
    case 0:
        return result * x;
    case 1:
        return x / result;
    case 2:
        return result + x;
    case 3:
        return x - result;
    default:
        return result;
    }
}

// Joins the k-th frame of each input with the k-th of the others. An input that is named a second
// time gets no frames of its own.
Stream join(const FileLayer& layer, const std::vector<const Stream*>& inputs) {
    Stream y{inputs[0]->positions, layer.kind == 9 ? 0 : inputs[0]->channels};
    const std::set<const Stream*> distinct(inputs.begin(), inputs.end());
    int length = distinct.size() == inputs.size() ? inputs[0]->length() : 0;
    for (const Stream* input : inputs) {
        length = std::min(length, input->length());
        y.channels += layer.kind == 9 ? input->channels : 0;
    }
    for (int t = 0; t < length; ++t) {
        Frame frame;
        if (layer.kind == 9) {
            for (int f = 0; f < y.positions; ++f)
                for (const Stream* input : inputs) {
                    const auto row = input->frames[at(t)].begin() + f * input->channels;
                    frame.insert(frame.end(), row, row + input->channels);
                }
        } else {
            frame = inputs[0]->frames[at(t)];
            for (std::size_t i = 1; i < inputs.size(); ++i)
                for (std::size_t n = 0; n < frame.size(); ++n)
                    frame[n] = combine(layer.code, frame[n], inputs[i]->frames[at(t)].at(n));
        }
        y.frames.push_back(frame);
    }
    return y;
}

Stream output(const FileLayer& layer, const std::vector<const Stream*>& inputs, int version) {
    const Stream& x = *inputs.at(0);
    switch (layer.kind) {
    case 2:
        return conv(layer, x);
    case 3:
        return transposedConv(layer, x, version);
    case 7:
        return norm(layer, x, version);
    case 9:
    case 18:
        return join(layer, inputs);
    case 14:
        return dense(layer, x);
    case 15:
        return separableConv(layer, x);
    case 16:
        return preNorm(layer, x);
    case 19:
        return selfAttention(layer, x, version);
    case 22:
        return rescale(layer, x);
    case 23:
        return arPreNorm(layer, x);
    default:
        return framewise(x, x.positions, [&](int t, int f, int c) {
            return activationOf(layer, x.frames[at(t)][at(f * x.channels + c)]);
        });
    }
}

// The longest delay from a layer on, where one of its output frames stands for `scale` input frames.
int latencyFrom(const ModelFile& file, const std::string& source, int scale) {
    int longest = 0;
    bool first = true;
    for (const FileLayer& layer : file.layers)
        for (const std::string& input : layer.inputs) {
            if (input != source)
                continue;
            const ConvParameters& p = layer.parameters;
            int own = 0;
            if (layer.kind == 2)
                own = p.delay * scale + latencyFrom(file, layer.name, scale * p.strideT);
            else if (layer.kind == 3)
                own = p.delay * scale + latencyFrom(file, layer.name, scale / p.strideT);
            else
                own = (file.version >= 0x1007 ? p.delay : 0) + latencyFrom(file, layer.name, scale);
            longest = first ? own : std::max(longest, own);
            first = false;
        }
    return longest;
}

} // namespace

Stream runReference(const ModelFile& file, const Stream& input) {
    std::map<std::string, Stream> streams{{"input", input}};
    for (const FileLayer& layer : file.layers) {
        std::vector<const Stream*> inputs;
        for (const std::string& name : layer.inputs)
            inputs.push_back(&streams.at(name));
        streams[layer.name] = output(layer, inputs, file.version);
    }
    return streams.at(file.outputSource);
}

int referenceLatency(const ModelFile& file) {
    return latencyFrom(file, "input", 1);
}

} // namespace sorvane::test
