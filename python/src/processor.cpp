#include "processor.h"

#include <algorithm>
#include <sorvane_engine.h>
#include <vector>

namespace py = pybind11;

namespace sorvane::python {

namespace {

/// Samples that are pushed at a time: a long array takes no more memory in the engine than this.
constexpr py::ssize_t chunk = 16384;

using Rows = std::vector<std::vector<float>>;

/// Appends all that is ready to `rows`.
void pull(void* engine, Rows& rows) {
    const int count = sorvaneGetNumOfPendingSamples(engine);
    if (count <= 0)
        return;
    std::vector<float*> targets;
    for (std::vector<float>& row : rows) {
        row.resize(row.size() + static_cast<std::size_t>(count));
        targets.push_back(row.data() + row.size() - count);
    }
    sorvaneGetAudio(engine, targets.data(), count);
}

FloatArray arrayOf(const Rows& rows) {
    const auto length = static_cast<py::ssize_t>(rows.front().size());
    FloatArray array({static_cast<py::ssize_t>(rows.size()), length});
    float* target = array.mutable_data();
    for (const std::vector<float>& row : rows)
        target = std::copy(row.begin(), row.end(), target);
    return array;
}

SorvaneModelInfo infoOf(void* engine) {
    SorvaneModelInfo info{};
    ::sorvaneGetProcessorInfo(engine, &info);
    return info;
}

} // namespace

Processor::Processor(const std::string& path, int numChannels, double rate)
    : channels(numChannels),
      handle(sorvaneCreateProcessor(path.c_str(), numChannels, rate), sorvaneDeleteProcessor) {
    if (handle.isClosed())
        throw py::value_error("no valid model, or none for this rate");
}

FloatArray Processor::process(const FloatArray& block) {
    const float* const samples = block.data();
    const py::ssize_t length = block.shape(1);
    const Rows rows = handle.alone([&](void* engine) {
        Rows result(static_cast<std::size_t>(channels));
        std::vector<const float*> sources(result.size());
        for (py::ssize_t start = 0; start < length; start += chunk) {
            for (std::size_t c = 0; c < sources.size(); ++c)
                sources[c] = samples + static_cast<py::ssize_t>(c) * length + start;
            sorvaneAddAudio(engine, sources.data(),
                            static_cast<int>(std::min(chunk, length - start)));
            pull(engine, result);
        }
        return result;
    });
    return arrayOf(rows);
}

void Processor::reset() {
    handle.alone(sorvaneResetProcessorState);
}

float Processor::parameter(int id) const {
    return sorvaneGetParameterValue(handle.get().get(), id);
}

void Processor::setParameter(int id, float value) {
    sorvaneSetParameterValue(handle.get().get(), id, value);
}

int Processor::numBusses() const {
    return sorvaneGetNumOfOutputBusses(handle.get().get());
}

py::bytes Processor::busName(int bus) const {
    // A name that fills the buffer may have been cut, so the buffer grows until a terminator fits.
    std::vector<char> buffer(64);
    for (;;) {
        sorvaneGetOutputBusName(handle.get().get(), bus, buffer.data(),
                                static_cast<unsigned int>(buffer.size()));
        if (buffer.back() == '\0')
            return py::bytes(buffer.data());
        buffer.resize(buffer.size() * 2);
    }
}

int Processor::latency() const {
    return std::max(infoOf(handle.get().get()).lengthOrLatency, 0);
}

double Processor::secondsPerHop() const {
    const SorvaneModelInfo info = infoOf(handle.get().get());
    return info.hop / info.sampleRate;
}

} // namespace sorvane::python
