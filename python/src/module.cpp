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
        PyErr_SetString(status == SORVANE_HOST_NO_MEMORY ? PyExc_MemoryError
                        : ran                            ? PyExc_RuntimeError
                                                         : PyExc_ValueError,
                        error.what());
    }
}

} // namespace

PYBIND11_MODULE(_engine, module) {
    using namespace sorvane::python;

    py::register_local_exception_translator(&translate);
    module.attr("version") = sorvaneHostVersionText();

    py::class_<Processor>(module, "Processor")
        .def(py::init<const std::string&, int, double>())
        .def("process", &Processor::process)
        .def("finish", &Processor::finish)
        .def("reset", &Processor::reset)
        .def("close", &Processor::close)
        .def("gain", &Processor::gain)
        .def("set_gain", &Processor::setGain)
        .def("sensitivity", &Processor::sensitivity)
        .def("set_sensitivity", &Processor::setSensitivity)
        .def("bus_names", &Processor::busNames)
        .def_property_readonly("closed", &Processor::isClosed)
        .def_property_readonly("latency", &Processor::latency);

    py::class_<Model>(module, "Model")
        .def(py::init<const std::string&>())
        .def("run", &Model::run)
        .def("reset", &Model::reset)
        .def("close", &Model::close)
        .def("info", &Model::info)
        .def_property_readonly("closed", &Model::isClosed);
}
