// Whole networks: a second of audio through the processor, beside real time.

#include "comparison.h"
#include "networks.h"
#include "registration.h"

#include <filesystem>
#include <limits>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

namespace sorvane::bench {

namespace {

struct Case {
    std::string group;
    std::string name;
    std::vector<std::string> paths;
    int channels = 1;
    int block = 480;
    Goal goal = {};
    double operationsPerSecond = 0; // of the network
};

double heapBytes() {
#if defined(__GLIBC__)
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
#else
    return 0;
#endif
}

void addCase(const Case& c) {
    if (!isWanted(c.group, c.name))
        return;
    const auto rate = [&] {
        SorvaneProcessor probe;
        if (!probe.loadModels(c.paths))
            throw std::runtime_error("can't load " + c.paths.front());
        return probe.getModels().front().sampleRate;
    }();
    const int blocks = static_cast<int>(rate) / c.block;
    const double heapBefore = heapBytes();
    std::shared_ptr<SorvaneProcessor> processor = makeProcessor(c.paths, c.channels, rate);
    const Signal32 block = noise(c.channels, c.block);
    Signal32 output;
    for (int i = 0; i < blocks; ++i)
        processor->process(output, block);
    const double heap = heapBytes() - heapBefore;
    const double latency = processor->getLatency(c.block) / rate;
    char note[96];
    std::snprintf(note, sizeof note, "latency %.1f ms, heap %.1f MB", latency * 1e3, heap / 1e6);

    const bool piles = c.paths.size() > 1;
    const auto run = [processor, block, blocks, piles] {
        Signal32 out;
        // Several models give nothing, and what waits would grow from run to run.
        if (piles)
            processor->reset();
        for (int i = 0; i < blocks; ++i)
            processor->process(out, block);
    };
    add({.group = c.group,
         .name = c.name,
         .sides = {repeat("ours", run)},
         .goal = c.goal,
         .operations = c.operationsPerSecond * blocks * c.block / rate,
         .audioSeconds = blocks * c.block / rate,
         .note = note});
}

/// What the layers' checks of shapes take of a frame: each layer of a network has a guard, which
/// meets the shape that it met before.
void addChecks(const std::string& path) {
    const std::string group = "Shape checks",
                      name = std::filesystem::path(path).filename().string();
    if (!isWanted(group, name))
        return;
    SorvaneProcessor probe;
    if (!probe.loadModels({path}))
        throw std::runtime_error("can't load " + path);
    const NeuralModel<float>& model = probe.getModels().front();
    const std::shared_ptr<SorvaneProcessor> processor = makeProcessor({path}, 1, model.sampleRate);
    const Signal32 block = noise(1, model.hop);
    const Tensor32 input({1, 96, 8});
    std::vector<ShapeGuard> guards(model.layers.size());
    const auto check = [input, guards]() mutable {
        for (ShapeGuard& guard : guards)
            benchmark::DoNotOptimize(guard(input, [](const TensorDims& dims) {
                requireSize(dims.frameSize(), std::numeric_limits<int>::max());
            }));
    };
    const auto frame = [processor, block] {
        Signal32 out;
        processor->process(out, block);
    };
    add({.group = group,
         .name = name,
         .sides = {repeat("checks", check), repeat("a frame", frame)},
         .goal = {.atLeast = 0.005},
         .note = std::to_string(guards.size()) + " layers"});
}

/// Model files that live as long as the comparisons.
std::vector<test::TempFile>& files() {
    static std::vector<test::TempFile> list;
    return list;
}

std::string path(const ConvolutionChain& chain) {
    files().push_back(chain.model().write());
    return files().back().c_str();
}

void addChain(const std::string& group, const std::string& name, const ConvolutionChain& chain,
              int channels = 1, int block = 480, Goal goal = {}, int models = 1) {
    const std::string file = path(chain);
    addCase({group, name, std::vector<std::string>(static_cast<std::size_t>(models), file),
             channels, block, goal, 2 * models * chain.multiplyAdds() * 48000.0 / chain.hop});
}

} // namespace

void addNetworks(const std::vector<std::string>& models) {
    const std::string whole = "Whole networks";
    addChain(whole, "1 GMAC/s at 48 kHz", {}, 1, 480, {.atLeast = 0.05, .aim = 0.025});
    for (const std::string& model : models)
        addCase({whole, std::filesystem::path(model).filename().string(), {model}});
    for (const std::string& model : models)
        addChecks(model);

    const std::string growth = "How the cost grows";
    for (const int channels : {8, 16, 48})
        addChain(growth, "channels " + std::to_string(channels), {.channels = channels});
    for (const int rows : {64, 256})
        addChain(growth, "bins " + std::to_string(4 * rows),
                 {.rows = rows, .fftLength = 8 * rows, .hop = 512 <= 4 * rows ? 512 : 256});
    for (const int layers : {4, 32})
        addChain(growth, "layers " + std::to_string(layers), {.layers = layers});
    for (const int block : {16, 64, 256, 1024, 4096})
        addChain(growth, "blocks of " + std::to_string(block), {.layers = 4}, 1, block);
    for (const int channels : {2, 6})
        addChain(growth, "host channels " + std::to_string(channels), {.layers = 4}, channels);
    for (const int count : {2, 4})
        addChain(growth, "models " + std::to_string(count), {.layers = 4}, 1, 480, {}, count);
}

} // namespace sorvane::bench
