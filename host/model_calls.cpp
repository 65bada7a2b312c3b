#include "model.h"
#include "model_search.h"
#include "rate_fit.h"
#include "status.h"

#include "sorvane_engine.h"

#include <algorithm>
#include <cstring>
#include <limits>

using sorvane::host::fail;
using sorvane::host::guarded;
using sorvane::host::require;

struct SorvaneHostModelList {
    std::vector<sorvane::host::FoundModel> models;
};

namespace {

constexpr const char* nullPointer = "a pointer is null";

const sorvane::host::FoundModel* entryOf(const SorvaneHostModelList* list, int model) {
    return list != nullptr && model >= 0 && model < sorvaneHostGetNumModels(list)
               ? &list->models[static_cast<std::size_t>(model)]
               : nullptr;
}

SorvaneHostModelInfo infoOf(const SorvaneHostModel& model) {
    const sorvane::host::ModelHeader& header = model.outline.header;
    SorvaneHostModelInfo info{};
    info.sampleRate = header.sampleRate;
    info.numChannels = header.numInputChannels;
    info.numOutputChannels = header.numOutputChannels;
    info.numBusses = static_cast<int>(header.outputNames.size());
    info.formatVersion = header.version;
    info.id = header.modelId;
    info.transformLength = header.fftLength;
    info.frameLength = header.frameLength;
    info.hop = header.hop;
    info.latencyFrames = model.latencyFrames;
    info.numBins = header.packedBins;
    info.inputPacking = header.inputPacking;
    info.outputPacking = header.outputPacking;
    info.packedRows = header.packedRows;
    info.givesSpectra = header.outputMode != 0 ? 1 : 0;
    info.numWeights = model.outline.numWeights();
    info.name = model.name.c_str();
    info.tag = header.modelTag.c_str();
    info.note = header.modelNote.c_str();
    return info;
}

/// The network's history is dropped when it fails, for it may be out of step.
template <typename Work>
SorvaneHostStatus guardedNetwork(void* network, const Work& work) {
    const SorvaneHostStatus status = guarded(work);
    if (status == SORVANE_HOST_ENGINE || status == SORVANE_HOST_NO_MEMORY)
        guarded([&] { sorvaneResetModelState(network); });
    return status;
}

} // namespace

SorvaneHostStatus sorvaneHostOpenModel(const char* nameOrPath, SorvaneHostModel** model) {
    return guarded([&] {
        require(nameOrPath != nullptr && model != nullptr, nullPointer);
        *model = new SorvaneHostModel(nameOrPath);
    });
}

SorvaneHostStatus sorvaneHostOpenModelFromMemory(const void* bytes, size_t size,
                                                 SorvaneHostModel** model) {
    return guarded([&] {
        require((bytes != nullptr || size == 0) && model != nullptr, nullPointer);
        *model = new SorvaneHostModel(bytes, size);
    });
}

void sorvaneHostCloseModel(SorvaneHostModel* model) {
    delete model;
}

SorvaneHostStatus sorvaneHostGetModelInfo(const SorvaneHostModel* model, SorvaneHostModelInfo* info,
                                          size_t infoSize) {
    return guarded([&] {
        require(model != nullptr && info != nullptr, nullPointer);
        const SorvaneHostModelInfo whole = infoOf(*model);
        std::memcpy(info, &whole, std::min(infoSize, sizeof whole));
    });
}

const char* sorvaneHostGetModelBusName(const SorvaneHostModel* model, int bus) {
    if (model == nullptr || bus < 0)
        return nullptr;
    const std::vector<std::string>& names = model->outline.header.outputNames;
    const auto index = static_cast<std::size_t>(bus);
    return index < names.size() ? names[index].c_str() : nullptr;
}

SorvaneHostStatus sorvaneHostGetRateFit(const SorvaneHostModel* model, double rate,
                                        SorvaneHostRateFit* fit) {
    return guarded([&] {
        require(model != nullptr && fit != nullptr, nullPointer);
        require(rate > 0.0, "a sample rate must be above 0");
        *fit = sorvane::host::rateFit(model->outline.header.sampleRate, rate);
    });
}

int sorvaneHostBestModel(const SorvaneHostModel* const* models, int numModels, double rate) {
    int best = -1;
    double least = std::numeric_limits<double>::infinity();
    for (int i = 0; models != nullptr && i < numModels; ++i) {
        SorvaneHostRateFit fit{};
        if (sorvaneHostGetRateFit(models[i], rate, &fit) == SORVANE_HOST_OK &&
            fit.badness < least) {
            least = fit.badness;
            best = i;
        }
    }
    return best;
}

SorvaneHostStatus sorvaneHostListModels(const char* folders, const void* address,
                                        SorvaneHostModelList** list) {
    return guarded([&] {
        require(list != nullptr, nullPointer);
        using namespace sorvane::host;
        *list = new SorvaneHostModelList{listModels(modelFolders(folders, address))};
    });
}

int sorvaneHostGetNumModels(const SorvaneHostModelList* list) {
    return list != nullptr ? static_cast<int>(list->models.size()) : 0;
}

const char* sorvaneHostGetModelName(const SorvaneHostModelList* list, int model) {
    const auto* entry = entryOf(list, model);
    return entry != nullptr ? entry->name.c_str() : nullptr;
}

const char* sorvaneHostGetModelPath(const SorvaneHostModelList* list, int model) {
    const auto* entry = entryOf(list, model);
    return entry != nullptr ? entry->path.c_str() : nullptr;
}

void sorvaneHostDeleteModelList(SorvaneHostModelList* list) {
    delete list;
}

SorvaneHostStatus sorvaneHostRunTensor(SorvaneHostModel* model, const float* data,
                                       const int shape[3], int resultShape[3]) {
    const SorvaneHostStatus status = guarded([&] {
        require(model != nullptr && data != nullptr && shape != nullptr && resultShape != nullptr,
                nullPointer);
        require(*std::min_element(shape, shape + 3) >= 0, "a dimension is negative");
    });
    if (status != SORVANE_HOST_OK)
        return status;
    void* const network = model->network.get();
    return guardedNetwork(network, [&] {
        sorvaneAddTensor(network, data, 3, shape);
        if (!sorvaneGetResultTensorShape(network, 3, resultShape))
            std::fill_n(resultShape, 3, 0);
    });
}

SorvaneHostStatus sorvaneHostGetTensor(SorvaneHostModel* model, float* data, size_t capacity) {
    return guarded([&] {
        require(model != nullptr && data != nullptr, nullPointer);
        std::size_t count = 1;
        int shape[3] = {};
        sorvaneGetResultTensorShape(model->network.get(), 3, shape);
        for (const int dimension : shape)
            count *= static_cast<std::size_t>(dimension);
        require(count <= capacity, "the result has more values than there is room for");
        if (count > 0)
            sorvaneGetTensor(model->network.get(), data);
    });
}

SorvaneHostStatus sorvaneHostResetTensor(SorvaneHostModel* model) {
    return guarded([&] {
        require(model != nullptr, nullPointer);
        sorvaneResetModelState(model->network.get());
    });
}
