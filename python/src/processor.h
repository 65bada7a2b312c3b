#pragma once

#include "handle.h"

#include <pybind11/numpy.h>
#include <string>

namespace sorvane::python {

using FloatArray = pybind11::array_t<float, pybind11::array::c_style>;

/// A processor of the engine for one model. Arguments have been checked by the Python side.
class Processor {
public:
    /// ValueError when the engine refuses the file.
    Processor(const std::string& path, int numChannels, double rate);

    /// Pushes [channels, samples]; gives what is ready in the same layout.
    FloatArray process(const FloatArray& block);

    void reset();
    void close() { handle.close(); }
    [[nodiscard]] bool isClosed() const { return handle.isClosed(); }

    [[nodiscard]] float parameter(int id) const;
    void setParameter(int id, float value);

    [[nodiscard]] int numBusses() const;
    [[nodiscard]] pybind11::bytes busName(int bus) const;

    /// How late the output is, in samples, when pushes have any size.
    [[nodiscard]] int latency() const;

    /// The time between two frames of the model in seconds.
    [[nodiscard]] double secondsPerHop() const;

private:
    int channels;
    Handle handle;
};

} // namespace sorvane::python
