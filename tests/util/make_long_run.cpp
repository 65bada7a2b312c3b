// Writes what a long run of the host program takes: a model file with a U-shaped network, three levels
// down and up in time and frequency with joins across, and a file of noise at its rate.

#include "util/model_file.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sndfile.h>

namespace {

using namespace sorvane::test;

constexpr int channels = 8;
constexpr int sampleRate = 16000;

std::mt19937 generator(7);

/// Weights that keep the level of what passes about as it was.
FileTensor weights(const std::vector<int>& shape, int numInputs) {
    FileTensor tensor = constantTensor(shape, 0.0F);
    std::normal_distribution<float> value(0.0F, 1.0F / std::sqrt(static_cast<float>(numInputs)));
    for (float& weight : tensor.values)
        weight = value(generator);
    return tensor;
}

ModelFile makeUNetwork() {
    ModelFile file{
        .sampleRate = sampleRate, .inputPacking = {.bins = 256}, .outputPacking = {.bins = 256}};
    std::string last = "input";
    const auto add = [&](FileLayer layer) {
        last = layer.name;
        file.layers.push_back(std::move(layer));
    };
    const auto convolve = [&](const std::string& name, int in, int stride) {
        add(conv(name, last, weights({2, 3, in, channels}, 6 * in),
                 constantTensor({channels}, 0.0F), {.strideT = stride, .strideF = stride}));
        add(activation(name + ".elu", 5, last));
    };

    std::vector<std::string> across;
    convolve("first", 1, 1);
    for (const char* level : {"1", "2", "3"}) {
        across.push_back(last);
        convolve(std::string("down") + level, channels, 2);
    }
    convolve("middle", channels, 1);
    for (const char* level : {"3", "2", "1"}) {
        const std::string name = std::string("up") + level;
        add(transposedConv(name, last, weights({2, 2, channels, channels}, 2 * channels),
                           constantTensor({channels}, 0.0F), channels,
                           {.strideT = 2, .strideF = 2}));
        add(concat(name + ".join", {last, across.back()}));
        across.pop_back();
        convolve(name + ".mix", 2 * channels, 1);
    }
    add(conv("last", last, weights({1, 1, channels, 1}, channels), {}));
    add(activation("mask", 6, last));
    file.outputSource = last;
    return file;
}

bool writeNoise(const char* path, int seconds) {
    SF_INFO info{};
    info.samplerate = sampleRate;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(path, SFM_WRITE, &info);
    if (!file)
        return false;
    std::vector<short> second(sampleRate);
    bool written = true;
    for (int s = 0; s < seconds; ++s) {
        for (short& sample : second)
            sample = static_cast<short>(static_cast<int>(generator() % 16384U) - 8192);
        written = written && sf_write_short(file, second.data(), sampleRate) == sampleRate;
    }
    return sf_close(file) == 0 && written;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: make_long_run MODEL AUDIO SECONDS\n", stderr);
        return 2;
    }
    const std::vector<std::uint8_t> model = makeUNetwork().bytes();
    std::ofstream file(argv[1], std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(model.data()),
               static_cast<std::streamsize>(model.size()));
    if (!file.flush() || !writeNoise(argv[2], std::atoi(argv[3]))) {
        std::fputs("make_long_run: can't write\n", stderr);
        return 1;
    }
    return 0;
}
