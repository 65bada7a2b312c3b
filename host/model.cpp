#include "model.h"

#include "model_search.h"
#include "status.h"

#include "sorvane_engine.h"

#include <fstream>
#include <system_error>

using sorvane::host::fail;

namespace sorvane::host {

namespace {

ModelOutline outlineOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return readOutline(stream);
}

} // namespace

std::string reasonOfRefusal(const std::string& path) {
    try {
        outlineOf(path);
    } catch (const Failure& failure) {
        return failure.text;
    }
    return "its records are whole, but no network can be made of them: a chain of layers is too "
           "long, or its strides make too many frames or paths";
}

} // namespace sorvane::host

void SorvaneHostModel::DeleteNetwork::operator()(void* model) const {
    sorvaneDeleteModel(model);
}

SorvaneHostModel::SorvaneHostModel(const std::string& nameOrPath)
    : path(sorvane::host::findModel(nameOrPath)),
      name(std::filesystem::path(path).stem().string()) {
    load("'" + path + "' is");
    // Whatever becomes of the current folder.
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    if (!error)
        path = absolute.string();
}

SorvaneHostModel::SorvaneHostModel(const void* bytes, std::size_t size)
    : temporary(std::make_unique<sorvane::host::platform::TemporaryFile>(bytes, size)),
      path(temporary->path()) {
    load("the bytes are");
    name = outline.header.modelTag;
}

void SorvaneHostModel::load(const std::string& shown) {
    network.reset(sorvaneCreateModel(path.c_str()));
    if (!network)
        fail(SORVANE_HOST_BAD_MODEL,
             shown + " no valid model: " + sorvane::host::reasonOfRefusal(path));
    outline = sorvane::host::outlineOf(path);
    SorvaneModelInfo info{};
    sorvane::sorvaneGetProcessorInfo(network.get(), &info);
    latencyFrames = info.latencyFrames;
}
