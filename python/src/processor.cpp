#include "processor.h"

#include <algorithm>

namespace py = pybind11;

namespace sorvane::python {

namespace {

/// Samples that are pushed at a time: a long array takes no more memory in the engine than this.
constexpr py::ssize_t chunk = 16384;

using Rows = std::vector<std::vector<float>>;

/// Appends all that is ready to `rows`.
void pull(host::Stream& stream, Rows& rows) {
    const int count = stream.available();
    std::vector<float*> targets;
    for (std::vector<float>& row : rows) {
        row.resize(row.size() + static_cast<std::size_t>(count));
        targets.push_back(row.data() + row.size() - count);
    }
    stream.pull(targets.data(), count);
}

FloatArray arrayOf(const Rows& rows) {
    const auto length = static_cast<py::ssize_t>(rows.front().size());
    FloatArray array({static_cast<py::ssize_t>(rows.size()), length});
    float* target = array.mutable_data();
    for (const std::vector<float>& row : rows)
        target = std::copy(row.begin(), row.end(), target);
    return array;
}

} // namespace

Processor::Processor(const std::string& path, int numChannels, double rate)
    : channels(static_cast<std::size_t>(numChannels)),
      handle(std::make_shared<host::Stream>(host::Model(path), numChannels, rate)) {}

FloatArray Processor::process(const FloatArray& block) {
    const float* const samples = block.data();
    const py::ssize_t length = block.shape(1);
    return arrayOf(handle.alone([&](host::Stream& stream) {
        Rows result(channels);
        std::vector<const float*> sources(channels);
        for (py::ssize_t start = 0; start < length; start += chunk) {
            for (std::size_t c = 0; c < channels; ++c)
                sources[c] = samples + static_cast<py::ssize_t>(c) * length + start;
            stream.push(sources.data(), static_cast<int>(std::min(chunk, length - start)));
            pull(stream, result);
        }
        return result;
    }));
}

FloatArray Processor::finish() {
    return arrayOf(handle.alone([&](host::Stream& stream) {
        Rows result(channels);
        stream.finish();
        pull(stream, result);
        stream.reset();
        return result;
    }));
}

void Processor::reset() {
    handle.alone([](host::Stream& stream) { stream.reset(); });
}

std::vector<py::bytes> Processor::busNames() const {
    std::vector<py::bytes> names;
    for (const std::string& name : handle.get()->busNames())
        names.emplace_back(name);
    return names;
}

} // namespace sorvane::python
