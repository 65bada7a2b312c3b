#include "util/tiny_models.h"

#include <utility>

namespace sorvane::test {

namespace {

FileTensor tensor(const std::vector<int>& shape, int storage = 1) {
    FileTensor result = constantTensor(shape, 0.25F);
    result.storage = storage;
    return result;
}

ModelFile tinyFile(int version) {
    ModelFile file{.version = version, .modelTag = "", .outputNames = {"", ""}};
    file.inputPacking.bins = 8;
    file.outputPacking.bins = 8;
    file.fftLength = 16;
    file.frameLength = 16;
    file.hop = 8;
    return file;
}

ModelFile withLayers(int version, std::vector<FileLayer> layers) {
    ModelFile file = tinyFile(version);
    file.layers = std::move(layers);
    file.outputSource = file.layers.back().name;
    return file;
}

void addLayers(std::vector<TinyModel>& models) {
    const auto add = [&](const char* name, std::vector<FileLayer> layers, int version = 0x100A) {
        models.push_back({name, withLayers(version, std::move(layers))});
    };
    const FileTensor one = tensor({1, 1, 1, 1});
    add("conv", {conv("a", "input", tensor({2, 3, 1, 1}), tensor({1}))});
    const ConvParameters strides{.strideT = 2, .strideF = 2, .dilationT = 2, .delay = 1};
    add("conv-strides", {conv("a", "input", tensor({2, 2, 1, 1}, 0), {}, strides),
                         transposedConv("b", "a", tensor({2, 2, 1, 1}, 0), {}, 1, strides)});
    add("conv-depthwise",
        {conv("a", "input", tensor({1, 1, 1, 2}), {}), conv("b", "a", tensor({2, 1, 1, 2}), {}),
         conv("c", "b", tensor({1, 1, 2, 1}), {})});
    add("transposed", {transposedConv("a", "input", tensor({2, 3, 1, 1}), tensor({1}), 1)});
    add("transposed-depthwise", {conv("a", "input", tensor({1, 1, 1, 2}), {}),
                                 transposedConv("b", "a", tensor({2, 1, 1, 2}), tensor({2}), 2),
                                 conv("c", "b", tensor({1, 1, 2, 1}), {})});
    add("transposed-old", {transposedConv("a", "input", one, {}, 1)}, 0x1007);
    add("relu", {activation("a", 4, "input")});
    add("elu", {activation("a", 5, "input")});
    add("sigmoid", {activation("a", 6, "input")});
    add("softplus", {activation("a", 17, "input")});
    add("hard-sigmoid", {activation("a", 20, "input")});
    add("leaky-relu", {leakyReLU("a", "input", 0.5F)});
    add("norm", {norm("a", "input", 0, tensor({1}), tensor({1}))});
    add("norm-level", {norm("a", "input", 1, tensor({1}, 0), {})});
    add("norm-old", {norm("a", "input", 0, tensor({1}), tensor({1}))}, 0x1009);
    add("norm-other", {norm("a", "input", 2, {}, {})});
    add("concat", {concat("a", {"input", "input"}), concat("b", {"input"})});
    add("arithmetic", {activation("a", 4, "input"), arithmetic("b", {"input", "a"}, 1)});
    add("dense", {dense("a", "input", tensor({8, 8, 1}, 0), tensor({8, 1}, 0))});
    add("separable", {separableChannelConv("a", "input", tensor({3}), tensor({3}))});
    add("pre-norm", {preNorm("a", "input", tensor({3}))});
    add("ar-pre-norm", {arPreNorm("a", "input", 0.5F, 0.5F, 0.1F)});
    add("attention",
        {selfAttention("a", "input", tensor({1, 1}), tensor({8, 1}, 0), 1, tensor({2, 1}))});
    add("attention-old", {selfAttention("a", "input", tensor({1, 1}), tensor({8, 1}), 0, {})},
        0x1006);
    add("rescale", {frequencyRescale("a", "input", {{0, tensor({2})}, {6, tensor({2})}}),
                    frequencyRescale("b", "a", std::vector<RescaleBand>(8, {1, tensor({1})}))});
    add("storage-unknown", {conv("a", "input", tensor({1, 1, 1, 1}, 2), {})});
}

void addHeaders(std::vector<TinyModel>& models) {
    const auto add = [&](const std::string& name, const ModelFile& file) {
        models.push_back({name, file});
    };
    for (int version = 0x1004; version <= 0x1006; ++version) {
        ModelFile file = tinyFile(version);
        file.magic = version == 0x1005 ? "KLEVO.model" : "Wexo.model";
        add("version-" + std::to_string(version - 0x1000), file);
    }
    const FilePacking packings[] = {{.code = 2, .split = 3, .rest = 5},
                                    {.code = 4, .bins = 8},
                                    {.code = 5, .split = 3, .rest = 5, .frames = 2},
                                    {.code = 6, .split = 2, .rest = 6, .pool = 2}};
    for (const FilePacking& packing : packings) {
        ModelFile file = tinyFile(0x100A);
        file.inputPacking = packing;
        file.outputPacking = packing;
        add("packing-" + std::to_string(packing.code), file);
    }
    ModelFile spectra = tinyFile(0x100A);
    spectra.outputMode = 1;
    spectra.numInputChannels = 2;
    spectra.numOutputChannels = 2;
    add("spectra", spectra);
    ModelFile names = tinyFile(0x100A);
    names.modelTag = names.modelNote = "t";
    names.numMasks = 2;
    names.outputNames = {"a", "b", "c"};
    names.layers = {conv("a", "input", tensor({1, 1, 1, 2}), {})};
    names.outputSource = "a";
    // The frame is longer than three hops and the transform longer than the frame.
    names.fftLength = 32;
    names.hop = 4;
    add("masks", names);
}

} // namespace

std::vector<TinyModel> tinyModels() {
    std::vector<TinyModel> models;
    addLayers(models);
    addHeaders(models);
    return models;
}

} // namespace sorvane::test
