#pragma once

#include "model_outline.h"
#include "platform.h"

#include <memory>
#include <string>
#include <vector>

/// The record behind a model handle: what the file says, and its network once tensors are run.
struct SorvaneHostModel {
    /// Raises a Failure.
    explicit SorvaneHostModel(const std::string& nameOrPath);
    SorvaneHostModel(const void* bytes, std::size_t size);

    struct DeleteNetwork {
        void operator()(void* network) const;
    };

    std::unique_ptr<sorvane::host::platform::TemporaryFile> temporary; // of a model from memory
    std::string path;
    std::string name;
    sorvane::host::ModelOutline outline;
    int latencyFrames = 0;
    std::unique_ptr<void, DeleteNetwork> network;

private:
    void load(const std::string& shown);
};

namespace sorvane::host {

/// Why the engine refuses a model file, as far as its records tell.
std::string reasonOfRefusal(const std::string& path);

} // namespace sorvane::host
