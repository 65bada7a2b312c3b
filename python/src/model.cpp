#include "model.h"

namespace py = pybind11;

namespace sorvane::python {

Model::Model(const std::string& path) : handle(std::make_shared<host::Model>(path)) {}

py::object Model::run(const FloatArray& tensor) {
    std::array<int, 3> shape{};
    for (std::size_t i = 0; i < shape.size(); ++i)
        shape[i] = static_cast<int>(tensor.shape(static_cast<py::ssize_t>(i)));
    const std::span<const float> data(tensor.data(), static_cast<std::size_t>(tensor.size()));
    const host::Model::Tensor result =
        handle.alone([&](host::Model& model) { return model.run(data, shape); });
    if (result.values.empty())
        return py::none();
    return FloatArray(result.shape, result.values.data());
}

void Model::reset() {
    handle.alone([](host::Model& model) { model.resetTensor(); });
}

py::tuple Model::info() const {
    const SorvaneHostModelInfo info = handle.get()->info();
    return py::make_tuple(info.sampleRate, info.numChannels, info.transformLength, info.frameLength,
                          info.hop, info.latencyFrames);
}

} // namespace sorvane::python
