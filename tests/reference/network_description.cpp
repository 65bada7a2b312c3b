#include "reference/network_description.h"

#include <cmath>
#include <sstream>

namespace sorvane::test {

static FileLayer fileLayer(const LayerDescription& l) {
    const std::string& input = l.inputs.front();
    switch (l.kind) {
    case 2:
        return conv(l.name, input, l.weights, l.bias, l.parameters);
    case 3:
        return transposedConv(l.name, input, l.weights, l.bias, l.outputChannels, l.parameters);
    case 7:
        return norm(l.name, input, l.code, l.weights, l.bias);
    case 9:
        return concat(l.name, l.inputs);
    case 12:
        return leakyReLU(l.name, input, l.slope);
    case 14:
        return dense(l.name, input, l.weights, l.bias);
    case 15:
        return separableChannelConv(l.name, input, l.timeTaps, l.weights);
    case 16:
        return preNorm(l.name, input, l.weights);
    case 18:
        return arithmetic(l.name, l.inputs, l.code);
    case 19:
        return selfAttention(l.name, input, l.weights, l.bias, l.parameters.delay, l.timeTaps);
    case 22:
        return frequencyRescale(l.name, input, l.bands);
    case 23:
        return arPreNorm(l.name, input, l.attack, l.release, l.epsilon);
    default:
        return activation(l.name, l.kind, input);
    }
}

ModelFile NetworkDescription::modelFile() const {
    ModelFile file;
    file.version = version;
    file.outputSource = outputSource;
    for (const LayerDescription& layer : layers)
        file.layers.push_back(fileLayer(layer));
    return file;
}

std::string NetworkDescription::text() const {
    std::ostringstream out;
    out << "version " << version << ", F " << positions << ", C " << channels << ", output from "
        << outputSource << '\n';
    for (const LayerDescription& l : layers) {
        out << "  " << l.name << ": kind " << l.kind << " from";
        for (const std::string& input : l.inputs)
            out << ' ' << input;
        for (const FileTensor* tensor : {&l.weights, &l.bias, &l.timeTaps}) {
            out << (tensor->storage == 0 ? " half[" : " [");
            for (const int size : tensor->shape)
                out << ' ' << size;
            out << " ]";
        }
        const ConvParameters& p = l.parameters;
        out << " strides " << p.strideT << ' ' << p.strideF << " dilation " << p.dilationT
            << " delay " << p.delay << " code " << l.code << '\n';
    }
    return out.str();
}

double halfValue(unsigned bits) {
    const double sign = (bits & 0x8000U) != 0 ? -1.0 : 1.0;
    const int exponent = static_cast<int>((bits >> 10) & 0x1FU);
    const int fraction = static_cast<int>(bits & 0x3FFU);
    if (exponent == 0)
        return sign * std::ldexp(fraction, -24);
    return sign * std::ldexp(1024 + fraction, exponent - 25);
}

} // namespace sorvane::test
