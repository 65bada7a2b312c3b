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
    const std::shared_ptr<host::Model> model = handle.get(); // has the name
    const SorvaneHostModelInfo info = model->info();
    return py::make_tuple(py::bytes(info.name), info.sampleRate, info.numChannels,
                          info.transformLength, info.frameLength, info.hop, info.latencyFrames,
                          info.numBins);
}

std::vector<py::bytes> Model::busNames() const {
    std::vector<py::bytes> names;
    for (const std::string& name : handle.get()->busNames())
        names.emplace_back(name);
    return names;
}

std::vector<std::pair<py::bytes, py::bytes>> listModels() {
    std::vector<std::pair<py::bytes, py::bytes>> models;
    for (const host::FoundModel& model : host::listModels())
        models.emplace_back(model.name, model.path);
    return models;
}

double badness(const std::string& path, double rate) {
    return host::Model(path).rateFit(rate).badness;
}

} // namespace sorvane::python
