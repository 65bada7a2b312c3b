#include "model.h"

#include <array>
#include <sorvane_engine.h>
#include <vector>

namespace py = pybind11;

namespace sorvane::python {

namespace {

using Shape = std::array<int, 3>;

struct Result {
    Shape shape{};
    std::vector<float> values;
};

Result resultOf(void* engine) {
    Result result;
    if (!sorvaneGetResultTensorShape(engine, 3, result.shape.data()))
        return result;
    std::size_t count = 1;
    for (const int size : result.shape)
        count *= static_cast<std::size_t>(size);
    result.values.resize(count);
    if (count > 0)
        sorvaneGetTensor(engine, result.values.data());
    return result;
}

} // namespace

Model::Model(const std::string& path)
    : handle(sorvaneCreateModel(path.c_str()), sorvaneDeleteModel) {
    if (handle.isClosed())
        throw py::value_error("no valid model");
}

py::object Model::run(const FloatArray& tensor) {
    Shape shape{};
    for (std::size_t i = 0; i < shape.size(); ++i)
        shape[i] = static_cast<int>(tensor.shape(static_cast<py::ssize_t>(i)));
    const float* const data = tensor.data();
    const Result result = handle.alone([&](void* engine) {
        sorvaneAddTensor(engine, data, 3, shape.data());
        return resultOf(engine);
    });
    if (result.values.empty())
        return py::none();
    return FloatArray(result.shape, result.values.data());
}

void Model::reset() {
    handle.alone(sorvaneResetModelState);
}

py::tuple Model::info() const {
    SorvaneModelInfo info{};
    sorvane::sorvaneGetProcessorInfo(handle.get().get(), &info);
    return py::make_tuple(info.sampleRate, info.numChannels, info.lengthOrLatency, info.frameLength,
                          info.hop, info.latencyFrames);
}

} // namespace sorvane::python
