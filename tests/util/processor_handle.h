#pragma once

#include "engine/sorvane_engine.h"
#include "util/error_of.h"
#include "util/model_file.h"
#include "util/signals.h"

#include <memory>
#include <stdexcept>
#include <string>

namespace sorvane::test {

struct DeleteProcessor {
    void operator()(void* handle) const { sorvaneDeleteProcessor(handle); }
};
struct DeleteModel {
    void operator()(void* handle) const { sorvaneDeleteModel(handle); }
};
using ProcessorHandle = std::unique_ptr<void, DeleteProcessor>;
using ModelHandle = std::unique_ptr<void, DeleteModel>;

inline ProcessorHandle makeProcessor(const ModelFile& model, int numChannels, double sampleRate) {
    return ProcessorHandle(sorvaneCreateProcessor(model.write().c_str(), numChannels, sampleRate));
}

inline ProcessorHandle makeProcessor(const std::vector<ModelFile>& models, int numChannels,
                                     double sampleRate) {
    std::vector<TempFile> files;
    std::vector<const char*> paths;
    for (const ModelFile& model : models)
        files.push_back(model.write());
    for (const TempFile& file : files)
        paths.push_back(file.c_str());
    return ProcessorHandle(sorvaneCreateStemSeparator(static_cast<int>(paths.size()), paths.data(),
                                                      numChannels, sampleRate));
}

inline ModelHandle makeModel(const ModelFile& model) {
    return ModelHandle(sorvaneCreateModel(model.write().c_str()));
}

inline void push(void* handle, const AudioRows& audio) {
    std::vector<const float*> rows;
    for (const auto& row : audio)
        rows.push_back(row.data());
    sorvaneAddAudio(handle, rows.data(), static_cast<int>(audio.at(0).size()));
}

// All that is pending.
inline AudioRows pull(void* handle, std::size_t channels) {
    const int pending = sorvaneGetNumOfPendingSamples(handle);
    AudioRows audio(channels, std::vector<float>(static_cast<std::size_t>(pending)));
    std::vector<float*> rows;
    for (auto& row : audio)
        rows.push_back(row.data());
    if (!sorvaneGetAudio(handle, rows.data(), pending))
        throw std::runtime_error("pending audio was refused");
    return audio;
}

// Pushes in blocks, and pulls at the end.
inline AudioRows process(void* handle, const AudioRows& audio, std::size_t block = 1000) {
    for (std::size_t start = 0; start < audio[0].size(); start += block)
        push(handle, slice(audio, start, std::min(start + block, audio[0].size())));
    return pull(handle, audio.size());
}

} // namespace sorvane::test
