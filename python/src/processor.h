#pragma once

#include "handle.h"

#include <pybind11/numpy.h>
#include <sorvane_host.hpp>
#include <string>
#include <vector>

namespace sorvane::python {

using FloatArray = pybind11::array_t<float, pybind11::array::c_style>;

/// A stream through one model. Arguments have been checked by the Python side; whatever else is wrong
/// raises host::Error.
class Processor {
public:
    Processor(const std::string& path, int numChannels, double rate);

    /// Pushes [channels, samples]; gives what is ready in the same layout.
    FloatArray process(const FloatArray& block);

    /// Gives what is still held back, and begins a new stream.
    FloatArray finish();

    void reset();
    void close() { handle.close(); }
    [[nodiscard]] bool isClosed() const { return handle.isClosed(); }

    [[nodiscard]] float gain(int bus) const { return handle.get()->gain(bus); }
    void setGain(int bus, float value) { handle.get()->setGain(bus, value); }
    [[nodiscard]] float sensitivity(int bus) const { return handle.get()->sensitivity(bus); }
    void setSensitivity(int bus, float value) { handle.get()->setSensitivity(bus, value); }
    [[nodiscard]] float amount() const { return handle.get()->amount(); }
    void setAmount(float value) { handle.get()->setAmount(value); }
    void setInverted(bool value) { handle.get()->setInverted(value); }
    void setRemainder(float decibels) { handle.get()->setRemainder(decibels); }
    void isolate(int bus) { handle.get()->isolateBus(bus); }
    void silenceNoise() { handle.get()->silenceNoise(); }
    [[nodiscard]] std::vector<pybind11::bytes> busNames() const;

    /// How late the output is, in samples, when pushes have any size.
    [[nodiscard]] int latency() const { return handle.get()->latency(); }

private:
    std::size_t channels;
    Handle<host::Stream> handle;
};

} // namespace sorvane::python
