// The module sorvane._engine: what the Python package needs of the host layer. Its errors become
// MemoryError, RuntimeError where the engine failed, or ValueError.

#include "model.h"
#include "processor.h"

#include <exception>
#include <pybind11/stl.h>
#include <sorvane_host.hpp>

namespace py = pybind11;

namespace {

void translate(std::exception_ptr raised) {
    try {
        std::rethrow_exception(std::move(raised));
    } catch (const sorvane::host::Error& error) {
        const SorvaneHostStatus status = error.status();
        const bool ran = status == SORVANE_HOST_ENGINE || status == SORVANE_HOST_NO_OUTPUT;
        PyErr_SetString(status == SORVANE_HOST_NO_MEMORY   ? PyExc_MemoryError
                        : status == SORVANE_HOST_NOT_FOUND ? PyExc_FileNotFoundError
                        : ran                              ? PyExc_RuntimeError
                                                           : PyExc_ValueError,
                        error.what());
    }
}

} // namespace

PYBIND11_MODULE(_engine, module) {
    using namespace sorvane::python;

    py::register_local_exception_translator(&translate);
    module.attr("version") = sorvaneHostVersionText();

    module.def("list_models", &listModels);
    module.def("badness", &badness, py::call_guard<py::gil_scoped_release>());

    py::class_<Processor>(module, "Processor")
        .def(py::init<const std::string&, int, double>(), py::call_guard<py::gil_scoped_release>())
        .def("process", &Processor::process)
        .def("finish", &Processor::finish)
        .def("reset", &Processor::reset)
        .def("close", &Processor::close)
        .def("gain", &Processor::gain)
        .def("set_gain", &Processor::setGain)
        .def("sensitivity", &Processor::sensitivity)
        .def("set_sensitivity", &Processor::setSensitivity)
        .def("amount", &Processor::amount)
        .def("set_amount", &Processor::setAmount)
        .def("set_inverted", &Processor::setInverted)
        .def("set_remainder", &Processor::setRemainder)
        .def("isolate", &Processor::isolate)
        .def("silence_noise", &Processor::silenceNoise)
        .def("bus_names", &Processor::busNames)
        .def_property_readonly("closed", &Processor::isClosed)
        .def_property_readonly("latency", &Processor::latency);

    py::class_<Model>(module, "Model")
        .def(py::init<const std::string&>(), py::call_guard<py::gil_scoped_release>())
        .def("run", &Model::run)
        .def("reset", &Model::reset)
        .def("close", &Model::close)
        .def("info", &Model::info)
        .def("bus_names", &Model::busNames)
        .def_property_readonly("closed", &Model::isClosed);
}
