#pragma once

#include "handle.h"

#include <pybind11/numpy.h>
#include <sorvane_host.hpp>
#include <string>

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

    /// (sampleRate, numChannels, fftLength, frameLength, hop, latencyFrames)
    [[nodiscard]] pybind11::tuple info() const;

private:
    Handle<host::Model> handle;
};

} // namespace sorvane::python
