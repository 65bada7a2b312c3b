#pragma once

#include "handle.h"

#include <pybind11/numpy.h>
#include <sorvane_host.hpp>
#include <string>
#include <utility>
#include <vector>

namespace sorvane::python {

using FloatArray = pybind11::array_t<float, pybind11::array::c_style>;

/// One network of the engine. Arguments have been checked by the Python side.
class Model {
public:
    /// Raises host::Error when the engine refuses the file.
    explicit Model(const std::string& path);

    /// Runs the network on [T, F, C]; None while it holds frames back.
    pybind11::object run(const FloatArray& tensor);

    void reset();
    void close() { handle.close(); }
    [[nodiscard]] bool isClosed() const { return handle.isClosed(); }

    /// (name, sampleRate, numChannels, fftLength, frameLength, hop, latencyFrames, numBins)
    [[nodiscard]] pybind11::tuple info() const;
    [[nodiscard]] std::vector<pybind11::bytes> busNames() const;

private:
    Handle<host::Model> handle;
};

/// The paths of the models that can be opened by name, by their names.
std::vector<std::pair<pybind11::bytes, pybind11::bytes>> listModels();

/// How badly a model suits a rate: 0 at its own.
double badness(const std::string& path, double rate);

} // namespace sorvane::python
